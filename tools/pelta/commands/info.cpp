#include "commands/command.h"
#include "commands/inspect.h"

namespace pelta {
namespace {

std::function<int()> define(CLI::App& app) {
    auto request = std::make_shared<InspectRequest>();
    request->add(app);
    app.add_flag("--text", request->report.hasWholeText, "print the text header whole, blank lines too");
    return [request] {
        constexpr std::int64_t handful = 24;
        return inspect(*request, [](inspection::Inspection& inspection) { inspection.readSome(handful); });
    };
}

const CommandRegistration registration(
    {"info", "tells how a SEG-Y file is built, from its headers and a handful of traces", "pelta info line.sgy", define,
     "The report ends with what is wrong in the headers and the traces read; errors make the exit status 1, and "
     "pelta check reads all traces. Of a pipe the first traces are read, of a file the first, the last and some "
     "between."});

}
}
