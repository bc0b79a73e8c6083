#include "commands/command.h"
#include "commands/inspect.h"

namespace pelta {
namespace {

std::function<int()> define(CLI::App& app) {
    auto request = std::make_shared<InspectRequest>();
    request->add(app);
    request->report.hasWordTable = true;
    return [request] { return inspect(*request, [](inspection::Inspection& inspection) { inspection.readAll(); }); };
}

const CommandRegistration registration(
    {"check", "reads every trace of a SEG-Y file and tells what contradicts what",
     "pelta check line.sgy && pelta check line.sgy --json > line.json", define,
     "Errors (exit status 1): truncated or missing traces, samples that are NaN or infinite, sample count or "
     "interval 0, a sample count that the file contradicts, wrong byte order in the trace headers, a layout that "
     "cannot be read.\n"
     "Warnings (exit status 0): trace numbers that do not ascend, channels twice in a record, offsets beside the "
     "coordinates, scalars that are 0 or none, missing coordinates, sample counts or intervals of traces that "
     "differ from the file's, samples that look like another format, spiky and clipped traces, live traces marked "
     "dead.\n"
     "A trace is dead when all its samples are equal or its type is 2; spiky when its largest amplitude is 10 "
     "times the RMS of the rest and 5 times all samples two to eight away; clipped when at least six samples stand "
     "in runs of three or more at its largest amplitude."});

}
}
