#include "inspection/jsonreport.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "segy/textheader.h"

namespace pelta::inspection {

using nlohmann::ordered_json;
using segy::Word;

namespace {

ordered_json jsonOf(const std::optional<std::int64_t>& value) { return value ? ordered_json(*value) : ordered_json(); }
ordered_json jsonOf(const Interval& span) {
    if (span.isEmpty()) return {};
    return {{"min", span.min}, {"max", span.max}};
}
ordered_json jsonOf(const Places& places) {
    return places.isFilled() ? ordered_json{{"x", jsonOf(places.x)}, {"y", jsonOf(places.y)}} : ordered_json();
}
ordered_json jsonOf(const SampleScan::Kind& kind) { return {{"count", kind.count}, {"first", kind.first}}; }
ordered_json jsonOf(const SampleScan::Span& span) {
    if (span.count == 0) return {};
    return {{"min", span.min}, {"min_trace", span.minTrace}, {"max", span.max}, {"max_trace", span.maxTrace}};
}
ordered_json jsonOf(const Value& value) {
    return std::visit(
        [](const auto& held) {
            if constexpr (std::is_same_v<std::decay_t<decltype(held)>, std::monostate>) return ordered_json();
            else return ordered_json(held);
        },
        value);
}
ordered_json jsonOf(const std::string& text) { return text.empty() ? ordered_json() : ordered_json(text); }

ordered_json jsonOf(const std::vector<Finding>& findings) {
    ordered_json list = ordered_json::array();
    for (const Finding& finding : findings)
        list.push_back({{"severity", nameOf(finding.severity)},
                        {"byte", jsonOf(finding.byte)},
                        {"word", jsonOf(finding.word)},
                        {"found", jsonOf(finding.found)},
                        {"expected", jsonOf(finding.expected)},
                        {"option", jsonOf(finding.option)},
                        {"text", finding.text},
                        {"trace", jsonOf(finding.trace)},
                        {"count", finding.count}});
    return list;
}

ordered_json jsonOf(const segy::Layout& layout) {
    return {{"revision", fmt::format("{}.{}", layout.revisionMajor, layout.revisionMinor)},
            {"byte_order", layout.byteOrder == segy::ByteOrder::big ? "big" : "little"},
            {"text_encoding", layout.textEncoding == segy::TextEncoding::ebcdic ? "ebcdic" : "ascii"},
            {"format", segy::nameOf(layout.format)},
            {"format_code", static_cast<int>(layout.format)},
            {"samples", layout.sampleCount},
            {"interval_ms", layout.intervalMs},
            {"length_ms", layout.intervalMs * static_cast<double>(layout.sampleCount)},
            {"length_unit", layout.lengthUnit()},
            {"extended_text_headers", layout.extendedTextHeaders},
            {"first_trace_byte", layout.firstTraceByte + 1},
            {"trace_bytes", layout.traceBytes()},
            {"promised_traces", layout.promisedTraces > 0 ? ordered_json(layout.promisedTraces) : ordered_json()}};
}

ordered_json jsonOfText(const segy::Reader& reader) {
    ordered_json headers = ordered_json::array();
    for (int header = 0;; ++header) {
        const std::vector<std::string> lines = segy::textLines(reader.preamble(), reader.layout(), header);
        if (lines.empty()) return headers;
        headers.push_back(lines);
    }
}

ordered_json jsonOf(const WordRanges& words, const segy::HeaderMap& map) {
    ordered_json list = ordered_json::array();
    const std::vector<std::string> names = segy::HeaderMap::names();
    for (std::size_t k = 0; k < segy::wordCount; ++k) {
        const auto word = static_cast<Word>(k);
        const WordRange range = words[word];
        if (range.filled == 0) continue;
        list.push_back({{"name", names[k]},
                        {"byte", map[word].position},
                        {"size", map[word].size},
                        {"min", range.min},
                        {"max", range.max},
                        {"distinct", jsonOf(range.distinct)},
                        {"filled", range.filled}});
    }
    return list;
}

ordered_json jsonOf(const SampleScan& samples) {
    ordered_json rms = jsonOf(samples.rms), mean = jsonOf(samples.mean);
    if (samples.rms.count > 0) {
        rms["median"] = samples.rmsMedian.median();
        mean["average"] = samples.mean.mean();
    }
    return {{"live", jsonOf(samples.live)},
            {"dead", jsonOf(samples.dead)},
            {"spiky", jsonOf(samples.spiky)},
            {"clipped", jsonOf(samples.clipped)},
            {"not_finite", jsonOf(samples.bad)},
            {"nan_samples", samples.nanCount},
            {"infinite_samples", samples.infiniteCount},
            {"clipped_samples", samples.clippedCount},
            {"amplitude", jsonOf(samples.amplitude)},
            {"rms", rms},
            {"mean", mean}};
}

/* Never fails: what is no UTF-8 is replaced. */
std::string textOf(const ordered_json& report) {
    return report.dump(2, ' ', false, ordered_json::error_handler_t::replace) + "\n";
}

}

std::string jsonReport(const Inspection& inspection) {
    const segy::Reader& reader = inspection.reader();
    const HeaderScan& headers = inspection.headers();
    const std::vector<Finding> findings = inspection.findings();
    const int errors = countErrors(findings);
    return textOf({{"file", reader.name()},
                   {"bytes", jsonOf(reader.fileSize())},
                   {"readable", true},
                   {"layout", jsonOf(reader.layout())},
                   {"traces", jsonOf(inspection.traceCount())},
                   {"traces_read", inspection.tracesSeen()},
                   {"text", jsonOfText(reader)},
                   {"words", jsonOf(inspection.words(), reader.layout().words)},
                   {"other_filled_bytes", inspection.words().otherFilledBytes(reader.layout().words)},
                   {"geometry",
                    {{"sources", jsonOf(headers.sources())},
                     {"receivers", jsonOf(headers.receivers())},
                     {"cdps", jsonOf(headers.cdps())},
                     {"source_elevation", jsonOf(headers.sourceElevations())},
                     {"receiver_elevation", jsonOf(headers.receiverElevations())},
                     {"delay_ms", jsonOf(headers.delays())}}},
                   {"samples", jsonOf(inspection.samples())},
                   {"errors", errors},
                   {"warnings", static_cast<int>(findings.size()) - errors},
                   {"findings", jsonOf(findings)}});
}

std::string jsonReportOfUnreadable(const std::string& fileName, const std::string& failure) {
    return textOf({{"file", fileName},
                   {"readable", false},
                   {"errors", 1},
                   {"warnings", 0},
                   {"findings", jsonOf(std::vector<Finding>{findingFromLine(Severity::error, failure, fileName)})}});
}

}
