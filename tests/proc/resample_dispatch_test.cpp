#include "proc/resample.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <new>
#include <unistd.h>
#include <vector>

#include "image/bitmap.h"
#include "image/settings.h"
#include "proc/imagerproc.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/image/converttestutil.h"
#include "tests/proc/rgbtestutil.h"

namespace {

const TIEProgressEvent NoProgress;

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

TEST(ResampleSize, FreeSideIsCutTowardZeroAndAspectRatioFitsTheBox) {
    const struct {
        int32_t NewWidth, NewHeight, Width, Height;
        bool Maintain;
        int32_t ExpectedWidth, ExpectedHeight;
    } cases[] = {
        // clang-format off
        {1024, -1, 4000, 3000, false, 1024, 768}, {1000, -1, 3000, 2000, false, 1000, 666},
        {-1, 500, 3000, 2000, false, 750, 500},
        {10, -1, 1000, 1, false, 10, 1}, {-1, 1, 1, 5000, false, 1, 1}, // a free side of 0 becomes 1
        {0, 77, 300, 200, false, 300, 77},                                // 0 keeps the present side
        {-50, -1, 300, 200, false, -50, -1}, {-50, 20, 300, 200, false, 50, 20}, // -1 only is free
        {100, 100, 400, 200, true, 100, 50}, {100, 100, 200, 400, true, 50, 100},
        {1000, 1000, 40, 20, true, 1000, 500}, {1, 1, 1000, 1, true, 1, 1},
        {100, -1, 400, 300, true, 100, 75}, // the box needs both sides
        // clang-format on
    };
    for (const auto& c : cases) {
        int32_t w = c.NewWidth, h = c.NewHeight;
        IEResolveResampleSize(w, h, c.Width, c.Height, c.Maintain);
        EXPECT_EQ(std::make_pair(w, h), std::make_pair(c.ExpectedWidth, c.ExpectedHeight))
            << c.NewWidth << "," << c.NewHeight << " of " << c.Width << "x" << c.Height;
    }
}

// Every filter keeps a constant picture constant, a single pixel included, and gives
// the same bytes on 1, 2 and 4 threads.
TEST(ResampleDispatch, EveryFilterKeepsConstantsAndIgnoresTheThreadCount) {
    TIEBitmap picture;
    FillBusy(picture, 64, 40);
    for (int f = rfNone; f <= rfWICCubicHQ; ++f) {
        const auto filter = TResampleFilter(f);
        if (filter == rfProjectBW || filter == rfProjectWB) continue;
        SCOPED_TRACE(IEResampleFilterName(filter));
        for (auto [w, h, dw, dh] : {std::array{1, 1, 4, 3}, std::array{13, 9, 5, 4},
                                    std::array{13, 9, 29, 20}, std::array{7, 11, 4, 19}}) {
            TIEBitmap src(w, h, ie24RGB, double(0x6311C8)), dst(dw, dh, ie24RGB);
            IEResampleDispatch(src, dst, filter, NoProgress, nullptr);
            TIEBitmap constant(dw, dh, ie24RGB, double(0x6311C8));
            ASSERT_EQ(FirstDifference(constant, dst), "") << w << "x" << h << " to " << dw;
        }
        TIEBitmap reference;
        for (auto [dw, dh] : {std::pair{23, 10}, std::pair{150, 90}, std::pair{20, 2}})
            for (int32_t threads : {1, 2, 4}) {
                TForcedThreads forced(threads);
                TIEBitmap dst(dw, dh, ie24RGB);
                IEResampleDispatch(picture, dst, filter, NoProgress, nullptr);
                if (threads == 1) reference.Assign(dst);
                EXPECT_EQ(FirstDifference(reference, dst), "") << threads << " threads to " << dw;
            }
    }
}

// Each filter and format reaches its engine, which writes the format it reads or the one
// its route gives; the alpha plane goes through the one-byte route with the same filter.
TEST(ResampleDispatch, RoutesByFilterAndFormat) {
    const char* const rgba = "ie32RGB rgba(9,9,9,9) rgba(9,9,9,9) rgba(9,9,9,9) rgba(9,9,9,9)";
    // clang-format off
    const struct {
        TResampleFilter Filter;
        const char *Source, *Expected;
    } cases[] = {
        {rfLanczos3, "ie8g 1 2 3 / 4 5 6", "ie8g 1 2 3 / 4 5 6"}, // equal sizes: a copy
        {rfTriangle, "ie24RGB 10 20 40 80 160", "ie24RGB 15 45 140"},
        {rfBicubic, "ie24RGB 0 100 200", "ie24RGB 38 100 162 200 212 200"},
        {rfFastLinear, "ie24RGB 0 100", "ie24RGB 0 0 40 80 100"},
        {rfFastLinear, "ie8g 0 100", "ie8g 0 40 100 100 100"}, // one-byte engines: no shift, rounded
        {rfNone, "ie16g 1000 50000", "ie16g 1000 1000 50000 50000"},
        // The area walk keeps 48-bit colour: (0 + 1000 + 2000 + 3000) / 4.
        {rfBilinear, "ie48RGB rgb48(0,7,65535) rgb48(1000,7,65535) / rgb48(2000,7,65535) rgb48(3000,7,65535)",
         "ie48RGB rgb48(1500,7,65535)"},
        // A kernel filter on a format without its own route goes through ie24RGB, while the
        // area walk handles ie32RGB itself.
        {rfLanczos3, rgba, "ie24RGB 9 9"},
        {rfBilinear, rgba, "ie32RGB rgba(9,9,9,9) rgba(9,9,9,9)"},
        {rfTriangle, "ie1g 0 1 1", "ie24RGB 0 127 255 255 255"},
        {rfProjectWB, "ie1g 0 1 1", "ie1g 0 1"},
        {rfNone, "ie1g 0 1 1", "ie1g 0 0 1 1 1 1"},
        {rfTriangle, "ie24RGB 0 0 0 0 0 alpha 10 20 40 80 160", "ie24RGB 0 0 0 alpha 15 45 140"},
        {rfNone, "ie24RGB 0 0 0 0 0 alpha 10 20 40 80 160",
         "ie24RGB 0 0 0 0 0 0 0 0 0 0 alpha 10 10 20 20 40 40 80 80 160 160"},
    };
    // clang-format on
    for (const auto& c : cases) {
        TIEBitmap src, dst;
        Draw(src, c.Source);
        Draw(dst, std::string(c.Source).substr(0, std::string(c.Source).find(' ')) +
                      std::string(c.Expected).substr(std::string(c.Expected).find(' ')));
        dst.RemoveAlphaChannel(false, 0);
        int reports = 0;
        IEResampleDispatch(
            src, dst, c.Filter, [&](void*, int) { ++reports; }, nullptr);
        EXPECT_EQ(Text(dst), c.Expected) << IEResampleFilterName(c.Filter) << " " << c.Source;
        if (src.AlphaChannelOpt()) {
            EXPECT_FALSE(dst.AlphaChannelOpt()->Full());
            // One horizontal and one vertical figure of the colour pass, none from the alpha.
            EXPECT_EQ(c.Filter == rfTriangle ? reports : 2, 2);
        }
    }
}

// An engine writes the format it reads; a destination of another format is refused
// rather than written past the end of its rows (three bytes a pixel into rows of one).
TEST(ResampleDispatch, RefusesADestinationTheEngineCannotWrite) {
    for (TResampleFilter filter : {rfTriangle, rfFastLinear, rfLanczos3}) {
        TIEBitmap src(400, 4, ie24RGB, 0x102030), dst(200, 2, ie8g, 7);
        EXPECT_FALSE(IEResampleDispatch(src, dst, filter, NoProgress, nullptr)) << filter;
        EXPECT_EQ(GreyPixels(dst), std::vector<uint8_t>(400, 7)) << filter;
    }
}

// A size that can't be resolved or allocated, or rows that can't be read, leave the
// picture as it was.
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
        TImagerProc proc(&Draw(picture, "ie8g 1 2 3 / 4 5 6"));
        call(proc);
        EXPECT_EQ(Text(picture), "ie8g 1 2 3 / 4 5 6");
    }
    TScopedGlobal<int64_t> onFile(DefMinFileSize, 0);
    TIEBitmap lost(8, 4, ie8g, 50);
    ASSERT_EQ(lost.Location(), ieFile);
    lost.GetRow(0);
    lost.FreeRow(0);
    ASSERT_EQ(ftruncate(StoreDescriptor(lost.MemMap()), 8), 0);
    TImagerProc(&lost).Resample(4, 2, rfTriangle);
    EXPECT_EQ(std::make_pair(lost.Width(), lost.Height()), std::make_pair(8, 4));
}

TEST(ResampleFrontEnd, OnePalettePixelKeepsItsColour) {
    for (TResampleFilter filter : {rfLanczos3, rfBilinear, rfFastLinear, rfWICCubicHQ, rfNone}) {
        TIEBitmap picture(1, 1, ie8p, 5);
        picture.SetPalette(5, TRGB{10, 20, 30});
        TImagerProc(&picture).Resample(3, 2, filter);
        EXPECT_EQ(Text(picture), "ie8p 5 5 5 / 5 5 5") << filter;
        EXPECT_EQ(picture.GetPixels(2, 1), RGB(30, 20, 10)) << filter;
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
