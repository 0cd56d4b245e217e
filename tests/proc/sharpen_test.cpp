#include "proc/sharpen.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "image/bitmap.h"
#include "proc/imagerproc.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/image/converttestutil.h"

namespace {

// Two flat halves, dark left of column Step, bright from it on.
void FillStep(TIEBitmap& Bitmap, int32_t Width, int32_t Height, int32_t Step, uint8_t Dark = 40,
              uint8_t Bright = 200) {
    Bitmap.Allocate(Width, Height, ie24RGB);
    for (int32_t y = 0; y < Height; ++y)
        for (int32_t x = 0; x < Width; ++x)
            Bitmap.SetPixels_ie24RGB(x, y, x < Step ? TRGB{Dark, Dark, Dark} : TRGB{Bright, Bright, Bright});
}

TIEBitmap& Blurred(TIEBitmap& Bitmap, double Radius) {
    IEBlur(Bitmap, Radius);
    return Bitmap;
}

} // namespace

// Taps exp(-i^2 / 2 r^2) / (r sqrt(2 pi)) * 65536, rounded; the reach ends where they round to 0.
// Radius 1: 26145.36, 15857.96, 3538.35, 290.45, 8.77 and 0.097. One row: (32768 + 26145 *
// 255) >> 16 = 102, 15858 -> 62, 3538 -> 14; the pass across a single line sums 65535 v +
// 32768, which gives v back. Taps beyond the start weigh the first pixel: 45840, 19695,
// 3837, 299 and 9 times 255.
TEST(GaussianBlur, RowsAndColumnsRoundByHalfAndClampAtTheEnds) {
    const std::pair<const char*, const char*> cases[] = {
        {"ie8g 0 0 255 0 0", "ie8g 14 62 102 62 14"},
        {"ie8g 0 / 0 / 255 / 0 / 0", "ie8g 14 / 62 / 102 / 62 / 14"},
        {"ie8g 255 0 0 0 0", "ie8g 178 77 15 1 0"},
    };
    for (const auto& [source, expected] : cases)
        EXPECT_EQ(Text(Blurred(*Picture(source), 1.0)), expected);
    // Radius 4 reaches 17 (65536 / 10.03 * exp(-289 / 32) = 1); a tiny radius keeps a reach
    // of 1 with zero side taps; no radius, no kernel and no change.
    EXPECT_EQ(std::make_pair(IEGaussianKernel(4.0).Reach, IEGaussianKernel(4.0).Tap(-17)),
              std::make_pair(17, 1));
    EXPECT_EQ(IEGaussianKernel(0.1).Taps, (std::vector<int32_t>{0, 65536, 0}));
    EXPECT_TRUE(IEGaussianKernel(0.0).Taps.empty() && IEGaussianKernel(-2.0).Taps.empty());
    EXPECT_EQ(Text(Blurred(*Picture("ie8g 1 200 3"), 0.0)), "ie8g 1 200 3");
    TIEBitmap grey(23, 17, ie8g, 77), colour(9, 31, ie24RGB, 0x102030), greyCopy(23, 17, ie8g, 77),
        colourCopy(9, 31, ie24RGB, 0x102030);
    EXPECT_EQ(FirstDifference(Blurred(grey, 4.0), greyCopy) +
                  FirstDifference(Blurred(colour, 2.5), colourCopy),
              "");
}

// p + (p - m) * Amount / 10, cut and clamped; m is the mean of the window of rows y - 1
// and y + 1 (the centre row left out) and columns x - 2 to x + 1 inside the picture.
TEST(SharpenPixel, WindowLeavesOutTheCentreRowAndCutsTheRightColumn) {
    std::vector<uint8_t> pixels; // 5 x 3 grey pixels 10, 20, ..., 150; cases x, y, amount, expected
    for (int v = 10; v <= 150; v += 10)
        pixels.insert(pixels.end(), 3, uint8_t(v));
    const int32_t cases[][4] = {
        {4, 1, 10, 115}, // columns 2, 3 of rows 0, 2: m = (30 + 40 + 130 + 140) / 4 = 85
        {4, 1, 5, 107},  // 107.5 cut
        {0, 1, 10, 55},  // columns 0, 1: m = 65
        {2, 1, 10, 85},  // columns 0 to 3: m = 75
        {0, 0, 10, 0},   // rows 1, 2: m = 90; 10 - 80 clamps to 0
        {4, 2, 68, 255}, // m = 60; 150 + 6.8 * 90 clamps
        {3, 2, 10, 225}, // (20 + 30 + 40 + 70 + 80 + 90) / 6 = 55
        {2, 1, 0, 80},
    };
    const TIESharpenSource source{5, 3, pixels.data()};
    for (const auto& [x, y, amount, expected] : cases)
        EXPECT_EQ(IESharpenPixel(source, x, y, amount).g, expected) << x << "," << y << " " << amount;
    // No window (one pixel, or one row): m stays 0 and the pixel grows by itself.
    const uint8_t one[3] = {10, 100, 200}, row[9] = {50, 50, 50, 60, 60, 60, 70, 70, 70};
    const TRGB doubled = IESharpenPixel(TIESharpenSource{1, 1, one}, 0, 0, 10);
    EXPECT_EQ(std::vector<int>({doubled.b, doubled.g, doubled.r}), std::vector<int>({20, 200, 255}));
    EXPECT_EQ(IESharpenPixel(TIESharpenSource{3, 1, row}, 1, 0, 5).r, 90); // 60 + 0.5 * 60
}

TEST(ShenCastan, StepEdgeIsFoundAndBordersAreNeverEdges) {
    TIEBitmap step, flat(30, 20, ie24RGB, 0x406080);
    FillStep(step, 40, 30, 20);
    TIEShenCastanStats stats;
    const std::vector<uint8_t> map = IEShenCastanEdgeMap(step, TIEShenCastanParams{}, &stats);
    EXPECT_EQ(stats.LowThresh, stats.HighThresh / 2);
    EXPECT_EQ(IEShenCastanEdgeMap(flat, TIEShenCastanParams{}), std::vector<uint8_t>(600, 255));
    // Column 0 and the last row are never edges; the wrap makes a second step between the
    // last column and the first.
    for (int32_t y = 0; y < 30; ++y)
        for (int32_t x = 0; x < 40; ++x) {
            const bool edge = map[size_t(y * 40 + x)] == 0,
                       nearStep = (x >= 18 && x <= 21) || x == 1 || x >= 38;
            EXPECT_TRUE(!edge || (x > 0 && y < 29 && nearStep)) << x << "," << y;
            EXPECT_TRUE(x != 19 || y == 29 || edge || map[size_t(y * 40 + 20)] == 0) << "row " << y;
        }
    // An edge chain thousands of pixels long is traced without the thread's stack.
    TIEBitmap tall;
    FillStep(tall, 40, 6000, 20);
    const std::vector<uint8_t> tallMap = IEShenCastanEdgeMap(tall, TIEShenCastanParams{});
    for (int32_t y = 0; y < 5999; ++y)
        ASSERT_TRUE(tallMap[size_t(y) * 40 + 19] == 0 || tallMap[size_t(y) * 40 + 20] == 0) << y;
}

// A low step, 100 | 120 at column 20: at x 20 the window reads 100, 100, 120, 120, so
// p - m = 10 and the pixel gains exactly the amount, Round((255 - e) / 255 * 68) with e
// the blurred edge mask; at x 19 m is 105 and the pixel loses half the amount, cut.
TEST(AutoSharp, AmountIsTheRoundedMaskTimesTheIntensity) {
    TIEBitmap step, mask(40, 30, ie8g);
    FillStep(step, 40, 30, 20, 100, 120);
    const std::vector<uint8_t> edges = IEShenCastanEdgeMap(step, TIEShenCastanParams{});
    for (int32_t i = 0; i < 1200; ++i)
        mask.SetPixels_ie8(i % 40, i / 40, edges[size_t(i)]);
    IEBlur(mask, 4.0);
    IEAutoSharp(step, 68, 0.035, NoProgress, nullptr);
    auto amount = [&](int32_t x, int32_t y) { return (255 - mask.GetPixels_ie8(x, y)) / 255.0 * 68; };
    int roundedUp = 0;
    for (int32_t y = 2; y < 28; ++y) {
        roundedUp += std::nearbyint(amount(20, y)) > std::floor(amount(20, y));
        EXPECT_EQ(step.GetPixels_ie24RGB(20, y).g, 120 + std::nearbyint(amount(20, y))) << y;
        EXPECT_EQ(step.GetPixels_ie24RGB(19, y).g, int(100 - std::nearbyint(amount(19, y)) / 2)) << y;
        // Flat areas keep their value whatever the mask says, since p - m is 0 there.
        EXPECT_EQ(step.GetPixels_ie24RGB(10, y).g + step.GetPixels_ie24RGB(30, y).r, 220) << y;
    }
    EXPECT_GT(roundedUp, 0) << "no pixel where rounding and cutting differ";
}

TEST(Merge, KeepsPcfOfThePresentImageWithTiesToEvenAndStretchesASmallerSource) {
    const std::pair<int32_t, const char*> cases[] = {
        {100, "ie24RGB 1 3 2 0 254 100"},
        {0, "ie24RGB 2 4 3 255 255 200"},
        {50, "ie24RGB 2 4 2 128 254 150"}, // 1.5, 3.5, 2.5, 127.5, 254.5 to even
        {30, "ie24RGB 2 4 3 178 255 170"}, // 0.3 * 0 + 0.7 * 255 = 178.5, to even
    };
    TIEBitmap src, img, small, grey;
    Draw(src, "ie24RGB 2 4 3 255 255 200");
    for (const auto& [pcf, expected] : cases) {
        Draw(img, "ie24RGB 1 3 2 0 254 100");
        IEMerge(img, src, pcf, TIEProcRect{0, 0, 6, 1}, NoProgress, nullptr);
        EXPECT_EQ(Text(img), expected) << pcf;
    }
    // Nearest copy; the alpha plane is left alone; 100 / (2 - 1 + 0.5) a row.
    Draw(img, "ie24RGB 0 0 0 0 / 0 0 0 0 alpha 255 255 255 255 / 255 7 255 255");
    Draw(small, "ie24RGB 100 200");
    std::vector<int> reports;
    IEMerge(
        img, small, 0, TIEProcRect{0, 0, 4, 2}, [&](void*, int per) { reports.push_back(per); }, nullptr);
    EXPECT_EQ(Text(img), "ie24RGB 100 100 200 200 / 100 100 200 200 alpha 255 255 255 255 / 255 7 255 255");
    EXPECT_EQ(reports, (std::vector<int>{66, 133}));
    // Other formats are left alone.
    Draw(grey, "ie8g 10 20");
    IEMerge(grey, small, 0, TIEProcRect{0, 0, 2, 1}, NoProgress, nullptr);
    EXPECT_EQ(Text(grey), "ie8g 10 20");
}

TEST(ImagerProcSharpen, FormatCheckAndFinishStep) {
    TIEBitmap bitmap, src(3, 1, ie24RGB, 0), empty;
    Draw(bitmap, "ie8g 10 20 30");
    TImagerProc proc(&bitmap), onEmpty(&empty);
    int finished = 0, updates = 0, last = 0;
    proc.OnFinishWork = onEmpty.OnFinishWork = [&] { ++finished; };
    proc.OnUpdate = [&] { ++updates; };
    proc.OnProgress = [&](void*, int per) { last = per; };
    // Not allowed to convert: nothing happens, not even the finish step.
    proc.SetAutoConvertFormat(false);
    proc.Merge(src, 0);
    EXPECT_EQ(std::make_pair(Text(bitmap), finished), std::make_pair(std::string("ie8g 10 20 30"), 0));
    // Converted to ie24RGB and merged; the finish step reports 100 last.
    proc.SetAutoConvertFormat(true);
    proc.Merge(src, 0);
    EXPECT_EQ(Text(bitmap), "ie24RGB 0 0 0");
    EXPECT_EQ(std::vector<int>({finished, updates, last, proc.ProgressTask()}),
              std::vector<int>({1, 1, 100, ietUnknown}));
    // No bitmap raises; an empty one is skipped without a finish step.
    EXPECT_THROW(TImagerProc(nullptr).AutoSharp(68, 0.035), EIEException);
    onEmpty.AutoSharp(68, 0.035);
    EXPECT_EQ(finished, 1);
}
