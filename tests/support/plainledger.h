#ifndef PELTA_TESTS_PLAINLEDGER_H
#define PELTA_TESTS_PLAINLEDGER_H

#include <cstdio>
#include <optional>
#include <string>

/* The ledger read the plain way: 118 bytes at a time and each record by sscanf. */

constexpr std::size_t recordLength = 118;

inline std::string record(const std::string& text) {
    std::string padded = text.substr(0, recordLength);
    padded.resize(recordLength, ' ');
    return padded;
}

/* One record as the file's format gives it back; nothing when it lacks a field. */
struct Fields {
    char user[25], area[25], line[25], process[25];
    int year, month;
    long traces;
};

inline std::optional<Fields> scanned(const std::string& text) {
    Fields f;
    if (sscanf(text.c_str(), "%24s%24s%24s%24s%d%d%ld", f.user, f.area, f.line, f.process, &f.year, &f.month, &f.traces) != 7)
        return {};
    return f;
}

/* Calls work(fields, position behind the record) until it gives false; returns where the scan ended. */
template <class Work>
std::size_t plainScan(const std::string& file, Work work) {
    std::size_t position = 0;
    while (position < file.size()) {
        const std::string bytes = file.substr(position, recordLength);
        position += bytes.size();
        if (bytes[0] == '\0') break;
        const std::optional<Fields> fields = scanned(bytes);
        if (fields && !work(*fields, position)) break;
    }
    return position;
}

/* The lines that printCummlative with no filter gives for a file. */
inline std::string plainLines(const std::string& file) {
    std::string lines;
    plainScan(file, [&](const Fields& f, std::size_t) {
        char line[300];
        snprintf(line, sizeof line, "User:%12s  Process:%12s  Area:%12s  Line:%12s  Year:%4d  Month: %4d  Num Traces: %ld\n",
                 f.user, f.process, f.area, f.line, f.year, f.month, f.traces);
        lines += line;
        return true;
    });
    return lines;
}

#endif
