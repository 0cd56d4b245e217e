// The codecs over file-backed pictures whose store is gone, as after a failed map: from
// then on every row is null, and a codec stops with Aborting instead of going through it.
#include <gtest/gtest.h>

#include <tuple>

#include "io/codecs/png.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/io/jpegtestutil.h"
#include "tests/io/pngtestutil.h"

TEST(LostRows, ReadersAndWritersStopAtTheFirstRowThatCannotBeHad) {
    TScopedGlobal<int64_t> fileBacked(DefMinFileSize, 0);
    TIEBitmap source;
    FillRGB(source, 8, 4, TRGB{1, 2, 3});
    TIOParams plain, turned;
    const std::vector<uint8_t> exif = ExifBlock(6);
    turned.JPEG_MarkerList.AddMarker(0xE1, exif.data(), uint16_t(exif.size()));
    const auto rows = [](size_t Bytes) {
        return std::vector<std::vector<uint8_t>>(4, std::vector<uint8_t>(Bytes, 1));
    };
    // The store goes once progress reaches LostAt per cent: after the first of four rows,
    // or after the last, before the JPEG reader turns the picture or the PNG reader puts
    // the tRNS alpha to the indexes.
    // clang-format off
    const struct { const char* Name; std::vector<uint8_t> File; int LostAt; } reads[] = {
        {"jpeg", EncodeJpeg(source, plain), 25}, {"jpeg turned", EncodeJpeg(source, turned), 100},
        {"png rgb", TPngBuilder(4, 4, 8, 2).Rows(rows(12)).End(), 25},
        {"png rgba", TPngBuilder(4, 4, 8, 6).Rows(rows(16)).End(), 25},
        {"png palette with tRNS",
         TPngBuilder(4, 4, 8, 3).Chunk("PLTE", {9, 9, 9, 8, 8, 8}).Chunk("tRNS", {0}).Rows(rows(4)).End(),
         100},
    };
    // clang-format on
    for (const auto& test : reads) {
        TIEBitmap bitmap;
        TIOParams params;
        params.JPEG_EnableAdjustOrientation = true;
        params.NativePixelFormat = true;
        TStopProgress progress;
        progress.OnProgress = [&](void*, int Percent) {
            if (Percent >= test.LostAt) bitmap.MemMap().DeAllocate();
        };
        TIEMemoryStream stream(test.File);
        if (test.File[0] == 0xFF)
            IEJpegReadStream(stream, bitmap, params, progress, false);
        else
            ReadPngStream(stream, bitmap, params, progress, false);
        EXPECT_TRUE(progress.Stopped) << test.Name;
        EXPECT_EQ(progress.val, test.LostAt / 25) << test.Name;
    }

    // JPEG, and the PNG writer's three ways to a row: as stored, with alpha, as grey.
    for (auto [png, samples, alpha] : {std::tuple(false, 3, false), std::tuple(true, 3, false),
                                       std::tuple(true, 3, true), std::tuple(true, 1, false)}) {
        TIEBitmap bitmap;
        FillRGB(bitmap, 4, 4, TRGB{7, 7, 7});
        if (alpha) bitmap.AlphaChannel()->SetFull(false);
        ASSERT_EQ(bitmap.Location(), ieFile);
        bitmap.MemMap().DeAllocate();
        TIOParams params;
        params.SamplesPerPixel = samples;
        TIEMemoryStream stream;
        TStopProgress progress;
        if (png)
            WritePngStream(stream, bitmap, params, progress);
        else
            WriteJpegStream(stream, bitmap, params, progress);
        EXPECT_TRUE(progress.Stopped) << png << samples << alpha;
        EXPECT_EQ(progress.val, 0) << png << samples << alpha;
    }
}
