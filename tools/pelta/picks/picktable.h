#ifndef PELTA_TOOL_PICKTABLE_H
#define PELTA_TOOL_PICKTABLE_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace pelta {

/* First-break times out of a CSV file with a heading. A trace is found by its number (column "trace", from 1) or by record
 * and channel (columns "record" or "ffid", and "channel"); the time is the first of the columns pick_ms, first_break_ms,
 * time_ms and time_s. Lines with an empty time, or with 0 in a column "valid", hold no pick. */
class PickTable {
  public:
    /* Fails (Failure) with file and line. */
    explicit PickTable(const std::string& fileName);

    std::optional<double> timeMs(std::int64_t trace, std::int64_t record, std::int64_t channel) const;
    std::size_t size() const { return _times.size(); }

  private:
    bool _byTrace = false;
    std::map<std::pair<std::int64_t, std::int64_t>, double> _times;
};

}

#endif
