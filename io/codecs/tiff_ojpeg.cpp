#include "io/codecs/tiff_ojpeg.h"

#include <numeric>

namespace {

enum : uint16_t {
    kTagRestartInterval = 515,
    kTagQTables = 519,
    kTagDCTables = 520,
    kTagACTables = 521,
};

void Put16(std::vector<uint8_t>& Out, uint32_t Value) {
    Out.push_back(uint8_t(Value >> 8));
    Out.push_back(uint8_t(Value));
}

void PutMarker(std::vector<uint8_t>& Out, uint8_t Marker, uint32_t Length) {
    Out.push_back(0xFF);
    Out.push_back(Marker);
    Put16(Out, Length + 2);
}

// Walks the markers of a JPEG head; Visit gets the marker and the position of its
// length. Stops at the start of scan or the end of the data.
template <typename F> void WalkMarkers(const std::vector<uint8_t>& Data, F Visit) {
    size_t i = 2;
    while (i + 4 <= Data.size() && Data[i] == 0xFF) {
        const uint8_t marker = Data[i + 1];
        if (!Visit(marker, i + 2) || marker == 0xDA) return;
        i += 2 + size_t(Data[i + 2] << 8 | Data[i + 3]);
    }
}

} // namespace

std::vector<uint8_t> IEOldJpegHeaderFromTags(const TIETIFFIFDReader& Reader, int32_t Samples, int32_t Width,
                                             int32_t Height, int32_t SubH, int32_t SubV) {
    const int32_t components = Samples >= 3 ? 3 : 1;
    const std::vector<uint64_t> q = Reader.ReadArrayIntegers(kTagQTables, uint64_t(components));
    const std::vector<uint64_t> dc = Reader.ReadArrayIntegers(kTagDCTables, uint64_t(components));
    const std::vector<uint64_t> ac = Reader.ReadArrayIntegers(kTagACTables, uint64_t(components));
    if (int32_t(q.size()) < components || int32_t(dc.size()) < components || int32_t(ac.size()) < components)
        return {};
    TIEDetectSource& source = Reader.Source();
    std::vector<uint8_t> out{0xFF, 0xD8};
    for (int32_t c = 0; c < components; ++c) {
        uint8_t table[64];
        if (!source.ReadAt(q[size_t(c)], table, 64)) return {};
        PutMarker(out, 0xDB, 65);
        out.push_back(uint8_t(c));
        out.insert(out.end(), table, table + 64);
    }
    // A Huffman table: sixteen counts, then as many values as they add up to.
    auto huffman = [&](uint64_t Offset, uint8_t Class, int32_t Id) {
        uint8_t counts[16];
        if (!source.ReadAt(Offset, counts, 16)) return false;
        const int32_t total = std::accumulate(counts, counts + 16, 0);
        if (total > 256) return false;
        std::vector<uint8_t> values(static_cast<size_t>(total));
        if (!source.ReadAt(Offset + 16, values.data(), values.size())) return false;
        PutMarker(out, 0xC4, uint32_t(17 + total));
        out.push_back(uint8_t(Class << 4 | Id));
        out.insert(out.end(), counts, counts + 16);
        out.insert(out.end(), values.begin(), values.end());
        return true;
    };
    for (int32_t c = 0; c < components; ++c)
        if (!huffman(dc[size_t(c)], 0, c) || !huffman(ac[size_t(c)], 1, c)) return {};
    if (const int64_t restart = Reader.GetInteger(kTagRestartInterval, 0, 0);
        restart > 0 && restart < 65536) {
        PutMarker(out, 0xDD, 2);
        Put16(out, uint32_t(restart));
    }
    PutMarker(out, 0xC0, uint32_t(6 + 3 * components));
    out.push_back(8);
    Put16(out, uint32_t(Height));
    Put16(out, uint32_t(Width));
    out.push_back(uint8_t(components));
    for (int32_t c = 0; c < components; ++c) {
        out.push_back(uint8_t(c + 1));
        out.push_back(c == 0 && components == 3 ? uint8_t(SubH << 4 | SubV) : uint8_t(0x11));
        out.push_back(uint8_t(c));
    }
    PutMarker(out, 0xDA, uint32_t(4 + 2 * components));
    out.push_back(uint8_t(components));
    for (int32_t c = 0; c < components; ++c) {
        out.push_back(uint8_t(c + 1));
        out.push_back(uint8_t(c << 4 | c));
    }
    out.push_back(0);
    out.push_back(63);
    out.push_back(0);
    return out;
}

bool IEPatchJpegHeight(std::vector<uint8_t>& Head, int32_t Height) {
    bool patched = false;
    WalkMarkers(Head, [&](uint8_t Marker, size_t At) {
        if (Marker >= 0xC0 && Marker <= 0xCF && Marker != 0xC4 && Marker != 0xC8 && Marker != 0xCC &&
            At + 5 <= Head.size()) {
            Head[At + 3] = uint8_t(Height >> 8);
            Head[At + 4] = uint8_t(Height);
            patched = true;
        }
        return !patched;
    });
    return patched;
}

bool IEJpegHasScan(const std::vector<uint8_t>& Data) {
    bool scan = false;
    WalkMarkers(Data, [&](uint8_t Marker, size_t) {
        scan = Marker == 0xDA;
        return true;
    });
    return scan;
}
