#include "cli/batchoptions.h"

#include <gtest/gtest.h>
#include <sstream>

namespace {

// The options of a command line, and its error: empty when it parses.
std::pair<TBatchOptions, std::string> Parse(const std::vector<std::string>& Arguments) {
    std::pair<TBatchOptions, std::string> result;
    const bool ok = ParseBatchOptions(Arguments, result.first, result.second);
    EXPECT_EQ(ok, result.second.empty()) << result.second;
    return result;
}

} // namespace

TEST(BatchOptions, DefaultsAreTheWindowsDefaults) {
    const TBatchOptions options = Parse({"pics"}).first;
    const TRisizeProperty& job = options.Job;
    EXPECT_EQ(std::make_tuple(job.NewSize, job.JpgQuali, job.MaxFileSize, job.ResizeMethode),
              std::make_tuple(1200, 80, 150, Lanczos3));
    EXPECT_EQ(job.Prefix + "|" + job.Suffix + "|" + options.ResizeDir, "R-||Resize");
    // Stepwise unless asked for one step, as the window's default has it.
    EXPECT_FALSE(job.Multi || job.AutoQuali || job.AutoSize || job.JPEGProgressive || job.SharpImg ||
                 job.EnableCMS || job.WaterMark || job.BW || job.ImageEnhance || job.HeighPrio ||
                 job.SoftShadow);
    EXPECT_TRUE(job.Joo);
    EXPECT_EQ(options.Paths, (std::vector<std::string>{"pics"}));
}

TEST(BatchOptions, EveryOptionReachesItsField) {
    std::vector<std::string> arguments;
    std::istringstream words(
        "--size 16000 --always-height --quality 1 --keep-quality --auto-size --max-kb 2048 "
        "--progressive --sharpen --suffix _s --dir Klein --cms --watermark --bw --one-step "
        "--enhance --method hq-bicubic --prefix");
    for (std::string word; words >> word;)
        arguments.push_back(word);
    arguments.insert(arguments.end(), {"", "a", "b"});
    const TBatchOptions options = Parse(arguments).first;
    const TRisizeProperty& job = options.Job;
    EXPECT_EQ(std::make_tuple(job.NewSize, job.JpgQuali, job.MaxFileSize), std::make_tuple(16000, 1, 2048));
    EXPECT_TRUE(job.HeighPrio && job.AutoQuali && job.AutoSize && job.JPEGProgressive && job.SharpImg &&
                job.EnableCMS && job.WaterMark && job.BW && job.Multi && job.ImageEnhance);
    EXPECT_EQ(job.Prefix + "|" + job.Suffix + "|" + options.ResizeDir, "|_s|Klein");
    EXPECT_EQ(job.ResizeMethode, WICNearestNeighbor);
    EXPECT_EQ(options.Paths, (std::vector<std::string>{"a", "b"}));
}

TEST(BatchOptions, MethodNamesMapInTheWindowsOrder) {
    const char* names[] = {"mitchell", "bilinear", "bicubic", "lanczos",
                           "hermite",  "bell",     "bspline", "hq-bicubic"};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(Parse({"--method", names[i]}).first.Job.ResizeMethode, TResizeMethode(i));
    EXPECT_NE(Parse({"--method", "Lanczos"}).second.find("--method"), std::string::npos);
}

TEST(BatchOptions, OutOfRangeNumbersAndMalformedCommandLines) {
    const std::pair<std::vector<std::string>, std::string> errors[] = {
        {{"--size", "15"}, "option --size takes a whole number from 16 to 16000, not '15'"},
        {{"--size", "16001"}, "option --size takes a whole number from 16 to 16000, not '16001'"},
        {{"--quality", "0"}, "option --quality takes a whole number from 1 to 100, not '0'"},
        {{"--max-kb", "79"}, "option --max-kb takes a whole number from 80 to 2048, not '79'"},
        {{"--quality", "8x"}, "option --quality takes a whole number from 1 to 100, not '8x'"},
        {{"--colour"}, "unknown option --colour"},
        {{"x", "--size"}, "option --size needs a value"}};
    for (const auto& [arguments, error] : errors)
        EXPECT_EQ(Parse(arguments).second, error);
    EXPECT_EQ(Parse({"--size", "16"}).first.Job.NewSize, 16);
    // An empty folder name writes beside each source.
    EXPECT_EQ(Parse({"--dir", "", "x"}).first.ResizeDir, "");
    // After "--" everything is a path, also what looks like an option.
    const TBatchOptions dashes = Parse({"--", "--bw"}).first;
    EXPECT_EQ(dashes.Paths, (std::vector<std::string>{"--bw"}));
    EXPECT_FALSE(dashes.Job.BW);
}
