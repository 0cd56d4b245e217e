#include "app/ahresize.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "app/appfolder.h"
#include "proc/enhance.h"
#include "proc/sharpen.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/testutil.h"

namespace {

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

constexpr TRGB Grey(uint8_t v) {
    return TRGB{v, v, v};
}
constexpr TRGB White = Grey(255), Red{0, 0, 255};

// Every pixel as "r,g,b", or one value for a grey; rows parted by "/".
std::string Pixels(TIEBitmap& Bitmap) {
    std::string text;
    for (int32_t y = 0; y < Bitmap.Height(); ++y)
        for (int32_t x = 0; x < Bitmap.Width(); ++x) {
            const TRGB c = Bitmap.GetPixels_ie24RGB(x, y);
            if (x || y) text += x ? ' ' : '/';
            text += std::to_string(c.r);
            if (c.g != c.r || c.b != c.r) (text += ',' + std::to_string(c.g)) += ',' + std::to_string(c.b);
        }
    return text;
}

// The transform and save stages on Source with resampling left out, so that the
// finishing steps alone shape Result.
void RunFinishing(TRisizeProperty Job, TIEBitmap& Source, TIEBitmap& Result) {
    class TFinishingResize : public TResize {
      public:
        TFinishingResize(const TRisizeProperty& Job, TIEBitmap& Source, TIEBitmap& Result)
            : TResize(Job), fSource(Source), fResult(Result) {}

      protected:
        void Execute() override {
            Imager().IEBitmap().AssignImage(fSource);
            TransformStage();
            SaveStage();
            EXPECT_EQ(Imager().LayersCount(), 1);
            fResult.AssignImage(Imager().IEBitmap());
        }
        void Resample(int32_t, int32_t, TResampleFilter) override {}

      private:
        TIEBitmap &fSource, &fResult;
    };
    TTempDir dir;
    Job.Source = dir / "picture.png";
    Job.Destination = dir.Path();
    TFinishingResize worker(Job, Source, Result);
    worker.Resume();
    worker.WaitUntilParked();
    EXPECT_FALSE(worker.FatalException());
    EXPECT_TRUE(std::filesystem::exists(worker.NewImage())) << worker.NewImage();
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
        TIEBitmap original, result, expected, sharpened;
        Checkers(original);
        RunFinishing(job, original, result);
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

// The result of the save stage on Source, with Mark (none if empty) as the program's
// Watermark.png; Flags "W" asks for the watermark, "B" for black and white.
std::string Finish(const TPicture& Mark, const std::string& Flags, const TPicture& Source) {
    TTempDir program;
    SetProgramArgument0((program / "pixelwright").c_str());
    if (Mark.Width) {
        TIEBitmap mark;
        Mark.Draw(mark);
        TImagerIO(&mark, false).SaveToFilePNG(program / "Watermark.png");
    }
    TRisizeProperty job;
    job.WaterMark = Flags.find('W') != std::string::npos;
    job.BW = Flags.find('B') != std::string::npos;
    TIEBitmap source, result;
    Source.Draw(source);
    RunFinishing(job, source, result);
    SetProgramArgument0("");
    return Pixels(result);
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
    // Means b 60, g 100, r 125: b is scaled by 125/60 and g by 125/100, cut: 83, 125, 200 and
    // 166, 125, 50. Grey (21 r + 71 g + 8 b) / 100, cut: 13739 / 100 and 11253 / 100.
    // Without the balance it would be 116 and 84.
    EXPECT_EQ(Finish({}, "B", {2, 1, {TRGB{40, 100, 200}, TRGB{80, 100, 50}}}), "137 112");
    // The merge first: 100 and r 143, g b 73. Means r 121.5, g b 86.5: g and b scaled by
    // 121.5/86.5, cut: 140 and 102. Grey 13160 / 100 and 11061 / 100.
    EXPECT_EQ(Finish({1, 1, {Red}}, "WB", {2, 1, {Grey(100)}}), "131 110");
}
