// Reduction of a 6000 x 4000 ie24RGB photo-like picture to 1200 x 800 with every
// filter the user can choose, and the worker's stepwise Lanczos3 loop.
// MP/s counts source megapixels per second.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <memory>

#include "bench/benchphoto.h"
#include "image/bitmap.h"
#include "proc/resample.h"

namespace {

constexpr int32_t SourceWidth = 6000;
constexpr int32_t SourceHeight = 4000;
constexpr int32_t TargetWidth = 1200;
constexpr int32_t TargetHeight = 800;

// The same photo-like picture for every filter.
TIEBitmap& Photo() {
    static std::unique_ptr<TIEBitmap> photo = [] {
        auto bitmap = std::make_unique<TIEBitmap>();
        FillPhotoLike(*bitmap, SourceWidth, SourceHeight);
        return bitmap;
    }();
    return *photo;
}

void SetCounters(benchmark::State& State) {
    State.counters["MP/s"] = benchmark::Counter(double(SourceWidth) * SourceHeight / 1e6,
                                                benchmark::Counter::kIsIterationInvariantRate);
}

void OneStep(benchmark::State& State, TResampleFilter Filter) {
    TIEBitmap& source = Photo();
    for (auto _ : State) {
        TIEBitmap target;
        target.SetLocation(ieMemory);
        target.Allocate(TargetWidth, TargetHeight, ie24RGB);
        IEResampleDispatch(source, target, Filter, nullptr, nullptr);
        benchmark::DoNotOptimize(target.GetScanline(0));
    }
    SetCounters(State);
}

// The worker's loop: the width shrinks to (L div 100) * 75, never below the target,
// and each step resolves the height from the bitmap with -1.
void Stepwise(benchmark::State& State) {
    TIEBitmap& source = Photo();
    for (auto _ : State) {
        auto current = std::make_unique<TIEBitmap>();
        current->SetLocation(ieMemory);
        current->Allocate(SourceWidth, SourceHeight, ie24RGB);
        State.PauseTiming();
        for (int32_t y = 0; y < SourceHeight; ++y)
            std::memcpy(current->GetScanline(y), source.GetScanline(y), size_t(SourceWidth) * 3);
        State.ResumeTiming();
        int32_t length = SourceWidth;
        while (length > TargetWidth) {
            length = std::max(TargetWidth, length / 100 * 75);
            int32_t width = length, height = -1;
            IEResolveResampleSize(width, height, current->Width(), current->Height(), false);
            auto next = std::make_unique<TIEBitmap>();
            next->SetLocation(ieMemory);
            next->Allocate(width, height, ie24RGB);
            IEResampleDispatch(*current, *next, rfLanczos3, nullptr, nullptr);
            current = std::move(next);
        }
        benchmark::DoNotOptimize(current->GetScanline(0));
    }
    SetCounters(State);
}

} // namespace

BENCHMARK_CAPTURE(OneStep, Mitchell, rfMitchell)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(OneStep, Bilinear, rfBilinear)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(OneStep, Bicubic, rfBicubic)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(OneStep, Lanczos3, rfLanczos3)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(OneStep, Hermite, rfHermite)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(OneStep, Bell, rfBell)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(OneStep, BSpline, rfBSpline)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(OneStep, WICCubicHQ, rfWICCubicHQ)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Stepwise)->Name("Stepwise/Lanczos3")->Unit(benchmark::kMillisecond)->UseRealTime();
