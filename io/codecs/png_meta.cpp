#include <zlib.h>

#include <cctype>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "io/codecs/png.h"
#include "io/exif.h"

namespace {

constexpr uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
constexpr char kExifHeader[] = "Exif\0\0";
constexpr size_t kExifHeaderSize = 6;

size_t ReadSome(TIEStream& Stream, void* Buffer, size_t Count) {
    try {
        return Stream.Read(Buffer, Count);
    } catch (const std::exception&) {
        return 0;
    }
}

uint32_t BigEndian32(const uint8_t* At) {
    return uint32_t(At[0]) << 24 | uint32_t(At[1]) << 16 | uint32_t(At[2]) << 8 | At[3];
}

void ReadExifPayload(std::vector<uint8_t> Payload, TIOParams& IOParams) {
    // The six-byte header is optional in PNG: without it the payload is the bare TIFF block.
    const bool hasHeader =
        Payload.size() >= kExifHeaderSize && std::memcmp(Payload.data(), kExifHeader, kExifHeaderSize) == 0;
    if (!hasHeader) Payload.insert(Payload.begin(), kExifHeader, kExifHeader + kExifHeaderSize);
    IEReadEXIFBlock(Payload, IOParams);
}

// Position of the first zero at or after From, or Size.
size_t FindZero(const std::vector<uint8_t>& Data, size_t From) {
    while (From < Data.size() && Data[From] != 0)
        ++From;
    return From;
}

// The value of a text chunk: tEXt plain, zTXt always inflated, iTXt inflated if its flag
// says so. False when the chunk is malformed or its value can't be inflated.
bool TextChunkValue(const char* Type, const std::vector<uint8_t>& Data, size_t ValueStart, size_t MaxBytes,
                    std::string& Value) {
    const bool isZ = std::memcmp(Type, "zTXt", 4) == 0;
    const bool isI = std::memcmp(Type, "iTXt", 4) == 0;
    bool compressed = isZ;
    size_t at = ValueStart;
    if (isZ) {
        ++at; // compression method
    } else if (isI) {
        if (at + 2 > Data.size()) return false;
        compressed = Data[at] != 0;
        at += 2;
        at = FindZero(Data, at) + 1; // language tag
        at = FindZero(Data, at) + 1; // translated keyword
    }
    if (at > Data.size()) return false;
    if (!compressed) {
        Value.assign(reinterpret_cast<const char*>(Data.data() + at), Data.size() - at);
        return true;
    }
    std::vector<uint8_t> inflated;
    if (!IEInflate(Data.data() + at, Data.size() - at, MaxBytes, inflated)) return false;
    Value.assign(inflated.begin(), inflated.end());
    return true;
}

// The first non-empty line of a raw profile text names the profile.
std::string FirstLine(const std::string& Text) {
    size_t start = 0;
    while (start < Text.size() && (Text[start] == '\n' || Text[start] == '\r' || Text[start] == ' '))
        ++start;
    size_t end = Text.find('\n', start);
    return Text.substr(start, end == std::string::npos ? std::string::npos : end - start);
}

bool ContainsWord(const std::string& Text, const char* Word) {
    std::string lower = Text;
    for (char& c : lower)
        c = char(std::tolower(static_cast<unsigned char>(c)));
    return lower.find(Word) != std::string::npos;
}

void ReadTextChunk(const char* Type, const std::vector<uint8_t>& Data, size_t MaxBytes, TIOParams& IOParams) {
    const size_t keyEnd = FindZero(Data, 0);
    const std::string key(Data.begin(), Data.begin() + std::ptrdiff_t(keyEnd));
    std::string value;
    if (keyEnd >= Data.size()) {
        value.clear();
    } else if (!TextChunkValue(Type, Data, keyEnd + 1, MaxBytes, value)) {
        return;
    }
    if (key == "Raw profile type exif" && ContainsWord(FirstLine(value), "exif")) {
        std::vector<uint8_t> payload = IEDecodeRawProfile(value);
        if (!payload.empty()) ReadExifPayload(std::move(payload), IOParams);
        return;
    }
    if (key == "XML:com.adobe.xmp") {
        IOParams.XMP_Info = value;
        return;
    }
    if (key == "Raw profile type xmp" && ContainsWord(FirstLine(value), "xmp")) {
        std::vector<uint8_t> payload = IEDecodeRawProfile(value);
        if (!payload.empty()) IOParams.XMP_Info.assign(payload.begin(), payload.end());
        return;
    }
    if (!key.empty() && !value.empty()) IOParams.PNG_Chunks.push_back(key + "=" + value);
}

void ReadICCChunk(const std::vector<uint8_t>& Data, size_t MaxBytes, TIOParams& IOParams) {
    const size_t nameEnd = FindZero(Data, 0);
    const size_t at = nameEnd + 2; // the zero and the compression byte
    if (at > Data.size()) return;
    std::vector<uint8_t> profile;
    if (IEInflate(Data.data() + at, Data.size() - at, MaxBytes, profile)) IOParams.InputICCProfile = profile;
}

void WalkChunks(TIEStream& Stream, TIOParams& IOParams) {
    uint8_t signature[8];
    if (ReadSome(Stream, signature, 8) != 8 || std::memcmp(signature, kSignature, 8) != 0) return;
    const size_t maxBytes = IEPngLimits().MaxChunkBytes;
    const int64_t size = Stream.Size();
    for (;;) {
        uint8_t head[8];
        if (ReadSome(Stream, head, 8) != 8) return;
        const uint32_t length = BigEndian32(head);
        const char* type = reinterpret_cast<const char*>(head + 4);
        const int64_t payloadAt = Stream.Position();
        // A length beyond the stream's end is a truncated or hostile file: the walk stops
        // before allocating for it.
        if (int64_t(length) > size - payloadAt) return;
        if (std::memcmp(type, "IEND", 4) == 0) return;
        const bool isText = std::memcmp(type, "tEXt", 4) == 0 || std::memcmp(type, "zTXt", 4) == 0 ||
                            std::memcmp(type, "iTXt", 4) == 0;
        const bool wanted = isText || std::memcmp(type, "eXIf", 4) == 0 || std::memcmp(type, "iCCP", 4) == 0;
        if (wanted && length <= maxBytes) {
            std::vector<uint8_t> data(length);
            // An empty vector has no buffer to hand to the stream.
            if (length > 0 && ReadSome(Stream, data.data(), length) != length) return;
            if (std::memcmp(type, "eXIf", 4) == 0)
                ReadExifPayload(std::move(data), IOParams);
            else if (isText)
                ReadTextChunk(type, data, maxBytes, IOParams);
            else
                ReadICCChunk(data, maxBytes, IOParams);
        }
        Stream.SetPosition(payloadAt + int64_t(length) + 4);
    }
}

int HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

} // namespace

bool IEIsPngStream(TIEStream& Stream) {
    const int64_t start = Stream.Position();
    uint8_t signature[8];
    const bool found = ReadSome(Stream, signature, 8) == 8 && std::memcmp(signature, kSignature, 8) == 0;
    Stream.SetPosition(start);
    return found;
}

void IEScanPngMetadata(TIEStream& Stream, TIOParams& IOParams) {
    // The walk starts where the PNG starts, which is position 0 of a file.
    const int64_t start = Stream.Position();
    WalkChunks(Stream, IOParams);
    Stream.SetPosition(start);
}

std::vector<uint8_t> IEDecodeRawProfile(const std::string& Text) {
    size_t at = 0;
    auto skipSpace = [&] {
        while (at < Text.size() && std::isspace(static_cast<unsigned char>(Text[at])))
            ++at;
    };
    skipSpace();
    // The name line.
    while (at < Text.size() && Text[at] != '\n')
        ++at;
    skipSpace();
    uint64_t length = 0;
    bool digits = false;
    while (at < Text.size() && std::isdigit(static_cast<unsigned char>(Text[at]))) {
        length = length * 10 + uint64_t(Text[at++] - '0');
        digits = true;
        if (length > IEPngLimits().MaxChunkBytes) return {};
    }
    if (!digits || length == 0) return {};
    std::vector<uint8_t> bytes;
    bytes.reserve(size_t(length));
    int high = -1;
    for (; at < Text.size() && bytes.size() < length; ++at) {
        const int value = HexValue(Text[at]);
        if (value < 0) {
            if (std::isspace(static_cast<unsigned char>(Text[at]))) continue;
            return {};
        }
        if (high < 0) {
            high = value;
        } else {
            bytes.push_back(uint8_t(high << 4 | value));
            high = -1;
        }
    }
    if (bytes.size() != length) return {};
    return bytes;
}

bool IEInflate(const uint8_t* Data, size_t Size, size_t MaxBytes, std::vector<uint8_t>& Out) {
    Out.clear();
    z_stream zs{};
    if (inflateInit(&zs) != Z_OK) return false;
    zs.next_in = const_cast<Bytef*>(Data);
    zs.avail_in = uInt(Size);
    uint8_t chunk[16384];
    int result = Z_OK;
    while (result == Z_OK) {
        zs.next_out = chunk;
        zs.avail_out = sizeof chunk;
        result = inflate(&zs, Z_NO_FLUSH);
        const size_t produced = sizeof chunk - zs.avail_out;
        if (Out.size() + produced > MaxBytes) {
            result = Z_MEM_ERROR;
            break;
        }
        Out.insert(Out.end(), chunk, chunk + produced);
        // No progress with input left means the data ends too early.
        if (result == Z_BUF_ERROR || (result == Z_OK && zs.avail_in == 0 && produced == 0)) break;
    }
    inflateEnd(&zs);
    if (result != Z_STREAM_END) {
        Out.clear();
        return false;
    }
    return true;
}
