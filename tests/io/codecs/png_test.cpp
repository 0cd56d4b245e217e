#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "image/bitmap.h"
#include "io/codecs/png.h"
#include "tests/corpus.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/io/jpegtestutil.h"
#include "tests/io/pngtestutil.h"

namespace {

std::vector<uint8_t> Suite(const std::string& Name) {
    return ReadCorpusFile("pngsuite/" + Name);
}

TRGB Grey(uint8_t v) {
    return TRGB{v, v, v};
}

std::vector<uint8_t> BytesOf(const std::string& Text) {
    return std::vector<uint8_t>(Text.begin(), Text.end());
}

// A limit for one test, put back afterwards.
class TScopedPngLimits {
  public:
    explicit TScopedPngLimits(const TIEPngLimits& Limits) : fSaved(IEPngLimits()) { IESetPngLimits(Limits); }
    ~TScopedPngLimits() { IESetPngLimits(fSaved); }

  private:
    TIEPngLimits fSaved;
};

} // namespace

// ---- Colour types and depths as they land in the bitmap ----

TEST(PngRead, BilevelGreyLoadsAsIe1gWithItsBits) {
    // 10 pixels: 1011 0000 01 -> bytes B0 40.
    auto file = TPngBuilder(10, 2, 1, 0).Rows({{0xB0, 0x40}, {0xFF, 0xC0}}).End();
    TIEBitmap bitmap;
    TIOParams params;
    ASSERT_TRUE(DecodePng(file, bitmap, params).Ok);
    EXPECT_EQ(bitmap.PixelFormat(), ie1g);
    EXPECT_FALSE(bitmap.HasAlphaChannel());
    EXPECT_TRUE(bitmap.GetPixels_ie1g(0, 0));
    EXPECT_FALSE(bitmap.GetPixels_ie1g(1, 0));
    EXPECT_TRUE(bitmap.GetPixels_ie1g(2, 0));
    EXPECT_TRUE(bitmap.GetPixels_ie1g(3, 0));
    EXPECT_FALSE(bitmap.GetPixels_ie1g(8, 0));
    EXPECT_TRUE(bitmap.GetPixels_ie1g(9, 0));
    EXPECT_TRUE(bitmap.GetPixels_ie1g(9, 1));
    EXPECT_EQ(params.BitsPerSample, 1);
    EXPECT_EQ(params.SamplesPerPixel, 1);
    EXPECT_EQ(params.Width, 10);
    EXPECT_EQ(params.OriginalHeight, 2);
}

TEST(PngRead, TwoAndFourBitGreyExpandToFullRangeRGB) {
    // 2-bit levels 0..3 are 0, 85, 170, 255; 4-bit level 7 is 119 (7 * 17).
    auto two = TPngBuilder(4, 1, 2, 0).Rows({{0x1B}}).End();
    TIEBitmap bitmap;
    TIOParams params;
    ASSERT_TRUE(DecodePng(two, bitmap, params).Ok);
    ASSERT_EQ(bitmap.PixelFormat(), ie24RGB);
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(0, 0), Grey(0)));
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(1, 0), Grey(85)));
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(2, 0), Grey(170)));
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(3, 0), Grey(255)));
    EXPECT_EQ(params.BitsPerSample, 2);

    auto four = TPngBuilder(2, 1, 4, 0).Rows({{0x7F}}).End();
    ASSERT_TRUE(DecodePng(four, bitmap, params).Ok);
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(0, 0), Grey(119)));
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(1, 0), Grey(255)));
}

TEST(PngRead, GreyKeyColourBecomesAlpha) {
    // tRNS names level 0x40: that pixel gets alpha 0, the others 255.
    auto file = TPngBuilder(3, 1, 8, 0).Chunk("tRNS", {0x00, 0x40}).Rows({{0x40, 0x41, 0x00}}).End();
    TIEBitmap bitmap;
    TIOParams params;
    ASSERT_TRUE(DecodePng(file, bitmap, params).Ok);
    ASSERT_EQ(bitmap.PixelFormat(), ie24RGB);
    ASSERT_TRUE(bitmap.HasAlphaChannel());
    EXPECT_FALSE(bitmap.AlphaChannel()->Full());
    EXPECT_EQ(bitmap.GetAlpha(0, 0), 0);
    EXPECT_EQ(bitmap.GetAlpha(1, 0), 255);
    EXPECT_EQ(bitmap.GetAlpha(2, 0), 255);
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(1, 0), Grey(0x41)));
}

TEST(PngRead, SixteenBitSamplesLoseTheirLowByteUnlessNative) {
    auto grey = TPngBuilder(2, 1, 16, 0).Rows({{0x12, 0x34, 0xAB, 0xCD}}).End();
    TIEBitmap bitmap;
    TIOParams params;
    ASSERT_TRUE(DecodePng(grey, bitmap, params).Ok);
    ASSERT_EQ(bitmap.PixelFormat(), ie24RGB);
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(0, 0), Grey(0x12)));
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(1, 0), Grey(0xAB)));
    EXPECT_EQ(params.BitsPerSample, 16);

    params.NativePixelFormat = true;
    ASSERT_TRUE(DecodePng(grey, bitmap, params).Ok);
    ASSERT_EQ(bitmap.PixelFormat(), ie16g);
    EXPECT_EQ(bitmap.GetPixels_ie16g(0, 0), 0x1234);
    EXPECT_EQ(bitmap.GetPixels_ie16g(1, 0), 0xABCD);

    auto grey8 = TPngBuilder(2, 1, 8, 0).Rows({{7, 250}}).End();
    ASSERT_TRUE(DecodePng(grey8, bitmap, params).Ok);
    ASSERT_EQ(bitmap.PixelFormat(), ie8g);
    EXPECT_EQ(bitmap.GetPixels_ie8(1, 0), 250);

    params.NativePixelFormat = false;
    auto rgb16 = TPngBuilder(1, 1, 16, 2).Rows({{0x10, 0xFF, 0x20, 0xFF, 0x30, 0x01}}).End();
    ASSERT_TRUE(DecodePng(rgb16, bitmap, params).Ok);
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(0, 0), (TRGB{0x30, 0x20, 0x10})));
    EXPECT_EQ(params.SamplesPerPixel, 3);
    EXPECT_EQ(params.BitsPerSample, 16);
}

TEST(PngRead, PaletteWithTransparencyLoadsAsRGBWithTheTRNSAlpha) {
    const std::vector<uint8_t> palette = {255, 0, 0, 0, 255, 0, 0, 0, 255};
    // Three tRNS entries for a palette of three: 0, 128 and 255; index 2 has its own 255.
    auto file =
        TPngBuilder(3, 1, 8, 3).Chunk("PLTE", palette).Chunk("tRNS", {0, 128}).Rows({{0, 1, 2}}).End();
    TIEBitmap bitmap;
    TIOParams params;
    ASSERT_TRUE(DecodePng(file, bitmap, params).Ok);
    ASSERT_EQ(bitmap.PixelFormat(), ie24RGB);
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(0, 0), (TRGB{0, 0, 255})));
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(1, 0), (TRGB{0, 255, 0})));
    EXPECT_EQ(bitmap.GetAlpha(0, 0), 0);
    EXPECT_EQ(bitmap.GetAlpha(1, 0), 128);
    EXPECT_EQ(bitmap.GetAlpha(2, 0), 255);
    EXPECT_EQ(params.BitsPerSample, 8);
    EXPECT_EQ(params.SamplesPerPixel, 1);
    ASSERT_EQ(params.ColorMap.size(), 3u);
    EXPECT_TRUE(SameRGB(params.ColorMap[2], (TRGB{255, 0, 0})));

    // Native: the indexes stay, the palette goes into the bitmap, tRNS into the alpha.
    params.NativePixelFormat = true;
    ASSERT_TRUE(DecodePng(file, bitmap, params).Ok);
    ASSERT_EQ(bitmap.PixelFormat(), ie8p);
    EXPECT_EQ(bitmap.GetPixels_ie8(2, 0), 2);
    EXPECT_TRUE(SameRGB(bitmap.GetPalette(1), (TRGB{0, 255, 0})));
    EXPECT_EQ(bitmap.GetAlpha(0, 0), 0);
    EXPECT_EQ(bitmap.GetAlpha(1, 0), 128);
    EXPECT_EQ(bitmap.GetAlpha(2, 0), 255);
}

TEST(PngRead, OneBitPaletteIsLookedUpPerPixel) {
    const std::vector<uint8_t> palette = {10, 20, 30, 200, 210, 220};
    auto file = TPngBuilder(9, 1, 1, 3).Chunk("PLTE", palette).Rows({{0x81, 0x80}}).End();
    TIEBitmap bitmap;
    TIOParams params;
    ASSERT_TRUE(DecodePng(file, bitmap, params).Ok);
    ASSERT_EQ(bitmap.PixelFormat(), ie24RGB);
    const TRGB zero{30, 20, 10}, one{220, 210, 200};
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(0, 0), one));
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(1, 0), zero));
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(7, 0), one));
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(8, 0), one));
}

TEST(PngRead, AlphaTypesSplitColourAndAlpha) {
    auto greyAlpha = TPngBuilder(2, 1, 8, 4).Rows({{100, 7, 200, 255}}).End();
    TIEBitmap bitmap;
    TIOParams params;
    ASSERT_TRUE(DecodePng(greyAlpha, bitmap, params).Ok);
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(0, 0), Grey(100)));
    EXPECT_EQ(bitmap.GetAlpha(0, 0), 7);
    EXPECT_EQ(bitmap.GetAlpha(1, 0), 255);
    EXPECT_EQ(params.SamplesPerPixel, 2);

    auto rgba16 =
        TPngBuilder(1, 2, 16, 6).Rows({{1, 0, 2, 0, 3, 0, 4, 0}, {9, 9, 8, 8, 7, 7, 0x80, 1}}).End();
    ASSERT_TRUE(DecodePng(rgba16, bitmap, params).Ok);
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(0, 0), (TRGB{3, 2, 1})));
    EXPECT_EQ(bitmap.GetAlpha(0, 0), 4);
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(0, 1), (TRGB{7, 8, 9})));
    EXPECT_EQ(bitmap.GetAlpha(0, 1), 0x80);
    EXPECT_EQ(params.SamplesPerPixel, 4);
    EXPECT_EQ(params.BitsPerSample, 16);

    // An RGB key colour (16-bit values of the 8-bit samples) becomes alpha 0.
    auto keyed = TPngBuilder(2, 1, 8, 2).Chunk("tRNS", {0, 1, 0, 2, 0, 3}).Rows({{1, 2, 3, 1, 2, 4}}).End();
    ASSERT_TRUE(DecodePng(keyed, bitmap, params).Ok);
    EXPECT_EQ(bitmap.GetAlpha(0, 0), 0);
    EXPECT_EQ(bitmap.GetAlpha(1, 0), 255);
}

// ---- Parameters and metadata ----

TEST(PngRead, ParametersComeFromTextBackgroundAndPHYs) {
    // 3780 pixels per metre are 96.012 dots per inch.
    std::vector<uint8_t> phys;
    TPngBuilder::Put32(phys, 3780);
    TPngBuilder::Put32(phys, 2835);
    phys.push_back(1);
    auto file = TPngBuilder(1, 1, 8, 2)
                    .Chunk("pHYs", phys)
                    .Chunk("bKGD", {0, 10, 0, 20, 0, 30})
                    .Text("tEXt", std::string("Title\0Hello", 11))
                    .Text("tEXt", std::string("Author\0Me", 9))
                    .Rows({{1, 2, 3}})
                    .End();
    TIEBitmap bitmap;
    TIOParams params;
    ASSERT_TRUE(DecodePng(file, bitmap, params).Ok);
    EXPECT_EQ(params.DpiX, 96);
    EXPECT_EQ(params.DpiY, 72);
    EXPECT_TRUE(SameRGB(params.PNG_Background, (TRGB{30, 20, 10})));
    EXPECT_EQ(params.PNG_TextKeys, (std::vector<std::string>{"Title", "Author"}));
    EXPECT_EQ(params.PNG_TextValues, (std::vector<std::string>{"Hello", "Me"}));
    EXPECT_EQ(params.ImageCount, 1);
    EXPECT_FALSE(params.PNG_Interlaced);

    // No pHYs: the resolution keeps its default; no bKGD: black.
    TIOParams plain;
    plain.DpiX = 123;
    auto bare = TPngBuilder(1, 1, 8, 2).Rows({{1, 2, 3}}).End();
    ASSERT_TRUE(DecodePng(bare, bitmap, plain).Ok);
    EXPECT_EQ(plain.DpiX, 123);
    EXPECT_TRUE(SameRGB(plain.PNG_Background, (TRGB{0, 0, 0})));
    EXPECT_TRUE(plain.PNG_TextKeys.empty());
}

TEST(PngRead, MetadataScanFindsExifAndXmpWhereverTheyLie) {
    std::vector<uint8_t> exif = ExifBlock(6);
    std::vector<uint8_t> bareTiff(exif.begin() + 6, exif.end());
    const std::string xmp = "<x:xmpmeta>payload</x:xmpmeta>";
    std::string itxt = std::string("XML:com.adobe.xmp") + '\0' + '\0' + '\0' + '\0' + '\0' + xmp;
    // Both after the image data; the eXIf without its "Exif" header.
    auto file = TPngBuilder(1, 1, 8, 0).Rows({{5}}).Chunk("eXIf", bareTiff).Text("iTXt", itxt).End();
    TIEBitmap bitmap;
    TIOParams params;
    ASSERT_TRUE(DecodePng(file, bitmap, params).Ok);
    EXPECT_TRUE(params.EXIF_HasEXIFData);
    EXPECT_EQ(params.EXIF_Orientation, 6);
    EXPECT_EQ(params.XMP_Info, xmp);

    // The same EXIF block in the hexadecimal raw profile form of a compressed text chunk.
    std::string hex = "\nexif\n      " + std::to_string(exif.size()) + "\n";
    for (size_t i = 0; i < exif.size(); ++i) {
        static const char digits[] = "0123456789abcdef";
        hex += digits[exif[i] >> 4];
        hex += digits[exif[i] & 15];
        if (i % 36 == 35) hex += '\n';
    }
    std::vector<uint8_t> ztxt = BytesOf(std::string("Raw profile type exif") + '\0' + '\0');
    std::vector<uint8_t> packed = TPngBuilder::Compress(BytesOf(hex));
    ztxt.insert(ztxt.end(), packed.begin(), packed.end());
    std::vector<uint8_t> note = BytesOf(std::string("Comment") + '\0' + "kept");
    auto profiled = TPngBuilder(1, 1, 8, 0).Chunk("zTXt", ztxt).Chunk("tEXt", note).Rows({{5}}).End();
    TIOParams second;
    ASSERT_TRUE(DecodePng(profiled, bitmap, second).Ok);
    EXPECT_EQ(second.EXIF_Orientation, 6);
    // Only the ordinary text chunk is listed as a line.
    EXPECT_EQ(second.PNG_Chunks, (std::vector<std::string>{"Comment=kept"}));
}

TEST(PngRead, ICCProfileIsInflatedIntoTheParameters) {
    const std::vector<uint8_t> profile = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    std::vector<uint8_t> iccp = BytesOf(std::string("ICC") + '\0' + '\0');
    std::vector<uint8_t> packed = TPngBuilder::Compress(profile);
    iccp.insert(iccp.end(), packed.begin(), packed.end());
    auto file = TPngBuilder(1, 1, 8, 2).Chunk("iCCP", iccp).Rows({{1, 2, 3}}).End();
    TIEBitmap bitmap;
    TIOParams params;
    ASSERT_TRUE(DecodePng(file, bitmap, params).Ok);
    EXPECT_EQ(params.InputICCProfile, profile);
}

TEST(PngRead, RawProfileDecodingRejectsBrokenForms) {
    EXPECT_EQ(IEDecodeRawProfile("\nexif\n  3\n0a0B ff\n"), (std::vector<uint8_t>{10, 11, 255}));
    EXPECT_TRUE(IEDecodeRawProfile("\nexif\n  4\n0a0bff\n").empty()); // too few digits
    EXPECT_TRUE(IEDecodeRawProfile("\nexif\n  2\n0g0b\n").empty());   // not hexadecimal
    EXPECT_TRUE(IEDecodeRawProfile("\nexif\nabc\n00\n").empty());     // no length
}

TEST(PngRead, PreviewFillsTheParametersOnly) {
    auto file =
        TPngBuilder(7, 5, 8, 6).Rows(std::vector<std::vector<uint8_t>>(5, std::vector<uint8_t>(28))).End();
    TIEBitmap bitmap;
    TIOParams params;
    ASSERT_TRUE(DecodePng(file, bitmap, params, true).Ok);
    EXPECT_EQ(params.Width, 7);
    EXPECT_EQ(params.Height, 5);
    EXPECT_EQ(params.SamplesPerPixel, 4);
    EXPECT_TRUE(bitmap.IsEmpty());
}

// ---- Failures ----

TEST(PngRead, TruncatedFileAbortsAndKeepsTheRowsDecodedSoFar) {
    // Each row compressed on its own would need a flush; instead the IDAT data is cut
    // after the deflate stream has produced the first rows of a stored block.
    std::vector<uint8_t> raw;
    for (int y = 0; y < 40; ++y) {
        raw.push_back(0);
        for (int x = 0; x < 100; ++x)
            raw.push_back(uint8_t(y));
    }
    uLongf size = compressBound(uLong(raw.size()));
    std::vector<uint8_t> packed(size);
    // Level 0 stores the rows as they are, so a cut after the half keeps about 20 rows.
    compress2(packed.data(), &size, raw.data(), uLong(raw.size()), 0);
    packed.resize(size / 2);
    TPngBuilder builder(100, 40, 8, 0);
    builder.Chunk("IDAT", packed);
    std::vector<uint8_t> file = builder.Data();
    TIEBitmap bitmap;
    TIOParams params;
    EXPECT_FALSE(DecodePng(file, bitmap, params).Ok);
    ASSERT_EQ(bitmap.Height(), 40);
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(50, 3), Grey(3)));
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(99, 15), Grey(15)));
}

TEST(PngRead, HostileHeadersFailCleanly) {
    TIEBitmap bitmap;
    TIOParams params;
    // A side far above the limit is refused by libpng before anything is allocated.
    auto huge = TPngBuilder(1u << 30, 1, 8, 0).Rows({{1}}).End();
    EXPECT_FALSE(DecodePng(huge, bitmap, params).Ok);
    EXPECT_TRUE(bitmap.IsEmpty());

    // Sides within the limit whose product isn't.
    {
        TIEPngLimits limits;
        limits.MaxPixels = 100;
        TScopedPngLimits scoped(limits);
        auto wide = TPngBuilder(20, 20, 8, 0).Rows({{1}}).End();
        EXPECT_FALSE(DecodePng(wide, bitmap, params).Ok);
        EXPECT_TRUE(bitmap.IsEmpty());
    }

    // A damaged IHDR checksum, a bad depth for the colour type, no signature, nothing.
    auto file = TPngBuilder(2, 2, 8, 0).Rows({{1, 2}, {3, 4}}).End();
    file[29] ^= 0xFF;
    EXPECT_FALSE(DecodePng(file, bitmap, params).Ok);
    EXPECT_FALSE(DecodePng(TPngBuilder(2, 2, 3, 2).Rows({{1}}).End(), bitmap, params).Ok);
    EXPECT_FALSE(DecodePng(BytesOf("GIF89a and more bytes"), bitmap, params).Ok);
    EXPECT_FALSE(DecodePng({}, bitmap, params).Ok);

    // A text chunk that claims almost 2 GB in a file of a few hundred bytes (found by the
    // fuzzer: libpng allocated the claimed length before reading it).
    std::vector<uint8_t> claim = TPngBuilder(2, 2, 8, 0).Data();
    const std::vector<uint8_t> hugeText = {0x74, 0x00, 0x00, 0x31, 't', 'E', 'X', 't', 'K', 0, 'v'};
    claim.insert(claim.end(), hugeText.begin(), hugeText.end());
    claim.resize(700, 0x41);
    EXPECT_FALSE(DecodePng(claim, bitmap, params).Ok);

    // A text chunk longer than the stream: the metadata walk stops without allocating.
    std::vector<uint8_t> lying = TPngBuilder(1, 1, 8, 0).Rows({{1}}).End();
    const std::vector<uint8_t> header = {0x7F, 0xFF, 0xFF, 0xFF, 't', 'E', 'X', 't'};
    lying.insert(lying.begin() + 33, header.begin(), header.end());
    TIOParams scanned;
    TIEMemoryStream stream(lying);
    IEScanPngMetadata(stream, scanned);
    EXPECT_EQ(stream.Position(), 0);
    EXPECT_TRUE(scanned.PNG_Chunks.empty());
}

TEST(PngRead, LibraryAllocationsStayWithinTheLimits) {
    // A real 100 kB text chunk under a 1 kB chunk limit. libpng only warns about the
    // size and asks for the buffer anyway; it is refused, so the chunk never arrives
    // (this libpng then loses its place in the file, and the load fails cleanly).
    TIEPngLimits limits;
    limits.MaxChunkBytes = 1000;
    limits.MaxSide = 1024;
    TScopedPngLimits scoped(limits);
    auto file = TPngBuilder(2, 1, 8, 0)
                    .Text("tEXt", "Big" + std::string(1, '\0') + std::string(100000, 'x'))
                    .Text("tEXt", std::string("Small\0ok", 8))
                    .Rows({{1, 2}})
                    .End();
    TIEBitmap bitmap;
    TIOParams params;
    DecodePng(file, bitmap, params);
    EXPECT_EQ(std::find(params.PNG_TextKeys.begin(), params.PNG_TextKeys.end(), "Big"),
              params.PNG_TextKeys.end());
    // Under the default limits the same file loads with both texts.
    IESetPngLimits(TIEPngLimits{});
    ASSERT_TRUE(DecodePng(file, bitmap, params).Ok);
    EXPECT_EQ(params.PNG_TextKeys, (std::vector<std::string>{"Big", "Small"}));
}

TEST(PngRead, EmptyMetadataChunksAreHarmless) {
    // Found by the fuzzer: an empty tEXt made the metadata walk read into no buffer.
    auto file = TPngBuilder(1, 1, 8, 0)
                    .Chunk("tEXt", {})
                    .Chunk("zTXt", {})
                    .Chunk("iTXt", {})
                    .Chunk("eXIf", {})
                    .Chunk("iCCP", {})
                    .Rows({{9}})
                    .End();
    TIEMemoryStream stream(file);
    TIOParams params;
    IEScanPngMetadata(stream, params);
    EXPECT_TRUE(params.PNG_Chunks.empty());
    EXPECT_TRUE(params.InputICCProfile.empty());
    EXPECT_TRUE(params.XMP_Info.empty());
    EXPECT_EQ(stream.Position(), 0);
}

TEST(PngRead, InflateStopsAtItsLimit) {
    std::vector<uint8_t> zeros(100000, 0);
    std::vector<uint8_t> packed = TPngBuilder::Compress(zeros);
    std::vector<uint8_t> out;
    EXPECT_TRUE(IEInflate(packed.data(), packed.size(), 100000, out));
    EXPECT_EQ(out.size(), 100000u);
    EXPECT_FALSE(IEInflate(packed.data(), packed.size(), 99999, out));
    EXPECT_TRUE(out.empty());
    EXPECT_FALSE(IEInflate(packed.data(), packed.size() - 4, 100000, out));
}

TEST(PngRead, ProgressCountsEveryRowOfEveryPassAndAHandlerStopsTheRead) {
    PW_REQUIRE_CORPUS();
    TIEBitmap bitmap;
    TIOParams params;
    TPngLoad load = DecodePng(Suite("basi6a08.png"), bitmap, params);
    ASSERT_TRUE(load.Ok);
    EXPECT_EQ(load.RowsReported, 32 * 7);
    EXPECT_DOUBLE_EQ(load.Per1, 100.0 / (32 * 7));
    EXPECT_TRUE(params.PNG_Interlaced);

    TIEMemoryStream stream(Suite("basn2c08.png"));
    bool aborting = false;
    std::vector<int> seen;
    TProgressRec progress;
    progress.Aborting = &aborting;
    progress.OnProgress = [&](void*, int per) {
        seen.push_back(per);
        if (per >= 50) aborting = true;
    };
    ReadPngStream(stream, bitmap, params, progress, false);
    EXPECT_TRUE(aborting);
    // 32 rows: 3 per cent a row, the handler stops at row 16.
    EXPECT_EQ(progress.val, 16);
    ASSERT_FALSE(seen.empty());
    EXPECT_EQ(seen.back(), 50);
}

// ---- The writer ----

TEST(PngWrite, ColourWithAndWithoutAlphaRoundTrips) {
    TIEBitmap source;
    source.Allocate(3, 2, ie24RGB);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x)
            source.SetPixels_ie24RGB(x, y, TRGB{uint8_t(x * 40), uint8_t(y * 90), uint8_t(x + y * 7)});
    TIOParams params;
    auto file = EncodePng(source, params);
    ASSERT_FALSE(file.empty());
    EXPECT_EQ(file[25], iePNG_COLOR_TYPE_RGB);
    TIEBitmap loaded;
    TIOParams read;
    ASSERT_TRUE(DecodePng(file, loaded, read).Ok);
    EXPECT_EQ(FirstDifference(source, loaded), "");
    EXPECT_FALSE(loaded.HasAlphaChannel());

    source.AlphaChannel()->SetFull(false);
    source.SetAlpha(1, 1, 77);
    source.SetAlpha(2, 0, 0);
    file = EncodePng(source, params);
    EXPECT_EQ(file[25], iePNG_COLOR_TYPE_RGB_ALPHA);
    ASSERT_TRUE(DecodePng(file, loaded, read).Ok);
    EXPECT_EQ(FirstDifference(source, loaded), "");
    EXPECT_EQ(loaded.GetAlpha(1, 1), 77);
    EXPECT_EQ(loaded.GetAlpha(2, 0), 0);
    EXPECT_EQ(loaded.GetAlpha(0, 0), 255);
}

TEST(PngWrite, OneSamplePicturesBecomeGreyOrPalette) {
    TIOParams params;
    params.SamplesPerPixel = 1;
    params.BitsPerSample = 8;
    // Grey content: written as grey, read back equal.
    TIEBitmap grey;
    grey.Allocate(2, 1, ie8g);
    grey.SetPixels_ie8(0, 0, 12);
    grey.SetPixels_ie8(1, 0, 240);
    auto file = EncodePng(grey, params);
    ASSERT_FALSE(file.empty());
    EXPECT_EQ(file[25], iePNG_COLOR_TYPE_GRAY);
    TIEBitmap loaded;
    TIOParams read;
    read.NativePixelFormat = true;
    ASSERT_TRUE(DecodePng(file, loaded, read).Ok);
    EXPECT_EQ(FirstDifference(grey, loaded), "");

    // Colours: a palette; with alpha, entry 0 is the background and the transparent one.
    TIEBitmap colour;
    colour.Allocate(3, 1, ie24RGB);
    colour.SetPixels_ie24RGB(0, 0, TRGB{0, 0, 255});
    colour.SetPixels_ie24RGB(1, 0, TRGB{0, 255, 0});
    colour.SetPixels_ie24RGB(2, 0, TRGB{255, 0, 0});
    colour.AlphaChannel()->SetFull(false);
    colour.SetAlpha(0, 0, 10);
    colour.SetAlpha(1, 0, 200);
    params.PNG_Background = TRGB{1, 2, 3};
    file = EncodePng(colour, params);
    ASSERT_FALSE(file.empty());
    EXPECT_EQ(file[24], 8);
    EXPECT_EQ(file[25], iePNG_COLOR_TYPE_PALETTE);
    read.NativePixelFormat = true;
    ASSERT_TRUE(DecodePng(file, loaded, read).Ok);
    ASSERT_EQ(loaded.PixelFormat(), ie8p);
    EXPECT_EQ(loaded.GetPixels_ie8(0, 0), 0);
    EXPECT_TRUE(SameRGB(loaded.GetPalette(0), (TRGB{1, 2, 3})));
    EXPECT_TRUE(SameRGB(loaded.GetPalette(loaded.GetPixels_ie8(2, 0)), (TRGB{255, 0, 0})));
    EXPECT_EQ(loaded.GetAlpha(0, 0), 0);
    EXPECT_EQ(loaded.GetAlpha(1, 0), 255);
    EXPECT_TRUE(SameRGB(read.PNG_Background, (TRGB{1, 2, 3})));
}

TEST(PngWrite, BilevelAndSixteenBitGreyKeepTheirDepth) {
    TIEBitmap bilevel;
    bilevel.Allocate(11, 2, ie1g);
    bilevel.Fill(0);
    bilevel.SetPixels_ie1g(0, 0, true);
    bilevel.SetPixels_ie1g(10, 1, true);
    TIOParams params;
    params.BitsPerSample = 1;
    params.SamplesPerPixel = 1;
    auto file = EncodePng(bilevel, params);
    ASSERT_FALSE(file.empty());
    EXPECT_EQ(file[24], 1);
    TIEBitmap loaded;
    TIOParams read;
    ASSERT_TRUE(DecodePng(file, loaded, read).Ok);
    ASSERT_EQ(loaded.PixelFormat(), ie1g);
    EXPECT_EQ(FirstDifference(bilevel, loaded), "");

    TIEBitmap deep;
    deep.Allocate(2, 1, ie16g);
    deep.SetPixels_ie16g(0, 0, 0x0102);
    deep.SetPixels_ie16g(1, 0, 0xFEDC);
    params.BitsPerSample = 16;
    file = EncodePng(deep, params);
    ASSERT_FALSE(file.empty());
    EXPECT_EQ(file[24], 16);
    read.NativePixelFormat = true;
    ASSERT_TRUE(DecodePng(file, loaded, read).Ok);
    ASSERT_EQ(loaded.PixelFormat(), ie16g);
    EXPECT_EQ(loaded.GetPixels_ie16g(0, 0), 0x0102);
    EXPECT_EQ(loaded.GetPixels_ie16g(1, 0), 0xFEDC);
}

TEST(PngWrite, InterlaceResolutionTextAndFilterReachTheFile) {
    TIEBitmap source;
    source.Allocate(13, 9, ie24RGB);
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 13; ++x)
            source.SetPixels_ie24RGB(x, y, TRGB{uint8_t(x * 19), uint8_t(y * 27), uint8_t(x ^ y)});
    TIOParams params;
    params.PNG_Interlaced = true;
    params.DpiX = 96;
    params.DpiY = 54545454; // 2147458819 pixels per metre, near the largest a pHYs holds
    params.PNG_Filter = ioPNG_FILTER_PAETH;
    params.PNG_Compression = 9;
    params.PNG_TextKeys = {"Title", "Unpaired"};
    params.PNG_TextValues = {"Picture"};
    auto file = EncodePng(source, params);
    ASSERT_FALSE(file.empty());
    TIEBitmap loaded;
    TIOParams read;
    ASSERT_TRUE(DecodePng(file, loaded, read).Ok);
    EXPECT_EQ(FirstDifference(source, loaded), "");
    EXPECT_TRUE(read.PNG_Interlaced);
    // 96 dpi are stored as 3780 pixels per metre, which read back as 96.
    EXPECT_EQ(read.DpiX, 96);
    EXPECT_EQ(read.DpiY, 54545454);
    EXPECT_EQ(read.PNG_TextKeys, (std::vector<std::string>{"Title"}));
    EXPECT_EQ(read.PNG_TextValues, (std::vector<std::string>{"Picture"}));
}

TEST(PngWrite, BitmapWithoutSizeRaises) {
    TIEBitmap empty;
    TIOParams params;
    try {
        EncodePng(empty, params);
        FAIL() << "no exception";
    } catch (const EIEException& e) {
        EXPECT_STREQ(e.what(), "Invalid bitmap");
    }
}

TEST(PngWrite, StreamThatRefusesBytesAbortsTheEncode) {
    class TFullStream : public TIEMemoryStream {
      public:
        size_t Write(const void*, size_t) override { return 0; }
    } stream;
    TIEBitmap source;
    source.Allocate(4, 4, ie24RGB);
    TIOParams params;
    bool aborting = false;
    TProgressRec progress;
    progress.Aborting = &aborting;
    WritePngStream(stream, source, params, progress);
    EXPECT_TRUE(aborting);
}

// ---- The PngSuite ----

namespace {

struct TSuiteExpectation {
    TIEPixelFormat Format;
    bool Alpha;
};

// The colour type and depth are in the name: xxxn<type><depth>; "t" files carry tRNS.
TSuiteExpectation ExpectationFor(const std::string& Name) {
    const int type = Name[4] - '0';
    const int depth = std::stoi(Name.substr(6, 2));
    const bool transparent =
        (type == 4 || type == 6) || (Name[0] == 't' && depth > 1 && Name != "tp0n3p08.png" &&
                                     Name != "tp0n2c08.png" && Name != "tp0n0g08.png");
    if (type == 0 && depth == 1) return {ie1g, false};
    return {ie24RGB, transparent};
}

} // namespace

TEST(PngSuite, EveryValidFileLoadsAsItsColourTypeSays) {
    PW_REQUIRE_CORPUS();
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(CorpusFile("pngsuite"))) {
        const std::string name = entry.path().filename().string();
        if (entry.path().extension() != ".png" || name == "PngSuite.png") continue;
        ++files;
        TIEBitmap bitmap;
        TIOParams params;
        ASSERT_TRUE(DecodePng(ReadBytes(entry.path()), bitmap, params).Ok) << name;
        const TSuiteExpectation expected = ExpectationFor(name);
        EXPECT_EQ(bitmap.PixelFormat(), expected.Format) << name;
        EXPECT_EQ(bitmap.HasAlphaChannel(), expected.Alpha) << name;
        EXPECT_EQ(bitmap.Width(), params.Width) << name;
        EXPECT_GT(bitmap.Width(), 0) << name;
    }
    EXPECT_EQ(files, 160);
}

TEST(PngSuite, CorruptFilesFailCleanly) {
    PW_REQUIRE_CORPUS();
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(CorpusFile("pngsuite/x-corrupt"))) {
        ++files;
        TIEBitmap bitmap;
        TIOParams params;
        EXPECT_FALSE(DecodePng(ReadBytes(entry.path()), bitmap, params).Ok) << entry.path().filename();
    }
    EXPECT_EQ(files, 14);
    // The regression files of another decoder: any outcome but a crash, and those that
    // lack data must fail.
    for (const auto& entry : std::filesystem::directory_iterator(CorpusFile("image-png/bugfixes-bad"))) {
        TIEBitmap bitmap;
        TIOParams params;
        const bool ok = DecodePng(ReadBytes(entry.path()), bitmap, params).Ok;
        const std::string name = entry.path().filename().string();
        if (name == "x_ihdr_missing.png" || name == "x_unexpected_eof.png") {
            EXPECT_FALSE(ok) << name;
        }
    }
}

TEST(PngSuite, KnownPixelsOfSelectedFiles) {
    PW_REQUIRE_CORPUS();
    TIEBitmap bitmap;
    TIOParams params;
    // basn0g01: the first row's last byte is FE, so only pixel 31 is black.
    ASSERT_TRUE(DecodePng(Suite("basn0g01.png"), bitmap, params).Ok);
    EXPECT_TRUE(bitmap.GetPixels_ie1g(30, 0));
    EXPECT_FALSE(bitmap.GetPixels_ie1g(31, 0));
    EXPECT_FALSE(bitmap.GetPixels_ie1g(0, 31));
    // basn0g08: the first row counts up from 0.
    ASSERT_TRUE(DecodePng(Suite("basn0g08.png"), bitmap, params).Ok);
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(11, 0), Grey(11)));
    // basn0g16: words 0000 0900 1200 give 0, 9, 18; natively 0x0900 stays.
    ASSERT_TRUE(DecodePng(Suite("basn0g16.png"), bitmap, params).Ok);
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(2, 0), Grey(18)));
    TIOParams native;
    native.NativePixelFormat = true;
    ASSERT_TRUE(DecodePng(Suite("basn0g16.png"), bitmap, native).Ok);
    EXPECT_EQ(bitmap.GetPixels_ie16g(1, 0), 0x0900);
    // basn2c08: FF FF FE is the second pixel.
    ASSERT_TRUE(DecodePng(Suite("basn2c08.png"), bitmap, params).Ok);
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(1, 0), (TRGB{254, 255, 255})));
    // basn3p04: index 8 is FF 00 00, index 5 is FF 66 00.
    ASSERT_TRUE(DecodePng(Suite("basn3p04.png"), bitmap, params).Ok);
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(0, 0), (TRGB{0, 0, 255})));
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(4, 0), (TRGB{0, 0x66, 0xFF})));
    // basn4a08: grey 255 with alpha 0, 8, 16 along the first row.
    ASSERT_TRUE(DecodePng(Suite("basn4a08.png"), bitmap, params).Ok);
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(1, 0), Grey(255)));
    EXPECT_EQ(bitmap.GetAlpha(0, 0), 0);
    EXPECT_EQ(bitmap.GetAlpha(2, 0), 16);
    // basn6a08: FF 00 08 with alpha 0, then 8.
    ASSERT_TRUE(DecodePng(Suite("basn6a08.png"), bitmap, params).Ok);
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(0, 0), (TRGB{8, 0, 255})));
    EXPECT_EQ(bitmap.GetAlpha(1, 0), 8);
    // tbbn3p08: index 0 (white) is transparent; bKGD names index 245, black.
    ASSERT_TRUE(DecodePng(Suite("tbbn3p08.png"), bitmap, params).Ok);
    EXPECT_EQ(bitmap.GetAlpha(0, 0), 0);
    EXPECT_TRUE(SameRGB(bitmap.GetPixels_ie24RGB(0, 0), Grey(255)));
    EXPECT_TRUE(SameRGB(params.PNG_Background, Grey(0)));
    // tbrn2c08: bKGD 00FF 0000 0000 at 8 bits is red... stored as 16-bit values of 8-bit samples.
    ASSERT_TRUE(DecodePng(Suite("tbrn2c08.png"), bitmap, params).Ok);
    EXPECT_TRUE(SameRGB(params.PNG_Background, (TRGB{0, 0, 255})));
    // cdun2c08: 1000 pixels per metre are 25.4 dpi.
    ASSERT_TRUE(DecodePng(Suite("cdun2c08.png"), bitmap, params).Ok);
    EXPECT_EQ(params.DpiX, 25);
    // ctzn0g04: the compressed copyright note is found by the metadata scan.
    TIOParams texts;
    ASSERT_TRUE(DecodePng(Suite("ctzn0g04.png"), bitmap, texts).Ok);
    EXPECT_NE(std::find(texts.PNG_Chunks.begin(), texts.PNG_Chunks.end(),
                        "Copyright=Copyright Willem van Schaik, Singapore 1995-96"),
              texts.PNG_Chunks.end());
    EXPECT_NE(std::find(texts.PNG_TextKeys.begin(), texts.PNG_TextKeys.end(), "Copyright"),
              texts.PNG_TextKeys.end());
    // An eXIf chunk ahead of IHDR's neighbours: orientation 6 in big-endian TIFF.
    TIOParams exif;
    ASSERT_TRUE(DecodePng(ReadCorpusFile("image-png/bugfixes/F-exif-chunk-early.png"), bitmap, exif).Ok);
    EXPECT_TRUE(exif.EXIF_HasEXIFData);
    EXPECT_EQ(exif.EXIF_Orientation, 6);
}

TEST(PngSuite, InterlacedFilesEqualTheirProgressiveTwins) {
    PW_REQUIRE_CORPUS();
    int pairs = 0;
    for (const auto& entry : std::filesystem::directory_iterator(CorpusFile("pngsuite"))) {
        const std::string name = entry.path().filename().string();
        if (name.rfind("basi", 0) != 0) continue;
        TIEBitmap interlaced, plain;
        TIOParams paramsI, paramsN;
        ASSERT_TRUE(DecodePng(ReadBytes(entry.path()), interlaced, paramsI).Ok) << name;
        ASSERT_TRUE(DecodePng(Suite("basn" + name.substr(4)), plain, paramsN).Ok) << name;
        EXPECT_EQ(FirstDifference(interlaced, plain), "") << name;
        if (plain.HasAlphaChannel()) {
            EXPECT_EQ(FirstDifference(*interlaced.AlphaChannel(), *plain.AlphaChannel()), "") << name;
        }
        ++pairs;
    }
    EXPECT_EQ(pairs, 15);
}

TEST(PngSuite, EveryFileRoundTripsThroughTheWriter) {
    PW_REQUIRE_CORPUS();
    for (const auto& entry : std::filesystem::directory_iterator(CorpusFile("pngsuite"))) {
        if (entry.path().extension() != ".png") continue;
        TIEBitmap bitmap, again;
        TIOParams params, read;
        ASSERT_TRUE(DecodePng(ReadBytes(entry.path()), bitmap, params).Ok);
        // The colour layout of the load is kept; a palette would be quantised, so the
        // depth and samples go to plain colour.
        params.SamplesPerPixel = bitmap.PixelFormat() == ie1g ? 1 : 3;
        auto file = EncodePng(bitmap, params);
        ASSERT_FALSE(file.empty()) << entry.path().filename();
        ASSERT_TRUE(DecodePng(file, again, read).Ok) << entry.path().filename();
        EXPECT_EQ(FirstDifference(bitmap, again), "") << entry.path().filename();
    }
}
