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

namespace {

// The horizontal pass on exactly Threads bands, whatever the machine's cores and the
// picture's size; the settings go back afterwards.
struct TForcedThreads {
    explicit TForcedThreads(int32_t Threads) { Set(Threads, 0, Threads); }
    ~TForcedThreads() { Set(fMaxThreads, fMinSize, 0); }
    static void Set(int32_t Threads, int64_t MinSize, int32_t Cores) {
        IEGlobalSettings().SetImageProcMaxThreads(Threads);
        IEGlobalSettings().SetImageProcThreadsMinSize(MinSize);
        IESetPhysicalCoreCount(Cores);
    }
    const int32_t fMaxThreads = IEGlobalSettings().ImageProcMaxThreads();
    const int64_t fMinSize = IEGlobalSettings().ImageProcThreadsMinSize();
};

} // namespace

// New width and height, present width and height, keep the aspect ratio; expected.
TEST(ResampleSize, FreeSideIsCutTowardZeroAndAspectRatioFitsTheBox) {
    const int32_t cases[][7] = {
        // clang-format off
        {1024, -1, 4000, 3000, 0, 1024, 768}, {1000, -1, 3000, 2000, 0, 1000, 666},
        {-1, 500, 3000, 2000, 0, 750, 500}, {0, 77, 300, 200, 0, 300, 77},  // 0 keeps the present side
        {10, -1, 1000, 1, 0, 10, 1}, {-1, 1, 1, 5000, 0, 1, 1},              // a free side of 0 becomes 1
        {-50, -1, 300, 200, 0, -50, -1}, {-50, 20, 300, 200, 0, 50, 20},     // -1 only is free
        {100, 100, 400, 200, 1, 100, 50}, {100, 100, 200, 400, 1, 50, 100}, {1, 1, 1000, 1, 1, 1, 1},
        {1000, 1000, 40, 20, 1, 1000, 500}, {100, -1, 400, 300, 1, 100, 75}, // the box needs both sides
        // clang-format on
    };
    for (const auto& c : cases) {
        int32_t w = c[0], h = c[1];
        IEResolveResampleSize(w, h, c[2], c[3], c[4] != 0);
        EXPECT_EQ(std::make_pair(w, h), std::make_pair(c[5], c[6])) << c[0] << "," << c[1] << " of " << c[2];
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
    const std::tuple<TResampleFilter, std::string, std::string> cases[] = {
        {rfLanczos3, "ie8g 1 2 3 / 4 5 6", "ie8g 1 2 3 / 4 5 6"}, // equal sizes: a copy
        // 5 to 3 triangle taps (1:64, 0:128, 1:64), (1:64, 2:128, 3:64), (3:64, 4:128, 4:64).
        {rfTriangle, "ie24RGB 10 20 40 80 160", "ie24RGB 15 45 140"},
        {rfBicubic, "ie24RGB 0 100 200", "ie24RGB 38 100 162 200 212 200"}, // the area walk
        // 2 to 5 at 0, 0.4, 0.8, 1.2, 1.6: the 24-bit engine cuts and lags by Round(0.75) = 1
        // column; the 8-bit one rounds, so 0.8 already takes column 1.
        {rfFastLinear, "ie24RGB 0 100", "ie24RGB 0 0 40 80 100"},
        {rfFastLinear, "ie8g 0 100", "ie8g 0 40 100 100 100"},
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
    for (const auto& [filter, source, expected] : cases) {
        TIEBitmap src, dst;
        Draw(src, source);
        Draw(dst, source.substr(0, source.find(' ')) + expected.substr(expected.find(' ')));
        dst.RemoveAlphaChannel(false, 0);
        IEResampleDispatch(src, dst, filter, NoProgress, nullptr);
        EXPECT_EQ(Text(dst), expected) << IEResampleFilterName(filter) << " " << source;
        EXPECT_TRUE(!src.AlphaChannelOpt() || !dst.AlphaChannelOpt()->Full());
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
