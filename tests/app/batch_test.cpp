// The whole batch, load, resample and save, as a user runs it.
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "app/data.h"
#include "io/imagerio.h"
#include "tests/corpus.h"
#include "tests/io/jpegtestutil.h"
#include "tests/testutil.h"

namespace {

void WriteBytes(const std::string& Path, const std::vector<uint8_t>& Data) {
    std::ofstream(Path, std::ios::binary)
        .write(reinterpret_cast<const char*>(Data.data()), std::streamsize(Data.size()));
}

// A photo-like picture: shading, edges and some noise.
std::vector<uint8_t> PhotoJpeg(int32_t Width, int32_t Height, TIOJPEGColorspace Space = ioJPEG_YCbCr,
                               int32_t Quality = 90) {
    TIEBitmap bitmap;
    bitmap.Allocate(Width, Height, ie24RGB);
    uint32_t seed = 1;
    for (int32_t y = 0; y < Height; ++y)
        for (int32_t x = 0; x < Width; ++x) {
            seed = seed * 1664525u + 1013904223u;
            const int32_t noise = int32_t(seed >> 28) - 8;
            const int32_t base =
                (x * 255 / Width + y * 255 / Height) / 2 + (((x / 40) + (y / 30)) % 3 == 0 ? 40 : 0);
            bitmap.SetPixels_ie24RGB(x, y,
                                     TRGB{IEByteClamp(base / 2 + noise), IEByteClamp(base + noise),
                                          IEByteClamp(220 - base + noise)});
        }
    TIOParams params;
    params.JPEG_ColorSpace = Space;
    params.JPEG_Quality = Quality;
    return EncodeJpeg(bitmap, params);
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

// Adds the files and resizes every row; the row texts after it.
std::vector<std::string> RunBatch(TDM& Dm, const std::vector<std::string>& Files) {
    Dm.AddFiles(Files);
    std::vector<std::string> ids, texts;
    for (int row = 0; row < Dm.MemData().RecordCount(); ++row)
        ids.push_back(std::to_string(Dm.MemData().Record(row).RecId));
    Dm.ResizeFileIDs(ids, "Resize");
    for (int row = 0; row < Dm.MemData().RecordCount(); ++row)
        texts.push_back(Dm.MemData().Record(row).LASACTION);
    return texts;
}

std::string RunWorker(TRisizeProperty Job, const std::string& Source) {
    Job.Source = Source;
    TResize worker(Job);
    worker.Resume();
    worker.WaitUntilParked();
    EXPECT_FALSE(worker.FatalException()) << Source;
    return worker.NewImage();
}

} // namespace

TEST(Batch, JpegSizesNamesSpacesAndQuality) {
    TTempDir dir;
    struct TFile {
        const char* Source;
        int32_t Width, Height;
        TIOJPEGColorspace Space;
        const char* Target;
        int32_t ResultWidth, ResultHeight;
    };
    // Landscape and square fit their width, portrait its height; small pictures grow.
    // Sizes whose stepwise chain (3/4 of the hundreds each step) divides evenly.
    const TFile files[] = {
        {"landscape.jpg", 600, 400, ioJPEG_YCbCr, "R-landscape.jpg", 300, 200},
        {"portrait.jpeg", 300, 400, ioJPEG_YCbCr, "R-portrait.jpg", 225, 300},
        {"square.JPG", 200, 200, ioJPEG_YCbCr, "R-square.jpg", 300, 300},
        {"grey.jpg", 800, 400, ioJPEG_GRAYLEV, "R-grey.jpg", 300, 150},
        {"cmyk.jpg", 400, 800, ioJPEG_CMYK, "R-cmyk.jpg", 150, 300},
        {"really-a-jpeg.png", 400, 300, ioJPEG_YCbCr, "R-really-a-jpeg.jpg", 300, 225},
    };
    std::vector<std::string> sources, rows;
    for (const TFile& file : files) {
        WriteBytes(dir / file.Source, PhotoJpeg(file.Width, file.Height, file.Space));
        sources.push_back(dir / file.Source);
        rows.push_back(std::string("OK ..\\Resize\\") + file.Target);
    }
    TDM dm;
    dm.RisizeProperty.NewSize = 300;
    // Quality as the original means 80, whatever the source's (90 here).
    dm.RisizeProperty.AutoQuali = true;
    EXPECT_EQ(RunBatch(dm, sources), rows);
    for (const TFile& file : files) {
        const std::string path = dir / "Resize/" + file.Target;
        const TLoaded loaded = Inspect(path);
        ASSERT_TRUE(loaded.Ok) << file.Target;
        EXPECT_EQ(std::make_pair(loaded.Width, loaded.Height),
                  std::make_pair(file.ResultWidth, file.ResultHeight))
            << file.Target;
        EXPECT_EQ(loaded.Space, file.Space) << file.Target;
        EXPECT_FALSE(loaded.Progressive) << file.Target;
        EXPECT_EQ(LumaDCQuantiser(path), kQuantiserAt80) << file.Target;
    }

    // Otherwise the job's quality: 5000 / 30 = 166, (16 * 166 + 50) / 100 = 27.
    TDM progressive;
    progressive.RisizeProperty.NewSize = 160;
    progressive.RisizeProperty.JpgQuali = 30;
    progressive.RisizeProperty.JPEGProgressive = true;
    RunBatch(progressive, {sources[0]});
    EXPECT_EQ(LumaDCQuantiser(dir / "Resize/R-landscape.jpg"), 27);
    EXPECT_TRUE(Inspect(dir / "Resize/R-landscape.jpg").Progressive);
}

TEST(Batch, AutoSizeTakesTheFirstQualityThatFitsOrTwenty) {
    TTempDir dir;
    WriteBytes(dir / "photo.jpg", PhotoJpeg(640, 480));
    TDM dm;
    dm.RisizeProperty.NewSize = 640;
    dm.RisizeProperty.Multi = true;
    dm.RisizeProperty.AutoSize = true;
    dm.RisizeProperty.MaxFileSize = 40;
    RunBatch(dm, {dir / "photo.jpg"});
    EXPECT_LE(std::filesystem::file_size(dir / "Resize/R-photo.jpg"), 40u * 1024);
    // The quality it took, read back from the table (several share an entry: the highest of
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

TEST(Batch, OrientedCameraFilesComeOutUpright) {
    PW_REQUIRE_CORPUS();
    TTempDir dir;
    TRisizeProperty job;
    job.NewSize = 300;
    job.Destination = dir.Path();
    for (const std::string shape : {"landscape", "portrait"}) {
        TIEBitmap upright;
        for (int orientation = 1; orientation <= 8; ++orientation) {
            const std::string name = shape + "_" + std::to_string(orientation) + ".jpg";
            TIEBitmap bitmap;
            const TLoaded loaded =
                Inspect(RunWorker(job, CorpusFile("exif-samples/jpg/orientation/" + name)), &bitmap);
            ASSERT_TRUE(loaded.Ok) << name;
            if (orientation == 1) upright.Assign(bitmap);
            EXPECT_EQ(std::make_pair(loaded.Width, loaded.Height),
                      std::make_pair(upright.Width(), upright.Height()))
                << name;
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

TEST(Batch, PngSuiteFilesBecomeJpegsAtTheAskedSize) {
    PW_REQUIRE_CORPUS();
    TTempDir dir;
    TRisizeProperty job;
    job.NewSize = 64;
    job.Multi = true;
    job.Destination = dir.Path();
    // Palette, 16-bit grey with alpha, interlaced colour with alpha, 8 x 32.
    const std::tuple<std::string, int32_t, int32_t> files[] = {
        {"basn3p08", 64, 64}, {"basn4a16", 64, 64}, {"basi6a08", 64, 64}, {"cdfn2c08", 16, 64}};
    for (const auto& [name, width, height] : files) {
        const std::string written = RunWorker(job, CorpusFile("pngsuite/" + name + ".png"));
        EXPECT_EQ(written, dir / ("R-" + name + ".jpg"));
        const TLoaded loaded = Inspect(written);
        ASSERT_TRUE(loaded.Ok) << name;
        EXPECT_EQ(std::make_pair(loaded.Width, loaded.Height), std::make_pair(width, height)) << name;
    }
}

TEST(Batch, LeadingJunkAndTruncation) {
    TTempDir dir;
    const std::vector<uint8_t> jpeg = PhotoJpeg(320, 240, ioJPEG_YCbCr, 95);
    for (size_t junk : {size_t(100), size_t(150)}) {
        std::vector<uint8_t> data(junk, 0x20);
        data.insert(data.end(), jpeg.begin(), jpeg.end());
        WriteBytes(dir / ("junk" + std::to_string(junk) + ".jpg"), data);
    }
    WriteBytes(dir / "cut.jpg", std::vector<uint8_t>(jpeg.begin(), jpeg.begin() + long(jpeg.size() / 2)));
    TDM dm;
    dm.RisizeProperty.NewSize = 160;
    dm.RisizeProperty.Multi = true;
    RunBatch(dm, {dir / "junk100.jpg", dir / "junk150.jpg", dir / "cut.jpg"});
    const TLoaded junk100 = Inspect(dir / "Resize/R-junk100.jpg");
    EXPECT_TRUE(junk100.Ok);
    EXPECT_EQ(std::make_pair(junk100.Width, junk100.Height), std::make_pair(160, 120));
    // Too much junk: the load fails without raising, and the save writes the empty holder.
    EXPECT_EQ(std::filesystem::file_size(dir / "Resize/R-junk150.jpg"), 0u);
    // The truncated file: its top as drawn, its bottom grey.
    TIEBitmap cut;
    ASSERT_TRUE(Inspect(dir / "Resize/R-cut.jpg", &cut).Ok);
    EXPECT_EQ(cut.Width(), 160);
    EXPECT_LE(ColourDistance(cut.GetPixels_ie24RGB(80, 118), TRGB{128, 128, 128}), 3);
    EXPECT_GT(ColourDistance(cut.GetPixels_ie24RGB(80, 2), TRGB{128, 128, 128}), 3);
}

TEST(Batch, LongUmlautPathsAndWritingOverTheSource) {
    TTempDir dir;
    // 200 two-byte characters in a folder and a name: far more bytes than characters.
    std::string folder, name, shown;
    for (int i = 0; i < 100; ++i)
        folder += "ä", name += "ö";
    std::filesystem::create_directory(dir / folder);
    const std::string source = dir / (folder + "/" + name + ".jpg");
    WriteBytes(source, PhotoJpeg(300, 200));
    WriteBytes(dir / "self.jpg", PhotoJpeg(400, 300));
    TDM dm;
    dm.RisizeProperty.NewSize = 150;
    dm.RisizeProperty.Multi = true;
    // The row text is cut at 125 bytes, between two characters: 15 bytes of "OK ..\Resize\R-"
    // and 55 of the 100 characters.
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
