#include "image/workbitmap.h"

#include <gtest/gtest.h>

#include "image/platformbitmap.h"

namespace {

TEST(WorkBitmap, CellsAreAddressedByColumnAndRowInPaddedRows) {
    TIEWorkBitmap rgb(3, 2, 24);
    ASSERT_FALSE(rgb.IsEmpty());
    EXPECT_EQ(rgb.RowLen(), 12);
    auto* base = rgb.GetScanline(0);
    EXPECT_EQ(reinterpret_cast<uint8_t*>(rgb.GetPRGB(2, 1)), base + 12 + 6);
    EXPECT_EQ(rgb.GetPByte(5, 1), base + 17);

    TIEWorkBitmap doubles(3, 2, 64);
    EXPECT_EQ(doubles.RowLen(), 24);
    *doubles.GetPDouble(2, 1) = 1.5;
    EXPECT_EQ(*reinterpret_cast<double*>(doubles.GetScanline(1) + 16), 1.5);

    TIEWorkBitmap singles(5, 1, 32);
    *singles.GetPSingle(4, 0) = 2.0f;
    EXPECT_EQ(*reinterpret_cast<float*>(singles.GetPInteger(4, 0)), 2.0f);
}

TEST(WorkBitmap, BitsAreMostSignificantFirstAndBadDepthsLeaveItEmpty) {
    TIEWorkBitmap bits(10, 1, 1);
    bits.SetBit(0, 0, true);
    bits.SetBit(9, 0, true);
    EXPECT_EQ(bits.GetScanline(0)[0], 0x80);
    EXPECT_EQ(bits.GetScanline(0)[1], 0x40);
    bits.SetBit(0, 0, false);
    EXPECT_FALSE(bits.GetBit(0, 0));
    EXPECT_TRUE(bits.GetBit(9, 0));

    TIEWorkBitmap odd(3, 3, 12), none(0, 5, 8);
    EXPECT_TRUE(odd.IsEmpty());
    EXPECT_TRUE(none.IsEmpty());
}

TEST(PlatformBitmap, RowsAreBottomUpAndResizingKeepsTheTopLeft) {
    TBitmap bitmap;
    bitmap.SetPixelDepth(8);
    bitmap.SetSize(3, 2);
    EXPECT_EQ(bitmap.RowLen(), 4);
    EXPECT_EQ(bitmap.ScanLine(0), bitmap.ScanLine(1) + 4);
    bitmap.ScanLine(0)[1] = 7;
    bitmap.SetSize(5, 3);
    EXPECT_EQ(bitmap.ScanLine(0)[1], 7);
    EXPECT_EQ(bitmap.PaletteEntry(200).g, 200);
    EXPECT_THROW(bitmap.SetPixelDepth(16), EIEException);
}

} // namespace
