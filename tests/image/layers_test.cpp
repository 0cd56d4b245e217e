#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "image/bitmap.h"
#include "image/layers.h"

namespace {

// A layer of literal RGB pixels (top row first) and optional alpha bytes.
std::unique_ptr<TIEImageLayer> MakeLayer(int32_t Width, int32_t Height, std::initializer_list<TRGB> Pixels,
                                         std::initializer_list<uint8_t> Alpha = {}) {
    auto layer = std::make_unique<TIEImageLayer>(nullptr);
    TIEBitmap& bitmap = layer->Bitmap();
    bitmap.Allocate(Width, Height, ie24RGB);
    auto pixel = Pixels.begin();
    auto alpha = Alpha.begin();
    if (Alpha.size() > 0) bitmap.AlphaChannel()->SetFull(false);
    for (int32_t y = 0; y < Height; ++y)
        for (int32_t x = 0; x < Width; ++x) {
            bitmap.SetPixels_ie24RGB(x, y, Pixels.size() == 1 ? *Pixels.begin() : *pixel++);
            if (Alpha.size() > 0) bitmap.SetAlpha(x, y, Alpha.size() == 1 ? *Alpha.begin() : *alpha++);
        }
    return layer;
}

TRGB Grey(uint8_t v) {
    return TRGB{v, v, v};
}

// "r,g,b/a" of one destination pixel, so that a failure shows the whole pixel.
std::string Pixel(TIEBitmap& Bitmap, int32_t x, int32_t y) {
    const TRGB c = Bitmap.GetPixels_ie24RGB(x, y);
    return std::to_string(c.r) + "," + std::to_string(c.g) + "," + std::to_string(c.b) + "/" +
           std::to_string(Bitmap.GetAlpha(x, y));
}

std::unique_ptr<TIEBitmap> Compose(TIELayer& Lower, TIELayer& Upper, TIELayer* Mask = nullptr,
                                   bool LowerIsNotBackground = false) {
    TIELayerComposition composition;
    composition.Lower = &Lower;
    composition.Upper = &Upper;
    composition.Mask = Mask;
    composition.Background = 0x0A141E; // r 30, g 20, b 10
    composition.LowerIsNotBackground = LowerIsNotBackground;
    auto result = std::make_unique<TIEBitmap>();
    IEComposeLayers(composition, *result);
    return result;
}

class TFixedOwner : public TIELayerOwner {
  public:
    int32_t LayerBackgroundWidth() override { return 100; }
    int32_t LayerBackgroundHeight() override { return 50; }
};

} // namespace

TEST(Layer, AlignedPositionsFollowTheBackground) {
    TFixedOwner owner;
    auto layer = MakeLayer(30, 10, {Grey(0)});
    layer->SetOwner(&owner);
    layer->SetPosX(IELayerPosAlignRight);
    layer->SetPosY(IELayerPosAlignBottom);
    EXPECT_EQ(layer->PosX(), 70);
    EXPECT_EQ(layer->PosY(), 40);
    layer->SetPosX(IELayerPosAlignCenter);
    layer->SetPosY(IELayerPosAlignMiddle);
    EXPECT_EQ(layer->PosX(), 35);
    EXPECT_EQ(layer->PosY(), 20);
    layer->SetPosX(IELayerPosAlignLeft);
    EXPECT_EQ(layer->PosX(), 0);
    // The value just below the first special one is a plain position.
    layer->SetPosX(IELayerPosAlignLeft - 1);
    EXPECT_EQ(layer->PosX(), IELayerPosAlignLeft - 1);
    layer->SetPosX(-40);
    EXPECT_EQ(layer->PosX(), -40);
    // Fractional positions are cut toward zero; Transparency is clamped to 0..255.
    layer->SetPosXD(-2.7);
    layer->SetPosYD(3.9);
    EXPECT_EQ(std::make_pair(layer->PosX(), layer->PosY()), std::make_pair(-2, 3));
    layer->SetTransparency(300);
    EXPECT_EQ(layer->Transparency(), 255);
    layer->SetTransparency(-5);
    EXPECT_EQ(layer->Transparency(), 0);
}

TEST(LayerCompose, TransparencyIsACeilingOnTheAlpha) {
    // Opaque picture under a watermark of the same size with Transparency 70:
    // alpha 200 counts as 70/255, alpha 35 as 35/255.
    auto picture = MakeLayer(2, 1, {Grey(100), Grey(200)});
    auto mark = MakeLayer(2, 1, {Grey(255), TRGB{255, 50, 0}}, {200, 35});
    mark->SetTransparency(70);
    std::unique_ptr<TIEBitmap> result = Compose(*picture, *mark);
    ASSERT_EQ(result->Width(), 2);
    ASSERT_EQ(result->Height(), 1);
    // 70 + 185/255 * 100 = 142.55.
    EXPECT_EQ(Pixel(*result, 0, 0), "143,143,143/255");
    // r: 220/255 * 200 = 172.55; g: 35/255 * 50 + 172.55 = 179.41; b: 35 + 172.55 = 207.55.
    EXPECT_EQ(Pixel(*result, 1, 0), "173,179,208/255");
    EXPECT_FALSE(result->AlphaChannel()->Full());
}

TEST(LayerCompose, AnUpperLayerWithoutAlphaBlendsEveryPixelAtItsCeiling) {
    auto picture = MakeLayer(3, 1, {Grey(0), Grey(255), Grey(10)});
    auto mark = MakeLayer(3, 1, {Grey(255), Grey(0), Grey(20)});
    mark->SetTransparency(70);
    std::unique_ptr<TIEBitmap> result = Compose(*picture, *mark);
    EXPECT_EQ(Pixel(*result, 0, 0), "70,70,70/255");
    EXPECT_EQ(Pixel(*result, 1, 0), "185,185,185/255");
    // 10 + 70/255 * 10 = 12.75.
    EXPECT_EQ(Pixel(*result, 2, 0), "13,13,13/255");
}

TEST(LayerCompose, TransparencyZeroAndTransparentPixelsLeaveTheColours) {
    auto picture = MakeLayer(2, 1, {TRGB{1, 2, 3}, TRGB{250, 128, 7}});
    auto mark = MakeLayer(2, 1, {Grey(255)});
    mark->SetTransparency(0);
    std::unique_ptr<TIEBitmap> result = Compose(*picture, *mark);
    EXPECT_EQ(Pixel(*result, 0, 0), "3,2,1/255");
    EXPECT_EQ(Pixel(*result, 1, 0), "7,128,250/255");

    auto transparent = MakeLayer(2, 1, {Grey(255)}, {0});
    transparent->SetTransparency(70);
    result = Compose(*picture, *transparent);
    EXPECT_EQ(Pixel(*result, 1, 0), "7,128,250/255");

    auto hidden = MakeLayer(2, 1, {Grey(255)});
    hidden->SetVisible(false);
    result = Compose(*picture, *hidden);
    EXPECT_EQ(Pixel(*result, 0, 0), "3,2,1/255");
}

TEST(LayerCompose, OpacityIsAFactorAndRoundingTiesGoToEven) {
    // au = 0.5 over an opaque black: 0.5 * 101 = 50.5 rounds to 50, 0.5 * 255 = 127.5 to 128.
    auto picture = MakeLayer(2, 1, {Grey(0)});
    auto half = MakeLayer(2, 1, {Grey(101), Grey(255)});
    half->SetOpacity(0.5);
    std::unique_ptr<TIEBitmap> result = Compose(*picture, *half);
    EXPECT_EQ(Pixel(*result, 0, 0), "50,50,50/255");
    EXPECT_EQ(Pixel(*result, 1, 0), "128,128,128/255");
}

TEST(LayerCompose, BothLayersTranslucentCombineTheirAlphas) {
    // al = 1/5 (51), au = 3/5 (153): w = 0.4 * 0.2 = 0.08, a = 0.68, alpha 173.4 -> 173;
    // colour (0.6 * 200 + 0.08 * 100) / 0.68 = 188.24 -> 188.
    auto lower = MakeLayer(1, 1, {Grey(100)}, {51});
    auto upper = MakeLayer(1, 1, {Grey(200)}, {153});
    std::unique_ptr<TIEBitmap> result = Compose(*lower, *upper);
    EXPECT_EQ(Pixel(*result, 0, 0), "188,188,188/173");

    // Both fully transparent: a = 0, the upper colour with alpha 0.
    auto clear = MakeLayer(1, 1, {Grey(100)}, {0});
    auto clearUpper = MakeLayer(1, 1, {Grey(200)}, {0});
    result = Compose(*clear, *clearUpper);
    EXPECT_EQ(Pixel(*result, 0, 0), "200,200,200/0");
}

TEST(LayerCompose, ALargerUpperLayerGrowsTheCanvas) {
    // A 2x2 picture under a 3x3 watermark at -1,-1: everything moves one pixel right and
    // down; the ring outside the picture has the watermark's colour and its ceiling as alpha.
    auto picture = MakeLayer(2, 2, {Grey(0)});
    auto mark = MakeLayer(3, 3, {Grey(255)});
    mark->SetTransparency(70);
    mark->SetPosX(-1);
    mark->SetPosY(-1);
    std::unique_ptr<TIEBitmap> result = Compose(*picture, *mark);
    ASSERT_EQ(result->Width(), 3);
    ASSERT_EQ(result->Height(), 3);
    EXPECT_EQ(Pixel(*result, 0, 0), "255,255,255/70");
    EXPECT_EQ(Pixel(*result, 2, 0), "255,255,255/70");
    EXPECT_EQ(Pixel(*result, 0, 2), "255,255,255/70");
    EXPECT_EQ(Pixel(*result, 1, 1), "70,70,70/255");
    EXPECT_EQ(Pixel(*result, 2, 2), "70,70,70/255");

    // A watermark that only sticks out to the left: the canvas gains a column, and the
    // corner covered by neither layer takes the background colour with alpha 0.
    auto tall = MakeLayer(1, 3, {Grey(255)});
    tall->SetPosX(-1);
    result = Compose(*picture, *tall);
    ASSERT_EQ(result->Width(), 3);
    ASSERT_EQ(result->Height(), 3);
    EXPECT_EQ(Pixel(*result, 1, 0), "0,0,0/255");
    EXPECT_EQ(Pixel(*result, 2, 2), "30,20,10/0");
    EXPECT_EQ(Pixel(*result, 0, 2), "255,255,255/255");
}

TEST(LayerCompose, LowerOnlyPixelsKeepTheirCappedAlpha) {
    // The upper layer covers one of three pixels; the others show the lower layer with
    // alpha Trunc(min(200, 100) * 0.55) = 55.
    auto lower = MakeLayer(3, 1, {Grey(40)}, {200});
    lower->SetTransparency(100);
    lower->SetOpacity(0.55);
    auto upper = MakeLayer(1, 1, {Grey(0)});
    upper->SetPosX(2);
    std::unique_ptr<TIEBitmap> result = Compose(*lower, *upper);
    ASSERT_EQ(result->Width(), 3);
    EXPECT_EQ(Pixel(*result, 0, 0), "40,40,40/55");
    EXPECT_EQ(Pixel(*result, 2, 0), "0,0,0/255");
}

TEST(LayerCompose, CroppedUpperLayerIsCutToTheBackgroundOnly) {
    auto picture = MakeLayer(2, 2, {Grey(0)});
    auto mark = MakeLayer(3, 3, {Grey(255)});
    mark->SetPosX(-1);
    mark->SetPosY(-1);
    mark->SetCropped(true);
    std::unique_ptr<TIEBitmap> result = Compose(*picture, *mark);
    ASSERT_EQ(result->Width(), 2);
    ASSERT_EQ(result->Height(), 2);
    EXPECT_EQ(Pixel(*result, 0, 0), "255,255,255/255");

    // Over a layer that is not the background, the cut doesn't apply.
    result = Compose(*picture, *mark, nullptr, true);
    EXPECT_EQ(result->Width(), 3);
}

TEST(LayerCompose, LayersAreShownAtTheirDisplayedSizeAndFormat) {
    // A 1x1 upper layer displayed at 3x2 over a grey 3x2 picture; the picture is ie8g.
    auto picture = std::make_unique<TIEImageLayer>(nullptr);
    picture->Bitmap().Allocate(3, 2, ie8g);
    picture->Bitmap().Fill(60);
    auto mark = MakeLayer(1, 1, {Grey(200)});
    mark->SetWidth(3);
    mark->SetHeight(2);
    mark->SetOpacity(0.5);
    std::unique_ptr<TIEBitmap> result = Compose(*picture, *mark);
    ASSERT_EQ(result->Width(), 3);
    ASSERT_EQ(result->Height(), 2);
    EXPECT_EQ(Pixel(*result, 2, 1), "130,130,130/255");
    // The layer's own bitmap is not changed by the merge.
    EXPECT_EQ(mark->Bitmap().Width(), 1);
}

TEST(LayerCompose, MaskLimitsTheUpperLayer) {
    // A mask of levels 255 and 0 over the left pixel only: the right pixel is outside it.
    auto picture = MakeLayer(3, 1, {Grey(0)});
    auto mark = MakeLayer(3, 1, {Grey(255)});
    auto mask = std::make_unique<TIEImageLayer>(nullptr);
    mask->Bitmap().Allocate(2, 1, ie8g);
    mask->Bitmap().SetPixels_ie8(0, 0, 255);
    mask->Bitmap().SetPixels_ie8(1, 0, 0);
    mask->SetIsMask(true);
    std::unique_ptr<TIEBitmap> result = Compose(*picture, *mark, mask.get());
    EXPECT_EQ(Pixel(*result, 0, 0), "255,255,255/255");
    EXPECT_EQ(Pixel(*result, 1, 0), "0,0,0/255");
    EXPECT_EQ(Pixel(*result, 2, 0), "0,0,0/255");
}

TEST(LayerCompose, ALayerWithoutBitmapRaises) {
    class TShapeLayer : public TIELayer {
      public:
        TShapeLayer() : TIELayer(ielkShape, nullptr) {}
    } shape;
    auto picture = MakeLayer(1, 1, {Grey(0)});
    TIEBitmap result;
    TIELayerComposition composition;
    composition.Lower = picture.get();
    composition.Upper = &shape;
    try {
        IEComposeLayers(composition, result);
        FAIL() << "no exception";
    } catch (const EIEException& e) {
        EXPECT_STREQ(e.what(), "Layer insertion error - Invalid Type: 1");
    }
}
