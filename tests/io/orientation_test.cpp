#include "io/orientation.h"

#include <gtest/gtest.h>

#include "tests/image/bitmaptestutil.h"

namespace {

// Pixel values 1 to 6 in each format: themselves in grey; in colour r = v, g = v + 1,
// b = v + 2 and alpha 10 v; in one bit set for 1, 2 and 4, a pattern that no turn or
// flip maps onto another.
bool Bit(int Value) {
    return Value == 1 || Value == 2 || Value == 4;
}

void Set(TIEBitmap& Bitmap, int32_t X, int32_t Y, uint8_t Value) {
    if (Bitmap.PixelFormat() == ie1g) return Bitmap.SetPixels_ie1g(X, Y, Bit(Value));
    if (Bitmap.PixelFormat() == ie8g) return Bitmap.SetPixels_ie8(X, Y, Value);
    Bitmap.SetPixels_ie24RGB(X, Y, TRGB{uint8_t(Value + 2), uint8_t(Value + 1), Value});
    Bitmap.SetAlpha(X, Y, uint8_t(Value * 10));
}

// The value back, or -1 when the channels of a colour pixel don't belong together.
int Get(TIEBitmap& Bitmap, int32_t X, int32_t Y) {
    if (Bitmap.PixelFormat() == ie1g) return Bitmap.GetPixels_ie1g(X, Y);
    if (Bitmap.PixelFormat() == ie8g) return Bitmap.GetPixels_ie8(X, Y);
    const TRGB c = Bitmap.GetPixels_ie24RGB(X, Y);
    return c.g == c.r + 1 && c.b == c.r + 2 && Bitmap.GetAlpha(X, Y) == c.r * 10 ? c.r : -1;
}

} // namespace

TEST(Orientation, EveryEXIFValueByHandInEveryFormatInMemoryAndInAFileAndWithRowsLost) {
    // Stored 3 x 2:  1 2 3   5 stores the picture transposed, 7 transposed through the
    //                4 5 6   other diagonal; the turned ones are 2 x 3; values outside 1
    //                        to 8 change nothing.
    const std::vector<int> expected[] = {
        {1, 2, 3, 4, 5, 6}, {1, 2, 3, 4, 5, 6}, {3, 2, 1, 6, 5, 4}, {6, 5, 4, 3, 2, 1}, {4, 5, 6, 1, 2, 3},
        {1, 4, 2, 5, 3, 6}, {4, 1, 5, 2, 6, 3}, {6, 3, 5, 2, 4, 1}, {3, 6, 2, 5, 1, 4}, {1, 2, 3, 4, 5, 6},
    };
    for (TIELocation location : {ieMemory, ieFile}) {
        TScopedGlobal<int64_t> store(DefMinFileSize, location == ieFile ? 0 : DefMinFileSize);
        for (TIEPixelFormat format : {ie8g, ie24RGB, ie1g})
            for (int orientation = 0; orientation <= 9; ++orientation) {
                TIEBitmap bitmap;
                bitmap.Allocate(3, 2, format);
                ASSERT_EQ(bitmap.Location(), location);
                for (int32_t i = 0; i < 6; ++i)
                    Set(bitmap, i % 3, i / 3, uint8_t(i + 1));
                EXPECT_TRUE(IEAdjustOrientation(bitmap, orientation));
                const int32_t width = orientation >= 5 && orientation <= 8 ? 2 : 3;
                ASSERT_EQ(bitmap.Width(), width);
                std::vector<int> pixels, wanted;
                for (int32_t i = 0; i < 6; ++i) {
                    pixels.push_back(Get(bitmap, i % width, i / width));
                    wanted.push_back(format == ie1g ? Bit(expected[orientation][i])
                                                    : expected[orientation][i]);
                }
                EXPECT_EQ(pixels, wanted)
                    << "format " << format << ", orientation " << orientation << ", store " << location;
                if (location == ieMemory) continue;
                // Rows that can't be had fail every step that moves pixels, and keep the size.
                TIEBitmap lost;
                lost.Allocate(3, 2, format);
                lost.MemMap().DeAllocate();
                EXPECT_EQ(IEAdjustOrientation(lost, orientation), orientation < 2 || orientation > 8)
                    << orientation;
                EXPECT_EQ(lost.Width(), 3) << format << " " << orientation;
            }
    }
}
