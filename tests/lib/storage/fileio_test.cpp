#include <fcntl.h>
#include <gtest/gtest.h>
#include <pelta/fileio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <string>
#include <vector>

#include "support/faultysystem.h"
#include "support/files.h"

namespace {

enum Mode { forReading = 0, forWriting = 1 };
enum Type { descriptor = 0, stream = 1 };

std::string message(const char* action, const std::string& fileName, int error) {
    return std::string("\nError ") + action + " file: " + fileName + "\nmessage: " + strerror(error) + "\n\n";
}

class FileIO : public testing::Test {
  protected:
    void TearDown() override { fileClose(&file); }

    int open(const std::string& name, int mode, int type) {
        nameWithoutOpening(name);
        return fileOpen(&file, mode, type);
    }

    void nameWithoutOpening(const std::string& name) {
        name_ = name;
        file.cFileName = name_.data();
    }

    /* What a transfer prints that has to fail. */
    template <class Transfer>
    std::string textOfFailed(Transfer transfer) {
        int result = 0;
        const Printed printed = printedBy([&] { result = transfer(); });
        EXPECT_EQ(result, -1);
        EXPECT_EQ(printed.unflushed, 0u);
        return printed.text;
    }
    std::string textOfFailedRead() {
        char data[8];
        return textOfFailed([&] { return fileRead(&file, data, sizeof data); });
    }
    std::string textOfFailedWrite() {
        char data[] = "more";
        return textOfFailed([&] { return fileWrite(&file, data, 4); });
    }

    ScratchFolder folder;
    const std::string path = folder.file("line.dat");
    fileIOStruct file = {};

  private:
    std::string name_;
};

TEST_F(FileIO, RoundTripsBytesThroughADescriptor) {
    std::string bytes(100000, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 31);
    ASSERT_EQ(open(path, forWriting, descriptor), 1);
    EXPECT_GT(file.iFile, 0);
    EXPECT_EQ(file.fp, nullptr);
    EXPECT_EQ(fileWrite(&file, bytes.data(), bytes.size()), 100000);
    EXPECT_EQ(fileClose(&file), 1);

    std::string back(120000, '?');
    ASSERT_EQ(open(path, forReading, descriptor), 1);
    EXPECT_EQ(fileRead(&file, back.data(), 60000), 60000);
    EXPECT_EQ(fileRead(&file, back.data() + 60000, 60000), 40000);
    EXPECT_EQ(fileRead(&file, back.data(), 60000), 0);
    back.resize(100000);
    EXPECT_EQ(back, bytes);
}

TEST_F(FileIO, ReadsAStreamLineByLineWithTheLineEnds) {
    writeFile(path, "first\n\nthird line\nlast without its end");
    ASSERT_EQ(open(path, forReading, stream), 1);
    EXPECT_NE(file.fp, nullptr);
    EXPECT_EQ(file.iFile, 0);
    char line[80];
    for (const char* expected : {"first\n", "\n", "third line\n", "last without its end"}) {
        EXPECT_EQ(fileRead(&file, line, sizeof line), static_cast<int>(strlen(expected)));
        EXPECT_STREQ(line, expected);
    }
    EXPECT_EQ(fileRead(&file, line, sizeof line), 0);
    EXPECT_EQ(fileRead(&file, line, sizeof line), 0);
    EXPECT_STREQ(line, "last without its end");
}

TEST_F(FileIO, SplitsALineThatIsLongerThanTheBuffer) {
    writeFile(path, "abcdefgh\n");
    ASSERT_EQ(open(path, forReading, stream), 1);
    char line[6];
    for (const char* expected : {"abcde", "fgh\n"}) {
        EXPECT_EQ(fileRead(&file, line, 6), static_cast<int>(strlen(expected)));
        EXPECT_STREQ(line, expected);
    }
}

TEST_F(FileIO, ReadsNothingFromAStreamIntoNoRoom) {
    writeFile(path, "line\n");
    ASSERT_EQ(open(path, forReading, stream), 1);
    char line[8] = "before";
    EXPECT_EQ(fileRead(&file, line, 0), 0);
    EXPECT_STREQ(line, "before");
    EXPECT_EQ(fileRead(&file, line, 1), 0);
    EXPECT_STREQ(line, "");
    EXPECT_EQ(fileRead(&file, line, 8), 5);
}

TEST_F(FileIO, CountsALineUpToItsFirstNul) {
    writeFile(path, std::string("ab\0cd\nnext\n", 11));
    ASSERT_EQ(open(path, forReading, stream), 1);
    char line[16];
    EXPECT_EQ(fileRead(&file, line, sizeof line), 2);
    EXPECT_EQ(fileRead(&file, line, sizeof line), 5);
    EXPECT_STREQ(line, "next\n");
}

TEST_F(FileIO, TakesLineLengthsBeyondTheIntRange) {
    writeFile(path, "one\ntwo\nthree\nfour\n");
    ASSERT_EQ(open(path, forReading, stream), 1);
    char line[16];
    EXPECT_EQ(fileRead(&file, line, static_cast<unsigned long>(INT_MAX) + 1), 4);
    EXPECT_STREQ(line, "one\n");
    EXPECT_EQ(fileRead(&file, line, ULONG_MAX), 4);
    EXPECT_STREQ(line, "two\n");
    EXPECT_EQ(fileRead(&file, line, static_cast<unsigned long>(UINT_MAX - 2)), 6);
    EXPECT_STREQ(line, "three\n");
}

TEST_F(FileIO, WritesAStringToAStreamWhateverLengthIsGiven) {
    ASSERT_EQ(open(path, forWriting, stream), 1);
    char text[] = "SP 101\n", longer[] = "SP 102, longer\n";
    EXPECT_EQ(fileWrite(&file, text, 1000), 7);
    EXPECT_EQ(fileWrite(&file, longer, 0), 15);
    EXPECT_EQ(fileWrite(&file, text, 2), 7);
    EXPECT_EQ(fileClose(&file), 1);
    EXPECT_EQ(contentsOf(path), "SP 101\nSP 102, longer\nSP 101\n");
}

TEST_F(FileIO, CreatesFilesThatEverybodyMayReadAndWriteLessTheUmask) {
    const mode_t before = umask(0);
    ASSERT_EQ(open(path, forWriting, descriptor), 1);
    umask(before);
    struct stat status;
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0666u);
}

TEST_F(FileIO, LeavesTheTailOfALongerFileThatADescriptorWritesOverWhereAStreamEmptiesIt) {
    for (const auto& [type, expected] : {std::pair{descriptor, "abc3456789"}, {stream, "abc"}}) {
        writeFile(path, "0123456789");
        ASSERT_EQ(open(path, forWriting, type), 1);
        char text[] = "abc";
        EXPECT_EQ(fileWrite(&file, text, 3), 3);
        fileClose(&file);
        EXPECT_EQ(contentsOf(path), expected);
    }
}

TEST_F(FileIO, TakesAnyModeAndTypeOtherThanZero) {
    for (int type : {-1, 7, INT_MIN}) {
        ASSERT_EQ(open(path, -3, type), 1);
        EXPECT_NE(file.fp, nullptr);
        char text[] = "x";
        EXPECT_EQ(fileWrite(&file, text, 1), 1);
        fileClose(&file);
    }
}

TEST_F(FileIO, WorksBeyondTwoGigabytes) {
    constexpr off_t start = (off_t{1} << 32) + 5;
    ASSERT_EQ(open(path, forWriting, descriptor), 1);
    ASSERT_EQ(lseek(file.iFile, start, SEEK_SET), start);
    char line[16] = "beyond\n";
    EXPECT_EQ(fileWrite(&file, line, 7), 7);
    fileClose(&file);
    for (int type : {descriptor, stream}) {
        ASSERT_EQ(open(path, forReading, type), 1);
        if (file.fp) ASSERT_EQ(fseeko(file.fp, start, SEEK_SET), 0);
        else ASSERT_EQ(lseek(file.iFile, start, SEEK_SET), start);
        EXPECT_EQ(fileRead(&file, line, sizeof line), 7);
        fileClose(&file);
    }
}

TEST_F(FileIO, ReportsAFileThatCannotBeOpened) {
    for (int mode : {forReading, forWriting})
        for (int type : {descriptor, stream}) {
            const std::string missing = folder.file("no/such");
            file.iFile = 77;
            file.fp = stdin;
            int result = -1;
            const Printed printed = printedBy([&] { result = open(missing, mode, type); });
            EXPECT_EQ(result, 0);
            EXPECT_EQ(printed.text, message("opening", missing, ENOENT));
            EXPECT_EQ(printed.unflushed, 0u);
            EXPECT_EQ(file.iFile, 0);
            EXPECT_EQ(file.fp, nullptr);
        }
}

TEST_F(FileIO, DoesNotCreateAFileForReading) {
    for (int type : {descriptor, stream}) {
        printedBy([&] { EXPECT_EQ(open(path, forReading, type), 0); });
        EXPECT_NE(access(path.c_str(), F_OK), 0);
    }
}

TEST_F(FileIO, ReportsAFailedRead) {
    writeFile(path, "text\n");
    for (int type : {descriptor, stream}) {
        ASSERT_EQ(open(path, forWriting, type), 1);
        EXPECT_EQ(textOfFailedRead(), message("reading", path, EBADF));
        fileClose(&file);
    }
}

TEST_F(FileIO, ReportsAFailedReadOfADirectory) {
    const std::string name = folder.path().string();
    for (int type : {descriptor, stream}) {
        ASSERT_EQ(open(name, forReading, type), 1);
        EXPECT_EQ(textOfFailedRead(), message("reading", name, EISDIR));
        fileClose(&file);
    }
}

TEST_F(FileIO, ReportsAFailedWrite) {
    writeFile(path, "text\n");
    for (int type : {descriptor, stream}) {
        ASSERT_EQ(open(path, forReading, type), 1);
        EXPECT_EQ(textOfFailedWrite(), message("writing", path, EBADF));
        fileClose(&file);
    }
}

TEST_F(FileIO, ReportsAFullDevice) {
    ASSERT_EQ(open("/dev/full", forWriting, descriptor), 1);
    EXPECT_EQ(textOfFailedWrite(), message("writing", "/dev/full", ENOSPC));
}

TEST_F(FileIO, CountsWritingNothingAsAFailure) {
    for (int type : {descriptor, stream}) {
        ASSERT_EQ(open(path, forWriting, type), 1);
        char empty[] = "";
        int result = -1;
        const Printed printed = printedBy([&] {
            errno = EAGAIN;  // nothing failed: the text is that of whatever failed last
            result = fileWrite(&file, empty, 0);
        });
        EXPECT_EQ(result, 0);
        EXPECT_EQ(printed.text, message("writing", path, EAGAIN));
        EXPECT_EQ(printed.unflushed, 0u);
        fileClose(&file);
    }
}

TEST_F(FileIO, ReturnsAnErrorWhenNothingIsOpen) {
    nameWithoutOpening(path);
    char data[] = "kept";
    EXPECT_EQ(textOfFailed([&] { return fileRead(&file, data, 4); }), message("reading", path, EBADF));
    EXPECT_STREQ(data, "kept");
    EXPECT_EQ(textOfFailedWrite(), message("writing", path, EBADF));
    fileFlush(&file);
    EXPECT_EQ(fileClose(&file), 1);
    EXPECT_EQ(fileClose(&file), 1);
}

TEST_F(FileIO, ClosesWhatIsOpen) {
    writeFile(path, "text");
    ASSERT_EQ(open(path, forReading, descriptor), 1);
    const int number = file.iFile;
    EXPECT_EQ(fileClose(&file), 1);
    EXPECT_EQ(file.iFile, 0);
    EXPECT_EQ(fcntl(number, F_GETFD), -1);

    ASSERT_EQ(open(path, forReading, stream), 1);
    const int streamNumber = fileno(file.fp);
    EXPECT_EQ(fileClose(&file), 1);
    EXPECT_EQ(file.fp, nullptr);
    EXPECT_EQ(fcntl(streamNumber, F_GETFD), -1);
}

TEST_F(FileIO, TreatsDescriptorZeroAsNotOpenAndDoesNotLeaveItOpen) {
    writeFile(path, "text");
    int result = -1, zeroIsOpen = -1;
    // The capture's own file must not get number 0, so it is there first.
    const Printed printed = printedBy([&] {
        withoutStandardInput([&] {
            result = open(path, forReading, descriptor);
            zeroIsOpen = fcntl(0, F_GETFD) != -1;
        });
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(zeroIsOpen, 0);
    EXPECT_EQ(file.iFile, 0);
    EXPECT_EQ(printed.text, message("opening", path, EBADF));
}

TEST_F(FileIO, LeavesAnOpenStandardInputAloneWhenNothingIsOpen) {
    withoutStandardInput([&] {
        writeFile(path, "text");
        const int zero = ::open(path.c_str(), O_RDWR);
        nameWithoutOpening(path);
        textOfFailedRead();
        textOfFailedWrite();
        const FaultySystem system;
        fileFlush(&file);
        EXPECT_EQ(fileClose(&file), 1);
        EXPECT_NE(fcntl(zero, F_GETFD), -1);
        EXPECT_TRUE(system.calls().empty());
    });
    EXPECT_EQ(contentsOf(path), "text");
}

TEST_F(FileIO, UsesTheDescriptorWhenARecordHoldsBoth) {
    writeFile(path, "from the descriptor");
    ASSERT_EQ(open(path, forReading, descriptor), 1);
    file.fp = fopen("/dev/null", "r");
    char data[32];
    EXPECT_EQ(fileRead(&file, data, 4), 4);
    fileClose(&file);
    EXPECT_NE(file.fp, nullptr);
    fileClose(&file);
    EXPECT_EQ(file.fp, nullptr);
}

TEST_F(FileIO, FlushesAStream) {
    ASSERT_EQ(open(path, forWriting, stream), 1);
    char text[] = "buffered";
    EXPECT_EQ(fileWrite(&file, text, 8), 8);
    EXPECT_EQ(contentsOf(path), "");
    fileFlush(&file);
    EXPECT_EQ(contentsOf(path), "buffered");
}

TEST_F(FileIO, IssuesDeviceControlRequestTwoOnADescriptor) {
    ASSERT_EQ(open(path, forWriting, descriptor), 1);
    const FaultySystem system;
    fileFlush(&file);
    ASSERT_EQ(system.calls().size(), 1u);
    const CallRecord& control = system.calls().front();
    EXPECT_EQ(control.call, SystemCall::ioctl);
    EXPECT_EQ(control.descriptor, file.iFile);
    EXPECT_EQ(control.argument, 2);
    EXPECT_EQ(control.data, nullptr);
}

/* The lengths that the transfers of one kind asked for. */
std::vector<std::int64_t> lengthsAsked(const FaultySystem& system, SystemCall transfer) {
    std::vector<std::int64_t> lengths;
    for (const CallRecord& call : system.calls())
        if (call.call == transfer) lengths.push_back(call.argument);
    return lengths;
}

TEST_F(FileIO, ReadsOnceAndReturnsWhatCame) {
    writeFile(path, "abcdef");
    ASSERT_EQ(open(path, forReading, descriptor), 1);
    FaultySystem system;
    system.shorten(SystemCall::read, 1, 3);
    char data[8];
    EXPECT_EQ(fileRead(&file, data, 8), 3);
    EXPECT_EQ(lengthsAsked(system, SystemCall::read), std::vector<std::int64_t>{8});
}

TEST_F(FileIO, BeginsAgainAfterASignal) {
    writeFile(path, "text");
    FaultySystem system;
    for (int nth : {1, 2, 4}) system.fail(SystemCall::open, nth, EINTR);
    for (int nth : {1, 2, 3}) system.fail(SystemCall::read, nth, EINTR);
    for (int nth : {1, 2}) system.fail(SystemCall::write, nth, EINTR);
    system.fail(SystemCall::fopen, 1, EINTR);
    char data[8] = {};
    ASSERT_EQ(open(path, forReading, descriptor), 1);
    EXPECT_EQ(fileRead(&file, data, 8), 4);
    fileClose(&file);
    ASSERT_EQ(open(path, forWriting, descriptor), 1);
    EXPECT_EQ(fileWrite(&file, data, 4), 4);
    fileClose(&file);
    ASSERT_EQ(open(path, forReading, stream), 1);
    EXPECT_EQ(fileRead(&file, data, 8), 4);
    EXPECT_TRUE(system.allFaultsMet());
    EXPECT_EQ(lengthsAsked(system, SystemCall::read), (std::vector<std::int64_t>{8, 8, 8, 8}));
    EXPECT_EQ(lengthsAsked(system, SystemCall::write), (std::vector<std::int64_t>{4, 4, 4}));
}

TEST_F(FileIO, WritesOnAfterAShortTransfer) {
    ASSERT_EQ(open(path, forWriting, descriptor), 1);
    char data[] = "0123456789";
    {
        FaultySystem system;
        for (int nth : {1, 2}) system.shorten(SystemCall::write, nth, 4);
        EXPECT_EQ(fileWrite(&file, data, 10), 10);
        EXPECT_EQ(lengthsAsked(system, SystemCall::write), (std::vector<std::int64_t>{10, 6, 2}));
    }
    fileClose(&file);
    EXPECT_EQ(contentsOf(path), "0123456789");
}

TEST_F(FileIO, SaysWhichCallFailedAndLosesNothing) {
    char data[16] = "new";
    const std::string contents = "text of before";
    for (int error : {EIO, ENOSPC, EACCES}) {
        writeFile(path, contents);
        const std::set<int> before = openDescriptors();
        const Printed printed = printedBy([&] {
            FaultySystem system;
            system.fail(SystemCall::open, 1, error);
            system.fail(SystemCall::fopen, 1, error);
            system.fail(SystemCall::read, 1, error);
            system.fail(SystemCall::write, 1, error);
            system.fail(SystemCall::ioctl, 1, error);
            system.fail(SystemCall::close, 2, error);
            EXPECT_EQ(open(path, forWriting, descriptor), 0);
            EXPECT_EQ(open(path, forReading, stream), 0);
            EXPECT_EQ(open(path, forReading, descriptor), 1);
            EXPECT_EQ(fileRead(&file, data, 8), -1);
            EXPECT_EQ(fileRead(&file, data, 8), 8) << "the error moved nothing";
            EXPECT_EQ(fileClose(&file), 1);
            EXPECT_EQ(open(path, forWriting, descriptor), 1);
            EXPECT_EQ(fileWrite(&file, data, 3), -1);
            fileFlush(&file);
            EXPECT_EQ(fileClose(&file), 1);
            EXPECT_EQ(file.iFile, 0);
            EXPECT_TRUE(system.allFaultsMet());
        });
        EXPECT_EQ(printed.text, message("opening", path, error) + message("opening", path, error) +
                                    message("reading", path, error) + message("writing", path, error));
        EXPECT_EQ(printed.unflushed, 0u);
        EXPECT_EQ(contentsOf(path), contents);
        EXPECT_EQ(openDescriptors(), before);
    }
}

/* A stream whose bytes come piece by piece; an empty piece is an error. */
class PiecewiseStream {
  public:
    PiecewiseStream(std::vector<std::string> pieces, int error) : pieces_(std::move(pieces)), error_(error) {}
    std::FILE* open() { return fopencookie(this, "r", {.read = next, .write = nullptr, .seek = nullptr, .close = nullptr}); }

  private:
    static ssize_t next(void* self, char* bytes, std::size_t room) {
        auto& [pieces, error, at] = *static_cast<PiecewiseStream*>(self);
        if (at == pieces.size()) return 0;
        const std::string& piece = pieces[at++];
        if (piece.empty()) return errno = error, -1;
        return static_cast<ssize_t>(piece.copy(bytes, room));
    }

    std::vector<std::string> pieces_;
    int error_;
    std::size_t at_ = 0;
};

TEST_F(FileIO, ReadsALineOnAfterASignal) {
    PiecewiseStream pieces({"", "first", "", "", " line\nsec", "ond", ""}, EINTR);
    file.fp = pieces.open();
    char line[32];
    for (const char* expected : {"first line\n", "second"}) {
        EXPECT_EQ(fileRead(&file, line, sizeof line), static_cast<int>(strlen(expected)));
        EXPECT_STREQ(line, expected);
    }
    EXPECT_EQ(fileRead(&file, line, sizeof line), 0);
}

TEST_F(FileIO, ReportsALineThatBreaksOffAndReadsOnBehindIt) {
    nameWithoutOpening(path);
    PiecewiseStream pieces({"first\nsec", "", "ond\n", "third\n"}, EIO);
    file.fp = pieces.open();
    char line[32];
    EXPECT_EQ(fileRead(&file, line, sizeof line), 6);
    EXPECT_EQ(textOfFailed([&] { return fileRead(&file, line, sizeof line); }), message("reading", path, EIO));
    EXPECT_EQ(fileRead(&file, line, sizeof line), 4);
    EXPECT_STREQ(line, "ond\n");
    EXPECT_EQ(fileRead(&file, line, sizeof line), 6);
    EXPECT_EQ(fileRead(&file, line, sizeof line), 0);
}

TEST_F(FileIO, ReturnsWhatFittedWhenTheRestCouldNotBeWritten) {
    ASSERT_EQ(open(path, forWriting, descriptor), 1);
    char data[] = "0123456789";
    int first = 0, second = 0;
    const Printed printed = printedBy([&] {
        const WithFileLimit limit(6);  // also limits the file that captures the output, so nothing may be printed yet
        first = fileWrite(&file, data, 10);
    });
    EXPECT_EQ(first, 6);
    EXPECT_EQ(printed.text, "");
    const Printed refused = printedBy([&] {
        FaultySystem system;
        system.shorten(SystemCall::write, 1, 0);  // a device that takes nothing more
        second = fileWrite(&file, data, 10);
    });
    EXPECT_EQ(second, 0);
    EXPECT_NE(refused.text.find("\nError writing file: " + path + "\n"), std::string::npos);
}

TEST_F(FileIO, NeverAsksForMoreThanAResultCanCount) {
    ASSERT_EQ(open(path, forWriting, descriptor), 1);
    char data[] = "abcdef";
    FaultySystem system;
    system.shorten(SystemCall::write, 1, 3);  // what is asked for is never touched beyond these bytes
    system.fail(SystemCall::write, 2, EIO);
    EXPECT_EQ(fileWrite(&file, data, ULONG_MAX), 3);
    EXPECT_EQ(lengthsAsked(system, SystemCall::write), (std::vector<std::int64_t>{2147479552u, 2147479549u}));
}

}
