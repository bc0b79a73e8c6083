#ifndef PELTA_TOOL_REPORT_H
#define PELTA_TOOL_REPORT_H

#include <nlohmann/json.hpp>

#include "inspection/inspection.h"

namespace pelta::inspection {

struct ReportOptions {
    bool hasWordTable = false; /* every filled trace-header word with its range */
    bool hasWholeText = false; /* all 40 lines of the text header, blank ones too */
};

/* A page of text for people. */
std::string textReport(const Inspection& inspection, const ReportOptions& options);
/* The same for programs, and all of it whatever the options. */
nlohmann::ordered_json jsonReport(const Inspection& inspection);
/* Of a file whose traces cannot be found. */
nlohmann::ordered_json jsonOfUnreadable(const std::string& fileName, const std::string& failure);
/* Never fails: what is no UTF-8 is replaced. */
std::string dump(const nlohmann::ordered_json& report);

}

#endif
