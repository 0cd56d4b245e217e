#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "image/bitmap.h"
#include "io/codecs/jpeg.h"
#include "io/imagerio.h"

namespace {

std::vector<uint8_t> Profile(size_t Size) {
    std::vector<uint8_t> profile(Size);
    for (size_t i = 0; i < Size; ++i)
        profile[i] = uint8_t(i * 7);
    std::memcpy(profile.data() + 36, "acsp", 4);
    return profile;
}

std::vector<uint8_t> Chunk(uint8_t Number, uint8_t Total, std::vector<uint8_t> Data) {
    static const char kHeader[] = "ICC_PROFILE";
    std::vector<uint8_t> chunk(kHeader, kHeader + sizeof kHeader);
    chunk.push_back(Number);
    chunk.push_back(Total);
    for (uint8_t byte : Data)
        chunk.push_back(byte);
    return chunk;
}

} // namespace

// 64,001 bytes go out as 32,000 + 32,000 + 1 in three numbered chunks, and a load of the
// file joins them to the same profile.
TEST(JpegICC, ProfileIsWrittenInChunksAndReadBack) {
    TIEBitmap bitmap(8, 8, ie24RGB, 0);
    TImagerIO io(&bitmap, false);
    io.Params().InputICCProfile = Profile(64001);
    TIEMemoryStream stream;
    io.SaveToStreamJpeg(stream);

    TIEBitmap loaded;
    TImagerIO reader(&loaded, false);
    stream.SetPosition(0);
    ASSERT_TRUE(reader.LoadFromStreamJpeg(stream));
    const TIEMarkerList& markers = reader.Params().JPEG_MarkerList;
    std::vector<std::pair<int, int>> chunks;
    for (int32_t i = 0; i < markers.Count(); ++i)
        if (markers.GetMarkerType(i) == 0xE2)
            chunks.push_back({markers.GetMarkerData(i)[12], markers.GetMarkerLength(i) - 14});
    EXPECT_EQ(chunks, (std::vector<std::pair<int, int>>{{1, 32000}, {2, 32000}, {3, 1}}));
    EXPECT_EQ(reader.Params().InputICCProfile, Profile(64001));
}

TEST(JpegICC, ChunksJoinByTheirNumbersOrNotAtAll) {
    const struct {
        const char* Name;
        std::vector<std::vector<uint8_t>> Chunks;
        std::vector<uint8_t> Joined;
    } cases[] = {
        {"out of order", {Chunk(2, 2, {3, 4}), Chunk(1, 2, {1, 2})}, {1, 2, 3, 4}},
        {"a chunk missing", {Chunk(1, 3, {1}), Chunk(3, 3, {3})}, {}},
        {"a chunk twice", {Chunk(1, 2, {1}), Chunk(1, 2, {1})}, {}},
        {"number zero", {Chunk(0, 1, {1})}, {}},
        {"total zero", {Chunk(1, 0, {1})}, {}},
        {"totals disagree", {Chunk(1, 2, {1}), Chunk(2, 3, {2})}, {}},
    };
    for (const auto& c : cases) {
        TIEMarkerList markers;
        for (const auto& chunk : c.Chunks)
            markers.AddMarker(0xE2, chunk.data(), uint16_t(chunk.size()));
        EXPECT_EQ(IEJoinICCChunks(markers), c.Joined) << c.Name;
    }
}
