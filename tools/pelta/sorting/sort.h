#ifndef PELTA_TOOL_SORTING_SORT_H
#define PELTA_TOOL_SORTING_SORT_H

#include <cstdint>
#include <string>
#include <vector>

#include "segy/reader.h"
#include "sorting/sortkey.h"

namespace pelta::sorting {

struct SortOptions {
    std::vector<std::string> by = {}, descending = {};
    std::int64_t memoryBytes = std::int64_t{1} << 30;
    bool overwrite = false, quiet = false;
    bool salvage = false;                   /* the input may hold fewer traces than it promises */
    bool history = false;                   /* a line in the text header */
    std::int64_t cachedBytes = fromMachine; /* files up to this size stay in memory when they were read once */

    static constexpr std::int64_t fromMachine = -1;
};

/* The ways that traces go:
 *   inKeyOrder      headers are read first, then the traces in the order of the output, a window of them at a time. Of a file
 *                   that the machine still has in its memory then, or whose order lets a disk read on for long.
 *   inMemory        all fit into the memory, where they are sorted
 *   throughScratch  runs that fit into the memory are sorted, kept in the scratch folder, and merged, those that are more than
 *                   can be merged at once to longer ones first */
enum class Way { inKeyOrder, inMemory, throughScratch };

struct SortSummary {
    std::int64_t traces = 0;
    Way way = Way::inMemory;
    std::size_t windows = 0;     /* read in key order */
    std::size_t runs = 0;        /* in the scratch folder */
    std::size_t mergePasses = 0; /* the last of them writes the output */
    std::string scratchFolder = {};
    std::vector<Field> emptyFields = {}; /* 0 in every trace */
};

/* Writes the traces of the reader to outputName ("-" is standard output) in the order of their fields, those with equal ones in
 * the order of the input. Headers and samples stay as they are, byte for byte; of the file headers only the word for the order
 * of the traces changes. What comes out is the same for any memory. */
SortSummary sortTraces(segy::Reader& reader, const std::string& outputName, const SortOptions& options);

}

#endif
