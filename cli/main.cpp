#include <cstdio>
#include <filesystem>
#include <iostream>
#include <system_error>

#include "app/appfolder.h"
#include "app/data.h"
#include "app/product.h"
#include "cli/batchoptions.h"
#include "cli/imagetool.h"

namespace {

int RunBatch(const TBatchOptions& Options) {
    TDM dm;
    dm.OnMessage = [](const std::string& Text) { std::cerr << Text << "\n"; };
    for (const std::string& path : Options.Paths) {
        std::error_code error;
        if (std::filesystem::is_directory(path, error))
            dm.GetFilesFromDir(path);
        else
            dm.AddFiles({path});
    }
    TMemData& table = dm.MemData();
    std::vector<std::string> ids;
    for (int row = 0; row < table.RecordCount(); ++row)
        ids.push_back(std::to_string(table.Record(row).RecId));
    dm.RisizeProperty = Options.Job;
    dm.ResizeFileIDs(ids, Options.ResizeDir);
    for (int row = 0; row < table.RecordCount(); ++row)
        std::cout << table.Record(row).FILENAME << '\t' << table.Record(row).LASACTION << '\n';
    return 0;
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
    return RunBatch(options);
}
