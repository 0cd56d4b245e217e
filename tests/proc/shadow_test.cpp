#include "proc/shadow.h"

#include <gtest/gtest.h>

#include <vector>

#include "image/bitmap.h"
#include "proc/enhance.h"
#include "proc/imagerproc.h"
#include "proc/sharpen.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/proc/rgbtestutil.h"

namespace {

void SetAlphaRow(TIEBitmap& Bitmap, std::initializer_list<int> Values) {
    int32_t x = 0;
    for (int v : Values)
        Bitmap.AlphaChannel()->SetPixels_ie8(x++, 0, uint8_t(v));
}

std::vector<int> AlphaRow(TIEBitmap& Bitmap, int32_t y = 0) {
    std::vector<int> values;
    for (int32_t x = 0; x < Bitmap.Width(); ++x)
        values.push_back(Bitmap.AlphaChannelOpt()->GetPixels_ie8(x, y));
    return values;
}

} // namespace

TEST(SoftShadow, HardShadowMovedByTheOffset) {
    // Radius 0: no blur. The plane moves one to the right: sh = 0, 255, 0, 0.
    TIEBitmap image;
    FillGrey24(image, 4, 1, {200, 200, 200, 200});
    SetAlphaRow(image, {255, 0, 0, 0});
    IEAddSoftShadow(image, 0.0, 1, 0, false, TColor(0x0000FF), 100, 128);
    EXPECT_EQ(AlphaRow(image), (std::vector<int>{255, 255, 0, 0}));
    EXPECT_EQ(Reds(image), (std::vector<int>{200, 255, 200, 200}));
    EXPECT_EQ(ChannelOf(image, 1), (std::vector<int>{200, 0, 200, 200}));
    EXPECT_FALSE(image.AlphaChannelOpt()->Full());

    // Intensity 0 thins the shadow by 3: Trunc(255 / 3) = 85.
    TIEBitmap thin;
    FillGrey24(thin, 4, 1, {200, 200, 200, 200});
    SetAlphaRow(thin, {255, 0, 0, 0});
    IEAddSoftShadow(thin, 0.0, 1, 0, false, clBlack, 0, 128);
    EXPECT_EQ(AlphaRow(thin), (std::vector<int>{255, 85, 0, 0}));
}

TEST(SoftShadow, HalfTransparentPixelsAndTheThreshold) {
    // Without threshold the pixel of alpha 100 is blended: a = 100 / 255, b = 1 under
    // the moved 255; t = 0 (black), pixel Trunc(200 * 100 / 255) = 78, alpha 255.
    TIEBitmap image;
    FillGrey24(image, 4, 1, {200, 200, 200, 200});
    SetAlphaRow(image, {255, 100, 0, 0});
    IEAddSoftShadow(image, 0.0, 1, 0, false, clBlack, 100, 0);
    EXPECT_EQ(Reds(image), (std::vector<int>{200, 78, 0, 200}));
    EXPECT_EQ(AlphaRow(image), (std::vector<int>{255, 255, 100, 0}));

    // With threshold 128 the faint pixel counts as background and takes the shadow,
    // while the plane that casts the shadow keeps its 100.
    TIEBitmap faint;
    FillGrey24(faint, 4, 1, {200, 200, 200, 200});
    SetAlphaRow(faint, {255, 100, 0, 0});
    IEAddSoftShadow(faint, 0.0, 1, 0, false, clBlack, 100, 128);
    EXPECT_EQ(Reds(faint), (std::vector<int>{200, 0, 0, 200}));
    EXPECT_EQ(AlphaRow(faint), (std::vector<int>{255, 255, 100, 0}));
}

TEST(SoftShadow, AdaptSizeGrowsTheCanvasAndCastsFromTheEdge) {
    // No alpha: the plane is made all 255; extra = 2 * 3 + Trunc(15) = 21 on each axis,
    // the picture in the middle at (10, 10).
    TIEBitmap image;
    image.Allocate(10, 6, TColor(0xFFFFFF), 255);
    TImagerProc proc(&image);
    int finished = 0;
    proc.OnFinishWork = [&] { ++finished; };
    proc.AddSoftShadow(3.0, 3, 3, true, clBlack, 100, 128);
    EXPECT_EQ(finished, 1);
    ASSERT_EQ(image.Width(), 31);
    ASSERT_EQ(image.Height(), 27);
    TIEBitmap& alpha = *image.AlphaChannelOpt();
    // The picture keeps its pixels and is opaque.
    EXPECT_EQ(alpha.GetPixels_ie8(14, 12), 255);
    EXPECT_EQ(image.GetPixels_ie24RGB(14, 12).g, 255);
    // Below right of it the shadow: black, partly opaque; far away nothing.
    EXPECT_EQ(image.GetPixels_ie24RGB(21, 17).g, 0);
    EXPECT_GT(alpha.GetPixels_ie8(21, 17), 100);
    EXPECT_EQ(alpha.GetPixels_ie8(0, 0), 0);
    EXPECT_EQ(alpha.GetPixels_ie8(30, 0), 0);
    // The shadow lies towards the offset: above left of the picture it is fainter.
    EXPECT_GT(alpha.GetPixels_ie8(21, 17), alpha.GetPixels_ie8(9, 9));
}

TEST(SoftShadow, OneBitPixelsLoseTheirBitUnderTheShadow) {
    TIEBitmap bits;
    bits.Allocate(4, 1, ie1g, 1.0);
    SetAlphaRow(bits, {255, 100, 0, 0});
    IEAddSoftShadow(bits, 0.0, 1, 0, false, clWhite, 100, 0);
    // Pixel 1 (alpha 100) is not blended in this format, pixel 2 falls in the shadow.
    EXPECT_TRUE(bits.GetPixels_ie1g(0, 0));
    EXPECT_TRUE(bits.GetPixels_ie1g(1, 0));
    EXPECT_FALSE(bits.GetPixels_ie1g(2, 0));
    EXPECT_EQ(AlphaRow(bits), (std::vector<int>{255, 100, 100, 0}));
}

TEST(SoftShadow, InnerShadowDarkensInsideFromTheOffsetSide) {
    TIEBitmap image;
    image.Allocate(20, 20, TColor(0xFFFFFF), 255);
    TImagerProc proc(&image);
    proc.AddSoftShadow(2.0, 3, iespInner, false, clBlack, 100, 128);
    EXPECT_EQ(image.Width(), 20);
    EXPECT_LT(image.GetPixels_ie24RGB(0, 10).g, 128);
    EXPECT_LT(image.GetPixels_ie24RGB(10, 0).g, 128);
    // The far side gets at most a trace; the middle nothing.
    EXPECT_GT(image.GetPixels_ie24RGB(19, 10).g, 200);
    EXPECT_EQ(image.GetPixels_ie24RGB(12, 12).g, 255);
}

TEST(SoftShadowFrame, DarkensTheRingOutsideTheRectangleOnly) {
    TIEBitmap surface;
    surface.Allocate(30, 30, TColor(0xFFFFFF), 255);
    IEPaintSoftShadowFrame(surface, 10, 10, 8, 6);
    for (int32_t y = 0; y < 30; ++y)
        for (int32_t x = 0; x < 30; ++x) {
            const int v = surface.GetPixels_ie24RGB(x, y).g;
            const bool inside = x >= 10 && x < 18 && y >= 10 && y < 16;
            const bool ring = x >= 5 && x < 23 && y >= 5 && y < 21;
            if (inside || !ring) {
                EXPECT_EQ(v, 255) << x << "," << y;
            }
        }
    // The mask leans to the bottom right: darker just below than just above.
    EXPECT_LT(surface.GetPixels_ie24RGB(13, 16).g, surface.GetPixels_ie24RGB(13, 9).g);
    EXPECT_LT(surface.GetPixels_ie24RGB(18, 12).g, 255);
    // Too small a rectangle gets no shadow.
    TIEBitmap small;
    small.Allocate(10, 10, TColor(0xFFFFFF), 255);
    IEPaintSoftShadowFrame(small, 4, 4, 1, 5);
    for (int v : Reds(small))
        ASSERT_EQ(v, 255);
}

// Every operation of the family on degenerate sizes; the sanitizer build checks that
// none of them reads or writes out of bounds.
class TTinyImages : public ::testing::TestWithParam<std::pair<int32_t, int32_t>> {};

TEST_P(TTinyImages, EveryOperationGetsThrough) {
    const auto [w, h] = GetParam();
    TIEBitmap image;
    FillBusy(image, w, h);
    image.AlphaChannel()->SetPixels_ie8(0, 0, 9);
    TIEBitmap copy;
    copy.AssignImage(image);
    TImagerProc proc(&image);
    proc.AutoImageEnhance3(0.33, 70);
    EXPECT_EQ(image.Width(), w);
    EXPECT_EQ(image.Height(), h);
    EXPECT_EQ(image.AlphaChannelOpt()->GetPixels_ie8(0, 0), 9);
    proc.AutoSharp(68, 0.035);
    proc.Merge(copy, 50);
    proc.Blur(4.0);
    proc.WhiteBalance_GrayWorld();
    proc.ConvertToGray();
    EXPECT_EQ(image.Width(), w);
    EXPECT_EQ(image.Height(), h);
    const TRGB p = image.GetPixels_ie24RGB(w - 1, h - 1);
    EXPECT_TRUE(p.r == p.g && p.g == p.b);
    proc.EdgeDetect_ShenCastan(0.035, 0.9, 7, 0, true);
    EXPECT_EQ(image.PixelFormat(), ie1g);
    EXPECT_TRUE(image.GetPixels_ie1g(0, 0)); // column 0 never counts as an edge

    TIEBitmap shadowed;
    FillBusy(shadowed, w, h);
    TImagerProc shadowProc(&shadowed);
    shadowProc.AddSoftShadow(3.0, 3, 3, true, clBlack, 100, 128);
    EXPECT_EQ(shadowed.Width(), w + 21);
    shadowProc.AddSoftShadow(2.0, 2, iespInner, false, clBlack, 50, 128);

    TIEBitmap sharpOnly;
    FillBusy(sharpOnly, w, h);
    IEAutoSharp(sharpOnly, 68, 0.035, TIEProgressEvent(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Sizes, TTinyImages,
                         ::testing::Values(std::make_pair(1, 1), std::make_pair(2, 2), std::make_pair(1, 500),
                                           std::make_pair(500, 1), std::make_pair(3, 60)));
