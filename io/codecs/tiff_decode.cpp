#include "io/codecs/tiff_decode.h"

#include <algorithm>
#include <cstring>
#include <zlib.h>

#include "io/codecs/lzw.h"
#include "io/codecs/tiff_ccitt.h"

namespace {

// Rows handed out of a buffer that holds the whole decoded strip.
class TBufferRows : public TIETiffRowDecoder {
  public:
    TBufferRows(std::vector<uint8_t> Data, bool ReverseBits) : fData(std::move(Data)) {
        if (ReverseBits)
            for (uint8_t& byte : fData)
                byte = IEReverseBits(byte);
    }

    bool NextRow(uint8_t* Row, size_t RowBytes) override {
        const size_t count = std::min(RowBytes, fData.size() - fPos);
        if (count > 0) std::memcpy(Row, fData.data() + fPos, count);
        std::memset(Row + count, 0, RowBytes - count);
        fPos += count;
        return count == RowBytes;
    }

  private:
    std::vector<uint8_t> fData;
    size_t fPos = 0;
};

class TPackBitsRows : public TIETiffRowDecoder {
  public:
    TPackBitsRows(std::vector<uint8_t> Data, bool ReverseBits)
        : fData(std::move(Data)), fReverse(ReverseBits) {}

    bool NextRow(uint8_t* Row, size_t RowBytes) override {
        size_t out = 0;
        while (out < RowBytes && fPos < fData.size()) {
            const int8_t n = int8_t(fData[fPos++]);
            if (n >= 0) {
                // A literal run that crosses the row's end loses its tail.
                const size_t count = std::min<size_t>(size_t(n) + 1, fData.size() - fPos);
                const size_t kept = std::min(count, RowBytes - out);
                std::memcpy(Row + out, fData.data() + fPos, kept);
                fPos += count;
                out += kept;
            } else if (n != -128) {
                if (fPos >= fData.size()) break;
                const uint8_t value = fData[fPos++];
                const size_t kept = std::min<size_t>(size_t(1 - n), RowBytes - out);
                std::memset(Row + out, value, kept);
                out += kept;
            }
        }
        if (fReverse)
            for (size_t i = 0; i < out; ++i)
                Row[i] = IEReverseBits(Row[i]);
        std::memset(Row + out, 0, RowBytes - out);
        return out == RowBytes;
    }

  private:
    std::vector<uint8_t> fData;
    size_t fPos = 0;
    bool fReverse;
};

// Inflates as much as the data give, up to ExpectedBytes; a broken stream keeps what
// came before the break.
std::vector<uint8_t> Inflate(std::vector<uint8_t>& Data, size_t ExpectedBytes) {
    std::vector<uint8_t> out(ExpectedBytes);
    z_stream zs{};
    if (inflateInit(&zs) != Z_OK) return {};
    // What a broken check value would say, a short strip says anyway: the pixels decoded
    // are kept. Not computing it saves a pass over every byte.
    inflateValidate(&zs, 0);
    size_t inPos = 0, outPos = 0;
    // zlib counts in 32-bit units, so large strips go through in slices.
    constexpr size_t kSlice = 1u << 30;
    int status = Z_OK;
    while (status == Z_OK && outPos < out.size()) {
        if (zs.avail_in == 0) {
            if (inPos >= Data.size()) break;
            zs.next_in = Data.data() + inPos;
            zs.avail_in = uInt(std::min(kSlice, Data.size() - inPos));
            inPos += zs.avail_in;
        }
        zs.next_out = out.data() + outPos;
        zs.avail_out = uInt(std::min(kSlice, out.size() - outPos));
        const uInt before = zs.avail_out;
        status = inflate(&zs, Z_NO_FLUSH);
        outPos += before - zs.avail_out;
        if (status == Z_BUF_ERROR && zs.avail_in == 0 && inPos < Data.size()) status = Z_OK;
    }
    inflateEnd(&zs);
    out.resize(outPos);
    return out;
}

// The running sums of each channel stay in registers; a loop that reads Row[i - Stride]
// waits on the store before each load.
template <size_t Stride> void UndoBytes(uint8_t* Row, size_t Samples) {
    uint8_t sum[Stride] = {};
    size_t i = 0;
    for (; i + Stride <= Samples; i += Stride)
        for (size_t c = 0; c < Stride; ++c)
            Row[i + c] = sum[c] = uint8_t(sum[c] + Row[i + c]);
    for (size_t c = 0; i < Samples; ++i, ++c)
        Row[i] = uint8_t(sum[c] + Row[i]);
}

} // namespace

uint8_t IEReverseBits(uint8_t Value) {
    Value = uint8_t((Value & 0xF0) >> 4 | (Value & 0x0F) << 4);
    Value = uint8_t((Value & 0xCC) >> 2 | (Value & 0x33) << 2);
    return uint8_t((Value & 0xAA) >> 1 | (Value & 0x55) << 1);
}

bool IEHasTiffRowDecoder(int32_t Compression) {
    return Compression == kTiffCompressionNone || Compression == kTiffCompressionPackBits ||
           Compression == kTiffCompressionLZW || Compression == kTiffCompressionDeflate ||
           Compression == kTiffCompressionAdobeDeflate ||
           (Compression >= kTiffCompressionCCITTRLE && Compression <= kTiffCompressionCCITTFax4);
}

std::unique_ptr<TIETiffRowDecoder> IECreateTiffRowDecoder(const TIETiffBlockCoding& Coding,
                                                          std::vector<uint8_t> Data, size_t ExpectedBytes) {
    const bool ReverseBits = Coding.FillOrder == 2 && Coding.Bits <= 8;
    switch (Coding.Compression) {
    case kTiffCompressionCCITTRLE:
    case kTiffCompressionCCITTFax3:
    case kTiffCompressionCCITTFax4:
        return IECreateTiffFaxDecoder(Coding.Compression, std::move(Data), Coding.Width, Coding.T4Options,
                                      Coding.FillOrder);
    case kTiffCompressionNone:
        return std::make_unique<TBufferRows>(std::move(Data), ReverseBits);
    case kTiffCompressionPackBits:
        return std::make_unique<TPackBitsRows>(std::move(Data), ReverseBits);
    case kTiffCompressionLZW: {
        // The old form of early writers has GIF's bit order; a strip of it begins with a
        // clear code in that order.
        const bool old = Data.size() >= 2 && Data[0] == 0 && (Data[1] & 1);
        return std::make_unique<TBufferRows>(
            IELzwDecode(Data.data(), Data.size(), old ? TIELzwBitOrder::LsbFirst : TIELzwBitOrder::MsbFirst,
                        8, !old, ExpectedBytes),
            false);
    }
    case kTiffCompressionDeflate:
    case kTiffCompressionAdobeDeflate:
        return std::make_unique<TBufferRows>(Inflate(Data, ExpectedBytes), false);
    default:
        return nullptr;
    }
}

void IEUndoTiffPredictor2(uint8_t* Row, size_t Samples, int32_t Bits, int32_t Stride) {
    const size_t stride = size_t(Stride);
    if (Bits == 8) {
        switch (stride) {
        case 1:
            return UndoBytes<1>(Row, Samples);
        case 3:
            return UndoBytes<3>(Row, Samples);
        case 4:
            return UndoBytes<4>(Row, Samples);
        default:
            break;
        }
        for (size_t i = stride; i < Samples; ++i)
            Row[i] = uint8_t(Row[i] + Row[i - stride]);
    } else if (Bits == 16) {
        // The row may not be aligned for 16-bit access.
        for (size_t i = stride; i < Samples; ++i) {
            uint16_t value, left;
            std::memcpy(&value, Row + 2 * i, 2);
            std::memcpy(&left, Row + 2 * (i - stride), 2);
            value = uint16_t(value + left);
            std::memcpy(Row + 2 * i, &value, 2);
        }
    }
}

void IEUndoTiffPredictor3(uint8_t* Row, size_t Samples, int32_t Bytes, int32_t Stride) {
    const size_t count = Samples * size_t(Bytes);
    const size_t stride = size_t(Stride);
    for (size_t i = stride; i < count; ++i)
        Row[i] = uint8_t(Row[i] + Row[i - stride]);
    const std::vector<uint8_t> planes(Row, Row + count);
    for (size_t s = 0; s < Samples; ++s)
        for (size_t b = 0; b < size_t(Bytes); ++b) {
            // Plane 0 holds the most significant bytes.
            const size_t plane = size_t(Bytes) - 1 - b;
            Row[s * size_t(Bytes) + b] = planes[plane * Samples + s];
        }
}
