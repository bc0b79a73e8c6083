#include "inspection/inspection.h"

#include <fmt/format.h>

#include "support/failure.h"

namespace pelta::inspection {

bool Inspection::next() {
    try {
        if (!_reader.next(_trace)) {
            _isWhole = true;
            return false;
        }
    } catch (const Failure& failure) {
        _failure = failure.what();
        return false;
    }
    segy::decode(_trace, _reader.layout());
    const Words words = readWords(_trace, _reader.layout());
    _words.take(_trace, words);
    _headers.take(_trace, words);
    _samples.take(judgeSamples(_trace.samples, smallestClipOf(_reader.layout().format)), get(words, segy::Word::traceType),
                  _trace.number + 1);
    ++_seen;
    return true;
}

void Inspection::readAll() {
    while (next()) {}
}

void Inspection::readSome(std::int64_t mostTraces) {
    const std::optional<std::int64_t> count = _reader.traceCount();
    if (!count) {
        for (std::int64_t k = 0; k < mostTraces && next(); ++k) {}
        return;
    }
    const std::int64_t last = std::min(mostTraces, *count) - 1;
    for (std::int64_t k = 0; k <= last; ++k) {
        _reader.seek(last == 0
                         ? 0
                         : static_cast<std::int64_t>(
                               static_cast<double>(*count - 1) / static_cast<double>(last) * static_cast<double>(k) + 0.5));
        if (!next()) return;
    }
}

std::optional<std::int64_t> Inspection::traceCount() const {
    if (const auto count = _reader.traceCount()) return count;
    if (_isWhole) return _seen;
    return {};
}

bool Inspection::fitsFile() const { return traceCount().has_value() && _reader.truncatedBytes() == 0; }

namespace {

/* Places in the binary header where 0 leaves the file's times or lengths to guesses. */
bool isNeeded(std::int64_t byte) { return byte == 3217 || byte == 3221; }

bool isZero(const Value& value) { return value == Value(std::int64_t{0}); }

}

/* What the reader says of bytes from the first trace on is left out: that is looked at on every trace here. */
void Inspection::addFileFindings(std::vector<Finding>& list) const {
    const segy::Layout& layout = _reader.layout();
    for (const std::string& line : _reader.warnings()) {
        Finding finding = findingFromLine(Severity::warning, line, _reader.name());
        if (finding.byte && *finding.byte > layout.firstTraceByte) continue;
        const bool isDoubtful = finding.byte && isNeeded(*finding.byte) && (isZero(finding.found) || !fitsFile());
        if (isDoubtful) finding.severity = Severity::error;
        list.push_back(std::move(finding));
    }
    const std::int64_t whole = traceCount().value_or(_seen), rest = _reader.truncatedBytes();
    if (rest > 0) {
        Finding finding{
            Severity::error,
            fmt::format("trace {} at byte {} is cut off: {} of {} bytes are there; expected whole traces; --samples "
                        "or --format override wrong words",
                        whole + 1, layout.firstTraceByte + whole * layout.traceBytes() + 1, rest, layout.traceBytes())};
        finding.byte = layout.firstTraceByte + whole * layout.traceBytes() + 1;
        finding.found = rest;
        finding.expected = layout.traceBytes();
        finding.option = "--samples";
        finding.trace = whole + 1;
        finding.count = 1;
        list.push_back(std::move(finding));
    }
    if (traceCount() && whole < layout.promisedTraces) {
        Finding finding{Severity::error, fmt::format("{} traces are promised at byte 3513, found {}; --samples or --format "
                                                     "override wrong words",
                                                     layout.promisedTraces, whole)};
        finding.byte = 3513;
        finding.found = whole;
        finding.expected = layout.promisedTraces;
        finding.option = "--samples";
        list.push_back(std::move(finding));
    }
    if (!_failure.empty()) list.push_back(findingFromLine(Severity::error, _failure, _reader.name()));
}

void Inspection::addSampleFindings(std::vector<Finding>& list) const {
    const auto add = [&](Severity severity, const SampleScan::Kind& kind, const std::string& what, Value found, Value expected,
                         const std::string& help, const std::string& option) {
        if (kind.count == 0) return;
        Finding finding{severity, fmt::format("{}: {}; {}", what, spanText(kind.count, _seen, kind.first.front()), help)};
        finding.byte = _reader.layout().firstTraceByte + (kind.first.front() - 1) * _reader.layout().traceBytes() + 1;
        finding.found = std::move(found);
        finding.expected = std::move(expected);
        finding.option = option;
        finding.trace = kind.first.front();
        finding.count = kind.count;
        list.push_back(std::move(finding));
    };
    const SampleScan& s = _samples;
    add(Severity::error, s.bad,
        fmt::format("{} samples are NaN and {} infinite, the first is sample {}", s.nanCount, s.infiniteCount,
                    s.firstBadSample),
        s.nanCount + s.infiniteCount, std::int64_t{0}, "expected finite samples; --format and --endian say how to read them",
        "--format");
    add(Severity::warning, s.markedButLive, "trace_type says dead (2), but the samples vary", std::int64_t{2}, std::int64_t{1},
        "expected 1; --map trace_type=BYTE:SIZE names another word", "--map");
    add(Severity::warning, s.spiky, "spike", static_cast<double>(s.largestSpike), Value(),
        fmt::format("up to {:.3g} times the RMS of the trace", s.largestSpike), "");
    add(Severity::warning, s.clipped, "clipped samples", s.clippedCount, std::int64_t{0},
        fmt::format("{} samples stand in runs at the largest amplitude of their trace", s.clippedCount), "");
    if (_seen > 0 && s.dead.count == _seen)
        add(Severity::warning, s.dead, "dead", s.dead.count, Value(), "expected samples that vary", "");
}

std::vector<Finding> Inspection::findings() const {
    std::vector<Finding> list;
    addFileFindings(list);
    for (Finding& finding : _headers.findings(_words, fitsFile())) list.push_back(std::move(finding));
    addSampleFindings(list);
    std::stable_partition(list.begin(), list.end(), [](const Finding& f) { return f.severity == Severity::error; });
    return list;
}

int countErrors(const std::vector<Finding>& findings) {
    return static_cast<int>(std::count_if(findings.begin(), findings.end(),
                                          [](const Finding& finding) { return finding.severity == Severity::error; }));
}

}
