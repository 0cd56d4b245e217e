#include "proc/sharpen.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "image/bitmap.h"
#include "image/settings.h"
#include "proc/resample_nearest.h"
#include "proc/resample_rows.h"

namespace {

uint8_t* BitmapRow(void* Context, int32_t Row) {
    return static_cast<uint8_t*>(static_cast<TIEBitmap*>(Context)->GetScanline(Row));
}

TIERowImage Rows(TIEBitmap& Bitmap) {
    return TIERowImage(Bitmap.Width(), Bitmap.Height(), BitmapRow, &Bitmap);
}

// Both passes of the integer Gaussian on a contiguous plane of Channels interleaved
// bytes a pixel. The accumulator starts at one half so the shift rounds.
void BlurPlane(uint8_t* Base, int64_t Stride, int32_t Width, int32_t Height, int32_t Channels,
               const TIEGaussianKernel& Kernel) {
    const int32_t reach = Kernel.Reach;
    const int32_t* taps = Kernel.Taps.data() + reach; // taps[t] for t in -reach..reach
    const int32_t rowBytes = Width * Channels;
    std::vector<uint8_t> line(static_cast<size_t>(rowBytes));
    for (int32_t y = 0; y < Height; ++y) {
        uint8_t* row = Base + Stride * y;
        std::memcpy(line.data(), row, size_t(rowBytes));
        for (int32_t x = 0; x < Width; ++x) {
            const bool inside = x - reach >= 0 && x + reach < Width;
            for (int32_t c = 0; c < Channels; ++c) {
                int32_t acc = 32768;
                if (inside) {
                    const uint8_t* p = line.data() + int64_t(x - reach) * Channels + c;
                    for (int32_t t = -reach; t <= reach; ++t, p += Channels)
                        acc += taps[t] * *p;
                } else {
                    for (int32_t t = -reach; t <= reach; ++t) {
                        const int32_t xi = std::clamp(x + t, 0, Width - 1);
                        acc += taps[t] * line[size_t(xi * Channels + c)];
                    }
                }
                row[x * Channels + c] = uint8_t(acc >> 16);
            }
        }
    }
    // Columns are summed a whole row at a time, which gives the same integers as a
    // column buffer but walks memory forward.
    std::vector<uint8_t> rowsDone(size_t(rowBytes) * size_t(Height));
    for (int32_t y = 0; y < Height; ++y)
        std::memcpy(rowsDone.data() + size_t(rowBytes) * size_t(y), Base + Stride * y, size_t(rowBytes));
    std::vector<int32_t> acc(static_cast<size_t>(rowBytes));
    for (int32_t y = 0; y < Height; ++y) {
        std::fill(acc.begin(), acc.end(), 32768);
        for (int32_t t = -reach; t <= reach; ++t) {
            const int32_t yi = std::clamp(y + t, 0, Height - 1);
            const uint8_t* src = rowsDone.data() + size_t(rowBytes) * size_t(yi);
            const int32_t tap = taps[t];
            if (tap == 0) continue;
            for (int32_t i = 0; i < rowBytes; ++i)
                acc[size_t(i)] += tap * src[i];
        }
        uint8_t* row = Base + Stride * y;
        for (int32_t i = 0; i < rowBytes; ++i)
            row[i] = uint8_t(acc[size_t(i)] >> 16);
    }
}

// ---- Shen-Castan ----------------------------------------------------------

constexpr int32_t EdgeMargin = 25;
constexpr int32_t EdgePadding = EdgeMargin + 2;

struct TFloatPlane {
    int32_t Width = 0;
    int32_t Height = 0;
    std::vector<float> Cells;
    TFloatPlane(int32_t W, int32_t H) : Width(W), Height(H), Cells(size_t(W) * size_t(H)) {}
    float* Row(int32_t y) { return Cells.data() + size_t(y) * size_t(Width); }
    const float* Row(int32_t y) const { return Cells.data() + size_t(y) * size_t(Width); }
    float& At(int32_t row, int32_t col) { return Cells[size_t(row) * size_t(Width) + size_t(col)]; }
};

struct TBytePlane {
    int32_t Width = 0;
    int32_t Height = 0;
    std::vector<uint8_t> Cells;
    TBytePlane(int32_t W, int32_t H) : Width(W), Height(H), Cells(size_t(W) * size_t(H)) {}
    uint8_t* Row(int32_t y) { return Cells.data() + size_t(y) * size_t(Width); }
    uint8_t& At(int32_t row, int32_t col) { return Cells[size_t(row) * size_t(Width) + size_t(col)]; }
};

// The padded gray image as floats: toroidal wrap, never mirrored. Empty (0 by 0) when
// a row of Source can't be had.
TFloatPlane PaddedGray(TIEBitmap& Source) {
    const int32_t w = Source.Width(), h = Source.Height();
    const int32_t redCoef = IEGlobalSettings().RedToGrayCoef();
    const int32_t greenCoef = IEGlobalSettings().GreenToGrayCoef();
    const int32_t blueCoef = IEGlobalSettings().BlueToGrayCoef();
    std::vector<uint8_t> gray(size_t(w) * size_t(h));
    for (int32_t y = 0; y < h; ++y) {
        const auto* src = static_cast<const TRGB*>(Source.GetScanline(y));
        if (!src) return TFloatPlane(0, 0);
        uint8_t* dst = gray.data() + size_t(y) * size_t(w);
        for (int32_t x = 0; x < w; ++x)
            dst[x] = IEByteClamp((src[x].b * blueCoef + src[x].g * greenCoef + src[x].r * redCoef) / 100);
    }
    TFloatPlane padded(w + 2 * EdgePadding, h + 2 * EdgePadding);
    std::vector<int32_t> column(static_cast<size_t>(padded.Width));
    for (int32_t col = 0; col < padded.Width; ++col)
        column[size_t(col)] = (((col - EdgePadding) % w) + w) % w;
    for (int32_t row = 0; row < padded.Height; ++row) {
        const uint8_t* src = gray.data() + size_t((((row - EdgePadding) % h) + h) % h) * size_t(w);
        float* dst = padded.Row(row);
        for (int32_t col = 0; col < padded.Width; ++col)
            dst[col] = float(src[column[size_t(col)]]);
    }
    return padded;
}

// The infinite symmetric exponential filter, vertical pass then horizontal pass. Each
// step is computed in doubles and stored as a float, and the recursions read the
// stored floats back.
TFloatPlane IsefFilter(const TFloatPlane& Orig, double b) {
    const double b1 = (1.0 - b) / (1.0 + b);
    const double b2 = b * b1;
    const int32_t w = Orig.Width, h = Orig.Height;
    // Vertical: the anticausal part first, then the causal part streamed row by row;
    // the output overwrites the anticausal plane, whose row r is no longer needed
    // once output row r - 1 is written.
    TFloatPlane vertical(w, h);
    {
        float* last = vertical.Row(h - 1);
        const float* x = Orig.Row(h - 1);
        for (int32_t c = 0; c < w; ++c)
            last[c] = float(b2 * x[c]);
        for (int32_t r = h - 2; r >= 0; --r) {
            float* cur = vertical.Row(r);
            const float* next = vertical.Row(r + 1);
            x = Orig.Row(r);
            for (int32_t c = 0; c < w; ++c)
                cur[c] = float(b2 * x[c] + b * next[c]);
        }
        std::vector<float> causal(static_cast<size_t>(w));
        x = Orig.Row(0);
        for (int32_t c = 0; c < w; ++c)
            causal[size_t(c)] = float(b1 * x[c]);
        for (int32_t r = 0; r < h; ++r) {
            if (r > 0) {
                x = Orig.Row(r);
                for (int32_t c = 0; c < w; ++c)
                    causal[size_t(c)] = float(b1 * x[c] + b * causal[size_t(c)]);
            }
            float* out = vertical.Row(r);
            if (r == h - 1) {
                std::memcpy(out, causal.data(), size_t(w) * sizeof(float));
            } else {
                const float* anti = vertical.Row(r + 1);
                for (int32_t c = 0; c < w; ++c)
                    out[c] = float(double(causal[size_t(c)]) + double(anti[c]));
            }
        }
    }
    TFloatPlane smooth(w, h);
    std::vector<float> anti(static_cast<size_t>(w));
    for (int32_t r = 0; r < h; ++r) {
        const float* x = vertical.Row(r);
        float* out = smooth.Row(r);
        anti[size_t(w - 1)] = float(b2 * x[w - 1]);
        for (int32_t c = w - 2; c >= 0; --c)
            anti[size_t(c)] = float(b2 * x[c] + b * anti[size_t(c + 1)]);
        float causal = float(b1 * x[0]);
        for (int32_t c = 0; c < w; ++c) {
            if (c > 0) causal = float(b1 * x[c] + b * causal);
            out[c] = c == w - 1 ? causal : float(double(causal) + double(anti[size_t(c + 1)]));
        }
    }
    return smooth;
}

// Sign correspondence: a zero crossing of the Laplacian counts only where the first
// derivative agrees with its direction. The first pattern that fits decides.
bool IsCandidateEdge(TBytePlane& Bli, const TFloatPlane& Smooth, int32_t row, int32_t col) {
    if (Bli.At(row, col) != 1) return false;
    const int32_t w = Smooth.Width;
    const float* s = Smooth.Cells.data();
    auto at = [&](int32_t r, int32_t c) { return double(s[size_t(r) * size_t(w) + size_t(c)]); };
    if (Bli.At(row + 1, col) == 0) return at(row + 1, col) - at(row - 1, col) > 0;
    if (Bli.At(row, col + 1) == 0) return at(row, col + 1) - at(row, col - 1) > 0;
    if (Bli.At(row - 1, col) == 0) return at(row + 1, col) - at(row - 1, col) < 0;
    if (Bli.At(row, col - 1) == 0) return at(row, col + 1) - at(row, col - 1) < 0;
    return false;
}

float AdaptiveGradient(TBytePlane& Bli, const TFloatPlane& Smooth, int32_t row, int32_t col, int32_t Half) {
    double sumOn = 0, sumOff = 0;
    int32_t numOn = 0, numOff = 0;
    for (int32_t i = -Half; i <= Half; ++i) {
        const uint8_t* bli = Bli.Row(row + i) + col;
        const float* s = Smooth.Row(row + i) + col;
        for (int32_t j = -Half; j <= Half; ++j) {
            if (bli[j]) {
                sumOn += s[j];
                ++numOn;
            } else {
                sumOff += s[j];
                ++numOff;
            }
        }
    }
    const double avgOff = sumOff != 0 ? sumOff / numOff : 0.0;
    const double avgOn = sumOn != 0 ? sumOn / numOn : 0.0;
    return float(avgOff - avgOn);
}

void EstimateThresholds(TFloatPlane& Lap, double Ratio, TIEShenCastanStats& Stats) {
    const int32_t w = Lap.Width, h = Lap.Height;
    double vmin = std::fabs(double(Lap.At(20, 20))), vmax = vmin;
    for (int32_t row = EdgeMargin; row < h - EdgeMargin; ++row) {
        const float* lap = Lap.Row(row);
        for (int32_t col = EdgeMargin; col < w - EdgeMargin; ++col) {
            vmin = std::min(vmin, double(lap[col]));
            vmax = std::max(vmax, double(lap[col]));
        }
    }
    int32_t hist[256] = {};
    const double scale = 256.0 / (vmax - vmin + 1);
    for (int32_t row = EdgeMargin; row < h - EdgeMargin; ++row) {
        const float* lap = Lap.Row(row);
        for (int32_t col = EdgeMargin; col < w - EdgeMargin; ++col)
            ++hist[std::clamp(IETrunc((double(lap[col]) - vmin) * scale), 0, 255)];
    }
    const int64_t wanted = int64_t(Ratio * h * w);
    int32_t k = 255;
    int64_t count = hist[255];
    while (count < wanted) {
        --k;
        if (k < 0) break;
        count += hist[k];
    }
    Stats.HighThresh = k / scale + vmin;
    Stats.LowThresh = Stats.HighThresh / 2;
}

// The recursive chain marking, unrolled onto a stack so that a chain as long as the
// image can't exhaust the thread's stack. A frame stops at its first neighbour that
// got marked, as a short-circuited "or" of the eight visits would.
class TChainMarker {
  public:
    TChainMarker(TFloatPlane& Lap, TBytePlane& Edges, double Low, int32_t ThinFactor)
        : fLap(Lap), fEdges(Edges), fLow(Low), fThinFactor(ThinFactor) {}

    void MarkConnected(int32_t row, int32_t col) {
        if (!Mark(row, col)) return;
        fStack.push_back({row, col, 0, 0, false});
        while (!fStack.empty()) {
            TFrame& frame = fStack.back();
            if (frame.NeighbourMarked || frame.Next == 8) {
                if (frame.NeighbourMarked && frame.Level >= 1 && fThinFactor >= 1 &&
                    frame.Level % fThinFactor != 0)
                    fEdges.At(frame.Row, frame.Col) = 255;
                fStack.pop_back();
                continue;
            }
            static constexpr int32_t dr[8] = {0, 0, 1, 1, 1, -1, -1, -1};
            static constexpr int32_t dc[8] = {1, -1, 1, 0, -1, -1, 0, 1};
            const int32_t r = frame.Row + dr[frame.Next], c = frame.Col + dc[frame.Next];
            ++frame.Next;
            if (Mark(r, c)) {
                frame.NeighbourMarked = true;
                const int32_t level = frame.Level + 1;
                fStack.push_back({r, c, level, 0, false});
            }
        }
    }

  private:
    struct TFrame {
        int32_t Row, Col, Level, Next;
        bool NeighbourMarked;
    };

    bool Mark(int32_t row, int32_t col) {
        if (row < 0 || row >= fLap.Height || col < 0 || col >= fLap.Width) return false;
        uint8_t& edge = fEdges.At(row, col);
        if (edge != 0) return false;
        const float gradient = fLap.At(row, col);
        if (gradient == 0.0f) return false;
        edge = gradient > fLow ? 1 : 255;
        return true;
    }

    TFloatPlane& fLap;
    TBytePlane& fEdges;
    double fLow;
    int32_t fThinFactor;
    std::vector<TFrame> fStack;
};

} // namespace

TIEGaussianKernel IEGaussianKernel(double Radius) {
    TIEGaussianKernel kernel;
    if (!(Radius > 0)) return kernel;
    double values[201];
    double sum = 0;
    for (int32_t i = -100; i <= 100; ++i) {
        const double t = i / Radius;
        values[i + 100] = std::exp(-(t * t) / 2);
        sum += values[i + 100];
    }
    int32_t taps[201];
    for (int32_t i = 0; i < 201; ++i)
        taps[i] = IERound(values[i] * 65536 / sum);
    int32_t reach = 100;
    while (reach >= 2 && taps[100 + reach] == 0 && taps[100 - reach] == 0)
        --reach;
    kernel.Reach = reach;
    kernel.Taps.assign(taps + 100 - reach, taps + 100 + reach + 1);
    return kernel;
}

void IEBlurRect(TIEBitmap& Bitmap, double Radius, const TIEProcRect& Rect) {
    if (!(Radius > 0) || Bitmap.IsEmpty()) return;
    const int32_t channels = Bitmap.PixelFormat() == ie8g ? 1 : Bitmap.PixelFormat() == ie24RGB ? 3 : 0;
    if (channels == 0) return;
    const int32_t x1 = std::max(Rect.x1, 0), y1 = std::max(Rect.y1, 0);
    const int32_t x2 = std::min(Rect.x2, Bitmap.Width()), y2 = std::min(Rect.y2, Bitmap.Height());
    if (x1 >= x2 || y1 >= y2) return;
    const TIEGaussianKernel kernel = IEGaussianKernel(Radius);
    const int32_t width = x2 - x1, height = y2 - y1;
    const int64_t stride = int64_t(width) * channels;
    std::vector<uint8_t> plane(size_t(stride) * size_t(height));
    for (int32_t y = 0; y < height; ++y) {
        const auto* row = static_cast<const uint8_t*>(Bitmap.GetScanline(y1 + y));
        if (!row) return;
        std::memcpy(plane.data() + stride * y, row + x1 * channels, size_t(stride));
    }
    BlurPlane(plane.data(), stride, width, height, channels, kernel);
    for (int32_t y = 0; y < height; ++y) {
        auto* row = static_cast<uint8_t*>(Bitmap.GetScanline(y1 + y));
        if (!row) break;
        std::memcpy(row + x1 * channels, plane.data() + stride * y, size_t(stride));
    }
    Bitmap.Changed();
}

void IEBlur(TIEBitmap& Bitmap, double Radius) {
    IEBlurRect(Bitmap, Radius, TIEProcRect{0, 0, Bitmap.Width(), Bitmap.Height()});
}

std::vector<uint8_t> IEShenCastanEdgeMap(TIEBitmap& Source, const TIEShenCastanParams& Params,
                                         TIEShenCastanStats* Stats) {
    const int32_t w = Source.Width(), h = Source.Height();
    std::vector<uint8_t> map;
    if (Source.IsEmpty() || Source.PixelFormat() != ie24RGB) return map;
    TFloatPlane orig = PaddedGray(Source);
    if (orig.Width == 0) return map;
    const int32_t pw = orig.Width, ph = orig.Height;
    const TFloatPlane smooth = IsefFilter(orig, Params.Smooth);

    TBytePlane bli(pw, ph);
    for (int32_t row = EdgeMargin; row < ph - EdgeMargin; ++row) {
        const float* s = smooth.Row(row);
        const float* o = orig.Row(row);
        uint8_t* b = bli.Row(row);
        for (int32_t col = EdgeMargin; col < pw - EdgeMargin; ++col)
            b[col] = s[col] - o[col] > 0 ? 1 : 0;
    }

    // The original image is no longer needed; its plane takes the gradients.
    TFloatPlane& lap = orig;
    std::fill(lap.Cells.begin(), lap.Cells.end(), 0.0f);
    const int32_t half = std::clamp(Params.WindowSize, 0, 50) / 2;
    for (int32_t row = EdgeMargin; row < ph - EdgeMargin; ++row)
        for (int32_t col = EdgeMargin; col < pw - EdgeMargin; ++col)
            if (IsCandidateEdge(bli, smooth, row, col))
                lap.At(row, col) = AdaptiveGradient(bli, smooth, row, col, half);

    TIEShenCastanStats stats;
    EstimateThresholds(lap, Params.Ratio, stats);
    if (!Params.DoHysteresis) stats.LowThresh = stats.HighThresh;
    if (Stats) *Stats = stats;

    TBytePlane edges(pw, ph);
    TChainMarker marker(lap, edges, stats.LowThresh, Params.ThinFactor);
    for (int32_t row = EdgeMargin; row < ph - EdgeMargin; ++row)
        for (int32_t col = EdgeMargin; col < pw - EdgeMargin; ++col)
            if (lap.At(row, col) > stats.HighThresh) marker.MarkConnected(row, col);
    for (uint8_t& e : edges.Cells) {
        if (Params.DoHysteresis && e > 254) e = 0;
        e = e != 0 ? 0 : 255;
    }

    map.assign(size_t(w) * size_t(h), 255);
    for (int32_t row = 0; row < h - 1; ++row) {
        const uint8_t* e = edges.Row(row + EdgePadding) + EdgePadding;
        uint8_t* m = map.data() + size_t(row) * size_t(w);
        for (int32_t col = 1; col < w; ++col)
            m[col] = e[col] != 0 ? 255 : 0;
    }
    return map;
}

void IEEdgeDetectShenCastan(TIEBitmap& Source, TIEBitmap& Edges, const TIEShenCastanParams& Params) {
    const std::vector<uint8_t> map = IEShenCastanEdgeMap(Source, Params);
    if (map.empty()) return;
    const int32_t w = Source.Width(), h = Source.Height();
    if (!Edges.Allocate(w, h, ie1g)) return;
    for (int32_t y = 0; y < h; ++y) {
        auto* row = static_cast<uint8_t*>(Edges.GetScanline(y));
        if (!row) break;
        std::memset(row, 0, size_t(Edges.RowLen()));
        const uint8_t* m = map.data() + size_t(y) * size_t(w);
        for (int32_t x = 0; x < w; ++x)
            if (m[x]) row[x >> 3] |= uint8_t(0x80 >> (x & 7));
    }
    Edges.Changed();
}

TRGB IESharpenPixel(const TIESharpenSource& Source, int32_t x, int32_t y, int32_t Amount) {
    const int32_t w = Source.Width, h = Source.Height;
    const int64_t stride = int64_t(w) * 3;
    const int32_t x0 = std::max(0, x - 2), x1 = std::min(w - 1, x + 2);
    const int32_t y0 = std::max(0, y - 2), y1 = std::min(h - 1, y + 2);
    // The centre row is left out and the window cut before column x1: this odd
    // window is the sharpening's character and is kept as it is.
    int32_t sum[3] = {0, 0, 0};
    for (int32_t r = y0; r <= y1; ++r) {
        if (r == y) continue;
        const uint8_t* p = Source.Pixels + stride * r + int64_t(x0) * 3;
        for (int32_t c = x0; c < x1; ++c, p += 3) {
            sum[0] += p[0];
            sum[1] += p[1];
            sum[2] += p[2];
        }
    }
    const int32_t count = (y1 - y0) * (x1 - x0);
    if (count != 0)
        for (int32_t& s : sum)
            s /= count;
    const double k = Amount / 10.0;
    const uint8_t* p = Source.Pixels + stride * y + int64_t(x) * 3;
    uint8_t out[3];
    for (int32_t c = 0; c < 3; ++c) {
        const double v = p[c] + k * (p[c] - sum[c]);
        out[c] = v >= 255.0 ? 255 : v <= 0.0 ? 0 : uint8_t(IETrunc(v));
    }
    return TRGB{out[0], out[1], out[2]};
}

void IEAutoSharp(TIEBitmap& Bitmap, int32_t Intensity, double Rate, const TIEProgressEvent& OnProgress,
                 void* Sender) {
    if (Bitmap.IsEmpty() || Bitmap.PixelFormat() != ie24RGB) return;
    const int32_t w = Bitmap.Width(), h = Bitmap.Height();
    TIEShenCastanParams params;
    params.Ratio = Rate;
    params.Smooth = 0.9;
    params.WindowSize = 7;
    params.ThinFactor = 0;
    params.DoHysteresis = true;
    std::vector<uint8_t> edge = IEShenCastanEdgeMap(Bitmap, params);
    if (edge.empty()) return;
    BlurPlane(edge.data(), w, w, h, 1, IEGaussianKernel(4.0));

    int32_t amounts[256];
    for (int32_t e = 0; e < 256; ++e)
        amounts[e] = IERound((255 - e) / 255.0 * Intensity);

    const int64_t stride = int64_t(w) * 3;
    std::vector<uint8_t> source(size_t(stride) * size_t(h));
    for (int32_t y = 0; y < h; ++y) {
        const void* row = Bitmap.GetScanline(y);
        if (!row) return;
        std::memcpy(source.data() + stride * y, row, size_t(stride));
    }
    const TIESharpenSource view{w, h, source.data()};
    TIEProgressReporter progress(OnProgress, Sender);
    for (int32_t y = 0; y < h; ++y) {
        auto* out = static_cast<TRGB*>(Bitmap.GetScanline(y));
        if (!out) break;
        const uint8_t* e = edge.data() + size_t(y) * size_t(w);
        const auto* in = reinterpret_cast<const TRGB*>(source.data() + stride * y);
        for (int32_t x = 0; x < w; ++x) {
            const int32_t amount = amounts[e[x]];
            // A factor of 0 gives Trunc(p + 0) = p whatever the mean.
            out[x] = amount == 0 ? in[x] : IESharpenPixel(view, x, y, amount);
        }
        progress.Report(IETrunc(double(y) / h * 100));
    }
    Bitmap.Changed();
}

void IEMerge(TIEBitmap& Bitmap, TIEBitmap& SrcBitmap, int32_t pcf, const TIEProcRect& Rect,
             const TIEProgressEvent& OnProgress, void* Sender) {
    if (Bitmap.PixelFormat() != ie24RGB || SrcBitmap.IsEmpty()) return;
    const int32_t xe = std::min(Rect.x2, Bitmap.Width()) - 1;
    const int32_t ye = std::min(Rect.y2, Bitmap.Height()) - 1;
    const int32_t x1 = Rect.x1, y1 = Rect.y1;
    if (xe < x1 || ye < y1) return;
    TIEBitmap* source = &SrcBitmap;
    TIEBitmap converted;
    if (SrcBitmap.PixelFormat() != ie24RGB) {
        converted.AssignImage(SrcBitmap);
        converted.SetPixelFormat(ie24RGB);
        if (converted.PixelFormat() != ie24RGB || converted.IsEmpty()) return;
        source = &converted;
    }
    TIEBitmap stretched;
    if (!stretched.Allocate(xe - x1 + 1, ye - y1 + 1, ie24RGB)) return;
    static const TIEProgressEvent silent;
    IENearestResample(Rows(*source), Rows(stretched), 24, silent, nullptr);
    if (!(source->FlushRows() & stretched.FlushRows())) return;

    const double c1 = pcf / 100.0, c2 = (100 - pcf) / 100.0;
    // The blend of two bytes has 65536 outcomes; a table gives the same rounding as
    // computing each one.
    std::vector<uint8_t> blend(65536);
    for (int32_t a = 0; a < 256; ++a)
        for (int32_t b = 0; b < 256; ++b)
            blend[size_t(a * 256 + b)] = IEByteClamp(IERound64(a * c1 + b * c2));
    const double per = 100.0 / (ye - y1 + 0.5);
    TIEProgressReporter progress(OnProgress, Sender);
    for (int32_t y = y1; y <= ye; ++y) {
        const auto* tmp = static_cast<const uint8_t*>(stretched.GetScanline(y - y1));
        auto* img = static_cast<uint8_t*>(Bitmap.GetScanline(y));
        if (!tmp || !img) break;
        img += int64_t(x1) * 3;
        for (int32_t i = 0; i < (xe - x1 + 1) * 3; ++i)
            img[i] = blend[size_t(img[i] * 256 + tmp[i])];
        progress.Report(IETrunc(per * (y - y1 + 1)));
    }
    Bitmap.Changed();
}
