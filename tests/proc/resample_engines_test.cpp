#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <functional>
#include <sstream>
#include <utility>
#include <vector>

#include "image/bitmap.h"
#include "proc/resample_area.h"
#include "proc/resample_contrib.h"
#include "proc/resample_fastlinear.h"
#include "proc/resample_hq.h"
#include "proc/resample_nearest.h"
#include "proc/resample_onebit.h"
#include "tests/image/converttestutil.h"

namespace {

int gSender;

// The rows of a bitmap, top first, as the engines take them.
TIERowImage Rows(TIEBitmap& Bitmap) {
    auto* top = static_cast<uint8_t*>(Bitmap.GetScanline(0));
    const int64_t stride = Bitmap.Height() > 1 ? static_cast<uint8_t*>(Bitmap.GetScanline(1)) - top : 0;
    return TIERowImage(Bitmap.Width(), Bitmap.Height(), top, stride);
}

using TEngine = std::function<void(const TIERowImage&, const TIERowImage&, const TIEProgressEvent&)>;

TEngine Contrib(TResampleFilter F, int32_t Bits = 24, int32_t Threads = 1) {
    return [=](auto& S, auto& D, auto& P) {
        if (Bits == 24) IEContributionResample24(S, D, F, Threads, P, &gSender);
        if (Bits == 16) IEContributionResample16(S, D, F, P, &gSender);
        if (Bits == 8) IEContributionResample8(S, D, F, P, &gSender);
        if (Bits == 1) IEContributionResample1To24(S, D, F, P, &gSender);
    };
}
TEngine Area(TResampleFilter F, int32_t Bpp = 1, bool Words = false) {
    return [=](auto& S, auto& D, auto& P) {
        (Words ? IEAreaResample16 : IEAreaResample8)(S, nullptr, D, Bpp, F, P, &gSender);
    };
}
TEngine Fast(int32_t Bits) {
    return [=](auto& S, auto& D, auto& P) {
        (Bits == 24   ? IEFastLinearResample24
         : Bits == 16 ? IEFastLinearResample16
                      : IEFastLinearResample8)(S, D, P, &gSender);
    };
}
TEngine Scaler(int32_t Mode) {
    return [=](auto& S, auto& D, auto& P) { IEScalerResample(S, D, TIEScalerLayout{1}, Mode, P, &gSender); };
}
TEngine Nearest(int32_t Bits) {
    return [=](auto& S, auto& D, auto& P) { IENearestResample(S, D, Bits, P, &gSender); };
}
TEngine Project(TResampleFilter F, bool OneBit = false) {
    return [=](auto& S, auto& D, auto&) { IEProjectResample(S, OneBit, D, F); };
}
const TEngine OneBit = [](auto& S, auto& D, auto&) { IEOneBitLinearResample(S, D); };

// Runs Engine from Source into a picture shaped like Expected, in which "?" is a pixel
// not pinned, and gives the result as text with those pixels masked the same way.
std::string Resample(const TEngine& Engine, const std::string& Source, const std::string& Expected) {
    TIEBitmap src, dst;
    std::string shape = Expected;
    for (size_t i; (i = shape.find('?')) != std::string::npos;)
        shape[i] = '0';
    Draw(src, Source);
    Draw(dst, shape);
    // Bytes an engine leaves alone show up as 205.
    for (int32_t y = 0; y < dst.Height() && dst.PixelFormat() != ie1g; ++y)
        std::memset(dst.GetScanline(y), 0xCD, size_t(dst.RowLen()));
    Engine(Rows(src), Rows(dst), NoProgress);
    std::istringstream actual(Text(dst)), expected(Expected);
    std::string result, a, e;
    while (actual >> a && expected >> e)
        result.append(result.empty() ? "" : " ").append(e == "?" ? e : a);
    return result;
}

// Hand-worked results, one engine and picture a line.
// clang-format off
const struct {
    TEngine Engine;
    const char *Source, *Expected;
} kCases[] = {
    // BSpline 3 to 5, each pixel over its own weight sum, cut: 5160/257 = 20.08, 8880/256
    // = 34.7, 20580/257 = 80.08, 38100/256 = 148.8, 53940/257 = 209.9.
    {Contrib(rfBSpline), "ie24RGB 0 60 240", "ie24RGB 20 34 80 148 209"},
    {Contrib(rfBSpline, 8), "ie8g 0 60 240", "ie8g 20 34 80 148 209"},
    // 516000/257, 888000/256, 2058000/257, 3810000/256, 5394000/257.
    {Contrib(rfBSpline, 16), "ie16g 0 6000 24000", "ie16g 2007 3468 8007 14882 20988"},
    {Contrib(rfTriangle, 1), "ie1g 0 1 1", "ie24RGB 0 127 255 255 255"}, // bits read as 0 and 255
    // One target sits on source 0, not the middle: taps 0:85, 1:114, 2:56, 22600 / 255.
    {Contrib(rfTriangle), "ie24RGB 0 100 200", "ie24RGB 88"},
    // Lanczos taps (1:6, 0:-35, 1:156, 2:156, 2:-35, 1:6) give 255 * 289 / 254 = 290 at
    // (3, 0), clipped to 255 between the passes: row 1 is 156 * 255 / 254, not 178.
    {Contrib(rfLanczos3), "ie24RGB 0 255 255 / 0 0 0 / 0 0 0",
     "ie24RGB 0 ? ? 255 ? / ? ? ? 156 ? / ? ? ? ? ? / ? ? ? ? ? / ? ? ? ? ?"},
    // Box means with ties to even: 16.5 -> 16, 35.5 -> 36.
    {Area(rfBilinear), "ie8g 10 23 31 40", "ie8g 16 36"},
    {Area(rfBicubic), "ie8g 10 23 31 40", "ie8g 16 36"},
    {Area(rfBilinear, 1, true), "ie16g 1000 2301 3101 4000", "ie16g 1650 3550"},
    // Cells end at fx 0.5 and 1.0, so samples lean right; bicubic at 0.5 is -p(-1)/8 +
    // 5 p0/8 + 5 p1/8 - p2/8: 37.5 -> 38, 162.5 -> 162, 212.5 -> 212 (along x: the dispatch).
    {Area(rfBilinear), "ie8g 0 100 200", "ie8g 50 100 150 200 200 200"},
    {Area(rfBilinear), "ie8g 0 / 100 / 200", "ie8g 50 / 100 / 150 / 200 / 200 / 200"},
    {Area(rfBicubic), "ie8g 0 / 100 / 200", "ie8g 38 / 100 / 162 / 200 / 212 / 200"},
    // Both ways the bottom row stands in for the missing next row.
    {Area(rfBilinear), "ie8g 0 100 / 100 200",
     "ie8g 100 150 150 150 / 150 200 200 200 / 150 200 200 200 / 150 200 200 200"},
    // Cubic along x rounded per ring row (101, 200), then along y at 0.5: 150.5 -> 150.
    {Area(rfBicubic), "ie8g 0 101 / 100 200", "ie8g 100 150 ? ? / ? ? ? ? / ? ? ? ? / ? ? ? ?"},
    // With four samples a pixel only the first is filled.
    {Area(rfBilinear, 4), "ie32RGB rgba(9,9,0,9) rgba(9,9,100,9) / rgba(9,9,100,9) rgba(9,9,200,9)",
     "ie32RGB ? ? ? ? / rgba(0,0,150,0) rgba(0,0,200,0) ? ? / ? ? ? ? / ? ? ? ?"},
    // 7 to 3: the 24-bit tables cut (columns 0-1, 2-3, 4), the 8-bit ones round (0-1, 2-4, 5).
    {Fast(24), "ie24RGB 10 20 30 40 50 60 70", "ie24RGB 15 35 50"},
    {Fast(8), "ie8g 10 20 30 40 50 60 70", "ie8g 15 40 60"},
    // 2 to 5 as the 8-bit engine (the dispatch test has both).
    {Fast(16), "ie16g 0 60000", "ie16g 0 24000 60000 60000 60000"},
    // Row 0 at t = -0.4 extrapolates to 100 + (0 - 100) * -0.4 = 140.
    {Fast(24), "ie24RGB 100 / 0", "ie24RGB 140 / 100 / 60 / 20 / 0"},
    {Fast(8), "ie8g 100 / 0", "ie8g 100 / 60 / 20 / 0 / 0"},
    // The second mean takes only row 2: Trunc(1 / 0.5) - 1 = 1, raised to 2.
    {Fast(24), "ie24RGB 10 / 23 / 30 / 41", "ie24RGB 16 / 30"},
    // Pixel centres: 2 to 4 puts targets at -0.25, 0.25, 0.75, 1.25, the border repeating.
    {Scaler(1), "ie8g 0 100", "ie8g 0 25 75 100"},
    {Scaler(3), "ie8g 10 20 30 41", "ie8g 15 36"},
    {Scaler(3), "ie8g 0 30 60 90 120 150", "ie8g 10 50 100 140"},
    // 8 to 1 at 3.5: the plain cubic reads columns 2-5; the high-quality one is stretched
    // by 8 and gives column 0 (with the taps beyond the border) 0.1607: 40.98 -> 41.
    {Scaler(2), "ie8g 255 0 0 0 0 0 0 0", "ie8g 0"},
    {Scaler(4), "ie8g 255 0 0 0 0 0 0 0", "ie8g 41"},
    // Catmull-Rom keeps a ramp, 20 i + 5, where the widened kernel stays inside.
    {Scaler(4), "ie8g 0 10 20 30 40 50 60 70 80 90 100 110 120 130 140 150", "ie8g ? ? 45 65 85 105 ? ?"},
    // Enlarging is not widened: at 1.25 the weights -0.0703, 0.8672, 0.2266, -0.0234 give 77.89.
    {Scaler(4), "ie8g 0 40 200 90", "ie8g ? ? ? 78 ? ? ? ?"},
    // sx = 2; blocks of columns and rows 0-1 and 1-3 (the upper bound adds sx / 2):
    // 765/4, 255/6, 255/6, 765/9.
    {OneBit, "ie1g 1 1 0 0 / 1 0 0 0 / 0 0 0 1 / 0 0 1 1", "ie24RGB 191 42 / 42 85"},
    // (0 - 255) * 65536 >> 17 is -127.5 floored: 255 - 128.
    {OneBit, "ie1g 1 0", "ie24RGB 255 127 0 0"},
    {OneBit, "ie1g 0 1", "ie24RGB 0 127 255 255"},
    {OneBit, "ie1g 1 / 0", "ie24RGB 255 / 127 / 0 / 0"},
    // Columns and rows min(w - 1, Trunc(3 / 5 x)), whole pixels.
    {Nearest(24), "ie24RGB 1 rgb(4,5,6) 7 / 11 14 17",
     "ie24RGB 1 1 rgb(4,5,6) rgb(4,5,6) 7 / 1 1 rgb(4,5,6) rgb(4,5,6) 7 / 11 11 14 14 17"},
    {Nearest(1), "ie1g 1 0 1", "ie1g 1 1 0 0 1"},
    // 4 to 2, step 2: target 0 looks at column 0, target 1 at columns 0-2. 128 is neither
    // black nor white; on bits column 3 lies outside every block.
    {Project(rfProjectBW), "ie24RGB 255 255 0 255", "ie1g 1 0"},
    {Project(rfProjectWB), "ie24RGB 0 0 255 0", "ie1g 0 1"},
    {Project(rfProjectBW), "ie24RGB 128 128 128 128", "ie1g 1 1"},
    {Project(rfProjectWB), "ie24RGB 128 128 128 128", "ie1g 0 0"},
    {Project(rfProjectBW, true), "ie1g 1 1 1 0", "ie1g 1 1"},
};
// clang-format on

} // namespace

TEST(ResampleEngines, HandWorkedPictures) {
    for (const auto& c : kCases)
        EXPECT_EQ(Resample(c.Engine, c.Source, c.Expected), c.Expected) << c.Source;
}

// Trunc(per * step), new figures only. The kernel engine's per is 100 / (4 + 2 + 0.5):
// after source row y, then after target row i at i + 4 + 1; with two threads only the
// first band reports, at y * 2 + 1 for its rows 0 and 1.
TEST(ResampleEngines, ProgressFigures) {
    for (auto [threads, expected] :
         {std::pair{1, std::vector<int>{15, 30, 46, 61, 76, 92}}, {2, {15, 46, 76, 92}}}) {
        TIEBitmap src(4, 4, ie24RGB, 0), dst(2, 2, ie24RGB, 0);
        std::vector<int> seen;
        Contrib(rfTriangle, 24, threads)(Rows(src), Rows(dst), [&](void* Sender, int Percent) {
            EXPECT_EQ(Sender, &gSender);
            seen.push_back(Percent);
        });
        EXPECT_EQ(seen, expected) << threads;
    }
}

// Kernels the pictures above leave out. Enlarging 3 to 5 puts target 1 at source 0.5:
// weights Round(kernel(0.5 - j) * 256), zero ones dropped, indices mirrored (-1 -> 1,
// 3 -> 2 * 3 - 3 - 1 = 2). Far outside, the mirror clamps to the picture.
TEST(ResampleContributions, TapsOfTheOtherKernelsAndTheMirror) {
    using TTaps = std::vector<std::pair<int32_t, int32_t>>;
    const std::pair<TResampleFilter, TTaps> cases[] = {
        {rfHermite, {{0, 128}, {1, 128}}}, {rfBell, {{0, 128}, {1, 128}}},
        {rfLinear, {{0, 128}, {1, 128}}},  {rfMitchell, {{1, -9}, {0, 137}, {1, 137}, {2, -9}}},
        {rfNearest, {{0, 256}}}, // 0.5 is inside the box, -0.5 is not
    };
    for (const auto& [filter, expected] : cases) {
        const TIEContributions table(3, 5, filter);
        const TCList& list = table.List(1);
        TTaps taps;
        for (int32_t k = 0; k < list.n; ++k)
            taps.emplace_back(list.p[k].pixel, list.p[k].weight);
        EXPECT_EQ(taps, expected) << IEResampleFilterName(filter);
    }
    const TIEContributions wide(3, 1, rfLanczos3);
    EXPECT_EQ(std::vector<int32_t>(
                  {wide.Mirror(-1), wide.Mirror(-7), wide.Mirror(3), wide.Mirror(4), wide.Mirror(9)}),
              std::vector<int32_t>({1, 2, 2, 1, 0}));
}

TEST(ResampleContributions, ThreadCountRule) {
    EXPECT_EQ(IEResampleThreadsCount(255, 257, false, 4, 65536, 2), 1);  // 65535 pixels
    EXPECT_EQ(IEResampleThreadsCount(256, 256, false, 4, 65536, 2), 2);  // exactly 65536
    EXPECT_EQ(IEResampleThreadsCount(4000, 3000, true, 4, 65536, 8), 1); // file-backed
    EXPECT_EQ(IEResampleThreadsCount(4000, 3000, false, 4, 65536, 8), 4);
    EXPECT_EQ(IEResampleThreadsCount(4000, 3000, false, 3, 65536, 8), 3);
}

// Weights +256 and -256 sum to 0. Horizontally the divisor becomes 256 (10 - 50 clamps
// to 0); vertically the sum is shifted right by 8 as an unsigned word (-10240 becomes
// 16777176, clamped to 255). The other way round both give 10240 / 256 = 40.
TEST(ResampleContributions, ZeroWeightSumDiffersBetweenPasses) {
    const TIEContributions table(2, {0}, {{256, -256}});
    EXPECT_EQ(table.WeightSum(0), 0);
    TIEBitmap work(1, 1, ie24RGB), dst(1, 1, ie24RGB), row, column;
    for (auto [first, second, expected] : {std::tuple{10, 50, "0 255"}, {50, 10, "40 40"}}) {
        Draw(row, "ie24RGB " + std::to_string(first) + " " + std::to_string(second));
        Draw(column, "ie24RGB " + std::to_string(first) + " / " + std::to_string(second));
        IEContributionHorizontalPass24(Rows(row), table, Rows(work), 1, NoProgress, nullptr);
        IEContributionVerticalPass24(Rows(column), table, Rows(dst), NoProgress, nullptr);
        EXPECT_EQ(RowText(work) + " " + RowText(dst), expected) << first;
    }
}

// 2x2 [[0, 100], [100, 200]] to 4x4 with an alpha plane [[255, 0], [255, 255]]: the last
// corner whose factor is not the smallest gives the whole sample wherever the clear corner
// is among the four, so the top rows take the bottom-right 200; the bottom rows see equal
// factors and stay bilinear.
TEST(ResampleEngines, AreaWalkKeepsHiddenColourOut) {
    TIEBitmap src, dst(4, 4, ie24RGB);
    Draw(src, "ie24RGB 0 100 / 100 200 alpha 255 0 / 255 255");
    const TIERowImage alpha = Rows(*src.AlphaChannelOpt());
    IEAreaResample8(Rows(src), &alpha, Rows(dst), 3, rfBilinear, NoProgress, nullptr);
    EXPECT_EQ(Text(dst), "ie24RGB 200 200 200 200 / 200 200 200 200 / 150 200 200 200 / 150 200 200 200");
}

TEST(ResampleEngines, SystemScalerMapsFormats) {
    // ie8p by nearest keeps indices and palette; pixel centres pick columns 1 and 3.
    // Interpolating modes read the palette's colours and give ie24RGB.
    TIEBitmap indexed, out(2, 1, ie8p);
    Draw(indexed, "ie8p 1 2 3 4");
    indexed.SetPalette(2, RGB(3, 2, 1));
    ASSERT_TRUE(IESystemScalerResample(indexed, out, rfWICNearestNeighbor, NoProgress, nullptr));
    EXPECT_EQ(Text(out), "ie8p 2 4");
    EXPECT_EQ(out.GetPalette(2), RGB(3, 2, 1));
    indexed.Fill(2);
    ASSERT_TRUE(IESystemScalerResample(indexed, out, rfWICCubicHQ, NoProgress, nullptr));
    EXPECT_EQ(Text(out), "ie24RGB rgb(3,2,1) rgb(3,2,1)");
    // Bits become grey levels; CMYK is stored inverted and the filter works on ink; 16-bit
    // samples keep their range.
    const std::pair<const char*, const char*> cases[] = {
        {"ie1g 1 1 1 1 / 1 1 1 1", "ie8g 255 255"},
        {"ieCMYK cmyk(0,10,200,255) cmyk(0,10,200,255) cmyk(255,10,200,255) cmyk(255,10,200,255)",
         "ieCMYK cmyk(0,10,200,255) cmyk(255,10,200,255)"},
        {"ie48RGB rgb48(0,65535,7) rgb48(20000,65535,7) rgb48(40000,65535,7) rgb48(60000,65535,7)",
         "ie48RGB rgb48(10000,65535,7) rgb48(50000,65535,7)"},
    };
    for (const auto& [source, expected] : cases) {
        TIEBitmap src, dst(2, 1, ie1g);
        Draw(src, source);
        ASSERT_TRUE(IESystemScalerResample(src, dst, rfWICFant, NoProgress, nullptr));
        EXPECT_EQ(Text(dst), expected);
    }
}
