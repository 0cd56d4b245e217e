#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>
#include <vector>

#include "io/registry.h"
#include "tests/corpus.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes Text(const std::string& s) {
    return Bytes(s.begin(), s.end());
}

// A literal with its inner zero bytes, without the terminator.
template <size_t N> Bytes Lit(const char (&s)[N]) {
    return Bytes(s, s + N - 1);
}

Bytes Raw(std::initializer_list<int> values) {
    Bytes b;
    for (int v : values)
        b.push_back(uint8_t(v));
    return b;
}

Bytes Cat(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes Padded(Bytes b, size_t size, uint8_t fill = 0) {
    b.resize(size, fill);
    return b;
}

void Put16(Bytes& b, size_t at, uint16_t v) {
    if (b.size() < at + 2) b.resize(at + 2);
    b[at] = uint8_t(v);
    b[at + 1] = uint8_t(v >> 8);
}

void Put32(Bytes& b, size_t at, uint32_t v) {
    if (b.size() < at + 4) b.resize(at + 4);
    for (int i = 0; i < 4; ++i)
        b[at + size_t(i)] = uint8_t(v >> (8 * i));
}

TIOFileType Detect(const Bytes& data) {
    TIEMemoryStream stream(data);
    return FindStreamFormat(stream);
}

// A little-endian classic TIFF: header, then one directory at 8 with SHORT or LONG
// entries given as (tag, value); values of type LONG when above 65535.
struct TTag {
    uint16_t Tag;
    uint32_t Value;
};
Bytes Tiff(std::initializer_list<TTag> tags, const char* magic = "II*\0") {
    Bytes b(magic, magic + 4);
    Put32(b, 4, 8);
    Put16(b, 8, uint16_t(tags.size()));
    size_t at = 10;
    for (const TTag& t : tags) {
        Put16(b, at, t.Tag);
        Put16(b, at + 2, t.Value > 65535 ? 4 : 3);
        Put32(b, at + 4, 1);
        Put32(b, at + 8, t.Value);
        at += 12;
    }
    Put32(b, at, 0);
    return b;
}

// An icon or cursor directory with one entry whose image lies at 22.
Bytes IconFile(uint16_t type) {
    Bytes b;
    Put16(b, 0, 0);
    Put16(b, 2, type);
    Put16(b, 4, 1);
    b.insert(b.end(), {16, 16, 0, 0, 1, 0, 32, 0});
    Put32(b, 14, 40);
    Put32(b, 18, 22);
    return Padded(b, 62);
}

Bytes TargaHeader() {
    Bytes b(18, 0);
    b[2] = 2;
    Put16(b, 12, 1);
    Put16(b, 14, 1);
    b[16] = 24;
    return Padded(b, 21, 0x7F);
}

Bytes Set16(Bytes b, size_t at, uint16_t v) {
    Put16(b, at, v);
    return b;
}

Bytes Set32(Bytes b, size_t at, uint32_t v) {
    Put32(b, at, v);
    return b;
}

Bytes SetByte(Bytes b, size_t at, uint8_t v) {
    b[at] = v;
    return b;
}

Bytes Text3(Bytes b, const char* text) {
    std::memcpy(b.data(), text, 3);
    return b;
}

} // namespace

// Each content test with the bytes that just pass it and just fail it, and the order of
// the tests where two could claim the same bytes.
TEST(FindStreamFormat, EachTestInItsPlace) {
    const Bytes dicom = Padded(Raw({10, 0}), 128);
    // A BigTIFF with one entry at 16; its byte size word must be 8.
    Bytes big = {'I', 'I', 43, 0, 8, 0, 0, 0, 16, 0, 0, 0, 0, 0, 0, 0};
    Put32(big, 16, 1);
    Put16(big, 24, 256);
    Put16(big, 26, 3);
    Put32(big, 28, 1);
    big.resize(52, 0);
    // CR2: "CR" behind the header, first directory at 16.
    Bytes cr2 = Lit("II*\0");
    Put32(cr2, 4, 16);
    cr2.insert(cr2.end(), {'C', 'R', 2, 0, 0, 0, 0, 0});
    Put16(cr2, 16, 1);
    Put16(cr2, 18, 256);
    Put16(cr2, 20, 3);
    Put32(cr2, 22, 1);
    Put32(cr2, 26, 1);
    Put32(cr2, 30, 0);
    // Sensor data in a sub-directory, as NEF and ARW keep it.
    Bytes nef = Tiff({{256, 1}, {330, 40}});
    nef.resize(40);
    Put16(nef, 40, 1);
    Put16(nef, 42, 262);
    Put16(nef, 44, 3);
    Put32(nef, 46, 1);
    Put32(nef, 50, 32803);
    Put32(nef, 54, 0);
    // Sub-directory and next pointers that lead back to the first directory; a list of a
    // billion sub-directory offsets pointing past the end.
    const Bytes loop = Set32(Tiff({{256, 1}, {330, 8}}), 34, 8);
    const Bytes many = Set32(Set32(Set16(Tiff({{256, 1}, {330, 0}}), 24, 4), 26, 1000000000), 30, 16);
    const Bytes png = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
    const Bytes soi = {0xFF, 0xD8, 0xFF, 0xE0};
    Bytes dcx;
    Put32(dcx, 0, 987654321);
    Put32(dcx, 4, 12);
    const Bytes wmf = {1, 0, 9, 0, 0, 3};
    Bytes placeable;
    Put32(placeable, 0, 0x9AC6CDD7);
    placeable = Padded(placeable, 22);
    Bytes emf;
    Put32(emf, 0, 1);
    emf = Padded(Cat(Padded(emf, 40), Text(" EMF")), 88);
    Bytes withJpeg = Padded(TargaHeader(), 40);
    withJpeg[30] = 0xFF, withJpeg[31] = 0xD8, withJpeg[32] = 0xFF;
    const Bytes hdpTags = Tiff({{48129, 1}, {48256, 1}, {48257, 1}, {48320, 1}, {48321, 1}}, "II\xBC\x01");
    // clang-format off
    const struct { const char* Name; Bytes Data; TIOFileType Expected; } cases[] = {
        // Stream header forms need more than 12 bytes; the five bytes are a zero-terminated text.
        {"JFIF 13", Padded(Text("JFIF"), 13), 3}, {"JFIF 12", Padded(Text("JFIF"), 12), 0},
        {"JFIFX", Padded(Text("JFIFX"), 13), 0},
        {"PCX2 13", Padded(Text("PCX2"), 13), 4}, {"PCX2 12", Padded(Text("PCX2"), 12), 0},
        {"TIFF 13", Padded(Text("TIFF"), 13), 1}, {"TIFF 12", Padded(Text("TIFF"), 12), 0},
        {"PCX 5", Padded(Text("PCX"), 5), 4}, {"PCX 4", Padded(Text("PCX"), 4), 0},
        {"GIF 14", Padded(Text("GIF89a"), 14), 2}, {"GIF 13", Padded(Text("GIF89a"), 13), 0},
        // The weak PCX signature needs more than 128 bytes and a version up to 5, and runs
        // before the DICOM test.
        {"pcx 5", Padded(Raw({10, 5}), 129), 4}, {"pcx 0", Padded(Raw({10, 0}), 129), 4},
        {"pcx 128", Padded(Raw({10, 5}), 128), 0}, {"pcx 6", Padded(Raw({10, 6}), 129), 0},
        {"pcx dicom", Cat(dicom, Text("DICM")), 4}, {"dicom", Cat(SetByte(dicom, 0, 0), Text("DICM")), 28},
        // HD Photo needs all five tags in its first directory, else it is an ordinary TIFF.
        {"hdp", hdpTags, 29}, {"hdp four tags", Set16(hdpTags, 8, 4), 1},
        {"tiff", Tiff({{256, 1}}), 1}, {"tiff two", Tiff({{256, 1}, {257, 1}}), 1},
        {"tiff MM", {'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 1, 0, 0, 3, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0}, 1},
        {"bigtiff", big, 1}, {"bigtiff byte size 4", SetByte(big, 4, 4), 0},
        {"any version but 43 is classic", Tiff({{256, 1}}, "II)\0"), 1},
        {"no entries", Padded(Tiff({}), 30), 0},
        {"directory outside", Set32(Tiff({{256, 1}}), 4, 30), 0},
        {"three entries announced, two present", Set16(Tiff({{256, 1}, {257, 1}}), 8, 3), 0},
        // Hostile directory chains end quickly.
        {"loop", loop, 1}, {"billion offsets", many, 1},
        {"65535 entries", Set16(Tiff({{256, 1}}), 8, 65535), 0},
        {"bigtiff 2^40 entries", Padded(Set32(Set32(Padded(big, 16), 16, 0), 20, 0x100), 64), 0},
        // Camera files win over TIFF; DNG falls to the last tests.
        {"CFA", Tiff({{262, 32803}}), 20}, {"linear raw", Tiff({{262, 34892}}), 20},
        {"rgb", Tiff({{262, 2}}), 1}, {"dng", Tiff({{256, 1}, {50706, 0x01040000}}), 20},
        {"orf", Tiff({{256, 1}}, "IIRO"), 20}, {"rw2", Tiff({{256, 1}}, "IIU\0"), 20},
        {"cr2", cr2, 20}, {"nef", nef, 20},
        {"dicom with a tiff preamble", Cat(Padded(Tiff({{256, 1}}), 128), Text("DICM")), 28},
        {"png 8", png, 0}, {"png 9", Padded(png, 9), 8},
        {"ico", IconFile(1), 6}, {"cur", IconFile(2), 7}, {"type 3", IconFile(3), 0},
        {"reserved", SetByte(IconFile(1), 9, 1), 0}, {"no data", Set32(IconFile(1), 14, 0), 0},
        {"data outside", Set32(IconFile(1), 18, 62), 0}, {"no entries", Set16(IconFile(1), 4, 0), 0},
        {"65535 entries", Set16(IconFile(1), 4, 65535), 0},
        // The data size puts a Targa height of 40 and a depth of 24 in bytes 14 to 16.
        {"icon before targa", Set32(IconFile(1), 14, 0x00180028), 6},
        {"not an icon: targa", SetByte(Set32(IconFile(1), 14, 0x00180028), 2, 3), 11},
        {"targa", TargaHeader(), 11}, {"targa 17", Padded(TargaHeader(), 17), 0},
        {"depth 1", SetByte(TargaHeader(), 16, 1), 11}, {"depth 4", SetByte(TargaHeader(), 16, 4), 11},
        {"depth 8", SetByte(TargaHeader(), 16, 8), 11}, {"depth 16", SetByte(TargaHeader(), 16, 16), 11},
        {"depth 32", SetByte(TargaHeader(), 16, 32), 11}, {"depth 15", SetByte(TargaHeader(), 16, 15), 0},
        {"map flag 2", SetByte(TargaHeader(), 1, 2), 0},
        {"no width", Set16(TargaHeader(), 12, 0), 0}, {"no height", Set16(TargaHeader(), 14, 0), 0},
        // An identification length of 80 ("P") stays Targa; a pixmap header never is one.
        {"id P", SetByte(TargaHeader(), 0, 'P'), 11},
        {"P6 newline", Text3(TargaHeader(), "P6\n"), 12}, {"P6 space", Text3(TargaHeader(), "P6 "), 12},
        {"P6#", Text3(TargaHeader(), "P6#"), 12}, {"P6x", Text3(TargaHeader(), "P6x"), 12},
        {"P2", Text3(TargaHeader(), "P2\n"), 12}, {"P1", Text3(TargaHeader(), "P1\n"), 12},
        {"P7", Padded(Text("P7\n"), 20), 0}, {"P5", Text("P5"), 12},
        {"targa before jpeg", withJpeg, 11},
        {"jp2", Padded(Raw({0, 0, 0, 12, 'j', 'P', ' ', ' ', 0x0D, 0x0A, 0x87, 0x0A}), 40), 13},
        {"jp2 bad", Padded(Raw({0, 0, 0, 12, 'j', 'P', ' ', ' ', 0x0D, 0x0A, 0x87, 0x0B}), 40), 0},
        {"j2k", Padded(Raw({0xFF, 0x4F, 0xFF, 0x51}), 40), 14},
        {"avi", Padded(Lit("RIFF\x10\0\0\0AVI "), 40), 15},
        {"dcx", Padded(dcx, 40), 19}, {"dcx outside", Padded(Set32(dcx, 4, 40), 40), 0},
        {"wmf", Padded(wmf, 40), 9}, {"placeable wmf", Padded(Cat(placeable, wmf), 60), 9},
        {"placeable wmf bad", Padded(Cat(placeable, {1, 0, 8, 0, 0, 3}), 60), 0},
        {"emf", emf, 10}, {"psd", Padded(Text("8BPS"), 40), 24}, {"layers", Padded(Text("IMAGERLAYERS"), 40), 26},
        // JPEG tolerates up to 149 bytes of junk, and comes before the bitmap test.
        {"jpeg", soi, 3}, {"jpeg 149", Cat(Bytes(149, 'x'), soi), 3}, {"jpeg 150", Cat(Bytes(150, 'x'), soi), 0},
        {"bitmap with a jpeg", Cat(Padded(Text("BM"), 40), soi), 3},
        {"crw with a jpeg preview", Padded(Cat(Lit("II\x1A\0\0\0HEAPCCDR"), soi), 64), 20},
        {"bmp 15", Padded(Text("BM"), 15), 5}, {"bmp 14", Padded(Text("BM"), 14), 0},
        {"raf", Padded(Text("FUJIFILMCCD-RAW "), 64), 20},
        {"cr3", Padded(Lit("\0\0\0\x18" "ftypcrx "), 64), 20},
        {"pdf", Text("%PDF-1.7\n"), 18}, {"pdf not first", Text(" %PDF-1.7\n"), 0},
        {"svg", Text("<?xml version=\"1.0\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\"/>"), 31},
        {"svg at 496", Cat(Bytes(496, ' '), Text("<svg/>")), 31}, {"svg at 497", Cat(Bytes(497, ' '), Text("<svg/>")), 0},
        {"webp", Padded(Lit("RIFF\x20\0\0\0WEBPVP8 "), 40), 34},
        {"zip", Padded(Text("PK\x03\x04"), 40), 8292},
        {"text", Text("plain text without any signature"), 0}, {"nothing", {}, 0},
    };
    // clang-format on
    for (const auto& test : cases)
        EXPECT_EQ(Detect(test.Data), test.Expected) << test.Name;

    // Every prefix of an icon: the directory test needs 23 bytes and nothing else claims them.
    const Bytes icon = IconFile(1);
    for (size_t n = 0; n <= icon.size(); ++n)
        EXPECT_EQ(Detect(Bytes(icon.begin(), icon.begin() + long(n))), n >= 23 ? 6 : 0) << n;
}

TEST(FindStreamFormat, WorksFromThePositionAndPutsItBack) {
    const Bytes png = Padded({0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A}, 30);
    TIEMemoryStream stream(Cat(Text("junk!"), png));
    stream.SetPosition(5);
    EXPECT_EQ(FindStreamFormat(stream), 8);
    EXPECT_EQ(stream.Position(), 5);

    stream.SetPosition(0);
    EXPECT_EQ(FindStreamFormat(stream), 0);
    EXPECT_EQ(stream.Position(), 0);

    stream.SetPosition(stream.Size());
    EXPECT_EQ(FindStreamFormat(stream), 0);
    EXPECT_EQ(stream.Position(), stream.Size());

    // Tests that walk directories move the stream far away; the position still returns.
    TIEMemoryStream camera(Tiff({{256, 1}, {50706, 0x01040000}}));
    camera.SetPosition(3);
    FindStreamFormat(camera);
    EXPECT_EQ(camera.Position(), 3);
}

namespace {

TIOFileType DetectFile(const std::filesystem::path& path) {
    TIEFileStream stream(path.string(), TIEFileMode::Read);
    return FindStreamFormat(stream);
}

} // namespace

TEST(FindStreamFormatCorpus, RealFilesOfEachFormat) {
    PW_REQUIRE_CORPUS();
    const struct {
        const char* File;
        TIOFileType Expected;
    } cases[] = {
        {"libjpeg-turbo/testorig.jpg", 3},
        {"libjpeg-turbo/testimgint.jpg", 3},
        {"pngsuite/basn2c08.png", 8},
        {"image-tiff/images/bigtiff/BigTIFF.tif", 1},
        {"image-tiff/images/bigtiff/BigTIFFMotorola.tif", 1},
        {"exif-samples/tiff/Arbitro.tiff", 1},
        {"pillow/gif/chi.gif", 2},
        {"bmpsuite/g/pal8.bmp", 5},
        {"pillow/tga/la.tga", 11},
        {"pillow/pcx/pil184.pcx", 4},
        {"psd-tools/32bit5x5.psb", 24},
        {"pillow/psd/hopper.psd", 24},
        {"pillow/pnm/hopper_1bit.pbm", 12},
        {"sdl_image/sample.ico", 6},
        {"sdl_image/sample.cur", 7},
        // Content decides: a PNG named .jpg, and a bitmap whose JPEG payload begins
        // within the first 150 bytes.
        {"jpeg-decoder/reftest/mozilla/jpg-size-6x6.jpg", 8},
        {"bmpsuite/q/rgb24jpeg.bmp", 3},
        // Windows 1.x bitmaps have no "BM" header.
        {"cppbmploader-v1/2.bmp", 0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(DetectFile(CorpusFile(c.File)), c.Expected) << c.File;
}

TEST(FindStreamFormatCorpus, WholeFoldersOfOneFormat) {
    PW_REQUIRE_CORPUS();
    const struct {
        const char* Folder;
        const char* Extension;
        TIOFileType Expected;
    } folders[] = {
        {"pngsuite", ".png", 8},
        {"bmpsuite/g", ".bmp", 5},
        {"exif-samples/jpg/orientation", ".jpg", 3},
        {"pillow/tga/common", ".tga", 11},
        {"image-tiff/images", ".tiff", 1},
    };
    for (const auto& f : folders) {
        int seen = 0;
        for (const auto& entry : std::filesystem::directory_iterator(CorpusFile(f.Folder))) {
            if (entry.path().extension() != f.Extension) continue;
            ++seen;
            EXPECT_EQ(DetectFile(entry.path()), f.Expected) << entry.path();
        }
        EXPECT_GT(seen, 5) << f.Folder;
    }
}

// Every corpus file, the hostile folders included: detection from a position inside a
// larger stream gives what the file alone gives, and the position comes back.
TEST(FindStreamFormatCorpus, EveryFileDetectsTheSameBehindAPrefix) {
    PW_REQUIRE_CORPUS();
    int files = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(CorpusRoot())) {
        if (!entry.is_regular_file() || entry.file_size() > 4u << 20) continue;
        std::ifstream in(entry.path(), std::ios::binary);
        Bytes data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        const TIOFileType alone = Detect(data);
        EXPECT_EQ(DetectFile(entry.path()), alone) << entry.path();
        TIEMemoryStream stream(Cat(Bytes(37, 0xA5), data));
        stream.SetPosition(37);
        EXPECT_EQ(FindStreamFormat(stream), alone) << entry.path();
        EXPECT_EQ(stream.Position(), 37);
        ++files;
    }
    EXPECT_GT(files, 1000);
}
