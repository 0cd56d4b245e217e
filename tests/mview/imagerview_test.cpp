#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "image/bitmap.h"
#include "mview/imagerview.h"

namespace {

std::string Pixel(TIEBitmap& Bitmap, int32_t x, int32_t y) {
    const TRGB c = Bitmap.GetPixels_ie24RGB(x, y);
    std::ostringstream text;
    text << int(c.r) << "," << int(c.g) << "," << int(c.b) << "/" << int(Bitmap.GetAlpha(x, y));
    return text.str();
}

// The current layer, then each layer's position and size.
std::string Layers(TImagerView& View) {
    std::ostringstream text;
    text << View.LayersCurrent() << ":";
    for (int32_t i = 0; i < View.LayersCount(); ++i) {
        TIELayer& layer = View.GetLayer(i);
        text << " " << layer.PosX() << "," << layer.PosY() << " " << layer.Width() << "x" << layer.Height();
    }
    return text.str();
}

template <typename F> std::string ErrorOf(F Call) {
    try {
        Call();
    } catch (const EIEException& e) {
        return e.what();
    }
    return "no exception";
}

} // namespace

// Composing a merge by transparency and position is pinned by the worker's watermark tests.
TEST(ImagerViewLayers, LayersAddCopiesTheSizeFillsWithTheBackgroundAndBecomesCurrent) {
    TImagerView view;
    EXPECT_EQ(ErrorOf([&] { view.GetLayer(1); }), "List index out of bounds (1)");
    view.IEBitmap().Allocate(5, 4, ie24RGB, 0x090909);
    view.IEBitmap().AlphaChannel()->SetFull(false);
    view.SetBackground(0x030201);
    TIEBitmap* background = &view.IEBitmap();
    EXPECT_EQ(view.LayersAdd(ielkImage, -1, -1, 0, 0), 1);
    // An off-screen holder has no area to cascade in: the layer stays at 0, 0.
    EXPECT_EQ(Layers(view), "1: 0,0 5x4 0,0 5x4");
    EXPECT_FALSE(view.IEBitmap().HasAlphaChannel());
    EXPECT_EQ(Pixel(view.IEBitmap(), 4, 3) + " " + Pixel(*background, 4, 3), "1,2,3/255 9,9,9/255");
    // Proc follows the current layer; a layer of its own size goes where it is asked.
    view.Proc().Resample(10, 8, rfNone);
    EXPECT_EQ(view.LayersAdd(ielkImage, 7, -3, 2, 3), 2);
    EXPECT_EQ(Layers(view), "2: 0,0 5x4 0,0 10x8 7,-3 2x3");

    EXPECT_EQ(ErrorOf([&] { view.LayersAdd(ielkText, 0, 0, 1, 1); }),
              "Layer insertion error - Invalid Type: 4");
    EXPECT_EQ(ErrorOf([&] { view.LayersMerge(1, 1, true); }), "Cannot merge layer #1 with itself");
    TIEBitmap destination;
    EXPECT_EQ(ErrorOf([&] { view.LayersMergeTo(0, 0, destination); }), "Cannot merge layer #0 with itself");
    EXPECT_TRUE(destination.IsEmpty());
    EXPECT_EQ(Layers(view), "2: 0,0 5x4 0,0 10x8 7,-3 2x3");
}

TEST(ImagerViewLayers, NewLayersCascadeInAViewWithAnArea) {
    struct TSizedView : TImagerView {
        int32_t ClientWidth() const override { return 400; }
        int32_t ClientHeight() const override { return 300; }
    } view, taller, small;
    // Layers of 100 x 50 in an area of 400 x 300 step by 40 until the next one would
    // end within 50 pixels of the bottom (240 + 50 + 50 > 300), then start again at 40.
    view.IEBitmap().Allocate(100, 50, ie24RGB, 0);
    for (int i = 0; i < 6; ++i)
        view.LayersAdd(ielkImage, -1, -1, 0, 0);
    EXPECT_EQ(Layers(view), "6: 0,0 100x50 40,40 100x50 80,80 100x50 120,120 100x50 160,160 100x50 200,200 "
                            "100x50 40,40 100x50");
    // One pixel taller, and the fifth starts again: 200 + 51 + 50 > 300.
    taller.IEBitmap().Allocate(100, 51, ie24RGB, 0);
    for (int i = 0; i < 5; ++i)
        taller.LayersAdd(ielkImage, -1, -1, 0, 0);
    EXPECT_EQ(taller.GetLayer(5).PosY(), 40);
    // -1 on either side cascades; a layer too large for the area stays at 0, 0.
    small.IEBitmap().Allocate(320, 50, ie24RGB, 0);
    small.LayersAdd(ielkImage, -1, 5, 0, 0);
    EXPECT_EQ(Layers(small), "1: 0,0 320x50 0,0 320x50");
}

TEST(ImagerViewLayers, LayersAddExAdoptsOrCopiesASourceBitmap) {
    TImagerView view;
    view.IEBitmap().Allocate(2, 2, ie24RGB, 0);
    auto* adopted = new TIEBitmap(3, 1, ie24RGB);
    EXPECT_EQ(view.LayersAddEx(ielkImage, 0, 0, 0, 0, adopted, false, false, true, false), 1);
    // Not selected: the background stays current.
    EXPECT_EQ(view.LayersCurrent(), 0);
    EXPECT_EQ(view.GetLayer(1).GetBitmap(), adopted);
    TIEBitmap source(1, 1, ie24RGB);
    source.SetPixels_ie24RGB(0, 0, TRGB{5, 5, 5});
    view.LayersAddEx(ielkImage, 0, 0, 0, 0, &source, true, false, true, true);
    EXPECT_NE(view.GetLayer(2).GetBitmap(), &source);
    EXPECT_EQ(Pixel(view.IEBitmap(), 0, 0), "5,5,5/255");
}

TEST(ImagerViewLayers, MergedLayerTakesItsPlaceByTheRules) {
    // Over the background an uncut upper layer further left gives its position.
    TImagerView view, cropped, layered;
    view.IEBitmap().Allocate(2, 2, ie24RGB, 0);
    view.LayersAdd(ielkImage, -3, 1, 1, 1);
    view.LayersMerge(1, 0, true);
    EXPECT_EQ(Layers(view), "0: -3,0 5x2");
    // Cropped, the background keeps its size and place.
    cropped.IEBitmap().Allocate(2, 2, ie24RGB, 0);
    cropped.SetLayersCropped(true);
    cropped.LayersAdd(ielkImage, -2, 0, 4, 1);
    cropped.LayersMerge(0, 1, true);
    EXPECT_EQ(Layers(cropped), "0: 0,0 2x2");
    // Above the background: the smaller of both positions on each axis; the upper layer
    // stays when it isn't removed, and a mask above it goes with it otherwise.
    layered.IEBitmap().Allocate(4, 4, ie24RGB, 0);
    layered.LayersAdd(ielkImage, 5, 1, 2, 2);
    layered.GetLayer(1).SetLocked(true);
    layered.LayersAdd(ielkImage, 2, 6, 2, 2);
    layered.LayersMerge(1, 2, false);
    EXPECT_EQ(Layers(layered), "1: 0,0 4x4 2,1 5x7 2,6 2x2");
    EXPECT_TRUE(layered.GetLayer(1).Locked());
    layered.LayersAdd(ielkImage, 0, 0, 1, 1);
    layered.GetLayer(3).SetIsMask(true);
    layered.LayersMerge(1, 2, true);
    EXPECT_EQ(layered.LayersCount(), 2);
}

TEST(ImagerViewLayers, MergeToAndMergeAll) {
    TImagerView view;
    view.IEBitmap().Allocate(2, 1, ie24RGB, 0x646464);
    view.LayersAdd(ielkImage, 1, 0, 1, 1);
    view.IEBitmap().Allocate(1, 1, ie24RGB, 0xC8C8C8);
    view.CurrentLayer().SetOpacity(0.5);
    TIEBitmap destination;
    view.LayersMergeTo(0, 1, destination);
    EXPECT_EQ(view.LayersCount(), 2);
    // The background beside the layer, 100 + (200 - 100) * 0.5 under it.
    EXPECT_EQ(Pixel(destination, 0, 0) + " " + Pixel(destination, 1, 0), "100,100,100/255 150,150,150/255");
    view.LayersAdd(ielkImage, 0, 0, 1, 1);
    view.IEBitmap().Allocate(1, 1, ie24RGB, 0);
    view.LayersMergeAll(false);
    EXPECT_EQ(Layers(view), "0: 0,0 2x1");
    EXPECT_FALSE(view.IEBitmap().HasAlphaChannel());
    EXPECT_EQ(Pixel(view.IEBitmap(), 0, 0) + " " + Pixel(view.IEBitmap(), 1, 0), "0,0,0/255 150,150,150/255");
}
