#include "sorting/sort.h"

#include <fmt/format.h>

#include <chrono>

#include "commands/command.h"
#include "commands/options.h"
#include "support/failure.h"
#include "support/outputfile.h"

namespace pelta {
namespace {

constexpr std::int64_t megabyte = 1 << 20;

struct Request {
    std::string input, output;
    InputOptions inputOptions;
    LedgerOptions ledgerOptions;
    sorting::SortOptions options;
    std::int64_t memory = 1024;
};

std::string countText(std::size_t count, const std::string& noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

/* How it was done, in a few words. */
std::string wayText(const sorting::SortSummary& summary) {
    switch (summary.way) {
        case sorting::Way::inKeyOrder: return fmt::format("read in key order, {}", countText(summary.windows, "window"));
        case sorting::Way::inMemory: return "all in memory";
        case sorting::Way::throughScratch: break;
    }
    return fmt::format("{} in {}, {}", countText(summary.runs, "run"), summary.scratchFolder,
                       countText(summary.mergePasses, "merge"));
}

int sort(Request& request) {
    const auto start = std::chrono::steady_clock::now();
    const segy::ReadOptions readOptions = request.inputOptions.read();
    segy::Reader reader(request.input, readOptions);
    for (const std::string& warning : reader.warnings()) warn(warning);
    request.options.memoryBytes = request.memory * megabyte;
    request.options.salvage = readOptions.salvage;
    const sorting::SortSummary summary = sorting::sortTraces(reader, request.output, request.options);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    for (const sorting::Field& field : summary.emptyFields)
        warn(fmt::format("{}: {} at byte {} is 0 in every trace; --map {}=BYTE:SIZE names another word", reader.name(),
                         field.name, field.word.position, field.name));
    if (!request.options.quiet)
        tell(fmt::format("pelta: {} traces by {} in {:.2f} s (--memory {}: {}) -> {}\n", summary.traces,
                         fmt::join(request.options.by, ","), taken.count(), request.memory, wayText(summary),
                         outputName(request.output)));
    request.ledgerOptions.record("pelta-sort", summary.traces);
    return 0;
}

std::function<int()> define(CLI::App& app) {
    auto request = std::make_shared<Request>();
    app.add_option("IN", request->input, "SEG-Y file to read; - is standard input")->required()->type_name("FILE");
    app.add_option("OUT", request->output, "SEG-Y file to write; - is standard output")->required()->type_name("FILE");
    app.add_option("--by", request->options.by,
                   "one to three header words, the first counting most, by name or as BYTE:SIZE: cdp,offset")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("WORD,...")
        ->required();
    app.add_option("--descending", request->options.descending, "those of them whose large values come first")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("WORD,...");
    app.add_option("--memory", request->memory, "most memory for traces and their keys, MB")
        ->check(inRange(1, 1 << 20))
        ->capture_default_str();
    request->inputOptions.add(app);
    addOverwrite(app, request->options.overwrite);
    app.add_flag("--quiet", request->options.quiet, "no progress and no summary");
    app.add_flag("--history", request->options.history, "add a line to the text header");
    request->ledgerOptions.add(app);
    return [request] { return sort(*request); };
}

const CommandRegistration registration(
    {"sort",
     "sorts traces by header words, also more of them than memory holds",
     "pelta sort line.sgy gathers.sgy --by cdp,offset",
     define,
     "Traces whose words are equal keep their order. Words are compared as they stand, without scalars; an offset "
     "counts with its sign. Traces and file headers stay as they are, byte for byte, but for the code of the order "
     "at byte 3229: 2 by cdp, 5 by record or source, 7 by offset, -1 by another word first; before revision 1: 2 "
     "by cdp, 1 by record, else 0. Stacks (3 and 4) stay stacks.\n"
     "What does not fit into --memory goes through a working file as large as the input, in the folder that "
     "PROMAX_SCRATCH_HOME names; where it is not set, in the output's folder, or for standard output in the "
     "system's temporary folder (TMPDIR). A file that the machine can hold, or whose order suits a disk, is read "
     "twice instead: headers first, then its traces in the order of the output.",
     {"PROMAX_SCRATCH_HOME", "TMPDIR", "PELTA_HOME", "PROMAX_HOME", "LOGNAME"}});

}
}
