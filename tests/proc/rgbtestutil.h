#pragma once

#include <cstdint>
#include <initializer_list>
#include <vector>

#include "image/bitmap.h"

// An ie24RGB bitmap from literal pixels, top row first, each given as {r, g, b}.
struct TTestRGB {
    int r, g, b;
};
inline void FillRGB(TIEBitmap& Bitmap, int32_t Width, int32_t Height,
                    std::initializer_list<TTestRGB> Pixels) {
    Bitmap.Allocate(Width, Height, ie24RGB);
    auto it = Pixels.begin();
    for (int32_t y = 0; y < Height; ++y)
        for (int32_t x = 0; x < Width; ++x, ++it)
            Bitmap.SetPixels_ie24RGB(x, y, TRGB{uint8_t(it->b), uint8_t(it->g), uint8_t(it->r)});
}

// A grey ie24RGB bitmap: each value repeated in the three channels.
inline void FillGrey24(TIEBitmap& Bitmap, int32_t Width, int32_t Height, std::initializer_list<int> Greys) {
    Bitmap.Allocate(Width, Height, ie24RGB);
    auto it = Greys.begin();
    for (int32_t y = 0; y < Height; ++y)
        for (int32_t x = 0; x < Width; ++x, ++it)
            Bitmap.SetPixels_ie24RGB(x, y, TRGB{uint8_t(*it), uint8_t(*it), uint8_t(*it)});
}

// A deterministic busy ie24RGB picture: blocks, gradients and noise.
inline void FillBusy(TIEBitmap& Bitmap, int32_t Width, int32_t Height, uint32_t Seed = 7) {
    Bitmap.Allocate(Width, Height, ie24RGB);
    for (int32_t y = 0; y < Height; ++y) {
        auto* row = static_cast<uint8_t*>(Bitmap.GetScanline(y));
        for (int32_t i = 0; i < Width * 3; ++i) {
            Seed = Seed * 1103515245u + 12345u;
            const int32_t x = i / 3;
            const int32_t block = ((x / 9 + y / 7) & 1) ? 190 : 40;
            row[i] = uint8_t((block + (x * 2 + y) % 30 + int32_t(Seed >> 28)) & 0xFF);
        }
    }
}

// One channel (0 blue, 1 green, 2 red) of every pixel, row by row.
inline std::vector<int> ChannelOf(TIEBitmap& Bitmap, int32_t Channel) {
    std::vector<int> values;
    for (int32_t y = 0; y < Bitmap.Height(); ++y) {
        auto* row = static_cast<const uint8_t*>(Bitmap.GetScanline(y));
        for (int32_t x = 0; x < Bitmap.Width(); ++x)
            values.push_back(row[3 * x + Channel]);
    }
    return values;
}
inline std::vector<int> Reds(TIEBitmap& Bitmap) {
    return ChannelOf(Bitmap, 2);
}
