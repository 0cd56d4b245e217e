#include "app/data.h"

#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <gtest/gtest.h>
#include <mutex>
#include <sys/stat.h>
#include <thread>

#include "tests/testutil.h"

namespace {

std::vector<std::string> FileNames(TDM& dm) {
    std::vector<std::string> names;
    for (int row = 0; row < dm.MemData().RecordCount(); ++row)
        names.push_back(dm.MemData().Record(row).FILENAME);
    return names;
}

std::vector<std::string> RowTexts(TDM& dm) {
    std::vector<std::string> texts;
    for (int row = 0; row < dm.MemData().RecordCount(); ++row)
        texts.push_back(dm.MemData().Record(row).LASACTION);
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
    mutable int Counted = 0;
    int SelectedCount() const override {
        ++Counted;
        return int(Rows.size());
    }
    bool SelectedRecId(int Index, int32_t& RecId) const override {
        RecId = Rows[size_t(Index)];
        return RecId >= 0;
    }
    void ClearSelection() override { Cleared = true; }
};

// Workers that wait for the test's go before they do their work, so that the driver's
// pump is sure to turn while the first one runs, however fast the work itself would be.
// Once open, the gate stays open.
class TGatedDM : public TDM {
  public:
    void Open() {
        {
            std::lock_guard<std::mutex> guard(fLock);
            fOpen = true;
        }
        fChanged.notify_all();
    }

  protected:
    class TGatedResize : public TResize {
      public:
        TGatedResize(const TRisizeProperty& Job, TGatedDM& Owner) : TResize(Job), fOwner(Owner) {}

      protected:
        void Execute() override {
            {
                std::unique_lock<std::mutex> guard(fOwner.fLock);
                fOwner.fChanged.wait(guard, [this] { return fOwner.fOpen; });
            }
            TResize::Execute();
        }

      private:
        TGatedDM& fOwner;
    };

    std::unique_ptr<TResize> CreateWorker(const TRisizeProperty& Job) override {
        return std::make_unique<TGatedResize>(Job, *this);
    }

  private:
    std::mutex fLock;
    std::condition_variable fChanged;
    bool fOpen = false;
};

} // namespace

TEST(DataModule, AddFilesSkipsMissingListedPrefixAndSpecialPaths) {
    TTempDir dir;
    WriteTextFile(dir / "b.jpg", "x");
    WriteTextFile(dir / "B.JPG", "x");
    WriteTextFile(dir / "b.jp", "x");
    ASSERT_EQ(mkfifo((dir / "pipe.jpg").c_str(), 0600), 0);
    TDM dm;
    dm.AddFiles({dir / "b.jpg", dir / "gone.jpg", dir / "b.jpg", dir / "b.jp", dir / "B.JPG",
                 dir / "pipe.jpg", "/dev/null"});
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

TEST(DataModule, FolderListingIsOneLevelOfRegularFilesInNameOrder) {
    TTempDir dir;
    for (const char* name : {"img10.jpg", "img2.jpg", "Img3.png", ".hidden.png", "noext", "img02.jpg", "b1"})
        WriteTextFile(dir / name, "1");
    std::filesystem::create_directory(dir / "sub");
    WriteTextFile(dir / "sub/deep.jpg", "4");
    std::filesystem::create_directory_symlink(dir / "sub", dir / "linkdir");
    std::filesystem::create_symlink(dir / "b1", dir / "a-link.jpg");
    ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0600), 0);
    TDM dm;
    EXPECT_EQ(dm.GetFilesFromDir(dir.Path()), "");
    // Digits by value, letters without regard to case; equal values keep a fixed order.
    EXPECT_EQ(FileNames(dm), (std::vector<std::string>{dir / ".hidden.png", dir / "a-link.jpg", dir / "b1",
                                                       dir / "img02.jpg", dir / "img2.jpg", dir / "Img3.png",
                                                       dir / "img10.jpg", dir / "noext"}));
}

TEST(DataModule, CommandLineListsOneFolderOrTheFilesGiven) {
    TTempDir dir;
    WriteTextFile(dir / "a.jpg", "1");
    WriteTextFile(dir / "b.jpg", "2");
    EXPECT_EQ(TDM({dir.Path()}).MemData().RecordCount(), 2);
    EXPECT_EQ(TDM({dir.Path(), dir.Path()}).MemData().RecordCount(), 0);
    TDM given({dir / "b.jpg", dir.Path(), dir / "a.jpg"});
    EXPECT_EQ(FileNames(given), (std::vector<std::string>{dir / "b.jpg", dir / "a.jpg"}));
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

TEST(DataModule, ADestinationMadeByAnotherRunAtTheSameTimeIsNoFailure) {
    TTempDir dir;
    constexpr int kRuns = 8;
    std::atomic<int> failures{0};
    for (int round = 0; round < 20; ++round) {
        const std::string folder = "Resize" + std::to_string(round);
        std::atomic<int> ready{0};
        std::vector<std::thread> runs;
        for (int i = 0; i < kRuns; ++i)
            runs.emplace_back([&] {
                TDM dm;
                dm.OnMessage = [&](const std::string&) { ++failures; };
                ++ready;
                while (ready < kRuns)
                    std::this_thread::yield();
                if (dm.CreateDestinationDir(dir / "a.jpg", folder) != dir / folder) ++failures;
            });
        for (std::thread& run : runs)
            run.join();
    }
    EXPECT_EQ(failures, 0);
}

TEST(DataModule, SelectionBecomesAnIdListWithoutGroupRows) {
    TDM dm;
    TListSelection selection;
    selection.Rows = {7, -1, 3};
    std::vector<std::string> ids;
    dm.GetIDListFromSelected(selection, ids);
    EXPECT_EQ(ids, (std::vector<std::string>{"7", "3"}));
    EXPECT_TRUE(selection.Cleared);
    // A grid counts by walking its selection: once per batch, not once per row.
    EXPECT_EQ(selection.Counted, 1);
}

TEST(DataModule, AnEmptyBatchOnlyTogglesBreakJob) {
    TDM dm;
    dm.BreakJob = false;
    dm.ResizeFileIDs({}, "Resize");
    EXPECT_TRUE(dm.BreakJob);
    EXPECT_EQ(dm.MemData().RecordCount(), 0);
}

TEST(DataModule, BatchMarksEveryRowAndReportsEachFile) {
    TTempDir dir;
    // Neither file can be read as a picture: the save still runs on the empty holder
    // and leaves an empty target; a file gone before its turn fails in the load, and so,
    // at once, does one that became a pipe.
    WriteTextFile(dir / "notes.txt", "not a picture");
    WriteTextFile(dir / "gone.jpg", "x");
    WriteTextFile(dir / "piped.jpg", "x");
    WriteTextFile(dir / "skipped.jpg", "x");
    TDM dm;
    dm.AddFiles({dir / "notes.txt", dir / "gone.jpg", dir / "piped.jpg", dir / "skipped.jpg"});
    std::filesystem::remove(dir / "gone.jpg");
    std::filesystem::remove(dir / "piped.jpg");
    ASSERT_EQ(mkfifo((dir / "piped.jpg").c_str(), 0600), 0);
    std::vector<std::string> reported;
    std::vector<bool> breakJobDuring;
    dm.OnNewFile = [&](void* Sender, const std::string& FileName) {
        EXPECT_EQ(Sender, &dm);
        reported.push_back(FileName);
        breakJobDuring.push_back(dm.BreakJob);
    };
    std::vector<std::string> ids = AllIds(dm);
    ids.erase(ids.begin() + 3);
    ids.push_back("999");
    dm.ResizeFileIDs(ids, "Resize");

    EXPECT_EQ(RowTexts(dm), (std::vector<std::string>{"OK ..\\Resize\\R-notes.jpg", "OK ..\\Resize\\",
                                                      "OK ..\\Resize\\", "Neu"}));
    EXPECT_EQ(reported, (std::vector<std::string>{dir / "Resize/R-notes.jpg", "", ""}));
    ASSERT_TRUE(std::filesystem::exists(dir / "Resize/R-notes.jpg"));
    EXPECT_EQ(std::filesystem::file_size(dir / "Resize/R-notes.jpg"), 0u);
    EXPECT_EQ(breakJobDuring, (std::vector<bool>{false, false, false}));
    EXPECT_TRUE(dm.BreakJob);
}

TEST(DataModule, BatchPumpsTheCallersLoopUntilEachWorkerParks) {
    TTempDir dir;
    WriteTextFile(dir / "a.txt", "a");
    TGatedDM dm;
    dm.AddFiles({dir / "a.txt"});
    int turns = 0;
    // The worker can only finish after a turn of the loop has let it go.
    dm.ProcessMessages = [&] {
        if (++turns == 1) dm.Open();
        EXPECT_FALSE(dm.BreakJob);
    };
    dm.ResizeFileIDs(AllIds(dm), "Out");
    EXPECT_GE(turns, 1);
    EXPECT_EQ(RowTexts(dm), (std::vector<std::string>{"OK ..\\Out\\R-a.jpg"}));
}

TEST(DataModule, StopTakesEffectAtTheNextFileAndTheBatchReturns) {
    TTempDir dir;
    for (const char* name : {"1.txt", "2.txt", "3.txt"})
        WriteTextFile(dir / name, name);
    TGatedDM dm;
    dm.AddFiles({dir / "1.txt", dir / "2.txt", dir / "3.txt"});
    dm.RisizeProperty.Prefix = "";
    // The user presses stop while the first file runs.
    dm.ProcessMessages = [&] {
        dm.BreakJob = true;
        dm.Open();
    };
    dm.ResizeFileIDs(AllIds(dm), "Resize");

    EXPECT_EQ(RowTexts(dm),
              (std::vector<std::string>{"OK ..\\Resize\\1.jpg", "Abbruch..", "Start Resize, please wait.."}));
    EXPECT_TRUE(std::filesystem::exists(dir / "Resize/1.jpg"));
    EXPECT_FALSE(std::filesystem::exists(dir / "Resize/2.jpg"));
}

TEST(DataModule, StopDuringTheLastFileHasNoEffect) {
    TTempDir dir;
    WriteTextFile(dir / "only.txt", "x");
    TGatedDM dm;
    dm.AddFiles({dir / "only.txt"});
    dm.ProcessMessages = [&] {
        dm.BreakJob = true;
        dm.Open();
    };
    dm.ResizeFileIDs(AllIds(dm), "Resize");
    EXPECT_EQ(RowTexts(dm), (std::vector<std::string>{"OK ..\\Resize\\R-only.jpg"}));
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
