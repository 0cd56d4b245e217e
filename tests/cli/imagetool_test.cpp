#include "cli/imagetool.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>

#include "image/bitmap.h"
#include "io/imagerio.h"
#include "tests/corpus.h"
#include "tests/io/jpegtestutil.h"
#include "tests/testutil.h"

namespace {

struct TRun {
    int Status;
    std::string Out, Err;
};

// "pixelwright-cli image" with the words of Line as its arguments.
TRun Tool(const std::string& Line) {
    std::vector<std::string> arguments;
    std::istringstream words(Line);
    for (std::string word; words >> word;)
        arguments.push_back(word);
    std::ostringstream out, err;
    const int status = RunImageTool(arguments, out, err);
    return {status, out.str(), err.str()};
}

std::string ReadAll(const std::string& Path) {
    std::ifstream file(Path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

// A lossless source of one row.
std::string SavePng(const std::string& Path, const std::vector<TRGB>& Pixels) {
    TIEBitmap bitmap(int32_t(Pixels.size()), 1, ie24RGB, 0);
    for (size_t x = 0; x < Pixels.size(); ++x)
        bitmap.SetPixels_ie24RGB(int32_t(x), 0, Pixels[x]);
    TImagerIO(&bitmap, false).SaveToFilePNG(Path);
    return Path;
}

// The levels of a one-row grey picture written as P6, "-" where the channels differ.
std::string GreyRow(const std::string& Path) {
    const std::string ppm = ReadAll(Path);
    const size_t header = ppm.find("\n255\n") + 5;
    std::string levels;
    for (size_t i = header; i + 2 < ppm.size(); i += 3) {
        if (i > header) levels += ' ';
        levels += ppm[i] == ppm[i + 1] && ppm[i] == ppm[i + 2] ? std::to_string(uint8_t(ppm[i])) : "-";
    }
    return levels;
}

constexpr TRGB Red{0, 0, 255}, Blue{255, 0, 0}, White{255, 255, 255};

} // namespace

TEST(ImageTool, PnmIsP5ForGreyP6OtherwiseBigEndianForSixteenBits) {
    TTempDir dir;
    TIEBitmap grey(2, 1, ie8g), colour(1, 1, ie24RGB), wide(1, 1, ie48RGB), deep(1, 1, ie16g);
    grey.SetPixels_ie8(0, 0, 7);
    grey.SetPixels_ie8(1, 0, 200);
    colour.SetPixels_ie24RGB(0, 0, TRGB{3, 2, 1});
    colour.AlphaChannel()->Fill(0); // not written
    wide.SetPixels_ie48RGB(0, 0, TRGB48{0x0102, 0x0304, 0x0506});
    deep.SetPixels_ie16g(0, 0, 0xABCD);
    const std::pair<TIEBitmap*, std::string> files[] = {
        {&grey, std::string("P5\n2 1\n255\n\x07\xC8", 13)},
        {&colour, std::string("P6\n1 1\n255\n\x01\x02\x03", 14)},
        {&wide, std::string("P6\n1 1\n65535\n\x01\x02\x03\x04\x05\x06", 19)},
        {&deep, std::string("P5\n1 1\n65535\n\xAB\xCD", 15)},
    };
    for (const auto& [bitmap, expected] : files) {
        ASSERT_TRUE(WritePNM(*bitmap, dir / "out.pnm"));
        EXPECT_EQ(ReadAll(dir / "out.pnm"), expected);
    }
    EXPECT_FALSE(WritePNM(deep, dir / "no/such/d.pgm"));
}

TEST(ImageTool, DetectAndInfo) {
    PW_REQUIRE_CORPUS();
    // A PNG named .jpg is a PNG.
    EXPECT_EQ(Tool("detect " + CorpusFile("jpeg-decoder/reftest/mozilla/jpg-size-6x6.jpg")).Out, "8\n");
    EXPECT_EQ(Tool("detect /no/such/file.jpg").Out, "0\n");

    TRun info = Tool("info " + CorpusFile("exif-samples/jpg/orientation/portrait_6.jpg"));
    ASSERT_EQ(info.Status, 0) << info.Err;
    // Stored sideways; the engine's default doesn't turn it.
    EXPECT_EQ(info.Out.substr(0, info.Out.find('\n')), "600 450 ie24RGB");
    for (const char* line : {"FileType=3", "JPEG_ColorSpace=ioJPEG_YCbCr", "JPEG_Progressive=0",
                             "EXIF_Orientation=6", "JPEG_WarningTot=0"})
        EXPECT_NE(info.Out.find(std::string("\n") + line + "\n"), std::string::npos) << line;
    EXPECT_NE(
        Tool("info " + CorpusFile("jpeg-decoder/reftest/mozilla/jpg-gray.jpg")).Out.find("=ioJPEG_GRAYLEV\n"),
        std::string::npos);

    // Pages of a TIFF by --index, and none past the last.
    const std::string pages = "info " + CorpusFile("pillow/tiff/multipage.tiff");
    TRun second = Tool(pages + " --index 1");
    EXPECT_EQ(second.Out.substr(0, second.Out.find("\nFileType")), "10 10 ie24RGB\nPageCount=3");
    EXPECT_EQ(Tool(pages + " --index 2").Out.substr(0, 14), "20 20 ie24RGB\n");
    EXPECT_EQ(Tool(pages + " --index 3").Status, 1);

    // A GIF: a format without a reader yet.
    TRun failed = Tool("info " + CorpusFile("sdl_image/palette.gif"));
    EXPECT_EQ(failed.Status, 1);
    EXPECT_NE(failed.Err.find("cannot load"), std::string::npos);
    EXPECT_EQ(Tool("info /no/such/file.jpg").Status, 1);
}

TEST(ImageTool, ResampleWritesPnmOrForAPngNameAPngWithAlpha) {
    PW_REQUIRE_CORPUS();
    TTempDir dir;
    TIEBitmap bitmap;
    FillRGB(bitmap, 40, 20, TRGB{10, 20, 30});
    TImagerIO(&bitmap, false).SaveToFilePNG(dir / "in.png");
    ASSERT_TRUE(WritePNM(bitmap, dir / "in.ppm"));
    const std::string in = dir / "in.png ";
    // A flat picture stays flat: r 30, g 20, b 10.
    TRun run = Tool("resample " + in + dir / "out.ppm --width 20 --height -1 --filter Lanczos3");
    ASSERT_EQ(run.Status, 0) << run.Err;
    const std::string ppm = ReadAll(dir / "out.ppm");
    EXPECT_EQ(ppm.substr(0, 16), "P6\n20 10\n255\n\x1e\x14\x0a");
    EXPECT_EQ(ppm.size(), 13u + 20 * 10 * 3);
    EXPECT_EQ(
        Tool("resample " + in + dir / "m.ppm --width 10 --height 10 --filter bilinear --maintain").Status, 0);
    EXPECT_EQ(ReadAll(dir / "m.ppm").substr(0, 11), "P6\n10 5\n255");
    // A size that can't be resolved keeps the picture, and says so.
    run = Tool("resample " + in + dir / "out.ppm --width -1 --height -1 --filter lanczos3");
    EXPECT_EQ(run.Status, 1);
    EXPECT_EQ(run.Err, "pixelwright-cli: cannot resample to -1 x -1; the picture keeps its size 40 x 20\n");
    EXPECT_EQ(ReadAll(dir / "out.ppm"), ReadAll(dir / "in.ppm"));

    // The first row of basn6a08 has alpha 0, 8, 16, ...: the top left stays transparent.
    const std::string png = CorpusFile("pngsuite/basn6a08.png") + " ";
    for (const char* name : {"half.png", "HALF.PNG"}) {
        ASSERT_EQ(Tool("resample " + png + dir / name + " --width 16 --height 16 --filter none").Status, 0);
        TImagerIO io(&bitmap, false);
        ASSERT_TRUE(io.LoadFromFileAuto(dir / name));
        EXPECT_EQ(Tool("info " + dir / name).Out.substr(0, 36), "16 16 ie24RGB\nPageCount=1\nFileType=8");
        EXPECT_TRUE(bitmap.HasAlphaChannel() && bitmap.GetAlpha(0, 0) == 0);
    }
    ASSERT_EQ(Tool("resample " + png + dir / "half.pnm --width 16 --height 16 --filter none").Status, 0);
    EXPECT_EQ(ReadAll(dir / "half.pnm").substr(0, 3), "P6\n");
}

TEST(ImageProcess, OperationsRunInTheOrderGiven) {
    TTempDir dir;
    const std::string in = SavePng(dir / "in.png", {Red, Blue}) + " ", out = dir / "out.pnm ";
    SavePng(dir / "white.png", {White, White});
    const std::string cast = SavePng(dir / "cast.png", {TRGB{40, 100, 200}, TRGB{80, 100, 50}}) + " ";
    const std::tuple<std::string, std::string, std::string> runs[] = {
        // Grey is (21 r + 71 g + 8 b) / 100: red 53, blue 20.
        {in, "--gray", "53 20"},
        // Doubled by nearest copy first, then grey.
        {in, "--resample 4 1 none --gray", "53 53 20 20"},
        // The merge keeps the given share of the picture.
        {in, "--merge " + dir / "white.png 100 --gray", "53 20"},
        {in, "--merge " + dir / "white.png 0 --gray", "255 255"},
        // Means b 60, g 100, r 125 balanced to 125 each before the grey, as the batch's black
        // and white: b 83 and 166, g 125, cut; (21 r + 71 g + 8 b) / 100 = 137 and 112.
        {cast, "--graybalance --gray", "137 112"},
    };
    for (const auto& [source, operations, levels] : runs) {
        ASSERT_EQ(Tool("process " + source + out + operations).Status, 0) << operations;
        EXPECT_EQ(GreyRow(dir / "out.pnm"), levels) << operations;
    }
    // Every other operation takes its values.
    TRun all =
        Tool("process " + in + out +
             "--resample 6 -1 lanczos3 --autosharp 68 0.035 --blur 1.5 --enhance 0.33 70 --softshadow 3 3 3");
    EXPECT_EQ(all.Status, 0) << all.Err;
}

TEST(ImageTool, StatusTwoForBadArgumentsOneForFilesAndRefusedValues) {
    TTempDir dir;
    const std::string in = SavePng(dir / "in.png", {Red, Blue}) + " ", out = dir / "o.pnm ";
    const std::pair<std::string, int> runs[] = {
        {"frobnicate", 2},
        {"resample " + in + out + "--width 10 --filter bilinear", 2},
        // Filters go by their engine name without "rf", whole.
        {"resample " + in + out + "--width 10 --height 5 --filter rfLanczos3", 2},
        {"resample " + in + out + "--width 10 --height 5 --filter lanczos", 2},
        // A process is parsed as a whole before anything is loaded or written.
        {"process " + in + out, 2},
        {"process " + in + out + "--sepia", 2},
        {"process " + in + out + "--gray --blur", 2},
        {"process " + in + out + "--resample 4 1 sinc", 2},
        {"process " + in + out + "--autosharp 68 fast", 2},
        {"resample " + dir / "missing.jpg " + out + "--width 10 --height 5 --filter bilinear", 1},
        {"resample " + in + dir / "missing/out.png --width 8 --height 8 --filter none", 1},
        {"process " + dir / "missing.png " + out + "--gray", 1},
        {"process " + in + out + "--merge " + dir / "missing.png 50", 1},
        {"resample " + in + out + "--width 8 --height 8 --filter none --index one", 2},
        {"resample " + in + out + "--width 8 --height 8 --filter none --index 1", 1},
        {"info " + in + "--index 1", 1},
    };
    for (const auto& [line, status] : runs)
        EXPECT_EQ(Tool(line).Status, status) << line;
    EXPECT_FALSE(std::filesystem::exists(dir / "o.pnm"));
    TRun gamma = Tool("process " + in + out + "--enhance 0 70");
    EXPECT_EQ(gamma.Status, 1);
    EXPECT_NE(gamma.Err.find("Invalid Gamma value"), std::string::npos);
}
