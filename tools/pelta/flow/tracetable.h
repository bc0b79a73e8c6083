#ifndef PELTA_TOOL_TRACETABLE_H
#define PELTA_TOOL_TRACETABLE_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/textlines.h"

namespace pelta {

/* A heading that a table's value may stand under, and what the numbers there are multiplied by. */
struct ValueColumn {
    std::string heading;
    double factor;
};

/* What a table of traces holds. */
struct TraceTableKind {
    std::string what;                 /* "table of picks", for messages */
    std::vector<ValueColumn> columns; /* the first of them that is there counts */
    bool takesLastOfSeveral;          /* of several values of one trace; otherwise they must be equal */
};

/* One value a trace out of a CSV file with a heading. A trace is found by its number (column "trace", from 1) or by record
 * and channel (columns "record" or "ffid", and "channel"). Lines with an empty value, or with 0 in a column "valid", hold
 * none. */
class TraceTable {
  public:
    /* Fails (Failure) with file and line. */
    TraceTable(const std::string& fileName, const TraceTableKind& kind);

    std::optional<double> value(std::int64_t trace, std::int64_t record, std::int64_t channel) const;
    std::size_t size() const { return _values.size(); }

  private:
    std::shared_ptr<const TextLines> _file; /* no output can take its place */
    bool _byTrace = false;
    std::map<std::pair<std::int64_t, std::int64_t>, double> _values;
};

}

#endif
