#include "image/workbitmap.h"

#include <new>

#include "image/settings.h"

bool TIEWorkBitmap::Allocate(int32_t Width, int32_t Height, int32_t BitCount) {
    Free();
    bool knownDepth = BitCount == 1 || BitCount == 8 || BitCount == 16 || BitCount == 24 || BitCount == 32 ||
                      BitCount == 64;
    if (!knownDepth || Width < 1 || Height < 1) return false;
    int64_t rowLen = (int64_t(Width) * BitCount + 31) / 32 * 4;
    int64_t size = rowLen * Height;
    uint64_t physical = IETotalPhysicalMemory();
    if (physical != 0 && uint64_t(size) > physical) return false;
    fBits.reset(new (std::nothrow) uint8_t[size_t(size)]());
    if (!fBits) return false;
    fWidth = Width;
    fHeight = Height;
    fBitCount = BitCount;
    fRowLen = rowLen;
    return true;
}

void TIEWorkBitmap::Free() {
    fBits.reset();
    fWidth = fHeight = fBitCount = 0;
    fRowLen = 0;
}

void TIEWorkBitmap::SetBit(int32_t x, int32_t y, bool Value) const {
    uint8_t& cell = GetScanline(y)[x >> 3];
    uint8_t mask = uint8_t(0x80 >> (x & 7));
    cell = Value ? uint8_t(cell | mask) : uint8_t(cell & ~mask);
}
