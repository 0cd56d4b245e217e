#include "image/bitmap.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <unistd.h>
#include <vector>

#include "image/settings.h"
#include "image/workbitmap.h"
#include "tests/image/bitmaptestutil.h"

namespace {

uintptr_t Address(const void* p) {
    return reinterpret_cast<uintptr_t>(p);
}
uint8_t& Byte(TIEBitmap& Bitmap, int32_t y, int32_t x = 0) {
    return static_cast<uint8_t*>(Bitmap.GetScanline(y))[x];
}

TEST(BitmapStorage, RowLengthFollowsAlignmentAndRefusesOverflow) {
    EXPECT_EQ(IEComputeRowLen(3, 24, 32), 12);
    EXPECT_EQ(IEComputeRowLen(3, 24, 8), 9);
    EXPECT_EQ(IEComputeRowLen(10, 1, 32), 4);
    EXPECT_EQ(IEComputeRowLen(33, 1, 32), 8);
    EXPECT_EQ(IEComputeRowLen(5, 8, 16), 6);
    EXPECT_EQ(IEComputeRowLen(3, 24, 64), 16);
    // Largest ie48RGB width whose width * bits + 31 still fits 32 bits, and one more.
    EXPECT_EQ(IEComputeRowLen(44739242, 48, 32), 268435452);
    EXPECT_EQ(IEComputeRowLen(44739243, 48, 32), 0);
    EXPECT_EQ(IEComputeRowLen(0, 24, 32), 0);
}

// The limits are the test's own, so the outcome is the same on every machine and no
// large file is ever made.
TEST(BitmapStorage, RefusedSizesLeaveTheBitmapEmptyAndUsable) {
    TScopedGlobal<int64_t> threshold(DefMinFileSize, int64_t(1) << 40);
    TScopedGlobal<bool> noFragments(AutoFragmentBitmap, false);
    TScopedMaxMemoryBlock memory(1 << 20);
    const struct {
        int32_t Width, Height;
        TIEPixelFormat Format;
    } sizes[] = {
        {0, 10, ie24RGB},
        {10, 0, ie8g},
        {-3, 5, ie8g},
        {5, 5, ieNull},
        {INT32_MAX, INT32_MAX, ie48RGB}, // the row length overflows 32 bits
        {100000, 100000, ie48RGB},       // 60 GB
        {2000, 1000, ie8g},              // 2 MB: twice both caps
    };
    for (bool onDisk : {false, true}) {
        TScopedGlobal<bool> disk(AutoLocateOnDisk, onDisk);
        for (const auto& size : sizes) {
            SCOPED_TRACE(testing::Message() << size.Width << " x " << size.Height << " on disk " << onDisk);
            TIEBitmap bitmap(3, 2, ie24RGB);
            bool allocated;
            {
                TScopedFileSizeLimit files(1 << 20);
                allocated = bitmap.Allocate(size.Width, size.Height, size.Format);
            }
            EXPECT_FALSE(allocated);
            EXPECT_TRUE(bitmap.IsEmpty());
            EXPECT_EQ(bitmap.Width() + bitmap.Height(), 0);
            EXPECT_EQ(bitmap.GetScanline(0), nullptr);
            EXPECT_FALSE(bitmap.MemMap().IsAllocated());
            EXPECT_TRUE(bitmap.Allocate(2, 2, ie8g, 9));
            EXPECT_EQ(GreyPixels(bitmap), Bytes({9, 9, 9, 9}));
        }
    }
}

TEST(BitmapStorage, MemoryFileThresholdIsInclusiveAndTakenWhenTheBitmapIsMade) {
    std::unique_ptr<TIEBitmap> early;
    {
        TScopedGlobal<int64_t> zero(DefMinFileSize, 0);
        early = std::make_unique<TIEBitmap>();
    }
    ASSERT_TRUE(early->Allocate(1, 1, ie8g));
    EXPECT_EQ(early->Location(), ieFile);

    TScopedGlobal<int64_t> threshold(DefMinFileSize, 1000);
    TIEBitmap atThreshold, above, requested;
    EXPECT_EQ(atThreshold.MinFileSize(), 1000);
    for (TIEBitmap* b : {&atThreshold, &above, &requested})
        b->SetBitAlignment(8);
    // A memory request is still overruled by the size.
    requested.SetLocation(ieMemory);
    ASSERT_TRUE(atThreshold.Allocate(1000, 1, ie8g));
    ASSERT_TRUE(above.Allocate(1001, 1, ie8g));
    ASSERT_TRUE(requested.Allocate(1001, 1, ie8g));
    EXPECT_EQ(atThreshold.Location(), ieMemory);
    EXPECT_EQ(above.Location(), ieFile);
    EXPECT_EQ(requested.Location(), ieFile);
}

TEST(BitmapStorage, MemoryRowsAre64ByteAlignedAndBottomUp) {
    TScopedGlobal<int64_t> threshold(DefMinFileSize, int64_t(1) << 30);
    for (TIEMemoryAllocator allocator : {iemaVCL, iemaSystem, iemaAuto}) {
        for (int32_t width : {1, 3, 17, 1000}) {
            TIEBitmap bitmap;
            bitmap.SetMemoryAllocator(allocator);
            ASSERT_TRUE(bitmap.Allocate(width, 3, ie24RGB));
            ASSERT_EQ(bitmap.Location(), ieMemory);
            EXPECT_EQ(Address(bitmap.GetScanline(2)) % 64, 0u) << width;
            EXPECT_EQ(Address(bitmap.GetScanline(1)), Address(bitmap.GetScanline(2)) + bitmap.RowLen());
            EXPECT_EQ(Address(bitmap.GetScanline(0)), Address(bitmap.GetScanline(1)) + bitmap.RowLen());
        }
    }
    TIEBitmap topDown;
    topDown.SetOrigin(ieboTOPLEFT);
    ASSERT_TRUE(topDown.Allocate(5, 3, ie8g));
    EXPECT_EQ(Address(topDown.GetScanline(0)) % 64, 0u);
    EXPECT_EQ(Address(topDown.GetScanline(2)), Address(topDown.GetScanline(0)) + 2 * 8);
}

TEST(BitmapStorage, AllocatorChoosesHeapBySizeOfRequest) {
    TScopedGlobal<int64_t> threshold(DefMinFileSize, int64_t(1) << 30);
    // 64 x 16382 bytes + 128 = exactly 1 MiB requested.
    TIEBitmap exactlyOneMiB, justBelow, small, largeLanguageHeap;
    small.SetMemoryAllocator(iemaSystem);
    largeLanguageHeap.SetMemoryAllocator(iemaVCL);
    ASSERT_TRUE(exactlyOneMiB.Allocate(64, 16382, ie8g));
    ASSERT_TRUE(justBelow.Allocate(64, 16381, ie8g));
    ASSERT_TRUE(small.Allocate(4, 4, ie8g));
    ASSERT_TRUE(largeLanguageHeap.Allocate(64, 16382, ie8g));
    EXPECT_TRUE(exactlyOneMiB.MemoryFromGlobalHeap());
    EXPECT_FALSE(justBelow.MemoryFromGlobalHeap());
    EXPECT_TRUE(small.MemoryFromGlobalHeap());
    EXPECT_FALSE(largeLanguageHeap.MemoryFromGlobalHeap());
}

TEST(BitmapFragments, FailedContiguousBlockFallsBackToFourFragmentsOrToDisk) {
    TScopedGlobal<int64_t> threshold(DefMinFileSize, int64_t(1) << 30);
    TScopedMaxMemoryBlock limit(1500);
    TIEBitmap bitmap;
    ASSERT_TRUE(bitmap.Allocate(100, 40, ie8g));
    EXPECT_EQ(bitmap.Location(), ieMemory);
    EXPECT_EQ(bitmap.FragmentsCount(), 4);
    EXPECT_EQ(bitmap.RowsPerFragment(), 10);
    // Inside a fragment rows run top-down.
    EXPECT_EQ(Address(bitmap.GetScanline(9)), Address(bitmap.GetScanline(0)) + 9 * 100);
    for (int32_t y = 0; y < 40; ++y)
        for (int32_t x = 0; x < 100; ++x)
            bitmap.SetPixels_ie8(x, y, uint8_t(y * 3 + x));
    for (int32_t y = 0; y < 40; ++y)
        for (int32_t x = 0; x < 100; x += 33)
            ASSERT_EQ(bitmap.GetPixels_ie8(x, y), uint8_t(y * 3 + x));
    TIEBitmap copy;
    copy.Assign(bitmap);
    EXPECT_EQ(FirstDifference(bitmap, copy), "");

    TScopedGlobal<bool> noFragments(AutoFragmentBitmap, false);
    TIEBitmap unfragmented;
    ASSERT_TRUE(unfragmented.Allocate(100, 40, ie8g));
    EXPECT_EQ(unfragmented.FragmentsCount(), 0);
    EXPECT_EQ(unfragmented.Location(), ieFile);
}

TEST(BitmapFragments, FragmentCountDoublesAboveTenMiBAndStopsBelow) {
    TScopedGlobal<int64_t> threshold(DefMinFileSize, int64_t(1) << 40);
    const int32_t width = 1 << 20, height = 96; // 96 MiB, rows of 1 MiB
    {
        TScopedMaxMemoryBlock limit(16 << 20);
        TIEBitmap bitmap;
        ASSERT_TRUE(bitmap.Allocate(width, height, ie8g));
        EXPECT_EQ(bitmap.Location(), ieMemory);
        EXPECT_EQ(bitmap.FragmentsCount(), 8); // 4 x 24 MiB refused, 8 x 12 MiB taken
        EXPECT_EQ(bitmap.RowsPerFragment(), 12);
    }
    // 8 x 12 MiB refused; 16 x 6 MiB is under the floor: memory gives up.
    TScopedMaxMemoryBlock limit(8 << 20);
    TIEBitmap bitmap;
    ASSERT_TRUE(bitmap.Allocate(width, height, ie8g));
    EXPECT_EQ(bitmap.FragmentsCount(), 0);
    EXPECT_EQ(bitmap.Location(), ieFile);
}

class BitmapFileRows : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(fBitmap.Allocate(8, 4, ie8g, 0));
        ASSERT_EQ(fBitmap.Location(), ieFile);
    }
    TScopedGlobal<int64_t> fThreshold{DefMinFileSize, 0};
    TIEBitmap fBitmap;
};

TEST_F(BitmapFileRows, WorkingRowAndRowsFromGetRowAreWrittenBack) {
    Byte(fBitmap, 0) = 7;
    Byte(fBitmap, 1) = 9; // releases row 0
    EXPECT_EQ(fBitmap.MemMap().MappedCount(), 1);
    EXPECT_EQ(Byte(fBitmap, 0), 7);
    Byte(fBitmap, 2, 3) = 33;
    // GetRow writes the working row back first; its rows coexist until freed.
    auto* row0 = static_cast<uint8_t*>(fBitmap.GetRow(0));
    auto* row1 = static_cast<uint8_t*>(fBitmap.GetRow(1));
    ASSERT_NE(row0, row1);
    EXPECT_EQ(fBitmap.MemMap().MappedCount(), 2);
    row0[0] = 5;
    row1[0] = 6;
    fBitmap.FreeRow(1);
    fBitmap.FreeRow(0);
    EXPECT_EQ(fBitmap.MemMap().MappedCount(), 0);
    EXPECT_EQ(Byte(fBitmap, 0), 5);
    EXPECT_EQ(Byte(fBitmap, 1), 6);
    EXPECT_EQ(Byte(fBitmap, 2, 3), 33);
}

TEST_F(BitmapFileRows, ReadOnlyAccessDiscardsWrites) {
    fBitmap.SetAccess(iedRead);
    Byte(fBitmap, 0) = 99;
    fBitmap.GetScanline(1);
    fBitmap.SetAccess(iedRead | iedWrite);
    EXPECT_EQ(Byte(fBitmap, 0), 0);
}

// A row that can't be read back, or whose write-back fails, is lost; from then on no
// row is handed out, so that no loop runs on over zeros where the picture was.
TEST_F(BitmapFileRows, LostRowsEndRowAccess) {
    for (bool truncated : {false, true}) {
        SCOPED_TRACE(truncated ? "truncated file" : "failed write-back");
        ASSERT_TRUE(fBitmap.Allocate(8, 4, ie8g, 200));
        if (truncated) {
            fBitmap.GetRow(0);
            fBitmap.FreeRow(0);
            ASSERT_EQ(ftruncate(StoreDescriptor(fBitmap.MemMap()), 8), 0);
        } else {
            TScopedFileSizeLimit limit(16);
            fBitmap.Fill(100);
        }
        // Only row 0 survives the truncation and is read before the loss shows.
        int32_t handedOut = 0;
        for (int32_t y = 0; y < 4; ++y) {
            if (const auto* row = static_cast<const uint8_t*>(fBitmap.GetScanline(y))) {
                EXPECT_EQ(row[0], truncated ? 200 : 100) << y;
                ++handedOut;
            }
        }
        EXPECT_EQ(handedOut, truncated ? 1 : 0);
        EXPECT_FALSE(fBitmap.FlushRows());
    }
}

TEST_F(BitmapFileRows, FileIsTopDownForDefaultOriginAndBottomUpForTopLeft) {
    Byte(fBitmap, 0) = 1;
    Byte(fBitmap, 3) = 4;
    fBitmap.GetScanline(1);
    for (int expected : {1, 4}) {
        if (expected == 4) {
            fBitmap.SetOrigin(ieboTOPLEFT);
            EXPECT_EQ(Byte(fBitmap, 0), 1);
            fBitmap.GetScanline(1);
        }
        auto* first = static_cast<uint8_t*>(fBitmap.MemMap().Map(0, 8, iedRead));
        EXPECT_EQ(first[0], expected);
        fBitmap.MemMap().UnMap(first);
    }
}

TEST(BitmapSettings, OriginAndAlignmentSettersKeepPixelsInPlace) {
    TIEBitmap bitmap;
    FillGrey(bitmap, 2, 3, {1, 2, 3, 4, 5, 6});
    bitmap.AlphaChannel()->SetPixels_ie8(1, 0, 50);
    bitmap.SetModified(false);
    bitmap.SetOrigin(ieboTOPLEFT);
    EXPECT_EQ(GreyPixels(bitmap), Bytes({1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(Address(bitmap.GetScanline(1)), Address(bitmap.GetScanline(0)) + bitmap.RowLen());
    EXPECT_EQ(bitmap.AlphaChannelOpt()->Origin(), ieboTOPLEFT);
    EXPECT_EQ(bitmap.GetAlpha(1, 0), 50);
    EXPECT_TRUE(bitmap.Modified());
    bitmap.SetOrigin(ieboBOTTOMLEFT);
    EXPECT_EQ(GreyPixels(bitmap), Bytes({1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(bitmap.GetAlpha(1, 0), 50);

    TIEBitmap indexed;
    FillGrey(indexed, 3, 2, {1, 2, 3, 4, 5, 6}, ie8p);
    indexed.SetPalette(4, TRGB{10, 20, 30});
    indexed.SetAlpha(2, 1, 77);
    ASSERT_EQ(indexed.RowLen(), 4);
    indexed.SetBitAlignment(8);
    EXPECT_EQ(indexed.BitAlignment(), 8);
    EXPECT_EQ(indexed.RowLen(), 3);
    EXPECT_EQ(Address(indexed.GetScanline(0)), Address(indexed.GetScanline(1)) + 3);
    EXPECT_EQ(GreyPixels(indexed), Bytes({1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(indexed.GetPalette(4).g, 20);
    EXPECT_EQ(indexed.GetAlpha(2, 1), 77);

    // On a file the new alignment waits for the next allocation.
    TScopedGlobal<int64_t> threshold(DefMinFileSize, 0);
    TIEBitmap onFile(3, 2, ie8g, 5);
    ASSERT_EQ(onFile.Location(), ieFile);
    onFile.SetBitAlignment(8);
    EXPECT_EQ(onFile.RowLen(), 4);
    EXPECT_EQ(GreyPixels(onFile), Bytes({5, 5, 5, 5, 5, 5}));
    onFile.Allocate(3, 2, ie8g, 0);
    EXPECT_EQ(onFile.RowLen(), 3);
}

TEST(BitmapSettings, LocationSetterMovesPixelsBetweenMemoryAndFile) {
    TScopedGlobal<int64_t> threshold(DefMinFileSize, int64_t(1) << 20);
    TIEBitmap bitmap;
    FillGrey(bitmap, 3, 2, {1, 2, 3, 4, 5, 6});
    bitmap.SetAlpha(0, 1, 40);
    // Under the threshold a file is refused and nothing moves.
    bitmap.SetLocation(ieFile);
    EXPECT_EQ(bitmap.Location(), ieMemory);
    const std::pair<int64_t, TIELocation> moves[] = {{0, ieFile}, {int64_t(1) << 20, ieMemory}};
    for (const auto& [minimum, location] : moves) {
        bitmap.SetMinFileSize(minimum);
        bitmap.SetLocation(location);
        EXPECT_EQ(bitmap.Location(), location);
        EXPECT_EQ(bitmap.MemMap().IsAllocated(), location == ieFile);
        EXPECT_EQ(GreyPixels(bitmap), Bytes({1, 2, 3, 4, 5, 6}));
        EXPECT_EQ(bitmap.GetAlpha(0, 1), 40);
    }
}

TEST(BitmapTBitmap, LocationKeepsPixelsAndRefusesFormatsWithoutPlatformDepth) {
    TIEBitmap bitmap(2, 2, ie24RGB, double(0x00112233));
    bitmap.SetLocation(ieTBitmap);
    ASSERT_EQ(bitmap.Location(), ieTBitmap);
    EXPECT_EQ(bitmap.VclBitmap()->PixelDepth(), 24);
    EXPECT_EQ(bitmap.GetScanline(1), bitmap.VclBitmap()->ScanLine(1));
    const TRGB pixel = bitmap.GetPixels_ie24RGB(1, 1);
    EXPECT_EQ(Bytes({pixel.r, pixel.g, pixel.b}), Bytes({0x33, 0x22, 0x11}));

    TIEBitmap deep(2, 1, ie48RGB, 0);
    deep.SetPixels_ie48RGB(1, 0, TRGB48{1000, 2000, 3000});
    EXPECT_THROW(deep.SetLocation(ieTBitmap), EIEException);
    EXPECT_EQ(deep.Location(), ieMemory);
    EXPECT_EQ(deep.GetPixels_ie48RGB(1, 0).b, 3000);

    const std::pair<TIEPixelFormat, const char*> refused[] = {
        {ie32f, "ie32f pixel format not allowed when IEBitmap.Location=ieTBitmap"},
        {ieCMYK, "ieCMYK pixel format not allowed when IEBitmap.Location=ieTBitmap"},
        {ie48RGB, "ieRGB48 pixel format not allowed when IEBitmap.Location=ieTBitmap"},
        {ieCIELab, "ieCIELab pixel format not allowed when IEBitmap.Location=ieTBitmap"},
    };
    for (const auto& [format, text] : refused) {
        TIEBitmap platform;
        platform.SetLocation(ieTBitmap);
        try {
            platform.Allocate(4, 4, format);
            ADD_FAILURE() << "no exception for " << IEPixelFormatName(format);
        } catch (const EIEException& e) {
            EXPECT_STREQ(e.what(), text);
        }
        EXPECT_TRUE(platform.IsEmpty());
    }
}

TEST(BitmapTBitmap, SixteenBitGreyBecomesEightBitAndPalettesReachThePlatform) {
    TIEBitmap bitmap;
    bitmap.SetLocation(ieTBitmap);
    ASSERT_TRUE(bitmap.Allocate(5, 2, ie16g));
    EXPECT_EQ(bitmap.PixelFormat(), ie8g);
    EXPECT_EQ(bitmap.RowLen(), 8);
    EXPECT_EQ(bitmap.VclBitmap()->PixelDepth(), 8);
    TRGBA entry = bitmap.VclBitmap()->PaletteEntry(100);
    EXPECT_EQ(Bytes({entry.r, entry.g, entry.b}), Bytes({100, 100, 100}));
    ASSERT_TRUE(bitmap.Allocate(9, 1, ie1g));
    EXPECT_EQ(bitmap.VclBitmap()->PixelDepth(), 1);
    EXPECT_EQ(bitmap.RowLen(), 4);
    ASSERT_TRUE(bitmap.Allocate(2, 2, ie8p));
    bitmap.SetPalette(5, TRGB{1, 2, 3});
    entry = bitmap.VclBitmap()->PaletteEntry(5);
    EXPECT_EQ(Bytes({entry.b, entry.g, entry.r}), Bytes({1, 2, 3}));
}

TEST(BitmapPalette, OutOfRangeIsIgnoredAndCopyTakesUsedCount) {
    TIEBitmap bitmap(2, 2, ie8p);
    EXPECT_EQ(bitmap.GetPaletteLen(), 256);
    bitmap.SetPalette(256, TRGB{9, 9, 9});
    bitmap.SetPalette(255, TRGB{1, 2, 3});
    EXPECT_EQ(bitmap.GetPalette(255).r, 3);
    EXPECT_EQ(bitmap.GetPalette(-1).r, 0);
    bitmap.SetPaletteUsed(16);
    TIEBitmap other(1, 1, ie24RGB);
    bitmap.CopyPaletteTo(other);
    EXPECT_EQ(other.GetPaletteLen(), 256);
    EXPECT_EQ(other.PaletteUsed(), 16);
    EXPECT_EQ(other.GetPalette(255).g, 2);
    EXPECT_EQ(TIEBitmap(2, 2, ie8g).GetPaletteLen(), 0);
}

TEST(BitmapHandOver, SwitchToMovesEverythingSwapExchangesIt) {
    TIEBitmap source, target;
    FillGrey(source, 2, 2, {1, 2, 3, 4});
    source.SetAlpha(1, 1, 9);
    target.Allocate(3, 1, ie24RGB, 0);
    source.SwitchTo(target);
    EXPECT_TRUE(source.IsEmpty());
    EXPECT_EQ(source.AlphaChannelOpt(), nullptr);
    EXPECT_EQ(target.PixelFormat(), ie8g);
    EXPECT_EQ(GreyPixels(target), Bytes({1, 2, 3, 4}));
    EXPECT_EQ(target.GetAlpha(1, 1), 9);
    EXPECT_TRUE(source.Allocate(2, 2, ie8g, 7));
    EXPECT_EQ(GreyPixels(source), Bytes({7, 7, 7, 7}));

    TIEBitmap rgb(1, 1, ie24RGB, double(0x000000FF));
    target.Swap(rgb);
    EXPECT_EQ(target.PixelFormat(), ie24RGB);
    EXPECT_EQ(target.GetPixels_ie24RGB(0, 0).r, 255);
    EXPECT_EQ(target.AlphaChannelOpt(), nullptr);
    EXPECT_EQ(GreyPixels(rgb), Bytes({1, 2, 3, 4}));
    EXPECT_EQ(rgb.GetAlpha(1, 1), 9);
}

TEST(BitmapHandOver, EncapsulatedMemoryIsAddressedButNotFreed) {
    std::vector<uint8_t> pixels = {3, 3, 3, 0, 1, 1, 1, 0}; // bottom row first
    TIEBitmap bitmap;
    bitmap.EncapsulateMemory(pixels.data(), 3, 2, ie8g, true);
    EXPECT_TRUE(bitmap.EncapsulatedFromMemory());
    EXPECT_EQ(bitmap.GetScanline(0), pixels.data() + 4);
    EXPECT_EQ(GreyPixels(bitmap), Bytes({1, 1, 1, 3, 3, 3}));
    bitmap.FreeImage(true);
    EXPECT_FALSE(bitmap.EncapsulatedFromMemory());
    EXPECT_EQ(pixels[0], 3);
}

TEST(BitmapNotification, MutatorsRaiseChangedAndModifiedCanBeCleared) {
    TIEBitmap bitmap;
    int calls = 0;
    bitmap.SetOnChanged([&calls](TIEBitmap&) { ++calls; });
    bitmap.Allocate(2, 2, ie8g);
    EXPECT_EQ(calls, 1);
    bitmap.SetModified(false);
    bitmap.SetModifiedUpdateLayer(false);
    EXPECT_EQ(calls, 1);
    bitmap.Fill(3);
    EXPECT_GE(calls, 2);
    EXPECT_TRUE(bitmap.Modified());
    EXPECT_TRUE(bitmap.ModifiedUpdateLayer());
    // Same size again keeps the pixels and only notifies.
    const int before = calls;
    EXPECT_TRUE(bitmap.Allocate(2, 2, ie8g));
    EXPECT_EQ(calls, before + 1);
    EXPECT_EQ(GreyPixels(bitmap), Bytes({3, 3, 3, 3}));
}

TEST(BitmapNotification, SizeSettersKeepTopRowsAndPropagateToThePlane) {
    TIEBitmap bitmap;
    FillGrey(bitmap, 3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    bitmap.SetAlpha(1, 1, 50);
    bitmap.SetWidth(2);
    EXPECT_EQ(GreyPixels(bitmap), Bytes({1, 2, 4, 5, 7, 8}));
    EXPECT_EQ(bitmap.AlphaChannelOpt()->Width(), 2);
    bitmap.SetHeight(2);
    EXPECT_EQ(GreyPixels(bitmap), Bytes({1, 2, 4, 5}));
    EXPECT_EQ(bitmap.AlphaChannelOpt()->Height(), 2);
    EXPECT_EQ(bitmap.GetAlpha(1, 1), 50);
    TIEBitmap fresh;
    fresh.SetPixelFormat(ie24RGB);
    fresh.SetWidth(4);
    EXPECT_TRUE(fresh.IsEmpty());
    fresh.SetHeight(3);
    EXPECT_EQ(Bytes({fresh.Width(), fresh.Height()}), Bytes({4, 3}));
}

TEST(WorkBitmap, CellsAndBitsAreAddressedInPaddedRows) {
    TIEWorkBitmap rgb(3, 2, 24);
    ASSERT_FALSE(rgb.IsEmpty());
    EXPECT_EQ(rgb.RowLen(), 12);
    EXPECT_EQ(reinterpret_cast<uint8_t*>(rgb.GetPRGB(2, 1)), rgb.GetScanline(0) + 12 + 6);
    EXPECT_EQ(rgb.GetPByte(5, 1), rgb.GetScanline(0) + 17);
    TIEWorkBitmap doubles(3, 2, 64);
    EXPECT_EQ(doubles.RowLen(), 24);
    *doubles.GetPDouble(2, 1) = 1.5;
    EXPECT_EQ(*reinterpret_cast<double*>(doubles.GetScanline(1) + 16), 1.5);
    TIEWorkBitmap singles(5, 1, 32);
    *singles.GetPSingle(4, 0) = 2.0f;
    EXPECT_EQ(*reinterpret_cast<float*>(singles.GetPInteger(4, 0)), 2.0f);
    // Bits most significant first.
    TIEWorkBitmap bits(10, 1, 1);
    bits.SetBit(0, 0, true);
    bits.SetBit(9, 0, true);
    EXPECT_EQ(Bytes({bits.GetScanline(0)[0], bits.GetScanline(0)[1]}), Bytes({0x80, 0x40}));
    bits.SetBit(0, 0, false);
    EXPECT_FALSE(bits.GetBit(0, 0));
    EXPECT_TRUE(bits.GetBit(9, 0));
    EXPECT_TRUE(TIEWorkBitmap(3, 3, 12).IsEmpty());
    EXPECT_TRUE(TIEWorkBitmap(0, 5, 8).IsEmpty());
}

TEST(PlatformBitmap, RowsAreBottomUpAndResizingKeepsTheTopLeft) {
    TBitmap bitmap;
    bitmap.SetPixelDepth(8);
    bitmap.SetSize(3, 2);
    EXPECT_EQ(bitmap.RowLen(), 4);
    EXPECT_EQ(bitmap.ScanLine(0), bitmap.ScanLine(1) + 4);
    bitmap.ScanLine(0)[1] = 7;
    bitmap.SetSize(5, 3);
    EXPECT_EQ(bitmap.ScanLine(0)[1], 7);
    EXPECT_EQ(bitmap.PaletteEntry(200).g, 200);
    EXPECT_THROW(bitmap.SetPixelDepth(16), EIEException);
}

} // namespace
