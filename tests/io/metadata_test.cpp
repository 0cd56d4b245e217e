#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "io/metadata.h"

namespace {

// The list as "type:payload" items.
std::vector<std::string> Items(const TIEMarkerList& List) {
    std::vector<std::string> items;
    for (int32_t i = 0; i < List.Count(); ++i) {
        const std::vector<uint8_t>& data = List.GetMarkerData(i);
        items.push_back(std::to_string(List.GetMarkerType(i)) + ":" + std::string(data.begin(), data.end()));
    }
    return items;
}

void Add(TIEMarkerList& List, uint8_t Type, const std::string& Text) {
    List.AddMarker(Type, Text.data(), uint16_t(Text.size()));
}

} // namespace

TEST(TIEMarkerList, EditingOperations) {
    TIEMarkerList list;
    Add(list, 0xE0, "JFIF");
    Add(list, 0xFE, "first");
    Add(list, 0xFE, "second");
    list.InsertMarker(0, 0xED, "ps", 2);
    EXPECT_EQ(Items(list), (std::vector<std::string>{"237:ps", "224:JFIF", "254:first", "254:second"}));
    EXPECT_EQ(list.IndexOf(0xFE), 2);
    EXPECT_EQ(list.IndexOf(0xE2), -1);
    EXPECT_EQ(list.GetMarkerLength(3), 6);
    list.SetMarker(1, 0xE1, "Exif", 4);
    list.DeleteMarkerInstances(0xFE);
    EXPECT_EQ(Items(list), (std::vector<std::string>{"237:ps", "225:Exif"}));
    list.DeleteMarker(0);
    EXPECT_THROW(list.DeleteMarker(5), std::out_of_range);
    EXPECT_THROW(list.GetMarkerData(1), std::out_of_range);
    Add(list, 0xFE, "c");
    Add(list, 0xEE, "Adobe");
    const uint8_t kept[] = {0xFE, 0xEE};
    list.ClearExcept(kept);
    EXPECT_EQ(Items(list), (std::vector<std::string>{"254:c", "238:Adobe"}));
}

TEST(TIEMarkerList, SortOrdersByCodeAndIccChunksByNumber) {
    TIEMarkerList list;
    // ICC_PROFILE chunks: the 12-byte name, then the chunk's number and the total.
    const auto icc = [](char Number) { return std::string("ICC_PROFILE\0", 12) + Number + "\3abc"; };
    Add(list, 0xFE, "comment");
    Add(list, 0xE2, icc(3));
    Add(list, 0xE1, "http://ns.adobe.com/xap/1.0/");
    Add(list, 0xE2, icc(1));
    Add(list, 0xED, "Photoshop 3.0");
    Add(list, 0xE2, icc(2));
    Add(list, 0xE1, "Exif");
    list.Sort();
    // The EXIF block is swapped ahead of the XMP block.
    EXPECT_EQ(Items(list), (std::vector<std::string>{"225:Exif", "225:http://ns.adobe.com/xap/1.0/",
                                                     "226:" + icc(1), "226:" + icc(2), "226:" + icc(3),
                                                     "237:Photoshop 3.0", "254:comment"}));
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
    // Every change counts as one by the user.
    for (const auto& change : std::vector<std::function<void()>>{
             [&] { list.SetDataSet(0, 105); }, [&] { list.DeleteItem(2); }, [&] { list.Clear(); }}) {
        list.SetUserChanged(false);
        change();
        EXPECT_TRUE(list.UserChanged());
    }
    EXPECT_EQ(list.Count(), 0);
}
