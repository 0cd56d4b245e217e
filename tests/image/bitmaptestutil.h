#pragma once

#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <vector>

#include "image/bitmap.h"
#include "image/settings.h"
#include "tests/testutil.h"

// Sets a storage global for one test and puts the old value back.
template <typename T> class TScopedGlobal {
  public:
    TScopedGlobal(T& Global, T Value) : fGlobal(Global), fSaved(Global) { Global = Value; }
    ~TScopedGlobal() { fGlobal = fSaved; }
    TScopedGlobal(const TScopedGlobal&) = delete;
    TScopedGlobal& operator=(const TScopedGlobal&) = delete;

  private:
    T& fGlobal;
    T fSaved;
};

class TScopedMaxMemoryBlock {
  public:
    explicit TScopedMaxMemoryBlock(int64_t Bytes) : fSaved(IEMaxMemoryBlock()) { IESetMaxMemoryBlock(Bytes); }
    ~TScopedMaxMemoryBlock() { IESetMaxMemoryBlock(fSaved); }

  private:
    int64_t fSaved;
};

// The open descriptor of a file-backed store, -1 if there is none. The file is unlinked
// when made, so tests reach it through /proc to look at or damage what lies behind the rows.
inline int StoreDescriptor(TIEFileBuffer& Buffer) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", error))
        if (!Buffer.FileName().empty() &&
            std::filesystem::read_symlink(entry.path(), error).string() == Buffer.FileName() + " (deleted)")
            return std::stoi(entry.path().filename().string());
    return -1;
}

// An 8-bit bitmap from literal rows, top row first.
inline void FillGrey(TIEBitmap& Bitmap, int32_t Width, int32_t Height, std::initializer_list<uint8_t> Pixels,
                     TIEPixelFormat Format = ie8g) {
    Bitmap.Allocate(Width, Height, Format);
    for (size_t i = 0; i < Pixels.size(); ++i)
        Bitmap.SetPixels_ie8(int32_t(i) % Width, int32_t(i) / Width, Pixels.begin()[i]);
}

// The pixel bytes of an 8-bit bitmap, row by row from the top, padding left out.
inline std::vector<uint8_t> GreyPixels(TIEBitmap& Bitmap) {
    std::vector<uint8_t> pixels;
    for (int32_t y = 0; y < Bitmap.Height(); ++y) {
        auto* row = static_cast<const uint8_t*>(Bitmap.GetScanline(y));
        pixels.insert(pixels.end(), row, row + Bitmap.Width());
    }
    return pixels;
}

inline std::vector<uint8_t> Bytes(std::initializer_list<int> Values) {
    return std::vector<uint8_t>(Values.begin(), Values.end());
}

// Byte-exact comparison of the pixels (not the padding); names the first difference.
inline std::string FirstDifference(TIEBitmap& A, TIEBitmap& B) {
    if (A.Width() != B.Width() || A.Height() != B.Height() || A.PixelFormat() != B.PixelFormat())
        return "size or format differs";
    for (int32_t y = 0; y < A.Height(); ++y) {
        const std::vector<uint8_t> rowA(static_cast<const uint8_t*>(A.GetScanline(y)),
                                        static_cast<const uint8_t*>(A.GetScanline(y)) + A.RowLen());
        auto* rowB = static_cast<const uint8_t*>(B.GetScanline(y));
        for (int64_t i = 0; i < IEComputeRowLen(A.Width(), A.BitCount(), 8); ++i)
            if (rowA[size_t(i)] != rowB[i])
                return "row " + std::to_string(y) + " byte " + std::to_string(i) + ": " +
                       std::to_string(rowA[size_t(i)]) + " vs " + std::to_string(rowB[i]);
    }
    return "";
}
