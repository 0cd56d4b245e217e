#pragma once

#include <cmath>
#include <cstdint>

#include "image/bitmap.h"

// Fills an ie24RGB bitmap in memory with a photo-like picture: smooth shading, hard
// edges and sensor-like noise, so that no engine meets a suspiciously uniform input.
// Detail scales the features: 5 draws at 1200 x 800 what 1 draws at 6000 x 4000.
inline void FillPhotoLike(TIEBitmap& Bitmap, int32_t Width, int32_t Height, int32_t Detail = 1) {
    Bitmap.SetLocation(ieMemory);
    Bitmap.Allocate(Width, Height, ie24RGB);
    uint32_t seed = 1;
    for (int32_t y = 0; y < Height; ++y) {
        auto* row = static_cast<TRGB*>(Bitmap.GetScanline(y));
        for (int32_t x = 0; x < Width; ++x) {
            seed = seed * 1664525u + 1013904223u;
            const int32_t noise = int32_t(seed >> 28) - 8;
            const double shade = 0.5 + 0.5 * std::sin(x * 0.0021 * Detail) * std::cos(y * 0.0017 * Detail);
            const bool edge = ((x * Detail / 350) + (y * Detail / 270)) % 3 == 0;
            const int32_t base = int32_t(shade * 200.0) + (edge ? 40 : 0);
            row[x] = TRGB{IEByteClamp(base / 2 + noise), IEByteClamp(base + noise),
                          IEByteClamp(base + 30 - x % 17)};
        }
    }
}
