#ifndef PELTA_TOOL_SORTING_STOREDRUNS_H
#define PELTA_TOOL_SORTING_STOREDRUNS_H

#include <memory>
#include <vector>

#include "sorting/memoryplan.h"
#include "sorting/merge.h"

namespace pelta::sorting {

/* Sorted runs of traces in the scratch folder, one behind the other. */
class StoredRuns {
  public:
    /*   staging        for plan.stagedTraces traces
     *   expectedBytes  that will be written; 0 where that is not known */
    StoredRuns(const ScratchPlace& place, const MemoryPlan& plan, unsigned char* staging, std::uint64_t expectedBytes);

    /* Adds a trace to the last run, which endRun ends. */
    void add(const unsigned char* trace);
    void endRun();

    std::size_t count() const { return _ends.size(); }
    /* Some of the runs in one order. Memory is shared out by the plan. */
    Merge merge(std::size_t firstRun, std::size_t runCount, KeyMaker& keys, unsigned char* memory);

  private:
    void flush();

    const MemoryPlan& _plan;
    unsigned char* _staging;
    ScratchStore _store;
    std::size_t _staged = 0;
    std::uint64_t _written = 0;       /* traces */
    std::vector<std::uint64_t> _ends; /* of each run, in traces */
};

}

#endif
