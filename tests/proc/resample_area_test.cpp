#include "proc/resample_area.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/proc/resampletestutil.h"

namespace {
const TIEProgressEvent NoProgress;
}

// Mode D, 4x1 to 2x1: cells of width 1 (and a zero-width one), area 1 each, scale
// 1 / (2 * 1): (10 + 23) / 2 = 16.5 -> 16 and (31 + 40) / 2 = 35.5 -> 36, ties to even.
TEST(ResampleAreaWalk, ReduceBothWaysIsBoxAverage) {
    TTestImage src(4, 1, 1, {10, 23, 31, 40});
    TTestImage dst(2, 1, 1);
    IEAreaResample8(src.Rows(), nullptr, dst.Rows(), 1, rfBilinear, NoProgress, nullptr);
    EXPECT_EQ(dst.Channel(0), (std::vector<int>{16, 36}));
    IEAreaResample8(src.Rows(), nullptr, dst.Rows(), 1, rfBicubic, NoProgress, nullptr);
    EXPECT_EQ(dst.Channel(0), (std::vector<int>{16, 36}));

    TTestImage words(4, 1, 2);
    for (int32_t x = 0; x < 4; ++x)
        words.SetWord(x, 0, uint16_t(std::vector<int>{1000, 2301, 3101, 4000}[size_t(x)]));
    TTestImage wordsOut(2, 1, 2);
    IEAreaResample16(words.Rows(), nullptr, wordsOut.Rows(), 1, rfBilinear, NoProgress, nullptr);
    EXPECT_EQ(wordsOut.Word(0, 0), 1650);
    EXPECT_EQ(wordsOut.Word(1, 0), 3550);
}

// Mode B, 3x1 to 6x1 (xr 0.5). Each source column holds two target cells ending at
// fx 0.5 and 1.0, so the samples lean right: bilinear at 0.5 is the mean of the pixel
// and its right neighbour, at 1.0 the neighbour. Bicubic at 0.5 over p(-1), p0, p1, p2
// is -p(-1)/8 + 5p0/8 + 5p1/8 - p2/8: 37.5 -> 38, 162.5 -> 162, 212.5 -> 212.
TEST(ResampleAreaWalk, EnlargeWidthOnly) {
    TTestImage src(3, 1, 1, {0, 100, 200});
    TTestImage dst(6, 1, 1);
    IEAreaResample8(src.Rows(), nullptr, dst.Rows(), 1, rfBilinear, NoProgress, nullptr);
    EXPECT_EQ(dst.Channel(0), (std::vector<int>{50, 100, 150, 200, 200, 200}));
    IEAreaResample8(src.Rows(), nullptr, dst.Rows(), 1, rfBicubic, NoProgress, nullptr);
    EXPECT_EQ(dst.Channel(0), (std::vector<int>{38, 100, 162, 200, 212, 200}));
}

// Mode C is the same walk over rows with the ring standing in for missing rows.
TEST(ResampleAreaWalk, EnlargeHeightOnly) {
    TTestImage src(1, 3, 1, {0, 100, 200});
    TTestImage dst(1, 6, 1);
    IEAreaResample8(src.Rows(), nullptr, dst.Rows(), 1, rfBilinear, NoProgress, nullptr);
    EXPECT_EQ(dst.Channel(0), (std::vector<int>{50, 100, 150, 200, 200, 200}));
    IEAreaResample8(src.Rows(), nullptr, dst.Rows(), 1, rfBicubic, NoProgress, nullptr);
    EXPECT_EQ(dst.Channel(0), (std::vector<int>{38, 100, 162, 200, 212, 200}));
}

// Mode A, 2x2 [[0, 100], [100, 200]] to 4x4. Cells end at fx and fy of 0.5 and 1.0;
// the bottom row has no next row and stands in for it.
TEST(ResampleAreaWalk, EnlargeBothWaysBilinear) {
    TTestImage src(2, 2, 1, {0, 100, 100, 200});
    TTestImage dst(4, 4, 1);
    IEAreaResample8(src.Rows(), nullptr, dst.Rows(), 1, rfBilinear, NoProgress, nullptr);
    EXPECT_EQ(dst.Channel(0), (std::vector<int>{100, 150, 150, 150, //
                                                150, 200, 200, 200, //
                                                150, 200, 200, 200, //
                                                150, 200, 200, 200}));
}

// With an alpha plane [[255, 0], [255, 255]] the last corner whose factor is not the
// smallest gives the whole sample wherever the transparent corner is among the four:
// the top two target rows become the bottom-right pixel, 200. The bottom rows see
// equal factors and stay plain bilinear.
TEST(ResampleAreaWalk, EnlargeBothWaysKeepsHiddenColourOut) {
    TTestImage src = TTestImage::Grey24(2, 2, {0, 100, 100, 200});
    TTestImage alpha(2, 2, 1, {255, 0, 255, 255});
    const TIERowImage alphaRows = alpha.Rows();
    TTestImage dst(4, 4, 3);
    IEAreaResample8(src.Rows(), &alphaRows, dst.Rows(), 3, rfBilinear, NoProgress, nullptr);
    const std::vector<int> expected{200, 200, 200, 200, //
                                    200, 200, 200, 200, //
                                    150, 200, 200, 200, //
                                    150, 200, 200, 200};
    EXPECT_EQ(dst.Channel(0), expected);
    EXPECT_EQ(dst.Channel(2), expected);
    // Without the plane the same image is plain bilinear.
    IEAreaResample8(src.Rows(), nullptr, dst.Rows(), 3, rfBilinear, NoProgress, nullptr);
    EXPECT_EQ(dst.At(0, 0), 100);
}

// Bicubic mode A: cubic along x in each ring row, rounded, then along y. Target (1, 0):
// x gives 101 and 200 (fx 1.0), y at 0.5 over 101, 101, 200, 200 gives 150.5 -> 150.
TEST(ResampleAreaWalk, EnlargeBothWaysBicubic) {
    TTestImage src(2, 2, 1, {0, 101, 100, 200});
    TTestImage dst(4, 4, 1);
    IEAreaResample8(src.Rows(), nullptr, dst.Rows(), 1, rfBicubic, NoProgress, nullptr);
    EXPECT_EQ(dst.At(0, 0), 100);
    EXPECT_EQ(dst.At(1, 0), 150);
}

// With four samples a pixel mode A fills only the first; the rest come out 0.
TEST(ResampleAreaWalk, EnlargeBothWaysFourSamplesFillsFirstOnly) {
    TTestImage src(2, 2, 4, {0, 9, 9, 9, 100, 9, 9, 9, 100, 9, 9, 9, 200, 9, 9, 9});
    TTestImage dst(4, 4, 4);
    IEAreaResample8(src.Rows(), nullptr, dst.Rows(), 4, rfBilinear, NoProgress, nullptr);
    EXPECT_EQ(dst.At(0, 0, 0), 100);
    EXPECT_EQ(dst.At(1, 1, 0), 200);
    for (int c = 1; c < 4; ++c)
        EXPECT_EQ(dst.Channel(c), std::vector<int>(16, 0));
}

TEST(ResampleAreaWalk, ProgressByTargetRow) {
    TTestImage src = TTestImage::Busy(8, 8, 3);
    TTestImage dst(4, 3, 3);
    std::vector<int> seen;
    IEAreaResample8(
        src.Rows(), nullptr, dst.Rows(), 3, rfBilinear, [&](void*, int per) { seen.push_back(per); },
        nullptr);
    EXPECT_EQ(seen, (std::vector<int>{33, 66, 100}));
}
