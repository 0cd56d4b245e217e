#include "app/ahresize.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <thread>

#include "tests/testutil.h"

namespace {

// A worker whose source is a blank picture of a given size; it notes the size after each
// resampling call and the filter asked for.
class TWatchedResize : public TResize {
  public:
    TWatchedResize(const TRisizeProperty& Job, int32_t Width, int32_t Height)
        : TResize(Job), fWidth(Width), fHeight(Height) {}

    std::string Steps;
    TResampleFilter Filter = rfNone;

  protected:
    void Execute() override {
        Imager().IEBitmap().Allocate(fWidth, fHeight, ie8g, 0.0);
        TransformStage();
    }
    void Resample(int32_t NewWidth, int32_t NewHeight, TResampleFilter AskedFilter) override {
        // The free side is left to the engine, so it follows the picture step by step.
        EXPECT_TRUE((NewWidth == -1) != (NewHeight == -1)) << NewWidth << " x " << NewHeight;
        Imager().Proc().Resample(NewWidth, NewHeight, rfNone, false);
        Steps += std::string(Steps.empty() ? "" : " ") + std::to_string(Imager().IEBitmap().Width()) + "x" +
                 std::to_string(Imager().IEBitmap().Height());
        Filter = AskedFilter;
    }

  private:
    int32_t fWidth, fHeight;
};

} // namespace

TEST(ResizeWorker, TargetNameDropsTheLastExtensionOnly) {
    EXPECT_EQ(ResizeTargetName("/p/a.b.jpg", "R-", ""), "R-a.b.jpg");
    EXPECT_EQ(ResizeTargetName("/p/a.png", "", "-s"), "a-s.jpg");
    EXPECT_EQ(ResizeTargetName("/p.q/noext", "x", "y"), "xnoexty.jpg");
    EXPECT_EQ(ResizeTargetName("/p/.hidden", "R-", ""), "R-.jpg");
}

TEST(ResizeWorker, SizeStepsFitTheLongerSideOrTheHeight) {
    struct TCase {
        int32_t Width, Height, NewSize;
        bool Multi, HeighPrio;
        const char* Steps;
    };
    const TCase cases[] = {
        // Three quarters of the cut hundreds each step, the free side cut each time:
        // 2250 / 3000 * 2250 = 1687.5, 1650 / 2250 * 1687 = 1237.1, 1200 / 1650 * 1237 = 899.6.
        {4000, 3000, 1200, false, false, "3000x2250 2250x1687 1650x1237 1200x899"},
        {3000, 4000, 1200, false, false, "2250x3000 1687x2250 1237x1650 899x1200"},
        // 5 x 4 hundreds: 375 is more than the target and 225 is clamped up to it.
        {550, 400, 300, false, false, "375x272 300x217"},
        {4000, 3000, 1200, true, false, "1200x900"},
        // Small pictures grow in one step; one at the target is still resampled.
        {1000, 800, 1200, false, false, "1200x960"},
        {1200, 700, 1200, true, false, "1200x700"},
        // Every picture fits its height, also a wide one, which then grows.
        {4000, 1000, 1200, true, true, "4800x1200"},
    };
    for (const TCase& c : cases) {
        TRisizeProperty job;
        job.NewSize = c.NewSize;
        job.Multi = c.Multi;
        job.HeighPrio = c.HeighPrio;
        TWatchedResize worker(job, c.Width, c.Height);
        worker.Resume();
        worker.WaitUntilParked();
        EXPECT_EQ(worker.Steps, c.Steps) << c.Width << " x " << c.Height << " to " << c.NewSize;
    }
}

TEST(ResizeWorker, EachMethodAsksForItsFilterAndAnUnknownOneSkipsResampling) {
    const TResampleFilter filters[] = {rfMitchell, rfBilinear, rfBicubic, rfLanczos3,
                                       rfHermite,  rfBell,     rfBSpline, rfWICCubicHQ};
    for (int methode = 0; methode <= 8; ++methode) {
        TRisizeProperty job;
        job.NewSize = 50;
        job.Multi = true;
        job.ResizeMethode = TResizeMethode(methode);
        TWatchedResize worker(job, 200, 100);
        worker.Resume();
        worker.WaitUntilParked();
        EXPECT_EQ(worker.Steps, methode < 8 ? "50x25" : "") << methode;
        EXPECT_EQ(worker.Filter, methode < 8 ? filters[methode] : rfNone) << methode;
    }
}

// Both stay in force for the whole process after the job, also for the thumbnails.
TEST(ResizeWorker, ConstructionTurnsOrientationOnAndCmsAsTheJobSays) {
    IEGlobalSettings().IOParamDefaults().EnableAdjustOrientation = false;
    for (bool cms : {true, false}) {
        TRisizeProperty job;
        job.EnableCMS = cms;
        TResize worker(job);
        EXPECT_TRUE(worker.Suspended());
        EXPECT_TRUE(IEGlobalSettings().IOParamDefaults().EnableAdjustOrientation);
        EXPECT_EQ(IEGlobalSettings().EnableCMS(), cms);
    }
}

TEST(ResizeWorker, ParksFromItsThreadUntilReleasedAndKeepsItsException) {
    TTempDir dir;
    WriteTextFile(dir / "hostname", "not a picture");
    TRisizeProperty job;
    job.Source = dir / "hostname";
    job.Destination = "/nonexistent/dir/Resize";
    TResize worker(job);
    // A driver woken by OnParked must find the worker suspended already.
    bool suspendedWhenAnnounced = false;
    std::thread::id announcedOn;
    worker.OnParked = [&] {
        suspendedWhenAnnounced = worker.Suspended();
        announcedOn = std::this_thread::get_id();
    };
    worker.Resume();
    worker.WaitUntilParked();
    EXPECT_TRUE(suspendedWhenAnnounced);
    EXPECT_NE(announcedOn, std::this_thread::get_id());
    // The target name was set before the file could not be created.
    EXPECT_EQ(worker.NewImage(), "/nonexistent/dir/Resize/R-hostname.jpg");
    EXPECT_TRUE(worker.FatalException());
    worker.Terminate();
    worker.WaitFor();

    // A load that raises ends the work before the save stage, without a failure.
    job.Source = dir / "missing.jpg";
    TResize missing(job);
    missing.Resume();
    missing.WaitUntilParked();
    EXPECT_TRUE(missing.NewImage().empty());
    EXPECT_FALSE(missing.FatalException());
}

TEST(ResizeWorker, TerminatedBeforeStartSkipsTheWork) {
    TTempDir dir;
    WriteTextFile(dir / "a.txt", "x");
    TRisizeProperty job;
    job.Source = dir / "a.txt";
    job.Destination = dir.Path();
    TResize worker(job);
    worker.Terminate();
    worker.Resume();
    worker.WaitFor();
    EXPECT_TRUE(worker.NewImage().empty());
    EXPECT_FALSE(std::filesystem::exists(dir / "R-a.jpg"));
}
