#pragma once

#include <cstdint>

#include "image/ietypes.h"

class TIEBitmap;

// Where the shadow falls; iespInner darkens the picture inside its own edges.
enum TIEShadowPosition : int32_t {
    iespTopLeft,
    iespTopRight,
    iespBottomLeft,
    iespBottomRight,
    iespAll,
    iespInner,
};

// The drop shadow made from the bitmap's own alpha plane (created if missing). Only
// ie24RGB and ie1g pixels are painted; other formats get the alpha work only.
void IEAddSoftShadow(TIEBitmap& Bitmap, double Radius, int32_t OffsetX, int32_t OffsetY, bool AdaptSize,
                     TColor ShadowColor, int32_t Intensity, int32_t BGAlphaThreshold);

// Signed offsets for a position; iespAll and iespInner give none.
void IEShadowOffsets(int32_t Offset, TIEShadowPosition Position, int32_t& OffsetX, int32_t& OffsetY);

// The inner form: the outside of the alpha shape (and of the canvas), blurred and
// moved by the offset, darkens the ie24RGB pixels inside the shape towards
// ShadowColor by up to Intensity percent. The alpha plane is left as it is.
void IEAddInnerShadow(TIEBitmap& Bitmap, double Radius, int32_t OffsetX, int32_t OffsetY, TColor ShadowColor,
                      int32_t Intensity);

// The thumbnail cell's soft shadow round the rectangle X, Y, Width, Height of an
// ie24RGB Surface: the ring of 5 pixels outside the rectangle is darkened by a
// blurred mask that leans 2 pixels to the bottom right.
void IEPaintSoftShadowFrame(TIEBitmap& Surface, int32_t X, int32_t Y, int32_t Width, int32_t Height);
