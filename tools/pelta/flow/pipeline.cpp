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
    for (const FlowStep& step : steps) {
        const std::vector<std::string>& written = step.kind->writtenFiles;
        for (const Parameter& parameter : step.kind->parameters) {
            const bool isRead = std::find(written.begin(), written.end(), parameter.name) == written.end();
            if (parameter.holdsFileName() && isRead && step.parameters.has(parameter.name))
                tables.push_back(std::make_unique<ProtectedInput>(step.parameters.text(parameter.name)));
        }
    }
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

template <class IsNeedy>
const StepKind* firstNeedy(const std::vector<FlowStep>& steps, const IsNeedy& isNeedy) {
    for (std::size_t s = 0; s < steps.size(); ++s)
        if (isNeedy(s)) return steps[s].kind;
    return nullptr;
}

std::vector<HeaderNeed> needsOf(const std::vector<FlowStep>& steps, const Preparations& prepared, const segy::Reader& reader) {
    std::vector<HeaderNeed> needs;
    const auto needsOffsets = [&](std::size_t s) {
        return steps[s].kind->needsOffsets && steps[s].kind->needsOffsets(steps[s].parameters);
    };
    if (const StepKind* needy = firstNeedy(steps, needsOffsets)) {
        const segy::HeaderWord word = reader.layout().words[segy::Word::offset];
        needs.push_back({[](const segy::TraceFacts& facts) { return facts.offset != 0.0; },
                         fmt::format("{}: {} needs offsets, and the {} bytes at byte {} of every trace header hold 0; --map "
                                     "offset=BYTE:SIZE names the right word",
                                     reader.name(), needy->name, word.size, word.position)});
    }
    if (const StepKind* needy = firstNeedy(steps, [&](std::size_t s) { return prepared[s] && prepared[s]->needsPlaces; }))
        needs.push_back({velocity::hasPlace,
                         fmt::format("{}: {} needs coordinates, and those of CDP, source and receiver are 0 in every trace "
                                     "header; --map cdp_x=BYTE:SIZE,cdp_y=BYTE:SIZE names the right words",
                                     reader.name(), needy->name)});
    if (const StepKind* needy = firstNeedy(steps, [&](std::size_t s) { return prepared[s] && prepared[s]->needsCdps; })) {
        const segy::HeaderWord word = reader.layout().words[segy::Word::cdp];
        needs.push_back({[](const segy::TraceFacts& facts) { return facts.cdp != 0; },
                         fmt::format("{}: {} needs CDPs, and the {} bytes at byte {} of every trace header hold 0; --map "
                                     "cdp=BYTE:SIZE names the right word",
                                     reader.name(), needy->name, word.size, word.position)});
    }
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

}

RunSummary runSteps(segy::Reader& reader, const std::vector<FlowStep>& steps, TraceSink& sink, const RunOptions& options) {
    const Line line = lineOf(reader, steps, options);
    const auto tables = protectTables(steps);
    const Preparations prepared = prepare(steps, reader);
    makeChain(steps, line, prepared); /* shows wrong parameters before anything is written */
    HeaderCheck headers(reader, needsOf(steps, prepared, reader));
    std::vector<std::unique_ptr<Collector>> collectors;
    for (const FlowStep& step : steps)
        collectors.push_back(step.kind->makeCollector ? step.kind->makeCollector(step.parameters, line) : nullptr);

    sink.begin(line);

    const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(options.threads));
    tbb::enumerable_thread_specific<Chain> chains([&] { return makeChain(steps, line, prepared); });

    const std::size_t tokens = 2 * static_cast<std::size_t>(options.threads) + 1;
    std::vector<Batch> batches(tokens);
    const std::size_t batchSize = tracesPerBatch(line.layout);
    for (Batch& batch : batches) {
        batch.traces.resize(batchSize);
        batch.findings.resize(batchSize * steps.size());
        batch.stepsDone.resize(batchSize);
    }

    const bool isEncoded = sink.wantsEncoded();
    RunSummary summary;
    const std::size_t stageCount = writeStage(steps.size()) + 1;
    summary.secondsPerStage.assign(stageCount, 0.0);
    Progress progress(line.traceCount, options.quiet);
    std::size_t nextBatch = 0;
    const auto read = [&](tbb::flow_control& control) -> Batch* {
        Batch& batch = batches[nextBatch++ % tokens];
        batch.count = 0;
        batch.clippedSamples = batch.badSamples = 0;
        batch.seconds.assign(stageCount, 0.0);
        StageClock clock(options.profile, batch.seconds);
        while (batch.count < batchSize && reader.next(batch.traces[batch.count].trace)) ++batch.count;
        clock.finish(readStage);
        if (batch.count == 0) control.stop();
        return &batch;
    };
    const auto process = [&](Batch* batch) {
        work(*batch, chains.local(), line.layout, isEncoded, options.profile);
        return batch;
    };
    const auto write = [&](Batch* batch) {
        StageClock clock(options.profile, batch->seconds);
        for (std::size_t t = 0; t < batch->count; ++t) {
            WorkTrace& item = batch->traces[t];
            headers.see(item.facts);
            for (std::size_t s = 0; s < batch->stepsDone[t]; ++s)
                if (collectors[s]) collectors[s]->collect(item, batch->findings[t * steps.size() + s]);
            summary.droppedTraces += item.isDropped;
            if (item.isDropped) sink.drop(item);
            else sink.take(item);
        }
        summary.traces += static_cast<std::int64_t>(batch->count);
        summary.clippedSamples += batch->clippedSamples;
        summary.badSamples += batch->badSamples;
        progress.show(summary.traces);
        clock.finish(writeStage(steps.size()));
        for (std::size_t stage = 0; stage < stageCount; ++stage) summary.secondsPerStage[stage] += batch->seconds[stage];
    };
    tbb::parallel_pipeline(tokens, tbb::make_filter<void, Batch*>(tbb::filter_mode::serial_in_order, read) &
                                       tbb::make_filter<Batch*, Batch*>(tbb::filter_mode::parallel, process) &
                                       tbb::make_filter<Batch*, void>(tbb::filter_mode::serial_in_order, write));

    headers.finish();
    for (const auto& collector : collectors)
        if (collector) collector->check();
    if (summary.droppedTraces > 0 && summary.droppedTraces == summary.traces)
        fail("{}: every trace was dropped, and none is left to write", reader.name());
    sink.check();
    for (const auto& collector : collectors)
        if (collector) collector->finish();
    sink.finish();
    return summary;
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
