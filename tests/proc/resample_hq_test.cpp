#include "proc/resample_hq.h"

#include <gtest/gtest.h>

#include <vector>

#include "image/bitmap.h"
#include "tests/proc/resampletestutil.h"

namespace {

const TIEProgressEvent NoProgress;

TIEScalerLayout Grey() {
    TIEScalerLayout layout;
    layout.Channels = 1;
    return layout;
}

std::vector<int> Scale(std::initializer_list<int> Row, int32_t Width, int32_t Mode) {
    TTestImage src(int32_t(Row.size()), 1, 1, Row);
    TTestImage dst(Width, 1, 1);
    IEScalerResample(src.Rows(), dst.Rows(), Grey(), Mode, NoProgress, nullptr);
    return dst.Channel(0);
}

} // namespace

// Pixel centres: 2 to 4 puts targets at -0.25, 0.25, 0.75, 1.25; the border repeats.
TEST(ResampleScaler, LinearAndFant) {
    EXPECT_EQ(Scale({0, 100}, 4, 1), (std::vector<int>{0, 25, 75, 100}));
    // Fant averages what each target pixel covers: 15 and 35.5 -> 36.
    EXPECT_EQ(Scale({10, 20, 30, 41}, 2, 3), (std::vector<int>{15, 36}));
    EXPECT_EQ(Scale({0, 30, 60, 90, 120, 150}, 4, 3), (std::vector<int>{10, 50, 100, 140}));
}

// 8 to 1: the one target sits at 3.5. The plain cubic reads columns 2 to 5 only; the
// high-quality cubic is stretched by 8 (support 16) and reaches column 0, which also
// takes the taps beyond the border: its share of the normalised weights is 0.1607,
// so 255 there gives 40.98 -> 41.
TEST(ResampleScaler, HighQualityCubicWidensOnReduction) {
    EXPECT_EQ(Scale({255, 0, 0, 0, 0, 0, 0, 0}, 1, 2), (std::vector<int>{0}));
    EXPECT_EQ(Scale({255, 0, 0, 0, 0, 0, 0, 0}, 1, 4), (std::vector<int>{41}));
}

// Catmull-Rom reproduces straight lines: a ramp of 10 a pixel halved keeps the ramp,
// 20 i + 5, wherever the widened kernel stays inside the picture.
TEST(ResampleScaler, HighQualityCubicKeepsRamps) {
    std::vector<int> row = Scale({0, 10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120, 130, 140, 150}, 8, 4);
    EXPECT_EQ(std::vector<int>(row.begin() + 2, row.begin() + 6), (std::vector<int>{45, 65, 85, 105}));
    // Enlarging is not widened and interpolates: every source pixel reappears.
    std::vector<int> up = Scale({0, 40, 200, 90}, 8, 4);
    EXPECT_GT(up[3], 40);
    EXPECT_LT(up[3], 200);
}

TEST(ResampleScaler, FormatMapping) {
    // ie8p by nearest keeps indices and palette; pixel centres pick columns 1 and 3.
    TIEBitmap indexed(4, 1, ie8p);
    for (int32_t x = 0; x < 4; ++x)
        indexed.SetPixels_ie8(x, 0, uint8_t(x + 1));
    indexed.SetPalette(2, TRGB{1, 2, 3});
    TIEBitmap out(2, 1, ie8p);
    ASSERT_TRUE(IESystemScalerResample(indexed, out, rfWICNearestNeighbor, NoProgress, nullptr));
    EXPECT_EQ(out.PixelFormat(), ie8p);
    EXPECT_EQ(out.GetPixels_ie8(0, 0), 2);
    EXPECT_EQ(out.GetPixels_ie8(1, 0), 4);
    EXPECT_EQ(out.GetPalette(2).r, 3);

    // Interpolating modes read the palette's colours and give ie24RGB.
    for (int32_t x = 0; x < 4; ++x)
        indexed.SetPixels_ie8(x, 0, 2);
    ASSERT_TRUE(IESystemScalerResample(indexed, out, rfWICCubicHQ, NoProgress, nullptr));
    EXPECT_EQ(out.PixelFormat(), ie24RGB);
    EXPECT_EQ(out.GetPixels_ie24RGB(1, 0).r, 3);
    EXPECT_EQ(out.GetPixels_ie24RGB(1, 0).b, 1);

    // Bits become grey levels.
    TIEBitmap bits(4, 2, ie1g);
    bits.Fill(1);
    TIEBitmap grey(2, 1, ie1g);
    ASSERT_TRUE(IESystemScalerResample(bits, grey, rfWICFant, NoProgress, nullptr));
    EXPECT_EQ(grey.PixelFormat(), ie8g);
    EXPECT_EQ(grey.GetPixels_ie8(0, 0), 255);

    // CMYK is stored inverted; the filter works on ink and stores inverted again.
    TIEBitmap cmyk(4, 4, ieCMYK);
    for (int32_t y = 0; y < 4; ++y)
        for (int32_t x = 0; x < 4; ++x)
            cmyk.SetPixels_ieCMYK(x, y, TCMYK{uint8_t(x < 2 ? 0 : 255), 10, 200, 255});
    TIEBitmap cmykOut(2, 2, ieCMYK);
    ASSERT_TRUE(IESystemScalerResample(cmyk, cmykOut, rfWICFant, NoProgress, nullptr));
    EXPECT_EQ(cmykOut.PixelFormat(), ieCMYK);
    EXPECT_EQ(cmykOut.GetPixels_ieCMYK(0, 1).c, 0);
    EXPECT_EQ(cmykOut.GetPixels_ieCMYK(1, 1).c, 255);
    EXPECT_EQ(cmykOut.GetPixels_ieCMYK(1, 1).m, 10);

    // 16-bit samples keep their range.
    TIEBitmap rgb48(4, 1, ie48RGB);
    for (int32_t x = 0; x < 4; ++x)
        rgb48.SetPixels_ie48RGB(x, 0, TRGB48{uint16_t(x * 20000), 65535, 7});
    TIEBitmap rgb48Out(2, 1, ie48RGB);
    ASSERT_TRUE(IESystemScalerResample(rgb48, rgb48Out, rfWICFant, NoProgress, nullptr));
    EXPECT_EQ(rgb48Out.PixelFormat(), ie48RGB);
    EXPECT_EQ(rgb48Out.GetPixels_ie48RGB(0, 0).r, 10000);
    EXPECT_EQ(rgb48Out.GetPixels_ie48RGB(1, 0).r, 50000);
    EXPECT_EQ(rgb48Out.GetPixels_ie48RGB(1, 0).g, 65535);
}
