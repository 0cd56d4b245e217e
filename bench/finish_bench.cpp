// The worker's finishing steps on the 1200 x 800 picture that a reduction of a
// 6000 x 4000 photo gives: the sharpening step (copy, AutoSharp(68, 0.035),
// Merge 50), AutoImageEnhance3(0.33, 70) and the black-and-white step, each with
// its parts, so that a slow one can be found.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <memory>

#include "bench/benchphoto.h"
#include "image/bitmap.h"
#include "proc/enhance.h"
#include "proc/imagerproc.h"
#include "proc/sharpen.h"

namespace {

constexpr int32_t Width = 1200;
constexpr int32_t Height = 800;

// The photo-like picture at the size of a reduced batch file.
TIEBitmap& Picture() {
    static std::unique_ptr<TIEBitmap> picture = [] {
        auto bitmap = std::make_unique<TIEBitmap>();
        FillPhotoLike(*bitmap, Width, Height, 5);
        return bitmap;
    }();
    return *picture;
}

// A fresh copy of the picture per iteration, made outside the timing.
template <typename Work> void OnCopy(benchmark::State& State, Work&& DoWork) {
    for (auto _ : State) {
        State.PauseTiming();
        auto bitmap = std::make_unique<TIEBitmap>();
        bitmap->SetLocation(ieMemory);
        bitmap->AssignImage(Picture());
        State.ResumeTiming();
        DoWork(*bitmap);
        benchmark::DoNotOptimize(bitmap->GetScanline(0));
    }
}

// The whole step as the worker runs it, the copy for the blend included.
void SharpenStep(benchmark::State& State) {
    OnCopy(State, [](TIEBitmap& bitmap) {
        TIEBitmap unsharpened;
        unsharpened.SetLocation(ieMemory);
        unsharpened.AssignImage(bitmap);
        TImagerProc proc(&bitmap);
        proc.SetAutoUndo(false);
        proc.AutoSharp(68, 0.035);
        proc.Merge(unsharpened, 50);
    });
}

void EdgeMap(benchmark::State& State) {
    TIEShenCastanParams params;
    for (auto _ : State)
        benchmark::DoNotOptimize(IEShenCastanEdgeMap(Picture(), params).data());
}

void BlurEdgeMask(benchmark::State& State) {
    TIEBitmap mask;
    mask.SetLocation(ieMemory);
    mask.Allocate(Width, Height, ie8g);
    for (auto _ : State)
        IEBlur(mask, 4.0);
}

void AutoSharp(benchmark::State& State) {
    OnCopy(State, [](TIEBitmap& bitmap) { IEAutoSharp(bitmap, 68, 0.035, TIEProgressEvent(), nullptr); });
}

void Merge50(benchmark::State& State) {
    OnCopy(State, [](TIEBitmap& bitmap) {
        IEMerge(bitmap, Picture(), 50, TIEProcRect{0, 0, Width, Height}, TIEProgressEvent(), nullptr);
    });
}

void AutoImageEnhance3(benchmark::State& State) {
    OnCopy(State, [](TIEBitmap& bitmap) {
        TImagerProc proc(&bitmap);
        proc.SetAutoUndo(false);
        proc.AutoImageEnhance3(0.33, 70);
    });
}

void BlackAndWhite(benchmark::State& State) {
    OnCopy(State, [](TIEBitmap& bitmap) {
        TImagerProc proc(&bitmap);
        proc.SetAutoUndo(false);
        proc.WhiteBalance_GrayWorld();
        proc.ConvertToGray();
    });
}

} // namespace

BENCHMARK(SharpenStep)->Unit(benchmark::kMillisecond);
BENCHMARK(EdgeMap)->Unit(benchmark::kMillisecond);
BENCHMARK(BlurEdgeMask)->Unit(benchmark::kMillisecond);
BENCHMARK(AutoSharp)->Unit(benchmark::kMillisecond);
BENCHMARK(Merge50)->Unit(benchmark::kMillisecond);
BENCHMARK(AutoImageEnhance3)->Unit(benchmark::kMillisecond);
BENCHMARK(BlackAndWhite)->Unit(benchmark::kMillisecond);
