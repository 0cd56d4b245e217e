#include "proc/enhance.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "image/bitmap.h"
#include "image/settings.h"
#include "proc/imagerproc.h"
#include "proc/sharpen.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/proc/rgbtestutil.h"

namespace {

const TIEProgressEvent NoProgress;

TIEFloatImage Row(std::initializer_list<float> Values) {
    TIEFloatImage image(int32_t(Values.size()), 1);
    std::copy(Values.begin(), Values.end(), image.Cells.begin());
    return image;
}

class TScopedGrayCoefs {
  public:
    TScopedGrayCoefs(int32_t Red, int32_t Green, int32_t Blue)
        : fRed(IEGlobalSettings().RedToGrayCoef()), fGreen(IEGlobalSettings().GreenToGrayCoef()),
          fBlue(IEGlobalSettings().BlueToGrayCoef()) {
        Set(Red, Green, Blue);
    }
    ~TScopedGrayCoefs() { Set(fRed, fGreen, fBlue); }

  private:
    static void Set(int32_t Red, int32_t Green, int32_t Blue) {
        IEGlobalSettings().SetRedToGrayCoef(Red);
        IEGlobalSettings().SetGreenToGrayCoef(Green);
        IEGlobalSettings().SetBlueToGrayCoef(Blue);
    }
    int32_t fRed, fGreen, fBlue;
};

} // namespace

// q = 0.5784 s - 0.2568 + 0.0561 s^2 below 3.556, (s - 3.556) * 0.9804 + 2.5091 above;
// b0 = 1.57825 + 2.44413 q + 1.4281 q^2 + 0.422205 q^3, a_i = b_i / b0, B = 1 - a1 - a2 - a3.
TEST(GaussCoefficients, FiguresForSmallAndLargeSigma) {
    const struct {
        double Sigma, a1, a2, a3, B;
    } cases[] = {
        {3.0, 1.692877, -1.010546, 0.214760, 0.102908}, // q 1.9833
        {5.0, 2.217666, -1.679442, 0.434884, 0.026892}, // q 3.9247976
    };
    for (const auto& c : cases) {
        const TIEGaussCoefficients k = IEGaussCoefficients(c.Sigma);
        EXPECT_NEAR(k.a1, c.a1, 2e-5) << c.Sigma;
        EXPECT_NEAR(k.a2, c.a2, 2e-5) << c.Sigma;
        EXPECT_NEAR(k.a3, c.a3, 2e-5) << c.Sigma;
        EXPECT_NEAR(k.B, c.B, 2e-5) << c.Sigma;
    }
}

TEST(GaussPasses, HorizontalPassEqualsTheFilterOverTheRowContinued) {
    // The boundary states are exact for a row that goes on with its third pixel from
    // the end (6 here, not the last 8): compare with the same filter run over the row
    // followed by 4000 copies of that pixel, backward from its steady state.
    const std::vector<float> x = {3, 9, 0.5f, 7, 7, 2, 1, 4, 6, 2, 8};
    const int32_t w = int32_t(x.size());
    const double u = x[size_t(w - 3)];
    for (double sigma : {3.0, 1.5}) {
        SCOPED_TRACE(sigma);
        const TIEGaussCoefficients c = IEGaussCoefficients(sigma);
        TIEFloatImage row(w, 1);
        std::copy(x.begin(), x.end(), row.Cells.begin());
        const TIEFloatImage out = IEGaussHorizontalPass(row, c);

        const int32_t n = w + 4000;
        std::vector<double> ext(static_cast<size_t>(n), u), fwd(ext.size()), bwd(ext.size());
        std::copy(x.begin(), x.end(), ext.begin());
        double p1 = x[0] / c.B, p2 = p1, p3 = p1;
        for (int32_t k = 0; k < n; ++k) {
            fwd[size_t(k)] = ext[size_t(k)] + c.a1 * p1 + c.a2 * p2 + c.a3 * p3;
            p3 = p2;
            p2 = p1;
            p1 = fwd[size_t(k)];
        }
        double s1 = u, s2 = u, s3 = u;
        for (int32_t k = n - 1; k >= 1; --k) {
            bwd[size_t(k)] = c.B * c.B * fwd[size_t(k)] + c.a1 * s1 + c.a2 * s2 + c.a3 * s3;
            s3 = s2;
            s2 = s1;
            s1 = bwd[size_t(k)];
        }
        for (int32_t k = 1; k < w; ++k)
            EXPECT_NEAR(out.Row(0)[k], bwd[size_t(k)], 2e-4) << k;
        // Column 0 keeps its forward value x0 / B.
        EXPECT_FLOAT_EQ(out.Row(0)[0], float(x[0] / c.B));
    }
}

TEST(GaussPasses, VerticalPassAddsBSquaredAtTheBoundaryAndKeyAbove) {
    // A constant column c: forward c / B everywhere, d = 0, so the first backward
    // state is c / B^2 + B^2 (a sum, not a product), the second and third are c.
    const TIEGaussCoefficients k = IEGaussCoefficients(3.0);
    const double c = 0.5, key = 0.25, B2 = k.B * k.B;
    TIEFloatImage column(2, 5);
    std::fill(column.Cells.begin(), column.Cells.end(), float(c));
    const TIEFloatImage out = IEGaussVerticalPass(column, k, key);
    const double s0 = c / B2 + B2;
    EXPECT_NEAR(out.Row(4)[0], s0, 1e-3);
    EXPECT_NEAR(out.Row(4)[1], s0, 1e-3);
    const double v3 = B2 * (c / k.B) + k.a1 * s0 + k.a2 * c + k.a3 * c;
    EXPECT_NEAR(out.Row(3)[0], v3 + key, 1e-3);
    const double v2 = B2 * (c / k.B) + k.a1 * v3 + k.a2 * s0 + k.a3 * c;
    EXPECT_NEAR(out.Row(2)[1], v2 + key, 1e-3);
}

TEST(ToneStep, ExactOneForWhiteAndZeroWithoutSignal) {
    TIEFloatImage out;
    const double sum =
        IEToneStep(Row({1.0f, 1.0f, 0.0f, 0.5f, 0.0f}), Row({0.3f, 7.0f, 0.0f, 0.5f, 2.0f}), out);
    EXPECT_EQ(out.Row(0)[0], 1.0f);
    EXPECT_EQ(out.Row(0)[1], 1.0f);
    EXPECT_EQ(out.Row(0)[2], 0.0f);
    EXPECT_EQ(out.Row(0)[3], 0.75f); // 1.5 * 0.5 / 1
    EXPECT_EQ(out.Row(0)[4], 0.0f);  // l 0: 3 * 0 / 2
    EXPECT_DOUBLE_EQ(sum, 2.75);
}

TEST(Saturation, ZeroGivesRoundedGreyAndHundredKeeps) {
    TIEBitmap image;
    // y = 0.3 * 200 + 0.59 * 100 + 0.11 * 50 = 124.5, which rounds to the even 124.
    FillRGB(image, 2, 1, {{200, 100, 50}, {10, 250, 30}});
    TIEBitmap grey, same, strong;
    grey.AssignImage(image);
    same.AssignImage(image);
    strong.AssignImage(image);
    IEAdjustSaturation(grey, 0);
    EXPECT_EQ(ChannelOf(grey, 2)[0], 124);
    EXPECT_EQ(ChannelOf(grey, 1)[0], 124);
    EXPECT_EQ(ChannelOf(grey, 0)[0], 124);
    // 3 + 147.5 + 3.3 = 153.8.
    EXPECT_EQ(ChannelOf(grey, 2)[1], 154);
    IEAdjustSaturation(same, 100);
    EXPECT_EQ(FirstDifference(same, image), "");
    // 200 %: R 275.5 clamps, G 75.5 goes to 76, B -24.5 clamps to 0.
    IEAdjustSaturation(strong, 200);
    EXPECT_EQ(ChannelOf(strong, 2)[0], 255);
    EXPECT_EQ(ChannelOf(strong, 1)[0], 76);
    EXPECT_EQ(ChannelOf(strong, 0)[0], 0);
}

TEST(AutoImageEnhance3, BlackStaysBlackAndWhiteStaysWhite) {
    for (TColor colour : {TColor(0), TColor(0xFFFFFF)}) {
        TIEBitmap image;
        image.Allocate(13, 7, colour, 255);
        IEAutoImageEnhance3(image, 0.33, 70, NoProgress, nullptr);
        ASSERT_EQ(image.PixelFormat(), ie24RGB);
        ASSERT_EQ(std::make_pair(image.Width(), image.Height()), std::make_pair(13, 7));
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(ChannelOf(image, c), std::vector<int>(91, colour ? 255 : 0)) << c;
    }
}

// Two grey levels, 30 and 220, in halves: shadows lift, highlights stay. The figures are
// pinned, so that a changed rounding in the gamma tables, the recombination or the
// saturation step shows.
TEST(AutoImageEnhance3, LiftsShadowsAndKeepsHighlights) {
    TIEBitmap image;
    FillRGB(image, 4, 2,
            {{30, 30, 30},
             {30, 30, 30},
             {220, 220, 220},
             {220, 220, 220},
             {30, 60, 90},
             {30, 60, 90},
             {220, 200, 180},
             {220, 200, 180}});
    std::vector<int> reports;
    IEAutoImageEnhance3(
        image, 0.33, 70, [&](void*, int per) { reports.push_back(per); }, nullptr);
    EXPECT_EQ(ChannelOf(image, 2), (std::vector<int>{113, 80, 243, 243, 104, 89, 250, 250}));
    EXPECT_EQ(ChannelOf(image, 1), (std::vector<int>{113, 80, 243, 243, 192, 162, 235, 235}));
    EXPECT_EQ(ChannelOf(image, 0), (std::vector<int>{113, 80, 243, 243, 230, 222, 214, 214}));
    EXPECT_EQ(reports, (std::vector<int>{9, 18, 27, 36, 45, 54, 63}));
}

TEST(AutoImageEnhance3, FlatGreyStaysFlatAwayFromThePaddedSides) {
    // The padding is black on the left and at the bottom only, so the surround is
    // darker there; the rest of a flat picture sees one surround and one result.
    TIEBitmap grey;
    grey.Allocate(30, 20, TColor(0x808080), 255);
    IEAutoImageEnhance3(grey, 0.33, 70, NoProgress, nullptr);
    const int32_t centre = grey.GetPixels_ie24RGB(15, 8).r;
    EXPECT_GT(centre, 128);
    for (int32_t y = 0; y < 14; ++y)
        for (int32_t x = 8; x < 30; ++x)
            ASSERT_EQ(grey.GetPixels_ie24RGB(x, y).r, centre) << x << "," << y;
    EXPECT_GT(grey.GetPixels_ie24RGB(0, 8).r, centre);
}

TEST(AutoImageEnhance3, InvalidGammaChangesNothing) {
    TIEBitmap grey;
    FillGrey(grey, 2, 2, {1, 2, 3, 4});
    TImagerProc proc(&grey);
    try {
        proc.AutoImageEnhance3(0.0, 70);
        FAIL() << "no exception";
    } catch (const EIEException& e) {
        EXPECT_STREQ(e.what(), "Invalid Gamma value");
    }
    EXPECT_THROW(proc.AutoImageEnhance3(-1.0, 70), EIEException);
    EXPECT_EQ(grey.PixelFormat(), ie8g);
    EXPECT_EQ(GreyPixels(grey), Bytes({1, 2, 3, 4}));
}

TEST(AutoImageEnhance3, AlphaIsRestoredByteForByte) {
    TIEBitmap image;
    FillBusy(image, 6, 5);
    TIEBitmap* alpha = image.AlphaChannel();
    for (int32_t y = 0; y < 5; ++y)
        for (int32_t x = 0; x < 6; ++x)
            alpha->SetPixels_ie8(x, y, uint8_t(x * 40 + y * 3));
    TIEBitmap alphaBefore;
    alphaBefore.AssignImage(*alpha);
    TImagerProc proc(&image);
    proc.AutoImageEnhance3(0.33, 70);
    ASSERT_NE(image.AlphaChannelOpt(), nullptr);
    EXPECT_EQ(image.Width(), 6);
    EXPECT_EQ(image.Height(), 5);
    EXPECT_EQ(FirstDifference(*image.AlphaChannelOpt(), alphaBefore), "");

    TIEBitmap opaque;
    FillBusy(opaque, 6, 5);
    TImagerProc plain(&opaque);
    plain.AutoImageEnhance3(0.33, 70);
    EXPECT_EQ(opaque.AlphaChannelOpt(), nullptr);
    // The alpha was not seen: the colours are the same with or without it.
    EXPECT_EQ(FirstDifference(image, opaque), "");
}

TEST(GrayWorld, PureRedIsLeftAlone) {
    TIEBitmap red;
    FillRGB(red, 3, 1, {{255, 0, 0}, {100, 0, 0}, {7, 0, 0}});
    TIEBitmap before;
    before.AssignImage(red);
    IEWhiteBalanceGrayWorld(red, NoProgress, nullptr);
    EXPECT_EQ(FirstDifference(red, before), "");
}

TEST(GrayWorld, TintIsRemovedWithTruncatedTables) {
    // Means: blue 32, green 64, red 80. Factors 2.5, 1.25 and 1.
    TIEBitmap tinted;
    FillRGB(tinted, 2, 2, {{70, 60, 3}, {90, 68, 1}, {80, 64, 4}, {80, 64, 120}});
    std::vector<int> reports;
    const TIEProgressEvent onProgress = [&](void*, int per) { reports.push_back(per); };
    IEWhiteBalanceGrayWorld(tinted, onProgress, nullptr);
    EXPECT_EQ(ChannelOf(tinted, 0), (std::vector<int>{7, 2, 10, 255})); // 7.5, 2.5 cut; 300 clamped
    EXPECT_EQ(ChannelOf(tinted, 1), (std::vector<int>{75, 85, 80, 80}));
    EXPECT_EQ(ChannelOf(tinted, 2), (std::vector<int>{70, 90, 80, 80}));
    EXPECT_EQ(reports, (std::vector<int>{50}));
}

TEST(ConvertToGray, WeightsOfTheGlobalSettings) {
    TIEBitmap image;
    FillRGB(image, 5, 1, {{100, 0, 0}, {0, 100, 0}, {0, 0, 100}, {10, 20, 30}, {255, 255, 255}});
    TIEBitmap custom;
    custom.AssignImage(image);
    IEConvertToGray(image);
    // (R 21 + G 71 + B 8) / 100, cut: 1870 / 100 = 18.
    EXPECT_EQ(Reds(image), (std::vector<int>{21, 71, 8, 18, 255}));
    EXPECT_EQ(ChannelOf(image, 0), Reds(image));
    EXPECT_EQ(ChannelOf(image, 1), Reds(image));
    {
        TScopedGrayCoefs coefs(30, 59, 11);
        IEConvertToGray(custom);
    }
    EXPECT_EQ(Reds(custom), (std::vector<int>{30, 59, 11, 18, 255})); // 1810 / 100
}

TEST(ConvertToGray, GreyInputComesOutAsTwentyFourBits) {
    TIEBitmap grey;
    FillGrey(grey, 2, 1, {40, 200});
    TImagerProc proc(&grey);
    int finished = 0;
    proc.OnFinishWork = [&] { ++finished; };
    proc.ConvertToGray();
    EXPECT_EQ(grey.PixelFormat(), ie24RGB);
    EXPECT_EQ(Reds(grey), (std::vector<int>{40, 200}));
    EXPECT_EQ(finished, 1);
    proc.WhiteBalance_GrayWorld();
    EXPECT_EQ(finished, 2);
    EXPECT_EQ(Reds(grey), (std::vector<int>{40, 200}));
}
