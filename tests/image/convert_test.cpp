#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "image/bitmap.h"
#include "image/convert.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/image/converttestutil.h"

namespace {

// Ten pixels, so that the second byte is only partly used: 1 0 1 1 0 0 0 1 | 1 0.
std::unique_ptr<TIEBitmap> BitPattern() {
    auto bitmap = std::make_unique<TIEBitmap>(10, 1, ie1g, 0);
    for (int32_t x : {0, 2, 3, 7, 8})
        bitmap->SetPixels_ie1g(x, 0, true);
    return bitmap;
}
const bool kPattern[10] = {true, false, true, true, false, false, false, true, true, false};

// Palette entry 0 is (200, 100, 50), entry 1 is (10, 20, 30); pixels 0, 1.
std::unique_ptr<TIEBitmap> PaletteImage() {
    auto bitmap = MakeBitmap<uint8_t>(ie8p, 2, {0, 1});
    bitmap->SetPalette(0, RGB(200, 100, 50));
    bitmap->SetPalette(1, RGB(10, 20, 30));
    return bitmap;
}

} // namespace

TEST(ConvertFromBits, EveryDirectPairExpandsBitsByTheirValue) {
    for (TIEPixelFormat to : {ie8p, ie8g, ie16g, ie24RGB, ie32f, ie48RGB, ie32RGB}) {
        SCOPED_TRACE(IEPixelFormatName(to));
        auto bitmap = BitPattern();
        bitmap->SetPixelFormat(to);
        ASSERT_EQ(bitmap->PixelFormat(), to);
        ASSERT_EQ(bitmap->Width(), 10);
        for (int32_t x = 0; x < 10; ++x) {
            bool white = kPattern[x];
            switch (to) {
            case ie8p:
                EXPECT_EQ(bitmap->GetPixels_ie8(x, 0), white ? 1 : 0);
                break;
            case ie8g:
                EXPECT_EQ(bitmap->GetPixels_ie8(x, 0), white ? 255 : 0);
                break;
            case ie16g:
                EXPECT_EQ(bitmap->GetPixels_ie16g(x, 0), white ? 65535 : 0);
                break;
            case ie24RGB:
                EXPECT_EQ(bitmap->GetPixels_ie24RGB(x, 0), white ? RGB(255, 255, 255) : RGB(0, 0, 0));
                break;
            case ie32f:
                EXPECT_EQ(bitmap->GetPixels_ie32f(x, 0), white ? 1.0f : 0.0f);
                break;
            case ie48RGB:
                EXPECT_EQ(bitmap->GetPixels_ie48RGB(x, 0),
                          (white ? TRGB48{65535, 65535, 65535} : TRGB48{0, 0, 0}));
                break;
            default:
                EXPECT_EQ(bitmap->GetPixels_ie32RGB(x, 0),
                          (white ? TRGBA{255, 255, 255, 255} : TRGBA{0, 0, 0, 255}));
            }
        }
        if (to == ie8p) {
            EXPECT_EQ(bitmap->GetPalette(0), RGB(0, 0, 0));
            EXPECT_EQ(bitmap->GetPalette(1), RGB(255, 255, 255));
        }
    }
}

TEST(ConvertFromBits, CmykAndLabGoThroughRGB) {
    auto cmyk = BitPattern();
    cmyk->SetPixelFormat(ieCMYK);
    EXPECT_EQ(cmyk->GetPixels_ieCMYK(0, 0), (TCMYK{255, 255, 255, 255}));
    EXPECT_EQ(cmyk->GetPixels_ieCMYK(1, 0), (TCMYK{255, 255, 255, 0}));
    auto lab = BitPattern();
    lab->SetPixelFormat(ieCIELab);
    EXPECT_EQ(lab->GetPixels_ieCIELab(0, 0), (TCIELab{254, 0, 0}));
    EXPECT_EQ(lab->GetPixels_ieCIELab(1, 0), (TCIELab{0, 0, 0}));
}

TEST(ConvertFromPalette, EntriesGoThroughTheirFormulas) {
    // Grey(200, 100, 50) = (4200 + 7100 + 400) / 100 = 117; Grey(10, 20, 30) = 1870 / 100 = 18.
    auto grey = PaletteImage();
    grey->SetPixelFormat(ie8g);
    EXPECT_EQ(RowValues<uint8_t>(*grey), (std::vector<uint8_t>{117, 18}));
    // (200 * 54484 + 100 * 183241 + 50 * 19275) / 1000 = 30184650 / 1000.
    auto grey16 = PaletteImage();
    grey16->SetPixelFormat(ie16g);
    EXPECT_EQ(RowValues<uint16_t>(*grey16), (std::vector<uint16_t>{30184, 4787}));
    auto rgb = PaletteImage();
    rgb->SetPixelFormat(ie24RGB);
    EXPECT_EQ(RowValues<TRGB>(*rgb), (std::vector<TRGB>{RGB(200, 100, 50), RGB(10, 20, 30)}));
    // (42.52 + 71.52 + 3.61) / 255.
    auto real = PaletteImage();
    real->SetPixelFormat(ie32f);
    EXPECT_FLOAT_EQ(real->GetPixels_ie32f(0, 0), 117.65f / 255.0f);
    auto rgb48 = PaletteImage();
    rgb48->SetPixelFormat(ie48RGB);
    EXPECT_EQ(rgb48->GetPixels_ie48RGB(0, 0), (TRGB48{51400, 25700, 12850}));
    auto rgba = PaletteImage();
    rgba->SetPixelFormat(ie32RGB);
    EXPECT_EQ(rgba->GetPixels_ie32RGB(1, 0), (TRGBA{30, 20, 10, 255}));
    // k = 200, c = 255, m = 25500 / 200, y = 12750 / 200.
    auto cmyk = PaletteImage();
    cmyk->SetPixelFormat(ieCMYK);
    EXPECT_EQ(cmyk->GetPixels_ieCMYK(0, 0), (TCMYK{255, 127, 63, 200}));
}

TEST(ConvertFromGrey8, DirectPairs) {
    auto make = [] { return MakeBitmap<uint8_t>(ie8g, 3, {0, 51, 255}); };
    auto palette = make();
    palette->SetPixelFormat(ie8p);
    EXPECT_EQ(RowValues<uint8_t>(*palette), (std::vector<uint8_t>{0, 51, 255}));
    EXPECT_EQ(palette->GetPalette(51), RGB(51, 51, 51));
    EXPECT_EQ(palette->GetPalette(255), RGB(255, 255, 255));
    auto grey16 = make();
    grey16->SetPixelFormat(ie16g);
    EXPECT_EQ(RowValues<uint16_t>(*grey16), (std::vector<uint16_t>{0, 13107, 65535}));
    auto rgb = make();
    rgb->SetPixelFormat(ie24RGB);
    EXPECT_EQ(rgb->GetPixels_ie24RGB(1, 0), RGB(51, 51, 51));
    auto real = make();
    real->SetPixelFormat(ie32f);
    EXPECT_EQ(real->GetPixels_ie32f(1, 0), float(51 / 255.0));
    EXPECT_EQ(real->GetPixels_ie32f(2, 0), 1.0f);
    auto rgb48 = make();
    rgb48->SetPixelFormat(ie48RGB);
    EXPECT_EQ(rgb48->GetPixels_ie48RGB(1, 0), (TRGB48{13107, 13107, 13107}));
    auto rgba = make();
    rgba->SetPixelFormat(ie32RGB);
    EXPECT_EQ(rgba->GetPixels_ie32RGB(1, 0), (TRGBA{51, 51, 51, 255}));
}

TEST(ConvertFromGrey16, DirectPairsUseTheHighByteOrTheFullValue) {
    auto make = [] { return MakeBitmap<uint16_t>(ie16g, 3, {0x1234, 0xFFFF, 0x00FF}); };
    auto palette = make();
    palette->SetPixelFormat(ie8p);
    EXPECT_EQ(RowValues<uint8_t>(*palette), (std::vector<uint8_t>{0x12, 0xFF, 0}));
    EXPECT_EQ(palette->GetPalette(0x12), RGB(0x12, 0x12, 0x12));
    auto grey = make();
    grey->SetPixelFormat(ie8g);
    EXPECT_EQ(RowValues<uint8_t>(*grey), (std::vector<uint8_t>{0x12, 0xFF, 0}));
    auto rgb = make();
    rgb->SetPixelFormat(ie24RGB);
    EXPECT_EQ(RowValues<TRGB>(*rgb), (std::vector<TRGB>{RGB(18, 18, 18), RGB(255, 255, 255), RGB(0, 0, 0)}));
    auto real = make();
    real->SetPixelFormat(ie32f);
    EXPECT_EQ(real->GetPixels_ie32f(0, 0), float(4660 / 65535.0));
    auto rgb48 = make();
    rgb48->SetPixelFormat(ie48RGB);
    EXPECT_EQ(rgb48->GetPixels_ie48RGB(0, 0), (TRGB48{0x1234, 0x1234, 0x1234}));
    auto rgba = make();
    rgba->SetPixelFormat(ie32RGB);
    EXPECT_EQ(rgba->GetPixels_ie32RGB(2, 0), (TRGBA{0, 0, 0, 255}));
    EXPECT_EQ(rgba->GetPixels_ie32RGB(0, 0), (TRGBA{18, 18, 18, 255}));
}

TEST(ConvertFromRGB, GreyFormsAndWideFormats) {
    auto make = [] { return MakeBitmap<TRGB>(ie24RGB, 2, {RGB(200, 100, 50), RGB(255, 255, 255)}); };
    auto grey = make();
    grey->SetPixelFormat(ie8g);
    EXPECT_EQ(RowValues<uint8_t>(*grey), (std::vector<uint8_t>{117, 255}));
    auto grey16 = make();
    grey16->SetPixelFormat(ie16g);
    EXPECT_EQ(RowValues<uint16_t>(*grey16), (std::vector<uint16_t>{30184, 65535}));
    auto real = make();
    real->SetPixelFormat(ie32f);
    EXPECT_FLOAT_EQ(real->GetPixels_ie32f(0, 0), 117.65f / 255.0f);
    auto rgb48 = make();
    rgb48->SetPixelFormat(ie48RGB);
    EXPECT_EQ(rgb48->GetPixels_ie48RGB(0, 0), (TRGB48{51400, 25700, 12850}));
    auto rgba = make();
    rgba->SetPixelFormat(ie32RGB);
    EXPECT_EQ(rgba->GetPixels_ie32RGB(0, 0), (TRGBA{50, 100, 200, 255}));
}

TEST(ConvertFromRGB, GreyFollowsTheGlobalCoefficients) {
    TIEGlobalSettings& settings = IEGlobalSettings();
    int32_t red = settings.RedToGrayCoef(), green = settings.GreenToGrayCoef(),
            blue = settings.BlueToGrayCoef();
    settings.SetRedToGrayCoef(100);
    settings.SetGreenToGrayCoef(0);
    settings.SetBlueToGrayCoef(0);
    auto grey = MakeBitmap<TRGB>(ie24RGB, 1, {RGB(200, 100, 50)});
    grey->SetPixelFormat(ie8g);
    settings.SetRedToGrayCoef(red);
    settings.SetGreenToGrayCoef(green);
    settings.SetBlueToGrayCoef(blue);
    EXPECT_EQ(grey->GetPixels_ie8(0, 0), 200);
}

TEST(ConvertCMYK, FormulasInBothDirections) {
    // k = max = 200; c = 255, m = 25500 / 200 = 127, y = 12750 / 200 = 63 (all truncated).
    auto bitmap = MakeBitmap<TRGB>(ie24RGB, 2, {RGB(200, 100, 50), RGB(0, 0, 0)});
    bitmap->SetPixelFormat(ieCMYK);
    EXPECT_EQ(bitmap->GetPixels_ieCMYK(0, 0), (TCMYK{255, 127, 63, 200}));
    EXPECT_EQ(bitmap->GetPixels_ieCMYK(1, 0), (TCMYK{255, 255, 255, 0}));
    // Back: r = 200 * 255 / 255, g = 200 * 127 / 255 = 99, b = 200 * 63 / 255 = 49.
    bitmap->SetPixelFormat(ie24RGB);
    EXPECT_EQ(bitmap->GetPixels_ie24RGB(0, 0), RGB(200, 99, 49));
    EXPECT_EQ(bitmap->GetPixels_ie24RGB(1, 0), RGB(0, 0, 0));

    auto inks = MakeBitmap<TCMYK>(ieCMYK, 1, {TCMYK{255, 128, 0, 200}});
    inks->SetPixelFormat(ie32RGB);
    EXPECT_EQ(inks->GetPixels_ie32RGB(0, 0), (TRGBA{0, 100, 200, 255}));
}

TEST(ConvertCMYK, GreysAndTheLargestChannelSurviveTheRoundTrip) {
    for (int v = 0; v < 256; ++v) {
        TRGB grey = RGB(v, v, v);
        ASSERT_EQ(IECMYK2RGB(IERGB2CMYK(grey)), grey);
        TRGB colour = RGB(v, v / 3, 255 - v);
        TRGB back = IECMYK2RGB(IERGB2CMYK(colour));
        ASSERT_EQ(std::max({back.r, back.g, back.b}), std::max({colour.r, colour.g, colour.b})) << v;
    }
}

TEST(ConvertCMYK, OtherTargetsGoThroughRGB) {
    // Through RGB (200, 100, 0): Grey = (4200 + 7100) / 100 = 113.
    auto bitmap = MakeBitmap<TCMYK>(ieCMYK, 1, {TCMYK{255, 128, 0, 200}});
    bitmap->SetPixelFormat(ie8g);
    EXPECT_EQ(bitmap->GetPixels_ie8(0, 0), 113);
}

TEST(ConvertLab, FormulasOnKnownColours) {
    auto bitmap =
        MakeBitmap<TRGB>(ie24RGB, 4, {RGB(200, 100, 50), RGB(255, 255, 255), RGB(0, 0, 255), RGB(0, 0, 0)});
    bitmap->SetPixelFormat(ieCIELab);
    EXPECT_EQ(RowValues<TCIELab>(*bitmap),
              (std::vector<TCIELab>{{136, 36, 45}, {254, 0, 0}, {82, 79, -107}, {0, 0, 0}}));
    // Trunc on the way in and 8-bit a and b make the trip lossy; these are its exact results.
    bitmap->SetPixelFormat(ie24RGB);
    EXPECT_EQ(RowValues<TRGB>(*bitmap),
              (std::vector<TRGB>{RGB(199, 100, 50), RGB(254, 254, 254), RGB(14, 0, 253), RGB(0, 0, 0)}));

    auto lab = MakeBitmap<TCIELab>(ieCIELab, 2, {{128, 20, -30}, {255, 0, 0}});
    lab->SetPixelFormat(ie32RGB);
    EXPECT_EQ(lab->GetPixels_ie32RGB(0, 0), (TRGBA{171, 110, 127, 255}));
    EXPECT_EQ(lab->GetPixels_ie32RGB(1, 0), (TRGBA{255, 255, 255, 255}));
}

TEST(ConvertLab, GreyAxisHasNoChromaAndComesBackWithinOneLevel) {
    int previous = -1;
    for (int v = 0; v < 256; ++v) {
        TCIELab lab = IERGB2CIELab(RGB(v, v, v));
        ASSERT_EQ(lab.a, 0) << v;
        ASSERT_EQ(lab.b, 0) << v;
        ASSERT_GE(lab.l, previous) << v;
        previous = lab.l;
        // The way back is not an exact inverse, so the channels may part by a level.
        TRGB back = IECIELab2RGB(lab);
        ASSERT_LE(std::abs(back.r - v), 1) << v;
        ASSERT_LE(std::abs(back.g - v), 1) << v;
        ASSERT_LE(std::abs(back.b - v), 1) << v;
    }
}

TEST(ConvertFromFloat, TruncatesAndClampsEvenNonFiniteValues) {
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    auto make = [&] { return MakeBitmap<float>(ie32f, 6, {0.5f, 1.0f, -0.25f, 2.0f, nan, inf}); };
    auto grey = make();
    grey->SetPixelFormat(ie8g);
    EXPECT_EQ(RowValues<uint8_t>(*grey), (std::vector<uint8_t>{127, 255, 0, 255, 0, 255}));
    auto palette = make();
    palette->SetPixelFormat(ie8p);
    EXPECT_EQ(RowValues<uint8_t>(*palette), (std::vector<uint8_t>{127, 255, 0, 255, 0, 255}));
    EXPECT_EQ(palette->GetPalette(127), RGB(127, 127, 127));
    auto grey16 = make();
    grey16->SetPixelFormat(ie16g);
    EXPECT_EQ(RowValues<uint16_t>(*grey16), (std::vector<uint16_t>{32767, 65535, 0, 65535, 0, 65535}));
    auto rgb = make();
    rgb->SetPixelFormat(ie24RGB);
    EXPECT_EQ(rgb->GetPixels_ie24RGB(0, 0), RGB(127, 127, 127));
    auto rgb48 = make();
    rgb48->SetPixelFormat(ie48RGB);
    EXPECT_EQ(rgb48->GetPixels_ie48RGB(0, 0), (TRGB48{32767, 32767, 32767}));
    auto rgba = make();
    rgba->SetPixelFormat(ie32RGB);
    EXPECT_EQ(rgba->GetPixels_ie32RGB(3, 0), (TRGBA{255, 255, 255, 255}));
}

TEST(ConvertFromRGB48, HighBytesAndOwnWeights) {
    auto make = [] { return MakeBitmap<TRGB48>(ie48RGB, 1, {TRGB48{0x1234, 0xABCD, 0xFFFF}}); };
    auto rgb = make();
    rgb->SetPixelFormat(ie24RGB);
    EXPECT_EQ(rgb->GetPixels_ie24RGB(0, 0), RGB(0x12, 0xAB, 0xFF));
    auto rgba = make();
    rgba->SetPixelFormat(ie32RGB);
    EXPECT_EQ(rgba->GetPixels_ie32RGB(0, 0), (TRGBA{0xFF, 0xAB, 0x12, 255}));
    // Grey(18, 171, 255) = (378 + 12141 + 2040) / 100.
    auto grey = make();
    grey->SetPixelFormat(ie8g);
    EXPECT_EQ(grey->GetPixels_ie8(0, 0), 145);
    // (4660 * 212 + 43981 * 713 + 65535 * 75) / 1000 = 37261498 / 1000.
    auto grey16 = make();
    grey16->SetPixelFormat(ie16g);
    EXPECT_EQ(grey16->GetPixels_ie16g(0, 0), 37261);
    auto real = make();
    real->SetPixelFormat(ie32f);
    EXPECT_FLOAT_EQ(real->GetPixels_ie32f(0, 0), 0.56950909f);
    // White stays a little above 1.0: 65535 / 256 / 255.
    auto white = MakeBitmap<TRGB48>(ie48RGB, 1, {TRGB48{65535, 65535, 65535}});
    white->SetPixelFormat(ie32f);
    EXPECT_FLOAT_EQ(white->GetPixels_ie32f(0, 0), float(65535.0 / 256 / 255));
    auto cmyk = make();
    cmyk->SetPixelFormat(ieCMYK);
    EXPECT_EQ(cmyk->GetPixels_ieCMYK(0, 0), (TCMYK{18, 171, 255, 255}));
}

TEST(ConvertRoundTrips, WideningAndNarrowingBackIsLossless) {
    std::vector<TRGB> colours;
    for (int i = 0; i < 64; ++i)
        colours.push_back(RGB(i * 4 + 3, 255 - i * 4, (i * 37) & 255));
    for (TIEPixelFormat wide : {ie48RGB, ie32RGB}) {
        SCOPED_TRACE(IEPixelFormatName(wide));
        auto bitmap = MakeBitmap<TRGB>(ie24RGB, 8, colours);
        auto original = MakeBitmap<TRGB>(ie24RGB, 8, colours);
        bitmap->SetPixelFormat(wide);
        bitmap->SetPixelFormat(ie24RGB);
        EXPECT_EQ(FirstDifference(*bitmap, *original), "");
    }
    std::vector<uint8_t> levels;
    for (int v = 0; v < 256; ++v)
        levels.push_back(uint8_t(v));
    for (TIEPixelFormat wide : {ie8p, ie16g, ie24RGB, ie32f, ie48RGB, ie32RGB}) {
        SCOPED_TRACE(IEPixelFormatName(wide));
        auto bitmap = MakeBitmap<uint8_t>(ie8g, 16, levels);
        auto original = MakeBitmap<uint8_t>(ie8g, 16, levels);
        bitmap->SetPixelFormat(wide);
        bitmap->SetPixelFormat(ie8g);
        EXPECT_EQ(FirstDifference(*bitmap, *original), "");
    }
}

TEST(ConvertSetter, FileBackedRowsConvertLikeMemoryRows) {
    TIEBitmap bitmap;
    bitmap.SetMinFileSize(0);
    bitmap.Allocate(3, 2, ie24RGB, 0);
    ASSERT_EQ(bitmap.Location(), ieFile);
    bitmap.SetPixels_ie24RGB(0, 0, RGB(200, 100, 50));
    bitmap.SetPixels_ie24RGB(2, 1, RGB(255, 255, 255));
    bitmap.SetPixelFormat(ieCMYK);
    EXPECT_EQ(bitmap.Location(), ieFile);
    EXPECT_EQ(bitmap.GetPixels_ieCMYK(0, 0), (TCMYK{255, 127, 63, 200}));
    EXPECT_EQ(bitmap.GetPixels_ieCMYK(2, 1), (TCMYK{255, 255, 255, 255}));
    bitmap.SetPixelFormat(ie8g);
    EXPECT_EQ(bitmap.GetPixels_ie8(0, 0), 116);
    EXPECT_EQ(bitmap.GetPixels_ie8(2, 1), 255);
    EXPECT_EQ(bitmap.GetPixels_ie8(1, 0), 0);
}

TEST(ConvertSetter, PlatformBitmapTakesItsFormatsAndRefusesOthersKeepingPixels) {
    TIEBitmap bitmap;
    bitmap.SetLocation(ieTBitmap);
    bitmap.Allocate(2, 1, ie24RGB, 0);
    bitmap.SetPixels_ie24RGB(0, 0, RGB(200, 100, 50));
    bitmap.SetPixelFormat(ie8g);
    EXPECT_EQ(bitmap.Location(), ieTBitmap);
    EXPECT_EQ(bitmap.GetPixels_ie8(0, 0), 117);
    // A platform bitmap has no 16-bit grey: the allocation demotes it to 8 bits.
    bitmap.SetPixelFormat(ie16g);
    EXPECT_EQ(bitmap.PixelFormat(), ie8g);
    EXPECT_EQ(bitmap.GetPixels_ie8(0, 0), 117);
    try {
        bitmap.SetPixelFormat(ie32f);
        FAIL() << "no exception";
    } catch (const EIEException& e) {
        EXPECT_STREQ(e.what(), "ie32f pixel format not allowed when IEBitmap.Location=ieTBitmap");
    }
    EXPECT_EQ(bitmap.PixelFormat(), ie8g);
    EXPECT_EQ(bitmap.Width(), 2);
    EXPECT_EQ(bitmap.GetPixels_ie8(0, 0), 117);
}

TEST(ConvertSetter, PaletteOnPlatformBitmapReachesThePlatform) {
    TIEBitmap bitmap;
    bitmap.SetLocation(ieTBitmap);
    bitmap.Allocate(2, 1, ie8g, 0);
    bitmap.SetPixels_ie8(1, 0, 77);
    bitmap.SetPixelFormat(ie8p);
    ASSERT_NE(bitmap.VclBitmap(), nullptr);
    EXPECT_EQ(bitmap.VclBitmap()->PaletteEntry(77), (TRGBA{77, 77, 77, 0}));
    EXPECT_EQ(bitmap.GetPixels_ie8(1, 0), 77);
}

TEST(ConvertSetter, EmptyBitmapOnlyTakesTheFormat) {
    TIEBitmap bitmap;
    bitmap.SetPixelFormat(ie48RGB);
    EXPECT_EQ(bitmap.PixelFormat(), ie48RGB);
    EXPECT_TRUE(bitmap.IsEmpty());
}

TEST(ConvertSetter, PaletteUsedOfTheBitmapLimitsTheQuantizer) {
    auto bitmap = MakeBitmap<TRGB>(ie24RGB, 2, {RGB(0, 0, 0), RGB(10, 0, 0), RGB(200, 0, 0), RGB(250, 0, 0)});
    bitmap->SetPaletteUsed(2);
    bitmap->SetPixelFormat(ie8p);
    EXPECT_EQ(bitmap->PaletteUsed(), 2);
    // Median cut on red: {0, 10} and {200, 250}, each the mean of its box.
    EXPECT_EQ(bitmap->GetPalette(0), RGB(5, 0, 0));
    EXPECT_EQ(bitmap->GetPalette(1), RGB(225, 0, 0));
    EXPECT_EQ(RowValues<uint8_t>(*bitmap, 0), (std::vector<uint8_t>{0, 0}));
    EXPECT_EQ(RowValues<uint8_t>(*bitmap, 1), (std::vector<uint8_t>{1, 1}));
}

TEST(ConvertSetter, FewColoursAreKeptExactlyInOrderOfAppearance) {
    auto bitmap = MakeBitmap<TRGB>(ie24RGB, 3, {RGB(9, 8, 7), RGB(1, 2, 3), RGB(9, 8, 7)});
    bitmap->SetPixelFormat(ie8p);
    EXPECT_EQ(bitmap->GetPalette(0), RGB(9, 8, 7));
    EXPECT_EQ(bitmap->GetPalette(1), RGB(1, 2, 3));
    EXPECT_EQ(bitmap->GetPalette(2), RGB(0, 0, 0));
    EXPECT_EQ(RowValues<uint8_t>(*bitmap), (std::vector<uint8_t>{0, 1, 0}));
    bitmap->SetPixelFormat(ie24RGB);
    EXPECT_EQ(RowValues<TRGB>(*bitmap), (std::vector<TRGB>{RGB(9, 8, 7), RGB(1, 2, 3), RGB(9, 8, 7)}));
}

TEST(ConvertAlpha, PlaneSurvivesEveryDetourUnmultiplied) {
    for (TIEPixelFormat via : {ie8p, ie8g, ie1g, ieCMYK, ieCIELab, ie48RGB, ie32f}) {
        SCOPED_TRACE(IEPixelFormatName(via));
        auto bitmap = MakeBitmap<TRGB>(ie24RGB, 2, {RGB(255, 255, 255), RGB(255, 255, 255)});
        bitmap->SetAlpha(1, 0, 42);
        bitmap->SetPixelFormat(via);
        bitmap->SetPixelFormat(ie24RGB);
        EXPECT_EQ(bitmap->GetAlpha(0, 0), 255);
        EXPECT_EQ(bitmap->GetAlpha(1, 0), 42);
        // White is not dimmed by the alpha; only Lab's own rounding may touch it.
        TRGB white = via == ieCIELab ? RGB(254, 254, 254) : RGB(255, 255, 255);
        EXPECT_EQ(bitmap->GetPixels_ie24RGB(1, 0), white);
    }
}

TEST(ConvertAlpha, LeavingRGBAFormatMovesTheFourthByteToThePlane) {
    auto bitmap = MakeBitmap<TRGB>(ie24RGB, 2, {RGB(1, 2, 3), RGB(4, 5, 6)});
    bitmap->SetAlpha(0, 0, 10);
    bitmap->SetAlphaLocation(iaRGBA);
    ASSERT_EQ(bitmap->PixelFormat(), ie32RGB);
    bitmap->GetPPixels_ie32RGB(1, 0)->a = 77;
    bitmap->SetPixelFormat(ie8g);
    EXPECT_EQ(bitmap->AlphaLocation(), iaAlphaChannel);
    EXPECT_EQ(bitmap->GetAlpha(0, 0), 10);
    EXPECT_EQ(bitmap->GetAlpha(1, 0), 77);
}

TEST(ConvertAlpha, RGBAWithoutPlaneLeavesNoPlaneBehind) {
    auto bitmap = MakeBitmap<TRGBA>(ie32RGB, 1, {TRGBA{7, 8, 9, 0}});
    bitmap->SetPixelFormat(ieCIELab);
    EXPECT_EQ(bitmap->AlphaChannelOpt(), nullptr);
}

TEST(CopyAndConvertFormat, FillsTheTargetCopiesThePlaneAndMayChangeTheSource) {
    auto source = MakeBitmap<TCMYK>(ieCMYK, 2, {TCMYK{255, 128, 0, 200}, TCMYK{255, 255, 255, 255}});
    source->SetAlpha(0, 0, 9);
    TIEBitmap target(2, 1, ie8g, 0);
    target.CopyAndConvertFormat(*source);
    EXPECT_EQ(RowValues<uint8_t>(target), (std::vector<uint8_t>{113, 255}));
    EXPECT_EQ(target.GetAlpha(0, 0), 9);
    // The plane was copied, not taken.
    EXPECT_EQ(source->GetAlpha(0, 0), 9);
    // CMYK to grey goes through RGB, and the source is converted in place for it.
    EXPECT_EQ(source->PixelFormat(), ie24RGB);
    EXPECT_EQ(source->GetPixels_ie24RGB(0, 0), RGB(200, 100, 0));
}

TEST(CopyAndConvertFormat, SizeMismatchLeavesTheTargetAlone) {
    auto source = MakeBitmap<uint8_t>(ie8g, 2, {10, 20});
    TIEBitmap target(3, 1, ie8g, 99);
    target.CopyAndConvertFormat(*source);
    EXPECT_EQ(RowValues<uint8_t>(target), (std::vector<uint8_t>{99, 99, 99}));
}

TEST(CopyAndConvertFormat, SameFormatCopiesRowsAndPalette) {
    auto source = PaletteImage();
    TIEBitmap target(2, 1, ie8p, 0);
    target.CopyAndConvertFormat(*source);
    EXPECT_EQ(RowValues<uint8_t>(target), (std::vector<uint8_t>{0, 1}));
    EXPECT_EQ(target.GetPalette(1), RGB(10, 20, 30));
}
