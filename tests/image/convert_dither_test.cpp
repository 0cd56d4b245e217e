#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "image/bitmap.h"
#include "image/convert.h"
#include "tests/image/converttestutil.h"

namespace {

// Spec, or Width x Height pixels of the one value Spec in Format, turned into bits by Method.
std::unique_ptr<TIEBitmap> Bits(const std::string& Spec, TIEDitherMethod Method,
                                TIEPixelFormat Format = ieNull, int32_t Width = 0, int32_t Height = 0) {
    std::string spec = Format == ieNull ? Spec : IEPixelFormatName(Format);
    for (int32_t i = 0; i < Width * Height; ++i)
        spec.append(i && i % Width == 0 ? " / " : " ").append(Spec);
    auto bitmap = Picture(spec);
    bitmap->SetDefaultDitherMethod(Method);
    bitmap->SetPixelFormat(ie1g);
    return bitmap;
}

// The number of set bits.
long Lit(TIEBitmap& Bitmap) {
    const std::string text = Text(Bitmap);
    return std::count(text.begin() + long(text.find(' ')), text.end(), '1');
}

} // namespace

TEST(DitherOrdered, MatrixIsIndexedByColumnThenRowAndRepeatsEveryEight) {
    // 160 >> 2 = 40. Row 0 compares with M[x][0] = 0 48 12 60 3 51 15 63, row 1 with
    // M[x][1] = 32 16 44 28 35 19 47 31; a transposed table would give 1 1 1 0 on row 0.
    auto bits = Bits("160", ieOrdered, ie8g, 9, 9);
    EXPECT_EQ(RowText(*bits, 0) + " / " + RowText(*bits, 1) + " / " + RowText(*bits, 8),
              "1 0 1 0 1 0 1 0 1 / 1 1 0 1 1 1 0 1 1 / 1 0 1 0 1 0 1 0 1");
    // 128 >> 2 = 32: set where the entry is below 32 (equal is not greater), half of them.
    auto half = Bits("128", ieOrdered, ie8g, 8, 8);
    EXPECT_EQ(Lit(*half), 32);
    EXPECT_EQ(std::make_pair(half->GetPixels_ie1g(4, 4), half->GetPixels_ie1g(0, 1)),
              std::make_pair(true, false));
    // Colour by its grey: Grey(255, 0, 0) = 53, 53 >> 2 = 13, below it at x = 0, 2 and 4.
    EXPECT_EQ(RowText(*Bits("rgb(255,0,0)", ieOrdered, ie24RGB, 8, 1)), "1 0 1 0 1 0 0 0");
    EXPECT_EQ(RowText(*Bits("rgb48(65535,0,0)", ieOrdered, ie48RGB, 8, 1)), "1 0 1 0 1 0 0 0");
    // Float 1.0 is halved, not scaled: only the zero entries light, at 0 and 8.
    auto floats = Bits("1", ieOrdered, ie32f, 9, 9);
    EXPECT_EQ(std::make_pair(Lit(*floats), RowText(*floats, 8)),
              std::make_pair(4L, std::string("1 0 0 0 0 0 0 0 1")));
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
    // With two levels every t between them scores the same, so the first, 11, wins; a
    // single level can't be split and the caller's fallback stands.
    std::array<uint64_t, 256> twoLevels{}, spread{}, single{};
    twoLevels[10] = 3, twoLevels[200] = 1;
    spread[10] = 1, spread[12] = 1, spread[100] = 2, spread[250] = 4;
    single[5] = 3;
    EXPECT_EQ(std::vector<int32_t>({IEMaxEntropyThreshold(twoLevels, -7), IEMaxEntropyThreshold(spread, -7),
                                    IEMaxEntropyThreshold(single, -7), IEMaxEntropyThreshold({}, -7)}),
              std::vector<int32_t>({11, 13, -7, -7}));
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

TEST(WindowRule, GreyLevelsAreStretchedBetweenBlackAndWhiteValue) {
    // Black 50, white 150: range 100, mid 100; Floor(((v - 100) / 100 + 0.5) * 255 + 0.5).
    // 16-bit in 16-bit units: black 1000, white 3000, mid 2000, range 2000. Only grey to
    // RGB looks at the window, and uses it up.
    const std::tuple<const char*, int32_t, int32_t, TIEPixelFormat, const char*, int32_t> cases[] = {
        {"ie8g 0 50 51 100 101 150 151", 50, 150, ie24RGB, "ie24RGB 0 0 3 128 130 255 255", 0},
        {"ie16g 1000 2000 2500 3001", 1000, 3000, ie24RGB, "ie24RGB 0 128 191 255", 0},
        {"ie8g 100", 50, 60, ie32RGB, "ie32RGB rgba(100,100,100,255)", 60},
    };
    for (const auto& [source, black, white, format, expected, whiteAfter] : cases) {
        // 8-bit grey converts in place, 16-bit is copied into a target; each reads its own window.
        auto picture = Picture(source);
        TIEBitmap target(picture->Width(), 1, format, 0),
            &result = picture->PixelFormat() == ie16g ? target : *picture;
        result.SetBlackValue(black);
        result.SetWhiteValue(white);
        &result == &target ? target.CopyAndConvertFormat(*picture) : picture->SetPixelFormat(format);
        EXPECT_EQ(Text(result) + " white " + std::to_string(int(result.WhiteValue())),
                  std::string(expected) + " white " + std::to_string(whiteAfter));
    }
}
