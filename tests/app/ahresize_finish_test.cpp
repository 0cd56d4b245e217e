#include "app/ahresize.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>

#include "app/appfolder.h"
#include "image/bitmap.h"
#include "io/codecs/png.h"
#include "proc/enhance.h"
#include "proc/sharpen.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/testutil.h"

namespace {

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

// A worker whose source is given as a picture and whose resampling leaves it as it is,
// so that the finishing steps alone shape the result.
class TFinishingResize : public TResize {
  public:
    TFinishingResize(const TRisizeProperty& Job, std::function<void(TIEBitmap&)> Source)
        : TResize(Job), fSource(std::move(Source)) {}
    TIEBitmap Result;
    int32_t LayersAfter = 0;

  protected:
    void Execute() override {
        fSource(Imager().IEBitmap());
        TransformStage();
        SaveStage();
        Result.AssignImage(Imager().IEBitmap());
        LayersAfter = Imager().LayersCount();
    }
    void Resample(int32_t, int32_t, TResampleFilter) override {}

  private:
    std::function<void(TIEBitmap&)> fSource;
};

void RunFinishing(TIEBitmap& Result, TRisizeProperty Job, const std::function<void(TIEBitmap&)>& Source,
                  int32_t* Layers = nullptr) {
    TTempDir dir;
    Job.Source = dir / "picture.png";
    Job.Destination = dir.Path();
    TFinishingResize worker(Job, Source);
    worker.Resume();
    worker.WaitUntilParked();
    EXPECT_FALSE(worker.FatalException());
    EXPECT_TRUE(std::filesystem::exists(worker.NewImage())) << worker.NewImage();
    if (Layers) *Layers = worker.LayersAfter;
    Result.AssignImage(worker.Result);
}

TRisizeProperty WatermarkJob(bool BW = false) {
    TRisizeProperty job;
    job.WaterMark = true;
    job.BW = BW;
    return job;
}

auto Solid(int32_t Width, int32_t Height, uint8_t Grey) {
    return [=](TIEBitmap& Bitmap) { FillSolid(Bitmap, Width, Height, TRGB{Grey, Grey, Grey}); };
}

// Edges and a colour cast, so that both enhancement and sharpening change it.
void Checkers(TIEBitmap& Bitmap) {
    Bitmap.Allocate(24, 16, ie24RGB);
    for (int32_t y = 0; y < 16; ++y)
        for (int32_t x = 0; x < 24; ++x) {
            const uint8_t v = uint8_t(((x / 4 + y / 4) & 1 ? 180 : 50) + (x * 3 + y) % 20);
            Bitmap.SetPixels_ie24RGB(x, y, TRGB{uint8_t(v / 2), v, uint8_t(v / 4 + 100)});
        }
}

} // namespace

TEST(ResizeWorkerFinish, EachFlagRunsItsStepEnhancementBeforeTheHalfSharpenedBlend) {
    for (const auto& [enhance, sharpen] : {std::pair{true, false}, {false, true}, {true, true}}) {
        TRisizeProperty job;
        job.ImageEnhance = enhance;
        job.SharpImg = sharpen;
        TIEBitmap result;
        RunFinishing(result, job, Checkers);

        TIEBitmap expected, sharpened;
        Checkers(expected);
        if (enhance) IEAutoImageEnhance3(expected, 0.33, 70, TIEProgressEvent(), nullptr);
        sharpened.AssignImage(expected);
        if (sharpen) IEAutoSharp(sharpened, 68, 0.035, TIEProgressEvent(), nullptr);
        // Half each of the sharpened and the unsharpened picture, ties to even.
        if (sharpen)
            for (int32_t y = 0; y < 16; ++y) {
                auto* row = static_cast<uint8_t*>(expected.GetScanline(y));
                const auto* sharp = static_cast<const uint8_t*>(sharpened.GetScanline(y));
                for (int32_t i = 0; i < 24 * 3; ++i)
                    row[i] = uint8_t(std::nearbyint((row[i] + sharp[i]) / 2.0));
            }
        EXPECT_EQ(FirstDifference(result, expected), "") << enhance << sharpen;
        // Each step shows on this picture, so a step skipped or swapped would too.
        TIEBitmap original;
        Checkers(original);
        EXPECT_NE(FirstDifference(expected, original), "");
    }
}

TEST(ResizeWorkerFinish, BlackAndWhiteBalancesTheChannelsBeforeTheGrey) {
    TRisizeProperty job;
    job.BW = true;
    TIEBitmap result;
    RunFinishing(result, job, [](TIEBitmap& Bitmap) {
        Bitmap.Allocate(2, 1, ie24RGB);
        Bitmap.SetPixels_ie24RGB(0, 0, TRGB{40, 100, 200}); // b, g, r
        Bitmap.SetPixels_ie24RGB(1, 0, TRGB{80, 100, 50});
    });
    // Means b 60, g 100, r 125: b is scaled by 125/60 and g by 125/100, cut: 83, 125, 200 and
    // 166, 125, 50. Grey (21 r + 71 g + 8 b) / 100, cut: 13739 / 100 and 11253 / 100.
    // Without the balance it would be 116 and 84.
    EXPECT_EQ(Pixel(result, 0, 0), "137,137,137");
    EXPECT_EQ(Pixel(result, 1, 0), "112,112,112");
}

TEST(ResizeWatermark, SameSizeWatermarkBlendsTheWholePictureUnderTheCeiling) {
    TProgramFolder folder;
    // Alphas 200, 35, 0 and 255 over greys 100, 200, 50, 0: the ceiling of 70 takes 200
    // and 255 down to 70; 35 stays; 0 leaves the picture as it was.
    TIEBitmap mark;
    FillSolid(mark, 4, 1, TRGB{255, 255, 255});
    mark.SetPixels_ie24RGB(1, 0, TRGB{255, 50, 0});
    mark.AlphaChannel()->SetFull(false);
    const uint8_t alphas[] = {200, 35, 0, 255}, greys[] = {100, 200, 50, 0};
    for (int32_t x = 0; x < 4; ++x)
        mark.SetAlpha(x, 0, alphas[x]);
    folder.PutWatermark(mark);
    int32_t layers = 0;
    TIEBitmap result;
    RunFinishing(
        result, WatermarkJob(),
        [&](TIEBitmap& Picture) {
            Picture.Allocate(4, 1, ie24RGB);
            for (int32_t x = 0; x < 4; ++x)
                Picture.SetPixels_ie24RGB(x, 0, TRGB{greys[x], greys[x], greys[x]});
        },
        &layers);
    ASSERT_EQ(std::make_pair(result.Width(), result.Height()), std::make_pair(4, 1));
    EXPECT_EQ(layers, 1);
    // 70 + 185/255 * 100 = 142.55; 220/255 * 200 = 172.55, plus 35/255 of 0, 50 and 255.
    EXPECT_EQ(Pixel(result, 0, 0), "143,143,143");
    EXPECT_EQ(Pixel(result, 1, 0), "173,179,208");
    EXPECT_EQ(Pixel(result, 2, 0), "50,50,50");
    EXPECT_EQ(Pixel(result, 3, 0), "70,70,70");
}

TEST(ResizeWatermark, SmallWatermarkSitsInTheBottomRightCornerWithoutAMargin) {
    TProgramFolder folder;
    TIEBitmap mark;
    FillSolid(mark, 2, 1, TRGB{255, 255, 255});
    folder.PutWatermark(mark);
    TIEBitmap result;
    RunFinishing(result, WatermarkJob(), Solid(4, 3, 0));
    ASSERT_EQ(std::make_pair(result.Width(), result.Height()), std::make_pair(4, 3));
    // Without alpha, every watermark pixel counts 70/255: 255 * 70/255 = 70.
    EXPECT_EQ(Pixel(result, 2, 2) + " " + Pixel(result, 3, 2), "70,70,70 70,70,70");
    EXPECT_EQ(Pixel(result, 1, 2) + " " + Pixel(result, 3, 1), "0,0,0 0,0,0");
}

TEST(ResizeWatermark, LargerWatermarkGrowsThePicture) {
    // A 2 x 2 picture and a 3 x 3 watermark: position -1, -1, so the picture moves one
    // pixel right and down inside a 3 x 3 result; the ring keeps the watermark's colour.
    TProgramFolder folder;
    TIEBitmap mark;
    FillSolid(mark, 3, 3, TRGB{0, 0, 255});
    folder.PutWatermark(mark);
    TIEBitmap result;
    RunFinishing(result, WatermarkJob(), Solid(2, 2, 100));
    ASSERT_EQ(std::make_pair(result.Width(), result.Height()), std::make_pair(3, 3));
    EXPECT_EQ(Pixel(result, 2, 0), "255,0,0");
    EXPECT_EQ(Pixel(result, 0, 2), "255,0,0");
    // r: 70 + 185/255 * 100 = 142.55; g, b: 72.55.
    EXPECT_EQ(Pixel(result, 1, 1), "143,73,73");
    EXPECT_EQ(Pixel(result, 2, 2), "143,73,73");
}

TEST(ResizeWatermark, ColourWatermarkComesOutGreyUnderBlackAndWhite) {
    TProgramFolder folder;
    TIEBitmap mark;
    FillSolid(mark, 1, 1, TRGB{0, 0, 255});
    folder.PutWatermark(mark);
    TIEBitmap result;
    RunFinishing(result, WatermarkJob(true), Solid(2, 1, 100));
    // The merge comes first: 100,100,100 and r 143, g b 73. Means r 121.5, g b 86.5, so g and b
    // are scaled by 121.5/86.5, cut: 140 and 102. Grey (21 r + 71 g + 8 b) / 100, cut: 13160 / 100
    // and 11061 / 100. Grey first and the watermark after would leave colour.
    EXPECT_EQ(Pixel(result, 0, 0), "131,131,131");
    EXPECT_EQ(Pixel(result, 1, 0), "110,110,110");
}

TEST(ResizeWatermark, MissingOrUnwantedWatermarkLeavesTheOutputUnmarked) {
    TProgramFolder folder;
    int32_t layers = 0;
    TIEBitmap result;
    RunFinishing(result, WatermarkJob(), Solid(3, 2, 100), &layers);
    EXPECT_EQ(layers, 1);
    EXPECT_EQ(Pixel(result, 2, 1), "100,100,100");
    TIEBitmap mark;
    FillSolid(mark, 3, 2, TRGB{255, 255, 255});
    folder.PutWatermark(mark);
    TRisizeProperty job = WatermarkJob();
    job.WaterMark = false;
    RunFinishing(result, job, Solid(3, 2, 100));
    EXPECT_EQ(Pixel(result, 2, 1), "100,100,100");
}
