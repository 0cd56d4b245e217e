// The codecs over file-backed pictures whose store is gone, as after a failed map: from
// then on every row is null, and a codec stops with Aborting instead of going through it.
#include <gtest/gtest.h>

#include <functional>

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
    using TRead = std::function<void(TIEStream&, TIEBitmap&, TIOParams&, TProgressRec&)>;
    const TRead jpeg = [](TIEStream& Stream, TIEBitmap& Bitmap, TIOParams& Params, TProgressRec& Progress) {
        ReadJpegStream(Stream, nullptr, Bitmap, Params, Progress, false, false, true, false, true, true, -1,
                       Params.NativePixelFormat, nullptr, false);
    };
    const TRead png = [](TIEStream& Stream, TIEBitmap& Bitmap, TIOParams& Params, TProgressRec& Progress) {
        ReadPngStream(Stream, Bitmap, Params, Progress, false);
    };
    // The store goes once progress reaches LostAt per cent: after the first of four
    // rows, or after the last, before the JPEG reader turns the picture.
    struct TCase {
        const char* Name;
        std::vector<uint8_t> File;
        TRead Read;
        int LostAt;
        bool Native;
    };
    const TCase cases[] = {
        {"jpeg", JpegFile({}), jpeg, 25, false},
        {"jpeg turned", JpegFile(ExifBlock(6)), jpeg, 100, false},
        {"png rgb", PngFile(2, 3), png, 25, false},
        {"png rgba", PngFile(6, 4), png, 25, false},
        {"png palette with tRNS", PngFile(3, 1, {9, 9, 9, 8, 8, 8}), png, 100, true},
    };
    for (const TCase& test : cases) {
        TIEBitmap bitmap;
        TIOParams params;
        params.JPEG_EnableAdjustOrientation = true;
        params.NativePixelFormat = test.Native;
        bool aborting = false;
        TProgressRec progress;
        progress.Aborting = &aborting;
        progress.OnProgress = [&](void*, int Percent) {
            if (Percent >= test.LostAt) bitmap.MemMap().DeAllocate();
        };
        TIEMemoryStream stream(test.File);
        test.Read(stream, bitmap, params, progress);
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
