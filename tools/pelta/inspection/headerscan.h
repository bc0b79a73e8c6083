#ifndef PELTA_TOOL_HEADERSCAN_H
#define PELTA_TOOL_HEADERSCAN_H

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "inspection/finding.h"
#include "inspection/wordranges.h"

namespace pelta::inspection {

struct Interval {
    double min = std::numeric_limits<double>::infinity(), max = -std::numeric_limits<double>::infinity();
    void take(double value) {
        min = std::min(min, value);
        max = std::max(max, value);
    }
    bool isEmpty() const { return min > max; }
    double width() const { return isEmpty() ? 0.0 : max - min; }
};

/* Where a kind of point lies, scalars applied. */
struct Places {
    Interval x, y;                                /* over the traces on which it is not (0, 0) */
    std::int64_t atOrigin = 0, firstAtOrigin = 0; /* traces on which it is */
    bool isFilled() const { return !x.isEmpty(); }
};

/* Trace-header words that contradict one another or the file. */
class HeaderScan {
  public:
    explicit HeaderScan(const segy::Layout& layout) : _layout(layout) {}

    void take(const segy::Trace& trace, const Words& words);
    /* One for each contradiction, in the order of the words.
     *   fitsFile  the file's size holds whole traces of the layout's sample count, so that another count is a slip only */
    std::vector<Finding> findings(const WordRanges& ranges, bool fitsFile) const;
    /* Whether the traces taken are only some of the file's, which findings then say. */
    void setIsSample(bool isSample) { _isSample = isSample; }

    /* With the origin where that is a place of the line and no missing one. */
    Places sources() const { return withOrigin(_sources); }
    Places receivers() const { return withOrigin(_receivers); }
    Places cdps() const { return withOrigin(_cdps); }
    const Interval& sourceElevations() const { return _sourceElevations; }
    const Interval& receiverElevations() const { return _receiverElevations; }
    /* False where coordinate_units says so and the numbers allow it. */
    bool areLengths() const { return _angles == 0; }
    const Interval& delays() const { return _delays; }

  private:
    /* How often, and what it was like the first time. */
    struct Tally {
        std::int64_t count = 0, trace = 0;
        std::int64_t found = 0;
        double expected = 0.0;
        void take(std::int64_t number, std::int64_t foundThen, double expectedThen = 0.0);
    };

    void checkCounts(const Words& words, std::int64_t number);
    void checkScalars(const Words& words, std::int64_t number);
    void takePlaces(const Words& words, std::int64_t number);
    void checkOffset(const Words& words, std::int64_t number);
    void checkOrder(const Words& words, std::int64_t number);

    bool isMissingAtOrigin(const Places& places) const;
    Places withOrigin(Places places) const;

    Finding wordFinding(segy::Word word, const Tally& tally, const std::string& what, Value expected,
                        const std::string& expectation, const std::string& help) const;
    void addCounts(std::vector<Finding>& list, const WordRanges& ranges, bool fitsFile) const;
    void addScalars(std::vector<Finding>& list) const;
    void addPlaces(std::vector<Finding>& list) const;
    void addOffsets(std::vector<Finding>& list, const WordRanges& ranges) const;
    void addOrder(std::vector<Finding>& list, const WordRanges& ranges) const;

    const segy::Layout& _layout;
    bool _isSample = false;
    std::int64_t _traces = 0, _angles = 0; /* with coordinates that are angles */
    Tally _samples, _swappedSamples, _interval, _timeScalar;
    Tally _coordinateScalarZero, _coordinateScalarBad, _elevationScalarZero, _elevationScalarBad;
    Tally _coordinateUnits, _offset, _distance, _traceOrder, _traceInFileOrder, _duplicates;
    Places _sources, _receivers, _cdps;
    Interval _sourceElevations, _receiverElevations, _delays;
    Words _before = {};
    ValueSet _stations{std::size_t{1} << 21}; /* record and channel of so many traces at most, which bounds the memory */
};

/* "all 480 traces", "12 of 480 traces, the first is 5"; of a sample of the file "12 of the 24 traces read, ...". */
std::string spanText(std::int64_t count, std::int64_t total, std::int64_t first, bool isSample);

}

#endif
