#include "commands/inspect.h"

#include "inspection/jsonreport.h"
#include "support/failure.h"
#include "support/outputfile.h"

namespace pelta {

using namespace inspection;

void InspectRequest::add(CLI::App& app) {
    app.add_option("IN", input, "SEG-Y file to read; - is standard input")->required()->type_name("FILE");
    inputOptions.add(app);
    app.remove_option(app.get_option("--salvage")); /* always */
    app.add_flag("--json", asJson, "print JSON instead of text");
}

namespace {

int failOfErrors(const std::string& name, const std::vector<Finding>& findings) {
    const int errors = countErrors(findings);
    if (errors == 0) return 0;
    const std::string others = errors == 1 ? "" : fmt::format(" (and {} more)", errors - 1);
    fail("{}: {}{}", name, findings.front().text, others);
}

}

int inspect(const InspectRequest& request, const std::function<void(Inspection&)>& read) {
    segy::ReadOptions options = request.inputOptions.read();
    options.salvage = true;
    std::optional<segy::Reader> reader;
    try {
        reader.emplace(request.input, options);
    } catch (const Failure& failure) {
        if (request.asJson) printText(stdout, jsonReportOfUnreadable(inputName(request.input), failure.what()));
        throw;
    }
    Inspection inspection(*reader);
    read(inspection);
    printText(stdout, request.asJson ? jsonReport(inspection) : textReport(inspection, request.report));
    std::fflush(stdout);
    return failOfErrors(reader->name(), inspection.findings());
}

}
