#pragma once

#include <cstdint>
#include <vector>

#include "image/ietypes.h"

class TIEBitmap;
struct TIEProcRect;

// Recursive Gaussian of Young and van Vliet: y[k] = x[k] + a1 y[k-1] + a2 y[k-2] +
// a3 y[k-3] forward, the same with B^2 on the input backward.
struct TIEGaussCoefficients {
    double a1 = 0, a2 = 0, a3 = 0, B = 0;
};
TIEGaussCoefficients IEGaussCoefficients(double Sigma);

// The Triggs-Sdika boundary matrix M0..M8, row by row.
struct TIEBoundaryMatrix {
    double M[9] = {};
};
TIEBoundaryMatrix IEBoundaryMatrix(const TIEGaussCoefficients& Coefficients);

// A float image, rows top-down without padding.
struct TIEFloatImage {
    int32_t Width = 0;
    int32_t Height = 0;
    std::vector<float> Cells;
    TIEFloatImage() = default;
    TIEFloatImage(int32_t W, int32_t H) : Width(W), Height(H), Cells(size_t(W) * size_t(H)) {}
    float* Row(int32_t y) { return Cells.data() + size_t(y) * size_t(Width); }
    const float* Row(int32_t y) const { return Cells.data() + size_t(y) * size_t(Width); }
};

// The two passes of AutoImageEnhance3 with their boundary handling. Both need at
// least three columns (rows); the vertical one adds Key to every row but the last.
TIEFloatImage IEGaussHorizontalPass(const TIEFloatImage& Source, const TIEGaussCoefficients& Coefficients);
TIEFloatImage IEGaussVerticalPass(const TIEFloatImage& Source, const TIEGaussCoefficients& Coefficients,
                                  double Key);
// Out = (b + 1) l / (l + b) where l + b > 0, else 0. Returns the sum of the outputs.
double IEToneStep(const TIEFloatImage& Lum, const TIEFloatImage& Surround, TIEFloatImage& Out);

// The saturation step on ie24RGB; 100 keeps the colours.
void IEAdjustSaturation(TIEBitmap& Bitmap, int32_t Saturation);

// The local tone mapper. Raises EIEException("Invalid Gamma value") for Gamma <= 0.
// Works on ie24RGB only (other formats are left alone); the alpha plane is untouched.
void IEAutoImageEnhance3(TIEBitmap& Bitmap, double Gamma, int32_t Saturation,
                         const TIEProgressEvent& OnProgress, void* Sender);

void IEWhiteBalanceGrayWorld(TIEBitmap& Bitmap, const TIEProgressEvent& OnProgress, void* Sender);

// Grey by the global coefficients, kept as ie24RGB, over Rect.
void IEConvertToGray(TIEBitmap& Bitmap, const TIEProcRect& Rect);
void IEConvertToGray(TIEBitmap& Bitmap);
