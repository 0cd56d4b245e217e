#include "proc/shadow.h"

#include <gtest/gtest.h>

#include <vector>

#include "image/bitmap.h"
#include "proc/imagerproc.h"
#include "proc/sharpen.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/image/converttestutil.h"

// Radius 0: no blur, so a 4x1 picture shows the rule pixel by pixel. The plane moves
// one to the right; under it the shadow alpha sh = 255 (255 / 2 = 127.5, cut, at
// intensity 50) and a pixel of alpha a is blended over it by a / 255.
TEST(SoftShadow, HardShadowMovedByTheOffset) {
    // clang-format off
    const std::tuple<const char*, TColor, int32_t, int32_t, const char*> cases[] = {
        {"255 0 0 0", 0x0000FF, 100, 128, "ie24RGB 200 rgb(255,0,0) 200 200 alpha 255 255 0 0"},
        {"255 0 0 0", clBlack, 50, 128, "ie24RGB 200 0 200 200 alpha 255 127 0 0"},
        // Alpha 103 over the black shadow: Trunc(200 * 103 / 255) = Trunc(80.78), then opaque.
        {"255 103 0 0", clBlack, 100, 0, "ie24RGB 200 80 0 200 alpha 255 255 103 0"},
        // Under the threshold the faint pixel counts as background and takes the shadow,
        // while the plane that casts the shadow keeps its 103.
        {"255 103 0 0", clBlack, 100, 128, "ie24RGB 200 0 0 200 alpha 255 255 103 0"},
    };
    // clang-format on
    for (const auto& [alpha, colour, intensity, threshold, expected] : cases) {
        TIEBitmap image;
        IEAddSoftShadow(Draw(image, std::string("ie24RGB 200 200 200 200 alpha ") + alpha), 0.0, 1, 0, false,
                        colour, intensity, threshold);
        EXPECT_EQ(Text(image), expected) << intensity << " " << threshold;
        EXPECT_FALSE(image.AlphaChannelOpt()->Full());
    }
    // Bits are not blended: pixel 1 (alpha 100) stays, pixel 2 falls in the shadow.
    TIEBitmap bits;
    IEAddSoftShadow(Draw(bits, "ie1g 1 1 1 1 alpha 255 100 0 0"), 0.0, 1, 0, false, clWhite, 100, 0);
    EXPECT_EQ(Text(bits), "ie1g 1 1 0 1 alpha 255 100 100 0");
}

TEST(SoftShadow, AdaptSizeGrowsTheCanvasAndInnerShadowDarkensFromTheOffsetSide) {
    // No alpha: the plane is made all 255; extra = 2 * 3 + Trunc(15.5) = 21 on each axis,
    // the picture at (10, 10).
    TIEBitmap image(10, 6, ie24RGB, 0xFFFFFF);
    TImagerProc proc(&image);
    int finished = 0;
    proc.OnFinishWork = [&] { ++finished; };
    proc.AddSoftShadow(3.1, 3, 3, true, clBlack, 100, 128);
    EXPECT_EQ(finished, 1);
    ASSERT_EQ(std::make_pair(image.Width(), image.Height()), std::make_pair(31, 27));
    // The picture keeps its pixels and is opaque; below right of it lies the black shadow,
    // fainter above left, and nothing far away.
    EXPECT_EQ(std::make_pair(image.GetAlpha(14, 12), image.GetPixels_ie24RGB(14, 12).g),
              std::make_pair(uint8_t(255), uint8_t(255)));
    EXPECT_EQ(image.GetPixels_ie24RGB(21, 17).g, 0);
    EXPECT_GT(image.GetAlpha(21, 17), 100);
    EXPECT_GT(image.GetAlpha(21, 17), image.GetAlpha(9, 9));
    EXPECT_EQ(image.GetAlpha(0, 0) + image.GetAlpha(30, 0), 0);

    TIEBitmap inner(20, 20, ie24RGB, 0xFFFFFF);
    TImagerProc(&inner).AddSoftShadow(2.0, 3, iespInner, false, clBlack, 100, 128);
    EXPECT_EQ(inner.Width(), 20);
    EXPECT_LT(inner.GetPixels_ie24RGB(0, 10).g, 128);
    EXPECT_LT(inner.GetPixels_ie24RGB(10, 0).g, 128);
    EXPECT_GT(inner.GetPixels_ie24RGB(19, 10).g, 200); // at most a trace on the far side
    EXPECT_EQ(inner.GetPixels_ie24RGB(12, 12).g, 255);
}

// A blurred ring five pixels wide around the rectangle, leaning to the bottom right.
TEST(SoftShadowFrame, DarkensTheRingOutsideTheRectangleOnly) {
    TIEBitmap surface(30, 30, ie24RGB, 0xFFFFFF), small(10, 10, ie24RGB, 0xFFFFFF),
        white(10, 10, ie24RGB, 0xFFFFFF);
    IEPaintSoftShadowFrame(surface, 10, 10, 8, 6);
    IEPaintSoftShadowFrame(small, 4, 4, 1, 5); // too small a rectangle gets no shadow
    for (int32_t i = 0; i < 900; ++i) {
        const int32_t x = i % 30, y = i / 30;
        const bool inside = x >= 10 && x < 18 && y >= 10 && y < 16,
                   ring = x >= 5 && x < 23 && y >= 5 && y < 21;
        EXPECT_EQ(inside || !ring ? surface.GetPixels_ie24RGB(x, y).g : 255, 255) << x << "," << y;
    }
    const auto g = [&](int32_t x, int32_t y) { return surface.GetPixels_ie24RGB(x, y).g; };
    EXPECT_TRUE(g(13, 16) < g(13, 9) && g(18, 12) < 255);
    EXPECT_EQ(FirstDifference(small, white), "");
}

// Degenerate sizes through every operation; the sanitizer build checks that none of them
// reads or writes out of bounds.
TEST(ProcFamily, EveryOperationGetsThroughTinySizes) {
    for (auto [w, h] : {std::pair{1, 1}, {2, 2}, {1, 500}, {500, 1}, {3, 60}}) {
        SCOPED_TRACE(testing::Message() << w << "x" << h);
        TIEBitmap image, copy;
        FillBusy(image, w, h);
        image.SetAlpha(0, 0, 9);
        copy.AssignImage(image);
        TImagerProc proc(&image), shadows(&copy);
        proc.AutoImageEnhance3(0.33, 70);
        proc.AutoSharp(68, 0.035);
        proc.Merge(copy, 50);
        proc.Blur(4.0);
        proc.WhiteBalance_GrayWorld();
        proc.ConvertToGray();
        proc.EdgeDetect_ShenCastan(0.035, 0.9, 7, 0, true);
        shadows.AddSoftShadow(2.0, 2, iespInner, false, clBlack, 50, 128);
        shadows.AddSoftShadow(3.0, 3, 3, true, clBlack, 100, 128);
        EXPECT_EQ(std::make_tuple(image.PixelFormat(), image.Width(), copy.Width()),
                  std::make_tuple(ie1g, w, w + 21));
    }
}
