#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "image/bitmap.h"
#include "image/convert.h"
#include "image/settings.h"
#include "tests/image/converttestutil.h"

namespace {

const float kNaN = std::numeric_limits<float>::quiet_NaN(), kInf = std::numeric_limits<float>::infinity();

// Palette entry 0 is (200, 100, 50), entry 1 is (10, 20, 30); pixels 0, 1.
std::unique_ptr<TIEBitmap> PaletteImage() {
    auto bitmap = MakeBitmap<uint8_t>(ie8p, 2, {0, 1});
    bitmap->SetPalette(0, RGB(200, 100, 50));
    bitmap->SetPalette(1, RGB(10, 20, 30));
    return bitmap;
}
std::unique_ptr<TIEBitmap> Colours() {
    return MakeBitmap<TRGB>(ie24RGB, 4,
                            {RGB(200, 100, 50), RGB(255, 255, 255), RGB(0, 0, 255), RGB(0, 0, 0)});
}
std::unique_ptr<TIEBitmap> Greys() {
    return MakeBitmap<uint8_t>(ie8g, 3, {0, 51, 255});
}
std::unique_ptr<TIEBitmap> Words() {
    return MakeBitmap<uint16_t>(ie16g, 3, {0x1234, 0xFFFF, 0x00FF});
}
std::unique_ptr<TIEBitmap> Floats() {
    return MakeBitmap<float>(ie32f, 6, {0.5f, 1.0f, -0.25f, 2.0f, kNaN, kInf});
}
std::unique_ptr<TIEBitmap> FewFloats() {
    return MakeBitmap<float>(ie32f, 2, {0.5f, kInf});
}
std::unique_ptr<TIEBitmap> Deep() {
    return MakeBitmap<TRGB48>(ie48RGB, 1, {TRGB48{0x1234, 0xABCD, 0xFFFF}});
}
std::unique_ptr<TIEBitmap> Inks() {
    return MakeBitmap<TCMYK>(ieCMYK, 2, {TCMYK{255, 128, 0, 200}, TCMYK{255, 127, 63, 200}});
}
std::unique_ptr<TIEBitmap> Labs() {
    return MakeBitmap<TCIELab>(ieCIELab, 4, {{136, 36, 45}, {254, 0, 0}, {82, 79, -107}, {128, 20, -30}});
}
std::unique_ptr<TIEBitmap> Quads() {
    return MakeBitmap<TRGBA>(ie32RGB, 1, {TRGBA{1, 2, 3, 4}});
}

struct TConversion {
    const char* Source;
    std::function<std::unique_ptr<TIEBitmap>()> Make;
    TIEPixelFormat To;
    const char* Expected;
};

// Grey(r, g, b) = (21 r + 71 g + 8 b) / 100, cut; 16-bit grey (54484 r + 183241 g +
// 19275 b) / 1000 on 8-bit channels, cut; float 0.2126 r + 0.7152 g + 0.0722 b over 255.
// CMYK: k = max, each ink channel * 255 / k, cut; back channel * k / 255, cut.
const TConversion kConversions[] = {
    // 4200 + 7100 + 400 = 117.00 and 210 + 1420 + 240 = 18.70.
    {"palette", PaletteImage, ie8g, "117 18"},
    // 30184650 / 1000 and 4787910 / 1000.
    {"palette", PaletteImage, ie16g, "30184 4787"},
    {"palette", PaletteImage, ie24RGB, "rgb(200,100,50) rgb(10,20,30)"},
    {"palette", PaletteImage, ie32f, "0.461373 0.0729255"},
    {"palette", PaletteImage, ie48RGB, "rgb48(51400,25700,12850) rgb48(2570,5140,7710)"},
    {"palette", PaletteImage, ie32RGB, "rgba(200,100,50,255) rgba(10,20,30,255)"},
    // m = 25500 / 200 = 127.5, y = 12750 / 200 = 63.75; k 30: 85, 170, 255.
    {"palette", PaletteImage, ieCMYK, "cmyk(255,127,63,200) cmyk(85,170,255,30)"},
    {"grey", Greys, ie8p, "0 51 255"},
    {"grey", Greys, ie16g, "0 13107 65535"},
    {"grey", Greys, ie24RGB, "rgb(0,0,0) rgb(51,51,51) rgb(255,255,255)"},
    {"grey", Greys, ie32f, "0 0.2 1"},
    {"grey", Greys, ie48RGB, "rgb48(0,0,0) rgb48(13107,13107,13107) rgb48(65535,65535,65535)"},
    {"grey", Greys, ie32RGB, "rgba(0,0,0,255) rgba(51,51,51,255) rgba(255,255,255,255)"},
    // Narrowing takes the high byte; the full value goes to the wide formats.
    {"grey16", Words, ie8p, "18 255 0"},
    {"grey16", Words, ie8g, "18 255 0"},
    {"grey16", Words, ie24RGB, "rgb(18,18,18) rgb(255,255,255) rgb(0,0,0)"},
    {"grey16", Words, ie32f, "0.071107 1 0.00389105"},
    {"grey16", Words, ie48RGB, "rgb48(4660,4660,4660) rgb48(65535,65535,65535) rgb48(255,255,255)"},
    {"grey16", Words, ie32RGB, "rgba(18,18,18,255) rgba(255,255,255,255) rgba(0,0,0,255)"},
    // Blue alone: 2040 / 100 = 20.4 and 4915125 / 1000.
    {"rgb", Colours, ie8g, "117 255 20 0"},
    {"rgb", Colours, ie16g, "30184 65535 4915 0"},
    {"rgb", Colours, ie32f, "0.461373 1 0.0722 0"},
    {"rgb", Colours, ie48RGB,
     "rgb48(51400,25700,12850) rgb48(65535,65535,65535) rgb48(0,0,65535) rgb48(0,0,0)"},
    {"rgb", Colours, ie32RGB, "rgba(200,100,50,255) rgba(255,255,255,255) rgba(0,0,255,255) rgba(0,0,0,255)"},
    {"rgb", Colours, ieCMYK,
     "cmyk(255,127,63,200) cmyk(255,255,255,255) cmyk(0,0,255,255) cmyk(255,255,255,0)"},
    // Trunc on the way in and 8-bit a and b make the trip lossy; white is 254.
    {"rgb", Colours, ieCIELab, "lab(136,36,45) lab(254,0,0) lab(82,79,-107) lab(0,0,0)"},
    {"lab", Labs, ie24RGB, "rgb(199,100,50) rgb(254,254,254) rgb(14,0,253) rgb(127,110,171)"},
    // Truncating and clamping, NaN to 0 and infinity to the top.
    {"float", Floats, ie8g, "127 255 0 255 0 255"},
    {"float", Floats, ie8p, "127 255 0 255 0 255"},
    {"float", Floats, ie16g, "32767 65535 0 65535 0 65535"},
    {"float", FewFloats, ie24RGB, "rgb(127,127,127) rgb(255,255,255)"},
    {"float", FewFloats, ie48RGB, "rgb48(32767,32767,32767) rgb48(65535,65535,65535)"},
    {"float", FewFloats, ie32RGB, "rgba(127,127,127,255) rgba(255,255,255,255)"},
    // Grey(18, 171, 255) = (378 + 12141 + 2040) / 100 = 145.59; 16-bit grey on the
    // 16-bit channels (4660 * 212 + 43981 * 713 + 65535 * 75) / 1000 = 37261.498.
    {"rgb48", Deep, ie24RGB, "rgb(18,171,255)"},
    {"rgb48", Deep, ie32RGB, "rgba(18,171,255,255)"},
    {"rgb48", Deep, ie8g, "145"},
    {"rgb48", Deep, ie16g, "37261"},
    {"rgb48", Deep, ie32f, "0.569509"},
    {"rgb48", Deep, ieCMYK, "cmyk(18,171,255,255)"},
    // 200 * 127 / 255 = 99.6 and 200 * 63 / 255 = 49.4; other targets go through RGB:
    // Grey(200, 100, 0) = 113.
    {"cmyk", Inks, ie24RGB, "rgb(200,100,0) rgb(200,99,49)"},
    {"cmyk", Inks, ie32RGB, "rgba(200,100,0,255) rgba(200,99,49,255)"},
    {"cmyk", Inks, ie8g, "113 116"},
    {"rgba", Quads, ie24RGB, "rgb(3,2,1)"},
};

} // namespace

TEST(Convert, EachPairByItsFormula) {
    for (const TConversion& c : kConversions) {
        auto bitmap = c.Make();
        SCOPED_TRACE(std::string(c.Source) + " to " + IEPixelFormatName(c.To));
        // The single-pixel reader gives what the whole conversion to RGB gives.
        std::string singles;
        for (int32_t x = 0; c.To == ie24RGB && x < bitmap->Width(); ++x) {
            std::ostringstream pixel;
            pixel << bitmap->GetPixels(x, 0);
            if (x) singles += ' ';
            singles += pixel.str();
        }
        if (c.To == ie24RGB) {
            EXPECT_EQ(singles, c.Expected) << "GetPixels";
        }
        bitmap->SetPixelFormat(c.To);
        ASSERT_EQ(bitmap->PixelFormat(), c.To);
        EXPECT_EQ(RowText(*bitmap), c.Expected);
    }
}

TEST(Convert, BitsExpandByTheirValueOverAPartlyUsedByte) {
    const bool pattern[10] = {true, false, true, true, false, false, false, true, true, false};
    const struct {
        TIEPixelFormat To;
        const char *White, *Black;
    } targets[] = {
        {ie8p, "1", "0"},
        {ie8g, "255", "0"},
        {ie16g, "65535", "0"},
        {ie24RGB, "rgb(255,255,255)", "rgb(0,0,0)"},
        {ie32f, "1", "0"},
        {ie48RGB, "rgb48(65535,65535,65535)", "rgb48(0,0,0)"},
        {ie32RGB, "rgba(255,255,255,255)", "rgba(0,0,0,255)"},
        {ieCMYK, "cmyk(255,255,255,255)", "cmyk(255,255,255,0)"},
        {ieCIELab, "lab(254,0,0)", "lab(0,0,0)"},
    };
    for (const auto& target : targets) {
        SCOPED_TRACE(IEPixelFormatName(target.To));
        TIEBitmap bitmap(10, 1, ie1g, 0);
        for (int32_t x = 0; x < 10; ++x)
            bitmap.SetPixels_ie1g(x, 0, pattern[x]);
        for (int32_t x = 0; target.To == ie24RGB && x < 10; ++x)
            EXPECT_EQ(bitmap.GetPixels(x, 0), pattern[x] ? RGB(255, 255, 255) : RGB(0, 0, 0)) << x;
        bitmap.SetPixelFormat(target.To);
        for (int32_t x = 0; x < 10; ++x)
            EXPECT_EQ(PixelText(bitmap, x), pattern[x] ? target.White : target.Black) << x;
        if (target.To == ie8p) {
            EXPECT_EQ(bitmap.GetPalette(1), RGB(255, 255, 255));
        }
    }
}

TEST(Convert, GreyPalettesAreMadeForGreySources) {
    auto grey = Greys();
    grey->SetPixelFormat(ie8p);
    EXPECT_EQ(grey->GetPalette(51), RGB(51, 51, 51));
    auto words = Words();
    words->SetPixelFormat(ie8p);
    EXPECT_EQ(words->GetPalette(18), RGB(18, 18, 18));
    auto floats = Floats();
    floats->SetPixelFormat(ie8p);
    EXPECT_EQ(floats->GetPalette(127), RGB(127, 127, 127));
}

TEST(Convert, GreyFollowsTheGlobalCoefficients) {
    TIEGlobalSettings& settings = IEGlobalSettings();
    const int32_t red = settings.RedToGrayCoef(), green = settings.GreenToGrayCoef(),
                  blue = settings.BlueToGrayCoef();
    settings.SetRedToGrayCoef(30);
    settings.SetGreenToGrayCoef(59);
    settings.SetBlueToGrayCoef(11);
    auto grey = MakeBitmap<TRGB>(ie24RGB, 1, {RGB(200, 100, 50)});
    grey->SetPixelFormat(ie8g);
    settings.SetRedToGrayCoef(red);
    settings.SetGreenToGrayCoef(green);
    settings.SetBlueToGrayCoef(blue);
    // 6000 + 5900 + 550 = 124.50, cut.
    EXPECT_EQ(grey->GetPixels_ie8(0, 0), 124);
}

TEST(Convert, LabGreyAxisHasNoChromaAndComesBackWithinOneLevel) {
    int previous = -1;
    for (int v = 0; v < 256; ++v) {
        const TCIELab lab = IERGB2CIELab(RGB(v, v, v));
        ASSERT_TRUE(lab.a == 0 && lab.b == 0 && lab.l >= previous) << v;
        previous = lab.l;
        const TRGB back = IECIELab2RGB(lab);
        ASSERT_LE(std::abs(back.r - v) + std::abs(back.g - v) + std::abs(back.b - v), 3) << v;
    }
}

TEST(Convert, FileBackedRowsConvertLikeMemoryRows) {
    TIEBitmap bitmap;
    bitmap.SetMinFileSize(0);
    bitmap.Allocate(3, 2, ie24RGB, 0);
    ASSERT_EQ(bitmap.Location(), ieFile);
    bitmap.SetPixels_ie24RGB(0, 0, RGB(200, 100, 50));
    bitmap.SetPixels_ie24RGB(2, 1, RGB(255, 255, 255));
    bitmap.SetPixelFormat(ieCMYK);
    EXPECT_EQ(bitmap.Location(), ieFile);
    EXPECT_EQ(RowText(bitmap, 1), "cmyk(255,255,255,0) cmyk(255,255,255,0) cmyk(255,255,255,255)");
    // Back through RGB (200, 99, 49): 4200 + 7029 + 392 = 116.21.
    bitmap.SetPixelFormat(ie8g);
    EXPECT_EQ(RowText(bitmap, 0), "116 0 0");
    EXPECT_EQ(RowText(bitmap, 1), "0 0 255");
}

TEST(Convert, PlatformBitmapTakesItsFormatsAndRefusesOthersKeepingPixels) {
    TIEBitmap bitmap;
    bitmap.SetLocation(ieTBitmap);
    bitmap.Allocate(2, 1, ie24RGB, 0);
    bitmap.SetPixels_ie24RGB(0, 0, RGB(200, 100, 50));
    bitmap.SetPixelFormat(ie8g);
    EXPECT_EQ(bitmap.Location(), ieTBitmap);
    EXPECT_EQ(RowText(bitmap), "117 0");
    // A platform bitmap has no 16-bit grey: the allocation demotes it to 8 bits.
    bitmap.SetPixelFormat(ie16g);
    EXPECT_EQ(RowText(bitmap), "117 0");
    try {
        bitmap.SetPixelFormat(ie32f);
        FAIL() << "no exception";
    } catch (const EIEException& e) {
        EXPECT_STREQ(e.what(), "ie32f pixel format not allowed when IEBitmap.Location=ieTBitmap");
    }
    EXPECT_EQ(RowText(bitmap), "117 0");

    bitmap.SetPixels_ie8(1, 0, 77);
    bitmap.SetPixelFormat(ie8p);
    EXPECT_EQ(bitmap.VclBitmap()->PaletteEntry(77), (TRGBA{77, 77, 77, 0}));
    EXPECT_EQ(RowText(bitmap), "117 77");

    TIEBitmap empty;
    empty.SetPixelFormat(ie48RGB);
    EXPECT_EQ(empty.PixelFormat(), ie48RGB);
    EXPECT_TRUE(empty.IsEmpty());
}

TEST(Convert, QuantizerKeepsFewColoursInOrderAndCutsByTheMedianOtherwise) {
    auto few = MakeBitmap<TRGB>(ie24RGB, 3, {RGB(9, 8, 7), RGB(1, 2, 3), RGB(9, 8, 7)});
    few->SetPixelFormat(ie8p);
    EXPECT_EQ(RowText(*few), "0 1 0");
    EXPECT_EQ(few->GetPalette(1), RGB(1, 2, 3));
    EXPECT_EQ(few->GetPalette(2), RGB(0, 0, 0));

    // PaletteUsed 2: boxes {0, 10} and {200, 250}, each the mean of its box.
    auto two = MakeBitmap<TRGB>(ie24RGB, 2, {RGB(0, 0, 0), RGB(10, 0, 0), RGB(200, 0, 0), RGB(250, 0, 0)});
    two->SetPaletteUsed(2);
    two->SetPixelFormat(ie8p);
    EXPECT_EQ(two->PaletteUsed(), 2);
    EXPECT_EQ(two->GetPalette(0), RGB(5, 0, 0));
    EXPECT_EQ(two->GetPalette(1), RGB(225, 0, 0));
    EXPECT_EQ(RowText(*two, 0) + " " + RowText(*two, 1), "0 0 1 1");

    // Too many colours: every pixel still gets its nearest entry.
    std::vector<TRGB> colours;
    for (int i = 0; i < 600; ++i)
        colours.push_back(RGB((i * 37) & 255, (i * 91) & 255, (i * 13) & 255));
    auto many = MakeBitmap<TRGB>(ie24RGB, 30, colours);
    many->SetPixelFormat(ie8p);
    auto distance = [](TRGB a, TRGB b) {
        return (a.r - b.r) * (a.r - b.r) + (a.g - b.g) * (a.g - b.g) + (a.b - b.b) * (a.b - b.b);
    };
    for (int32_t i = 0; i < 600; ++i) {
        const int chosen =
            distance(many->GetPalette(many->GetPixels_ie8(i % 30, i / 30)), colours[size_t(i)]);
        for (int32_t e = 0; e < 256; ++e)
            ASSERT_LE(chosen, distance(many->GetPalette(e), colours[size_t(i)])) << i;
    }
}

TEST(Convert, AlphaPlaneSurvivesEveryDetourUnmultiplied) {
    for (TIEPixelFormat via : {ie8p, ie8g, ie1g, ieCMYK, ieCIELab, ie48RGB, ie32f}) {
        SCOPED_TRACE(IEPixelFormatName(via));
        auto bitmap = MakeBitmap<TRGB>(ie24RGB, 2, {RGB(255, 255, 255), RGB(255, 255, 255)});
        bitmap->SetAlpha(1, 0, 42);
        bitmap->SetPixelFormat(via);
        bitmap->SetPixelFormat(ie24RGB);
        EXPECT_EQ(bitmap->GetAlpha(0, 0), 255);
        EXPECT_EQ(bitmap->GetAlpha(1, 0), 42);
        // White is not dimmed by the alpha; only Lab's own rounding may touch it.
        EXPECT_EQ(bitmap->GetPixels_ie24RGB(1, 0), via == ieCIELab ? RGB(254, 254, 254) : RGB(255, 255, 255));
    }
    // Leaving ie32RGB moves the fourth bytes to the plane, if there was one.
    auto rgba = MakeBitmap<TRGB>(ie24RGB, 2, {RGB(1, 2, 3), RGB(4, 5, 6)});
    rgba->SetAlpha(0, 0, 10);
    rgba->SetAlphaLocation(iaRGBA);
    ASSERT_EQ(rgba->PixelFormat(), ie32RGB);
    rgba->GetPPixels_ie32RGB(1, 0)->a = 77;
    rgba->SetPixelFormat(ie8g);
    EXPECT_EQ(rgba->AlphaLocation(), iaAlphaChannel);
    EXPECT_EQ(rgba->GetAlpha(0, 0), 10);
    EXPECT_EQ(rgba->GetAlpha(1, 0), 77);
    auto planeless = Quads();
    planeless->SetPixelFormat(ieCIELab);
    EXPECT_EQ(planeless->AlphaChannelOpt(), nullptr);
}

TEST(CopyAndConvertFormat, FillsTheTargetCopiesThePlaneAndMayChangeTheSource) {
    auto source = Inks();
    source->SetAlpha(0, 0, 9);
    TIEBitmap target(2, 1, ie8g, 0);
    target.CopyAndConvertFormat(*source);
    EXPECT_EQ(RowText(target), "113 116");
    EXPECT_EQ(target.GetAlpha(0, 0), 9);
    EXPECT_EQ(source->GetAlpha(0, 0), 9);
    // CMYK to grey goes through RGB, and the source is converted in place for it.
    EXPECT_EQ(RowText(*source), "rgb(200,100,0) rgb(200,99,49)");

    TIEBitmap wrongSize(3, 1, ie8g, 99);
    wrongSize.CopyAndConvertFormat(*MakeBitmap<uint8_t>(ie8g, 2, {1, 2}));
    EXPECT_EQ(RowText(wrongSize), "99 99 99");

    TIEBitmap indexed(2, 1, ie8p, 0);
    indexed.CopyAndConvertFormat(*PaletteImage());
    EXPECT_EQ(RowText(indexed), "0 1");
    EXPECT_EQ(indexed.GetPalette(1), RGB(10, 20, 30));
}

TEST(GetPixels, IgnoresTheDisplayWindowAndGivesBlackForNoFormat) {
    auto grey = MakeBitmap<uint8_t>(ie8g, 1, {100});
    grey->SetBlackValue(90);
    grey->SetWhiteValue(95);
    EXPECT_EQ(grey->GetPixels(0, 0), RGB(100, 100, 100));
    TIEBitmap empty;
    EXPECT_EQ(empty.GetPixels(0, 0), RGB(0, 0, 0));
}

TEST(SetPixels, WritesEachFormatByItsRuleAndLeavesTheNeighbour) {
    const std::pair<TIEPixelFormat, const char*> formats[] = {
        {ie8g, "0 117"},
        {ie16g, "0 30184"},
        {ie32f, "0 0.461373"},
        {ieCMYK, "cmyk(255,255,255,0) cmyk(255,127,63,200)"},
        {ie48RGB, "rgb48(0,0,0) rgb48(51400,25700,12850)"},
        {ieCIELab, "lab(0,0,0) lab(136,36,45)"},
        {ie24RGB, "rgb(0,0,0) rgb(200,100,50)"},
    };
    for (const auto& [format, expected] : formats) {
        TIEBitmap bitmap(2, 1, format, 0);
        bitmap.SetPixels(1, 0, RGB(200, 100, 50));
        EXPECT_EQ(RowText(bitmap), expected) << IEPixelFormatName(format);
    }
    // ie32RGB keeps its fourth byte; ie1g decides at grey 128 (Grey(255, 0, 0) is 53).
    TIEBitmap rgba(1, 1, ie32RGB, 0);
    rgba.SetPixels_ie32RGB(0, 0, TRGBA{0, 0, 0, 33});
    rgba.SetPixels(0, 0, RGB(7, 8, 9));
    EXPECT_EQ(RowText(rgba), "rgba(7,8,9,33)");
    TIEBitmap bits(4, 1, ie1g, 1);
    bits.SetPixels(0, 0, RGB(128, 128, 128));
    bits.SetPixels(1, 0, RGB(127, 127, 127));
    bits.SetPixels(2, 0, RGB(255, 0, 0));
    bits.SetPixels(3, 0, RGB(0, 0, 0));
    EXPECT_EQ(RowText(bits), "1 0 0 0");
}

TEST(SetPixels, PaletteTakesTheNearestDeclaredEntry) {
    TIEBitmap palette(1, 1, ie8p, 0);
    palette.SetPalette(1, RGB(200, 100, 50));
    palette.SetPalette(2, RGB(10, 20, 30));
    palette.SetPixels(0, 0, RGB(190, 100, 50));
    EXPECT_EQ(palette.GetPixels_ie8(0, 0), 1);
    palette.SetPixels(0, 0, RGB(12, 20, 30));
    EXPECT_EQ(palette.GetPixels_ie8(0, 0), 2);
    // Black ties between entry 0 and every unset entry: the first wins.
    palette.SetPixels(0, 0, RGB(0, 0, 0));
    EXPECT_EQ(palette.GetPixels_ie8(0, 0), 0);
    palette.SetPaletteUsed(2);
    palette.SetPixels(0, 0, RGB(12, 20, 30));
    EXPECT_EQ(palette.GetPixels_ie8(0, 0), 0);
}

TEST(SetPixels, GreysComeBackUnchangedThroughExactFormats) {
    for (TIEPixelFormat format : {ie8g, ie16g, ie24RGB, ieCMYK, ie48RGB, ie32RGB}) {
        TIEBitmap bitmap(1, 1, format, 0);
        for (int v = 0; v < 256; ++v) {
            bitmap.SetPixels(0, 0, RGB(v, v, v));
            ASSERT_EQ(bitmap.GetPixels(0, 0), RGB(v, v, v)) << IEPixelFormatName(format) << " " << v;
        }
    }
}
