#include <fcntl.h>
#include <gtest/gtest.h>
#include <pelta/peltadisk.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "support/scratchtest.h"

namespace {

struct Mapped {
    char* memory;
    unsigned long size;
    int file;  // that the mapping keeps open
    Printed printed;
    std::vector<SystemCall> calls;
};

class MapMemory : public ScratchTest {
  protected:
    /* Mappings end with the test, though the library keeps them as long as the process lives. */
    void TearDown() override {
        for (const Mapped& mapped : mappings_) {
            munmap(mapped.memory, mapped.size);
            close(mapped.file);
        }
        ScratchTest::TearDown();
    }

    /* disturb: what the system is to do wrong. */
    Mapped map(unsigned long size, const std::function<void(FaultySystem&)>& disturb = {}) {
        const std::set<int> before = openDescriptors();
        Mapped mapped = {nullptr, size, -1, {}, {}};
        mapped.printed = printedBy([&] {
            FaultySystem system;
            if (disturb) disturb(system);
            mapped.memory = static_cast<char*>(mapMemory(size));
            EXPECT_TRUE(system.allFaultsMet());
            for (const CallRecord& call : system.calls()) mapped.calls.push_back(call.call);
        });
        std::vector<int> added;
        std::ranges::set_difference(openDescriptors(), before, std::back_inserter(added));
        EXPECT_EQ(added.size(), mapped.memory ? 1u : 0u);
        if (!mapped.memory || added.empty()) return mapped;
        mapped.file = added.front();
        mappings_.push_back(mapped);
        return mapped;
    }

    void expectFailure(unsigned long size, const std::string& text) {
        const Mapped mapped = map(size);
        EXPECT_EQ(mapped.memory, nullptr);
        EXPECT_EQ(mapped.printed.text, text);
    }

    /* The message with the name in it, whose last six letters are the system's choice. */
    std::string withName(const std::string& text) const {
        const std::size_t at = text.find(folder.file("pelta"));
        if (at == std::string::npos) return text;
        return std::string(text).replace(at, folder.file("peltaXXXXXX").size(), "NAME");
    }

  private:
    std::vector<Mapped> mappings_;
};

TEST_F(MapMemory, GivesZeroedMemoryThatKeepsWhatIsWritten) {
    constexpr unsigned long size = 3000001;
    const Mapped mapped = map(size);
    ASSERT_TRUE(mapped.memory);
    EXPECT_EQ(mapped.printed.text, "");
    EXPECT_EQ(std::count(mapped.memory, mapped.memory + size, '\0'), static_cast<long>(size));
    for (unsigned long i = 0; i < size; ++i) mapped.memory[i] = static_cast<char>(i * 31);
    std::string file(size, '?');
    ASSERT_EQ(pread(mapped.file, file.data(), size, 0), static_cast<ssize_t>(size));
    EXPECT_EQ(std::memcmp(file.data(), mapped.memory, size), 0);
}

TEST_F(MapMemory, KeepsAFileOfThatSizeWithoutAName) {
    const Mapped mapped = map(70000);
    ASSERT_TRUE(mapped.memory);
    struct stat status = {};
    ASSERT_EQ(fstat(mapped.file, &status), 0);
    EXPECT_EQ(status.st_size, 70000);
    EXPECT_EQ(status.st_nlink, 0u);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    EXPECT_NE(fcntl(mapped.file, F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_TRUE(isEmpty());
}

TEST_F(MapMemory, ClaimsNoSpaceAhead) {
    const Mapped mapped = map(1 << 28);
    ASSERT_TRUE(mapped.memory);
    struct stat status = {};
    ASSERT_EQ(fstat(mapped.file, &status), 0);
    EXPECT_LT(status.st_blocks * 512, 1 << 20);
}

TEST_F(MapMemory, MapsASingleByte) {
    const Mapped mapped = map(1);
    ASSERT_TRUE(mapped.memory);
    EXPECT_EQ(*mapped.memory, 0);
    *mapped.memory = 'x';
    struct stat status = {};
    ASSERT_EQ(fstat(mapped.file, &status), 0);
    EXPECT_EQ(status.st_size, 1);
}

TEST_F(MapMemory, IsSharedWithChildren) {
    const Mapped mapped = map(100);
    ASSERT_TRUE(mapped.memory);
    const pid_t child = fork();
    if (child == 0) {
        mapped.memory[99] = 'c';
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    EXPECT_EQ(mapped.memory[99], 'c');
}

TEST_F(MapMemory, GivesEachCallAMappingOfItsOwn) {
    const Mapped first = map(100), second = map(100);
    first.memory[0] = 'a';
    EXPECT_EQ(second.memory[0], 0);
}

TEST_F(MapMemory, MapsMoreThan4GiB) {
    if (sizeof(long) < 8) GTEST_SKIP() << "beyond a 32-bit address space";
    const unsigned long size = (5ul << 20 << 10) + 1;
    const Mapped mapped = map(size);
    ASSERT_TRUE(mapped.memory);
    mapped.memory[size - 1] = 'z';
    mapped.memory[size - 1 - (4ul << 20 << 10)] = 'y';
    EXPECT_EQ(mapped.memory[size - 1], 'z');
}

TEST_F(MapMemory, PutsTheLastByteBeyond2GiB) {
    std::int64_t last = 0;
    map(3000000000ul, [&](FaultySystem& system) {
        system.fail(SystemCall::mmap, 1, ENOMEM);
        system.answerBy([&](CallRecord& call) -> std::optional<std::int64_t> {
            if (call.call == SystemCall::lseek) last = call.argument;
            return {};
        });
    });
    EXPECT_EQ(last, 2999999999);
}

TEST_F(MapMemory, RefusesASizeOfNothing) {
    const Mapped mapped = map(0);
    EXPECT_EQ(mapped.memory, nullptr);
    EXPECT_EQ(withName(mapped.printed.text), "mapMemory: lseek64() failed on file: NAME   size: -1.\n");
    EXPECT_EQ(mapped.printed.unflushed, mapped.printed.text.size());
}

TEST_F(MapMemory, RefusesSizesThatNoFileHas) {
    if (sizeof(long) < 8) GTEST_SKIP() << "32-bit numbers make no such size";
    EXPECT_EQ(withName(map(ULONG_MAX).printed.text), "mapMemory: lseek64() failed on file: NAME   size: -2.\n");
    EXPECT_EQ(withName(map(1ul + LONG_MAX).printed.text),
              "mapMemory: lseek64() failed on file: NAME   size: 9223372036854775807.\n");
}

TEST_F(MapMemory, NeedsAScratchFolder) {
    const WithVariable unset(variable, nullptr);
    expectFailure(100, "mapMemory: mkstemp() failed.\n");
}

TEST_F(MapMemory, TakesAnEmptyVariableForTheRootFolder) {
    const WithVariable empty(variable, "");
    std::string path;
    const Mapped mapped = map(100, [&](FaultySystem& system) {
        system.answerBy([&](CallRecord& call) -> std::optional<std::int64_t> {
            path = call.path;
            errno = EACCES;
            return -1;
        });
    });
    EXPECT_EQ(path, "/peltaXXXXXX");
    EXPECT_EQ(mapped.printed.text, "mapMemory: mkstemp() failed.\n");
}

TEST_F(MapMemory, TakesPathsUpTo1023Bytes) {
    const std::string path = pathForNameOf(1023), longer = path + "/";
    {
        const WithVariable longest(variable, path.c_str());
        EXPECT_NE(map(100).memory, nullptr);
    }
    const WithVariable tooLong(variable, longer.c_str());
    expectFailure(100, "mapMemory: mkstemp() failed.\n");
}

TEST_F(MapMemory, SaysWhenTheScratchFolderCannotBeUsed) {
    const auto open = [] { EXPECT_EQ(mapMemory(100), nullptr); };
    EXPECT_EQ(textsOfUnusableFolders(open), std::vector<std::string>(3, "mapMemory: mkstemp() failed.\n"));
}

TEST_F(MapMemory, ReturnsNothingWhenTheDeviceIsFull) {
    const WithFileLimit limit(100000);
    const Mapped mapped = map(100001);
    EXPECT_EQ(mapped.memory, nullptr);
    EXPECT_EQ(withName(mapped.printed.text), "mapMemory: write() failed on file: NAME.\n");
}

/* What is printed when this call fails; nothing where the memory is had all the same. */
std::string failureText(SystemCall call, int error) {
    switch (call) {
        case SystemCall::mkstemp: return "mapMemory: mkstemp() failed.\n";
        case SystemCall::open:
        case SystemCall::fstat: return "mapMemory: open() failed on file: NAME.\n";
        case SystemCall::unlink: return "mapMemory: unlink() failed.\n";
        case SystemCall::lseek: return "mapMemory: lseek64() failed on file: NAME   size: 99.\n";
        case SystemCall::write: return "mapMemory: write() failed on file: NAME.\n";
        case SystemCall::mmap:
            return std::string("mapMemory: mmap64() failed on file: NAME   errno: ") + strerror(error) + ".\n";
        default: return "";
    }
}

TEST_F(MapMemory, EndsAsStatedWhicheverSystemCallFails) {
    const std::vector expected = {SystemCall::mkstemp, SystemCall::open,  SystemCall::fstat,
                                  SystemCall::fstat,   SystemCall::close, SystemCall::unlink,
                                  SystemCall::lseek,   SystemCall::write, SystemCall::mmap};
    for (const int error : {EIO, ENOSPC, EACCES, EINTR, EMFILE}) {
        for (std::size_t nth = 1; nth <= expected.size(); ++nth) {
            SCOPED_TRACE(nth);
            const Mapped mapped = map(100, [&](FaultySystem& system) { system.fail(static_cast<int>(nth), error); });
            ASSERT_GE(mapped.calls.size(), nth);
            EXPECT_EQ(mapped.calls[nth - 1], expected[nth - 1]);
            const std::string text = failureText(expected[nth - 1], error);
            EXPECT_EQ(withName(mapped.printed.text), text);
            EXPECT_EQ(mapped.printed.unflushed, mapped.printed.text.size());
            EXPECT_EQ(mapped.memory == nullptr, !text.empty());
            EXPECT_TRUE(isEmpty());
        }
    }
    EXPECT_EQ(map(100).calls, expected);
}

TEST_F(MapMemory, TakesNoByteWrittenForAFailure) {
    const Mapped mapped = map(100, [](FaultySystem& system) { system.shorten(SystemCall::write, 1, 0); });
    EXPECT_EQ(mapped.memory, nullptr);
    EXPECT_EQ(withName(mapped.printed.text), "mapMemory: write() failed on file: NAME.\n");
}

/* Between the making and the opening of a scratch file its name may be given to something else. */
TEST_F(MapMemory, DoesNotFollowALinkThatHasTakenItsName) {
    const std::string precious = elsewhere.file("precious");
    writeFile(precious, "kept");
    const std::string text = textWhenExchanged(
        SystemCall::open, [&](const std::string& name) { std::filesystem::create_symlink(precious, name); },
        [] { EXPECT_EQ(mapMemory(100), nullptr); });
    EXPECT_EQ(withName(text), "mapMemory: open() failed on file: NAME.\n");
    EXPECT_EQ(contentsOf(precious), "kept");
    EXPECT_TRUE(std::filesystem::remove(exchanged));
}

TEST_F(MapMemory, DoesNotEmptyAnotherFileThatHasTakenItsName) {
    const std::string text = textWhenExchanged(
        SystemCall::open, [](const std::string& name) { writeFile(name, "kept"); }, [] { EXPECT_EQ(mapMemory(100), nullptr); });
    EXPECT_EQ(withName(text), "mapMemory: open() failed on file: NAME.\n");
    EXPECT_EQ(contentsOf(exchanged), "kept");
    EXPECT_TRUE(std::filesystem::remove(exchanged));
}

}
