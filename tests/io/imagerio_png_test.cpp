#include <gtest/gtest.h>

#include <string>

#include "image/bitmap.h"
#include "io/imagerio.h"
#include "tests/corpus.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/io/pngtestutil.h"
#include "tests/testutil.h"

// The PNG entries of the front end; what they share with the JPEG ones (notification,
// file name, exceptions) is in imagerio_test.
TEST(ImagerIOPng, EachEntrySavesAndLoadsAndFailuresSetAborting) {
    TTempDir dir;
    TIEBitmap bitmap;
    bitmap.Allocate(3, 2, ie24RGB);
    bitmap.Fill(0x102030);
    bitmap.AlphaChannel()->SetFull(false);
    bitmap.SetAlpha(2, 1, 99);
    TImagerIO io(&bitmap, false);
    const std::string path = dir / "out.png";
    io.SaveToFilePNG(path);
    EXPECT_FALSE(io.Aborting());
    EXPECT_EQ(io.Params().FileType, 8);

    TIEBitmap loaded;
    TImagerIO reader(&loaded, false);
    ASSERT_TRUE(reader.LoadFromFileAuto(path));
    EXPECT_EQ(reader.Params().FileType, 8);
    EXPECT_EQ(FirstDifference(bitmap, loaded), "");
    EXPECT_EQ(loaded.GetAlpha(2, 1), 99);
    ASSERT_TRUE(reader.LoadFromFilePNG(path));
    EXPECT_EQ(loaded.GetAlpha(2, 1), 99);

    TIEMemoryStream stream;
    io.SaveToStreamPNG(stream);
    stream.SetPosition(0);
    ASSERT_TRUE(reader.LoadFromStreamPNG(stream));
    EXPECT_EQ(loaded.GetAlpha(2, 1), 99);
    // A JPEG handed to the PNG loader is refused, not misread.
    TIEMemoryStream notPng(std::vector<uint8_t>{0xFF, 0xD8, 0xFF, 0xE0, 0, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_FALSE(reader.LoadFromStreamPNG(notPng));
    EXPECT_TRUE(reader.Aborting());
    EXPECT_THROW(reader.LoadFromFilePNG(dir / "no-such-file.png"), std::exception);
}

TEST(ImagerIOPng, CorruptSuiteFileFails) {
    PW_REQUIRE_CORPUS();
    TIEBitmap bitmap;
    TImagerIO io(&bitmap, false);
    int notified = 0;
    io.OnNotify = [&](int32_t Code) { notified = Code; };
    EXPECT_FALSE(io.LoadFromFilePNG(CorpusFile("pngsuite/x-corrupt/xcrn0g04.png")));
    EXPECT_TRUE(io.Aborting());
    EXPECT_EQ(notified, TImagerIO::NotifyFailure);
}
