// Row access: where a row lies in each storage, and the file-backed rows that are
// mapped one at a time.
#include "image/bitmap.h"

#include <cstring>
#include <vector>

void* TIEBitmap::GetScanline(int32_t Row) {
    if (Row < 0 || Row >= fHeight) return nullptr;
    int32_t y = fOrigin == ieboTOPLEFT ? fHeight - 1 - Row : Row;
    switch (fLocation) {
    case ieMemory:
        if (fFragmentsCount > 0)
            return fFragments[size_t(y / fRowsPerFragment)] + fRowLen * (y % fRowsPerFragment);
        return fMemory + int64_t(fHeight - 1 - y) * fRowLen;
    case ieFile:
        fWorkingMap = MapFileRow(y);
        return fWorkingMap;
    case ieTBitmap:
        return fBitmapScanlines[size_t(y)];
    }
    return nullptr;
}

// The previous working row goes back first; a store that has lost rows hands out none.
void* TIEBitmap::MapFileRow(int32_t y) {
    if (fWorkingMap) fMemMap->UnMap(fWorkingMap);
    fWorkingMap = nullptr;
    if (fMemMap->Failed()) return nullptr;
    return fMemMap->Map(int64_t(y) * fRowLen, fRowLen, fAccess);
}

void* TIEBitmap::GetRow(int32_t Row) {
    if (fLocation != ieFile) return GetScanline(Row);
    if (Row < 0 || Row >= fHeight) return nullptr;
    void* mapped = MapFileRow(fOrigin == ieboTOPLEFT ? fHeight - 1 - Row : Row);
    if (mapped) {
        fScanlinesToUnMapPtr.push_back(mapped);
        fScanlinesToUnMapRow.push_back(Row);
    }
    return mapped;
}

bool TIEBitmap::FlushRows() {
    if (fWorkingMap) fMemMap->UnMap(fWorkingMap);
    fWorkingMap = nullptr;
    return !fMemMap->Failed();
}

void TIEBitmap::FreeRow(int32_t Row) {
    for (size_t i = fScanlinesToUnMapRow.size(); i-- > 0;) {
        if (fScanlinesToUnMapRow[i] != Row) continue;
        fMemMap->UnMap(fScanlinesToUnMapPtr[i]);
        fScanlinesToUnMapPtr.erase(fScanlinesToUnMapPtr.begin() + std::ptrdiff_t(i));
        fScanlinesToUnMapRow.erase(fScanlinesToUnMapRow.begin() + std::ptrdiff_t(i));
        return;
    }
}

void* TIEBitmap::GetSegment(int32_t Row, int32_t Col, [[maybe_unused]] int32_t Width) {
    auto* row = static_cast<uint8_t*>(GetScanline(Row));
    return row ? row + int64_t(Col) * (fBitCount / 8) : nullptr;
}

void TIEBitmap::SetPixels_ie1g(int32_t x, int32_t y, bool Value) {
    uint8_t* cell = CellPointer<uint8_t>(x >> 3, y);
    if (!cell) return;
    uint8_t mask = uint8_t(0x80 >> (x & 7));
    *cell = Value ? uint8_t(*cell | mask) : uint8_t(*cell & ~mask);
}

void TIEBitmap::FlipRows() {
    std::vector<uint8_t> swap(static_cast<size_t>(fRowLen));
    for (int32_t top = 0, bottom = fHeight - 1; top < bottom; ++top, --bottom) {
        auto* upper = static_cast<uint8_t*>(GetRow(top));
        auto* lower = static_cast<uint8_t*>(GetRow(bottom));
        if (upper && lower) {
            std::memcpy(swap.data(), upper, swap.size());
            std::memcpy(upper, lower, swap.size());
            std::memcpy(lower, swap.data(), swap.size());
        }
        FreeRow(top);
        FreeRow(bottom);
        if (!upper || !lower) return;
    }
}

void TIEBitmap::SetOrigin(TIEBitmapOrigin Value) {
    if (Value == fOrigin) return;
    // Row numbers keep their content; only the memory order turns over.
    if (!IsEmpty()) FlipRows();
    fOrigin = Value;
    if (fAlphaChannel) fAlphaChannel->SetOrigin(Value);
    Changed();
}
