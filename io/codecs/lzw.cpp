#include "io/codecs/lzw.h"

TIELzwDecoder::TIELzwDecoder(const uint8_t* Data, size_t Size, TBitOrder Order, int32_t MinCodeSize,
                             bool EarlyChange)
    : fData(Data), fSize(Size), fOrder(Order), fMinCodeSize(MinCodeSize), fClearCode(1 << MinCodeSize),
      fEndCode(fClearCode + 1), fEarlyChange(EarlyChange) {
    for (int32_t i = 0; i < fClearCode; ++i) {
        fPrefix[i] = -1;
        fSuffix[i] = uint8_t(i);
        fFirst[i] = uint8_t(i);
    }
    Reset();
}

void TIELzwDecoder::Reset() {
    fCodeWidth = fMinCodeSize + 1;
    fNextFree = fEndCode + 1;
    fPrevious = -1;
}

int32_t TIELzwDecoder::NextCode() {
    while (fBitCount < fCodeWidth) {
        if (fBytePos >= fSize) return -1;
        const uint32_t byte = fData[fBytePos++];
        if (fOrder == TBitOrder::MsbFirst)
            fBitBuffer = (fBitBuffer << 8) | byte;
        else
            fBitBuffer |= byte << fBitCount;
        fBitCount += 8;
    }
    const uint32_t mask = (1u << fCodeWidth) - 1;
    int32_t code;
    if (fOrder == TBitOrder::MsbFirst) {
        code = int32_t((fBitBuffer >> (fBitCount - fCodeWidth)) & mask);
    } else {
        code = int32_t(fBitBuffer & mask);
        fBitBuffer >>= fCodeWidth;
    }
    fBitCount -= fCodeWidth;
    return code;
}

void TIELzwDecoder::Expand(int32_t Code) {
    // Prefixes always have lower codes than their entries, so the walk ends.
    for (; Code >= 0; Code = fPrefix[Code])
        fPending.push_back(fSuffix[Code]);
}

size_t TIELzwDecoder::Read(uint8_t* Target, size_t Count) {
    size_t done = 0;
    while (done < Count) {
        if (!fPending.empty()) {
            Target[done++] = fPending.back();
            fPending.pop_back();
            continue;
        }
        if (fFinished) break;
        const int32_t code = NextCode();
        if (code < 0 || code == fEndCode) {
            fFinished = true;
            break;
        }
        if (code == fClearCode) {
            Reset();
            continue;
        }
        if (fPrevious < 0) {
            // The first code after a clear must be a literal.
            if (code >= fClearCode) {
                fFinished = true;
                break;
            }
            Expand(code);
            fPrevious = code;
            continue;
        }
        if (code > fNextFree || (code == fNextFree && fNextFree >= kMaxCodes)) {
            fFinished = true;
            break;
        }
        // A code not yet in the table is the previous string and its own first byte.
        const uint8_t first = code < fNextFree ? fFirst[code] : fFirst[fPrevious];
        if (fNextFree < kMaxCodes) {
            fPrefix[fNextFree] = int16_t(fPrevious);
            fSuffix[fNextFree] = first;
            fFirst[fNextFree] = fFirst[fPrevious];
            ++fNextFree;
        }
        Expand(code);
        fPrevious = code;
        const int32_t limit = (1 << fCodeWidth) - (fEarlyChange ? 1 : 0);
        if (fNextFree >= limit && fCodeWidth < 12) ++fCodeWidth;
    }
    return done;
}
