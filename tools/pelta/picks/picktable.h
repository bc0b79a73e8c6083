#ifndef PELTA_TOOL_PICKTABLE_H
#define PELTA_TOOL_PICKTABLE_H

#include <cstdint>
#include <optional>
#include <string>

#include "flow/tracetable.h"

namespace pelta {

/* First-break times out of a CSV file with a heading (see TraceTable); the time is the first of the columns pick_ms,
 * first_break_ms, time_ms and time_s. */
class PickTable {
  public:
    /* Fails (Failure) with file and line. */
    explicit PickTable(const std::string& fileName);

    std::optional<double> timeMs(std::int64_t trace, std::int64_t record, std::int64_t channel) const {
        return _table.value(trace, record, channel);
    }
    std::size_t size() const { return _table.size(); }

  private:
    TraceTable _table;
};

}

#endif
