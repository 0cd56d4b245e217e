#include "app/ahresize.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <thread>
#include <utility>
#include <vector>

#include "tests/testutil.h"

namespace {

struct TResampleCall {
    int32_t Width, Height;
    TResampleFilter Filter;
    int32_t ResultWidth, ResultHeight;
};

// A worker whose source is a blank picture of a given size, and which records each
// resampling call with the size the holder has after it.
class TWatchedResize : public TResize {
  public:
    TWatchedResize(const TRisizeProperty& Job, int32_t Width, int32_t Height)
        : TResize(Job), fWidth(Width), fHeight(Height) {}

    std::vector<TResampleCall> Calls;
    std::pair<int32_t, int32_t> FinalSize;

  protected:
    void Execute() override {
        Imager().IEBitmap().Allocate(fWidth, fHeight, ie8g, 0.0);
        TransformStage();
        FinalSize = {Imager().IEBitmap().Width(), Imager().IEBitmap().Height()};
    }
    void Resample(int32_t NewWidth, int32_t NewHeight, TResampleFilter Filter) override {
        // Nearest copy keeps the test fast; the sizes are what is watched.
        Imager().Proc().Resample(NewWidth, NewHeight, rfNone, false);
        Calls.push_back(
            {NewWidth, NewHeight, Filter, Imager().IEBitmap().Width(), Imager().IEBitmap().Height()});
    }

  private:
    int32_t fWidth, fHeight;
};

TWatchedResize& RunWatched(std::unique_ptr<TWatchedResize>& Worker) {
    Worker->Resume();
    Worker->WaitUntilParked();
    return *Worker;
}

std::unique_ptr<TWatchedResize> Watch(int32_t Width, int32_t Height, int32_t NewSize, bool Multi,
                                      bool HeighPrio = false, TResizeMethode Methode = Lanczos3) {
    TRisizeProperty job;
    job.NewSize = NewSize;
    job.Multi = Multi;
    job.HeighPrio = HeighPrio;
    job.ResizeMethode = Methode;
    auto worker = std::make_unique<TWatchedResize>(job, Width, Height);
    RunWatched(worker);
    return worker;
}

std::vector<int32_t> FittedSides(const TWatchedResize& Worker, bool Width) {
    std::vector<int32_t> sides;
    for (const TResampleCall& call : Worker.Calls) {
        EXPECT_EQ(Width ? call.Height : call.Width, -1);
        sides.push_back(Width ? call.Width : call.Height);
    }
    return sides;
}

} // namespace

TEST(ResizeWorker, TargetNameDropsTheLastExtensionOnly) {
    EXPECT_EQ(ResizeTargetName("/p/a.b.jpg", "R-", ""), "R-a.b.jpg");
    EXPECT_EQ(ResizeTargetName("/p/a.tif", "", "-s"), "a-s.jpg");
    EXPECT_EQ(ResizeTargetName("/p/a.png", "", "-s"), "a-s.jpg");
    EXPECT_EQ(ResizeTargetName("/p.q/noext", "x", "y"), "xnoexty.jpg");
    EXPECT_EQ(ResizeTargetName("/p/.hidden", "R-", ""), "R-.jpg");
}

TEST(ResizeWorker, StepwiseLoopCarriesTheLengthAndResolvesTheFreeSideEachStep) {
    // Fitted side, three quarters of the cut hundreds each step: 3000 x 2250, 2250 x 1687,
    // 1650 x 1237, 1200 x 899; the free side is cut at each step.
    auto stepwise = Watch(4000, 3000, 1200, false);
    EXPECT_EQ(FittedSides(*stepwise, true), (std::vector<int32_t>{3000, 2250, 1650, 1200}));
    std::vector<int32_t> heights;
    for (const TResampleCall& call : stepwise->Calls)
        heights.push_back(call.ResultHeight);
    EXPECT_EQ(heights, (std::vector<int32_t>{2250, 1687, 1237, 899}));
    EXPECT_EQ(stepwise->FinalSize, std::make_pair(1200, 899));
    // 5 x 4 hundreds: 375 is more than the target and 225 is clamped up to it.
    EXPECT_EQ(FittedSides(*Watch(550, 400, 300, false), true), (std::vector<int32_t>{375, 300}));

    auto oneStep = Watch(4000, 3000, 1200, true);
    EXPECT_EQ(FittedSides(*oneStep, true), (std::vector<int32_t>{1200}));
    EXPECT_EQ(oneStep->FinalSize, std::make_pair(1200, 900));
}

TEST(ResizeWorker, TheFittedSideFollowsOrientationAndHeighPrio) {
    auto portrait = Watch(3000, 4000, 1200, false);
    EXPECT_EQ(FittedSides(*portrait, false), (std::vector<int32_t>{3000, 2250, 1650, 1200}));
    EXPECT_EQ(FittedSides(*Watch(500, 500, 300, true), true), (std::vector<int32_t>{300}));
    // Every picture fits its height, also a wide one, which then grows.
    auto wide = Watch(4000, 1000, 1200, true, true);
    EXPECT_EQ(FittedSides(*wide, false), (std::vector<int32_t>{1200}));
    EXPECT_EQ(wide->FinalSize, std::make_pair(4800, 1200));
}

TEST(ResizeWorker, SmallPicturesGrowInOneStep) {
    auto enlarged = Watch(1000, 800, 1200, false);
    EXPECT_EQ(FittedSides(*enlarged, true), (std::vector<int32_t>{1200}));
    EXPECT_EQ(enlarged->FinalSize, std::make_pair(1200, 960));
    // 99 div 100 is 0: the first step is clamped to the target at once.
    EXPECT_EQ(FittedSides(*Watch(99, 40, 1200, false), true), (std::vector<int32_t>{1200}));
    // Already at the target: the call is made and changes nothing.
    auto same = Watch(1200, 700, 1200, true);
    EXPECT_EQ(FittedSides(*same, true), (std::vector<int32_t>{1200}));
    EXPECT_EQ(same->FinalSize, std::make_pair(1200, 700));
}

TEST(ResizeWorker, TheLastMethodAsksForCubicAndAnUnknownOneSkipsResampling) {
    auto last = Watch(200, 100, 50, true, false, WICNearestNeighbor);
    ASSERT_EQ(last->Calls.size(), 1u);
    EXPECT_EQ(last->Calls[0].Filter, rfWICCubicHQ);
    auto none = Watch(200, 100, 50, true, false, TResizeMethode(8));
    EXPECT_TRUE(none->Calls.empty());
    EXPECT_EQ(none->FinalSize, std::make_pair(200, 100));
}

TEST(ResizeWorker, ConstructionSetsProcessWideAndHolderSettings) {
    // Opens the holder to the test.
    struct TOpenResize : TResize {
        using TResize::Imager;
        using TResize::TResize;
    };
    IEGlobalSettings().IOParamDefaults().EnableAdjustOrientation = false;
    TRisizeProperty job;
    job.EnableCMS = true;
    {
        TOpenResize worker(job);
        EXPECT_TRUE(IEGlobalSettings().IOParamDefaults().EnableAdjustOrientation);
        EXPECT_TRUE(IEGlobalSettings().EnableCMS());
        EXPECT_TRUE(worker.Suspended());
        TImager& holder = worker.Imager();
        EXPECT_TRUE(holder.EnableAlphaChannel());
        EXPECT_FALSE(holder.Proc().AutoUndo());
        EXPECT_TRUE(holder.IO().FilteredAdjustDPI());
        const TIOParams& params = holder.IO().Params();
        EXPECT_TRUE(params.RAW_AutoAdjustColors && params.RAW_UseCameraWB);
        EXPECT_TRUE(params.JPEG_EnableAdjustOrientation && params.JPEG_OptimalHuffman);
    }
    job.EnableCMS = false;
    TResize worker(job);
    EXPECT_FALSE(IEGlobalSettings().EnableCMS());
}

TEST(ResizeWorker, ParksAfterItsWorkUntilReleased) {
    TRisizeProperty job;
    job.Source = "/nonexistent/dir/file.jpg";
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
    // The load raised, so the save stage never began.
    EXPECT_TRUE(worker.NewImage().empty());
    EXPECT_FALSE(worker.FatalException());
    // Terminate releases the park, so the wait ends.
    worker.Terminate();
    worker.WaitFor();
}

TEST(ResizeWorker, AnExceptionInTheSaveStageRestsWithTheThread) {
    TTempDir dir;
    WriteTextFile(dir / "hostname", "not a picture");
    TRisizeProperty job;
    job.Source = dir / "hostname";
    job.Destination = "/nonexistent/dir/Resize";
    TResize worker(job);
    worker.Resume();
    worker.WaitUntilParked();
    // The target name was set before the file could not be created.
    EXPECT_EQ(worker.NewImage(), "/nonexistent/dir/Resize/R-hostname.jpg");
    EXPECT_TRUE(worker.FatalException());
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
