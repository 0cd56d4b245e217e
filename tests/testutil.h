#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

// A fresh folder under the system's temporary directory, removed with everything in it.
class TTempDir {
  public:
    TTempDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "pwtest-XXXXXX").string();
        fPath = mkdtemp(pattern.data()) ? pattern : std::string();
    }
    ~TTempDir() {
        std::error_code error;
        std::filesystem::remove_all(fPath, error);
    }
    TTempDir(const TTempDir&) = delete;
    TTempDir& operator=(const TTempDir&) = delete;

    const std::string& Path() const { return fPath; }
    std::string operator/(const std::string& Name) const { return fPath + "/" + Name; }

  private:
    std::string fPath;
};

inline void WriteTextFile(const std::string& Path, const std::string& Content) {
    std::ofstream(Path, std::ios::binary) << Content;
}
