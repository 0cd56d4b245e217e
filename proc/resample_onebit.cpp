#include "proc/resample_onebit.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

inline int32_t Bit255(const uint8_t* Row, int32_t x) {
    return (Row[x >> 3] & (0x80 >> (x & 7))) ? 255 : 0;
}

// 17 fractional bits keep (b - a) * f inside 32 bits for byte differences.
constexpr int32_t FractionBits = 17;
constexpr double FractionOne = 131072.0;

void WriteGrey(uint8_t* Row, const uint8_t* Values, int32_t Width) {
    for (int32_t x = 0; x < Width; ++x)
        Row[3 * x] = Row[3 * x + 1] = Row[3 * x + 2] = Values[x];
}

void BlockMean(const TIERowImage& Src, const TIERowImage& Dst) {
    const int32_t srcWidth = Src.Width(), srcHeight = Src.Height();
    const int32_t dstWidth = Dst.Width(), dstHeight = Dst.Height();
    const double sx = double(srcWidth) / dstWidth;
    const double sy = double(srcHeight) / dstHeight;
    std::vector<int32_t> first(static_cast<size_t>(dstWidth)), last(static_cast<size_t>(dstWidth));
    for (int32_t x = 0; x < dstWidth; ++x) {
        first[size_t(x)] = std::clamp(IETrunc(x * sx - sx / 2), 0, srcWidth - 1);
        last[size_t(x)] = std::clamp(IETrunc(x * sx + sx / 2), 0, srcWidth - 1);
    }
    std::vector<int32_t> sums(static_cast<size_t>(dstWidth));
    std::vector<uint8_t> values(static_cast<size_t>(dstWidth));
    for (int32_t y = 0; y < dstHeight; ++y) {
        // The lower bound halves sy, the upper one its truncation: the blocks lean
        // upwards. Kept so, as the rule has it.
        const int32_t top = std::clamp(IETrunc(y * sy - sy / 2), 0, srcHeight - 1);
        const int32_t bottom = std::clamp(IETrunc(y * sy + IETrunc(sy) / 2.0), 0, srcHeight - 1);
        std::fill(sums.begin(), sums.end(), 0);
        for (int32_t r = top; r <= bottom; ++r) {
            const uint8_t* row = Src.Row(r);
            if (!row) return;
            for (int32_t x = 0; x < dstWidth; ++x)
                for (int32_t c = first[size_t(x)]; c <= last[size_t(x)]; ++c)
                    sums[size_t(x)] += Bit255(row, c);
        }
        for (int32_t x = 0; x < dstWidth; ++x) {
            const int32_t count = (last[size_t(x)] - first[size_t(x)] + 1) * (bottom - top + 1);
            values[size_t(x)] = uint8_t(sums[size_t(x)] / count);
        }
        uint8_t* target = Dst.Row(y);
        if (!target) return;
        WriteGrey(target, values.data(), dstWidth);
    }
}

void Interpolate(const TIERowImage& Src, const TIERowImage& Dst) {
    const int32_t srcWidth = Src.Width(), srcHeight = Src.Height();
    const int32_t dstWidth = Dst.Width(), dstHeight = Dst.Height();
    const double xs = double(dstWidth) / srcWidth;
    const double ys = double(dstHeight) / srcHeight;
    std::vector<int32_t> column(static_cast<size_t>(dstWidth)), columnFraction(static_cast<size_t>(dstWidth));
    for (int32_t x = 0; x < dstWidth; ++x) {
        const double t = x / xs;
        column[size_t(x)] = IETrunc(t);
        columnFraction[size_t(x)] = IETrunc((t - IETrunc(t)) * FractionOne);
    }
    std::vector<uint8_t> work(size_t(dstWidth) * size_t(srcHeight));
    for (int32_t y = 0; y < srcHeight; ++y) {
        const uint8_t* row = Src.Row(y);
        if (!row) return;
        uint8_t* w = work.data() + size_t(y) * size_t(dstWidth);
        for (int32_t x = 0; x < dstWidth; ++x) {
            const int32_t i = column[size_t(x)];
            const int32_t a = Bit255(row, i);
            const int32_t b = Bit255(row, std::min(i + 1, srcWidth - 1));
            w[x] = uint8_t(a + (((b - a) * columnFraction[size_t(x)]) >> FractionBits));
        }
    }
    std::vector<uint8_t> values(static_cast<size_t>(dstWidth));
    for (int32_t y = 0; y < dstHeight; ++y) {
        const double t = y / ys;
        const int32_t i = IETrunc(t);
        const int32_t f = IETrunc((t - i) * FractionOne);
        const uint8_t* upper = work.data() + size_t(i) * size_t(dstWidth);
        const uint8_t* lower = work.data() + size_t(std::min(i + 1, srcHeight - 1)) * size_t(dstWidth);
        for (int32_t x = 0; x < dstWidth; ++x)
            values[size_t(x)] = uint8_t(upper[x] + (((lower[x] - upper[x]) * f) >> FractionBits));
        uint8_t* target = Dst.Row(y);
        if (!target) return;
        WriteGrey(target, values.data(), dstWidth);
    }
}

// The block of target index i: from Trunc((i - 1) * step) to Trunc(i * step), and
// 0 to 0 for the first. The blocks lag one target pixel behind; kept.
void ProjectionBlocks(int32_t SrcSize, int32_t DstSize, std::vector<int32_t>& First,
                      std::vector<int32_t>& Last) {
    const double step = double(SrcSize) / DstSize;
    First.resize(size_t(DstSize));
    Last.resize(size_t(DstSize));
    for (int32_t i = 0; i < DstSize; ++i) {
        First[size_t(i)] = i == 0 ? 0 : std::clamp(IETrunc((i - 1) * step), 0, SrcSize - 1);
        Last[size_t(i)] = i == 0 ? 0 : std::clamp(IETrunc(i * step), 0, SrcSize - 1);
    }
}

} // namespace

void IEOneBitLinearResample(const TIERowImage& Src, const TIERowImage& Dst) {
    if (Src.Empty() || Dst.Empty()) return;
    const double xs = double(Dst.Width()) / Src.Width();
    const double ys = double(Dst.Height()) / Src.Height();
    if (xs < 1.0 && ys < 1.0)
        BlockMean(Src, Dst);
    else
        Interpolate(Src, Dst);
}

void IEProjectResample(const TIERowImage& Src, bool SrcIsOneBit, const TIERowImage& Dst,
                       TResampleFilter Filter) {
    if (Src.Empty() || Dst.Empty() || (Filter != rfProjectBW && Filter != rfProjectWB)) return;
    const bool blackWins = Filter == rfProjectBW;
    std::vector<int32_t> colFirst, colLast, rowFirst, rowLast;
    ProjectionBlocks(Src.Width(), Dst.Width(), colFirst, colLast);
    ProjectionBlocks(Src.Height(), Dst.Height(), rowFirst, rowLast);
    const int32_t dstWidth = Dst.Width();
    std::vector<uint8_t> hit(static_cast<size_t>(dstWidth));
    std::vector<uint8_t> bits(size_t(dstWidth + 7) / 8);
    for (int32_t y = 0; y < Dst.Height(); ++y) {
        std::fill(hit.begin(), hit.end(), 0);
        for (int32_t r = rowFirst[size_t(y)]; r <= rowLast[size_t(y)]; ++r) {
            const uint8_t* row = Src.Row(r);
            if (!row) return;
            for (int32_t x = 0; x < dstWidth; ++x) {
                if (hit[size_t(x)]) continue;
                for (int32_t c = colFirst[size_t(x)]; c <= colLast[size_t(x)] && !hit[size_t(x)]; ++c) {
                    int32_t red, green, blue;
                    if (SrcIsOneBit) {
                        red = green = blue = Bit255(row, c);
                    } else {
                        blue = row[3 * c];
                        green = row[3 * c + 1];
                        red = row[3 * c + 2];
                    }
                    hit[size_t(x)] = blackWins ? (red < 128 && green < 128 && blue < 128)
                                               : (red > 128 && green > 128 && blue > 128);
                }
            }
        }
        std::fill(bits.begin(), bits.end(), blackWins ? 0xFF : 0x00);
        for (int32_t x = 0; x < dstWidth; ++x) {
            if (!hit[size_t(x)]) continue;
            const uint8_t mask = uint8_t(0x80 >> (x & 7));
            if (blackWins)
                bits[size_t(x >> 3)] &= uint8_t(~mask);
            else
                bits[size_t(x >> 3)] |= mask;
        }
        uint8_t* target = Dst.Row(y);
        if (!target) return;
        std::memcpy(target, bits.data(), bits.size());
    }
}
