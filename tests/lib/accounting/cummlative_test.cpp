#include <fcntl.h>
#include <gtest/gtest.h>
#include <pelta/cummlative.h>
#include <pelta/host.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "support/faultysystem.h"
#include "support/files.h"
#include "support/plainledger.h"

/* The library's clock is this program's: 0 is the real time. */
namespace {
time_t presentTime = 0;
}

extern "C" __attribute__((visibility("default"))) time_t time(time_t* result) noexcept {
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    const time_t seconds = presentTime != 0 ? presentTime : now.tv_sec;
    if (result) *result = seconds;
    return seconds;
}

namespace {

constexpr char openingError[] = "initCummlative: Error while trying to open cummlative file.\n";
constexpr char seekError[] = "\nCummlative: Error while trying to lseek64.\n";
constexpr char writeError[] = "\nCummlative: Error while trying to write.\n";

std::string repeated(const std::string& text, int count) {
    std::string all;
    for (int k = 0; k < count; ++k) all += text;
    return all;
}

/* The local time's noon on a day, month from 1. */
time_t noon(int year, int month, int day) {
    tm local = {};
    local.tm_year = year - 1900;
    local.tm_mon = month - 1;
    local.tm_mday = day;
    local.tm_hour = 12;
    local.tm_isdst = -1;
    return mktime(&local);
}

/* Leaves out what waits for the disk. */
class WithoutDisk : public FaultySystem {
  public:
    WithoutDisk() {
        answerBy([](CallRecord& call) -> std::optional<long> {
            if (call.call == SystemCall::open) call.argument &= ~O_DSYNC;
            if (call.call == SystemCall::fsync) return 0;
            return {};
        });
    }
};

class Cummlative : public testing::Test {
  protected:
    void SetUp() override {
        presentTime = noon(2026, 1, 15);
        std::filesystem::create_directories(folder.path() / "linux/lib");
        setHostTexts("north", "L101");
    }
    void TearDown() override {
        presentTime = 0;
        *globalChar = {};
    }

    static void setHostTexts(const char* area, const char* line) {
        *globalChar = {};
        memcpy(globalChar->carea, area, std::min(strlen(area), sizeof globalChar->carea));
        memcpy(globalChar->cline, line, std::min(strlen(line), sizeof globalChar->cline));
    }

    int run(std::string process, long traces) { return runCummlative(process.data(), traces); }

    Printed print(std::string user, std::string process, int year, int month, int expected = 1) {
        int result = -1;
        Printed printed = printedBy([&] { result = printCummlative(user.data(), process.data(), year, month); });
        EXPECT_EQ(result, expected);
        return printed;
    }

    /* What stands before the records. */
    std::string heading() const {
        return "initCummlative=" + ledger +
               "\ninitCummlative stat file size=" + std::to_string(std::filesystem::file_size(ledger)) + "\n";
    }

    ScratchFolder folder;
    const std::string ledger = folder.file("linux/lib/libCumm.so");
    WithVariable withHome{"PELTA_HOME", folder.path().c_str()};
    WithVariable withUser{"LOGNAME", "alice"};
    WithVariable withZone{"TZ", "UTC0"};
};

TEST_F(Cummlative, CountsTheTracesOfAMonthInOneRecord) {
    EXPECT_EQ(run("nmo", 1000), 1);
    EXPECT_EQ(contentsOf(ledger), record("alice north L101 nmo 126 0 1000"));
    EXPECT_EQ(run("nmo", 234), 1);
    EXPECT_EQ(contentsOf(ledger), record("alice north L101 nmo 126 0 1234"));
    EXPECT_EQ(print("", "", 0, 0).text,
              heading() +
                  "User:       alice  Process:         nmo  Area:       north  Line:        L101  Year: 126  Month:    0  "
                  "Num Traces: 1234\n");
}

TEST_F(Cummlative, AppendsARecordForEveryOtherNameAndMonth) {
    const auto file = [&] { return contentsOf(ledger); };
    run("nmo", 1);
    std::string expected = record("alice north L101 nmo 126 0 1");
    run("agc", 2);
    EXPECT_EQ(file(), expected += record("alice north L101 agc 126 0 2"));
    setHostTexts("south", "L101");
    run("nmo", 3);
    EXPECT_EQ(file(), expected += record("alice south L101 nmo 126 0 3"));
    setHostTexts("north", "L102");
    run("nmo", 4);
    EXPECT_EQ(file(), expected += record("alice north L102 nmo 126 0 4"));
    setHostTexts("north", "L101");
    {
        WithVariable bob("LOGNAME", "bob");
        run("nmo", 5);
    }
    EXPECT_EQ(file(), expected += record("bob north L101 nmo 126 0 5"));
    presentTime = noon(2026, 2, 1);
    run("nmo", 6);
    EXPECT_EQ(file(), expected += record("alice north L101 nmo 126 1 6"));
    presentTime = noon(2027, 1, 1);
    run("nmo", 7);
    EXPECT_EQ(file(), expected += record("alice north L101 nmo 127 0 7"));
    presentTime = noon(2026, 1, 31);
    run("nmo", 10);
    EXPECT_EQ(file(), expected.replace(0, recordLength, record("alice north L101 nmo 126 0 11")));
}

TEST_F(Cummlative, StoresTheLocalTimesYearFrom1900AndMonthFrom0) {
    presentTime = noon(1999, 12, 31);
    run("nmo", 1);
    EXPECT_EQ(contentsOf(ledger), record("alice north L101 nmo 99 11 1"));
    presentTime = noon(2026, 1, 1) - 12 * 3600 + 1800;  // half past midnight here, last year further west
    WithVariable west("TZ", "WEST3");
    run("nmo", 2);
    EXPECT_EQ(contentsOf(ledger), record("alice north L101 nmo 99 11 1") + record("alice north L101 nmo 125 11 2"));
}

TEST_F(Cummlative, StoresTheTimeOfTheCall) {
    presentTime = 0;
    tm before, after;
    time_t now;
    do {  // once more should a month begin in between
        std::filesystem::remove(ledger);
        localtime_r(&(now = time(nullptr)), &before);
        run("nmo", 1);
        localtime_r(&(now = time(nullptr)), &after);
    } while (before.tm_mon != after.tm_mon);
    EXPECT_EQ(contentsOf(ledger),
              record("alice north L101 nmo " + std::to_string(before.tm_year) + " " + std::to_string(before.tm_mon) + " 1"));
}

TEST_F(Cummlative, TakesPromaxHomeWhenPeltaHomeIsUnset) {
    WithVariable unset("PELTA_HOME", nullptr);
    WithVariable promax("PROMAX_HOME", folder.path().c_str());
    EXPECT_EQ(run("nmo", 1), 1);
    EXPECT_EQ(contentsOf(ledger), record("alice north L101 nmo 126 0 1"));
}

TEST_F(Cummlative, TakesAnEmptyPeltaHomeForSet) {
    WithVariable empty("PELTA_HOME", "");
    WithVariable promax("PROMAX_HOME", folder.path().c_str());
    int result = -1;
    const Printed printed = printedBy([&] { result = initCummlative(1); });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(printed.text, "initCummlative=/linux/lib/libCumm.so\n" + repeated(openingError, 10));
    EXPECT_FALSE(std::filesystem::exists(ledger));
}

TEST_F(Cummlative, RecordsNothingWhereNoHomeIsSet) {
    WithVariable unset("PELTA_HOME", nullptr);
    WithVariable promaxUnset("PROMAX_HOME", nullptr);
    int results[3] = {-1, -1, -1};
    char empty[] = "";
    const Printed printed = printedBy([&] {
        results[0] = initCummlative(1);
        results[1] = run("nmo", 1);
        results[2] = printCummlative(empty, empty, 0, 0);
    });
    EXPECT_EQ(std::vector<int>(results, results + 3), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(printed.text, "");
}

TEST_F(Cummlative, RecordsNothingForNoUser) {
    WithVariable nobody("LOGNAME", nullptr);
    const Printed printed = printedBy([&] { EXPECT_EQ(run("nmo", 1), 0); });
    EXPECT_EQ(printed.text, "");
    EXPECT_FALSE(std::filesystem::exists(ledger));
    writeFile(ledger, record("alice north L101 nmo 126 0 1"));
    EXPECT_NE(print("", "", 0, 0).text, heading()) << "printing needs no user";
}

TEST_F(Cummlative, OpensTheLedgerAndSaysSoWhenAsked) {
    writeFile(ledger, std::string(300, 'x'));
    int result = -1;
    Printed printed = printedBy([&] { result = initCummlative(0); });
    EXPECT_GT(result, 0);
    EXPECT_EQ(printed.text, "");
    const int flags = fcntl(result, F_GETFL);
    EXPECT_EQ(flags & O_ACCMODE, O_RDWR);
    EXPECT_EQ(flags & O_SYNC, O_DSYNC);
    EXPECT_EQ(lseek(result, 0, SEEK_CUR), 0);
    close(result);

    printed = printedBy([&] { result = initCummlative(-5); });
    EXPECT_GT(result, 0);
    EXPECT_EQ(printed.text, heading());
    EXPECT_EQ(printed.unflushed, 0u);
    close(result);
}

TEST_F(Cummlative, PrintsTheSizeAsAnIntInBothWordSizes) {
    writeFile(ledger, "");
    std::filesystem::resize_file(ledger, (std::uintmax_t{1} << 32) + 118);
    int result = -1;
    const Printed printed = printedBy([&] { result = initCummlative(1); });
    EXPECT_GT(result, 0);
    EXPECT_EQ(printed.text, "initCummlative=" + ledger + "\ninitCummlative stat file size=118\n");
    close(result);
}

TEST_F(Cummlative, CreatesTheLedgerForEverybodyLessTheUmask) {
    const mode_t before = umask(0);
    const int result = initCummlative(0);
    umask(before);
    struct stat status;
    ASSERT_EQ(fstat(result, &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0777u);
    close(result);
}

TEST_F(Cummlative, TriesTenTimesToOpenTheLedger) {
    std::filesystem::remove(folder.path() / "linux/lib");
    int result = -1;
    Printed printed = printedBy([&] { result = initCummlative(0); });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(printed.text, repeated(openingError, 10));
    EXPECT_EQ(printed.unflushed, 0u);

    printed = printedBy([&] { result = run("nmo", 1); });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(printed.text, repeated(openingError, 10));

    printed = print("", "", 0, 0, 0);
    EXPECT_EQ(printed.text, "initCummlative=" + ledger + "\n" + repeated(openingError, 10));
}

TEST_F(Cummlative, RefusesAPathThatIsTooLong) {
    for (int length : {PATH_MAX - 22, PATH_MAX - 21, PATH_MAX - 20, PATH_MAX, 3 * PATH_MAX}) {
        const std::string root = repeated("/.", length / 2) + std::string(length % 2, '/');
        WithVariable home("PELTA_HOME", root.c_str());
        int result = -1;
        const Printed printed = printedBy([&] { result = initCummlative(1); });
        EXPECT_EQ(result, 0);
        EXPECT_EQ(printed.text, "initCummlative=" + root + "/linux/lib/libCumm.so\n" + repeated(openingError, 10));
    }
}

TEST_F(Cummlative, OpensTheLongestPathThatTheSystemTakes) {
    const std::string tail = "/linux/lib/libCumm.so";
    std::string root = folder.path().string();
    while (root.size() + 2 + tail.size() <= PATH_MAX - 1) root += "/.";
    if (root.size() + tail.size() < PATH_MAX - 1) root.insert(0, "/");
    ASSERT_EQ(root.size() + tail.size(), PATH_MAX - 1u);
    {
        WithVariable home("PELTA_HOME", root.c_str());
        EXPECT_EQ(run("nmo", 1), 1);
    }
    EXPECT_EQ(contentsOf(ledger), record("alice north L101 nmo 126 0 1"));
    WithVariable longer("PELTA_HOME", ("/" + root).c_str());
    printedBy([&] { EXPECT_EQ(run("nmo", 1), 0); });
    EXPECT_EQ(contentsOf(ledger), record("alice north L101 nmo 126 0 1"));
}

TEST_F(Cummlative, TakesDescriptorZeroForAFailureAndDoesNotLeaveItOpen) {
    writeFile(ledger, "");
    int results[3] = {-1, -1, -1};
    bool zeroIsOpen = false;
    char empty[] = "";
    const auto lookAtZero = [&] { zeroIsOpen = zeroIsOpen || fcntl(0, F_GETFD) != -1; };
    const Printed printed = printedBy([&] {
        withoutStandardInput([&] {
            results[0] = initCummlative(1);
            lookAtZero();
            results[1] = run("nmo", 1);
            lookAtZero();
            results[2] = printCummlative(empty, empty, 0, 0);
            lookAtZero();
        });
    });
    EXPECT_EQ(std::vector<int>(results, results + 3), (std::vector<int>{0, 0, 0}));
    EXPECT_FALSE(zeroIsOpen);
    EXPECT_EQ(printed.text, heading() + heading());
    EXPECT_EQ(contentsOf(ledger), "");
}

/* What a routine asked of the system, in order. */
template <class Work>
std::vector<SystemCall> callsOf(Work work) {
    FaultySystem system;
    work();
    std::vector<SystemCall> calls;
    for (const CallRecord& record : system.calls()) calls.push_back(record.call);
    return calls;
}

const std::vector<SystemCall> callsOfAnAddition = {SystemCall::open,  SystemCall::flock, SystemCall::read, SystemCall::write,
                                                   SystemCall::fsync, SystemCall::flock, SystemCall::close};
const std::vector<SystemCall> callsOfARewriting = {SystemCall::open,  SystemCall::flock, SystemCall::read,  SystemCall::lseek,
                                                   SystemCall::write, SystemCall::fsync, SystemCall::flock, SystemCall::close};

TEST_F(Cummlative, WritesUnderALockAndFlushesTheFileToDisk) {
    EXPECT_EQ(callsOf([&] { run("nmo", 1); }), callsOfAnAddition);
    EXPECT_EQ(callsOf([&] { run("nmo", 1); }), callsOfARewriting);
    FaultySystem system;
    run("nmo", 1);
    EXPECT_EQ(system.calls()[1].argument, LOCK_EX | LOCK_NB);
    EXPECT_EQ(system.calls()[6].argument, LOCK_UN);
}

TEST_F(Cummlative, LeavesNoDescriptorOpen) {
    const int next = dup(0);
    close(next);
    run("nmo", 1);
    print("", "", 0, 0);
    EXPECT_EQ(fcntl(next, F_GETFD), -1);
}

TEST_F(Cummlative, StaysAtTheEndOfTheRange) {
    const std::string most = std::to_string(LONG_MAX), least = std::to_string(LONG_MIN);
    const std::string names = "alice north L101 nmo 126 0 ";
    writeFile(ledger, record(names + most));
    run("nmo", 1);
    EXPECT_EQ(contentsOf(ledger), record(names + most));
    run("nmo", -7);
    EXPECT_EQ(contentsOf(ledger), record(names + std::to_string(LONG_MAX - 7)));
    run("nmo", LONG_MAX);
    EXPECT_EQ(contentsOf(ledger), record(names + most));
    writeFile(ledger, record(names + least));
    run("nmo", -1);
    EXPECT_EQ(contentsOf(ledger), record(names + least));
    writeFile(ledger, record(names + "99999999999999999999999"));
    run("nmo", 0);
    EXPECT_EQ(contentsOf(ledger), record(names + most));
    writeFile(ledger, record(names + "-99999999999999999999999"));
    run("nmo", 1);
    EXPECT_EQ(contentsOf(ledger), record(names + std::to_string(LONG_MIN + 1)));
}

TEST_F(Cummlative, RewritesTheFirstOfSeveralRecordsThatMatch) {
    const std::string one = record("alice north L101 nmo 126 0 1"), other = record("bob north L101 nmo 126 0 1");
    writeFile(ledger, other + one + other + one);
    run("nmo", 4);
    EXPECT_EQ(contentsOf(ledger), other + record("alice north L101 nmo 126 0 5") + other + one);
}

TEST_F(Cummlative, CutsLongNamesAtTheRecordsLength) {
    for (int length : {24, 25, 80, 100, 118, 119, 500}) {
        std::filesystem::remove(ledger);
        const std::string process(length, 'p');
        const std::string expected = record("alice north L101 " + process + " 126 0 9");
        run(process, 9);
        EXPECT_EQ(contentsOf(ledger), expected) << length;
        run(process, 9);
        if (length <= 24) EXPECT_EQ(contentsOf(ledger), record("alice north L101 " + process + " 126 0 18"));
        else EXPECT_EQ(contentsOf(ledger), expected + expected) << "a name of " << length << " bytes is not read back";
    }
    std::filesystem::remove(ledger);
    WithVariable someone("LOGNAME", std::string(4000, 'u').c_str());
    run("nmo", 1);
    EXPECT_EQ(contentsOf(ledger), std::string(recordLength, 'u'));
}

TEST_F(Cummlative, WritesEmptyNamesAsTheyAreAndNeverFindsThemAgain) {
    setHostTexts("", "");
    run("nmo", 1);
    EXPECT_EQ(contentsOf(ledger), record("alice   nmo 126 0 1"));
    run("nmo", 1);
    EXPECT_EQ(contentsOf(ledger), record("alice   nmo 126 0 1") + record("alice   nmo 126 0 1"));
    run("", 1);
    EXPECT_EQ(contentsOf(ledger).substr(2 * recordLength), record("alice    126 0 1"));
    EXPECT_EQ(print("", "", 0, 0).text, heading());
}

TEST_F(Cummlative, NeverFindsANameWithABlankAgain) {
    run("nmo agc", 1);
    run("nmo agc", 1);
    EXPECT_EQ(contentsOf(ledger), record("alice north L101 nmo agc 126 0 1") + record("alice north L101 nmo agc 126 0 1"));
}

TEST_F(Cummlative, ReadsAHostTextThatFillsItsFieldNoFurther) {
    setHostTexts("sixteen-letters.", "another-16-texts");
    run("nmo", 1);
    EXPECT_EQ(contentsOf(ledger), record("alice sixteen-letters. another-16-texts nmo 126 0 1"));
}

TEST_F(Cummlative, AppendsBehindAShortLastRecord) {
    const std::string full = record("bob north L101 nmo 126 0 1"), partial = "bob north L101 agc 126 0 77";
    writeFile(ledger, full + partial);
    run("nmo", 5);
    EXPECT_EQ(contentsOf(ledger), full + partial + record("alice north L101 nmo 126 0 5"));
    writeFile(ledger, full + partial);
    EXPECT_NE(print("", "agc", 0, 0).text.find("Num Traces: 77\n"), std::string::npos);
}

TEST_F(Cummlative, OverwritesWhatStandsBeforeAShortLastRecordThatMatches) {
    const std::string full = record("bob north L101 nmo 126 0 1"), partial = "alice north L101 nmo 126 0 70";
    writeFile(ledger, full + partial);
    run("nmo", 5);
    EXPECT_EQ(contentsOf(ledger), full.substr(0, partial.size()) + record("alice north L101 nmo 126 0 75"));
}

TEST_F(Cummlative, ReportsThatItCannotGoBackInAFileShorterThanARecord) {
    const std::string partial = "alice north L101 nmo 126 0 70";
    writeFile(ledger, partial);
    const Printed printed = printedBy([&] { EXPECT_EQ(run("nmo", 5), 1); });
    EXPECT_EQ(printed.text, seekError);
    EXPECT_EQ(printed.unflushed, 0u);
    EXPECT_EQ(contentsOf(ledger), partial);
}

TEST_F(Cummlative, ReportsThatItCannotGoBackInAPipe) {
    ASSERT_EQ(mkfifo(ledger.c_str(), 0600), 0);
    const int pipe = open(ledger.c_str(), O_RDWR);
    const std::string waiting = record("bob north L101 nmo 126 0 1") + record("alice north L101 nmo 126 0 1");
    ASSERT_EQ(write(pipe, waiting.data(), waiting.size()), static_cast<ssize_t>(waiting.size()));
    const Printed printed = printedBy([&] { EXPECT_EQ(run("nmo", 5), 1); });
    EXPECT_EQ(printed.text, seekError);
    close(pipe);
}

TEST_F(Cummlative, ReportsAFailedWriteAndStillSyncs) {
    std::filesystem::create_symlink("/dev/full", ledger);
    const Printed printed = printedBy([&] { EXPECT_EQ(run("nmo", 5), 1); });
    EXPECT_EQ(printed.text, writeError);
    EXPECT_EQ(printed.unflushed, 0u);
}

TEST_F(Cummlative, StopsAtAZeroByteAndWritesBehindThatRecord) {
    const std::string before = record("bob north L101 nmo 126 0 1"), behind = record("alice north L101 nmo 126 0 1");
    std::string zero = record("alice north L101 nmo 126 0 1");
    zero[0] = '\0';
    writeFile(ledger, before + zero + behind + behind);
    run("nmo", 5);
    EXPECT_EQ(contentsOf(ledger), before + zero + record("alice north L101 nmo 126 0 5") + behind);
    run("nmo", 6);
    EXPECT_EQ(contentsOf(ledger), before + zero + record("alice north L101 nmo 126 0 6") + behind);
    EXPECT_EQ(print("alice", "", 0, 0).text, heading());

    writeFile(ledger, before + zero.substr(0, 10));
    run("nmo", 7);
    EXPECT_EQ(contentsOf(ledger), before + zero.substr(0, 10) + record("alice north L101 nmo 126 0 7"));
}

TEST_F(Cummlative, FindsARecordBehindMoreThanOneReadfulOfOthers) {
    for (int others : {255, 256, 257, 511, 512, 1000}) {
        std::string file;
        for (int k = 0; k < others; ++k) file += record("user" + std::to_string(k) + " north L101 nmo 126 0 3");
        writeFile(ledger, file + record("alice north L101 nmo 126 0 1"));
        run("nmo", 5);
        EXPECT_EQ(contentsOf(ledger), file + record("alice north L101 nmo 126 0 6")) << others;
        run("agc", 8);
        EXPECT_EQ(contentsOf(ledger), file + record("alice north L101 nmo 126 0 6") + record("alice north L101 agc 126 0 8"));
    }
}

/* The file after runCummlative("nmo", traces) in January 2026 as alice, and what it prints. */
std::string plainUpdate(std::string file, long traces, std::string& printed) {
    bool found = false;
    const std::size_t stop = plainScan(file, [&](const Fields& f, std::size_t) {
        found = std::string(f.user) == "alice" && std::string(f.area) == "north" && std::string(f.line) == "L101" &&
                std::string(f.process) == "nmo" && f.year == 126 && f.month == 0;
        if (found) traces += f.traces;
        return !found;
    });
    if (found && stop < recordLength) {
        printed = seekError;
        return file;
    }
    const std::size_t start = found ? stop - recordLength : stop;
    file.resize(std::max(file.size(), start + recordLength), '?');
    return file.replace(start, recordLength, record("alice north L101 nmo 126 0 " + std::to_string(traces)));
}

const std::string threeRecords = record("bob north L101 nmo 126 0 4711") + record("carol south L7 agc 99 11 -3") +
                                 record("alice north L101 nmo 126 0 12345");

TEST_F(Cummlative, TakesFilesCutAtEveryLength) {
    const WithoutDisk withoutDisk;
    for (std::size_t length = 0; length <= threeRecords.size(); ++length) {
        const std::string file = threeRecords.substr(0, length);
        writeFile(ledger, file);
        EXPECT_EQ(print("", "", 0, 0).text, heading() + plainLines(file)) << length;
        std::string expectedText;
        const std::string expected = plainUpdate(file, 5, expectedText);
        EXPECT_EQ(printedBy([&] { run("nmo", 5); }).text, expectedText) << length;
        EXPECT_EQ(contentsOf(ledger), expected) << length;
    }
}

TEST_F(Cummlative, TakesFilesDamagedAtEveryByte) {
    const WithoutDisk withoutDisk;
    for (std::size_t place = 0; place < threeRecords.size(); ++place)
        for (char byte : {'\0', ' ', '\n', '-', '7', 'x', '\xFF'}) {
            std::string file = threeRecords;
            file[place] = byte;
            writeFile(ledger, file);
            ASSERT_EQ(print("", "", 0, 0).text, heading() + plainLines(file)) << place;
            std::string noText;
            const std::string expected = plainUpdate(file, 5, noText);
            ASSERT_EQ(printedBy([&] { run("nmo", 5); }).text, "") << place;
            ASSERT_EQ(contentsOf(ledger), expected) << place;
        }
}

/* Three records with a few bytes changed, often to bytes that mean something in a record. */
std::string damaged(std::mt19937& random) {
    static constexpr char telling[] = "\0 \t\n\v\f\r+-09x\xA0\xFF\x1F";
    std::string file = threeRecords.substr(0, random() % 4 == 0 ? random() % threeRecords.size() : std::string::npos);
    for (unsigned k = random() % 8; k > 0 && !file.empty(); --k) {
        const std::size_t start = random() % 3 * recordLength + random() % 40;
        if (start >= file.size()) continue;
        file[start] = random() % 3 == 0 ? static_cast<char>(random()) : telling[random() % (sizeof telling - 1)];
    }
    return file;
}

TEST_F(Cummlative, PrintsDamagedFilesAsScanfReadsThem) {
    std::mt19937 random(1);
    for (int round = 0; round < 3000; ++round) {
        const std::string file = damaged(random);
        writeFile(ledger, file);
        ASSERT_EQ(print("", "", 0, 0).text, heading() + plainLines(file)) << "round " << round;
    }
}

TEST_F(Cummlative, UpdatesDamagedFilesAsScanfReadsThem) {
    const WithoutDisk withoutDisk;
    std::mt19937 random(2);
    for (int round = 0; round < 1000; ++round) {
        const std::string file = damaged(random);
        writeFile(ledger, file);
        std::string expectedText;
        const std::string expected = plainUpdate(file, 5, expectedText);
        ASSERT_EQ(printedBy([&] { run("nmo", 5); }).text, expectedText) << "round " << round;
        ASSERT_EQ(contentsOf(ledger), expected) << "round " << round;
    }
}

TEST_F(Cummlative, ReadsEveryFormOfARecordAsScanfDoes) {
    const std::string longest(24, 'n'), middling(16, 'm');
    for (const std::string& text : {std::string("\t alice\nnorth\vL101\fnmo\r+126 \t-0 +12x"),
                                    longest + longest + longest + longest + "126 0 5",
                                    longest + " " + longest + " " + longest + " " + longest + " 1 2 3",
                                    middling + " " + middling + " " + middling + " up-to-byte-seventy 1 2 3",
                                    longest + "n a b c 1 2 3",
                                    std::string("a b c d 1 2"),
                                    std::string("a b c d 1 2 -"),
                                    std::string("a b c d 1 2 +-3"),
                                    std::string("a b c d -+1 2 3"),
                                    std::string("a b c d 1 2 +"),
                                    std::string("a b c d 1+2-3"),
                                    std::string("a b c d 1.5 2 3"),
                                    std::string("a b c d 0x1 2 3"),
                                    std::string("a b c d 007 08 -0"),
                                    std::string("1 2 3 4 5 6 7 8"),
                                    std::string("a\0b c d e 1 2 3", 15),
                                    std::string(recordLength, ' '),
                                    std::string(recordLength, '7'),
                                    std::string("a b c d 1 2 99999999999999999999"),
                                    std::string("a b c d 4294967422 -2147483649 -99999999999999999999"),
                                    "a b c d 126 0 " + std::string(104, '1')}) {
        writeFile(ledger, record(text));
        EXPECT_EQ(print("", "", 0, 0).text, heading() + plainLines(record(text))) << text;
    }
}

TEST_F(Cummlative, FiltersByTheMonthElseTheYearElseTheProcessElseTheUser) {
    struct Row {
        const char *user, *process;
        int year, month;
    };
    std::vector<Row> rows;
    std::string file;
    for (const char* user : {"alice", "bob"})
        for (const char* process : {"nmo", "agc"})
            for (int year : {125, 126})
                for (int month : {0, 5}) {
                    rows.push_back({user, process, year, month});
                    file += record(std::string(user) + " north L101 " + process + " " + std::to_string(year) + " " +
                                   std::to_string(month) + " " + std::to_string(rows.size()));
                }
    writeFile(ledger, file);
    for (std::string user : {"", "alice", "nobody", "ALICE", "alic"})
        for (std::string process : {"", "nmo", "nothing", "nm"})
            for (int year : {0, 126, 7, -1, -126})
                for (int month : {0, 5, 9, -1, -5}) {
                    std::string expected = heading();
                    for (std::size_t k = 0; k < rows.size(); ++k) {
                        const Row& row = rows[k];
                        const bool passes = month != 0         ? month > 0 && row.month == month
                                            : year != 0        ? year > 0 && row.year == year
                                            : !process.empty() ? row.process == process
                                                               : user.empty() || row.user == user;
                        if (!passes) continue;
                        char line[300];
                        snprintf(line, sizeof line,
                                 "User:%12s  Process:%12s  Area:       north  Line:        L101  Year:%4d  Month: %4d  "
                                 "Num Traces: %d\n",
                                 row.user, row.process, row.year, row.month, static_cast<int>(k + 1));
                        expected += line;
                    }
                    const Printed printed = print(user, process, year, month);
                    EXPECT_EQ(printed.text, expected) << user << ", " << process << ", " << year << ", " << month;
                    EXPECT_EQ(printed.unflushed, 0u);
                }
}

/* Runs work in a process of its own, which ends with 0 when work returns true. */
template <class Work>
pid_t inAnotherProcess(Work work) {
    const pid_t child = fork();
    if (child == 0) _exit(work() ? 0 : 1);
    return child;
}

bool endedWell(pid_t child) {
    int status = -1;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST_F(Cummlative, LosesNothingWhenProcessesUpdateAtTheSameTime) {
    constexpr int writers = 16, updates = 1000;
    const WithoutDisk withoutDisk;
    int start[2];
    ASSERT_EQ(pipe(start), 0);
    std::vector<pid_t> children;
    for (int k = 0; k < writers; ++k)
        children.push_back(inAnotherProcess([&] {
            close(start[1]);
            char signal;
            bool done = read(start[0], &signal, 1) == 0;  // the end comes to all at once
            for (int i = 0; i < updates; ++i) done = run(i % 2 ? "odd" : "even", 1) == 1 && done;
            return done;
        }));
    close(start[0]);
    close(start[1]);
    for (pid_t child : children) EXPECT_TRUE(endedWell(child));
    const std::string file = contentsOf(ledger);
    EXPECT_EQ(file.size(), 2 * recordLength);
    for (const char* text : {"alice north L101 odd 126 0 8000", "alice north L101 even 126 0 8000"})
        EXPECT_NE(file.find(record(text)), std::string::npos) << text;
}

TEST_F(Cummlative, WaitsForAnotherWriter) {
    writeFile(ledger, record("alice north L101 nmo 126 0 1"));
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = inAnotherProcess([&] {
        const int file = open(ledger.c_str(), O_RDWR);
        const bool locked = flock(file, LOCK_EX) == 0 && write(ready[1], "!", 1) == 1;
        usleep(200000);
        return locked && pwrite(file, record("alice north L101 nmo 126 0 100").data(), recordLength, 0) == recordLength;
    });
    char signal;
    ASSERT_EQ(read(ready[0], &signal, 1), 1);
    EXPECT_EQ(run("nmo", 5), 1);
    EXPECT_TRUE(endedWell(child));
    EXPECT_EQ(contentsOf(ledger), record("alice north L101 nmo 126 0 105"));
    close(ready[0]);
    close(ready[1]);
}

TEST_F(Cummlative, RecordsWithoutTheLockInTheEnd) {
    writeFile(ledger, "");
    const int holder = open(ledger.c_str(), O_RDWR);
    ASSERT_EQ(flock(holder, LOCK_EX), 0);
    const Printed printed = printedBy([&] { EXPECT_EQ(run("nmo", 5), 1); });
    EXPECT_EQ(printed.text, "");
    EXPECT_EQ(contentsOf(ledger), record("alice north L101 nmo 126 0 5"));
    close(holder);
}

TEST_F(Cummlative, RecordsWhereThereAreNoLocks) {
    FaultySystem system;
    system.answerBy([](CallRecord& call) -> std::optional<long> {
        if (call.call != SystemCall::flock) return {};
        errno = EOPNOTSUPP;
        return -1;
    });
    EXPECT_EQ(run("nmo", 5), 1);
    EXPECT_EQ(contentsOf(ledger), record("alice north L101 nmo 126 0 5"));
    EXPECT_EQ(system.count(SystemCall::flock), 2) << "no lock is waited for in vain";
}

/* A ledger of two records, the second of which alice's work in nmo rewrites; her work in agc adds a third. */
const std::string bobsRecord = record("bob north L101 nmo 126 0 4711");
const std::string twoRecords = bobsRecord + record("alice north L101 nmo 126 0 99");
const std::string rewritten = bobsRecord + record("alice north L101 nmo 126 0 104");
const std::string added = twoRecords + record("alice north L101 agc 126 0 5");

struct Update {
    const char* process;
    std::string file;  // when all goes well
};
const Update updates[] = {{"nmo", rewritten}, {"agc", added}};

/* What an update of 5 traces says and leaves behind when one of its calls fails. */
struct Answer {
    std::string text, file;
};

Answer answerTo(SystemCall failing, int nth, int error, const Update& update) {
    if (failing == SystemCall::open) return {openingError, update.file};
    if (error == EINTR && (failing == SystemCall::read || failing == SystemCall::write)) return {"", update.file};
    if (failing == SystemCall::read && nth == 1)  // whether there is a record of hers cannot be told
        return {"", twoRecords + record(std::string("alice north L101 ") + update.process + " 126 0 5")};
    if (failing == SystemCall::lseek) return {seekError, twoRecords};
    if (failing == SystemCall::write) return {writeError, twoRecords};
    return {"", update.file};
}

TEST_F(Cummlative, LosesNothingWhenAnyCallOfAnUpdateFails) {
    for (const Update& update : updates)
        for (int error : {EIO, ENOSPC, EACCES, EINTR}) {
            writeFile(ledger, twoRecords);
            const std::vector<SystemCall> calls = callsOf([&] { run(update.process, 5); });
            for (std::size_t n = 0; n < calls.size(); ++n) {
                writeFile(ledger, twoRecords);
                const int nth = static_cast<int>(std::count(calls.begin(), calls.begin() + n + 1, calls[n]));
                const Answer answer = answerTo(calls[n], nth, error, update);
                const std::set<int> before = openDescriptors();
                const Printed printed = printedBy([&] {
                    FaultySystem system;
                    system.fail(calls[n], nth, error);
                    EXPECT_EQ(run(update.process, 5), 1);
                    EXPECT_TRUE(system.allFaultsMet());
                });
                const std::string where = std::string(update.process) + ", call " + std::to_string(n) + ", " + strerror(error);
                EXPECT_EQ(printed.text, answer.text) << where;
                EXPECT_EQ(contentsOf(ledger), answer.file) << where;
                EXPECT_EQ(openDescriptors(), before) << where;
            }
        }
}

TEST_F(Cummlative, ListsWhatCanBeReadWhenACallOfTheListingFails) {
    writeFile(ledger, twoRecords);
    const std::string lines = plainLines(twoRecords);
    const std::string name = "initCummlative=" + ledger + "\n", size = "initCummlative stat file size=236\n";
    const std::vector<SystemCall> calls = {SystemCall::open, SystemCall::fstat, SystemCall::read, SystemCall::read,
                                           SystemCall::close};
    char all[] = "";
    printedBy([&] { EXPECT_EQ(callsOf([&] { printCummlative(all, all, 0, 0); }), calls); });
    const auto listingWith = [&](SystemCall call, int nth, int error) {
        return printedBy([&] {
                   FaultySystem system;
                   system.fail(call, nth, error);
                   EXPECT_EQ(printCummlative(all, all, 0, 0), 1);
               })
            .text;
    };
    for (int error : {EIO, EACCES, EINTR}) {
        EXPECT_EQ(listingWith(SystemCall::open, 1, error), name + openingError + size + lines);
        EXPECT_EQ(listingWith(SystemCall::fstat, 1, error), name + "initCummlative stat file size=0\n" + lines);
        EXPECT_EQ(listingWith(SystemCall::read, 1, error), name + size + (error == EINTR ? lines : ""));
        EXPECT_EQ(listingWith(SystemCall::read, 2, error), name + size + lines);
        EXPECT_EQ(listingWith(SystemCall::close, 1, error), name + size + lines);
    }
}

TEST_F(Cummlative, PutsTogetherARecordThatIsReadAndWrittenInPieces) {
    for (const Update& update : updates)
        for (std::size_t longest = 1; longest < recordLength; ++longest) {
            writeFile(ledger, twoRecords);
            WithoutDisk system;
            system.shorten(SystemCall::read, 1, longest);
            system.shorten(SystemCall::read, 2, longest);
            system.shorten(SystemCall::write, 1, longest);
            EXPECT_EQ(run(update.process, 5), 1);
            EXPECT_TRUE(system.allFaultsMet());
            EXPECT_EQ(contentsOf(ledger), update.file) << longest;
        }
}

TEST_F(Cummlative, TakesBackTheFirstBytesOfARecordWhoseRestCannotBeWritten) {
    for (const Update& update : updates)
        for (std::size_t longest = 1; longest < recordLength; ++longest) {
            writeFile(ledger, twoRecords);
            const Printed printed = printedBy([&] {
                WithoutDisk system;
                system.shorten(SystemCall::write, 1, longest);
                system.fail(SystemCall::write, 2, ENOSPC);
                EXPECT_EQ(run(update.process, 5), 1);
                EXPECT_EQ(system.count(SystemCall::fsync), 1);
            });
            EXPECT_EQ(printed.text, writeError);
            EXPECT_EQ(contentsOf(ledger), twoRecords) << longest;
        }
}

TEST_F(Cummlative, LeavesThePieceThatOverwritesWhatStandsBeforeAShortLastRecord) {
    const std::string file = bobsRecord + "alice north L101 nmo 126 0 70";
    writeFile(ledger, file);
    const Printed printed = printedBy([&] {
        FaultySystem system;
        system.shorten(SystemCall::write, 1, 40);
        system.fail(SystemCall::write, 2, EIO);
        EXPECT_EQ(run("nmo", 5), 1);
    });
    EXPECT_EQ(printed.text, writeError);
    EXPECT_EQ(contentsOf(ledger), file.substr(0, 29) + record("alice north L101 nmo 126 0 75").substr(0, 40) + file.substr(69));
}

TEST_F(Cummlative, CutsNothingOffWhereAnotherMayHaveWritten) {
    writeFile(ledger, twoRecords);
    const auto updateWith = [&](auto prepare) {
        printedBy([&] {
            FaultySystem system;
            system.shorten(SystemCall::write, 1, 40);
            system.fail(SystemCall::write, 2, EIO);
            prepare(system);
            run("agc", 5);
        });
    };
    const std::string piece = added.substr(0, twoRecords.size() + 40);
    updateWith([](FaultySystem& system) { system.fail(SystemCall::flock, 1, ENOLCK); });
    EXPECT_EQ(contentsOf(ledger), piece) << "without the lock";

    writeFile(ledger, twoRecords);
    updateWith([&](FaultySystem& system) {
        system.answerBy([&, writes = 0](CallRecord& call) mutable -> std::optional<long> {
            if (call.call == SystemCall::write && ++writes == 1) truncate(ledger.c_str(), 2 * recordLength + 80);
            return {};
        });
    });
    EXPECT_EQ(contentsOf(ledger).size(), twoRecords.size() + 80) << "someone who takes no lock";
}

TEST_F(Cummlative, WritesNothingWhereItCannotTellThePlace) {
    std::string zero = bobsRecord;
    zero[0] = '\0';
    writeFile(ledger, zero + twoRecords);
    const Printed printed = printedBy([&] {
        FaultySystem system;
        system.fail(SystemCall::lseek, 1, EIO);
        EXPECT_EQ(run("nmo", 5), 1);
    });
    EXPECT_EQ(printed.text, seekError) << "behind a record that begins with a zero byte";
    EXPECT_EQ(contentsOf(ledger), zero + twoRecords);

    writeFile(ledger, twoRecords);
    const Printed unread = printedBy([&] {
        FaultySystem system;
        system.fail(SystemCall::read, 1, EIO);
        system.fail(SystemCall::lseek, 1, EIO);
        EXPECT_EQ(run("nmo", 5), 1);
    });
    EXPECT_EQ(unread.text, seekError) << "at the end of what cannot be read";
    EXPECT_EQ(contentsOf(ledger), twoRecords);
}

TEST_F(Cummlative, TakesNoHalfReadRecordForAWholeOne) {
    const std::string more = twoRecords + record("alice north L102 agc 126 0 3");
    for (std::size_t longest : {118 + 27, 118 + 29, 236, 300}) {
        writeFile(ledger, more);
        {
            FaultySystem system;
            system.shorten(SystemCall::read, 1, longest);
            system.fail(SystemCall::read, 2, EIO);
            run("nmo", 5);
        }
        EXPECT_EQ(contentsOf(ledger),
                  longest < 236 ? more + record("alice north L101 nmo 126 0 5") : rewritten + more.substr(236));
    }
}

TEST_F(Cummlative, TriesForTheLockAgainAfterASignal) {
    FaultySystem system;
    system.fail(SystemCall::flock, 1, EINTR);
    system.fail(SystemCall::flock, 2, EINTR);
    run("nmo", 5);
    EXPECT_EQ(system.count(SystemCall::flock), 4) << "three to lock, one to unlock";
}

TEST_F(Cummlative, LosesAtMostTheUpdateInFlightWhenKilled) {
    std::vector<Update> all(std::begin(updates), std::end(updates));
    for (const Update& update : all) {
        writeFile(ledger, twoRecords);
        const std::size_t calls = callsOf([&] { run(update.process, 5); }).size();
        for (std::size_t last = 0; last <= calls; ++last) {
            writeFile(ledger, twoRecords);
            const pid_t child = inAnotherProcess([&] {
                FaultySystem system;
                system.answerBy([made = std::size_t{0}, last](CallRecord&) mutable -> std::optional<long> {
                    if (made++ == last) kill(getpid(), SIGKILL);
                    return {};
                });
                return run(update.process, 5) == 1;
            });
            int status = -1;
            ASSERT_EQ(waitpid(child, &status, 0), child);
            EXPECT_EQ(WIFSIGNALED(status), last < calls);
            const std::string file = contentsOf(ledger);
            EXPECT_TRUE(file == twoRecords || file == update.file) << update.process << ", after " << last << " calls";
            run("stack", 1);
            EXPECT_EQ(contentsOf(ledger), file + record("alice north L101 stack 126 0 1")) << "whoever comes next";
        }
    }
}

}
