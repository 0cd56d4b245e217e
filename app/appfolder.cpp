#include "app/appfolder.h"

#include <filesystem>
#include <system_error>

namespace {
std::string& Argument0() {
    static std::string value;
    return value;
}
} // namespace

void SetProgramArgument0(const char* Argument0Text) {
    Argument0() = Argument0Text ? Argument0Text : "";
}

std::string ProgramFolder() {
    const std::string& arg0 = Argument0();
    auto slash = arg0.rfind('/');
    if (slash != std::string::npos) return slash == 0 ? std::string() : arg0.substr(0, slash);
    std::error_code error;
    std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) return ".";
    return self.parent_path().string();
}
