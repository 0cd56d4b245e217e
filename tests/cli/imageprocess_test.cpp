#include "cli/imageprocess.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>

#include "image/bitmap.h"
#include "io/imagerio.h"
#include "tests/testutil.h"

namespace {

struct TRun {
    int Status;
    std::string Err;
};

TRun Process(const std::vector<std::string>& Arguments) {
    std::ostringstream err;
    std::vector<std::string> all = {"process"};
    all.insert(all.end(), Arguments.begin(), Arguments.end());
    int status = RunImageProcess(all, err);
    return {status, err.str()};
}

// A lossless source of one row: each pixel given as (r, g, b).
std::string SavePng(const std::string& Path, const std::vector<TRGB>& Pixels) {
    TIEBitmap bitmap(int32_t(Pixels.size()), 1, ie24RGB, 0);
    for (size_t x = 0; x < Pixels.size(); ++x)
        bitmap.SetPixels_ie24RGB(int32_t(x), 0, Pixels[x]);
    TImagerIO io(&bitmap, false);
    io.SaveToFilePNG(Path);
    return Path;
}

// Grey levels of a one-row PNM; a colour PNM must hold greys (equal channels).
std::vector<int> GreyRow(const std::string& Path) {
    std::ifstream file(Path, std::ios::binary);
    std::string magic;
    int width = 0, height = 0, maximum = 0;
    file >> magic >> width >> height >> maximum;
    file.get();
    std::vector<uint8_t> data((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::vector<int> levels;
    const size_t channels = magic == "P6" ? 3 : 1;
    for (size_t i = 0; i + channels <= data.size(); i += channels) {
        if (channels == 3) {
            EXPECT_TRUE(data[i] == data[i + 1] && data[i + 1] == data[i + 2]) << "pixel " << i / 3;
        }
        levels.push_back(data[i]);
    }
    EXPECT_EQ(levels.size(), size_t(width) * size_t(height));
    return levels;
}

constexpr TRGB Red{0, 0, 255};
constexpr TRGB Blue{255, 0, 0};
constexpr TRGB White{255, 255, 255};

} // namespace

TEST(ImageProcess, OperationsRunInTheOrderGiven) {
    TTempDir dir;
    const std::string source = SavePng(dir / "in.png", {Red, Blue});
    // Grey is (21 r + 71 g + 8 b) / 100: red 53, blue 20.
    ASSERT_EQ(Process({source, dir / "grey.pnm", "--gray"}).Status, 0);
    EXPECT_EQ(GreyRow(dir / "grey.pnm"), (std::vector<int>{53, 20}));
    // Doubled by nearest copy first, then grey.
    ASSERT_EQ(Process({source, dir / "wide.pnm", "--resample", "4", "1", "none", "--gray"}).Status, 0);
    EXPECT_EQ(GreyRow(dir / "wide.pnm"), (std::vector<int>{53, 53, 20, 20}));
}

TEST(ImageProcess, MergeKeepsTheGivenShareOfThePicture) {
    TTempDir dir;
    const std::string source = SavePng(dir / "in.png", {Red, Blue});
    const std::string other = SavePng(dir / "other.png", {White, White});
    ASSERT_EQ(Process({source, dir / "kept.pnm", "--merge", other, "100", "--gray"}).Status, 0);
    EXPECT_EQ(GreyRow(dir / "kept.pnm"), (std::vector<int>{53, 20}));
    ASSERT_EQ(Process({source, dir / "other.pnm", "--merge", other, "0", "--gray"}).Status, 0);
    EXPECT_EQ(GreyRow(dir / "other.pnm"), (std::vector<int>{255, 255}));
    // A merge source that can't be loaded fails the run.
    EXPECT_EQ(Process({source, dir / "x.pnm", "--merge", dir / "missing.png", "50"}).Status, 1);
}

TEST(ImageProcess, BadArgumentsAndRefusedValues) {
    TTempDir dir;
    const std::string source = SavePng(dir / "in.png", {Red, Blue});
    for (const std::vector<std::string>& extra : std::vector<std::vector<std::string>>{
             {}, {"--sepia"}, {"--blur"}, {"--resample", "4", "1", "sinc"}, {"--autosharp", "68", "fast"}}) {
        std::vector<std::string> arguments = {source, dir / "o.pnm"};
        arguments.insert(arguments.end(), extra.begin(), extra.end());
        EXPECT_EQ(Process(arguments).Status, 2) << (extra.empty() ? "" : extra[0]);
    }
    // Parsed as a whole before anything is loaded or written.
    EXPECT_FALSE(std::filesystem::exists(dir / "o.pnm"));

    TRun gamma = Process({source, dir / "o.pnm", "--enhance", "0", "70"});
    EXPECT_EQ(gamma.Status, 1);
    EXPECT_NE(gamma.Err.find("Invalid Gamma value"), std::string::npos);
    EXPECT_EQ(Process({dir / "missing.png", dir / "o.pnm", "--gray"}).Status, 1);
}

TEST(ImageProcess, EveryOperationRunsOnATinyPicture) {
    TTempDir dir;
    std::vector<std::string> arguments = {SavePng(dir / "in.png", {Red, Blue, White}), dir / "all.png"};
    std::istringstream operations(
        "--resample 6 -1 lanczos3 --autosharp 68 0.035 --blur 1.5 --enhance 0.33 70 "
        "--graybalance --softshadow 3 3 3 --gray");
    for (std::string word; operations >> word;)
        arguments.push_back(word);
    TRun run = Process(arguments);
    EXPECT_EQ(run.Status, 0) << run.Err;
    TIEBitmap result;
    EXPECT_TRUE(TImagerIO(&result, false).LoadFromFileAuto(dir / "all.png"));
}
