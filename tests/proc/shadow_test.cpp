#include "proc/shadow.h"

#include <gtest/gtest.h>

#include <vector>

#include "image/bitmap.h"
#include "proc/imagerproc.h"
#include "proc/sharpen.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/image/converttestutil.h"
#include "tests/proc/rgbtestutil.h"

// Radius 0: no blur, so a 4x1 picture shows the rule pixel by pixel. The plane moves
// one to the right; under it the shadow alpha sh = 255 (or 255 / 3, cut, at intensity 0)
// and a pixel of alpha a is blended over it by a / 255.
TEST(SoftShadow, HardShadowMovedByTheOffset) {
    // clang-format off
    const struct {
        const char* Alpha;
        TColor Colour;
        int32_t Intensity, Threshold;
        const char* Expected;
    } cases[] = {
        {"255 0 0 0", 0x0000FF, 100, 128, "ie24RGB 200 rgb(255,0,0) 200 200 alpha 255 255 0 0"},
        {"255 0 0 0", clBlack, 0, 128, "ie24RGB 200 0 200 200 alpha 255 85 0 0"},
        // Alpha 100 over the black shadow: Trunc(200 * 100 / 255) = 78, then opaque.
        {"255 100 0 0", clBlack, 100, 0, "ie24RGB 200 78 0 200 alpha 255 255 100 0"},
        // Under the threshold the faint pixel counts as background and takes the shadow,
        // while the plane that casts the shadow keeps its 100.
        {"255 100 0 0", clBlack, 100, 128, "ie24RGB 200 0 0 200 alpha 255 255 100 0"},
    };
    // clang-format on
    for (const auto& c : cases) {
        TIEBitmap image;
        Draw(image, std::string("ie24RGB 200 200 200 200 alpha ") + c.Alpha);
        IEAddSoftShadow(image, 0.0, 1, 0, false, c.Colour, c.Intensity, c.Threshold);
        EXPECT_EQ(Text(image), c.Expected) << c.Intensity << " " << c.Threshold;
        EXPECT_FALSE(image.AlphaChannelOpt()->Full());
    }
    // Bits are not blended: pixel 1 (alpha 100) stays, pixel 2 falls in the shadow.
    TIEBitmap bits;
    IEAddSoftShadow(Draw(bits, "ie1g 1 1 1 1 alpha 255 100 0 0"), 0.0, 1, 0, false, clWhite, 100, 0);
    EXPECT_EQ(Text(bits), "ie1g 1 1 0 1 alpha 255 100 100 0");
}

TEST(SoftShadow, AdaptSizeGrowsTheCanvasAndInnerShadowDarkensFromTheOffsetSide) {
    // No alpha: the plane is made all 255; extra = 2 * 3 + Trunc(15) = 21 on each axis,
    // the picture at (10, 10).
    TIEBitmap image(10, 6, ie24RGB, 0xFFFFFF);
    TImagerProc proc(&image);
    int finished = 0;
    proc.OnFinishWork = [&] { ++finished; };
    proc.AddSoftShadow(3.0, 3, 3, true, clBlack, 100, 128);
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

TEST(SoftShadowFrame, DarkensTheRingOutsideTheRectangleOnly) {
    TIEBitmap surface(30, 30, ie24RGB, 0xFFFFFF);
    IEPaintSoftShadowFrame(surface, 10, 10, 8, 6);
    for (int32_t y = 0; y < 30; ++y)
        for (int32_t x = 0; x < 30; ++x) {
            const bool inside = x >= 10 && x < 18 && y >= 10 && y < 16;
            const bool ring = x >= 5 && x < 23 && y >= 5 && y < 21;
            EXPECT_EQ(inside || !ring ? surface.GetPixels_ie24RGB(x, y).g : 255, 255) << x << "," << y;
        }
    // The mask leans to the bottom right: darker just below than just above.
    EXPECT_LT(surface.GetPixels_ie24RGB(13, 16).g, surface.GetPixels_ie24RGB(13, 9).g);
    EXPECT_LT(surface.GetPixels_ie24RGB(18, 12).g, 255);
    // Too small a rectangle gets no shadow.
    TIEBitmap small(10, 10, ie24RGB, 0xFFFFFF), white(10, 10, ie24RGB, 0xFFFFFF);
    IEPaintSoftShadowFrame(small, 4, 4, 1, 5);
    EXPECT_EQ(FirstDifference(small, white), "");
}

// Every operation of the family on degenerate sizes; the sanitizer build checks that none
// of them reads or writes out of bounds.
TEST(ProcFamily, EveryOperationGetsThroughTinySizes) {
    for (auto [w, h] :
         {std::pair{1, 1}, std::pair{2, 2}, std::pair{1, 500}, std::pair{500, 1}, std::pair{3, 60}}) {
        SCOPED_TRACE(testing::Message() << w << "x" << h);
        TIEBitmap image, copy, shadowed;
        FillBusy(image, w, h);
        image.SetAlpha(0, 0, 9);
        copy.AssignImage(image);
        TImagerProc proc(&image);
        proc.AutoImageEnhance3(0.33, 70);
        EXPECT_EQ(image.GetAlpha(0, 0), 9);
        proc.AutoSharp(68, 0.035);
        proc.Merge(copy, 50);
        proc.Blur(4.0);
        proc.WhiteBalance_GrayWorld();
        proc.ConvertToGray();
        ASSERT_EQ(std::make_pair(image.Width(), image.Height()), std::make_pair(w, h));
        const TRGB p = image.GetPixels_ie24RGB(w - 1, h - 1);
        EXPECT_TRUE(p.r == p.g && p.g == p.b);
        proc.EdgeDetect_ShenCastan(0.035, 0.9, 7, 0, true);
        EXPECT_TRUE(image.GetPixels_ie1g(0, 0)); // column 0 never counts as an edge

        FillBusy(shadowed, w, h);
        TImagerProc shadowProc(&shadowed);
        shadowProc.AddSoftShadow(3.0, 3, 3, true, clBlack, 100, 128);
        EXPECT_EQ(shadowed.Width(), w + 21);
        shadowProc.AddSoftShadow(2.0, 2, iespInner, false, clBlack, 50, 128);
    }
}
