#ifndef PELTA_TOOL_JSONREPORT_H
#define PELTA_TOOL_JSONREPORT_H

#include <string>

#include "inspection/inspection.h"

namespace pelta::inspection {

/* What textReport says and more, for programs: JSON, all of it whatever the options. */
std::string jsonReport(const Inspection& inspection);
/* Of a file whose traces cannot be found. */
std::string jsonReportOfUnreadable(const std::string& fileName, const std::string& failure);

}

#endif
