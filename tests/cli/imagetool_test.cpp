#include "cli/imagetool.h"

#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>
#include <sys/wait.h>

#include "image/bitmap.h"
#include "io/imagerio.h"
#include "tests/corpus.h"
#include "tests/io/jpegtestutil.h"
#include "tests/testutil.h"

namespace {

std::string ReadAll(const std::string& Path) {
    std::ifstream file(Path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

struct TRun {
    int Status;
    std::string Out, Err;
};

TRun RunTool(const std::vector<std::string>& Arguments) {
    std::ostringstream out, err;
    const int status = RunImageTool(Arguments, out, err);
    return {status, out.str(), err.str()};
}

} // namespace

TEST(ImageTool, FilterNamesWithoutPrefixInAnyCase) {
    const std::pair<const char*, TResampleFilter> names[] = {
        {"lanczos3", rfLanczos3}, {"WICCUBICHQ", rfWICCubicHQ}, {"bicubic", rfBicubic}, {"None", rfNone}};
    for (const auto& [name, expected] : names) {
        TResampleFilter filter = rfBell;
        EXPECT_TRUE(ParseResampleFilter(name, filter));
        EXPECT_EQ(filter, expected) << name;
    }
    TResampleFilter filter = rfNone;
    for (const char* name : {"rfLanczos3", "lanczos", ""})
        EXPECT_FALSE(ParseResampleFilter(name, filter)) << name;
}

TEST(ImageTool, PNMForGreyColourAndSixteenBits) {
    TTempDir dir;
    TIEBitmap grey;
    grey.Allocate(2, 1, ie8g);
    grey.SetPixels_ie8(0, 0, 7);
    grey.SetPixels_ie8(1, 0, 200);
    ASSERT_TRUE(WritePNM(grey, dir / "g.pgm"));
    EXPECT_EQ(ReadAll(dir / "g.pgm"), std::string("P5\n2 1\n255\n\x07\xC8", 13));

    TIEBitmap colour;
    colour.Allocate(1, 1, ie24RGB);
    colour.SetPixels_ie24RGB(0, 0, TRGB{3, 2, 1});
    colour.AlphaChannel()->Fill(0);
    ASSERT_TRUE(WritePNM(colour, dir / "c.ppm"));
    EXPECT_EQ(ReadAll(dir / "c.ppm"), std::string("P6\n1 1\n255\n\x01\x02\x03", 14));

    TIEBitmap wide;
    wide.Allocate(1, 1, ie48RGB);
    wide.SetPixels_ie48RGB(0, 0, TRGB48{0x0102, 0x0304, 0x0506});
    ASSERT_TRUE(WritePNM(wide, dir / "w.ppm"));
    EXPECT_EQ(ReadAll(dir / "w.ppm"), std::string("P6\n1 1\n65535\n\x01\x02\x03\x04\x05\x06", 19));

    TIEBitmap deep;
    deep.Allocate(1, 1, ie16g);
    deep.SetPixels_ie16g(0, 0, 0xABCD);
    ASSERT_TRUE(WritePNM(deep, dir / "d.pgm"));
    EXPECT_EQ(ReadAll(dir / "d.pgm"), std::string("P5\n1 1\n65535\n\xAB\xCD", 15));
    EXPECT_FALSE(WritePNM(deep, dir / "no/such/d.pgm"));
}

TEST(ImageTool, DetectAndInfo) {
    PW_REQUIRE_CORPUS();
    TRun detect = RunTool({"detect", CorpusFile("jpeg-decoder/reftest/mozilla/jpg-size-6x6.jpg")});
    EXPECT_EQ(detect.Status, 0);
    EXPECT_EQ(detect.Out, "8\n") << "a PNG named .jpg is a PNG";
    EXPECT_EQ(RunTool({"detect", "/no/such/file.jpg"}).Out, "0\n");

    TRun info = RunTool({"info", CorpusFile("exif-samples/jpg/orientation/portrait_6.jpg")});
    ASSERT_EQ(info.Status, 0) << info.Err;
    std::istringstream lines(info.Out);
    std::string first;
    std::getline(lines, first);
    EXPECT_EQ(first, "600 450 ie24RGB") << "stored sideways; the engine's default doesn't turn it";
    EXPECT_NE(info.Out.find("\nFileType=3\n"), std::string::npos);
    EXPECT_NE(info.Out.find("\nJPEG_ColorSpace=ioJPEG_YCbCr\n"), std::string::npos);
    EXPECT_NE(info.Out.find("\nJPEG_Progressive=0\n"), std::string::npos);
    EXPECT_NE(info.Out.find("\nEXIF_Orientation=6\n"), std::string::npos);
    EXPECT_NE(info.Out.find("\nJPEG_WarningTot=0\n"), std::string::npos);

    TRun grey = RunTool({"info", CorpusFile("jpeg-decoder/reftest/mozilla/jpg-gray.jpg")});
    EXPECT_NE(grey.Out.find("\nJPEG_ColorSpace=ioJPEG_GRAYLEV\n"), std::string::npos);

    // A GIF: a format without a reader yet.
    TRun failed = RunTool({"info", CorpusFile("sdl_image/palette.gif")});
    EXPECT_EQ(failed.Status, 1);
    EXPECT_NE(failed.Err.find("cannot load"), std::string::npos);
    TRun gone = RunTool({"info", "/no/such/file.jpg"});
    EXPECT_EQ(gone.Status, 1);
    EXPECT_FALSE(gone.Err.empty());
}

TEST(ImageTool, ResampleWritesPNM) {
    TTempDir dir;
    TIEBitmap bitmap;
    FillRGB(bitmap, 40, 20, TRGB{10, 20, 30});
    TIOParams params;
    params.JPEG_Quality = 100;
    const std::vector<uint8_t> jpeg = EncodeJpeg(bitmap, params);
    std::ofstream(dir / "in.jpg", std::ios::binary)
        .write(reinterpret_cast<const char*>(jpeg.data()), long(jpeg.size()));

    TRun run = RunTool({"resample", dir / "in.jpg", dir / "out.ppm", "--width", "20", "--height", "-1",
                        "--filter", "Lanczos3"});
    ASSERT_EQ(run.Status, 0) << run.Err;
    const std::string ppm = ReadAll(dir / "out.ppm");
    ASSERT_EQ(ppm.substr(0, 13), "P6\n20 10\n255\n");
    ASSERT_EQ(ppm.size(), 13u + 20 * 10 * 3);
    // A flat picture stays flat: r 30, g 20, b 10, within the codec's rounding.
    EXPECT_NEAR(uint8_t(ppm[13]), 30, 2);
    EXPECT_NEAR(uint8_t(ppm[14]), 20, 2);
    EXPECT_NEAR(uint8_t(ppm[15]), 10, 2);

    EXPECT_EQ(RunTool({"resample", dir / "in.jpg", dir / "m.ppm", "--width", "10", "--height", "10",
                       "--filter", "bilinear", "--maintain"})
                  .Status,
              0);
    EXPECT_EQ(ReadAll(dir / "m.ppm").substr(0, 11), "P6\n10 5\n255");

    // Status 2 for a missing height or an unknown filter, 1 for a source that can't be read.
    const std::pair<std::string, int> failures[] = {
        {"in.jpg x.ppm --width 10 --filter bilinear", 2},
        {"in.jpg x.ppm --width 10 --height 5 --filter nosuch", 2},
        {"missing.jpg x.ppm --width 10 --height 5 --filter bilinear", 1},
    };
    for (const auto& [line, status] : failures) {
        std::vector<std::string> arguments = {"resample"};
        std::istringstream words(line);
        for (std::string word; words >> word;)
            arguments.push_back(arguments.size() < 3 ? dir / word : word);
        EXPECT_EQ(RunTool(arguments).Status, status) << line;
    }
    EXPECT_EQ(RunTool({"frobnicate"}).Status, 2);
}

TEST(ImageTool, ResampleKeepsThePictureWhenTheSizeCannotBeResolved) {
    TTempDir dir;
    TIEBitmap bitmap;
    FillRGB(bitmap, 4, 2, TRGB{10, 20, 30});
    ASSERT_TRUE(WritePNM(bitmap, dir / "in.ppm"));
    TImagerIO io(&bitmap, false);
    io.SaveToFilePNG(dir / "in.png");
    ASSERT_FALSE(io.Aborting());
    TRun run = RunTool({"resample", dir / "in.png", dir / "out.ppm", "--width", "-1", "--height", "-1",
                        "--filter", "lanczos3"});
    EXPECT_EQ(run.Status, 1);
    EXPECT_EQ(run.Err, "pixelwright-cli: cannot resample to -1 x -1; the picture keeps its size 4 x 2\n");
    EXPECT_EQ(ReadAll(dir / "out.ppm"), ReadAll(dir / "in.ppm"));
}

TEST(ImageTool, TheProgramDispatchesImageCommands) {
    PW_REQUIRE_CORPUS();
    const std::string command =
        std::string(PW_CLI_PATH) + " image detect '" + CorpusFile("libjpeg-turbo/testorig.jpg") + "' 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    char buffer[64] = {};
    const size_t count = fread(buffer, 1, sizeof buffer - 1, pipe);
    const int status = pclose(pipe);
    EXPECT_EQ(std::string(buffer, count), "3\n");
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}
