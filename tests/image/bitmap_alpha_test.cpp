#include <gtest/gtest.h>
#include <memory>

#include "image/bitmap.h"
#include "tests/image/converttestutil.h"

TEST(BitmapAlpha, PlaneIsMadeOnDemandAsOpaqueGreyAndValidatedAway) {
    TIEBitmap bitmap(3, 1, ie8g, 0);
    EXPECT_EQ(bitmap.GetAlpha(1, 0), 255);
    EXPECT_EQ(bitmap.AlphaChannelOpt(), nullptr); // reading made none
    TIEBitmap* plane = bitmap.AlphaChannel();
    EXPECT_TRUE(plane->IsAlpha() && plane->Full() && !plane->AlphaChannel()); // a plane has no plane
    EXPECT_EQ(Text(bitmap), "ie8g 0 0 0 alpha 255 255 255");
    EXPECT_EQ(TIEBitmap::CreateAsAlphaChannel(2, 2, ieTBitmap)->Location(), ieMemory);
    // Validating frees an all-opaque plane only.
    EXPECT_TRUE(bitmap.HasAlphaChannel(false));
    EXPECT_FALSE(bitmap.HasAlphaChannel(true) || bitmap.AlphaChannelOpt());
    bitmap.SetAlpha(2, 0, 254);
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

TEST(BitmapAlpha, PlaneIsMergedMovedAndCleared) {
    // clang-format off
    ExpectSteps({
        // bg + ((a << 10) * (c - bg) >> 18), the shift flooring, on r 255, g 0, b 40:
        // a 255: r 255 + floor(-54.79) = 200, g floor(99.61) = 99, b 40 + floor(-39.84) = 0;
        // a 128: r 255 + floor(-127.5) = 127, g 0, b 40 - 20 = 20.
        {"ie24RGB rgb(200,100,0) 0 alpha 255 128", [](auto& b) { b.RemoveAlphaChannel(true, 255 | (40 << 16)); },
         "ie24RGB rgb(200,99,0) rgb(127,0,20)"},
        // Without merge, or on other formats, the plane is only dropped.
        {"ie24RGB rgb(10,0,0) alpha 0", [](auto& b) { b.RemoveAlphaChannel(false, clWhite); }, "ie24RGB rgb(10,0,0)"},
        {"ie8g 10 alpha 0", [](auto& b) { b.RemoveAlphaChannel(true, clWhite); }, "ie8g 10"},
        // The fourth bytes move to the plane and back.
        {"ie32RGB rgba(3,2,1,10) rgba(6,5,4,255)",
         [](auto& b) { b.SynchronizeRGBA(true, true); EXPECT_FALSE(b.AlphaChannelOpt()->Full()); },
         "ie24RGB rgb(3,2,1) rgb(6,5,4) alpha 10 255"},
        {"ie24RGB rgb(3,2,1) rgb(6,5,4) alpha 10 20", [](auto& b) { b.SynchronizeRGBA(false, true); },
         "ie32RGB rgba(3,2,1,10) rgba(6,5,4,20) alpha 10 20"},
        {"ie32RGB rgba(0,0,0,255)", [](auto& b) { b.SynchronizeRGBA(true, false); },
         "ie32RGB rgba(0,0,0,255) alpha 255"},
        // Clearing hidden content blackens fully transparent pixels.
        {"ie24RGB 128 128 alpha 0 1", [](auto& b) { b.SyncAlphaChannel(false, true); }, "ie24RGB 0 128 alpha 0 1"},
        {"ie1g 1 1 1 alpha 255 0 255", [](auto& b) { b.SyncAlphaChannel(false, true); }, "ie1g 1 0 1 alpha 255 0 255"},
    });
    // clang-format on
}

TEST(BitmapAlpha, AlphaLocationMovesTheAlphaIntoRGBAAndBack) {
    TIEBitmap bitmap;
    Draw(bitmap, "ie24RGB 0 0 alpha 50 42");
    bitmap.SetAlphaLocation(iaRGBA);
    EXPECT_EQ(bitmap.AlphaLocation(), iaRGBA);
    EXPECT_EQ(RowText(bitmap), "rgba(0,0,0,50) rgba(0,0,0,42)");
    bitmap.SetAlpha(1, 0, 77); // lands in the fourth byte now
    EXPECT_EQ(RowText(bitmap), "rgba(0,0,0,50) rgba(0,0,0,77)");
    bitmap.SetAlphaLocation(iaAlphaChannel);
    EXPECT_EQ(Text(*bitmap.AlphaChannelOpt()), "50 77");
    // Asking for the plane again must not copy the fourth bytes over it.
    bitmap.AlphaChannel()->SetPixels_ie8(0, 0, 5);
    EXPECT_EQ(bitmap.AlphaChannel()->GetPixels_ie8(0, 0), 5);
}

TEST(BitmapAlpha, ReplaceDetachAndFillHandThePlaneOver) {
    TIEBitmap bitmap;
    EXPECT_EQ(Draw(bitmap, "ie24RGB 0 0").DetachAlphaChannel(false), nullptr);
    bitmap.SetAlpha(1, 0, 60);
    TIEBitmap* plane = bitmap.AlphaChannelOpt();
    bitmap.ReplaceAlphaChannel(std::unique_ptr<TIEBitmap>(plane)); // the same plane: nothing happens
    EXPECT_EQ(bitmap.AlphaChannelOpt(), plane);
    auto other = std::make_unique<TIEBitmap>(2, 1, ie8g, 9);
    plane = other.get();
    bitmap.ReplaceAlphaChannel(std::move(other));
    EXPECT_TRUE(plane->IsAlpha());
    EXPECT_EQ(Text(bitmap), "ie24RGB 0 0 alpha 9 9");
    auto detached = bitmap.DetachAlphaChannel(false);
    EXPECT_FALSE(detached->IsAlpha());
    EXPECT_EQ(Text(*detached) + " / " + Text(bitmap), "ie8g 9 9 / ie24RGB 0 0");
    EXPECT_EQ(Text(*bitmap.DetachAlphaChannel(true)), "ie8g 255 255");
    TIEBitmap transparent(2, 1, ie24RGB, IETransparentFill), half(2, 1, ie8g, 0, 100);
    EXPECT_EQ(Text(transparent) + " / " + Text(half), "ie24RGB 255 255 alpha 0 0 / ie8g 0 0 alpha 100 100");
    EXPECT_FALSE(transparent.AlphaChannelOpt()->Full());
}
