#pragma once

#include <string>
#include <vector>

#include "app/ahresize.h"

// The command line of a headless batch: the window's controls as options, with the
// window's defaults.
struct TBatchOptions {
    TRisizeProperty Job;
    std::string ResizeDir = "Resize";
    std::vector<std::string> Paths;
    bool ShowHelp = false;
    bool ShowVersion = false;
};

// Fills Options from the arguments after the program name; false with Error set on a
// bad argument.
bool ParseBatchOptions(const std::vector<std::string>& Arguments, TBatchOptions& Options, std::string& Error);

const char* BatchUsage();
