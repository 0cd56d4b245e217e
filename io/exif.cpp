#include "io/exif.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <optional>

#include "io/detect.h"
#include "io/stream.h"

namespace {

constexpr size_t kTiffStart = 6;
constexpr uint16_t kTagOrientation = 274;
constexpr uint16_t kTagXResolution = 282;
constexpr uint16_t kTagYResolution = 283;
constexpr uint16_t kTagResolutionUnit = 296;
constexpr uint16_t kTypeShort = 3;

bool HasEXIFHeader(const std::vector<uint8_t>& Payload) {
    return Payload.size() >= 5 && std::memcmp(Payload.data(), "Exif\0", 5) == 0;
}

TIEMemoryStream TiffPart(const std::vector<uint8_t>& Payload) {
    if (Payload.size() <= kTiffStart) return TIEMemoryStream();
    return TIEMemoryStream(std::vector<uint8_t>(Payload.begin() + kTiffStart, Payload.end()));
}

} // namespace

bool IEIsEXIFBlock(const std::vector<uint8_t>& Payload) {
    return Payload.size() >= 4 && std::memcmp(Payload.data(), "Exif", 4) == 0;
}

bool IEReadEXIFBlock(const std::vector<uint8_t>& Payload, TIOParams& Params) {
    if (!HasEXIFHeader(Payload)) return false;
    TIEGlobalSettings& settings = IEGlobalSettings();
    int32_t orientation = 1;
    double xResolution = settings.DefaultDpiX();
    double yResolution = settings.DefaultDpiY();
    int32_t unit = 2;

    TIEMemoryStream stream = TiffPart(Payload);
    TIEDetectSource source(stream);
    const std::optional<TIETiffHeader> header = IEReadTiffHeader(source);
    std::optional<TIETiffDirectory> directory;
    if (header) directory = IEReadTiffDirectory(source, *header, header->FirstIFD);
    if (directory) {
        // Every tag is read by the type it is stored as: some cameras write the
        // resolution as a SHORT or LONG instead of a RATIONAL.
        auto number = [&](uint16_t Tag, double& Value) {
            if (const TIETiffEntry* entry = directory->Find(Tag)) {
                const std::vector<double> values = IEReadTiffNumbers(source, *header, *entry, 1);
                if (!values.empty()) Value = values[0];
            }
        };
        // A value beyond the integer range is no orientation or unit, and converting it
        // would be undefined.
        auto integer = [&](uint16_t Tag, int32_t& Value) {
            double value = NAN;
            number(Tag, value);
            if (value >= INT32_MIN && value <= INT32_MAX) Value = int32_t(value);
        };
        integer(kTagOrientation, orientation);
        number(kTagXResolution, xResolution);
        number(kTagYResolution, yResolution);
        integer(kTagResolutionUnit, unit);
    }
    if (unit == 3) {
        xResolution *= 2.54;
        yResolution *= 2.54;
    }
    // A resolution that no density can be (0, negative, beyond 65535, not a number) is
    // taken as missing, so the default stands in for it as for an absent tag.
    if (!IEIsValidDensity(xResolution)) xResolution = settings.DefaultDpiX();
    if (!IEIsValidDensity(yResolution)) yResolution = settings.DefaultDpiY();
    Params.EXIF_HasEXIFData = true;
    Params.EXIF_Orientation = orientation;
    Params.TIFF_Orientation = orientation;
    Params.EXIF_XResolution = xResolution;
    Params.EXIF_YResolution = yResolution;
    Params.EXIF_ResolutionUnit = unit;
    return true;
}

bool IESetEXIFOrientation(std::vector<uint8_t>& Payload, int32_t Orientation) {
    if (!HasEXIFHeader(Payload)) return false;
    TIEMemoryStream stream = TiffPart(Payload);
    TIEDetectSource source(stream);
    const std::optional<TIETiffHeader> header = IEReadTiffHeader(source);
    if (!header || header->BigTIFF) return false;
    const std::optional<TIETiffDirectory> directory = IEReadTiffDirectory(source, *header, header->FirstIFD);
    if (!directory) return false;
    for (size_t i = 0; i < directory->Entries.size(); ++i) {
        const TIETiffEntry& entry = directory->Entries[i];
        if (entry.Tag != kTagOrientation) continue;
        if (entry.Type != kTypeShort || entry.Count != 1) return false;
        // The directory was read whole, so its entries lie inside the payload.
        const size_t at = kTiffStart + size_t(header->FirstIFD) + 2 + i * 12 + 8;
        const uint16_t value = uint16_t(Orientation);
        Payload[at] = uint8_t(header->BigEndian ? value >> 8 : value);
        Payload[at + 1] = uint8_t(header->BigEndian ? value : value >> 8);
        return true;
    }
    return false;
}
