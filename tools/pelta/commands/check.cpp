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

const CommandRegistration registration({"check", "reads every trace of a SEG-Y file and tells what contradicts what",
                                        "pelta check line.sgy && pelta check line.sgy --json > line.json", define});

}
}
