#include "cli/batchoptions.h"

#include <gtest/gtest.h>
#include <sstream>

namespace {

// What a command line of words ("''" an empty one) gives: its error, or size, quality, max KB,
// method, prefix|suffix|folder, the flags HeighPrio AutoQuali AutoSize JPEGProgressive SharpImg
// EnableCMS WaterMark BW Multi ImageEnhance SoftShadow Joo, and the paths.
std::string Parse(const std::string& Line) {
    std::vector<std::string> arguments;
    std::istringstream words(Line);
    for (std::string word; words >> word;)
        arguments.push_back(word == "''" ? "" : word);
    TBatchOptions options;
    std::string error;
    if (!ParseBatchOptions(arguments, options, error)) return error;
    const TRisizeProperty& job = options.Job;
    std::ostringstream text;
    text << job.NewSize << " " << job.JpgQuali << " " << job.MaxFileSize << " m" << int(job.ResizeMethode)
         << " " << job.Prefix << "|" << job.Suffix << "|" << options.ResizeDir << " ";
    for (bool flag :
         {job.HeighPrio, job.AutoQuali, job.AutoSize, job.JPEGProgressive, job.SharpImg, job.EnableCMS,
          job.WaterMark, job.BW, job.Multi, job.ImageEnhance, job.SoftShadow, job.Joo})
        text << flag;
    for (const std::string& path : options.Paths)
        text << " " << path;
    return text.str() + error;
}

} // namespace

TEST(BatchOptions, EachCommandLineGivesItsJobOrItsError) {
    const std::pair<std::string, std::string> lines[] = {
        // The window's defaults: stepwise unless asked for one step.
        {"pics", "1200 80 150 m3 R-||Resize 000000000001 pics"},
        {"--size 16 --quality 100 --max-kb 80 --prefix '' --suffix _s --dir Klein a b",
         "16 100 80 m3 |_s|Klein 000000000001 a b"},
        // An empty folder name writes beside each source.
        {"--size 16000 --quality 1 --max-kb 2048 --dir ''", "16000 1 2048 m3 R-|| 000000000001"},
        // Every other flag, so that two flags that trade fields show.
        {"--always-height --auto-size --sharpen --watermark --one-step",
         "1200 80 150 m3 R-||Resize 101010101001"},
        {"--keep-quality --progressive --cms --bw --enhance", "1200 80 150 m3 R-||Resize 010101010101"},
        // After "--" everything is a path, also what looks like an option.
        {"-- --bw", "1200 80 150 m3 R-||Resize 000000000001 --bw"},
        {"--size 15", "option --size takes a whole number from 16 to 16000, not '15'"},
        {"--size 16001", "option --size takes a whole number from 16 to 16000, not '16001'"},
        {"--quality 0", "option --quality takes a whole number from 1 to 100, not '0'"},
        {"--max-kb 79", "option --max-kb takes a whole number from 80 to 2048, not '79'"},
        {"--quality 8x", "option --quality takes a whole number from 1 to 100, not '8x'"},
        {"--colour", "unknown option --colour"},
        {"x --size", "option --size needs a value"},
        {"--method Lanczos",
         "option --method takes one of mitchell, bilinear, bicubic, lanczos, hermite, bell, "
         "bspline, hq-bicubic, not 'Lanczos'"},
    };
    for (const auto& [line, expected] : lines)
        EXPECT_EQ(Parse(line), expected) << line;
    // In the window's order.
    const char* names[] = {"mitchell", "bilinear", "bicubic", "lanczos",
                           "hermite",  "bell",     "bspline", "hq-bicubic"};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(Parse(std::string("--method ") + names[i]).substr(0, 14),
                  "1200 80 150 m" + std::to_string(i));
}
