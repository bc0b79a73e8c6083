#include "sorting/storedruns.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace pelta::sorting {

StoredRuns::StoredRuns(const ScratchPlace& place, const MemoryPlan& plan, unsigned char* staging, std::uint64_t expectedBytes)
    : _plan(plan), _staging(staging), _store(place, plan.runTraces * plan.traceBytes, expectedBytes) {}

void StoredRuns::add(const unsigned char* trace) {
    if (_plan.stagedTraces == 0) {
        _store.write(_written++ * _plan.traceBytes, trace, _plan.traceBytes);
        return;
    }
    std::memcpy(_staging + _staged * _plan.traceBytes, trace, _plan.traceBytes);
    if (++_staged == _plan.stagedTraces) flush();
}

void StoredRuns::flush() {
    _store.write(_written * _plan.traceBytes, _staging, _staged * _plan.traceBytes);
    _written += std::exchange(_staged, 0);
}

void StoredRuns::endRun() {
    flush();
    _ends.push_back(_written);
}

Merge StoredRuns::merge(std::size_t firstRun, std::size_t runCount, KeyMaker& keys, unsigned char* memory) {
    std::vector<Run> runs;
    for (std::size_t run = firstRun; run < firstRun + runCount; ++run) {
        const std::uint64_t first = run == 0 ? 0 : _ends[run - 1];
        runs.push_back({first, _ends[run] - first});
    }
    return Merge(_store, runs, keys, _plan.traceBytes, _plan.pieceTraces(runCount), memory);
}

}
