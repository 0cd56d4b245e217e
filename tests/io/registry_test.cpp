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
const std::string kIconBytes = [] {
    std::string b("\0\0\x01\0\x01\0\x10\x10\0\0\x01\0\x20\0\x28\0\0\0\x16\0\0\0", 22);
    return b + std::string(40, '\0');
}();
const std::string kAviBytes = std::string("RIFF\x10\0\0\0AVI ", 12) + std::string(20, '\0');

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
    xyz.FullName = "XYZ test format";
    xyz.Extensions = "XYZ";
    xyz.ReadFunction = ReadXyz;
    xyz.TryFunction = TryXyz;
    ASSERT_TRUE(IEFileFormats().RegisterFormat(xyz));
}

} // namespace

TEST(FormatRegistry, BuiltInRowsInRegistrationOrder) {
    const std::vector<TIOFileType> expected = {1,  2,  3,  4,  5,  21, 6,  7,  8,  28, 9,  10, 11, 12,
                                               16, 13, 14, 17, 18, 19, 20, 24, 25, 27, 26, 31, 34};
    const TIEFileFormatList& formats = IEFileFormats();
    ASSERT_GE(formats.Count(), int32_t(expected.size()));
    for (size_t i = 0; i < expected.size(); ++i) {
        const TIEFileFormatInfo* row = formats.GetFileFormat(int32_t(i));
        EXPECT_EQ(row->FileType, expected[i]) << i;
        EXPECT_TRUE(row->InternalFormat) << i;
        EXPECT_NE(row->ReadFunction, nullptr) << i;
        EXPECT_EQ(row->CountFunction, nullptr) << i;
    }
    // Anything behind the engine's rows came from outside.
    for (int32_t i = int32_t(expected.size()); i < formats.Count(); ++i)
        EXPECT_FALSE(formats.GetFileFormat(i)->InternalFormat);
    EXPECT_EQ(formats.GetFileFormat(-1), nullptr);
    EXPECT_EQ(formats.GetFileFormat(formats.Count()), nullptr);
}

TEST(FormatRegistry, NamesExtensionsAndWriters) {
    const TIEFileFormatInfo* tiff = FindFileFormat(1);
    ASSERT_NE(tiff, nullptr);
    EXPECT_EQ(tiff->FullName, "TIFF Image");
    EXPECT_EQ(tiff->Extensions, "TIFF;TIF;FAX;G3F;G3N");
    EXPECT_EQ(tiff->SuitableExtension(), "TIFF");
    EXPECT_EQ(FindFileFormat(3)->FullName, "JPEG Image");
    EXPECT_EQ(FindFileFormat(3)->SuitableExtension(), "JPEG");
    EXPECT_EQ(FindFileFormat(8)->FullName, "Portable Network Graphics");
    EXPECT_EQ(FindFileFormat(28)->Extensions, "DICOM;DCM;DIC;V2");
    EXPECT_EQ(FindFileFormat(11)->Extensions, "TARGA;TGA;VDA;ICB;VST");
    EXPECT_EQ(FindFileFormat(34)->FullName, "WebP");
    EXPECT_EQ(FindFileFormat(21)->FullName, "Raw Bitmap");
    EXPECT_EQ(FindFileFormat(21)->SuitableExtension(), "");

    const std::string raw = FindFileFormat(20)->Extensions;
    EXPECT_EQ(raw.substr(0, 16), "CRW;CR2;CR3;DNG;");
    EXPECT_EQ(raw.substr(raw.size() - 8), ";IIQ;SRW");

    // The engine writes JPEG, PNG and TIFF; the others are read only.
    for (TIOFileType type : {1, 3, 8})
        EXPECT_NE(FindFileFormat(type)->WriteFunction, nullptr) << type;
    for (TIOFileType type : {2, 4, 5, 11, 20, 24})
        EXPECT_EQ(FindFileFormat(type)->WriteFunction, nullptr) << type;

    // Without the system's imaging codecs these have no row; video never has one.
    for (TIOFileType type : {0, 15, 22, 23, 29, 32, 33, 99, 8292})
        EXPECT_EQ(FindFileFormat(type), nullptr) << type;
}

TEST(FormatRegistry, FindFileFormatByExtension) {
    EXPECT_EQ(FindFileFormatByExt("jpg")->FileType, 3);
    EXPECT_EQ(FindFileFormatByExt(".JPG")->FileType, 3);
    EXPECT_EQ(FindFileFormatByExt(".jFiF")->FileType, 3);
    EXPECT_EQ(FindFileFormatByExt("g3n")->FileType, 1);
    EXPECT_EQ(FindFileFormatByExt("TIF")->FileType, 1);
    EXPECT_EQ(FindFileFormatByExt("rle")->FileType, 5);
    EXPECT_EQ(FindFileFormatByExt("v2")->FileType, 28);
    EXPECT_EQ(FindFileFormatByExt("nef")->FileType, 20);
    EXPECT_EQ(FindFileFormatByExt("SRW")->FileType, 20);
    EXPECT_EQ(FindFileFormatByExt("psb")->FileType, 24);
    EXPECT_EQ(FindFileFormatByExt("lyr")->FileType, 26);
    EXPECT_EQ(FindFileFormatByExt("webp")->FileType, 34);
    // Whole entries only: no prefixes, no neighbours joined across the separator.
    EXPECT_EQ(FindFileFormatByExt("JP"), nullptr);
    EXPECT_EQ(FindFileFormatByExt("TIF;FAX"), nullptr);
    EXPECT_EQ(FindFileFormatByExt(""), nullptr);
    EXPECT_EQ(FindFileFormatByExt("."), nullptr);
    EXPECT_EQ(FindFileFormatByExt("avi"), nullptr);
    EXPECT_EQ(FindFileFormatByExt("heic"), nullptr);
}

TEST(FormatRegistry, ExtractFileExt) {
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

    std::string data = "XYZFMT" + std::string(40, ' ');
    TIEMemoryStream stream(std::vector<uint8_t>(data.begin(), data.end()));
    EXPECT_EQ(FindStreamFormat(stream), kXyzType);
    EXPECT_EQ(stream.Position(), 0);
    // The built-in tests come first: a bitmap signature takes the file...
    data.replace(0, 2, "BM");
    TIEMemoryStream bitmap(std::vector<uint8_t>(data.begin(), data.end()));
    EXPECT_EQ(FindStreamFormat(bitmap), 5);
    // ...and the try functions run before the SVG test.
    const std::string pdf = "XYZFMT<svg/>";
    TIEMemoryStream both(std::vector<uint8_t>(pdf.begin(), pdf.end()));
    EXPECT_EQ(FindStreamFormat(both), kXyzType);
}

class FindFileFormatByName : public ::testing::Test {
  protected:
    std::string Make(const std::string& Name, const std::string& Content) {
        const std::string path = fDir / Name;
        WriteTextFile(path, Content);
        return path;
    }
    TTempDir fDir;
};

TEST_F(FindFileFormatByName, MissingOrEmptyNamesGiveZero) {
    for (int mode : {0, 1, 2}) {
        EXPECT_EQ(FindFileFormat("", mode), 0);
        EXPECT_EQ(FindFileFormat(fDir / "missing.jpg", mode), 0);
        EXPECT_EQ(FindFileFormat(fDir.Path(), mode), 0);
    }
}

TEST_F(FindFileFormatByName, ContentAgainstExtension) {
    const std::string jpegAsPng = Make("photo.png", kJpegBytes);
    EXPECT_EQ(FindFileFormat(jpegAsPng, 0), 3);
    EXPECT_EQ(FindFileFormat(jpegAsPng, 1), 0);
    EXPECT_EQ(FindFileFormat(jpegAsPng, 2), 3);

    const std::string png = Make("picture.PNG", kPngBytes);
    for (int mode : {0, 1, 2})
        EXPECT_EQ(FindFileFormat(png, mode), 8) << mode;

    // A file no test recognises: only mode 2 lets the extension decide.
    const std::string text = Make("notes.tga", "no signature in this text at all");
    EXPECT_EQ(FindFileFormat(text, 0), 0);
    EXPECT_EQ(FindFileFormat(text, 1), 0);
    EXPECT_EQ(FindFileFormat(text, 2), 11);
    const std::string unknown = Make("notes.qqq", "no signature in this text at all");
    for (int mode : {0, 1, 2})
        EXPECT_EQ(FindFileFormat(unknown, mode), 0) << mode;
}

TEST_F(FindFileFormatByName, CameraRawWinsOverTiff) {
    const std::string nef = Make("shot.nef", kTiffBytes);
    const std::string tif = Make("scan.tif", kTiffBytes);
    const std::string jpg = Make("scan.jpg", kTiffBytes);
    for (int mode : {0, 1, 2}) {
        EXPECT_EQ(FindFileFormat(nef, mode), 20) << mode;
        EXPECT_EQ(FindFileFormat(tif, mode), 1) << mode;
    }
    EXPECT_EQ(FindFileFormat(jpg, 1), 0);
    EXPECT_EQ(FindFileFormat(jpg, 2), 1);
    // A raw extension doesn't turn other content into a camera file.
    const std::string fake = Make("fake.cr2", kPngBytes);
    EXPECT_EQ(FindFileFormat(fake, 0), 8);
    EXPECT_EQ(FindFileFormat(fake, 1), 0);
}

TEST_F(FindFileFormatByName, VerifyModeOneSpecialCases) {
    // Icon and cursor results are taken from the row.
    const std::string iconAsCursor = Make("pointer.cur", kIconBytes);
    EXPECT_EQ(FindFileFormat(iconAsCursor, 0), 6);
    EXPECT_EQ(FindFileFormat(iconAsCursor, 1), 7);
    EXPECT_EQ(FindFileFormat(iconAsCursor, 2), 6);

    // Without a row only video content under another extension stays.
    const std::string aviAsDat = Make("clip.dat", kAviBytes);
    const std::string avi = Make("clip.AVI", kAviBytes);
    EXPECT_EQ(FindFileFormat(aviAsDat, 1), 15);
    EXPECT_EQ(FindFileFormat(avi, 1), 0);
    EXPECT_EQ(FindFileFormat(avi, 0), 15);
    const std::string jpegNoExt = Make("photo", kJpegBytes);
    EXPECT_EQ(FindFileFormat(jpegNoExt, 1), 0);
    EXPECT_EQ(FindFileFormat(jpegNoExt, 2), 3);
}

TEST_F(FindFileFormatByName, OutsideRowsDecideByExtension) {
    RegisterXyzOnce();
    const std::string xyz = Make("data.xyz", kJpegBytes);
    for (int mode : {0, 1, 2})
        EXPECT_EQ(FindFileFormat(xyz, mode), kXyzType) << mode;
}

TEST(FindFileFormatCorpus, RealFilesThroughTheThreeModes) {
    PW_REQUIRE_CORPUS();
    const std::string pngNamedJpg = CorpusFile("jpeg-decoder/reftest/mozilla/jpg-size-6x6.jpg");
    EXPECT_EQ(FindFileFormat(pngNamedJpg, 0), 8);
    EXPECT_EQ(FindFileFormat(pngNamedJpg, 1), 0);
    EXPECT_EQ(FindFileFormat(pngNamedJpg, 2), 8);
    // A headerless Windows 1.x bitmap is found by its extension only.
    const std::string headerless = CorpusFile("cppbmploader-v1/2.bmp");
    EXPECT_EQ(FindFileFormat(headerless, 0), 0);
    EXPECT_EQ(FindFileFormat(headerless, 2), 5);
    const std::string tiff = CorpusFile("exif-samples/tiff/Arbitro.tiff");
    for (int mode : {0, 1, 2})
        EXPECT_EQ(FindFileFormat(tiff, mode), 1) << mode;
}
