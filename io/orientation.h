#pragma once

#include <cstdint>

class TIEBitmap;

// Geometry steps of the loaders, on any pixel format and on the alpha plane with the
// pixels. Positive angles turn counter-clockwise.
void IEFlipHorizontal(TIEBitmap& Bitmap);
void IEFlipVertical(TIEBitmap& Bitmap);
// Quarter turns; false, with the bitmap unchanged, if the turned copy can't be allocated.
bool IERotate90(TIEBitmap& Bitmap, bool CounterClockwise);

// Turns a picture stored with an EXIF/TIFF orientation (1 to 8) upright; other values
// leave it as it is.
void IEAdjustOrientation(TIEBitmap& Bitmap, int32_t Orientation);
