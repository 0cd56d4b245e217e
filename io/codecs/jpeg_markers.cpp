#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include "io/codecs/jpeg.h"
#include "io/exif.h"

namespace {

constexpr uint8_t kAPP1 = 0xE1;
constexpr uint8_t kAPP13 = 0xED;
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

} // namespace

void IEUpdateJpegMarkers(TIOParams& IOParams) {
    UpdatePhotoshopResolution(IOParams);
    UpdateEXIF(IOParams);
    UpdateXMP(IOParams);
}
