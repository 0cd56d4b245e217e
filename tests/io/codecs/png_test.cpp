#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tests/corpus.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/io/jpegtestutil.h"
#include "tests/io/pngtestutil.h"

namespace {

using TStrings = std::vector<std::string>;

std::vector<uint8_t> BytesOf(const std::string& Text) {
    return std::vector<uint8_t>(Text.begin(), Text.end());
}

struct TRead {
    TIEBitmap Bitmap;
    TIOParams Params;
    bool Ok;
    explicit TRead(const std::vector<uint8_t>& File, bool Native = false) {
        Params.NativePixelFormat = Native;
        Ok = DecodePng(File, Bitmap, Params);
    }
    // A pixel as one number: 0xRRGGBB for colour, the index or level for the other formats.
    uint32_t Pixel(int32_t X, int32_t Y) {
        const TIEPixelFormat f = Bitmap.PixelFormat();
        if (f == ie1g) return Bitmap.GetPixels_ie1g(X, Y);
        if (f == ie16g) return Bitmap.GetPixels_ie16g(X, Y);
        return f == ie24RGB ? Hex(Bitmap.GetPixels_ie24RGB(X, Y)) : Bitmap.GetPixels_ie8(X, Y);
    }
    // Every pixel, or every alpha value, row by row.
    std::vector<uint32_t> All(bool Alpha = false) {
        std::vector<uint32_t> values;
        for (int32_t y = 0; y < Bitmap.Height(); ++y)
            for (int32_t x = 0; x < Bitmap.Width(); ++x)
                values.push_back(Alpha ? Bitmap.GetAlpha(x, y) : Pixel(x, y));
        return values;
    }
};

// Pixels and alpha, byte for byte; names the first difference.
std::string Difference(TIEBitmap& A, TIEBitmap& B) {
    if (A.HasAlphaChannel() != B.HasAlphaChannel()) return "alpha in one only";
    const std::string pixels = FirstDifference(A, B);
    return pixels.empty() && A.HasAlphaChannel() ? FirstDifference(*A.AlphaChannel(), *B.AlphaChannel())
                                                 : pixels;
}

// The payload of iCCP and zTXt: a name, its zero, method 0, the deflated data.
std::vector<uint8_t> Deflated(const std::string& Name, const std::vector<uint8_t>& Raw) {
    std::vector<uint8_t> payload = BytesOf(Name + std::string(2, '\0')), packed = TPngBuilder::Compress(Raw);
    payload.insert(payload.end(), packed.begin(), packed.end());
    return payload;
}

std::vector<uint8_t> PHYs(uint32_t X, uint32_t Y) {
    std::vector<uint8_t> phys;
    TPngBuilder::Put32(phys, X);
    TPngBuilder::Put32(phys, Y);
    phys.push_back(1);
    return phys;
}

} // namespace

TEST(PngRead, ColourTypesAndDepthsLandInTheBitmapAsTheRulesSay) {
    // Two tRNS entries for a palette of three: index 2 is opaque.
    const std::vector<uint8_t> palette3 = TPngBuilder(3, 1, 8, 3)
                                              .Chunk("PLTE", {255, 0, 0, 0, 255, 0, 0, 0, 255})
                                              .Chunk("tRNS", {0, 128})
                                              .Rows({{0, 1, 2}})
                                              .End();
    const std::vector<uint8_t> grey16 = TPngBuilder(2, 1, 16, 0).Rows({{0x12, 0x34, 0xAB, 0xCD}}).End();
    // clang-format off
    const struct { const char* Name; std::vector<uint8_t> File; bool Native; TIEPixelFormat Format;
                   std::pair<int32_t, int32_t> BitsAndSamples; std::vector<uint32_t> Pixels, Alpha; } cases[] = {
        // 10 pixels a row: 1011 0000 01, 1111 1111 11.
        {"grey 1", TPngBuilder(10, 2, 1, 0).Rows({{0xB0, 0x40}, {0xFF, 0xC0}}).End(), false, ie1g, {1, 1},
         {1, 0, 1, 1, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}, {}},
        // Levels 0..3 are 0, 85, 170, 255.
        {"grey 2", TPngBuilder(4, 1, 2, 0).Rows({{0x1B}}).End(), false, ie24RGB, {2, 1},
         {0, 0x555555, 0xAAAAAA, 0xFFFFFF}, {}},
        {"grey key", TPngBuilder(3, 1, 8, 0).Chunk("tRNS", {0x00, 0x40}).Rows({{0x40, 0x41, 0x00}}).End(), false,
         ie24RGB, {8, 1}, {0x404040, 0x414141, 0}, {0, 255, 255}},
        {"grey 16", grey16, false, ie24RGB, {16, 1}, {0x121212, 0xABABAB}, {}},
        {"grey 16 native", grey16, true, ie16g, {16, 1}, {0x1234, 0xABCD}, {}},
        {"grey 8 native", TPngBuilder(2, 1, 8, 0).Rows({{7, 250}}).End(), true, ie8g, {8, 1}, {7, 250}, {}},
        {"palette", palette3, false, ie24RGB, {8, 1}, {0xFF0000, 0x00FF00, 0x0000FF}, {0, 128, 255}},
        {"palette native", palette3, true, ie8p, {8, 1}, {0, 1, 2}, {0, 128, 255}},
        // Bits 1000 0001 1.
        {"palette 1", TPngBuilder(9, 1, 1, 3).Chunk("PLTE", {10, 20, 30, 200, 210, 220}).Rows({{0x81, 0x80}}).End(),
         false, ie24RGB, {8, 1}, {0xC8D2DC, 0x0A141E, 0x0A141E, 0x0A141E, 0x0A141E, 0x0A141E, 0x0A141E, 0xC8D2DC,
         0xC8D2DC}, {}},
        {"grey alpha", TPngBuilder(2, 1, 8, 4).Rows({{100, 7, 200, 255}}).End(), false, ie24RGB, {8, 2},
         {0x646464, 0xC8C8C8}, {7, 255}},
        {"rgba 16", TPngBuilder(1, 2, 16, 6).Rows({{1, 0, 2, 0, 3, 0, 4, 0}, {9, 9, 8, 8, 7, 7, 0x80, 1}}).End(),
         false, ie24RGB, {16, 4}, {0x010203, 0x090807}, {4, 0x80}},
        // The key is given in 16-bit values of the 8-bit samples.
        {"rgb key", TPngBuilder(2, 1, 8, 2).Chunk("tRNS", {0, 1, 0, 2, 0, 3}).Rows({{1, 2, 3, 1, 2, 4}}).End(),
         false, ie24RGB, {8, 3}, {0x010203, 0x010204}, {0, 255}},
    };
    // clang-format on
    for (const auto& test : cases) {
        TRead read(test.File, test.Native);
        ASSERT_TRUE(read.Ok) << test.Name;
        EXPECT_EQ(read.Bitmap.PixelFormat(), test.Format) << test.Name;
        EXPECT_EQ(std::pair(read.Params.BitsPerSample, read.Params.SamplesPerPixel), test.BitsAndSamples)
            << test.Name;
        EXPECT_EQ(std::pair(read.Params.Width, read.Params.OriginalHeight),
                  std::pair(read.Bitmap.Width(), read.Bitmap.Height()))
            << test.Name;
        EXPECT_EQ(read.All(), test.Pixels) << test.Name;
        ASSERT_EQ(read.Bitmap.HasAlphaChannel(), !test.Alpha.empty()) << test.Name;
        EXPECT_EQ(test.Alpha.empty() ? test.Alpha : read.All(true), test.Alpha) << test.Name;
    }
    TRead native(palette3, true);
    ASSERT_EQ(native.Params.ColorMap.size(), 3u);
    EXPECT_EQ(Hex(native.Params.ColorMap[2]), 0x0000FFu);
}

TEST(PngRead, ParametersAndMetadataComeFromTheirChunksWhereverTheyLie) {
    const std::vector<uint8_t> profile = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, exif = ExifBlock(6);
    const std::string xmp = "<x:xmpmeta>payload</x:xmpmeta>";
    // 3779 and 2834 pixels per metre are 95.99 and 71.98 dots per inch: rounded, not cut.
    // EXIF and XMP after the image data, the eXIf without its "Exif" header.
    TRead read(TPngBuilder(1, 1, 8, 2)
                   .Chunk("pHYs", PHYs(3779, 2834))
                   .Chunk("bKGD", {0, 10, 0, 20, 0, 30})
                   .Chunk("iCCP", Deflated("ICC", profile))
                   .Text("tEXt", std::string("Title\0Hello", 11))
                   .Chunk("zTXt", Deflated("Author", BytesOf("Me")))
                   .Rows({{1, 2, 3}})
                   .Chunk("eXIf", std::vector<uint8_t>(exif.begin() + 6, exif.end()))
                   .Text("iTXt", std::string("XML:com.adobe.xmp") + std::string(5, '\0') + xmp)
                   .End());
    ASSERT_TRUE(read.Ok);
    EXPECT_EQ(std::pair(read.Params.DpiX, read.Params.DpiY), std::pair(96, 72));
    EXPECT_EQ(Hex(read.Params.PNG_Background), 0x0A141Eu);
    EXPECT_EQ(read.Params.PNG_TextKeys, (TStrings{"Title", "Author"}));
    EXPECT_EQ(read.Params.PNG_TextValues, (TStrings{"Hello", "Me"}));
    EXPECT_EQ(read.Params.PNG_Chunks, (TStrings{"Title=Hello", "Author=Me"}));
    EXPECT_EQ(read.Params.InputICCProfile, profile);
    EXPECT_EQ(read.Params.EXIF_Orientation, 6);
    EXPECT_EQ(read.Params.XMP_Info, xmp);
    EXPECT_EQ(read.Params.ImageCount, 1);
    EXPECT_FALSE(read.Params.PNG_Interlaced);

    // EXIF in the hexadecimal raw profile form of a compressed text chunk, which isn't
    // listed as a text line. No pHYs: the resolution keeps its value; no bKGD: black. A
    // preview stops after the parameters.
    std::string hex = "\nexif\n      " + std::to_string(exif.size()) + "\n";
    for (uint8_t byte : exif)
        hex += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
    TIOParams preview;
    preview.DpiX = 123;
    preview.PNG_Background = TRGB{1, 1, 1};
    TIEBitmap untouched;
    const std::vector<uint8_t> file = TPngBuilder(7, 5, 8, 6)
                                          .Chunk("zTXt", Deflated("Raw profile type exif", BytesOf(hex)))
                                          .Text("tEXt", std::string("Comment\0kept", 12))
                                          .Rows({{1}})
                                          .End();
    ASSERT_TRUE(DecodePng(file, untouched, preview, true));
    EXPECT_TRUE(untouched.IsEmpty());
    EXPECT_EQ(preview.DpiX, 123);
    EXPECT_EQ(Hex(preview.PNG_Background), 0u);
    EXPECT_EQ(std::pair(preview.Width, preview.Height), std::pair(7, 5));
    EXPECT_EQ(preview.SamplesPerPixel, 4);
    EXPECT_EQ(preview.EXIF_Orientation, 6);
    EXPECT_EQ(preview.PNG_Chunks, (TStrings{"Comment=kept"}));

    EXPECT_EQ(IEDecodeRawProfile("\nexif\n  3\n0a0B ff\n"), (std::vector<uint8_t>{10, 11, 255}));
    // Too few digits, not hexadecimal, no length.
    for (const char* broken : {"\nexif\n  4\n0a0bff\n", "\nexif\n  2\n0g0b\n", "\nexif\nabc\n00\n"})
        EXPECT_TRUE(IEDecodeRawProfile(broken).empty()) << broken;
}

TEST(PngRead, TruncatedFileAbortsAndKeepsTheRowsDecodedSoFar) {
    std::vector<uint8_t> raw;
    for (int y = 0; y < 40; ++y) {
        raw.push_back(0);
        raw.insert(raw.end(), 100, uint8_t(y));
    }
    // Level 0 stores the rows as they are, so a cut after the half keeps about 20 rows.
    std::vector<uint8_t> packed = TPngBuilder::Compress(raw, 0);
    packed.resize(packed.size() / 2);
    TRead read(TPngBuilder(100, 40, 8, 0).Chunk("IDAT", packed).Data());
    EXPECT_FALSE(read.Ok);
    ASSERT_EQ(read.Bitmap.Height(), 40);
    EXPECT_EQ(read.Pixel(50, 3), 0x030303u);
    EXPECT_EQ(read.Pixel(99, 15), 0x0F0F0Fu);
}

TEST(PngRead, HostileFilesFailCleanlyWithinTheLimits) {
    TIEPngLimits small, chunks;
    small.MaxPixels = 100;
    chunks.MaxChunkBytes = 1000;
    chunks.MaxSide = 1024;
    auto badCrc = TPngBuilder(2, 2, 8, 0).Rows({{1, 2}, {3, 4}}).End();
    badCrc[29] ^= 0xFF;
    // A text chunk that claims almost 2 GB in a file of 700 bytes (found by the fuzzer:
    // libpng allocated the claimed length before reading it).
    std::vector<uint8_t> claim = TPngBuilder(2, 2, 8, 0).Data();
    const std::vector<uint8_t> hugeText = {0x74, 0x00, 0x00, 0x31, 't', 'E', 'X', 't', 'K', 0, 'v'};
    claim.insert(claim.end(), hugeText.begin(), hugeText.end());
    claim.resize(700, 0x41);
    // A real 100 kB text chunk under a 1 kB chunk limit. libpng only warns about the size
    // and asks for the buffer anyway; it is refused, so the chunk never arrives (this libpng
    // then loses its place in the file, and the load fails cleanly).
    const auto big = TPngBuilder(2, 1, 8, 0)
                         .Text("tEXt", "Big" + std::string(1, '\0') + std::string(100000, 'x'))
                         .Text("tEXt", std::string("Small\0ok", 8))
                         .Rows({{1, 2}})
                         .End();
    // clang-format off
    const struct { const char* Name; std::vector<uint8_t> File; TIEPngLimits Limits; } cases[] = {
        {"side far above the limit", TPngBuilder(1u << 30, 1, 8, 0).Rows({{1}}).End(), {}},
        {"sides within, product above", TPngBuilder(20, 20, 8, 0).Rows({{1}}).End(), small},
        {"IHDR checksum", badCrc, {}}, {"depth 3 for RGB", TPngBuilder(2, 2, 3, 2).Rows({{1}}).End(), {}},
        {"no signature", BytesOf("GIF89a and more bytes"), {}}, {"nothing", {}, {}},
        {"text claiming 2 GB", claim, {}}, {"chunk above the limit", big, chunks},
    };
    // clang-format on
    const TIEPngLimits saved = IEPngLimits();
    for (const auto& test : cases) {
        IESetPngLimits(test.Limits);
        TRead read(test.File);
        EXPECT_FALSE(read.Ok) << test.Name;
        EXPECT_TRUE(test.File.size() <= 33 || read.Bitmap.IsEmpty() || read.Bitmap.Width() == 2) << test.Name;
        EXPECT_EQ(std::count(read.Params.PNG_TextKeys.begin(), read.Params.PNG_TextKeys.end(), "Big"), 0);
    }
    IESetPngLimits(saved);
    EXPECT_EQ(TRead(big).Params.PNG_TextKeys, (TStrings{"Big", "Small"}));

    // Chunks longer than the stream, or empty (found by the fuzzer: an empty tEXt made the
    // walk read into no buffer): the metadata walk stops without allocating or reading.
    std::vector<uint8_t> lying = TPngBuilder(1, 1, 8, 0).Rows({{1}}).End();
    const std::vector<uint8_t> header = {0x7F, 0xFF, 0xFF, 0xFF, 't', 'E', 'X', 't'};
    lying.insert(lying.begin() + 33, header.begin(), header.end());
    TPngBuilder empty(1, 1, 8, 0);
    for (const char* type : {"tEXt", "zTXt", "iTXt", "eXIf", "iCCP"})
        empty.Chunk(type, {});
    for (const std::vector<uint8_t>& file : {lying, empty.Rows({{9}}).End()}) {
        TIOParams scanned;
        TIEMemoryStream stream(file);
        IEScanPngMetadata(stream, scanned);
        EXPECT_EQ(stream.Position(), 0);
        EXPECT_TRUE(scanned.PNG_Chunks.empty() && scanned.InputICCProfile.empty() &&
                    scanned.XMP_Info.empty());
    }
    // Inflated metadata stops at its cap.
    std::vector<uint8_t> out;
    const std::vector<uint8_t> packed = TPngBuilder::Compress(std::vector<uint8_t>(100000, 0));
    EXPECT_TRUE(IEInflate(packed.data(), packed.size(), 100000, out) && out.size() == 100000u);
    EXPECT_FALSE(IEInflate(packed.data(), packed.size(), 99999, out) || !out.empty());
    EXPECT_FALSE(IEInflate(packed.data(), packed.size() - 4, 100000, out));
}

TEST(PngRead, ProgressCountsEveryRowOfEveryPassAndAHandlerStopsTheRead) {
    PW_REQUIRE_CORPUS();
    TIEBitmap bitmap;
    TIOParams params;
    std::vector<int> seen;
    TStopProgress progress;
    progress.OnProgress = [&](void*, int Percent) {
        seen.push_back(Percent);
        if (Percent >= 50 && !params.PNG_Interlaced) progress.Stopped = true;
    };
    TIEMemoryStream interlaced(ReadCorpusFile("pngsuite/basi6a08.png"));
    ReadPngStream(interlaced, bitmap, params, progress, false);
    EXPECT_FALSE(progress.Stopped);
    EXPECT_EQ(progress.val, 32 * 7);
    EXPECT_DOUBLE_EQ(progress.per1, 100.0 / (32 * 7));
    // 32 rows of 3.125 per cent: row 16 reaches 50.
    TIEMemoryStream plain(ReadCorpusFile("pngsuite/basn2c08.png"));
    ReadPngStream(plain, bitmap, params, progress, false);
    EXPECT_TRUE(progress.Stopped);
    EXPECT_EQ(progress.val, 16);
    EXPECT_EQ(seen.back(), 50);
}

TEST(PngWrite, LosslessLayoutsRoundTripWithTheirTypeAndDepth) {
    // clang-format off
    const struct { const char* Name; TIEPixelFormat Format; bool Alpha; int32_t Samples, Depth, ColourType; } cases[] = {
        {"rgb", ie24RGB, false, 3, 8, iePNG_COLOR_TYPE_RGB}, {"rgb alpha", ie24RGB, true, 3, 8, iePNG_COLOR_TYPE_RGB_ALPHA},
        {"grey", ie8g, false, 1, 8, iePNG_COLOR_TYPE_GRAY}, {"bilevel", ie1g, false, 1, 1, iePNG_COLOR_TYPE_GRAY},
        {"grey 16", ie16g, false, 1, 16, iePNG_COLOR_TYPE_GRAY},
    };
    // clang-format on
    for (bool interlaced : {false, true})
        for (const auto& test : cases) {
            TIEBitmap source;
            source.Allocate(16, 9, test.Format);
            Scramble(source);
            if (test.Alpha) {
                Scramble(*source.AlphaChannel());
                source.AlphaChannel()->SetFull(false);
            }
            TIOParams params;
            params.BitsPerSample = test.Depth;
            params.SamplesPerPixel = test.Samples;
            params.PNG_Interlaced = interlaced;
            params.PNG_Filter = interlaced ? ioPNG_FILTER_PAETH : params.PNG_Filter;
            params.PNG_Compression = interlaced ? 9 : params.PNG_Compression;
            const std::vector<uint8_t> file = EncodePng(source, params);
            ASSERT_GT(file.size(), 28u) << test.Name;
            EXPECT_EQ(std::vector<int>({file[24], file[25], file[28]}),
                      std::vector<int>({test.Depth, test.ColourType, interlaced}))
                << test.Name;
            TRead read(file, true);
            ASSERT_TRUE(read.Ok) << test.Name;
            EXPECT_EQ(Difference(source, read.Bitmap), "") << test.Name << (interlaced ? " interlaced" : "");
        }
}

TEST(PngWrite, DensityIsRoundedToPixelsPerMetreAndTextsGoInPairs) {
    // 96 dpi are 3779.53 pixels per metre, stored as 3780; 54545454 dpi are near the
    // largest a pHYs holds.
    TIEBitmap source;
    FillGrey(source, 1, 1, {5}, ie24RGB);
    TIOParams params;
    params.DpiX = 96;
    params.DpiY = 54545454;
    params.PNG_TextKeys = {"Title", "Unpaired"};
    params.PNG_TextValues = {"Picture"};
    const std::vector<uint8_t> file = EncodePng(source, params), expected = PHYs(3780, 2147458819);
    EXPECT_NE(std::search(file.begin(), file.end(), expected.begin(), expected.end()), file.end());
    TRead read(file);
    EXPECT_EQ(std::pair(read.Params.DpiX, read.Params.DpiY), std::pair(96, 54545454));
    EXPECT_EQ(read.Params.PNG_TextKeys, TStrings{"Title"});
    EXPECT_EQ(read.Params.PNG_TextValues, TStrings{"Picture"});
}

TEST(PngWrite, OneSampleColourWithAlphaBecomesAPaletteWithTheBackgroundFirst) {
    TIEBitmap colour;
    colour.Allocate(3, 1, ie24RGB);
    colour.SetPixels_ie24RGB(0, 0, TRGB{0, 0, 255});
    colour.SetPixels_ie24RGB(1, 0, TRGB{0, 255, 0});
    colour.SetPixels_ie24RGB(2, 0, TRGB{255, 0, 0});
    colour.SetAlpha(0, 0, 10);
    colour.SetAlpha(1, 0, 200);
    TIOParams params;
    params.SamplesPerPixel = 1;
    params.PNG_Background = TRGB{1, 2, 3};
    const std::vector<uint8_t> file = EncodePng(colour, params);
    ASSERT_GT(file.size(), 26u);
    EXPECT_EQ(std::pair(file[24], file[25]), std::pair(uint8_t(8), uint8_t(iePNG_COLOR_TYPE_PALETTE)));
    TRead read(file, true);
    ASSERT_EQ(read.Bitmap.PixelFormat(), ie8p);
    // Entry 0 is the background and the only transparent one.
    EXPECT_EQ(read.Bitmap.GetPixels_ie8(0, 0), 0);
    EXPECT_EQ(Hex(read.Bitmap.GetPalette(0)), 0x030201u);
    EXPECT_EQ(Hex(read.Bitmap.GetPalette(read.Bitmap.GetPixels_ie8(2, 0))), 0x0000FFu);
    EXPECT_EQ(read.All(true), (std::vector<uint32_t>{0, 255, 255}));
    EXPECT_EQ(Hex(read.Params.PNG_Background), 0x030201u);
}

TEST(PngWrite, FailuresRaiseOrAbort) {
    TIEBitmap empty, source(4, 4, ie24RGB);
    TIOParams params;
    EXPECT_EQ(Raised([&] { EncodePng(empty, params); }), "Invalid bitmap");
    class TFullStream : public TIEMemoryStream {
      public:
        size_t Write(const void*, size_t) override { return 0; }
    } stream;
    TStopProgress progress;
    WritePngStream(stream, source, params, progress);
    EXPECT_TRUE(progress.Stopped);
}

// Every valid file: the format its colour type and depth name (xxxn<type><depth>, "t"
// files carry tRNS), and the same pixels as its progressive twin when interlaced.
TEST(PngSuite, EveryValidFileLoadsAsItsNameSays) {
    PW_REQUIRE_CORPUS();
    int files = 0, pairs = 0;
    for (const auto& entry : std::filesystem::directory_iterator(CorpusFile("pngsuite"))) {
        const std::string name = entry.path().filename().string();
        if (entry.path().extension() != ".png" || name == "PngSuite.png") continue;
        ++files;
        TRead read(ReadBytes(entry.path()));
        ASSERT_TRUE(read.Ok) << name;
        const int type = name[4] - '0', depth = std::stoi(name.substr(6, 2));
        const bool transparent =
            type == 4 || type == 6 || (name[0] == 't' && depth > 1 && name.rfind("tp0n", 0) != 0);
        EXPECT_EQ(read.Bitmap.PixelFormat(), type == 0 && depth == 1 ? ie1g : ie24RGB) << name;
        EXPECT_EQ(read.Bitmap.HasAlphaChannel(), transparent) << name;
        if (name.rfind("basi", 0) == 0) {
            ++pairs;
            TRead plain(ReadCorpusFile("pngsuite/basn" + name.substr(4)));
            EXPECT_EQ(Difference(read.Bitmap, plain.Bitmap), "") << name;
        }
    }
    EXPECT_EQ(files, 160);
    EXPECT_EQ(pairs, 15);
}

TEST(PngSuite, CorruptFilesFailCleanly) {
    PW_REQUIRE_CORPUS();
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(CorpusFile("pngsuite/x-corrupt"))) {
        ++files;
        EXPECT_FALSE(TRead(ReadBytes(entry.path())).Ok) << entry.path().filename();
    }
    EXPECT_EQ(files, 14);
    // The regression files of another decoder: any outcome but a crash, and those that
    // lack data must fail.
    for (const auto& entry : std::filesystem::directory_iterator(CorpusFile("image-png/bugfixes-bad"))) {
        const std::string name = entry.path().filename().string();
        const bool ok = TRead(ReadBytes(entry.path())).Ok;
        EXPECT_FALSE(ok && (name == "x_ihdr_missing.png" || name == "x_unexpected_eof.png")) << name;
    }
}
