#include <pelta/mute.h>

#include <cmath>

#include "flow/step.h"
#include "flow/tracetable.h"
#include "support/failure.h"

namespace pelta {
namespace {

const TraceTableKind statics = {
    .what = "table of statics",
    .columns = {{"static_ms", 1.0}, {"static_s", 1000.0}},
    .takesLastOfSeveral = false,
};

/* The table of statics, where there is one. */
struct StaticsTable : Preparation {
    std::optional<TraceTable> table;
};

std::shared_ptr<const Preparation> prepare(const Parameters& parameters, segy::Reader&) {
    auto prepared = std::make_shared<StaticsTable>();
    if (parameters.has("statics_file")) prepared->table.emplace(parameters.text("statics_file"), statics);
    return prepared;
}

/* Statics in ms as SEG-Y means them: added to the times of a trace, so that a positive one delays its events. */
class Static : public Step {
  public:
    Static(const Parameters& parameters, const Line& line)
        : _layout(line.layout),
          _isRemoved(parameters.flag("remove")),
          _prepared(std::static_pointer_cast<const StaticsTable>(line.prepared)) {
        if (parameters.has("shift")) _shiftMs = parameters.real("shift");
        if (parameters.has("word")) _word = wordOf(parameters.text("word"));
    }

    /* The finding says whether the trace has a static. */
    void apply(WorkTrace& work, Findings& findings) override {
        const std::optional<double> staticMs = staticOf(work);
        findings.push_back(staticMs ? 1.0f : 0.0f);
        if (!staticMs || *staticMs == 0.0) return;
        /* The library counts a shift that makes events earlier as positive. */
        const double earlierBy = (_isRemoved ? *staticMs : -*staticMs) / _layout.intervalMs;
        std::vector<float>& samples = work.trace.samples;
        _shifted.resize(samples.size());
        _positions.resize(samples.size());
        applyStatic(samples.data(), _shifted.data(), _positions.data(), static_cast<int>(samples.size()),
                    static_cast<float>(earlierBy));
        samples.swap(_shifted);
        work.trace.samplesChanged = true;
    }

  private:
    segy::HeaderWord wordOf(const std::string& name) const {
        const auto word = naming("static: word", [&] { return _layout.words.find(name); });
        if (word) return *word;
        failUsage("static: {} has no place in the trace header; give it one with --map {}=BYTE:SIZE", name, name);
    }

    std::optional<double> staticOf(const WorkTrace& work) const {
        if (_prepared->table) return _prepared->table->value(work.trace.number + 1, work.facts.record, work.facts.channel);
        if (!_word) return _shiftMs;
        const auto read = [&](segy::HeaderWord word) {
            return segy::readWord(work.trace.header.data(), word, _layout.byteOrder);
        };
        return segy::scaled(read(*_word), read(_layout.words[segy::Word::timeScalar]));
    }

    segy::Layout _layout;
    bool _isRemoved;
    double _shiftMs = 0.0;
    std::optional<segy::HeaderWord> _word;
    std::shared_ptr<const StaticsTable> _prepared;
    std::vector<float> _shifted, _positions;
};

/* Counts the traces that the table does not know. */
class StaticsCoverage : public Collector {
  public:
    explicit StaticsCoverage(std::string fileName) : _fileName(std::move(fileName)) {}

    void collect(const WorkTrace&, const Findings& findings) override {
        ++_traces;
        if (findings.front() == 0.0f) ++_missing;
    }
    void check() override {
        if (_traces > 0 && _missing == _traces)
            fail("{}: holds a static of none of the {} traces; do its record and channel, or trace, count as in the line?",
                 _fileName, _traces);
    }
    void finish() override {
        if (_missing > 0)
            warn(fmt::format("{}: holds no static of {} of {} traces, which were left where they are", _fileName, _missing,
                             _traces));
    }

  private:
    std::string _fileName;
    std::int64_t _traces = 0, _missing = 0;
};

std::unique_ptr<Step> make(const Parameters& parameters, const Line& line) {
    if (parameters.has("shift") + parameters.has("word") + parameters.has("statics_file") != 1)
        failUsage("static: give one of shift_ms, word and statics_file");
    return std::make_unique<Static>(parameters, line);
}

std::unique_ptr<Collector> makeCollector(const Parameters& parameters, const Line&) {
    if (!parameters.has("statics_file")) return nullptr;
    return std::make_unique<StaticsCoverage>(parameters.text("statics_file"));
}

const StepKind kind = {
    .name = "static",
    .summary = "shifts traces by statics, which are added to their times: a positive one makes events later",
    .example = "pelta static in.sgy out.sgy --word total_static",
    .parameters =
        {
            {"shift", "ms", Kind::real, "one static for all traces", {}, -1e6, 1e6},
            {"word", "", Kind::text,
             "header word that holds the static in ms, by name or as BYTE:SIZE: total_static; the time scalar applies"},
            inputFileParameter("statics_file",
                               "CSV file with columns record and channel (or trace) and static_ms; traces that it lacks stay, "
                               "and are counted"),
            flagParameter("remove", "take the statics off instead"),
        },
    .make = make,
    .prepare = prepare,
    .makeCollector = makeCollector,
};
const Registration registration(kind);

}
}
