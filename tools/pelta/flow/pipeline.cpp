#include "flow/pipeline.h"

#include <oneapi/tbb/enumerable_thread_specific.h>
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/parallel_pipeline.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cmath>

#include "flow/progress.h"
#include "segy/textheader.h"
#include "segy/writer.h"
#include "support/failure.h"
#include "support/outputfile.h"
#include "velocity/place.h"

namespace pelta {
namespace {

/* Adds the time since it was last asked to one stage after another; does nothing when it is off. */
class StageClock {
  public:
    StageClock(bool isOn, std::vector<double>& seconds) : _isOn(isOn), _seconds(seconds) {
        if (_isOn) _last = Clock::now();
    }
    void finish(std::size_t stage) {
        if (!_isOn) return;
        const auto now = Clock::now();
        _seconds[stage] += std::chrono::duration<double>(now - _last).count();
        _last = now;
    }

  private:
    using Clock = std::chrono::steady_clock;
    bool _isOn;
    std::vector<double>& _seconds;
    Clock::time_point _last;
};

/* Stages of a profile: reading, decoding, the steps, encoding, writing. */
constexpr std::size_t readStage = 0, decodeStage = 1, firstStepStage = 2;
std::size_t encodeStage(std::size_t stepCount) { return firstStepStage + stepCount; }
std::size_t writeStage(std::size_t stepCount) { return firstStepStage + stepCount + 1; }

/* Traces that travel together, so that a token is worth its overhead. Batches are reused: no allocation once they are full. */
struct Batch {
    std::vector<WorkTrace> traces;
    std::vector<Findings> findings;     /* of trace t and step s at t * steps + s */
    std::vector<std::size_t> stepsDone; /* on each trace; fewer than there are where one dropped it */
    std::size_t count = 0;
    std::int64_t clippedSamples = 0, badSamples = 0;
    std::vector<double> seconds; /* of each stage */
};

constexpr std::int64_t batchBytes = 1 << 20;
constexpr std::size_t largestBatch = 256;

std::size_t tracesPerBatch(const segy::Layout& layout) {
    return std::clamp<std::size_t>(static_cast<std::size_t>(batchBytes / std::max<std::int64_t>(layout.traceBytes(), 1)), 1,
                                   largestBatch);
}

using Chain = std::vector<std::unique_ptr<Step>>;

using Preparations = std::vector<std::shared_ptr<const Preparation>>;

Preparations prepare(const std::vector<FlowStep>& steps, segy::Reader& reader) {
    Preparations prepared;
    for (const FlowStep& step : steps) {
        prepared.push_back(step.kind->prepare ? step.kind->prepare(step.parameters, reader) : nullptr);
        if (!prepared.back()) continue;
        for (const std::string& warning : prepared.back()->warnings) warn(warning);
    }
    return prepared;
}

/* No output may take the place of a table that a step reads. */
std::vector<std::unique_ptr<ProtectedInput>> protectTables(const std::vector<FlowStep>& steps) {
    std::vector<std::unique_ptr<ProtectedInput>> tables;
    for (const FlowStep& step : steps)
        for (const Parameter& parameter : step.kind->parameters)
            if (parameter.holdsFileName() && !parameter.isOutput && step.parameters.has(parameter.name))
                tables.push_back(std::make_unique<ProtectedInput>(step.parameters.text(parameter.name)));
    return tables;
}

Chain makeChain(const std::vector<FlowStep>& steps, Line line, const Preparations& prepared) {
    Chain chain;
    for (std::size_t s = 0; s < steps.size(); ++s) {
        line.prepared = prepared[s];
        chain.push_back(steps[s].kind->make(steps[s].parameters, line));
    }
    return chain;
}

void work(Batch& batch, Chain& chain, const segy::Layout& layout, bool isEncoded, bool profile) {
    StageClock clock(profile, batch.seconds);
    for (std::size_t t = 0; t < batch.count; ++t) {
        WorkTrace& item = batch.traces[t];
        item.trace.samplesChanged = false;
        item.isDropped = false;
        item.hostHeader.clear();
        segy::decode(item.trace, layout);
        item.facts = segy::readFacts(item.trace, layout);
        batch.badSamples += segy::countNotFinite(item.trace.samples);
        clock.finish(decodeStage);
        std::size_t& done = batch.stepsDone[t];
        for (done = 0; done < chain.size() && !item.isDropped; ++done) {
            Findings& findings = batch.findings[t * chain.size() + done];
            findings.clear();
            chain[done]->apply(item, findings);
            clock.finish(firstStepStage + done);
        }
        if (isEncoded && !item.isDropped) batch.clippedSamples += segy::encode(item.trace, layout);
        clock.finish(encodeStage(chain.size()));
    }
}

/* Something that a step needs of the trace headers. */
struct HeaderNeed {
    bool (*isMet)(const segy::TraceFacts&);
    std::string complaint; /* when no trace meets it */
};

/* The first step that has such a need. */
const StepKind* firstWith(bool Preparation::*need, const std::vector<FlowStep>& steps, const Preparations& prepared) {
    for (std::size_t s = 0; s < steps.size(); ++s)
        if (prepared[s] && (*prepared[s]).*need) return steps[s].kind;
    return nullptr;
}

std::string complaintOfWord(const segy::Reader& reader, const StepKind& needy, const char* what, const char* name,
                            segy::HeaderWord word) {
    return fmt::format(
        "{}: {} needs {}, and the {} bytes at byte {} of every trace header hold 0; --map {}=BYTE:SIZE names "
        "the right word",
        reader.name(), needy.name, what, word.size, word.position, name);
}

std::vector<HeaderNeed> needsOf(const std::vector<FlowStep>& steps, const Preparations& prepared, const segy::Reader& reader) {
    std::vector<HeaderNeed> needs;
    const segy::HeaderMap& words = reader.layout().words;
    if (const StepKind* needy = firstWith(&Preparation::needsOffsets, steps, prepared))
        needs.push_back({[](const segy::TraceFacts& facts) { return facts.offset != 0.0; },
                         complaintOfWord(reader, *needy, "offsets", "offset", words[segy::Word::offset])});
    if (const StepKind* needy = firstWith(&Preparation::needsPlaces, steps, prepared))
        needs.push_back({velocity::hasPlace,
                         fmt::format("{}: {} needs coordinates, and those of CDP, source and receiver are 0 in every trace "
                                     "header; --map cdp_x=BYTE:SIZE,cdp_y=BYTE:SIZE names the right words",
                                     reader.name(), needy->name)});
    if (const StepKind* needy = firstWith(&Preparation::needsCdps, steps, prepared))
        needs.push_back({[](const segy::TraceFacts& facts) { return facts.cdp != 0; },
                         complaintOfWord(reader, *needy, "CDPs", "cdp", words[segy::Word::cdp])});
    return needs;
}

/* Words that are 0 on every trace were never written there, and what depends on them would come out the same everywhere. A
 * file is looked at ahead, as far as its first offset or place; a pipe has to be seen to its end. */
class HeaderCheck {
  public:
    HeaderCheck(segy::Reader& reader, std::vector<HeaderNeed> needs) : _unmet(std::move(needs)) {
        if (_unmet.empty() || !reader.traceCount()) return;
        segy::Trace trace;
        while (!_unmet.empty() && reader.nextHeader(trace)) see(segy::readFacts(trace, reader.layout()));
        finish();
        reader.seek(0);
    }
    void see(const segy::TraceFacts& facts) {
        std::erase_if(_unmet, [&](const HeaderNeed& need) { return need.isMet(facts); });
    }
    void finish() const {
        if (!_unmet.empty()) fail("{}", _unmet.front().complaint);
    }

  private:
    std::vector<HeaderNeed> _unmet;
};

bool mayDropTraces(const std::vector<FlowStep>& steps) {
    return std::any_of(steps.begin(), steps.end(), [](const FlowStep& step) {
        return step.kind->mayDropTraces && step.kind->mayDropTraces(step.parameters);
    });
}

Line lineOf(const segy::Reader& reader, const std::vector<FlowStep>& steps, const RunOptions& options) {
    if (reader.layout().sampleCount > INT_MAX / 8)
        fail("{}: {} samples a trace are more than the steps take ({})", reader.name(), reader.layout().sampleCount,
             INT_MAX / 8);
    Line line = {reader.layout(), reader.preamble(), reader.traceCount(), options.overwrite};
    if (mayDropTraces(steps)) segy::forgetTraceCount(line.preamble, line.layout);
    return line;
}

using Collectors = std::vector<std::unique_ptr<Collector>>;

Collectors makeCollectors(const std::vector<FlowStep>& steps, const Line& line) {
    Collectors collectors;
    for (const FlowStep& step : steps)
        collectors.push_back(step.kind->makeCollector ? step.kind->makeCollector(step.parameters, line) : nullptr);
    return collectors;
}

/* Batches are read and written in order by one thread at a time, and worked on by all. */
class Run {
  public:
    Run(segy::Reader& reader, const std::vector<FlowStep>& steps, TraceSink& sink, const RunOptions& options)
        : _reader(reader),
          _steps(steps),
          _sink(sink),
          _options(options),
          _line(lineOf(reader, steps, options)),
          _tables(protectTables(steps)),
          _prepared(prepare(steps, reader)),
          _chains([this] { return makeChain(_steps, _line, _prepared); }) {
        makeChain(steps, _line, _prepared); /* shows wrong parameters before anything is written */
        _headers.emplace(reader, needsOf(steps, _prepared, reader));
        _collectors = makeCollectors(steps, _line);
        _summary.secondsPerStage.assign(stageCount(), 0.0);
        makeBatches();
    }

    RunSummary run() {
        _sink.begin(_line);
        const tbb::global_control limit(tbb::global_control::max_allowed_parallelism,
                                        static_cast<std::size_t>(_options.threads));
        const auto readBatch = [this](tbb::flow_control& control) {
            Batch* batch = read();
            if (batch->count == 0) control.stop();
            return batch;
        };
        _progress.emplace(_line.traceCount, _options.quiet);
        const bool isEncoded = _sink.wantsEncoded();
        const auto workOn = [this, isEncoded](Batch* batch) {
            work(*batch, _chains.local(), _line.layout, isEncoded, _options.profile);
            return batch;
        };
        const auto writeBatch = [this](Batch* batch) { write(*batch); };
        tbb::parallel_pipeline(_batches.size(),
                               tbb::make_filter<void, Batch*>(tbb::filter_mode::serial_in_order, readBatch) &
                                   tbb::make_filter<Batch*, Batch*>(tbb::filter_mode::parallel, workOn) &
                                   tbb::make_filter<Batch*, void>(tbb::filter_mode::serial_in_order, writeBatch));
        finish();
        return _summary;
    }

  private:
    std::size_t stageCount() const { return writeStage(_steps.size()) + 1; }

    /* As many as can be under way. */
    void makeBatches() {
        _batches.resize(2 * static_cast<std::size_t>(_options.threads) + 1);
        const std::size_t batchSize = tracesPerBatch(_line.layout);
        for (Batch& batch : _batches) {
            batch.traces.resize(batchSize);
            batch.findings.resize(batchSize * _steps.size());
            batch.stepsDone.resize(batchSize);
        }
    }

    /* The next batch; without traces at the end. */
    Batch* read() {
        Batch& batch = _batches[_nextBatch++ % _batches.size()];
        batch.count = 0;
        batch.clippedSamples = batch.badSamples = 0;
        batch.seconds.assign(stageCount(), 0.0);
        StageClock clock(_options.profile, batch.seconds);
        while (batch.count < batch.traces.size() && _reader.next(batch.traces[batch.count].trace)) ++batch.count;
        clock.finish(readStage);
        return &batch;
    }

    void write(Batch& batch) {
        StageClock clock(_options.profile, batch.seconds);
        for (std::size_t t = 0; t < batch.count; ++t) writeTrace(batch, t);
        _summary.traces += static_cast<std::int64_t>(batch.count);
        _summary.clippedSamples += batch.clippedSamples;
        _summary.badSamples += batch.badSamples;
        _progress->show(_summary.traces);
        clock.finish(writeStage(_steps.size()));
        for (std::size_t stage = 0; stage < stageCount(); ++stage) _summary.secondsPerStage[stage] += batch.seconds[stage];
    }

    void writeTrace(const Batch& batch, std::size_t t) {
        const WorkTrace& item = batch.traces[t];
        _headers->see(item.facts);
        for (std::size_t s = 0; s < batch.stepsDone[t]; ++s)
            if (_collectors[s]) _collectors[s]->collect(item, batch.findings[t * _steps.size() + s]);
        _summary.droppedTraces += item.isDropped;
        if (item.isDropped) _sink.drop(item);
        else _sink.take(item);
    }

    /* Every check comes before the first output is final. */
    void finish() {
        _headers->finish();
        for (const auto& collector : _collectors)
            if (collector) collector->check();
        if (_summary.droppedTraces > 0 && _summary.droppedTraces == _summary.traces)
            fail("{}: every trace was dropped, and none is left to write", _reader.name());
        _sink.check();
        for (const auto& collector : _collectors)
            if (collector) collector->finish();
        _sink.finish();
    }

    segy::Reader& _reader;
    const std::vector<FlowStep>& _steps;
    TraceSink& _sink;
    const RunOptions& _options;
    const Line _line;
    const std::vector<std::unique_ptr<ProtectedInput>> _tables;
    const Preparations _prepared;
    tbb::enumerable_thread_specific<Chain> _chains;
    std::optional<Progress> _progress;
    std::optional<HeaderCheck> _headers;
    Collectors _collectors;
    std::vector<Batch> _batches;
    std::size_t _nextBatch = 0;
    RunSummary _summary;
};

}

RunSummary runSteps(segy::Reader& reader, const std::vector<FlowStep>& steps, TraceSink& sink, const RunOptions& options) {
    return Run(reader, steps, sink, options).run();
}

namespace {

/* Every trace into one file, in the format of the line. */
class FileSink : public TraceSink {
  public:
    FileSink(const segy::Reader& reader, const std::vector<FlowStep>& steps, const std::string& name, const RunOptions& options)
        : _reader(reader), _steps(steps), _name(name), _options(options) {}

    void begin(const Line& line) override {
        segy::Preamble preamble = line.preamble;
        if (_options.history) addHistory(preamble, line.layout, historyOf(_steps));
        _writer.emplace(_name, _options.overwrite, preamble);
    }
    bool wantsEncoded() const override { return true; }
    void take(const WorkTrace& work) override { _writer->write(work.trace); }
    void finish() override {
        _writer->writeTrailer(_reader.trailer());
        _writer->commit();
    }

  private:
    const segy::Reader& _reader;
    const std::vector<FlowStep>& _steps;
    const std::string& _name;
    const RunOptions& _options;
    std::optional<segy::Writer> _writer;
};

}

RunSummary runSteps(segy::Reader& reader, const std::vector<FlowStep>& steps, const std::string& outputName,
                    const RunOptions& options) {
    FileSink sink(reader, steps, outputName, options);
    return runSteps(reader, steps, sink, options);
}

namespace {

/* Nothing behind a card number such as "C 7". */
bool isBlankCard(const std::string& line) {
    const std::size_t text = line.starts_with('C') ? 3 : 0;
    return std::all_of(line.begin() + static_cast<std::ptrdiff_t>(std::min(text, line.size())), line.end(),
                       [](char c) { return c == ' ' || c == '\0'; });
}

}

void addHistory(segy::Preamble& preamble, const segy::Layout& layout, const std::vector<std::string>& history) {
    std::vector<std::string> lines = segy::textLines(preamble, layout);
    std::size_t next = 0;
    for (const std::string& done : history) {
        while (next < lines.size() && !isBlankCard(lines[next])) ++next;
        if (next == lines.size()) {
            warn(fmt::format("--history: no blank line is left in the text header for {}", done));
            return;
        }
        segy::setTextLine(preamble, layout, static_cast<int>(next), fmt::format("C{:2} pelta {}", next + 1, done));
        ++next;
    }
}

std::vector<std::string> historyOf(const std::vector<FlowStep>& steps) {
    std::vector<std::string> lines;
    for (const FlowStep& step : steps) lines.push_back(describe(step));
    return lines;
}

}
