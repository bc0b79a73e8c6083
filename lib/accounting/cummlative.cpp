#include <fcntl.h>
#include <limits.h>
#include <pelta/cummlative.h>
#include <pelta/host.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "accounting/fieldreader.h"
#include "accounting/ledgerlock.h"
#include "accounting/ledgerscan.h"
#include "transfer.h"

static_assert(sizeof(off_t) == 8, "a ledger beyond 2 GiB needs 64-bit offsets in both word sizes");

namespace {

constexpr char ledgerName[] = "linux/lib/libCumm.so";

void complain(const char* message) {
    std::puts(message);
    std::fflush(stdout);
}

/* A ledger on a network file system may be out of reach for a moment. */
int openLedger(const char* path) {
    for (int tries = 0; tries < 10; ++tries) {
        const int ledger = ::open(path, O_RDWR | O_CREAT | O_DSYNC | O_LARGEFILE, 0777);
        if (ledger >= 0) return ledger;
        complain("initCummlative: Error while trying to open cummlative file.");
    }
    return -1;
}

std::tm localTimeNow() {
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    tzset();  // unlike localtime, localtime_r need not notice that the zone has changed
    localtime_r(&now, &local);
    return local;
}

/* Traces of one user, area, line and process in one month. */
struct Entry {
    std::array<std::string_view, 4> names;  // in the order of the file: user, area, line, process
    int year;                               // counted from 1900
    int month;                              // counted from 0
    long traces;

    std::string_view user() const { return names[0]; }
    std::string_view area() const { return names[1]; }
    std::string_view line() const { return names[2]; }
    std::string_view process() const { return names[3]; }
};

/* Whether the record has wanted's names and month; if so, stored becomes its traces. Most records of a ledger are another user's, process's or line's, and the first name that differs ends the reading. */
bool matches(std::string_view record, const Entry& wanted, long& stored) {
    if (FieldReader(record).name() != wanted.user()) return false;
    FieldReader fields(record);
    std::array<std::string_view, 4> names;
    fields.names(names);
    if (names != wanted.names) return false;
    int year, month;
    if (!fields.number(year) || year != wanted.year) return false;
    if (!fields.number(month) || month != wanted.month) return false;
    return fields.number(stored);
}

/* Sum that stays at the end of the range. */
long saturatedSum(long a, long b) {
    long sum;
    if (!__builtin_add_overflow(a, b, &sum)) return sum;
    return b < 0 ? LONG_MIN : LONG_MAX;
}

using Record = char[recordLength + 1];

/* Kept on purpose: a text longer than the record is cut, which takes its numbers away. */
void formatRecord(const Entry& entry, Record& record) {
    const auto width = [](std::string_view name) { return static_cast<int>(std::min<std::size_t>(name.size(), recordLength)); };
    const int length = std::snprintf(record, sizeof record, "%.*s %.*s %.*s %.*s %d %d %ld",  //
                                     width(entry.user()), entry.user().data(), width(entry.area()), entry.area().data(),
                                     width(entry.line()), entry.line().data(), width(entry.process()), entry.process().data(),
                                     entry.year, entry.month, entry.traces);
    const std::size_t used = std::min<std::size_t>(length, recordLength);
    std::memset(record + used, ' ', recordLength - used);
}

/* Puts the descriptor where the record goes: over the one found, or where the scan stopped. A scan that could not read on has
 * not seen what stands there, and goes to the end. Returns the place, -1 when it cannot be had. */
off_t seekRecord(int ledger, const LedgerScan& scan, bool found) {
    if (scan.failed()) return ::lseek(ledger, 0, SEEK_END);
    const off_t place = scan.position() - (found ? static_cast<off_t>(recordLength) : 0);
    const bool there = place == scan.readUpTo() || ::lseek(ledger, place, SEEK_SET) >= 0;
    return there ? place : -1;
}

/* Takes back the first bytes of a record whose rest could not be written, lest they garble the record that stood there or
 * shift all that come behind. The end of the file is cut off only while nobody else can have written there. */
void takeBack(int ledger, off_t place, std::size_t written, std::string_view replaced, bool locked) {
    if (replaced.size() == recordLength) {
        if (::lseek(ledger, place, SEEK_SET) >= 0) writeAll(ledger, replaced.data(), written);
        return;
    }
    struct stat status;
    if (locked && ::fstat(ledger, &status) == 0 && status.st_size == place + static_cast<off_t>(written))
        if (::ftruncate(ledger, place) != 0) return;  // nothing is left to try
}

/* Adds the entry's traces to the record that has its names and month, or writes a new one where the scan stopped.
 * Kept on purpose: a match on a short record at the end of the file goes back by a whole record's length and overwrites what
 * stands before it; a new record goes behind one that begins with a zero byte, where later scans do not come. */
void addToLedger(int ledger, Entry entry, bool locked) {
    LedgerScan scan(ledger);
    std::string_view found;
    long stored = 0;
    for (std::string_view record; found.empty() && !(record = scan.next()).empty();)
        if (matches(record, entry, stored)) found = record;
    entry.traces = saturatedSum(entry.traces, stored);
    const off_t place = seekRecord(ledger, scan, !found.empty());
    if (place < 0) return complain("\nCummlative: Error while trying to lseek64.");
    Record record;
    formatRecord(entry, record);
    const ssize_t written = writeAll(ledger, record, recordLength);
    if (written != static_cast<ssize_t>(recordLength)) {
        if (written > 0) takeBack(ledger, place, static_cast<std::size_t>(written), found, locked);
        complain("\nCummlative: Error while trying to write.");
    }
    ::fsync(ledger);
}

/* One of the host's texts, which a full field may leave without its end. */
template <std::size_t size>
std::string_view hostText(const char (&text)[size]) {
    return {text, strnlen(text, size)};
}

struct Filter {
    std::string_view user, process;
    int year, month;
};

/* Reads the record into entry, as far as needed to see whether it passes; false also when it does not yield all its fields.
 * Kept on purpose: the filters are no plain conjunction. A process overrides the user, a year both, a month all three. */
bool passes(std::string_view record, const Filter& filter, Entry& entry) {
    if (filter.month < 0 || (filter.month == 0 && filter.year < 0)) return false;
    const bool byMonth = filter.month != 0;
    const bool byYear = !byMonth && filter.year != 0;
    const bool byProcess = !byMonth && !byYear && !filter.process.empty();
    const bool byUser = !byMonth && !byYear && !byProcess && !filter.user.empty();

    FieldReader fields(record);
    if (byUser && FieldReader(record).name() != filter.user) return false;
    fields.names(entry.names);
    if (byProcess && entry.process() != filter.process) return false;
    if (!fields.number(entry.year) || (byYear && entry.year != filter.year)) return false;
    if (!fields.number(entry.month) || (byMonth && entry.month != filter.month)) return false;
    return fields.number(entry.traces);
}

void printEntry(const Entry& entry) {
    const auto width = [](std::string_view name) { return static_cast<int>(name.size()); };
    std::printf("User:%12.*s  Process:%12.*s  Area:%12.*s  Line:%12.*s  Year:%4d  Month: %4d  Num Traces: %ld\n",
                width(entry.user()), entry.user().data(), width(entry.process()), entry.process().data(), width(entry.area()),
                entry.area().data(), width(entry.line()), entry.line().data(), entry.year, entry.month, entry.traces);
}

}

int initCummlative(int icheck) {
    const char* root = std::getenv("PELTA_HOME");
    if (!root) root = std::getenv("PROMAX_HOME");
    if (!root) return 0;
    if (icheck != 0) std::printf("initCummlative=%s/%s\n", root, ledgerName);

    char path[PATH_MAX + 1];  // a path that had to be cut fills it, and then is one byte too long to be opened
    std::snprintf(path, sizeof path, "%s/%s", root, ledgerName);
    const int ledger = openLedger(path);
    if (ledger < 0) return 0;
    if (icheck != 0) {
        struct stat status = {};
        ::fstat(ledger, &status);
        std::printf("initCummlative stat file size=%d\n", static_cast<int>(status.st_size));
        std::fflush(stdout);
    }
    if (ledger == 0) ::close(ledger);  // the caller takes it for a failure and would leave it open
    return ledger;
}

int runCummlative(char* process, long int numTraces) {
    const char* user = std::getenv("LOGNAME");
    if (!user) return 0;
    const int ledger = initCummlative(0);
    if (ledger < 1) return 0;
    {
        const LedgerLock lock(ledger);
        const std::tm today = localTimeNow();
        addToLedger(
            ledger,
            {{user, hostText(globalChar->carea), hostText(globalChar->cline), process}, today.tm_year, today.tm_mon, numTraces},
            lock.held());
    }
    ::close(ledger);
    return 1;
}

int printCummlative(char* user, char* process, int year, int month) {
    const int ledger = initCummlative(1);
    if (ledger < 1) return 0;
    const Filter filter = {user, process, year, month};
    LedgerScan scan(ledger);
    for (std::string_view record = scan.next(); !record.empty(); record = scan.next()) {
        Entry entry;
        if (passes(record, filter, entry)) printEntry(entry);
    }
    std::fflush(stdout);
    ::close(ledger);
    return 1;
}
