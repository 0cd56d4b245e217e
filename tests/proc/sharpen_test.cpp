#include "proc/sharpen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "image/bitmap.h"
#include "proc/imagerproc.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/proc/rgbtestutil.h"

namespace {

const TIEProgressEvent NoProgress;

std::vector<int> GreysOf(TIEBitmap& Bitmap) {
    std::vector<int> values;
    for (uint8_t v : GreyPixels(Bitmap))
        values.push_back(v);
    return values;
}

// A picture of two flat halves, dark on the left, bright from column Step on.
void FillStep(TIEBitmap& Bitmap, int32_t Width, int32_t Height, int32_t Step) {
    Bitmap.Allocate(Width, Height, ie24RGB);
    for (int32_t y = 0; y < Height; ++y)
        for (int32_t x = 0; x < Width; ++x) {
            const uint8_t v = x < Step ? 40 : 200;
            Bitmap.SetPixels_ie24RGB(x, y, TRGB{v, v, v});
        }
}

} // namespace

TEST(GaussianKernel, TapsForRadiusOneAndReach) {
    // exp(-i^2 / 2) / sqrt(2 pi) * 65536, rounded: 26145.36, 15857.96, 3538.35,
    // 290.45, 8.77, then 0.097 which rounds to 0 and ends the reach at 4.
    const TIEGaussianKernel kernel = IEGaussianKernel(1.0);
    EXPECT_EQ(kernel.Reach, 4);
    EXPECT_EQ(kernel.Taps, (std::vector<int32_t>{9, 290, 3538, 15858, 26145, 15858, 3538, 290, 9}));
    // Radius 4: the outermost nonzero taps are 1 at +-17 (65536 / 10.03 * exp(-289 / 32)).
    const TIEGaussianKernel four = IEGaussianKernel(4.0);
    EXPECT_EQ(four.Reach, 17);
    EXPECT_EQ(four.Tap(0), 6536);
    EXPECT_EQ(four.Tap(-17), 1);
    EXPECT_EQ(four.Tap(17), 1);
    // A tiny radius keeps a reach of 1 with zero side taps; no radius, no kernel.
    const TIEGaussianKernel tiny = IEGaussianKernel(0.1);
    EXPECT_EQ(tiny.Reach, 1);
    EXPECT_EQ(tiny.Taps, (std::vector<int32_t>{0, 65536, 0}));
    EXPECT_TRUE(IEGaussianKernel(0.0).Taps.empty());
    EXPECT_TRUE(IEGaussianKernel(-2.0).Taps.empty());
}

TEST(GaussianBlur, RowPassRoundsByHalfAndClampsAtTheEnds) {
    // Radius 1 on one row: (32768 + 26145 * 255) >> 16 = 102, (32768 + 15858 * 255)
    // >> 16 = 62, (32768 + 3538 * 255) >> 16 = 14. The column pass on one row sums
    // 65535 * v + 32768, which gives v back.
    TIEBitmap spike;
    FillGrey(spike, 5, 1, {0, 0, 255, 0, 0});
    IEBlur(spike, 1.0);
    EXPECT_EQ(GreysOf(spike), (std::vector<int>{14, 62, 102, 62, 14}));
    // Taps beyond the start weigh the first pixel: 45840 * 255 at x 0, then 19695,
    // 3837, 299 and 9 times 255.
    TIEBitmap edge;
    FillGrey(edge, 5, 1, {255, 0, 0, 0, 0});
    IEBlur(edge, 1.0);
    EXPECT_EQ(GreysOf(edge), (std::vector<int>{178, 77, 15, 1, 0}));
    // Columns get the same kernel.
    TIEBitmap column;
    FillGrey(column, 1, 5, {0, 0, 255, 0, 0});
    IEBlur(column, 1.0);
    EXPECT_EQ(GreysOf(column), (std::vector<int>{14, 62, 102, 62, 14}));
    // Radius <= 0 leaves the image alone.
    TIEBitmap untouched;
    FillGrey(untouched, 3, 1, {1, 200, 3});
    IEBlur(untouched, 0.0);
    EXPECT_EQ(GreysOf(untouched), (std::vector<int>{1, 200, 3}));
}

TEST(GaussianBlur, ConstantStaysConstantInBothFormats) {
    TIEBitmap grey, colour;
    grey.Allocate(23, 17, ie8g, 77.0);
    IEBlur(grey, 4.0);
    EXPECT_EQ(GreyPixels(grey), std::vector<uint8_t>(23 * 17, 77));
    colour.Allocate(9, 31, TColor(0x102030), 255);
    IEBlur(colour, 2.5);
    for (int c = 0; c < 3; ++c)
        EXPECT_EQ(ChannelOf(colour, c), std::vector<int>(9 * 31, 0x10 + 0x10 * c)) << c;
}

TEST(SharpenPixel, WindowLeavesOutTheCentreRowAndCutsTheRightColumn) {
    TIEBitmap image;
    FillGrey24(image, 5, 3, {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120, 130, 140, 150});
    std::vector<uint8_t> pixels;
    for (int32_t y = 0; y < 3; ++y) {
        auto* row = static_cast<const uint8_t*>(image.GetScanline(y));
        pixels.insert(pixels.end(), row, row + 15);
    }
    const TIESharpenSource source{5, 3, pixels.data()};
    // Right border: columns 2 and 3 of rows 0 and 2, mean (30 + 40 + 130 + 140) / 4 = 85.
    EXPECT_EQ(IESharpenPixel(source, 4, 1, 10).r, 115);
    EXPECT_EQ(IESharpenPixel(source, 4, 1, 5).r, 107); // 107.5 cut
    EXPECT_EQ(IESharpenPixel(source, 4, 1, 68).g, 202);
    // Left border: columns 0 and 1 (the centre column is read), mean 65.
    EXPECT_EQ(IESharpenPixel(source, 0, 1, 10).b, 55);
    // Inside: columns 0 to 3, mean 600 / 8 = 75.
    EXPECT_EQ(IESharpenPixel(source, 2, 1, 10).r, 85);
    // Top row: rows 1 and 2, mean (60 + 70 + 110 + 120) / 4 = 90; 10 - 80 clamps to 0.
    EXPECT_EQ(IESharpenPixel(source, 0, 0, 10).r, 0);
    // Bottom right corner: columns 2 and 3 of rows 0 and 1, mean 60;
    // 150 + 6.8 * 90 clamps at 255.
    EXPECT_EQ(IESharpenPixel(source, 4, 2, 68).r, 255);
    // Bottom row, x 3: columns 1 to 3 of rows 0 and 1, (20+30+40+70+80+90) / 6 = 55.
    EXPECT_EQ(IESharpenPixel(source, 3, 2, 10).r, 225);
    // Amount 0 is the pixel itself.
    EXPECT_EQ(IESharpenPixel(source, 2, 1, 0).r, 80);
}

TEST(SharpenPixel, SinglePixelAndSingleRowHaveAZeroMean) {
    const uint8_t one[3] = {10, 100, 200};
    const TIESharpenSource single{1, 1, one};
    // No window: the mean stays 0, so the pixel doubles with factor 1.
    const TRGB p = IESharpenPixel(single, 0, 0, 10);
    EXPECT_EQ(p.b, 20);
    EXPECT_EQ(p.g, 200);
    EXPECT_EQ(p.r, 255);
    const TRGB same = IESharpenPixel(single, 0, 0, 0);
    EXPECT_EQ(same.g, 100);
    // One row: rows y0..y1 hold only the centre row, so the count is 0 too.
    const uint8_t row[9] = {50, 50, 50, 60, 60, 60, 70, 70, 70};
    const TIESharpenSource line{3, 1, row};
    EXPECT_EQ(IESharpenPixel(line, 1, 0, 5).r, 90); // 60 + 0.5 * 60
}

TEST(ShenCastan, StepEdgeIsFoundAndBordersAreNeverEdges) {
    TIEBitmap step;
    FillStep(step, 40, 30, 20);
    TIEShenCastanStats stats;
    const std::vector<uint8_t> map = IEShenCastanEdgeMap(step, TIEShenCastanParams{}, &stats);
    ASSERT_EQ(map.size(), 1200u);
    auto at = [&](int32_t x, int32_t y) { return map[size_t(y) * 40 + size_t(x)]; };
    EXPECT_EQ(stats.LowThresh, stats.HighThresh / 2);
    TIEBitmap flat;
    flat.Allocate(30, 20, TColor(0x406080), 255);
    EXPECT_EQ(IEShenCastanEdgeMap(flat, TIEShenCastanParams{}), std::vector<uint8_t>(600, 255));
    int32_t edgesNearStep = 0, edgesElsewhere = 0;
    for (int32_t y = 0; y < 29; ++y)
        for (int32_t x = 1; x < 40; ++x) {
            if (at(x, y) != 0) continue;
            // The wrap makes a second step between the last column and the first.
            const bool nearStep = (x >= 18 && x <= 21) || x <= 1 || x >= 38;
            ++(nearStep ? edgesNearStep : edgesElsewhere);
        }
    EXPECT_GE(edgesNearStep, 29);
    EXPECT_EQ(edgesElsewhere, 0);
    // Every row of the step column has its edge: rows are alike but for the ends.
    for (int32_t y = 0; y < 29; ++y) {
        const bool found = at(19, y) == 0 || at(20, y) == 0;
        EXPECT_TRUE(found) << "row " << y;
    }
    for (int32_t y = 0; y < 30; ++y)
        EXPECT_EQ(at(0, y), 255);
    for (int32_t x = 0; x < 40; ++x)
        EXPECT_EQ(at(x, 29), 255);
}

TEST(ShenCastan, PublicFormGivesOneBitMap) {
    TIEBitmap step;
    FillStep(step, 40, 30, 20);
    const std::vector<uint8_t> map = IEShenCastanEdgeMap(step, TIEShenCastanParams{});
    TIEBitmap holder;
    holder.AssignImage(step);
    TImagerProc proc(&holder);
    proc.EdgeDetect_ShenCastan(0.035, 0.9, 7, 0, true);
    ASSERT_EQ(holder.PixelFormat(), ie1g);
    ASSERT_EQ(holder.Width(), 40);
    for (int32_t y = 0; y < 30; ++y)
        for (int32_t x = 0; x < 40; ++x)
            ASSERT_EQ(holder.GetPixels_ie1g(x, y), map[size_t(y) * 40 + size_t(x)] != 0) << x << "," << y;
}

TEST(ShenCastan, LongChainNeedsNoDeepRecursion) {
    // One edge chain thousands of pixels long, traced without the thread's stack.
    TIEBitmap tall;
    FillStep(tall, 40, 6000, 20);
    const std::vector<uint8_t> map = IEShenCastanEdgeMap(tall, TIEShenCastanParams{});
    int32_t rowsWithEdge = 0;
    for (int32_t y = 0; y < 5999; ++y)
        rowsWithEdge += map[size_t(y) * 40 + 19] == 0 || map[size_t(y) * 40 + 20] == 0;
    EXPECT_EQ(rowsWithEdge, 5999);
}

TEST(AutoSharp, FlatImageAndZeroIntensityChangeNothing) {
    TIEBitmap flat, flatCopy;
    flat.Allocate(37, 23, TColor(0x80FF10), 255);
    flatCopy.AssignImage(flat);
    IEAutoSharp(flat, 68, 0.035, NoProgress, nullptr);
    EXPECT_EQ(FirstDifference(flat, flatCopy), "");

    TIEBitmap busy, busyCopy;
    FillBusy(busy, 50, 40);
    busyCopy.AssignImage(busy);
    IEAutoSharp(busy, 0, 0.035, NoProgress, nullptr);
    EXPECT_EQ(FirstDifference(busy, busyCopy), "");
}

// A low step, 100 | 120 at column 20: at x 20 the window reads 100, 100, 120, 120, so
// p - m = 10 and the pixel gains exactly the amount, Round((255 - e) / 255 * 68) with e
// the blurred edge mask; at x 19 the mean is 105 and the pixel loses half the amount, cut.
TEST(AutoSharp, AmountIsTheRoundedMaskTimesTheIntensity) {
    TIEBitmap step;
    step.Allocate(40, 30, ie24RGB);
    for (int32_t y = 0; y < 30; ++y)
        for (int32_t x = 0; x < 40; ++x)
            step.SetPixels_ie24RGB(x, y, x < 20 ? TRGB{100, 100, 100} : TRGB{120, 120, 120});
    TIEBitmap mask;
    const std::vector<uint8_t> edges = IEShenCastanEdgeMap(step, TIEShenCastanParams{});
    mask.Allocate(40, 30, ie8g);
    for (int32_t i = 0; i < 1200; ++i)
        mask.SetPixels_ie8(i % 40, i / 40, edges[size_t(i)]);
    IEBlur(mask, 4.0);
    std::vector<int> reports;
    IEAutoSharp(
        step, 68, 0.035, [&](void*, int per) { reports.push_back(per); }, nullptr);
    int roundedUp = 0;
    for (int32_t y = 2; y < 28; ++y) {
        for (int32_t x : {19, 20}) {
            const double share = (255 - mask.GetPixels_ie8(x, y)) / 255.0 * 68;
            const int amount = int(std::nearbyint(share));
            roundedUp += amount > int(share);
            const int expected = x == 20 ? std::min(255, 120 + amount) : int(100 - amount / 2.0);
            EXPECT_EQ(step.GetPixels_ie24RGB(x, y).g, expected) << x << "," << y;
        }
        // Flat areas keep their value whatever the mask says, since p - m is 0 there.
        EXPECT_EQ(step.GetPixels_ie24RGB(10, y).g, 100);
        EXPECT_EQ(step.GetPixels_ie24RGB(30, y).r, 120);
    }
    EXPECT_GT(roundedUp, 0) << "no pixel where rounding and cutting differ";
    // Trunc(y / 30 * 100) after each row, new values only, 0 never.
    EXPECT_EQ(reports.front(), 3);
    EXPECT_EQ(reports.back(), 96);
}

TEST(Merge, KeepsPcfOfThePresentImageWithTiesToEven) {
    TIEBitmap img, src;
    FillGrey24(img, 6, 1, {1, 3, 2, 0, 254, 100});
    FillGrey24(src, 6, 1, {2, 4, 3, 255, 255, 200});
    const TIEProcRect whole{0, 0, 6, 1};

    TIEBitmap keep;
    keep.AssignImage(img);
    IEMerge(keep, src, 100, whole, NoProgress, nullptr);
    EXPECT_EQ(Reds(keep), (std::vector<int>{1, 3, 2, 0, 254, 100}));

    TIEBitmap take;
    take.AssignImage(img);
    IEMerge(take, src, 0, whole, NoProgress, nullptr);
    EXPECT_EQ(Reds(take), (std::vector<int>{2, 4, 3, 255, 255, 200}));

    // 1.5 -> 2, 3.5 -> 4, 2.5 -> 2, 127.5 -> 128, 254.5 -> 254, 150.
    TIEBitmap half;
    half.AssignImage(img);
    IEMerge(half, src, 50, whole, NoProgress, nullptr);
    EXPECT_EQ(Reds(half), (std::vector<int>{2, 4, 2, 128, 254, 150}));
    EXPECT_EQ(ChannelOf(half, 0), Reds(half));

    // 30 % of 100 and 70 % of 200.
    TIEBitmap mix;
    mix.AssignImage(img);
    IEMerge(mix, src, 30, whole, NoProgress, nullptr);
    EXPECT_EQ(Reds(mix)[5], 170);
}

TEST(Merge, StretchesASmallerSourceByNearestCopyAndLeavesAlpha) {
    TIEBitmap img, src;
    FillGrey24(img, 4, 2, {0, 0, 0, 0, 0, 0, 0, 0});
    img.AlphaChannel()->SetPixels_ie8(1, 1, 7);
    FillGrey24(src, 2, 1, {100, 200});
    IEMerge(img, src, 0, TIEProcRect{0, 0, 4, 2}, NoProgress, nullptr);
    EXPECT_EQ(Reds(img), (std::vector<int>{100, 100, 200, 200, 100, 100, 200, 200}));
    EXPECT_EQ(img.AlphaChannel()->GetPixels_ie8(1, 1), 7);
    EXPECT_EQ(img.AlphaChannel()->GetPixels_ie8(0, 0), 255);
}

TEST(Merge, NeedsTwentyFourBitsAndReportsRowProgress) {
    TIEBitmap grey, src;
    FillGrey(grey, 2, 1, {10, 20});
    FillGrey24(src, 2, 1, {200, 200});
    IEMerge(grey, src, 0, TIEProcRect{0, 0, 2, 1}, NoProgress, nullptr);
    EXPECT_EQ(GreyPixels(grey), Bytes({10, 20}));

    TIEBitmap img;
    FillGrey24(img, 1, 3, {0, 0, 0});
    FillGrey24(src, 1, 3, {9, 9, 9});
    std::vector<int> reports;
    const TIEProgressEvent onProgress = [&](void*, int per) { reports.push_back(per); };
    IEMerge(img, src, 50, TIEProcRect{0, 0, 1, 3}, onProgress, nullptr);
    // 100 / (3 - 1 + 0.5) = 40 per row.
    EXPECT_EQ(reports, (std::vector<int>{40, 80, 120}));
}

TEST(ImagerProcSharpen, FinishStepAndFormatCheck) {
    TIEBitmap bitmap;
    FillGrey(bitmap, 3, 2, {10, 20, 30, 40, 50, 60});
    TImagerProc proc(&bitmap);
    int finished = 0, updates = 0;
    std::vector<int> reports;
    proc.OnFinishWork = [&] { ++finished; };
    proc.OnUpdate = [&] { ++updates; };
    proc.OnProgress = [&](void*, int per) { reports.push_back(per); };

    // Not allowed to convert: the operation stops without effect or finish.
    proc.SetAutoConvertFormat(false);
    TIEBitmap src;
    FillGrey24(src, 3, 2, {0, 0, 0, 0, 0, 0});
    proc.Merge(src, 0);
    EXPECT_EQ(bitmap.PixelFormat(), ie8g);
    EXPECT_EQ(finished, 0);

    // Converted to ie24RGB, then merged; the finish step reports 100 last.
    proc.SetAutoConvertFormat(true);
    proc.Merge(src, 0);
    EXPECT_EQ(bitmap.PixelFormat(), ie24RGB);
    EXPECT_EQ(Reds(bitmap), (std::vector<int>{0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(finished, 1);
    EXPECT_EQ(updates, 1);
    EXPECT_EQ(reports.back(), 100);
    EXPECT_EQ(proc.ProgressTask(), ietUnknown);

    // The TBitmap form runs the finish step a second time.
    TBitmap platform;
    platform.SetPixelDepth(24);
    platform.SetSize(3, 2);
    for (int32_t y = 0; y < 2; ++y)
        for (int32_t i = 0; i < 9; ++i)
            platform.ScanLine(y)[i] = 90;
    proc.Merge(platform, 50);
    EXPECT_EQ(finished, 3);
    EXPECT_EQ(Reds(bitmap), (std::vector<int>{45, 45, 45, 45, 45, 45}));

    TImagerProc none(nullptr);
    EXPECT_THROW(none.AutoSharp(68, 0.035), EIEException);
    TIEBitmap empty;
    TImagerProc onEmpty(&empty);
    onEmpty.OnFinishWork = [&] { ++finished; };
    onEmpty.AutoSharp(68, 0.035);
    EXPECT_EQ(finished, 3);
}
