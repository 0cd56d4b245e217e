#pragma once

#include <cstdint>

#include "proc/resample_rows.h"

// rfFastLinear: per axis, a box average when shrinking and linear interpolation when
// enlarging, in integers. The 24-bit engine reads and writes TRGB rows.
void IEFastLinearResample24(const TIERowImage& Src, const TIERowImage& Dst,
                            const TIEProgressEvent& OnProgress, void* Sender);
// One byte a pixel. Unlike the 24-bit engine it has no half-pixel shift when
// enlarging and rounds where that one truncates; both differences are kept.
void IEFastLinearResample8(const TIERowImage& Src, const TIERowImage& Dst, const TIEProgressEvent& OnProgress,
                           void* Sender);
// The 8-bit engine on 16-bit words.
void IEFastLinearResample16(const TIERowImage& Src, const TIERowImage& Dst,
                            const TIEProgressEvent& OnProgress, void* Sender);
