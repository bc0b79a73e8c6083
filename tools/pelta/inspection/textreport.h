#ifndef PELTA_TOOL_TEXTREPORT_H
#define PELTA_TOOL_TEXTREPORT_H

#include <string>

#include "inspection/inspection.h"

namespace pelta::inspection {

struct ReportOptions {
    bool hasWordTable = false; /* every filled trace-header word with its range */
    bool hasWholeText = false; /* all 40 lines of the text header, blank ones too */
};

/* A page of text for people. */
std::string textReport(const Inspection& inspection, const ReportOptions& options);

}

#endif
