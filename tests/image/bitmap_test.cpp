#include "image/bitmap.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <unistd.h>
#include <vector>

#include "image/settings.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/image/converttestutil.h"

namespace {

// The distance in bytes from row A to row B.
int64_t Step(TIEBitmap& Bitmap, int32_t A, int32_t B) {
    return static_cast<uint8_t*>(Bitmap.GetScanline(B)) - static_cast<uint8_t*>(Bitmap.GetScanline(A));
}
uint8_t& Byte(TIEBitmap& Bitmap, int32_t y, int32_t x = 0) {
    return static_cast<uint8_t*>(Bitmap.GetScanline(y))[x];
}
// Where the pixels live: "memory", "file", "memory 4 x 10" for fragments of 10 rows.
std::string Storage(TIEBitmap& Bitmap) {
    std::string text = Bitmap.Location() == ieFile ? "file" : "memory";
    if (Bitmap.FragmentsCount())
        text +=
            " " + std::to_string(Bitmap.FragmentsCount()) + " x " + std::to_string(Bitmap.RowsPerFragment());
    return text;
}

} // namespace

TEST(BitmapStorage, RowLengthFollowsAlignmentAndRefusesOverflow) {
    // Largest ie48RGB width whose width * bits + 31 still fits 32 bits, and one more.
    // clang-format off
    const int64_t cases[][4] = {{3, 24, 32, 12}, {3, 24, 8, 9}, {10, 1, 32, 4}, {33, 1, 32, 8}, {5, 8, 16, 6},
                                {3, 24, 64, 16}, {0, 24, 32, 0}, {44739242, 48, 32, 268435452}, {44739243, 48, 32, 0}};
    // clang-format on
    for (const auto& c : cases)
        EXPECT_EQ(IEComputeRowLen(int32_t(c[0]), int32_t(c[1]), int32_t(c[2])), c[3]) << c[0] << " " << c[1];
}

// The limits are the test's own, so the outcome is the same on every machine and no
// large file is ever made.
TEST(BitmapStorage, RefusedSizesLeaveTheBitmapEmptyAndUsable) {
    TScopedGlobal<int64_t> threshold(DefMinFileSize, int64_t(1) << 40);
    TScopedGlobal<bool> noFragments(AutoFragmentBitmap, false);
    TScopedMaxMemoryBlock memory(1 << 20);
    // The row length of INT32_MAX overflows 32 bits; 60 GB; 2 MB, twice both caps.
    // clang-format off
    const std::tuple<int32_t, int32_t, TIEPixelFormat> sizes[] = {{0, 10, ie24RGB}, {10, 0, ie8g}, {-3, 5, ie8g},
        {5, 5, ieNull}, {INT32_MAX, INT32_MAX, ie48RGB}, {100000, 100000, ie48RGB}, {2000, 1000, ie8g}};
    // clang-format on
    for (bool onDisk : {false, true}) {
        TScopedGlobal<bool> disk(AutoLocateOnDisk, onDisk);
        for (const auto& [width, height, format] : sizes) {
            SCOPED_TRACE(testing::Message() << width << " x " << height << " on disk " << onDisk);
            TIEBitmap bitmap(3, 2, ie24RGB);
            bool allocated;
            {
                TScopedFileSizeLimit files(1 << 20);
                allocated = bitmap.Allocate(width, height, format);
            }
            EXPECT_FALSE(allocated || bitmap.GetScanline(0) || bitmap.MemMap().IsAllocated());
            EXPECT_EQ(bitmap.Width() + bitmap.Height(), 0);
            EXPECT_TRUE(bitmap.Allocate(2, 1, ie8g, 9));
            EXPECT_EQ(Text(bitmap), "ie8g 9 9");
        }
    }
}

TEST(BitmapStorage, MemoryFileThresholdIsInclusiveAndTakenWhenTheBitmapIsMade) {
    std::unique_ptr<TIEBitmap> early;
    {
        TScopedGlobal<int64_t> zero(DefMinFileSize, 0);
        early = std::make_unique<TIEBitmap>();
    }
    EXPECT_EQ(Storage(Draw(*early, "ie8g 0")), "file");
    TScopedGlobal<int64_t> threshold(DefMinFileSize, 1000);
    // A memory request is still overruled by the size.
    std::string storage;
    for (auto [width, location] :
         {std::pair{1000, ieFile}, {1001, ieFile}, {1000, ieMemory}, {1001, ieMemory}}) {
        TIEBitmap bitmap;
        bitmap.SetLocation(location);
        bitmap.SetBitAlignment(8);
        bitmap.Allocate(width, 1, ie8g);
        storage += Storage(bitmap) + " ";
    }
    EXPECT_EQ(storage, "memory file memory file ");
}

// 64 x 16382 bytes + 128 = exactly 1 MiB is asked of the global heap, or less by choice.
TEST(BitmapStorage, MemoryRowsAre64ByteAlignedAndTheHeapGoesBySize) {
    TScopedGlobal<int64_t> threshold(DefMinFileSize, int64_t(1) << 30);
    const std::tuple<TIEMemoryAllocator, int32_t, int32_t, bool> heaps[] = {
        {iemaAuto, 64, 16382, true}, {iemaAuto, 64, 16381, false}, {iemaSystem, 3, 3, true},
        {iemaVCL, 64, 16382, false}, {iemaVCL, 17, 3, false},      {iemaAuto, 1, 3, false}};
    for (const auto& [allocator, width, height, global] : heaps) {
        TIEBitmap bitmap;
        bitmap.SetMemoryAllocator(allocator);
        ASSERT_TRUE(bitmap.Allocate(width, height, ie8g));
        EXPECT_EQ(reinterpret_cast<uintptr_t>(bitmap.GetScanline(height - 1)) % 64, 0u) << width;
        EXPECT_EQ(bitmap.MemoryFromGlobalHeap(), global) << height;
    }
}

TEST(BitmapFragments, FailedContiguousBlockFallsBackToFragmentsOrToDisk) {
    TScopedGlobal<int64_t> threshold(DefMinFileSize, int64_t(1) << 40);
    {
        TScopedMaxMemoryBlock limit(1500);
        TIEBitmap bitmap, unfragmented;
        ASSERT_TRUE(bitmap.Allocate(100, 40, ie8g));
        EXPECT_EQ(Storage(bitmap), "memory 4 x 10");
        EXPECT_EQ(Step(bitmap, 0, 9), 9 * 100); // inside a fragment rows run top-down
        std::vector<int> written, read;         // no two rows share their bytes
        for (int32_t y = 0; y < 40; ++y)
            bitmap.SetPixels_ie8(99, y, uint8_t(y + 1)), written.push_back(y + 1);
        for (int32_t y = 0; y < 40; ++y)
            read.push_back(bitmap.GetPixels_ie8(99, y));
        EXPECT_EQ(read, written);
        TScopedGlobal<bool> noFragments(AutoFragmentBitmap, false);
        ASSERT_TRUE(unfragmented.Allocate(100, 40, ie8g));
        EXPECT_EQ(Storage(unfragmented), "file");
    }
    // 96 MiB in rows of 1 MiB: 4 x 24 MiB refused, 8 x 12 MiB taken; under a cap of 8 MiB
    // 16 x 6 MiB would fall below the floor, so memory gives up.
    for (auto [cap, expected] : {std::pair{16 << 20, "memory 8 x 12"}, {8 << 20, "file"}}) {
        TScopedMaxMemoryBlock limit(cap);
        TIEBitmap bitmap;
        ASSERT_TRUE(bitmap.Allocate(1 << 20, 96, ie8g));
        EXPECT_EQ(Storage(bitmap), expected);
    }
}

// Every bitmap here lives in an unlinked temporary file.
class BitmapFileRows : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(fBitmap.Allocate(8, 4, ie8g, 0));
        ASSERT_EQ(fBitmap.Location(), ieFile);
    }
    TScopedGlobal<int64_t> fThreshold{DefMinFileSize, 0};
    TIEBitmap fBitmap;
};

TEST_F(BitmapFileRows, WorkingRowAndRowsFromGetRowAreWrittenBackUnlessReadOnly) {
    Byte(fBitmap, 0) = 7;
    Byte(fBitmap, 1) = 9; // releases row 0
    EXPECT_EQ(fBitmap.MemMap().MappedCount(), 1);
    EXPECT_EQ(Byte(fBitmap, 0), 7);
    Byte(fBitmap, 2, 3) = 33;
    // GetRow writes the working row back first; its rows coexist until freed.
    auto* row0 = static_cast<uint8_t*>(fBitmap.GetRow(0));
    auto* row1 = static_cast<uint8_t*>(fBitmap.GetRow(1));
    EXPECT_EQ(fBitmap.MemMap().MappedCount(), 2);
    row0[0] = 5, row1[0] = 6;
    fBitmap.FreeRow(1);
    fBitmap.FreeRow(0);
    EXPECT_EQ(fBitmap.MemMap().MappedCount(), 0);
    EXPECT_EQ(std::vector<int>({Byte(fBitmap, 0), Byte(fBitmap, 1), Byte(fBitmap, 2, 3)}),
              std::vector<int>({5, 6, 33}));
    fBitmap.SetAccess(iedRead);
    Byte(fBitmap, 0) = 99;
    fBitmap.GetScanline(1);
    fBitmap.SetAccess(iedRead | iedWrite);
    EXPECT_EQ(Byte(fBitmap, 0), 5);
}

// A row that can't be read back, or whose write-back fails, is lost; from then on no
// row is handed out, so that no loop runs on over zeros where the picture was.
TEST_F(BitmapFileRows, LostRowsEndRowAccess) {
    for (bool truncated : {false, true}) {
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
        std::vector<int> handedOut;
        for (int32_t y = 0; y < 4; ++y)
            if (const auto* row = static_cast<const uint8_t*>(fBitmap.GetScanline(y)))
                handedOut.push_back(row[0]);
        EXPECT_EQ(handedOut, truncated ? std::vector<int>{200} : std::vector<int>{}) << truncated;
        EXPECT_FALSE(fBitmap.FlushRows());
    }
}

TEST_F(BitmapFileRows, FileIsTopDownForDefaultOriginAndBottomUpForTopLeft) {
    Byte(fBitmap, 0) = 1;
    Byte(fBitmap, 3) = 4;
    std::string firstBytes;
    for (TIEBitmapOrigin origin : {ieboBOTTOMLEFT, ieboTOPLEFT}) {
        fBitmap.SetOrigin(origin);
        firstBytes += std::to_string(Byte(fBitmap, 0));
        fBitmap.GetScanline(1); // writes row 0 back
        auto* first = static_cast<uint8_t*>(fBitmap.MemMap().Map(0, 8, iedRead));
        firstBytes += std::to_string(first[0]);
        fBitmap.MemMap().UnMap(first);
    }
    EXPECT_EQ(firstBytes, "1114");
}

TEST_F(BitmapFileRows, SettersMoveThePixelsOrWaitForTheNextAllocation) {
    fBitmap.Allocate(3, 2, ie8g, 5);
    fBitmap.SetBitAlignment(8); // waits for the next allocation
    EXPECT_EQ(fBitmap.RowLen(), 4);
    EXPECT_EQ(Text(fBitmap), "ie8g 5 5 5 / 5 5 5");
    fBitmap.Allocate(3, 2, ie8g, 0);
    EXPECT_EQ(fBitmap.RowLen(), 3);
    // Moving to memory and back keeps pixels and plane; under the size a file is refused.
    Draw(fBitmap, "ie8g 1 2 3 / 4 5 6 alpha 255 255 255 / 40 255 255");
    for (auto [minimum, location] :
         {std::pair{int64_t(1) << 20, ieMemory}, {int64_t(1) << 20, ieFile}, {0, ieFile}}) {
        fBitmap.SetMinFileSize(minimum);
        fBitmap.SetLocation(location);
        EXPECT_EQ(fBitmap.Location(), minimum ? ieMemory : ieFile);
        EXPECT_EQ(fBitmap.MemMap().IsAllocated(), minimum == 0);
        EXPECT_EQ(Text(fBitmap), "ie8g 1 2 3 / 4 5 6 alpha 255 255 255 / 40 255 255");
    }
}

TEST(BitmapSettings, OriginAndAlignmentSettersKeepPixelsInPlace) {
    TIEBitmap bitmap, indexed;
    Draw(bitmap, "ie8g 1 2 / 3 4 / 5 6 alpha 255 50 / 255 255 / 255 255");
    for (TIEBitmapOrigin origin : {ieboTOPLEFT, ieboBOTTOMLEFT}) {
        bitmap.SetOrigin(origin);
        EXPECT_EQ(Step(bitmap, 0, 1), origin == ieboTOPLEFT ? bitmap.RowLen() : -bitmap.RowLen());
        EXPECT_EQ(bitmap.AlphaChannelOpt()->Origin(), origin);
        EXPECT_EQ(Text(bitmap), "ie8g 1 2 / 3 4 / 5 6 alpha 255 50 / 255 255 / 255 255");
    }
    Draw(indexed, "ie8p 1 2 3 / 4 5 6 alpha 255 255 255 / 255 255 77");
    indexed.SetPalette(4, RGB(30, 20, 10));
    indexed.SetBitAlignment(8); // rows of 4 bytes become rows of 3
    EXPECT_EQ(std::make_tuple(indexed.BitAlignment(), indexed.RowLen(), Step(indexed, 1, 0)),
              std::make_tuple(8, int64_t(3), int64_t(3)));
    EXPECT_EQ(Text(indexed), "ie8p 1 2 3 / 4 5 6 alpha 255 255 255 / 255 255 77");
    EXPECT_EQ(indexed.GetPalette(4), RGB(30, 20, 10));
}

// The platform has no depth for four formats, holds 16-bit grey as 8-bit and pads rows
// to four bytes whatever BitAlignment says.
TEST(BitmapTBitmap, LocationKeepsPixelsSixteenBitGreyBecomesEightBitAndPalettesReachThePlatform) {
    TIEBitmap bitmap(2, 2, ie24RGB, double(0x00112233)), deep;
    bitmap.SetLocation(ieTBitmap);
    ASSERT_EQ(bitmap.Location(), ieTBitmap);
    EXPECT_EQ(std::make_pair(bitmap.GetScanline(1), PixelText(bitmap, 1, 1)),
              std::make_pair((void*)bitmap.VclBitmap()->ScanLine(1), std::string("rgb(51,34,17)")));
    Draw(deep, "ie48RGB 0 rgb48(1000,2000,3000)");
    EXPECT_THROW(deep.SetLocation(ieTBitmap), EIEException);
    EXPECT_EQ(Text(deep), "ie48RGB rgb48(0,0,0) rgb48(1000,2000,3000)");
    for (const auto& [format, name] :
         {std::pair{ie32f, "ie32f"}, {ieCMYK, "ieCMYK"}, {ie48RGB, "ieRGB48"}, {ieCIELab, "ieCIELab"}}) {
        EXPECT_EQ(ErrorOf([&] { bitmap.Allocate(4, 4, format); }),
                  std::string(name) + " pixel format not allowed when IEBitmap.Location=ieTBitmap");
        EXPECT_EQ(Text(bitmap), "empty");
    }
    const auto entry = [&](int i) {
        const TRGBA e = bitmap.VclBitmap()->PaletteEntry(i);
        return RGB(e.r, e.g, e.b);
    };
    bitmap.SetBitAlignment(8);
    ASSERT_TRUE(bitmap.Allocate(5, 2, ie16g));
    EXPECT_EQ(
        std::make_tuple(bitmap.PixelFormat(), bitmap.RowLen(), bitmap.VclBitmap()->PixelDepth(), entry(100)),
        std::make_tuple(ie8g, int64_t(8), 8, RGB(100, 100, 100)));
    ASSERT_TRUE(bitmap.Allocate(2, 2, ie8p));
    bitmap.SetPalette(5, RGB(3, 2, 1));
    EXPECT_EQ(entry(5), RGB(3, 2, 1));
    // The platform bitmap itself: bottom-up rows, resizing keeps the top left.
    TBitmap platform;
    platform.SetPixelDepth(8);
    platform.SetSize(3, 2);
    platform.ScanLine(0)[1] = 7;
    platform.SetSize(5, 3);
    EXPECT_EQ(std::make_pair(platform.ScanLine(0)[1], platform.ScanLine(0) - platform.ScanLine(1)),
              std::make_pair(uint8_t(7), std::ptrdiff_t(8)));
    EXPECT_THROW(platform.SetPixelDepth(16), EIEException);
}

TEST(BitmapPalette, OutOfRangeIsIgnoredAndCopyTakesUsedCount) {
    TIEBitmap bitmap(2, 2, ie8p), other(1, 1, ie24RGB);
    EXPECT_EQ(bitmap.GetPaletteLen(), 256);
    bitmap.SetPalette(256, RGB(9, 9, 9));
    bitmap.SetPalette(255, RGB(3, 2, 1));
    EXPECT_EQ(bitmap.GetPalette(255), RGB(3, 2, 1));
    EXPECT_EQ(bitmap.GetPalette(-1), RGB(0, 0, 0));
    bitmap.SetPaletteUsed(16);
    bitmap.CopyPaletteTo(other);
    EXPECT_EQ(std::make_pair(other.GetPaletteLen(), other.PaletteUsed()), std::make_pair(256, 16));
    EXPECT_EQ(other.GetPalette(255), RGB(3, 2, 1));
    EXPECT_EQ(TIEBitmap(2, 2, ie8g).GetPaletteLen(), 0);
}

TEST(BitmapHandOver, SwitchToMovesSwapExchangesEncapsulatedMemoryIsNotFreed) {
    TIEBitmap source, target(3, 1, ie24RGB, 0), rgb(1, 1, ie24RGB, double(0x0000FF));
    Draw(source, "ie8g 1 2 / 3 4 alpha 255 255 / 255 9");
    source.SwitchTo(target);
    EXPECT_EQ(std::make_pair(Text(source), source.AlphaChannelOpt()),
              std::make_pair(std::string("empty"), (TIEBitmap*)nullptr));
    EXPECT_EQ(Text(target), "ie8g 1 2 / 3 4 alpha 255 255 / 255 9");
    EXPECT_TRUE(source.Allocate(1, 1, ie8g, 7));
    EXPECT_EQ(Text(source), "ie8g 7");
    target.Swap(rgb);
    EXPECT_EQ(Text(target), "ie24RGB rgb(255,0,0)");
    EXPECT_EQ(Text(rgb), "ie8g 1 2 / 3 4 alpha 255 255 / 255 9");

    std::vector<uint8_t> pixels = {3, 3, 3, 0, 1, 1, 1, 0}; // bottom row first
    TIEBitmap wrapped;
    wrapped.EncapsulateMemory(pixels.data(), 3, 2, ie8g, true);
    EXPECT_EQ(std::make_pair(wrapped.GetScanline(0), Text(wrapped)),
              std::make_pair((void*)(pixels.data() + 4), std::string("ie8g 1 1 1 / 3 3 3")));
    wrapped.FreeImage(true);
    EXPECT_EQ(pixels[0], 3);
}

TEST(BitmapNotification, MutatorsRaiseChangedAndSizeSettersKeepTopRows) {
    TIEBitmap bitmap(2, 2, ie8g, 3), fresh;
    int calls = 0;
    bitmap.SetOnChanged([&calls](TIEBitmap&) { ++calls; });
    bitmap.SetModified(false);
    bitmap.Allocate(2, 2, ie8g); // same size: keeps the pixels, only notifies
    EXPECT_EQ(std::make_tuple(calls, bitmap.Modified(), Text(bitmap)),
              std::make_tuple(1, true, std::string("ie8g 3 3 / 3 3")));
    // The plane follows the size.
    Draw(bitmap, "ie8g 1 2 3 / 4 5 6 / 7 8 9 alpha 255 255 255 / 255 50 255 / 255 255 255");
    bitmap.SetWidth(2);
    EXPECT_EQ(Text(bitmap), "ie8g 1 2 / 4 5 / 7 8 alpha 255 255 / 255 50 / 255 255");
    bitmap.SetHeight(2);
    EXPECT_EQ(Text(bitmap), "ie8g 1 2 / 4 5 alpha 255 255 / 255 50");
    fresh.SetPixelFormat(ie24RGB);
    fresh.SetWidth(4);
    EXPECT_EQ(Text(fresh), "empty");
    fresh.SetHeight(3);
    EXPECT_EQ(std::make_pair(fresh.Width(), fresh.Height()), std::make_pair(4, 3));
}
