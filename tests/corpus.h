#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// The shared image corpus: where PW_CORPUS_DIR points when the tests run, else the
// folder CMake was configured with (../shared/corpus beside the checkout). Read at run
// time, so one build serves a checkout with the corpus and one without.
inline std::string CorpusRoot() {
    const char* folder = std::getenv("PW_CORPUS_DIR");
    return folder && *folder ? std::string(folder) : std::string(PW_CORPUS_DIR);
}

inline bool CorpusPresent() {
    std::error_code error;
    return std::filesystem::is_directory(CorpusRoot(), error);
}

// A file or folder of the corpus. Once the corpus is there, every name a test asks for
// must be in it: a missing one fails the test instead of passing it unread.
inline std::string CorpusFile(const std::string& Name) {
    const std::string path = CorpusRoot() + "/" + Name;
    std::error_code error;
    if (!std::filesystem::exists(path, error)) ADD_FAILURE() << "not in the corpus: " << path;
    return path;
}

inline std::vector<uint8_t> ReadBytes(const std::string& Path) {
    std::ifstream file(Path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

inline std::vector<uint8_t> ReadCorpusFile(const std::string& Name) {
    return ReadBytes(CorpusFile(Name));
}

// First statement of a test that reads the corpus: a checkout without it skips the test
// and says why, so that a fresh clone passes.
#define PW_REQUIRE_CORPUS()                                                                                  \
    do {                                                                                                     \
        if (!CorpusPresent())                                                                                \
            GTEST_SKIP() << "no image corpus at " << CorpusRoot()                                            \
                         << "; run with PW_CORPUS_DIR=/path/to/corpus to include this test";                 \
    } while (0)
