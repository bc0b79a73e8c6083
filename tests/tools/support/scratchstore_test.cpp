#include "support/scratchstore.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include "support/complaint.h"
#include "support/failure.h"
#include "support/files.h"

using namespace pelta;

namespace {

constexpr const char* variable = "PROMAX_SCRATCH_HOME";

const unsigned char* bytesOf(const std::string& text) { return reinterpret_cast<const unsigned char*>(text.data()); }

std::string readFrom(ScratchStore& store, std::uint64_t position, std::size_t count) {
    std::string text(count, '\0');
    store.read(position, reinterpret_cast<unsigned char*>(text.data()), count);
    return text;
}

bool isEmpty(const ScratchFolder& folder) { return std::filesystem::is_empty(folder.path()); }

}

TEST(ScratchPlace, IsTheFolderOfTheVariable) {
    const WithVariable set(variable, "/some/where");
    const ScratchPlace place("out.sgy");
    EXPECT_EQ(place.name, "/some/where");
    EXPECT_TRUE(place.isNamed);
}

TEST(ScratchPlace, IsBesideTheOutputWhereTheVariableIsUnsetOrEmpty) {
    const ScratchFolder folder;
    for (const char* value : {static_cast<const char*>(nullptr), ""}) {
        const WithVariable unset(variable, value);
        const ScratchPlace place(folder.file("out.sgy"));
        EXPECT_EQ(place.name, folder.path().string());
        EXPECT_FALSE(place.isNamed);
        EXPECT_STREQ(getenv(variable), folder.path().c_str());
    }
    const WithVariable unset(variable, nullptr);
    EXPECT_EQ(ScratchPlace("out.sgy").name, std::filesystem::current_path().string());
}

TEST(ScratchPlace, IsTheTemporaryFolderForStandardOutputAndDevices) {
    const ScratchFolder folder;
    const WithVariable temporary("TMPDIR", folder.path().c_str());
    for (const char* output : {"-", "/dev/null"}) {
        const WithVariable unset(variable, nullptr);
        EXPECT_EQ(ScratchPlace(output).name, folder.path().string());
    }
    const WithVariable nowhere("TMPDIR", folder.file("missing").c_str());
    const WithVariable unset(variable, nullptr);
    EXPECT_EQ(ScratchPlace("-").name, "/tmp");
}

TEST(ScratchStore, GivesBackWhatWasWrittenAcrossBlocksAndLeavesNothing) {
    const ScratchFolder folder;
    const WithVariable set(variable, folder.path().c_str());
    const Printed printed = printedBy([&] {
        ScratchStore store(ScratchPlace("-"), 7, 0);
        store.write(0, bytesOf("abcdefghijklmnopqrstuvwxyz"), 26);
        store.write(26, bytesOf("0123456789"), 10);
        store.write(5, bytesOf("FGHIJ"), 5);
        EXPECT_EQ(readFrom(store, 0, 36), "abcdeFGHIJklmnopqrstuvwxyz0123456789");
        EXPECT_EQ(readFrom(store, 13, 3), "nop");
        EXPECT_EQ(readFrom(store, 35, 1), "9");
        EXPECT_TRUE(isEmpty(folder));
    });
    EXPECT_EQ(printed.text, "");
    EXPECT_TRUE(isEmpty(folder));
}

TEST(ScratchStore, ReachesBeyond4GiB) {
    const ScratchFolder folder;
    const WithVariable set(variable, folder.path().c_str());
    ScratchStore store(ScratchPlace("-"), 1000, 0);
    const std::uint64_t far = (std::uint64_t{5} << 30) + 123;
    store.write(far, bytesOf("far"), 3);
    EXPECT_EQ(readFrom(store, far, 3), "far");
}

TEST(ScratchStore, SaysWhenNoFileCanBeMade) {
    const ScratchFolder folder;
    const std::string missing = folder.file("missing");
    const WithVariable set(variable, missing.c_str());
    std::string failure;
    const Printed printed = printedBy([&] { failure = complaintOf<Failure>([] { ScratchStore(ScratchPlace("-"), 100, 0); }); });
    EXPECT_EQ(failure, "scratch folder " + missing +
                           ": cannot make a file there: No such file or directory; PROMAX_SCRATCH_HOME names another");
    EXPECT_EQ(printed.text, "");
}

TEST(ScratchStore, SaysBeforehandWhenTheFolderHasNoRoom) {
    const ScratchFolder folder;
    const WithVariable set(variable, folder.path().c_str());
    const std::string failure = complaintOf<Failure>([] { ScratchStore(ScratchPlace("-"), 100, std::uint64_t{1} << 62); });
    EXPECT_EQ(failure.find("scratch folder " + folder.path().string() + ": has "), 0u) << failure;
    EXPECT_NE(failure.find(" MB free and 4398046511104 are needed; PROMAX_SCRATCH_HOME names another"), std::string::npos)
        << failure;
    EXPECT_TRUE(isEmpty(folder));
}

TEST(ScratchStore, SaysWhenItCannotGrow) {
    const ScratchFolder folder;
    const WithVariable set(variable, folder.path().c_str());
    rlimit before;
    getrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {3 << 20, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    const std::string megabyte(1 << 20, 'x');
    std::string failure;
    {
        ScratchStore store(ScratchPlace("-"), 100 << 20, 0);
        failure = complaintOf<Failure>([&] {
            for (std::uint64_t k = 0; k < 5; ++k) store.write(k << 20, bytesOf(megabyte), megabyte.size());
        });
    }
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(failure, "scratch folder " + folder.path().string() +
                           ": cannot hold more than 3 MB: File too large; PROMAX_SCRATCH_HOME names another");
    EXPECT_TRUE(isEmpty(folder));
}

TEST(ScratchStore, SaysWhenItCannotBeRead) {
    const ScratchFolder folder;
    const WithVariable set(variable, folder.path().c_str());
    ScratchStore store(ScratchPlace("-"), 100, 0);
    store.write(0, bytesOf("abc"), 3);
    EXPECT_EQ(complaintOf<Failure>([&] { readFrom(store, 0, 4); }),
              "scratch folder " + folder.path().string() + ": cannot be read at 0 MB: Input/output error");
}
