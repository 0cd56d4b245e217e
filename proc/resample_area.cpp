#include "proc/resample_area.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace {

// Where a target or source edge is "first" is decided with this tolerance, so that
// edges that coincide up to rounding end the target pixel rather than open a sliver.
constexpr double EdgeTolerance = 0.0001;

enum TWalkMode { wmEnlargeBoth, wmEnlargeX, wmEnlargeY, wmReduce };

// One overlap of a source column with a target column; the same for every row.
struct TCell {
    double Width;
    double Fx;
    int32_t Col;
    bool Ends;
};

// Keys cubic with a = -1 over p(-1), p0, p1, p2 at t, clamped to the sample range.
inline double Cubic(double t, double pm1, double p0, double p1, double p2, double Top) {
    const double a = std::fabs(t);
    const double b = std::fabs(t - 1.0);
    const double c = std::fabs(t - 2.0);
    const double d = std::fabs(t + 1.0);
    const double v = (a * a * a - 2.0 * a * a + 1.0) * p0 + (b * b * b - 2.0 * b * b + 1.0) * p1 +
                     (-c * c * c + 5.0 * c * c - 8.0 * c + 4.0) * p2 +
                     (-d * d * d + 5.0 * d * d - 8.0 * d + 4.0) * pm1;
    return v < 0.0 ? 0.0 : v > Top ? Top : v;
}

template <typename Sample> struct TRing {
    const Sample* Prev;
    const Sample* Cur;
    const Sample* Next;
    const Sample* Next2;
    const double* AlphaCur;
    const double* AlphaNext;
};

template <typename Sample, TWalkMode Mode, bool Bicubic>
void WalkRow(const std::vector<TCell>& Cells, const TRing<Sample>& Ring, int32_t SrcWidth, int32_t Bpp,
             double Height, double Fy, double Top, double* Acc) {
    // Enlarging both ways fills only the first sample of a pixel for more than three
    // samples a pixel, and the walk stops there: results stay as they have always been.
    const int32_t channels = Mode == wmEnlargeBoth && Bpp == 4 ? 1 : Bpp;
    const bool cornerRule = Mode == wmEnlargeBoth && !Bicubic && Bpp == 3;
    double* acc = Acc;
    for (const TCell& cell : Cells) {
        const int32_t col = cell.Col;
        const double area = cell.Width * Height;
        const double fx = cell.Fx;
        const int32_t left = col > 0 ? -Bpp : 0;
        const int32_t right = col < SrcWidth - 1 ? Bpp : 0;
        const int32_t right2 = col + 1 < SrcWidth - 1 ? 2 * Bpp : right;
        const int32_t base = col * Bpp;
        int32_t corner = -1;
        if (cornerRule) {
            const int32_t rightCol = col + (right != 0 ? 1 : 0);
            const double f[4] = {Ring.AlphaCur[col], Ring.AlphaCur[rightCol], Ring.AlphaNext[col],
                                 Ring.AlphaNext[rightCol]};
            for (int32_t i = 0; i < 4; ++i)
                for (int32_t j = 0; j < 4; ++j)
                    if (f[j] < f[i]) corner = i;
        }
        for (int32_t c = 0; c < channels; ++c) {
            const int32_t p = base + c;
            double sample;
            if constexpr (Mode == wmReduce) {
                sample = Ring.Cur[p];
            } else if constexpr (Mode == wmEnlargeX) {
                if constexpr (Bicubic)
                    sample = Cubic(fx, Ring.Cur[p + left], Ring.Cur[p], Ring.Cur[p + right],
                                   Ring.Cur[p + right2], Top);
                else
                    sample = Ring.Cur[p] * (1.0 - fx) + Ring.Cur[p + right] * fx;
            } else if constexpr (Mode == wmEnlargeY) {
                if constexpr (Bicubic)
                    sample = Cubic(Fy, Ring.Prev[p], Ring.Cur[p], Ring.Next[p], Ring.Next2[p], Top);
                else
                    sample = Ring.Cur[p] * (1.0 - Fy) + Ring.Next[p] * Fy;
            } else if constexpr (Bicubic) {
                const Sample* rows[4] = {Ring.Prev, Ring.Cur, Ring.Next, Ring.Next2};
                double v[4];
                for (int32_t r = 0; r < 4; ++r)
                    v[r] = IERound(Cubic(fx, rows[r][p + left], rows[r][p], rows[r][p + right],
                                         rows[r][p + right2], Top));
                sample = Cubic(Fy, v[0], v[1], v[2], v[3], Top);
            } else {
                double s[4] = {double(Ring.Cur[p]), double(Ring.Cur[p + right]), double(Ring.Next[p]),
                               double(Ring.Next[p + right])};
                // Colour under a transparent corner must not bleed into the result.
                if (corner >= 0) s[0] = s[1] = s[2] = s[3] = s[corner];
                const double top = s[0] * (1.0 - fx) + s[1] * fx;
                const double bottom = s[2] * (1.0 - fx) + s[3] * fx;
                sample = top * (1.0 - Fy) + bottom * Fy;
            }
            acc[c] += sample * area;
        }
        if (cell.Ends) acc += Bpp;
    }
}

template <typename Sample, TWalkMode Mode, bool Bicubic>
void Walk(const TIERowImage& Src, const TIERowImage* SrcAlpha, const TIERowImage& Dst, int32_t Bpp,
          const TIEProgressEvent& OnProgress, void* Sender) {
    const int32_t srcWidth = Src.Width();
    const int32_t srcHeight = Src.Height();
    const int32_t dstWidth = Dst.Width();
    const int32_t dstHeight = Dst.Height();
    const double xr = double(srcWidth) / dstWidth;
    const double yr = double(srcHeight) / dstHeight;
    const double top = sizeof(Sample) == 1 ? 255.0 : 65535.0;
    const int32_t topInt = sizeof(Sample) == 1 ? 255 : 65535;

    // Cells after the last target column would only feed an accumulator that is
    // never written, so the walk stops there.
    std::vector<TCell> cells;
    {
        int32_t col = 0;
        int32_t ended = 0;
        double pos = 0.0;
        double last = 0.0;
        for (int64_t step = 0; step < int64_t(dstWidth) + srcWidth && ended < dstWidth; ++step) {
            TCell cell{};
            cell.Col = std::min(col, srcWidth - 1);
            if (col + 1 + EdgeTolerance >= pos + xr) {
                pos += xr;
                cell.Width = pos - last;
                cell.Fx = pos - col;
                cell.Ends = true;
                ++ended;
            } else {
                col += 1;
                cell.Width = col - last;
                cell.Fx = 1.0;
                cell.Ends = false;
            }
            last += cell.Width;
            cells.push_back(cell);
        }
    }

    const size_t rowSamples = size_t(srcWidth) * size_t(Bpp);
    std::vector<Sample> ringBits(4 * rowSamples);
    std::vector<double> ringAlpha(4 * size_t(srcWidth), 1.0);
    auto slot = [&](int32_t r) { return ringBits.data() + size_t(r & 3) * rowSamples; };
    auto alphaSlot = [&](int32_t r) { return ringAlpha.data() + size_t(r & 3) * size_t(srcWidth); };
    auto load = [&](int32_t r) {
        const uint8_t* row = Src.Row(r);
        if (!row) return false;
        std::memcpy(slot(r), row, rowSamples * sizeof(Sample));
        if (SrcAlpha) {
            const uint8_t* alpha = SrcAlpha->Row(r);
            if (!alpha) return false;
            double* factors = alphaSlot(r);
            for (int32_t x = 0; x < srcWidth; ++x)
                factors[x] = alpha[x] / 255.0;
        }
        return true;
    };
    for (int32_t r = 0; r < 3 && r < srcHeight; ++r)
        if (!load(r)) return;

    std::vector<double> acc(size_t(dstWidth + 1) * size_t(Bpp), 0.0);
    std::vector<Sample> out(size_t(dstWidth) * size_t(Bpp));
    const double scale = 1.0 / (xr * yr);
    TIEProgressReporter progress(OnProgress, Sender);

    int32_t row = 0;
    int32_t written = 0;
    double posY = 0.0;
    double lastY = 0.0;
    while (written < dstHeight) {
        double height;
        double fy;
        bool ends;
        if (row + 1 + EdgeTolerance >= posY + yr) {
            posY += yr;
            fy = posY - row;
            height = posY - lastY;
            ends = true;
        } else {
            height = row + 1 - lastY;
            fy = 1.0;
            ends = false;
        }
        lastY += height;

        TRing<Sample> ring;
        ring.Cur = slot(row);
        ring.Prev = row > 0 ? slot(row - 1) : ring.Cur;
        ring.Next = row + 1 < srcHeight ? slot(row + 1) : ring.Cur;
        ring.Next2 = row + 2 < srcHeight ? slot(row + 2) : ring.Next;
        ring.AlphaCur = alphaSlot(row);
        ring.AlphaNext = row + 1 < srcHeight ? alphaSlot(row + 1) : ring.AlphaCur;
        WalkRow<Sample, Mode, Bicubic>(cells, ring, srcWidth, Bpp, height, fy, top, acc.data());

        if (ends) {
            for (size_t i = 0; i < out.size(); ++i) {
                const int32_t v = IERound(acc[i] * scale);
                out[i] = Sample(std::clamp(v, 0, topInt));
            }
            uint8_t* target = Dst.Row(written);
            if (!target) return;
            std::memcpy(target, out.data(), out.size() * sizeof(Sample));
            std::fill(acc.begin(), acc.end(), 0.0);
            ++written;
            progress.Report(IETrunc(double(written) / dstHeight * 100.0));
        } else if (row + 1 < srcHeight) {
            row += 1;
            if (row + 1 < srcHeight - 1 && !load(row + 2)) return;
        } else {
            // Only reachable if rounding kept the last target row open past the last
            // source row; the tolerance prevents it, this keeps it harmless.
            posY = lastY = row + 1 - yr;
        }
    }
}

template <typename Sample>
void AreaResample(const TIERowImage& Src, const TIERowImage* SrcAlpha, const TIERowImage& Dst, int32_t Bpp,
                  TResampleFilter Filter, const TIEProgressEvent& OnProgress, void* Sender) {
    if (Src.Empty() || Dst.Empty()) return;
    if (Filter != rfBilinear && Filter != rfBicubic) return;
    if (Bpp != 1 && Bpp != 3 && Bpp != 4) return;
    if (SrcAlpha && SrcAlpha->Empty()) SrcAlpha = nullptr;
    const double xr = double(Src.Width()) / Dst.Width();
    const double yr = double(Src.Height()) / Dst.Height();
    const bool cubic = Filter == rfBicubic;
    if (xr < 1.0 && yr < 1.0) {
        if (cubic)
            Walk<Sample, wmEnlargeBoth, true>(Src, SrcAlpha, Dst, Bpp, OnProgress, Sender);
        else
            Walk<Sample, wmEnlargeBoth, false>(Src, SrcAlpha, Dst, Bpp, OnProgress, Sender);
    } else if (xr < 1.0) {
        if (cubic)
            Walk<Sample, wmEnlargeX, true>(Src, SrcAlpha, Dst, Bpp, OnProgress, Sender);
        else
            Walk<Sample, wmEnlargeX, false>(Src, SrcAlpha, Dst, Bpp, OnProgress, Sender);
    } else if (yr < 1.0) {
        if (cubic)
            Walk<Sample, wmEnlargeY, true>(Src, SrcAlpha, Dst, Bpp, OnProgress, Sender);
        else
            Walk<Sample, wmEnlargeY, false>(Src, SrcAlpha, Dst, Bpp, OnProgress, Sender);
    } else {
        // Both filters sample the plain pixel when reducing both ways.
        Walk<Sample, wmReduce, false>(Src, SrcAlpha, Dst, Bpp, OnProgress, Sender);
    }
}

} // namespace

void IEAreaResample8(const TIERowImage& Src, const TIERowImage* SrcAlpha, const TIERowImage& Dst, int32_t Bpp,
                     TResampleFilter Filter, const TIEProgressEvent& OnProgress, void* Sender) {
    AreaResample<uint8_t>(Src, SrcAlpha, Dst, Bpp, Filter, OnProgress, Sender);
}

void IEAreaResample16(const TIERowImage& Src, const TIERowImage* SrcAlpha, const TIERowImage& Dst,
                      int32_t Bpp, TResampleFilter Filter, const TIEProgressEvent& OnProgress, void* Sender) {
    AreaResample<uint16_t>(Src, SrcAlpha, Dst, Bpp, Filter, OnProgress, Sender);
}
