#ifndef PELTA_TESTS_FOLDER_H
#define PELTA_TESTS_FOLDER_H

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

/* A folder of a test's own, gone with its contents at the end. */
class ScratchFolder {
  public:
    ScratchFolder() {
        std::string name = testing::TempDir() + "peltaXXXXXX";
        if (!mkdtemp(name.data()))
            throw std::filesystem::filesystem_error(name, std::error_code(errno, std::generic_category()));
        path_ = name;
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::string file(std::string_view name) const { return (path_ / name).string(); }

  private:
    std::filesystem::path path_;
};

inline std::string contentsOf(const std::string& fileName) {
    std::ifstream file(fileName, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

#endif
