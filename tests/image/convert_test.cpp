#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "image/bitmap.h"
#include "image/convert.h"
#include "image/settings.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/image/converttestutil.h"

namespace {

// Palette entry 0 is (200, 100, 50), entry 1 is (10, 20, 30); pixels 0, 1.
std::unique_ptr<TIEBitmap> PaletteImage() {
    auto bitmap = Picture("ie8p 0 1");
    bitmap->SetPalette(0, RGB(200, 100, 50));
    bitmap->SetPalette(1, RGB(10, 20, 30));
    return bitmap;
}
const char *const kPalette = "", *const kColours = "ie24RGB rgb(200,100,50) 255 rgb(0,0,255) 0",
                  *const kGreys = "ie8g 0 51 255", *const kWords = "ie16g 4660 65535 255",
                  *const kFloats = "ie32f 0.5 1 -0.25 2 nan inf",
                  *const kDeep = "ie48RGB rgb48(4660,43981,65535)",
                  *const kInks = "ieCMYK cmyk(255,128,0,200) cmyk(255,127,63,200)",
                  *const kBits = "ie1g 1 0 1 1 0 0 0 1 1 0"; // over a partly used byte

// Grey(r, g, b) = (21 r + 71 g + 8 b) / 100, cut; 16-bit grey (54484 r + 183241 g +
// 19275 b) / 1000 on 8-bit channels, cut; float 0.2126 r + 0.7152 g + 0.0722 b over 255.
// CMYK: k = max, each ink channel * 255 / k, cut; back channel * k / 255, cut.
// clang-format off
const struct {
    const char* Source;
    TIEPixelFormat To;
    const char* Expected;
} kConversions[] = {
    // 4200 + 7100 + 400 = 117.00 and 210 + 1420 + 240 = 18.70.
    {kPalette, ie8g, "117 18"},
    {kPalette, ie16g, "30184 4787"}, // 30184650 / 1000 and 4787910 / 1000
    {kPalette, ie24RGB, "rgb(200,100,50) rgb(10,20,30)"},
    {kPalette, ie32f, "0.461373 0.0729255"},
    {kPalette, ie48RGB, "rgb48(51400,25700,12850) rgb48(2570,5140,7710)"},
    {kPalette, ie32RGB, "rgba(200,100,50,255) rgba(10,20,30,255)"},
    // m = 25500 / 200 = 127.5, y = 12750 / 200 = 63.75; k 30: 85, 170, 255.
    {kPalette, ieCMYK, "cmyk(255,127,63,200) cmyk(85,170,255,30)"},
    {kGreys, ie8p, "0 51 255"},
    {kGreys, ie16g, "0 13107 65535"},
    {kGreys, ie24RGB, "0 51 255"},
    {kGreys, ie32f, "0 0.2 1"},
    {kGreys, ie48RGB, "rgb48(0,0,0) rgb48(13107,13107,13107) rgb48(65535,65535,65535)"},
    {kGreys, ie32RGB, "rgba(0,0,0,255) rgba(51,51,51,255) rgba(255,255,255,255)"},
    // Narrowing takes the high byte; the full value goes to the wide formats.
    {kWords, ie8p, "18 255 0"},
    {kWords, ie8g, "18 255 0"},
    {kWords, ie24RGB, "18 255 0"},
    {kWords, ie32f, "0.071107 1 0.00389105"},
    {kWords, ie48RGB, "rgb48(4660,4660,4660) rgb48(65535,65535,65535) rgb48(255,255,255)"},
    {kWords, ie32RGB, "rgba(18,18,18,255) rgba(255,255,255,255) rgba(0,0,0,255)"},
    // Blue alone: 2040 / 100 = 20.4 and 4915125 / 1000.
    {kColours, ie8g, "117 255 20 0"},
    {kColours, ie16g, "30184 65535 4915 0"},
    {kColours, ie32f, "0.461373 1 0.0722 0"},
    {kColours, ie48RGB, "rgb48(51400,25700,12850) rgb48(65535,65535,65535) rgb48(0,0,65535) rgb48(0,0,0)"},
    {kColours, ie32RGB, "rgba(200,100,50,255) rgba(255,255,255,255) rgba(0,0,255,255) rgba(0,0,0,255)"},
    {kColours, ieCMYK, "cmyk(255,127,63,200) cmyk(255,255,255,255) cmyk(0,0,255,255) cmyk(255,255,255,0)"},
    // Trunc on the way in and 8-bit a and b make the trip lossy; white is 254.
    {kColours, ieCIELab, "lab(136,36,45) lab(254,0,0) lab(82,79,-107) lab(0,0,0)"},
    {"ieCIELab lab(136,36,45) lab(254,0,0) lab(82,79,-107) lab(128,20,-30)", ie24RGB,
     "rgb(199,100,50) 254 rgb(14,0,253) rgb(127,110,171)"},
    // Truncating and clamping, NaN to 0 and infinity to the top.
    {kFloats, ie8g, "127 255 0 255 0 255"},
    {kFloats, ie8p, "127 255 0 255 0 255"},
    {kFloats, ie16g, "32767 65535 0 65535 0 65535"},
    {kFloats, ie24RGB, "127 255 0 255 0 255"},
    {kFloats, ie48RGB, "rgb48(32767,32767,32767) rgb48(65535,65535,65535) rgb48(0,0,0) rgb48(65535,65535,65535) "
                       "rgb48(0,0,0) rgb48(65535,65535,65535)"},
    {kFloats, ie32RGB, "rgba(127,127,127,255) rgba(255,255,255,255) rgba(0,0,0,255) rgba(255,255,255,255) "
                       "rgba(0,0,0,255) rgba(255,255,255,255)"},
    // Grey(18, 171, 255) = (378 + 12141 + 2040) / 100 = 145.59; 16-bit grey on the 16-bit
    // channels (4660 * 212 + 43981 * 713 + 65535 * 75) / 1000 = 37261.498.
    {kDeep, ie24RGB, "rgb(18,171,255)"},
    {kDeep, ie32RGB, "rgba(18,171,255,255)"},
    {kDeep, ie8g, "145"},
    {kDeep, ie16g, "37261"},
    {kDeep, ie32f, "0.569509"},
    {kDeep, ieCMYK, "cmyk(18,171,255,255)"},
    // 200 * 127 / 255 = 99.6 and 200 * 63 / 255 = 49.4; other targets go through RGB:
    // Grey(200, 100, 0) = 113.
    {kInks, ie24RGB, "rgb(200,100,0) rgb(200,99,49)"},
    {kInks, ie32RGB, "rgba(200,100,0,255) rgba(200,99,49,255)"},
    {kInks, ie8g, "113 116"},
    {"ie32RGB rgba(3,2,1,4)", ie24RGB, "rgb(3,2,1)"},
    // Bits expand by their value; CMYK and Lab go through RGB.
    {kBits, ie8p, "1 0 1 1 0 0 0 1 1 0"},
    {kBits, ie8g, "255 0 255 255 0 0 0 255 255 0"},
    {kBits, ie16g, "65535 0 65535 65535 0 0 0 65535 65535 0"},
    {kBits, ie24RGB, "255 0 255 255 0 0 0 255 255 0"},
    {kBits, ie32f, "1 0 1 1 0 0 0 1 1 0"},
    {"ie1g 1 0", ie48RGB, "rgb48(65535,65535,65535) rgb48(0,0,0)"},
    {"ie1g 1 0", ie32RGB, "rgba(255,255,255,255) rgba(0,0,0,255)"},
    {"ie1g 1 0", ieCMYK, "cmyk(255,255,255,255) cmyk(255,255,255,0)"},
    {"ie1g 1 0", ieCIELab, "lab(254,0,0) lab(0,0,0)"},
};
// clang-format on

} // namespace

TEST(Convert, EachPairByItsFormula) {
    for (const auto& c : kConversions) {
        auto bitmap = *c.Source ? Picture(c.Source) : PaletteImage();
        const std::string from = IEPixelFormatName(bitmap->PixelFormat());
        bitmap->SetPixelFormat(c.To);
        EXPECT_EQ(Text(*bitmap), std::string(IEPixelFormatName(c.To)) + " " + c.Expected) << from;
    }
    // Grey sources get a grey palette, bits black and white.
    for (auto [source, entry, level] :
         {std::tuple{kGreys, 51, 51}, {kWords, 51, 51}, {kFloats, 51, 51}, {kBits, 1, 255}}) {
        auto grey = Picture(source);
        grey->SetPixelFormat(ie8p);
        EXPECT_EQ(grey->GetPalette(entry), RGB(level, level, level)) << source;
    }
}

TEST(Convert, GreyFollowsTheGlobalCoefficientsAndLabKeepsGreysGrey) {
    TIEGlobalSettings& settings = IEGlobalSettings();
    const int32_t red = settings.RedToGrayCoef(), green = settings.GreenToGrayCoef(),
                  blue = settings.BlueToGrayCoef();
    settings.SetRedToGrayCoef(30), settings.SetGreenToGrayCoef(59), settings.SetBlueToGrayCoef(11);
    auto grey = Picture("ie24RGB rgb(200,100,50)");
    grey->SetPixelFormat(ie8g);
    settings.SetRedToGrayCoef(red), settings.SetGreenToGrayCoef(green), settings.SetBlueToGrayCoef(blue);
    EXPECT_EQ(Text(*grey), "ie8g 124"); // 6000 + 5900 + 550 = 124.50, cut

    int previous = -1;
    for (int v = 0; v < 256; ++v) {
        const TCIELab lab = IERGB2CIELab(RGB(v, v, v));
        ASSERT_TRUE(lab.a == 0 && lab.b == 0 && lab.l >= previous) << v;
        previous = lab.l;
        const TRGB back = IECIELab2RGB(lab);
        ASSERT_LE(std::abs(back.r - v) + std::abs(back.g - v) + std::abs(back.b - v), 3) << v;
    }
}

TEST(Convert, FileAndPlatformRowsConvertInPlace) {
    TIEBitmap onFile;
    onFile.SetMinFileSize(0);
    Draw(onFile, "ie24RGB rgb(200,100,50) 0 0 / 0 0 255");
    onFile.SetPixelFormat(ieCMYK);
    EXPECT_EQ(onFile.Location(), ieFile);
    EXPECT_EQ(RowText(onFile, 1), "cmyk(255,255,255,0) cmyk(255,255,255,0) cmyk(255,255,255,255)");
    onFile.SetPixelFormat(ie8g);
    EXPECT_EQ(Text(onFile), "ie8g 116 0 0 / 0 0 255"); // through (200, 99, 49): 4200 + 7029 + 392

    TIEBitmap platform;
    platform.SetLocation(ieTBitmap);
    Draw(platform, "ie24RGB rgb(200,100,50) 0");
    platform.SetPixelFormat(ie8g);
    EXPECT_THROW(platform.SetPixelFormat(ie32f), EIEException); // and the picture stays
    platform.SetPixels_ie8(1, 0, 77);
    platform.SetPixelFormat(ie8p);
    EXPECT_EQ(platform.VclBitmap()->PaletteEntry(77).g, 77);
    EXPECT_EQ(std::make_pair(platform.Location(), Text(platform)),
              std::make_pair(ieTBitmap, std::string("ie8p 117 77")));
    TIEBitmap empty;
    empty.SetPixelFormat(ie48RGB);
    EXPECT_EQ(empty.PixelFormat(), ie48RGB);
}

TEST(Convert, QuantizerKeepsFewColoursInOrderAndCutsByTheMedianOtherwise) {
    auto few = Picture("ie24RGB rgb(9,8,7) rgb(1,2,3) rgb(9,8,7)");
    few->SetPixelFormat(ie8p);
    EXPECT_EQ(Text(*few), "ie8p 0 1 0");
    EXPECT_EQ(few->GetPalette(1), RGB(1, 2, 3));
    EXPECT_EQ(few->GetPalette(2), RGB(0, 0, 0));
    // PaletteUsed 2: boxes {0, 11} and {200, 251}, each the rounded mean: 5.5 -> 6, 225.5 -> 226.
    auto two = Picture("ie24RGB 0 rgb(11,0,0) / rgb(200,0,0) rgb(251,0,0)");
    two->SetPaletteUsed(2);
    two->SetPixelFormat(ie8p);
    EXPECT_EQ(two->PaletteUsed(), 2);
    EXPECT_EQ(Text(*two), "ie8p 0 0 / 1 1");
    EXPECT_EQ(two->GetPalette(0), RGB(6, 0, 0));
    EXPECT_EQ(two->GetPalette(1), RGB(226, 0, 0));
    // Too many colours: every pixel still gets its nearest entry.
    TIEBitmap many(30, 20, ie24RGB);
    const auto colour = [](int i) { return RGB((i * 37) & 255, (i * 91) & 255, (i * 13) & 255); };
    for (int i = 0; i < 600; ++i)
        many.SetPixels_ie24RGB(i % 30, i / 30, colour(i));
    many.SetPixelFormat(ie8p);
    const auto distance = [](TRGB a, TRGB b) {
        return (a.r - b.r) * (a.r - b.r) + (a.g - b.g) * (a.g - b.g) + (a.b - b.b) * (a.b - b.b);
    };
    for (int32_t i = 0; i < 600; ++i)
        for (int32_t e = 0; e < 256; ++e)
            ASSERT_LE(distance(many.GetPalette(many.GetPixels_ie8(i % 30, i / 30)), colour(i)),
                      distance(many.GetPalette(e), colour(i)))
                << i;
}

TEST(Convert, AlphaPlaneSurvivesEveryDetourUnmultiplied) {
    for (TIEPixelFormat via : {ie8p, ie8g, ie1g, ieCMYK, ieCIELab, ie48RGB, ie32f, ie32RGB}) {
        auto bitmap = Picture("ie24RGB 255 255 alpha 255 42");
        bitmap->SetPixelFormat(via);
        bitmap->SetPixelFormat(ie24RGB);
        // White is not dimmed by the alpha; only Lab's own rounding may touch it.
        EXPECT_EQ(Text(*bitmap),
                  via == ieCIELab ? "ie24RGB 254 254 alpha 255 42" : "ie24RGB 255 255 alpha 255 42")
            << IEPixelFormatName(via);
    }
    // Leaving ie32RGB moves the fourth bytes to the plane.
    auto rgba = Picture("ie24RGB 1 4 alpha 10 255");
    rgba->SetAlphaLocation(iaRGBA);
    rgba->GetPPixels_ie32RGB(1, 0)->a = 77;
    rgba->SetPixelFormat(ie8g);
    EXPECT_EQ(rgba->AlphaLocation(), iaAlphaChannel);
    EXPECT_EQ(GreyPixels(*rgba->AlphaChannelOpt()), Bytes({10, 77}));
}

TEST(CopyAndConvertFormat, FillsTheTargetCopiesThePlaneAndMayChangeTheSource) {
    auto source = Picture(std::string(kInks) + " alpha 9 255");
    TIEBitmap target(2, 1, ie8g, 0), wrongSize(3, 1, ie8g, 99), indexed(2, 1, ie8p, 0);
    target.CopyAndConvertFormat(*source);
    EXPECT_EQ(Text(target), "ie8g 113 116 alpha 9 255");
    // CMYK to grey goes through RGB, and the source is converted in place for it.
    EXPECT_EQ(Text(*source), "ie24RGB rgb(200,100,0) rgb(200,99,49) alpha 9 255");
    wrongSize.CopyAndConvertFormat(*Picture("ie8g 1 2"));
    EXPECT_EQ(Text(wrongSize), "ie8g 99 99 99");
    indexed.CopyAndConvertFormat(*PaletteImage());
    EXPECT_EQ(Text(indexed), "ie8p 0 1");
    EXPECT_EQ(indexed.GetPalette(1), RGB(10, 20, 30));
}

TEST(SetPixels, WritesEachFormatByItsRuleAndLeavesTheNeighbour) {
    // clang-format off
    const std::pair<TIEPixelFormat, const char*> formats[] = {
        {ie8g, "0 117"}, {ie16g, "0 30184"}, {ie32f, "0 0.461373"}, {ie24RGB, "0 rgb(200,100,50)"},
        {ieCMYK, "cmyk(255,255,255,0) cmyk(255,127,63,200)"}, {ie48RGB, "rgb48(0,0,0) rgb48(51400,25700,12850)"},
        {ieCIELab, "lab(0,0,0) lab(136,36,45)"}};
    // clang-format on
    for (const auto& [format, expected] : formats) {
        TIEBitmap bitmap(2, 1, format, 0);
        bitmap.SetPixels(1, 0, RGB(200, 100, 50));
        EXPECT_EQ(RowText(bitmap), expected) << IEPixelFormatName(format);
    }
    // ie32RGB keeps its fourth byte; ie1g decides at grey 128 (Grey(255, 0, 0) is 53).
    TIEBitmap rgba(1, 1, ie32RGB, 0), bits(4, 1, ie1g, 1);
    rgba.SetPixels_ie32RGB(0, 0, TRGBA{0, 0, 0, 33});
    rgba.SetPixels(0, 0, RGB(7, 8, 9));
    EXPECT_EQ(RowText(rgba), "rgba(7,8,9,33)");
    for (auto [x, v] : {std::pair{0, RGB(128, 128, 128)}, {1, RGB(127, 127, 127)}, {2, RGB(255, 0, 0)}})
        bits.SetPixels(x, 0, v);
    bits.SetPixels(3, 0, RGB(0, 0, 0));
    EXPECT_EQ(RowText(bits), "1 0 0 0");
    EXPECT_EQ(TIEBitmap().GetPixels(0, 0), RGB(0, 0, 0)); // no format reads black
}

TEST(SetPixels, PaletteTakesTheNearestDeclaredEntry) {
    TIEBitmap palette(1, 1, ie8p, 0);
    palette.SetPalette(1, RGB(200, 100, 50));
    palette.SetPalette(2, RGB(10, 20, 30));
    // Black ties between entry 0 and every unset entry: the first wins.
    const std::pair<TRGB, int> picks[] = {{RGB(190, 100, 50), 1}, {RGB(12, 20, 30), 2}, {RGB(0, 0, 0), 0}};
    for (const auto& [colour, entry] : picks) {
        palette.SetPixels(0, 0, colour);
        EXPECT_EQ(palette.GetPixels_ie8(0, 0), entry) << colour;
    }
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
