#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "io/registry.h"
#include "tests/corpus.h"
#include "tests/testutil.h"

namespace {

const std::string kJpegBytes("\xFF\xD8\xFF\xE0\0\x10JFIF\0\x01\x01\0\0\x01\0\x01\0\0", 20);
const std::string kPngBytes("\x89PNG\r\n\x1A\n\0\0\0\x0DIHDR", 16);
const std::string kTiffBytes("II*\0\x08\0\0\0\x01\0\0\x01\x03\0\x01\0\0\0\x01\0\0\0\0\0\0\0", 26);
const std::string kIconBytes =
    std::string("\0\0\x01\0\x01\0\x10\x10\0\0\x01\0\x20\0\x28\0\0\0\x16\0\0\0", 22) + std::string(40, '\0');
const std::string kAviBytes = std::string("RIFF\x10\0\0\0AVI ", 12) + std::string(20, '\0');
const std::string kText = "no signature in this text at all";

// An outside format: read capability, a content test on its own magic, extension XYZ.
bool TryXyz(TIEStream& Stream) {
    char magic[6] = {};
    return Stream.Read(magic, 6) == 6 && std::memcmp(magic, "XYZFMT", 6) == 0;
}
void ReadXyz(TIEStream&, TIEBitmap&, TIOParams&, TProgressRec&, bool) {}
constexpr TIOFileType kXyzType = 4000;

void RegisterXyzOnce() {
    if (FindFileFormat(kXyzType)) return;
    TIEFileFormatInfo xyz;
    xyz.FileType = kXyzType;
    xyz.Extensions = "XYZ";
    xyz.ReadFunction = ReadXyz;
    xyz.TryFunction = TryXyz;
    ASSERT_TRUE(IEFileFormats().RegisterFormat(xyz));
}

TIOFileType DetectText(const std::string& Data) {
    TIEMemoryStream stream(std::vector<uint8_t>(Data.begin(), Data.end()));
    return FindStreamFormat(stream);
}

} // namespace

TEST(FormatRegistry, ExtensionsFindTheirFormatAndOnlyJpegPngTiffAreWritten) {
    const struct {
        const char* Extension;
        TIOFileType Type;
        bool Writable;
    } cases[] = {
        {"jpg", 3, true},   {".JPG", 3, true},  {".jFiF", 3, true}, {"g3n", 1, true},
        {"TIF", 1, true},   {"png", 8, true},   {"gif", 2, false},  {"pcx", 4, false},
        {"rle", 5, false},  {"tga", 11, false}, {"v2", 28, false},  {"nef", 20, false},
        {"SRW", 20, false}, {"psb", 24, false}, {"lyr", 26, false}, {"webp", 34, false},
    };
    for (const auto& test : cases) {
        const TIEFileFormatInfo* row = FindFileFormatByExt(test.Extension);
        ASSERT_NE(row, nullptr) << test.Extension;
        EXPECT_EQ(row->FileType, test.Type) << test.Extension;
        EXPECT_TRUE(row->InternalFormat) << test.Extension;
        EXPECT_EQ(row->WriteFunction != nullptr, test.Writable) << test.Extension;
        EXPECT_EQ(FindFileFormat(test.Type), row) << test.Extension;
    }
    // Whole entries only: no prefixes, no neighbours joined across the separator.
    for (const char* none : {"JP", "TIF;FAX", "", ".", "avi", "heic"})
        EXPECT_EQ(FindFileFormatByExt(none), nullptr) << none;
    // Without the system's imaging codecs these have no row; video never has one.
    for (TIOFileType type : {0, 15, 22, 23, 29, 32, 33, 99, 8292})
        EXPECT_EQ(FindFileFormat(type), nullptr) << type;
    EXPECT_EQ(FindFileFormat(1)->SuitableExtension(), "TIFF");
    EXPECT_EQ(FindFileFormat(21)->SuitableExtension(), "");
    EXPECT_EQ(IEFileFormats().GetFileFormat(-1), nullptr);
    EXPECT_EQ(IEFileFormats().GetFileFormat(IEFileFormats().Count()), nullptr);
}

TEST(FormatRegistry, ExtractFileExtTakesTheLastDot) {
    EXPECT_EQ(IEExtractFileExt("/a/b/photo.JPG"), ".JPG");
    EXPECT_EQ(IEExtractFileExt("/a/b/archive.tar.gz"), ".gz");
    EXPECT_EQ(IEExtractFileExt("/a/b.d/noext"), "");
    EXPECT_EQ(IEExtractFileExt("/a/.png"), ".png");
    EXPECT_EQ(IEExtractFileExt("name."), ".");
    EXPECT_EQ(IEExtractFileExt(""), "");
}

TEST(FormatRegistry, OutsideRowsNeedAFunctionAndAreTriedAfterTheBuiltInTests) {
    TIEFileFormatInfo useless;
    useless.FileType = 4001;
    useless.Extensions = "NOP";
    useless.TryFunction = TryXyz;
    EXPECT_FALSE(IEFileFormats().RegisterFormat(useless));
    EXPECT_EQ(FindFileFormat(4001), nullptr);

    RegisterXyzOnce();
    const TIEFileFormatInfo* xyz = FindFileFormat(kXyzType);
    ASSERT_NE(xyz, nullptr);
    EXPECT_FALSE(xyz->InternalFormat);
    EXPECT_EQ(FindFileFormatByExt(".xyz"), xyz);
    EXPECT_EQ(DetectText("XYZFMT" + std::string(40, ' ')), kXyzType);
    // The built-in tests come first: a bitmap signature takes the file; the try functions
    // run before the SVG test.
    EXPECT_EQ(DetectText("BMZFMT" + std::string(40, ' ')), 5);
    EXPECT_EQ(DetectText("XYZFMT<svg/>"), kXyzType);
}

// Modes: 0 content only, 1 content that must agree with the extension, 2 content and
// then the extension.
TEST(FindFileFormatByName, ContentAgainstExtensionInTheThreeModes) {
    TTempDir dir;
    RegisterXyzOnce();
    const struct {
        const char* Name;
        const std::string& Content;
        TIOFileType Mode0, Mode1, Mode2;
    } cases[] = {
        {"photo.png", kJpegBytes, 3, 0, 3},
        {"picture.PNG", kPngBytes, 8, 8, 8},
        {"notes.tga", kText, 0, 0, 11},
        {"notes.qqq", kText, 0, 0, 0},
        // Camera raw wins over TIFF by extension, but doesn't make other content raw.
        {"shot.nef", kTiffBytes, 20, 20, 20},
        {"scan.tif", kTiffBytes, 1, 1, 1},
        {"scan.jpg", kTiffBytes, 1, 0, 1},
        {"fake.cr2", kPngBytes, 8, 0, 8},
        // Icon and cursor results are taken from the row.
        {"pointer.cur", kIconBytes, 6, 7, 6},
        // Without a row only video content under another extension stays.
        {"clip.dat", kAviBytes, 15, 15, 15},
        {"clip.AVI", kAviBytes, 15, 0, 15},
        {"photo", kJpegBytes, 3, 0, 3},
        // Outside rows decide by extension.
        {"data.xyz", kJpegBytes, kXyzType, kXyzType, kXyzType},
    };
    for (const auto& test : cases) {
        const std::string path = dir / test.Name;
        WriteTextFile(path, test.Content);
        EXPECT_EQ(FindFileFormat(path, 0), test.Mode0) << test.Name;
        EXPECT_EQ(FindFileFormat(path, 1), test.Mode1) << test.Name;
        EXPECT_EQ(FindFileFormat(path, 2), test.Mode2) << test.Name;
    }
    for (int mode : {0, 1, 2}) {
        EXPECT_EQ(FindFileFormat("", mode), 0);
        EXPECT_EQ(FindFileFormat(dir / "missing.jpg", mode), 0);
        EXPECT_EQ(FindFileFormat(dir.Path(), mode), 0);
    }
}

TEST(FindFileFormatCorpus, RealFilesThroughTheThreeModes) {
    PW_REQUIRE_CORPUS();
    const struct {
        const char* File;
        TIOFileType Mode0, Mode1, Mode2;
    } cases[] = {
        {"jpeg-decoder/reftest/mozilla/jpg-size-6x6.jpg", 8, 0, 8},
        // A headerless Windows 1.x bitmap is found by its extension only.
        {"cppbmploader-v1/2.bmp", 0, 0, 5},
        {"exif-samples/tiff/Arbitro.tiff", 1, 1, 1},
    };
    for (const auto& test : cases) {
        const std::string path = CorpusFile(test.File);
        EXPECT_EQ(FindFileFormat(path, 0), test.Mode0) << test.File;
        EXPECT_EQ(FindFileFormat(path, 1), test.Mode1) << test.File;
        EXPECT_EQ(FindFileFormat(path, 2), test.Mode2) << test.File;
    }
}
