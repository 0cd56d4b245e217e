#include <gtest/gtest.h>

#include "image/bitmap.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/image/converttestutil.h"

TEST(BitmapAssign, CopiesPixelsPlaneAndDisplaySettingsAcrossLocations) {
    TIEBitmap source, inMemory, plain(1, 1, ie8g, 0);
    Draw(source, "ie8g 1 2 3 / 4 5 6 alpha 255 255 70 / 255 255 255");
    source.SetBlackValue(10);
    source.SetWhiteValue(200);
    source.SetContrast(5);
    source.SetDefaultDitherMethod(ieOrdered);
    inMemory.Assign(source);
    EXPECT_EQ(Text(inMemory), Text(source));
    EXPECT_TRUE(inMemory.AlphaChannelOpt()->IsAlpha());
    EXPECT_EQ(std::vector<int>({int(inMemory.BlackValue()), int(inMemory.WhiteValue()),
                                int(inMemory.Contrast()), inMemory.DefaultDitherMethod()}),
              std::vector<int>({10, 200, 5, ieOrdered}));
    TScopedGlobal<int64_t> threshold(DefMinFileSize, 0);
    TIEBitmap inFile, fileToFile;
    inFile.Assign(source);
    fileToFile.Assign(inFile);
    EXPECT_EQ(std::make_pair(inFile.Location(), fileToFile.Location()), std::make_pair(ieFile, ieFile));
    EXPECT_EQ(Text(fileToFile), Text(source));
    EXPECT_EQ(inFile.Access(), iedRead | iedWrite);
    inMemory.Assign(plain); // a source without a plane removes the target's
    EXPECT_EQ(Text(inMemory), "ie8g 0");
    // A TBitmap target is reshaped in place, and left alone by an empty source.
    TIEBitmap target, empty;
    target.SetLocation(ieTBitmap);
    TBitmap* platform = Draw(target, "ie24RGB rgb(86,52,18)").VclBitmap();
    target.Assign(empty);
    EXPECT_EQ(Text(target), "ie24RGB rgb(86,52,18)");
    target.Assign(plain);
    EXPECT_EQ(std::make_tuple(target.VclBitmap(), platform->PixelDepth(), Text(target)),
              std::make_tuple(platform, 8, std::string("ie8g 0")));
}

TEST(BitmapCopyRect, ClipsShiftsCopiesByFormatAndCarriesThePlane) {
    TIEBitmap source, bits, alpha;
    Draw(source, "ie8g 0 1 2 3 / 10 11 12 13 / 20 21 22 23");
    Draw(bits, "ie1g 1 0 1 1 0 0 0 0 0 1");
    Draw(alpha, "ie8g 1 1 alpha 255 30");
    // clang-format off
    ExpectSteps({
        // A negative destination shortens and shifts the rectangle.
        {"ie8g 0 0 0 / 0 0 0 / 0 0 0", [&](auto& b) { source.CopyRectTo(b, 1, 0, -1, 1, 3, 3); },
         "ie8g 0 0 0 / 2 3 0 / 12 13 0"},
        {"ie8g 0 0 0 / 0 0 0", [&](auto& b) { source.CopyRectTo(b, 0, 0, 1, -2, 5, 5); }, "ie8g 0 20 21 / 0 0 0"},
        // A rectangle with nothing in it, or of another format, copies nothing.
        {"ie8g 0 0", [&](auto& b) { source.CopyRectTo(b, 0, 0, -5, 0, 5, 1); }, "ie8g 0 0"},
        {"ie24RGB 0 0", [&](auto& b) { source.CopyRectTo(b, 0, 0, 0, 0, 5, 1); }, "ie24RGB 0 0"},
        // Bits move by bits (width 8 is cut to the 7 columns left: bits 2..8 land on 5..11)
        // and expand to RGB.
        {"ie1g 0 0 0 0 0 0 0 0 0 0 0 0", [&](auto& b) { bits.CopyRectTo(b, 2, 0, 5, 0, 8, 1); },
         "ie1g 0 0 0 0 0 1 1 0 0 0 0 0"},
        {"ie24RGB 9 9 9", [&](auto& b) { bits.CopyRectTo(b, 1, 0, 0, 0, 3, 1); }, "ie24RGB 0 255 255"},
        {"ie8g 0 0 0",
         [&](auto& b) { alpha.CopyRectTo(b, 0, 0, 1, 0, 2, 1, true); EXPECT_FALSE(b.AlphaChannelOpt()->Full()); },
         "ie8g 0 1 1 alpha 255 255 30"},
        {"ie8g 0 alpha 40",
         [](auto& b) { Picture("ie8g 0 alpha 100")->CopyToEx(b, 0, 0, 0, 0, 1, 1, true, iemmAdd, false); },
         "ie8g 0 alpha 140"},
    });
    // clang-format on
    // A whole copy takes the palette; a partial one only into a palette still all black.
    TIEBitmap indexed(2, 1, ie8p, 1), target(2, 1, ie8p, 0);
    for (auto [colour, width, expected] : {std::tuple{RGB(3, 2, 1), 1, RGB(3, 2, 1)},
                                           {RGB(7, 7, 7), 1, RGB(3, 2, 1)},
                                           {RGB(7, 7, 7), 2, RGB(7, 7, 7)}}) {
        indexed.SetPalette(1, colour);
        indexed.CopyRectTo(target, 0, 0, 0, 0, width, 1);
        EXPECT_EQ(target.GetPalette(1), expected) << width;
    }
}

TEST(BitmapResize, AlignmentMarginsAndBackgroundShapeTheNewArea) {
    // clang-format off
    ExpectSteps({
        {"ie8g 1 2 / 3 4", [](auto& b) { b.Resize(4, 3, 9, 255, iehCenter, ievBottom); },
         "ie8g 9 9 9 9 / 9 1 2 9 / 9 3 4 9"},
        {"ie8g 1 2 / 3 4", [](auto& b) { b.Resize(3, 2, 9, 255, iehRight, ievTop); }, "ie8g 9 1 2 / 9 3 4"},
        {"ie8g 1 2 / 3 4", [](auto& b) { b.Resize(3, 3, 9, 255, iehLeft, ievCenter); }, "ie8g 1 2 9 / 3 4 9 / 9 9 9"},
        {"ie8g 1 2 3 / 4 5 6 / 7 8 9", [](auto& b) { b.Resize(2, 2, 0, 255, iehRight, ievBottom); }, "ie8g 5 6 / 8 9"},
        // (2 - 3) / 2 rounds toward zero: centring a one-pixel cut keeps the left.
        {"ie8g 1 2 3 / 4 5 6 / 7 8 9", [](auto& b) { b.Resize(2, 2, 0, 255, iehCenter, ievCenter); }, "ie8g 1 2 / 4 5"},
        {"ie1g 1 0 1", [](auto& b) { b.Resize(5, 1, 0, 255, iehRight, ievTop); }, "ie1g 0 0 1 0 1"},
        // Margins left, top, right and bottom; eating the whole picture leaves background.
        {"ie8g 1 2 / 3 4", [](auto& b) { b.Resize(1, 0, 0, 1, 7.0, 255); }, "ie8g 7 1 2 / 7 3 4 / 7 7 7"},
        {"ie8g 1 2 / 3 4", [](auto& b) { b.Resize(-1, 1, 0, 0, 7.0, 255); }, "ie8g 7 / 2 / 4"},
        {"ie8g 1 2 / 3 4", [](auto& b) { b.Resize(-2, 0, 1, 0, 7.0, 255); }, "ie8g 7 / 7"},
        // The background colour and alpha fill the new area; a full plane stays full.
        {"ie24RGB 0", [](auto& b) { b.Resize(2, 1, double(0x0000FF), 100, iehLeft, ievTop); },
         "ie24RGB 0 rgb(255,0,0) alpha 255 100"},
        {"ie8g 0", [](auto& b) { b.AlphaChannel(); b.Resize(2, 1, 0, 255, iehLeft, ievTop);
                             EXPECT_TRUE(b.AlphaChannelOpt()->Full()); }, "ie8g 0 0 alpha 255 255"},
        {"ie24RGB 0", [](auto& b) { b.Resize(1, 2, IETransparentFill, 255, iehLeft, ievTop); },
         "ie24RGB 0 / 255 alpha 255 / 0"},
        // Shrinking fills nothing, so a small FillAlpha makes no plane.
        {"ie8g 0 0 / 0 0", [](auto& b) { b.Resize(1, 1, 0, 0, iehLeft, ievTop); }, "ie8g 0"},
    });
    // clang-format on
    TIEBitmap bitmap(2, 1, ie8g, 0);
    EXPECT_EQ(ErrorOf([&] { bitmap.Resize(-1, 2); }), "Invalid size");
    EXPECT_EQ(bitmap.Width(), 2);
}

TEST(BitmapFill, ValueIsReadByFormatAndSetsFull) {
    // clang-format off
    const std::tuple<TIEPixelFormat, double, const char*, int> fills[] = { // Full -1: not kept
        {ie8g, 17.9, "17", 0}, {ie8g, 255, "255", 1}, {ie24RGB, double(0x00123456), "rgb(86,52,18)", 0},
        {ie24RGB, 16777215.0, "255", 1}, {ie1g, 1, "1", 1}, {ie1g, 0, "0", 0}, {ie16g, 65535, "65535", 1},
        {ie48RGB, double(0x0000FF), "rgb48(65535,0,0)", -1}, {ie32f, 0.25, "0.25", -1},
        {ieCMYK, 0, "cmyk(255,255,255,0)", -1},
    };
    // clang-format on
    for (const auto& [format, value, expected, full] : fills) {
        TIEBitmap bitmap(2, 2, format);
        bitmap.Fill(value);
        EXPECT_EQ(PixelText(bitmap, 1, 1), expected) << IEPixelFormatName(format) << " " << value;
        EXPECT_EQ(full < 0 ? -1 : int(bitmap.Full()), full) << IEPixelFormatName(format);
    }
    // Bits fill whole rows, the partly used last byte included; a rectangle is inclusive and
    // clipped; a file is filled row by row and keeps its access.
    ExpectSteps({{"ie1g 0 0 0 0 0 0 0 0 0 0", [](auto& b) { b.Fill(1); }, "ie1g 1 1 1 1 1 1 1 1 1 1"},
                 {"ie8g 0 0 0 / 0 0 0 / 0 0 0", [](auto& b) { b.FillRect(1, -5, 5, 1, 6); },
                  "ie8g 0 6 6 / 0 6 6 / 0 0 0"}});
    TScopedGlobal<int64_t> threshold(DefMinFileSize, 0);
    TIEBitmap onFile(3, 2, ie8g);
    ASSERT_EQ(onFile.Location(), ieFile);
    onFile.Fill(44);
    EXPECT_EQ(onFile.Access(), iedRead | iedWrite);
    EXPECT_EQ(Text(onFile), "ie8g 44 44 44 / 44 44 44");
}

TEST(BitmapCheckFormat, AllowedOrConvertedByTheSubstituteTable) {
    TIEBitmap bitmap(1, 1, ie24RGB, 0x00010203), empty;
    EXPECT_TRUE(bitmap.CheckFormat({}, false) && bitmap.CheckFormat({ie24RGB, ie8g}, false));
    EXPECT_FALSE(bitmap.CheckFormat({ie8g}, false));
    EXPECT_EQ(bitmap.PixelFormat(), ie24RGB);
    // ie32RGB stands before ie8g among the substitutes of ie24RGB; outside the table the
    // formats are tried from ie32RGB downward.
    EXPECT_TRUE(bitmap.CheckFormat({ie8g, ie32RGB}, true));
    EXPECT_EQ(Text(bitmap), "ie32RGB rgba(3,2,1,255)");
    EXPECT_TRUE(empty.CheckFormat({ie1g, ie32f}, true));
    EXPECT_EQ(empty.PixelFormat(), ie32f);
}

TEST(BitmapGetAtSize, MatchingBitmapIsItselfOtherwiseAnOwnedCopy) {
    TIEBitmap bitmap(2, 1, ie24RGB, 0x00010203);
    TIEBitmap* converted = bitmap.GetAtSize(2, 1, ie32RGB);
    EXPECT_EQ(std::make_tuple(bitmap.GetAtSize(2, 1), bitmap.GetAtSize(2, 1, ie24RGB),
                              bitmap.GetAtSize(2, 1, ie32RGB), bitmap.PixelFormat(), Text(*converted)),
              std::make_tuple(&bitmap, &bitmap, converted, ie24RGB,
                              std::string("ie32RGB rgba(3,2,1,255) rgba(3,2,1,255)")));
    TIEBitmap* sized = bitmap.GetAtSize(4, 3);
    EXPECT_EQ(std::make_pair(sized->Width(), sized->Height()), std::make_pair(4, 3));
}

TEST(BitmapResample, SizeResolutionAndShrinkOnly) {
    TIEBitmap bitmap(4, 2, ie24RGB, 0);
    bitmap.Resample(8, 1, rfNone, false, true); // shrink only
    bitmap.Resample(0.0, rfNone);
    EXPECT_EQ(bitmap.Width(), 4);
    bitmap.Resample(-1, 1, rfNone);
    EXPECT_EQ(std::make_pair(bitmap.Width(), bitmap.Height()), std::make_pair(2, 1));
    bitmap.Resample(2.0, rfNone);
    EXPECT_EQ(std::make_pair(bitmap.Width(), bitmap.Height()), std::make_pair(4, 2));
}
