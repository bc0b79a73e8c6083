#ifndef PELTA_TESTS_SCRATCHTEST_H
#define PELTA_TESTS_SCRATCHTEST_H

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>

#include "support/faultysystem.h"
#include "support/files.h"

/* A test with a scratch folder of its own (PROMAX_SCRATCH_HOME), which has to be empty in the end. */
class ScratchTest : public testing::Test {
  protected:
    static constexpr char variable[] = "PROMAX_SCRATCH_HOME";

    void TearDown() override {
        EXPECT_TRUE(isEmpty());
        EXPECT_EQ(openDescriptors(), before_);
    }

    bool isEmpty() const { return std::filesystem::is_empty(folder.path()); }

    /* A path that makes a scratch file's name this long. */
    std::string pathForNameOf(std::size_t length) const {
        constexpr std::size_t fileName = sizeof "/peltaXXXXXX" - 1, longestPart = 100;
        std::string path = elsewhere.path().string();
        while (path.size() + fileName < length)
            path += "/" + std::string(std::min(longestPart, length - fileName - path.size() - 1), 'f');
        std::filesystem::create_directories(path);
        return path;
    }

    /* What is printed when the scratch folder is not to be had in some way: missing, a file, read-only. */
    template <class Open>
    std::vector<std::string> textsOfUnusableFolders(Open open) const {
        const std::string missing = elsewhere.file("missing"), file = elsewhere.file("file"), readOnly = elsewhere.file("kept");
        writeFile(file, "");
        std::filesystem::create_directory(readOnly);
        chmod(elsewhere.path().c_str(), 0755);
        chmod(readOnly.c_str(), 0555);
        std::vector<std::string> texts;
        for (const std::string& path : {missing, file, readOnly}) {
            const WithoutPrivileges ordinaryUser;
            const WithVariable unusable(variable, path.c_str());
            texts.push_back(printedBy(open).text);
        }
        return texts;
    }

    /* What is printed when somebody gives a scratch file's name to another file before the call of this kind. */
    template <class Open>
    std::string textWhenExchanged(SystemCall when, std::function<void(const std::string& name)> exchange, Open open) {
        return printedBy([&] {
                   FaultySystem system;
                   system.answerBy([&](CallRecord& call) -> std::optional<std::int64_t> {
                       if (call.call != when) return {};
                       std::filesystem::remove(call.path);
                       exchange(exchanged = call.path);
                       if (when == SystemCall::open) return {};
                       errno = EEXIST;
                       return -1;
                   });
                   open();
               })
            .text;
    }

    ScratchFolder folder, elsewhere;
    const WithVariable scratch{variable, folder.path().c_str()};
    std::string exchanged;

  private:
    const std::set<int> before_ = openDescriptors();
};

#endif
