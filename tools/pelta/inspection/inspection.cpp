#include "inspection/inspection.h"

#include <fmt/format.h>

#include <cmath>

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
    _format.take(_trace);
    _samples.take(judgeSamples(_trace.samples, smallestClipOf(_reader.layout().format)), get(words, segy::Word::traceType),
                  _trace.number + 1);
    ++_seen;
    return true;
}

void Inspection::readAll() {
    while (next()) {}
    _headers.setIsSample(isSample());
}

void Inspection::readSome(std::int64_t mostTraces) {
    const std::optional<std::int64_t> count = _reader.traceCount();
    const std::int64_t last = std::min(mostTraces, count.value_or(mostTraces)) - 1;
    const double step = count && last > 0 ? static_cast<double>(*count - 1) / static_cast<double>(last) : 0.0;
    for (std::int64_t k = 0; k <= last; ++k) {
        if (count) _reader.seek(std::llround(step * static_cast<double>(k)));
        if (!next()) break;
    }
    _headers.setIsSample(isSample());
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

bool isZero(const Value& value) {
    const auto* number = std::get_if<std::int64_t>(&value);
    return number && *number == 0;
}

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
    const segy::Layout& layout = _reader.layout();
    const auto add = [&](Severity severity, const SampleScan::Kind& kind, const std::string& what, Value found, Value expected,
                         const std::string& help, std::int64_t byteInTrace = 1) {
        if (kind.count == 0) return;
        const std::int64_t trace = kind.first.front();
        const std::int64_t byte = layout.firstTraceByte + (trace - 1) * layout.traceBytes() + byteInTrace;
        const std::string span = spanText(kind.count, _seen, trace, isSample());
        list.push_back({.severity = severity,
                        .text = fmt::format("{} on {}, from byte {}; {}", what, span, byte, help),
                        .byte = byte,
                        .found = std::move(found),
                        .expected = std::move(expected),
                        .option = help.find("--") == std::string::npos
                                      ? ""
                                      : help.substr(help.find("--"), help.find(' ', help.find("--")) - help.find("--")),
                        .trace = trace,
                        .count = kind.count});
    };
    const SampleScan& s = _samples;
    const std::int64_t badCount = s.nanCount + s.infiniteCount;
    add(Severity::error, s.bad, fmt::format("samples are not finite ({} NaN, {} infinite)", s.nanCount, s.infiniteCount),
        badCount, std::int64_t{0}, "expected numbers; --format or --endian override how they are read",
        layout.headerBytesPerTrace() + (s.firstBadSample - 1) * segy::bytesPerSample(layout.format) + 1);
    const segy::HeaderWord typeWord = layout.words[segy::Word::traceType];
    add(Severity::warning, s.markedButLive,
        fmt::format("trace_type at trace byte {} is 2 (dead) beside samples that vary", typeWord.position), std::int64_t{2},
        std::int64_t{1}, "expected 1 (live); --map trace_type=BYTE:SIZE names another word", typeWord.position);
    add(Severity::warning, s.spiky, fmt::format("a sample stands out, up to {:.3g} times the RMS,", s.largestSpike),
        static_cast<double>(s.largestSpike), Value(), "expected no spikes");
    add(Severity::warning, s.clipped, fmt::format("{} samples are clipped", s.clippedCount), s.clippedCount, std::int64_t{0},
        "expected no runs of samples at the largest amplitude of a trace");
    if (s.dead.count == _seen)
        add(Severity::warning, s.dead, "no live samples", std::int64_t{0}, Value(), "expected samples that vary");
}

std::vector<Finding> Inspection::findings() const {
    std::vector<Finding> list;
    addFileFindings(list);
    for (Finding& finding : _format.findings()) list.push_back(std::move(finding));
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
