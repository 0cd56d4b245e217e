#include "proc/resample_onebit.h"

#include <gtest/gtest.h>

#include <vector>

#include "proc/resample_nearest.h"
#include "tests/proc/resampletestutil.h"

// 4x4 bits to 2x2, sx = sy = 2. Columns 0-1 and 1-3 (the upper bound adds sx / 2),
// rows 0-1 and 1-3; bits count 255: 765/4 = 191, 255/6 = 42, 255/6 = 42, 765/9 = 85.
TEST(ResampleOneBit, ShrinkBothWaysAveragesBlocks) {
    TTestImage src = Bits({"1100", "1000", "0001", "0011"});
    TTestImage dst(2, 2, 3);
    IEOneBitLinearResample(BitRows(src, 4, 4), dst.Rows());
    EXPECT_EQ(dst.Channel(0), (std::vector<int>{191, 42, 42, 85}));
    EXPECT_EQ(dst.Channel(2), (std::vector<int>{191, 42, 42, 85}));
}

// Bits [1, 0] to 4 wide: at x = 1 the fraction is 65536 and (0 - 255) * 65536 >> 17
// is -127.5 rounded down, so 255 - 128 = 127; rising, 255 * 65536 >> 17 = 127.
TEST(ResampleOneBit, EnlargeInterpolatesInFixedPoint) {
    TTestImage falling = Bits({"10"});
    TTestImage dst(4, 1, 3);
    IEOneBitLinearResample(BitRows(falling, 2, 1), dst.Rows());
    EXPECT_EQ(dst.Channel(1), (std::vector<int>{255, 127, 0, 0}));
    TTestImage rising = Bits({"01"});
    IEOneBitLinearResample(BitRows(rising, 2, 1), dst.Rows());
    EXPECT_EQ(dst.Channel(1), (std::vector<int>{0, 127, 255, 255}));
    // Rows interpolate the same way, the last row standing in for its successor.
    TTestImage column = Bits({"1", "0"});
    TTestImage tall(1, 4, 3);
    IEOneBitLinearResample(BitRows(column, 1, 2), tall.Rows());
    EXPECT_EQ(tall.Channel(0), (std::vector<int>{255, 127, 0, 0}));
}

// 4x1 to 2x1, step 2: target 0 looks at column 0 only, target 1 at columns 0-2.
// Grey 128 is neither below nor above 128.
TEST(ResampleProjection, BlackWinsAndWhiteWins) {
    TTestImage src = TTestImage::Grey24(4, 1, {255, 255, 0, 255});
    TTestImage dst(1, 1, 1);
    IEProjectResample(src.Rows(), false, TIERowImage(2, 1, dst.Row(0), 4), rfProjectBW);
    EXPECT_EQ(dst.At(0, 0) & 0xC0, 0x80);

    TTestImage dark = TTestImage::Grey24(4, 1, {0, 0, 255, 0});
    IEProjectResample(dark.Rows(), false, TIERowImage(2, 1, dst.Row(0), 4), rfProjectWB);
    EXPECT_EQ(dst.At(0, 0) & 0xC0, 0x40);

    TTestImage middle = TTestImage::Grey24(4, 1, {128, 128, 128, 128});
    IEProjectResample(middle.Rows(), false, TIERowImage(2, 1, dst.Row(0), 4), rfProjectBW);
    EXPECT_EQ(dst.At(0, 0) & 0xC0, 0xC0);
    IEProjectResample(middle.Rows(), false, TIERowImage(2, 1, dst.Row(0), 4), rfProjectWB);
    EXPECT_EQ(dst.At(0, 0) & 0xC0, 0x00);

    // On bits: column 3 is outside every block, so its black bit is lost.
    TTestImage bits = Bits({"1110"});
    IEProjectResample(BitRows(bits, 4, 1), true, TIERowImage(2, 1, dst.Row(0), 4), rfProjectBW);
    EXPECT_EQ(dst.At(0, 0) & 0xC0, 0xC0);
}

// Columns min(w - 1, Trunc(3 / 5 * x)): 0, 0, 1, 1, 2; rows likewise.
TEST(ResampleNearest, CopiesWholePixelsInTheSourceFormat) {
    TTestImage src(3, 2, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 14, 15, 16, 17, 18, 19});
    TTestImage dst(5, 3, 3);
    std::vector<int> seen;
    IENearestResample(
        src.Rows(), dst.Rows(), 24, [&](void*, int per) { seen.push_back(per); }, nullptr);
    EXPECT_EQ(dst.Channel(0), (std::vector<int>{1, 1, 4, 4, 7, 1, 1, 4, 4, 7, 11, 11, 14, 14, 17}));
    EXPECT_EQ(dst.Channel(2), (std::vector<int>{3, 3, 6, 6, 9, 3, 3, 6, 6, 9, 13, 13, 16, 16, 19}));
    EXPECT_EQ(seen, (std::vector<int>{28, 57}));

    TTestImage bits = Bits({"101"});
    TTestImage bitsOut(1, 1, 1);
    IENearestResample(BitRows(bits, 3, 1), TIERowImage(5, 1, bitsOut.Row(0), 4), 1, TIEProgressEvent(),
                      nullptr);
    EXPECT_EQ(bitsOut.At(0, 0) & 0xF8, 0xC8); // 1 1 0 0 1
}
