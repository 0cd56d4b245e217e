#include "proc/resample_fastlinear.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

template <int32_t Channels, typename Sample, bool ShiftAndTrunc>
void FastLinear(const TIERowImage& Src, const TIERowImage& Dst, const TIEProgressEvent& OnProgress,
                void* Sender) {
    if (Src.Empty() || Dst.Empty()) return;
    const int32_t srcWidth = Src.Width();
    const int32_t srcHeight = Src.Height();
    const int32_t dstWidth = Dst.Width();
    const int32_t dstHeight = Dst.Height();
    const size_t pixelBytes = size_t(Channels) * sizeof(Sample);
    const double xs = double(dstWidth) / srcWidth;
    const double ys = double(dstHeight) / srcHeight;
    if (xs == 1.0 && ys == 1.0) {
        for (int32_t y = 0; y < srcHeight; ++y) {
            uint8_t* target = Dst.Row(y);
            const uint8_t* source = target ? Src.Row(y) : nullptr;
            if (!source) return;
            std::memcpy(target, source, size_t(srcWidth) * pixelBytes);
        }
        return;
    }
    constexpr int32_t top = sizeof(Sample) == 1 ? 255 : 65535;
    // The 24-bit engine centres the enlarged pixels by half a step and truncates its
    // table indices; the one-channel engines do neither. Kept, so that results stay put.
    auto index = [](double v) { return ShiftAndTrunc ? IETrunc(v) : IERound(v); };
    const int32_t dx = ShiftAndTrunc && xs > 1.0 ? IERound(xs * 0.5 - 0.5) : 0;
    const int32_t dy = ShiftAndTrunc && ys > 1.0 ? IERound(ys * 0.5 - 0.5) : 0;

    std::vector<int32_t> i0(static_cast<size_t>(dstWidth)), i1(static_cast<size_t>(dstWidth));
    std::vector<double> frac(static_cast<size_t>(dstWidth));
    for (int32_t x = 0; x < dstWidth; ++x) {
        const double t = x / xs;
        const int32_t first = std::min(index(t), srcWidth - 1);
        i0[size_t(x)] = first;
        frac[size_t(x)] = t - first;
        i1[size_t(x)] = std::max(first, index(std::min(x + 1, dstWidth - 1) / xs + 1e-10) - 1);
    }

    const double per = 100.0 / (srcHeight + dstHeight + 0.5);
    TIEProgressReporter progress(OnProgress, Sender);
    const size_t workRow = size_t(dstWidth) * Channels;
    std::vector<int32_t> work(workRow * size_t(srcHeight));
    std::vector<Sample> line(size_t(srcWidth) * Channels);
    for (int32_t y = 0; y < srcHeight; ++y) {
        const uint8_t* source = Src.Row(y);
        if (!source) return;
        std::memcpy(line.data(), source, line.size() * sizeof(Sample));
        const Sample* s = line.data();
        int32_t* w = work.data() + size_t(y) * workRow;
        for (int32_t x = 0; x < dstWidth; ++x) {
            if (xs <= 1.0) {
                const int32_t first = i0[size_t(x)], last = i1[size_t(x)];
                for (int32_t c = 0; c < Channels; ++c) {
                    int64_t sum = 0;
                    for (int32_t i = first; i <= last; ++i)
                        sum += s[i * Channels + c];
                    w[x * Channels + c] = int32_t(sum / (last - first + 1));
                }
            } else {
                const int32_t k = std::max(0, x - dx);
                const int32_t a = i0[size_t(k)];
                const int32_t b = std::min(a + 1, srcWidth - 1);
                for (int32_t c = 0; c < Channels; ++c) {
                    const int32_t sa = s[a * Channels + c], sb = s[b * Channels + c];
                    w[x * Channels + c] = IERound(sa + (sb - sa) * frac[size_t(k)]);
                }
            }
        }
        progress.Report(IETrunc(per * y));
    }

    std::vector<Sample> out(workRow);
    for (int32_t y = 0; y < dstHeight; ++y) {
        if (ys <= 1.0) {
            const int32_t a = index(y / ys);
            const int32_t b = std::max(a, index(std::min(y + 1, dstHeight - 1) / ys) - 1);
            for (size_t i = 0; i < workRow; ++i) {
                int64_t sum = 0;
                for (int32_t r = a; r <= b; ++r)
                    sum += work[size_t(r) * workRow + i];
                out[i] = Sample(std::clamp<int64_t>(sum / (b - a + 1), 0, top));
            }
        } else {
            const double t = (y - dy) / ys;
            const int32_t a = std::max(0, IETrunc(t));
            const double f = t - a;
            const int32_t b = a + 1 < srcHeight ? a + 1 : a;
            const int32_t* upper = work.data() + size_t(a) * workRow;
            const int32_t* lower = work.data() + size_t(b) * workRow;
            for (size_t i = 0; i < workRow; ++i)
                out[i] = Sample(std::clamp(IERound(upper[i] + (lower[i] - upper[i]) * f), 0, top));
        }
        uint8_t* target = Dst.Row(y);
        if (!target) return;
        std::memcpy(target, out.data(), out.size() * sizeof(Sample));
        progress.Report(IETrunc(per * (y + srcHeight)));
    }
}

} // namespace

void IEFastLinearResample24(const TIERowImage& Src, const TIERowImage& Dst,
                            const TIEProgressEvent& OnProgress, void* Sender) {
    FastLinear<3, uint8_t, true>(Src, Dst, OnProgress, Sender);
}

void IEFastLinearResample8(const TIERowImage& Src, const TIERowImage& Dst, const TIEProgressEvent& OnProgress,
                           void* Sender) {
    FastLinear<1, uint8_t, false>(Src, Dst, OnProgress, Sender);
}

void IEFastLinearResample16(const TIERowImage& Src, const TIERowImage& Dst,
                            const TIEProgressEvent& OnProgress, void* Sender) {
    FastLinear<1, uint16_t, false>(Src, Dst, OnProgress, Sender);
}
