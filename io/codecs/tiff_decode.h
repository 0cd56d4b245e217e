#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

// The decompressors of TIFF strips and tiles that work on bytes: each one is made for
// one strip (or tile) and hands out its rows one after the other.
class TIETiffRowDecoder {
  public:
    virtual ~TIETiffRowDecoder() = default;
    // Fills Row with the next RowBytes bytes. False when the data ran out first: the
    // part of Row that was decoded is filled in, the rest is zero.
    virtual bool NextRow(uint8_t* Row, size_t RowBytes) = 0;
};

// TIFF compression codes the byte decoders take.
enum : int32_t {
    kTiffCompressionNone = 1,
    kTiffCompressionLZW = 5,
    kTiffCompressionDeflate = 8,
    kTiffCompressionPackBits = 32773,
    kTiffCompressionAdobeDeflate = 32946,
};

// How the blocks of one picture are coded, as their directory says.
struct TIETiffBlockCoding {
    int32_t Compression = 1;
    // Bits per sample; fill order 2 reverses the bits of bytes only up to 8 of them.
    int32_t Bits = 8;
    int32_t FillOrder = 1;
    // The fax decoders need the row's width in pixels and the group 3 options.
    int32_t Width = 0;
    int64_t T4Options = 0;
};

// Whether a decoder below takes Compression (the fax compressions included).
bool IEHasTiffRowDecoder(int32_t Compression);

// The decoder of one block's Data, or nullptr for a compression it doesn't take.
// ExpectedBytes is the size of the decoded block, which bounds what LZW and deflate make.
std::unique_ptr<TIETiffRowDecoder> IECreateTiffRowDecoder(const TIETiffBlockCoding& Coding,
                                                          std::vector<uint8_t> Data, size_t ExpectedBytes);

// Undoes the horizontal differencing of predictor 2 on one row of Samples samples of
// Bits (8 or 16, in the machine's order), Stride samples to a pixel.
void IEUndoTiffPredictor2(uint8_t* Row, size_t Samples, int32_t Bits, int32_t Stride);
// Undoes predictor 3 on one row of Samples floating-point samples of Bytes each: the
// byte differencing and the split into byte planes, most significant first. The samples
// come out in the machine's order.
void IEUndoTiffPredictor3(uint8_t* Row, size_t Samples, int32_t Bytes, int32_t Stride);

uint8_t IEReverseBits(uint8_t Value);
