#include <gtest/gtest.h>

#include "image/bitmap.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/image/converttestutil.h"

TEST(BitmapAssign, CopiesPixelsPlaneAndDisplaySettingsAcrossLocations) {
    TIEBitmap source, inMemory, plain(1, 1, ie8g, 0);
    FillGrey(source, 3, 2, {1, 2, 3, 4, 5, 6});
    source.SetAlpha(2, 0, 70);
    source.SetBlackValue(10);
    source.SetWhiteValue(200);
    source.SetContrast(5);
    source.SetDefaultDitherMethod(ieOrdered);
    inMemory.Assign(source);
    EXPECT_EQ(Text(inMemory), "ie8g 1 2 3 / 4 5 6 alpha 255 255 70 / 255 255 255");
    EXPECT_TRUE(inMemory.AlphaChannelOpt()->IsAlpha());
    EXPECT_EQ(std::vector<int>({int(inMemory.BlackValue()), int(inMemory.WhiteValue()),
                                int(inMemory.Contrast()), inMemory.DefaultDitherMethod()}),
              std::vector<int>({10, 200, 5, ieOrdered}));
    TScopedGlobal<int64_t> threshold(DefMinFileSize, 0);
    TIEBitmap inFile, fileToFile;
    inFile.Assign(source);
    fileToFile.Assign(inFile);
    EXPECT_EQ(std::make_pair(inFile.Location(), fileToFile.Location()), std::make_pair(ieFile, ieFile));
    EXPECT_EQ(Text(fileToFile), Text(inMemory));
    EXPECT_EQ(inFile.Access(), iedRead | iedWrite);
    // A source without a plane removes the target's.
    inMemory.Assign(plain);
    EXPECT_EQ(Text(inMemory), "ie8g 0");
}

TEST(BitmapAssign, ATBitmapTargetIsReshapedInPlaceAndLeftAloneByAnEmptySource) {
    TIEBitmap target, empty, source, deep(1, 1, ie16g, 0);
    target.SetLocation(ieTBitmap);
    ASSERT_TRUE(target.Allocate(1, 1, ie24RGB, 0x123456));
    TBitmap* platform = target.VclBitmap();
    target.Assign(empty);
    EXPECT_EQ(Text(target), "ie24RGB rgb(86,52,18)");
    FillGrey(source, 3, 1, {9, 8, 7});
    target.Assign(source);
    EXPECT_EQ(target.VclBitmap(), platform);
    EXPECT_EQ(platform->PixelDepth(), 8);
    EXPECT_EQ(Text(target), "ie8g 9 8 7");
    target.Assign(deep);
    EXPECT_EQ(target.PixelFormat(), ie8g);
}

TEST(BitmapCopyRect, ClipsShiftsAndCopiesByFormat) {
    TIEBitmap source, dest(3, 3, ie8g, 0), upper(3, 3, ie8g, 0); // source value 10 y + x
    FillGrey(source, 4, 3, {0, 1, 2, 3, 10, 11, 12, 13, 20, 21, 22, 23});
    // A negative destination shortens and shifts the rectangle.
    source.CopyRectTo(dest, 1, 0, -1, 1, 3, 3);
    EXPECT_EQ(Text(dest), "ie8g 0 0 0 / 2 3 0 / 12 13 0");
    source.CopyRectTo(upper, 0, 0, 1, -2, 5, 5);
    EXPECT_EQ(Text(upper), "ie8g 0 20 21 / 0 0 0 / 0 0 0");
    // A rectangle with nothing in it, or of another format, still notifies.
    TIEBitmap rgb(2, 1, ie24RGB, 0);
    for (TIEBitmap* target : {&upper, &rgb}) {
        target->SetModified(false);
        source.CopyRectTo(*target, 0, 0, target == &upper ? -5 : 0, 0, 5, 1);
        EXPECT_TRUE(target->Modified());
    }
    EXPECT_EQ(Text(upper), "ie8g 0 20 21 / 0 0 0 / 0 0 0");
    EXPECT_EQ(Text(rgb), "ie24RGB 0 0");

    // Bits move by bits (width 8 cut to the 7 columns left: bits 2..8 land on 5..11) and
    // expand to RGB.
    TIEBitmap bits(10, 1, ie1g, 0), shifted(12, 1, ie1g, 0), white(3, 1, ie24RGB, 0x102030);
    for (int32_t x : {0, 2, 3, 9})
        bits.SetPixels_ie1g(x, 0, true);
    bits.CopyRectTo(shifted, 2, 0, 5, 0, 8, 1);
    EXPECT_EQ(Text(shifted), "ie1g 0 0 0 0 0 1 1 0 0 0 0 0");
    bits.CopyRectTo(white, 1, 0, 0, 0, 3, 1);
    EXPECT_EQ(Text(white), "ie24RGB 0 255 255");
}

TEST(BitmapCopyRect, PalettesFollowWholeCopiesAndCopyAlphaCarriesThePlane) {
    TIEBitmap indexed(2, 1, ie8p, 1), target(2, 1, ie8p, 0);
    indexed.SetPalette(1, RGB(3, 2, 1));
    indexed.CopyRectTo(target, 0, 0, 0, 0, 1, 1);
    EXPECT_EQ(target.GetPalette(1), RGB(3, 2, 1)); // the target's palette was all black
    indexed.SetPalette(1, RGB(7, 7, 7));
    indexed.CopyRectTo(target, 0, 0, 0, 0, 1, 1);
    EXPECT_EQ(target.GetPalette(1), RGB(3, 2, 1)); // a partial copy, and not black any more
    indexed.CopyRectTo(target, 0, 0, 0, 0, 2, 1);
    EXPECT_EQ(target.GetPalette(1), RGB(7, 7, 7));

    TIEBitmap source(2, 1, ie8g, 1), dest(3, 1, ie8g, 0), a(1, 1, ie8g, 0), b(1, 1, ie8g, 0);
    source.SetAlpha(1, 0, 30);
    source.CopyRectTo(dest, 0, 0, 1, 0, 2, 1, true);
    EXPECT_EQ(Text(dest), "ie8g 0 1 1 alpha 255 255 30");
    EXPECT_FALSE(dest.AlphaChannelOpt()->Full());
    a.SetAlpha(0, 0, 100);
    b.SetAlpha(0, 0, 40);
    a.CopyToEx(b, 0, 0, 0, 0, 1, 1, true, iemmAdd, false);
    EXPECT_EQ(b.GetAlpha(0, 0), 140);
    a.CopyToEx(b, 0, 0, 0, 0, 1, 1, true, iemmMin, false);
    EXPECT_EQ(b.GetAlpha(0, 0), 100);
}

TEST(BitmapResize, AlignmentPlacesOrCutsThePictureAndMarginsGrowOrCut) {
    const struct {
        int32_t Width, Height;
        std::initializer_list<uint8_t> In;
        int32_t NewWidth, NewHeight;
        TIEHAlign Horizontal;
        TIEVAlign Vertical;
        const char* Expected;
    } aligned[] = {
        {2, 2, {1, 2, 3, 4}, 4, 3, iehCenter, ievBottom, "9 9 9 9 / 9 1 2 9 / 9 3 4 9"},
        {2, 2, {1, 2, 3, 4}, 3, 2, iehRight, ievTop, "9 1 2 / 9 3 4"},
        {2, 2, {1, 2, 3, 4}, 3, 3, iehLeft, ievCenter, "1 2 9 / 3 4 9 / 9 9 9"},
        {3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9}, 2, 2, iehRight, ievBottom, "5 6 / 8 9"},
        // (2 - 3) / 2 rounds toward zero: centring a one-pixel cut keeps the left.
        {3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9}, 2, 2, iehCenter, ievCenter, "1 2 / 4 5"},
        {4, 1, {1, 2, 3, 4}, 1, 1, iehCenter, ievTop, "2"},
    };
    for (const auto& c : aligned) {
        TIEBitmap bitmap;
        FillGrey(bitmap, c.Width, c.Height, c.In);
        bitmap.Resize(c.NewWidth, c.NewHeight, 9, 255, c.Horizontal, c.Vertical);
        EXPECT_EQ(Text(bitmap), std::string("ie8g ") + c.Expected) << c.NewWidth << "x" << c.NewHeight;
    }
    const struct {
        int32_t Left, Top, Right, Bottom;
        const char* Expected;
    } margins[] = {
        {1, 0, 0, 1, "7 1 2 / 7 3 4 / 7 7 7"},
        {-1, 1, 0, 0, "7 / 2 / 4"},
        {-2, 0, 1, 0, "7 / 7"}, // eating the whole picture leaves the new size in background
    };
    for (const auto& c : margins) {
        TIEBitmap bitmap;
        FillGrey(bitmap, 2, 2, {1, 2, 3, 4});
        bitmap.Resize(c.Left, c.Top, c.Right, c.Bottom, 7.0, 255);
        EXPECT_EQ(Text(bitmap), std::string("ie8g ") + c.Expected) << c.Left << " " << c.Top;
    }
    TIEBitmap bits(3, 1, ie1g, 0);
    bits.SetPixels_ie1g(0, 0, true);
    bits.SetPixels_ie1g(2, 0, true);
    bits.Resize(5, 1, 0, 255, iehRight, ievTop);
    EXPECT_EQ(Text(bits), "ie1g 0 0 1 0 1");
    try {
        bits.Resize(-1, 2);
        FAIL() << "no exception";
    } catch (const EIEException& e) {
        EXPECT_STREQ(e.what(), "Invalid size");
    }
    EXPECT_EQ(bits.Width(), 5);
}

TEST(BitmapResize, BackgroundColourAndAlphaFillTheNewArea) {
    TIEBitmap rgb(1, 1, ie24RGB, 0), opaque(1, 1, ie8g, 0), clear(1, 1, ie24RGB, 0), shrink(2, 2, ie8g, 0);
    rgb.Resize(2, 1, double(0x0000FF), 100, iehLeft, ievTop);
    EXPECT_EQ(Text(rgb), "ie24RGB 0 rgb(255,0,0) alpha 255 100");
    EXPECT_FALSE(rgb.AlphaChannelOpt()->Full());
    opaque.AlphaChannel();
    opaque.Resize(2, 1, 0, 255, iehLeft, ievTop);
    EXPECT_EQ(Text(opaque), "ie8g 0 0 alpha 255 255");
    EXPECT_TRUE(opaque.AlphaChannelOpt()->Full());
    clear.Resize(1, 2, IETransparentFill, 255, iehLeft, ievTop);
    EXPECT_EQ(Text(clear), "ie24RGB 0 / 255 alpha 255 / 0");
    // Shrinking fills nothing, so a small FillAlpha creates no plane.
    shrink.Resize(1, 1, 0, 0, iehLeft, ievTop);
    EXPECT_EQ(Text(shrink), "ie8g 0");
}

TEST(BitmapFill, ValueIsReadByFormatAndSetsFull) {
    const struct {
        TIEPixelFormat Format;
        double Value;
        const char* Expected;
        int Full; // -1: not kept for this format
    } fills[] = {
        {ie8g, 17.9, "17", 0},
        {ie8g, 255, "255", 1},
        {ie24RGB, double(0x00123456), "rgb(86,52,18)", 0},
        {ie24RGB, 16777215.0, "255", 1},
        {ie1g, 1, "1", 1},
        {ie1g, 0, "0", 0},
        {ie16g, 65535, "65535", 1},
        {ie48RGB, double(0x0000FF), "rgb48(65535,0,0)", -1},
        {ie32f, 0.25, "0.25", -1},
        {ieCMYK, 0, "cmyk(255,255,255,0)", -1},
    };
    for (const auto& fill : fills) {
        TIEBitmap bitmap(2, 2, fill.Format);
        bitmap.Fill(fill.Value);
        EXPECT_EQ(PixelText(bitmap, 1, 1), fill.Expected)
            << IEPixelFormatName(fill.Format) << " " << fill.Value;
        EXPECT_EQ(fill.Full < 0 ? -1 : int(bitmap.Full()), fill.Full) << IEPixelFormatName(fill.Format);
    }
    // Bits fill whole rows, the partly used last byte included; a rectangle is inclusive and
    // clipped; a file is filled row by row and keeps its access.
    TIEBitmap bits(10, 2, ie1g), rect(3, 3, ie8g, 0);
    bits.Fill(1);
    EXPECT_EQ(RowText(bits, 1), "1 1 1 1 1 1 1 1 1 1");
    rect.FillRect(1, -5, 5, 1, 6);
    EXPECT_EQ(Text(rect), "ie8g 0 6 6 / 0 6 6 / 0 0 0");
    TScopedGlobal<int64_t> threshold(DefMinFileSize, 0);
    TIEBitmap onFile(3, 2, ie8g);
    ASSERT_EQ(onFile.Location(), ieFile);
    onFile.Fill(44);
    EXPECT_EQ(onFile.Access(), iedRead | iedWrite);
    EXPECT_EQ(Text(onFile), "ie8g 44 44 44 / 44 44 44");
}

TEST(BitmapCheckFormat, AllowedOrConvertedByTheSubstituteTable) {
    TIEBitmap bitmap(1, 1, ie24RGB, 0x00010203), empty;
    EXPECT_TRUE(bitmap.CheckFormat({}, false));
    EXPECT_TRUE(bitmap.CheckFormat({ie24RGB, ie8g}, false));
    EXPECT_FALSE(bitmap.CheckFormat({ie8g}, false));
    EXPECT_EQ(bitmap.PixelFormat(), ie24RGB);
    // ie32RGB stands before ie8g among the substitutes of ie24RGB.
    EXPECT_TRUE(bitmap.CheckFormat({ie8g, ie32RGB}, true));
    EXPECT_EQ(Text(bitmap), "ie32RGB rgba(3,2,1,255)");
    // Outside the table the formats are tried from ie32RGB downward.
    EXPECT_TRUE(empty.CheckFormat({ie1g, ie32f}, true));
    EXPECT_EQ(empty.PixelFormat(), ie32f);
}

TEST(BitmapGetAtSize, MatchingBitmapIsItselfOtherwiseAnOwnedCopy) {
    TIEBitmap bitmap(2, 1, ie24RGB, 0x00010203);
    EXPECT_EQ(bitmap.GetAtSize(2, 1), &bitmap);
    EXPECT_EQ(bitmap.GetAtSize(2, 1, ie24RGB), &bitmap);
    TIEBitmap* converted = bitmap.GetAtSize(2, 1, ie32RGB);
    EXPECT_EQ(Text(*converted), "ie32RGB rgba(3,2,1,255) rgba(3,2,1,255)");
    EXPECT_EQ(bitmap.PixelFormat(), ie24RGB);
    EXPECT_EQ(bitmap.GetAtSize(2, 1, ie32RGB), converted);
    TIEBitmap* sized = bitmap.GetAtSize(4, 3);
    EXPECT_EQ(std::make_pair(sized->Width(), sized->Height()), std::make_pair(4, 3));
}

TEST(BitmapResample, SizeResolutionAndShrinkOnly) {
    TIEBitmap bitmap(4, 2, ie24RGB, 0);
    int changes = 0;
    bitmap.SetOnChanged([&changes](TIEBitmap&) { ++changes; });
    bitmap.Resample(8, 1, rfNone, false, true); // shrink only: nothing but the notice
    EXPECT_EQ(std::make_pair(bitmap.Width(), changes), std::make_pair(4, 1));
    bitmap.Resample(0.0, rfNone);
    EXPECT_EQ(bitmap.Width(), 4);
    bitmap.Resample(-1, 1, rfNone);
    EXPECT_EQ(std::make_pair(bitmap.Width(), bitmap.Height()), std::make_pair(2, 1));
    bitmap.Resample(2.0, rfNone);
    EXPECT_EQ(std::make_pair(bitmap.Width(), bitmap.Height()), std::make_pair(4, 2));
}
