#include "io/codecs/jpeg.h"

#include <filesystem>
#include <functional>
#include <gtest/gtest.h>

#include "io/exif.h"
#include "tests/corpus.h"
#include "tests/io/jpegtestutil.h"

namespace {

constexpr TRGB kOrange{50, 100, 200}; // b, g, r

std::vector<uint8_t> OrangeJpeg(int32_t Width = 32, int32_t Height = 24) {
    TIEBitmap bitmap;
    FillRGB(bitmap, Width, Height, kOrange);
    TIOParams params;
    params.JPEG_Quality = 100;
    return EncodeJpeg(bitmap, params);
}

// The reader with the switches the plain load leaves at their defaults; the rows read.
int32_t ReadJpeg(const std::vector<uint8_t>& File, TIEBitmap& Bitmap, TIOParams& Params, bool& Aborting,
                 bool Preview, bool InvertCMYK, std::function<void(int)> OnProgress = nullptr) {
    TIEMemoryStream stream(File);
    TProgressRec progress;
    progress.Aborting = &Aborting;
    if (OnProgress) progress.OnProgress = [&](void*, int Percent) { OnProgress(Percent); };
    return ReadJpegStream(stream, nullptr, Bitmap, Params, progress, Preview, false, true, InvertCMYK, true,
                          true, -1, false, nullptr, false);
}

// Every pixel of Bitmap (ie24RGB) within Tolerance of Colour.
::testing::AssertionResult AllPixelsNear(TIEBitmap& Bitmap, TRGB Colour, int Tolerance) {
    for (int32_t y = 0; y < Bitmap.Height(); ++y)
        for (int32_t x = 0; x < Bitmap.Width(); ++x) {
            const TRGB p = Bitmap.GetPixels_ie24RGB(x, y);
            if (ColourDistance(p, Colour) > Tolerance)
                return ::testing::AssertionFailure() << "pixel " << x << "," << y << " is r" << int(p.r)
                                                     << " g" << int(p.g) << " b" << int(p.b);
        }
    return ::testing::AssertionSuccess();
}

// The shorter and the longer side as the first frame header of File declares them,
// found as the library finds it: from the SOI, over bytes between segments and fill bytes.
std::pair<int32_t, int32_t> DeclaredSides(const std::vector<uint8_t>& File) {
    size_t at = 0;
    while (at + 2 < File.size() && !(File[at] == 0xFF && File[at + 1] == 0xD8 && File[at + 2] == 0xFF))
        ++at;
    for (at += 2; at + 8 < File.size();) {
        const uint8_t m = File[at + 1];
        if (File[at] != 0xFF || m == 0xFF || m == 0) {
            ++at;
        } else if (m >= 0xC0 && m <= 0xCF && m != 0xC4 && m != 0xC8 && m != 0xCC) {
            return std::minmax({File[at + 5] << 8 | File[at + 6], File[at + 7] << 8 | File[at + 8]});
        } else {
            at += (m >= 0xD0 && m <= 0xD9) || m == 0x01 ? 2 : 2 + size_t(File[at + 2] << 8 | File[at + 3]);
        }
    }
    return {0, 0};
}

} // namespace

TEST(JpegScale, TheTargetIsFittedToTheAspectThenTheLargestDivisorThatCoversItWins) {
    // clang-format off
    const struct { int32_t TargetWidth, TargetHeight, Scale; } cases[] = {
        {120, 96, 8},    // 125 x 100 covers it
        {130, 104, 4},   // 125 x 100 would not
        {0, 96, 1}, {120, -1, 1}, {2000, 1600, 1}, {500, 400, 2},
        {501, 400, 2},   // fitted to 500 x 400
        {501, 401, 1},
        {120, 1000, 8},  // fitted to 120 x 96
    };
    // clang-format on
    for (const auto& test : cases)
        EXPECT_EQ(IECalcJpegScale(1000, 800, test.TargetWidth, test.TargetHeight), test.Scale)
            << test.TargetWidth << " x " << test.TargetHeight;
    // Tiny fitted targets stay at least 1 by 1; 799 / 4 = 199.75 is rounded to 200, which a
    // quarter (199 high) no longer covers.
    EXPECT_EQ(IECalcJpegScale(1000, 10, 1, 1), 8);
    EXPECT_EQ(IECalcJpegScale(1000, 799, 250, 1000), 2);
}

TEST(JpegScale, FixedAndAutomaticScalesOnDecoding) {
    const std::vector<uint8_t> file = OrangeJpeg(64, 48);
    for (auto [scale, divisor] : {std::pair(ioJPEG_FULLSIZE, 1), std::pair(ioJPEG_HALF, 2),
                                  std::pair(ioJPEG_QUARTER, 4), std::pair(ioJPEG_EIGHTH, 8)}) {
        TIEBitmap bitmap;
        TIOParams params;
        params.JPEG_Scale = scale;
        ASSERT_TRUE(DecodeJpeg(file, bitmap, params));
        EXPECT_EQ(bitmap.Width(), 64 / divisor);
        EXPECT_EQ(bitmap.Height(), 48 / divisor);
        EXPECT_EQ(params.JPEG_ScaleUsed, divisor);
        EXPECT_EQ(params.OriginalWidth, 64);
        EXPECT_EQ(params.OriginalHeight, 48);
    }
    TIEBitmap bitmap;
    TIOParams params;
    params.JPEG_Scale = ioJPEG_AUTOCALC;
    ASSERT_TRUE(DecodeJpeg(file, bitmap, params));
    EXPECT_EQ(bitmap.Width(), 64) << "no target means full size";
    params.LoadToWidth = 16;
    params.LoadToHeight = 12;
    ASSERT_TRUE(DecodeJpeg(file, bitmap, params));
    EXPECT_EQ(params.JPEG_ScaleUsed, 4);
    EXPECT_EQ(bitmap.Width(), 16);
}

TEST(JpegReader, JunkBeforeTheStartOfImage) {
    const std::vector<uint8_t> file = OrangeJpeg();
    for (size_t junk : {size_t(0), size_t(149), size_t(150)}) {
        std::vector<uint8_t> data(junk, 0x55);
        data.insert(data.end(), file.begin(), file.end());
        TIEBitmap bitmap;
        bitmap.Allocate(3, 2, ie8g);
        TIOParams params;
        EXPECT_EQ(DecodeJpeg(data, bitmap, params), junk < 150) << junk;
        // The bitmap isn't touched when there's no SOI.
        EXPECT_EQ(bitmap.Width(), junk < 150 ? 32 : 3) << junk;
    }
}

TEST(JpegReader, TruncatedFileLoadsWithTheRestGrey) {
    // Busy pixels, so that the scan data and not the tables make up the file.
    TIEBitmap bitmap;
    bitmap.Allocate(64, 64, ie24RGB);
    uint32_t seed = 7;
    for (int32_t y = 0; y < 64; ++y)
        for (int32_t x = 0; x < 64; ++x) {
            seed = seed * 1664525u + 1013904223u;
            bitmap.SetPixels_ie24RGB(x, y,
                                     TRGB{uint8_t(seed >> 24), uint8_t(seed >> 16), uint8_t(seed >> 8)});
        }
    TIOParams params;
    params.JPEG_Quality = 100;
    params.JPEG_CromaSubsampling = ioJPEG_NONE;
    std::vector<uint8_t> file = EncodeJpeg(bitmap, params);
    file.resize(file.size() / 2);
    TIEBitmap loaded;
    TIOParams read;
    ASSERT_TRUE(DecodeJpeg(file, loaded, read));
    EXPECT_EQ(loaded.Height(), 64);
    EXPECT_GT(read.JPEG_WarningTot, 0);
    EXPECT_NE(read.JPEG_WarningCode, 0);
    EXPECT_LE(ColourDistance(loaded.GetPixels_ie24RGB(0, 0), bitmap.GetPixels_ie24RGB(0, 0)), 8);
    for (int32_t x = 0; x < 64; ++x)
        EXPECT_LE(ColourDistance(loaded.GetPixels_ie24RGB(x, 63), TRGB{128, 128, 128}), 1);
}

TEST(JpegReader, BrokenHeadersAndPicturesAboveThePixelLimitFailBeforeDecoding) {
    const std::vector<uint8_t> file = OrangeJpeg(64, 64);
    for (size_t length : {size_t(0), size_t(3), size_t(20), size_t(150)}) {
        TIEBitmap bitmap;
        TIOParams params;
        EXPECT_FALSE(
            DecodeJpeg(std::vector<uint8_t>(file.begin(), file.begin() + long(length)), bitmap, params));
        EXPECT_TRUE(bitmap.IsEmpty());
    }
    const TIEJpegLimits saved = IEJpegLimits();
    IESetJpegLimits({64 * 64 - 1, saved.MaxLibraryMemory});
    TIEBitmap bitmap;
    TIOParams params;
    EXPECT_FALSE(DecodeJpeg(file, bitmap, params));
    EXPECT_TRUE(bitmap.IsEmpty());
    // Half size fits the same limit.
    params.JPEG_Scale = ioJPEG_HALF;
    EXPECT_TRUE(DecodeJpeg(file, bitmap, params));
    IESetJpegLimits(saved);
}

TEST(JpegReader, PreviewReadsTheHeaderOnlyAndProgressCanStopTheDecode) {
    TIEBitmap bitmap;
    TIOParams params;
    params.JPEG_EnableAdjustOrientation = true;
    bool aborting = false;
    ReadJpeg(OrangeJpeg(40, 30), bitmap, params, aborting, true, false);
    EXPECT_FALSE(aborting);
    EXPECT_TRUE(bitmap.IsEmpty());
    EXPECT_EQ(params.Width, 40);
    EXPECT_EQ(params.Height, 30);

    std::vector<int> seen;
    const int32_t rows =
        ReadJpeg(OrangeJpeg(16, 200), bitmap, params, aborting, false, false, [&](int Percent) {
            seen.push_back(Percent);
            if (Percent >= 50) aborting = true;
        });
    EXPECT_TRUE(aborting);
    EXPECT_EQ(rows, 100);
    // Reported once per change; rows read before the stop stay in the bitmap.
    ASSERT_FALSE(seen.empty());
    for (size_t i = 1; i < seen.size(); ++i)
        EXPECT_GT(seen[i], seen[i - 1]);
    EXPECT_LE(ColourDistance(bitmap.GetPixels_ie24RGB(0, 99), kOrange), 2);
}

TEST(JpegColourSpaces, EachWriterSpaceComesBackAsItself) {
    // CMYK of r200 g100 b50: K 200, C 255, M 127, Y 63 (cut, not rounded); read back
    // r200 g99 b49.
    // clang-format off
    const struct { TIOJPEGColorspace Space; int32_t Samples; TRGB Expected; } cases[] = {
        {ioJPEG_RGB, 3, kOrange},
        {ioJPEG_YCbCr, 3, kOrange},
        {ioJPEG_CMYK, 4, TRGB{49, 99, 200}},
        {ioJPEG_YCbCrK, 4, TRGB{49, 99, 200}},
    };
    // clang-format on
    for (const auto& test : cases) {
        TIEBitmap bitmap;
        FillRGB(bitmap, 16, 16, kOrange);
        TIOParams params;
        params.JPEG_Quality = 100;
        params.JPEG_ColorSpace = test.Space;
        TIEBitmap loaded;
        TIOParams read;
        ASSERT_TRUE(DecodeJpeg(EncodeJpeg(bitmap, params), loaded, read)) << test.Space;
        EXPECT_EQ(loaded.PixelFormat(), ie24RGB);
        EXPECT_EQ(read.JPEG_ColorSpace, test.Space);
        EXPECT_EQ(read.SamplesPerPixel, test.Samples);
        EXPECT_EQ(read.BitsPerSample, 8);
        EXPECT_EQ(read.JPEG_Quality, 80) << "a load never reads a quality";
        EXPECT_TRUE(AllPixelsNear(loaded, test.Expected, 2)) << test.Space;
    }

    // Grey gets blue, green, red in the codec's red, green, blue places: for a red
    // pixel Y = (7471 * 255 + 32768) >> 16 = 29 instead of 76.
    TIEBitmap red;
    FillRGB(red, 16, 16, TRGB{0, 0, 255});
    TIOParams params;
    params.JPEG_Quality = 100;
    params.JPEG_ColorSpace = ioJPEG_GRAYLEV;
    TIEBitmap loaded;
    TIOParams read;
    ASSERT_TRUE(DecodeJpeg(EncodeJpeg(red, params), loaded, read, true));
    EXPECT_EQ(read.JPEG_ColorSpace, ioJPEG_GRAYLEV);
    EXPECT_EQ(loaded.PixelFormat(), ie8g);
    EXPECT_NEAR(loaded.GetPixels_ie8(5, 5), 29, 1);
}

TEST(JpegColourSpaces, CMYKNativeAndInvertedSamples) {
    // White: K 255 and C, M, Y 255 (no ink), which the reader turns into white again.
    TIEBitmap bitmap;
    FillRGB(bitmap, 16, 16, TRGB{255, 255, 255});
    TIOParams params;
    params.JPEG_Quality = 100;
    params.JPEG_ColorSpace = ioJPEG_CMYK;
    const std::vector<uint8_t> file = EncodeJpeg(bitmap, params);
    TIEBitmap loaded;
    TIOParams read;
    ASSERT_TRUE(DecodeJpeg(file, loaded, read, true));
    ASSERT_EQ(loaded.PixelFormat(), ieCMYK);
    const TCMYK ink = loaded.GetPixels_ieCMYK(3, 3);
    EXPECT_GE(std::min({ink.c, ink.m, ink.y, ink.k}), 254);

    // Inverting CMYK leaves the last pixel's last three samples as stored: C inverted to
    // 0, M, Y and K left at 255 give r 0, g 255, b 255.
    bool aborting = false;
    ReadJpeg(file, loaded, read, aborting, false, true);
    ASSERT_FALSE(aborting);
    EXPECT_LE(ColourDistance(loaded.GetPixels_ie24RGB(0, 0), TRGB{0, 0, 0}), 1);
    EXPECT_LE(ColourDistance(loaded.GetPixels_ie24RGB(15, 0), TRGB{255, 255, 0}), 1);
}

TEST(JpegMarkers, KeptInFileOrderWithoutTheFirstAPP0AndNotDoubled) {
    TIEBitmap bitmap;
    FillRGB(bitmap, 16, 16, kOrange);
    TIOParams params;
    const std::string jfxx("JFXX\0\x10", 6), comment("made by hand"), other("OtherApp1");
    params.JPEG_MarkerList.AddMarker(0xFE, comment.data(), uint16_t(comment.size()));
    params.JPEG_MarkerList.AddMarker(0xE1, other.data(), uint16_t(other.size()));
    params.JPEG_MarkerList.AddMarker(0xE0, jfxx.data(), uint16_t(jfxx.size()));
    const std::vector<uint8_t> file = EncodeJpeg(bitmap, params);
    // Sorted by code, after the library's JFIF header, before the frame.
    const std::vector<TJpegSegment> written = JpegSegments(file);
    std::vector<uint8_t> order;
    for (const TJpegSegment& segment : written)
        if (segment.Marker >= 0xE0) order.push_back(segment.Marker);
    EXPECT_EQ(order, (std::vector<uint8_t>{0xE0, 0xE0, 0xE1, 0xFE}));
    EXPECT_EQ(std::string(written[0].Payload.begin(), written[0].Payload.begin() + 5),
              std::string("JFIF\0", 5));

    TIEBitmap loaded;
    TIOParams read;
    ASSERT_TRUE(DecodeJpeg(file, loaded, read));
    const TIEMarkerList& markers = read.JPEG_MarkerList;
    ASSERT_EQ(markers.Count(), 3);
    EXPECT_EQ(markers.GetMarkerType(0), 0xE0);
    EXPECT_EQ(std::string(markers.GetMarkerData(0).begin(), markers.GetMarkerData(0).end()), jfxx);
    EXPECT_EQ(markers.GetMarkerType(1), 0xE1);
    EXPECT_EQ(markers.GetMarkerType(2), 0xFE);

    // Load and save again: one JFIF header, each kept marker once.
    const std::vector<TJpegSegment> again = JpegSegments(EncodeJpeg(loaded, read));
    EXPECT_EQ(CountSegments(again, 0xE0), 2);
    EXPECT_EQ(CountSegments(again, 0xE1), 1);
    EXPECT_EQ(CountSegments(again, 0xFE), 1);

    // The Adobe marker of a CMYK file is the library's: listed on reading, never doubled.
    params.JPEG_MarkerList.Clear();
    params.JPEG_ColorSpace = ioJPEG_CMYK;
    const std::vector<uint8_t> cmyk = EncodeJpeg(bitmap, params);
    EXPECT_EQ(CountSegments(JpegSegments(cmyk), 0xEE), 1);
    ASSERT_TRUE(DecodeJpeg(cmyk, loaded, read));
    EXPECT_EQ(read.JPEG_MarkerList.IndexOf(0xEE), 0);
    EXPECT_EQ(CountSegments(JpegSegments(EncodeJpeg(loaded, read)), 0xEE), 1);
}

TEST(JpegDensity, JFIFWinsAndEXIFFillsInForOneByOne) {
    // clang-format off
    const struct { uint8_t Unit; uint16_t Jfif; std::vector<uint8_t> Exif; int32_t Expected; } cases[] = {
        {1, 300, ExifBlock(1, 72, 2), 300},  // a real JFIF density wins
        {1, 1, ExifBlock(1, 72, 2), 72},     // 1 by 1 says nothing
        {1, 1, ExifBlock(1, 37, 3), 93},     // 37 per centimetre are 93.98 per inch, cut
        {1, 1, ExifBlock(1), 300},           // EXIF without resolution: the default
        {1, 1, {}, 0},                       // neither: 0, which the writer turns into 300
        {1, 96, {}, 96},
        {2, 118, {}, 299},                   // 299.72, cut
        // A JFIF density no header can hold (0, or 76200 dots per inch) is no density.
        {1, 0, ExifBlock(1, 72, 2), 72},
        {2, 30000, ExifBlock(1, 72, 2), 72},
        // Neither is such an EXIF resolution: the default stands in as for a missing tag.
        {1, 1, ExifBlock(1, 4294967295u, 2), 300},
        {1, 1, ExifBlock(1, 0, 2), 300},
        {1, 1, ExifBlock(1, uint32_t(-72), 2, 10), 300},
        {1, 1, ExifBlock(1, 30000, 3), 300},
        // Resolutions stored as integers are read as such.
        {1, 1, ExifBlock(1, 72, 2, 3), 72},
        {1, 1, ExifBlock(1, 96, 2, 9), 96},
    };
    // clang-format on
    for (const auto& test : cases) {
        const std::string name = std::to_string(&test - cases);
        TIEBitmap bitmap;
        FillRGB(bitmap, 8, 8, kOrange);
        TIOParams params;
        if (!test.Exif.empty())
            params.JPEG_MarkerList.AddMarker(0xE1, test.Exif.data(), uint16_t(test.Exif.size()));
        std::vector<uint8_t> file = EncodeJpeg(bitmap, params);
        // JFIF: units at byte 13, X density at 14, Y density at 16.
        file[13] = test.Unit;
        file[14] = file[16] = uint8_t(test.Jfif >> 8);
        file[15] = file[17] = uint8_t(test.Jfif);
        TIEBitmap loaded;
        TIOParams read;
        ASSERT_TRUE(DecodeJpeg(file, loaded, read)) << name;
        EXPECT_EQ(read.DpiX, test.Expected) << name;
        EXPECT_EQ(read.DpiY, test.Expected) << name;
        const std::vector<uint8_t> saved = EncodeJpeg(loaded, read);
        EXPECT_EQ(saved[14] << 8 | saved[15], test.Expected ? test.Expected : 300) << name;
    }
}

TEST(JpegDensity, TheWriterWritesOnlyWhatTheHeaderCanHold) {
    // clang-format off
    const struct { int32_t Dpi, DefaultDpi; uint8_t Unit; int32_t Written; } cases[] = {
        {72, 300, 1, 72}, {65535, 300, 1, 65535}, {0, 300, 1, 300}, {-5, 300, 1, 300}, {65536, 300, 1, 300},
        // Without a default it can hold: no unit and the aspect ratio 1 by 1.
        {0, 0, 0, 1},
    };
    // clang-format on
    TIEGlobalSettings& settings = IEGlobalSettings();
    const int32_t savedX = settings.DefaultDpiX(), savedY = settings.DefaultDpiY();
    for (const auto& test : cases) {
        settings.SetDefaultDpiX(test.DefaultDpi);
        settings.SetDefaultDpiY(test.DefaultDpi);
        TIEBitmap bitmap;
        FillRGB(bitmap, 8, 8, kOrange);
        TIOParams params;
        params.DpiX = params.DpiY = test.Dpi;
        const std::vector<uint8_t> file = EncodeJpeg(bitmap, params);
        EXPECT_EQ(file[13], test.Unit) << test.Dpi;
        EXPECT_EQ(file[14] << 8 | file[15], test.Written) << test.Dpi;
        EXPECT_EQ(file[16] << 8 | file[17], test.Written) << test.Dpi;
    }
    settings.SetDefaultDpiX(savedX);
    settings.SetDefaultDpiY(savedY);
}

TEST(JpegOrientation, EveryEXIFValueTurnsThePictureUprightOnlyWhenAsked) {
    // Stored 3 x 2:  10  50  90
    //               130 170 210
    // and upright as the EXIF orientation means it; 5 to 8 are 2 x 3.
    const std::vector<uint8_t> stored = {10, 50, 90, 130, 170, 210};
    const std::vector<uint8_t> upright[] = {
        {10, 50, 90, 130, 170, 210}, {90, 50, 10, 210, 170, 130}, {210, 170, 130, 90, 50, 10},
        {130, 170, 210, 10, 50, 90}, {10, 130, 50, 170, 90, 210}, {130, 10, 170, 50, 210, 90},
        {210, 90, 170, 50, 130, 10}, {90, 210, 50, 170, 10, 130},
    };
    for (int orientation = 1; orientation <= 8; ++orientation) {
        TIEBitmap bitmap;
        bitmap.Allocate(3, 2, ie24RGB);
        for (int32_t i = 0; i < 6; ++i) {
            const uint8_t v = stored[size_t(i)];
            bitmap.SetPixels_ie24RGB(i % 3, i / 3, TRGB{v, v, v});
        }
        TIOParams params;
        params.JPEG_Quality = 100;
        const std::vector<uint8_t> exif = ExifBlock(orientation);
        params.JPEG_MarkerList.AddMarker(0xE1, exif.data(), uint16_t(exif.size()));
        const std::vector<uint8_t> file = EncodeJpeg(bitmap, params);
        TIEBitmap loaded;
        TIOParams plain;
        ASSERT_TRUE(DecodeJpeg(file, loaded, plain));
        EXPECT_EQ(loaded.Width(), 3) << "off by default";
        EXPECT_EQ(plain.EXIF_Orientation, orientation);

        TIOParams read;
        read.JPEG_EnableAdjustOrientation = true;
        ASSERT_TRUE(DecodeJpeg(file, loaded, read)) << orientation;
        const int32_t width = orientation <= 4 ? 3 : 2;
        ASSERT_EQ(loaded.Width(), width) << orientation;
        EXPECT_EQ(read.TIFF_Orientation, 1);
        for (int32_t i = 0; i < 6; ++i) {
            const uint8_t v = upright[orientation - 1][size_t(i)];
            EXPECT_LE(ColourDistance(loaded.GetPixels_ie24RGB(i % width, i / width), TRGB{v, v, v}), 3)
                << orientation << " pixel " << i;
        }
        // The saved file records the upright picture.
        IEUpdateJpegMarkers(read);
        TIOParams reread;
        ASSERT_TRUE(DecodeJpeg(EncodeJpeg(loaded, read), loaded, reread));
        EXPECT_EQ(reread.EXIF_Orientation, 1) << orientation;
    }
}

TEST(JpegWriter, AlphaIsBlendedOnWhiteInTheFileOnly) {
    TIEBitmap bitmap;
    FillRGB(bitmap, 16, 16, TRGB{0, 0, 0});
    bitmap.AlphaChannel()->Fill(0);
    TIOParams params;
    params.JPEG_Quality = 100;
    TIEBitmap loaded;
    TIOParams read;
    ASSERT_TRUE(DecodeJpeg(EncodeJpeg(bitmap, params), loaded, read));
    EXPECT_TRUE(AllPixelsNear(loaded, TRGB{255, 255, 255}, 1));
    EXPECT_EQ(bitmap.GetAlpha(3, 3), 0);
    EXPECT_EQ(ColourDistance(bitmap.GetPixels_ie24RGB(3, 3), TRGB{0, 0, 0}), 0);
}

TEST(JpegWriter, QualityProgressionHuffmanAndSubsampling) {
    TIEBitmap bitmap;
    bitmap.Allocate(96, 64, ie24RGB);
    for (int32_t y = 0; y < 64; ++y)
        for (int32_t x = 0; x < 96; ++x)
            bitmap.SetPixels_ie24RGB(x, y, TRGB{uint8_t(x * 2), uint8_t((x * y) & 255), uint8_t(y * 4)});
    TIOParams params;
    params.JPEG_Quality = 20;
    const size_t low = EncodeJpeg(bitmap, params).size();
    params.JPEG_Quality = 95;
    const std::vector<uint8_t> high = EncodeJpeg(bitmap, params);
    EXPECT_LT(low, high.size());
    params.JPEG_OptimalHuffman = true;
    EXPECT_LT(EncodeJpeg(bitmap, params).size(), high.size());

    params.JPEG_Progressive = true;
    const std::vector<uint8_t> progressive = EncodeJpeg(bitmap, params);
    EXPECT_EQ(CountSegments(JpegSegments(progressive), 0xC2), 1);
    TIEBitmap loaded;
    TIOParams read;
    ASSERT_TRUE(DecodeJpeg(progressive, loaded, read));
    EXPECT_TRUE(read.JPEG_Progressive);

    // The luma sampling byte of the frame header: 2x2, 2x1, 1x1.
    params.JPEG_Progressive = false;
    for (auto [chroma, factor] :
         {std::pair(ioJPEG_HIGH, 0x22), std::pair(ioJPEG_MEDIUM, 0x21), std::pair(ioJPEG_NONE, 0x11)}) {
        params.JPEG_CromaSubsampling = chroma;
        const std::vector<TJpegSegment> segments = JpegSegments(EncodeJpeg(bitmap, params));
        for (const TJpegSegment& segment : segments)
            if (segment.Marker == 0xC0) {
                EXPECT_EQ(segment.Payload[7], factor);
                EXPECT_EQ(segment.Payload[10], 0x11);
            }
    }
}

TEST(JpegCorpus, DecodeIsCloseToTheOriginalPicture) {
    PW_REQUIRE_CORPUS();
    // testorig.ppm is the picture testorig.jpg was made from.
    const std::vector<uint8_t> ppm = ReadCorpusFile("libjpeg-turbo/testorig.ppm");
    ASSERT_GT(ppm.size(), size_t(227) * 149 * 3);
    TIEBitmap bitmap;
    TIOParams params;
    ASSERT_TRUE(DecodeJpeg(ReadCorpusFile("libjpeg-turbo/testorig.jpg"), bitmap, params));
    ASSERT_EQ(bitmap.Width(), 227);
    ASSERT_EQ(bitmap.Height(), 149);
    const size_t pixels = ppm.size() - size_t(227) * 149 * 3;
    int64_t total = 0;
    for (int32_t y = 0; y < 149; ++y)
        for (int32_t x = 0; x < 227; ++x) {
            const uint8_t* p = ppm.data() + pixels + (size_t(y) * 227 + size_t(x)) * 3;
            total += ColourDistance(bitmap.GetPixels_ie24RGB(x, y), TRGB{p[2], p[1], p[0]});
        }
    // Red and blue swapped would give a mean far above this.
    EXPECT_LT(double(total) / (227 * 149), 8.0);
}

TEST(JpegCorpus, VariantsLoadWithTheirSpacesAndDensities) {
    PW_REQUIRE_CORPUS();
    const std::string mozilla = "jpeg-decoder/reftest/mozilla/";
    // exif_gps has a JFIF density of 1 by 1 and says 4294967295 dots per inch across and
    // nothing down; exif-72dpi-int stores 72 as SLONG.
    // clang-format off
    const struct { std::string File; int32_t Width, Height; TIOJPEGColorspace Space; bool Progressive; int32_t Dpi; } cases[] = {
        {mozilla + "jpg-progressive.jpg", 32, 32, ioJPEG_YCbCr, true, -1},
        {mozilla + "jpg-cmyk-1.jpg", 32, 32, ioJPEG_CMYK, false, -1},
        {mozilla + "jpg-gray.jpg", 32, 32, ioJPEG_GRAYLEV, false, -1},
        {"jpeg-decoder/reftest/ycck.jpg", 500, 333, ioJPEG_YCbCrK, false, -1},
        {"jpeg-decoder/reftest/rgb.jpg", 500, 333, ioJPEG_RGB, false, -1},
        {"libjpeg-turbo/testimgari.jpg", 227, 149, ioJPEG_YCbCr, false, -1},
        {mozilla + "jpg-size-1x1.jpg", 1, 1, ioJPEG_YCbCr, false, -1},
        {"pillow/jpeg/exif_gps.jpg", -1, -1, ioJPEG_YCbCr, false, 300},
        {"pillow/jpeg/exif-72dpi-int.jpg", -1, -1, ioJPEG_YCbCr, false, 72},
    };
    // clang-format on
    for (const auto& test : cases) {
        TIEBitmap bitmap;
        TIOParams params;
        ASSERT_TRUE(DecodeJpeg(ReadCorpusFile(test.File), bitmap, params)) << test.File;
        EXPECT_EQ(params.JPEG_ColorSpace, test.Space) << test.File;
        EXPECT_EQ(params.JPEG_Progressive, test.Progressive) << test.File;
        if (test.Width > 0) {
            EXPECT_EQ(bitmap.Width(), test.Width) << test.File;
            EXPECT_EQ(bitmap.Height(), test.Height) << test.File;
        } else {
            EXPECT_EQ(params.DpiX, test.Dpi) << test.File;
            EXPECT_EQ(params.DpiY, test.Dpi) << test.File;
        }
    }
    // Grey files load as RGB with three equal samples, or natively as grey, and save as grey.
    const std::vector<uint8_t> grey = ReadCorpusFile(mozilla + "jpg-gray.jpg");
    TIEBitmap rgb, native, again;
    TIOParams params, nativeParams, reread;
    ASSERT_TRUE(DecodeJpeg(grey, rgb, params));
    ASSERT_TRUE(DecodeJpeg(grey, native, nativeParams, true));
    EXPECT_EQ(native.PixelFormat(), ie8g);
    EXPECT_EQ(params.SamplesPerPixel, 1);
    for (int32_t y = 0; y < rgb.Height(); y += 7)
        for (int32_t x = 0; x < rgb.Width(); x += 5) {
            const TRGB p = rgb.GetPixels_ie24RGB(x, y);
            ASSERT_EQ(p.r, p.g);
            ASSERT_EQ(p.g, p.b);
            ASSERT_EQ(p.r, native.GetPixels_ie8(x, y));
        }
    ASSERT_TRUE(DecodeJpeg(EncodeJpeg(rgb, params), again, reread));
    EXPECT_EQ(reread.JPEG_ColorSpace, ioJPEG_GRAYLEV);
    // 12-bit samples are not in this build of the library: a clean failure.
    EXPECT_FALSE(DecodeJpeg(ReadCorpusFile("libjpeg-turbo/monkey12.jpg"), rgb, params));
}

TEST(JpegCorpus, BadFilesNeverCrash) {
    PW_REQUIRE_CORPUS();
    int files = 0;
    for (const char* folder :
         {"jpeg-decoder/crashtest-bad", "exif-samples/jpg/invalid-bad", "pillow/jpeg-bad"}) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(CorpusFile(folder))) {
            if (!entry.is_regular_file()) continue;
            TIEBitmap bitmap;
            TIOParams params;
            params.JPEG_EnableAdjustOrientation = true;
            const std::vector<uint8_t> file = ReadBytes(entry.path().string());
            // Either outcome is fine; a picture that loads has the size its frame header
            // declares, turned or not.
            if (DecodeJpeg(file, bitmap, params)) {
                EXPECT_EQ(std::minmax({bitmap.Width(), bitmap.Height()}), DeclaredSides(file))
                    << entry.path();
            }
            ++files;
        }
    }
    EXPECT_GT(files, 40);
}

TEST(JpegCorpus, OrientationSamplesComeOutUpright) {
    PW_REQUIRE_CORPUS();
    for (const char* shape : {"landscape", "portrait"}) {
        const std::string folder = std::string("exif-samples/jpg/orientation/") + shape + "_";
        TIEBitmap upright;
        TIOParams uprightParams;
        ASSERT_TRUE(DecodeJpeg(ReadCorpusFile(folder + "1.jpg"), upright, uprightParams));
        for (int orientation = 2; orientation <= 8; ++orientation) {
            TIEBitmap bitmap;
            TIOParams params;
            params.JPEG_EnableAdjustOrientation = true;
            ASSERT_TRUE(
                DecodeJpeg(ReadCorpusFile(folder + std::to_string(orientation) + ".jpg"), bitmap, params));
            ASSERT_EQ(bitmap.Width(), upright.Width()) << shape << orientation;
            ASSERT_EQ(bitmap.Height(), upright.Height()) << shape << orientation;
            // Each sample was encoded on its own, so compare the mean difference.
            int64_t total = 0;
            for (int32_t y = 0; y < bitmap.Height(); y += 3)
                for (int32_t x = 0; x < bitmap.Width(); x += 3)
                    total += ColourDistance(bitmap.GetPixels_ie24RGB(x, y), upright.GetPixels_ie24RGB(x, y));
            const double mean = double(total) / ((bitmap.Height() + 2) / 3) / ((bitmap.Width() + 2) / 3);
            EXPECT_LT(mean, 30.0) << shape << " " << orientation;
        }
    }
}
