#include <gtest/gtest.h>

#include <vector>

#include "image/bitmap.h"
#include "image/convert.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/image/converttestutil.h"

namespace {

std::unique_ptr<TIEBitmap> Uniform(int32_t Width, int32_t Height, uint8_t Level) {
    return MakeBitmap<uint8_t>(ie8g, Width, std::vector<uint8_t>(size_t(Width * Height), Level));
}

std::unique_ptr<TIEBitmap> ToBits(std::unique_ptr<TIEBitmap> Bitmap, TIEDitherMethod Method) {
    Bitmap->SetDefaultDitherMethod(Method);
    Bitmap->SetPixelFormat(ie1g);
    return Bitmap;
}

} // namespace

TEST(DitherOrdered, MatrixIsIndexedByColumnThenRowAndRepeatsEveryEight) {
    // 160 >> 2 = 40. Row 0 compares with M[x][0] = 0 48 12 60 3 51 15 63, row 1 with
    // M[x][1] = 32 16 44 28 35 19 47 31; a transposed table would give 0xEE on row 0.
    auto bits = ToBits(Uniform(9, 9, 160), ieOrdered);
    ASSERT_EQ(bits->PixelFormat(), ie1g);
    EXPECT_EQ(BitRow(*bits, 0), Bytes({0xAA, 0x80}));
    EXPECT_EQ(BitRow(*bits, 1), Bytes({0xDD, 0x80}));
    EXPECT_EQ(BitRow(*bits, 8), Bytes({0xAA, 0x80}));
}

TEST(DitherOrdered, HalfGreySetsExactlyHalfOfTheCells) {
    // 128 >> 2 = 32: set where the entry is below 32, which is 32 of the 64 entries.
    auto bits = ToBits(Uniform(8, 8, 128), ieOrdered);
    int set = 0;
    for (int32_t y = 0; y < 8; ++y)
        for (int32_t x = 0; x < 8; ++x)
            set += bits->GetPixels_ie1g(x, y);
    EXPECT_EQ(set, 32);
    EXPECT_TRUE(bits->GetPixels_ie1g(4, 4));  // entry 1
    EXPECT_FALSE(bits->GetPixels_ie1g(0, 1)); // entry 32: equal is not greater
}

TEST(DitherOrdered, ColourSourcesUseGreyOfTheirPixels) {
    // Grey(255, 0, 0) = 53, 53 >> 2 = 13: row 0 entries below 13 are at x = 0, 2 and 4.
    auto bits = ToBits(MakeBitmap<TRGB>(ie24RGB, 8, std::vector<TRGB>(8, RGB(255, 0, 0))), ieOrdered);
    EXPECT_EQ(BitRow(*bits), Bytes({0xA8}));
    auto wide =
        ToBits(MakeBitmap<TRGB48>(ie48RGB, 8, std::vector<TRGB48>(8, TRGB48{65535, 0, 0})), ieOrdered);
    EXPECT_EQ(BitRow(*wide), Bytes({0xA8}));
}

TEST(DitherOrdered, FloatIsHalvedNotScaledSoOnlyZeroEntriesLight) {
    auto bits = ToBits(MakeBitmap<float>(ie32f, 9, std::vector<float>(81, 1.0f)), ieOrdered);
    for (int32_t y = 0; y < 9; ++y)
        for (int32_t x = 0; x < 9; ++x)
            EXPECT_EQ(bits->GetPixels_ie1g(x, y), (x & 7) == 0 && (y & 7) == 0) << x << "," << y;
}

TEST(DitherThreshold, MeanGreySplitsAtOrAbove) {
    // Mean (10 + 20 + 30 + 60) / 4 = 30: the 30 is set, being equal.
    auto bits = ToBits(MakeBitmap<uint8_t>(ie8g, 4, {10, 20, 30, 60}), ieThreshold);
    EXPECT_EQ(BitRow(*bits), Bytes({0x30}));
    // Threshold is the default method.
    EXPECT_EQ(TIEBitmap().DefaultDitherMethod(), ieThreshold);
    auto byDefault = MakeBitmap<uint8_t>(ie8g, 4, {10, 20, 30, 200});
    byDefault->SetPixelFormat(ie1g);
    EXPECT_EQ(BitRow(*byDefault), Bytes({0x10}));
}

TEST(DitherThreshold, ColourMeanIsGreyOfTheMeanColourNotMeanOfGreys) {
    // Greys of b = 12 and b = 14 are 0 and 1 (mean 0); the mean colour b = 13 has grey 1.
    auto bits = ToBits(MakeBitmap<TRGB>(ie24RGB, 2, {RGB(0, 0, 12), RGB(0, 0, 14)}), ieThreshold);
    EXPECT_EQ(BitRow(*bits), Bytes({0x40}));
}

TEST(DitherThreshold, EveryGreySourceReadsItsLevel) {
    // 16-bit by the high byte: 0x0A00, 0x1400, 0x1E00, 0x3C00 are 10, 20, 30, 60.
    auto grey16 = ToBits(MakeBitmap<uint16_t>(ie16g, 4, {0x0A00, 0x14FF, 0x1E00, 0x3C00}), ieThreshold);
    EXPECT_EQ(BitRow(*grey16), Bytes({0x30}));
    // Float by Trunc(v * 255): 0.5 is 127, so the mean of 0, 127, 127, 255 is 127.
    auto real = ToBits(MakeBitmap<float>(ie32f, 4, {0.0f, 0.5f, 0.5f, 1.0f}), ieThreshold);
    EXPECT_EQ(BitRow(*real), Bytes({0x70}));
    // Palette by the Grey of the entry: 117 and 18, mean colour (105, 60, 40) has grey 67.
    auto palette = MakeBitmap<uint8_t>(ie8p, 2, {0, 1});
    palette->SetPalette(0, RGB(200, 100, 50));
    palette->SetPalette(1, RGB(10, 20, 30));
    auto bits = ToBits(std::move(palette), ieThreshold);
    EXPECT_EQ(BitRow(*bits), Bytes({0x80}));
}

TEST(DitherThreshold, ColourFormatsWithoutReaderGoThroughRGB) {
    auto lab = MakeBitmap<TCIELab>(ieCIELab, 2, {TCIELab{255, 0, 0}, TCIELab{0, 0, 0}});
    auto bits = ToBits(std::move(lab), ieThreshold);
    EXPECT_EQ(BitRow(*bits), Bytes({0x80}));
}

TEST(DitherThreshold, ExplicitAndEntropyThresholds) {
    auto source = MakeBitmap<uint8_t>(ie8g, 4, {10, 10, 40, 200});
    TIEBitmap target(4, 1, ie1g, 0);
    IEConvertToBWThreshold(*source, target, 40);
    EXPECT_EQ(BitRow(target), Bytes({0x30}));
    IEConvertToBWThreshold(*source, target, 41);
    EXPECT_EQ(BitRow(target), Bytes({0x10}));
    // Mean 65 leaves the 40 dark; the maximum-entropy threshold is 11 and lights it.
    IEConvertToBWThreshold(*source, target, -1);
    EXPECT_EQ(BitRow(target), Bytes({0x10}));
    IEConvertToBWThreshold(*source, target, -2);
    EXPECT_EQ(BitRow(target), Bytes({0x30}));
}

TEST(DitherThreshold, EntropyThresholdPicksFirstOfEqualScores) {
    // With two levels every t between them scores the same, so the first, 11, wins.
    std::array<uint64_t, 256> twoLevels{};
    twoLevels[10] = 3;
    twoLevels[200] = 1;
    EXPECT_EQ(IEMaxEntropyThreshold(twoLevels, -7), 11);
    std::array<uint64_t, 256> spread{};
    spread[10] = 1;
    spread[12] = 1;
    spread[100] = 2;
    spread[250] = 4;
    EXPECT_EQ(IEMaxEntropyThreshold(spread, -7), 13);
    // A single level can't be split: the caller's fallback stands.
    std::array<uint64_t, 256> single{};
    single[5] = 3;
    EXPECT_EQ(IEMaxEntropyThreshold(single, -7), -7);
    EXPECT_EQ(IEMaxEntropyThreshold(std::array<uint64_t, 256>{}, -7), -7);
}

TEST(DitherThreshold, UniformImageComesOutWhiteUnderEitherAutomaticThreshold) {
    for (int32_t threshold : {-1, -2}) {
        auto source = Uniform(3, 1, 90);
        TIEBitmap target(3, 1, ie1g, 0);
        IEConvertToBWThreshold(*source, target, threshold);
        EXPECT_EQ(BitRow(target), Bytes({0xE0})) << threshold;
    }
}

TEST(DitherThreshold, BitSourceIsCopiedAndProgressReachesHundred) {
    TIEBitmap source(10, 1, ie1g, 0);
    source.SetPixels_ie1g(9, 0, true);
    TIEBitmap target(10, 1, ie1g, 0);
    IEConvertToBWThreshold(source, target, -1);
    EXPECT_EQ(BitRow(target), Bytes({0x00, 0x40}));

    auto grey = Uniform(2, 4, 10);
    TIEBitmap bits(2, 4, ie1g, 0);
    std::vector<int> reported;
    bits.SetOnProgress([&reported](void*, int per) { reported.push_back(per); });
    IEConvertToBWThreshold(*grey, bits, -1);
    EXPECT_EQ(reported, (std::vector<int>{25, 50, 75, 100}));
}

TEST(DitherNone, DitheringMethodLeavesTheRowsAsTheyWere) {
    auto source = MakeBitmap<TRGB>(ie24RGB, 10, std::vector<TRGB>(10, RGB(0, 0, 0)));
    TIEBitmap target(10, 1, ie1g, 1);
    target.SetDefaultDitherMethod(ieDithering);
    std::vector<uint8_t> before = BitRow(target);
    ASSERT_EQ(before[0], 0xFF);
    target.CopyAndConvertFormat(*source);
    EXPECT_EQ(BitRow(target), before);
}

TEST(WindowRule, GreyLevelsAreStretchedBetweenBlackAndWhiteValue) {
    // Black 50, white 150: range 100, mid 100; Floor(((v - 100) / 100 + 0.5) * 255 + 0.5).
    auto bitmap = MakeBitmap<uint8_t>(ie8g, 7, {0, 50, 51, 100, 101, 150, 151});
    bitmap->SetBlackValue(50);
    bitmap->SetWhiteValue(150);
    bitmap->SetPixelFormat(ie24RGB);
    EXPECT_EQ(RowText(*bitmap), "rgb(0,0,0) rgb(0,0,0) rgb(3,3,3) rgb(128,128,128) rgb(130,130,130) "
                                "rgb(255,255,255) rgb(255,255,255)");
    EXPECT_EQ(bitmap->BlackValue(), 0);
    EXPECT_EQ(bitmap->WhiteValue(), 0);

    // 16-bit in 16-bit units. Black 1000, white 3000: mid 2000, range 2000.
    auto words = MakeBitmap<uint16_t>(ie16g, 4, {1000, 2000, 2500, 3001});
    TIEBitmap target(4, 1, ie24RGB, 0);
    target.SetBlackValue(1000);
    target.SetWhiteValue(3000);
    target.CopyAndConvertFormat(*words);
    EXPECT_EQ(RowText(target), "rgb(0,0,0) rgb(128,128,128) rgb(191,191,191) rgb(255,255,255)");
    EXPECT_EQ(target.WhiteValue(), 0);

    // Only grey to RGB looks at the window.
    auto other = MakeBitmap<uint8_t>(ie8g, 1, {100});
    other->SetBlackValue(50);
    other->SetWhiteValue(60);
    other->SetPixelFormat(ie32RGB);
    EXPECT_EQ(RowText(*other), "rgba(100,100,100,255)");
    EXPECT_EQ(other->WhiteValue(), 60);
}
