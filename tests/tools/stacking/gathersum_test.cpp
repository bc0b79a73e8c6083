#include "stacking/gathersum.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "support/bits.h"
#include "support/signals.h"

using namespace pelta;
using namespace pelta::stacking;
using segy::Word;

namespace {

segy::Layout layoutOf(std::int64_t sampleCount) {
    segy::Layout layout;
    layout.sampleCount = sampleCount;
    return layout;
}

void setWord(WorkTrace& work, Word word, std::int64_t value) {
    const segy::Layout layout;
    segy::writeWord(work.trace.header.data(), layout.words[word], layout.byteOrder, value);
    work.facts = segy::readFacts(work.trace, layout);
}

std::int64_t wordOf(const segy::Trace& trace, Word word) {
    const segy::Layout layout;
    return segy::readWord(trace.header.data(), layout.words[word], layout.byteOrder);
}

WorkTrace traceOf(std::vector<float> samples, std::int64_t channel = 1) {
    WorkTrace work;
    work.trace.header.assign(segy::traceHeaderBytes, 0);
    work.trace.samples = std::move(samples);
    setWord(work, Word::channel, channel);
    return work;
}

segy::Trace stackOf(const std::vector<WorkTrace>& traces, double exponent = 1.0) {
    GatherSum sum;
    const std::size_t count = traces.front().trace.samples.size();
    sum.begin(7, count);
    for (const WorkTrace& work : traces) isLive(work) ? sum.add(work) : sum.addDead(work);
    FoldScale scale(exponent);
    segy::Trace stacked;
    sum.finish(scale, layoutOf(static_cast<std::int64_t>(count)), stacked);
    return stacked;
}

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

}

TEST(GatherSum, DividesEverySampleByTheNumberOfTracesThatAreLiveThere) {
    const std::vector<WorkTrace> traces = {traceOf({1, 2, 0, 0}), traceOf({3, 0, 0, -1}), traceOf({5, 4, 0, 0})};
    EXPECT_TRUE(sameSamples(stackOf(traces).samples, std::vector<float>{3, 3, 0, -1}));
    EXPECT_TRUE(sameSamples(stackOf(traces, 0.0).samples, std::vector<float>{9, 6, 0, -1}));
    const std::vector<float> rootOfFold = {static_cast<float>(9 / std::sqrt(3.0)), static_cast<float>(6 / std::sqrt(2.0)), 0,
                                           -1};
    EXPECT_TRUE(sameSamples(stackOf(traces, 0.5).samples, rootOfFold));
    EXPECT_TRUE(sameSamples(
        stackOf(traces, 0.25).samples,
        std::vector<float>{static_cast<float>(9 / std::pow(3.0, 0.25)), static_cast<float>(6 / std::pow(2.0, 0.25)), 0, -1}));
}

TEST(GatherSum, SumsInDoubleInTheOrderOfTheTraces) {
    /* In float the 1 would be lost beside 2^25, in another order of doubles beside 2^60. */
    const float large = 0x1p25f, huge = 0x1p60f;
    EXPECT_TRUE(sameSamples(stackOf({traceOf({large}), traceOf({1}), traceOf({-large})}, 0.0).samples, std::vector<float>{1}));
    EXPECT_TRUE(sameSamples(stackOf({traceOf({huge}), traceOf({-huge}), traceOf({1})}, 0.0).samples, std::vector<float>{1}));
    EXPECT_TRUE(sameSamples(stackOf({traceOf({huge}), traceOf({1}), traceOf({-huge})}, 0.0).samples, std::vector<float>{0}));
}

TEST(GatherSum, MatchesThePlainFormulaOnRandomGathers) {
    std::mt19937 engine(1);
    const float special[] = {0.0f, -0.0f, 1e-45f, -1e-39f, 3e38f, -3e38f};
    for (int round = 0; round < 200; ++round) {
        const int traceCount = 1 + static_cast<int>(engine() % 40), sampleCount = 1 + static_cast<int>(engine() % 70);
        std::vector<WorkTrace> traces;
        for (int t = 0; t < traceCount; ++t) {
            std::vector<float> samples = randomTrace(sampleCount, engine());
            for (float& sample : samples)
                if (engine() % 3 == 0) sample = special[engine() % std::size(special)];
            traces.push_back(traceOf(std::move(samples)));
        }
        const double exponent = round % 3 == 0 ? 1.0 : round % 3 == 1 ? 0.5 : 0.0;
        std::vector<float> expected;
        for (std::size_t i = 0; i < static_cast<std::size_t>(sampleCount); ++i) {
            double sum = 0.0;
            int fold = 0;
            for (const WorkTrace& work : traces)
                if (isLive(work) && work.trace.samples[i] != 0.0f) sum += work.trace.samples[i], ++fold;
            const double divisor = exponent == 1.0 ? fold : exponent == 0.5 ? std::sqrt(static_cast<double>(fold)) : 1.0;
            expected.push_back(fold == 0 ? 0.0f : static_cast<float>(sum / divisor));
        }
        ASSERT_TRUE(sameSamples(stackOf(traces, exponent).samples, expected)) << "round " << round;
    }
}

TEST(GatherSum, CountsNoDeadTrace) {
    WorkTrace marked = traceOf({100, 100}, 2);
    setWord(marked, Word::traceType, 2);
    WorkTrace markedLive = traceOf({4, 8}, 4);
    setWord(markedLive, Word::traceType, 1);
    const segy::Trace stacked = stackOf({traceOf({0, -0.0f}, 1), marked, markedLive, traceOf({2, 0}, 5)});
    EXPECT_TRUE(sameSamples(stacked.samples, std::vector<float>{3, 8}));
    EXPECT_EQ(wordOf(stacked, Word::fold), 2);
    EXPECT_EQ(wordOf(stacked, Word::channel), 4) << "the header of the first live trace";
    EXPECT_EQ(wordOf(stacked, Word::traceType), 1);
}

TEST(GatherSum, TakesATraceWithASampleThatIsNoNumberForLive) {
    EXPECT_TRUE(isLive(traceOf({0, notANumber})));
    EXPECT_FALSE(isLive(traceOf({0, 0})));
    EXPECT_FALSE(isLive(traceOf({})));
}

TEST(GatherSum, BecomesADeadTraceOfZerosWithoutALiveOne) {
    WorkTrace marked = traceOf({100, 100}, 2);
    setWord(marked, Word::traceType, 2);
    setWord(marked, Word::cdpX, 5000);
    const segy::Trace stacked = stackOf({marked, traceOf({0, 0}, 3)});
    EXPECT_TRUE(sameSamples(stacked.samples, std::vector<float>{0, 0}));
    EXPECT_EQ(wordOf(stacked, Word::traceType), 2);
    EXPECT_EQ(wordOf(stacked, Word::fold), 0);
    EXPECT_EQ(wordOf(stacked, Word::channel), 2);
    EXPECT_EQ(wordOf(stacked, Word::cdpX), 5000);
}

TEST(GatherSum, PutsSourceReceiverAndCdpInTheirMeanPlaces) {
    std::vector<WorkTrace> traces = {traceOf({1}), traceOf({1})};
    for (WorkTrace& work : traces) setWord(work, Word::coordinateScalar, -10);
    const std::pair<Word, std::pair<int, int>> words[] = {
        {Word::sourceX, {1000, 1200}}, {Word::receiverX, {2000, 1800}}, {Word::sourceY, {-10, -30}}, {Word::receiverY, {0, 0}},
        {Word::cdpX, {1501, 1503}},    {Word::cdpY, {-7, -11}},         {Word::offset, {100, 60}},
    };
    for (const auto& [word, values] : words) {
        setWord(traces[0], word, values.first);
        setWord(traces[1], word, values.second);
    }
    const segy::Trace stacked = stackOf(traces);
    EXPECT_EQ(wordOf(stacked, Word::sourceX), 1500);
    EXPECT_EQ(wordOf(stacked, Word::receiverX), 1500);
    EXPECT_EQ(wordOf(stacked, Word::sourceY), -10);
    EXPECT_EQ(wordOf(stacked, Word::receiverY), -10);
    EXPECT_EQ(wordOf(stacked, Word::cdpX), 1502);
    EXPECT_EQ(wordOf(stacked, Word::cdpY), -9);
    EXPECT_EQ(wordOf(stacked, Word::offset), 0);
    EXPECT_EQ(wordOf(stacked, Word::coordinateScalar), -10);
}

TEST(GatherSum, SetsAWrongSampleCountRight) {
    WorkTrace work = traceOf({1, 2, 3});
    setWord(work, Word::samples, 1500);
    EXPECT_EQ(wordOf(stackOf({work}), Word::samples), 3);
}

TEST(GatherSum, MeansPlacesOfTracesWithDifferentScalars) {
    std::vector<WorkTrace> traces = {traceOf({1}), traceOf({1})};
    setWord(traces[0], Word::coordinateScalar, -100);
    setWord(traces[0], Word::cdpX, 100000);
    setWord(traces[1], Word::cdpX, 2000);
    EXPECT_EQ(wordOf(stackOf(traces), Word::cdpX), 150000);
}

TEST(GatherSum, StopsTheFoldAtWhatItsWordHolds) {
    GatherSum sum;
    sum.begin(7, 1);
    const WorkTrace work = traceOf({1});
    for (int k = 0; k < 32770; ++k) sum.add(work);
    FoldScale scale(1.0);
    segy::Trace stacked;
    sum.finish(scale, layoutOf(1), stacked);
    EXPECT_EQ(sum.fold(), 32770);
    EXPECT_EQ(wordOf(stacked, Word::fold), 32767);
    EXPECT_TRUE(sameSamples(stacked.samples, std::vector<float>{1}));
}

TEST(GatherSum, StartsOverWithNothingOfTheLastCdp) {
    GatherSum sum;
    sum.begin(7, 3);
    WorkTrace first = traceOf({1, 2, 3}, 9);
    setWord(first, Word::cdpX, 500);
    sum.add(first);
    sum.begin(8, 2);
    sum.add(traceOf({4, 0}, 1));
    FoldScale scale(1.0);
    segy::Trace stacked;
    sum.finish(scale, layoutOf(2), stacked);
    EXPECT_EQ(sum.cdp(), 8);
    EXPECT_TRUE(sameSamples(stacked.samples, std::vector<float>{4, 0}));
    EXPECT_EQ(wordOf(stacked, Word::fold), 1);
    EXPECT_EQ(wordOf(stacked, Word::cdpX), 0);
    EXPECT_EQ(wordOf(stacked, Word::channel), 1);
}
