#pragma once

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/resource.h>

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

// While alive, every write into a file at or beyond Bytes fails with EFBIG, as on a full
// disk. SIGXFSZ is ignored meanwhile, so the failure comes back as an error code.
class TScopedFileSizeLimit {
  public:
    explicit TScopedFileSizeLimit(rlim_t Bytes) {
        getrlimit(RLIMIT_FSIZE, &fSaved);
        fSavedHandler = std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{Bytes, fSaved.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~TScopedFileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &fSaved);
        std::signal(SIGXFSZ, fSavedHandler);
    }
    TScopedFileSizeLimit(const TScopedFileSizeLimit&) = delete;
    TScopedFileSizeLimit& operator=(const TScopedFileSizeLimit&) = delete;

  private:
    rlimit fSaved{};
    void (*fSavedHandler)(int) = nullptr;
};
