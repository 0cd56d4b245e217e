#include "io/orientation.h"

#include <gtest/gtest.h>

#include "tests/image/bitmaptestutil.h"

namespace {

// 3 x 2:  1 2 3
//         4 5 6
void Sample(TIEBitmap& Bitmap) {
    FillGrey(Bitmap, 3, 2, {1, 2, 3, 4, 5, 6});
}

std::vector<uint8_t> Oriented(int Orientation) {
    TIEBitmap bitmap;
    Sample(bitmap);
    IEAdjustOrientation(bitmap, Orientation);
    return GreyPixels(bitmap);
}

} // namespace

TEST(Orientation, EveryEXIFValueByHand) {
    // 5 stores the picture transposed, 7 transposed through the other diagonal; the
    // turned ones are 2 x 3; values outside 1 to 8 change nothing.
    const std::vector<uint8_t> expected[] = {
        {1, 2, 3, 4, 5, 6}, {1, 2, 3, 4, 5, 6}, {3, 2, 1, 6, 5, 4}, {6, 5, 4, 3, 2, 1}, {4, 5, 6, 1, 2, 3},
        {1, 4, 2, 5, 3, 6}, {4, 1, 5, 2, 6, 3}, {6, 3, 5, 2, 4, 1}, {3, 6, 2, 5, 1, 4}, {1, 2, 3, 4, 5, 6},
    };
    for (int orientation = 0; orientation <= 9; ++orientation)
        EXPECT_EQ(Oriented(orientation), expected[orientation]) << orientation;
}

TEST(Orientation, ColourAndAlphaTurnTogether) {
    TIEBitmap bitmap;
    bitmap.Allocate(2, 1, ie24RGB);
    bitmap.SetPixels_ie24RGB(0, 0, TRGB{1, 2, 3});
    bitmap.SetPixels_ie24RGB(1, 0, TRGB{4, 5, 6});
    bitmap.AlphaChannel()->SetPixels_ie8(1, 0, 7);
    ASSERT_TRUE(IERotate90(bitmap, false));
    ASSERT_EQ(bitmap.Width(), 1);
    ASSERT_EQ(bitmap.Height(), 2);
    EXPECT_EQ(bitmap.GetPixels_ie24RGB(0, 1).r, 6);
    EXPECT_EQ(bitmap.GetPixels_ie24RGB(0, 0).b, 1);
    ASSERT_TRUE(bitmap.HasAlphaChannel());
    EXPECT_EQ(bitmap.GetAlpha(0, 1), 7);
    EXPECT_EQ(bitmap.GetAlpha(0, 0), 255);
    IEFlipVertical(bitmap);
    EXPECT_EQ(bitmap.GetAlpha(0, 0), 7);
    EXPECT_EQ(bitmap.GetPixels_ie24RGB(0, 0).g, 5);
}

TEST(Orientation, OneBitPictures) {
    TIEBitmap bitmap;
    bitmap.Allocate(10, 1, ie1g);
    bitmap.Fill(0);
    bitmap.SetPixels_ie1g(0, 0, true);
    IEFlipHorizontal(bitmap);
    EXPECT_TRUE(bitmap.GetPixels_ie1g(9, 0));
    EXPECT_FALSE(bitmap.GetPixels_ie1g(0, 0));
    IERotate90(bitmap, true);
    ASSERT_EQ(bitmap.Height(), 10);
    EXPECT_TRUE(bitmap.GetPixels_ie1g(0, 0));
}

TEST(Orientation, FileBackedPicturesTurnTheSame) {
    TScopedGlobal<int64_t> threshold(DefMinFileSize, 0);
    TIEBitmap bitmap;
    Sample(bitmap);
    ASSERT_EQ(bitmap.Location(), ieFile);
    IEAdjustOrientation(bitmap, 6);
    EXPECT_EQ(GreyPixels(bitmap), Bytes({4, 1, 5, 2, 6, 3}));
}

TEST(Orientation, RowsThatCannotBeHadFailTheStepAndKeepTheSize) {
    TScopedGlobal<int64_t> fileBacked(DefMinFileSize, 0);
    for (TIEPixelFormat format : {ie8g, ie1g})
        for (int orientation = 1; orientation <= 8; ++orientation) {
            TIEBitmap bitmap;
            bitmap.Allocate(3, 2, format);
            ASSERT_EQ(bitmap.Location(), ieFile);
            bitmap.MemMap().DeAllocate();
            EXPECT_EQ(IEAdjustOrientation(bitmap, orientation), orientation == 1)
                << format << " " << orientation;
            EXPECT_EQ(bitmap.Width(), 3) << format << " " << orientation;
        }
}
