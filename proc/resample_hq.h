#pragma once

#include <cstdint>

#include "proc/resample_rows.h"

class TIEBitmap;

// What the rfWIC... filters run on this platform, which has no system scaler: our own
// separable scaler over pixel centres, in single precision, on the stored values
// (no gamma or premultiplication), each output rounded to the nearest sample and
// clamped. Modes as the system scaler numbers them:
//   0 nearest neighbour: whole pixels copied, the format kept;
//   1 linear: two taps, not widened when reducing;
//   2 cubic: Catmull-Rom (B = 0, C = 0.5), not widened;
//   3 fant: box average weighted by the overlap of source and target pixels;
//   4 high-quality cubic: Catmull-Rom widened by the reduction factor, so that every
//     source pixel contributes when reducing; plain Catmull-Rom when enlarging.
// Taps beyond the border repeat the border pixel and the weights are normalised.
int32_t IEScalerMode(TResampleFilter Filter);

enum TIEScalerSample : int32_t { ssByte, ssInvertedByte, ssSignedByte, ssWord, ssSingle };

// The samples of one pixel, in memory order.
struct TIEScalerLayout {
    int32_t Channels = 0;
    TIEScalerSample Samples[4] = {ssByte, ssByte, ssByte, ssByte};
};

// Modes 1 to 4 on rows of the given layout; Src and Dst share it.
void IEScalerResample(const TIERowImage& Src, const TIERowImage& Dst, const TIEScalerLayout& Layout,
                      int32_t Mode, const TIEProgressEvent& OnProgress, void* Sender);

// The whole system-scaler route on bitmaps. Dst is reallocated at its present size in
// the format the result maps to: the source's own, except that ie1g and ie8p come
// out as ie8g and ie24RGB from the interpolating modes (a bit or a palette index
// cannot be averaged). Returns false for formats it cannot read and when rows were
// lost. Alpha is not touched; the dispatch resamples it on its own.
bool IESystemScalerResample(TIEBitmap& Src, TIEBitmap& Dst, TResampleFilter Filter,
                            const TIEProgressEvent& OnProgress, void* Sender);
