#pragma once

#include <cstdint>
#include <memory>

#include "image/ietypes.h"

// Scratch image for processing intermediates: rows top-down, padded to four bytes,
// no pixel format, no palette, no storage choice. Cell accessors take (x, y) with x
// the column and y the row, and assume the bit count their type implies.
class TIEWorkBitmap {
  public:
    TIEWorkBitmap() = default;
    // Leaves the bitmap empty (IsEmpty) if memory can't be had or the size is invalid.
    TIEWorkBitmap(int32_t Width, int32_t Height, int32_t BitCount) { Allocate(Width, Height, BitCount); }
    TIEWorkBitmap(const TIEWorkBitmap&) = delete;
    TIEWorkBitmap& operator=(const TIEWorkBitmap&) = delete;

    // BitCount 1, 8, 16, 24, 32 or 64. Contents start zeroed.
    bool Allocate(int32_t Width, int32_t Height, int32_t BitCount);
    void Free();
    bool IsEmpty() const { return !fBits; }

    int32_t Width() const { return fWidth; }
    int32_t Height() const { return fHeight; }
    int32_t BitCount() const { return fBitCount; }
    int64_t RowLen() const { return fRowLen; }

    uint8_t* GetScanline(int32_t Row) const { return fBits.get() + int64_t(Row) * fRowLen; }
    uint8_t* GetPByte(int32_t x, int32_t y) const { return GetScanline(y) + x; }
    uint16_t* GetPWord(int32_t x, int32_t y) const { return reinterpret_cast<uint16_t*>(GetScanline(y)) + x; }
    TRGB* GetPRGB(int32_t x, int32_t y) const { return reinterpret_cast<TRGB*>(GetScanline(y)) + x; }
    double* GetPDouble(int32_t x, int32_t y) const { return reinterpret_cast<double*>(GetScanline(y)) + x; }
    float* GetPSingle(int32_t x, int32_t y) const { return reinterpret_cast<float*>(GetScanline(y)) + x; }
    int32_t* GetPInteger(int32_t x, int32_t y) const {
        return reinterpret_cast<int32_t*>(GetScanline(y)) + x;
    }
    // One-bit rows, most significant bit first like ie1g.
    void SetBit(int32_t x, int32_t y, bool Value) const;
    bool GetBit(int32_t x, int32_t y) const { return (GetScanline(y)[x >> 3] & (0x80 >> (x & 7))) != 0; }

  private:
    int32_t fWidth = 0;
    int32_t fHeight = 0;
    int32_t fBitCount = 0;
    int64_t fRowLen = 0;
    // The row length is a multiple of four and the buffer comes from operator new,
    // so the 8-byte cells of GetPDouble stay aligned whenever x is.
    std::unique_ptr<uint8_t[]> fBits;
};
