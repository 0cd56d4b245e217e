#pragma once

#include "image/ietypes.h"

class TIEBitmap;

// Resolves a requested size against the present one: -1 follows the other side,
// 0 keeps the present side, MaintainAspectRatio fits into the box.
void IEResolveResampleSize(int32_t& NewWidth, int32_t& NewHeight, int32_t Width, int32_t Height,
                           bool MaintainAspectRatio);

// Fills Dst, already allocated at the target size, from Src with the given filter.
// The alpha plane of Src, if any, is resampled alongside. False when Dst could not
// be filled: a destination format no engine writes, a failed allocation or rows
// lost on disk; Dst then holds nothing to use.
bool IEResampleDispatch(TIEBitmap& Src, TIEBitmap& Dst, TResampleFilter Filter,
                        const TIEProgressEvent& OnProgress, void* Sender);
