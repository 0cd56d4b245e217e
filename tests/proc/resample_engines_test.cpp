#include <gtest/gtest.h>

#include <array>
#include <functional>
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

const TIEProgressEvent NoProgress;
int gSender;

// Top-down rows of 1, 8, 16, 24 or 32 bits a pixel, padded to four bytes. Pixels of 24
// and 32 bits hold one level in every byte; one whose bytes differ reads as -1000.
class TRows {
  public:
    TRows(int32_t Width, int32_t Height, int32_t Bits, const std::vector<int>& Values = {})
        : fWidth(Width), fHeight(Height), fBits(Bits), fStride((Width * Bits + 31) / 32 * 4),
          fData(size_t(fStride * Height), Bits == 1 ? 0 : 0xCD) {
        for (size_t i = 0; i < Values.size(); ++i)
            Set(int32_t(i) % Width, int32_t(i) / Width, Values[i]);
    }
    uint8_t* Row(int32_t y) { return fData.data() + y * fStride; }
    TIERowImage Rows() { return TIERowImage(fWidth, fHeight, fData.data(), fStride); }
    void Set(int32_t x, int32_t y, int v) {
        uint8_t* p = Row(y) + x * fBits / 8;
        if (fBits == 1) {
            if (v) Row(y)[x >> 3] |= uint8_t(0x80 >> (x & 7));
        } else if (fBits == 16) {
            p[0] = uint8_t(v), p[1] = uint8_t(v >> 8);
        } else {
            for (int32_t c = 0; c < fBits / 8; ++c)
                p[c] = uint8_t(v);
        }
    }
    int Get(int32_t x, int32_t y) {
        const uint8_t* p = Row(y) + x * fBits / 8;
        if (fBits == 1) return (Row(y)[x >> 3] >> (7 - (x & 7))) & 1;
        if (fBits == 16) return p[0] | p[1] << 8;
        for (int32_t c = 1; c < fBits / 8; ++c)
            if (p[c] != p[0]) return -1000;
        return p[0];
    }
    std::vector<int> Values() {
        std::vector<int> values;
        for (int32_t y = 0; y < fHeight; ++y)
            for (int32_t x = 0; x < fWidth; ++x)
                values.push_back(Get(x, y));
        return values;
    }

  private:
    int32_t fWidth, fHeight, fBits, fStride;
    std::vector<uint8_t> fData;
};

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
        if (Words)
            IEAreaResample16(S, nullptr, D, Bpp, F, P, &gSender);
        else
            IEAreaResample8(S, nullptr, D, Bpp, F, P, &gSender);
    };
}
TEngine Fast(int32_t Bits) {
    return [=](auto& S, auto& D, auto& P) {
        if (Bits == 24) IEFastLinearResample24(S, D, P, &gSender);
        if (Bits == 16) IEFastLinearResample16(S, D, P, &gSender);
        if (Bits == 8) IEFastLinearResample8(S, D, P, &gSender);
    };
}
TEngine Scaler(int32_t Mode) {
    return [=](auto& S, auto& D, auto& P) {
        TIEScalerLayout grey;
        grey.Channels = 1;
        IEScalerResample(S, D, grey, Mode, P, &gSender);
    };
}
TEngine Nearest(int32_t Bits) {
    return [=](auto& S, auto& D, auto& P) { IENearestResample(S, D, Bits, P, &gSender); };
}
TEngine Project(TResampleFilter F, bool OneBit = false) {
    return [=](auto& S, auto& D, auto&) { IEProjectResample(S, OneBit, D, F); };
}
const TEngine OneBit = [](auto& S, auto& D, auto&) { IEOneBitLinearResample(S, D); };

struct TCase {
    const char* Name;
    TEngine Engine;
    int32_t Bits, Width, Height;
    std::vector<int> In;
    int32_t OutBits, OutWidth, OutHeight;
    std::vector<int> Out; // leading pixels only; -1 is not pinned
};

// Hand-worked results, one engine and picture a line.
// clang-format off
const TCase kCases[] = {
    // 5 to 3 triangle taps (1:64, 0:128, 1:64), (1:64, 2:128, 3:64), (3:64, 4:128, 4:64).
    {"contrib reduce", Contrib(rfTriangle), 24, 5, 1, {10, 20, 40, 80, 160}, 24, 3, 1, {15, 45, 140}},
    // BSpline 3 to 5, each pixel over its own weight sum, cut: 5160/257 = 20.08, 8880/256
    // = 34.7, 20580/257 = 80.08, 38100/256 = 148.8, 53940/257 = 209.9.
    {"contrib own sums", Contrib(rfBSpline), 24, 3, 1, {0, 60, 240}, 24, 5, 1, {20, 34, 80, 148, 209}},
    {"contrib 8", Contrib(rfBSpline, 8), 8, 3, 1, {0, 60, 240}, 8, 5, 1, {20, 34, 80, 148, 209}},
    // 516000/257, 888000/256, 2058000/257, 3810000/256, 5394000/257.
    {"contrib 16", Contrib(rfBSpline, 16), 16, 3, 1, {0, 6000, 24000},
                                           16, 5, 1, {2007, 3468, 8007, 14882, 20988}},
    // Bits read as 0 and 255: 127.5 cut.
    {"contrib bits", Contrib(rfTriangle, 1), 1, 3, 1, {0, 1, 1}, 24, 5, 1, {0, 127, 255, 255, 255}},
    // One target sits on source 0, not the middle: taps 0:85, 1:114, 2:56, 22600 / 255.
    {"contrib to one", Contrib(rfTriangle), 24, 3, 1, {0, 100, 200}, 24, 1, 1, {88}},
    // Lanczos taps (1:6, 0:-35, 1:156, 2:156, 2:-35, 1:6) give 255 * 289 / 254 = 290 at
    // (3, 0), clipped to 255 between the passes: row 1 is 156 * 255 / 254, not 178.
    {"contrib clip", Contrib(rfLanczos3), 24, 3, 3, {0, 255, 255, 0, 0, 0, 0, 0, 0},
                                          24, 5, 5, {0, -1, -1, 255, -1, -1, -1, -1, 156}},
    // Box means with ties to even: 16.5 -> 16, 35.5 -> 36.
    {"area reduce", Area(rfBilinear), 8, 4, 1, {10, 23, 31, 40}, 8, 2, 1, {16, 36}},
    {"area reduce bicubic", Area(rfBicubic), 8, 4, 1, {10, 23, 31, 40}, 8, 2, 1, {16, 36}},
    {"area words", Area(rfBilinear, 1, true), 16, 4, 1, {1000, 2301, 3101, 4000}, 16, 2, 1, {1650, 3550}},
    // Cells end at fx 0.5 and 1.0, so samples lean right; bicubic at 0.5 is -p(-1)/8 +
    // 5 p0/8 + 5 p1/8 - p2/8: 37.5 -> 38, 162.5 -> 162, 212.5 -> 212.
    {"area wider", Area(rfBilinear), 8, 3, 1, {0, 100, 200}, 8, 6, 1, {50, 100, 150, 200, 200, 200}},
    {"area wider bicubic", Area(rfBicubic), 8, 3, 1, {0, 100, 200}, 8, 6, 1, {38, 100, 162, 200, 212, 200}},
    {"area taller", Area(rfBilinear), 8, 1, 3, {0, 100, 200}, 8, 1, 6, {50, 100, 150, 200, 200, 200}},
    {"area taller bicubic", Area(rfBicubic), 8, 1, 3, {0, 100, 200}, 8, 1, 6, {38, 100, 162, 200, 212, 200}},
    // Both ways: the bottom row stands in for the missing next row.
    {"area both", Area(rfBilinear), 8, 2, 2, {0, 100, 100, 200},
                  8, 4, 4, {100, 150, 150, 150, 150, 200, 200, 200, 150, 200, 200, 200, 150, 200, 200, 200}},
    // Cubic along x rounded per ring row (101, 200), then along y at 0.5: 150.5 -> 150.
    {"area both bicubic", Area(rfBicubic), 8, 2, 2, {0, 101, 100, 200}, 8, 4, 4, {100, 150}},
    // 7 to 3: the 24-bit tables cut (columns 0-1, 2-3, 4), the 8-bit ones round (0-1, 2-4, 5).
    {"fast reduce", Fast(24), 24, 7, 1, {10, 20, 30, 40, 50, 60, 70}, 24, 3, 1, {15, 35, 50}},
    {"fast reduce 8", Fast(8), 8, 7, 1, {10, 20, 30, 40, 50, 60, 70}, 8, 3, 1, {15, 40, 60}},
    // 2 to 5 at 0, 0.4, 0.8, 1.2, 1.6: the 24-bit engine cuts and lags by Round(0.75) = 1
    // column; the 8-bit one rounds, so 0.8 already takes column 1.
    {"fast wider", Fast(24), 24, 2, 1, {0, 100}, 24, 5, 1, {0, 0, 40, 80, 100}},
    {"fast wider 8", Fast(8), 8, 2, 1, {0, 100}, 8, 5, 1, {0, 40, 100, 100, 100}},
    {"fast wider 16", Fast(16), 16, 2, 1, {0, 60000}, 16, 5, 1, {0, 24000, 60000, 60000, 60000}},
    // Row 0 at t = -0.4 extrapolates to 100 + (0 - 100) * -0.4 = 140.
    {"fast taller", Fast(24), 24, 1, 2, {100, 0}, 24, 1, 5, {140, 100, 60, 20, 0}},
    {"fast taller 8", Fast(8), 8, 1, 2, {100, 0}, 8, 1, 5, {100, 60, 20, 0, 0}},
    // The second mean takes only row 2: Trunc(1 / 0.5) - 1 = 1, raised to 2.
    {"fast shorter", Fast(24), 24, 1, 4, {10, 23, 30, 41}, 24, 1, 2, {16, 30}},
    // Pixel centres: 2 to 4 puts targets at -0.25, 0.25, 0.75, 1.25, the border repeating.
    {"scaler linear", Scaler(1), 8, 2, 1, {0, 100}, 8, 4, 1, {0, 25, 75, 100}},
    {"scaler fant", Scaler(3), 8, 4, 1, {10, 20, 30, 41}, 8, 2, 1, {15, 36}},
    {"scaler fant 6 to 4", Scaler(3), 8, 6, 1, {0, 30, 60, 90, 120, 150}, 8, 4, 1, {10, 50, 100, 140}},
    // 8 to 1 at 3.5: the plain cubic reads columns 2-5; the high-quality one is stretched
    // by 8 and gives column 0 (with the taps beyond the border) 0.1607: 40.98 -> 41.
    {"scaler cubic", Scaler(2), 8, 8, 1, {255, 0, 0, 0, 0, 0, 0, 0}, 8, 1, 1, {0}},
    {"scaler cubic hq", Scaler(4), 8, 8, 1, {255, 0, 0, 0, 0, 0, 0, 0}, 8, 1, 1, {41}},
    // Catmull-Rom keeps a ramp, 20 i + 5, where the widened kernel stays inside.
    {"scaler ramp", Scaler(4), 8, 16, 1,
     {0, 10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120, 130, 140, 150}, 8, 8, 1, {-1, -1, 45, 65, 85, 105}},
    // Enlarging is not widened: at 1.25 the weights -0.0703, 0.8672, 0.2266, -0.0234 give 77.89.
    {"scaler hq wider", Scaler(4), 8, 4, 1, {0, 40, 200, 90}, 8, 8, 1, {-1, -1, -1, 78}},
    // sx = 2; blocks of columns and rows 0-1 and 1-3 (the upper bound adds sx / 2):
    // 765/4, 255/6, 255/6, 765/9.
    {"one bit reduce", OneBit, 1, 4, 4, {1, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1, 0, 0, 1, 1},
                       24, 2, 2, {191, 42, 42, 85}},
    // (0 - 255) * 65536 >> 17 is -127.5 floored: 255 - 128.
    {"one bit falling", OneBit, 1, 2, 1, {1, 0}, 24, 4, 1, {255, 127, 0, 0}},
    {"one bit rising", OneBit, 1, 2, 1, {0, 1}, 24, 4, 1, {0, 127, 255, 255}},
    {"one bit taller", OneBit, 1, 1, 2, {1, 0}, 24, 1, 4, {255, 127, 0, 0}},
    // Columns and rows min(w - 1, Trunc(3 / 5 x)).
    {"nearest", Nearest(24), 24, 3, 2, {1, 4, 7, 11, 14, 17},
                24, 5, 3, {1, 1, 4, 4, 7, 1, 1, 4, 4, 7, 11, 11, 14, 14, 17}},
    {"nearest bits", Nearest(1), 1, 3, 1, {1, 0, 1}, 1, 5, 1, {1, 1, 0, 0, 1}},
    // 4 to 2, step 2: target 0 looks at column 0, target 1 at columns 0-2. 128 is neither
    // black nor white; on bits column 3 lies outside every block.
    {"project black", Project(rfProjectBW), 24, 4, 1, {255, 255, 0, 255}, 1, 2, 1, {1, 0}},
    {"project white", Project(rfProjectWB), 24, 4, 1, {0, 0, 255, 0}, 1, 2, 1, {0, 1}},
    {"project middle BW", Project(rfProjectBW), 24, 4, 1, {128, 128, 128, 128}, 1, 2, 1, {1, 1}},
    {"project middle WB", Project(rfProjectWB), 24, 4, 1, {128, 128, 128, 128}, 1, 2, 1, {0, 0}},
    {"project bits", Project(rfProjectBW, true), 1, 4, 1, {1, 1, 1, 0}, 1, 2, 1, {1, 1}},
};
// clang-format on

} // namespace

TEST(ResampleEngines, HandWorkedPictures) {
    for (const TCase& c : kCases) {
        TRows src(c.Width, c.Height, c.Bits, c.In), dst(c.OutWidth, c.OutHeight, c.OutBits);
        c.Engine(src.Rows(), dst.Rows(), NoProgress);
        std::vector<int> out = dst.Values();
        out.resize(c.Out.size());
        for (size_t i = 0; i < out.size(); ++i)
            if (c.Out[i] < 0) out[i] = -1;
        EXPECT_EQ(out, c.Out) << c.Name;
    }
}

// The engines report Trunc(per * step) with their own per, new figures only.
TEST(ResampleEngines, ProgressFigures) {
    const struct {
        TEngine Engine;
        int32_t Width, Height, OutWidth, OutHeight;
        std::vector<int> Expected;
    } cases[] = {
        // per = 100 / (4 + 2 + 0.5): after source row y, then after target row i at i + 4 + 1.
        {Contrib(rfTriangle), 4, 4, 2, 2, {15, 30, 46, 61, 76, 92}},
        // With two threads only the first band reports, at y * 2 + 1 for its rows 0 and 1.
        {Contrib(rfTriangle, 24, 2), 4, 4, 2, 2, {15, 46, 76, 92}},
        {Area(rfBilinear, 3), 8, 8, 4, 3, {33, 66, 100}},
        // per = 100 / (2 + 4 + 0.5) over source rows from 1, then over target rows at y + 2.
        {Fast(24), 3, 2, 5, 4, {15, 30, 46, 61, 76}},
        {Nearest(24), 3, 2, 5, 3, {28, 57}},
    };
    for (const auto& c : cases) {
        TRows src(c.Width, c.Height, 24), dst(c.OutWidth, c.OutHeight, 24);
        std::vector<int> seen;
        c.Engine(src.Rows(), dst.Rows(), [&](void* Sender, int Percent) {
            EXPECT_EQ(Sender, &gSender);
            seen.push_back(Percent);
        });
        EXPECT_EQ(seen, c.Expected) << c.Width << "x" << c.Height << " to " << c.OutWidth;
    }
}

// Enlarging 3 to 5: scale 2, target 1 at source 0.5; weights Round(kernel(0.5 - j) * 256),
// zero ones dropped, indices mirrored (-1 -> 1, 3 -> 2 * 3 - 3 - 1 = 2). Reducing 5 to 3
// stretches the kernel by 2: Round(kernel(x / 2) * 128).
TEST(ResampleContributions, TapsOfEveryKernel) {
    using TTaps = std::vector<std::pair<int32_t, int32_t>>;
    const struct {
        TResampleFilter Filter;
        int32_t From, To, Index;
        TTaps Taps;
    } cases[] = {
        {rfTriangle, 3, 5, 1, {{0, 128}, {1, 128}}},
        {rfHermite, 3, 5, 1, {{0, 128}, {1, 128}}},
        {rfBell, 3, 5, 1, {{0, 128}, {1, 128}}},
        {rfLinear, 3, 5, 1, {{0, 128}, {1, 128}}},
        {rfBSpline, 3, 5, 1, {{1, 5}, {0, 123}, {1, 123}, {2, 5}}},
        {rfLanczos3, 3, 5, 1, {{2, 6}, {1, -35}, {0, 156}, {1, 156}, {2, -35}, {2, 6}}},
        {rfMitchell, 3, 5, 1, {{1, -9}, {0, 137}, {1, 137}, {2, -9}}},
        {rfNearest, 3, 5, 1, {{0, 256}}}, // 0.5 is inside the box, -0.5 is not
        // Not normalised: these sum to 257.
        {rfBSpline, 3, 5, 0, {{1, 43}, {0, 171}, {1, 43}}},
        {rfTriangle, 5, 3, 0, {{1, 64}, {0, 128}, {1, 64}}},
        {rfTriangle, 5, 3, 1, {{1, 64}, {2, 128}, {3, 64}}},
        {rfTriangle, 5, 3, 2, {{3, 64}, {4, 128}, {4, 64}}},
        // A single target pixel uses d / s and sits on source pixel 0.
        {rfTriangle, 3, 1, 0, {{2, 28}, {1, 57}, {0, 85}, {1, 57}, {2, 28}}},
    };
    for (const auto& c : cases) {
        const TIEContributions table(c.From, c.To, c.Filter);
        TTaps taps;
        for (int32_t k = 0; k < table.List(c.Index).n; ++k)
            taps.emplace_back(table.List(c.Index).p[k].pixel, table.List(c.Index).p[k].weight);
        EXPECT_EQ(taps, c.Taps) << IEResampleFilterName(c.Filter) << " " << c.From << " to " << c.To;
    }
    EXPECT_EQ(TIEContributions(3, 5, rfBSpline).WeightSum(0), 257);
    // Far outside, the mirror clamps to the picture.
    const TIEContributions wide(3, 1, rfLanczos3);
    EXPECT_EQ(std::vector<int32_t>(
                  {wide.Mirror(-1), wide.Mirror(-7), wide.Mirror(3), wide.Mirror(4), wide.Mirror(9)}),
              std::vector<int32_t>({1, 2, 2, 1, 0}));
}

// Weights +256 and -256 sum to 0. Horizontally the divisor becomes 256 (10 - 50 clamps
// to 0); vertically the sum is shifted right by 8 as an unsigned word (-10240 becomes
// 16777176, clamped to 255). The other way round both give 10240 / 256 = 40.
TEST(ResampleContributions, ZeroWeightSumDiffersBetweenPasses) {
    const TIEContributions table(2, {0}, {{256, -256}});
    EXPECT_EQ(table.WeightSum(0), 0);
    TRows work(1, 1, 24), dst(1, 1, 24);
    for (auto [first, second, horizontal, vertical] :
         {std::array{10, 50, 0, 255}, std::array{50, 10, 40, 40}}) {
        TRows row(2, 1, 24, {first, second}), column(1, 2, 24, {first, second});
        IEContributionHorizontalPass24(row.Rows(), table, work.Rows(), 1, NoProgress, nullptr);
        IEContributionVerticalPass24(column.Rows(), table, dst.Rows(), NoProgress, nullptr);
        EXPECT_EQ(std::make_pair(work.Get(0, 0), dst.Get(0, 0)), std::make_pair(horizontal, vertical))
            << first;
    }
    // A non-zero sum divides: (128 * 10 + 64 * 50) / 192 = 23.3.
    TRows column(1, 2, 24, {10, 50});
    IEContributionVerticalPass24(column.Rows(), TIEContributions(2, {0}, {{128, 64}}), dst.Rows(), NoProgress,
                                 nullptr);
    EXPECT_EQ(dst.Get(0, 0), 23);
}

TEST(ResampleContributions, ThreadCountRule) {
    EXPECT_EQ(IEResampleThreadsCount(255, 257, false, 4, 65536, 2), 1);  // 65535 pixels
    EXPECT_EQ(IEResampleThreadsCount(256, 256, false, 4, 65536, 2), 2);  // exactly 65536
    EXPECT_EQ(IEResampleThreadsCount(4000, 3000, true, 4, 65536, 8), 1); // file-backed
    EXPECT_EQ(IEResampleThreadsCount(4000, 3000, false, 4, 65536, 8), 4);
    EXPECT_EQ(IEResampleThreadsCount(4000, 3000, false, 3, 65536, 8), 3);
}

// 2x2 [[0, 100], [100, 200]] to 4x4 with an alpha plane [[255, 0], [255, 255]]: the last
// corner whose factor is not the smallest gives the whole sample wherever the clear corner
// is among the four, so the top rows take the bottom-right 200; the bottom rows see equal
// factors and stay bilinear ("area both" above).
TEST(ResampleArea, HiddenColourStaysOutAndOnlyTheFirstOfFourSamplesIsFilled) {
    TRows src(2, 2, 24, {0, 100, 100, 200}), alpha(2, 2, 8, {255, 0, 255, 255}), dst(4, 4, 24);
    const TIERowImage alphaRows = alpha.Rows();
    IEAreaResample8(src.Rows(), &alphaRows, dst.Rows(), 3, rfBilinear, NoProgress, nullptr);
    EXPECT_EQ(dst.Values(), std::vector<int>({200, 200, 200, 200, 200, 200, 200, 200, //
                                              150, 200, 200, 200, 150, 200, 200, 200}));
    // Four samples a pixel: the rest come out 0.
    TRows four(2, 2, 32, {0, 100, 100, 200}), fourOut(4, 4, 32);
    IEAreaResample8(four.Rows(), nullptr, fourOut.Rows(), 4, rfBilinear, NoProgress, nullptr);
    EXPECT_EQ(std::vector<int>(fourOut.Row(1), fourOut.Row(1) + 8),
              std::vector<int>({150, 0, 0, 0, 200, 0, 0, 0}));
}

TEST(ResampleScaler, FormatMapping) {
    // ie8p by nearest keeps indices and palette; pixel centres pick columns 1 and 3.
    TIEBitmap indexed(4, 1, ie8p), out(2, 1, ie8p);
    for (int32_t x = 0; x < 4; ++x)
        indexed.SetPixels_ie8(x, 0, uint8_t(x + 1));
    indexed.SetPalette(2, TRGB{1, 2, 3});
    ASSERT_TRUE(IESystemScalerResample(indexed, out, rfWICNearestNeighbor, NoProgress, nullptr));
    EXPECT_EQ(out.PixelFormat(), ie8p);
    EXPECT_EQ(std::vector<int>({out.GetPixels_ie8(0, 0), out.GetPixels_ie8(1, 0), out.GetPalette(2).r}),
              std::vector<int>({2, 4, 3}));
    // Interpolating modes read the palette's colours and give ie24RGB.
    indexed.Fill(2);
    ASSERT_TRUE(IESystemScalerResample(indexed, out, rfWICCubicHQ, NoProgress, nullptr));
    EXPECT_EQ(out.PixelFormat(), ie24RGB);
    EXPECT_EQ(PixelText(out, 1), "rgb(3,2,1)");
    // Bits become grey levels.
    TIEBitmap bits(4, 2, ie1g, 1), grey(2, 1, ie1g);
    ASSERT_TRUE(IESystemScalerResample(bits, grey, rfWICFant, NoProgress, nullptr));
    EXPECT_EQ(grey.PixelFormat(), ie8g);
    EXPECT_EQ(grey.GetPixels_ie8(0, 0), 255);
    // CMYK is stored inverted; the filter works on ink and stores inverted again.
    TIEBitmap cmyk(4, 4, ieCMYK), cmykOut(2, 2, ieCMYK);
    for (int32_t i = 0; i < 16; ++i)
        cmyk.SetPixels_ieCMYK(i % 4, i / 4, TCMYK{uint8_t(i % 4 < 2 ? 0 : 255), 10, 200, 255});
    ASSERT_TRUE(IESystemScalerResample(cmyk, cmykOut, rfWICFant, NoProgress, nullptr));
    EXPECT_EQ(cmykOut.PixelFormat(), ieCMYK);
    const TCMYK left = cmykOut.GetPixels_ieCMYK(0, 1), right = cmykOut.GetPixels_ieCMYK(1, 1);
    EXPECT_EQ(std::vector<int>({left.c, right.c, right.m}), std::vector<int>({0, 255, 10}));
    // 16-bit samples keep their range.
    TIEBitmap deep(4, 1, ie48RGB), deepOut(2, 1, ie48RGB);
    for (int32_t x = 0; x < 4; ++x)
        deep.SetPixels_ie48RGB(x, 0, TRGB48{uint16_t(x * 20000), 65535, 7});
    ASSERT_TRUE(IESystemScalerResample(deep, deepOut, rfWICFant, NoProgress, nullptr));
    EXPECT_EQ(deepOut.PixelFormat(), ie48RGB);
    const TRGB48 a = deepOut.GetPixels_ie48RGB(0, 0), b = deepOut.GetPixels_ie48RGB(1, 0);
    EXPECT_EQ(std::vector<int>({a.r, b.r, b.g}), std::vector<int>({10000, 50000, 65535}));
}
