#include "inspection/textreport.h"

#include <fmt/format.h>

#include "segy/textheader.h"

namespace pelta::inspection {

using segy::Word;

namespace {

const char* coordinateUnit(const Inspection& inspection) {
    const WordRange units = inspection.words()[Word::coordinateUnits];
    if (inspection.headers().areLengths()) return inspection.reader().layout().lengthUnit();
    if (units.min != units.max) return "mixed units";
    switch (units.min) {
        case 2: return "seconds of arc";
        case 3: return "degrees";
        case 4: return "degrees, minutes, seconds";
        default: return inspection.reader().layout().lengthUnit();
    }
}

class TextReport {
  public:
    TextReport(const Inspection& inspection, const ReportOptions& options)
        : _inspection(inspection), _layout(inspection.reader().layout()), _options(options) {}

    std::string write() {
        addFile();
        addText();
        addSurvey();
        addSamples();
        if (_options.hasWordTable) addWords();
        addFindings();
        return std::move(_text);
    }

  private:
    template <class... Arguments>
    void row(const char* label, fmt::format_string<Arguments...> text, Arguments&&... arguments) {
        _text += fmt::format("{:<12}  {}\n", label, fmt::format(text, std::forward<Arguments>(arguments)...));
    }

    void addFile() {
        const auto size = _inspection.reader().fileSize();
        constexpr double mebibyte = 1 << 20;
        if (size)
            row("file", "{}, {} bytes ({:.1f} MiB)", _inspection.reader().name(), *size, static_cast<double>(*size) / mebibyte);
        else row("file", "{}", _inspection.reader().name());
        row("layout", "SEG-Y revision {}.{}, {} endian, {} text, first trace at byte {}", _layout.revisionMajor,
            _layout.revisionMinor, _layout.byteOrder == segy::ByteOrder::big ? "big" : "little",
            _layout.textEncoding == segy::TextEncoding::ebcdic ? "EBCDIC" : "ASCII", _layout.firstTraceByte + 1);
        row("samples", "{} at {:g} ms ({:g} ms), format {} ({})", _layout.sampleCount, _layout.intervalMs,
            _layout.intervalMs * static_cast<double>(_layout.sampleCount), segy::nameOf(_layout.format),
            static_cast<int>(_layout.format));
        const auto count = _inspection.traceCount();
        const std::int64_t seen = _inspection.tracesSeen();
        if (!count) row("traces", "unknown, the first {} were read", seen);
        else if (*count == seen) row("traces", "{}, all read", *count);
        else row("traces", "{}, {} of them read", *count, seen);
    }

    void addText() {
        for (int header = 0;; ++header) {
            const std::vector<std::string> lines = segy::textLines(_inspection.reader().preamble(), _layout, header);
            if (lines.empty()) return;
            _text += header == 0 ? "\n" : fmt::format("\nextended text header {}\n", header);
            bool isBlank = true;
            for (std::string line : lines) {
                line.erase(line.find_last_not_of(' ') + 1);
                /* "C12" alone is as blank. */
                const bool isLineBlank = line.find_first_not_of("C0123456789 ") == std::string::npos;
                if (isLineBlank && !_options.hasWholeText) continue;
                _text += line.empty() ? "\n" : fmt::format("  {}\n", line);
                isBlank = false;
            }
            if (isBlank) _text += "  (the text header is blank)\n";
        }
    }

    static std::string spanOf(const Interval& span) {
        return span.min == span.max ? fmt::format("{:.10g}", span.min) : fmt::format("{:.10g} .. {:.10g}", span.min, span.max);
    }

    void addSpan(const char* label, const Interval& span, std::string_view unit) {
        if (!span.isEmpty() && (span.min != 0.0 || span.max != 0.0)) row(label, "{} {}", spanOf(span), unit);
    }

    void addNumbers(const char* label, Word word) {
        const WordRange range = _inspection.words()[word];
        if (range.filled == 0) return;
        const std::string distinct =
            range.distinct ? std::to_string(*range.distinct) : fmt::format("more than {}", WordRanges::mostDistinct);
        if (range.min == range.max) row(label, "{}", range.min);
        else if (!_inspection.isWhole()) row(label, "{} .. {} on the traces read", range.min, range.max);
        else row(label, "{} .. {} ({} different)", range.min, range.max, distinct);
    }

    void addPlaces(const char* label, const Places& places) {
        if (!places.isFilled()) return;
        row(label, "x {}, y {} {}", spanOf(places.x), spanOf(places.y), coordinateUnit(_inspection));
    }

    void addElevations() {
        const Interval &sources = _inspection.headers().sourceElevations(),
                       &receivers = _inspection.headers().receiverElevations();
        const auto isZero = [](const Interval& span) { return span.isEmpty() || (span.min == 0.0 && span.max == 0.0); };
        if (!isZero(sources) || !isZero(receivers))
            row("elevations", "source {}, receiver {} {}", spanOf(sources), spanOf(receivers), _layout.lengthUnit());
    }

    void addSurvey() {
        _text += "\n";
        addNumbers("records", Word::record);
        addNumbers("channels", Word::channel);
        addNumbers("cdps", Word::cdp);
        addNumbers("inlines", Word::inlineNumber);
        addNumbers("crosslines", Word::crossline);
        const WordRange offset = _inspection.words()[Word::offset];
        if (offset.filled > 0)
            addSpan("offsets", {static_cast<double>(offset.min), static_cast<double>(offset.max)}, _layout.lengthUnit());
        addPlaces("sources", _inspection.headers().sources());
        addPlaces("receivers", _inspection.headers().receivers());
        addPlaces("cdp places", _inspection.headers().cdps());
        addElevations();
        addSpan("delay", _inspection.headers().delays(), "ms");
    }

    static std::string listed(const SampleScan::Kind& kind) {
        if (kind.count == 0) return "0";
        const bool isMore = kind.count > static_cast<std::int64_t>(kind.first.size());
        return fmt::format("{} (trace {}{})", kind.count, fmt::join(kind.first, ", "), isMore ? ", ..." : "");
    }

    void addSamples() {
        const SampleScan& samples = _inspection.samples();
        _text += "\n";
        row("live", "{}", samples.live.count);
        row("dead", "{}", listed(samples.dead));
        row("spiky", "{}", listed(samples.spiky));
        row("clipped", "{}", listed(samples.clipped));
        if (samples.bad.count > 0)
            row("not finite", "{}, {} NaN and {} infinite samples", listed(samples.bad), samples.nanCount,
                samples.infiniteCount);
        if (samples.amplitude.count > 0)
            row("amplitude", "{:.6g} (trace {}) .. {:.6g} (trace {})", samples.amplitude.min, samples.amplitude.minTrace,
                samples.amplitude.max, samples.amplitude.maxTrace);
        if (samples.live.count == 0) return;
        row("RMS", "{:.4g} (trace {}) .. {:.4g} (trace {}), median {:.3g}", samples.rms.min, samples.rms.minTrace,
            samples.rms.max, samples.rms.maxTrace, samples.rmsMedian.median());
        row("mean", "{:.4g} (trace {}) .. {:.4g} (trace {}), average {:.3g}", samples.mean.min, samples.mean.minTrace,
            samples.mean.max, samples.mean.maxTrace, samples.mean.mean());
    }

    void addWords() {
        _text += fmt::format("\n{:<19}{:>6}{:>13}{:>13}{:>10}{:>10}\n", "word", "byte", "min", "max", "distinct", "filled");
        const std::vector<std::string> names = segy::HeaderMap::names();
        for (std::size_t k = 0; k < segy::wordCount; ++k) {
            const auto word = static_cast<Word>(k);
            const WordRange range = _inspection.words()[word];
            if (range.filled == 0) continue;
            const std::string distinct =
                range.distinct ? std::to_string(*range.distinct) : fmt::format(">{}", WordRanges::mostDistinct);
            _text += fmt::format("{:<19}{:>6}{:>13}{:>13}{:>10}{:>10}\n", names[k], _layout.words[word].position, range.min,
                                 range.max, distinct, range.filled);
        }
        const std::string others = _inspection.words().otherFilledBytes(_layout.words);
        if (!others.empty()) _text += fmt::format("also filled: bytes {}\n", others);
    }

    void addFindings() {
        const std::vector<Finding> findings = _inspection.findings();
        _text += "\n";
        for (const Finding& finding : findings) _text += fmt::format("{}: {}\n", nameOf(finding.severity), finding.text);
        const int errors = countErrors(findings), warnings = static_cast<int>(findings.size()) - errors;
        _text += fmt::format("{} error{}, {} warning{}\n", errors, errors == 1 ? "" : "s", warnings, warnings == 1 ? "" : "s");
    }

    const Inspection& _inspection;
    const segy::Layout& _layout;
    const ReportOptions& _options;
    std::string _text;
};

}

std::string textReport(const Inspection& inspection, const ReportOptions& options) {
    return TextReport(inspection, options).write();
}

}
