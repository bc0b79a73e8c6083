#include "inspection/headerscan.h"

#include <fmt/format.h>

#include <cmath>

namespace pelta::inspection {

using segy::Word;

void HeaderScan::Tally::take(std::int64_t number, std::int64_t foundThen, double expectedThen) {
    if (count++ == 0) {
        trace = number;
        found = foundThen;
        expected = expectedThen;
    }
}

void HeaderScan::take(const segy::Trace& trace, const Words& words) {
    const std::int64_t number = trace.number + 1;
    checkCounts(words, number);
    checkScalars(words, number);
    takePlaces(words, number);
    checkOffset(words, number);
    checkOrder(words, number);
    _before = words;
    ++_traces;
}

namespace {

std::int64_t bytesSwapped(std::int64_t value) { return (value & 0xFF) << 8 | (value >> 8 & 0xFF); }

}

/* The words of 2 bytes cannot hold every count, nor fractions of a microsecond; then they are free. */
void HeaderScan::checkCounts(const Words& words, std::int64_t number) {
    const std::int64_t samples = get(words, Word::samples), interval = get(words, Word::interval);
    if (samples != _layout.sampleCount && _layout.sampleCount <= UINT16_MAX) {
        const bool isSwapped = samples != 0 && bytesSwapped(samples) == _layout.sampleCount;
        (isSwapped ? _swappedSamples : _samples).take(number, samples);
    }
    const double microseconds = 1000.0 * _layout.intervalMs;
    if (microseconds <= UINT16_MAX && std::fabs(static_cast<double>(interval) - microseconds) >= 1.0)
        _interval.take(number, interval, microseconds);
}

void HeaderScan::checkScalars(const Words& words, std::int64_t number) {
    const auto isAnyFilled = [&](std::initializer_list<Word> list) {
        return std::any_of(list.begin(), list.end(), [&](Word word) { return get(words, word) != 0; });
    };
    const auto check = [&](Word scalar, bool isNeeded, Tally* zero, Tally& bad) {
        const std::int64_t value = get(words, scalar);
        if (!isNeeded) return;
        if (value == 0 && zero) zero->take(number, 0);
        if (!segy::isScalar(value)) bad.take(number, value);
    };
    check(Word::coordinateScalar,
          isAnyFilled({Word::sourceX, Word::sourceY, Word::receiverX, Word::receiverY, Word::cdpX, Word::cdpY}),
          &_coordinateScalarZero, _coordinateScalarBad);
    check(Word::elevationScalar, isAnyFilled({Word::receiverElevation, Word::sourceElevation, Word::sourceDepth}),
          &_elevationScalarZero, _elevationScalarBad);
    check(Word::timeScalar, isAnyFilled({Word::delay}), nullptr, _timeScalar);
}

void HeaderScan::takePlaces(const Words& words, std::int64_t number) {
    const std::int64_t scalar = get(words, Word::coordinateScalar), elevationScalar = get(words, Word::elevationScalar);
    const auto takePlace = [&](Places& places, Word x, Word y) {
        if (get(words, x) == 0 && get(words, y) == 0) {
            if (places.atOrigin++ == 0) places.firstAtOrigin = number;
            return;
        }
        places.x.take(segy::scaled(get(words, x), scalar));
        places.y.take(segy::scaled(get(words, y), scalar));
    };
    takePlace(_sources, Word::sourceX, Word::sourceY);
    takePlace(_receivers, Word::receiverX, Word::receiverY);
    takePlace(_cdps, Word::cdpX, Word::cdpY);
    _sourceElevations.take(segy::scaled(get(words, Word::sourceElevation), elevationScalar));
    _receiverElevations.take(segy::scaled(get(words, Word::receiverElevation), elevationScalar));
    _delays.take(segy::scaled(get(words, Word::delay), get(words, Word::timeScalar)));
}

namespace {

constexpr std::int64_t secondsOfArc = 2, decimalDegrees = 3, packedDegrees = 4;

/* The largest coordinate that the unit allows; infinity for lengths. */
double largestCoordinate(std::int64_t units) {
    if (units == secondsOfArc) return 360.0 * 3600.0;
    if (units == decimalDegrees) return 360.0;
    return std::numeric_limits<double>::infinity();
}

}

/* Degrees and seconds of arc are no distances; numbers beyond a full circle are no angles, whatever the unit word says. */
void HeaderScan::checkOffset(const Words& words, std::int64_t number) {
    const std::int64_t units = get(words, Word::coordinateUnits), scalar = get(words, Word::coordinateScalar);
    const double receiverX = segy::scaled(get(words, Word::receiverX), scalar);
    const double receiverY = segy::scaled(get(words, Word::receiverY), scalar);
    const double sourceX = segy::scaled(get(words, Word::sourceX), scalar);
    const double sourceY = segy::scaled(get(words, Word::sourceY), scalar);
    const double largest = std::max({std::fabs(receiverX), std::fabs(receiverY), std::fabs(sourceX), std::fabs(sourceY)});
    const bool isBeyondCircle = largest > largestCoordinate(units);
    if (isBeyondCircle) _coordinateUnits.take(number, units, largest);
    const bool isAngle = (units == secondsOfArc || units == decimalDegrees || units == packedDegrees) && !isBeyondCircle;
    _angles += isAngle;
    if (isAngle) return;
    const double east = receiverX - sourceX, north = receiverY - sourceY;
    const double distance = std::sqrt(east * east + north * north);
    const std::int64_t offset = get(words, Word::offset);
    constexpr double share = 0.03, unit = 1.0;
    if (distance > unit) _distance.take(number, 0, distance);
    if (std::fabs(std::fabs(static_cast<double>(offset)) - distance) > unit + share * distance)
        _offset.take(number, offset, distance);
}

/* A line may begin anew with each record or inline. */
void HeaderScan::checkOrder(const Words& words, std::int64_t number) {
    const auto isSame = [&](Word word) { return get(words, word) == get(_before, word); };
    const bool isSameLine = isSame(Word::record) && isSame(Word::inlineNumber);
    const auto check = [&](Word word, bool mustAscend, Tally& tally) {
        const std::int64_t now = get(words, word), before = get(_before, word);
        if (_traces > 0 && mustAscend && now <= before) tally.take(number, now, static_cast<double>(before));
    };
    check(Word::trace, isSameLine, _traceOrder);
    check(Word::traceInFile, true, _traceInFileOrder);
    constexpr std::int64_t lastSeismicType = 2; /* live and dead; auxiliary traces number their channels by themselves */
    const std::int64_t record = get(words, Word::record), channel = get(words, Word::channel);
    if (record == 0 || channel == 0 || get(words, Word::traceType) > lastSeismicType) return;
    if (_stations.isFull()) _stations.clear();
    const std::uint64_t station = static_cast<std::uint64_t>(record) << 32 ^ static_cast<std::uint32_t>(channel);
    if (!_stations.insert(station)) _duplicates.take(number, channel, static_cast<double>(record));
}

/* Points at (0, 0) beside others are missing ones where (0, 0) lies farther from them than the line is long. */
bool HeaderScan::isMissingAtOrigin(const Places& places) const {
    const double extent = std::max(
        {_sources.x.width(), _sources.y.width(), _receivers.x.width(), _receivers.y.width(), _cdps.x.width(), _cdps.y.width()});
    const auto isFar = [&](const Interval& span) { return span.min > extent || span.max < -extent; };
    return places.atOrigin > 0 && places.isFilled() && (isFar(places.x) || isFar(places.y));
}

Places HeaderScan::withOrigin(Places places) const {
    if (places.atOrigin == 0 || !places.isFilled() || isMissingAtOrigin(places)) return places;
    places.x.take(0.0);
    places.y.take(0.0);
    return places;
}

std::string spanText(std::int64_t count, std::int64_t total, std::int64_t first, bool isSample) {
    const char* read = isSample ? " read" : "";
    if (total == 1) return fmt::format("the only trace{}", read);
    if (count == total) return fmt::format("all {} traces{}", total, read);
    return fmt::format("{} of {}{} traces{}, the first is {}", count, isSample ? "the " : "", total, read, first);
}

namespace {

std::string nameOf(Word word) { return segy::HeaderMap::names()[static_cast<std::size_t>(word)]; }

}

Finding HeaderScan::wordFinding(Word word, const Tally& tally, const std::string& what, Value expected,
                                const std::string& expectation, const std::string& help) const {
    Finding finding;
    const int position = _layout.words[word].position;
    finding.word = nameOf(word);
    finding.byte = _layout.firstTraceByte + (tally.trace - 1) * _layout.traceBytes() + position;
    finding.found = tally.found;
    finding.expected = std::move(expected);
    finding.trace = tally.trace;
    finding.count = tally.count;
    finding.option = help.substr(0, help.find(' '));
    finding.text = fmt::format("{} at trace byte {} {} on {}; expected {}; {}", finding.word, position, what,
                               spanText(tally.count, _traces, tally.trace, _isSample), expectation, help);
    return finding;
}

namespace {

std::string mapHelp(Word word) { return fmt::format("--map {}=BYTE:SIZE names another word", nameOf(word)); }

}

void HeaderScan::addCounts(std::vector<Finding>& list, const WordRanges& ranges, bool fitsFile) const {
    if (_samples.count > 0 && ranges.isFilled(Word::samples)) {
        Finding finding = wordFinding(Word::samples, _samples, fmt::format("is {}", _samples.found), _layout.sampleCount,
                                      fmt::format("{}, as taken for the file", _layout.sampleCount), "--samples overrides it");
        if (!fitsFile) finding.severity = Severity::error;
        list.push_back(std::move(finding));
    }
    if (_swappedSamples.count > 0) {
        Finding finding =
            wordFinding(Word::samples, _swappedSamples, fmt::format("is {}", _swappedSamples.found), _layout.sampleCount,
                        fmt::format("{}, which its bytes are when swapped: wrong byte order", _layout.sampleCount),
                        "--endian overrides it");
        finding.severity = Severity::error;
        list.push_back(std::move(finding));
    }
    if (_interval.count > 0 && ranges.isFilled(Word::interval))
        list.push_back(wordFinding(Word::interval, _interval, fmt::format("is {} us", _interval.found), _interval.expected,
                                   fmt::format("{:g} us, as taken for the file", _interval.expected),
                                   "--interval overrides it"));
}

void HeaderScan::addScalars(std::vector<Finding>& list) const {
    const std::string expectation = "1, 10, 100, 1000 or 10000 or one of these negative";
    const auto addZero = [&](Word word, const Tally& tally, const char* filled) {
        if (tally.count > 0)
            list.push_back(wordFinding(word, tally, fmt::format("is 0 beside {}", filled), expectation,
                                       expectation + " (1 is taken)", mapHelp(word)));
    };
    const auto addBad = [&](Word word, const Tally& tally) {
        if (tally.count > 0)
            list.push_back(wordFinding(word, tally, fmt::format("is {}", tally.found), expectation,
                                       expectation + " (1 is taken)", mapHelp(word)));
    };
    addZero(Word::elevationScalar, _elevationScalarZero, "elevations");
    addBad(Word::elevationScalar, _elevationScalarBad);
    addZero(Word::coordinateScalar, _coordinateScalarZero, "coordinates");
    addBad(Word::coordinateScalar, _coordinateScalarBad);
    addBad(Word::timeScalar, _timeScalar);
    if (_coordinateUnits.count > 0)
        list.push_back(wordFinding(
            Word::coordinateUnits, _coordinateUnits,
            fmt::format("is {} ({}) beside the coordinate {:.10g}", _coordinateUnits.found,
                        _coordinateUnits.found == decimalDegrees ? "degrees" : "seconds of arc", _coordinateUnits.expected),
            std::int64_t{1}, "1 (lengths)", mapHelp(Word::coordinateUnits)));
}

void HeaderScan::addPlaces(std::vector<Finding>& list) const {
    const auto add = [&](const Places& places, Word x, const char* name) {
        if (!isMissingAtOrigin(places)) return;
        const Tally tally{places.atOrigin, places.firstAtOrigin};
        list.push_back(wordFinding(x, tally, fmt::format("and {}_y are 0", name), Value(), "coordinates as on the other traces",
                                   mapHelp(x)));
    };
    add(_sources, Word::sourceX, "source");
    add(_receivers, Word::receiverX, "receiver");
    add(_cdps, Word::cdpX, "cdp");
}

void HeaderScan::addOffsets(std::vector<Finding>& list, const WordRanges& ranges) const {
    if (!_sources.isFilled() || !_receivers.isFilled()) return;
    if (!ranges.isFilled(Word::offset)) {
        if (_distance.count > 0)
            list.push_back(wordFinding(Word::offset, _distance, "is 0", _distance.expected,
                                       fmt::format("{:.6g} as the coordinates have it", _distance.expected),
                                       mapHelp(Word::offset)));
        return;
    }
    if (_offset.count > 0)
        list.push_back(wordFinding(Word::offset, _offset, fmt::format("is {}", _offset.found), _offset.expected,
                                   fmt::format("{:.6g} as the coordinates have it", _offset.expected), mapHelp(Word::offset)));
}

void HeaderScan::addOrder(std::vector<Finding>& list, const WordRanges& ranges) const {
    const auto add = [&](Word word, const Tally& tally) {
        if (tally.count > 0 && ranges.isFilled(word))
            list.push_back(wordFinding(word, tally, fmt::format("is {} behind {:.0f}", tally.found, tally.expected), Value(),
                                       "ascending numbers", mapHelp(word)));
    };
    add(Word::trace, _traceOrder);
    add(Word::traceInFile, _traceInFileOrder);
    const bool hasChannels = ranges[Word::channel].min != ranges[Word::channel].max;
    if (_duplicates.count > 0 && hasChannels)
        list.push_back(wordFinding(Word::channel, _duplicates,
                                   fmt::format("is {} once more in record {:.0f}", _duplicates.found, _duplicates.expected),
                                   Value(), "each channel once a record", mapHelp(Word::channel)));
}

std::vector<Finding> HeaderScan::findings(const WordRanges& ranges, bool fitsFile) const {
    std::vector<Finding> list;
    addOrder(list, ranges);
    addOffsets(list, ranges);
    addScalars(list);
    addPlaces(list);
    addCounts(list, ranges, fitsFile);
    return list;
}

}
