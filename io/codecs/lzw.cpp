#include "io/codecs/lzw.h"

#include <algorithm>
#include <cstring>
#include <memory>

TIELzwDecoder::TIELzwDecoder(const uint8_t* Data, size_t Size, TBitOrder Order, int32_t MinCodeSize,
                             bool EarlyChange)
    : fData(Data), fSize(Size), fOrder(Order), fMinCodeSize(MinCodeSize), fClearCode(1 << MinCodeSize),
      fEndCode(fClearCode + 1), fEarlyChange(EarlyChange) {
    for (int32_t i = 0; i < fClearCode; ++i) {
        fPrefix[i] = -1;
        fSuffix[i] = uint8_t(i);
        fFirst[i] = uint8_t(i);
        fLength[i] = 1;
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

void TIELzwDecoder::Expand(int32_t Code, uint8_t* Target) const {
    // Prefixes always have lower codes than their entries, so the walk ends.
    uint8_t* at = Target + fLength[Code];
    for (; Code >= 0; Code = fPrefix[Code])
        *--at = fSuffix[Code];
}

size_t TIELzwDecoder::Read(uint8_t* Target, size_t Count) {
    size_t done = 0;
    while (done < Count) {
        if (fPendingPos < fPending.size()) {
            const size_t count = std::min(Count - done, fPending.size() - fPendingPos);
            std::memcpy(Target + done, fPending.data() + fPendingPos, count);
            fPendingPos += count;
            done += count;
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
            Target[done++] = uint8_t(code);
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
            fLength[fNextFree] = uint16_t(fLength[fPrevious] + 1);
            ++fNextFree;
        }
        const size_t length = fLength[code];
        if (length <= Count - done) {
            Expand(code, Target + done);
            done += length;
        } else {
            fPending.resize(length);
            fPendingPos = 0;
            Expand(code, fPending.data());
        }
        fPrevious = code;
        const int32_t limit = (1 << fCodeWidth) - (fEarlyChange ? 1 : 0);
        if (fNextFree >= limit && fCodeWidth < 12) ++fCodeWidth;
    }
    return done;
}

std::vector<uint8_t> IELzwEncodeTiff(const uint8_t* Data, size_t Size) {
    constexpr int32_t kClear = 256, kEnd = 257, kFirstFree = 258;
    // A reader one code behind must never see a table that outgrows 12 bits.
    constexpr int32_t kLastFree = 4093;
    std::vector<uint8_t> out;
    uint32_t buffer = 0;
    int32_t bits = 0, width = 9;
    auto emit = [&](int32_t Code) {
        buffer = buffer << width | uint32_t(Code);
        bits += width;
        while (bits >= 8) {
            out.push_back(uint8_t(buffer >> (bits - 8)));
            bits -= 8;
        }
    };
    // The code that follows each string with each byte, 0 where there is none yet.
    auto next = std::make_unique<uint16_t[]>(size_t(4096) * 256);
    int32_t free = kFirstFree;
    emit(kClear);
    int32_t prefix = -1;
    for (size_t i = 0; i < Size; ++i) {
        const uint8_t byte = Data[i];
        if (prefix < 0) {
            prefix = byte;
            continue;
        }
        uint16_t& child = next[size_t(prefix) * 256 + byte];
        if (child) {
            prefix = child;
            continue;
        }
        emit(prefix);
        child = uint16_t(free++);
        if (free == (1 << width) && width < 12) ++width;
        if (free > kLastFree) {
            emit(kClear);
            std::fill(next.get(), next.get() + size_t(4096) * 256, 0);
            free = kFirstFree;
            width = 9;
        }
        prefix = byte;
    }
    if (prefix >= 0) emit(prefix);
    // The end code may need a wider field if the last string filled the width.
    if (free + 1 == (1 << width) && width < 12) ++width;
    emit(kEnd);
    if (bits > 0) out.push_back(uint8_t(buffer << (8 - bits)));
    return out;
}
