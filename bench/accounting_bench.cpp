#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <pelta/cummlative.h>
#include <pelta/host.h>
#include <sqlite3.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "silence.h"
#include "support/plainledger.h"
#include "workfolder.h"

/* The ledger: an update that is on disk when it returns, and the way through a ledger of 10 000 records. */

namespace {

constexpr int recordCount = 10000;

/* An install root with the ledger's folder. */
class InstallRoot : public WorkFolder {
  public:
    InstallRoot() {
        std::filesystem::create_directories(file("linux/lib"));
        setenv("PELTA_HOME", path(), 1);
        setenv("LOGNAME", "alice", 1);
        std::strcpy(globalChar->carea, "north");
        std::strcpy(globalChar->cline, "L101");
    }
    std::string ledger() const { return file("linux/lib/libCumm.so"); }
};

/* Records of many users, lines and months, none of them alice's of this month. */
std::string busyLedger() {
    static const char* const users[] = {"alice", "bob", "carol", "dave", "erin"};
    static const char* const processes[] = {"nmo", "agc", "bandpass", "fbpick", "semblance"};
    std::string file;
    for (int k = 0; k < recordCount; ++k)
        file += record(std::string(users[k % 5]) + " area" + std::to_string(k % 7) + " L" + std::to_string(1000 + k % 900) +
                       " " + processes[k / 5 % 5] + " " + std::to_string(80 + k / 250) + " " + std::to_string(k % 12) + " " +
                       std::to_string(k * 977L));
    return file;
}

void writeFile(const std::string& name, const std::string& contents) {
    std::FILE* file = std::fopen(name.c_str(), "wb");
    if (!file || std::fwrite(contents.data(), 1, contents.size(), file) != contents.size()) std::abort();
    std::fclose(file);
}

/* Fails the benchmark when the ledger does not hold the traces that were added, one by one. */
void checkCount(benchmark::State& state, const std::string& ledger, long added) {
    std::string line(recordLength, '\0');
    std::FILE* file = std::fopen(ledger.c_str(), "rb");
    const bool read = file && std::fread(line.data(), 1, recordLength, file) == recordLength;
    if (file) std::fclose(file);
    const std::optional<Fields> fields = scanned(line);
    if (!read || !fields || fields->traces != added) state.SkipWithError("the ledger does not hold what was added");
}

void updateByPelta(benchmark::State& state) {
    const InstallRoot root;
    char process[] = "nmo";
    for (auto _ : state) runCummlative(process, 1);
    checkCount(state, root.ledger(), static_cast<long>(state.iterations()));
}
BENCHMARK(updateByPelta)->Name("runCummlative|pelta|durable update")->UseRealTime();

void updateByPlainCalls(benchmark::State& state) {
    const InstallRoot root;
    const std::string bytes = record("alice north L101 nmo 126 0 1");
    for (auto _ : state) {
        const int file = open(root.ledger().c_str(), O_RDWR | O_CREAT | O_DSYNC, 0666);
        if (pwrite(file, bytes.data(), recordLength, 0) != static_cast<ssize_t>(recordLength) || fsync(file) != 0)
            state.SkipWithError("the write failed");
        close(file);
    }
}
BENCHMARK(updateByPlainCalls)->Name("runCummlative|limit: open(O_DSYNC), pwrite, fsync|durable update")->UseRealTime();

void updateBySqlite(benchmark::State& state) {
    const InstallRoot root;
    const std::string name = root.file("ledger.db");
    const auto run = [&](sqlite3* base, const char* statement) {
        if (sqlite3_exec(base, statement, nullptr, nullptr, nullptr) != SQLITE_OK) state.SkipWithError(sqlite3_errmsg(base));
    };
    sqlite3* base = nullptr;
    sqlite3_open(name.c_str(), &base);
    run(base, "pragma journal_mode = wal");
    run(base,
        "create table ledger (user, area, line, process, year, month, traces, "
        "primary key (user, area, line, process, year, month))");
    sqlite3_close(base);
    for (auto _ : state) {  // opened each time, as a tool that runs once does
        sqlite3_open(name.c_str(), &base);
        run(base, "pragma synchronous = full");
        run(base,
            "insert into ledger values ('alice', 'north', 'L101', 'nmo', 126, 0, 1) "
            "on conflict do update set traces = traces + excluded.traces");
        sqlite3_close(base);
    }
}
BENCHMARK(updateBySqlite)->Name("runCummlative|SQLite, WAL, synchronous full|durable update")->UseRealTime();

/* A listing that no record passes is the scan alone. */
void scanByPelta(benchmark::State& state, std::string user, std::string process, int year) {
    const InstallRoot root;
    writeFile(root.ledger(), busyLedger());
    const Silence silence;
    for (auto _ : state)
        if (printCummlative(user.data(), process.data(), year, 0) != 1) state.SkipWithError("the ledger was not opened");
    state.SetBytesProcessed(state.iterations() * recordCount * recordLength);
}
BENCHMARK_CAPTURE(scanByPelta, user, "nobody", "", 0)->Name("printCummlative|pelta|10 000 records by user");
BENCHMARK_CAPTURE(scanByPelta, process, "", "nothing", 0)->Name("printCummlative|pelta|10 000 records by process");
BENCHMARK_CAPTURE(scanByPelta, year, "", "", 7)->Name("printCummlative|pelta|10 000 records by year");

void scanByRecord(benchmark::State& state) {
    const InstallRoot root;
    writeFile(root.ledger(), busyLedger());
    for (auto _ : state) {
        const int file = open(root.ledger().c_str(), O_RDONLY);
        std::string text(recordLength, '\0');
        int found = 0;
        while (read(file, text.data(), recordLength) > 0) {
            const std::optional<Fields> fields = scanned(text);
            found += fields && std::strcmp(fields->user, "alice") == 0;
        }
        close(file);
        if (found != recordCount / 5) state.SkipWithError("not all records were read");
    }
    state.SetBytesProcessed(state.iterations() * recordCount * recordLength);
}
BENCHMARK(scanByRecord)->Name("printCummlative|read and sscanf a record|10 000 records by user");
BENCHMARK(scanByRecord)->Name("printCummlative|read and sscanf a record|10 000 records by process");
BENCHMARK(scanByRecord)->Name("printCummlative|read and sscanf a record|10 000 records by year");

void scanLimit(benchmark::State& state) {
    const InstallRoot root;
    writeFile(root.ledger(), busyLedger());
    std::vector<char> bytes(recordCount * recordLength);
    for (auto _ : state) {
        const int file = open(root.ledger().c_str(), O_RDONLY);
        int found = read(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) ? 0 : -1;
        for (int k = 0; k < recordCount; ++k) found += std::memcmp(bytes.data() + k * recordLength, "alice ", 6) == 0;
        close(file);
        if (found != recordCount / 5) state.SkipWithError("not all records were read");
    }
    state.SetBytesProcessed(state.iterations() * recordCount * recordLength);
}
BENCHMARK(scanLimit)->Name("printCummlative|limit: one read and memcmp|10 000 records by user");

}
