// The codecs over file-backed pictures whose store is gone, as after a failed map: from
// then on every row is null, and a codec stops with Aborting instead of going through it.
#include <gtest/gtest.h>

#include "io/codecs/png.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/io/jpegtestutil.h"
#include "tests/io/pngtestutil.h"

namespace {

std::vector<uint8_t> JpegFile(const std::vector<uint8_t>& Exif) {
    TIEBitmap bitmap;
    FillRGB(bitmap, 8, 4, TRGB{1, 2, 3});
    TIOParams params;
    if (!Exif.empty()) params.JPEG_MarkerList.AddMarker(0xE1, Exif.data(), uint16_t(Exif.size()));
    return EncodeJpeg(bitmap, params);
}

std::vector<uint8_t> PngFile(int ColorType, int Channels, const std::vector<uint8_t>& Palette = {}) {
    TPngBuilder png(4, 4, 8, ColorType);
    if (!Palette.empty()) png.Chunk("PLTE", Palette).Chunk("tRNS", {0});
    const std::vector<uint8_t> row(size_t(4 * Channels), 1);
    return png.Rows({row, row, row, row}).End();
}

} // namespace

TEST(LostRows, ReadersStopAtTheFirstRowThatCannotBeHad) {
    TScopedGlobal<int64_t> fileBacked(DefMinFileSize, 0);
    // The store goes once progress reaches LostAt per cent: after the first of four
    // rows, or after the last, before the JPEG reader turns the picture or the PNG
    // reader puts the tRNS alpha to the indexes.
    struct TCase {
        const char* Name;
        std::vector<uint8_t> File;
        int LostAt;
    };
    const TCase cases[] = {
        {"jpeg", JpegFile({}), 25},
        {"jpeg turned", JpegFile(ExifBlock(6)), 100},
        {"png rgb", PngFile(2, 3), 25},
        {"png rgba", PngFile(6, 4), 25},
        {"png palette with tRNS", PngFile(3, 1, {9, 9, 9, 8, 8, 8}), 100},
    };
    for (const TCase& test : cases) {
        TIEBitmap bitmap;
        TIOParams params;
        params.JPEG_EnableAdjustOrientation = true;
        params.NativePixelFormat = true;
        bool aborting = false;
        TProgressRec progress;
        progress.Aborting = &aborting;
        progress.OnProgress = [&](void*, int Percent) {
            if (Percent >= test.LostAt) bitmap.MemMap().DeAllocate();
        };
        TIEMemoryStream stream(test.File);
        if (test.File[0] == 0xFF)
            IEJpegReadStream(stream, bitmap, params, progress, false);
        else
            ReadPngStream(stream, bitmap, params, progress, false);
        EXPECT_TRUE(aborting) << test.Name;
        EXPECT_EQ(progress.val, test.LostAt / 25) << test.Name;
    }
}

TEST(LostRows, WritersStopAtTheFirstRowThatCannotBeHad) {
    TScopedGlobal<int64_t> fileBacked(DefMinFileSize, 0);
    struct TCase {
        const char* Name;
        bool Png;
        int32_t Samples;
        bool Alpha;
    };
    const TCase cases[] = {
        {"jpeg", false, 3, false},
        {"png rgb", true, 3, false},
        {"png rgba", true, 3, true},
        {"png grey", true, 1, false},
    };
    for (const TCase& test : cases) {
        TIEBitmap bitmap;
        FillRGB(bitmap, 4, 4, TRGB{7, 7, 7});
        if (test.Alpha) bitmap.AlphaChannel()->SetFull(false);
        ASSERT_EQ(bitmap.Location(), ieFile);
        bitmap.MemMap().DeAllocate();
        TIOParams params;
        params.SamplesPerPixel = test.Samples;
        TIEMemoryStream stream;
        bool aborting = false;
        TProgressRec progress;
        progress.Aborting = &aborting;
        if (test.Png)
            WritePngStream(stream, bitmap, params, progress);
        else
            WriteJpegStream(stream, bitmap, params, progress);
        EXPECT_TRUE(aborting) << test.Name;
        EXPECT_EQ(progress.val, 0) << test.Name;
    }
}
