#include "accounting/ledgercheck.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "support/failure.h"

namespace pelta {
namespace {

constexpr std::size_t recordLength = 118;

enum class Kind { whole, notFields, zeroByte, brokenOff };

/* Where the record's seven fields end; 0 when it has fewer. */
std::size_t endOfFields(const std::string& record) {
    char name[25];
    int year, month, end = 0;
    long traces;
    std::sscanf(record.c_str(), "%24s%24s%24s%24s%d%d%ld%n", name, name, name, name, &year, &month, &traces, &end);
    return static_cast<std::size_t>(end);
}

Kind kindOf(const std::string& record) {
    if (record.front() == '\0') return Kind::zeroByte;
    if (record.size() < recordLength) return Kind::brokenOff;
    const std::size_t end = endOfFields(record);
    return end > 0 && record.find_first_not_of(' ', end) == std::string::npos ? Kind::whole : Kind::notFields;
}

/* Records of one kind that follow one another. */
struct Run {
    Kind kind = Kind::whole;
    std::int64_t first = 0, count = 0;
    std::string last;
};

/* Bytes count from 1, as in all messages; commands that mend count from 0. */
std::string placeOf(const Run& run, std::int64_t start) {
    return run.count == 1 ? fmt::format("record {} (byte {})", run.first + 1, start + 1)
                          : fmt::format("records {} to {} (byte {} on)", run.first + 1, run.first + run.count, start + 1);
}

std::string textOf(const Run& run) {
    const std::int64_t start = run.first * static_cast<std::int64_t>(recordLength);
    const std::size_t missing = recordLength - run.last.size();
    const std::string place = placeOf(run, start);
    if (run.kind == Kind::zeroByte)
        return fmt::format(
            "{}: a zero byte at the beginning, where reading stops: what stands behind is out of reach, and updates "
            "are written over it; put a letter or a blank there: printf ' ' | dd of=FILE bs=1 seek={} conv=notrunc",
            place, start);
    if (run.kind == Kind::notFields)
        return fmt::format(
            "{}: not just user, area, line, process, year, month, traces and blanks, and not counted right; "
            "correct the text in place, with names of 1 to 24 bytes and no blanks in them",
            place);
    if (endOfFields(run.last) > 0)
        return fmt::format(
            "{}: {} bytes short of {}: its next update is written over what stands before it; pad it with blanks: "
            "printf '%{}s' '' >> FILE",
            place, missing, recordLength, missing);
    return fmt::format(
        "{}: {} bytes short of {} and not counted, and what is added behind it is out of step; cut it off: "
        "truncate -s {} FILE",
        place, missing, recordLength, start);
}

}

LedgerCheck checkLedger(const std::string& fileName) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(fileName.c_str(), "rb"), std::fclose);
    if (!file) fail("ledger: {}: cannot be opened: {}", fileName, std::strerror(errno));
    LedgerCheck check;
    Run run;
    const auto finish = [&] {
        if (run.kind == Kind::whole) check.wholeRecords += run.count;
        else check.findings.push_back(textOf(run));
    };
    char bytes[recordLength];
    std::size_t length;
    while ((length = std::fread(bytes, 1, recordLength, file.get())) > 0) {
        std::string record(bytes, length);
        const Kind kind = kindOf(record);
        if (kind != run.kind) {
            finish();
            run = {kind, run.first + run.count, 0, {}};
        }
        ++run.count;
        run.last = std::move(record);
    }
    if (std::ferror(file.get())) fail("ledger: {}: cannot be read: {}", fileName, std::strerror(errno));
    finish();
    return check;
}

}
