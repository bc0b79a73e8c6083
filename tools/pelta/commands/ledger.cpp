#include <pelta/cummlative.h>

#include <cstdlib>

#include "accounting/ledgercheck.h"
#include "commands/command.h"
#include "commands/options.h"
#include "support/failure.h"

namespace pelta {
namespace {

struct Request {
    std::string user, process;
    int year = 0, month = 0;
    bool check = false;
};

constexpr int yearOfLedgerZero = 1900;

std::string installationFolder() {
    for (const char* name : {"PELTA_HOME", "PROMAX_HOME"})
        if (const char* folder = std::getenv(name)) return folder;
    fail("ledger: neither PELTA_HOME nor PROMAX_HOME is set; set one to the installation's folder");
}

int list(Request& request) {
    const int year = request.year == 0 ? 0 : request.year - yearOfLedgerZero;
    const int month = request.month == 0 ? 0 : request.month - 1;
    if (printCummlative(request.user.data(), request.process.data(), year, month) == 0)
        fail("ledger: cannot open linux/lib/libCumm.so under PELTA_HOME (or PROMAX_HOME)");
    return 0;
}

int check(const std::string& fileName) {
    const LedgerCheck found = checkLedger(fileName);
    for (const std::string& finding : found.findings)
        tell(fmt::format("pelta: {}\n", oneLine(fmt::format("ledger: {}: {}", fileName, finding))));
    if (!found.findings.empty()) return 1;
    printTo(stdout, "{}: {} records, all whole\n", fileName, found.wholeRecords);
    return 0;
}

std::function<int()> define(CLI::App& app) {
    auto request = std::make_shared<Request>();
    CLI::Option* const filters[] = {
        app.add_option("--user", request->user, "records of this user; ignored beside --process"),
        app.add_option("--process", request->process, "records of this process, such as pelta-run"),
        app.add_option("--year", request->year, "records of this year, whoever's they are: 2026")->check(inRange(1901, 9999)),
        app.add_option("--month", request->month,
                       "all records of this month, whatever the other filters say; January cannot be chosen")
            ->check(inRange(2, 12))};
    CLI::Option* const check =
        app.add_flag("--check", request->check,
                     "list nothing, but report where the ledger is not a row of whole records, and how to mend it");
    for (CLI::Option* filter : filters) check->excludes(filter);
    return [request] {
        const std::string folder = installationFolder();
        return request->check ? pelta::check(folder + "/linux/lib/libCumm.so") : list(*request);
    };
}

const CommandRegistration registration(
    {"ledger",
     "lists how many traces were processed, by user, area, line, process and month",
     "pelta ledger --process pelta-run",
     define,
     "The ledger is the file linux/lib/libCumm.so in the folder that PELTA_HOME names, or PROMAX_HOME where that "
     "is not set.",
     {"PELTA_HOME", "PROMAX_HOME"}});

}
}
