#include <benchmark/benchmark.h>
#include <cstdint>
#include <cstring>

#include "image/bitmap.h"
#include "image/settings.h"

namespace {

constexpr int32_t kWidth = 20000;
constexpr int32_t kHeight = 10000; // 600 MB of ie24RGB

// Allocates, fills and reads back one large picture; the read folds every row into
// a checksum so that nothing can be optimised away.
void AllocateFillRead(benchmark::State& State, bool FileBacked) {
    int64_t savedThreshold = DefMinFileSize;
    // Threshold 0 sends every allocation to a temporary file.
    DefMinFileSize = FileBacked ? 0 : int64_t(1) << 40;
    for (auto _ : State) {
        TIEBitmap bitmap;
        if (!bitmap.Allocate(kWidth, kHeight, ie24RGB)) {
            State.SkipWithError("allocation failed");
            break;
        }
        if ((bitmap.Location() == ieFile) != FileBacked) {
            State.SkipWithError("unexpected location");
            break;
        }
        bitmap.Fill(double(0x00336699));
        uint64_t checksum = 0;
        const int64_t words = bitmap.RowLen() / 8;
        for (int32_t y = 0; y < kHeight; ++y) {
            const auto* row = static_cast<const uint8_t*>(bitmap.GetScanline(y));
            for (int64_t i = 0; i < words; ++i) {
                uint64_t word;
                std::memcpy(&word, row + i * 8, 8);
                checksum ^= word + uint64_t(i);
            }
        }
        benchmark::DoNotOptimize(checksum);
    }
    DefMinFileSize = savedThreshold;
    State.SetBytesProcessed(int64_t(State.iterations()) * kWidth * 3 * int64_t(kHeight) * 2);
}

void BM_BitmapMemory(benchmark::State& State) {
    AllocateFillRead(State, false);
}
void BM_BitmapFile(benchmark::State& State) {
    AllocateFillRead(State, true);
}

} // namespace

BENCHMARK(BM_BitmapMemory)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BitmapFile)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
