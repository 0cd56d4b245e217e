#pragma once

#include <cstdint>
#include <vector>

#include "image/ietypes.h"

// The platform bitmap behind ieTBitmap storage. Linux has no system bitmap object,
// so this is a plain device-independent one: rows padded to four bytes and stored
// bottom-up, with a palette of 2 or 256 entries for the depths that have one.
class TBitmap {
  public:
    TBitmap() = default;

    int32_t Width() const { return fWidth; }
    int32_t Height() const { return fHeight; }
    int32_t PixelDepth() const { return fPixelDepth; }
    int64_t RowLen() const { return fRowLen; }

    // These keep the overlapping top-left part of the picture, as the platform
    // object does. They throw std::bad_alloc when memory runs out and
    // EIEException("Invalid bitmap size") for sizes whose rows can't be addressed.
    void SetWidth(int32_t Value) { SetSize(Value, fHeight); }
    void SetHeight(int32_t Value) { SetSize(fWidth, Value); }
    void SetSize(int32_t NewWidth, int32_t NewHeight);
    // 1, 8, 24 or 32; anything else raises EIEException("Unsupported pixel depth").
    // Changing the depth clears the picture and resets the palette.
    void SetPixelDepth(int32_t Bits);

    // Row 0 is the top row, as the platform addresses it.
    uint8_t* ScanLine(int32_t Row);

    int32_t PaletteSize() const { return int32_t(fPalette.size()); }
    TRGBA PaletteEntry(int32_t Index) const;
    void SetPaletteEntry(int32_t Index, TRGBA Value);

  private:
    void Rebuild(int32_t NewWidth, int32_t NewHeight, int32_t NewDepth, bool KeepPixels);

    int32_t fWidth = 0;
    int32_t fHeight = 0;
    int32_t fPixelDepth = 24;
    int64_t fRowLen = 0;
    std::vector<uint8_t> fBits;
    std::vector<TRGBA> fPalette;
};
