#include "sorting/merge.h"

#include <algorithm>
#include <functional>

namespace pelta::sorting {

Merge::Merge(ScratchStore& store, const std::vector<Run>& runs, KeyMaker& keys, std::size_t traceBytes, std::size_t pieceTraces,
             unsigned char* memory)
    : _store(store), _keys(keys), _traceBytes(traceBytes), _pieceTraces(pieceTraces) {
    _runs.reserve(runs.size());
    _heap.reserve(runs.size());
    for (const Run& run : runs) {
        unsigned char* piece = memory + _runs.size() * pieceTraces * traceBytes;
        _runs.push_back({run, piece, piece, piece});
        enter(_runs.size() - 1);
    }
}

/* Puts the run's next trace on the heap, if it has one. */
void Merge::enter(std::size_t number) {
    MergedRun& run = _runs[number];
    if (run.next == run.end) {
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(run.rest.count, _pieceTraces));
        if (count == 0) return;
        _store.read(run.rest.first * _traceBytes, run.piece, count * _traceBytes);
        run.rest = {run.rest.first + count, run.rest.count - count};
        run.next = run.piece;
        run.end = run.piece + count * _traceBytes;
    }
    _heap.push_back(_keys.make(run.next, static_cast<std::int64_t>(number)));
    std::push_heap(_heap.begin(), _heap.end(), std::greater<>());
}

const unsigned char* Merge::next() {
    if (_hasTaken) {
        std::pop_heap(_heap.begin(), _heap.end(), std::greater<>());
        const auto number = static_cast<std::size_t>(_heap.back().place);
        _heap.pop_back();
        _runs[number].next += _traceBytes;
        enter(number);
    }
    _hasTaken = !_heap.empty();
    return _hasTaken ? _runs[static_cast<std::size_t>(_heap.front().place)].next : nullptr;
}

}
