#include "proc/enhance.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "image/bitmap.h"
#include "image/settings.h"
#include "proc/resample_rows.h"
#include "proc/sharpen.h"

namespace {

// One-sided: the content sits right of and above the padding, where the passes'
// boundary faults land.
constexpr int32_t EnhancePadding = 8;

// Percent of the whole run that each stage of AutoImageEnhance3 reports.
constexpr double EnhanceStageShare = 0.09;

uint8_t ClampTrunc(double v) {
    return v >= 255.0 ? 255 : v <= 0.0 ? 0 : uint8_t(IETrunc(v));
}

// t(e)[i] = clamped Round((i / 255)^(1 / e) * 255).
void GammaTable(double Exponent, uint8_t (&Table)[256]) {
    for (int32_t i = 0; i < 256; ++i)
        Table[i] = IEByteClamp(IERound64(std::pow(i / 255.0, 1.0 / Exponent) * 255));
}

double SumOf(const TIEFloatImage& Image) {
    double sum = 0;
    for (float v : Image.Cells)
        sum += v;
    return sum;
}

// Not the pixel count: one less on each side, as the tone mapper was tuned with.
double KeyOf(double Sum, int32_t Width, int32_t Height) {
    return Sum * 0.5 / (double(Width - 1) * double(Height - 1));
}

} // namespace

TIEGaussCoefficients IEGaussCoefficients(double Sigma) {
    const double s = Sigma;
    const double q = s < 3.556 ? 0.5784 * s - 0.2568 + 0.0561 * (s * s) : (s - 3.556) * 0.9804 + 2.5091;
    const double scale = (q + 1.1668) * (2.21566 * q + 3.2037296485000004 + q * q);
    TIEGaussCoefficients c;
    c.a1 = q * (6.76492 * q + 5.788961736500001 + 3 * (q * q)) / scale;
    c.a2 = -(q * q) * (3 * q + 3.38246) / scale;
    c.a3 = q * q * q / scale;
    c.B = 3.7381117538698008 / scale;
    return c;
}

TIEBoundaryMatrix IEBoundaryMatrix(const TIEGaussCoefficients& Coefficients) {
    const double a = Coefficients.a3, b = Coefficients.a2, c = Coefficients.a1;
    const double n = 1 / ((c + 1 - b + a) * (1 - c - b - a) * (b + 1 + (c - a) * a));
    TIEBoundaryMatrix m;
    m.M[0] = n * (1 - a * c - a * a - b);
    m.M[1] = n * (a + c) * (b + a * c);
    m.M[2] = n * a * (c + a * b);
    m.M[3] = n * (c + a * b);
    m.M[4] = -n * (b - 1) * (b + a * c);
    m.M[5] = -n * a * (a * c + a * a + b - 1);
    m.M[6] = n * (a * c + b + c * c - b * b);
    m.M[7] = n * (c * b + a * b * b - c * a * a - a * a * a - a * b + a);
    m.M[8] = m.M[2];
    return m;
}

TIEFloatImage IEGaussHorizontalPass(const TIEFloatImage& Source, const TIEGaussCoefficients& Coefficients) {
    const int32_t w = Source.Width, h = Source.Height;
    TIEFloatImage out(w, h);
    if (w < 3) return out;
    const double a1 = Coefficients.a1, a2 = Coefficients.a2, a3 = Coefficients.a3, B = Coefficients.B;
    const double B2 = B * B;
    const double i = 1 / (1 - a1 - a2 - a3);
    const TIEBoundaryMatrix matrix = IEBoundaryMatrix(Coefficients);
    const double* M = matrix.M;
    for (int32_t row = 0; row < h; ++row) {
        const float* x = Source.Row(row);
        float* y = out.Row(row);
        double p1 = x[0] / B, p2 = p1, p3 = p1;
        for (int32_t k = 0; k < w; ++k) {
            const double v = x[k] + a1 * p1 + a2 * p2 + a3 * p3;
            y[k] = float(v);
            p3 = p2;
            p2 = p1;
            p1 = v;
        }
        // The steady state is taken from the third pixel from the end, not the last;
        // the error falls into the padding.
        const double up = x[w - 3] * i, vp = up * i;
        const double d0 = y[w - 1] - up, d1 = y[w - 2] - up, d2 = y[w - 3] - up;
        double s0 = B2 * (M[0] * d0 + M[1] * d1 + M[2] * d2 + vp);
        double s1 = B2 * (M[3] * d0 + M[4] * d1 + M[5] * d2 + vp);
        double s2 = B2 * (M[6] * d0 + M[7] * d1 + M[8] * d2 + vp);
        y[w - 1] = float(s0);
        // Column 0 keeps its forward value; it lies in the padding.
        for (int32_t k = w - 2; k >= 1; --k) {
            const double v = B2 * y[k] + a1 * s0 + a2 * s1 + a3 * s2;
            y[k] = float(v);
            s2 = s1;
            s1 = s0;
            s0 = v;
        }
    }
    return out;
}

TIEFloatImage IEGaussVerticalPass(const TIEFloatImage& Source, const TIEGaussCoefficients& Coefficients,
                                  double Key) {
    const int32_t w = Source.Width, h = Source.Height;
    TIEFloatImage out(w, h);
    if (h < 3) return out;
    const double a1 = Coefficients.a1, a2 = Coefficients.a2, a3 = Coefficients.a3, B = Coefficients.B;
    const double B2 = B * B;
    const double i = 1 / (1 - a1 - a2 - a3);
    const TIEBoundaryMatrix matrix = IEBoundaryMatrix(Coefficients);
    const double* M = matrix.M;
    std::vector<double> p1(static_cast<size_t>(w)), p2(p1.size()), p3(p1.size());
    for (int32_t c = 0; c < w; ++c)
        p1[size_t(c)] = p2[size_t(c)] = p3[size_t(c)] = Source.Row(0)[c] / B;
    for (int32_t r = 0; r < h; ++r) {
        const float* x = Source.Row(r);
        float* y = out.Row(r);
        for (int32_t c = 0; c < w; ++c) {
            const size_t j = size_t(c);
            const double v = x[c] + a1 * p1[j] + a2 * p2[j] + a3 * p3[j];
            y[c] = float(v);
            p3[j] = p2[j];
            p2[j] = p1[j];
            p1[j] = v;
        }
    }
    // The states reuse the forward buffers: s0 in p1, s1 in p2, s2 in p3.
    std::vector<double>& s0 = p1;
    std::vector<double>& s1 = p2;
    std::vector<double>& s2 = p3;
    {
        const float* last = Source.Row(h - 1);
        float* y0 = out.Row(h - 1);
        const float* y1 = out.Row(h - 2);
        const float* y2 = out.Row(h - 3);
        for (int32_t c = 0; c < w; ++c) {
            const size_t j = size_t(c);
            const double up = last[c] * i, vp = up * i;
            const double d0 = y0[c] - up, d1 = y1[c] - up, d2 = y2[c] - up;
            // B^2 is added here where the horizontal pass multiplies; the tuned
            // output depends on it, so it stays.
            s0[j] = M[0] * d0 + M[1] * d1 + M[2] * d2 + vp + B2;
            s1[j] = B2 * (M[3] * d0 + M[4] * d1 + M[5] * d2 + vp);
            s2[j] = B2 * (M[6] * d0 + M[7] * d1 + M[8] * d2 + vp);
            y0[c] = float(s0[j]);
        }
    }
    for (int32_t r = h - 2; r >= 0; --r) {
        float* y = out.Row(r);
        for (int32_t c = 0; c < w; ++c) {
            const size_t j = size_t(c);
            const double v = B2 * y[c] + a1 * s0[j] + a2 * s1[j] + a3 * s2[j];
            y[c] = float(v + Key);
            s2[j] = s1[j];
            s1[j] = s0[j];
            s0[j] = v;
        }
    }
    return out;
}

double IEToneStep(const TIEFloatImage& Lum, const TIEFloatImage& Surround, TIEFloatImage& Out) {
    Out = TIEFloatImage(Lum.Width, Lum.Height);
    double sum = 0;
    for (size_t n = 0; n < Lum.Cells.size(); ++n) {
        const double l = Lum.Cells[n], b = Surround.Cells[n];
        const float v = l + b > 0 ? float((b + 1) * l / (l + b)) : 0.0f;
        Out.Cells[n] = v;
        sum += v;
    }
    return sum;
}

void IEAdjustSaturation(TIEBitmap& Bitmap, int32_t Saturation) {
    if (Bitmap.IsEmpty() || Bitmap.PixelFormat() != ie24RGB) return;
    const double s = Saturation / 100.0;
    for (int32_t y = 0; y < Bitmap.Height(); ++y) {
        auto* row = static_cast<TRGB*>(Bitmap.GetScanline(y));
        if (!row) break;
        for (int32_t x = 0; x < Bitmap.Width(); ++x) {
            const double R = row[x].r, G = row[x].g, B = row[x].b;
            const double grey = 0.3 * R + 0.59 * G + 0.11 * B;
            row[x].r = IEByteClamp(IERound64((0.7 * R - 0.59 * G - 0.11 * B) * s + grey));
            row[x].g = IEByteClamp(IERound64((-0.3 * R + 0.41 * G - 0.11 * B) * s + grey));
            row[x].b = IEByteClamp(IERound64((-0.3 * R - 0.59 * G + 0.89 * B) * s + grey));
        }
    }
    Bitmap.Changed();
}

void IEAutoImageEnhance3(TIEBitmap& Bitmap, double Gamma, int32_t Saturation,
                         const TIEProgressEvent& OnProgress, void* Sender) {
    if (Gamma <= 0) throw EIEException("Invalid Gamma value");
    if (Bitmap.IsEmpty() || Bitmap.PixelFormat() != ie24RGB) return;
    TIEProgressReporter progress(OnProgress, Sender);
    double base = 0;
    auto stageDone = [&] {
        base += EnhanceStageShare * 100;
        progress.Report(IETrunc(base));
    };

    std::unique_ptr<TIEBitmap> alpha = Bitmap.DetachAlphaChannel(false);
    const int32_t w = Bitmap.Width() + EnhancePadding, h = Bitmap.Height() + EnhancePadding;
    Bitmap.Resize(w, h, 0.5, 255, iehRight, ievTop);
    // Out of memory or rows lost on disk: the picture goes back as it came.
    auto giveBack = [&] {
        if (Bitmap.IsSize(w, h))
            Bitmap.Resize(w - EnhancePadding, h - EnhancePadding, 0.5, 255, iehRight, ievTop);
        if (alpha) Bitmap.ReplaceAlphaChannel(std::move(alpha));
    };
    if (!Bitmap.IsSize(w, h)) return giveBack();

    TIEFloatImage lum(w, h);
    for (int32_t y = 0; y < h; ++y) {
        const auto* src = static_cast<const TRGB*>(Bitmap.GetScanline(y));
        if (!src) return giveBack();
        float* dst = lum.Row(y);
        for (int32_t x = 0; x < w; ++x) {
            const int64_t Y = IETrunc(0.299 * src[x].r + 0.587 * src[x].g + 0.114 * src[x].b);
            dst[x] = float(IEByteClamp(Y) * 0.00392156862745098);
        }
    }
    double key = KeyOf(SumOf(lum), w, h);
    stageDone();

    TIEFloatImage tone1, tone2;
    {
        const TIEGaussCoefficients coarse = IEGaussCoefficients(3.0);
        const TIEFloatImage blur = IEGaussVerticalPass(IEGaussHorizontalPass(lum, coarse), coarse, key);
        stageDone();
        key = KeyOf(IEToneStep(lum, blur, tone1), w, h);
        stageDone();
    }
    {
        const TIEGaussCoefficients fine = IEGaussCoefficients(1.5);
        const TIEFloatImage blur = IEGaussVerticalPass(IEGaussHorizontalPass(tone1, fine), fine, key);
        stageDone();
        IEToneStep(tone1, blur, tone2);
        stageDone();
    }
    tone1 = TIEFloatImage();

    uint8_t g[256], o[256];
    GammaTable(2.2, g);
    g[0] = 1; // a divisor below
    GammaTable(Gamma, o);
    TIEBitmap res;
    if (!res.Allocate(w, h, ie24RGB)) return giveBack();
    for (int32_t y = 0; y < h; ++y) {
        const auto* src = static_cast<const TRGB*>(Bitmap.GetScanline(y));
        auto* dst = static_cast<TRGB*>(res.GetScanline(y));
        if (!src || !dst) return giveBack();
        const float* l = lum.Row(y);
        const float* t = tone2.Row(y);
        for (int32_t x = 0; x < w; ++x) {
            const int32_t yl = g[std::clamp(IETrunc(l[x] * 255.0), 0, 255)];
            const double k = t[x] * 255.0 / yl;
            dst[x].r = o[ClampTrunc(g[src[x].r] * k)];
            dst[x].g = o[ClampTrunc(g[src[x].g] * k)];
            dst[x].b = o[ClampTrunc(g[src[x].b] * k)];
        }
    }
    stageDone();
    IEAdjustSaturation(res, Saturation);
    stageDone();
    res.Resize(w - EnhancePadding, h - EnhancePadding, 0.5, 255, iehRight, ievTop);
    if (!res.FlushRows() || !res.IsSize(w - EnhancePadding, h - EnhancePadding)) return giveBack();
    Bitmap.AssignImage(res);
    if (alpha) Bitmap.ReplaceAlphaChannel(std::move(alpha));
    Bitmap.Changed();
}

void IEWhiteBalanceGrayWorld(TIEBitmap& Bitmap, const TIEProgressEvent& OnProgress, void* Sender) {
    if (Bitmap.IsEmpty() || Bitmap.PixelFormat() != ie24RGB) return;
    const int32_t w = Bitmap.Width(), h = Bitmap.Height();
    // Integer sums are exact, so the means come out the same in any order.
    int64_t sums[3] = {0, 0, 0};
    for (int32_t y = 0; y < h; ++y) {
        const auto* row = static_cast<const uint8_t*>(Bitmap.GetScanline(y));
        if (!row) return;
        for (int32_t x = 0; x < w; ++x)
            for (int32_t c = 0; c < 3; ++c)
                sums[c] += row[3 * x + c];
    }
    double means[3];
    for (int32_t c = 0; c < 3; ++c)
        means[c] = double(sums[c]) / (double(w) * double(h));
    const double m = std::max({means[0], means[1], means[2]});
    uint8_t tables[3][256];
    for (int32_t c = 0; c < 3; ++c) {
        const double factor = means[c] != 0 ? m / means[c] : 1.0;
        for (int32_t i = 0; i < 256; ++i)
            tables[c][i] = ClampTrunc(i * factor);
    }
    TIEProgressReporter progress(OnProgress, Sender);
    for (int32_t y = 0; y < h; ++y) {
        auto* row = static_cast<uint8_t*>(Bitmap.GetScanline(y));
        if (!row) break;
        for (int32_t x = 0; x < w; ++x)
            for (int32_t c = 0; c < 3; ++c)
                row[3 * x + c] = tables[c][row[3 * x + c]];
        progress.Report(IETrunc(100.0 / h * y));
    }
    Bitmap.Changed();
}

void IEConvertToGray(TIEBitmap& Bitmap, const TIEProcRect& Rect) {
    if (Bitmap.IsEmpty() || Bitmap.PixelFormat() != ie24RGB) return;
    const int32_t redCoef = IEGlobalSettings().RedToGrayCoef();
    const int32_t greenCoef = IEGlobalSettings().GreenToGrayCoef();
    const int32_t blueCoef = IEGlobalSettings().BlueToGrayCoef();
    const int32_t x1 = std::max(Rect.x1, 0), x2 = std::min(Rect.x2, Bitmap.Width());
    const int32_t y1 = std::max(Rect.y1, 0), y2 = std::min(Rect.y2, Bitmap.Height());
    for (int32_t y = y1; y < y2; ++y) {
        auto* row = static_cast<TRGB*>(Bitmap.GetScanline(y));
        if (!row) break;
        for (int32_t x = x1; x < x2; ++x) {
            const uint8_t v =
                IEByteClamp((row[x].r * redCoef + row[x].g * greenCoef + row[x].b * blueCoef) / 100);
            row[x] = TRGB{v, v, v};
        }
    }
    Bitmap.Changed();
}

void IEConvertToGray(TIEBitmap& Bitmap) {
    IEConvertToGray(Bitmap, TIEProcRect{0, 0, Bitmap.Width(), Bitmap.Height()});
}
