#pragma once

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <tuple>
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

// The channels of one pixel in the order its text shows them: memory order, except red
// first in the RGB formats; Lab's a and b are signed.
inline std::vector<double> Channels(TIEBitmap& Bitmap, int32_t x, int32_t y) {
    const TIEPixelFormat f = Bitmap.PixelFormat();
    if (f == ie1g) return {double(Bitmap.GetPixels_ie1g(x, y))};
    if (f == ie32f) return {Bitmap.GetPixels_ie32f(x, y)};
    const auto* p = static_cast<const uint8_t*>(Bitmap.GetScanline(y)) + int64_t(x) * Bitmap.BitCount() / 8;
    const bool words = f == ie16g || f == ie48RGB, rgb = f == ie24RGB || f == ie32RGB;
    std::vector<double> v;
    for (int32_t k = 0; k < Bitmap.BitCount() / (words ? 16 : 8); ++k) {
        const int32_t i = rgb && k < 3 ? 2 - k : k;
        v.push_back(words                ? reinterpret_cast<const uint16_t*>(p)[i]
                    : f == ieCIELab && i ? int8_t(p[i])
                                         : p[i]);
    }
    return v;
}

// One pixel as text in its own format: "117", "rgb(200,100,50)", "cmyk(255,127,63,200)"; a grey
// ie24RGB pixel is its level alone.
inline std::string PixelText(TIEBitmap& Bitmap, int32_t x, int32_t y = 0) {
    static const char* const names[] = {"", "", "", "", "", "rgb", "", "cmyk", "rgb48", "lab", "rgba"};
    const std::vector<double> v = Channels(Bitmap, x, y);
    const bool level = v.size() == 1 || (Bitmap.PixelFormat() == ie24RGB && v[0] == v[1] && v[1] == v[2]);
    std::ostringstream out;
    out.precision(6);
    out << (level ? "" : std::string(names[Bitmap.PixelFormat()]) + "(");
    for (size_t i = 0; i < (level ? 1 : v.size()); ++i)
        out << (i ? "," : "") << v[i];
    out << (level ? "" : ")");
    return out.str();
}

// The pixels of one row as text, separated by spaces.
inline std::string RowText(TIEBitmap& Bitmap, int32_t y = 0) {
    std::string text;
    for (int32_t x = 0; x < Bitmap.Width(); ++x)
        text.append(x ? " " : "").append(PixelText(Bitmap, x, y));
    return text;
}

// The whole picture as text, rows top first: "ie8g 1 2 / 3 4", followed by its alpha plane
// if it has one, " alpha 255 70 / 255 255"; "empty" when it has no pixels.
inline std::string Text(TIEBitmap& Bitmap) {
    if (Bitmap.IsEmpty()) return "empty";
    std::string text = Bitmap.IsAlpha() ? "" : std::string(IEPixelFormatName(Bitmap.PixelFormat())) + " ";
    for (int32_t y = 0; y < Bitmap.Height(); ++y)
        text.append(y ? " / " : "").append(RowText(Bitmap, y));
    if (TIEBitmap* alpha = Bitmap.IsAlpha() ? nullptr : Bitmap.AlphaChannelOpt())
        text += " alpha " + Text(*alpha);
    return text;
}

// The reverse of Text: Bitmap, allocated under its own settings, from "ie8g 1 2 / 3 4" and
// an alpha plane after " alpha ". A single level stands for every channel of a pixel.
inline TIEBitmap& Draw(TIEBitmap& Bitmap, const std::string& Drawing) {
    std::istringstream in(Drawing);
    std::string name, token;
    in >> name;
    TIEPixelFormat format = ieNull;
    for (int f = ie1g; f <= ie32RGB; ++f)
        if (name == IEPixelFormatName(TIEPixelFormat(f))) format = TIEPixelFormat(f);
    std::vector<std::vector<double>> pixels, alpha;
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
        (inAlpha ? alpha : pixels).push_back(v);
    }
    width = width ? width : pixels.size();
    Bitmap.Allocate(int32_t(width), int32_t(pixels.size() / width), format, 0);
    for (size_t i = 0; i < pixels.size(); ++i) {
        const int32_t x = int32_t(i % width), y = int32_t(i / width);
        const auto c = [&](size_t k) { return pixels[i][std::min(k, pixels[i].size() - 1)]; };
        auto* p = static_cast<uint8_t*>(Bitmap.GetScanline(y)) + int64_t(x) * Bitmap.BitCount() / 8;
        // Bytes in memory order: blue first in the RGB formats; Lab's a and b are signed.
        const bool rgb = format == ie24RGB || format == ie32RGB, words = format == ie16g || format == ie48RGB;
        if (format == ie1g)
            Bitmap.SetPixels_ie1g(x, y, c(0) != 0);
        else if (format == ie32f)
            Bitmap.SetPixels_ie32f(x, y, float(c(0)));
        else
            for (int32_t k = 0; k < Bitmap.BitCount() / (words ? 16 : 8); ++k)
                if (words)
                    reinterpret_cast<uint16_t*>(p)[k] = uint16_t(c(size_t(k)));
                else
                    p[rgb && k < 3 ? 2 - k : k] = uint8_t(int(c(size_t(k))));
        if (i < alpha.size()) Bitmap.SetAlpha(x, y, uint8_t(alpha[i][0]));
    }
    return Bitmap;
}
inline std::unique_ptr<TIEBitmap> Picture(const std::string& Drawing) {
    auto bitmap = std::make_unique<TIEBitmap>();
    Draw(*bitmap, Drawing);
    return bitmap;
}

// The message of the EIEException that Action raises, or "no exception".
inline std::string ErrorOf(const std::function<void()>& Action) {
    try {
        Action();
    } catch (const EIEException& e) {
        return e.what();
    }
    return "no exception";
}

// One step on a picture: Before is drawn, Act runs on it and the picture must read After.
using TStep = std::tuple<std::string, std::function<void(TIEBitmap&)>, std::string>;
inline void ExpectSteps(const std::vector<TStep>& Steps) {
    for (const auto& [before, act, after] : Steps) {
        TIEBitmap bitmap;
        act(Draw(bitmap, before));
        EXPECT_EQ(Text(bitmap), after) << "step from " << before;
    }
}

const TIEProgressEvent NoProgress;

// A deterministic busy ie24RGB picture: blocks, gradients and noise.
inline void FillBusy(TIEBitmap& Bitmap, int32_t Width, int32_t Height, uint32_t Seed = 7) {
    Bitmap.Allocate(Width, Height, ie24RGB);
    for (int32_t y = 0; y < Height; ++y) {
        auto* row = static_cast<uint8_t*>(Bitmap.GetScanline(y));
        for (int32_t i = 0; i < Width * 3; ++i) {
            Seed = Seed * 1103515245u + 12345u;
            const int32_t block = ((i / 3 / 9 + y / 7) & 1) ? 190 : 40;
            row[i] = uint8_t((block + (i / 3 * 2 + y) % 30 + int32_t(Seed >> 28)) & 0xFF);
        }
    }
}
