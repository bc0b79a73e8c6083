#ifndef PELTA_TOOL_SORTING_MEMORYPLAN_H
#define PELTA_TOOL_SORTING_MEMORYPLAN_H

#include <cstddef>
#include <cstdint>

namespace pelta::sorting {

/* How the memory that a sort may take is shared out. */
struct MemoryPlan {
    /* Fails when not even two traces fit.
     *   traceCount  of the input; 0 where that is not known */
    MemoryPlan(std::int64_t memoryBytes, std::size_t bytesOfTrace, std::uint64_t traceCount);

    std::size_t traceBytes;
    std::size_t stagedTraces; /* gathered before they go to the disk together; 0 where each goes by itself */
    std::size_t roomBytes;    /* for traces and keys: those of a run first, pieces of all runs later */
    std::size_t runTraces;    /* sorted at once */
    std::size_t mergedRuns;   /* merged at once, at most */

    /* How many traces of each run are in the memory while so many runs are merged. */
    std::size_t pieceTraces(std::size_t runs) const;
};

}

#endif
