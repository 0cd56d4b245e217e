#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "io/metadata.h"

namespace {

std::string Payload(const TIEMarkerList& list, int32_t index) {
    const std::vector<uint8_t>& data = list.GetMarkerData(index);
    return std::string(data.begin(), data.end());
}

void AddText(TIEMarkerList& list, uint8_t type, const std::string& text) {
    list.AddMarker(type, text.data(), uint16_t(text.size()));
}

// An ICC_PROFILE chunk: the 12-byte name, number and total, and three data bytes.
std::string IccChunk(int number, int total) {
    return std::string("ICC_PROFILE\0", 12) + char(number) + char(total) + "abc";
}

} // namespace

TEST(TIEMarkerList, EditingOperations) {
    TIEMarkerList list;
    AddText(list, 0xE0, "JFIF");
    AddText(list, 0xFE, "first");
    AddText(list, 0xFE, "second");
    list.InsertMarker(0, 0xED, "ps", 2);
    ASSERT_EQ(list.Count(), 4);
    EXPECT_EQ(list.GetMarkerType(0), 0xED);
    EXPECT_EQ(list.IndexOf(0xFE), 2);
    EXPECT_EQ(list.IndexOf(0xE2), -1);
    EXPECT_EQ(list.GetMarkerLength(3), 6);

    list.SetMarker(1, 0xE1, "Exif\0\0", 6);
    EXPECT_EQ(list.GetMarkerType(1), 0xE1);
    EXPECT_EQ(list.GetMarkerLength(1), 6);

    list.DeleteMarkerInstances(0xFE);
    EXPECT_EQ(list.Count(), 2);
    list.DeleteMarker(0);
    EXPECT_EQ(list.GetMarkerType(0), 0xE1);
    EXPECT_THROW(list.DeleteMarker(5), std::out_of_range);
    EXPECT_THROW(list.GetMarkerData(1), std::out_of_range);

    AddText(list, 0xFE, "c");
    AddText(list, 0xEE, "Adobe");
    const uint8_t kept[] = {0xFE, 0xEE};
    list.ClearExcept(kept);
    ASSERT_EQ(list.Count(), 2);
    EXPECT_EQ(Payload(list, 0), "c");
    EXPECT_EQ(Payload(list, 1), "Adobe");
}

TEST(TIEMarkerList, SortOrdersByCodeAndIccChunksByNumber) {
    TIEMarkerList list;
    AddText(list, 0xFE, "comment");
    AddText(list, 0xE2, IccChunk(3, 3));
    AddText(list, 0xE1, "http://ns.adobe.com/xap/1.0/");
    AddText(list, 0xE2, IccChunk(1, 3));
    AddText(list, 0xED, "Photoshop 3.0");
    AddText(list, 0xE2, IccChunk(2, 3));
    AddText(list, 0xE1, std::string("Exif\0\0", 6));
    list.Sort();
    ASSERT_EQ(list.Count(), 7);
    const std::vector<uint8_t> types = {0xE1, 0xE1, 0xE2, 0xE2, 0xE2, 0xED, 0xFE};
    for (int32_t i = 0; i < 7; ++i)
        EXPECT_EQ(list.GetMarkerType(i), types[size_t(i)]) << i;
    // The EXIF block is swapped ahead of the XMP block.
    EXPECT_EQ(Payload(list, 0).substr(0, 4), "Exif");
    EXPECT_EQ(Payload(list, 2)[12], 1);
    EXPECT_EQ(Payload(list, 3)[12], 2);
    EXPECT_EQ(Payload(list, 4)[12], 3);
}

TEST(TIEIPTCInfoList, ItemsAndTheUserChangedFlag) {
    TIEIPTCInfoList list;
    EXPECT_FALSE(list.UserChanged());
    list.AddStringItem(2, 120, "caption");
    list.AddStringItem(2, 25, "keyword");
    EXPECT_TRUE(list.UserChanged());
    EXPECT_EQ(list.IndexOf(2, 25), 1);
    EXPECT_EQ(list.IndexOf(1, 25), -1);
    EXPECT_EQ(list.GetItemLength(0), 7);
    list.InsertStringItem(0, 2, 5, "title");
    EXPECT_EQ(list.GetStringItem(0), "title");
    EXPECT_EQ(list.GetDataSet(1), 120);

    list.SetUserChanged(false);
    list.SetDataSet(0, 105);
    EXPECT_TRUE(list.UserChanged());
    list.SetUserChanged(false);
    list.DeleteItem(2);
    EXPECT_TRUE(list.UserChanged());
    EXPECT_EQ(list.Count(), 2);
    list.SetUserChanged(false);
    list.Clear();
    EXPECT_TRUE(list.UserChanged());
    EXPECT_EQ(list.Count(), 0);
}
