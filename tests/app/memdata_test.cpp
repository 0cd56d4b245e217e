#include "app/memdata.h"

#include <gtest/gtest.h>

namespace {

void AddRow(TMemData& Table, const std::string& FileName) {
    Table.Insert();
    Table.SetField(TMemField::FILENAME, FileName);
    Table.SetField(TMemField::LASACTION, "Neu");
    Table.Post();
}

} // namespace

TEST(MemData, LocateTakesPathPrefixesCaseSensitivelyAndWholeIdsAndKeepsTheRowOnFailure) {
    TMemData table;
    for (const char* name : {"/pics/b.jpg", "/pics/a.jpg", "/pics/c.png"})
        AddRow(table, name);
    EXPECT_EQ(table.Record(2).RecId, 3);
    // Field, key, found, current row after it.
    const std::tuple<TMemField, std::string, bool, int> lookups[] = {
        {TMemField::FILENAME, "/pics/a.jpg", true, 1},
        {TMemField::FILENAME, "/pics/c.p", true, 2},
        {TMemField::FILENAME, "/pics/A.jpg", false, 2},
        {TMemField::FILENAME, "/pics/c.png.bak", false, 2},
        {TMemField::FILENAME, "", false, 2},
        {TMemField::RecId, "2", true, 1},
        {TMemField::RecId, "23", false, 1},
        {TMemField::RecId, "2x", false, 1},
        {TMemField::RecId, "", false, 1},
    };
    for (const auto& [field, key, found, row] : lookups) {
        EXPECT_EQ(table.Locate(field, key), found) << key;
        EXPECT_EQ(table.CurrentRow(), row) << key;
    }
}

TEST(MemData, FieldsAreCutAtTheirSizeNeverInsideACharacter) {
    TMemData table;
    table.Insert();
    const std::string longPath = "/" + std::string(4100, 'f');
    table.SetField(TMemField::FILENAME, longPath);
    // "ä" is two bytes: the tenth byte of the extension is the first half of one.
    table.SetField(TMemField::EXTENSION, ".abcdefgh\xC3\xA4");
    // 124 bytes, then a three-byte "€" across the cut at 125.
    table.SetField(TMemField::LASACTION, std::string(124, 'x') + "\xE2\x82\xAC");
    table.Post();
    EXPECT_EQ(table.Record(0).FILENAME.size(), 4096u);
    EXPECT_EQ(table.Record(0).EXTENSION, ".abcdefgh");
    EXPECT_EQ(table.Record(0).LASACTION, std::string(124, 'x'));
    // The stored value is cut the same way as the key, so the long name finds its row.
    EXPECT_TRUE(table.Locate(TMemField::FILENAME, longPath));
}

TEST(MemData, EditRewritesTheCurrentRowAndItsIndexEntry) {
    TMemData table;
    AddRow(table, "/a/old.jpg");
    AddRow(table, "/a/other.jpg");
    ASSERT_TRUE(table.Locate(TMemField::FILENAME, "/a/old.jpg"));
    table.Edit();
    table.SetField(TMemField::FILENAME, "/a/new.jpg");
    table.Post();
    EXPECT_FALSE(table.Locate(TMemField::FILENAME, "/a/old.jpg"));
    EXPECT_TRUE(table.Locate(TMemField::FILENAME, "/a/new.jpg"));
    EXPECT_EQ(table.CurrentRow(), 0);
    EXPECT_EQ(table.Record(0).LASACTION, "Neu");
}

TEST(MemData, ClosingEmptiesOpeningAgainDoesNothing) {
    TMemData table;
    int cleared = 0;
    table.OnCleared = [&] { ++cleared; };
    AddRow(table, "/a");
    table.SetActive(true);
    EXPECT_EQ(table.RecordCount(), 1);
    table.SetActive(false);
    EXPECT_EQ(table.RecordCount(), 0);
    EXPECT_EQ(cleared, 1);
    EXPECT_FALSE(table.Locate(TMemField::FILENAME, "/a"));
    // Ids are never reused.
    AddRow(table, "/b");
    EXPECT_EQ(table.Record(0).RecId, 2);
}
