#include "image/convert.h"

#include <array>
#include <cmath>
#include <cstring>
#include <vector>

#include "image/bitmap.h"
#include "image/convert_internal.h"
#include "image/quantizer.h"

using namespace ieconvert;

namespace {

// The row kernel: one instantiation per pair, the rule inlined into the pixel loop.
// Source and Target are different bitmaps, so both row pointers stay valid together
// even on ieFile.
template <typename TSource, typename TTarget, typename Rule>
void MapPixels(TIEBitmap& Source, TIEBitmap& Target, Rule PixelRule) {
    TIEScopedAccess readOnly(&Source, iedRead);
    int32_t width = Target.Width();
    for (int32_t y = 0; y < Target.Height(); ++y) {
        const auto* from = static_cast<const TSource*>(Source.GetScanline(y));
        auto* to = static_cast<TTarget*>(Target.GetScanline(y));
        if (!from || !to) return;
        for (int32_t x = 0; x < width; ++x)
            to[x] = PixelRule(from[x]);
    }
}

template <typename TTarget> void MapBits(TIEBitmap& Source, TIEBitmap& Target, TTarget Black, TTarget White) {
    TIEScopedAccess readOnly(&Source, iedRead);
    int32_t width = Target.Width();
    for (int32_t y = 0; y < Target.Height(); ++y) {
        const auto* from = static_cast<const uint8_t*>(Source.GetScanline(y));
        auto* to = static_cast<TTarget*>(Target.GetScanline(y));
        if (!from || !to) return;
        for (int32_t x = 0; x < width; ++x)
            to[x] = (from[x >> 3] & (0x80 >> (x & 7))) ? White : Black;
    }
}

// 1-bit to 24-bit by a table of the eight pixels of each byte.
void ExpandBitsToRGB(TIEBitmap& Source, TIEBitmap& Target) {
    static const auto table = [] {
        std::array<std::array<TRGB, 8>, 256> t{};
        for (int32_t byte = 0; byte < 256; ++byte)
            for (int32_t bit = 0; bit < 8; ++bit)
                t[size_t(byte)][size_t(bit)] = Replicated((byte & (0x80 >> bit)) ? 255 : 0);
        return t;
    }();
    TIEScopedAccess readOnly(&Source, iedRead);
    int32_t width = Target.Width();
    for (int32_t y = 0; y < Target.Height(); ++y) {
        const auto* from = static_cast<const uint8_t*>(Source.GetScanline(y));
        auto* to = static_cast<TRGB*>(Target.GetScanline(y));
        if (!from || !to) return;
        for (int32_t x = 0; x < width; x += 8)
            std::memcpy(to + x, table[from[x >> 3]].data(), size_t(std::min(8, width - x)) * sizeof(TRGB));
    }
}

// ie8p sources: the rule is applied to the 256 palette entries once.
template <typename TTarget, typename Rule>
void MapPalette(TIEBitmap& Source, TIEBitmap& Target, Rule EntryRule) {
    std::array<TTarget, 256> table;
    for (int32_t i = 0; i < 256; ++i)
        table[size_t(i)] = EntryRule(Source.GetPalette(i));
    MapPixels<uint8_t, TTarget>(Source, Target, [&table](uint8_t v) { return table[v]; });
}

void SetGreyPalette(TIEBitmap& Target) {
    for (int32_t i = 0; i < 256; ++i)
        Target.SetPalette(i, Replicated(uint8_t(i)));
}

// Grey to RGB through the target's display window. The mapping of every possible
// level is computed once: 256 or 65536 entries.
template <typename TSource> void WindowToRGB(TIEBitmap& Source, TIEBitmap& Target, int32_t Shift) {
    double range = Target.WhiteValue() - Target.BlackValue();
    double mid = (Target.WhiteValue() + Target.BlackValue()) / 2;
    std::vector<uint8_t> table(size_t(1) << (8 * sizeof(TSource)));
    for (size_t v = 0; v < table.size(); ++v) {
        if (range == 0)
            table[v] = uint8_t(v >> Shift);
        else if (double(v) <= mid - range / 2)
            table[v] = 0;
        else if (double(v) > mid + range / 2)
            table[v] = 255;
        else
            table[v] = IEByteClamp(int64_t(std::floor(((double(v) - mid) / range + 0.5) * 255 + 0.5)));
    }
    MapPixels<TSource, TRGB>(Source, Target, [&table](TSource v) { return Replicated(table[v]); });
    Target.SetBlackValue(0);
    Target.SetWhiteValue(0);
}

void Dither(TIEBitmap& Source, TIEBitmap& Target) {
    switch (Target.DefaultDitherMethod()) {
    case ieOrdered:
        IEConvertToBWOrdered(Source, Target);
        break;
    case ieThreshold:
        IEConvertToBWThreshold(Source, Target, -1);
        break;
    case ieDithering:
        // Kept for callers that dither on their own; the rows stay as allocated.
        break;
    }
}

void Quantize(TIEBitmap& Source, TIEBitmap& Target) {
    std::array<TRGB, 256> palette;
    TIEQuantizer quantizer(Source, palette.data(), Target.PaletteUsed());
    for (int32_t i = 0; i < 256; ++i)
        Target.SetPalette(i, palette[size_t(i)]);
    MapPixels<TRGB, uint8_t>(Source, Target,
                             [&quantizer](TRGB c) { return uint8_t(quantizer.GetRGBIndex(c)); });
}

// Rows of equal pixel size copied as bytes; the palette is the caller's business.
void CopyRowBytes(TIEBitmap& Source, TIEBitmap& Target) {
    TIEScopedAccess readOnly(&Source, iedRead);
    size_t bytes = size_t(IEComputeRowLen(Target.Width(), Target.BitCount(), 8));
    for (int32_t y = 0; y < Target.Height(); ++y) {
        void* to = Target.GetScanline(y);
        const void* from = Source.GetScanline(y);
        if (!from || !to) return;
        std::memcpy(to, from, bytes);
    }
}

bool FromBits(TIEBitmap& Source, TIEBitmap& Target) {
    switch (Target.PixelFormat()) {
    case ie8p:
        Target.SetPalette(0, Replicated(0));
        Target.SetPalette(1, Replicated(255));
        MapBits<uint8_t>(Source, Target, 0, 1);
        return true;
    case ie8g:
        MapBits<uint8_t>(Source, Target, 0, 255);
        return true;
    case ie16g:
        MapBits<uint16_t>(Source, Target, 0, 65535);
        return true;
    case ie24RGB:
        ExpandBitsToRGB(Source, Target);
        return true;
    case ie32f:
        MapBits<float>(Source, Target, 0.0f, 1.0f);
        return true;
    case ie48RGB:
        MapBits<TRGB48>(Source, Target, TRGB48{0, 0, 0}, TRGB48{65535, 65535, 65535});
        return true;
    case ie32RGB:
        MapBits<TRGBA>(Source, Target, ReplicatedOpaque(0), ReplicatedOpaque(255));
        return true;
    default:
        return false;
    }
}

bool FromPalette(TIEBitmap& Source, TIEBitmap& Target, const TIEGreyCoefficients& Coef) {
    switch (Target.PixelFormat()) {
    case ie8g:
        MapPalette<uint8_t>(Source, Target, [&Coef](TRGB c) { return Coef.Grey(c.r, c.g, c.b); });
        return true;
    case ie16g:
        MapPalette<uint16_t>(Source, Target, [](TRGB c) { return Grey16(c.r, c.g, c.b); });
        return true;
    case ie24RGB:
        MapPalette<TRGB>(Source, Target, [](TRGB c) { return c; });
        return true;
    case ie32f:
        MapPalette<float>(Source, Target, [](TRGB c) { return GreyFloat(c.r, c.g, c.b); });
        return true;
    case ie48RGB:
        MapPalette<TRGB48>(Source, Target, [](TRGB c) {
            return TRGB48{uint16_t(c.r * 257), uint16_t(c.g * 257), uint16_t(c.b * 257)};
        });
        return true;
    case ie32RGB:
        MapPalette<TRGBA>(Source, Target, Opaque);
        return true;
    case ie1g:
        Dither(Source, Target);
        return true;
    default:
        return false;
    }
}

bool FromGrey8(TIEBitmap& Source, TIEBitmap& Target) {
    switch (Target.PixelFormat()) {
    case ie8p:
        SetGreyPalette(Target);
        CopyRowBytes(Source, Target);
        return true;
    case ie16g:
        MapPixels<uint8_t, uint16_t>(Source, Target, [](uint8_t v) { return uint16_t(v * 257); });
        return true;
    case ie24RGB:
        WindowToRGB<uint8_t>(Source, Target, 0);
        return true;
    case ie32f:
        MapPixels<uint8_t, float>(Source, Target, [](uint8_t v) { return float(v / 255.0); });
        return true;
    case ie48RGB:
        MapPixels<uint8_t, TRGB48>(Source, Target, [](uint8_t v) { return Replicated48(uint16_t(v * 257)); });
        return true;
    case ie32RGB:
        MapPixels<uint8_t, TRGBA>(Source, Target, ReplicatedOpaque);
        return true;
    case ie1g:
        Dither(Source, Target);
        return true;
    default:
        return false;
    }
}

bool FromGrey16(TIEBitmap& Source, TIEBitmap& Target) {
    switch (Target.PixelFormat()) {
    case ie8p:
        SetGreyPalette(Target);
        MapPixels<uint16_t, uint8_t>(Source, Target, [](uint16_t v) { return uint8_t(v >> 8); });
        return true;
    case ie8g:
        MapPixels<uint16_t, uint8_t>(Source, Target, [](uint16_t v) { return uint8_t(v >> 8); });
        return true;
    case ie24RGB:
        WindowToRGB<uint16_t>(Source, Target, 8);
        return true;
    case ie32f:
        MapPixels<uint16_t, float>(Source, Target, [](uint16_t v) { return float(v / 65535.0); });
        return true;
    case ie48RGB:
        MapPixels<uint16_t, TRGB48>(Source, Target, Replicated48);
        return true;
    case ie32RGB:
        MapPixels<uint16_t, TRGBA>(Source, Target,
                                   [](uint16_t v) { return ReplicatedOpaque(uint8_t(v >> 8)); });
        return true;
    case ie1g:
        Dither(Source, Target);
        return true;
    default:
        return false;
    }
}

bool FromRGB(TIEBitmap& Source, TIEBitmap& Target, const TIEGreyCoefficients& Coef) {
    switch (Target.PixelFormat()) {
    case ie8p:
        Quantize(Source, Target);
        return true;
    case ie8g:
        MapPixels<TRGB, uint8_t>(Source, Target, [&Coef](TRGB c) { return Coef.Grey(c.r, c.g, c.b); });
        return true;
    case ie16g:
        MapPixels<TRGB, uint16_t>(Source, Target, [](TRGB c) { return Grey16(c.r, c.g, c.b); });
        return true;
    case ie32f:
        MapPixels<TRGB, float>(Source, Target, [](TRGB c) { return GreyFloat(c.r, c.g, c.b); });
        return true;
    case ie48RGB:
        MapPixels<TRGB, TRGB48>(Source, Target, [](TRGB c) {
            return TRGB48{uint16_t(c.r * 257), uint16_t(c.g * 257), uint16_t(c.b * 257)};
        });
        return true;
    case ie32RGB:
        MapPixels<TRGB, TRGBA>(Source, Target, Opaque);
        return true;
    case ieCMYK:
        MapPixels<TRGB, TCMYK>(Source, Target, IERGB2CMYK);
        return true;
    case ieCIELab:
        MapPixels<TRGB, TCIELab>(Source, Target, IERGB2CIELab);
        return true;
    case ie1g:
        Dither(Source, Target);
        return true;
    default:
        return false;
    }
}

bool FromFloat(TIEBitmap& Source, TIEBitmap& Target) {
    auto level8 = [](float v) { return uint8_t(TruncScaled(v, 255, 255)); };
    switch (Target.PixelFormat()) {
    case ie8p:
        SetGreyPalette(Target);
        MapPixels<float, uint8_t>(Source, Target, level8);
        return true;
    case ie8g:
        MapPixels<float, uint8_t>(Source, Target, level8);
        return true;
    case ie16g:
        MapPixels<float, uint16_t>(Source, Target,
                                   [](float v) { return uint16_t(TruncScaled(v, 65535, 65535)); });
        return true;
    case ie24RGB:
        MapPixels<float, TRGB>(Source, Target, [&level8](float v) { return Replicated(level8(v)); });
        return true;
    case ie48RGB:
        MapPixels<float, TRGB48>(
            Source, Target, [](float v) { return Replicated48(uint16_t(TruncScaled(v, 65535, 65535))); });
        return true;
    case ie32RGB:
        MapPixels<float, TRGBA>(Source, Target, [&level8](float v) { return ReplicatedOpaque(level8(v)); });
        return true;
    case ie1g:
        Dither(Source, Target);
        return true;
    default:
        return false;
    }
}

bool FromRGB48(TIEBitmap& Source, TIEBitmap& Target, const TIEGreyCoefficients& Coef) {
    switch (Target.PixelFormat()) {
    case ie24RGB:
        MapPixels<TRGB48, TRGB>(Source, Target, [](TRGB48 c) {
            return TRGB{uint8_t(c.b >> 8), uint8_t(c.g >> 8), uint8_t(c.r >> 8)};
        });
        return true;
    case ie32RGB:
        MapPixels<TRGB48, TRGBA>(Source, Target, [](TRGB48 c) {
            return TRGBA{uint8_t(c.b >> 8), uint8_t(c.g >> 8), uint8_t(c.r >> 8), 255};
        });
        return true;
    case ie8g:
        MapPixels<TRGB48, uint8_t>(Source, Target,
                                   [&Coef](TRGB48 c) { return Coef.Grey(c.r >> 8, c.g >> 8, c.b >> 8); });
        return true;
    case ie16g:
        // Other weights than the 8-bit forms: the ones of the 16-bit grey, per mille.
        MapPixels<TRGB48, uint16_t>(Source, Target, [](TRGB48 c) {
            return uint16_t((int32_t(c.r) * 212 + int32_t(c.g) * 713 + int32_t(c.b) * 75) / 1000);
        });
        return true;
    case ie32f:
        // White comes out slightly above 1.0 (65535 / 256 / 255); that is the rule.
        MapPixels<TRGB48, float>(Source, Target, [](TRGB48 c) {
            return float((c.r * 0.2126 / 256 + c.g * 0.7152 / 256 + c.b * 0.0722 / 256) / 255.0);
        });
        return true;
    case ie1g:
        Dither(Source, Target);
        return true;
    default:
        return false;
    }
}

} // namespace

namespace ieconvert {

void ConvertRows(TIEBitmap& Source, TIEBitmap& Target) {
    if (&Source == &Target || Source.IsEmpty() || Target.IsEmpty() || Source.Width() != Target.Width() ||
        Source.Height() != Target.Height())
        return;
    TIEPixelFormat from = Source.PixelFormat(), to = Target.PixelFormat();
    if (from == to) {
        CopyRowBytes(Source, Target);
        if (to == ie8p) Source.CopyPaletteTo(Target);
        return;
    }
    TIEGreyCoefficients coef = TIEGreyCoefficients::Current();
    bool done = false;
    switch (from) {
    case ie1g:
        done = FromBits(Source, Target);
        break;
    case ie8p:
        done = FromPalette(Source, Target, coef);
        break;
    case ie8g:
        done = FromGrey8(Source, Target);
        break;
    case ie16g:
        done = FromGrey16(Source, Target);
        break;
    case ie24RGB:
        done = FromRGB(Source, Target, coef);
        break;
    case ie32f:
        done = FromFloat(Source, Target);
        break;
    case ieCMYK:
        if (to == ie24RGB)
            done = (MapPixels<TCMYK, TRGB>(Source, Target, IECMYK2RGB), true);
        else if (to == ie32RGB)
            done = (MapPixels<TCMYK, TRGBA>(Source, Target, [](TCMYK c) { return Opaque(IECMYK2RGB(c)); }),
                    true);
        break;
    case ie48RGB:
        done = FromRGB48(Source, Target, coef);
        break;
    case ieCIELab:
        if (to == ie24RGB)
            done = (MapPixels<TCIELab, TRGB>(Source, Target, IECIELab2RGB), true);
        else if (to == ie32RGB)
            done =
                (MapPixels<TCIELab, TRGBA>(Source, Target, [](TCIELab c) { return Opaque(IECIELab2RGB(c)); }),
                 true);
        break;
    case ie32RGB:
        if (to == ie24RGB)
            done = (MapPixels<TRGBA, TRGB>(Source, Target,
                                           [](TRGBA c) {
                                               return TRGB{c.b, c.g, c.r};
                                           }),
                    true);
        break;
    case ieNull:
        return;
    }
    if (done || to == ieNull || from == ie24RGB) return;
    // Through 24: the source itself becomes ie24RGB, so the caller sees it changed.
    // ie1g to ieCIELab takes this road too rather than re-entering itself.
    Source.SetPixelFormat(ie24RGB);
    if (Source.PixelFormat() == ie24RGB) ConvertRows(Source, Target);
}

} // namespace ieconvert

void TIEBitmap::CopyAndConvertFormat(TIEBitmap& Source) {
    if (&Source == this || Source.fWidth != fWidth || Source.fHeight != fHeight || IsEmpty()) return;
    ConvertRows(Source, *this);
    // The plane is copied as it is: conversion never multiplies alpha into colours.
    if (Source.fAlphaChannel)
        if (TIEBitmap* plane = AlphaChannel()) plane->AssignEx(*Source.fAlphaChannel, false);
    if (fPixelFormat == ie8p) PushPaletteToTBitmap();
    Changed();
}

void IEConvertPixelFormat(TIEBitmap& Bitmap, TIEPixelFormat NewFormat) {
    TIEPixelFormat oldFormat = Bitmap.fPixelFormat;
    if (NewFormat == oldFormat) return;
    if (oldFormat == ie32RGB) Bitmap.SetAlphaLocation(iaAlphaChannel);
    if (Bitmap.IsEmpty() || oldFormat == ieNull) {
        // Nothing to convert: take the format, and allocate if a size is waiting.
        Bitmap.fPixelFormat = NewFormat;
        if (Bitmap.fWidth >= 1 && Bitmap.fHeight >= 1 && NewFormat != ieNull)
            Bitmap.Allocate(Bitmap.fWidth, Bitmap.fHeight, NewFormat);
        return;
    }
    // The colour count asked for belongs to the bitmap, not to the storage that moves.
    int32_t paletteUsed = Bitmap.fPaletteUsed;
    TIEBitmap old;
    Bitmap.SwitchTo(old);
    bool allocated = false;
    try {
        allocated = Bitmap.Allocate(old.Width(), old.Height(), NewFormat);
    } catch (const EIEException&) {
        // A format the platform bitmap can't hold: the image stays as it was.
        old.SwitchTo(Bitmap);
        Bitmap.fPaletteUsed = paletteUsed;
        throw;
    }
    Bitmap.fPaletteUsed = paletteUsed;
    if (allocated) ConvertRows(old, Bitmap);
    // Out of memory or rows lost on disk: the picture stays as it was.
    if (!allocated || !(old.FlushRows() & Bitmap.FlushRows())) {
        old.SwitchTo(Bitmap);
        Bitmap.fPaletteUsed = paletteUsed;
        return;
    }
    // Moved rather than copied: the temporary is about to go.
    Bitmap.fAlphaChannel = std::move(old.fAlphaChannel);
    if (Bitmap.fPixelFormat == ie8p) Bitmap.PushPaletteToTBitmap();
    Bitmap.Changed();
}
