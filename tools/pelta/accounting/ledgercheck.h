#ifndef PELTA_TOOL_LEDGERCHECK_H
#define PELTA_TOOL_LEDGERCHECK_H

#include <cstdint>
#include <string>
#include <vector>

namespace pelta {

struct LedgerCheck {
    std::int64_t wholeRecords = 0;
    std::vector<std::string> findings; /* a line each: where in the file, what is wrong, what to do */
};

/* Goes over a ledger of traces (see pelta/cummlative.h), also beyond the place where reading stops. A record is whole when it
 * holds its seven fields and nothing else but blanks; neighbours of which the same is wrong are reported together. Fails when
 * the file cannot be read. */
LedgerCheck checkLedger(const std::string& fileName);

}

#endif
