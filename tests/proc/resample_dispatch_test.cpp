#include "proc/resample.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <thread>
#include <unistd.h>
#include <vector>

#include "image/bitmap.h"
#include "image/settings.h"
#include "proc/imagerproc.h"
#include "proc/resample_contrib.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/proc/resampletestutil.h"
#include "tests/proc/rgbtestutil.h"

namespace {

const TIEProgressEvent NoProgress;

std::pair<int32_t, int32_t> Resolve(int32_t NewWidth, int32_t NewHeight, int32_t Width, int32_t Height,
                                    bool Maintain = false) {
    IEResolveResampleSize(NewWidth, NewHeight, Width, Height, Maintain);
    return {NewWidth, NewHeight};
}

// The horizontal pass on exactly Threads bands, whatever the machine's cores and the
// picture's size; the settings go back afterwards.
class TForcedThreads {
  public:
    explicit TForcedThreads(int32_t Threads)
        : fMaxThreads(IEGlobalSettings().ImageProcMaxThreads()),
          fMinSize(IEGlobalSettings().ImageProcThreadsMinSize()) {
        IEGlobalSettings().SetImageProcMaxThreads(Threads);
        IEGlobalSettings().SetImageProcThreadsMinSize(0);
        IESetPhysicalCoreCount(Threads);
    }
    ~TForcedThreads() {
        IEGlobalSettings().SetImageProcMaxThreads(fMaxThreads);
        IEGlobalSettings().SetImageProcThreadsMinSize(fMinSize);
        IESetPhysicalCoreCount(0);
    }

  private:
    int32_t fMaxThreads;
    int64_t fMinSize;
};

} // namespace

TEST(ResampleSize, FreeSideFollowsCutTowardZero) {
    EXPECT_EQ(Resolve(1024, -1, 4000, 3000), std::make_pair(1024, 768));
    EXPECT_EQ(Resolve(1000, -1, 3000, 2000), std::make_pair(1000, 666));
    EXPECT_EQ(Resolve(-1, 500, 3000, 2000), std::make_pair(750, 500));
    // A free side that computes to 0 becomes 1.
    EXPECT_EQ(Resolve(10, -1, 1000, 1), std::make_pair(10, 1));
    EXPECT_EQ(Resolve(-1, 1, 1, 5000), std::make_pair(1, 1));
    // 0 keeps the present side, other negatives count by their size, both negative
    // stay as they are.
    EXPECT_EQ(Resolve(0, 77, 300, 200), std::make_pair(300, 77));
    EXPECT_EQ(Resolve(-50, -1, 300, 200), std::make_pair(-50, -1));
    EXPECT_EQ(Resolve(-50, 20, 300, 200), std::make_pair(50, 20));
}

TEST(ResampleSize, MaintainAspectRatioFitsTheBox) {
    EXPECT_EQ(Resolve(100, 100, 400, 200, true), std::make_pair(100, 50));
    EXPECT_EQ(Resolve(100, 100, 200, 400, true), std::make_pair(50, 100));
    EXPECT_EQ(Resolve(1000, 1000, 40, 20, true), std::make_pair(1000, 500)); // enlarges too
    // Only counts when both sides are given.
    EXPECT_EQ(Resolve(100, -1, 400, 300, true), std::make_pair(100, 75));
    EXPECT_EQ(Resolve(1, 1, 1000, 1, true), std::make_pair(1, 1));
}

TEST(ResampleDispatch, EqualSizeAssigns) {
    TIEBitmap src, dst(3, 2, ie8g);
    FillGrey(src, 3, 2, {1, 2, 3, 4, 5, 6});
    IEResampleDispatch(src, dst, rfLanczos3, NoProgress, nullptr);
    EXPECT_EQ(GreyPixels(dst), Bytes({1, 2, 3, 4, 5, 6}));
}

// Every filter keeps a constant picture constant, a single pixel included, and gives
// the same bytes on 1, 2 and 4 threads.
TEST(ResampleDispatch, EveryFilterKeepsConstantsAndIgnoresTheThreadCount) {
    TTestImage busy = TTestImage::Busy(64, 40, 3);
    TIEBitmap picture(64, 40, ie24RGB);
    for (int32_t y = 0; y < 40; ++y)
        std::memcpy(picture.GetScanline(y), busy.Row(y), 64 * 3);
    for (int f = rfNone; f <= rfWICCubicHQ; ++f) {
        const auto filter = TResampleFilter(f);
        if (filter == rfProjectBW || filter == rfProjectWB) continue;
        SCOPED_TRACE(IEResampleFilterName(filter));
        for (auto [w, h, dw, dh] : {std::array{1, 1, 4, 3}, std::array{13, 9, 5, 4},
                                    std::array{13, 9, 29, 20}, std::array{7, 11, 4, 19}}) {
            TIEBitmap src(w, h, ie24RGB, double(0x6311C8)), dst(dw, dh, ie24RGB);
            IEResampleDispatch(src, dst, filter, NoProgress, nullptr);
            for (int32_t y = 0; y < dh; ++y)
                for (int32_t x = 0; x < dw; ++x) {
                    const TRGB p = dst.GetPixels_ie24RGB(x, y);
                    ASSERT_EQ(Bytes({p.r, p.g, p.b}), Bytes({200, 17, 99}))
                        << w << "x" << h << " to " << x << "," << y;
                }
        }
        TIEBitmap reference;
        for (auto [dw, dh] : {std::pair{23, 10}, std::pair{150, 90}, std::pair{20, 2}})
            for (int32_t threads : {1, 2, 4}) {
                TForcedThreads forced(threads);
                TIEBitmap dst(dw, dh, ie24RGB);
                IEResampleDispatch(picture, dst, filter, NoProgress, nullptr);
                if (threads == 1)
                    reference.Assign(dst);
                else
                    EXPECT_EQ(FirstDifference(reference, dst), "") << threads << " threads to " << dw;
            }
    }
}

// The dispatch reaches the engines with the bitmaps' rows: the reduction and the
// area walk of the engine tests come out the same through TIEBitmap.
TEST(ResampleDispatch, RoutesByFilter) {
    TIEBitmap src, dst(3, 1, ie24RGB);
    FillGrey24(src, 5, 1, {10, 20, 40, 80, 160});
    IEResampleDispatch(src, dst, rfTriangle, NoProgress, nullptr);
    EXPECT_EQ(Reds(dst), (std::vector<int>{15, 45, 140}));

    TIEBitmap area, areaOut(6, 1, ie24RGB);
    FillGrey24(area, 3, 1, {0, 100, 200});
    IEResampleDispatch(area, areaOut, rfBicubic, NoProgress, nullptr);
    EXPECT_EQ(Reds(areaOut), (std::vector<int>{38, 100, 162, 200, 212, 200}));

    TIEBitmap fast, fastOut(5, 1, ie24RGB);
    FillGrey24(fast, 2, 1, {0, 100});
    IEResampleDispatch(fast, fastOut, rfFastLinear, NoProgress, nullptr);
    EXPECT_EQ(Reds(fastOut), (std::vector<int>{0, 0, 40, 80, 100}));

    // ie8g takes the one-byte engines: no half-pixel shift, rounded tables.
    TIEBitmap grey, greyOut(5, 1, ie8g);
    FillGrey(grey, 2, 1, {0, 100});
    IEResampleDispatch(grey, greyOut, rfFastLinear, NoProgress, nullptr);
    EXPECT_EQ(GreyPixels(greyOut), Bytes({0, 40, 100, 100, 100}));
}

TEST(ResampleDispatch, FormatsOfTheResult) {
    // rfNone copies whole pixels in any format.
    TIEBitmap words(2, 1, ie16g), wordsOut(4, 1, ie16g);
    words.SetPixels_ie16g(0, 0, 1000);
    words.SetPixels_ie16g(1, 0, 50000);
    IEResampleDispatch(words, wordsOut, rfNone, NoProgress, nullptr);
    EXPECT_EQ(wordsOut.PixelFormat(), ie16g);
    EXPECT_EQ(wordsOut.GetPixels_ie16g(1, 0), 1000);
    EXPECT_EQ(wordsOut.GetPixels_ie16g(2, 0), 50000);

    // The area walk keeps 48-bit colour.
    TIEBitmap deep(2, 2, ie48RGB), deepOut(1, 1, ie48RGB);
    for (int32_t i = 0; i < 4; ++i)
        deep.SetPixels_ie48RGB(i % 2, i / 2, TRGB48{uint16_t(1000 * i), 7, 65535});
    IEResampleDispatch(deep, deepOut, rfBilinear, NoProgress, nullptr);
    EXPECT_EQ(deepOut.PixelFormat(), ie48RGB);
    EXPECT_EQ(deepOut.GetPixels_ie48RGB(0, 0).r, 1500);
    EXPECT_EQ(deepOut.GetPixels_ie48RGB(0, 0).b, 65535);

    // A kernel filter on a format without its own route goes through ie24RGB.
    TIEBitmap rgba(4, 1, ie32RGB), rgbaOut(2, 1, ie32RGB);
    for (int32_t x = 0; x < 4; ++x)
        rgba.SetPixels_ie32RGB(x, 0, TRGBA{9, 9, 9, 9});
    IEResampleDispatch(rgba, rgbaOut, rfLanczos3, NoProgress, nullptr);
    EXPECT_EQ(rgbaOut.PixelFormat(), ie24RGB);
    EXPECT_EQ(rgbaOut.GetPixels_ie24RGB(1, 0).g, 9);
    // ... while the area walk handles ie32RGB itself.
    TIEBitmap rgbaArea(2, 1, ie32RGB);
    IEResampleDispatch(rgba, rgbaArea, rfBilinear, NoProgress, nullptr);
    EXPECT_EQ(rgbaArea.PixelFormat(), ie32RGB);
    EXPECT_EQ(rgbaArea.GetPixels_ie32RGB(1, 0).a, 9);
}

TEST(ResampleDispatch, OneBitSources) {
    TIEBitmap bits(3, 1, ie1g);
    bits.Fill(0);
    bits.SetPixels_ie1g(1, 0, true);
    bits.SetPixels_ie1g(2, 0, true);
    TIEBitmap rgb(5, 1, ie1g);
    IEResampleDispatch(bits, rgb, rfTriangle, NoProgress, nullptr);
    EXPECT_EQ(rgb.PixelFormat(), ie24RGB);
    EXPECT_EQ(Reds(rgb), (std::vector<int>{0, 127, 255, 255, 255}));

    TIEBitmap projected(2, 1, ie1g);
    IEResampleDispatch(bits, projected, rfProjectWB, NoProgress, nullptr);
    EXPECT_EQ(projected.PixelFormat(), ie1g);
    EXPECT_FALSE(projected.GetPixels_ie1g(0, 0));
    EXPECT_TRUE(projected.GetPixels_ie1g(1, 0));

    TIEBitmap nearest(6, 1, ie1g);
    IEResampleDispatch(bits, nearest, rfNone, NoProgress, nullptr);
    EXPECT_EQ(nearest.PixelFormat(), ie1g);
    EXPECT_FALSE(nearest.GetPixels_ie1g(1, 0));
    EXPECT_TRUE(nearest.GetPixels_ie1g(2, 0));
}

// The alpha plane goes through the one-byte route with the same filter and no
// progress; its Full flag is carried over.
TEST(ResampleDispatch, AlphaResampledSeparately) {
    TIEBitmap src, dst(3, 1, ie24RGB);
    FillGrey24(src, 5, 1, {0, 0, 0, 0, 0});
    TIEBitmap* alpha = src.AlphaChannel();
    const int values[5] = {10, 20, 40, 80, 160};
    for (int32_t x = 0; x < 5; ++x)
        alpha->SetPixels_ie8(x, 0, uint8_t(values[x]));
    alpha->SetFull(false);
    int reports = 0;
    IEResampleDispatch(
        src, dst, rfTriangle, [&](void*, int) { ++reports; }, nullptr);
    ASSERT_NE(dst.AlphaChannelOpt(), nullptr);
    EXPECT_EQ(GreyPixels(*dst.AlphaChannelOpt()), Bytes({15, 45, 140}));
    EXPECT_FALSE(dst.AlphaChannelOpt()->Full());
    // One horizontal and one vertical figure of the colour pass, none from the alpha.
    EXPECT_EQ(reports, 2);

    TIEBitmap nearest(10, 1, ie24RGB);
    IEResampleDispatch(src, nearest, rfNone, NoProgress, nullptr);
    EXPECT_EQ(GreyPixels(*nearest.AlphaChannelOpt()), Bytes({10, 10, 20, 20, 40, 40, 80, 80, 160, 160}));
}

// Only the band with index 0 reports, after each of its rows, and with 40 source rows
// and 23 target columns every row changes the figure: the reports count its rows.
TEST(ResampleDispatch, OnlyTheFirstBandReportsProgress) {
    TIEBitmap src(64, 40, ie24RGB, 0x808080);
    const std::thread::id caller = std::this_thread::get_id();
    for (int32_t threads : {1, 2, 4}) {
        TForcedThreads forced(threads);
        TIEBitmap dst(23, 10, ie24RGB);
        std::vector<std::thread::id> reporters;
        IEResampleDispatch(
            src, dst, rfLanczos3, [&](void*, int) { reporters.push_back(std::this_thread::get_id()); },
            nullptr);
        const auto onWorkers = std::count_if(reporters.begin(), reporters.end(),
                                             [&](std::thread::id id) { return id != caller; });
        EXPECT_EQ(onWorkers, threads == 1 ? 0 : 40 / threads) << threads;
        EXPECT_EQ(int64_t(reporters.size()) - onWorkers, threads == 1 ? 50 : 10) << threads;
    }
}

// An engine writes the format it reads; a destination of another format is refused
// rather than written past the end of its rows (three bytes a pixel into rows of one).
TEST(ResampleDispatch, RefusesADestinationTheEngineCannotWrite) {
    for (TResampleFilter filter : {rfTriangle, rfFastLinear, rfLanczos3}) {
        SCOPED_TRACE(filter);
        TIEBitmap src(400, 4, ie24RGB, 0x102030), dst(200, 2, ie8g, 7);
        EXPECT_FALSE(IEResampleDispatch(src, dst, filter, NoProgress, nullptr));
        EXPECT_EQ(dst.PixelFormat(), ie8g);
        EXPECT_EQ(GreyPixels(dst), std::vector<uint8_t>(400, 7));
    }
}

// A size that can't be resolved or can't be allocated leaves the picture as it was.
TEST(ResampleFrontEnd, KeepsThePictureWhenTheTargetCannotBeMade) {
    TScopedGlobal<int64_t> threshold(DefMinFileSize, int64_t(1) << 40);
    TScopedGlobal<bool> noFragments(AutoFragmentBitmap, false);
    TScopedGlobal<bool> noDisk(AutoLocateOnDisk, false);
    TScopedMaxMemoryBlock memory(1 << 20);
    const std::function<void(TImagerProc&)> calls[] = {
        [](TImagerProc& Proc) { Proc.Resample(-1, -1, rfLanczos3); },
        [](TImagerProc& Proc) { Proc.Resample(-7, -3, rfTriangle); },
        [](TImagerProc& Proc) { Proc.Resample(-1.0, rfFastLinear); },
        [](TImagerProc& Proc) { Proc.Resample(100000, 100000, rfLanczos3); },
    };
    for (const auto& call : calls) {
        TIEBitmap picture;
        FillGrey(picture, 3, 2, {1, 2, 3, 4, 5, 6});
        TImagerProc proc(&picture);
        call(proc);
        EXPECT_EQ(picture.PixelFormat(), ie8g);
        EXPECT_EQ(GreyPixels(picture), Bytes({1, 2, 3, 4, 5, 6}));
    }
}

TEST(ResampleFrontEnd, APictureWhoseRowsCannotBeReadIsNotReplaced) {
    TScopedGlobal<int64_t> threshold(DefMinFileSize, 0);
    TIEBitmap picture(8, 4, ie8g, 50);
    ASSERT_EQ(picture.Location(), ieFile);
    picture.GetRow(0);
    picture.FreeRow(0);
    ASSERT_EQ(ftruncate(StoreDescriptor(picture.MemMap()), 8), 0);
    TImagerProc proc(&picture);
    proc.Resample(4, 2, rfTriangle);
    EXPECT_EQ(picture.Width(), 8);
    EXPECT_EQ(picture.Height(), 4);
}

TEST(ResampleFrontEnd, OnePalettePixelKeepsItsColour) {
    for (TResampleFilter filter : {rfLanczos3, rfBilinear, rfFastLinear, rfWICCubicHQ, rfNone}) {
        SCOPED_TRACE(filter);
        TIEBitmap picture(1, 1, ie8p, 5);
        picture.SetPalette(5, TRGB{10, 20, 30});
        TImagerProc proc(&picture);
        proc.Resample(3, 2, filter);
        ASSERT_EQ(picture.PixelFormat(), ie8p);
        EXPECT_EQ(GreyPixels(picture), Bytes({5, 5, 5, 5, 5, 5}));
        const TRGB colour = picture.GetPalette(5);
        EXPECT_EQ(Bytes({colour.b, colour.g, colour.r}), Bytes({10, 20, 30}));
    }
}

TEST(ResampleFrontEnd, AnExceptionInAWorkerThreadReachesTheCaller) {
    TForcedThreads forced(4);
    TIEBitmap picture(64, 40, ie24RGB, 0x808080);
    TImagerProc proc(&picture);
    proc.OnProgress = [](void*, int) { throw std::bad_alloc(); };
    EXPECT_THROW(proc.Resample(23, 10, rfLanczos3), std::bad_alloc);
    EXPECT_EQ(picture.Width(), 64);
}
