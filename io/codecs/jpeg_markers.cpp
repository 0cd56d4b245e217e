#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include "io/codecs/jpeg.h"
#include "io/exif.h"

namespace {

constexpr uint8_t kAPP1 = 0xE1;
constexpr uint8_t kAPP2 = 0xE2;
constexpr uint8_t kAPP13 = 0xED;
constexpr char kICCHeader[] = "ICC_PROFILE";
constexpr size_t kICCChunkHead = 14;
constexpr size_t kICCChunkData = 32000;
constexpr char kXMPHeader[] = "http://ns.adobe.com/xap/1.0/";
constexpr size_t kXMPHeaderLength = 29;
constexpr size_t kMaxMarkerPayload = 65533;

void PutBigEndian(std::vector<uint8_t>& Data, size_t At, uint32_t Value, int Bytes) {
    for (int i = Bytes - 1; i >= 0; --i, Value >>= 8)
        Data[At + size_t(i)] = uint8_t(Value);
}

void UpdatePhotoshopResolution(TIOParams& IOParams) {
    TIEMarkerList& markers = IOParams.JPEG_MarkerList;
    const int32_t index = markers.IndexOf(kAPP13);
    if (index < 0) return;
    std::vector<uint8_t> data = markers.GetMarkerData(index);
    static constexpr uint8_t kResolutionInfo[] = {'8', 'B', 'I', 'M', 0x03, 0xED};
    const auto found =
        std::search(data.begin(), data.end(), std::begin(kResolutionInfo), std::end(kResolutionInfo));
    if (found == data.end()) return;
    // Behind the resource id: a two-byte name field, then the size and the resource.
    const size_t block = size_t(found - data.begin()) + sizeof kResolutionInfo + 2;
    if (block + 20 > data.size()) return;
    const uint32_t size = uint32_t(data[block]) << 24 | uint32_t(data[block + 1]) << 16 |
                          uint32_t(data[block + 2]) << 8 | data[block + 3];
    if (size < 16) return;
    PutBigEndian(data, block + 4, uint32_t(IOParams.DpiX) << 16, 4);
    PutBigEndian(data, block + 8, 1, 2);
    PutBigEndian(data, block + 10, 1, 2);
    PutBigEndian(data, block + 12, uint32_t(IOParams.DpiY) << 16, 4);
    PutBigEndian(data, block + 16, 1, 2);
    PutBigEndian(data, block + 18, 1, 2);
    markers.SetMarker(index, kAPP13, data.data(), uint16_t(data.size()));
}

// Until the TIFF writer can rebuild the block from the fields, the source's block goes
// out as it came in, with the orientation it now has: a picture turned upright on load
// must not be turned again by the next reader.
void UpdateEXIF(TIOParams& IOParams) {
    if (!IOParams.EXIF_HasEXIFData) return;
    TIEMarkerList& markers = IOParams.JPEG_MarkerList;
    for (int32_t i = 0; i < markers.Count(); ++i) {
        if (markers.GetMarkerType(i) != kAPP1 || !IEIsEXIFBlock(markers.GetMarkerData(i))) continue;
        std::vector<uint8_t> data = markers.GetMarkerData(i);
        if (IESetEXIFOrientation(data, IOParams.TIFF_Orientation))
            markers.SetMarker(i, kAPP1, data.data(), uint16_t(data.size()));
        return;
    }
}

void UpdateXMP(TIOParams& IOParams) {
    TIEMarkerList& markers = IOParams.JPEG_MarkerList;
    for (int32_t i = 0; i < markers.Count(); ++i) {
        const std::vector<uint8_t>& data = markers.GetMarkerData(i);
        if (markers.GetMarkerType(i) == kAPP1 && data.size() > kXMPHeaderLength &&
            std::memcmp(data.data(), kXMPHeader, 24) == 0) {
            markers.DeleteMarker(i);
            break;
        }
    }
    // Nothing splits a packet over several markers: one that doesn't fit is not written.
    if (IOParams.XMP_Info.empty() || kXMPHeaderLength + IOParams.XMP_Info.size() > kMaxMarkerPayload) return;
    std::vector<uint8_t> block(kXMPHeader, kXMPHeader + kXMPHeaderLength);
    block.insert(block.end(), IOParams.XMP_Info.begin(), IOParams.XMP_Info.end());
    markers.AddMarker(kAPP1, block.data(), uint16_t(block.size()));
}

bool IsICCChunk(uint8_t Type, const std::vector<uint8_t>& Data) {
    return Type == kAPP2 && Data.size() > kICCChunkHead && std::memcmp(Data.data(), kICCHeader, 12) == 0;
}

// The profile goes out again in chunks of its own making: those of the source may have
// been numbered wrongly, and a profile from another format has none.
void UpdateICC(TIOParams& IOParams) {
    const std::vector<uint8_t>& profile = IOParams.InputICCProfile;
    if (!IEIsICCProfile(profile)) return;
    TIEMarkerList& markers = IOParams.JPEG_MarkerList;
    markers.DeleteMarkerInstances(kAPP2);
    const size_t total = (profile.size() + kICCChunkData - 1) / kICCChunkData;
    for (size_t chunk = 0; chunk < total; ++chunk) {
        std::vector<uint8_t> data(kICCHeader, kICCHeader + 12);
        data.push_back(uint8_t(chunk + 1));
        data.push_back(uint8_t(total));
        const size_t start = chunk * kICCChunkData;
        data.insert(data.end(), profile.begin() + std::ptrdiff_t(start),
                    profile.begin() + std::ptrdiff_t(std::min(profile.size(), start + kICCChunkData)));
        markers.AddMarker(kAPP2, data.data(), uint16_t(data.size()));
    }
    markers.Sort();
}

} // namespace

bool IEIsICCProfile(const std::vector<uint8_t>& Profile) {
    // A header of 128 bytes with the signature "acsp" at byte 36; at most 255 chunks.
    return Profile.size() >= 132 && Profile.size() <= 255 * kICCChunkData &&
           std::memcmp(Profile.data() + 36, "acsp", 4) == 0;
}

std::vector<uint8_t> IEJoinICCChunks(const TIEMarkerList& Markers) {
    std::vector<const std::vector<uint8_t>*> chunks;
    size_t expected = 0;
    for (int32_t i = 0; i < Markers.Count(); ++i) {
        const std::vector<uint8_t>& data = Markers.GetMarkerData(i);
        if (!IsICCChunk(Markers.GetMarkerType(i), data)) continue;
        const size_t number = data[12], total = data[13];
        // Chunk numbers count from 1 up to a total that all chunks agree on.
        if (number == 0 || total == 0 || number > total || (expected && total != expected)) return {};
        expected = total;
        chunks.resize(total, nullptr);
        if (chunks[number - 1]) return {};
        chunks[number - 1] = &data;
    }
    std::vector<uint8_t> profile;
    for (const std::vector<uint8_t>* chunk : chunks) {
        if (!chunk) return {};
        profile.insert(profile.end(), chunk->begin() + kICCChunkHead, chunk->end());
    }
    return profile;
}

void IEUpdateJpegMarkers(TIOParams& IOParams) {
    UpdatePhotoshopResolution(IOParams);
    UpdateEXIF(IOParams);
    UpdateXMP(IOParams);
    UpdateICC(IOParams);
}
