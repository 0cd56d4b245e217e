#include <gtest/gtest.h>
#include <memory>

#include "image/bitmap.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/image/converttestutil.h"

namespace {

TEST(BitmapAlpha, PlaneIsMadeOnDemandAsOpaqueGrey) {
    TIEBitmap bitmap(3, 2, ie24RGB, 0);
    EXPECT_EQ(bitmap.AlphaChannelOpt(), nullptr);
    EXPECT_EQ(bitmap.GetAlpha(1, 1), 255);
    EXPECT_EQ(bitmap.AlphaChannelOpt(), nullptr);
    TIEBitmap* plane = bitmap.AlphaChannel();
    ASSERT_NE(plane, nullptr);
    EXPECT_TRUE(plane->IsAlpha());
    EXPECT_EQ(plane->PixelFormat(), ie8g);
    EXPECT_EQ(plane->Width(), 3);
    EXPECT_TRUE(plane->Full());
    EXPECT_EQ(GreyPixels(*plane), Bytes({255, 255, 255, 255, 255, 255}));
    // A plane has no plane of its own.
    EXPECT_EQ(plane->AlphaChannel(), nullptr);

    auto forTBitmap = TIEBitmap::CreateAsAlphaChannel(2, 2, ieTBitmap);
    EXPECT_EQ(forTBitmap->Location(), ieMemory);
    EXPECT_TRUE(forTBitmap->IsAlpha());
}

TEST(BitmapAlpha, ValidateFreesAnAllOpaquePlaneOnly) {
    TIEBitmap bitmap(3, 2, ie24RGB, 0);
    bitmap.AlphaChannel();
    EXPECT_TRUE(bitmap.HasAlphaChannel(false));
    EXPECT_NE(bitmap.AlphaChannelOpt(), nullptr);
    EXPECT_FALSE(bitmap.HasAlphaChannel(true));
    EXPECT_EQ(bitmap.AlphaChannelOpt(), nullptr);

    bitmap.SetAlpha(2, 1, 254);
    EXPECT_TRUE(bitmap.HasAlphaChannel(true));
    EXPECT_EQ(bitmap.GetAlpha(2, 1), 254);
}

TEST(BitmapAlpha, SyncFullIgnoresRowPadding) {
    auto plane = TIEBitmap::CreateAsAlphaChannel(3, 2, ieMemory);
    ASSERT_EQ(plane->RowLen(), 4);
    for (int32_t y = 0; y < 2; ++y)
        static_cast<uint8_t*>(plane->GetScanline(y))[3] = 0;
    plane->SetFull(false);
    EXPECT_TRUE(plane->SyncFull());
    EXPECT_TRUE(plane->Full());
    plane->SetPixels_ie8(2, 1, 254);
    EXPECT_FALSE(plane->SyncFull());
    EXPECT_FALSE(plane->Full());
}

TEST(BitmapAlpha, RemoveWithMergeBlendsOnBackgroundByQuarterKiloWeights) {
    TIEBitmap bitmap(2, 1, ie24RGB, 0);
    bitmap.SetPixels_ie24RGB(0, 0, TRGB{0, 100, 200}); // b, g, r
    bitmap.SetPixels_ie24RGB(1, 0, TRGB{0, 0, 0});
    bitmap.SetAlpha(0, 0, 255);
    bitmap.SetAlpha(1, 0, 128);
    const TColor background = 255 | (0 << 8) | (40 << 16); // r 255, g 0, b 40
    bitmap.RemoveAlphaChannel(true, background);
    EXPECT_EQ(bitmap.AlphaChannelOpt(), nullptr);
    // bg + ((a << 10) * (c - bg) >> 18), the shift flooring:
    // a 255: r 255 + floor(-54.79) = 200, g 0 + floor(99.61) = 99, b 40 + floor(-39.84) = 0
    // a 128: r 255 + floor(-127.5) = 127, g 0, b 40 + (-20) = 20
    EXPECT_EQ(RowText(bitmap), "rgb(200,99,0) rgb(127,0,20)");
}

TEST(BitmapAlpha, RemoveWithoutMergeOrOnOtherFormatsOnlyDropsThePlane) {
    TIEBitmap rgb(1, 1, ie24RGB, 0x00204060);
    rgb.SetAlpha(0, 0, 0);
    rgb.RemoveAlphaChannel(false, clWhite);
    EXPECT_EQ(rgb.AlphaChannelOpt(), nullptr);
    EXPECT_EQ(rgb.GetPixels_ie24RGB(0, 0).r, 0x60);

    TIEBitmap grey(1, 1, ie8g, 10);
    grey.SetAlpha(0, 0, 0);
    grey.RemoveAlphaChannel(true, clWhite);
    EXPECT_EQ(grey.AlphaChannelOpt(), nullptr);
    EXPECT_EQ(grey.GetPixels_ie8(0, 0), 10);
}

TEST(BitmapAlpha, ReplacingWithTheSamePlaneDoesNothing) {
    TIEBitmap bitmap(2, 1, ie24RGB, 0);
    bitmap.SetAlpha(1, 0, 60);
    TIEBitmap* plane = bitmap.AlphaChannelOpt();
    bitmap.SetModified(false);
    bitmap.ReplaceAlphaChannel(std::unique_ptr<TIEBitmap>(plane));
    EXPECT_EQ(bitmap.AlphaChannelOpt(), plane);
    EXPECT_FALSE(bitmap.Modified());
    EXPECT_EQ(bitmap.GetAlpha(1, 0), 60);

    auto other = std::make_unique<TIEBitmap>(2, 1, ie8g, 9);
    TIEBitmap* otherPlane = other.get();
    bitmap.ReplaceAlphaChannel(std::move(other));
    EXPECT_EQ(bitmap.AlphaChannelOpt(), otherPlane);
    EXPECT_TRUE(otherPlane->IsAlpha());
    EXPECT_TRUE(bitmap.Modified());
    EXPECT_EQ(bitmap.GetAlpha(0, 0), 9);
}

TEST(BitmapAlpha, DetachHandsThePlaneOver) {
    TIEBitmap bitmap(2, 1, ie24RGB, 0);
    EXPECT_EQ(bitmap.DetachAlphaChannel(false), nullptr);
    bitmap.SetAlpha(0, 0, 3);
    auto plane = bitmap.DetachAlphaChannel(false);
    ASSERT_NE(plane, nullptr);
    EXPECT_EQ(bitmap.AlphaChannelOpt(), nullptr);
    EXPECT_FALSE(plane->IsAlpha());
    EXPECT_EQ(plane->GetPixels_ie8(0, 0), 3);
    auto created = bitmap.DetachAlphaChannel(true);
    ASSERT_NE(created, nullptr);
    EXPECT_EQ(GreyPixels(*created), Bytes({255, 255}));
}

TEST(BitmapAlpha, TransparentFillAndAlphaArgumentFillThePlane) {
    TIEBitmap transparent(2, 1, ie24RGB, IETransparentFill);
    ASSERT_NE(transparent.AlphaChannelOpt(), nullptr);
    EXPECT_EQ(GreyPixels(*transparent.AlphaChannelOpt()), Bytes({0, 0}));
    EXPECT_FALSE(transparent.AlphaChannelOpt()->Full());
    EXPECT_EQ(RowText(transparent), "rgb(255,255,255) rgb(255,255,255)");

    TIEBitmap half(2, 1, ie8g, 0, 100);
    ASSERT_NE(half.AlphaChannelOpt(), nullptr);
    EXPECT_EQ(GreyPixels(*half.AlphaChannelOpt()), Bytes({100, 100}));
}

TEST(BitmapAlpha, FourthBytesMoveToThePlaneAndBack) {
    TIEBitmap bitmap(2, 1, ie32RGB, 0);
    bitmap.SetPixels_ie32RGB(0, 0, TRGBA{1, 2, 3, 10});
    bitmap.SetPixels_ie32RGB(1, 0, TRGBA{4, 5, 6, 255});
    bitmap.SynchronizeRGBA(true, true);
    EXPECT_EQ(bitmap.PixelFormat(), ie24RGB);
    ASSERT_NE(bitmap.AlphaChannelOpt(), nullptr);
    EXPECT_EQ(GreyPixels(*bitmap.AlphaChannelOpt()), Bytes({10, 255}));
    EXPECT_FALSE(bitmap.AlphaChannelOpt()->Full());
    EXPECT_EQ(bitmap.GetPixels_ie24RGB(1, 0).r, 6);

    bitmap.SetAlpha(1, 0, 20);
    bitmap.SynchronizeRGBA(false, true);
    EXPECT_EQ(bitmap.PixelFormat(), ie32RGB);
    EXPECT_EQ(bitmap.GetPixels_ie32RGB(0, 0).a, 10);
    EXPECT_EQ(bitmap.GetPixels_ie32RGB(1, 0).a, 20);
    EXPECT_EQ(bitmap.GetPixels_ie32RGB(0, 0).r, 3);

    TIEBitmap opaque(2, 1, ie32RGB, 0);
    opaque.SynchronizeRGBA(true, false);
    EXPECT_EQ(opaque.PixelFormat(), ie32RGB);
    EXPECT_TRUE(opaque.AlphaChannelOpt()->Full());
}

TEST(BitmapAlpha, LeavingRGBAFormatDropsFourthByteWithoutPlane) {
    TIEBitmap bitmap(1, 1, ie32RGB, 0);
    bitmap.SetPixels_ie32RGB(0, 0, TRGBA{7, 8, 9, 0});
    bitmap.SetPixelFormat(ie24RGB);
    EXPECT_EQ(bitmap.AlphaChannelOpt(), nullptr);
    EXPECT_EQ(RowText(bitmap), "rgb(9,8,7)");
}

TEST(BitmapAlpha, PlaneSurvivesFormatChange) {
    TIEBitmap bitmap(2, 1, ie24RGB, 0);
    bitmap.SetAlpha(1, 0, 42);
    bitmap.SetPixelFormat(ie32RGB);
    EXPECT_EQ(bitmap.GetAlpha(1, 0), 42);
    bitmap.SetPixelFormat(ie24RGB);
    EXPECT_EQ(bitmap.GetAlpha(1, 0), 42);
    bitmap.SetPixelFormat(ie8p);
    EXPECT_EQ(bitmap.PixelFormat(), ie8p);
    EXPECT_EQ(bitmap.GetAlpha(1, 0), 42);
    bitmap.SetPixelFormat(ie24RGB);
    EXPECT_EQ(bitmap.GetAlpha(1, 0), 42);
}

TEST(BitmapAlpha, AlphaLocationMovesAlphaIntoRGBAAndBack) {
    TIEBitmap bitmap(2, 1, ie24RGB, 0);
    bitmap.SetAlpha(0, 0, 50);
    bitmap.SetAlphaLocation(iaRGBA);
    EXPECT_EQ(bitmap.AlphaLocation(), iaRGBA);
    EXPECT_EQ(bitmap.PixelFormat(), ie32RGB);
    EXPECT_EQ(bitmap.GetPixels_ie32RGB(0, 0).a, 50);
    EXPECT_EQ(bitmap.GetAlpha(0, 0), 50);

    bitmap.SetAlpha(1, 0, 77); // lands in the fourth byte now
    EXPECT_EQ(bitmap.GetPixels_ie32RGB(1, 0).a, 77);
    bitmap.SetAlphaLocation(iaAlphaChannel);
    EXPECT_EQ(bitmap.AlphaLocation(), iaAlphaChannel);
    EXPECT_EQ(GreyPixels(*bitmap.AlphaChannelOpt()), Bytes({50, 77}));
    // Asking for the plane again must not copy the fourth bytes over it.
    bitmap.AlphaChannel()->SetPixels_ie8(0, 0, 5);
    EXPECT_EQ(bitmap.AlphaChannel()->GetPixels_ie8(0, 0), 5);
}

TEST(BitmapAlpha, ClearHiddenContentBlackensFullyTransparentPixels) {
    TIEBitmap bitmap(2, 1, ie24RGB, 0x00808080);
    bitmap.SetAlpha(0, 0, 0);
    bitmap.SetAlpha(1, 0, 1);
    bitmap.SyncAlphaChannel(false, true);
    EXPECT_EQ(RowText(bitmap), "rgb(0,0,0) rgb(128,128,128)");

    TIEBitmap bits(3, 1, ie1g, 1);
    bits.SetAlpha(1, 0, 0);
    bits.SyncAlphaChannel(false, true);
    EXPECT_EQ(RowText(bits), "1 0 1");

    TIEBitmap none(1, 1, ie8g, 0);
    none.SyncAlphaChannel(false, true);
    EXPECT_EQ(none.AlphaChannelOpt(), nullptr);
    none.SyncAlphaChannel(false, false);
    EXPECT_NE(none.AlphaChannelOpt(), nullptr);
}

} // namespace
