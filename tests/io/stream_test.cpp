#include "io/stream.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/stat.h>

#include "image/bitmap.h"
#include "io/imagerio.h"
#include "tests/testutil.h"

namespace {

std::string ReadFile(const std::string& Path) {
    std::ifstream file(Path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

// No temporary file left beside the target.
size_t FilesIn(const std::string& Folder) {
    return size_t(std::distance(std::filesystem::directory_iterator(Folder), {}));
}

} // namespace

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
    for (int32_t y = 0; y < 300; ++y) {
        auto* row = static_cast<uint8_t*>(picture.GetScanline(y));
        for (int32_t x = 0; x < 900; ++x)
            row[x] = uint8_t(x * 7 + y * 13);
    }
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
