#include <algorithm>
#include <cmath>

#include "image/bitmap.h"
#include "image/convert.h"
#include "image/convert_internal.h"
#include "image/settings.h"

using namespace ieconvert;

TIEGreyCoefficients TIEGreyCoefficients::Current() {
    TIEGlobalSettings& settings = IEGlobalSettings();
    return TIEGreyCoefficients{settings.RedToGrayCoef(), settings.GreenToGrayCoef(),
                               settings.BlueToGrayCoef()};
}

TCMYK IERGB2CMYK(TRGB Value) {
    int32_t k = std::max({Value.r, Value.g, Value.b});
    if (k == 0) return TCMYK{255, 255, 255, 0};
    return TCMYK{uint8_t(Value.r * 255 / k), uint8_t(Value.g * 255 / k), uint8_t(Value.b * 255 / k),
                 uint8_t(k)};
}

TRGB IECMYK2RGB(TCMYK Value) {
    // The inks are stored inverted, so the products need no "255 -".
    return TRGB{uint8_t(Value.k * Value.y / 255), uint8_t(Value.k * Value.m / 255),
                uint8_t(Value.k * Value.c / 255)};
}

TCIELab IERGB2CIELab(TRGB Value) {
    auto linear = [](double c) { return c > 0.04045 ? std::pow((c + 0.055) / 1.055, 2.4) : c / 12.92; };
    double r = linear(Value.r / 255.0), g = linear(Value.g / 255.0), b = linear(Value.b / 255.0);
    double x = (0.412453 * r + 0.35758 * g + 0.180423 * b) / 0.95047;
    double y = 0.212671 * r + 0.71516 * g + 0.072169 * b;
    double z = (0.019334 * r + 0.119193 * g + 0.950227 * b) / 1.088883;
    auto f = [](double t) { return t > 0.008856 ? std::cbrt(t) : 7.787 * t + 0.13793103448275862; };
    double l = y > 0.008856 ? 116.0 * f(y) - 16.0 : 903.3 * y;
    // Within the sRGB gamut these stay in range; the limits only keep the casts defined.
    auto truncated = [](double v, double low, double high) { return std::clamp(std::trunc(v), low, high); };
    return TCIELab{uint8_t(truncated(l * 2.55, 0, 255)), int8_t(truncated((f(x) - f(y)) * 500.0, -128, 127)),
                   int8_t(truncated((f(y) - f(z)) * 200.0, -128, 127))};
}

TRGB IECIELab2RGB(TCIELab Value) {
    double y = (Value.l * 0.39215686275 + 16.0) / 116.0;
    double x = Value.a / 500.0 + y;
    double z = y - Value.b / 200.0;
    auto finv = [](double t) {
        double cube = t * t * t;
        return cube > 0.008856 ? cube : (t - 0.13793103448) / 7.787;
    };
    x = finv(x) * 0.95047;
    y = finv(y);
    z = finv(z) * 1.08883;
    auto gamma = [](double c) {
        c = c > 0.0031308 ? 1.055 * std::pow(c, 0.41666666667) - 0.055 : 12.92 * c;
        return uint8_t(std::clamp(std::nearbyint(c * 255.0), 0.0, 255.0));
    };
    uint8_t r = gamma(3.2406 * x - 1.5372 * y - 0.4986 * z);
    uint8_t g = gamma(-0.9689 * x + 1.8758 * y + 0.0415 * z);
    uint8_t b = gamma(0.0557 * x - 0.204 * y + 1.057 * z);
    return TRGB{b, g, r};
}

TRGB TIEBitmap::GetPixels(int32_t x, int32_t y) {
    switch (fPixelFormat) {
    case ie1g:
        return Replicated(GetPixels_ie1g(x, y) ? 255 : 0);
    case ie8p:
        return GetPalette(GetPixels_ie8(x, y));
    case ie8g:
        return Replicated(GetPixels_ie8(x, y));
    case ie16g:
        return Replicated(uint8_t(GetPixels_ie16g(x, y) >> 8));
    case ie24RGB:
        return GetPixels_ie24RGB(x, y);
    case ie32f:
        return Replicated(uint8_t(TruncScaled(GetPixels_ie32f(x, y), 255, 255)));
    case ieCMYK:
        return IECMYK2RGB(GetPixels_ieCMYK(x, y));
    case ie48RGB: {
        TRGB48 p = GetPixels_ie48RGB(x, y);
        return TRGB{uint8_t(p.b >> 8), uint8_t(p.g >> 8), uint8_t(p.r >> 8)};
    }
    case ieCIELab:
        return IECIELab2RGB(GetPixels_ieCIELab(x, y));
    case ie32RGB: {
        TRGBA p = GetPixels_ie32RGB(x, y);
        return TRGB{p.b, p.g, p.r};
    }
    case ieNull:
        break;
    }
    return TRGB{0, 0, 0};
}

void TIEBitmap::SetPixels(int32_t x, int32_t y, TRGB Value) {
    switch (fPixelFormat) {
    case ie1g:
        // One pixel has no image to take a mean from: the middle grey decides.
        SetPixels_ie1g(x, y, TIEGreyCoefficients::Current().Grey(Value.r, Value.g, Value.b) >= 128);
        break;
    case ie8p: {
        // The nearest declared palette entry, the first one on a tie.
        int32_t entries = std::min(fPaletteUsed, GetPaletteLen());
        int32_t best = 0, bestDistance = INT32_MAX;
        for (int32_t i = 0; i < entries; ++i) {
            TRGB e = fRGBPalette[size_t(i)];
            int32_t dr = e.r - Value.r, dg = e.g - Value.g, db = e.b - Value.b;
            int32_t distance = dr * dr + dg * dg + db * db;
            if (distance < bestDistance) {
                best = i;
                bestDistance = distance;
            }
        }
        SetPixels_ie8(x, y, uint8_t(best));
        break;
    }
    case ie8g:
        SetPixels_ie8(x, y, TIEGreyCoefficients::Current().Grey(Value.r, Value.g, Value.b));
        break;
    case ie16g:
        SetPixels_ie16g(x, y, Grey16(Value.r, Value.g, Value.b));
        break;
    case ie24RGB:
        SetPixels_ie24RGB(x, y, Value);
        break;
    case ie32f:
        SetPixels_ie32f(x, y, GreyFloat(Value.r, Value.g, Value.b));
        break;
    case ieCMYK:
        SetPixels_ieCMYK(x, y, IERGB2CMYK(Value));
        break;
    case ie48RGB:
        SetPixels_ie48RGB(x, y,
                          TRGB48{uint16_t(Value.r * 257), uint16_t(Value.g * 257), uint16_t(Value.b * 257)});
        break;
    case ieCIELab:
        SetPixels_ieCIELab(x, y, IERGB2CIELab(Value));
        break;
    case ie32RGB: {
        // The fourth byte may be the alpha of iaRGBA; a colour write leaves it alone.
        if (TRGBA* p = GetPPixels_ie32RGB(x, y)) *p = TRGBA{Value.b, Value.g, Value.r, p->a};
        break;
    }
    case ieNull:
        break;
    }
}
