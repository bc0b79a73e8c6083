#ifndef PELTA_TOOL_STACKING_STACK_H
#define PELTA_TOOL_STACKING_STACK_H

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "flow/pipeline.h"
#include "segy/writer.h"
#include "stacking/gathersum.h"
#include "stacking/lineheaders.h"

namespace pelta::stacking {

struct StackOptions {
    double foldExponent = 1.0;
    std::int64_t memoryBytes = std::int64_t{1} << 30;
    bool overwrite = false;
    std::vector<std::string> history = {}; /* lines for the text header */
};

struct StackSummary {
    std::int64_t gathers = 0, deadGathers = 0, firstDeadGather = 0;
    std::int64_t smallestFold = 0, largestFold = 0; /* of the gathers with live traces */
    std::int64_t liveTraces = 0, deadTraces = 0, tracesWithoutCdp = 0;
    std::int64_t clippedSamples = 0;
};

/* Sums the traces of every CDP and writes one trace for each.
 *
 * Of a file the headers are read first: they tell where each CDP ends, so that its sum is written and its memory used again
 * with its last trace. What is kept is three numbers a CDP, a sum for each CDP that is open (12 bytes a sample), and stacked
 * traces that wait for a lower CDP; the last are written at once, out of order, where memory does not allow to wait.
 *
 * Of a pipe nobody knows where a CDP ends: all are kept open while memory allows. Beyond that the traces must have come
 * sorted by CDP, and all CDPs but the last are taken for complete. */
class Stack : public TraceSink {
  public:
    /* Of a file: fails when its headers make no stack. */
    Stack(segy::Reader& reader, std::string outputName, StackOptions options);

    void begin(const Line& line) override;
    void take(const WorkTrace& work) override;
    void drop(const WorkTrace& work) override;
    void check() override;
    void finish() override;

    const StackSummary& summary() const { return _summary; }

  private:
    struct OpenGather {
        GatherSum sum;
        std::int64_t last = 0; /* the trace that completes it */
    };
    using Opened = std::unique_ptr<OpenGather>;

    void planOrder();
    segy::Preamble preambleFor(const Line& line) const;
    std::int64_t lastOf(std::int64_t cdp) const;
    OpenGather& gatherOf(std::int64_t cdp);
    Opened open(std::int64_t cdp);
    void makeRoomInPipe();
    void completeAll();
    void close(std::int64_t cdp);
    void complete(Opened gather);
    void writeInTurn(std::int64_t cdp);
    void write(segy::Trace& stacked);

    segy::Reader& _reader;
    std::string _outputName;
    StackOptions _options;
    LineHeaders _headers;
    segy::Layout _layout; /* of the output */
    FoldScale _scale;
    std::int64_t _openBytes; /* of one open gather */
    std::optional<segy::Writer> _writer;
    StackSummary _summary;

    std::unordered_map<std::int64_t, Opened> _open; /* by CDP */
    std::vector<Opened> _spare;
    segy::Trace _stacked;

    /* Of a file: */
    std::vector<Gather> _gathers;
    Order _order = Order::asCompleted;
    std::map<std::int64_t, segy::Trace> _waiting; /* stacked, for a lower CDP; empty where all were dropped */
    std::size_t _next = 0;                        /* the gather whose turn it is */

    /* Of a pipe: */
    bool _isPipe, _isSorted = true;
    std::int64_t _lastCdp = 0;
    std::unordered_set<std::int64_t> _written;
};

}

#endif
