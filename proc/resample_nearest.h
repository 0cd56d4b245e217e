#pragma once

#include <cstdint>

#include "proc/resample_rows.h"

// rfNone: whole pixels of BitCount bits (1 or a multiple of 8) copied from the
// nearest source position, in the source's own format.
void IENearestResample(const TIERowImage& Src, const TIERowImage& Dst, int32_t BitCount,
                       const TIEProgressEvent& OnProgress, void* Sender);
