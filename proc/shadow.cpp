#include "proc/shadow.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "image/bitmap.h"
#include "proc/resample_rows.h"
#include "proc/sharpen.h"

namespace {

// The bytes of an 8-bit plane, row by row; empty if a row can't be had.
std::vector<uint8_t> CopyPlane(TIEBitmap& Plane) {
    const int32_t w = Plane.Width(), h = Plane.Height();
    std::vector<uint8_t> bytes(size_t(w) * size_t(h));
    for (int32_t y = 0; y < h; ++y) {
        const void* row = Plane.GetScanline(y);
        if (!row) return {};
        std::memcpy(bytes.data() + size_t(y) * size_t(w), row, size_t(w));
    }
    return bytes;
}

// Moves an 8-bit plane by (dx, dy); what is uncovered becomes Fill.
void MovePlane(TIEBitmap& Plane, int32_t dx, int32_t dy, uint8_t Fill) {
    const int32_t w = Plane.Width(), h = Plane.Height();
    const std::vector<uint8_t> before = CopyPlane(Plane);
    if (before.empty()) return;
    for (int32_t y = 0; y < h; ++y) {
        auto* row = static_cast<uint8_t*>(Plane.GetScanline(y));
        if (!row) break;
        const int32_t sy = y - dy;
        for (int32_t x = 0; x < w; ++x) {
            const int32_t sx = x - dx;
            row[x] =
                sy >= 0 && sy < h && sx >= 0 && sx < w ? before[size_t(sy) * size_t(w) + size_t(sx)] : Fill;
        }
    }
    Plane.Changed();
}

} // namespace

void IEShadowOffsets(int32_t Offset, TIEShadowPosition Position, int32_t& OffsetX, int32_t& OffsetY) {
    OffsetX = OffsetY = 0;
    switch (Position) {
    case iespTopLeft:
        OffsetX = OffsetY = -Offset;
        break;
    case iespTopRight:
        OffsetX = Offset;
        OffsetY = -Offset;
        break;
    case iespBottomLeft:
        OffsetX = -Offset;
        OffsetY = Offset;
        break;
    case iespBottomRight:
        OffsetX = OffsetY = Offset;
        break;
    case iespAll:
    case iespInner:
        break;
    }
}

void IEAddSoftShadow(TIEBitmap& Bitmap, double Radius, int32_t OffsetX, int32_t OffsetY, bool AdaptSize,
                     TColor ShadowColor, int32_t Intensity, int32_t BGAlphaThreshold) {
    if (Bitmap.IsEmpty()) return;
    Bitmap.AlphaChannel()->SetFull(false);
    if (AdaptSize) {
        const int32_t extra =
            std::max(1, 2 * std::max(std::abs(OffsetX), std::abs(OffsetY)) + IETrunc(Radius * 5.0));
        Bitmap.Resize(Bitmap.Width() + extra, Bitmap.Height() + extra, 0.0, 0, iehCenter, ievCenter);
    }
    TIEBitmap& alpha = *Bitmap.AlphaChannel();
    const int32_t w = Bitmap.Width(), h = Bitmap.Height();
    std::vector<uint8_t> orig = alpha.IsSize(w, h, ie8g) ? CopyPlane(alpha) : std::vector<uint8_t>();
    if (orig.empty()) return;
    // Faint pixels count as background when painting; the plane itself keeps them.
    if (BGAlphaThreshold > 0)
        for (uint8_t& o : orig)
            if (o < BGAlphaThreshold) o = 0;
    IEBlur(alpha, Radius);
    if (OffsetX != 0 || OffsetY != 0) MovePlane(alpha, OffsetX, OffsetY, 0);

    const double d = 3.0 - 2.0 * std::clamp(Intensity, 0, 100) / 100;
    const TRGB shadow = TColor2TRGB(ShadowColor);
    const uint8_t shadowChannel[3] = {shadow.b, shadow.g, shadow.r};
    const TIEPixelFormat format = Bitmap.PixelFormat();
    const bool paints = format == ie24RGB || format == ie1g;
    for (int32_t y = 0; y < h; ++y) {
        auto* sh = static_cast<uint8_t*>(alpha.GetScanline(y));
        const uint8_t* o = orig.data() + size_t(y) * size_t(w);
        auto* pixels = paints ? static_cast<uint8_t*>(Bitmap.GetScanline(y)) : nullptr;
        if (!sh || (paints && !pixels)) break;
        for (int32_t x = 0; x < w; ++x) {
            const int32_t s = sh[x];
            if (o[x] == 0 && s != 0) {
                if (format == ie24RGB)
                    reinterpret_cast<TRGB*>(pixels)[x] = shadow;
                else if (format == ie1g)
                    pixels[x >> 3] &= uint8_t(~(0x80 >> (x & 7)));
                if (d != 1.0) sh[x] = uint8_t(IETrunc(s / d));
            } else if (o[x] >= 1 && o[x] <= 254 && format != ie1g) {
                const double a = o[x] / 255.0, b = s / 255.0;
                const double out = a + b * (1 - a);
                if (format == ie24RGB) {
                    uint8_t* p = pixels + int64_t(x) * 3;
                    for (int32_t c = 0; c < 3; ++c) {
                        const int32_t t = IETrunc(shadowChannel[c] * b + (1 - b) * p[c]);
                        p[c] = uint8_t(IETrunc(p[c] * a + (1 - a) * t));
                    }
                }
                sh[x] = uint8_t(IETrunc(out * 255));
            } else {
                sh[x] = o[x];
            }
        }
    }
    alpha.Changed();
    Bitmap.Changed();
}

void IEAddInnerShadow(TIEBitmap& Bitmap, double Radius, int32_t OffsetX, int32_t OffsetY, TColor ShadowColor,
                      int32_t Intensity) {
    if (Bitmap.IsEmpty() || Bitmap.PixelFormat() != ie24RGB) return;
    const int32_t w = Bitmap.Width(), h = Bitmap.Height();
    TIEBitmap* alphaPlane = Bitmap.AlphaChannelOpt();
    std::vector<uint8_t> inside =
        alphaPlane ? CopyPlane(*alphaPlane) : std::vector<uint8_t>(size_t(w) * size_t(h), 255);
    if (inside.size() != size_t(w) * size_t(h)) return;
    // The outside of the shape, with a margin so that the canvas edge casts a shadow
    // too, blurred, then moved so that it falls in from the offset side.
    const int32_t margin = std::max(std::abs(OffsetX), std::abs(OffsetY)) + IETrunc(Radius * 3.0) + 1;
    TIEBitmap outside(w + 2 * margin, h + 2 * margin, ie8g, 255.0);
    for (int32_t y = 0; y < h; ++y) {
        auto* row = static_cast<uint8_t*>(outside.GetScanline(y + margin));
        if (!row) return;
        row += margin;
        for (int32_t x = 0; x < w; ++x)
            row[x] = uint8_t(255 - inside[size_t(y) * size_t(w) + size_t(x)]);
    }
    IEBlur(outside, Radius);
    MovePlane(outside, OffsetX, OffsetY, 255);
    const double strength = std::clamp(Intensity, 0, 100) / 100.0;
    const TRGB shadow = TColor2TRGB(ShadowColor);
    const uint8_t shadowChannel[3] = {shadow.b, shadow.g, shadow.r};
    for (int32_t y = 0; y < h; ++y) {
        const auto* m = static_cast<const uint8_t*>(outside.GetScanline(y + margin));
        auto* p = static_cast<uint8_t*>(Bitmap.GetScanline(y));
        if (!m || !p) break;
        m += margin;
        for (int32_t x = 0; x < w; ++x) {
            if (inside[size_t(y) * size_t(w) + size_t(x)] == 0) continue;
            const double k = m[x] / 255.0 * strength;
            for (int32_t c = 0; c < 3; ++c)
                p[3 * x + c] = uint8_t(IETrunc(p[3 * x + c] * (1 - k) + shadowChannel[c] * k));
        }
    }
    Bitmap.Changed();
}

void IEPaintSoftShadowFrame(TIEBitmap& Surface, int32_t X, int32_t Y, int32_t Width, int32_t Height) {
    if (Width < 2 || Height < 2 || Surface.IsEmpty() || Surface.PixelFormat() != ie24RGB) return;
    TIEBitmap mask(Width + 11, Height + 11, ie8g, 0.0);
    mask.FillRect(5, 5, Width + 7, Height + 7, 255.0);
    IEBlurRect(mask, 2.5, TIEProcRect{0, 0, Width + 11, Height + 11});
    const int32_t top = std::max(Y - 5, 0), bottom = std::min(Y + Height + 5, Surface.Height());
    const int32_t left = std::max(X - 5, 0), right = std::min(X + Width + 5, Surface.Width());
    for (int32_t sy = top; sy < bottom; ++sy) {
        const auto* m = static_cast<const uint8_t*>(mask.GetScanline(sy - Y + 5));
        auto* p = static_cast<uint8_t*>(Surface.GetScanline(sy));
        if (!m || !p) break;
        const bool besideRows = sy < Y || sy >= Y + Height;
        for (int32_t sx = left; sx < right; ++sx) {
            if (!besideRows && sx >= X && sx < X + Width) continue;
            const double keep = 1 - m[sx - X + 5] / 255.0;
            for (int32_t c = 0; c < 3; ++c)
                p[3 * sx + c] = uint8_t(IETrunc(p[3 * sx + c] * keep));
        }
    }
    Surface.Changed();
}
