#include "proc/resample_hq.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "image/bitmap.h"

namespace {

double CatmullRom(double x) {
    const double a = std::fabs(x);
    if (a < 1.0) return 1.5 * a * a * a - 2.5 * a * a + 1.0;
    if (a < 2.0) return -0.5 * a * a * a + 2.5 * a * a - 4.0 * a + 2.0;
    return 0.0;
}

// Normalised taps of every target index as dense runs inside the source, the
// border taps folded onto the border pixel. Runs are padded to TapCount with zero
// weights; Count holds the real length.
struct TScalerTaps {
    int32_t TapCount = 0;
    std::vector<int32_t> Start;
    std::vector<int32_t> Count;
    std::vector<float> Weights;
};

constexpr int32_t ScalerTapAlignment = 8;

TScalerTaps BuildTaps(int32_t SrcSize, int32_t DstSize, int32_t Mode) {
    const double ratio = double(SrcSize) / DstSize;
    std::vector<std::vector<double>> runs(static_cast<size_t>(DstSize));
    TScalerTaps taps;
    taps.Start.resize(size_t(DstSize));
    taps.Count.resize(size_t(DstSize));
    std::vector<std::pair<int32_t, double>> raw;
    for (int32_t i = 0; i < DstSize; ++i) {
        raw.clear();
        const double center = (i + 0.5) * ratio - 0.5;
        if (Mode == 1) {
            const int32_t j = int32_t(std::floor(center));
            const double t = center - j;
            raw.emplace_back(j, 1.0 - t);
            raw.emplace_back(j + 1, t);
        } else if (Mode == 3) {
            const double a = i * ratio, b = (i + 1) * ratio;
            for (int32_t j = int32_t(std::floor(a)); j < int32_t(std::ceil(b)); ++j)
                raw.emplace_back(j, std::min(b, j + 1.0) - std::max(a, double(j)));
        } else {
            const double stretch = Mode == 4 ? std::max(1.0, ratio) : 1.0;
            const double support = 2.0 * stretch;
            for (int32_t j = int32_t(std::floor(center - support)) + 1; j < center + support; ++j)
                raw.emplace_back(j, CatmullRom((j - center) / stretch));
        }
        int32_t low = SrcSize - 1, high = 0;
        double sum = 0.0;
        for (auto& [j, w] : raw) {
            j = std::clamp(j, 0, SrcSize - 1);
            low = std::min(low, j);
            high = std::max(high, j);
            sum += w;
        }
        std::vector<double>& run = runs[size_t(i)];
        if (raw.empty() || sum == 0.0) {
            low = high = std::clamp(int32_t(std::floor(center + 0.5)), 0, SrcSize - 1);
            run.assign(1, 1.0);
        } else {
            run.assign(size_t(high - low + 1), 0.0);
            for (const auto& [j, w] : raw)
                run[size_t(j - low)] += w / sum;
        }
        taps.Start[size_t(i)] = low;
        taps.Count[size_t(i)] = int32_t(run.size());
        taps.TapCount = std::max(taps.TapCount, int32_t(run.size()));
    }
    taps.TapCount = (taps.TapCount + ScalerTapAlignment - 1) / ScalerTapAlignment * ScalerTapAlignment;
    taps.Weights.assign(size_t(DstSize) * size_t(taps.TapCount), 0.0f);
    for (int32_t i = 0; i < DstSize; ++i)
        for (size_t k = 0; k < runs[size_t(i)].size(); ++k)
            taps.Weights[size_t(i) * size_t(taps.TapCount) + k] = float(runs[size_t(i)][k]);
    return taps;
}

int32_t SampleBytes(TIEScalerSample Sample) {
    return Sample == ssWord ? 2 : Sample == ssSingle ? 4 : 1;
}

void UnpackChannel(const uint8_t* Row, int32_t Width, int32_t PixelBytes, int32_t Offset,
                   TIEScalerSample Sample, float* Plane) {
    const uint8_t* p = Row + Offset;
    switch (Sample) {
    case ssByte:
        for (int32_t x = 0; x < Width; ++x)
            Plane[x] = p[size_t(x) * size_t(PixelBytes)];
        break;
    case ssInvertedByte:
        for (int32_t x = 0; x < Width; ++x)
            Plane[x] = float(255 - p[size_t(x) * size_t(PixelBytes)]);
        break;
    case ssSignedByte:
        for (int32_t x = 0; x < Width; ++x)
            Plane[x] = int8_t(p[size_t(x) * size_t(PixelBytes)]);
        break;
    case ssWord:
        for (int32_t x = 0; x < Width; ++x) {
            uint16_t v;
            std::memcpy(&v, p + size_t(x) * size_t(PixelBytes), 2);
            Plane[x] = v;
        }
        break;
    case ssSingle:
        for (int32_t x = 0; x < Width; ++x)
            std::memcpy(&Plane[x], p + size_t(x) * size_t(PixelBytes), 4);
        break;
    }
}

void PackChannel(const float* Values, int32_t Width, int32_t Channels, int32_t Channel, int32_t PixelBytes,
                 int32_t Offset, TIEScalerSample Sample, uint8_t* Row) {
    uint8_t* p = Row + Offset;
    for (int32_t x = 0; x < Width; ++x) {
        const float v = Values[size_t(x) * size_t(Channels) + size_t(Channel)];
        uint8_t* d = p + size_t(x) * size_t(PixelBytes);
        switch (Sample) {
        case ssByte:
            *d = uint8_t(std::clamp(IERound(v), 0, 255));
            break;
        case ssInvertedByte:
            *d = uint8_t(255 - std::clamp(IERound(v), 0, 255));
            break;
        case ssSignedByte:
            *d = uint8_t(int8_t(std::clamp(IERound(v), -128, 127)));
            break;
        case ssWord: {
            const uint16_t w = uint16_t(std::clamp(IERound(v), 0, 65535));
            std::memcpy(d, &w, 2);
            break;
        }
        case ssSingle:
            std::memcpy(d, &v, 4);
            break;
        }
    }
}

// Eight partial sums in a fixed order: the compiler vectorises the inner loop
// without reassociating, so every build gives the same result.
__attribute__((target_clones("avx2", "default"))) float DotFloat(const float* Values, const float* Weights,
                                                                 int32_t Taps) {
    float partial[ScalerTapAlignment] = {};
    for (int32_t k = 0; k < Taps; k += ScalerTapAlignment)
        for (int32_t l = 0; l < ScalerTapAlignment; ++l)
            partial[l] += Values[k + l] * Weights[k + l];
    return ((partial[0] + partial[4]) + (partial[1] + partial[5])) +
           ((partial[2] + partial[6]) + (partial[3] + partial[7]));
}

__attribute__((target_clones("avx2", "default"))) void AddScaledRow(float* Acc, const float* Row,
                                                                    float Weight, size_t Count) {
    for (size_t i = 0; i < Count; ++i)
        Acc[i] += Row[i] * Weight;
}

} // namespace

int32_t IEScalerMode(TResampleFilter Filter) {
    switch (Filter) {
    case rfWICNearestNeighbor:
        return 0;
    case rfWICLinear:
        return 1;
    case rfWICCubic:
        return 2;
    case rfWICFant:
        return 3;
    default:
        return 4;
    }
}

void IEScalerResample(const TIERowImage& Src, const TIERowImage& Dst, const TIEScalerLayout& Layout,
                      int32_t Mode, const TIEProgressEvent& OnProgress, void* Sender) {
    if (Src.Empty() || Dst.Empty() || Layout.Channels < 1 || Layout.Channels > 4) return;
    const int32_t channels = Layout.Channels;
    int32_t offsets[4] = {0, 0, 0, 0};
    int32_t pixelBytes = 0;
    for (int32_t c = 0; c < channels; ++c) {
        offsets[c] = pixelBytes;
        pixelBytes += SampleBytes(Layout.Samples[c]);
    }
    const int32_t srcWidth = Src.Width(), srcHeight = Src.Height();
    const int32_t dstWidth = Dst.Width(), dstHeight = Dst.Height();
    const TScalerTaps columns = BuildTaps(srcWidth, dstWidth, Mode);
    const size_t workRow = size_t(dstWidth) * size_t(channels);
    std::vector<float> work(workRow * size_t(srcHeight));
    {
        const size_t planeLength = size_t(srcWidth) + size_t(columns.TapCount);
        std::vector<float> planes(planeLength * size_t(channels), 0.0f);
        for (int32_t y = 0; y < srcHeight; ++y) {
            const uint8_t* row = Src.Row(y);
            if (!row) return;
            for (int32_t c = 0; c < channels; ++c)
                UnpackChannel(row, srcWidth, pixelBytes, offsets[c], Layout.Samples[c],
                              planes.data() + size_t(c) * planeLength);
            float* out = work.data() + size_t(y) * workRow;
            for (int32_t x = 0; x < dstWidth; ++x) {
                const float* w = columns.Weights.data() + size_t(x) * size_t(columns.TapCount);
                for (int32_t c = 0; c < channels; ++c)
                    out[size_t(x) * size_t(channels) + size_t(c)] =
                        DotFloat(planes.data() + size_t(c) * planeLength + columns.Start[size_t(x)], w,
                                 columns.TapCount);
            }
        }
    }
    const TScalerTaps rows = BuildTaps(srcHeight, dstHeight, Mode);
    std::vector<float> acc(workRow);
    TIEProgressReporter progress(OnProgress, Sender);
    for (int32_t y = 0; y < dstHeight; ++y) {
        std::fill(acc.begin(), acc.end(), 0.0f);
        const float* w = rows.Weights.data() + size_t(y) * size_t(rows.TapCount);
        for (int32_t k = 0; k < rows.Count[size_t(y)]; ++k)
            AddScaledRow(acc.data(), work.data() + size_t(rows.Start[size_t(y)] + k) * workRow, w[k],
                         workRow);
        uint8_t* row = Dst.Row(y);
        if (!row) return;
        for (int32_t c = 0; c < channels; ++c)
            PackChannel(acc.data(), dstWidth, channels, c, pixelBytes, offsets[c], Layout.Samples[c], row);
        progress.Report(IETrunc(double(y) / dstHeight * 100.0));
    }
}

namespace {

// Source rows of formats the filter cannot read directly, expanded one at a time.
struct TExpandedRows {
    TIEBitmap* Bitmap;
    std::vector<uint8_t> Row;

    static uint8_t* Get(void* Context, int32_t y) {
        auto* self = static_cast<TExpandedRows*>(Context);
        const uint8_t* s = static_cast<const uint8_t*>(self->Bitmap->GetScanline(y));
        if (!s) return nullptr;
        const int32_t width = self->Bitmap->Width();
        if (self->Bitmap->PixelFormat() == ie1g) {
            for (int32_t x = 0; x < width; ++x)
                self->Row[size_t(x)] = (s[x >> 3] & (0x80 >> (x & 7))) ? 255 : 0;
        } else {
            for (int32_t x = 0; x < width; ++x) {
                const TRGB c = self->Bitmap->GetPalette(s[x]);
                std::memcpy(&self->Row[size_t(x) * 3], &c, 3);
            }
        }
        return self->Row.data();
    }
};

uint8_t* BitmapRow(void* Context, int32_t y) {
    return static_cast<uint8_t*>(static_cast<TIEBitmap*>(Context)->GetScanline(y));
}

void NearestByCentre(TIEBitmap& Src, TIEBitmap& Dst, const TIEProgressEvent& OnProgress, void* Sender) {
    const int32_t srcWidth = Src.Width(), srcHeight = Src.Height();
    const int32_t dstWidth = Dst.Width(), dstHeight = Dst.Height();
    const int32_t bits = Src.BitCount();
    std::vector<int32_t> columns(static_cast<size_t>(dstWidth));
    for (int32_t x = 0; x < dstWidth; ++x)
        columns[size_t(x)] = std::min(srcWidth - 1, IETrunc((x + 0.5) * srcWidth / dstWidth));
    std::vector<uint8_t> line(size_t(Dst.RowLen()));
    TIEProgressReporter progress(OnProgress, Sender);
    for (int32_t y = 0; y < dstHeight; ++y) {
        const int32_t sy = std::min(srcHeight - 1, IETrunc((y + 0.5) * srcHeight / dstHeight));
        const uint8_t* s = static_cast<const uint8_t*>(Src.GetScanline(sy));
        if (!s) return;
        std::fill(line.begin(), line.end(), 0);
        for (int32_t x = 0; x < dstWidth; ++x) {
            const int32_t c = columns[size_t(x)];
            if (bits == 1) {
                if (s[c >> 3] & (0x80 >> (c & 7))) line[size_t(x >> 3)] |= uint8_t(0x80 >> (x & 7));
            } else {
                std::memcpy(&line[size_t(x) * size_t(bits / 8)], s + size_t(c) * size_t(bits / 8),
                            size_t(bits / 8));
            }
        }
        void* target = Dst.GetScanline(y);
        if (!target) return;
        std::memcpy(target, line.data(), line.size());
        progress.Report(IETrunc(double(y) / dstHeight * 100.0));
    }
}

} // namespace

bool IESystemScalerResample(TIEBitmap& Src, TIEBitmap& Dst, TResampleFilter Filter,
                            const TIEProgressEvent& OnProgress, void* Sender) {
    const TIEPixelFormat format = Src.PixelFormat();
    if (Src.IsEmpty() || Dst.IsEmpty() || format == ieNull) return false;
    const int32_t dstWidth = Dst.Width(), dstHeight = Dst.Height();
    const int32_t mode = IEScalerMode(Filter);
    if (mode == 0) {
        if (Dst.PixelFormat() != format && !Dst.Allocate(dstWidth, dstHeight, format)) return false;
        if (format == ie8p) Src.CopyPaletteTo(Dst);
        NearestByCentre(Src, Dst, OnProgress, Sender);
        return Src.FlushRows() & Dst.FlushRows();
    }
    TIEScalerLayout layout;
    TIEPixelFormat result = format;
    switch (format) {
    case ie1g:
    case ie8g:
        layout.Channels = 1;
        result = ie8g;
        break;
    case ie16g:
        layout.Channels = 1;
        layout.Samples[0] = ssWord;
        break;
    case ie8p:
    case ie24RGB:
        layout.Channels = 3;
        result = ie24RGB;
        break;
    case ie32RGB:
        layout.Channels = 4;
        break;
    case ieCMYK:
        layout.Channels = 4;
        for (auto& sample : layout.Samples)
            sample = ssInvertedByte;
        break;
    case ie48RGB:
        layout.Channels = 3;
        for (auto& sample : layout.Samples)
            sample = ssWord;
        break;
    case ieCIELab:
        layout.Channels = 3;
        layout.Samples[1] = layout.Samples[2] = ssSignedByte;
        break;
    case ie32f:
        layout.Channels = 1;
        layout.Samples[0] = ssSingle;
        break;
    default:
        return false;
    }
    if (Dst.PixelFormat() != result && !Dst.Allocate(dstWidth, dstHeight, result)) return false;
    const TIERowImage dst(dstWidth, dstHeight, BitmapRow, &Dst);
    if (format == ie1g || format == ie8p) {
        TExpandedRows expanded{&Src, std::vector<uint8_t>(size_t(Src.Width()) * (format == ie1g ? 1 : 3))};
        IEScalerResample(TIERowImage(Src.Width(), Src.Height(), TExpandedRows::Get, &expanded), dst, layout,
                         mode, OnProgress, Sender);
    } else {
        IEScalerResample(TIERowImage(Src.Width(), Src.Height(), BitmapRow, &Src), dst, layout, mode,
                         OnProgress, Sender);
    }
    return Src.FlushRows() & Dst.FlushRows();
}
