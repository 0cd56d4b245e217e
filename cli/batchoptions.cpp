#include "cli/batchoptions.h"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace {

struct TMethodName {
    const char* Name;
    TResizeMethode Methode;
};

constexpr TMethodName MethodNames[] = {
    {"mitchell", Mitchell}, {"bilinear", Bilinear}, {"bicubic", Bicubic}, {"lanczos", Lanczos3},
    {"hermite", Hermite},   {"bell", Bell},         {"bspline", BSpline}, {"hq-bicubic", WICNearestNeighbor},
};

struct TNumberOption {
    const char* Name;
    int32_t TRisizeProperty::*Field;
    int32_t Min, Max;
};

constexpr TNumberOption NumberOptions[] = {
    {"--size", &TRisizeProperty::NewSize, 16, 16000},
    {"--quality", &TRisizeProperty::JpgQuali, 1, 100},
    {"--max-kb", &TRisizeProperty::MaxFileSize, 80, 2048},
};

struct TFlagOption {
    const char* Name;
    bool TRisizeProperty::*Field;
};

constexpr TFlagOption FlagOptions[] = {
    {"--always-height", &TRisizeProperty::HeighPrio}, {"--keep-quality", &TRisizeProperty::AutoQuali},
    {"--auto-size", &TRisizeProperty::AutoSize},      {"--progressive", &TRisizeProperty::JPEGProgressive},
    {"--sharpen", &TRisizeProperty::SharpImg},        {"--cms", &TRisizeProperty::EnableCMS},
    {"--watermark", &TRisizeProperty::WaterMark},     {"--bw", &TRisizeProperty::BW},
    {"--one-step", &TRisizeProperty::Multi},          {"--enhance", &TRisizeProperty::ImageEnhance},
};

bool ParseNumber(const std::string& Text, int32_t& Value) {
    const char* end = Text.data() + Text.size();
    auto [stop, error] = std::from_chars(Text.data(), end, Value);
    return !Text.empty() && error == std::errc() && stop == end;
}

} // namespace

bool ParseBatchOptions(const std::vector<std::string>& Arguments, TBatchOptions& Options,
                       std::string& Error) {
    bool optionsEnded = false;
    for (size_t i = 0; i < Arguments.size(); ++i) {
        const std::string& arg = Arguments[i];
        if (optionsEnded || arg.empty() || arg[0] != '-' || arg == "-") {
            Options.Paths.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        if (arg == "--help" || arg == "-h") {
            Options.ShowHelp = true;
            continue;
        }
        if (arg == "--version") {
            Options.ShowVersion = true;
            continue;
        }
        bool known = false;
        for (const TFlagOption& flag : FlagOptions)
            if (arg == flag.Name) {
                Options.Job.*flag.Field = true;
                known = true;
            }
        if (known) continue;

        // The remaining options take a value.
        const bool takesValue = arg == "--prefix" || arg == "--suffix" || arg == "--dir" ||
                                arg == "--method" ||
                                std::any_of(std::begin(NumberOptions), std::end(NumberOptions),
                                            [&](const TNumberOption& number) { return arg == number.Name; });
        if (!takesValue) {
            Error = "unknown option " + arg;
            return false;
        }
        if (i + 1 >= Arguments.size()) {
            Error = "option " + arg + " needs a value";
            return false;
        }
        const std::string& value = Arguments[++i];
        for (const TNumberOption& number : NumberOptions) {
            if (arg != number.Name) continue;
            int32_t parsed;
            if (!ParseNumber(value, parsed) || parsed < number.Min || parsed > number.Max) {
                Error = "option " + arg + " takes a whole number from " + std::to_string(number.Min) +
                        " to " + std::to_string(number.Max) + ", not '" + value + "'";
                return false;
            }
            Options.Job.*number.Field = parsed;
            known = true;
        }
        if (known) continue;
        if (arg == "--prefix") {
            Options.Job.Prefix = value;
        } else if (arg == "--suffix") {
            Options.Job.Suffix = value;
        } else if (arg == "--dir") {
            Options.ResizeDir = value;
        } else if (arg == "--method") {
            bool found = false;
            for (const TMethodName& method : MethodNames)
                if (value == method.Name) {
                    Options.Job.ResizeMethode = method.Methode;
                    found = true;
                }
            if (!found) {
                Error = "option --method takes one of mitchell, bilinear, bicubic, lanczos, hermite, bell, "
                        "bspline, hq-bicubic, not '" +
                        value + "'";
                return false;
            }
        }
    }
    return true;
}

const char* BatchUsage() {
    return "Usage: pixelwright-cli [OPTIONS] PATH...\n"
           "Resizes every image file in the PATHs (files, or folders listed one level deep,\n"
           "regular files only, in name order with numbers compared by value) into JPEG\n"
           "files named PREFIX + name + SUFFIX + \".jpg\" in a sub-folder beside each source.\n"
           "\n"
           "Each file's line (the file, a TAB, what became of it, such as\n"
           "\"OK ..\\Resize\\R-name.jpg\") is printed as soon as the file is done. When standard\n"
           "error is a terminal, a count of the files done is shown there while the batch runs.\n"
           "A PATH that is missing, or neither a file nor a folder, is reported on standard\n"
           "error and the batch runs over the rest.\n"
           "\n"
           "  --size N           target length of the longest side in pixels (16..16000, 1200)\n"
           "  --always-height    always fit the height\n"
           "  --quality N        JPEG quality (1..100, 80)\n"
           "  --keep-quality     leave the quality at the engine's default\n"
           "  --auto-size        lower the quality until the file fits --max-kb\n"
           "  --max-kb N         file size limit in KB for --auto-size (80..2048, 150)\n"
           "  --progressive      write progressive JPEG files\n"
           "  --sharpen          sharpen after resizing\n"
           "  --enhance          automatic image enhancement\n"
           "  --bw               black and white output\n"
           "  --watermark        merge Watermark.png from the program's folder\n"
           "  --cms              apply embedded colour profiles\n"
           "  --one-step         resize in one step instead of stepwise\n"
           "  --method NAME      mitchell, bilinear, bicubic, lanczos, hermite, bell, bspline,\n"
           "                     hq-bicubic (lanczos)\n"
           "  --prefix TEXT      put before the name (R-)\n"
           "  --suffix TEXT      put behind the name (empty)\n"
           "  --dir NAME         sub-folder for the results (Resize); --dir \"\" writes beside\n"
           "                     each source\n"
           "  --help             show this text\n"
           "  --version          show the version\n"
           "\n"
           "Exit status: 0 when the batch ran over every PATH, 1 when a PATH was missing or\n"
           "neither a file nor a folder, 2 on bad arguments.\n"
           "\n"
           "The image engine for scripts (\"pixelwright-cli image\" alone shows the details):\n"
           "  pixelwright-cli image detect FILE\n"
           "  pixelwright-cli image info FILE\n"
           "  pixelwright-cli image resample IN OUT --width W --height H --filter NAME [--maintain]\n"
           "  pixelwright-cli image process IN OUT OP...\n";
}
