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

template <typename TSourceOf> void CopyTurned(TIEBitmap& Source, TIEBitmap& Target, TSourceOf SourceOf) {
    const int32_t width = Target.Width(), height = Target.Height();
    if (Source.PixelFormat() == ie1g) {
        for (int32_t y = 0; y < height; ++y)
            for (int32_t x = 0; x < width; ++x) {
                const auto [sx, sy] = SourceOf(x, y);
                Target.SetPixels_ie1g(x, y, Source.GetPixels_ie1g(sx, sy));
            }
        return;
    }
    const int32_t bpp = BytesPerPixel(Source);
    std::vector<uint8_t*> sourceRows;
    if (RowsAreStable(Source)) {
        sourceRows.resize(size_t(Source.Height()));
        for (int32_t y = 0; y < Source.Height(); ++y)
            sourceRows[size_t(y)] = static_cast<uint8_t*>(Source.GetScanline(y));
    }
    std::vector<uint8_t> row(size_t(width) * size_t(bpp));
    for (int32_t y = 0; y < height; ++y) {
        uint8_t* out = row.data();
        for (int32_t x = 0; x < width; ++x, out += bpp) {
            const auto [sx, sy] = SourceOf(x, y);
            const uint8_t* in =
                sourceRows.empty() ? static_cast<uint8_t*>(Source.GetScanline(sy)) : sourceRows[size_t(sy)];
            std::memcpy(out, in + size_t(sx) * size_t(bpp), size_t(bpp));
        }
        std::memcpy(Target.GetScanline(y), row.data(), row.size());
    }
}

void FlipHorizontalPixels(TIEBitmap& Bitmap) {
    const int32_t width = Bitmap.Width();
    if (Bitmap.PixelFormat() == ie1g) {
        for (int32_t y = 0; y < Bitmap.Height(); ++y)
            for (int32_t x = 0; x < width / 2; ++x) {
                const bool left = Bitmap.GetPixels_ie1g(x, y);
                Bitmap.SetPixels_ie1g(x, y, Bitmap.GetPixels_ie1g(width - 1 - x, y));
                Bitmap.SetPixels_ie1g(width - 1 - x, y, left);
            }
        return;
    }
    const size_t bpp = size_t(BytesPerPixel(Bitmap));
    uint8_t pixel[16];
    for (int32_t y = 0; y < Bitmap.Height(); ++y) {
        uint8_t* row = static_cast<uint8_t*>(Bitmap.GetScanline(y));
        for (int32_t x = 0; x < width / 2; ++x) {
            uint8_t* left = row + size_t(x) * bpp;
            uint8_t* right = row + size_t(width - 1 - x) * bpp;
            std::memcpy(pixel, left, bpp);
            std::memcpy(left, right, bpp);
            std::memcpy(right, pixel, bpp);
        }
    }
}

void FlipVerticalPixels(TIEBitmap& Bitmap) {
    const size_t length = size_t(IEComputeRowLen(Bitmap.Width(), Bitmap.BitCount(), 8));
    std::vector<uint8_t> top(length), bottom(length);
    for (int32_t y = 0, other = Bitmap.Height() - 1; y < other; ++y, --other) {
        std::memcpy(top.data(), Bitmap.GetScanline(y), length);
        std::memcpy(bottom.data(), Bitmap.GetScanline(other), length);
        std::memcpy(Bitmap.GetScanline(y), bottom.data(), length);
        std::memcpy(Bitmap.GetScanline(other), top.data(), length);
    }
}

// The alpha plane follows the pixels through every step.
template <typename TStep> void WithAlpha(TIEBitmap& Bitmap, TStep Step) {
    std::unique_ptr<TIEBitmap> alpha = Bitmap.DetachAlphaChannel(false);
    Step(Bitmap);
    if (alpha) {
        Step(*alpha);
        Bitmap.ReplaceAlphaChannel(std::move(alpha));
    }
}

bool RotatePixels(TIEBitmap& Bitmap, bool CounterClockwise) {
    const int32_t width = Bitmap.Width(), height = Bitmap.Height();
    TIEBitmap turned;
    turned.SetLocation(Bitmap.Location());
    if (!turned.Allocate(height, width, Bitmap.PixelFormat())) return false;
    if (Bitmap.PixelFormat() == ie8p) Bitmap.CopyPaletteTo(turned);
    if (CounterClockwise)
        CopyTurned(Bitmap, turned, [&](int32_t x, int32_t y) { return std::pair(width - 1 - y, x); });
    else
        CopyTurned(Bitmap, turned, [&](int32_t x, int32_t y) { return std::pair(y, height - 1 - x); });
    turned.SwitchTo(Bitmap);
    return true;
}

} // namespace

void IEFlipHorizontal(TIEBitmap& Bitmap) {
    if (Bitmap.IsEmpty()) return;
    WithAlpha(Bitmap, FlipHorizontalPixels);
    Bitmap.Changed();
}

void IEFlipVertical(TIEBitmap& Bitmap) {
    if (Bitmap.IsEmpty()) return;
    WithAlpha(Bitmap, FlipVerticalPixels);
    Bitmap.Changed();
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

void IEAdjustOrientation(TIEBitmap& Bitmap, int32_t Orientation) {
    switch (Orientation) {
    case 2:
        IEFlipHorizontal(Bitmap);
        break;
    case 3:
        IEFlipVertical(Bitmap);
        IEFlipHorizontal(Bitmap);
        break;
    case 4:
        IEFlipVertical(Bitmap);
        break;
    // 5 and 7 are mirror images: the flip comes before the quarter turn, or the
    // picture ends upside down.
    case 5:
        IEFlipHorizontal(Bitmap);
        IERotate90(Bitmap, true);
        break;
    case 6:
        IERotate90(Bitmap, false);
        break;
    case 7:
        IEFlipHorizontal(Bitmap);
        IERotate90(Bitmap, false);
        break;
    case 8:
        IERotate90(Bitmap, true);
        break;
    default:
        break;
    }
}
