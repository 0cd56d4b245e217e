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

} // namespace

TEST(FindStreamFormat, StreamHeaderFormsNeedMoreThanTwelveBytes) {
    EXPECT_EQ(Detect(Padded(Text("JFIF"), 13)), 3);
    EXPECT_EQ(Detect(Padded(Text("JFIF"), 12)), 0);
    // The five bytes are compared as a zero-terminated text.
    EXPECT_EQ(Detect(Padded(Text("JFIFX"), 13)), 0);
    EXPECT_EQ(Detect(Padded(Text("PCX2"), 13)), 4);
    EXPECT_EQ(Detect(Padded(Text("PCX2"), 12)), 0);
    EXPECT_EQ(Detect(Padded(Text("TIFF"), 13)), 1);
    EXPECT_EQ(Detect(Padded(Text("TIFF"), 12)), 0);
    EXPECT_EQ(Detect(Padded(Text("PCX"), 5)), 4);
    EXPECT_EQ(Detect(Padded(Text("PCX"), 4)), 0);
    EXPECT_EQ(Detect(Padded(Text("GIF89a"), 14)), 2);
    EXPECT_EQ(Detect(Padded(Text("GIF89a"), 13)), 0);
}

TEST(FindStreamFormat, WeakPcxSignatureNeedsMoreThan128BytesAndAVersionUpTo5) {
    EXPECT_EQ(Detect(Padded(Raw({10, 5}), 129)), 4);
    EXPECT_EQ(Detect(Padded(Raw({10, 0}), 129)), 4);
    EXPECT_EQ(Detect(Padded(Raw({10, 5}), 128)), 0);
    EXPECT_EQ(Detect(Padded(Raw({10, 6}), 129)), 0);
    // It runs before the DICOM test, so a preamble that looks like PCX wins.
    Bytes dicom = Padded(Raw({10, 0}), 128);
    EXPECT_EQ(Detect(Cat(dicom, Text("DICM"))), 4);
    dicom[0] = 0;
    EXPECT_EQ(Detect(Cat(dicom, Text("DICM"))), 28);
}

TEST(FindStreamFormat, HDPhotoNeedsAllFiveTagsInItsFirstDirectory) {
    const Bytes hdp = Tiff({{48129, 1}, {48256, 1}, {48257, 1}, {48320, 1}, {48321, 1}}, "II\xBC\x01");
    EXPECT_EQ(Detect(hdp), 29);
    // With one tag missing it is an ordinary TIFF by the next test.
    EXPECT_EQ(Detect(Tiff({{48129, 1}, {48256, 1}, {48257, 1}, {48320, 1}}, "II\xBC\x01")), 1);
}

TEST(FindStreamFormat, TiffNeedsAValidHeaderAndFirstDirectory) {
    EXPECT_EQ(Detect(Tiff({{256, 1}})), 1);
    EXPECT_EQ(Detect(Tiff({{256, 1}, {257, 1}})), 1);

    Bytes bigEndian = {'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 1, 0, 0, 3, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(Detect(bigEndian), 1);

    Bytes big = {'I', 'I', 43, 0, 8, 0, 0, 0, 16, 0, 0, 0, 0, 0, 0, 0};
    Put32(big, 16, 1); // 64-bit entry count 1
    Put32(big, 20, 0);
    Put16(big, 24, 256);
    Put16(big, 26, 3);
    Put32(big, 28, 1);
    big.resize(52, 0);
    EXPECT_EQ(Detect(big), 1);
    big[4] = 4; // BigTIFF's byte size word must be 8
    EXPECT_EQ(Detect(big), 0);

    // Any version word but 43 counts as classic.
    EXPECT_EQ(Detect(Tiff({{256, 1}}, "II)\0")), 1);

    Bytes empty = Tiff({});
    EXPECT_EQ(Detect(Padded(empty, 30)), 0);
    Bytes outside = Tiff({{256, 1}});
    Put32(outside, 4, uint32_t(outside.size()));
    EXPECT_EQ(Detect(outside), 0);
    Bytes truncated = Tiff({{256, 1}, {257, 1}});
    Put16(truncated, 8, 3); // three entries announced, two present
    EXPECT_EQ(Detect(truncated), 0);
}

TEST(FindStreamFormat, CameraFilesWinOverTiffAndDngFallsToTheLastTests) {
    EXPECT_EQ(Detect(Tiff({{262, 32803}})), 20); // CFA data in the first directory
    EXPECT_EQ(Detect(Tiff({{262, 34892}})), 20); // linear raw
    EXPECT_EQ(Detect(Tiff({{262, 2}})), 1);
    EXPECT_EQ(Detect(Tiff({{256, 1}, {50706, 0x01040000}})), 20);
    EXPECT_EQ(Detect(Tiff({{256, 1}}, "IIRO")), 20);  // ORF
    EXPECT_EQ(Detect(Tiff({{256, 1}}, "IIU\0")), 20); // RW2

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
    EXPECT_EQ(Detect(cr2), 20);

    // Sensor data in a sub-directory, as NEF and ARW keep it.
    Bytes nef = Tiff({{256, 1}, {330, 40}});
    nef.resize(40);
    Put16(nef, 40, 1);
    Put16(nef, 42, 262);
    Put16(nef, 44, 3);
    Put32(nef, 46, 1);
    Put32(nef, 50, 32803);
    Put32(nef, 54, 0);
    EXPECT_EQ(Detect(nef), 20);

    // A DICOM file with a TIFF preamble is DICOM.
    Bytes dual = Padded(Tiff({{256, 1}}), 128);
    EXPECT_EQ(Detect(Cat(dual, Text("DICM"))), 28);
}

TEST(FindStreamFormat, HostileDirectoryChainsEndQuickly) {
    // Sub-directory and next pointers that lead back to the first directory.
    Bytes loop = Tiff({{256, 1}, {330, 8}});
    Put32(loop, 34, 8);
    EXPECT_EQ(Detect(loop), 1);

    // A sub-directory list of a billion offsets pointing past the end.
    Bytes many = Tiff({{256, 1}, {330, 0}});
    Put16(many, 24, 4);
    Put32(many, 26, 1000000000);
    Put32(many, 30, 16);
    EXPECT_EQ(Detect(many), 1);

    // 65535 entries announced in a file of a few bytes.
    Bytes huge = Tiff({{256, 1}});
    Put16(huge, 8, 65535);
    EXPECT_EQ(Detect(huge), 0);

    // A BigTIFF entry count of 2^40.
    Bytes big = {'I', 'I', 43, 0, 8, 0, 0, 0, 16, 0, 0, 0, 0, 0, 0, 0};
    Put32(big, 16, 0);
    Put32(big, 20, 0x100);
    EXPECT_EQ(Detect(Padded(big, 64)), 0);
}

TEST(FindStreamFormat, PngSignatureNeedsOneByteMore) {
    const Bytes signature = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
    EXPECT_EQ(Detect(signature), 0);
    EXPECT_EQ(Detect(Padded(signature, 9)), 8);
}

TEST(FindStreamFormat, IconAndCursorDirectories) {
    EXPECT_EQ(Detect(IconFile(1)), 6);
    EXPECT_EQ(Detect(IconFile(2)), 7);
    EXPECT_EQ(Detect(IconFile(3)), 0);

    Bytes reserved = IconFile(1);
    reserved[9] = 1;
    EXPECT_EQ(Detect(reserved), 0);
    Bytes noData = IconFile(1);
    Put32(noData, 14, 0);
    EXPECT_EQ(Detect(noData), 0);
    Bytes outside = IconFile(1);
    Put32(outside, 18, 62);
    EXPECT_EQ(Detect(outside), 0);
    Bytes noEntries = IconFile(1);
    Put16(noEntries, 4, 0);
    EXPECT_EQ(Detect(noEntries), 0);
    Bytes tooMany = IconFile(1);
    Put16(tooMany, 4, 65535);
    EXPECT_EQ(Detect(tooMany), 0);

    // Every prefix: the directory test needs 23 bytes and nothing else claims them.
    const Bytes icon = IconFile(1);
    for (size_t n = 0; n <= icon.size(); ++n)
        EXPECT_EQ(Detect(Bytes(icon.begin(), icon.begin() + long(n))), n >= 23 ? 6 : 0) << n;
}

TEST(FindStreamFormat, IconIsTestedBeforeTarga) {
    // The data size puts a Targa height of 40 in bytes 14 and 15 and a depth of 24 in
    // byte 16; the bit count is the Targa width.
    Bytes both = IconFile(1);
    Put32(both, 14, 0x00180028);
    EXPECT_EQ(Detect(both), 6);
    both[2] = 3;
    EXPECT_EQ(Detect(both), 11);
}

TEST(FindStreamFormat, TargaHeaderRules) {
    const Bytes header = TargaHeader();
    EXPECT_EQ(Detect(header), 11);
    EXPECT_EQ(Detect(Bytes(header.begin(), header.begin() + 17)), 0);
    for (int depth : {1, 4, 8, 16, 32}) {
        Bytes b = TargaHeader();
        b[16] = uint8_t(depth);
        EXPECT_EQ(Detect(b), 11) << depth;
    }
    Bytes depth15 = TargaHeader();
    depth15[16] = 15;
    EXPECT_EQ(Detect(depth15), 0);
    Bytes mapFlag = TargaHeader();
    mapFlag[1] = 2;
    EXPECT_EQ(Detect(mapFlag), 0);
    Bytes noWidth = TargaHeader();
    Put16(noWidth, 12, 0);
    EXPECT_EQ(Detect(noWidth), 0);
    Bytes noHeight = TargaHeader();
    Put16(noHeight, 14, 0);
    EXPECT_EQ(Detect(noHeight), 0);

    // An identification length of 80 ("P") with a colour map flag of 0 stays Targa;
    // a pixmap header never is one, whatever follows its digit.
    Bytes p = TargaHeader();
    p[0] = 'P';
    EXPECT_EQ(Detect(p), 11);
    for (const char* pixmap : {"P6\n", "P6 ", "P6#", "P6x", "P2\n", "P1\n"}) {
        Bytes b = TargaHeader();
        std::memcpy(b.data(), pixmap, 3);
        EXPECT_EQ(Detect(b), 12) << pixmap;
    }
    EXPECT_EQ(Detect(Padded(Text("P7\n"), 20)), 0);
    EXPECT_EQ(Detect(Text("P5")), 12);

    // Targa comes before the JPEG search.
    Bytes withJpeg = Padded(TargaHeader(), 40);
    withJpeg[30] = 0xFF, withJpeg[31] = 0xD8, withJpeg[32] = 0xFF;
    EXPECT_EQ(Detect(withJpeg), 11);
}

TEST(FindStreamFormat, SignaturesOfTheMiddleTests) {
    EXPECT_EQ(Detect(Padded(Raw({0, 0, 0, 12, 'j', 'P', ' ', ' ', 0x0D, 0x0A, 0x87, 0x0A}), 40)), 13);
    EXPECT_EQ(Detect(Padded(Raw({0, 0, 0, 12, 'j', 'P', ' ', ' ', 0x0D, 0x0A, 0x87, 0x0B}), 40)), 0);
    EXPECT_EQ(Detect(Padded(Raw({0xFF, 0x4F, 0xFF, 0x51}), 40)), 14);
    EXPECT_EQ(Detect(Padded(Lit("RIFF\x10\0\0\0AVI "), 40)), 15);

    Bytes dcx;
    Put32(dcx, 0, 987654321);
    Put32(dcx, 4, 12);
    EXPECT_EQ(Detect(Padded(dcx, 40)), 19);
    Put32(dcx, 4, 40);
    EXPECT_EQ(Detect(Padded(dcx, 40)), 0);

    const Bytes plain = {1, 0, 9, 0, 0, 3};
    EXPECT_EQ(Detect(Padded(plain, 40)), 9);
    Bytes placeable;
    Put32(placeable, 0, 0x9AC6CDD7);
    EXPECT_EQ(Detect(Padded(Cat(Padded(placeable, 22), plain), 60)), 9);
    EXPECT_EQ(Detect(Padded(Cat(Padded(placeable, 22), {1, 0, 8, 0, 0, 3}), 60)), 0);

    Bytes emf;
    Put32(emf, 0, 1);
    emf = Cat(Padded(emf, 40), Text(" EMF"));
    EXPECT_EQ(Detect(Padded(emf, 88)), 10);

    EXPECT_EQ(Detect(Padded(Text("8BPS"), 40)), 24);
    EXPECT_EQ(Detect(Padded(Text("IMAGERLAYERS"), 40)), 26);
}

TEST(FindStreamFormat, JpegToleratesUpTo149BytesOfJunk) {
    const Bytes soi = {0xFF, 0xD8, 0xFF, 0xE0};
    EXPECT_EQ(Detect(soi), 3);
    EXPECT_EQ(Detect(Cat(Bytes(149, 'x'), soi)), 3);
    EXPECT_EQ(Detect(Cat(Bytes(150, 'x'), soi)), 0);
    // A bitmap with a JPEG inside its first bytes is taken for JPEG: that test comes first.
    EXPECT_EQ(Detect(Cat(Padded(Text("BM"), 40), soi)), 3);
    // A camera file that embeds its preview early is not a JPEG.
    Bytes crw = Cat(Lit("II\x1A\0\0\0HEAPCCDR"), soi);
    EXPECT_EQ(Detect(Padded(crw, 64)), 20);
}

TEST(FindStreamFormat, BitmapNeedsMoreThan14Bytes) {
    EXPECT_EQ(Detect(Padded(Text("BM"), 15)), 5);
    EXPECT_EQ(Detect(Padded(Text("BM"), 14)), 0);
}

TEST(FindStreamFormat, LastTests) {
    EXPECT_EQ(Detect(Padded(Text("FUJIFILMCCD-RAW "), 64)), 20);
    EXPECT_EQ(Detect(Padded(Lit("\0\0\0\x18"
                                "ftypcrx "),
                            64)),
              20);
    EXPECT_EQ(Detect(Text("%PDF-1.7\n")), 18);
    EXPECT_EQ(Detect(Text(" %PDF-1.7\n")), 0);
    EXPECT_EQ(Detect(Text("<?xml version=\"1.0\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\"/>")), 31);
    EXPECT_EQ(Detect(Cat(Bytes(496, ' '), Text("<svg/>"))), 31);
    EXPECT_EQ(Detect(Cat(Bytes(497, ' '), Text("<svg/>"))), 0);
    EXPECT_EQ(Detect(Padded(Lit("RIFF\x20\0\0\0WEBPVP8 "), 40)), 34);
    EXPECT_EQ(Detect(Padded(Text("PK\x03\x04"), 40)), 8292);
    EXPECT_EQ(Detect(Text("plain text without any signature")), 0);
    EXPECT_EQ(Detect({}), 0);
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
