#include "io/imagerio.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/stat.h>

#include "io/fileerror.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/io/jpegtestutil.h"
#include "tests/testutil.h"

namespace {

void WriteJpeg(const std::string& Path, const std::vector<uint8_t>& Exif = {}) {
    TIEBitmap bitmap;
    FillRGB(bitmap, 20, 10, TRGB{10, 20, 30});
    TIOParams params;
    if (!Exif.empty()) params.JPEG_MarkerList.AddMarker(0xE1, Exif.data(), uint16_t(Exif.size()));
    const std::vector<uint8_t> data = EncodeJpeg(bitmap, params);
    WriteTextFile(Path, std::string(data.begin(), data.end()));
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

std::string ReadFile(const std::string& Path) {
    std::ifstream file(Path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

// No temporary file left beside the target.
size_t FilesIn(const std::string& Folder) {
    return size_t(std::distance(std::filesystem::directory_iterator(Folder), {}));
}

} // namespace

TEST(ImagerIO, ValidityCheckTexts) {
    TIEMemoryStream stream;
    TImagerIO noBitmap(nullptr, false), noLayer(nullptr, true);
    EXPECT_EQ(Raised([&] { noBitmap.SaveToStreamJpeg(stream); }), "Bitmap is not valid");
    EXPECT_EQ(Raised([&] { noLayer.SaveToStreamJpeg(stream); }), "Active layer does not contain a bitmap");
    EXPECT_FALSE(noBitmap.LoadFromFile("x.jpg", TIOFileType(3)));
    THolder alone(false);
    EXPECT_THROW(alone.IO.SaveToStreamJpeg(stream), EIEException) << "empty and not in a view";
    // In a view an empty bitmap passes; the codec writes nothing and fails.
    THolder inView;
    inView.IO.SaveToStreamJpeg(stream);
    EXPECT_TRUE(inView.IO.Aborting());
    EXPECT_EQ(stream.Size(), 0);
}

TEST(ImagerIO, ContentDecidesTheOwnerIsToldEachLoadStartsAfreshAndAFileThatIsGoneRaises) {
    TTempDir dir;
    WriteJpeg(dir / "photo.png", ExifBlock(1));
    WriteJpeg(dir / "b.dat");
    WriteTextFile(dir / "notes.txt", "not a picture");
    // The extension names JPEG, so the JPEG reader tries and finds no SOI.
    WriteTextFile(dir / "fake.jpg", "not a picture either, but named so");
    // A format whose reader isn't built fails like an unknown one.
    WriteTextFile(dir / "still.gif", "GIF89a" + std::string(20, '\0'));
    THolder holder;
    holder.IO.Params().JPEG_Quality = 30;
    ASSERT_TRUE(holder.IO.LoadFromFileAuto(dir / "photo.png"));
    EXPECT_EQ(holder.Bitmap.Width(), 20);
    EXPECT_EQ(holder.IO.Params().FileType, 3);
    EXPECT_EQ(holder.IO.Params().FileName, dir / "photo.png");
    EXPECT_EQ(holder.IO.Params().JPEG_Quality, 30) << "a load leaves the quality alone";
    EXPECT_EQ(holder.Updates, 1);
    EXPECT_EQ(holder.IO.Params().JPEG_MarkerList.Count(), 1);
    EXPECT_TRUE(holder.IO.Params().EXIF_HasEXIFData);
    holder.Bitmap.AlphaChannel();
    // The overload that asks for the extension first, then the content. A load starts from
    // empty metadata and drops alpha.
    EXPECT_FALSE(holder.IO.LoadFromFile(dir / "b.dat", false));
    EXPECT_TRUE(holder.IO.LoadFromFile(dir / "b.dat", true));
    EXPECT_EQ(holder.IO.Params().JPEG_MarkerList.Count(), 0);
    EXPECT_FALSE(holder.IO.Params().EXIF_HasEXIFData || holder.Bitmap.HasAlphaChannel());
    for (const char* name : {"notes.txt", "fake.jpg", "", "still.gif"}) {
        EXPECT_FALSE(holder.IO.LoadFromFileAuto(*name ? dir / name : ""));
        EXPECT_TRUE(holder.IO.Aborting()) << name;
    }
    EXPECT_EQ(holder.Codes, (std::vector<int32_t>{1, 8, 1, 8, 8, 8, 8}));

    EXPECT_THROW(holder.IO.LoadFromFileAuto(dir / "gone.jpg"), EIEFileError);
    EXPECT_THROW(holder.IO.LoadFromFileJpeg(dir / "gone.jpg"), EIEFileError);
    EXPECT_TRUE(holder.IO.Aborting());
    EXPECT_THROW(holder.IO.SaveToFileJpeg(dir / "no/such/folder.jpg"), EIEFileError);
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

    TIEMemoryStream stream;
    holder.IO.SetStreamHeaders(true);
    holder.IO.SaveToStreamJpeg(stream);
    EXPECT_EQ(finished, 2);
    const std::vector<uint8_t>& data = stream.Data();
    ASSERT_GT(data.size(), 12u);
    EXPECT_EQ(std::memcmp(data.data(), "JFIF\0\0\0\0", 8), 0);
    const uint32_t length = data[8] | data[9] << 8 | data[10] << 16 | uint32_t(data[11]) << 24;
    EXPECT_EQ(length, data.size() - 12);
    // A file saved with headers off has none.
    EXPECT_EQ(length, std::filesystem::file_size(dir / "out.jpg"));
    // Content detection knows the header; loading skips it.
    THolder reader;
    reader.IO.SetStreamHeaders(true);
    stream.SetPosition(0);
    ASSERT_TRUE(reader.IO.LoadFromStream(stream));
    EXPECT_EQ(reader.Bitmap.Width(), 20);

    // Asked to, the parameters follow the picture: a 1-bit one is saved as grey.
    TImagerIO bilevel(&reader.Bitmap, false);
    reader.Bitmap.Allocate(8, 8, ie1g);
    const bool saved = IEGlobalSettings().AutoSetBitDepth();
    IEGlobalSettings().SetAutoSetBitDepth(true);
    stream.Clear();
    bilevel.SaveToStreamJpeg(stream);
    IEGlobalSettings().SetAutoSetBitDepth(saved);
    TIOParams read;
    ASSERT_TRUE(DecodeJpeg(stream.Data(), reader.Bitmap, read));
    EXPECT_EQ(read.JPEG_ColorSpace, ioJPEG_GRAYLEV);

    // An empty view saved over a file leaves it empty.
    THolder empty;
    empty.IO.SaveToFileJpeg(dir / "out.jpg");
    EXPECT_TRUE(empty.IO.Aborting());
    EXPECT_EQ(std::filesystem::file_size(dir / "out.jpg"), 0u);
}

TEST(ImagerIO, PngEntriesSaveAndLoadAndFailuresSetAborting) {
    TTempDir dir;
    TIEBitmap bitmap(3, 2, ie24RGB);
    bitmap.Fill(0x102030);
    bitmap.SetAlpha(2, 1, 99);
    TImagerIO io(&bitmap, false);
    io.SaveToFilePNG(dir / "out.png");
    EXPECT_FALSE(io.Aborting());
    EXPECT_EQ(io.Params().FileType, 8);
    TIEMemoryStream stream;
    io.SaveToStreamPNG(stream);

    THolder reader(false);
    for (int entry : {0, 1, 2}) {
        reader.Bitmap.Allocate(1, 1, ie8g);
        stream.SetPosition(0);
        ASSERT_TRUE(entry == 0   ? reader.IO.LoadFromFileAuto(dir / "out.png")
                    : entry == 1 ? reader.IO.LoadFromFilePNG(dir / "out.png")
                                 : reader.IO.LoadFromStreamPNG(stream));
        EXPECT_EQ(reader.IO.Params().FileType, 8);
        EXPECT_EQ(FirstDifference(bitmap, reader.Bitmap), "");
        EXPECT_EQ(reader.Bitmap.GetAlpha(2, 1), 99);
    }
    // A JPEG handed to the PNG loader is refused, not misread.
    TIEMemoryStream notPng(std::vector<uint8_t>{0xFF, 0xD8, 0xFF, 0xE0, 0, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_FALSE(reader.IO.LoadFromStreamPNG(notPng));
    EXPECT_TRUE(reader.IO.Aborting());
    EXPECT_EQ(reader.Codes, (std::vector<int32_t>{1, 1, 1, 8}));
}

TEST(FileStream, ReadingRefusesAtOnceWhatIsNoRegularFile) {
    TTempDir dir;
    ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0600), 0);
    // Folders and devices first: before, only the pipe blocked, the others opened.
    for (const std::string& path : {dir.Path(), std::string("/dev/zero"), dir / "pipe"})
        EXPECT_THROW(TIEFileStream(path, TIEFileMode::Read), EIEFileError) << path;
}

TEST(FileStream, TheTargetChangesOnlyWhenTheWriteIsComplete) {
    TTempDir dir;
    const std::string target = dir / "out.jpg";
    WriteTextFile(target, "good");
    {
        TIEFileStream stream(target, TIEFileMode::Replace);
        stream.Write("new", 3);
        EXPECT_EQ(ReadFile(target), "good");
        stream.Commit();
    }
    EXPECT_EQ(ReadFile(target), "new");
    {
        // Never committed, as when the writer is interrupted.
        TIEFileStream stream(target, TIEFileMode::Replace);
        stream.Write("half", 4);
    }
    EXPECT_EQ(ReadFile(target), "new");
    EXPECT_EQ(FilesIn(dir.Path()), 1u);

    // A disk that fills up: the stream can't commit, and the JPEG saver, whose encoder
    // stops at the failed write, leaves the target as it was, without a word.
    TIEBitmap picture(300, 300, ie24RGB);
    Scramble(picture);
    TImagerIO io(&picture, false);
    {
        TScopedFileSizeLimit limit(1000);
        TIEFileStream stream(target, TIEFileMode::Replace);
        const std::string block(5000, 'x');
        stream.Write(block.data(), block.size());
        EXPECT_THROW(stream.Commit(), EIEFileError);
        io.SaveToFileJpeg(target);
        EXPECT_TRUE(io.Aborting());
    }
    EXPECT_EQ(ReadFile(target), "new");
    EXPECT_EQ(FilesIn(dir.Path()), 1u);
    io.SaveToFileJpeg(target);
    EXPECT_FALSE(io.Aborting());
    EXPECT_EQ(ReadFile(target).substr(0, 2), "\xFF\xD8");
}
