#pragma once

#include <cstring>
#include <memory>
#include <ostream>
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
inline bool operator==(TRGB48 A, TRGB48 B) {
    return SameBytes(A, B);
}
inline bool operator==(TCMYK A, TCMYK B) {
    return SameBytes(A, B);
}
inline bool operator==(TCIELab A, TCIELab B) {
    return SameBytes(A, B);
}
inline std::ostream& operator<<(std::ostream& Out, TRGB V) {
    return Out << "rgb(" << int(V.r) << "," << int(V.g) << "," << int(V.b) << ")";
}
inline std::ostream& operator<<(std::ostream& Out, TRGBA V) {
    return Out << "rgba(" << int(V.r) << "," << int(V.g) << "," << int(V.b) << "," << int(V.a) << ")";
}
inline std::ostream& operator<<(std::ostream& Out, TRGB48 V) {
    return Out << "rgb48(" << V.r << "," << V.g << "," << V.b << ")";
}
inline std::ostream& operator<<(std::ostream& Out, TCMYK V) {
    return Out << "cmyk(" << int(V.c) << "," << int(V.m) << "," << int(V.y) << "," << int(V.k) << ")";
}
inline std::ostream& operator<<(std::ostream& Out, TCIELab V) {
    return Out << "lab(" << int(V.l) << "," << int(V.a) << "," << int(V.b) << ")";
}

inline TRGB RGB(int r, int g, int b) {
    return TRGB{uint8_t(b), uint8_t(g), uint8_t(r)};
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

// The pixels of one row as T.
template <typename T> std::vector<T> RowValues(TIEBitmap& Bitmap, int32_t Row = 0) {
    const auto* row = static_cast<const T*>(Bitmap.GetScanline(Row));
    return std::vector<T>(row, row + Bitmap.Width());
}

// The bytes of an ie1g row, padding bits included.
inline std::vector<uint8_t> BitRow(TIEBitmap& Bitmap, int32_t Row = 0) {
    const auto* row = static_cast<const uint8_t*>(Bitmap.GetScanline(Row));
    return std::vector<uint8_t>(row, row + (Bitmap.Width() + 7) / 8);
}
