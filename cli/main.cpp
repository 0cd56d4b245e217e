#include <iostream>
#include <sys/ioctl.h>
#include <unistd.h>

#include "app/appfolder.h"
#include "app/data.h"
#include "app/product.h"
#include "cli/batchoptions.h"
#include "cli/batchrun.h"
#include "cli/imagetool.h"

namespace {

// The width of the terminal on standard error; 0 when it is none, which turns the
// progress line off, so that redirected output stays clean.
int ProgressColumns() {
    if (!::isatty(STDERR_FILENO)) return 0;
    winsize size{};
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
    return 80;
}

} // namespace

int main(int argc, char** argv) {
    SetProgramArgument0(argc > 0 ? argv[0] : nullptr);
    std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    if (!arguments.empty() && arguments[0] == "image")
        return RunImageTool(std::vector<std::string>(arguments.begin() + 1, arguments.end()), std::cout,
                            std::cerr);
    TBatchOptions options;
    std::string error;
    if (!ParseBatchOptions(arguments, options, error)) {
        std::cerr << "pixelwright-cli: " << error << "\n\n" << BatchUsage();
        return 2;
    }
    if (options.ShowHelp) {
        std::cout << BatchUsage();
        return 0;
    }
    if (options.ShowVersion) {
        std::cout << "pixelwright-cli " << ProductVersion << "\n";
        return 0;
    }
    if (options.Paths.empty()) {
        std::cerr << "pixelwright-cli: no PATH given\n\n" << BatchUsage();
        return 2;
    }
    TDM dm;
    return RunBatch(dm, options, std::cout, std::cerr, ProgressColumns());
}
