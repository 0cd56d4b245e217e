#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "proc/resample_rows.h"

// A top-down image of whole bytes built from literal samples, for the engines that
// work on rows.
class TTestImage {
  public:
    TTestImage(int32_t Width, int32_t Height, int32_t BytesPerPixel)
        : fWidth(Width), fHeight(Height), fBytesPerPixel(BytesPerPixel),
          fStride((int64_t(Width) * BytesPerPixel + 3) / 4 * 4), fBits(size_t(fStride * Height), 0xCD) {}
    // Samples row by row from the top, BytesPerPixel of them a pixel.
    TTestImage(int32_t Width, int32_t Height, int32_t BytesPerPixel, std::initializer_list<int> Samples)
        : TTestImage(Width, Height, BytesPerPixel) {
        auto it = Samples.begin();
        for (int32_t y = 0; y < Height; ++y)
            for (int32_t i = 0; i < Width * BytesPerPixel; ++i)
                Row(y)[i] = uint8_t(*it++);
    }

    // A grey picture in TRGB, each grey value repeated in blue, green and red.
    static TTestImage Grey24(int32_t Width, int32_t Height, std::initializer_list<int> Greys) {
        TTestImage image(Width, Height, 3);
        auto it = Greys.begin();
        for (int32_t y = 0; y < Height; ++y)
            for (int32_t x = 0; x < Width; ++x, ++it)
                for (int32_t c = 0; c < 3; ++c)
                    image.Row(y)[3 * x + c] = uint8_t(*it);
        return image;
    }

    // A deterministic busy picture: gradients, edges and noise.
    static TTestImage Busy(int32_t Width, int32_t Height, int32_t BytesPerPixel) {
        TTestImage image(Width, Height, BytesPerPixel);
        uint32_t seed = 12345;
        for (int32_t y = 0; y < Height; ++y)
            for (int32_t i = 0; i < Width * BytesPerPixel; ++i) {
                seed = seed * 1103515245u + 12345u;
                const int32_t x = i / BytesPerPixel;
                const int32_t edge = ((x / 7 + y / 5) & 1) ? 200 : 30;
                image.Row(y)[i] = uint8_t((edge + (x * 3 + y) % 40 + int32_t(seed >> 27)) & 0xFF);
            }
        return image;
    }

    uint8_t* Row(int32_t y) { return fBits.data() + size_t(y) * size_t(fStride); }
    uint8_t At(int32_t x, int32_t y, int32_t Channel = 0) { return Row(y)[x * fBytesPerPixel + Channel]; }
    uint16_t Word(int32_t x, int32_t y) { return uint16_t(Row(y)[2 * x] | (Row(y)[2 * x + 1] << 8)); }
    void SetWord(int32_t x, int32_t y, uint16_t v) {
        Row(y)[2 * x] = uint8_t(v);
        Row(y)[2 * x + 1] = uint8_t(v >> 8);
    }
    TIERowImage Rows() { return TIERowImage(fWidth, fHeight, fBits.data(), fStride); }

    // One channel of every pixel, row by row.
    std::vector<int> Channel(int32_t Channel) {
        std::vector<int> values;
        for (int32_t y = 0; y < fHeight; ++y)
            for (int32_t x = 0; x < fWidth; ++x)
                values.push_back(At(x, y, Channel));
        return values;
    }
    // Pixel bytes only, padding left out.
    std::vector<uint8_t> Pixels() {
        std::vector<uint8_t> bytes;
        for (int32_t y = 0; y < fHeight; ++y)
            bytes.insert(bytes.end(), Row(y), Row(y) + fWidth * fBytesPerPixel);
        return bytes;
    }

  private:
    int32_t fWidth, fHeight, fBytesPerPixel;
    int64_t fStride;
    std::vector<uint8_t> fBits;
};

// ie1g rows from strings of '0' and '1', top row first.
inline TTestImage Bits(std::initializer_list<std::string> Rows) {
    const int32_t width = int32_t(Rows.begin()->size());
    TTestImage image((width + 7) / 8, int32_t(Rows.size()), 1);
    int32_t y = 0;
    for (const std::string& row : Rows) {
        for (int32_t i = 0; i < (width + 7) / 8; ++i)
            image.Row(y)[i] = 0;
        for (int32_t x = 0; x < width; ++x)
            if (row[size_t(x)] == '1') image.Row(y)[x >> 3] |= uint8_t(0x80 >> (x & 7));
        ++y;
    }
    return image;
}

// The same rows seen with the bit width: TTestImage counts whole bytes.
inline TIERowImage BitRows(TTestImage& Image, int32_t BitWidth, int32_t Height) {
    return TIERowImage(BitWidth, Height, Image.Row(0), Image.Row(Height > 1 ? 1 : 0) - Image.Row(0));
}
