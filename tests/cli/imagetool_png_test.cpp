#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "cli/imagetool.h"
#include "image/bitmap.h"
#include "io/imagerio.h"
#include "tests/corpus.h"
#include "tests/testutil.h"

namespace {

int RunTool(const std::vector<std::string>& Arguments) {
    std::ostringstream out, err;
    return RunImageTool(Arguments, out, err);
}

std::string FirstLine(const std::string& Path) {
    std::ifstream file(Path, std::ios::binary);
    std::string line;
    std::getline(file, line);
    return line;
}

} // namespace

TEST(ImageToolPng, ResampleWritesAPngWithAlphaForAPngName) {
    PW_REQUIRE_CORPUS();
    TTempDir dir;
    const std::string source = CorpusFile("pngsuite/basn6a08.png");
    ASSERT_EQ(RunTool({"resample", source, dir / "half.png", "--width", "16", "--height", "16", "--filter",
                       "none"}),
              0);
    TIEBitmap bitmap;
    TImagerIO io(&bitmap, false);
    ASSERT_TRUE(io.LoadFromFileAuto(dir / "half.png"));
    EXPECT_EQ(io.Params().FileType, 8);
    EXPECT_EQ(bitmap.Width(), 16);
    EXPECT_EQ(bitmap.Height(), 16);
    ASSERT_TRUE(bitmap.HasAlphaChannel());
    // The first row of basn6a08 has alpha 0, 8, 16, ...: the top left stays transparent.
    EXPECT_EQ(bitmap.GetAlpha(0, 0), 0);

    // Any other name: PNM, as before; the extension's case doesn't matter.
    ASSERT_EQ(RunTool({"resample", source, dir / "half.pnm", "--width", "16", "--height", "16", "--filter",
                       "none"}),
              0);
    EXPECT_EQ(FirstLine(dir / "half.pnm"), "P6");
    ASSERT_EQ(
        RunTool({"resample", source, dir / "HALF.PNG", "--width", "8", "--height", "8", "--filter", "none"}),
        0);
    ASSERT_TRUE(io.LoadFromFileAuto(dir / "HALF.PNG"));
    EXPECT_EQ(io.Params().FileType, 8);

    // A folder that doesn't exist can't be written.
    EXPECT_EQ(RunTool({"resample", source, dir / "missing/out.png", "--width", "8", "--height", "8",
                       "--filter", "none"}),
              1);
}
