#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "image/bitmap.h"
#include "image/convert.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/image/converttestutil.h"

namespace {

// Width x Height pixels of one value in Format.
std::unique_ptr<TIEBitmap> Uniform(TIEPixelFormat Format, int32_t Width, int32_t Height,
                                   const std::string& Value) {
    std::string spec = IEPixelFormatName(Format);
    for (int32_t i = 0; i < Width * Height; ++i)
        spec.append(i && i % Width == 0 ? " / " : " ").append(Value);
    return Picture(spec);
}

std::vector<uint8_t> Bits(std::unique_ptr<TIEBitmap> Bitmap, TIEDitherMethod Method, int32_t Row = 0) {
    Bitmap->SetDefaultDitherMethod(Method);
    Bitmap->SetPixelFormat(ie1g);
    return BitRow(*Bitmap, Row);
}

} // namespace

TEST(DitherOrdered, MatrixIsIndexedByColumnThenRowAndRepeatsEveryEight) {
    // 160 >> 2 = 40. Row 0 compares with M[x][0] = 0 48 12 60 3 51 15 63, row 1 with
    // M[x][1] = 32 16 44 28 35 19 47 31; a transposed table would give 0xEE on row 0.
    for (auto [row, expected] :
         {std::pair{0, Bytes({0xAA, 0x80})}, {1, Bytes({0xDD, 0x80})}, {8, Bytes({0xAA, 0x80})}})
        EXPECT_EQ(Bits(Uniform(ie8g, 9, 9, "160"), ieOrdered, row), expected) << row;
    // 128 >> 2 = 32: set where the entry is below 32 (equal is not greater), half of them.
    auto half = Uniform(ie8g, 8, 8, "128");
    half->SetDefaultDitherMethod(ieOrdered);
    half->SetPixelFormat(ie1g);
    int set = 0;
    for (int32_t i = 0; i < 64; ++i)
        set += half->GetPixels_ie1g(i % 8, i / 8);
    EXPECT_EQ(set, 32);
    EXPECT_EQ(std::make_pair(half->GetPixels_ie1g(4, 4), half->GetPixels_ie1g(0, 1)),
              std::make_pair(true, false));
    // Colour by its grey: Grey(255, 0, 0) = 53, 53 >> 2 = 13, below it at x = 0, 2 and 4.
    EXPECT_EQ(Bits(Uniform(ie24RGB, 8, 1, "rgb(255,0,0)"), ieOrdered), Bytes({0xA8}));
    EXPECT_EQ(Bits(Uniform(ie48RGB, 8, 1, "rgb48(65535,0,0)"), ieOrdered), Bytes({0xA8}));
    // Float 1.0 is halved, not scaled: only the zero entries light.
    auto floats = Uniform(ie32f, 9, 9, "1");
    floats->SetDefaultDitherMethod(ieOrdered);
    floats->SetPixelFormat(ie1g);
    for (int32_t i = 0; i < 81; ++i)
        EXPECT_EQ(floats->GetPixels_ie1g(i % 9, i / 9), i % 9 % 8 == 0 && i / 9 % 8 == 0) << i;
}

TEST(DitherThreshold, MeanGreySplitsAtOrAboveForEveryFormat) {
    const std::pair<const char*, std::vector<uint8_t>> cases[] = {
        {"ie8g 10 20 30 60", {0x30}}, // mean 30: the 30 is set, being equal
        // The grey of the mean colour, not the mean of greys: b 12 and 14 have grey 0 and
        // 1 (mean 0), b 13 has grey 1.
        {"ie24RGB rgb(0,0,12) rgb(0,0,14)", {0x40}},
        {"ie16g 2560 5375 7680 15360", {0x30}},       // by the high byte: 10, 20, 30, 60
        {"ie32f 0 0.5 0.5 1", {0x70}},                // Trunc(v * 255): mean of 0, 127, 127, 255
        {"ieCIELab lab(255,0,0) lab(0,0,0)", {0x80}}, // through RGB
    };
    for (const auto& [source, expected] : cases)
        EXPECT_EQ(Bits(Picture(source), ieThreshold), expected) << source;
    // Palette by the grey of the entry: 117 and 18; the mean colour (105, 60, 40) has grey 67.
    auto palette = Picture("ie8p 0 1");
    palette->SetPalette(0, RGB(200, 100, 50));
    palette->SetPalette(1, RGB(10, 20, 30));
    EXPECT_EQ(Bits(std::move(palette), ieThreshold), Bytes({0x80}));
    // Threshold is the default method.
    auto byDefault = Picture("ie8g 10 20 30 200");
    byDefault->SetPixelFormat(ie1g);
    EXPECT_EQ(BitRow(*byDefault), Bytes({0x10}));
}

TEST(DitherThreshold, ExplicitAndEntropyThresholds) {
    auto source = Picture("ie8g 10 10 40 200");
    TIEBitmap target(4, 1, ie1g, 0);
    // Mean 65 leaves the 40 dark (-1); the maximum-entropy threshold (-2) is 11 and lights it.
    for (auto [threshold, expected] : {std::pair{40, 0x30}, {41, 0x10}, {-1, 0x10}, {-2, 0x30}}) {
        IEConvertToBWThreshold(*source, target, threshold);
        EXPECT_EQ(BitRow(target), Bytes({expected})) << threshold;
    }
    // A uniform picture comes out white under either automatic threshold.
    for (int32_t threshold : {-1, -2}) {
        IEConvertToBWThreshold(*Uniform(ie8g, 4, 1, "90"), target, threshold);
        EXPECT_EQ(BitRow(target), Bytes({0xF0})) << threshold;
    }
    // With two levels every t between them scores the same, so the first, 11, wins; a
    // single level can't be split and the caller's fallback stands.
    std::array<uint64_t, 256> twoLevels{}, spread{}, single{};
    twoLevels[10] = 3, twoLevels[200] = 1;
    spread[10] = 1, spread[12] = 1, spread[100] = 2, spread[250] = 4;
    single[5] = 3;
    EXPECT_EQ(IEMaxEntropyThreshold(twoLevels, -7), 11);
    EXPECT_EQ(IEMaxEntropyThreshold(spread, -7), 13);
    EXPECT_EQ(IEMaxEntropyThreshold(single, -7), -7);
    EXPECT_EQ(IEMaxEntropyThreshold(std::array<uint64_t, 256>{}, -7), -7);
    // A bit source is copied.
    TIEBitmap wide(10, 1, ie1g, 0);
    IEConvertToBWThreshold(*Picture("ie1g 0 0 0 0 0 0 0 0 0 1"), wide, -1);
    EXPECT_EQ(BitRow(wide), Bytes({0x00, 0x40}));
    // Progress after each row.
    TIEBitmap bits(2, 4, ie1g, 0);
    std::vector<int> reported;
    bits.SetOnProgress([&reported](void*, int per) { reported.push_back(per); });
    IEConvertToBWThreshold(*Uniform(ie8g, 2, 4, "10"), bits, -1);
    EXPECT_EQ(reported, (std::vector<int>{25, 50, 75, 100}));
}

TEST(DitherNone, DitheringMethodLeavesTheRowsAsTheyWere) {
    TIEBitmap target(10, 1, ie1g, 1);
    target.SetDefaultDitherMethod(ieDithering);
    target.CopyAndConvertFormat(*Uniform(ie24RGB, 10, 1, "0"));
    EXPECT_EQ(BitRow(target), Bytes({0xFF, 0xFF})); // as filled, padding included
}

TEST(WindowRule, GreyLevelsAreStretchedBetweenBlackAndWhiteValue) {
    // Black 50, white 150: range 100, mid 100; Floor(((v - 100) / 100 + 0.5) * 255 + 0.5).
    auto bitmap = Picture("ie8g 0 50 51 100 101 150 151");
    bitmap->SetBlackValue(50);
    bitmap->SetWhiteValue(150);
    bitmap->SetPixelFormat(ie24RGB);
    EXPECT_EQ(Text(*bitmap), "ie24RGB 0 0 3 128 130 255 255");
    EXPECT_EQ(bitmap->BlackValue() + bitmap->WhiteValue(), 0);
    // 16-bit in 16-bit units. Black 1000, white 3000: mid 2000, range 2000.
    TIEBitmap target(4, 1, ie24RGB, 0);
    target.SetBlackValue(1000);
    target.SetWhiteValue(3000);
    target.CopyAndConvertFormat(*Picture("ie16g 1000 2000 2500 3001"));
    EXPECT_EQ(Text(target), "ie24RGB 0 128 191 255");
    EXPECT_EQ(target.WhiteValue(), 0);
    // Only grey to RGB looks at the window.
    auto other = Picture("ie8g 100");
    other->SetBlackValue(50);
    other->SetWhiteValue(60);
    other->SetPixelFormat(ie32RGB);
    EXPECT_EQ(Text(*other), "ie32RGB rgba(100,100,100,255)");
    EXPECT_EQ(other->WhiteValue(), 60);
}
