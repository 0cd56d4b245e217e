#include "app/data.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <future>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>
#include <utility>

#include "tests/corpus.h"
#include "tests/io/jpegtestutil.h"
#include "tests/testutil.h"

namespace {

// Each row as its file's name (without the folder) and the named field, rows parted by "|".
std::string Rows(TDM& Dm, std::string TMemRecord::*Field) {
    std::string rows;
    for (int row = 0; row < Dm.MemData().RecordCount(); ++row) {
        const TMemRecord& record = Dm.MemData().Record(row);
        if (row) rows += '|';
        rows += record.FILENAME.substr(record.FILENAME.rfind('/') + 1);
        if (Field) rows += " " + record.*Field;
    }
    return rows;
}

std::vector<std::string> AllIds(TDM& Dm) {
    std::vector<std::string> ids;
    for (int row = 0; row < Dm.MemData().RecordCount(); ++row)
        ids.push_back(std::to_string(Dm.MemData().Record(row).RecId));
    return ids;
}

// Workers that wait for the test's go before they do their work, so that the driver's
// pump is sure to turn while the first one runs, however fast the work itself would be.
struct TGatedDM : TDM {
    std::promise<void> Go;
    std::shared_future<void> Gate = Go.get_future().share();

    std::unique_ptr<TResize> CreateWorker(const TRisizeProperty& Job) override {
        struct TGatedResize : TResize {
            TGatedResize(const TRisizeProperty& Job, std::shared_future<void> Gate)
                : TResize(Job), Gate(Gate) {}
            std::shared_future<void> Gate;
            void Execute() override { Gate.wait(), TResize::Execute(); }
        };
        return std::make_unique<TGatedResize>(Job, Gate);
    }
};

// A photo-like JPEG: shading, edges and some noise.
void WritePhoto(const std::string& Path, int32_t Width, int32_t Height,
                TIOJPEGColorspace Space = ioJPEG_YCbCr) {
    TIEBitmap bitmap;
    bitmap.Allocate(Width, Height, ie24RGB);
    uint32_t seed = 1;
    for (int32_t y = 0; y < Height; ++y)
        for (int32_t x = 0; x < Width; ++x) {
            seed = seed * 1664525u + 1013904223u;
            const int32_t v = (x * 255 / Width + y * 255 / Height) / 2 + ((x / 40 + y / 30) % 3 ? 0 : 40) +
                              int32_t(seed >> 28) - 8;
            bitmap.SetPixels_ie24RGB(x, y, TRGB{IEByteClamp(v / 2), IEByteClamp(v), IEByteClamp(220 - v)});
        }
    TIOParams params;
    params.JPEG_ColorSpace = Space;
    params.JPEG_Quality = 95;
    const std::vector<uint8_t> data = EncodeJpeg(bitmap, params);
    std::ofstream(Path, std::ios::binary)
        .write(reinterpret_cast<const char*>(data.data()), long(data.size()));
}

// "width x height", colour space, progressive, EXIF orientation unless upright, and the first
// entry of the luma quantisation table: libjpeg scales the standard table (first entry 16) by
// 5000 / q below 50 and 200 - 2q from 50 on, rounding (16 s + 50) / 100: 6 at 80, 40 at 20.
std::string Inspect(const std::string& Path, TIEBitmap* Pixels = nullptr) {
    TIEBitmap bitmap;
    TIOParams params;
    const std::vector<uint8_t> data = ReadBytes(Path);
    if (!DecodeJpeg(data, bitmap, params)) return "unreadable";
    if (Pixels) Pixels->Assign(bitmap);
    const std::string space = params.JPEG_ColorSpace == ioJPEG_GRAYLEV ? "grey"
                              : params.JPEG_ColorSpace == ioJPEG_CMYK  ? "cmyk"
                                                                       : "ycbcr";
    int quantiser = -1;
    for (const TJpegSegment& segment : JpegSegments(data))
        if (segment.Marker == 0xDB && quantiser < 0) quantiser = segment.Payload[1];
    return std::to_string(bitmap.Width()) + "x" + std::to_string(bitmap.Height()) + " " + space +
           (params.JPEG_Progressive ? " progressive" : "") +
           (params.EXIF_Orientation > 1 ? " turned " + std::to_string(params.EXIF_Orientation) : "") + " q" +
           std::to_string(quantiser);
}

// One worker on a file read in place, writing into Destination.
std::string RunWorker(TRisizeProperty Job, const std::string& Source, const std::string& Destination) {
    Job.Source = Source;
    Job.Destination = Destination;
    TResize worker(Job);
    worker.Resume();
    worker.WaitUntilParked();
    return worker.NewImage();
}

} // namespace

TEST(MemData, LocateTakesPathPrefixesCaseSensitivelyAndWholeIdsAndKeepsTheRowOnFailure) {
    TMemData table;
    for (const char* name : {"/pics/b.jpg", "/pics/a.jpg", "/pics/c.png"}) {
        table.Insert();
        table.SetField(TMemField::FILENAME, name);
        table.Post();
    }
    // Key, found, current row after it; a key after "#" is a RecId.
    const std::tuple<std::string, bool, int> lookups[] = {
        {"/pics/a.jpg", true, 1},
        {"/pics/c.p", true, 2},
        {"/pics/A.jpg", false, 2},
        {"/pics/c.png.bak", false, 2},
        {"", false, 2},
        {"#2", true, 1},
        {"#23", false, 1},
        {"#2x", false, 1},
        {"#", false, 1},
    };
    for (const auto& [key, found, row] : lookups) {
        const bool id = key.rfind('#', 0) == 0;
        EXPECT_EQ(table.Locate(id ? TMemField::RecId : TMemField::FILENAME, key.substr(id)), found) << key;
        EXPECT_EQ(table.CurrentRow(), row) << key;
    }
    // An edit moves the row's index entry.
    table.Edit();
    table.SetField(TMemField::FILENAME, "/pics/new.jpg");
    table.Post();
    EXPECT_TRUE(!table.Locate(TMemField::FILENAME, "/pics/a.jpg") &&
                table.Locate(TMemField::FILENAME, "/pics/new.jpg") && table.CurrentRow() == 1);
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
    // The key is cut the same way, so the long name finds its row.
    EXPECT_TRUE(table.Locate(TMemField::FILENAME, longPath));
}

TEST(DataModule, AddFilesAndFolderListingTakeRegularFilesOnceInNameOrder) {
    TTempDir dir;
    for (const char* name : {"img10.jpg", "img2.jpg", "Img3.png", ".hidden.png", "noext", "img02.jpg", "b1"})
        WriteTextFile(dir / name, "1");
    std::filesystem::create_directory(dir / "sub");
    WriteTextFile(dir / "sub/deep.jpg", "4");
    WriteTextFile(dir / "sub/deep.jp", "4");
    std::filesystem::create_directory_symlink(dir / "sub", dir / "linkdir");
    std::filesystem::create_symlink(dir / "b1", dir / "a-link.jpg");
    ASSERT_EQ(mkfifo((dir / "pipe.jpg").c_str(), 0600), 0);
    TDM dm;
    EXPECT_FALSE(dm.MemData().Active());
    dm.AddFiles({});
    EXPECT_TRUE(dm.MemData().Active());
    // deep.jp is the beginning of a listed path, so it counts as listed.
    dm.AddFiles({dir / "img10.jpg", dir / "gone.jpg", dir / "img10.jpg", dir / "sub/deep.jpg",
                 dir / "sub/deep.jp", dir / "pipe.jpg", "/dev/null", dir / "Img3.png"});
    EXPECT_EQ(Rows(dm, &TMemRecord::EXTENSION), "img10.jpg .jpg|deep.jpg .jpg|Img3.png .png");

    // One level, links followed; digits by value, letters without regard to case, equal
    // values in a fixed order.
    TDM listed;
    EXPECT_EQ(listed.GetFilesFromDir(dir.Path()), "");
    EXPECT_EQ(Rows(listed, nullptr), ".hidden.png|a-link.jpg|b1|img02.jpg|img2.jpg|Img3.png|img10.jpg|noext");
    // The command line: one folder is listed; several folders are passed over, files kept.
    EXPECT_EQ(TDM({dir.Path()}).MemData().RecordCount(), 8);
    EXPECT_EQ(TDM({dir.Path(), dir.Path()}).MemData().RecordCount(), 0);
    TDM given({dir / "b1", dir.Path(), dir / "noext"});
    EXPECT_EQ(Rows(given, nullptr), "b1|noext");
}

TEST(DataModule, DestinationIsASubFolderOfTheSourcesFolderAndMayBeMadeByAnotherRunAtTheSameTime) {
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
                ++ready;
                while (ready < kRuns)
                    std::this_thread::yield();
                if (dm.CreateDestinationDir(dir / "a.jpg", folder) != dir / folder) ++failures;
            });
        for (std::thread& run : runs)
            run.join();
    }
    EXPECT_EQ(failures, 0);
    EXPECT_TRUE(std::filesystem::is_directory(dir / "Resize19"));
    TDM dm;
    std::vector<std::string> messages;
    dm.OnMessage = [&](const std::string& Text) { messages.push_back(Text); };
    // A bare name lies in the working folder.
    const std::filesystem::path working = std::filesystem::current_path();
    std::filesystem::current_path(dir.Path());
    EXPECT_EQ(dm.CreateDestinationDir("a.jpg", "Here"), "./Here");
    std::filesystem::current_path(working);
    EXPECT_TRUE(std::filesystem::is_directory(dir / "Here"));
    // One level only: a missing parent is a failure with its message.
    EXPECT_EQ(dm.CreateDestinationDir(dir / "a.jpg", "x/y"), "");
    EXPECT_EQ(messages,
              std::vector<std::string>{"Das Verzeichnis \"" + dir / "x/y" + "\" kann nicht erstellt werden"});
}

TEST(DataModule, SelectionIsCountedOnceAndBecomesAnIdListWithoutGroupRows) {
    struct TListSelection : TSelectionSource {
        const int32_t Rows[3] = {7, -1, 3}; // -1 stands for a group row
        bool Cleared = false;
        mutable int Counted = 0;
        int SelectedCount() const override { return ++Counted, 3; }
        bool SelectedRecId(int Index, int32_t& RecId) const override { return (RecId = Rows[Index]) >= 0; }
        void ClearSelection() override { Cleared = true; }
    } selection;
    std::vector<std::string> ids;
    TDM().GetIDListFromSelected(selection, ids);
    EXPECT_EQ(ids, (std::vector<std::string>{"7", "3"}));
    EXPECT_TRUE(selection.Cleared);
    // A grid counts by walking its selection: once per batch, not once per row.
    EXPECT_EQ(selection.Counted, 1);
}

TEST(DataModule, BatchRowTextsPumpStopAndRefusedDestination) {
    // Files, destination folder, stop pressed while the first file runs, rows after it.
    const std::tuple<std::vector<std::string>, std::string, bool, std::string> cases[] = {
        {{"a.txt"}, "Out", false, "a.txt OK ..\\Out\\R-a.jpg"},
        // The stop takes effect at the start of the next file; during the last it has none.
        {{"1.txt", "2.txt", "3.txt"},
         "Resize",
         true,
         "1.txt OK ..\\Resize\\R-1.jpg|2.txt Abbruch..|3.txt Start Resize, please wait.."},
        {{"only.txt"}, "Resize", true, "only.txt OK ..\\Resize\\R-only.jpg"},
        // A destination that can't be made skips the file.
        {{"a.txt"}, "missing/parent", false, "a.txt Start Resize, please wait.."},
    };
    for (const auto& [files, folder, stop, rows] : cases) {
        TTempDir dir;
        TGatedDM dm;
        for (const std::string& name : files) {
            WriteTextFile(dir / name, name);
            dm.AddFiles({dir / name});
        }
        bool opened = false;
        // The worker can only finish after a turn of the loop has let it go.
        dm.ProcessMessages = [&, stop = stop] {
            if (std::exchange(opened, true)) return;
            EXPECT_FALSE(dm.BreakJob);
            dm.BreakJob = stop;
            dm.Go.set_value();
        };
        dm.BreakJob = false;
        dm.ResizeFileIDs(AllIds(dm), folder);
        EXPECT_EQ(Rows(dm, &TMemRecord::LASACTION), rows);
        EXPECT_TRUE(dm.BreakJob);
    }
}

TEST(DataModule, BatchMarksEveryRowAndReportsEachFile) {
    TTempDir dir;
    // Neither file can be read as a picture: the save still runs on the empty holder
    // and leaves an empty target; a file gone before its turn fails in the load, and so,
    // at once, does one that became a pipe.
    TDM dm;
    for (const char* name : {"notes.txt", "gone.jpg", "piped.jpg", "skipped.jpg"}) {
        WriteTextFile(dir / name, "not a picture");
        dm.AddFiles({dir / name});
    }
    std::filesystem::remove(dir / "gone.jpg");
    std::filesystem::remove(dir / "piped.jpg");
    ASSERT_EQ(mkfifo((dir / "piped.jpg").c_str(), 0600), 0);
    std::vector<std::string> reported;
    dm.OnNewFile = [&](void* Sender, const std::string& FileName) {
        EXPECT_EQ(Sender, &dm);
        EXPECT_FALSE(dm.BreakJob);
        reported.push_back(FileName);
    };
    std::vector<std::string> ids = AllIds(dm);
    ids.back() = "999";
    dm.ResizeFileIDs(ids, "Resize");
    EXPECT_EQ(Rows(dm, &TMemRecord::LASACTION),
              "notes.txt OK ..\\Resize\\R-notes.jpg|gone.jpg OK ..\\Resize\\|"
              "piped.jpg OK ..\\Resize\\|skipped.jpg Neu");
    EXPECT_EQ(reported, (std::vector<std::string>{dir / "Resize/R-notes.jpg", "", ""}));
    EXPECT_EQ(std::filesystem::file_size(dir / "Resize/R-notes.jpg"), 0u);
}

// The whole batch, load, resample and save, as a user runs it.
TEST(Batch, JpegSizesNamesColourSpacesAndQuality) {
    TTempDir dir;
    // Landscape fits its width, portrait its height; small pictures grow. Quality as the
    // original means 80 whatever the source's (95 here).
    const std::tuple<std::string, int32_t, int32_t, TIOJPEGColorspace, std::string> files[] = {
        {"landscape.jpg", 600, 400, ioJPEG_YCbCr, "R-landscape.jpg 300x200 ycbcr q6"},
        {"portrait.jpeg", 150, 200, ioJPEG_YCbCr, "R-portrait.jpg 225x300 ycbcr q6"},
        {"grey.jpg", 800, 400, ioJPEG_GRAYLEV, "R-grey.jpg 300x150 grey q6"},
        {"cmyk.jpg", 400, 800, ioJPEG_CMYK, "R-cmyk.jpg 150x300 cmyk q6"},
        {"really-a-jpeg.png", 400, 300, ioJPEG_YCbCr, "R-really-a-jpeg.jpg 300x225 ycbcr q6"},
    };
    TDM dm;
    dm.RisizeProperty = {.NewSize = 300, .AutoQuali = true};
    for (const auto& [name, width, height, space, expected] : files) {
        WritePhoto(dir / name, width, height, space);
        dm.AddFiles({dir / name});
    }
    dm.ResizeFileIDs(AllIds(dm), "Resize");
    for (int row = 0; row < 5; ++row) {
        const std::string text = dm.MemData().Record(row).LASACTION;
        EXPECT_EQ(text + " " + Inspect(dir / "Resize/" + text.substr(13)),
                  "OK ..\\Resize\\" + std::get<4>(files[row]));
    }
    // Otherwise the job's quality: 5000 / 30 = 166, (16 * 166 + 50) / 100 = 27.
    EXPECT_EQ(Inspect(RunWorker({.NewSize = 160, .JpgQuali = 30, .JPEGProgressive = true},
                                dir / "landscape.jpg", dir.Path())),
              "160x106 ycbcr progressive q27");
}

TEST(Batch, AutoSizeTakesTheFirstQualityThatFitsOrTwenty) {
    TTempDir dir;
    WritePhoto(dir / "photo.jpg", 640, 480);
    TRisizeProperty job{.NewSize = 640, .MaxFileSize = 40, .AutoSize = true, .Multi = true};
    const std::string fitted = RunWorker(job, dir / "photo.jpg", dir.Path());
    EXPECT_LE(std::filesystem::file_size(fitted), 40u * 1024);
    // The quality it took, read back from the table (several share an entry: the highest of
    // them is the one that fitted); the next one up must not fit.
    const std::string inspected = Inspect(fitted);
    const int quantiser = std::stoi(inspected.substr(inspected.rfind('q') + 1));
    auto entryAt = [](int q) { return std::max(1, (16 * (q < 50 ? 5000 / q : 200 - 2 * q) + 50) / 100); };
    int next = 21;
    while (next < 100 && entryAt(next) >= quantiser)
        ++next;
    ASSERT_TRUE(next > 21 && next < 100) << next;
    job.AutoSize = false;
    job.JpgQuali = next;
    EXPECT_GT(std::filesystem::file_size(RunWorker(job, dir / "photo.jpg", dir.Path())), 40u * 1024);
    // Nothing fits 1 KB: written at 20.
    job.AutoSize = true;
    job.MaxFileSize = 1;
    EXPECT_EQ(Inspect(RunWorker(job, dir / "photo.jpg", dir.Path())), "640x480 ycbcr q40");
}

TEST(Batch, CameraFilesComeOutUprightAndPngsAsJpegs) {
    PW_REQUIRE_CORPUS();
    TTempDir dir;
    TRisizeProperty job{.NewSize = 300};
    for (const std::string shape : {"landscape", "portrait"}) {
        TIEBitmap upright, bitmap;
        for (int orientation = 1; orientation <= 8; ++orientation) {
            const std::string name =
                "exif-samples/jpg/orientation/" + shape + "_" + std::to_string(orientation);
            // 600 x 450 in two steps: 450 x 337 (337.5 cut), 300 x 224 (224.7 cut). The saved
            // EXIF block says upright, so no viewer turns it again.
            EXPECT_EQ(Inspect(RunWorker(job, CorpusFile(name + ".jpg"), dir.Path()), &bitmap),
                      shape == "landscape" ? "300x224 ycbcr q6" : "224x300 ycbcr q6")
                << name;
            if (orientation == 1) upright.Assign(bitmap);
            int64_t total = 0;
            for (int32_t y = 0; y < bitmap.Height(); y += 2)
                for (int32_t x = 0; x < bitmap.Width(); x += 2)
                    total += ColourDistance(bitmap.GetPixels_ie24RGB(x, y), upright.GetPixels_ie24RGB(x, y));
            EXPECT_LT(total * 4 / (bitmap.Width() * bitmap.Height()), 30) << name;
        }
    }
    // Palette, 16-bit grey with alpha, interlaced colour with alpha, 8 x 32.
    job = {.NewSize = 64, .Multi = true};
    for (const std::string name : {"basn3p08", "basn4a16", "basi6a08", "cdfn2c08"})
        EXPECT_EQ(Inspect(RunWorker(job, CorpusFile("pngsuite/" + name + ".png"), dir.Path())),
                  name == "cdfn2c08" ? "16x64 ycbcr q6" : "64x64 ycbcr q6");
}

TEST(Batch, LongUmlautPathsAndWritingOverTheSource) {
    TTempDir dir;
    // 200 two-byte characters in a folder and a name: far more bytes than characters.
    std::string folder, name, shown;
    for (int i = 0; i < 100; ++i)
        folder += "ä", name += "ö", shown += i < 55 ? "ö" : "";
    std::filesystem::create_directory(dir / folder);
    WritePhoto(dir / (folder + "/" + name + ".jpg"), 300, 200);
    WritePhoto(dir / "self.jpg", 400, 300);
    TDM dm;
    dm.RisizeProperty = {.NewSize = 150, .Multi = true};
    // The row text is cut at 125 bytes, between two characters: 15 bytes of "OK ..\Resize\R-"
    // and 55 of the 100 characters.
    dm.AddFiles({dir / (folder + "/" + name + ".jpg")});
    dm.ResizeFileIDs(AllIds(dm), "Resize");
    EXPECT_EQ(Rows(dm, &TMemRecord::LASACTION), name + ".jpg OK ..\\Resize\\R-" + shown);
    EXPECT_EQ(Inspect(dir / (folder + "/Resize/R-" + name + ".jpg")), "150x100 ycbcr q6");

    // No prefix, suffix or folder: the target is the source itself, replaced whole.
    dm.RisizeProperty.Prefix = "";
    dm.AddFiles({dir / "self.jpg"});
    ASSERT_TRUE(dm.MemData().Locate(TMemField::FILENAME, dir / "self.jpg"));
    dm.ResizeFileIDs({dm.MemData().Field(TMemField::RecId)}, "");
    EXPECT_EQ(dm.MemData().Field(TMemField::LASACTION), "OK ..\\\\self.jpg");
    EXPECT_EQ(Inspect(dir / "self.jpg"), "150x112 ycbcr q6");
}
