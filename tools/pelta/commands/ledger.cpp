#include <pelta/cummlative.h>

#include <cstdlib>

#include "commands/command.h"
#include "support/failure.h"

namespace pelta {
namespace {

struct Filters {
    std::string user, process;
    int year = 0, month = 0;
};

constexpr int yearOfLedgerZero = 1900;

std::function<int()> define(CLI::App& app) {
    auto filters = std::make_shared<Filters>();
    app.add_option("--user", filters->user, "records of this user; ignored beside --process");
    app.add_option("--process", filters->process, "records of this process, such as pelta-run");
    app.add_option("--year", filters->year, "records of this year, whoever's they are (2026)")->check(CLI::Range(1901, 9999));
    app.add_option("--month", filters->month,
                   "all records of this month (2 to 12), whatever the other filters say; January cannot be chosen")
        ->check(CLI::Range(2, 12));
    return [filters] {
        if (!std::getenv("PELTA_HOME") && !std::getenv("PROMAX_HOME"))
            fail("ledger: neither PELTA_HOME nor PROMAX_HOME is set; set one to the installation's folder");
        const int year = filters->year == 0 ? 0 : filters->year - yearOfLedgerZero;
        const int month = filters->month == 0 ? 0 : filters->month - 1;
        if (printCummlative(filters->user.data(), filters->process.data(), year, month) == 0)
            fail("ledger: cannot open linux/lib/libCumm.so under PELTA_HOME (or PROMAX_HOME)");
        return 0;
    };
}

const CommandRegistration registration({"ledger",
                                        "lists how many traces were processed, by user, area, line, process and month",
                                        "pelta ledger --process pelta-run", define});

}
}
