#include "io/codecs/tiff_ifd.h"

#include <cmath>

bool TIETIFFIFDReader::Read(uint64_t Offset) {
    std::optional<TIETiffDirectory> directory = IEReadTiffDirectory(fSource, fHeader, Offset);
    fDirectory = directory ? std::move(*directory) : TIETiffDirectory{};
    return directory.has_value();
}

int32_t TIETIFFIFDReader::FindTAG(uint16_t Tag) const {
    for (size_t i = 0; i < fDirectory.Entries.size(); ++i)
        if (fDirectory.Entries[i].Tag == Tag) return int32_t(i);
    return -1;
}

double TIETIFFIFDReader::GetItem(uint16_t Tag, uint64_t Index, double Default) const {
    const TIETiffEntry* entry = fDirectory.Find(Tag);
    if (!entry || Index >= entry->Count) return Default;
    const std::vector<double> values = IEReadTiffNumbers(fSource, fHeader, *entry, Index + 1);
    return values.size() > Index ? values[Index] : Default;
}

int64_t TIETIFFIFDReader::GetInteger(uint16_t Tag, uint64_t Index, int64_t Default) const {
    const double value = GetItem(Tag, Index, NAN);
    // A value no integer can hold counts as missing.
    if (!(value >= -9.0e18 && value <= 9.0e18)) return Default;
    return int64_t(value);
}

uint64_t TIETIFFIFDReader::GetDataNum(uint16_t Tag) const {
    const TIETiffEntry* entry = fDirectory.Find(Tag);
    return entry ? entry->Count : 0;
}

std::string TIETIFFIFDReader::ReadString(uint16_t Tag, uint64_t MaxBytes) const {
    const std::vector<uint8_t> bytes = ReadRawData(Tag, MaxBytes);
    std::string text(bytes.begin(), bytes.end());
    return text.substr(0, text.find('\0'));
}

std::vector<uint64_t> TIETIFFIFDReader::ReadArrayIntegers(uint16_t Tag, uint64_t MaxCount) const {
    const TIETiffEntry* entry = fDirectory.Find(Tag);
    return entry ? IEReadTiffIntegers(fSource, fHeader, *entry, MaxCount) : std::vector<uint64_t>{};
}

std::vector<double> TIETIFFIFDReader::ReadArrayNumbers(uint16_t Tag, uint64_t MaxCount) const {
    const TIETiffEntry* entry = fDirectory.Find(Tag);
    return entry ? IEReadTiffNumbers(fSource, fHeader, *entry, MaxCount) : std::vector<double>{};
}

std::vector<uint8_t> TIETIFFIFDReader::ReadRawData(uint16_t Tag, uint64_t MaxBytes) const {
    const TIETiffEntry* entry = fDirectory.Find(Tag);
    return entry ? IEReadTiffBytes(fSource, fHeader, *entry, MaxBytes) : std::vector<uint8_t>{};
}
