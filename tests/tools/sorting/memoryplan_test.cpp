#include "sorting/memoryplan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "sorting/merge.h"
#include "sorting/sortkey.h"
#include "support/failure.h"

using namespace pelta;
using namespace pelta::sorting;

namespace {

std::size_t bytesWhileMerging(const MemoryPlan& plan, std::size_t runs) {
    return plan.stagedTraces * plan.traceBytes + runs * (plan.pieceTraces(runs) * plan.traceBytes + sizeof(MergedRun));
}

TEST(MemoryPlan, StaysWithinTheMemory) {
    std::mt19937 random(3);
    for (int turn = 0; turn < 20000; ++turn) {
        const std::size_t traceBytes = 240 + random() % (1U << random() % 20),
                          memory = 2 * traceBytes + random() % (1U << random() % 28);
        if (memory < 2 * (traceBytes + sizeof(MergedRun))) continue;
        const MemoryPlan plan(static_cast<std::int64_t>(memory), traceBytes, 0);
        const std::size_t staged = plan.stagedTraces * traceBytes;
        ASSERT_LE(staged + plan.roomBytes, memory);
        ASSERT_LE(staged + plan.runTraces * (traceBytes + sizeof(Key)), memory);
        ASSERT_GE(plan.mergedRuns, 2u);
        for (const std::size_t runs : {std::size_t{2}, plan.mergedRuns / 2, plan.mergedRuns - 1, plan.mergedRuns})
            if (runs >= 2) {
                ASSERT_LE(bytesWhileMerging(plan, runs), memory) << traceBytes << " bytes a trace, " << runs << " runs";
                ASSERT_GE(plan.pieceTraces(runs), 1u);
            }
    }
}

TEST(MemoryPlan, LeavesLittleOfTheMemoryUnused) {
    constexpr std::int64_t memory = 64 << 20;
    constexpr std::size_t traceBytes = 6240;
    const MemoryPlan plan(memory, traceBytes, 0);
    constexpr double most = 0.99;
    EXPECT_GE(static_cast<double>(plan.runTraces * (traceBytes + sizeof(Key))), most * memory);
    EXPECT_GE(plan.mergedRuns, 4000u);
    EXPECT_EQ(plan.pieceTraces(4), (1u << 20) / traceBytes);
    EXPECT_EQ(MemoryPlan(memory, traceBytes, 100).runTraces, 100u);
}

TEST(MemoryPlan, TakesTwoTracesAtLeast) {
    constexpr std::size_t traceBytes = 1 << 20;
    constexpr std::int64_t least = 2 * (traceBytes + sizeof(MergedRun));
    EXPECT_EQ(MemoryPlan(least, traceBytes, 0).mergedRuns, 2u);
    try {
        MemoryPlan(least - 1, traceBytes, 0);
        FAIL();
    } catch (const Failure& failure) {
        EXPECT_STREQ(failure.what(), "--memory: has to hold two traces of 1048576 bytes at least; --memory 3 does");
    }
}

}
