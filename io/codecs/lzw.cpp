#include "io/codecs/lzw.h"

#include <algorithm>
#include <cstring>
#include <memory>

std::vector<uint8_t> IELzwDecode(const uint8_t* Data, size_t Size, TIELzwBitOrder Order, int32_t MinCodeSize,
                                 bool EarlyChange, size_t MaxBytes) {
    constexpr int32_t kMaxCodes = 4096;
    const int32_t clear = 1 << MinCodeSize, end = clear + 1;
    // Every string of the table was written out before: an entry is where and how long.
    // A new entry is the previous string and the first byte behind it, which is the
    // first byte of the string that comes next, so it always lies in the output.
    std::vector<uint32_t> start(kMaxCodes);
    std::vector<uint16_t> length(kMaxCodes);
    std::vector<uint8_t> out(MaxBytes);
    size_t pos = 0, in = 0;
    uint64_t buffer = 0;
    int32_t bits = 0, width = MinCodeSize + 1, next = end + 1, previous = -1;
    size_t previousStart = 0, previousLength = 0;
    while (pos < MaxBytes) {
        while (bits < width && in < Size) {
            if (Order == TIELzwBitOrder::MsbFirst)
                buffer = buffer << 8 | Data[in++];
            else
                buffer |= uint64_t(Data[in++]) << bits;
            bits += 8;
        }
        if (bits < width) break;
        int32_t code;
        if (Order == TIELzwBitOrder::MsbFirst) {
            code = int32_t(buffer >> (bits - width)) & ((1 << width) - 1);
        } else {
            code = int32_t(buffer) & ((1 << width) - 1);
            buffer >>= width;
        }
        bits -= width;
        if (code == clear) {
            width = MinCodeSize + 1;
            next = end + 1;
            previous = -1;
            continue;
        }
        if (code == end) break;
        if (previous < 0) {
            // The first code after a clear must be a literal.
            if (code > clear) break;
            previous = code;
            previousStart = pos;
            previousLength = 1;
            out[pos++] = uint8_t(code);
            continue;
        }
        if (code > next || (code == next && next >= kMaxCodes)) break;
        if (next < kMaxCodes) {
            start[size_t(next)] = uint32_t(previousStart);
            length[size_t(next)] = uint16_t(previousLength + 1);
            ++next;
        }
        size_t count = 1;
        if (code < clear) {
            out[pos] = uint8_t(code);
        } else {
            const size_t from = start[size_t(code)];
            count = std::min<size_t>(length[size_t(code)], MaxBytes - pos);
            // A string still being defined overlaps its own copy by one byte.
            if (from + count <= pos)
                std::memcpy(out.data() + pos, out.data() + from, count);
            else
                for (size_t i = 0; i < count; ++i)
                    out[pos + i] = out[from + i];
        }
        previous = code;
        previousStart = pos;
        previousLength = count;
        pos += count;
        const int32_t limit = (1 << width) - (EarlyChange ? 1 : 0);
        if (next >= limit && width < 12) ++width;
    }
    out.resize(pos);
    return out;
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
