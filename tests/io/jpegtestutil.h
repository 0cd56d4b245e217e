#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "image/bitmap.h"
#include "io/codecs/jpeg.h"
#include "io/ioparams.h"
#include "io/stream.h"

// A progress record with a stop flag of its own, which the codecs set on failure.
struct TStopProgress : TProgressRec {
    bool Stopped = false;
    TStopProgress() { Aborting = &Stopped; }
    TStopProgress(const TStopProgress&) = delete;
};

// The text of the EIEException that Action raises.
inline std::string Raised(const std::function<void()>& Action) {
    try {
        Action();
    } catch (const EIEException& error) {
        return error.what();
    }
    return "nothing raised";
}

// Encodes Bitmap with the writer; empty if the writer failed.
inline std::vector<uint8_t> EncodeJpeg(TIEBitmap& Bitmap, TIOParams& Params) {
    TIEMemoryStream stream;
    TStopProgress progress;
    WriteJpegStream(stream, Bitmap, Params, progress);
    return progress.Stopped ? std::vector<uint8_t>() : stream.Data();
}

// The plain load; false when the reader failed.
inline bool DecodeJpeg(const std::vector<uint8_t>& Data, TIEBitmap& Bitmap, TIOParams& Params,
                       bool NativePixelFormat = false) {
    TIEMemoryStream stream(Data);
    TStopProgress progress;
    ReadJpegStream(stream, nullptr, Bitmap, Params, progress, false, false, true, false, true, true, -1,
                   NativePixelFormat, nullptr, false);
    return !progress.Stopped;
}

inline void FillRGB(TIEBitmap& Bitmap, int32_t Width, int32_t Height, TRGB Colour) {
    Bitmap.Allocate(Width, Height, ie24RGB);
    for (int32_t y = 0; y < Height; ++y)
        for (int32_t x = 0; x < Width; ++x)
            Bitmap.SetPixels_ie24RGB(x, y, Colour);
}

// Pseudo-random bytes all over the picture: busy pixels, of any format.
inline void Scramble(TIEBitmap& Bitmap) {
    uint32_t seed = 7;
    for (int32_t y = 0; y < Bitmap.Height(); ++y) {
        auto* row = static_cast<uint8_t*>(Bitmap.GetScanline(y));
        for (int64_t i = 0; i < IEComputeRowLen(Bitmap.Width(), Bitmap.BitCount(), 8); ++i)
            row[i] = uint8_t((seed = seed * 1664525u + 1013904223u) >> 24);
    }
}

// Largest difference of any channel between a pixel and an expected colour.
inline int ColourDistance(TRGB Pixel, TRGB Expected) {
    return std::max(
        {std::abs(Pixel.r - Expected.r), std::abs(Pixel.g - Expected.g), std::abs(Pixel.b - Expected.b)});
}

struct TJpegSegment {
    uint8_t Marker;
    std::vector<uint8_t> Payload;
};

// The segments of a JPEG file from the SOI up to and including the first SOS.
inline std::vector<TJpegSegment> JpegSegments(const std::vector<uint8_t>& File) {
    std::vector<TJpegSegment> segments;
    size_t at = 2;
    while (at + 4 <= File.size() && File[at] == 0xFF) {
        const uint8_t marker = File[at + 1];
        const size_t length = size_t(File[at + 2]) << 8 | File[at + 3];
        if (length < 2 || at + 2 + length > File.size()) break;
        segments.push_back({marker, std::vector<uint8_t>(File.begin() + long(at + 4),
                                                         File.begin() + long(at + 2 + length))});
        if (marker == 0xDA) break;
        at += 2 + length;
    }
    return segments;
}

inline int CountSegments(const std::vector<TJpegSegment>& Segments, uint8_t Marker) {
    return int(std::count_if(Segments.begin(), Segments.end(), [&](auto& s) { return s.Marker == Marker; }));
}

// An EXIF APP1 payload, little-endian: IFD0 with the orientation and, when Unit isn't 0,
// the resolution tags of Type: Resolution / 1 for RATIONAL (5) and SRATIONAL (10),
// Resolution itself for SHORT (3), LONG (4) and SLONG (9).
inline std::vector<uint8_t> ExifBlock(int Orientation, uint32_t Resolution = 0, int Unit = 0,
                                      uint16_t Type = 5) {
    std::vector<uint8_t> b = {'E', 'x', 'i', 'f', 0, 0, 'I', 'I', 42, 0, 8, 0, 0, 0};
    // Byte by byte: inserting an initializer list here trips a false -Warray-bounds in GCC 12.
    auto put16 = [&](uint32_t v) {
        b.push_back(uint8_t(v));
        b.push_back(uint8_t(v >> 8));
    };
    auto put32 = [&](uint32_t v) {
        put16(v & 0xFFFF);
        put16(v >> 16);
    };
    const bool rational = Type == 5 || Type == 10;
    const int count = Unit ? 4 : 1;
    // IFD at 8; its data behind the entries and the next-IFD word.
    const uint32_t data = 8 + 2 + uint32_t(count) * 12 + 4;
    put16(uint32_t(count));
    put16(274), put16(3), put32(1), put16(uint32_t(Orientation)), put16(0);
    if (Unit) {
        for (uint32_t tag : {282u, 283u}) {
            put16(tag), put16(Type), put32(1);
            if (rational)
                put32(tag == 282 ? data : data + 8);
            else if (Type == 3)
                put16(Resolution), put16(0);
            else
                put32(Resolution);
        }
        put16(296), put16(3), put32(1), put16(uint32_t(Unit)), put16(0);
    }
    put32(0);
    if (Unit && rational) {
        put32(Resolution), put32(1);
        put32(Resolution), put32(1);
    }
    return b;
}
