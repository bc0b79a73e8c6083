#ifndef PELTA_TOOL_INSPECT_H
#define PELTA_TOOL_INSPECT_H

#include "commands/options.h"
#include "inspection/textreport.h"

namespace pelta {

/* What `info` and `check` share: the file, how it is read, and a report on standard output. */
struct InspectRequest {
    std::string input;
    InputOptions inputOptions;
    inspection::ReportOptions report;
    bool asJson = false;

    void add(CLI::App& app);
};

/* Prints the report of a file after read has looked at traces. Fails with the first error that was found. */
int inspect(const InspectRequest& request, const std::function<void(inspection::Inspection&)>& read);

}

#endif
