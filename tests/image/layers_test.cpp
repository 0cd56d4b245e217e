#include <gtest/gtest.h>

#include <string>

#include "image/bitmap.h"
#include "image/layers.h"
#include "tests/image/converttestutil.h"

namespace {

std::unique_ptr<TIEImageLayer> Layer(const std::string& Drawing, int32_t Transparency = 255,
                                     double Opacity = 1.0, int32_t X = 0, int32_t Y = 0) {
    auto layer = std::make_unique<TIEImageLayer>(nullptr);
    Draw(layer->Bitmap(), Drawing);
    layer->SetPosX(X);
    layer->SetPosY(Y);
    layer->SetTransparency(Transparency);
    layer->SetOpacity(Opacity);
    return layer;
}

// The merged picture as text, on a background of r 30, g 20, b 10.
std::string Compose(TIELayer& Lower, TIELayer& Upper, TIELayer* Mask = nullptr,
                    bool LowerIsNotBackground = false) {
    TIEBitmap result;
    IEComposeLayers(TIELayerComposition{&Lower, &Upper, Mask, 0x0A141E, LowerIsNotBackground}, result);
    return Text(result);
}

class TFixedOwner : public TIELayerOwner {
  public:
    int32_t LayerBackgroundWidth() override { return 100; }
    int32_t LayerBackgroundHeight() override { return 50; }
};

} // namespace

// On a 100 x 50 background a 31 x 11 layer centres at 34.5 and 19.5, cut; codes below
// the alignment ones are plain positions, and Left and Top share theirs.
TEST(Layer, AlignedPositionsFollowTheBackgroundAndValuesAreCutOrClamped) {
    TFixedOwner owner;
    auto layer = Layer("ie24RGB 0");
    layer->Bitmap().Allocate(31, 11, ie24RGB);
    layer->SetOwner(&owner);
    for (auto [set, x, y] : {std::tuple{IELayerPosAlignRight, 69, 39},
                             {IELayerPosAlignCenter, 34, 19},
                             {IELayerPosAlignLeft, 0, 0},
                             {IELayerPosAlignLeft - 1, IELayerPosAlignLeft - 1, IELayerPosAlignLeft - 1},
                             {-40, -40, -40}}) {
        layer->SetPosX(set);
        layer->SetPosY(set);
        EXPECT_EQ(std::make_pair(layer->PosX(), layer->PosY()), std::make_pair(x, y)) << set;
    }
    layer->SetPosXD(-2.7);
    layer->SetPosYD(3.9);
    EXPECT_EQ(std::make_pair(layer->PosX(), layer->PosY()), std::make_pair(-2, 3));
    layer->SetTransparency(300);
    EXPECT_EQ(layer->Transparency(), 255);
    layer->SetTransparency(-5);
    EXPECT_EQ(layer->Transparency(), 0);
}

TEST(LayerCompose, TransparencyIsACeilingOnTheAlphaAndOpacityAFactor) {
    // Watermark Transparency 70: alpha 200 counts as 70/255, alpha 35 as 35/255.
    // 70 + 185/255 * 100 = 142.55; r 220/255 * 200 = 172.55, g 35/255 * 50 + 172.55 = 179.41,
    // b 35 + 172.55 = 207.55.
    auto picture = Layer("ie24RGB 100 200"), mark = Layer("ie24RGB 255 rgb(0,50,255) alpha 200 35", 70);
    EXPECT_EQ(Compose(*picture, *mark), "ie24RGB 143 rgb(173,179,208) alpha 255 255");
    // Without alpha every pixel blends at the ceiling: 10 + 70/255 * 10 = 12.75.
    auto plain = Layer("ie24RGB 0 255 10"), plainMark = Layer("ie24RGB 255 0 20", 70);
    EXPECT_EQ(Compose(*plain, *plainMark), "ie24RGB 70 185 13 alpha 255 255 255");
    // Transparency 0, clear pixels and a hidden layer leave the colours.
    auto colours = Layer("ie24RGB rgb(3,2,1) rgb(7,128,250)"), hidden = Layer("ie24RGB 255 255"),
         zero = Layer("ie24RGB 255 255", 0), clear = Layer("ie24RGB 255 255 alpha 0 0", 70);
    hidden->SetVisible(false);
    for (TIELayer* upper : {zero.get(), clear.get(), hidden.get()})
        EXPECT_EQ(Compose(*colours, *upper), "ie24RGB rgb(3,2,1) rgb(7,128,250) alpha 255 255");
    // Opacity 0.5 over opaque black: 50.5 rounds to 50, 127.5 to 128.
    auto black = Layer("ie24RGB 0 0"), half = Layer("ie24RGB 101 255", 255, 0.5);
    EXPECT_EQ(Compose(*black, *half), "ie24RGB 50 128 alpha 255 255");
}

TEST(LayerCompose, BothLayersTranslucentCombineTheirAlphas) {
    // al = 1/5 (51), au = 3/5 (153): w = 0.4 * 0.2 = 0.08, a = 0.68, alpha 173.4 -> 173;
    // colour (0.6 * 200 + 0.08 * 100) / 0.68 = 188.24 -> 188. Both clear: the upper colour.
    EXPECT_EQ(Compose(*Layer("ie24RGB 100 alpha 51"), *Layer("ie24RGB 200 alpha 153")),
              "ie24RGB 188 alpha 173");
    EXPECT_EQ(Compose(*Layer("ie24RGB 100 alpha 0"), *Layer("ie24RGB 200 alpha 0")), "ie24RGB 200 alpha 0");
    // Where the upper layer is missing the lower keeps Trunc(min(200, 100) * 0.55) = 55.
    auto lower = Layer("ie24RGB 40 40 40 alpha 200 200 200", 100, 0.55),
         upper = Layer("ie24RGB 0", 255, 1, 2);
    EXPECT_EQ(Compose(*lower, *upper), "ie24RGB 40 40 0 alpha 55 55 255");
}

TEST(LayerCompose, ALargerUpperLayerGrowsTheCanvasUnlessCropped) {
    // A 3x3 watermark at -1,-1 moves the picture one pixel right and down; the ring
    // outside the picture has the watermark's colour and its ceiling as alpha.
    auto picture = Layer("ie24RGB 0 0 / 0 0"),
         mark = Layer("ie24RGB 255 255 255 / 255 255 255 / 255 255 255", 70, 1, -1, -1);
    EXPECT_EQ(Compose(*picture, *mark),
              "ie24RGB 255 255 255 / 255 70 70 / 255 70 70 alpha 70 70 70 / 70 255 255 / 70 255 255");
    // Sticking out to the left only: the corner covered by neither layer takes the
    // background colour with alpha 0.
    EXPECT_EQ(Compose(*picture, *Layer("ie24RGB 255 / 255 / 255", 255, 1, -1)),
              "ie24RGB 255 0 0 / 255 0 0 / 255 rgb(30,20,10) rgb(30,20,10) alpha "
              "255 255 255 / 255 255 255 / 255 0 0");
    // Cropped, it is cut to the background; over a layer that is not the background it isn't.
    mark->SetTransparency(255);
    mark->SetCropped(true);
    EXPECT_EQ(Compose(*picture, *mark), "ie24RGB 255 255 / 255 255 alpha 255 255 / 255 255");
    EXPECT_EQ(Compose(*picture, *mark, nullptr, true).substr(0, 19), "ie24RGB 255 255 255");
}

TEST(LayerCompose, DisplayedSizeFormatAndMask) {
    // A 1x1 layer displayed at 3x2 over an ie8g picture: 60 + 0.5 * (200 - 60).
    auto picture = Layer("ie8g 60 60 60 / 60 60 60"), mark = Layer("ie24RGB 200", 255, 0.5);
    mark->SetWidth(3);
    mark->SetHeight(2);
    EXPECT_EQ(Compose(*picture, *mark), "ie24RGB 130 130 130 / 130 130 130 alpha 255 255 255 / 255 255 255");
    EXPECT_EQ(mark->Bitmap().Width(), 1); // the layer's own bitmap is not changed
    // A mask of levels 255 and 0 over the left two pixels; the right one is outside it.
    auto mask = Layer("ie8g 255 0");
    mask->SetIsMask(true);
    EXPECT_EQ(Compose(*Layer("ie24RGB 0 0 0"), *Layer("ie24RGB 255 255 255"), mask.get()),
              "ie24RGB 255 0 0 alpha 255 255 255");
}

TEST(LayerCompose, ALayerWithoutBitmapRaises) {
    class TShapeLayer : public TIELayer {
      public:
        TShapeLayer() : TIELayer(ielkShape, nullptr) {}
    } shape;
    EXPECT_EQ(ErrorOf([&] { Compose(*Layer("ie24RGB 0"), shape); }),
              "Layer insertion error - Invalid Type: 1");
}
