#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "io/registry.h"
#include "tests/corpus.h"

namespace {

using Bytes = std::vector<uint8_t>;

// A literal with its inner zero bytes, without the terminator.
template <size_t N> Bytes Lit(const char (&s)[N]) {
    return Bytes(s, s + N - 1);
}

// B with Value little-endian in Width bytes at At, grown to hold it.
Bytes Put(Bytes B, size_t At, uint32_t Value, int Width = 1) {
    B.resize(std::max(B.size(), At + size_t(Width)));
    for (int i = 0; i < Width; ++i)
        B[At + size_t(i)] = uint8_t(Value >> (8 * i));
    return B;
}

Bytes Padded(Bytes B, size_t Size, uint8_t Fill = 0) {
    B.resize(Size, Fill);
    return B;
}

Bytes Cat(Bytes A, const Bytes& B) {
    A.insert(A.end(), B.begin(), B.end());
    return A;
}

TIOFileType Detect(const Bytes& Data) {
    TIEMemoryStream stream(Data);
    return FindStreamFormat(stream);
}

// A little-endian TIFF directory of (tag, value) entries, SHORT or, above 65535, LONG;
// the last of its chain.
Bytes Directory(std::initializer_list<std::pair<uint16_t, uint32_t>> Tags) {
    Bytes b = Put({}, 0, uint32_t(Tags.size()), 2);
    for (auto [tag, value] : Tags) {
        const size_t at = b.size();
        b = Put(Put(Put(Put(b, at, tag, 2), at + 2, value > 65535 ? 4 : 3, 2), at + 4, 1, 4), at + 8, value,
                4);
    }
    return Put(b, b.size(), 0, 4);
}

// A classic TIFF with one directory at 8.
Bytes Tiff(std::initializer_list<std::pair<uint16_t, uint32_t>> Tags, const char* Magic = "II*\0") {
    return Cat(Put(Bytes(Magic, Magic + 4), 4, 8, 4), Directory(Tags));
}

} // namespace

// Each content test with the bytes that just pass it and just fail it, and the order of
// the tests where two could claim the same bytes.
TEST(FindStreamFormat, EachTestInItsPlace) {
    // An icon directory with one 16 x 16 entry whose 40 bytes lie at 22.
    const Bytes icon = Padded(Lit("\0\0\1\0\1\0\x10\x10\0\0\1\0\x20\0\x28\0\0\0\x16\0\0\0"), 62);
    // A 1 x 1 Targa of 24 bits.
    const Bytes targa = Lit("\0\0\2\0\0\0\0\0\0\0\0\0\1\0\1\0\x18\0\x7F\x7F\x7F");
    const auto pnm = [&](const char* Magic) {
        Bytes b = targa;
        std::copy(Magic, Magic + 3, b.begin());
        return b;
    };
    const Bytes dicom = Padded({10, 0}, 128), png = Lit("\x89PNG\r\n\x1A\n"), soi = {0xFF, 0xD8, 0xFF, 0xE0};
    // A BigTIFF with one entry at 16; its byte size word must be 8.
    const Bytes big = Padded(Lit("II+\0\x08\0\0\0\x10\0\0\0\0\0\0\0\1\0\0\0\0\0\0\0\0\1\3\0\1\0\0\0"), 52);
    // Sensor data in a sub-directory, as NEF and ARW keep it.
    const Bytes nef = Cat(Padded(Tiff({{256, 1}, {330, 40}}), 40), Directory({{262, 32803}}));
    // Sub-directory and next pointers that lead back to the first directory; a list of a
    // billion sub-directory offsets pointing past the end.
    const Bytes loop = Put(Tiff({{256, 1}, {330, 8}}), 34, 8, 4);
    const Bytes many = Put(Put(Put(Tiff({{256, 1}, {330, 0}}), 24, 4, 2), 26, 1000000000, 4), 30, 16, 4);
    const Bytes hdp = Tiff({{48129, 1}, {48256, 1}, {48257, 1}, {48320, 1}, {48321, 1}}, "II\xBC\x01");
    const Bytes dcx = Put(Put({}, 0, 987654321, 4), 4, 12, 4), wmf = {1, 0, 9, 0, 0, 3};
    const Bytes placeable = Padded(Put({}, 0, 0x9AC6CDD7, 4), 22);
    const Bytes jp2 = Padded(Lit("\0\0\0\x0CjP  \r\n\x87\n"), 40);
    // clang-format off
    const struct { const char* Name; Bytes Data; TIOFileType Expected; } cases[] = {
        // Stream header forms need more than 12 bytes; the five bytes are a zero-terminated text.
        {"JFIF 13", Padded(Lit("JFIF"), 13), 3}, {"JFIF 12", Padded(Lit("JFIF"), 12), 0},
        {"JFIFX", Padded(Lit("JFIFX"), 13), 0}, {"PCX2", Padded(Lit("PCX2"), 13), 4},
        {"TIFF", Padded(Lit("TIFF"), 13), 1},
        {"PCX 5", Padded(Lit("PCX"), 5), 4}, {"PCX 4", Padded(Lit("PCX"), 4), 0},
        {"GIF 14", Padded(Lit("GIF89a"), 14), 2}, {"GIF 13", Padded(Lit("GIF89a"), 13), 0},
        // The weak PCX signature needs more than 128 bytes and a version up to 5, and runs
        // before the DICOM test.
        {"pcx 5", Padded({10, 5}, 129), 4}, {"pcx 128", Padded({10, 5}, 128), 0},
        {"pcx 6", Padded({10, 6}, 129), 0},
        {"pcx dicom", Cat(dicom, Lit("DICM")), 4}, {"dicom", Cat(Put(dicom, 0, 0), Lit("DICM")), 28},
        // HD Photo needs all five tags in its first directory, else it is an ordinary TIFF.
        {"hdp", hdp, 29}, {"hdp four tags", Put(hdp, 8, 4), 1}, {"tiff", Tiff({{256, 1}}), 1},
        {"tiff MM", {'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 1, 0, 0, 3, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0}, 1},
        {"bigtiff", big, 1}, {"bigtiff byte size 4", Put(big, 4, 4), 0},
        {"any version but 43 is classic", Tiff({{256, 1}}, "II)\0"), 1},
        {"no entries", Padded(Tiff({}), 30), 0}, {"directory outside", Put(Tiff({{256, 1}}), 4, 30, 4), 0},
        {"three entries announced, two present", Put(Tiff({{256, 1}, {257, 1}}), 8, 3), 0},
        // Hostile directory chains end quickly.
        {"loop", loop, 1}, {"billion offsets", many, 1},
        {"bigtiff 2^40 entries", Padded(Put(Padded(big, 16), 20, 0x100, 4), 64), 0},
        // Camera files win over TIFF; DNG falls to the last tests.
        {"CFA", Tiff({{262, 32803}}), 20}, {"linear raw", Tiff({{262, 34892}}), 20},
        {"rgb", Tiff({{262, 2}}), 1}, {"dng", Tiff({{256, 1}, {50706, 0x01040000}}), 20},
        {"orf", Tiff({{256, 1}}, "IIRO"), 20}, {"rw2", Tiff({{256, 1}}, "IIU\0"), 20},
        {"cr2", Cat(Lit("II*\0\x10\0\0\0CR\2\0\0\0\0\0"), Directory({{256, 1}})), 20}, {"nef", nef, 20},
        {"dicom with a tiff preamble", Cat(Padded(Tiff({{256, 1}}), 128), Lit("DICM")), 28},
        {"png 8", png, 0}, {"png 9", Padded(png, 9), 8},
        {"ico", icon, 6}, {"cur", Put(icon, 2, 2), 7}, {"type 3", Put(icon, 2, 3), 0},
        {"reserved", Put(icon, 9, 1), 0}, {"no data", Put(icon, 14, 0, 4), 0},
        {"data outside", Put(icon, 18, 62, 4), 0}, {"no entries", Put(icon, 4, 0), 0},
        {"65535 entries", Put(icon, 4, 65535, 2), 0},
        // The data size puts a Targa height of 40 and a depth of 24 in bytes 14 to 16.
        {"icon before targa", Put(icon, 14, 0x00180028, 4), 6},
        {"not an icon: targa", Put(Put(icon, 14, 0x00180028, 4), 2, 3), 11},
        {"targa", targa, 11}, {"targa 17", Padded(targa, 17), 0},
        {"depth 1", Put(targa, 16, 1), 11}, {"depth 32", Put(targa, 16, 32), 11},
        {"depth 15", Put(targa, 16, 15), 0}, {"map flag 2", Put(targa, 1, 2), 0},
        {"no width", Put(targa, 12, 0, 2), 0}, {"no height", Put(targa, 14, 0, 2), 0},
        // An identification length of 80 ("P") stays Targa; a pixmap header never is one.
        {"id P", Put(targa, 0, 'P'), 11}, {"P1", pnm("P1\n"), 12}, {"P6x", pnm("P6x"), 12},
        {"P7", Padded(Lit("P7\n"), 20), 0}, {"P5", Lit("P5"), 12},
        {"targa before jpeg", Put(Padded(targa, 40), 30, 0xFFD8FF, 3), 11},
        {"jp2", jp2, 13}, {"jp2 bad", Put(jp2, 11, 0x0B), 0},
        {"j2k", Padded({0xFF, 0x4F, 0xFF, 0x51}, 40), 14}, {"avi", Padded(Lit("RIFF\x10\0\0\0AVI "), 40), 15},
        {"dcx", Padded(dcx, 40), 19}, {"dcx outside", Padded(Put(dcx, 4, 40, 4), 40), 0},
        {"wmf", Padded(wmf, 40), 9}, {"placeable wmf", Padded(Cat(placeable, wmf), 60), 9},
        {"placeable wmf bad", Padded(Cat(placeable, Put(wmf, 2, 8)), 60), 0},
        {"emf", Padded(Cat(Padded({1}, 40), Lit(" EMF")), 88), 10},
        {"psd", Padded(Lit("8BPS"), 40), 24}, {"layers", Padded(Lit("IMAGERLAYERS"), 40), 26},
        // JPEG tolerates up to 149 bytes of junk, and comes before the bitmap test.
        {"jpeg", soi, 3}, {"jpeg 149", Cat(Bytes(149, 'x'), soi), 3},
        {"jpeg 150", Cat(Bytes(150, 'x'), soi), 0},
        {"bitmap with a jpeg", Cat(Padded(Lit("BM"), 40), soi), 3},
        {"crw with a jpeg preview", Padded(Cat(Lit("II\x1A\0\0\0HEAPCCDR"), soi), 64), 20},
        {"bmp 15", Padded(Lit("BM"), 15), 5}, {"bmp 14", Padded(Lit("BM"), 14), 0},
        {"raf", Padded(Lit("FUJIFILMCCD-RAW "), 64), 20},
        {"cr3", Padded(Lit("\0\0\0\x18" "ftypcrx "), 64), 20},
        {"pdf", Lit("%PDF-1.7\n"), 18}, {"pdf not first", Lit(" %PDF-1.7\n"), 0},
        {"svg at 496", Cat(Bytes(496, ' '), Lit("<svg/>")), 31},
        {"svg at 497", Cat(Bytes(497, ' '), Lit("<svg/>")), 0},
        {"webp", Padded(Lit("RIFF\x20\0\0\0WEBPVP8 "), 40), 34}, {"zip", Padded(Lit("PK\x03\x04"), 40), 8292},
        {"text", Lit("plain text without any signature"), 0}, {"nothing", {}, 0},
    };
    // clang-format on
    for (const auto& test : cases)
        EXPECT_EQ(Detect(test.Data), test.Expected) << test.Name;
    // Every prefix of an icon: the directory test needs 23 bytes and nothing else claims them.
    for (size_t n = 0; n <= icon.size(); ++n)
        EXPECT_EQ(Detect(Bytes(icon.begin(), icon.begin() + long(n))), n >= 23 ? 6 : 0) << n;
}

// The position comes back also from the tests that walk directories far away.
TEST(FindStreamFormat, WorksFromThePositionAndPutsItBack) {
    TIEMemoryStream stream(Cat(Lit("junk!"), Padded(Lit("\x89PNG\r\n\x1A\n"), 30)));
    TIEMemoryStream camera(Tiff({{256, 1}, {50706, 0x01040000}}));
    for (auto [source, position, expected] :
         {std::tuple(&stream, int64_t(5), 8), std::tuple(&stream, stream.Size(), 0),
          std::tuple(&camera, int64_t(3), 0)}) {
        source->SetPosition(position);
        EXPECT_EQ(FindStreamFormat(*source), expected) << position;
        EXPECT_EQ(source->Position(), position);
    }
}

// Every corpus file, the hostile folders included: detection from a position inside a
// larger stream gives what the file alone gives, and the position comes back. The files
// and folders (direct children with the extension given) below are of the format given.
TEST(FindStreamFormatCorpus, EveryFileDetectsTheSameBehindAPrefixAndKnownOnesAsTheirFormat) {
    PW_REQUIRE_CORPUS();
    // clang-format off
    const std::map<std::string, TIOFileType> known = {
        {"image-tiff/images/bigtiff/BigTIFFMotorola.tif", 1}, {"pillow/pcx/pil184.pcx", 4},
        {"psd-tools/32bit5x5.psb", 24}, {"sdl_image/sample.ico", 6}, {"sdl_image/sample.cur", 7},
        // A bitmap whose JPEG payload begins within the first 150 bytes; Windows 1.x bitmaps
        // have no "BM" header.
        {"bmpsuite/q/rgb24jpeg.bmp", 3}, {"cppbmploader-v1/2.bmp", 0},
        {"pngsuite/*.png", 8}, {"bmpsuite/g/*.bmp", 5}, {"exif-samples/jpg/orientation/*.jpg", 3},
        {"pillow/tga/common/*.tga", 11}, {"image-tiff/images/*.tiff", 1},
    };
    // clang-format on
    std::map<std::string, int> seen;
    int files = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(CorpusRoot())) {
        if (!entry.is_regular_file() || entry.file_size() > 4u << 20) continue;
        const Bytes data = ReadBytes(entry.path().string());
        TIEFileStream file(entry.path().string(), TIEFileMode::Read);
        const TIOFileType alone = Detect(data);
        EXPECT_EQ(FindStreamFormat(file), alone) << entry.path();
        TIEMemoryStream stream(Cat(Bytes(37, 0xA5), data));
        stream.SetPosition(37);
        EXPECT_EQ(FindStreamFormat(stream), alone) << entry.path();
        EXPECT_EQ(stream.Position(), 37);
        ++files;
        const std::filesystem::path name = entry.path().lexically_relative(CorpusRoot());
        for (const std::string& key :
             {name.string(), (name.parent_path() / "*").string() + name.extension().string()})
            if (known.count(key)) {
                EXPECT_EQ(alone, known.at(key)) << name;
                ++seen[key];
            }
    }
    EXPECT_GT(files, 1000);
    for (const auto& [key, type] : known)
        EXPECT_GT(seen[key], 0) << key;
}
