// The watermark merge of the batch worker on a 1200 x 800 output: a new layer, the
// watermark's pixels, the bottom-right placement under Transparency 70, the merge.
#include <benchmark/benchmark.h>

#include "image/bitmap.h"
#include "image/layers.h"
#include "mview/imagerview.h"

namespace {

void FillPicture(TIEBitmap& Bitmap, int32_t Width, int32_t Height) {
    Bitmap.Allocate(Width, Height, ie24RGB);
    for (int32_t y = 0; y < Height; ++y)
        for (int32_t x = 0; x < Width; ++x)
            Bitmap.SetPixels_ie24RGB(x, y, TRGB{uint8_t(x), uint8_t(y), uint8_t(x ^ y)});
}

void FillWatermark(TIEBitmap& Bitmap, int32_t Width, int32_t Height) {
    FillPicture(Bitmap, Width, Height);
    TIEBitmap* alpha = Bitmap.AlphaChannel();
    alpha->SetFull(false);
    for (int32_t y = 0; y < Height; ++y)
        for (int32_t x = 0; x < Width; ++x)
            Bitmap.SetAlpha(x, y, uint8_t((x + y) * 7));
}

// Watermark size from the arguments; 1200 x 800 is the whole picture.
void BM_WatermarkMerge(benchmark::State& State) {
    const int32_t width = int32_t(State.range(0));
    const int32_t height = int32_t(State.range(1));
    TIEBitmap picture, mark;
    FillPicture(picture, 1200, 800);
    FillWatermark(mark, width, height);
    for (auto _ : State) {
        State.PauseTiming();
        TImagerView view;
        view.IEBitmap().Assign(picture);
        State.ResumeTiming();
        view.LayersAdd(ielkImage, -1, -1, 0, 0);
        // The PNG load is measured with the codec; here its result is copied in.
        view.IEBitmap().Assign(mark);
        TIELayer& layer = view.GetLayer(1);
        layer.SetPosX(view.GetLayer(0).Width() - layer.Width());
        layer.SetPosY(view.GetLayer(0).Height() - layer.Height());
        layer.SetTransparency(70);
        view.LayersMerge(0, 1, true);
        benchmark::DoNotOptimize(view.IEBitmap().GetScanline(0));
    }
}
BENCHMARK(BM_WatermarkMerge)->Args({300, 100})->Args({1200, 800})->Unit(benchmark::kMillisecond);

// The compositing loop alone.
void BM_ComposeLayers(benchmark::State& State) {
    TIEImageLayer lower(nullptr), upper(nullptr);
    FillPicture(lower.Bitmap(), 1200, 800);
    FillWatermark(upper.Bitmap(), 1200, 800);
    upper.SetTransparency(70);
    TIELayerComposition composition;
    composition.Lower = &lower;
    composition.Upper = &upper;
    TIEBitmap destination;
    for (auto _ : State) {
        IEComposeLayers(composition, destination);
        benchmark::DoNotOptimize(destination.GetScanline(0));
    }
}
BENCHMARK(BM_ComposeLayers)->Unit(benchmark::kMillisecond);

} // namespace
