#include "app/data.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>

#include "tests/testutil.h"

namespace {

std::vector<std::string> FileNames(TDM& dm) {
    std::vector<std::string> names;
    for (int row = 0; row < dm.MemData().RecordCount(); ++row) names.push_back(dm.MemData().Record(row).FILENAME);
    return names;
}

std::vector<std::string> RowTexts(TDM& dm) {
    std::vector<std::string> texts;
    for (int row = 0; row < dm.MemData().RecordCount(); ++row) texts.push_back(dm.MemData().Record(row).LASACTION);
    return texts;
}

std::vector<std::string> AllIds(TDM& dm) {
    std::vector<std::string> ids;
    for (int row = 0; row < dm.MemData().RecordCount(); ++row)
        ids.push_back(std::to_string(dm.MemData().Record(row).RecId));
    return ids;
}

class TListSelection : public TSelectionSource {
  public:
    std::vector<int32_t> Rows; // RecIds; -1 stands for a group row
    bool Cleared = false;
    int SelectedCount() const override { return int(Rows.size()); }
    bool SelectedRecId(int Index, int32_t& RecId) const override {
        RecId = Rows[size_t(Index)];
        return RecId >= 0;
    }
    void ClearSelection() override { Cleared = true; }
};

} // namespace

TEST(DataModule, AddFilesSkipsMissingListedAndPrefixPaths) {
    TTempDir dir;
    WriteTextFile(dir / "b.jpg", "x");
    WriteTextFile(dir / "B.JPG", "x");
    WriteTextFile(dir / "b.jp", "x");
    TDM dm;
    dm.AddFiles({dir / "b.jpg", dir / "gone.jpg", dir / "b.jpg", dir / "b.jp", dir / "B.JPG"});
    // b.jp is the beginning of a listed path, so it counts as listed; case makes a new row.
    EXPECT_EQ(FileNames(dm), (std::vector<std::string>{dir / "b.jpg", dir / "B.JPG"}));
    const TMemRecord& first = dm.MemData().Record(0);
    EXPECT_EQ(first.EXTENSION, ".jpg");
    EXPECT_EQ(first.LASACTION, "Neu");
}

TEST(DataModule, AddFilesOfAnEmptyListOnlyOpensTheTable) {
    TDM dm;
    EXPECT_FALSE(dm.MemData().Active());
    dm.AddFiles({});
    EXPECT_TRUE(dm.MemData().Active());
    EXPECT_EQ(dm.MemData().RecordCount(), 0);
}

TEST(DataModule, FolderListingIsOneLevelWithHiddenFiles) {
    TTempDir dir;
    WriteTextFile(dir / "one.jpg", "1");
    WriteTextFile(dir / ".hidden.png", "2");
    WriteTextFile(dir / "noext", "3");
    std::filesystem::create_directory(dir / "sub");
    WriteTextFile(dir / "sub/deep.jpg", "4");
    std::filesystem::create_directory_symlink(dir / "sub", dir / "linkdir");
    TDM dm;
    EXPECT_EQ(dm.GetFilesFromDir(dir.Path()), "");
    std::vector<std::string> names = FileNames(dm);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{dir / ".hidden.png", dir / "noext", dir / "one.jpg"}));
}

TEST(DataModule, CommandLineListsASingleFolderArgumentOnly) {
    TTempDir dir;
    WriteTextFile(dir / "a.jpg", "1");
    EXPECT_EQ(TDM({dir.Path()}).MemData().RecordCount(), 1);
    EXPECT_EQ(TDM({dir.Path(), dir.Path()}).MemData().RecordCount(), 0);
    EXPECT_EQ(TDM({dir / "a.jpg"}).MemData().RecordCount(), 0);
    TDM dm({dir.Path()});
    EXPECT_TRUE(dm.BreakJob);
}

TEST(DataModule, DestinationIsASubFolderOfTheSourcesFolder) {
    TTempDir dir;
    std::filesystem::create_directory(dir / "one");
    std::filesystem::create_directory(dir / "two");
    TDM dm;
    std::vector<std::string> messages;
    dm.OnMessage = [&](const std::string& Text) { messages.push_back(Text); };
    EXPECT_EQ(dm.CreateDestinationDir(dir / "one/a.jpg", "Resize"), dir / "one/Resize");
    EXPECT_EQ(dm.CreateDestinationDir(dir / "two/b.jpg", "Resize"), dir / "two/Resize");
    EXPECT_TRUE(std::filesystem::is_directory(dir / "one/Resize"));
    EXPECT_TRUE(std::filesystem::is_directory(dir / "two/Resize"));
    // An existing folder is simply used.
    EXPECT_EQ(dm.CreateDestinationDir(dir / "one/c.jpg", "Resize"), dir / "one/Resize");
    EXPECT_TRUE(messages.empty());

    // A bare name lies in the working folder.
    const std::filesystem::path working = std::filesystem::current_path();
    std::filesystem::current_path(dir / "two");
    EXPECT_EQ(dm.CreateDestinationDir("a.jpg", "Here"), "./Here");
    std::filesystem::current_path(working);
    EXPECT_TRUE(std::filesystem::is_directory(dir / "two/Here"));

    // One level only: a missing parent is a failure with its message.
    EXPECT_EQ(dm.CreateDestinationDir(dir / "one/a.jpg", "x/y"), "");
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0], "Das Verzeichnis \"" + dir / "one/x/y" + "\" kann nicht erstellt werden");
}

TEST(DataModule, SelectionBecomesAnIdListWithoutGroupRows) {
    TDM dm;
    TListSelection selection;
    selection.Rows = {7, -1, 3};
    std::vector<std::string> ids;
    dm.GetIDListFromSelected(selection, ids);
    EXPECT_EQ(ids, (std::vector<std::string>{"7", "3"}));
    EXPECT_TRUE(selection.Cleared);
}

TEST(DataModule, AnEmptyBatchOnlyTogglesBreakJob) {
    TDM dm;
    dm.ResizeFileIDs({}, "Resize");
    EXPECT_TRUE(dm.BreakJob);
    EXPECT_EQ(dm.MemData().RecordCount(), 0);
}

TEST(DataModule, BatchMarksEveryRowAndReportsEachFile) {
    TTempDir dir;
    // Neither file can be read as a picture: the save still runs on the empty holder
    // and leaves an empty target; a file gone before its turn fails in the load.
    WriteTextFile(dir / "notes.txt", "not a picture");
    WriteTextFile(dir / "gone.jpg", "x");
    WriteTextFile(dir / "skipped.jpg", "x");
    TDM dm;
    dm.AddFiles({dir / "notes.txt", dir / "gone.jpg", dir / "skipped.jpg"});
    std::filesystem::remove(dir / "gone.jpg");
    std::vector<std::string> reported;
    dm.OnNewFile = [&](void* Sender, const std::string& FileName) {
        EXPECT_EQ(Sender, &dm);
        reported.push_back(FileName);
    };
    std::vector<std::string> ids = AllIds(dm);
    ids.erase(ids.begin() + 2);
    ids.push_back("999");
    dm.ResizeFileIDs(ids, "Resize");

    EXPECT_EQ(RowTexts(dm), (std::vector<std::string>{"OK ..\\Resize\\R-notes.jpg", "OK ..\\Resize\\", "Neu"}));
    EXPECT_EQ(reported, (std::vector<std::string>{dir / "Resize/R-notes.jpg", ""}));
    ASSERT_TRUE(std::filesystem::exists(dir / "Resize/R-notes.jpg"));
    EXPECT_EQ(std::filesystem::file_size(dir / "Resize/R-notes.jpg"), 0u);
    EXPECT_TRUE(dm.BreakJob);
}

TEST(DataModule, BatchPumpsTheCallersLoopUntilEachWorkerParks) {
    TTempDir dir;
    WriteTextFile(dir / "a.txt", "a");
    TDM dm;
    dm.AddFiles({dir / "a.txt"});
    int turns = 0;
    dm.ProcessMessages = [&] {
        ++turns;
        EXPECT_FALSE(dm.BreakJob);
    };
    dm.ResizeFileIDs(AllIds(dm), "Out");
    EXPECT_GE(turns, 1);
    EXPECT_EQ(RowTexts(dm), (std::vector<std::string>{"OK ..\\Out\\R-a.jpg"}));
}

TEST(DataModule, StopTakesEffectAtTheNextFileAndTheBatchReturns) {
    TTempDir dir;
    for (const char* name : {"1.txt", "2.txt", "3.txt"}) WriteTextFile(dir / name, name);
    TDM dm;
    dm.AddFiles({dir / "1.txt", dir / "2.txt", dir / "3.txt"});
    dm.RisizeProperty.Prefix = "";
    // The user presses stop while the first file runs.
    dm.ProcessMessages = [&] { dm.BreakJob = true; };
    dm.ResizeFileIDs(AllIds(dm), "Resize");

    EXPECT_EQ(RowTexts(dm), (std::vector<std::string>{"OK ..\\Resize\\1.jpg", "Abbruch..",
                                                      "Start Resize, please wait.."}));
    EXPECT_TRUE(dm.BreakJob);
    EXPECT_TRUE(std::filesystem::exists(dir / "Resize/1.jpg"));
    EXPECT_FALSE(std::filesystem::exists(dir / "Resize/2.jpg"));
}

TEST(DataModule, StopDuringTheLastFileHasNoEffect) {
    TTempDir dir;
    WriteTextFile(dir / "only.txt", "x");
    TDM dm;
    dm.AddFiles({dir / "only.txt"});
    dm.ProcessMessages = [&] { dm.BreakJob = true; };
    dm.ResizeFileIDs(AllIds(dm), "Resize");
    EXPECT_EQ(RowTexts(dm), (std::vector<std::string>{"OK ..\\Resize\\R-only.jpg"}));
    EXPECT_TRUE(dm.BreakJob);
}

TEST(DataModule, ADestinationThatCantBeMadeSkipsTheFile) {
    TTempDir dir;
    WriteTextFile(dir / "a.txt", "x");
    TDM dm;
    int messages = 0;
    dm.OnMessage = [&](const std::string&) { ++messages; };
    dm.AddFiles({dir / "a.txt"});
    dm.ResizeFileIDs(AllIds(dm), "missing/parent");
    EXPECT_EQ(messages, 1);
    EXPECT_EQ(RowTexts(dm), (std::vector<std::string>{"Start Resize, please wait.."}));
    EXPECT_TRUE(dm.BreakJob);
}
