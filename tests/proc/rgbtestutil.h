#pragma once

#include <cstdint>

#include "image/bitmap.h"

// A deterministic busy ie24RGB picture: blocks, gradients and noise.
inline void FillBusy(TIEBitmap& Bitmap, int32_t Width, int32_t Height, uint32_t Seed = 7) {
    Bitmap.Allocate(Width, Height, ie24RGB);
    for (int32_t y = 0; y < Height; ++y) {
        auto* row = static_cast<uint8_t*>(Bitmap.GetScanline(y));
        for (int32_t i = 0; i < Width * 3; ++i) {
            Seed = Seed * 1103515245u + 12345u;
            const int32_t block = ((i / 3 / 9 + y / 7) & 1) ? 190 : 40;
            row[i] = uint8_t((block + (i / 3 * 2 + y) % 30 + int32_t(Seed >> 28)) & 0xFF);
        }
    }
}
