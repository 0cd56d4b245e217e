#include <cmath>
#include <cstring>
#include <vector>

#include "image/bitmap.h"
#include "image/convert.h"
#include "image/convert_internal.h"

using namespace ieconvert;

namespace {

// First index x, second y.
constexpr uint8_t kOrderedMatrix[8][8] = {
    {0, 32, 8, 40, 2, 34, 10, 42},    {48, 16, 56, 24, 50, 18, 58, 26}, {12, 44, 4, 36, 14, 46, 6, 38},
    {60, 28, 52, 20, 62, 30, 54, 22}, {3, 35, 11, 43, 1, 33, 9, 41},    {51, 19, 59, 27, 49, 17, 57, 25},
    {15, 47, 7, 39, 13, 45, 5, 37},   {63, 31, 55, 23, 61, 29, 53, 21},
};

struct TColourSums {
    uint64_t r = 0, g = 0, b = 0;
};

// Calls Body once with a reader for Source's format. A reader turns one row into
// grey levels and adds the row's colour to the sums; Colour tells whether the mean
// threshold is the Grey of the mean colour (colour sources) or the mean level.
template <typename Body>
void WithGreyReader(TIEBitmap& Source, const TIEGreyCoefficients& Coef, Body&& body) {
    switch (Source.PixelFormat()) {
    case ie8p: {
        std::vector<TRGB> palette(256, TRGB{0, 0, 0});
        for (int32_t i = 0; i < 256; ++i)
            palette[size_t(i)] = Source.GetPalette(i);
        body(true, [&palette, &Coef](const void* Row, int32_t Width, uint8_t* Levels, TColourSums& Sums) {
            const auto* p = static_cast<const uint8_t*>(Row);
            for (int32_t x = 0; x < Width; ++x) {
                TRGB c = palette[p[x]];
                Levels[x] = Coef.Grey(c.r, c.g, c.b);
                Sums.r += c.r, Sums.g += c.g, Sums.b += c.b;
            }
        });
        break;
    }
    case ie8g:
        body(false, [](const void* Row, int32_t Width, uint8_t* Levels, TColourSums& Sums) {
            const auto* p = static_cast<const uint8_t*>(Row);
            for (int32_t x = 0; x < Width; ++x)
                Sums.r += Levels[x] = p[x];
        });
        break;
    case ie16g:
        body(false, [](const void* Row, int32_t Width, uint8_t* Levels, TColourSums& Sums) {
            const auto* p = static_cast<const uint16_t*>(Row);
            for (int32_t x = 0; x < Width; ++x)
                Sums.r += Levels[x] = uint8_t(p[x] >> 8);
        });
        break;
    case ie32f:
        body(false, [](const void* Row, int32_t Width, uint8_t* Levels, TColourSums& Sums) {
            const auto* p = static_cast<const float*>(Row);
            for (int32_t x = 0; x < Width; ++x)
                Sums.r += Levels[x] = uint8_t(TruncScaled(p[x], 255, 255));
        });
        break;
    case ie24RGB:
        body(true, [&Coef](const void* Row, int32_t Width, uint8_t* Levels, TColourSums& Sums) {
            const auto* p = static_cast<const TRGB*>(Row);
            for (int32_t x = 0; x < Width; ++x) {
                Levels[x] = Coef.Grey(p[x].r, p[x].g, p[x].b);
                Sums.r += p[x].r, Sums.g += p[x].g, Sums.b += p[x].b;
            }
        });
        break;
    case ie48RGB:
        body(true, [&Coef](const void* Row, int32_t Width, uint8_t* Levels, TColourSums& Sums) {
            const auto* p = static_cast<const TRGB48*>(Row);
            for (int32_t x = 0; x < Width; ++x) {
                int32_t r = p[x].r >> 8, g = p[x].g >> 8, b = p[x].b >> 8;
                Levels[x] = Coef.Grey(r, g, b);
                Sums.r += r, Sums.g += g, Sums.b += b;
            }
        });
        break;
    default:
        break;
    }
}

// Whole bytes, so the bits past the width come out 0 rather than stale.
template <typename Predicate> void PackBits(int32_t Width, uint8_t* Out, Predicate IsSet) {
    for (int32_t x0 = 0; x0 < Width; x0 += 8) {
        uint8_t byte = 0;
        for (int32_t bit = 0; bit < 8 && x0 + bit < Width; ++bit)
            if (IsSet(x0 + bit)) byte |= uint8_t(0x80 >> bit);
        Out[x0 >> 3] = byte;
    }
}

bool Compatible(TIEBitmap& Source, TIEBitmap& Target) {
    return &Source != &Target && Target.PixelFormat() == ie1g && !Target.IsEmpty() && !Source.IsEmpty() &&
           Source.Width() == Target.Width() && Source.Height() == Target.Height();
}

void CopyBitRows(TIEBitmap& Source, TIEBitmap& Target) {
    size_t bytes = size_t((Target.Width() + 7) / 8);
    for (int32_t y = 0; y < Target.Height(); ++y) {
        void* to = Target.GetScanline(y);
        const void* from = Source.GetScanline(y);
        if (!from || !to) return;
        std::memcpy(to, from, bytes);
    }
}

// Colour formats the dither has no reader for take the documented detour.
void BringToReadableFormat(TIEBitmap& Source) {
    TIEPixelFormat format = Source.PixelFormat();
    if (format == ieCMYK || format == ieCIELab || format == ie32RGB) Source.SetPixelFormat(ie24RGB);
}

class TProgress {
  public:
    TProgress(TIEBitmap& Bitmap, int32_t Rows) : fBitmap(Bitmap), fRows(Rows) {}
    void RowDone(int32_t Row) {
        if (!fBitmap.OnProgress()) return;
        int per = int(int64_t(Row + 1) * 100 / fRows);
        if (per == fLast) return;
        fLast = per;
        fBitmap.OnProgress()(&fBitmap, per);
    }

  private:
    TIEBitmap& fBitmap;
    int32_t fRows;
    int fLast = -1;
};

} // namespace

int32_t IEMaxEntropyThreshold(const std::array<uint64_t, 256>& Histogram, int32_t Fallback) {
    uint64_t total = 0;
    for (uint64_t count : Histogram)
        total += count;
    if (total == 0) return Fallback;
    auto plogp = [total](uint64_t count) {
        if (count == 0) return 0.0;
        double p = double(count) / double(total);
        return p * std::log(p);
    };
    double totalEntropy = 0;
    for (uint64_t count : Histogram)
        totalEntropy -= plogp(count);
    int32_t best = Fallback;
    double bestScore = -HUGE_VAL;
    uint64_t below = 0;
    double belowEntropy = 0;
    for (int32_t t = 1; t <= 255; ++t) {
        below += Histogram[size_t(t - 1)];
        belowEntropy -= plogp(Histogram[size_t(t - 1)]);
        // Counted, not summed from probabilities: an empty side must be recognised
        // exactly, or 1 - P would come out as a rounding residue and win.
        if (below == 0 || below == total) continue;
        double p = double(below) / double(total);
        double score = std::log(p - p * p) + belowEntropy / p + (totalEntropy - belowEntropy) / (1 - p);
        if (score > bestScore) {
            bestScore = score;
            best = t;
        }
    }
    return best;
}

void IEConvertToBWThreshold(TIEBitmap& Source, TIEBitmap& Target, int32_t Threshold) {
    if (!Compatible(Source, Target)) return;
    if (Source.PixelFormat() == ie1g) {
        CopyBitRows(Source, Target);
        return;
    }
    BringToReadableFormat(Source);
    TIEGreyCoefficients coef = TIEGreyCoefficients::Current();
    int32_t width = Target.Width(), height = Target.Height();
    std::vector<uint8_t> levels(static_cast<size_t>(width));
    WithGreyReader(Source, coef, [&](bool Colour, auto&& ReadRow) {
        int32_t threshold = Threshold;
        if (threshold < 0) {
            TColourSums sums;
            std::array<uint64_t, 256> histogram{};
            for (int32_t y = 0; y < height; ++y) {
                const void* row = Source.GetScanline(y);
                if (!row) return;
                ReadRow(row, width, levels.data(), sums);
                for (uint8_t level : levels)
                    ++histogram[level];
            }
            uint64_t pixels = uint64_t(width) * uint64_t(height);
            int32_t mean = Colour ? coef.Grey(int32_t(sums.r / pixels), int32_t(sums.g / pixels),
                                              int32_t(sums.b / pixels))
                                  : int32_t(sums.r / pixels);
            threshold = Threshold == -2 ? IEMaxEntropyThreshold(histogram, mean) : mean;
        }
        TProgress progress(Target, height);
        TColourSums unused;
        for (int32_t y = 0; y < height; ++y) {
            const void* row = Source.GetScanline(y);
            auto* bits = static_cast<uint8_t*>(Target.GetScanline(y));
            if (!row || !bits) return;
            ReadRow(row, width, levels.data(), unused);
            PackBits(width, bits, [&](int32_t x) { return levels[size_t(x)] >= threshold; });
            progress.RowDone(y);
        }
    });
    Target.Changed();
}

void IEConvertToBWOrdered(TIEBitmap& Source, TIEBitmap& Target) {
    if (!Compatible(Source, Target)) return;
    if (Source.PixelFormat() == ie1g) {
        CopyBitRows(Source, Target);
        return;
    }
    BringToReadableFormat(Source);
    int32_t width = Target.Width(), height = Target.Height();
    if (Source.PixelFormat() == ie32f) {
        // The float is halved, not scaled to 0..63: almost every pixel stays black,
        // which is how this rule has always behaved.
        for (int32_t y = 0; y < height; ++y) {
            const auto* p = static_cast<const float*>(Source.GetScanline(y));
            auto* bits = static_cast<uint8_t*>(Target.GetScanline(y));
            if (!p || !bits) break;
            PackBits(width, bits,
                     [&](int32_t x) { return double(p[x]) / 2.0 > kOrderedMatrix[x & 7][y & 7]; });
        }
        Target.Changed();
        return;
    }
    std::vector<uint8_t> levels(static_cast<size_t>(width));
    WithGreyReader(Source, TIEGreyCoefficients::Current(), [&](bool, auto&& ReadRow) {
        TColourSums unused;
        for (int32_t y = 0; y < height; ++y) {
            const void* row = Source.GetScanline(y);
            auto* bits = static_cast<uint8_t*>(Target.GetScanline(y));
            if (!row || !bits) return;
            ReadRow(row, width, levels.data(), unused);
            PackBits(width, bits,
                     [&](int32_t x) { return (levels[size_t(x)] >> 2) > kOrderedMatrix[x & 7][y & 7]; });
        }
    });
    Target.Changed();
}
