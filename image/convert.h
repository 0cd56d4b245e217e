#pragma once

#include <array>
#include <cstdint>

#include "image/ietypes.h"

class TIEBitmap;

// Changes the pixel format of Bitmap, converting its pixels and keeping its alpha
// plane. The PixelFormat setter comes here whenever the format differs.
void IEConvertPixelFormat(TIEBitmap& Bitmap, TIEPixelFormat NewFormat);

// Grey weights in per cent, read from the global settings once per operation so
// that a conversion never mixes two sets of coefficients.
struct TIEGreyCoefficients {
    int32_t Red = 21, Green = 71, Blue = 8;
    static TIEGreyCoefficients Current();
    uint8_t Grey(int32_t r, int32_t g, int32_t b) const {
        return IEByteClamp((r * Red + g * Green + b * Blue) / 100);
    }
};

// Colour formulas shared by filling, single-pixel access and conversion. CMYK is
// stored inverted, so 255 means no ink. Only the formula route exists: the
// profile-based CMYK route belongs to colour management, which this engine does
// not have yet.
TCMYK IERGB2CMYK(TRGB Value);
TRGB IECMYK2RGB(TCMYK Value);
TCIELab IERGB2CIELab(TRGB Value);
TRGB IECIELab2RGB(TCIELab Value);

// The 1-bit rule. Target must be an allocated ie1g bitmap of Source's size; Source
// in ieCMYK, ieCIELab or ie32RGB is first converted to ie24RGB in place.
// Threshold: a grey level 0 to 255, -1 for the Grey of the mean colour, -2 for the
// maximum-entropy threshold. Pixels at or above it are set (white).
void IEConvertToBWThreshold(TIEBitmap& Source, TIEBitmap& Target, int32_t Threshold);
// Ordered dither with the 8 by 8 matrix; ie32f compares v / 2.0 with the entry.
void IEConvertToBWOrdered(TIEBitmap& Source, TIEBitmap& Target);
// Kapur's maximum-entropy threshold over a 256-bin histogram; Fallback when no
// candidate splits the histogram into two non-empty parts.
int32_t IEMaxEntropyThreshold(const std::array<uint64_t, 256>& Histogram, int32_t Fallback);
