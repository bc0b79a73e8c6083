#ifndef PELTA_TOOL_STACKING_LINEHEADERS_H
#define PELTA_TOOL_STACKING_LINEHEADERS_H

#include <cstdint>
#include <string>
#include <vector>

#include "segy/reader.h"

namespace pelta::stacking {

/* A CDP and its first and last trace, by their places in the file from 0. */
struct Gather {
    std::int64_t cdp = 0, first = 0, last = 0;
};

/* What the headers of a line say that matters to a stack, trace by trace. CDP 0 is no CDP: the word was not filled in. */
class LineHeaders {
  public:
    /* name: of the file, for messages */
    LineHeaders(std::string name, const segy::Layout& layout) : _name(std::move(name)), _layout(layout) {}

    /* The CDP of the next trace. Fails when the trace begins at another time than the first one. */
    std::int64_t take(const segy::Trace& trace);
    /* Once all traces were taken: fails when none has a CDP. */
    void requireCdps() const;

    std::int64_t tracesWithoutCdp() const { return _tracesWithoutCdp; }

  private:
    std::string _name;
    const segy::Layout& _layout;
    std::int64_t _traces = 0, _tracesWithoutCdp = 0;
    double _delayMs = 0.0;
};

/* The gathers of a file by ascending CDP, found in one pass over its headers; the reader stands at the first trace again. */
std::vector<Gather> findGathers(segy::Reader& reader, LineHeaders& headers);

/* The order in which stacked traces are written. */
enum class Order { ascending, asCompleted };

/* The most memory that the gathers take at once: a sum from a gather's first trace to its last, and in ascending order the
 * stacked trace from then on until those of all lower CDPs are done. */
std::int64_t memoryNeeded(const std::vector<Gather>& gathers, Order order, std::int64_t sumBytes, std::int64_t traceBytes);

}

#endif
