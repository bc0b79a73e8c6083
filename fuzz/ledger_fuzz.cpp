#include <pelta/cummlative.h>
#include <pelta/host.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>

#include "support/plainledger.h"

/* The input is a ledger as it may be found on a disk. The lines printed must be those of a plain reading, and an update may change
 * no more than one record. */

namespace {

std::string ledger;

/* Every update waits until the disk has it: the folder lies in memory where it can. */
void makeFolder() {
    char inMemory[] = "/dev/shm/ledgerXXXXXX", elsewhere[] = "/tmp/ledgerXXXXXX";
    const char* const folder = mkdtemp(inMemory) ? inMemory : mkdtemp(elsewhere);
    if (!folder) std::abort();
    std::filesystem::create_directories(std::string(folder) + "/linux/lib");
    ledger = std::string(folder) + "/linux/lib/libCumm.so";
    setenv("PELTA_HOME", folder, 1);
    setenv("LOGNAME", "alice", 1);
    std::strcpy(globalChar->carea, "north");
    std::strcpy(globalChar->cline, "L101");
    static const std::string made = folder;
    std::atexit([] { std::filesystem::remove_all(made); });
}

std::string contents() {
    std::ifstream file(ledger, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

template <class Work>
std::string printedBy(Work work) {
    char* text = nullptr;
    std::size_t length = 0;
    std::FILE* const usual = std::exchange(stdout, open_memstream(&text, &length));
    work();
    std::fclose(std::exchange(stdout, usual));
    const std::string printed(text, length);
    std::free(text);
    return printed;
}

void expectPlainLines(const std::string& file) {
    const std::string printed = printedBy([] {
        char everyone[] = "";
        if (printCummlative(everyone, everyone, 0, 0) != 1) __builtin_trap();
    });
    const std::size_t behindHeading = printed.find('\n', printed.find('\n') + 1) + 1;
    if (printed.substr(behindHeading) != plainLines(file)) __builtin_trap();
}

bool differInOneRecord(const std::string& before, const std::string& after) {
    if (after.size() < before.size() || after.size() > before.size() + recordLength) return false;
    const auto first = std::mismatch(before.begin(), before.end(), after.begin()).first;
    const std::size_t start = static_cast<std::size_t>(first - before.begin());
    const std::size_t behind = std::min(before.size(), start + recordLength);
    return before.compare(behind, std::string::npos, after, behind, before.size() - behind) == 0;
}

}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (ledger.empty()) makeFolder();
    const std::string before(data, data + size);
    std::ofstream(ledger, std::ios::binary | std::ios::trunc) << before;
    expectPlainLines(before);
    printedBy([] {
        char process[] = "nmo";
        if (runCummlative(process, 5) != 1) __builtin_trap();
    });
    const std::string after = contents();
    if (!differInOneRecord(before, after)) __builtin_trap();
    expectPlainLines(after);
    return 0;
}
