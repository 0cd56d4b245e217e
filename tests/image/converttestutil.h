#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "image/bitmap.h"

// Colours compare by channel and print them, so that EXPECT_EQ names the one that differs.
inline bool operator==(TRGB A, TRGB B) {
    return A.r == B.r && A.g == B.g && A.b == B.b;
}
inline std::ostream& operator<<(std::ostream& Out, TRGB V) {
    return Out << "rgb(" << int(V.r) << "," << int(V.g) << "," << int(V.b) << ")";
}
inline TRGB RGB(int r, int g, int b) {
    return TRGB{uint8_t(b), uint8_t(g), uint8_t(r)};
}

// One pixel as text in its own format: "117", "rgb(200,100,50)", "cmyk(255,127,63,200)"; a grey
// ie24RGB pixel is its level alone.
inline std::string PixelText(TIEBitmap& Bitmap, int32_t x, int32_t y = 0) {
    std::ostringstream out;
    out.precision(6);
    switch (Bitmap.PixelFormat()) {
    case ie1g:
        out << int(Bitmap.GetPixels_ie1g(x, y));
        break;
    case ie8g:
    case ie8p:
        out << int(Bitmap.GetPixels_ie8(x, y));
        break;
    case ie16g:
        out << Bitmap.GetPixels_ie16g(x, y);
        break;
    case ie32f:
        out << Bitmap.GetPixels_ie32f(x, y);
        break;
    case ie24RGB: {
        const TRGB v = Bitmap.GetPixels_ie24RGB(x, y);
        if (v.r == v.g && v.g == v.b)
            out << int(v.r);
        else
            out << v;
        break;
    }
    case ie32RGB: {
        const TRGBA v = Bitmap.GetPixels_ie32RGB(x, y);
        out << "rgba(" << int(v.r) << "," << int(v.g) << "," << int(v.b) << "," << int(v.a) << ")";
        break;
    }
    case ie48RGB: {
        const TRGB48 v = Bitmap.GetPixels_ie48RGB(x, y);
        out << "rgb48(" << v.r << "," << v.g << "," << v.b << ")";
        break;
    }
    case ieCMYK: {
        const TCMYK v = Bitmap.GetPixels_ieCMYK(x, y);
        out << "cmyk(" << int(v.c) << "," << int(v.m) << "," << int(v.y) << "," << int(v.k) << ")";
        break;
    }
    case ieCIELab: {
        const TCIELab v = Bitmap.GetPixels_ieCIELab(x, y);
        out << "lab(" << int(v.l) << "," << int(v.a) << "," << int(v.b) << ")";
        break;
    }
    default:
        out << "?";
    }
    return out.str();
}

// The pixels of one row as text, separated by spaces.
inline std::string RowText(TIEBitmap& Bitmap, int32_t y = 0) {
    std::string text;
    for (int32_t x = 0; x < Bitmap.Width(); ++x)
        text += (x ? " " : "") + PixelText(Bitmap, x, y);
    return text;
}

// The whole picture as text, rows top first: "ie8g 1 2 / 3 4", followed by its alpha plane
// if it has one, " alpha 255 70 / 255 255"; "empty" when it has no pixels.
inline std::string Text(TIEBitmap& Bitmap) {
    if (Bitmap.IsEmpty()) return "empty";
    std::string text = Bitmap.IsAlpha() ? "" : std::string(IEPixelFormatName(Bitmap.PixelFormat())) + " ";
    for (int32_t y = 0; y < Bitmap.Height(); ++y)
        text += (y ? " / " : "") + RowText(Bitmap, y);
    if (TIEBitmap* alpha = Bitmap.IsAlpha() ? nullptr : Bitmap.AlphaChannelOpt())
        text += " alpha " + Text(*alpha);
    return text;
}

// The reverse of Text: Bitmap, allocated under its own settings, from "ie8g 1 2 / 3 4" and
// an alpha plane after " alpha ". A single level stands for every channel of a pixel.
inline TIEBitmap& Draw(TIEBitmap& Bitmap, const std::string& Spec) {
    std::istringstream in(Spec);
    std::string name, token;
    in >> name;
    TIEPixelFormat format = ieNull;
    for (int f = ie1g; f <= ie32RGB; ++f)
        if (name == IEPixelFormatName(TIEPixelFormat(f))) format = TIEPixelFormat(f);
    std::vector<std::vector<double>> pixels;
    std::vector<uint8_t> alpha;
    size_t width = 0;
    bool inAlpha = false;
    while (in >> token) {
        if (token == "/" && !width) width = pixels.size();
        inAlpha = inAlpha || token == "alpha";
        if (token == "/" || token == "alpha") continue;
        std::vector<double> v;
        for (const char* p = token.c_str() + token.find('(') + 1; *p;) {
            char* end;
            v.push_back(std::strtod(p, &end));
            p = *end ? end + 1 : end;
        }
        if (inAlpha)
            alpha.push_back(uint8_t(v[0]));
        else
            pixels.push_back(v);
    }
    width = width ? width : pixels.size();
    Bitmap.Allocate(int32_t(width), int32_t(pixels.size() / width), format, 0);
    for (size_t i = 0; i < pixels.size(); ++i) {
        const int32_t x = int32_t(i % width), y = int32_t(i / width);
        const auto c = [&](size_t k) { return pixels[i][std::min(k, pixels[i].size() - 1)]; };
        switch (format) {
        case ie1g:
            Bitmap.SetPixels_ie1g(x, y, c(0) != 0);
            break;
        case ie8g:
        case ie8p:
            Bitmap.SetPixels_ie8(x, y, uint8_t(c(0)));
            break;
        case ie16g:
            Bitmap.SetPixels_ie16g(x, y, uint16_t(c(0)));
            break;
        case ie32f:
            Bitmap.SetPixels_ie32f(x, y, float(c(0)));
            break;
        case ie24RGB:
            Bitmap.SetPixels_ie24RGB(x, y, TRGB{uint8_t(c(2)), uint8_t(c(1)), uint8_t(c(0))});
            break;
        case ie32RGB:
            Bitmap.SetPixels_ie32RGB(x, y, TRGBA{uint8_t(c(2)), uint8_t(c(1)), uint8_t(c(0)), uint8_t(c(3))});
            break;
        case ie48RGB:
            Bitmap.SetPixels_ie48RGB(x, y, TRGB48{uint16_t(c(0)), uint16_t(c(1)), uint16_t(c(2))});
            break;
        case ieCMYK:
            Bitmap.SetPixels_ieCMYK(x, y, TCMYK{uint8_t(c(0)), uint8_t(c(1)), uint8_t(c(2)), uint8_t(c(3))});
            break;
        case ieCIELab:
            Bitmap.SetPixels_ieCIELab(x, y, TCIELab{uint8_t(c(0)), int8_t(c(1)), int8_t(c(2))});
            break;
        default:
            break;
        }
        if (i < alpha.size()) Bitmap.SetAlpha(x, y, alpha[i]);
    }
    return Bitmap;
}
inline std::unique_ptr<TIEBitmap> Picture(const std::string& Spec) {
    auto bitmap = std::make_unique<TIEBitmap>();
    Draw(*bitmap, Spec);
    return bitmap;
}

// The bytes of an ie1g row, padding bits included.
inline std::vector<uint8_t> BitRow(TIEBitmap& Bitmap, int32_t Row = 0) {
    const auto* row = static_cast<const uint8_t*>(Bitmap.GetScanline(Row));
    return std::vector<uint8_t>(row, row + (Bitmap.Width() + 7) / 8);
}
