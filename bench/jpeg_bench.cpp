// A camera-sized JPEG (6000 x 4000, made once from a synthetic photo): decoding it,
// and one worker of the default batch on it (load, stepwise Lanczos3 to 1200, save at
// quality 80), and the same in one step.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

#include "app/ahresize.h"
#include "bench/benchphoto.h"
#include "image/bitmap.h"
#include "io/codecs/jpeg.h"

namespace {

constexpr int32_t SourceWidth = 6000;
constexpr int32_t SourceHeight = 4000;

const std::vector<uint8_t>& PhotoJpeg() {
    static const std::vector<uint8_t> jpeg = [] {
        TIEBitmap bitmap;
        FillPhotoLike(bitmap, SourceWidth, SourceHeight);
        TIOParams params;
        params.JPEG_Quality = 90;
        TIEMemoryStream stream;
        bool aborting = false;
        TProgressRec progress;
        progress.Aborting = &aborting;
        WriteJpegStream(stream, bitmap, params, progress);
        return stream.Data();
    }();
    return jpeg;
}

// The picture as a file in a folder of its own, for the worker.
const std::string& PhotoFile() {
    static const std::string path = [] {
        std::string folder = (std::filesystem::temp_directory_path() / "pwbench-XXXXXX").string();
        if (!mkdtemp(folder.data())) std::abort();
        const std::vector<uint8_t>& jpeg = PhotoJpeg();
        std::ofstream(folder + "/photo.jpg", std::ios::binary)
            .write(reinterpret_cast<const char*>(jpeg.data()), std::streamsize(jpeg.size()));
        std::atexit([] { std::filesystem::remove_all(std::filesystem::path(PhotoFile()).parent_path()); });
        return folder + "/photo.jpg";
    }();
    return path;
}

void Decode(benchmark::State& State) {
    const std::vector<uint8_t>& jpeg = PhotoJpeg();
    for (auto _ : State) {
        TIEMemoryStream stream(jpeg);
        TIEBitmap bitmap;
        TIOParams params;
        bool aborting = false;
        TProgressRec progress;
        progress.Aborting = &aborting;
        ReadJpegStream(stream, nullptr, bitmap, params, progress, false, false, true, false, true, true, -1,
                       false, nullptr, false);
        if (aborting) State.SkipWithError("decode failed");
        benchmark::DoNotOptimize(bitmap.GetScanline(0));
    }
    State.counters["MP/s"] = benchmark::Counter(double(SourceWidth) * SourceHeight / 1e6,
                                                benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(Decode)->Unit(benchmark::kMillisecond)->UseRealTime();

void Batch(benchmark::State& State, bool OneStep) {
    const std::string& source = PhotoFile();
    TRisizeProperty job;
    job.Source = source;
    job.Destination = std::filesystem::path(source).parent_path().string();
    job.Multi = OneStep;
    for (auto _ : State) {
        TResize worker(job);
        worker.Resume();
        worker.WaitUntilParked();
        if (std::filesystem::file_size(worker.NewImage()) == 0) State.SkipWithError("nothing written");
    }
}
BENCHMARK_CAPTURE(Batch, Stepwise, false)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Batch, OneStep, true)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
