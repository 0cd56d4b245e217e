#include "io/imagerio.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "io/fileerror.h"
#include "tests/io/jpegtestutil.h"
#include "tests/testutil.h"

namespace {

void WriteBytes(const std::string& Path, const std::vector<uint8_t>& Data) {
    std::ofstream(Path, std::ios::binary)
        .write(reinterpret_cast<const char*>(Data.data()), std::streamsize(Data.size()));
}

std::vector<uint8_t> SmallJpeg(const std::vector<uint8_t>& Exif = {}) {
    TIEBitmap bitmap;
    FillRGB(bitmap, 20, 10, TRGB{10, 20, 30});
    TIOParams params;
    if (!Exif.empty()) params.JPEG_MarkerList.AddMarker(0xE1, Exif.data(), uint16_t(Exif.size()));
    return EncodeJpeg(bitmap, params);
}

// A front end over its own bitmap that records what it tells its owner.
struct THolder {
    explicit THolder(bool AttachedToView = true) : IO(&Bitmap, AttachedToView) {
        IO.OnNotify = [this](int32_t Code) { Codes.push_back(Code); };
        IO.OnUpdate = [this] { ++Updates; };
    }
    TIEBitmap Bitmap;
    TImagerIO IO;
    std::vector<int32_t> Codes;
    int Updates = 0;
};

} // namespace

TEST(ImagerIO, ValidityCheckTexts) {
    TIEMemoryStream stream;
    TImagerIO noBitmap(nullptr, false);
    try {
        noBitmap.SaveToStreamJpeg(stream);
        FAIL();
    } catch (const EIEException& error) {
        EXPECT_STREQ(error.what(), "Bitmap is not valid");
    }
    TImagerIO noLayer(nullptr, true);
    try {
        noLayer.SaveToStreamJpeg(stream);
        FAIL();
    } catch (const EIEException& error) {
        EXPECT_STREQ(error.what(), "Active layer does not contain a bitmap");
    }
    THolder alone(false);
    EXPECT_THROW(alone.IO.SaveToStreamJpeg(stream), EIEException) << "empty and not in a view";
    // In a view an empty bitmap passes; the codec writes nothing and fails.
    THolder inView;
    inView.IO.SaveToStreamJpeg(stream);
    EXPECT_TRUE(inView.IO.Aborting());
    EXPECT_EQ(stream.Size(), 0);
    EXPECT_FALSE(noBitmap.LoadFromFile("x.jpg", TIOFileType(3)));
}

TEST(ImagerIO, ContentDecidesAndTheOwnerIsTold) {
    TTempDir dir;
    WriteBytes(dir / "photo.png", SmallJpeg());
    THolder holder;
    holder.IO.Params().JPEG_Quality = 30;
    ASSERT_TRUE(holder.IO.LoadFromFileAuto(dir / "photo.png"));
    EXPECT_FALSE(holder.IO.Aborting());
    EXPECT_EQ(holder.Bitmap.Width(), 20);
    EXPECT_EQ(holder.IO.Params().FileType, 3);
    EXPECT_EQ(holder.IO.Params().FileName, dir / "photo.png");
    EXPECT_EQ(holder.IO.Params().JPEG_Quality, 30) << "a load leaves the quality alone";
    EXPECT_EQ(holder.Codes, std::vector<int32_t>{TImagerIO::NotifySuccess});
    EXPECT_EQ(holder.Updates, 1);
}

TEST(ImagerIO, FilesThatAreNoPictureFailQuietly) {
    TTempDir dir;
    WriteTextFile(dir / "notes.txt", "not a picture");
    WriteTextFile(dir / "fake.jpg", "not a picture either, but named so");
    THolder holder;
    EXPECT_FALSE(holder.IO.LoadFromFileAuto(dir / "notes.txt"));
    EXPECT_TRUE(holder.IO.Aborting());
    // The extension names JPEG, so the JPEG reader tries and finds no SOI.
    EXPECT_FALSE(holder.IO.LoadFromFileAuto(dir / "fake.jpg"));
    EXPECT_FALSE(holder.IO.LoadFromFileAuto(""));
    EXPECT_EQ(holder.Codes, (std::vector<int32_t>{8, 8, 8}));
    EXPECT_TRUE(holder.Bitmap.IsEmpty());
    // A format whose reader isn't built fails like an unknown one.
    WriteTextFile(dir / "still.gif", "GIF89a" + std::string(20, '\0'));
    EXPECT_FALSE(holder.IO.LoadFromFileAuto(dir / "still.gif"));
    EXPECT_TRUE(holder.IO.Aborting());
}

TEST(ImagerIO, AFileThatIsGoneRaises) {
    TTempDir dir;
    THolder holder;
    EXPECT_THROW(holder.IO.LoadFromFileAuto(dir / "gone.jpg"), EIEFileError);
    EXPECT_THROW(holder.IO.LoadFromFileJpeg(dir / "gone.jpg"), EIEFileError);
    EXPECT_TRUE(holder.IO.Aborting());
    EXPECT_THROW(holder.IO.SaveToFileJpeg(dir / "no/such/folder.jpg"), EIEFileError);
}

TEST(ImagerIO, TheExtensionFirstOverload) {
    TTempDir dir;
    WriteBytes(dir / "a.jpg", SmallJpeg());
    WriteBytes(dir / "b.dat", SmallJpeg());
    THolder holder;
    EXPECT_TRUE(holder.IO.LoadFromFile(dir / "a.jpg", false));
    EXPECT_FALSE(holder.IO.LoadFromFile(dir / "b.dat", false));
    EXPECT_TRUE(holder.IO.LoadFromFile(dir / "b.dat", true));
    EXPECT_EQ(holder.Codes, (std::vector<int32_t>{1, 8, 1}));
}

TEST(ImagerIO, ALoadStartsFromEmptyMetadataAndDropsAlpha) {
    TTempDir dir;
    WriteBytes(dir / "exif.jpg", SmallJpeg(ExifBlock(1)));
    WriteBytes(dir / "plain.jpg", SmallJpeg());
    THolder holder;
    ASSERT_TRUE(holder.IO.LoadFromFileAuto(dir / "exif.jpg"));
    EXPECT_TRUE(holder.IO.Params().EXIF_HasEXIFData);
    EXPECT_EQ(holder.IO.Params().JPEG_MarkerList.Count(), 1);
    holder.Bitmap.AlphaChannel();
    ASSERT_TRUE(holder.IO.LoadFromFileAuto(dir / "plain.jpg"));
    EXPECT_FALSE(holder.IO.Params().EXIF_HasEXIFData);
    EXPECT_EQ(holder.IO.Params().JPEG_MarkerList.Count(), 0);
    EXPECT_FALSE(holder.Bitmap.HasAlphaChannel());
}

TEST(ImagerIO, SavingToAFileAndToAStreamWithTheEngineHeader) {
    TTempDir dir;
    THolder holder;
    FillRGB(holder.Bitmap, 20, 10, TRGB{10, 20, 30});
    int finished = 0;
    holder.IO.OnFinishWork = [&] { ++finished; };
    holder.IO.SaveToFileJpeg(dir / "out.jpg");
    EXPECT_FALSE(holder.IO.Aborting());
    EXPECT_EQ(holder.IO.Params().FileName, dir / "out.jpg");
    EXPECT_EQ(holder.IO.Params().FileType, 3);
    const uintmax_t fileSize = std::filesystem::file_size(dir / "out.jpg");
    EXPECT_GT(fileSize, 100u);

    TIEMemoryStream stream;
    holder.IO.SetStreamHeaders(true);
    holder.IO.SaveToStreamJpeg(stream);
    EXPECT_EQ(finished, 2);
    const std::vector<uint8_t>& data = stream.Data();
    ASSERT_GT(data.size(), 12u);
    EXPECT_EQ(std::memcmp(data.data(), "JFIF\0\0\0\0", 8), 0);
    const uint32_t length = data[8] | data[9] << 8 | data[10] << 16 | uint32_t(data[11]) << 24;
    EXPECT_EQ(length, data.size() - 12);
    EXPECT_EQ(data[12], 0xFF);
    EXPECT_EQ(data[13], 0xD8);
    // A file saved with headers off has none.
    EXPECT_EQ(length, fileSize);

    // Content detection knows the header; loading skips it.
    THolder reader;
    reader.IO.SetStreamHeaders(true);
    stream.SetPosition(0);
    ASSERT_TRUE(reader.IO.LoadFromStream(stream));
    EXPECT_EQ(reader.Bitmap.Width(), 20);
}

TEST(ImagerIO, SavingAnEmptyViewLeavesAnEmptyFile) {
    TTempDir dir;
    THolder holder;
    WriteTextFile(dir / "old.jpg", "previous content");
    holder.IO.SaveToFileJpeg(dir / "old.jpg");
    EXPECT_TRUE(holder.IO.Aborting());
    ASSERT_TRUE(std::filesystem::exists(dir / "old.jpg"));
    EXPECT_EQ(std::filesystem::file_size(dir / "old.jpg"), 0u);
}
