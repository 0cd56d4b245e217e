#include "proc/enhance.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "image/bitmap.h"
#include "image/settings.h"
#include "proc/imagerproc.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/image/converttestutil.h"

namespace {

std::string Enhanced(const std::string& Drawing) {
    auto image = Picture(Drawing);
    IEAutoImageEnhance3(*image, 0.33, 70, NoProgress, nullptr);
    return Text(*image);
}

} // namespace

// q = 0.5784 s - 0.2568 + 0.0561 s^2 below 3.556, (s - 3.556) * 0.9804 + 2.5091 above;
// b0 = 1.57825 + 2.44413 q + 1.4281 q^2 + 0.422205 q^3, a_i = b_i / b0, B = 1 - a1 - a2 - a3.
TEST(GaussPasses, CoefficientsForSmallAndLargeSigma) {
    const double cases[][5] = {
        {3.0, 1.692877, -1.010546, 0.214760, 0.102908}, // q 1.9833
        {5.0, 2.217666, -1.679442, 0.434884, 0.026892}, // q 3.9247976
    };
    for (const auto& c : cases) {
        const TIEGaussCoefficients k = IEGaussCoefficients(c[0]);
        for (auto [got, expected] : {std::pair{k.a1, c[1]}, {k.a2, c[2]}, {k.a3, c[3]}, {k.B, c[4]}})
            EXPECT_NEAR(got, expected, 2e-5) << c[0];
    }
}

// The boundary states are exact for a row that goes on with its third pixel from the end
// (6 here, not the last 8): the pass equals the filter run over the row followed by 4000
// copies of that pixel, backward from their steady state. Column 0 keeps x0 / B.
TEST(GaussPasses, HorizontalPassEqualsTheFilterOverTheRowContinued) {
    const std::vector<float> x = {3, 9, 0.5f, 7, 7, 2, 1, 4, 6, 2, 8};
    for (double sigma : {3.0, 1.5}) {
        const TIEGaussCoefficients c = IEGaussCoefficients(sigma);
        TIEFloatImage row(int32_t(x.size()), 1);
        row.Cells = x;
        const TIEFloatImage out = IEGaussHorizontalPass(row, c);
        std::vector<double> v(x.begin(), x.end());
        v.resize(x.size() + 4000, x[x.size() - 3]);
        for (size_t k = 0; k < v.size(); ++k) // forward, from x0 / B before the start
            v[k] += c.a1 * (k > 0 ? v[k - 1] : x[0] / c.B) + c.a2 * (k > 1 ? v[k - 2] : x[0] / c.B) +
                    c.a3 * (k > 2 ? v[k - 3] : x[0] / c.B);
        const double u = x[x.size() - 3];
        for (size_t k = v.size() - 1; k >= 1; --k) // backward, from u beyond the end
            v[k] = c.B * c.B * v[k] + c.a1 * (k + 1 < v.size() ? v[k + 1] : u) +
                   c.a2 * (k + 2 < v.size() ? v[k + 2] : u) + c.a3 * (k + 3 < v.size() ? v[k + 3] : u);
        EXPECT_FLOAT_EQ(out.Row(0)[0], float(x[0] / c.B)) << sigma;
        for (size_t k = 1; k < x.size(); ++k)
            EXPECT_NEAR(out.Row(0)[k], v[k], 2e-4) << sigma << " " << k;
    }
}

// A constant column c: forward c / B everywhere, so the first backward state is
// c / B^2 + B^2 (a sum, not a product), the next ones follow with c; key is added above.
TEST(GaussPasses, VerticalPassAddsBSquaredAtTheBoundaryAndKeyAbove) {
    const TIEGaussCoefficients k = IEGaussCoefficients(3.0);
    const double c = 0.5, key = 0.25, B2 = k.B * k.B, s0 = c / B2 + B2;
    const double v3 = B2 * (c / k.B) + k.a1 * s0 + k.a2 * c + k.a3 * c;
    const double v2 = B2 * (c / k.B) + k.a1 * v3 + k.a2 * s0 + k.a3 * c;
    TIEFloatImage column(2, 5);
    column.Cells.assign(10, float(c));
    const TIEFloatImage out = IEGaussVerticalPass(column, k, key);
    for (auto [got, expected] : {std::pair{out.Row(4)[0], s0},
                                 {out.Row(4)[1], s0},
                                 {out.Row(3)[0], v3 + key},
                                 {out.Row(2)[1], v2 + key}})
        EXPECT_NEAR(got, expected, 1e-3);
}

TEST(ToneStep, ExactOneForWhiteAndZeroWithoutSignal) {
    TIEFloatImage lum(5, 1), surround(5, 1), out;
    lum.Cells = {1.0f, 1.0f, 0.0f, 0.5f, 0.0f};
    surround.Cells = {0.3f, 7.0f, 0.0f, 0.5f, 2.0f};
    // 1.5 * 0.5 / 1 = 0.75; l 0 gives 0 whatever the surround.
    EXPECT_DOUBLE_EQ(IEToneStep(lum, surround, out), 2.75);
    EXPECT_EQ(out.Cells, (std::vector<float>{1.0f, 1.0f, 0.0f, 0.75f, 0.0f}));
}

// y = 0.3 * 200 + 0.59 * 100 + 0.11 * 50 = 124.5 -> 124 (even); 3 + 147.5 + 3.3 = 153.8.
// At 200 %: R 275.5 clamps, G 75.5 -> 76, B -24.5 clamps to 0.
TEST(Saturation, ZeroGivesRoundedGreyAndHundredKeeps) {
    for (auto [saturation, expected] : {std::pair{0, "ie24RGB 124 154"},
                                        {100, "ie24RGB rgb(200,100,50) rgb(10,250,30)"},
                                        {200, "ie24RGB rgb(255,76,0) rgb(0,255,0)"}}) {
        TIEBitmap image;
        IEAdjustSaturation(Draw(image, "ie24RGB rgb(200,100,50) rgb(10,250,30)"), saturation);
        EXPECT_EQ(Text(image), expected) << saturation;
    }
}

TEST(AutoImageEnhance3, BlackAndWhiteStayAndFlatGreyStaysFlatAwayFromThePadding) {
    EXPECT_EQ(Enhanced("ie24RGB 0 0 0 / 0 0 0"), "ie24RGB 0 0 0 / 0 0 0");
    EXPECT_EQ(Enhanced("ie24RGB 255 255 255 / 255 255 255"), "ie24RGB 255 255 255 / 255 255 255");
    // The padding is black on the left and at the bottom only, so the surround is darker
    // there; the rest of a flat picture sees one surround and one result.
    TIEBitmap grey(30, 20, ie24RGB, 0x808080);
    IEAutoImageEnhance3(grey, 0.33, 70, NoProgress, nullptr);
    const int32_t centre = grey.GetPixels_ie24RGB(15, 8).r;
    EXPECT_GT(centre, 128);
    EXPECT_GT(grey.GetPixels_ie24RGB(0, 8).r, centre);
    for (int32_t i = 0; i < 14 * 22; ++i)
        ASSERT_EQ(grey.GetPixels_ie24RGB(8 + i % 22, i / 22).r, centre) << i;
}

// Two levels, 30 and 220: shadows lift, highlights stay. The blur runs through recursive
// filters over the padded picture, too long to follow by hand; the figures are pinned so
// that a changed rounding in the gamma tables, the recombination or the saturation shows.
TEST(AutoImageEnhance3, LiftsShadowsAndKeepsHighlights) {
    auto image =
        Picture("ie24RGB 30 30 220 220 / rgb(30,60,90) rgb(30,60,90) rgb(220,200,180) rgb(220,200,180)");
    std::vector<int> reports;
    IEAutoImageEnhance3(
        *image, 0.33, 70, [&](void*, int per) { reports.push_back(per); }, nullptr);
    EXPECT_EQ(Text(*image),
              "ie24RGB 113 80 243 243 / rgb(104,192,230) rgb(89,162,222) rgb(250,235,214) rgb(250,235,214)");
    EXPECT_EQ(reports, (std::vector<int>{9, 18, 27, 36, 45, 54, 63}));
}

TEST(AutoImageEnhance3, InvalidGammaRaisesAndAlphaIsLeftOut) {
    TIEBitmap grey;
    TImagerProc proc(&Draw(grey, "ie8g 1 2 / 3 4"));
    EXPECT_EQ(ErrorOf([&] { proc.AutoImageEnhance3(0.0, 70); }), "Invalid Gamma value");
    EXPECT_THROW(proc.AutoImageEnhance3(-1.0, 70), EIEException);
    EXPECT_EQ(Text(grey), "ie8g 1 2 / 3 4");
    // The plane comes back byte for byte, and the colours are those without it.
    const std::string colours = "ie24RGB 30 rgb(30,60,90) 220 / rgb(220,200,180) 0 255";
    EXPECT_EQ(Enhanced(colours + " alpha 0 9 99 / 200 255 7"),
              Enhanced(colours) + " alpha 0 9 99 / 200 255 7");
}

// Means: blue 32, green 64, red 80; factors 2.5, 1.25 and 1. Blue 7.5 and 2.5 cut, 300
// clamped. A mean of 0 keeps the factor 1 instead of dividing by zero.
TEST(GrayWorld, TintIsRemovedWithTruncatedTablesAndPureRedIsLeftAlone) {
    TIEBitmap tinted, red;
    Draw(tinted, "ie24RGB rgb(70,60,3) rgb(90,68,1) / rgb(80,64,4) rgb(80,64,120)");
    IEWhiteBalanceGrayWorld(tinted, NoProgress, nullptr);
    EXPECT_EQ(Text(tinted), "ie24RGB rgb(70,75,7) rgb(90,85,2) / rgb(80,80,10) rgb(80,80,255)");
    IEWhiteBalanceGrayWorld(Draw(red, "ie24RGB rgb(255,0,0) rgb(7,0,0)"), NoProgress, nullptr);
    EXPECT_EQ(Text(red), "ie24RGB rgb(255,0,0) rgb(7,0,0)");
}

// Weights 30, 59, 11 set for the test: (300 + 1180 + 385) / 100 = 18.65, cut.
TEST(ConvertToGray, WeightsOfTheGlobalSettingsAndGreyComesOutAsTwentyFourBits) {
    TIEGlobalSettings& settings = IEGlobalSettings();
    const int32_t saved[3] = {settings.RedToGrayCoef(), settings.GreenToGrayCoef(),
                              settings.BlueToGrayCoef()};
    settings.SetRedToGrayCoef(30), settings.SetGreenToGrayCoef(59), settings.SetBlueToGrayCoef(11);
    TIEBitmap image, grey;
    IEConvertToGray(Draw(image, "ie24RGB rgb(100,0,0) rgb(0,100,0) rgb(0,0,100) rgb(10,20,35) 255"));
    settings.SetRedToGrayCoef(saved[0]), settings.SetGreenToGrayCoef(saved[1]),
        settings.SetBlueToGrayCoef(saved[2]);
    EXPECT_EQ(Text(image), "ie24RGB 30 59 11 18 255");
    TImagerProc(&Draw(grey, "ie8g 40 200")).ConvertToGray();
    EXPECT_EQ(Text(grey), "ie24RGB 40 200");
}
