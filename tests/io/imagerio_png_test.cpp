#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "image/bitmap.h"
#include "io/imagerio.h"
#include "tests/corpus.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/io/pngtestutil.h"
#include "tests/testutil.h"

namespace {

std::string SuiteFile(const std::string& Name) {
    return CorpusFile("pngsuite/" + Name);
}

} // namespace

TEST(ImagerIOPng, LoadsByNameByContentAndFromAStream) {
    PW_REQUIRE_CORPUS();
    TIEBitmap bitmap;
    TImagerIO io(&bitmap, false);
    int notified = 0;
    io.OnNotify = [&](int32_t Code) { notified = Code; };
    ASSERT_TRUE(io.LoadFromFilePNG(SuiteFile("basn6a08.png")));
    EXPECT_FALSE(io.Aborting());
    EXPECT_EQ(notified, TImagerIO::NotifySuccess);
    EXPECT_EQ(io.Params().FileType, 8);
    EXPECT_EQ(io.Params().FileName, SuiteFile("basn6a08.png"));
    ASSERT_TRUE(bitmap.HasAlphaChannel());
    EXPECT_EQ(bitmap.GetAlpha(1, 0), 8);

    // By content, as the batch loads: format 8 goes to the PNG reader.
    TIEBitmap automatic;
    TImagerIO byContent(&automatic, false);
    ASSERT_TRUE(byContent.LoadFromFileAuto(SuiteFile("basn3p04.png")));
    EXPECT_EQ(byContent.Params().FileType, 8);
    EXPECT_EQ(automatic.Width(), 32);

    TIEMemoryStream stream(TPngBuilder(2, 1, 8, 0).Rows({{3, 4}}).End());
    ASSERT_TRUE(io.LoadFromStreamPNG(stream));
    EXPECT_FALSE(bitmap.HasAlphaChannel());
    EXPECT_EQ(bitmap.GetPixels_ie24RGB(1, 0).r, 4);
    stream.SetPosition(0);
    ASSERT_TRUE(io.LoadFromStream(stream));
    EXPECT_EQ(io.Params().FileType, 8);
}

TEST(ImagerIOPng, FailuresSetAbortingOrRaise) {
    PW_REQUIRE_CORPUS();
    TIEBitmap bitmap;
    TImagerIO io(&bitmap, false);
    int notified = 0;
    io.OnNotify = [&](int32_t Code) { notified = Code; };
    EXPECT_FALSE(io.LoadFromFilePNG(SuiteFile("x-corrupt/xcrn0g04.png")));
    EXPECT_TRUE(io.Aborting());
    EXPECT_EQ(notified, TImagerIO::NotifyFailure);
    // A JPEG handed to the PNG loader is refused, not misread.
    EXPECT_FALSE(io.LoadFromFilePNG(CorpusFile("libjpeg-turbo/testorig.jpg")));
    EXPECT_TRUE(io.Aborting());
    EXPECT_THROW(io.LoadFromFilePNG(CorpusRoot() + "/pngsuite/no-such-file.png"), std::exception);
    EXPECT_TRUE(io.Aborting());
}

TEST(ImagerIOPng, SavesToFileAndStreamWithAlpha) {
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
    EXPECT_EQ(io.Params().FileName, path);

    TIEBitmap loaded;
    TImagerIO reader(&loaded, false);
    ASSERT_TRUE(reader.LoadFromFileAuto(path));
    EXPECT_EQ(FirstDifference(bitmap, loaded), "");
    EXPECT_EQ(loaded.GetAlpha(2, 1), 99);

    TIEMemoryStream stream;
    io.SaveToStreamPNG(stream);
    stream.SetPosition(0);
    ASSERT_TRUE(reader.LoadFromStreamPNG(stream));
    EXPECT_EQ(loaded.GetAlpha(2, 1), 99);

    TIEBitmap empty;
    TImagerIO nothing(&empty, false);
    try {
        nothing.SaveToFilePNG(dir / "empty.png");
        FAIL() << "no exception";
    } catch (const EIEException& e) {
        EXPECT_STREQ(e.what(), "Bitmap is not valid");
    }
}
