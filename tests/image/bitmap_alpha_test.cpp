#include <gtest/gtest.h>
#include <memory>

#include "image/bitmap.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/image/converttestutil.h"

TEST(BitmapAlpha, PlaneIsMadeOnDemandAsOpaqueGreyAndValidatedAway) {
    TIEBitmap bitmap(3, 2, ie8g, 0);
    EXPECT_EQ(bitmap.GetAlpha(1, 1), 255);
    EXPECT_EQ(bitmap.AlphaChannelOpt(), nullptr); // reading made none
    TIEBitmap* plane = bitmap.AlphaChannel();
    EXPECT_TRUE(plane->IsAlpha() && plane->Full());
    EXPECT_EQ(Text(bitmap), "ie8g 0 0 0 / 0 0 0 alpha 255 255 255 / 255 255 255");
    EXPECT_EQ(plane->AlphaChannel(), nullptr); // a plane has no plane of its own
    EXPECT_EQ(TIEBitmap::CreateAsAlphaChannel(2, 2, ieTBitmap)->Location(), ieMemory);
    // Validating frees an all-opaque plane only.
    EXPECT_TRUE(bitmap.HasAlphaChannel(false));
    EXPECT_FALSE(bitmap.HasAlphaChannel(true));
    EXPECT_EQ(bitmap.AlphaChannelOpt(), nullptr);
    bitmap.SetAlpha(2, 1, 254);
    EXPECT_TRUE(bitmap.HasAlphaChannel(true));
    // Full ignores the row padding.
    auto padded = TIEBitmap::CreateAsAlphaChannel(3, 2, ieMemory);
    for (int32_t y = 0; y < 2; ++y)
        static_cast<uint8_t*>(padded->GetScanline(y))[3] = 0;
    padded->SetFull(false);
    EXPECT_TRUE(padded->SyncFull() && padded->Full());
    padded->SetPixels_ie8(2, 1, 254);
    EXPECT_FALSE(padded->SyncFull() || padded->Full());
}

TEST(BitmapAlpha, RemoveWithMergeBlendsOnBackgroundByQuarterKiloWeights) {
    TIEBitmap bitmap(2, 1, ie24RGB, 0);
    bitmap.SetPixels_ie24RGB(0, 0, RGB(200, 100, 0));
    bitmap.SetAlpha(1, 0, 128);
    // bg + ((a << 10) * (c - bg) >> 18), the shift flooring, on r 255, g 0, b 40:
    // a 255: r 255 + floor(-54.79) = 200, g floor(99.61) = 99, b 40 + floor(-39.84) = 0;
    // a 128: r 255 + floor(-127.5) = 127, g 0, b 40 - 20 = 20.
    bitmap.RemoveAlphaChannel(true, 255 | (40 << 16));
    EXPECT_EQ(Text(bitmap), "ie24RGB rgb(200,99,0) rgb(127,0,20)");
    // Without merge, or on other formats, the plane is only dropped.
    for (TIEPixelFormat format : {ie24RGB, ie8g}) {
        for (bool merge : {false, format == ie8g}) {
            TIEBitmap other(1, 1, format, 10);
            other.SetAlpha(0, 0, 0);
            other.RemoveAlphaChannel(merge, clWhite);
            EXPECT_EQ(Text(other), format == ie8g ? "ie8g 10" : "ie24RGB rgb(10,0,0)") << merge;
        }
    }
}

TEST(BitmapAlpha, ReplaceDetachAndFillHandThePlaneOver) {
    TIEBitmap bitmap(2, 1, ie24RGB, 0);
    EXPECT_EQ(bitmap.DetachAlphaChannel(false), nullptr);
    bitmap.SetAlpha(1, 0, 60);
    TIEBitmap* plane = bitmap.AlphaChannelOpt();
    bitmap.SetModified(false);
    bitmap.ReplaceAlphaChannel(std::unique_ptr<TIEBitmap>(plane)); // the same plane: nothing happens
    EXPECT_EQ(bitmap.AlphaChannelOpt(), plane);
    EXPECT_FALSE(bitmap.Modified());
    auto other = std::make_unique<TIEBitmap>(2, 1, ie8g, 9);
    plane = other.get();
    bitmap.ReplaceAlphaChannel(std::move(other));
    EXPECT_TRUE(plane->IsAlpha() && bitmap.Modified());
    EXPECT_EQ(Text(bitmap), "ie24RGB 0 0 alpha 9 9");
    auto detached = bitmap.DetachAlphaChannel(false);
    EXPECT_FALSE(detached->IsAlpha());
    EXPECT_EQ(Text(*detached), "ie8g 9 9");
    EXPECT_EQ(bitmap.AlphaChannelOpt(), nullptr);
    EXPECT_EQ(Text(*bitmap.DetachAlphaChannel(true)), "ie8g 255 255");

    TIEBitmap transparent(2, 1, ie24RGB, IETransparentFill), half(2, 1, ie8g, 0, 100);
    EXPECT_EQ(Text(transparent), "ie24RGB 255 255 alpha 0 0");
    EXPECT_FALSE(transparent.AlphaChannelOpt()->Full());
    EXPECT_EQ(Text(half), "ie8g 0 0 alpha 100 100");
}

TEST(BitmapAlpha, FourthBytesMoveToThePlaneAndBack) {
    TIEBitmap bitmap(2, 1, ie32RGB, 0);
    bitmap.SetPixels_ie32RGB(0, 0, TRGBA{1, 2, 3, 10});
    bitmap.SetPixels_ie32RGB(1, 0, TRGBA{4, 5, 6, 255});
    bitmap.SynchronizeRGBA(true, true);
    EXPECT_EQ(Text(bitmap), "ie24RGB rgb(3,2,1) rgb(6,5,4) alpha 10 255");
    EXPECT_FALSE(bitmap.AlphaChannelOpt()->Full());
    bitmap.SetAlpha(1, 0, 20);
    bitmap.SynchronizeRGBA(false, true);
    EXPECT_EQ(RowText(bitmap), "rgba(3,2,1,10) rgba(6,5,4,20)");
    TIEBitmap opaque(2, 1, ie32RGB, 0);
    opaque.SynchronizeRGBA(true, false);
    EXPECT_EQ(Text(opaque), "ie32RGB rgba(0,0,0,255) rgba(0,0,0,255) alpha 255 255");
    // Without a plane, leaving ie32RGB drops the fourth bytes.
    TIEBitmap planeless(1, 1, ie32RGB, 0);
    planeless.SetPixels_ie32RGB(0, 0, TRGBA{7, 8, 9, 0});
    planeless.SetPixelFormat(ie24RGB);
    EXPECT_EQ(Text(planeless), "ie24RGB rgb(9,8,7)");
}

TEST(BitmapAlpha, PlaneSurvivesFormatChangesAndMovesIntoRGBAAndBack) {
    TIEBitmap bitmap(2, 1, ie24RGB, 0);
    bitmap.SetAlpha(1, 0, 42);
    for (TIEPixelFormat format : {ie32RGB, ie24RGB, ie8p, ie24RGB}) {
        bitmap.SetPixelFormat(format);
        EXPECT_EQ(bitmap.GetAlpha(1, 0), 42) << IEPixelFormatName(format);
    }
    bitmap.SetAlpha(0, 0, 50);
    bitmap.SetAlphaLocation(iaRGBA);
    EXPECT_EQ(bitmap.AlphaLocation(), iaRGBA);
    EXPECT_EQ(RowText(bitmap), "rgba(0,0,0,50) rgba(0,0,0,42)");
    bitmap.SetAlpha(1, 0, 77); // lands in the fourth byte now
    EXPECT_EQ(RowText(bitmap), "rgba(0,0,0,50) rgba(0,0,0,77)");
    bitmap.SetAlphaLocation(iaAlphaChannel);
    EXPECT_EQ(GreyPixels(*bitmap.AlphaChannelOpt()), Bytes({50, 77}));
    // Asking for the plane again must not copy the fourth bytes over it.
    bitmap.AlphaChannel()->SetPixels_ie8(0, 0, 5);
    EXPECT_EQ(bitmap.AlphaChannel()->GetPixels_ie8(0, 0), 5);
}

TEST(BitmapAlpha, ClearHiddenContentBlackensFullyTransparentPixels) {
    TIEBitmap rgb(2, 1, ie24RGB, 0x808080), bits(3, 1, ie1g, 1), none(1, 1, ie8g, 0);
    rgb.SetAlpha(0, 0, 0);
    rgb.SetAlpha(1, 0, 1);
    bits.SetAlpha(1, 0, 0);
    for (TIEBitmap* bitmap : {&rgb, &bits, &none})
        bitmap->SyncAlphaChannel(false, true);
    EXPECT_EQ(Text(rgb), "ie24RGB 0 128 alpha 0 1");
    EXPECT_EQ(RowText(bits), "1 0 1");
    EXPECT_EQ(none.AlphaChannelOpt(), nullptr);
    none.SyncAlphaChannel(false, false);
    EXPECT_NE(none.AlphaChannelOpt(), nullptr);
}
