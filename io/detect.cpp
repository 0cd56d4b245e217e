#include "io/detect.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <set>

namespace {

// A real file has a few dozen tags per directory; this allows far more while keeping
// one directory read near a megabyte.
constexpr uint64_t kMaxDirectoryEntries = 65535;
// Directories visited by one camera test, chains and sub-directories together.
constexpr int kMaxDirectoriesVisited = 32;
constexpr uint64_t kMaxSubDirectories = 16;

constexpr uint16_t kTagPhotometric = 262;
constexpr uint16_t kTagSubIFDs = 330;
constexpr uint16_t kTagDNGVersion = 50706;
constexpr uint16_t kPhotometricCFA = 32803;
constexpr uint16_t kPhotometricLinearRaw = 34892;

uint16_t Get16(const uint8_t* p, bool BigEndian) {
    return BigEndian ? uint16_t(p[0] << 8 | p[1]) : uint16_t(p[1] << 8 | p[0]);
}

uint32_t Get32(const uint8_t* p, bool BigEndian) {
    return BigEndian ? uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3]
                     : uint32_t(p[3]) << 24 | uint32_t(p[2]) << 16 | uint32_t(p[1]) << 8 | p[0];
}

uint64_t Get64(const uint8_t* p, bool BigEndian) {
    const uint64_t first = Get32(p, BigEndian), second = Get32(p + 4, BigEndian);
    return BigEndian ? first << 32 | second : second << 32 | first;
}

size_t TiffTypeSize(uint16_t Type) {
    switch (Type) {
    case 1:
    case 2:
    case 6:
    case 7:
        return 1;
    case 3:
    case 8:
        return 2;
    case 4:
    case 9:
    case 11:
    case 13:
        return 4;
    case 5:
    case 10:
    case 12:
    case 16:
    case 17:
    case 18:
        return 8;
    default:
        return 0;
    }
}

// The bytes of the first Count values of Entry, each TypeSize long: inline or at the
// offset the entry gives; empty when they lie outside the data.
std::vector<uint8_t> ValueBytes(TIEDetectSource& Source, const TIETiffHeader& Header,
                                const TIETiffEntry& Entry, uint64_t Count, size_t TypeSize) {
    const size_t fieldSize = Header.BigTIFF ? 8 : 4;
    std::vector<uint8_t> bytes(size_t(Count) * TypeSize);
    // The entry's own count, not the capped one, decides where the data lie.
    if (Entry.Count <= fieldSize / TypeSize) {
        std::memcpy(bytes.data(), Entry.Value, bytes.size());
    } else {
        const uint64_t offset =
            Header.BigTIFF ? Get64(Entry.Value, Header.BigEndian) : Get32(Entry.Value, Header.BigEndian);
        if (!Source.ReadAt(offset, bytes.data(), bytes.size())) bytes.clear();
    }
    return bytes;
}

// Values of an integer entry (SHORT, LONG, IFD, LONG8, IFD8), at most MaxCount of them,
// inline or at the offset the entry gives.
std::vector<uint64_t> ReadIntegers(TIEDetectSource& Source, const TIETiffHeader& Header,
                                   const TIETiffEntry& Entry, uint64_t MaxCount) {
    std::vector<uint64_t> values;
    const size_t typeSize = TiffTypeSize(Entry.Type);
    if (Entry.Type != 3 && Entry.Type != 4 && Entry.Type != 13 && Entry.Type != 16 && Entry.Type != 18)
        return values;
    const uint64_t count = std::min(Entry.Count, MaxCount);
    if (count == 0) return values;
    const std::vector<uint8_t> bytes = ValueBytes(Source, Header, Entry, count, typeSize);
    for (size_t i = 0; i < bytes.size() / typeSize; ++i) {
        const uint8_t* p = bytes.data() + i * typeSize;
        values.push_back(typeSize == 2   ? Get16(p, Header.BigEndian)
                         : typeSize == 4 ? Get32(p, Header.BigEndian)
                                         : Get64(p, Header.BigEndian));
    }
    return values;
}

bool HasSensorData(TIEDetectSource& Source, const TIETiffHeader& Header) {
    std::deque<uint64_t> pending{Header.FirstIFD};
    std::set<uint64_t> seen;
    int visited = 0;
    while (!pending.empty() && visited < kMaxDirectoriesVisited) {
        const uint64_t offset = pending.front();
        pending.pop_front();
        if (offset == 0 || !seen.insert(offset).second) continue;
        ++visited;
        const std::optional<TIETiffDirectory> directory = IEReadTiffDirectory(Source, Header, offset);
        if (!directory) continue;
        if (directory->Find(kTagDNGVersion)) return true;
        if (const TIETiffEntry* entry = directory->Find(kTagPhotometric)) {
            const std::vector<uint64_t> value = ReadIntegers(Source, Header, *entry, 1);
            if (!value.empty() && (value[0] == kPhotometricCFA || value[0] == kPhotometricLinearRaw))
                return true;
        }
        if (const TIETiffEntry* entry = directory->Find(kTagSubIFDs))
            for (uint64_t sub : ReadIntegers(Source, Header, *entry, kMaxSubDirectories))
                pending.push_back(sub);
        pending.push_back(directory->NextIFD);
    }
    return false;
}

} // namespace

TIEDetectSource::TIEDetectSource(TIEStream& Stream) : fStream(Stream), fStart(Stream.Position()) {
    const int64_t size = Stream.Size();
    fSize = size > fStart ? uint64_t(size - fStart) : 0;
    fHead.resize(size_t(std::min<uint64_t>(fSize, HeadSize)));
    if (!ReadAt(0, fHead.data(), fHead.size())) fHead.clear();
}

bool TIEDetectSource::ReadAt(uint64_t Offset, void* Buffer, size_t Count) {
    if (Count > fSize || Offset > fSize - Count) return false;
    if (Count == 0) return true;
    fStream.SetPosition(fStart + int64_t(Offset));
    return fStream.Read(Buffer, Count) == Count;
}

bool TIEDetectSource::HeadMatches(size_t Offset, const void* Bytes, size_t Count) const {
    return Offset <= fHead.size() && Count <= fHead.size() - Offset &&
           std::memcmp(fHead.data() + Offset, Bytes, Count) == 0;
}

const TIETiffEntry* TIETiffDirectory::Find(uint16_t Tag) const {
    for (const TIETiffEntry& entry : Entries)
        if (entry.Tag == Tag) return &entry;
    return nullptr;
}

std::vector<uint64_t> IEReadTiffIntegers(TIEDetectSource& Source, const TIETiffHeader& Header,
                                         const TIETiffEntry& Entry, uint64_t MaxCount) {
    return ReadIntegers(Source, Header, Entry, MaxCount);
}

std::vector<uint8_t> IEReadTiffBytes(TIEDetectSource& Source, const TIETiffHeader& Header,
                                     const TIETiffEntry& Entry, uint64_t MaxBytes) {
    const size_t typeSize = TiffTypeSize(Entry.Type);
    if (typeSize == 0 || Entry.Count == 0) return {};
    const uint64_t count = std::min(Entry.Count, MaxBytes / typeSize);
    return ValueBytes(Source, Header, Entry, count, typeSize);
}

std::vector<double> IEReadTiffNumbers(TIEDetectSource& Source, const TIETiffHeader& Header,
                                      const TIETiffEntry& Entry, uint64_t MaxCount) {
    std::vector<double> values;
    const size_t typeSize = TiffTypeSize(Entry.Type);
    // ASCII and UNDEFINED have a size but hold no numbers.
    if (typeSize == 0 || Entry.Type == 2 || Entry.Type == 7) return values;
    const uint64_t count = std::min(Entry.Count, MaxCount);
    if (count == 0) return values;
    const std::vector<uint8_t> bytes = ValueBytes(Source, Header, Entry, count, typeSize);
    const bool be = Header.BigEndian;
    for (size_t i = 0; i < bytes.size() / typeSize; ++i) {
        const uint8_t* p = bytes.data() + i * typeSize;
        switch (Entry.Type) {
        case 1:
            values.push_back(p[0]);
            break;
        case 6:
            values.push_back(int8_t(p[0]));
            break;
        case 3:
            values.push_back(Get16(p, be));
            break;
        case 8:
            values.push_back(int16_t(Get16(p, be)));
            break;
        case 9:
            values.push_back(int32_t(Get32(p, be)));
            break;
        case 5:
        case 10: {
            const uint32_t numerator = Get32(p, be), denominator = Get32(p + 4, be);
            if (denominator == 0)
                values.push_back(0);
            else if (Entry.Type == 10)
                values.push_back(double(int32_t(numerator)) / double(int32_t(denominator)));
            else
                values.push_back(double(numerator) / double(denominator));
            break;
        }
        case 11: {
            const uint32_t bits = Get32(p, be);
            float value;
            std::memcpy(&value, &bits, sizeof value);
            values.push_back(value);
            break;
        }
        case 12: {
            const uint64_t bits = Get64(p, be);
            double value;
            std::memcpy(&value, &bits, sizeof value);
            values.push_back(value);
            break;
        }
        case 17:
            values.push_back(double(int64_t(Get64(p, be))));
            break;
        default: // LONG, IFD, LONG8, IFD8
            values.push_back(double(typeSize == 4 ? Get32(p, be) : Get64(p, be)));
            break;
        }
    }
    return values;
}

std::optional<TIETiffHeader> IEReadTiffHeader(TIEDetectSource& Source) {
    uint8_t bytes[16];
    if (!Source.ReadAt(0, bytes, 8)) return std::nullopt;
    TIETiffHeader header;
    if (bytes[0] == 'I' && bytes[1] == 'I')
        header.BigEndian = false;
    else if (bytes[0] == 'M' && bytes[1] == 'M')
        header.BigEndian = true;
    else
        return std::nullopt;
    if (Get16(bytes + 2, header.BigEndian) == 43) {
        if (!Source.ReadAt(0, bytes, 16)) return std::nullopt;
        if (Get16(bytes + 4, header.BigEndian) != 8 || Get16(bytes + 6, header.BigEndian) != 0)
            return std::nullopt;
        header.BigTIFF = true;
        header.FirstIFD = Get64(bytes + 8, header.BigEndian);
    } else {
        header.FirstIFD = Get32(bytes + 4, header.BigEndian);
    }
    if (header.FirstIFD < 1 || header.FirstIFD >= Source.Size()) return std::nullopt;
    return header;
}

std::optional<TIETiffDirectory> IEReadTiffDirectory(TIEDetectSource& Source, const TIETiffHeader& Header,
                                                    uint64_t Offset) {
    const bool be = Header.BigEndian;
    const size_t countSize = Header.BigTIFF ? 8 : 2;
    const size_t entrySize = Header.BigTIFF ? 20 : 12;
    const size_t fieldSize = Header.BigTIFF ? 8 : 4;
    uint8_t countBytes[8];
    if (!Source.ReadAt(Offset, countBytes, countSize)) return std::nullopt;
    const uint64_t count = Header.BigTIFF ? Get64(countBytes, be) : Get16(countBytes, be);
    if (count == 0 || count > kMaxDirectoryEntries) return std::nullopt;
    // The size is checked before anything is allocated: a directory must fit in the data.
    const uint64_t blockSize = count * entrySize;
    if (Offset + countSize > Source.Size() || blockSize > Source.Size() - Offset - countSize)
        return std::nullopt;
    std::vector<uint8_t> block(static_cast<size_t>(blockSize));
    if (!Source.ReadAt(Offset + countSize, block.data(), block.size())) return std::nullopt;

    TIETiffDirectory directory;
    directory.Entries.resize(size_t(count));
    for (size_t i = 0; i < size_t(count); ++i) {
        const uint8_t* p = block.data() + i * entrySize;
        TIETiffEntry& entry = directory.Entries[i];
        entry.Tag = Get16(p, be);
        entry.Type = Get16(p + 2, be);
        entry.Count = Header.BigTIFF ? Get64(p + 4, be) : Get32(p + 4, be);
        std::memcpy(entry.Value, p + entrySize - fieldSize, fieldSize);
    }
    uint8_t next[8];
    if (Source.ReadAt(Offset + countSize + blockSize, next, fieldSize))
        directory.NextIFD = Header.BigTIFF ? Get64(next, be) : Get32(next, be);
    return directory;
}

bool IEIsHDPhoto(TIEDetectSource& Source) {
    if (!Source.HeadMatches(0, "II", 2)) return false;
    uint8_t offsetBytes[4];
    if (!Source.ReadAt(4, offsetBytes, 4)) return false;
    // The HD Photo version word isn't TIFF's, so the header is taken as classic
    // little-endian whatever it says.
    TIETiffHeader header;
    header.FirstIFD = Get32(offsetBytes, false);
    if (header.FirstIFD < 1 || header.FirstIFD >= Source.Size()) return false;
    const std::optional<TIETiffDirectory> directory = IEReadTiffDirectory(Source, header, header.FirstIFD);
    if (!directory) return false;
    for (uint16_t tag : {48256, 48257, 48129, 48320, 48321})
        if (!directory->Find(tag)) return false;
    return true;
}

TIETiffKind IEClassifyTiff(TIEDetectSource& Source) {
    if (Source.Size() <= 20) return TIETiffKind::NotTiff;
    const std::optional<TIETiffHeader> header = IEReadTiffHeader(Source);
    if (!header) return TIETiffKind::NotTiff;
    const std::optional<TIETiffDirectory> directory = IEReadTiffDirectory(Source, *header, header->FirstIFD);
    if (!directory) return TIETiffKind::NotTiff;
    return directory->Find(kTagDNGVersion) ? TIETiffKind::DNG : TIETiffKind::Tiff;
}

bool IEIsIconDirectory(TIEDetectSource& Source, uint16_t ResourceType) {
    if (Source.Size() < 23) return false;
    const std::vector<uint8_t>& head = Source.Head();
    if (Get16(head.data(), false) != 0 || Get16(head.data() + 2, false) != ResourceType) return false;
    const uint16_t count = Get16(head.data() + 4, false);
    if (count == 0 || 6 + uint64_t(count) * 16 > Source.Size()) return false;
    std::vector<uint8_t> entries(size_t(count) * 16);
    if (!Source.ReadAt(6, entries.data(), entries.size())) return false;
    for (size_t i = 0; i < count; ++i) {
        const uint8_t* entry = entries.data() + i * 16;
        if (entry[3] != 0 || Get32(entry + 8, false) == 0 || Get32(entry + 12, false) >= Source.Size())
            return false;
    }
    return true;
}

bool IEIsTarga(TIEDetectSource& Source) {
    const std::vector<uint8_t>& h = Source.Head();
    if (h.size() < 18) return false;
    static constexpr uint8_t depths[] = {1, 4, 8, 16, 24, 32};
    if (std::find(std::begin(depths), std::end(depths), h[16]) == std::end(depths)) return false;
    if (h[1] >= 2) return false;
    if (Get16(h.data() + 12, false) == 0 || Get16(h.data() + 14, false) == 0) return false;
    // Kept although the colour map check already refuses a digit in byte 1.
    if (h[0] == 'P' && h[1] >= '2' && h[1] <= '6' && h[2] != ' ' && h[2] != '#' && h[2] != '\n') return false;
    return true;
}

bool IEIsDCX(TIEDetectSource& Source) {
    const std::vector<uint8_t>& h = Source.Head();
    if (h.size() < 8 || Get32(h.data(), false) != 987654321) return false;
    // The first page lies behind the offset table, inside the file.
    const uint32_t firstPage = Get32(h.data() + 4, false);
    return firstPage >= 8 && firstPage < Source.Size();
}

bool IEIsWindowsMetafile(TIEDetectSource& Source) {
    const std::vector<uint8_t>& h = Source.Head();
    size_t at = 0;
    if (h.size() >= 4 && Get32(h.data(), false) == 0x9AC6CDD7) at = 22;
    if (h.size() < at + 6) return false;
    const uint16_t type = Get16(h.data() + at, false);
    const uint16_t headerWords = Get16(h.data() + at + 2, false);
    const uint16_t version = Get16(h.data() + at + 4, false);
    return (type == 1 || type == 2) && headerWords == 9 && (version == 0x0100 || version == 0x0300);
}

bool IEIsEnhancedMetafile(TIEDetectSource& Source) {
    const std::vector<uint8_t>& h = Source.Head();
    return h.size() >= 44 && Get32(h.data(), false) == 1 && Source.HeadMatches(40, " EMF", 4);
}

bool IEIsCameraRaw(TIEDetectSource& Source) {
    if (Source.HeadMatches(0, "FUJIFILM", 8)) return true; // RAF
    if (Source.HeadMatches(0, "\0MRM", 4)) return true;    // MRW
    if (Source.HeadMatches(0, "FOVb", 4)) return true;     // X3F
    if (Source.HeadMatches(6, "HEAPCCDR", 8)) return true; // CRW
    if (Source.HeadMatches(4, "ftypcrx ", 8)) return true; // CR3
    if (Source.HeadMatches(0, "IIRO", 4) || Source.HeadMatches(0, "IIRS", 4) ||
        Source.HeadMatches(0, "MMOR", 4))
        return true;                                    // ORF
    if (Source.HeadMatches(0, "IIU\0", 4)) return true; // RW2, RWL
    const std::optional<TIETiffHeader> header = IEReadTiffHeader(Source);
    if (!header) return false;
    if (Source.HeadMatches(0, "II*\0", 4) && Source.HeadMatches(8, "CR", 2)) return true; // CR2
    return HasSensorData(Source, *header);
}
