#include <gtest/gtest.h>

#include "image/bitmap.h"
#include "image/convert.h"
#include "tests/image/converttestutil.h"

namespace {

// Drawing, or Width x Height pixels of the one value Drawing in Format, turned into bits by Method.
std::unique_ptr<TIEBitmap> Bits(const std::string& Drawing, TIEDitherMethod Method,
                                TIEPixelFormat Format = ieNull, int32_t Width = 0, int32_t Height = 0) {
    std::string drawing = Format == ieNull ? Drawing : IEPixelFormatName(Format);
    for (int32_t i = 0; i < Width * Height; ++i)
        drawing.append(i && i % Width == 0 ? " / " : " ").append(Drawing);
    auto bitmap = Picture(drawing);
    bitmap->SetDefaultDitherMethod(Method);
    bitmap->SetPixelFormat(ie1g);
    return bitmap;
}

} // namespace

// Nothing in the product chooses ordered dithering; one compact check of its matrix.
TEST(DitherOrdered, MatrixIsIndexedByColumnThenRowAndRepeatsEveryEight) {
    // 160 >> 2 = 40. Row 0 compares with M[x][0] = 0 48 12 60 3 51 15 63, row 1 with
    // M[x][1] = 32 16 44 28 35 19 47 31; a transposed table would give 1 1 1 0 on row 0.
    auto bits = Bits("160", ieOrdered, ie8g, 9, 9);
    EXPECT_EQ(RowText(*bits, 0) + " / " + RowText(*bits, 1) + " / " + RowText(*bits, 8),
              "1 0 1 0 1 0 1 0 1 / 1 1 0 1 1 1 0 1 1 / 1 0 1 0 1 0 1 0 1");
    // 128 >> 2 = 32: set where the entry is below 32; M[0][1] is 32, and equal is not greater.
    auto half = Bits("128", ieOrdered, ie8g, 8, 8);
    EXPECT_EQ(std::make_pair(half->GetPixels_ie1g(4, 4), half->GetPixels_ie1g(0, 1)),
              std::make_pair(true, false));
}

TEST(DitherThreshold, MeanGreySplitsAtOrAboveForEveryFormat) {
    const std::pair<const char*, const char*> cases[] = {
        {"ie8g 10 20 30 60", "0 0 1 1"}, // mean 30: the 30 is set, being equal
        // The grey of the mean colour, not the mean of greys: b 12 and 14 have grey 0 and
        // 1 (mean 0), b 13 has grey 1.
        {"ie24RGB rgb(0,0,12) rgb(0,0,14)", "0 1"},
        {"ie16g 2560 5375 7680 15360", "0 0 1 1"},   // by the high byte: 10, 20, 30, 60
        {"ie32f 0 0.5 0.5 1", "0 1 1 1"},            // Trunc(v * 255): mean of 0, 127, 127, 255
        {"ieCIELab lab(255,0,0) lab(0,0,0)", "1 0"}, // through RGB
    };
    for (const auto& [source, expected] : cases)
        EXPECT_EQ(RowText(*Bits(source, ieThreshold)), expected) << source;
    // Palette by the grey of the entry: 117 and 18; the mean colour (105, 60, 40) has grey 67.
    auto palette = Picture("ie8p 0 1");
    palette->SetPalette(0, RGB(200, 100, 50));
    palette->SetPalette(1, RGB(10, 20, 30));
    palette->SetPixelFormat(ie1g); // threshold is the default method
    EXPECT_EQ(RowText(*palette), "1 0");
}

TEST(DitherThreshold, ExplicitAndEntropyThresholds) {
    auto source = Picture("ie8g 10 10 40 200");
    TIEBitmap target(4, 1, ie1g, 0), wide(10, 1, ie1g, 0);
    // Mean 65 leaves the 40 dark (-1); the maximum-entropy threshold (-2) is 11 and lights it.
    for (auto [threshold, expected] :
         {std::pair{40, "0 0 1 1"}, {41, "0 0 0 1"}, {-1, "0 0 0 1"}, {-2, "0 0 1 1"}}) {
        IEConvertToBWThreshold(*source, target, threshold);
        EXPECT_EQ(RowText(target), expected) << threshold;
    }
    // A bit source is copied.
    IEConvertToBWThreshold(*Picture("ie1g 0 0 0 0 0 0 0 0 0 1"), wide, -1);
    EXPECT_EQ(Text(wide), "ie1g 0 0 0 0 0 0 0 0 0 1");
}

TEST(DitherNone, DitheringMethodLeavesTheRowsAsTheyWere) {
    TIEBitmap target(10, 1, ie1g, 1);
    target.SetDefaultDitherMethod(ieDithering);
    target.CopyAndConvertFormat(*Picture("ie24RGB 0 0 0 0 0 0 0 0 0 0"));
    const auto* row = static_cast<const uint8_t*>(target.GetScanline(0)); // as filled, padding included
    EXPECT_EQ(std::vector<uint8_t>(row, row + 2), std::vector<uint8_t>({0xFF, 0xFF}));
}

// Black 50, white 150: range 100, mid 100; Floor(((v - 100) / 100 + 0.5) * 255 + 0.5).
// Grey to RGB uses the window up.
TEST(WindowRule, GreyLevelsAreStretchedBetweenBlackAndWhiteValue) {
    auto picture = Picture("ie8g 0 50 51 100 101 150 151");
    picture->SetBlackValue(50);
    picture->SetWhiteValue(150);
    picture->SetPixelFormat(ie24RGB);
    EXPECT_EQ(Text(*picture) + " white " + std::to_string(int(picture->WhiteValue())),
              "ie24RGB 0 0 3 128 130 255 255 white 0");
}
