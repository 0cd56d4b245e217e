// The whole batch on JPEG files: load, resample, save, as a user runs it.
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

#include "app/data.h"
#include "io/imagerio.h"
#include "tests/corpus.h"
#include "tests/io/jpegtestutil.h"
#include "tests/testutil.h"

namespace {

std::vector<uint8_t> ReadBytes(const std::string& Path) {
    std::ifstream file(Path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(file), {});
}

void WriteBytes(const std::string& Path, const std::vector<uint8_t>& Data) {
    std::ofstream(Path, std::ios::binary)
        .write(reinterpret_cast<const char*>(Data.data()), std::streamsize(Data.size()));
}

// A photo-like picture: shading, edges and some noise.
void Photo(TIEBitmap& Bitmap, int32_t Width, int32_t Height) {
    Bitmap.Allocate(Width, Height, ie24RGB);
    uint32_t seed = 1;
    for (int32_t y = 0; y < Height; ++y) {
        auto* row = static_cast<TRGB*>(Bitmap.GetScanline(y));
        for (int32_t x = 0; x < Width; ++x) {
            seed = seed * 1664525u + 1013904223u;
            const int32_t noise = int32_t(seed >> 28) - 8;
            const int32_t base =
                (x * 255 / Width + y * 255 / Height) / 2 + (((x / 40) + (y / 30)) % 3 == 0 ? 40 : 0);
            row[x] = TRGB{IEByteClamp(base / 2 + noise), IEByteClamp(base + noise),
                          IEByteClamp(220 - base + noise)};
        }
    }
}

void MakeJpeg(const std::string& Path, int32_t Width, int32_t Height, TIOJPEGColorspace Space = ioJPEG_YCbCr,
              int32_t Quality = 90) {
    TIEBitmap bitmap;
    Photo(bitmap, Width, Height);
    TIOParams params;
    params.JPEG_ColorSpace = Space;
    params.JPEG_Quality = Quality;
    WriteBytes(Path, EncodeJpeg(bitmap, params));
}

struct TLoaded {
    bool Ok;
    int32_t Width, Height;
    TIOJPEGColorspace Space;
    bool Progressive;
    int32_t Orientation;
};

TLoaded Inspect(const std::string& Path, TIEBitmap* Pixels = nullptr) {
    TIEBitmap bitmap;
    TIOParams params;
    const bool ok = DecodeJpeg(ReadBytes(Path), bitmap, params);
    if (Pixels) Pixels->Assign(bitmap);
    return {ok,
            bitmap.Width(),
            bitmap.Height(),
            params.JPEG_ColorSpace,
            params.JPEG_Progressive,
            params.EXIF_Orientation};
}

// The first entry of the luma quantisation table. libjpeg scales the standard table
// (first entry 16) by 5000 / q below 50 and 200 - 2q from 50 on, rounding (16 s + 50) / 100.
int LumaDCQuantiser(const std::string& Path) {
    for (const TJpegSegment& segment : JpegSegments(ReadBytes(Path)))
        if (segment.Marker == 0xDB) return segment.Payload[1];
    return -1;
}
constexpr int kQuantiserAt80 = 6;  // (16 * 40 + 50) / 100
constexpr int kQuantiserAt20 = 40; // (16 * 250 + 50) / 100

std::vector<std::string> RunBatch(TDM& Dm, const std::vector<std::string>& Files) {
    Dm.AddFiles(Files);
    std::vector<std::string> ids;
    for (int row = 0; row < Dm.MemData().RecordCount(); ++row)
        ids.push_back(std::to_string(Dm.MemData().Record(row).RecId));
    Dm.ResizeFileIDs(ids, "Resize");
    std::vector<std::string> texts;
    for (int row = 0; row < Dm.MemData().RecordCount(); ++row)
        texts.push_back(Dm.MemData().Record(row).LASACTION);
    return texts;
}

// One worker on a file read in place, writing into Destination.
void RunWorker(TRisizeProperty Job, const std::string& Source, const std::string& Destination) {
    Job.Source = Source;
    Job.Destination = Destination;
    TResize worker(Job);
    worker.Resume();
    worker.WaitUntilParked();
}

} // namespace

TEST(BatchJpeg, SizesNamesAndTheDefaultQuality) {
    TTempDir dir;
    MakeJpeg(dir / "landscape.jpg", 600, 400);
    MakeJpeg(dir / "portrait.jpeg", 300, 400);
    MakeJpeg(dir / "square.JPG", 200, 200);
    // Sizes whose stepwise chain (3/4 of the hundreds each step) divides evenly.
    MakeJpeg(dir / "grey.jpg", 800, 400, ioJPEG_GRAYLEV);
    MakeJpeg(dir / "cmyk.jpg", 400, 800, ioJPEG_CMYK);
    MakeJpeg(dir / "really-a-jpeg.png", 400, 300);
    TDM dm;
    dm.RisizeProperty.NewSize = 300;
    dm.RisizeProperty.AutoQuali = true;
    const std::vector<std::string> rows =
        RunBatch(dm, {dir / "landscape.jpg", dir / "portrait.jpeg", dir / "square.JPG", dir / "grey.jpg",
                      dir / "cmyk.jpg", dir / "really-a-jpeg.png"});
    EXPECT_EQ(rows,
              (std::vector<std::string>{"OK ..\\Resize\\R-landscape.jpg", "OK ..\\Resize\\R-portrait.jpg",
                                        "OK ..\\Resize\\R-square.jpg", "OK ..\\Resize\\R-grey.jpg",
                                        "OK ..\\Resize\\R-cmyk.jpg", "OK ..\\Resize\\R-really-a-jpeg.jpg"}));
    struct TExpected {
        const char* Name;
        int32_t Width, Height;
        TIOJPEGColorspace Space;
    };
    // Landscape and square fit their width, portrait its height; small pictures grow.
    const TExpected expected[] = {
        {"R-landscape.jpg", 300, 200, ioJPEG_YCbCr}, {"R-portrait.jpg", 225, 300, ioJPEG_YCbCr},
        {"R-square.jpg", 300, 300, ioJPEG_YCbCr},    {"R-grey.jpg", 300, 150, ioJPEG_GRAYLEV},
        {"R-cmyk.jpg", 150, 300, ioJPEG_CMYK},       {"R-really-a-jpeg.jpg", 300, 225, ioJPEG_YCbCr},
    };
    for (const TExpected& file : expected) {
        const std::string path = dir / (std::string("Resize/") + file.Name);
        const TLoaded loaded = Inspect(path);
        ASSERT_TRUE(loaded.Ok) << file.Name;
        EXPECT_EQ(loaded.Width, file.Width) << file.Name;
        EXPECT_EQ(loaded.Height, file.Height) << file.Name;
        EXPECT_EQ(loaded.Space, file.Space) << file.Name;
        EXPECT_FALSE(loaded.Progressive);
        EXPECT_EQ(LumaDCQuantiser(path), kQuantiserAt80) << file.Name;
    }
}

TEST(BatchJpeg, KeepQualityWritesEightyWhateverTheSourceAndTheJobQualityOtherwise) {
    TTempDir dir;
    MakeJpeg(dir / "q30.jpg", 320, 240, ioJPEG_YCbCr, 30);
    MakeJpeg(dir / "q98.jpg", 320, 240, ioJPEG_YCbCr, 98);
    TDM dm;
    dm.RisizeProperty.NewSize = 160;
    dm.RisizeProperty.AutoQuali = true;
    RunBatch(dm, {dir / "q30.jpg", dir / "q98.jpg"});
    EXPECT_EQ(LumaDCQuantiser(dir / "Resize/R-q30.jpg"), kQuantiserAt80);
    EXPECT_EQ(LumaDCQuantiser(dir / "Resize/R-q98.jpg"), kQuantiserAt80);

    TDM progressive;
    progressive.RisizeProperty.NewSize = 160;
    progressive.RisizeProperty.JpgQuali = 30;
    progressive.RisizeProperty.JPEGProgressive = true;
    progressive.RisizeProperty.Prefix = "P-";
    RunBatch(progressive, {dir / "q98.jpg"});
    // 5000 / 30 = 166, (16 * 166 + 50) / 100 = 27.
    EXPECT_EQ(LumaDCQuantiser(dir / "Resize/P-q98.jpg"), 27);
    EXPECT_TRUE(Inspect(dir / "Resize/P-q98.jpg").Progressive);
}

TEST(BatchJpeg, AutoSizeTakesTheFirstQualityThatFitsOrTwenty) {
    TTempDir dir;
    MakeJpeg(dir / "photo.jpg", 640, 480);
    TDM dm;
    dm.RisizeProperty.NewSize = 640;
    dm.RisizeProperty.Multi = true;
    dm.RisizeProperty.AutoSize = true;
    dm.RisizeProperty.MaxFileSize = 40;
    RunBatch(dm, {dir / "photo.jpg"});
    EXPECT_LE(std::filesystem::file_size(dir / "Resize/R-photo.jpg"), 40u * 1024);
    // Which quality was it? The table tells (several qualities share an entry: the highest of
    // them is the one that fitted); the next one up must not fit.
    const int quantiser = LumaDCQuantiser(dir / "Resize/R-photo.jpg");
    auto entryAt = [](int q) { return std::max(1, (16 * (q < 50 ? 5000 / q : 200 - 2 * q) + 50) / 100); };
    int next = 21;
    while (next < 100 && entryAt(next) >= quantiser)
        ++next;
    ASSERT_GT(next, 21);
    ASSERT_LT(next, 100);
    dm.RisizeProperty.AutoSize = false;
    dm.RisizeProperty.JpgQuali = next;
    dm.RisizeProperty.Prefix = "H-";
    RunBatch(dm, {});
    EXPECT_GT(std::filesystem::file_size(dir / "Resize/H-photo.jpg"), 40u * 1024);

    dm.RisizeProperty.AutoSize = true;
    dm.RisizeProperty.MaxFileSize = 1;
    dm.RisizeProperty.Prefix = "T-";
    RunBatch(dm, {});
    EXPECT_EQ(LumaDCQuantiser(dir / "Resize/T-photo.jpg"), kQuantiserAt20);
    EXPECT_GT(std::filesystem::file_size(dir / "Resize/T-photo.jpg"), 1024u);
}

TEST(BatchJpeg, OrientedCameraFilesComeOutUpright) {
    PW_REQUIRE_CORPUS();
    TTempDir dir;
    TRisizeProperty job;
    job.NewSize = 300;
    for (int orientation = 1; orientation <= 8; ++orientation) {
        job.Prefix = std::to_string(orientation) + "-";
        RunWorker(
            job, CorpusFile("exif-samples/jpg/orientation/landscape_" + std::to_string(orientation) + ".jpg"),
            dir.Path());
        RunWorker(job,
                  CorpusFile("exif-samples/jpg/orientation/portrait_" + std::to_string(orientation) + ".jpg"),
                  dir.Path());
    }
    for (const char* shape : {"landscape", "portrait"}) {
        TIEBitmap upright;
        const TLoaded first = Inspect(dir / (std::string("1-") + shape + "_1.jpg"), &upright);
        ASSERT_TRUE(first.Ok);
        for (int orientation = 1; orientation <= 8; ++orientation) {
            TIEBitmap bitmap;
            const std::string name =
                std::to_string(orientation) + "-" + shape + "_" + std::to_string(orientation) + ".jpg";
            const TLoaded loaded = Inspect(dir / name, &bitmap);
            ASSERT_TRUE(loaded.Ok) << name;
            EXPECT_EQ(loaded.Width, first.Width) << name;
            EXPECT_EQ(loaded.Height, first.Height) << name;
            EXPECT_EQ(std::max(loaded.Width, loaded.Height), 300) << name;
            // The saved EXIF block says upright, so no viewer turns it again.
            EXPECT_EQ(loaded.Orientation, 1) << name;
            int64_t total = 0;
            for (int32_t y = 0; y < bitmap.Height(); y += 2)
                for (int32_t x = 0; x < bitmap.Width(); x += 2)
                    total += ColourDistance(bitmap.GetPixels_ie24RGB(x, y), upright.GetPixels_ie24RGB(x, y));
            EXPECT_LT(double(total) / ((bitmap.Height() + 1) / 2) / ((bitmap.Width() + 1) / 2), 30.0) << name;
        }
    }
}

TEST(BatchJpeg, JunkTruncationAndFilesThatAreNoPicture) {
    TTempDir dir;
    TIEBitmap bitmap;
    Photo(bitmap, 320, 240);
    TIOParams params;
    params.JPEG_Quality = 95;
    const std::vector<uint8_t> jpeg = EncodeJpeg(bitmap, params);
    for (size_t junk : {size_t(100), size_t(150)}) {
        std::vector<uint8_t> data(junk, 0x20);
        data.insert(data.end(), jpeg.begin(), jpeg.end());
        WriteBytes(dir / ("junk" + std::to_string(junk) + ".jpg"), data);
    }
    WriteBytes(dir / "cut.jpg", std::vector<uint8_t>(jpeg.begin(), jpeg.begin() + long(jpeg.size() / 2)));
    WriteTextFile(dir / "notes.txt", "not a picture");
    WriteBytes(dir / "gone.jpg", jpeg);
    TDM dm;
    dm.RisizeProperty.NewSize = 160;
    dm.RisizeProperty.Multi = true;
    dm.AddFiles(
        {dir / "junk100.jpg", dir / "junk150.jpg", dir / "cut.jpg", dir / "notes.txt", dir / "gone.jpg"});
    std::filesystem::remove(dir / "gone.jpg");
    const std::vector<std::string> rows = RunBatch(dm, {});
    EXPECT_EQ(rows, (std::vector<std::string>{"OK ..\\Resize\\R-junk100.jpg", "OK ..\\Resize\\R-junk150.jpg",
                                              "OK ..\\Resize\\R-cut.jpg", "OK ..\\Resize\\R-notes.jpg",
                                              "OK ..\\Resize\\"}));
    const TLoaded junk100 = Inspect(dir / "Resize/R-junk100.jpg");
    EXPECT_TRUE(junk100.Ok);
    EXPECT_EQ(junk100.Width, 160);
    EXPECT_EQ(junk100.Height, 120);
    // A load that fails without raising leaves the holder empty; the save still runs.
    EXPECT_EQ(std::filesystem::file_size(dir / "Resize/R-junk150.jpg"), 0u);
    EXPECT_EQ(std::filesystem::file_size(dir / "Resize/R-notes.jpg"), 0u);
    EXPECT_FALSE(std::filesystem::exists(dir / "Resize/R-gone.jpg"));
    // The truncated file: its top as drawn, its bottom grey.
    TIEBitmap cut;
    const TLoaded truncated = Inspect(dir / "Resize/R-cut.jpg", &cut);
    ASSERT_TRUE(truncated.Ok);
    EXPECT_EQ(truncated.Width, 160);
    EXPECT_LE(ColourDistance(cut.GetPixels_ie24RGB(80, 118), TRGB{128, 128, 128}), 3);
    EXPECT_GT(ColourDistance(cut.GetPixels_ie24RGB(80, 2), TRGB{128, 128, 128}), 3);
}

TEST(BatchJpeg, LongUmlautPathsAndWritingOverTheSource) {
    TTempDir dir;
    // 200 two-byte characters in a folder and a name: far more bytes than characters.
    std::string folder, name;
    for (int i = 0; i < 100; ++i)
        folder += "ä", name += "ö";
    std::filesystem::create_directory(dir / folder);
    const std::string source = dir / (folder + "/" + name + ".jpg");
    MakeJpeg(source, 300, 200);
    MakeJpeg(dir / "self.jpg", 400, 300);
    TDM dm;
    dm.RisizeProperty.NewSize = 150;
    dm.RisizeProperty.Multi = true;
    // The row text is cut at 125 bytes, between two characters: 15 bytes of "OK ..\Resize\R-"
    // and 55 of the 100 characters.
    std::string shown;
    for (int i = 0; i < 55; ++i)
        shown += "ö";
    EXPECT_EQ(RunBatch(dm, {source}), (std::vector<std::string>{"OK ..\\Resize\\R-" + shown}));
    const TLoaded resized = Inspect(dir / (folder + "/Resize/R-" + name + ".jpg"));
    EXPECT_TRUE(resized.Ok);
    EXPECT_EQ(std::make_pair(resized.Width, resized.Height), std::make_pair(150, 100));

    // No prefix, suffix or folder: the target is the source itself, replaced whole.
    dm.RisizeProperty.Prefix = "";
    dm.AddFiles({dir / "self.jpg"});
    ASSERT_TRUE(dm.MemData().Locate(TMemField::FILENAME, dir / "self.jpg"));
    dm.ResizeFileIDs({dm.MemData().Field(TMemField::RecId)}, "");
    EXPECT_EQ(dm.MemData().Field(TMemField::LASACTION), "OK ..\\\\self.jpg");
    const TLoaded replaced = Inspect(dir / "self.jpg");
    EXPECT_TRUE(replaced.Ok);
    EXPECT_EQ(replaced.Width, 150);
}
