#include "stacking/lineheaders.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "support/failure.h"
#include "support/files.h"
#include "support/segyfiles.h"

using namespace pelta;
using namespace pelta::stacking;

namespace {

std::string fileWithCdps(const std::vector<int>& cdps) {
    SegyRecipe recipe;
    recipe.traces = static_cast<int>(cdps.size());
    std::string file = makeSegy(recipe);
    for (int t = 0; t < recipe.traces; ++t) putWord(file, recipe.placeInTrace(t, 21), 4, cdps[static_cast<std::size_t>(t)]);
    return file;
}

std::string textOf(const std::vector<Gather>& gathers) {
    std::string text;
    for (const Gather& gather : gathers) text += fmt::format("{}:{}-{} ", gather.cdp, gather.first, gather.last);
    return text;
}

std::string failureOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const Failure& failure) { return failure.what(); }
    return "";
}

}

TEST(FindGathers, TellsWhereEachCdpBeginsAndEnds) {
    const ScratchFolder folder;
    writeFile(folder.file("in.sgy"), fileWithCdps({5, 6, 0, 5, -2, 7, 6}));
    segy::Reader reader(folder.file("in.sgy"), {});
    LineHeaders headers(reader.name(), reader.layout());
    EXPECT_EQ(textOf(findGathers(reader, headers)), "-2:4-4 5:0-3 6:1-6 7:5-5 ");
    EXPECT_EQ(headers.tracesWithoutCdp(), 1);
    headers.requireCdps();
    segy::Trace trace;
    ASSERT_TRUE(reader.next(trace)) << "the reader stands at the first trace again";
    EXPECT_EQ(trace.number, 0);
}

TEST(LineHeaders, RefuseTracesThatBeginAtDifferentTimes) {
    const ScratchFolder folder;
    std::string file = fileWithCdps({5, 6, 7});
    putWord(file, SegyRecipe().placeInTrace(2, 109), 2, 20);
    writeFile(folder.file("in.sgy"), file);
    segy::Reader reader(folder.file("in.sgy"), {});
    LineHeaders headers("in.sgy", reader.layout());
    EXPECT_EQ(failureOf([&] { findGathers(reader, headers); }),
              "in.sgy: trace 3 begins at 20 ms (byte 109) and trace 1 at -12 ms; a stack needs one start time, --map "
              "delay=BYTE:SIZE names another word");
}

TEST(LineHeaders, RefuseALineWithoutCdpNumbers) {
    const ScratchFolder folder;
    writeFile(folder.file("in.sgy"), fileWithCdps({0, 0, 0}));
    segy::Reader reader(folder.file("in.sgy"), {});
    LineHeaders headers("in.sgy", reader.layout());
    EXPECT_EQ(textOf(findGathers(reader, headers)), "");
    EXPECT_EQ(
        failureOf([&] { headers.requireCdps(); }),
        "in.sgy: cdp at trace byte 21 is 0 on all 3 traces; a stack needs CDP numbers, --map cdp=BYTE:SIZE names the right "
        "word");
}

TEST(MemoryNeeded, IsOneSumForASortedLineAndAllSumsForAShuffledOne) {
    EXPECT_EQ(memoryNeeded({{1, 0, 3}, {2, 4, 7}, {3, 8, 8}}, Order::ascending, 100, 10), 100);
    EXPECT_EQ(memoryNeeded({{1, 0, 6}, {2, 1, 7}, {3, 2, 8}}, Order::ascending, 100, 10), 300);
    EXPECT_EQ(memoryNeeded({}, Order::ascending, 100, 10), 0);
}

TEST(MemoryNeeded, HoldsStackedTracesUntilThoseOfLowerCdpsAreDone) {
    const std::vector<Gather> descending = {{1, 8, 9}, {2, 6, 7}, {3, 4, 5}, {4, 0, 3}};
    EXPECT_EQ(memoryNeeded(descending, Order::asCompleted, 100, 10), 100);
    EXPECT_EQ(memoryNeeded(descending, Order::ascending, 100, 10), 130) << "CDPs 4, 3 and 2 wait for CDP 1";
}

TEST(MemoryNeeded, MatchesAWalkFromTraceToTrace) {
    std::mt19937 engine(3);
    for (int round = 0; round < 300; ++round) {
        std::vector<Gather> gathers;
        const int traces = 60;
        for (std::int64_t cdp = 1; cdp <= 1 + round % 12; ++cdp) {
            const std::int64_t a = engine() % traces, b = engine() % traces;
            gathers.push_back({cdp, std::min(a, b), std::max(a, b)});
        }
        for (const Order order : {Order::ascending, Order::asCompleted}) {
            std::int64_t most = 0;
            for (std::int64_t trace = 0; trace < traces; ++trace) {
                std::int64_t held = 0, lowerDone = -1;
                for (const Gather& gather : gathers) {
                    lowerDone = std::max(lowerDone, gather.last);
                    if (gather.first <= trace && trace <= gather.last) held += 100;
                    if (order == Order::ascending && gather.last < trace && trace <= lowerDone) held += 10;
                }
                most = std::max(most, held);
            }
            ASSERT_EQ(memoryNeeded(gathers, order, 100, 10), most) << "round " << round;
        }
    }
}
