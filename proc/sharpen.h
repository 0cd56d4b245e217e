#pragma once

#include <cstdint>
#include <vector>

#include "image/ietypes.h"

class TIEBitmap;

// The working rectangle of an operation: x1, y1 inclusive, x2, y2 exclusive.
struct TIEProcRect {
    int32_t x1 = 0;
    int32_t y1 = 0;
    int32_t x2 = 0;
    int32_t y2 = 0;
};

// Integer Gaussian: taps with 65536 = 1.0 for offsets -Reach..Reach.
struct TIEGaussianKernel {
    int32_t Reach = 0;
    std::vector<int32_t> Taps; // 2 * Reach + 1 of them, offset -Reach first
    int32_t Tap(int32_t Offset) const { return Taps[size_t(Offset + Reach)]; }
};

// Empty (Reach 0, no taps) for a radius <= 0.
TIEGaussianKernel IEGaussianKernel(double Radius);

// Rows first, then columns, each clamped at the rectangle's edges. ie8g and ie24RGB
// (each channel on its own); other formats and radius <= 0 are left alone.
void IEBlur(TIEBitmap& Bitmap, double Radius);
void IEBlurRect(TIEBitmap& Bitmap, double Radius, const TIEProcRect& Rect);

struct TIEShenCastanParams {
    double Ratio = 0.035;
    double Smooth = 0.9;
    int32_t WindowSize = 7;
    int32_t ThinFactor = 0;
    bool DoHysteresis = true;
};

// What the detector decided on its way, for tests and diagnostics.
struct TIEShenCastanStats {
    double LowThresh = 20.0;
    double HighThresh = 22.0;
};

// The edge map of an ie24RGB bitmap as Width x Height bytes, top row first: 0 on an
// edge, 255 elsewhere. Column 0 and the last row are never edges.
std::vector<uint8_t> IEShenCastanEdgeMap(TIEBitmap& Source, const TIEShenCastanParams& Params,
                                         TIEShenCastanStats* Stats = nullptr);
// The same map into Edges as ie1g, bit set for no edge.
void IEEdgeDetectShenCastan(TIEBitmap& Source, TIEBitmap& Edges, const TIEShenCastanParams& Params);

// The sharpening of one ie24RGB picture held top-down in Pixels (Width * 3 bytes a
// row, no padding), driven by one amount per pixel (ten times the factor). Writes the
// result rows through Row(y).
struct TIESharpenSource {
    int32_t Width = 0;
    int32_t Height = 0;
    const uint8_t* Pixels = nullptr;
};
TRGB IESharpenPixel(const TIESharpenSource& Source, int32_t x, int32_t y, int32_t Amount);

// AutoSharp on an ie24RGB bitmap; other formats are left alone.
void IEAutoSharp(TIEBitmap& Bitmap, int32_t Intensity, double Rate, const TIEProgressEvent& OnProgress,
                 void* Sender);

// Blends SrcBitmap into Bitmap over Rect, keeping pcf percent of Bitmap; both ie24RGB.
// A source of another size is stretched to the rectangle by nearest copy.
void IEMerge(TIEBitmap& Bitmap, TIEBitmap& SrcBitmap, int32_t pcf, const TIEProcRect& Rect,
             const TIEProgressEvent& OnProgress, void* Sender);
