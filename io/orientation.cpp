#include "io/orientation.h"

#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "image/bitmap.h"

namespace {

int32_t BytesPerPixel(const TIEBitmap& Bitmap) {
    return Bitmap.BitCount() / 8;
}

// Row addresses stay valid between calls everywhere but in file-backed storage, which
// maps one row at a time.
bool RowsAreStable(const TIEBitmap& Bitmap) {
    return Bitmap.Location() != ieFile;
}

bool BitAt(const uint8_t* Row, int32_t x) {
    return (Row[x >> 3] & (0x80 >> (x & 7))) != 0;
}

void SetBit(uint8_t* Row, int32_t x, bool Value) {
    const uint8_t mask = uint8_t(0x80 >> (x & 7));
    Row[x >> 3] = Value ? uint8_t(Row[x >> 3] | mask) : uint8_t(Row[x >> 3] & ~mask);
}

// Each row of Target is gathered in a buffer from the Source pixels SourceOf names, then
// stored. False as soon as a row can't be had.
template <typename TSourceOf> bool CopyTurned(TIEBitmap& Source, TIEBitmap& Target, TSourceOf SourceOf) {
    const int32_t width = Target.Width(), height = Target.Height();
    const bool bits = Source.PixelFormat() == ie1g;
    const int32_t bpp = BytesPerPixel(Source);
    std::vector<uint8_t*> sourceRows;
    if (RowsAreStable(Source)) {
        sourceRows.resize(size_t(Source.Height()));
        for (int32_t y = 0; y < Source.Height(); ++y)
            sourceRows[size_t(y)] = static_cast<uint8_t*>(Source.GetScanline(y));
    }
    std::vector<uint8_t> row(bits ? size_t(width + 7) / 8 : size_t(width) * size_t(bpp));
    for (int32_t y = 0; y < height; ++y) {
        uint8_t* out = row.data();
        for (int32_t x = 0; x < width; ++x, out += bpp) {
            const auto [sx, sy] = SourceOf(x, y);
            const uint8_t* in =
                sourceRows.empty() ? static_cast<uint8_t*>(Source.GetScanline(sy)) : sourceRows[size_t(sy)];
            if (!in) return false;
            if (bits)
                SetBit(row.data(), x, BitAt(in, sx));
            else
                std::memcpy(out, in + size_t(sx) * size_t(bpp), size_t(bpp));
        }
        void* target = Target.GetScanline(y);
        if (!target) return false;
        std::memcpy(target, row.data(), row.size());
    }
    return true;
}

bool FlipHorizontalPixels(TIEBitmap& Bitmap) {
    const int32_t width = Bitmap.Width();
    const bool bits = Bitmap.PixelFormat() == ie1g;
    const size_t bpp = size_t(BytesPerPixel(Bitmap));
    uint8_t pixel[16];
    for (int32_t y = 0; y < Bitmap.Height(); ++y) {
        uint8_t* row = static_cast<uint8_t*>(Bitmap.GetScanline(y));
        if (!row) return false;
        for (int32_t x = 0; x < width / 2; ++x) {
            if (bits) {
                const bool left = BitAt(row, x);
                SetBit(row, x, BitAt(row, width - 1 - x));
                SetBit(row, width - 1 - x, left);
                continue;
            }
            uint8_t* left = row + size_t(x) * bpp;
            uint8_t* right = row + size_t(width - 1 - x) * bpp;
            std::memcpy(pixel, left, bpp);
            std::memcpy(left, right, bpp);
            std::memcpy(right, pixel, bpp);
        }
    }
    return true;
}

bool FlipVerticalPixels(TIEBitmap& Bitmap) {
    const size_t length = size_t(IEComputeRowLen(Bitmap.Width(), Bitmap.BitCount(), 8));
    std::vector<uint8_t> top(length);
    for (int32_t y = 0, other = Bitmap.Height() - 1; y < other; ++y, --other) {
        // Both rows at once: on file-backed storage a scanline lasts only until the next.
        auto* upper = static_cast<uint8_t*>(Bitmap.GetRow(y));
        auto* lower = static_cast<uint8_t*>(Bitmap.GetRow(other));
        if (upper && lower) {
            std::memcpy(top.data(), upper, length);
            std::memcpy(upper, lower, length);
            std::memcpy(lower, top.data(), length);
        }
        Bitmap.FreeRow(y);
        Bitmap.FreeRow(other);
        if (!upper || !lower) return false;
    }
    return true;
}

// The alpha plane follows the pixels through every step; it stays with the bitmap also
// when a step fails.
template <typename TStep> bool WithAlpha(TIEBitmap& Bitmap, TStep Step) {
    std::unique_ptr<TIEBitmap> alpha = Bitmap.DetachAlphaChannel(false);
    bool done = Step(Bitmap);
    if (alpha) {
        done = done && Step(*alpha);
        Bitmap.ReplaceAlphaChannel(std::move(alpha));
    }
    return done;
}

bool RotatePixels(TIEBitmap& Bitmap, bool CounterClockwise) {
    const int32_t width = Bitmap.Width(), height = Bitmap.Height();
    TIEBitmap turned;
    turned.SetLocation(Bitmap.Location());
    if (!turned.Allocate(height, width, Bitmap.PixelFormat())) return false;
    if (Bitmap.PixelFormat() == ie8p) Bitmap.CopyPaletteTo(turned);
    const bool done =
        CounterClockwise
            ? CopyTurned(Bitmap, turned, [&](int32_t x, int32_t y) { return std::pair(width - 1 - y, x); })
            : CopyTurned(Bitmap, turned, [&](int32_t x, int32_t y) { return std::pair(y, height - 1 - x); });
    if (done) turned.SwitchTo(Bitmap);
    return done;
}

} // namespace

bool IEFlipHorizontal(TIEBitmap& Bitmap) {
    if (Bitmap.IsEmpty()) return true;
    const bool done = WithAlpha(Bitmap, FlipHorizontalPixels);
    Bitmap.Changed();
    return done;
}

bool IEFlipVertical(TIEBitmap& Bitmap) {
    if (Bitmap.IsEmpty()) return true;
    const bool done = WithAlpha(Bitmap, FlipVerticalPixels);
    Bitmap.Changed();
    return done;
}

bool IERotate90(TIEBitmap& Bitmap, bool CounterClockwise) {
    if (Bitmap.IsEmpty()) return true;
    std::unique_ptr<TIEBitmap> alpha = Bitmap.DetachAlphaChannel(false);
    bool done = RotatePixels(Bitmap, CounterClockwise);
    if (alpha) {
        // A plane that can't be turned would no longer fit the pixels.
        if (done && !RotatePixels(*alpha, CounterClockwise)) alpha.reset();
        Bitmap.ReplaceAlphaChannel(std::move(alpha));
    }
    Bitmap.Changed();
    return done;
}

bool IEAdjustOrientation(TIEBitmap& Bitmap, int32_t Orientation) {
    switch (Orientation) {
    case 2:
        return IEFlipHorizontal(Bitmap);
    case 3:
        return IEFlipVertical(Bitmap) && IEFlipHorizontal(Bitmap);
    case 4:
        return IEFlipVertical(Bitmap);
    // 5 and 7 are mirror images: the flip comes before the quarter turn, or the
    // picture ends upside down.
    case 5:
        return IEFlipHorizontal(Bitmap) && IERotate90(Bitmap, true);
    case 6:
        return IERotate90(Bitmap, false);
    case 7:
        return IEFlipHorizontal(Bitmap) && IERotate90(Bitmap, false);
    case 8:
        return IERotate90(Bitmap, true);
    default:
        return true;
    }
}
