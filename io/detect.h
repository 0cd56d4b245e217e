#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "io/stream.h"

// Content tests of the format detection. Every read goes through TIEDetectSource,
// which refuses anything past the end of the data, and every walk over directories
// stops after a fixed number of steps, so hostile headers cost little.

// The bytes from a stream's position at creation to its end. Moves the stream's
// position; the caller restores it.
class TIEDetectSource {
  public:
    explicit TIEDetectSource(TIEStream& Stream);

    uint64_t Size() const { return fSize; }
    // False, with nothing read, unless all Count bytes at Offset lie inside the data.
    bool ReadAt(uint64_t Offset, void* Buffer, size_t Count);
    // The first bytes, up to HeadSize, read once.
    const std::vector<uint8_t>& Head() const { return fHead; }
    bool HeadMatches(size_t Offset, const void* Bytes, size_t Count) const;

    static constexpr size_t HeadSize = 512;

  private:
    TIEStream& fStream;
    int64_t fStart;
    uint64_t fSize;
    std::vector<uint8_t> fHead;
};

// A TIFF header as the TIFF reader accepts it: "II" or "MM", any version but 43 read
// as classic, 43 as BigTIFF, and a first directory offset from 1 to below the size.
struct TIETiffHeader {
    bool BigEndian = false;
    bool BigTIFF = false;
    uint64_t FirstIFD = 0;
};
std::optional<TIETiffHeader> IEReadTiffHeader(TIEDetectSource& Source);

// One directory entry with the value field kept raw (4 bytes, 8 in BigTIFF).
struct TIETiffEntry {
    uint16_t Tag = 0;
    uint16_t Type = 0;
    uint64_t Count = 0;
    uint8_t Value[8] = {};
};

// Reads the directory at Offset; nothing if it is empty or doesn't fit in the data.
struct TIETiffDirectory {
    std::vector<TIETiffEntry> Entries;
    uint64_t NextIFD = 0;

    const TIETiffEntry* Find(uint16_t Tag) const;
};
std::optional<TIETiffDirectory> IEReadTiffDirectory(TIEDetectSource& Source, const TIETiffHeader& Header,
                                                    uint64_t Offset);

// Values of an integer entry (SHORT, LONG, IFD, LONG8, IFD8), at most MaxCount of them,
// inline or at the offset the entry gives; nothing for another type or data outside.
std::vector<uint64_t> IEReadTiffIntegers(TIEDetectSource& Source, const TIETiffHeader& Header,
                                         const TIETiffEntry& Entry, uint64_t MaxCount);
// Values of any numeric entry, at most MaxCount, each read by the type it is stored as:
// the signed and unsigned integers, the rationals (a zero denominator gives 0) and the
// floating-point types. Nothing for text, undefined bytes or data outside.
std::vector<double> IEReadTiffNumbers(TIEDetectSource& Source, const TIETiffHeader& Header,
                                      const TIETiffEntry& Entry, uint64_t MaxCount);

// The raw bytes of any entry (text, undefined data, numbers as stored), at most
// MaxBytes of them; nothing for an unknown type or data outside.
std::vector<uint8_t> IEReadTiffBytes(TIEDetectSource& Source, const TIETiffHeader& Header,
                                     const TIETiffEntry& Entry, uint64_t MaxBytes);

// Tests whose data lie beyond the first bytes.
bool IEIsHDPhoto(TIEDetectSource& Source);
bool IEIsIconDirectory(TIEDetectSource& Source, uint16_t ResourceType);
bool IEIsTarga(TIEDetectSource& Source);
bool IEIsDCX(TIEDetectSource& Source);
bool IEIsWindowsMetafile(TIEDetectSource& Source);
bool IEIsEnhancedMetafile(TIEDetectSource& Source);

// Camera raw files: the raw containers by their signatures, and TIFF-based ones by
// DNGVersion, Canon's "CR" mark or a directory holding sensor (CFA or linear raw) data.
bool IEIsCameraRaw(TIEDetectSource& Source);

// Result of the TIFF test of the detection order.
enum class TIETiffKind { NotTiff, DNG, Tiff };
// A valid header and first directory in data over 20 bytes; DNG if that directory has
// DNGVersion. DICOM files with a TIFF preamble are left to the caller.
TIETiffKind IEClassifyTiff(TIEDetectSource& Source);
