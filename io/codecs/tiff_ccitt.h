#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "io/codecs/tiff_decode.h"

enum : int32_t {
    kTiffCompressionCCITTRLE = 2,
    kTiffCompressionCCITTFax3 = 3,
    kTiffCompressionCCITTFax4 = 4,
};

// The fax decoders: modified Huffman rows (compression 2), group 3 in one or two
// dimensions (3, by T4Options bit 0) and group 4 (4). Rows come out one bit a pixel,
// most significant bit first, black as 1. FillOrder 2 reads each byte's bits from the
// least significant one. Data that break off or can't be decoded end the strip.
std::unique_ptr<TIETiffRowDecoder> IECreateTiffFaxDecoder(int32_t Compression, std::vector<uint8_t> Data,
                                                          int32_t Width, int64_t T4Options,
                                                          int32_t FillOrder);
