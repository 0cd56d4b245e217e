#include "app/ahresize.h"

#include <cmath>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <thread>

#include "app/appfolder.h"
#include "proc/enhance.h"
#include "proc/sharpen.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/testutil.h"

namespace {

// A worker on a given picture. Watching, it resamples by nearest copy and notes the size after
// each step and the filter asked for; otherwise resampling leaves the picture as it is, so
// that the finishing steps alone shape the result, and the save stage follows.
struct TTestResize : TResize {
    TTestResize(const TRisizeProperty& Job, TIEBitmap& Source, bool Watch)
        : TResize(Job), Picture(Source), Watching(Watch) {}
    TIEBitmap& Picture;
    bool Watching;
    std::ostringstream Steps;
    TResampleFilter Filter = rfNone;

    void Execute() override {
        Imager().IEBitmap().AssignImage(Picture);
        TransformStage();
        if (!Watching) SaveStage();
        EXPECT_EQ(Imager().LayersCount(), 1);
        Picture.AssignImage(Imager().IEBitmap());
    }
    void Resample(int32_t NewWidth, int32_t NewHeight, TResampleFilter AskedFilter) override {
        if (!Watching) return;
        // The free side is left to the engine, so it follows the picture step by step.
        EXPECT_TRUE((NewWidth == -1) != (NewHeight == -1)) << NewWidth << " x " << NewHeight;
        Imager().Proc().Resample(NewWidth, NewHeight, rfNone, false);
        Steps << Imager().IEBitmap().Width() << "x" << Imager().IEBitmap().Height() << " ";
        Filter = AskedFilter;
    }
};

// The steps of a blank picture of the given size, and the filter of the last one.
std::string Steps(TRisizeProperty Job, int32_t Width, int32_t Height, TResampleFilter* Filter = nullptr) {
    TIEBitmap picture(Width, Height, ie8g);
    TTestResize worker(Job, picture, true);
    worker.Resume();
    worker.WaitUntilParked();
    if (Filter) *Filter = worker.Filter;
    return worker.Steps.str();
}

// Turns Picture into what the transform and save stages make of it.
void Finish(TRisizeProperty Job, TIEBitmap& Picture) {
    TTempDir dir;
    Job.Source = dir / "picture.png";
    Job.Destination = dir.Path();
    TTestResize worker(Job, Picture, false);
    worker.Resume();
    worker.WaitUntilParked();
    EXPECT_FALSE(worker.FatalException());
    EXPECT_TRUE(std::filesystem::exists(worker.NewImage())) << worker.NewImage();
}

// A picture from literal pixels, row by row; a single pixel fills the whole picture.
// With alphas, it has an alpha channel.
struct TPicture {
    int32_t Width = 0, Height = 0;
    std::vector<TRGB> Pixels = {};
    std::vector<uint8_t> Alphas = {};

    void Draw(TIEBitmap& Bitmap) const {
        Bitmap.Allocate(Width, Height, ie24RGB);
        if (!Alphas.empty()) Bitmap.AlphaChannel()->SetFull(false);
        for (int32_t i = 0; i < Width * Height; ++i) {
            Bitmap.SetPixels_ie24RGB(i % Width, i / Width, Pixels[Pixels.size() == 1 ? 0 : size_t(i)]);
            if (!Alphas.empty()) Bitmap.SetAlpha(i % Width, i / Width, Alphas[size_t(i)]);
        }
    }
};

constexpr auto Grey = [](uint8_t v) { return TRGB{v, v, v}; };
constexpr TRGB White = Grey(255), Red{0, 0, 255};

// What the save stage makes of Source, with Mark (none if empty) as the program's
// Watermark.png; Flags "W" asks for the watermark, "B" for black and white. Every pixel as
// "r,g,b", or one value for a grey; rows parted by "/".
std::string Finish(const TPicture& Mark, const std::string& Flags, const TPicture& Source) {
    TTempDir program;
    SetProgramArgument0((program / "pixelwright").c_str());
    TIEBitmap mark, bitmap;
    if (Mark.Width) {
        Mark.Draw(mark);
        TImagerIO(&mark, false).SaveToFilePNG(program / "Watermark.png");
    }
    Source.Draw(bitmap);
    Finish({.WaterMark = Flags.find('W') != std::string::npos, .BW = Flags.find('B') != std::string::npos},
           bitmap);
    SetProgramArgument0("");
    std::ostringstream text;
    for (int32_t y = 0; y < bitmap.Height(); ++y)
        for (int32_t x = 0; x < bitmap.Width(); ++x) {
            const TRGB c = bitmap.GetPixels_ie24RGB(x, y);
            text << (x ? " " : y ? "/" : "") << int(c.r);
            if (c.g != c.r || c.b != c.r) text << "," << int(c.g) << "," << int(c.b);
        }
    return text.str();
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
    EXPECT_EQ(Steps({.NewSize = 1200}, 4000, 3000), "3000x2250 2250x1687 1650x1237 1200x899 ");
    // 5 x 4 hundreds: 375 is more than the target and 225 is clamped up to it.
    EXPECT_EQ(Steps({.NewSize = 300}, 550, 400), "375x272 300x217 ");
    EXPECT_EQ(Steps({.NewSize = 1200, .Multi = true}, 4000, 3000), "1200x900 ");
    // Small pictures grow in one step; one at the target is still resampled.
    EXPECT_EQ(Steps({.NewSize = 1200}, 1000, 800), "1200x960 ");
    EXPECT_EQ(Steps({.NewSize = 1200, .Multi = true}, 1200, 700), "1200x700 ");
    // Every picture fits its height, also a wide one, which then grows.
    EXPECT_EQ(Steps({.NewSize = 1200, .HeighPrio = true, .Multi = true}, 4000, 1000), "4800x1200 ");
}

TEST(ResizeWorker, EachMethodAsksForItsFilterAndAnUnknownOneSkipsResampling) {
    const TResampleFilter filters[] = {rfMitchell, rfBilinear, rfBicubic,    rfLanczos3, rfHermite,
                                       rfBell,     rfBSpline,  rfWICCubicHQ, rfNone};
    for (int methode = 0; methode <= 8; ++methode) {
        TResampleFilter filter;
        EXPECT_EQ(Steps({.NewSize = 50, .Multi = true, .ResizeMethode = TResizeMethode(methode)}, 200, 100,
                        &filter),
                  methode < 8 ? "50x25 " : "")
            << methode;
        EXPECT_EQ(filter, filters[methode]) << methode;
    }
}

TEST(ResizeWorker, ParksFromItsThreadUntilReleasedKeepsItsExceptionAndCanBeStoppedBeforeStarting) {
    TTempDir dir;
    WriteTextFile(dir / "hostname", "not a picture");
    // Process-wide, and so for the thumbnails too: orientation always, CMS as the job says.
    IEGlobalSettings().IOParamDefaults().EnableAdjustOrientation = false;
    TRisizeProperty job{
        .Source = dir / "hostname", .Destination = "/nonexistent/dir/Resize", .EnableCMS = true};
    TResize worker(job);
    EXPECT_TRUE(IEGlobalSettings().IOParamDefaults().EnableAdjustOrientation &&
                IEGlobalSettings().EnableCMS());
    // A driver woken by OnParked must find the worker suspended already.
    const std::thread::id driver = std::this_thread::get_id();
    bool suspendedWhenAnnounced = false;
    worker.OnParked = [&] {
        suspendedWhenAnnounced = worker.Suspended() && std::this_thread::get_id() != driver;
    };
    worker.Resume();
    worker.WaitUntilParked();
    EXPECT_TRUE(suspendedWhenAnnounced);
    // The target name was set before the file could not be created.
    EXPECT_EQ(worker.NewImage(), "/nonexistent/dir/Resize/R-hostname.jpg");
    EXPECT_TRUE(worker.FatalException());
    worker.Terminate();
    worker.WaitFor();

    // A load that raises ends the work before the save stage, without a failure; a worker
    // terminated before it starts doesn't even name its target.
    job.EnableCMS = false;
    for (const std::string name : {"missing.jpg", "hostname"}) {
        job.Source = dir / name;
        TResize other(job);
        EXPECT_FALSE(IEGlobalSettings().EnableCMS());
        if (name == "hostname") other.Terminate();
        other.Resume();
        other.WaitUntilParked();
        EXPECT_TRUE(other.NewImage().empty() && !other.FatalException()) << name;
    }
}

TEST(ResizeWorkerFinish, EachFlagRunsItsStepEnhancementBeforeTheHalfSharpenedBlend) {
    for (const auto& [enhance, sharpen] : {std::pair{true, false}, {false, true}, {true, true}}) {
        // Edges and a colour cast, so that both enhancement and sharpening change it.
        TIEBitmap original(24, 16, ie24RGB), result, expected, sharpened;
        for (int32_t y = 0; y < 16; ++y)
            for (int32_t x = 0; x < 24; ++x) {
                const uint8_t v = uint8_t(((x / 4 + y / 4) & 1 ? 180 : 50) + (x * 3 + y) % 20);
                original.SetPixels_ie24RGB(x, y, TRGB{uint8_t(v / 2), v, uint8_t(v / 4 + 100)});
            }
        result.AssignImage(original);
        Finish({.SharpImg = sharpen, .ImageEnhance = enhance}, result);
        expected.AssignImage(original);
        if (enhance) IEAutoImageEnhance3(expected, 0.33, 70, TIEProgressEvent(), nullptr);
        sharpened.AssignImage(expected);
        if (sharpen) {
            IEAutoSharp(sharpened, 68, 0.035, TIEProgressEvent(), nullptr);
            // Half each of the sharpened and the unsharpened picture, ties to even.
            for (int32_t y = 0; y < 16; ++y) {
                auto* row = static_cast<uint8_t*>(expected.GetScanline(y));
                const auto* sharp = static_cast<const uint8_t*>(sharpened.GetScanline(y));
                for (int32_t i = 0; i < 24 * 3; ++i)
                    row[i] = uint8_t(std::nearbyint((row[i] + sharp[i]) / 2.0));
            }
        }
        EXPECT_EQ(FirstDifference(result, expected), "") << enhance << sharpen;
        // Each step shows on this picture, so a step skipped or swapped would too.
        EXPECT_NE(FirstDifference(expected, original), "");
    }
}

// The watermark goes bottom right without a margin, at its own size, its alpha capped at 70.
TEST(ResizeWorkerFinish, WatermarkPlacementAndCeiling) {
    // Alphas 200 and 255 are capped to 70, 35 stays, 0 leaves the picture:
    // 70 + 185/255 * 100 = 142.55; 220/255 * 200 = 172.55, plus 35/255 of 0, 50 and 255.
    EXPECT_EQ(Finish({4, 1, {White, TRGB{255, 50, 0}, White, White}, {200, 35, 0, 255}}, "W",
                     {4, 1, {Grey(100), Grey(200), Grey(50), Grey(0)}}),
              "143 173,179,208 50 70");
    // Without alpha every watermark pixel counts 70/255.
    EXPECT_EQ(Finish({2, 1, {White}}, "W", {4, 3, {Grey(0)}}), "0 0 0 0/0 0 0 0/0 0 70 70");
    // Position -1, -1: the picture moves into a 3 x 3 result, the ring keeps the watermark.
    // r 70 + 185/255 * 100 = 142.55, g and b 72.55.
    EXPECT_EQ(Finish({3, 3, {Red}}, "W", {2, 2, {Grey(100)}}),
              "255,0,0 255,0,0 255,0,0/255,0,0 143,73,73 143,73,73/255,0,0 143,73,73 143,73,73");
    EXPECT_EQ(Finish({}, "W", {2, 1, {Grey(100)}}), "100 100");
    EXPECT_EQ(Finish({2, 1, {White}}, "", {2, 1, {Grey(100)}}), "100 100");
}

TEST(ResizeWorkerFinish, BlackAndWhiteBalancesTheChannelsAfterTheWatermark) {
    // The balance alone is worked out in the image command tests. The merge first: 100 and
    // r 143, g b 73. Means r 121.5, g b 86.5: g and b scaled by 121.5/86.5, cut: 140 and 102.
    // Grey 13160 / 100 and 11061 / 100.
    EXPECT_EQ(Finish({1, 1, {Red}}, "WB", {2, 1, {Grey(100)}}), "131 110");
}
