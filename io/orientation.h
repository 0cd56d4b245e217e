#pragma once

#include <cstdint>

class TIEBitmap;

// Geometry steps of the loaders, on any pixel format and on the alpha plane with the
// pixels. Positive angles turn counter-clockwise. Each is false when a row can't be had
// (file-backed storage that has failed); a flip stops there, part done.
bool IEFlipHorizontal(TIEBitmap& Bitmap);
bool IEFlipVertical(TIEBitmap& Bitmap);
// Quarter turns; false, with the bitmap unchanged, if the turned copy can't be made.
bool IERotate90(TIEBitmap& Bitmap, bool CounterClockwise);

// Turns a picture stored with an EXIF/TIFF orientation (1 to 8) upright; other values
// leave it as it is. False as the steps above.
bool IEAdjustOrientation(TIEBitmap& Bitmap, int32_t Orientation);
