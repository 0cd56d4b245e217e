#include <cstring>
#include <gtest/gtest.h>
#include <set>

#include "image/bitmap.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/image/converttestutil.h"

namespace {

TEST(BitmapAssign, CopiesPixelsPlaneAndDisplaySettingsAcrossLocations) {
    TIEBitmap source;
    FillGrey(source, 3, 2, {1, 2, 3, 4, 5, 6});
    source.SetAlpha(2, 0, 70);
    source.SetBlackValue(10);
    source.SetWhiteValue(200);
    source.SetContrast(5);
    source.SetDefaultDitherMethod(ieOrdered);

    TIEBitmap inMemory;
    inMemory.Assign(source);
    EXPECT_EQ(FirstDifference(source, inMemory), "");
    EXPECT_EQ(inMemory.GetAlpha(2, 0), 70);
    EXPECT_TRUE(inMemory.AlphaChannelOpt()->IsAlpha());
    EXPECT_EQ(inMemory.BlackValue(), 10);
    EXPECT_EQ(inMemory.WhiteValue(), 200);
    EXPECT_EQ(inMemory.Contrast(), 5);
    EXPECT_EQ(inMemory.DefaultDitherMethod(), ieOrdered);

    TScopedGlobal<int64_t> threshold(DefMinFileSize, 0);
    TIEBitmap inFile, fileToFile;
    inFile.Assign(source);
    ASSERT_EQ(inFile.Location(), ieFile);
    EXPECT_EQ(FirstDifference(source, inFile), "");
    fileToFile.Assign(inFile);
    ASSERT_EQ(fileToFile.Location(), ieFile);
    EXPECT_EQ(FirstDifference(source, fileToFile), "");
    EXPECT_EQ(fileToFile.GetAlpha(2, 0), 70);
    EXPECT_EQ(inFile.Access(), iedRead | iedWrite);

    // A source without a plane removes the target's.
    TIEBitmap plain(1, 1, ie8g, 0);
    inMemory.Assign(plain);
    EXPECT_EQ(inMemory.AlphaChannelOpt(), nullptr);
}

TEST(BitmapAssign, EmptySourceLeavesATBitmapTargetAlone) {
    TIEBitmap target;
    target.SetLocation(ieTBitmap);
    ASSERT_TRUE(target.Allocate(2, 2, ie24RGB, 0x00123456));
    TBitmap* platform = target.VclBitmap();
    TIEBitmap empty;
    target.Assign(empty);
    EXPECT_EQ(target.Width(), 2);
    EXPECT_EQ(target.GetPixels_ie24RGB(1, 1).r, 0x56);

    // A real source reshapes the same platform object.
    TIEBitmap source;
    FillGrey(source, 3, 1, {9, 8, 7});
    target.Assign(source);
    EXPECT_EQ(target.VclBitmap(), platform);
    EXPECT_EQ(platform->PixelDepth(), 8);
    EXPECT_EQ(GreyPixels(target), Bytes({9, 8, 7}));

    TIEBitmap deep(1, 1, ie16g, 0);
    target.Assign(deep);
    EXPECT_EQ(target.PixelFormat(), ie8g);
}

TEST(BitmapCopyRect, NegativeDestinationShortensAndShiftsTheRectangle) {
    TIEBitmap source; // value 10 * y + x
    FillGrey(source, 4, 3, {0, 1, 2, 3, 10, 11, 12, 13, 20, 21, 22, 23});
    TIEBitmap dest(3, 3, ie8g, 0);
    source.CopyRectTo(dest, 1, 0, -1, 1, 3, 3);
    EXPECT_EQ(GreyPixels(dest), Bytes({0, 0, 0, 2, 3, 0, 12, 13, 0}));

    TIEBitmap upper(3, 3, ie8g, 0);
    source.CopyRectTo(upper, 0, 0, 1, -2, 5, 5);
    EXPECT_EQ(GreyPixels(upper), Bytes({0, 20, 21, 0, 0, 0, 0, 0, 0}));

    // A rectangle with nothing in it still notifies the destination.
    upper.SetModified(false);
    source.CopyRectTo(upper, 0, 0, -5, 0, 5, 1);
    EXPECT_EQ(GreyPixels(upper), Bytes({0, 20, 21, 0, 0, 0, 0, 0, 0}));
    EXPECT_TRUE(upper.Modified());
}

TEST(BitmapCopyRect, OneBitRowsCopyBitsAndExpandToRGB) {
    TIEBitmap bits(10, 1, ie1g, 0);
    for (int32_t x : {0, 2, 3, 9})
        bits.SetPixels_ie1g(x, 0, true);
    TIEBitmap shifted(12, 1, ie1g, 0);
    bits.CopyRectTo(shifted, 2, 0, 5, 0, 8, 1);
    std::set<int32_t> set;
    for (int32_t x = 0; x < 12; ++x)
        if (shifted.GetPixels_ie1g(x, 0)) set.insert(x);
    // Width 8 is cut to the 7 columns left in the target: source bits 2..8 land on 5..11.
    EXPECT_EQ(set, (std::set<int32_t>{5, 6}));

    TIEBitmap rgb(3, 1, ie24RGB, 0x00102030);
    bits.CopyRectTo(rgb, 1, 0, 0, 0, 3, 1);
    EXPECT_EQ(rgb.GetPixels_ie24RGB(0, 0).r, 0);
    EXPECT_EQ(rgb.GetPixels_ie24RGB(0, 0).b, 0);
    EXPECT_EQ(rgb.GetPixels_ie24RGB(1, 0).g, 255);
    EXPECT_EQ(rgb.GetPixels_ie24RGB(2, 0).b, 255);
}

TEST(BitmapCopyRect, DifferentFormatsCopyNothingAndPalettesFollowWholeCopies) {
    TIEBitmap grey(2, 1, ie8g, 50), rgb(2, 1, ie24RGB, 0);
    rgb.SetModified(false);
    grey.CopyRectTo(rgb, 0, 0, 0, 0, 2, 1);
    EXPECT_EQ(rgb.GetPixels_ie24RGB(0, 0).r, 0);
    EXPECT_TRUE(rgb.Modified());

    TIEBitmap indexed(2, 1, ie8p, 1), target(2, 1, ie8p, 0);
    indexed.SetPalette(1, TRGB{1, 2, 3});
    indexed.CopyRectTo(target, 0, 0, 0, 0, 1, 1);
    EXPECT_EQ(target.GetPalette(1).r, 3); // target palette was all black
    indexed.SetPalette(1, TRGB{7, 7, 7});
    indexed.CopyRectTo(target, 0, 0, 0, 0, 1, 1);
    EXPECT_EQ(target.GetPalette(1).r, 3); // partial copy, palette not black any more
    indexed.CopyRectTo(target, 0, 0, 0, 0, 2, 1);
    EXPECT_EQ(target.GetPalette(1).r, 7);
}

TEST(BitmapCopyRect, CopyAlphaCarriesThePlaneAndItsFullness) {
    TIEBitmap source(2, 1, ie8g, 1), dest(3, 1, ie8g, 0);
    source.SetAlpha(1, 0, 30);
    source.CopyRectTo(dest, 0, 0, 1, 0, 2, 1, true);
    ASSERT_NE(dest.AlphaChannelOpt(), nullptr);
    EXPECT_EQ(GreyPixels(*dest.AlphaChannelOpt()), Bytes({255, 255, 30}));
    EXPECT_FALSE(dest.AlphaChannelOpt()->Full());

    TIEBitmap a(1, 1, ie8g, 0), b(1, 1, ie8g, 0);
    a.AlphaChannel()->Fill(100);
    b.AlphaChannel()->Fill(40);
    a.CopyToEx(b, 0, 0, 0, 0, 1, 1, true, iemmAdd, false);
    EXPECT_EQ(b.GetAlpha(0, 0), 140);
    a.CopyToEx(b, 0, 0, 0, 0, 1, 1, true, iemmMin, false);
    EXPECT_EQ(b.GetAlpha(0, 0), 100);
}

TEST(BitmapResize, AlignmentPlacesTheOldPictureWhenGrowing) {
    TIEBitmap bitmap;
    FillGrey(bitmap, 2, 2, {1, 2, 3, 4});
    bitmap.Resize(4, 3, 9, 255, iehCenter, ievBottom);
    EXPECT_EQ(GreyPixels(bitmap), Bytes({9, 9, 9, 9, 9, 1, 2, 9, 9, 3, 4, 9}));

    FillGrey(bitmap, 2, 2, {1, 2, 3, 4});
    bitmap.Resize(3, 2, 9, 255, iehRight, ievTop);
    EXPECT_EQ(GreyPixels(bitmap), Bytes({9, 1, 2, 9, 3, 4}));

    FillGrey(bitmap, 2, 2, {1, 2, 3, 4});
    bitmap.Resize(3, 3, 9, 255, iehLeft, ievCenter);
    EXPECT_EQ(GreyPixels(bitmap), Bytes({1, 2, 9, 3, 4, 9, 9, 9, 9}));
}

TEST(BitmapResize, AlignmentChoosesWhatSurvivesWhenShrinking) {
    TIEBitmap bitmap;
    FillGrey(bitmap, 3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    bitmap.Resize(2, 2, 0, 255, iehRight, ievBottom);
    EXPECT_EQ(GreyPixels(bitmap), Bytes({5, 6, 8, 9}));

    // (2 - 3) / 2 rounds toward zero: centring a one-pixel cut keeps the left.
    FillGrey(bitmap, 3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    bitmap.Resize(2, 2, 0, 255, iehCenter, ievCenter);
    EXPECT_EQ(GreyPixels(bitmap), Bytes({1, 2, 4, 5}));

    FillGrey(bitmap, 4, 1, {1, 2, 3, 4});
    bitmap.Resize(1, 1, 0, 255, iehCenter, ievTop);
    EXPECT_EQ(GreyPixels(bitmap), Bytes({2}));
}

TEST(BitmapResize, BackgroundColourAndAlphaFillTheNewArea) {
    TIEBitmap rgb(1, 1, ie24RGB, 0);
    rgb.Resize(2, 1, double(0x0000FF), 100, iehLeft, ievTop);
    EXPECT_EQ(rgb.GetPixels_ie24RGB(1, 0).r, 255);
    EXPECT_EQ(rgb.GetPixels_ie24RGB(1, 0).b, 0);
    ASSERT_NE(rgb.AlphaChannelOpt(), nullptr);
    EXPECT_EQ(GreyPixels(*rgb.AlphaChannelOpt()), Bytes({255, 100}));
    EXPECT_FALSE(rgb.AlphaChannelOpt()->Full());

    TIEBitmap opaque(1, 1, ie8g, 0);
    opaque.AlphaChannel();
    opaque.Resize(2, 2, 0, 255, iehLeft, ievTop);
    EXPECT_TRUE(opaque.AlphaChannelOpt()->Full());
    EXPECT_EQ(opaque.AlphaChannelOpt()->Width(), 2);

    TIEBitmap transparent(1, 1, ie24RGB, 0);
    transparent.Resize(1, 2, IETransparentFill, 255, iehLeft, ievTop);
    EXPECT_EQ(GreyPixels(*transparent.AlphaChannelOpt()), Bytes({255, 0}));
    EXPECT_EQ(transparent.GetPixels_ie24RGB(0, 1).g, 255);

    // Shrinking fills nothing, so a small FillAlpha creates no plane.
    TIEBitmap shrink(2, 2, ie8g, 0);
    shrink.Resize(1, 1, 0, 0, iehLeft, ievTop);
    EXPECT_EQ(shrink.AlphaChannelOpt(), nullptr);
}

TEST(BitmapResize, OneBitPicturesMoveByBits) {
    TIEBitmap bits(3, 1, ie1g, 0);
    bits.SetPixels_ie1g(0, 0, true);
    bits.SetPixels_ie1g(2, 0, true);
    bits.Resize(5, 1, 0, 255, iehRight, ievTop);
    const bool expected[] = {false, false, true, false, true};
    for (int32_t x = 0; x < 5; ++x)
        EXPECT_EQ(bits.GetPixels_ie1g(x, 0), expected[x]) << x;
}

TEST(BitmapResize, NegativeSizeIsRefusedWordForWord) {
    TIEBitmap bitmap(2, 2, ie8g, 0);
    try {
        bitmap.Resize(-1, 2);
        FAIL() << "no exception";
    } catch (const EIEException& e) {
        EXPECT_STREQ(e.what(), "Invalid size");
    }
    EXPECT_EQ(bitmap.Width(), 2);
}

TEST(BitmapResize, MarginsGrowAndCutOnEachSide) {
    TIEBitmap bitmap;
    FillGrey(bitmap, 2, 2, {1, 2, 3, 4});
    bitmap.Resize(1, 0, 0, 1, 7.0, 255);
    EXPECT_EQ(GreyPixels(bitmap), Bytes({7, 1, 2, 7, 3, 4, 7, 7, 7}));

    FillGrey(bitmap, 2, 2, {1, 2, 3, 4});
    bitmap.Resize(-1, 1, 0, 0, 7.0, 255);
    EXPECT_EQ(GreyPixels(bitmap), Bytes({7, 2, 4}));

    // A margin eating the whole picture leaves only the new size, in background.
    FillGrey(bitmap, 2, 2, {1, 2, 3, 4});
    bitmap.Resize(-2, 0, 1, 0, 5.0, 255);
    EXPECT_EQ(GreyPixels(bitmap), Bytes({5, 5}));
}

TEST(BitmapFill, ValueIsReadByFormatAndSetsFull) {
    const struct {
        TIEPixelFormat Format;
        double Value;
        const char* Expected;
        bool Full;
    } fills[] = {
        {ie8g, 17.9, "17 17", false},
        {ie8g, 255, "255 255", true},
        {ie24RGB, double(0x00123456), "rgb(86,52,18) rgb(86,52,18)", false},
        {ie24RGB, 16777215.0, "rgb(255,255,255) rgb(255,255,255)", true},
        {ie1g, 1, "1 1", true},
        {ie1g, 0, "0 0", false},
        {ie48RGB, double(0x0000FF), "rgb48(65535,0,0) rgb48(65535,0,0)", false},
        {ie16g, 65535, "65535 65535", true},
        {ie32f, 0.25, "0.25 0.25", false},
        {ieCMYK, 0, "cmyk(255,255,255,0) cmyk(255,255,255,0)", false},
    };
    for (const auto& fill : fills) {
        TIEBitmap bitmap(2, 2, fill.Format);
        bitmap.Fill(fill.Value);
        EXPECT_EQ(RowText(bitmap, 1), fill.Expected) << IEPixelFormatName(fill.Format) << " " << fill.Value;
        if (fill.Format != ie48RGB && fill.Format != ie32f && fill.Format != ieCMYK) {
            EXPECT_EQ(bitmap.Full(), fill.Full) << IEPixelFormatName(fill.Format) << " " << fill.Value;
        }
    }
    // Bits fill whole rows, the partly used last byte included.
    TIEBitmap bits(10, 2, ie1g);
    bits.Fill(1);
    EXPECT_EQ(RowText(bits, 1), "1 1 1 1 1 1 1 1 1 1");
}

TEST(BitmapFill, FileBackedFillWritesEveryRowAndRestoresAccess) {
    TScopedGlobal<int64_t> threshold(DefMinFileSize, 0);
    TIEBitmap bitmap(3, 3, ie8g);
    ASSERT_EQ(bitmap.Location(), ieFile);
    bitmap.Fill(44);
    EXPECT_EQ(bitmap.Access(), iedRead | iedWrite);
    EXPECT_EQ(GreyPixels(bitmap), Bytes({44, 44, 44, 44, 44, 44, 44, 44, 44}));
}

TEST(BitmapFill, FillRectIsInclusiveAndClipped) {
    TIEBitmap bitmap(3, 3, ie8g, 0);
    bitmap.FillRect(1, -5, 5, 1, 6);
    EXPECT_EQ(GreyPixels(bitmap), Bytes({0, 6, 6, 0, 6, 6, 0, 0, 0}));
}

TEST(BitmapCheckFormat, AllowedOrConvertedByTheSubstituteTable) {
    TIEBitmap bitmap(1, 1, ie24RGB, 0x00010203);
    EXPECT_TRUE(bitmap.CheckFormat({}, false));
    EXPECT_TRUE(bitmap.CheckFormat({ie24RGB, ie8g}, false));
    EXPECT_FALSE(bitmap.CheckFormat({ie8g}, false));
    EXPECT_EQ(bitmap.PixelFormat(), ie24RGB);
    // ie32RGB stands before ie8g among the substitutes of ie24RGB.
    EXPECT_TRUE(bitmap.CheckFormat({ie8g, ie32RGB}, true));
    EXPECT_EQ(bitmap.PixelFormat(), ie32RGB);
    EXPECT_EQ(bitmap.GetPixels_ie32RGB(0, 0).r, 3);

    // Outside the table the formats are tried from ie32RGB downward.
    TIEBitmap empty;
    EXPECT_TRUE(empty.CheckFormat({ie1g, ie32f}, true));
    EXPECT_EQ(empty.PixelFormat(), ie32f);
}

TEST(BitmapGetAtSize, MatchingBitmapIsItselfOtherwiseAnOwnedCopy) {
    TIEBitmap bitmap(2, 1, ie24RGB, 0x00010203);
    EXPECT_EQ(bitmap.GetAtSize(2, 1), &bitmap);
    EXPECT_EQ(bitmap.GetAtSize(2, 1, ie24RGB), &bitmap);
    TIEBitmap* converted = bitmap.GetAtSize(2, 1, ie32RGB);
    ASSERT_NE(converted, &bitmap);
    EXPECT_EQ(converted->PixelFormat(), ie32RGB);
    EXPECT_EQ(converted->GetPixels_ie32RGB(1, 0).r, 3);
    EXPECT_EQ(bitmap.PixelFormat(), ie24RGB);
    EXPECT_EQ(bitmap.GetAtSize(2, 1, ie32RGB), converted);
    TIEBitmap* sized = bitmap.GetAtSize(4, 3);
    EXPECT_EQ(sized->Width(), 4);
    EXPECT_EQ(sized->Height(), 3);
}

TEST(BitmapResample, SizeResolutionAndShrinkOnly) {
    TIEBitmap bitmap(4, 2, ie24RGB, 0);
    int changes = 0;
    bitmap.SetOnChanged([&changes](TIEBitmap&) { ++changes; });
    bitmap.Resample(8, 1, rfNone, false, true);
    EXPECT_EQ(bitmap.Width(), 4);
    EXPECT_EQ(changes, 1);
    bitmap.Resample(0.0, rfNone);
    EXPECT_EQ(bitmap.Width(), 4);
    bitmap.Resample(-1, 1, rfNone);
    EXPECT_EQ(bitmap.Width(), 2);
    EXPECT_EQ(bitmap.Height(), 1);
    bitmap.Resample(2.0, rfNone);
    EXPECT_EQ(bitmap.Width(), 4);
    EXPECT_EQ(bitmap.Height(), 2);
}

} // namespace
