#include "stacking/stack.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "support/failure.h"

namespace pelta::stacking {

using segy::Word;

namespace {

/* Means of whole numbers are none. */
segy::Layout layoutFor(segy::Layout layout) {
    if (layout.format != segy::SampleFormat::ibm) layout.format = segy::SampleFormat::ieee;
    return layout;
}

double megabytes(std::int64_t bytes) { return static_cast<double>(bytes) / (1 << 20); }

}

Stack::Stack(segy::Reader& reader, std::string outputName, StackOptions options)
    : _reader(reader),
      _outputName(std::move(outputName)),
      _options(std::move(options)),
      _headers(reader.name(), reader.layout()),
      _layout(layoutFor(reader.layout())),
      _scale(_options.foldExponent),
      _openBytes(GatherSum::bytes(_layout.sampleCount)),
      _isPipe(!reader.fileSize()) {
    if (_isPipe) return;
    _gathers = findGathers(reader, _headers);
    _headers.requireCdps();
    planOrder();
}

void Stack::planOrder() {
    const auto needed = [this](Order order) { return memoryNeeded(_gathers, order, _openBytes, _layout.traceBytes()); };
    _order = Order::ascending;
    if (needed(_order) <= _options.memoryBytes) return;
    _order = Order::asCompleted;
    const std::int64_t most = needed(_order);
    if (most > _options.memoryBytes)
        fail(
            "{}: its {} CDPs go on side by side so that their sums take {:.0f} MB, and --memory allows {:.0f}; raise it or "
            "sort the traces by CDP",
            _reader.name(), _gathers.size(), std::ceil(megabytes(most)), megabytes(_options.memoryBytes));
    warn(fmt::format("{}: is written in the order in which its CDPs are complete; ascending order needs --memory {:.0f}",
                     _outputName, std::ceil(megabytes(needed(Order::ascending)))));
}

void Stack::begin(const Line& line) { _writer.emplace(_outputName, _options.overwrite, preambleFor(line)); }

segy::Preamble Stack::preambleFor(const Line& line) const {
    constexpr segy::HeaderWord tracesPerEnsemble{3213, 2}, auxiliaryTraces{3215, 2}, format{3225, 2}, sorting{3229, 2};
    constexpr segy::HeaderWord longTracesPerEnsemble{3261, 4}, longAuxiliaryTraces{3265, 4}, traceCount{3513, 8};
    constexpr int horizontallyStacked = 4;
    segy::Preamble preamble = line.preamble;
    const auto set = [&](segy::HeaderWord word, std::int64_t value) {
        writeWord(preamble.data(), word, _layout.byteOrder, value);
    };
    set(tracesPerEnsemble, 1);
    set(auxiliaryTraces, 0);
    set(format, static_cast<int>(_layout.format));
    set(sorting, horizontallyStacked);
    if (_layout.revisionMajor >= 2) {
        set(longTracesPerEnsemble, 0);
        set(longAuxiliaryTraces, 0);
        if (line.layout.promisedTraces > 0) set(traceCount, static_cast<std::int64_t>(_gathers.size())); /* 0: not known */
    }
    addHistory(preamble, _layout, _options.history);
    return preamble;
}

void Stack::take(const WorkTrace& work) {
    const std::int64_t cdp = _isPipe ? _headers.take(work.trace) : work.facts.cdp;
    if (cdp == 0) return;
    OpenGather& gather = gatherOf(cdp);
    if (isLive(work)) {
        if (segy::countNotFinite(work.trace.samples) > 0)
            fail("{}: trace {} (CDP {}) holds samples that are NaN or infinite; pelta check lists such traces", _reader.name(),
                 work.trace.number + 1, cdp);
        gather.sum.add(work);
        ++_summary.liveTraces;
    } else {
        gather.sum.addDead(work);
        ++_summary.deadTraces;
    }
    if (work.trace.number == gather.last) close(cdp);
}

void Stack::drop(const WorkTrace& work) {
    if (_isPipe) _headers.take(work.trace);
    else if (work.facts.cdp != 0 && work.trace.number == lastOf(work.facts.cdp)) close(work.facts.cdp);
}

Stack::OpenGather& Stack::gatherOf(std::int64_t cdp) {
    const auto found = _open.find(cdp);
    if (_isPipe && cdp != std::exchange(_lastCdp, cdp)) {
        if (found != _open.end()) _isSorted = false;
        else makeRoomInPipe();
    }
    if (found != _open.end()) return *found->second;
    return *_open.emplace(cdp, open(cdp)).first->second;
}

Stack::Opened Stack::open(std::int64_t cdp) {
    Opened gather = _spare.empty() ? std::make_unique<OpenGather>() : std::move(_spare.back());
    if (!_spare.empty()) _spare.pop_back();
    gather->sum.begin(cdp, static_cast<std::size_t>(_layout.sampleCount));
    gather->last = std::numeric_limits<std::int64_t>::max();
    if (_isPipe) {
        if (_written.contains(cdp))
            fail(
                "{}: CDP {} goes on after others, when --memory {:.0f} had made it be written; raise it, sort the traces by "
                "CDP or give a file instead of a pipe",
                _reader.name(), cdp, megabytes(_options.memoryBytes));
        return gather;
    }
    gather->last = lastOf(cdp);
    return gather;
}

std::int64_t Stack::lastOf(std::int64_t cdp) const {
    const auto place = std::lower_bound(_gathers.begin(), _gathers.end(), cdp,
                                        [](const Gather& known, std::int64_t number) { return known.cdp < number; });
    if (place == _gathers.end() || place->cdp != cdp) fail("{}: changed while it was read", _reader.name());
    return place->last;
}

void Stack::makeRoomInPipe() {
    const auto openCount = static_cast<std::int64_t>(_open.size());
    if ((openCount + 1) * _openBytes <= _options.memoryBytes) return;
    if (!_isSorted)
        fail(
            "{}: is not sorted by CDP, and the sums of {} CDPs are more than --memory {:.0f} allows; raise it, sort the "
            "traces or give a file instead of a pipe",
            _reader.name(), openCount + 1, megabytes(_options.memoryBytes));
    completeAll();
}

void Stack::completeAll() {
    std::vector<Opened> gathers;
    for (auto& [cdp, gather] : _open) gathers.push_back(std::move(gather));
    _open.clear();
    std::sort(gathers.begin(), gathers.end(), [](const Opened& a, const Opened& b) { return a->sum.cdp() < b->sum.cdp(); });
    for (Opened& gather : gathers) {
        _written.insert(gather->sum.cdp());
        complete(std::move(gather));
    }
}

/* Of a CDP whose traces were all dropped nothing is written. */
void Stack::close(std::int64_t cdp) {
    auto gather = _open.extract(cdp);
    if (!gather.empty()) return complete(std::move(gather.mapped()));
    _stacked.header.clear();
    writeInTurn(cdp);
}

void Stack::complete(Opened gather) {
    const GatherSum& sum = gather->sum;
    if (sum.fold() == 0) {
        if (_summary.deadGathers++ == 0 || sum.cdp() < _summary.firstDeadGather) _summary.firstDeadGather = sum.cdp();
    } else {
        const bool isFirst = _summary.largestFold == 0;
        _summary.smallestFold = isFirst ? sum.fold() : std::min(_summary.smallestFold, sum.fold());
        _summary.largestFold = std::max(_summary.largestFold, sum.fold());
    }
    sum.finish(_scale, _layout, _stacked);
    _summary.clippedSamples += segy::encode(_stacked, _layout);
    writeInTurn(sum.cdp());
    _spare.push_back(std::move(gather));
}

void Stack::writeInTurn(std::int64_t cdp) {
    if (_order == Order::asCompleted) return write(_stacked);
    if (cdp != _gathers[_next].cdp) {
        segy::Trace& waiting = _waiting[cdp];
        waiting.header = _stacked.header;
        waiting.encoded = _stacked.encoded;
        return;
    }
    write(_stacked);
    for (++_next; !_waiting.empty() && _waiting.begin()->first == _gathers[_next].cdp; ++_next) {
        write(_waiting.begin()->second);
        _waiting.erase(_waiting.begin());
    }
}

void Stack::write(segy::Trace& stacked) {
    if (stacked.header.empty()) return;
    const std::int64_t number = ++_summary.gathers;
    for (Word word : {Word::trace, Word::traceInFile})
        writeWord(stacked.header.data(), _layout.words[word], _layout.byteOrder, number);
    _writer->write(stacked);
}

void Stack::check() {
    if (_isPipe) _headers.requireCdps();
    _summary.tracesWithoutCdp = _headers.tracesWithoutCdp();
    if (_summary.liveTraces == 0)
        fail("{}: none of its {} traces is live: their samples are 0, or trace_type at byte {} is 2 (dead)", _reader.name(),
             _summary.deadTraces, _layout.words[Word::traceType].position);
}

void Stack::finish() {
    completeAll();
    _writer->writeTrailer(_reader.trailer());
    _writer->commit();
}

}
