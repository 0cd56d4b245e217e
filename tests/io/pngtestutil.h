#pragma once

#include <zlib.h>

#include <cstdint>
#include <string>
#include <vector>

#include "image/bitmap.h"
#include "io/codecs/png.h"
#include "io/ioparams.h"
#include "io/stream.h"
#include "tests/io/jpegtestutil.h"

// Builds PNG files chunk by chunk, so that tests know every byte they decode: rows go
// in unfiltered (filter byte 0), compressed by zlib.
class TPngBuilder {
  public:
    TPngBuilder(uint32_t Width, uint32_t Height, int BitDepth, int ColorType) {
        std::vector<uint8_t> ihdr;
        Put32(ihdr, Width);
        Put32(ihdr, Height);
        ihdr.insert(ihdr.end(), {uint8_t(BitDepth), uint8_t(ColorType), 0, 0, 0});
        Chunk("IHDR", ihdr);
    }

    TPngBuilder& Chunk(const char* Type, const std::vector<uint8_t>& Payload) {
        std::vector<uint8_t> typed(Type, Type + 4);
        typed.insert(typed.end(), Payload.begin(), Payload.end());
        Put32(fData, uint32_t(Payload.size()));
        fData.insert(fData.end(), typed.begin(), typed.end());
        Put32(fData, uint32_t(crc32(0, typed.data(), uInt(typed.size()))));
        return *this;
    }
    TPngBuilder& Text(const char* Type, const std::string& Payload) {
        return Chunk(Type, std::vector<uint8_t>(Payload.begin(), Payload.end()));
    }
    // Rows as they stand in the file, without their filter bytes.
    TPngBuilder& Rows(const std::vector<std::vector<uint8_t>>& Rows) {
        std::vector<uint8_t> raw;
        for (const auto& row : Rows) {
            raw.push_back(0);
            raw.insert(raw.end(), row.begin(), row.end());
        }
        return Chunk("IDAT", Compress(raw));
    }
    std::vector<uint8_t> End() { return Chunk("IEND", {}).fData; }
    // The file so far, without IEND: a truncated file.
    const std::vector<uint8_t>& Data() const { return fData; }

    static std::vector<uint8_t> Compress(const std::vector<uint8_t>& Raw, int Level = Z_DEFAULT_COMPRESSION) {
        uLongf size = compressBound(uLong(Raw.size()));
        std::vector<uint8_t> packed(size);
        compress2(packed.data(), &size, Raw.data(), uLong(Raw.size()), Level);
        packed.resize(size);
        return packed;
    }
    // Byte by byte: inserting an initializer list trips a false -Wstringop-overflow in GCC 12.
    static void Put32(std::vector<uint8_t>& Out, uint32_t Value) {
        for (int shift = 24; shift >= 0; shift -= 8)
            Out.push_back(uint8_t(Value >> shift));
    }

  private:
    std::vector<uint8_t> fData = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
};

// The plain load; false when the reader failed.
inline bool DecodePng(const std::vector<uint8_t>& Data, TIEBitmap& Bitmap, TIOParams& Params,
                      bool Preview = false) {
    TIEMemoryStream stream(Data);
    TStopProgress progress;
    ReadPngStream(stream, Bitmap, Params, progress, Preview);
    return !progress.Stopped;
}

inline std::vector<uint8_t> EncodePng(TIEBitmap& Bitmap, TIOParams& Params) {
    TIEMemoryStream stream;
    TStopProgress progress;
    WritePngStream(stream, Bitmap, Params, progress);
    return progress.Stopped ? std::vector<uint8_t>() : stream.Data();
}

// A colour as 0xRRGGBB, so that a failed comparison prints it readably.
inline uint32_t Hex(TRGB Colour) {
    return uint32_t(Colour.r) << 16 | uint32_t(Colour.g) << 8 | Colour.b;
}
