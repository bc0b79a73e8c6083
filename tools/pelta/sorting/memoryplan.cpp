#include "sorting/memoryplan.h"

#include <algorithm>
#include <cmath>

#include "sorting/merge.h"
#include "support/failure.h"

namespace pelta::sorting {
namespace {

/* What stays in the processor's second cache on its way. */
constexpr std::size_t longestStaging = 256 << 10;
/* A disk that goes from run to run wants more than a trace at a time; longer pieces gain nothing. */
constexpr std::size_t shortestPiece = 16 << 10, longestPiece = 1 << 20;
/* Small memory has shorter pieces rather than more passes. */
constexpr std::size_t usualFanIn = 64;

}

MemoryPlan::MemoryPlan(std::int64_t memoryBytes, std::size_t bytesOfTrace, std::uint64_t traceCount)
    : traceBytes(bytesOfTrace) {
    const std::size_t least = 2 * (traceBytes + sizeof(MergedRun));
    if (memoryBytes < static_cast<std::int64_t>(least)) {
        constexpr double megabyte = 1 << 20;
        fail("--memory: has to hold two traces of {} bytes at least; --memory {:.0f} does", traceBytes,
             std::ceil(static_cast<double>(least) / megabyte));
    }
    const auto total = static_cast<std::size_t>(std::min<std::int64_t>(memoryBytes, PTRDIFF_MAX));
    constexpr std::size_t stagingShare = 8;
    stagedTraces = std::min(longestStaging, total / stagingShare) / traceBytes;
    roomBytes = total - stagedTraces * traceBytes;
    runTraces = roomBytes / (traceBytes + sizeof(Key));
    if (traceCount > 0) runTraces = static_cast<std::size_t>(std::min<std::uint64_t>(runTraces, traceCount));
    const std::size_t piece = std::max(traceBytes, std::min(shortestPiece, roomBytes / usualFanIn));
    mergedRuns = std::max<std::size_t>(roomBytes / (piece + sizeof(MergedRun)), 2);
}

std::size_t MemoryPlan::pieceTraces(std::size_t runs) const {
    const std::size_t bytes = std::min(longestPiece, roomBytes / runs - sizeof(MergedRun));
    return std::max<std::size_t>(bytes / traceBytes, 1);
}

}
