#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "io/detect.h"

// Tag access to one TIFF directory. All reads go through the bounded source, so an
// offset outside the data gives the default or nothing, never a read past the end.
class TIETIFFIFDReader {
  public:
    TIETIFFIFDReader(TIEDetectSource& Source, const TIETiffHeader& Header)
        : fSource(Source), fHeader(Header) {}

    // False, with no entries, if Offset holds no directory.
    bool Read(uint64_t Offset);
    uint64_t NextIFD() const { return fDirectory.NextIFD; }
    bool TIFF_BigTIFF() const { return fHeader.BigTIFF; }
    TIEDetectSource& Source() const { return fSource; }

    // The entry's position in the directory, -1 if absent.
    int32_t FindTAG(uint16_t Tag) const;
    // Value Index of a numeric tag as stored (integers, rationals, floats), or Default
    // when the tag or the value is missing.
    double GetItem(uint16_t Tag, uint64_t Index, double Default) const;
    int64_t GetInteger(uint16_t Tag, uint64_t Index, int64_t Default) const;
    // The number of values, 0 for an absent tag.
    uint64_t GetDataNum(uint16_t Tag) const;
    // Text up to its first zero byte.
    std::string ReadString(uint16_t Tag, uint64_t MaxBytes = 1u << 16) const;
    std::vector<uint64_t> ReadArrayIntegers(uint16_t Tag, uint64_t MaxCount) const;
    std::vector<double> ReadArrayNumbers(uint16_t Tag, uint64_t MaxCount) const;
    std::vector<uint8_t> ReadRawData(uint16_t Tag, uint64_t MaxBytes) const;

  private:
    TIEDetectSource& fSource;
    TIETiffHeader fHeader;
    TIETiffDirectory fDirectory;
};
