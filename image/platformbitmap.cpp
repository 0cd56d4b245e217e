#include "image/platformbitmap.h"

#include <algorithm>
#include <cstring>

namespace {

int64_t DibRowLen(int32_t Width, int32_t Depth) {
    return (int64_t(Width) * Depth + 31) / 32 * 4;
}

std::vector<TRGBA> DefaultPalette(int32_t Depth) {
    std::vector<TRGBA> palette;
    if (Depth == 1) palette = {TRGBA{0, 0, 0, 0}, TRGBA{255, 255, 255, 0}};
    if (Depth == 8)
        for (int i = 0; i < 256; ++i)
            palette.push_back(TRGBA{uint8_t(i), uint8_t(i), uint8_t(i), 0});
    return palette;
}

} // namespace

void TBitmap::SetSize(int32_t NewWidth, int32_t NewHeight) {
    if (NewWidth == fWidth && NewHeight == fHeight) return;
    Rebuild(NewWidth, NewHeight, fPixelDepth, true);
}

void TBitmap::SetPixelDepth(int32_t Bits) {
    if (Bits != 1 && Bits != 8 && Bits != 24 && Bits != 32) throw EIEException("Unsupported pixel depth");
    if (Bits == fPixelDepth) return;
    Rebuild(fWidth, fHeight, Bits, false);
    fPalette = DefaultPalette(Bits);
}

void TBitmap::Rebuild(int32_t NewWidth, int32_t NewHeight, int32_t NewDepth, bool KeepPixels) {
    if (NewWidth < 0 || NewHeight < 0 || int64_t(NewWidth) * NewDepth > INT32_MAX)
        throw EIEException("Invalid bitmap size");
    int64_t newRowLen = DibRowLen(NewWidth, NewDepth);
    std::vector<uint8_t> bits(static_cast<size_t>(newRowLen * NewHeight));
    if (KeepPixels) {
        int32_t rows = std::min(fHeight, NewHeight);
        int64_t bytes = std::min(fRowLen, newRowLen);
        // Bottom-up storage: top row r lives at (height - 1 - r).
        for (int32_t r = 0; r < rows; ++r)
            std::memcpy(bits.data() + (NewHeight - 1 - r) * newRowLen,
                        fBits.data() + (fHeight - 1 - r) * fRowLen, size_t(bytes));
    }
    fBits.swap(bits);
    fWidth = NewWidth;
    fHeight = NewHeight;
    fRowLen = newRowLen;
    fPixelDepth = NewDepth;
}

uint8_t* TBitmap::ScanLine(int32_t Row) {
    if (Row < 0 || Row >= fHeight) return nullptr;
    return fBits.data() + int64_t(fHeight - 1 - Row) * fRowLen;
}

TRGBA TBitmap::PaletteEntry(int32_t Index) const {
    if (Index < 0 || Index >= PaletteSize()) return TRGBA{0, 0, 0, 0};
    return fPalette[size_t(Index)];
}

void TBitmap::SetPaletteEntry(int32_t Index, TRGBA Value) {
    if (Index >= 0 && Index < PaletteSize()) fPalette[size_t(Index)] = Value;
}
