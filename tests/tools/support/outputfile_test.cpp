#include "support/outputfile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "support/complaint.h"
#include "support/failure.h"
#include "support/files.h"

using namespace pelta;

namespace {

std::string refusalOf(const std::string& name, bool overwrite) {
    return complaintOf<Failure>([&] {
        OutputFile file(name, overwrite);
        file.write("new");
        file.commit();
    });
}

mode_t modeOf(const std::string& name) {
    struct stat status = {};
    stat(name.c_str(), &status);
    return status.st_mode & 07777;
}

/* Runs work in a process of its own, which it leaves by its own will with the status given. */
template <class Work>
int waitStatusOf(Work work) {
    const pid_t child = fork();
    if (child == 0) _exit(work());
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

}

TEST(OutputFile, StandsUnderItsNameOnlyAfterCommit) {
    const ScratchFolder folder;
    const std::string name = folder.file("out");
    OutputFile file(name, false);
    const std::string temporary = std::filesystem::directory_iterator(folder.path())->path();
    EXPECT_NE(temporary, name) << "in the same folder";
    file.write("first ");
    file.write("second", 6);
    EXPECT_FALSE(std::filesystem::exists(name));
    EXPECT_EQ(contentsOf(temporary), "first second");
    file.commit();
    EXPECT_EQ(contentsOf(name), "first second");
    EXPECT_FALSE(std::filesystem::exists(temporary));
}

TEST(OutputFile, LeavesNothingBehindWithoutCommit) {
    const ScratchFolder folder;
    { OutputFile(folder.file("out"), false).write("half"); }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(OutputFile, ReplacesAnExistingFileOnlyWhenTold) {
    const ScratchFolder folder;
    const std::string name = folder.file("out");
    writeFile(name, "old");
    EXPECT_EQ(refusalOf(name, false), name + ": exists already; --overwrite replaces it");
    EXPECT_EQ(contentsOf(name), "old");
    EXPECT_EQ(refusalOf(name, true), "");
    EXPECT_EQ(contentsOf(name), "new");
}

TEST(OutputFile, KeepsTheOldFileUntilCommit) {
    const ScratchFolder folder;
    const std::string name = folder.file("out");
    writeFile(name, "old");
    { OutputFile(name, true).write("half"); }
    EXPECT_EQ(contentsOf(name), "old");
}

TEST(OutputFile, DoesNotReplaceAFileThatAppearedMeanwhile) {
    const ScratchFolder folder;
    const std::string name = folder.file("out");
    OutputFile file(name, false);
    writeFile(name, "other");
    EXPECT_THROW(file.commit(), Failure);
    EXPECT_EQ(contentsOf(name), "other");
}

TEST(OutputFile, RefusesTwoOutputsOfOneName) {
    const ScratchFolder folder;
    const OutputFile first(folder.file("out"), true);
    EXPECT_EQ(refusalOf(folder.file("./out"), true),
              folder.file("./out") + ": two outputs have this name; choose another for one of them");
}

TEST(OutputFile, RefusesFoldersAndNamesInNoFolder) {
    const ScratchFolder folder;
    EXPECT_EQ(refusalOf(folder.path().string(), true), folder.path().string() + ": is a folder; give the name of a file");
    EXPECT_NE(refusalOf(folder.file("no/out"), true).find("No such file or directory"), std::string::npos);
    EXPECT_THROW(OutputFile("", false), UsageError);
}

TEST(OutputFile, WritesThroughASymbolicLink) {
    const ScratchFolder folder;
    writeFile(folder.file("target"), "old");
    std::filesystem::create_symlink("target", folder.file("link"));
    EXPECT_EQ(refusalOf(folder.file("link"), true), "");
    EXPECT_TRUE(std::filesystem::is_symlink(folder.file("link")));
    EXPECT_EQ(contentsOf(folder.file("target")), "new");
}

TEST(OutputFile, HasTheModeOfANewFileOrOfTheOneItReplaces) {
    const ScratchFolder folder;
    const mode_t before = umask(027);
    refusalOf(folder.file("fresh"), false);
    EXPECT_EQ(modeOf(folder.file("fresh")), 0640u);
    writeFile(folder.file("old"), "old");
    chmod(folder.file("old").c_str(), 0604);
    refusalOf(folder.file("old"), true);
    EXPECT_EQ(modeOf(folder.file("old")), 0604u);
    umask(before);
}

TEST(OutputFile, GoesToDevicesDirectly) {
    EXPECT_EQ(refusalOf("/dev/null", false), "");
    struct stat status = {};
    ASSERT_EQ(stat("/dev/null", &status), 0);
    EXPECT_TRUE(S_ISCHR(status.st_mode));
}

TEST(OutputFile, SaysWhereWritingFailedAndNothingElse) {
    std::string failure;
    const Printed printed = printedBy([&] { failure = refusalOf("/dev/full", false); });
    EXPECT_EQ(failure, "/dev/full: cannot write at byte 1: No space left on device");
    EXPECT_EQ(printed.text, "");
}

TEST(OutputFile, NamedDashIsStandardOutput) {
    std::string text;
    const Printed printed = printedBy([] {
        OutputFile file("-", false);
        file.write("data");
        file.commit();
    });
    EXPECT_EQ(printed.text, "data");
}

TEST(OutputFile, RefusesTheFileOfAnInput) {
    const ScratchFolder folder;
    writeFile(folder.file("in"), "precious");
    const int descriptor = open(folder.file("in").c_str(), O_RDONLY);
    {
        const ProtectedInput input(descriptor);
        EXPECT_EQ(refusalOf(folder.file("in"), true),
                  folder.file("in") + ": is the input itself; choose another name for the output");
        EXPECT_EQ(contentsOf(folder.file("in")), "precious");
    }
    close(descriptor);
    EXPECT_EQ(refusalOf(folder.file("in"), true), "");
}

TEST(Signals, RemoveUnfinishedFilesAndEndTheProcess) {
    for (const int signalNumber : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        const ScratchFolder folder;
        const int status = waitStatusOf([&] {
            signal(signalNumber, SIG_DFL);  // the tests may run as a job in the background, which ignores SIGINT
            removeUnfinishedFilesOnSignals();
            OutputFile first(folder.file("a"), false), second(folder.file("b"), false);
            first.write("half");
            raise(signalNumber);
            return 0;
        });
        ASSERT_TRUE(WIFSIGNALED(status));
        EXPECT_EQ(WTERMSIG(status), signalNumber);
        EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    }
}

TEST(Signals, LeaveFinishedFilesAlone) {
    const ScratchFolder folder;
    waitStatusOf([&] {
        removeUnfinishedFilesOnSignals();
        OutputFile file(folder.file("a"), false);
        file.write("whole");
        file.commit();
        raise(SIGTERM);
        return 0;
    });
    EXPECT_EQ(contentsOf(folder.file("a")), "whole");
}

TEST(Signals, ThatWereIgnoredStayIgnored) {
    const ScratchFolder folder;
    const int status = waitStatusOf([&] {
        signal(SIGHUP, SIG_IGN);
        removeUnfinishedFilesOnSignals();
        raise(SIGHUP);
        return 7;
    });
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 7);
}

TEST(Signals, OfASizeLimitBecomeAFailedWrite) {
    const ScratchFolder folder;
    const int status = waitStatusOf([&] {
        removeUnfinishedFilesOnSignals();
        const rlimit limit = {1000, 1000};
        setrlimit(RLIMIT_FSIZE, &limit);
        try {
            OutputFile(folder.file("out"), false).write(std::string(5000, 'x'));
        } catch (const Failure& failure) {
            return std::string(failure.what()).ends_with("cannot write at byte 1001: File too large") ? 7 : 1;
        }
        return 2;
    });
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 7);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}
