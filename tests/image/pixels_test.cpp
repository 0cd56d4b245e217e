#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "image/bitmap.h"
#include "image/convert.h"
#include "tests/image/converttestutil.h"

namespace {

std::unique_ptr<TIEBitmap> OnePixel(TIEPixelFormat Format) {
    auto bitmap = std::make_unique<TIEBitmap>(2, 1, Format, 0);
    return bitmap;
}

} // namespace

TEST(GetPixels, AgreesWithConvertingTheWholeImageToRGB) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    std::vector<std::unique_ptr<TIEBitmap>> images;
    images.push_back(MakeBitmap<uint8_t>(ie8g, 3, {0, 51, 255}));
    images.push_back(MakeBitmap<uint16_t>(ie16g, 3, {0x1234, 0xFFFF, 0x00FF}));
    images.push_back(MakeBitmap<float>(ie32f, 4, {0.5f, 1.5f, -1.0f, nan}));
    images.push_back(MakeBitmap<TCMYK>(ieCMYK, 2, {TCMYK{255, 128, 0, 200}, TCMYK{0, 0, 0, 0}}));
    images.push_back(MakeBitmap<TRGB48>(ie48RGB, 1, {TRGB48{0x1234, 0xABCD, 0xFFFF}}));
    images.push_back(MakeBitmap<TCIELab>(ieCIELab, 2, {TCIELab{128, 20, -30}, TCIELab{200, -100, 100}}));
    images.push_back(MakeBitmap<TRGBA>(ie32RGB, 1, {TRGBA{1, 2, 3, 4}}));
    auto palette = MakeBitmap<uint8_t>(ie8p, 2, {1, 0});
    palette->SetPalette(1, RGB(200, 100, 50));
    images.push_back(std::move(palette));
    auto bits = std::make_unique<TIEBitmap>(3, 1, ie1g, 0);
    bits->SetPixels_ie1g(1, 0, true);
    images.push_back(std::move(bits));
    for (auto& image : images) {
        SCOPED_TRACE(IEPixelFormatName(image->PixelFormat()));
        std::vector<TRGB> single;
        for (int32_t x = 0; x < image->Width(); ++x)
            single.push_back(image->GetPixels(x, 0));
        image->SetPixelFormat(ie24RGB);
        EXPECT_EQ(single, RowValues<TRGB>(*image));
    }
}

TEST(GetPixels, IgnoresTheDisplayWindowAndGivesBlackForNoFormat) {
    // The display window is for whole-image conversion only.
    auto grey = MakeBitmap<uint8_t>(ie8g, 1, {100});
    grey->SetBlackValue(90);
    grey->SetWhiteValue(95);
    EXPECT_EQ(grey->GetPixels(0, 0), RGB(100, 100, 100));
    TIEBitmap empty;
    EXPECT_EQ(empty.GetPixels(0, 0), RGB(0, 0, 0));
}

TEST(SetPixels, WritesEachFormatByItsRule) {
    TRGB colour = RGB(200, 100, 50);
    auto grey = OnePixel(ie8g);
    grey->SetPixels(1, 0, colour);
    EXPECT_EQ(grey->GetPixels_ie8(1, 0), 117);
    auto grey16 = OnePixel(ie16g);
    grey16->SetPixels(1, 0, colour);
    EXPECT_EQ(grey16->GetPixels_ie16g(1, 0), 30184);
    auto real = OnePixel(ie32f);
    real->SetPixels(1, 0, colour);
    EXPECT_FLOAT_EQ(real->GetPixels_ie32f(1, 0), 117.65f / 255.0f);
    auto cmyk = OnePixel(ieCMYK);
    cmyk->SetPixels(1, 0, colour);
    EXPECT_EQ(cmyk->GetPixels_ieCMYK(1, 0), (TCMYK{255, 127, 63, 200}));
    auto rgb48 = OnePixel(ie48RGB);
    rgb48->SetPixels(1, 0, colour);
    EXPECT_EQ(rgb48->GetPixels_ie48RGB(1, 0), (TRGB48{51400, 25700, 12850}));
    auto lab = OnePixel(ieCIELab);
    lab->SetPixels(1, 0, colour);
    EXPECT_EQ(lab->GetPixels_ieCIELab(1, 0), (TCIELab{136, 36, 45}));
    auto rgb = OnePixel(ie24RGB);
    rgb->SetPixels(1, 0, colour);
    EXPECT_EQ(rgb->GetPixels_ie24RGB(1, 0), colour);
    // Neighbours untouched.
    EXPECT_EQ(rgb->GetPixels_ie24RGB(0, 0), RGB(0, 0, 0));
    EXPECT_EQ(grey16->GetPixels_ie16g(0, 0), 0);
}

TEST(SetPixels, RGBAKeepsItsFourthByte) {
    auto rgba = OnePixel(ie32RGB);
    rgba->SetPixels_ie32RGB(0, 0, TRGBA{0, 0, 0, 33});
    rgba->SetPixels(0, 0, RGB(7, 8, 9));
    EXPECT_EQ(rgba->GetPixels_ie32RGB(0, 0), (TRGBA{9, 8, 7, 33}));
}

TEST(SetPixels, OneBitDecidesAtMiddleGrey) {
    auto bits = std::make_unique<TIEBitmap>(3, 1, ie1g, 0);
    bits->SetPixels(0, 0, RGB(128, 128, 128));
    bits->SetPixels(1, 0, RGB(127, 127, 127));
    bits->SetPixels(2, 0, RGB(255, 0, 0)); // Grey 53
    EXPECT_TRUE(bits->GetPixels_ie1g(0, 0));
    EXPECT_FALSE(bits->GetPixels_ie1g(1, 0));
    EXPECT_FALSE(bits->GetPixels_ie1g(2, 0));
    bits->SetPixels(0, 0, RGB(0, 0, 0));
    EXPECT_FALSE(bits->GetPixels_ie1g(0, 0));
}

TEST(SetPixels, PaletteTakesTheNearestDeclaredEntry) {
    auto palette = OnePixel(ie8p);
    palette->SetPalette(1, RGB(200, 100, 50));
    palette->SetPalette(2, RGB(10, 20, 30));
    palette->SetPixels(0, 0, RGB(190, 100, 50));
    EXPECT_EQ(palette->GetPixels_ie8(0, 0), 1);
    palette->SetPixels(0, 0, RGB(12, 20, 30));
    EXPECT_EQ(palette->GetPixels_ie8(0, 0), 2);
    // Black ties between entry 0 and every unset entry: the first wins.
    palette->SetPixels(0, 0, RGB(0, 0, 0));
    EXPECT_EQ(palette->GetPixels_ie8(0, 0), 0);
    palette->SetPaletteUsed(2);
    palette->SetPixels(0, 0, RGB(12, 20, 30));
    EXPECT_EQ(palette->GetPixels_ie8(0, 0), 0);
}

TEST(SetPixels, GreysComeBackUnchangedThroughExactFormats) {
    for (TIEPixelFormat format : {ie8g, ie16g, ie24RGB, ieCMYK, ie48RGB, ie32RGB}) {
        SCOPED_TRACE(IEPixelFormatName(format));
        auto bitmap = OnePixel(format);
        for (int v = 0; v < 256; ++v) {
            bitmap->SetPixels(0, 0, RGB(v, v, v));
            ASSERT_EQ(bitmap->GetPixels(0, 0), RGB(v, v, v)) << v;
        }
    }
}

TEST(Quantizer, EveryPixelGetsItsNearestEntryWhenColoursMustBeReduced) {
    std::vector<TRGB> colours;
    for (int i = 0; i < 600; ++i)
        colours.push_back(RGB((i * 37) & 255, (i * 91) & 255, (i * 13) & 255));
    auto bitmap = MakeBitmap<TRGB>(ie24RGB, 30, colours);
    bitmap->SetPixelFormat(ie8p);
    auto distance = [](TRGB a, TRGB b) {
        return (a.r - b.r) * (a.r - b.r) + (a.g - b.g) * (a.g - b.g) + (a.b - b.b) * (a.b - b.b);
    };
    for (int32_t y = 0; y < bitmap->Height(); ++y)
        for (int32_t x = 0; x < bitmap->Width(); ++x) {
            TRGB original = colours[size_t(y * 30 + x)];
            int chosen = distance(bitmap->GetPalette(bitmap->GetPixels_ie8(x, y)), original);
            for (int32_t i = 0; i < 256; ++i)
                ASSERT_LE(chosen, distance(bitmap->GetPalette(i), original)) << x << "," << y;
        }
}
