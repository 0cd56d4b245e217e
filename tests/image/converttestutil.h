#pragma once

#include <cstring>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "image/bitmap.h"

// Pixel records compare by bytes and print their channels, so that EXPECT_EQ on
// them names the channel that differs.
template <typename T> bool SameBytes(const T& A, const T& B) {
    return std::memcmp(&A, &B, sizeof(T)) == 0;
}
inline bool operator==(TRGB A, TRGB B) {
    return SameBytes(A, B);
}
inline bool operator==(TRGBA A, TRGBA B) {
    return SameBytes(A, B);
}
inline std::ostream& operator<<(std::ostream& Out, TRGB V) {
    return Out << "rgb(" << int(V.r) << "," << int(V.g) << "," << int(V.b) << ")";
}

inline TRGB RGB(int r, int g, int b) {
    return TRGB{uint8_t(b), uint8_t(g), uint8_t(r)};
}

// One pixel as text in its own format: "117", "rgb(200,100,50)", "cmyk(255,127,63,200)".
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
    case ie24RGB:
        out << Bitmap.GetPixels_ie24RGB(x, y);
        break;
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
    for (int32_t x = 0; x < Bitmap.Width(); ++x) {
        if (x) text += ' ';
        text += PixelText(Bitmap, x, y);
    }
    return text;
}

// A bitmap of Format whose rows hold Values, Width to a row, top row first.
template <typename T>
std::unique_ptr<TIEBitmap> MakeBitmap(TIEPixelFormat Format, int32_t Width, const std::vector<T>& Values) {
    auto bitmap = std::make_unique<TIEBitmap>();
    int32_t height = int32_t(Values.size()) / Width;
    bitmap->Allocate(Width, height, Format, 0);
    for (int32_t y = 0; y < height; ++y)
        std::memcpy(bitmap->GetScanline(y), Values.data() + size_t(y) * size_t(Width),
                    sizeof(T) * size_t(Width));
    return bitmap;
}

// The bytes of an ie1g row, padding bits included.
inline std::vector<uint8_t> BitRow(TIEBitmap& Bitmap, int32_t Row = 0) {
    const auto* row = static_cast<const uint8_t*>(Bitmap.GetScanline(Row));
    return std::vector<uint8_t>(row, row + (Bitmap.Width() + 7) / 8);
}
