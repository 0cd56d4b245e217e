// The whole batch, load, resample and save, as a user runs it.
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "app/data.h"
#include "tests/corpus.h"
#include "tests/io/jpegtestutil.h"
#include "tests/testutil.h"

namespace {

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

// Adds the files and resizes every row into Resize; the row texts after it.
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
    std::vector<std::string> sources, rows;
    for (const auto& [name, width, height, space, expected] : files) {
        WritePhoto(dir / name, width, height, space);
        sources.push_back(dir / name);
        rows.push_back("OK ..\\Resize\\" + expected.substr(0, expected.find(' ')));
    }
    TDM dm;
    dm.RisizeProperty.NewSize = 300;
    dm.RisizeProperty.AutoQuali = true;
    EXPECT_EQ(RunBatch(dm, sources), rows);
    for (const auto& [name, width, height, space, expected] : files) {
        const std::string target = expected.substr(0, expected.find(' '));
        EXPECT_EQ(target + " " + Inspect(dir / "Resize/" + target), expected);
    }
    // Otherwise the job's quality: 5000 / 30 = 166, (16 * 166 + 50) / 100 = 27.
    TRisizeProperty job;
    job.NewSize = 160;
    job.JpgQuali = 30;
    job.JPEGProgressive = true;
    EXPECT_EQ(Inspect(RunWorker(job, sources[0], dir.Path())), "160x106 ycbcr progressive q27");
}

TEST(Batch, AutoSizeTakesTheFirstQualityThatFitsOrTwenty) {
    TTempDir dir;
    WritePhoto(dir / "photo.jpg", 640, 480);
    TRisizeProperty job;
    job.NewSize = 640;
    job.Multi = true;
    job.AutoSize = true;
    job.MaxFileSize = 40;
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
    job.Prefix = "H-";
    EXPECT_GT(std::filesystem::file_size(RunWorker(job, dir / "photo.jpg", dir.Path())), 40u * 1024);
    // Nothing fits 1 KB: written at 20.
    job.AutoSize = true;
    job.MaxFileSize = 1;
    EXPECT_EQ(Inspect(RunWorker(job, dir / "photo.jpg", dir.Path())), "640x480 ycbcr q40");
}

TEST(Batch, CameraFilesComeOutUprightAndPngsAsJpegs) {
    PW_REQUIRE_CORPUS();
    TTempDir dir;
    TRisizeProperty job;
    job.NewSize = 300;
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
    job.NewSize = 64;
    job.Multi = true;
    for (const auto& [name, size] : {std::pair{"basn3p08", "64x64"},
                                     {"basn4a16", "64x64"},
                                     {"basi6a08", "64x64"},
                                     {"cdfn2c08", "16x64"}})
        EXPECT_EQ(Inspect(RunWorker(job, CorpusFile(std::string("pngsuite/") + name + ".png"), dir.Path())),
                  std::string(size) + " ycbcr q6");
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
    dm.RisizeProperty.NewSize = 150;
    dm.RisizeProperty.Multi = true;
    // The row text is cut at 125 bytes, between two characters: 15 bytes of "OK ..\Resize\R-"
    // and 55 of the 100 characters.
    EXPECT_EQ(RunBatch(dm, {dir / (folder + "/" + name + ".jpg")}),
              std::vector<std::string>{"OK ..\\Resize\\R-" + shown});
    EXPECT_EQ(Inspect(dir / (folder + "/Resize/R-" + name + ".jpg")), "150x100 ycbcr q6");

    // No prefix, suffix or folder: the target is the source itself, replaced whole.
    dm.RisizeProperty.Prefix = "";
    dm.AddFiles({dir / "self.jpg"});
    ASSERT_TRUE(dm.MemData().Locate(TMemField::FILENAME, dir / "self.jpg"));
    dm.ResizeFileIDs({dm.MemData().Field(TMemField::RecId)}, "");
    EXPECT_EQ(dm.MemData().Field(TMemField::LASACTION), "OK ..\\\\self.jpg");
    EXPECT_EQ(Inspect(dir / "self.jpg"), "150x112 ycbcr q6");
}
