#include "app/ahresize.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <thread>

#include "tests/testutil.h"

namespace {

// The size after each resampling step of a worker whose source is a blank picture, and the
// filter of the last step.
std::string Steps(TRisizeProperty Job, int32_t Width, int32_t Height, TResampleFilter* Filter = nullptr) {
    struct TWatchedResize : TResize {
        using TResize::TResize;
        int32_t Width = 0, Height = 0;
        std::string Steps;
        TResampleFilter Filter = rfNone;
        void Execute() override {
            Imager().IEBitmap().Allocate(Width, Height, ie8g, 0.0);
            TransformStage();
        }
        void Resample(int32_t NewWidth, int32_t NewHeight, TResampleFilter AskedFilter) override {
            // The free side is left to the engine, so it follows the picture step by step.
            EXPECT_TRUE((NewWidth == -1) != (NewHeight == -1)) << NewWidth << " x " << NewHeight;
            Imager().Proc().Resample(NewWidth, NewHeight, rfNone, false);
            Steps += std::string(Steps.empty() ? "" : " ") + std::to_string(Imager().IEBitmap().Width()) +
                     "x" + std::to_string(Imager().IEBitmap().Height());
            Filter = AskedFilter;
        }
    } worker(Job);
    worker.Width = Width;
    worker.Height = Height;
    worker.Resume();
    worker.WaitUntilParked();
    if (Filter) *Filter = worker.Filter;
    return worker.Steps;
}

TRisizeProperty Job(int32_t NewSize, bool Multi, bool HeighPrio = false) {
    TRisizeProperty job;
    job.NewSize = NewSize;
    job.Multi = Multi;
    job.HeighPrio = HeighPrio;
    return job;
}

} // namespace

TEST(ResizeWorker, TargetNameDropsTheLastExtensionOnly) {
    EXPECT_EQ(ResizeTargetName("/p/a.b.jpg", "R-", ""), "R-a.b.jpg");
    EXPECT_EQ(ResizeTargetName("/p.q/noext", "x", "-s"), "xnoext-s.jpg");
    EXPECT_EQ(ResizeTargetName("/p/.hidden", "R-", ""), "R-.jpg");
}

TEST(ResizeWorker, SizeStepsFitTheLongerSideOrTheHeight) {
    // Three quarters of the cut hundreds each step, the free side cut each time:
    // 2250 / 3000 * 2250 = 1687.5, 1650 / 2250 * 1687 = 1237.1, 1200 / 1650 * 1237 = 899.6.
    EXPECT_EQ(Steps(Job(1200, false), 4000, 3000), "3000x2250 2250x1687 1650x1237 1200x899");
    EXPECT_EQ(Steps(Job(1200, false), 3000, 4000), "2250x3000 1687x2250 1237x1650 899x1200");
    // 5 x 4 hundreds: 375 is more than the target and 225 is clamped up to it.
    EXPECT_EQ(Steps(Job(300, false), 550, 400), "375x272 300x217");
    EXPECT_EQ(Steps(Job(1200, true), 4000, 3000), "1200x900");
    // Small pictures grow in one step; one at the target is still resampled.
    EXPECT_EQ(Steps(Job(1200, false), 1000, 800), "1200x960");
    EXPECT_EQ(Steps(Job(1200, true), 1200, 700), "1200x700");
    // Every picture fits its height, also a wide one, which then grows.
    EXPECT_EQ(Steps(Job(1200, true, true), 4000, 1000), "4800x1200");
}

TEST(ResizeWorker, EachMethodAsksForItsFilterAndAnUnknownOneSkipsResampling) {
    const TResampleFilter filters[] = {rfMitchell, rfBilinear, rfBicubic,    rfLanczos3, rfHermite,
                                       rfBell,     rfBSpline,  rfWICCubicHQ, rfNone};
    for (int methode = 0; methode <= 8; ++methode) {
        TRisizeProperty job = Job(50, true);
        job.ResizeMethode = TResizeMethode(methode);
        TResampleFilter filter;
        EXPECT_EQ(Steps(job, 200, 100, &filter), methode < 8 ? "50x25" : "") << methode;
        EXPECT_EQ(filter, filters[methode]) << methode;
    }
}

TEST(ResizeWorker, ParksFromItsThreadUntilReleasedAndKeepsItsException) {
    TTempDir dir;
    WriteTextFile(dir / "hostname", "not a picture");
    TRisizeProperty job;
    job.Source = dir / "hostname";
    job.Destination = "/nonexistent/dir/Resize";
    // Process-wide, and so for the thumbnails too: orientation always, CMS as the job says.
    IEGlobalSettings().IOParamDefaults().EnableAdjustOrientation = false;
    job.EnableCMS = true;
    TResize worker(job);
    EXPECT_TRUE(IEGlobalSettings().IOParamDefaults().EnableAdjustOrientation &&
                IEGlobalSettings().EnableCMS());
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
    job.EnableCMS = false;
    TResize missing(job);
    EXPECT_FALSE(IEGlobalSettings().EnableCMS());
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
