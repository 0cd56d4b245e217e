#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// The LZW coding of TIFF and GIF. The forms differ in bit order and in when the code
// width grows: TIFF's codes are MSB-first and grow one code early; GIF's, and the old
// TIFF form that copied them, are LSB-first and grow when the table reaches the width's
// limit. Codes are at most 12 bits; a full table goes on without new entries until the
// next clear code.
enum class TIELzwBitOrder { MsbFirst, LsbFirst };

// Decodes Data, whose literals have MinCodeSize bits (8 for TIFF, 2 to 8 for GIF), into
// at most MaxBytes. It stops at the end code, at the end of the data, or at a code that
// can't be, and returns what was decoded until then.
std::vector<uint8_t> IELzwDecode(const uint8_t* Data, size_t Size, TIELzwBitOrder Order, int32_t MinCodeSize,
                                 bool EarlyChange, size_t MaxBytes);

// TIFF's LZW form of Data: MSB-first codes from 9 to 12 bits that grow one code early,
// a clear code first and whenever the table is full, the end code last.
std::vector<uint8_t> IELzwEncodeTiff(const uint8_t* Data, size_t Size);
