#include "app/ahresize.h"

#include <gtest/gtest.h>

#include <memory>

#include "image/bitmap.h"
#include "proc/enhance.h"
#include "proc/sharpen.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/testutil.h"

namespace {

// A deterministic picture with edges and a colour cast.
void FillPicture(TIEBitmap& Bitmap) {
    Bitmap.Allocate(48, 32, ie24RGB);
    for (int32_t y = 0; y < 32; ++y)
        for (int32_t x = 0; x < 48; ++x) {
            const uint8_t v = uint8_t(((x / 8 + y / 8) & 1 ? 180 : 50) + (x * 3 + y) % 20);
            Bitmap.SetPixels_ie24RGB(x, y, TRGB{uint8_t(v / 2), uint8_t(v), uint8_t(v / 4 + 100)});
        }
}

// A worker whose source is given as a picture and whose resampling leaves it as it
// is, so that the finishing steps alone shape the result.
class TFinishingResize : public TResize {
  public:
    TFinishingResize(const TRisizeProperty& Job, bool Save) : TResize(Job), fSave(Save) {}
    TIEBitmap Result;

  protected:
    void Execute() override {
        FillPicture(Imager().IEBitmap());
        TransformStage();
        if (fSave) SaveStage();
        Result.AssignImage(Imager().IEBitmap());
    }
    void Resample(int32_t, int32_t, TResampleFilter) override {}

  private:
    bool fSave;
};

void RunToPark(TFinishingResize& Worker) {
    Worker.Resume();
    Worker.WaitUntilParked();
    ASSERT_FALSE(Worker.FatalException());
}

} // namespace

TEST(ResizeWorkerFinish, EnhancementThenHalfSharpenedBlend) {
    TRisizeProperty job;
    job.ImageEnhance = true;
    job.SharpImg = true;
    TFinishingResize worker(job, false);
    RunToPark(worker);

    TIEBitmap expected, unsharpened;
    FillPicture(expected);
    IEAutoImageEnhance3(expected, 0.33, 70, TIEProgressEvent(), nullptr);
    unsharpened.AssignImage(expected);
    IEAutoSharp(expected, 68, 0.035, TIEProgressEvent(), nullptr);
    IEMerge(expected, unsharpened, 50, TIEProcRect{0, 0, 48, 32}, TIEProgressEvent(), nullptr);
    EXPECT_EQ(FirstDifference(worker.Result, expected), "");

    // And the steps do change the picture.
    TIEBitmap original;
    FillPicture(original);
    EXPECT_NE(FirstDifference(worker.Result, original), "");
}

TEST(ResizeWorkerFinish, BlackAndWhiteOutputIsGrey) {
    TTempDir dir;
    TRisizeProperty job;
    job.Source = dir / "cast.png";
    job.Destination = dir.Path();
    job.BW = true;
    TFinishingResize worker(job, true);
    RunToPark(worker);
    // Balanced, then grey: every pixel the same in all three channels.
    for (int32_t y = 0; y < 32; ++y)
        for (int32_t x = 0; x < 48; ++x) {
            const TRGB p = worker.Result.GetPixels_ie24RGB(x, y);
            ASSERT_TRUE(p.r == p.g && p.g == p.b) << x << "," << y;
        }
    TIEBitmap expected;
    FillPicture(expected);
    IEWhiteBalanceGrayWorld(expected, TIEProgressEvent(), nullptr);
    IEConvertToGray(expected);
    EXPECT_EQ(FirstDifference(worker.Result, expected), "");
}
