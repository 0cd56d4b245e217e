#include "proc/resample_fastlinear.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/proc/resampletestutil.h"

namespace {
const TIEProgressEvent NoProgress;

// Runs one engine on a grey picture given by its levels and returns the result.
TTestImage Fast24(int32_t Width, int32_t Height, std::initializer_list<int> Greys, int32_t OutWidth,
                  int32_t OutHeight) {
    TTestImage source = TTestImage::Grey24(Width, Height, Greys);
    TTestImage result(OutWidth, OutHeight, 3);
    IEFastLinearResample24(source.Rows(), result.Rows(), NoProgress, nullptr);
    return result;
}

TTestImage Fast8(int32_t Width, int32_t Height, std::initializer_list<int> Greys, int32_t OutWidth,
                 int32_t OutHeight) {
    TTestImage source(Width, Height, 1, Greys);
    TTestImage result(OutWidth, OutHeight, 1);
    IEFastLinearResample8(source.Rows(), result.Rows(), NoProgress, nullptr);
    return result;
}
} // namespace

// 7 to 3 columns, xs = 3/7. The 24-bit tables truncate: columns 0-1, 2-3 and 4 (the
// last two source columns never count). The 8-bit tables round: 0-1, 2-4 and 5.
TEST(ResampleFastLinear, ShrinkTablesTruncateIn24BitsAndRoundIn8) {
    EXPECT_EQ(Fast24(7, 1, {10, 20, 30, 40, 50, 60, 70}, 3, 1).Channel(0), (std::vector<int>{15, 35, 50}));
    EXPECT_EQ(Fast8(7, 1, {10, 20, 30, 40, 50, 60, 70}, 3, 1).Channel(0), (std::vector<int>{15, 40, 60}));
}

// 2 to 5 columns, xs = 2.5, source positions 0, 0.4, 0.8, 1.2, 1.6. The 24-bit engine
// truncates them and shifts by dx = Round(0.75) = 1 column, so it lags: 0, 0, 40, 80,
// 100. The 8-bit engine has no shift but rounds its table, so 0.8 already takes
// column 1 (with the fraction -0.2, which the clamp to the last column hides):
// 0, 40, 100, 100, 100.
TEST(ResampleFastLinear, EnlargeShiftsOnlyIn24Bits) {
    EXPECT_EQ(Fast24(2, 1, {0, 100}, 5, 1).Channel(1), (std::vector<int>{0, 0, 40, 80, 100}));
    EXPECT_EQ(Fast8(2, 1, {0, 100}, 5, 1).Channel(0), (std::vector<int>{0, 40, 100, 100, 100}));
}

// 1x2 to 1x5 over rows [100, 0]. In 24 bits row 0 sits at t = (0 - 1) / 2.5 = -0.4
// and extrapolates to 100 + (0 - 100) * -0.4 = 140; the rest follows 100, 60, 20, 0.
// The 8-bit engine starts at the first row: 100, 60, 20, 0, 0.
TEST(ResampleFastLinear, VerticalEnlargement) {
    EXPECT_EQ(Fast24(1, 2, {100, 0}, 1, 5).Channel(0), (std::vector<int>{140, 100, 60, 20, 0}));
    EXPECT_EQ(Fast8(1, 2, {100, 0}, 1, 5).Channel(0), (std::vector<int>{100, 60, 20, 0, 0}));
}

// Rows 0..3 of [10, 23, 30, 41] to 2 rows: the first mean takes rows 0-1 (16), the
// second only row 2, the 24-bit table being Trunc(1 / 0.5) - 1 = 1, raised to a = 2.
TEST(ResampleFastLinear, VerticalShrinkMeans) {
    EXPECT_EQ(Fast24(1, 4, {10, 23, 30, 41}, 1, 2).Channel(0), (std::vector<int>{16, 30}));
}

TEST(ResampleFastLinear, WordsLikeBytes) {
    TTestImage words(2, 1, 2);
    words.SetWord(0, 0, 0);
    words.SetWord(1, 0, 60000);
    TTestImage out(5, 1, 2);
    IEFastLinearResample16(words.Rows(), out.Rows(), NoProgress, nullptr);
    // As the 8-bit engine: 0.4 of the way, then column 1 from 0.8 on.
    EXPECT_EQ(out.Word(0, 0), 0);
    EXPECT_EQ(out.Word(1, 0), 24000);
    EXPECT_EQ(out.Word(2, 0), 60000);
}

// per = 100 / (2 + 4 + 0.5): Trunc(per * y) over the two source rows (0 is not
// reported), then Trunc(per * (y + 2)) over the four target rows.
TEST(ResampleFastLinear, ProgressFigures) {
    TTestImage src = TTestImage::Busy(3, 2, 3);
    TTestImage dst(5, 4, 3);
    std::vector<int> seen;
    IEFastLinearResample24(
        src.Rows(), dst.Rows(), [&](void*, int per) { seen.push_back(per); }, nullptr);
    EXPECT_EQ(seen, (std::vector<int>{15, 30, 46, 61, 76}));
}
