#include "support/libraryvoice.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pelta/fileio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <thread>
#include <vector>

#include "support/files.h"

using namespace pelta;

namespace {

void openWhatIsNotThere() {
    char name[] = "/nowhere/at/all";
    fileIOStruct file = {};
    file.cFileName = name;
    fileOpen(&file, 0, 0);
}

}

TEST(LibraryVoice, IsHeardWithoutSilence) { EXPECT_NE(printedBy(openWhatIsNotThere).text, ""); }

TEST(LibraryVoice, IsSilentForTheScopeOfAnObject) {
    const Printed printed = printedBy([] {
        std::printf("before ");
        {
            const LibraryVoice silent;
            openWhatIsNotThere();
        }
        std::printf("after");
    });
    EXPECT_EQ(printed.text, "before after");
}

TEST(LibraryVoice, KeepsTheErrorOfWhatFailed) {
    {
        const LibraryVoice silent;
        openWhatIsNotThere();
    }
    EXPECT_EQ(errno, ENOENT);
}

TEST(LibraryVoice, ComesBackAfterOverlappingScopesOfSeveralThreads) {
    const Printed printed = printedBy([] {
        std::vector<std::thread> threads;
        for (int k = 0; k < 4; ++k)
            threads.emplace_back([] {
                for (int i = 0; i < 500; ++i) {
                    const LibraryVoice silent;
                    const LibraryVoice nested;
                    openWhatIsNotThere();
                }
            });
        for (std::thread& thread : threads) thread.join();
        std::printf("back");
    });
    EXPECT_EQ(printed.text, "back");
}

TEST(LibraryVoice, LeavesTheRealStandardOutputToData) {
    const Printed printed = printedBy([] {
        const LibraryVoice silent;
        const int data = duplicateStandardOutput();
        ASSERT_EQ(write(data, "data", 4), 4);
        close(data);
        openWhatIsNotThere();
    });
    EXPECT_EQ(printed.text, "data");
}

TEST(LibraryVoice, OpensNoDescriptorForGood) {
    { const LibraryVoice first; }
    const int before = dup(0);
    close(before);
    for (int k = 0; k < 100; ++k) const LibraryVoice silent;
    const int after = dup(0);
    close(after);
    EXPECT_EQ(before, after);
}

TEST(StandardDescriptors, AreOccupiedWhereTheyWereClosed) {
    const pid_t child = fork();
    if (child == 0) {
        close(0);
        close(1);
        close(2);
        occupyStandardDescriptors();
        char byte;
        const bool useFails = read(0, &byte, 1) < 0 && write(1, "x", 1) < 0 && write(2, "x", 1) < 0;
        const int next = open("/dev/null", O_RDONLY);
        _exit(useFails && next > 2 ? 0 : 1);
    }
    int status;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

TEST(StandardDescriptors, StayWhatTheyAreWhenOpen) {
    const Printed printed = printedBy([] {
        occupyStandardDescriptors();
        std::printf("still here");
    });
    EXPECT_EQ(printed.text, "still here");
}
