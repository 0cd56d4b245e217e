#include "proc/resample_contrib.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "tests/proc/resampletestutil.h"

namespace {

using TTaps = std::vector<std::pair<int32_t, int32_t>>;

TTaps Taps(const TIEContributions& Table, int32_t i) {
    TTaps taps;
    const TCList& list = Table.List(i);
    for (int32_t k = 0; k < list.n; ++k)
        taps.emplace_back(list.p[k].pixel, list.p[k].weight);
    return taps;
}

const TIEProgressEvent NoProgress;

} // namespace

// Enlarging 3 to 5: scale (5 - 1) / (3 - 1) = 2, so target 1 sits at source 0.5.
// Weights are Round(kernel(0.5 - j) * 256), zero ones dropped, indices mirrored
// (-1 -> 1, -2 -> 2, 3 -> 2 * 3 - 3 - 1 = 2).
TEST(ResampleContributions, EveryKernelAtScaleTwo) {
    EXPECT_EQ(Taps(TIEContributions(3, 5, rfTriangle), 1), (TTaps{{0, 128}, {1, 128}}));
    EXPECT_EQ(Taps(TIEContributions(3, 5, rfHermite), 1), (TTaps{{0, 128}, {1, 128}}));
    EXPECT_EQ(Taps(TIEContributions(3, 5, rfBell), 1), (TTaps{{0, 128}, {1, 128}}));
    EXPECT_EQ(Taps(TIEContributions(3, 5, rfBSpline), 1), (TTaps{{1, 5}, {0, 123}, {1, 123}, {2, 5}}));
    EXPECT_EQ(Taps(TIEContributions(3, 5, rfLanczos3), 1),
              (TTaps{{2, 6}, {1, -35}, {0, 156}, {1, 156}, {2, -35}, {2, 6}}));
    EXPECT_EQ(Taps(TIEContributions(3, 5, rfMitchell), 1), (TTaps{{1, -9}, {0, 137}, {1, 137}, {2, -9}}));
    // 0.5 is inside the box, -0.5 is not.
    EXPECT_EQ(Taps(TIEContributions(3, 5, rfNearest), 1), (TTaps{{0, 256}}));
    EXPECT_EQ(Taps(TIEContributions(3, 5, rfLinear), 1), (TTaps{{0, 128}, {1, 128}}));
    // Not normalised: the BSpline taps around a source pixel sum to 257.
    TIEContributions bspline(3, 5, rfBSpline);
    EXPECT_EQ(Taps(bspline, 0), (TTaps{{1, 43}, {0, 171}, {1, 43}}));
    EXPECT_EQ(bspline.WeightSum(0), 257);
}

// Reducing 5 to 3: scale 0.5, so the kernel is stretched by 2 and weights are
// Round(kernel(x / 2) * 256 / 2).
TEST(ResampleContributions, ReductionWidensKernel) {
    TIEContributions table(5, 3, rfTriangle);
    EXPECT_EQ(Taps(table, 0), (TTaps{{1, 64}, {0, 128}, {1, 64}}));
    EXPECT_EQ(Taps(table, 1), (TTaps{{1, 64}, {2, 128}, {3, 64}}));
    EXPECT_EQ(Taps(table, 2), (TTaps{{3, 64}, {4, 128}, {4, 64}}));
    // A single target pixel uses d / s and sits on source pixel 0, not the middle.
    TIEContributions single(3, 1, rfTriangle);
    EXPECT_EQ(Taps(single, 0), (TTaps{{2, 28}, {1, 57}, {0, 85}, {1, 57}, {2, 28}}));
    // Far outside, the mirror clamps to the picture.
    TIEContributions wide(3, 1, rfLanczos3);
    EXPECT_EQ(
        (TTaps{{wide.Mirror(-1), wide.Mirror(-7)}, {wide.Mirror(3), wide.Mirror(4)}, {wide.Mirror(9), 0}}),
        (TTaps{{1, 2}, {2, 1}, {0, 0}}));
}

// Row [10, 20, 40, 80, 160] to 3 wide with the taps of ReductionWidensKernel:
// (64*20 + 128*10 + 64*20) / 256 = 15, (64*20 + 128*40 + 64*80) / 256 = 45,
// (64*80 + 128*160 + 64*160) / 256 = 140.
TEST(ResampleContribution24, OneDimensionalReduction) {
    TTestImage src = TTestImage::Grey24(5, 1, {10, 20, 40, 80, 160});
    TTestImage dst(3, 1, 3);
    IEContributionResample24(src.Rows(), dst.Rows(), rfTriangle, 1, NoProgress, nullptr);
    EXPECT_EQ(dst.Channel(0), (std::vector<int>{15, 45, 140}));
    EXPECT_EQ(dst.Channel(2), (std::vector<int>{15, 45, 140}));
}

// Row [0, 60, 240] to 5 wide with BSpline; each pixel divides by its own weight sum
// and truncates: 5160/257 = 20.08, 8880/256 = 34.7, 20580/257 = 80.08,
// 38100/256 = 148.8, 53940/257 = 209.9.
TEST(ResampleContribution24, OneDimensionalEnlargementDividesByOwnSum) {
    TTestImage src = TTestImage::Grey24(3, 1, {0, 60, 240});
    TTestImage dst(5, 1, 3);
    IEContributionResample24(src.Rows(), dst.Rows(), rfBSpline, 1, NoProgress, nullptr);
    EXPECT_EQ(dst.Channel(1), (std::vector<int>{20, 34, 80, 148, 209}));
}

// A column of [10, 50] or a row of [10, 50] under weights +256 and -256, which sum
// to 0: horizontally the divisor becomes 256 (-40 clamps to 0), vertically the sum
// is shifted right by 8 as an unsigned word (-10240 becomes 16777176, clamped to 255).
TEST(ResampleContribution24, ZeroWeightSumDiffersBetweenPasses) {
    TIEContributions table(2, {0}, {{256, -256}});
    EXPECT_EQ(table.WeightSum(0), 0);

    TTestImage row = TTestImage::Grey24(2, 1, {10, 50});
    TTestImage work(1, 1, 3);
    IEContributionHorizontalPass24(row.Rows(), table, work.Rows(), 1, NoProgress, nullptr);
    EXPECT_EQ(work.At(0, 0), 0);

    TTestImage column = TTestImage::Grey24(1, 2, {10, 50});
    TTestImage dst(1, 1, 3);
    IEContributionVerticalPass24(column.Rows(), table, dst.Rows(), NoProgress, nullptr);
    EXPECT_EQ(dst.At(0, 0), 255);

    // The other way round both passes give 10240 / 256 = 40.
    TTestImage rowUp = TTestImage::Grey24(2, 1, {50, 10});
    IEContributionHorizontalPass24(rowUp.Rows(), table, work.Rows(), 1, NoProgress, nullptr);
    EXPECT_EQ(work.At(0, 0), 40);
    TTestImage columnUp = TTestImage::Grey24(1, 2, {50, 10});
    IEContributionVerticalPass24(columnUp.Rows(), table, dst.Rows(), NoProgress, nullptr);
    EXPECT_EQ(dst.At(0, 0), 40);

    // A non-zero sum divides: (128*10 + 64*50) / 192 = 23.3.
    TIEContributions uneven(2, {0}, {{128, 64}});
    IEContributionVerticalPass24(column.Rows(), uneven, dst.Rows(), NoProgress, nullptr);
    EXPECT_EQ(dst.At(0, 0), 23);
}

// 3x3 to 5x5 with Lanczos3. Row 0 is [0, 255, 255]; at target column 3 the taps
// (1:6, 0:-35, 1:156, 2:156, 2:-35, 1:6) give 255 * 289 / 254 = 290, clipped to 255
// in the 8-bit intermediate. Target row 1 then takes 156/254 of that row and nothing
// of the black rows: 156 * 255 / 254 = 156. Unclipped it would be 156 * 290 / 254 = 178.
TEST(ResampleContribution24, OvershootIsClippedBetweenPasses) {
    TTestImage src = TTestImage::Grey24(3, 3, {0, 255, 255, 0, 0, 0, 0, 0, 0});
    TTestImage dst(5, 5, 3);
    IEContributionResample24(src.Rows(), dst.Rows(), rfLanczos3, 1, NoProgress, nullptr);
    EXPECT_EQ(dst.At(3, 0), 255);
    EXPECT_EQ(dst.At(3, 1), 156);
    EXPECT_EQ(dst.At(0, 0), 0);
}

// Reducing [0, 100, 200] to one pixel: taps 0:85, 1:57+57, 2:28+28, sum 255;
// 22600 / 255 = 88, the neighbourhood of the first pixel, not the middle's 100.
TEST(ResampleContribution24, SingleTargetPixelSitsOnFirstSourcePixel) {
    TTestImage src = TTestImage::Grey24(3, 1, {0, 100, 200});
    TTestImage dst(1, 1, 3);
    IEContributionResample24(src.Rows(), dst.Rows(), rfTriangle, 1, NoProgress, nullptr);
    EXPECT_EQ(dst.At(0, 0), 88);
}

TEST(ResampleContribution, ThreadCountRule) {
    EXPECT_EQ(IEResampleThreadsCount(255, 257, false, 4, 65536, 2), 1);  // 65535 pixels
    EXPECT_EQ(IEResampleThreadsCount(256, 256, false, 4, 65536, 2), 2);  // exactly 65536
    EXPECT_EQ(IEResampleThreadsCount(4000, 3000, true, 4, 65536, 8), 1); // file-backed
    EXPECT_EQ(IEResampleThreadsCount(4000, 3000, false, 4, 65536, 8), 4);
    EXPECT_EQ(IEResampleThreadsCount(4000, 3000, false, 3, 65536, 8), 3);
}

// 4x4 to 2x2: per1 = 100 / (4 + 2 + 0.5). One thread reports after each source row
// Trunc(per1 * (y + 1)), then the vertical pass Trunc(per1 * (i + 4 + 1)). With two
// threads only the first band reports, Trunc(per1 * (y * 2 + 1)) for its rows 0, 1.
TEST(ResampleContribution24, ProgressFigures) {
    TTestImage src = TTestImage::Busy(4, 4, 3);
    TTestImage dst(2, 2, 3);
    std::vector<int> seen;
    int sender = 0;
    const TIEProgressEvent record = [&](void* s, int per) {
        EXPECT_EQ(s, &sender);
        seen.push_back(per);
    };
    IEContributionResample24(src.Rows(), dst.Rows(), rfTriangle, 1, record, &sender);
    EXPECT_EQ(seen, (std::vector<int>{15, 30, 46, 61, 76, 92}));
    seen.clear();
    IEContributionResample24(src.Rows(), dst.Rows(), rfTriangle, 2, record, &sender);
    EXPECT_EQ(seen, (std::vector<int>{15, 46, 76, 92}));
}

// The one-channel forms share the tables: [0, 60, 240] gives the BSpline row above.
TEST(ResampleContribution, OneByteWordAndBitForms) {
    TTestImage grey(3, 1, 1, {0, 60, 240});
    TTestImage out(5, 1, 1);
    IEContributionResample8(grey.Rows(), out.Rows(), rfBSpline, NoProgress, nullptr);
    EXPECT_EQ(out.Channel(0), (std::vector<int>{20, 34, 80, 148, 209}));

    // Words 0, 6000, 24000: 516000/257 = 2007.8, 888000/256 = 3468.75,
    // 2058000/257 = 8007.8, 3810000/256 = 14882.8, 5394000/257 = 20988.3.
    TTestImage words(3, 1, 2);
    words.SetWord(0, 0, 0);
    words.SetWord(1, 0, 6000);
    words.SetWord(2, 0, 24000);
    TTestImage wordsOut(5, 1, 2);
    IEContributionResample16(words.Rows(), wordsOut.Rows(), rfBSpline, NoProgress, nullptr);
    EXPECT_EQ(wordsOut.Word(0, 0), 2007);
    EXPECT_EQ(wordsOut.Word(1, 0), 3468);
    EXPECT_EQ(wordsOut.Word(2, 0), 8007);
    EXPECT_EQ(wordsOut.Word(3, 0), 14882);
    EXPECT_EQ(wordsOut.Word(4, 0), 20988);

    // Bits 0 1 1 read as 0, 255, 255; the triangle enlargement to 5 gives
    // 0, 127.5 -> 127, 255, 255, 255, written as grey into all three channels.
    TTestImage bits = Bits({"011"});
    TTestImage rgb(5, 1, 3);
    IEContributionResample1To24(BitRows(bits, 3, 1), rgb.Rows(), rfTriangle, NoProgress, nullptr);
    EXPECT_EQ(rgb.Channel(0), (std::vector<int>{0, 127, 255, 255, 255}));
    EXPECT_EQ(rgb.Channel(2), (std::vector<int>{0, 127, 255, 255, 255}));
}
