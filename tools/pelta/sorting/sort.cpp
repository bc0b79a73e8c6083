#include "sorting/sort.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <new>
#include <optional>

#include "flow/pipeline.h"
#include "flow/progress.h"
#include "segy/writer.h"
#include "sorting/fileheaders.h"
#include "sorting/keyorder.h"
#include "sorting/storedruns.h"
#include "support/failure.h"
#include "support/libraryvoice.h"

namespace pelta::sorting {
namespace {

/* Read at once, so that their headers are looked at while the processor still has them. */
constexpr std::size_t readBytes = 1 << 20;

/* Where no disk has to look for places, more memory would only take time to get. */
constexpr std::size_t cachedWindowBytes = 32 << 20;

/* A way through the scratch folder reads everything, writes it and reads it again. */
constexpr double readingsThroughScratch = 3.0;

segy::Preamble preambleFor(const segy::Reader& reader, const Field& first, const SortOptions& options) {
    segy::Preamble preamble = reader.preamble();
    segy::Layout layout = reader.layout();
    setSortingCode(preamble, layout, first);
    const bool lacksTraces = reader.traceCount() ? *reader.traceCount() < layout.promisedTraces : options.salvage;
    if (lacksTraces) forgetTraceCount(preamble, layout);
    if (options.history) {
        std::string line = fmt::format("sort by={}", fmt::join(options.by, ","));
        if (!options.descending.empty()) line += fmt::format(" descending={}", fmt::join(options.descending, ","));
        addHistory(preamble, layout, {line});
    }
    return preamble;
}

/* Files up to half of the machine's memory are still there when their headers have been read. */
std::int64_t cachedBytes(const SortOptions& options) {
    if (options.cachedBytes != SortOptions::fromMachine) return options.cachedBytes;
    return std::int64_t{sysconf(_SC_PHYS_PAGES)} * sysconf(_SC_PAGESIZE) / 2;
}

/* Its pages count once they are used. */
std::unique_ptr<unsigned char[]> allocate(std::size_t bytes) {
    try {
        return std::unique_ptr<unsigned char[]>(new unsigned char[bytes]);
    } catch (const std::bad_alloc&) { fail("--memory: the system does not give {} bytes; lower it", bytes); }
}

class Sort {
  public:
    Sort(segy::Reader& reader, const std::string& outputName, const SortOptions& options)
        : _reader(reader),
          _outputName(outputName),
          _options(options),
          _keys(findFields(reader.layout().words, options.by, options.descending), reader.layout().byteOrder),
          _traceCount(static_cast<std::uint64_t>(reader.traceCount().value_or(0))),
          _traceBytes(static_cast<std::size_t>(reader.layout().traceBytes())),
          _plan(options.memoryBytes, _traceBytes, _traceCount),
          _writer(outputName, options.overwrite, preambleFor(reader, _keys.fields().front(), options)) {}

    SortSummary run() {
        const bool fits = _plan.runTraces == _traceCount;
        _memory = allocate(fits ? _plan.runTraces * _traceBytes : _plan.roomBytes);
        _staging = allocate(_plan.stagedTraces * _traceBytes);
        if (!writeInKeyOrder()) writeByRuns();
        _writer.writeTrailer(_reader.trailer());
        _writer.commit();
        for (std::size_t k = 0; k < _keys.fields().size(); ++k)
            if (_keys.isEmpty(k)) _summary.emptyFields.push_back(_keys.fields()[k]);
        return _summary;
    }

  private:
    /* Clearing would keep their memory, and so would an assignment of {}. */
    void releaseKeys() { std::vector<Key>().swap(_order); }
    void write(const unsigned char* trace) { _writer.write(trace, _traceBytes); }
    Progress progress() const { return Progress(_reader.traceCount(), _options.quiet); }

    /* ---- in key order ---- */

    /* False, and nothing written, where the keys would take too much of the memory or the reading too long. */
    bool writeInKeyOrder() {
        if (_traceCount == 0 || _traceCount > _plan.roomBytes / 2 / sizeof(Key)) return false;
        readKeys();
        const std::int64_t fileBytes = *_reader.fileSize();
        const bool isCached = fileBytes <= cachedBytes(_options);
        std::size_t windowBytes = _plan.roomBytes - _order.size() * sizeof(Key);
        if (isCached) windowBytes = std::min(windowBytes, std::max(cachedWindowBytes, 2 * _traceBytes));
        const KeyOrder keyOrder(_order, _traceBytes, windowBytes / (_traceBytes + KeyOrder::bytesPerTrace), _plan.stagedTraces);
        const bool isWorthIt = keyOrder.windowTraces() > 0 &&
                               (isCached || keyOrder.readingCost() <= readingsThroughScratch * static_cast<double>(fileBytes));
        if (isWorthIt) {
            Progress shown = progress();
            keyOrder.read(_reader, _memory.get(), _staging.get(), [&](const unsigned char* traces, std::size_t count) {
                _writer.write(traces, count * _traceBytes);
                shown.show(_summary.traces += static_cast<std::int64_t>(count));
            });
            _summary.way = Way::inKeyOrder;
            _summary.windows = keyOrder.windows();
        }
        releaseKeys();
        return isWorthIt;
    }

    void readKeys() {
        Progress shown = progress();
        _order.reserve(static_cast<std::size_t>(_traceCount));
        for (segy::Trace trace; _reader.nextHeader(trace); shown.show(trace.number))
            _order.push_back(_keys.make(trace.header.data(), trace.number));
        std::sort(_order.begin(), _order.end());
        _reader.seek(0);
    }

    /* ---- by runs ---- */

    void writeByRuns() {
        Progress shown = progress();
        while (readRun(shown)) {
            if (isWholeInput()) {
                _summary.way = Way::inMemory;
                return writeRun();
            }
            storeRun();
        }
        if (_runs) mergeRuns();
    }

    /* The next traces, as many as fit into the memory, and their keys in order; false when there are none. */
    bool readRun(Progress& shown) {
        const LibraryVoice silent; /* once, instead of round every piece of a pipe */
        const std::size_t most = std::max<std::size_t>(readBytes / _traceBytes, 1);
        _order.clear();
        while (_order.size() < _plan.runTraces) {
            unsigned char* traces = _memory.get() + _order.size() * _traceBytes;
            const std::size_t count = _reader.nextTraces(traces, std::min(most, _plan.runTraces - _order.size()));
            if (count == 0) break;
            for (std::size_t k = 0; k < count; ++k, traces += _traceBytes)
                _order.push_back(_keys.make(traces, static_cast<std::int64_t>(_order.size())));
            shown.show(_summary.traces += static_cast<std::int64_t>(count));
        }
        std::sort(_order.begin(), _order.end());
        return !_order.empty();
    }

    bool isWholeInput() const { return !_runs && (_order.size() < _plan.runTraces || _order.size() == _traceCount); }

    const unsigned char* inMemory(const Key& key) const {
        return _memory.get() + static_cast<std::size_t>(key.place) * _traceBytes;
    }

    void writeRun() {
        for (const Key& key : _order) write(inMemory(key));
    }

    void storeRun() {
        if (!_runs) _runs = makeStore();
        for (const Key& key : _order) _runs->add(inMemory(key));
        _runs->endRun();
        ++_summary.runs;
    }

    std::unique_ptr<StoredRuns> makeStore() {
        if (!_scratch) {
            _scratch.emplace(_outputName);
            if (!_scratch->isNamed && !_options.quiet)
                tell(fmt::format("pelta: PROMAX_SCRATCH_HOME is not set: working files are made in {}\n", _scratch->name));
            _summary.way = Way::throughScratch;
            _summary.scratchFolder = _scratch->name;
        }
        return std::make_unique<StoredRuns>(*_scratch, _plan, _staging.get(), _traceCount * _traceBytes);
    }

    void mergeRuns() {
        releaseKeys();
        while (_runs->count() > _plan.mergedRuns) {
            std::unique_ptr<StoredRuns> longer = makeStore();
            for (std::size_t first = 0; first < _runs->count(); first += _plan.mergedRuns) {
                const std::size_t count = std::min(_plan.mergedRuns, _runs->count() - first);
                Merge merge = _runs->merge(first, count, _keys, _memory.get());
                while (const unsigned char* trace = merge.next()) longer->add(trace);
                longer->endRun();
            }
            _runs = std::move(longer);
            ++_summary.mergePasses;
        }
        Progress shown = progress();
        Merge merge = _runs->merge(0, _runs->count(), _keys, _memory.get());
        for (std::int64_t done = 0; const unsigned char* trace = merge.next(); shown.show(++done)) write(trace);
        ++_summary.mergePasses;
    }

    segy::Reader& _reader;
    const std::string& _outputName;
    const SortOptions& _options;
    KeyMaker _keys;
    const std::uint64_t _traceCount; /* 0 where it is not known */
    const std::size_t _traceBytes;
    const MemoryPlan _plan;
    segy::Writer _writer;
    std::unique_ptr<unsigned char[]> _memory, _staging;
    std::vector<Key> _order; /* of the traces in the memory, or of all */
    std::optional<ScratchPlace> _scratch;
    std::unique_ptr<StoredRuns> _runs;
    SortSummary _summary;
};

}

SortSummary sortTraces(segy::Reader& reader, const std::string& outputName, const SortOptions& options) {
    return Sort(reader, outputName, options).run();
}

}
