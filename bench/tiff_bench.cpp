// Decoding an 8000 x 6000 RGB TIFF (strips of 64 rows) uncompressed, in LZW and in
// deflate, both with horizontal differencing. The files are written once into the
// folder named by PW_BENCH_TIFF_DIR (a temporary one if unset), so that other programs
// can be timed on the same files.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>
#include <zlib.h>

#include "bench/benchphoto.h"
#include "image/bitmap.h"
#include "io/codecs/lzw.h"
#include "io/codecs/tiff.h"

namespace {

constexpr uint32_t kWidth = 8000, kHeight = 6000, kRowsPerStrip = 64;

void Put(std::vector<uint8_t>& Out, uint64_t Value, int Bytes) {
    for (int i = 0; i < Bytes; ++i)
        Out.push_back(uint8_t(Value >> (8 * i)));
}

// A little-endian TIFF of the photo, each strip made by Compress from its raw bytes.
template <typename F> std::vector<uint8_t> MakeTiff(uint16_t Compression, uint16_t Predictor, F Compress) {
    TIEBitmap photo;
    FillPhotoLike(photo, int32_t(kWidth), int32_t(kHeight));
    std::vector<uint8_t> out{'I', 'I', 42, 0, 0, 0, 0, 0};
    std::vector<uint32_t> offsets, counts;
    std::vector<uint8_t> strip;
    for (uint32_t top = 0; top < kHeight; top += kRowsPerStrip) {
        strip.clear();
        for (uint32_t y = top; y < std::min(top + kRowsPerStrip, kHeight); ++y) {
            const auto* row = static_cast<const TRGB*>(photo.GetScanline(int32_t(y)));
            const size_t start = strip.size();
            for (uint32_t x = 0; x < kWidth; ++x)
                strip.insert(strip.end(), {row[x].r, row[x].g, row[x].b});
            if (Predictor == 2)
                for (size_t i = strip.size() - 1; i >= start + 3; --i)
                    strip[i] = uint8_t(strip[i] - strip[i - 3]);
        }
        const std::vector<uint8_t> packed = Compress(strip);
        offsets.push_back(uint32_t(out.size()));
        counts.push_back(uint32_t(packed.size()));
        out.insert(out.end(), packed.begin(), packed.end());
    }
    const uint32_t arrays = uint32_t(out.size());
    for (uint32_t v : offsets)
        Put(out, v, 4);
    for (uint32_t v : counts)
        Put(out, v, 4);
    const uint32_t bits = uint32_t(out.size());
    Put(out, 0x00080008, 4);
    Put(out, 8, 2);
    const uint32_t directory = uint32_t(out.size());
    const uint32_t strips = uint32_t(offsets.size());
    const std::vector<std::vector<uint32_t>> entries{{256, 4, 1, kWidth},
                                                     {257, 4, 1, kHeight},
                                                     {258, 3, 3, bits},
                                                     {259, 3, 1, Compression},
                                                     {262, 3, 1, 2},
                                                     {273, 4, strips, arrays},
                                                     {277, 3, 1, 3},
                                                     {278, 4, 1, kRowsPerStrip},
                                                     {279, 4, strips, arrays + 4 * strips},
                                                     {317, 3, 1, Predictor}};
    Put(out, entries.size(), 2);
    for (const auto& e : entries) {
        Put(out, e[0], 2);
        Put(out, e[1], 2);
        Put(out, e[2], 4);
        Put(out, e[3], 4);
    }
    Put(out, 0, 4);
    for (int i = 0; i < 4; ++i)
        out[4 + size_t(i)] = uint8_t(directory >> (8 * i));
    return out;
}

std::string Folder() {
    static const std::string folder = [] {
        if (const char* given = std::getenv("PW_BENCH_TIFF_DIR")) {
            std::filesystem::create_directories(given);
            return std::string(given);
        }
        std::string made = (std::filesystem::temp_directory_path() / "pwbench-XXXXXX").string();
        if (!mkdtemp(made.data())) std::abort();
        std::atexit([] { std::filesystem::remove_all(Folder()); });
        return made;
    }();
    return folder;
}

// The file of one kind, written on first use.
std::string TiffFile(const std::string& Kind) {
    const std::string path = Folder() + "/photo-" + Kind + ".tif";
    if (std::filesystem::exists(path)) return path;
    std::vector<uint8_t> bytes;
    if (Kind == "none") {
        bytes = MakeTiff(1, 1, [](const std::vector<uint8_t>& Raw) { return Raw; });
    } else if (Kind == "lzw") {
        bytes = MakeTiff(
            5, 2, [](const std::vector<uint8_t>& Raw) { return IELzwEncodeTiff(Raw.data(), Raw.size()); });
    } else {
        bytes = MakeTiff(8, 2, [](const std::vector<uint8_t>& Raw) {
            uLongf size = compressBound(uLong(Raw.size()));
            std::vector<uint8_t> packed(size);
            compress2(packed.data(), &size, Raw.data(), uLong(Raw.size()), 6);
            packed.resize(size);
            return packed;
        });
    }
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    return path;
}

void Decode(benchmark::State& State, const std::string& Kind) {
    const std::string path = TiffFile(Kind);
    for (auto _ : State) {
        TIEFileStream stream(path, TIEFileMode::Read);
        TIEBitmap bitmap;
        TIOParams params;
        bool aborting = false;
        TProgressRec progress;
        progress.Aborting = &aborting;
        int32_t pages = 0;
        ReadTIFFStream(stream, bitmap, params, progress, false, pages);
        if (aborting || bitmap.Width() != int32_t(kWidth)) State.SkipWithError("decode failed");
        benchmark::DoNotOptimize(bitmap.GetScanline(0));
    }
    State.counters["MP/s"] =
        benchmark::Counter(double(kWidth) * kHeight / 1e6, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK_CAPTURE(Decode, Uncompressed, std::string("none"))->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Decode, LzwPredictor2, std::string("lzw"))->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Decode, DeflatePredictor2, std::string("deflate"))
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

} // namespace
