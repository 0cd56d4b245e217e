#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "io/registry.h"
#include "tests/testutil.h"

namespace {

// An outside format: read capability, a content test on its own magic, extension XYZ.
constexpr TIOFileType kXyzType = 4000;

bool TryXyz(TIEStream& Stream) {
    char magic[6] = {};
    return Stream.Read(magic, 6) == 6 && std::memcmp(magic, "XYZFMT", 6) == 0;
}

void RegisterXyzOnce() {
    if (FindFileFormat(kXyzType)) return;
    TIEFileFormatInfo xyz;
    xyz.FileType = kXyzType;
    xyz.Extensions = "XYZ";
    xyz.ReadFunction = [](TIEStream&, TIEBitmap&, TIOParams&, TProgressRec&, bool) {};
    xyz.TryFunction = TryXyz;
    ASSERT_TRUE(IEFileFormats().RegisterFormat(xyz));
}

TIOFileType DetectText(const std::string& Data) {
    TIEMemoryStream stream(std::vector<uint8_t>(Data.begin(), Data.end()));
    return FindStreamFormat(stream);
}

} // namespace

TEST(FormatRegistry, ExtensionsFindTheirFormatAndOnlyJpegPngTiffAreWritten) {
    // Any case, with or without the dot, any of a row's extensions.
    // clang-format off
    const struct { const char* Extension; TIOFileType Type; bool Writable; } cases[] = {
        {"jpg", 3, true}, {".JPG", 3, true}, {".jFiF", 3, true}, {"g3n", 1, true}, {"TIF", 1, true},
        {"png", 8, true}, {"gif", 2, false}, {"tga", 11, false}, {"nef", 20, false}, {"SRW", 20, false},
    };
    // clang-format on
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
    // The extension is what follows the last dot.
    for (auto [path, extension] : {std::pair("/a/b/photo.JPG", ".JPG"),
                                   std::pair("/a/b/archive.tar.gz", ".gz"), std::pair("/a/b.d/noext", ""),
                                   std::pair("/a/.png", ".png"), std::pair("name.", "."), std::pair("", "")})
        EXPECT_EQ(IEExtractFileExt(path), extension) << path;
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
    const std::string jpeg("\xFF\xD8\xFF\xE0\0\x10JFIF\0\x01\x01\0\0\x01\0\x01\0\0", 20);
    const std::string png("\x89PNG\r\n\x1A\n\0\0\0\x0DIHDR", 16);
    const std::string tiff("II*\0\x08\0\0\0\x01\0\0\x01\x03\0\x01\0\0\0\x01\0\0\0\0\0\0\0", 26);
    const std::string icon =
        std::string("\0\0\1\0\1\0\x10\x10\0\0\1\0\x20\0\x28\0\0\0\x16\0\0\0", 22) + std::string(40, 0);
    const std::string avi = std::string("RIFF\x10\0\0\0AVI ", 12) + std::string(20, '\0');
    const std::string text = "no signature in this text at all";
    TTempDir dir;
    RegisterXyzOnce();
    // clang-format off
    const struct { const char* Name; const std::string& Content; TIOFileType Modes[3]; } cases[] = {
        {"photo.png", jpeg, {3, 0, 3}}, {"picture.PNG", png, {8, 8, 8}},
        {"notes.tga", text, {0, 0, 11}}, {"notes.qqq", text, {0, 0, 0}},
        // Camera raw wins over TIFF by extension, but doesn't make other content raw.
        {"shot.nef", tiff, {20, 20, 20}}, {"scan.tif", tiff, {1, 1, 1}}, {"scan.jpg", tiff, {1, 0, 1}},
        {"fake.cr2", png, {8, 0, 8}},
        // Icon and cursor results are taken from the row.
        {"pointer.cur", icon, {6, 7, 6}},
        // Without a row only video content under another extension stays.
        {"clip.dat", avi, {15, 15, 15}}, {"clip.AVI", avi, {15, 0, 15}}, {"photo", jpeg, {3, 0, 3}},
        // Outside rows decide by extension.
        {"data.xyz", jpeg, {kXyzType, kXyzType, kXyzType}},
    };
    // clang-format on
    for (const auto& test : cases) {
        const std::string path = dir / test.Name;
        WriteTextFile(path, test.Content);
        for (int mode : {0, 1, 2})
            EXPECT_EQ(FindFileFormat(path, mode), test.Modes[mode]) << test.Name << " mode " << mode;
    }
    for (int mode : {0, 1, 2})
        for (const std::string& path : {std::string(), dir / "missing.jpg", dir.Path()})
            EXPECT_EQ(FindFileFormat(path, mode), 0) << path;
}
