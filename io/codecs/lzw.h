#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// The LZW decoder of TIFF and GIF. The forms differ in bit order and in when the code
// width grows: TIFF's codes are MSB-first and grow one code early; GIF's, and the old
// TIFF form that copied them, are LSB-first and grow when the table reaches the width's
// limit. Codes are at most 12 bits; a full table goes on without new entries until the
// next clear code.
class TIELzwDecoder {
  public:
    enum class TBitOrder { MsbFirst, LsbFirst };

    // Data must outlive the decoder. MinCodeSize is the bits of a literal (8 for TIFF,
    // 2 to 8 for GIF).
    TIELzwDecoder(const uint8_t* Data, size_t Size, TBitOrder Order, int32_t MinCodeSize, bool EarlyChange);

    // Decodes up to Count bytes into Target and returns how many it gave: fewer only
    // when the data are at their end, at the end code, or at a code that can't be.
    size_t Read(uint8_t* Target, size_t Count);
    bool Finished() const { return fFinished; }

  private:
    int32_t NextCode();
    void Reset();
    // Writes the string of Code, whose length is fLength[Code], to Target.
    void Expand(int32_t Code, uint8_t* Target) const;

    static constexpr int32_t kMaxCodes = 4096;

    const uint8_t* fData;
    size_t fSize;
    size_t fBytePos = 0;
    uint32_t fBitBuffer = 0;
    int32_t fBitCount = 0;
    TBitOrder fOrder;
    int32_t fMinCodeSize;
    int32_t fClearCode;
    int32_t fEndCode;
    bool fEarlyChange;

    int32_t fCodeWidth = 0;
    int32_t fNextFree = 0;
    int32_t fPrevious = -1;
    bool fFinished = false;
    // Each entry: the code of its prefix (-1 for a literal) and its last byte.
    int16_t fPrefix[kMaxCodes];
    uint8_t fSuffix[kMaxCodes];
    uint8_t fFirst[kMaxCodes];
    uint16_t fLength[kMaxCodes];
    // A string that didn't fit in the caller's buffer, handed out from fPendingPos on.
    std::vector<uint8_t> fPending;
    size_t fPendingPos = 0;
};

// TIFF's LZW form of Data: MSB-first codes from 9 to 12 bits that grow one code early,
// a clear code first and whenever the table is full, the end code last.
std::vector<uint8_t> IELzwEncodeTiff(const uint8_t* Data, size_t Size);
