#ifndef PELTA_TOOL_SORTING_MERGE_H
#define PELTA_TOOL_SORTING_MERGE_H

#include <cstdint>
#include <vector>

#include "sorting/sortkey.h"
#include "support/scratchstore.h"

namespace pelta::sorting {

/* Traces in order, one behind the other in a scratch store. */
struct Run {
    std::uint64_t first = 0, count = 0; /* in traces */
};

/* A run while it is merged: a piece of it is in the memory. */
struct MergedRun {
    Run rest = {};                  /* in the store yet */
    unsigned char* piece = nullptr; /* its place in the memory */
    const unsigned char* next = nullptr;
    const unsigned char* end = nullptr;
};

/* The traces of several runs in one order. Those with equal keys come in the order of their runs. */
class Merge {
  public:
    /*   memory  for pieceTraces traces of each run */
    Merge(ScratchStore& store, const std::vector<Run>& runs, KeyMaker& keys, std::size_t traceBytes, std::size_t pieceTraces,
          unsigned char* memory);
    /* The next trace, valid until the next call; null at the end. */
    const unsigned char* next();

  private:
    void enter(std::size_t run);

    ScratchStore& _store;
    KeyMaker& _keys;
    std::size_t _traceBytes, _pieceTraces;
    std::vector<MergedRun> _runs;
    std::vector<Key> _heap; /* of each run's next trace, the smallest in front; their place is the number of the run */
    bool _hasTaken = false; /* the trace of the heap's front */
};

}

#endif
