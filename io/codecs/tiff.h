#pragma once

#include <cstdint>

#include "io/ioparams.h"
#include "io/progress.h"
#include "io/stream.h"

class TIEBitmap;

// Limits against hostile files, checked before anything is allocated: the picture's
// pixel count, and how many times the file's size its decoded samples may be (no real
// compression comes near it, a header that claims a huge picture in a tiny file does).
struct TIETiffLimits {
    int64_t MaxPixels = int64_t(1) << 28;
    int64_t MaxExpansion = 8192;
    // Pages walked when counting them.
    int32_t MaxPages = 65536;
};
TIETiffLimits IETiffLimits();
void IESetTiffLimits(const TIETiffLimits& Limits);

// Reads the page TIFF_ImageIndex (or its sub-directory TIFF_SubIndex) of a classic or
// BigTIFF stream into Bitmap, from the stream's position on. PageCount receives the
// number of pages, also when the page asked for isn't there. Preview stops after the
// directory: the tags-only mode. Failure sets *Progress.Aborting and leaves the rows
// decoded so far.
void ReadTIFFStream(TIEStream& Stream, TIEBitmap& Bitmap, TIOParams& IOParams, TProgressRec& Progress,
                    bool Preview, int32_t& PageCount);

// The registry's read function and page count.
void IETiffReadStream(TIEStream& Stream, TIEBitmap& Bitmap, TIOParams& IOParams, TProgressRec& Progress,
                      bool Preview);
int32_t IETiffPageCount(TIEStream& Stream);
