// Formats and the palette.
#include "image/bitmap.h"

#include "image/convert.h"

int32_t IEBitCount(TIEPixelFormat Format) {
    static const int32_t bits[] = {0, 1, 8, 8, 16, 24, 32, 32, 48, 24, 32};
    return Format >= ieNull && Format <= ie32RGB ? bits[Format] : 0;
}

int32_t IEChannelCount(TIEPixelFormat Format) {
    static const int32_t channels[] = {0, 1, 1, 1, 1, 3, 1, 4, 3, 3, 4};
    return Format >= ieNull && Format <= ie32RGB ? channels[Format] : 0;
}

TRGB TIEBitmap::GetPalette(int32_t Index) const {
    if (Index < 0 || Index >= GetPaletteLen()) return TRGB{0, 0, 0};
    return fRGBPalette[size_t(Index)];
}

void TIEBitmap::SetPalette(int32_t Index, TRGB Value) {
    if (Index < 0 || Index >= GetPaletteLen()) return;
    fRGBPalette[size_t(Index)] = Value;
    if (fLocation == ieTBitmap && fBitmap)
        fBitmap->SetPaletteEntry(Index, TRGBA{Value.b, Value.g, Value.r, 0});
}

void TIEBitmap::CopyPaletteTo(TIEBitmap& Dest) const {
    if (&Dest == this) return;
    Dest.fRGBPalette = fRGBPalette;
    Dest.fPaletteUsed = fPaletteUsed;
    Dest.PushPaletteToTBitmap();
}

void TIEBitmap::SetPixelFormat(TIEPixelFormat Value) {
    if (Value == fPixelFormat) return;
    IEConvertPixelFormat(*this, Value);
}
