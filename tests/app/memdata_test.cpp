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

TEST(MemData, LocateOnFileNameTakesExactAndPrefixMatchesCaseSensitively) {
    TMemData table;
    AddRow(table, "/pics/b.jpg");
    AddRow(table, "/pics/a.jpg");
    AddRow(table, "/pics/c.png");

    ASSERT_TRUE(table.Locate(TMemField::FILENAME, "/pics/a.jpg"));
    EXPECT_EQ(table.Field(TMemField::FILENAME), "/pics/a.jpg");
    // The beginning of a listed path matches it.
    ASSERT_TRUE(table.Locate(TMemField::FILENAME, "/pics/c.p"));
    EXPECT_EQ(table.Field(TMemField::FILENAME), "/pics/c.png");
    // A failed lookup leaves the current row where it was.
    EXPECT_FALSE(table.Locate(TMemField::FILENAME, "/pics/A.jpg"));
    EXPECT_FALSE(table.Locate(TMemField::FILENAME, "/pics/c.png.bak"));
    EXPECT_EQ(table.Field(TMemField::FILENAME), "/pics/c.png");
    // An empty key is no prefix of anything.
    EXPECT_FALSE(table.Locate(TMemField::FILENAME, ""));
}

TEST(MemData, LocateOnRecIdComparesIntegers) {
    TMemData table;
    AddRow(table, "/x/1");
    AddRow(table, "/x/2");
    AddRow(table, "/x/3");
    EXPECT_EQ(table.Record(0).RecId, 1);
    EXPECT_EQ(table.Record(2).RecId, 3);

    ASSERT_TRUE(table.Locate(TMemField::RecId, "2"));
    EXPECT_EQ(table.CurrentRow(), 1);
    // No prefix rule on integers, and text that is no number finds nothing.
    EXPECT_FALSE(table.Locate(TMemField::RecId, "23"));
    EXPECT_FALSE(table.Locate(TMemField::RecId, "2x"));
    EXPECT_FALSE(table.Locate(TMemField::RecId, ""));
    EXPECT_EQ(table.CurrentRow(), 1);
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
