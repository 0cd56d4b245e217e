#pragma once

#include <cstdint>

#include "proc/resample_rows.h"

// The one-bit linear engine: an ie1g source, bits read as 0 or 255, into TRGB rows
// with the grey value in all three channels. A block mean when shrinking both ways,
// fixed-point interpolation with 17 fractional bits otherwise.
void IEOneBitLinearResample(const TIERowImage& Src, const TIERowImage& Dst);

// rfProjectBW / rfProjectWB: every target bit looks at a block of source pixels and
// the chosen colour wins if any pixel of the block has it. The source is TRGB rows,
// or ie1g rows when SrcIsOneBit; the destination is ie1g rows.
void IEProjectResample(const TIERowImage& Src, bool SrcIsOneBit, const TIERowImage& Dst,
                       TResampleFilter Filter);
