#pragma once

#include <cstdint>

#include "proc/resample_rows.h"

// The area walk of rfBilinear and rfBicubic: one pass in double precision over the
// cells where source and target pixels overlap. Bpp is the samples a pixel (1 for
// ie8g and ie16g, 3 for ie24RGB and ie48RGB, 4 for ie32RGB); SrcAlpha, if not null,
// is the source's 8-bit alpha plane, which only steers the corner rule of bilinear
// enlargement. Other filters and other Bpp values do nothing.
void IEAreaResample8(const TIERowImage& Src, const TIERowImage* SrcAlpha, const TIERowImage& Dst, int32_t Bpp,
                     TResampleFilter Filter, const TIEProgressEvent& OnProgress, void* Sender);
// The same with 16-bit samples, results clamped to 0..65535.
void IEAreaResample16(const TIERowImage& Src, const TIERowImage* SrcAlpha, const TIERowImage& Dst,
                      int32_t Bpp, TResampleFilter Filter, const TIEProgressEvent& OnProgress, void* Sender);
