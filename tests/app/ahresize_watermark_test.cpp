#include "app/ahresize.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>

#include "app/appfolder.h"
#include "image/bitmap.h"
#include "io/codecs/png.h"
#include "proc/enhance.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/testutil.h"

namespace {

TRGB Grey(uint8_t v) {
    return TRGB{v, v, v};
}

std::string Pixel(TIEBitmap& Bitmap, int32_t x, int32_t y) {
    const TRGB c = Bitmap.GetPixels_ie24RGB(x, y);
    return std::to_string(c.r) + "," + std::to_string(c.g) + "," + std::to_string(c.b);
}

void FillSolid(TIEBitmap& Bitmap, int32_t Width, int32_t Height, TRGB Colour) {
    Bitmap.Allocate(Width, Height, ie24RGB);
    for (int32_t y = 0; y < Height; ++y)
        for (int32_t x = 0; x < Width; ++x)
            Bitmap.SetPixels_ie24RGB(x, y, Colour);
}

// The program's folder for one test: a temporary folder that may hold Watermark.png.
class TProgramFolder {
  public:
    TProgramFolder() { SetProgramArgument0((fDir / "pixelwright").c_str()); }
    ~TProgramFolder() { SetProgramArgument0(""); }
    std::string Path() const { return fDir.Path(); }

    // Writes Bitmap (with its alpha channel, if any) as the watermark.
    void PutWatermark(TIEBitmap& Bitmap) {
        TIOParams params;
        TIEMemoryStream stream;
        bool aborting = false;
        TProgressRec progress;
        progress.Aborting = &aborting;
        WritePngStream(stream, Bitmap, params, progress);
        ASSERT_FALSE(aborting);
        WriteTextFile(fDir / "Watermark.png", std::string(stream.Data().begin(), stream.Data().end()));
    }

  private:
    TTempDir fDir;
};

// A worker whose source is a picture made by the test and whose transform stage is
// skipped, so that the save stage alone shapes the result; the holder's picture is
// kept as it is just before the JPEG encoder.
class TWatermarkResize : public TResize {
  public:
    TWatermarkResize(const TRisizeProperty& Job, std::function<void(TIEBitmap&)> Source)
        : TResize(Job), fSource(std::move(Source)) {}
    TIEBitmap Result;
    int32_t LayersAfter = 0;

  protected:
    void Execute() override {
        fSource(Imager().IEBitmap());
        SaveStage();
        Result.AssignImage(Imager().IEBitmap());
        LayersAfter = Imager().LayersCount();
    }

  private:
    std::function<void(TIEBitmap&)> fSource;
};

TRisizeProperty WatermarkJob(const std::string& Folder) {
    TRisizeProperty job;
    job.Source = Folder + "/picture.png";
    job.Destination = Folder;
    job.WaterMark = true;
    job.JpgQuali = 90;
    return job;
}

void RunToPark(TWatermarkResize& Worker) {
    Worker.Resume();
    Worker.WaitUntilParked();
    ASSERT_FALSE(Worker.FatalException());
}

} // namespace

TEST(ResizeWatermark, SameSizeWatermarkBlendsTheWholePictureUnderTheCeiling) {
    TProgramFolder folder;
    // Alphas 200, 35, 0 and 255 over greys 100, 200, 50, 0: the ceiling of 70 takes 200
    // and 255 down to 70; 35 stays; 0 leaves the picture as it was.
    TIEBitmap mark;
    FillSolid(mark, 4, 1, Grey(255));
    mark.SetPixels_ie24RGB(1, 0, TRGB{255, 50, 0});
    mark.AlphaChannel()->SetFull(false);
    mark.SetAlpha(0, 0, 200);
    mark.SetAlpha(1, 0, 35);
    mark.SetAlpha(2, 0, 0);
    mark.SetAlpha(3, 0, 255);
    folder.PutWatermark(mark);

    TWatermarkResize worker(WatermarkJob(folder.Path()), [](TIEBitmap& picture) {
        FillSolid(picture, 4, 1, Grey(100));
        picture.SetPixels_ie24RGB(1, 0, Grey(200));
        picture.SetPixels_ie24RGB(2, 0, Grey(50));
        picture.SetPixels_ie24RGB(3, 0, Grey(0));
    });
    RunToPark(worker);
    ASSERT_EQ(worker.Result.Width(), 4);
    ASSERT_EQ(worker.Result.Height(), 1);
    EXPECT_EQ(worker.LayersAfter, 1);
    // 70 + 185/255 * 100 = 142.55.
    EXPECT_EQ(Pixel(worker.Result, 0, 0), "143,143,143");
    // 220/255 * 200 = 172.55, plus 35/255 of 0, 50 and 255.
    EXPECT_EQ(Pixel(worker.Result, 1, 0), "173,179,208");
    EXPECT_EQ(Pixel(worker.Result, 2, 0), "50,50,50");
    EXPECT_EQ(Pixel(worker.Result, 3, 0), "70,70,70");
    EXPECT_TRUE(std::filesystem::exists(worker.NewImage())) << worker.NewImage();
}

TEST(ResizeWatermark, SmallWatermarkSitsInTheBottomRightCornerWithoutAMargin) {
    TProgramFolder folder;
    TIEBitmap mark;
    FillSolid(mark, 2, 1, Grey(255));
    folder.PutWatermark(mark);
    TWatermarkResize worker(WatermarkJob(folder.Path()),
                            [](TIEBitmap& picture) { FillSolid(picture, 4, 3, Grey(0)); });
    RunToPark(worker);
    ASSERT_EQ(worker.Result.Width(), 4);
    ASSERT_EQ(worker.Result.Height(), 3);
    // Without alpha, every watermark pixel counts 70/255: 255 * 70/255 = 70.
    EXPECT_EQ(Pixel(worker.Result, 2, 2), "70,70,70");
    EXPECT_EQ(Pixel(worker.Result, 3, 2), "70,70,70");
    EXPECT_EQ(Pixel(worker.Result, 1, 2), "0,0,0");
    EXPECT_EQ(Pixel(worker.Result, 3, 1), "0,0,0");
}

TEST(ResizeWatermark, LargerWatermarkGrowsThePicture) {
    // A 2 x 2 picture and a 3 x 3 watermark: position -1, -1, so the picture moves one
    // pixel right and down inside a 3 x 3 result; the ring keeps the watermark's colour.
    TProgramFolder folder;
    TIEBitmap mark;
    FillSolid(mark, 3, 3, TRGB{0, 0, 255});
    folder.PutWatermark(mark);
    TWatermarkResize worker(WatermarkJob(folder.Path()),
                            [](TIEBitmap& picture) { FillSolid(picture, 2, 2, Grey(100)); });
    RunToPark(worker);
    ASSERT_EQ(worker.Result.Width(), 3);
    ASSERT_EQ(worker.Result.Height(), 3);
    EXPECT_EQ(Pixel(worker.Result, 0, 0), "255,0,0");
    EXPECT_EQ(Pixel(worker.Result, 2, 0), "255,0,0");
    EXPECT_EQ(Pixel(worker.Result, 0, 2), "255,0,0");
    // r: 70 + 185/255 * 100 = 142.55; g, b: 72.55.
    EXPECT_EQ(Pixel(worker.Result, 1, 1), "143,73,73");
    EXPECT_EQ(Pixel(worker.Result, 2, 2), "143,73,73");
}

TEST(ResizeWatermark, ColourWatermarkComesOutGreyUnderBlackAndWhite) {
    TProgramFolder folder;
    TIEBitmap mark;
    FillSolid(mark, 2, 2, TRGB{0, 0, 255});
    folder.PutWatermark(mark);
    TRisizeProperty job = WatermarkJob(folder.Path());
    job.BW = true;
    auto source = [](TIEBitmap& picture) {
        FillSolid(picture, 3, 2, Grey(100));
        picture.SetPixels_ie24RGB(0, 0, TRGB{10, 60, 200});
    };
    TWatermarkResize worker(job, source);
    RunToPark(worker);
    // The merge comes first, then the grey conversion.
    TIEBitmap expected;
    source(expected);
    for (int32_t y = 0; y < 2; ++y)
        for (int32_t x = 1; x < 3; ++x)
            expected.SetPixels_ie24RGB(x, y, TRGB{73, 73, 143});
    IEWhiteBalanceGrayWorld(expected, TIEProgressEvent(), nullptr);
    IEConvertToGray(expected);
    EXPECT_EQ(FirstDifference(worker.Result, expected), "");
    for (int32_t x = 0; x < 3; ++x) {
        const TRGB p = worker.Result.GetPixels_ie24RGB(x, 1);
        EXPECT_TRUE(p.r == p.g && p.g == p.b) << x;
    }
    // The watermark is still there, as a lighter grey than the picture beside it.
    EXPECT_NE(Pixel(worker.Result, 0, 1), Pixel(worker.Result, 1, 1));
}

TEST(ResizeWatermark, MissingWatermarkLeavesTheOutputUnmarked) {
    TProgramFolder folder;
    TWatermarkResize worker(WatermarkJob(folder.Path()),
                            [](TIEBitmap& picture) { FillSolid(picture, 3, 2, Grey(100)); });
    RunToPark(worker);
    EXPECT_EQ(worker.LayersAfter, 1);
    TIEBitmap expected;
    FillSolid(expected, 3, 2, Grey(100));
    EXPECT_EQ(FirstDifference(worker.Result, expected), "");
    EXPECT_TRUE(std::filesystem::exists(worker.NewImage())) << worker.NewImage();
}

TEST(ResizeWatermark, WatermarkBoxOffIgnoresAPresentFile) {
    TProgramFolder folder;
    TIEBitmap mark;
    FillSolid(mark, 3, 2, Grey(255));
    folder.PutWatermark(mark);
    TRisizeProperty job = WatermarkJob(folder.Path());
    job.WaterMark = false;
    TWatermarkResize worker(job, [](TIEBitmap& picture) { FillSolid(picture, 3, 2, Grey(100)); });
    RunToPark(worker);
    EXPECT_EQ(Pixel(worker.Result, 2, 1), "100,100,100");
}
