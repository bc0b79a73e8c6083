#include <gtest/gtest.h>
#include <pelta/arpicker.h>
#include <pelta/fbpicker.h>
#include <pelta/spdpicker.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "support/bits.h"
#include "support/plainpicker.h"
#include "support/signals.h"

namespace {

constexpr float infinite = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

/* Parameters at 2 ms that suit a trace of some 500 samples with a 40 Hz arrival; nothing is snapped. */
fbPickParm usualParameters(int ipmethod) {
    fbPickParm parm = {};
    parm.ipmethod = ipmethod;
    parm.method = 0;
    parm.velocity = 2000.0f;
    parm.shiftpick = 5;
    parm.envelope = 50;
    parm.stablizer = 5.0f;
    parm.winlen = 1000;
    parm.winlen1 = parm.winlen2 = parm.winlen3 = 1000;
    parm.win1 = 100;
    parm.win2 = 50;
    parm.wina = 200;
    parm.winar = 80;
    parm.threshold = 5.0f;
    parm.threshspd = 8.0f;
    parm.freqspd = 40.0f;
    parm.winspd = 50;
    return parm;
}

/* Parameters that make the autoregressive method accept its search start: the least threshold, on any trace of noise. */
fbPickParm startRevealing() {
    fbPickParm parm = usualParameters(3);
    parm.method = 1;
    parm.wina = 0;
    parm.threshold = 0.0f;
    return parm;
}

/* A slowly varying trace: neighbours are alike, so the first prediction coefficient is positive everywhere. */
std::vector<float> smoothTrace(int sampleCount) {
    std::vector<float> trace(sampleCount);
    for (int i = 0; i < sampleCount; ++i) trace[i] = static_cast<float>(std::sin(0.1 * i) + 0.3 * std::sin(0.037 * i + 1.0));
    return trace;
}

/* Quiet noise, then from sample onset on a decaying oscillation of the given frequency (Hz). */
std::vector<float> traceWithOnset(int sampleCount, int onset, unsigned seed, float frequency = 40.0f) {
    std::vector<float> trace = randomTrace(sampleCount, seed, 0.01f);
    for (int i = onset; i < sampleCount; ++i) {
        const double time = 0.002 * (i - onset);
        trace[i] += static_cast<float>(std::sin(2 * M_PI * frequency * time) * std::exp(-2.0 * time));
    }
    return trace;
}

int rawPick(int ipmethod, fbPicker& picker, std::vector<float>& data, int isamp) {
    switch (ipmethod) {
        case 1: return picker.computeEnPick(data.data(), isamp);
        case 2: return picker.computeSDPick(data.data(), isamp);
        case 3: return picker.computeARPick(data.data(), isamp);
        default: return picker.computeSPDPick(data.data(), isamp);
    }
}

/* The raw pick of the record's method by a picker that has done nothing else. */
int rawPickOf(fbPickParm parm, std::vector<float> trace, float interval, int isamp) {
    fbPicker picker(&parm, static_cast<int>(trace.size()), interval);
    return rawPick(parm.ipmethod, picker, trace, isamp);
}

/* What a user relies on. */

/* Where 20 traces are picked, less their onset. */
std::vector<int> pickErrors(fbPickParm parm, bool smoothNoise = false) {
    std::vector<int> errors;
    for (unsigned seed = 1; seed <= 20; ++seed) {
        const int onset = 150 + 9 * static_cast<int>(seed);
        std::vector<float> trace = traceWithOnset(500, onset, seed);
        if (smoothNoise)
            for (int i = 499; i > 1; --i) trace[i] = (trace[i] + trace[i - 1] + trace[i - 2]) / 3.0f;
        errors.push_back(fbPicker(&parm, 500, 2.0f).getPick(trace.data(), 0.0f, 0) - onset);
    }
    return errors;
}

void expectAllWithin(const std::vector<int>& errors, int least, int largest) {
    for (int error : errors) EXPECT_TRUE(error >= least && error <= largest) << error << " samples";
}

TEST(FirstBreakPicker, FindsTheOnsetWithEveryMethod) {
    expectAllWithin(pickErrors(usualParameters(1)), -2, 2);
    expectAllWithin(pickErrors(usualParameters(2)), -2, 2);
    // The windows of the other methods reach ahead: a whole window from the sample picked, half a window about it.
    fbPickParm autoregressive = usualParameters(3);
    autoregressive.threshold = 1.8f;
    expectAllWithin(pickErrors(autoregressive, true), -40, 0);
    fbPickParm decomposition = usualParameters(4);
    decomposition.threshspd = 40.0f;
    expectAllWithin(pickErrors(decomposition), -12, 0);
}

TEST(FirstBreakPicker, KeepsTheTrace) {
    for (int ipmethod = 1; ipmethod <= 4; ++ipmethod) {
        std::vector<float> trace = traceWithOnset(500, 200, 3);
        const std::vector<float> fresh = trace;
        fbPickParm parm = usualParameters(ipmethod);
        parm.shiftpick = 1;
        fbPicker(&parm, 500, 2.0f).getPick(trace.data(), 0.0f, 0);
        EXPECT_EQ(trace, fresh) << "method " << ipmethod;
    }
}

TEST(FirstBreakPicker, PicksTheSameWhateverWasPickedBefore) {
    std::mt19937 engine(5);
    std::vector<fbPickParm> parms;
    for (int ipmethod = 1; ipmethod <= 4; ++ipmethod) parms.push_back(usualParameters(ipmethod));
    parms[0].method = 1;  // segments that start and end inside the trace
    parms[0].winlen = 100;
    fbPickParm parm = parms[0];
    fbPicker used(&parm, 500, 2.0f);
    for (unsigned trial = 0; trial < 200; ++trial) {
        std::vector<float> trace = traceWithOnset(500, 150 + static_cast<int>(engine() % 200), trial);
        parm = parms[engine() % 4];
        const float offset = static_cast<float>(engine() % 1500);
        fbPicker fresh(&parm, 500, 2.0f);
        EXPECT_EQ(used.getPick(trace.data(), offset, 0), fresh.getPick(trace.data(), offset, 0)) << "trial " << trial;
    }
}

/* The search start. */

TEST(GetPick, StartsAtOffsetOverVelocityPlusADelayInSamples) {
    std::vector<float> trace = smoothTrace(500);
    fbPickParm parm = startRevealing();
    fbPicker picker(&parm, 500, 2.0f);
    EXPECT_EQ(picker.getPick(trace.data(), 500.0f, 0), 125);  // 0.25 s
    parm.delay = 3;
    EXPECT_EQ(picker.getPick(trace.data(), 500.0f, 0), 128);
    parm.delay = -125;
    EXPECT_EQ(picker.getPick(trace.data(), 502.0f, 0), 0);
    parm.delay = -124;
    EXPECT_EQ(picker.getPick(trace.data(), -4.0f, 0), 0);
}

TEST(GetPick, FormsTheTravelTimeInSingleAndTheRestInDoublePrecision) {
    std::vector<float> trace = smoothTrace(500);
    fbPickParm parm = startRevealing();
    parm.velocity = 1500.0f;
    fbPicker picker(&parm, 500, 2.0f);
    EXPECT_EQ(picker.getPick(trace.data(), 15.0f, 0), 4);  // 0.01f s is a little below 10 ms; either precision throughout: 5
}

TEST(GetPick, GivesNoPickWithoutSnappingForAStartOutsideTheTrace) {
    std::vector<float> trace = smoothTrace(100);
    fbPickParm parm = usualParameters(2);
    parm.method = 1;
    parm.velocity = 1000.0f;
    parm.shiftpick = 0;  // moves every pick
    parm.direction = 1;
    fbPicker picker(&parm, 100, 1.0f);
    EXPECT_EQ(picker.getPick(trace.data(), 99.0f, 0), 99);
    EXPECT_EQ(picker.getPick(trace.data(), 100.0f, 0), 0);
    EXPECT_EQ(picker.getPick(trace.data(), -1.0f, 0), 0);
    parm.delay = -51;
    EXPECT_EQ(picker.getPick(trace.data(), 50.0f, 0), 0);
    parm.delay = INT_MAX;
    EXPECT_EQ(picker.getPick(trace.data(), 50.0f, 0), 0);
    parm.delay = 0;
    parm.velocity = 0.0f;
    for (float offset : {1.0f, 0.0f, -1.0f, infinite, notANumber})
        EXPECT_EQ(picker.getPick(trace.data(), offset, 0), 0) << offset;
}

TEST(GetPick, StartsTheEnergyRatioAtHalfItsSearchWindowWhenTheOffsetIsNotUsed) {
    std::vector<float> trace = traceWithOnset(500, 60, 1);
    for (int winlen : {150, 301, 555}) {
        fbPickParm parm = usualParameters(1);
        parm.winlen = winlen;
        fbPicker picker(&parm, 500, 2.0f);
        EXPECT_EQ(picker.getPick(trace.data(), 900.0f, 0), plain::energyPick(parm, trace, 2.0f, winlen / 4)) << winlen;
        parm.winlen = 2000;  // half of it is the trace length
        EXPECT_EQ(picker.getPick(trace.data(), 0.0f, 0), 0);
        parm.winlen = -4;
        EXPECT_EQ(picker.getPick(trace.data(), 0.0f, 0), 0);
    }
}

TEST(GetPick, StartsTheOtherMethodsAtTheFirstSampleWhenTheOffsetIsNotUsed) {
    std::vector<float> trace = smoothTrace(500);
    fbPickParm parm = startRevealing();
    parm.method = 2;
    EXPECT_EQ(fbPicker(&parm, 500, 2.0f).getPick(trace.data(), 500.0f, 0), 0);
    parm.ipmethod = 4;
    parm.threshspd = 0.0f;
    EXPECT_EQ(fbPicker(&parm, 500, 2.0f).getPick(trace.data(), 500.0f, 0), 0);
}

TEST(GetPick, IgnoresTheLastPick) {
    std::vector<float> trace = traceWithOnset(500, 200, 9);
    for (int ipmethod = 1; ipmethod <= 4; ++ipmethod) {
        fbPickParm parm = usualParameters(ipmethod);
        parm.shiftpick = 2;
        fbPicker picker(&parm, 500, 2.0f);
        EXPECT_EQ(picker.getPick(trace.data(), 0.0f, 0), picker.getPick(trace.data(), 0.0f, 77));
    }
}

TEST(GetPick, ReturnsTheRawPickForASnappingRuleOfFiveOrMore) {
    std::vector<float> trace = traceWithOnset(500, 200, 2);
    for (int ipmethod = 1; ipmethod <= 4; ++ipmethod)
        for (int shiftpick : {5, 6, INT_MAX}) {
            fbPickParm parm = usualParameters(ipmethod);
            parm.shiftpick = shiftpick;
            fbPicker picker(&parm, 500, 2.0f);
            EXPECT_EQ(picker.getPick(trace.data(), 0.0f, 0), rawPick(ipmethod, picker, trace, ipmethod == 1 ? 250 : 0));
        }
}

TEST(GetPick, SnapsTheRawPickOfEveryMethod) {
    for (int ipmethod = 1; ipmethod <= 4; ++ipmethod)
        for (int shiftpick = -1; shiftpick <= 4; ++shiftpick)
            for (int direction = -1; direction <= 1; ++direction) {
                std::vector<float> trace = traceWithOnset(500, 220, 10 * shiftpick + direction + 50);
                fbPickParm parm = usualParameters(ipmethod);
                parm.shiftpick = shiftpick;
                parm.direction = direction;
                fbPicker picker(&parm, 500, 2.0f);
                const int raw = rawPick(ipmethod, picker, trace, ipmethod == 1 ? 250 : 0);
                EXPECT_EQ(picker.getPick(trace.data(), 0.0f, 0), plain::snap(shiftpick, direction, trace, raw));
            }
}

TEST(GetPick, SnapsARawPickOfNothingToo) {
    std::vector<float> dead(300, 0.0f), ramp(300);
    for (int i = 0; i < 300; ++i) ramp[i] = static_cast<float>(i + 1);
    fbPickParm parm = usualParameters(1);
    parm.winlen = 400;
    parm.direction = 1;
    fbPicker picker(&parm, 300, 2.0f);
    for (int shiftpick : {1, 2}) {
        parm.shiftpick = shiftpick;
        EXPECT_EQ(picker.getPick(dead.data(), 0.0f, 0), 299);
    }
    for (int unknown : {0, 5, -1}) {
        parm.ipmethod = unknown;
        parm.shiftpick = 2;
        EXPECT_EQ(picker.getPick(ramp.data(), 0.0f, 0), 299);
        parm.shiftpick = 5;
        EXPECT_EQ(picker.getPick(ramp.data(), 0.0f, 0), 0);
    }
}

/* Snapping. */

struct Snapper {
    std::vector<float> trace;
    fbPickParm parm = {};

    int snap(int shiftpick, int direction, int time) {
        parm.shiftpick = shiftpick;
        parm.direction = direction;
        return fbPicker(&parm, static_cast<int>(trace.size()), 2.0f).adjustPick(trace.data(), time, 0);
    }
};

TEST(AdjustPick, FindsTroughPeakAndCrossingsInBothDirections) {
    //               0  1  2  3   4   5   6  7  8  9   10  11
    Snapper s = {{0, 1, 3, 1, -1, -4, -1, 2, 5, 2, -3, -1}};
    EXPECT_EQ(s.snap(1, 1, 2), 5);
    EXPECT_EQ(s.snap(1, -1, 9), 5);
    EXPECT_EQ(s.snap(2, 1, 3), 8);
    EXPECT_EQ(s.snap(2, -1, 7), 2);
    EXPECT_EQ(s.snap(3, 1, 2), 3);   // falling: 1, then -1
    EXPECT_EQ(s.snap(3, -1, 8), 5);  // local minimum
    EXPECT_EQ(s.snap(4, 1, 5), 6);   // rising: -1, then 2
    EXPECT_EQ(s.snap(4, -1, 5), 2);  // local maximum
}

TEST(AdjustPick, TakesAPickThatMatchesAlready) {
    Snapper s = {{0, 1, 3, 1, -1, -4, -1, 2, 5, 2, -3, -1}};
    for (int direction : {-1, 0, 1}) {
        EXPECT_EQ(s.snap(1, direction, 5), 5);
        EXPECT_EQ(s.snap(2, direction, 8), 8);
    }
}

TEST(AdjustPick, TakesTheNearerOfTwoAndTheLaterAtTheSameDistance) {
    Snapper s = {{0, 0, 4, 2, 1, 2, 4, 0}};
    EXPECT_EQ(s.snap(2, 0, 3), 2);
    EXPECT_EQ(s.snap(2, 0, 5), 6);
    EXPECT_EQ(s.snap(2, 0, 4), 6);
}

TEST(AdjustPick, AcceptsEqualNeighboursOfTroughsAndPeaksButNotOfLocalExtrema) {
    Snapper s = {{2, 2, 2, 2, 2, 1}};
    EXPECT_EQ(s.snap(2, 1, 2), 2);
    EXPECT_EQ(s.snap(4, 1, 2), 5);
}

TEST(AdjustPick, EndsAtSampleOneOrTheLastWhenNothingMatches) {
    Snapper s = {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}};
    EXPECT_EQ(s.snap(1, -1, 6), 1);
    EXPECT_EQ(s.snap(1, 1, 6), 9);
    EXPECT_EQ(s.snap(1, -1, 0), 0);
    EXPECT_EQ(s.snap(1, 0, 4), 1);
    EXPECT_EQ(s.snap(1, 0, 5), 9);
}

TEST(AdjustPick, MovesToTheNearerEndForARuleThatNothingMatches) {
    Snapper s = {randomTrace(50, 1)};
    for (int shiftpick : {0, -3, 6, INT_MAX}) {
        EXPECT_EQ(s.snap(shiftpick, 0, 10), 1);
        EXPECT_EQ(s.snap(shiftpick, 0, 25), 49);
        EXPECT_EQ(s.snap(shiftpick, 0, 40), 49);
    }
    EXPECT_EQ(s.snap(5, 0, 10), 10);
}

TEST(AdjustPick, TakesTheSamplesBesideTheTraceAsZero) {
    EXPECT_EQ((Snapper{{-1, -2, -3}}.snap(4, -1, 2)), 2);  // -3, then the 0 behind the trace: rising
    EXPECT_EQ((Snapper{{1, 2, 3}}.snap(3, 1, 0)), 2);      // 3, then 0: falling
    EXPECT_EQ((Snapper{{3, 2, 1}}.snap(2, 1, 0)), 0);      // a peak against the 0 before the trace
    EXPECT_EQ((Snapper{{-3, -2, 1}}.snap(1, 1, 0)), 0);
}

TEST(AdjustPick, IgnoresThePreviousTime) {
    std::vector<float> trace = randomTrace(50, 1);
    fbPickParm parm = {};
    parm.shiftpick = 1;
    fbPicker picker(&parm, 50, 2.0f);
    EXPECT_EQ(picker.adjustPick(trace.data(), 20, 0), picker.adjustPick(trace.data(), 20, 49));
}

TEST(AdjustPick, MatchesThePlainRuleOnRandomTraces) {
    std::mt19937 engine(3);
    for (int trial = 0; trial < 4000; ++trial) {
        Snapper s = {randomTrace(1 + static_cast<int>(engine() % 40), trial)};
        for (float& sample : s.trace)
            if (engine() % 2) sample = static_cast<float>(static_cast<int>(engine() % 5) - 2);
        if (trial % 10 == 0) s.trace[engine() % s.trace.size()] = trial % 20 ? notANumber : -0.0f;
        const int shiftpick = static_cast<int>(engine() % 8) - 1, direction = static_cast<int>(engine() % 3) - 1;
        const int time = static_cast<int>(engine() % (s.trace.size() + 20)) - 10;
        EXPECT_EQ(s.snap(shiftpick, direction, time), plain::snap(shiftpick, direction, s.trace, time)) << "trial " << trial;
    }
}

TEST(AdjustPick, EndsForTimesFarOutsideTheTrace) {
    Snapper s = {randomTrace(20, 4)};
    for (int shiftpick : {0, 1, 2, 3, 4})
        for (int direction : {-1, 0, 1}) {
            const bool zerosMatch = shiftpick == 3 || shiftpick == 4;
            const int late = s.snap(shiftpick, direction, INT_MAX), early = s.snap(shiftpick, direction, INT_MIN);
            EXPECT_TRUE(zerosMatch || direction >= 0 ? late == INT_MAX : late < 20) << shiftpick << ' ' << direction;
            EXPECT_TRUE(zerosMatch || direction <= 0 ? early == INT_MIN : early >= 0) << shiftpick << ' ' << direction;
        }
}

/* One trial of the energy ratio. */

int trial(std::vector<float> cumulative, int nstart, int nend, int nlead, int nlag, float stablize) {
    fbPickParm parm = {};
    return fbPicker(&parm, 4, 2.0f)
        .doPick(cumulative.data(), static_cast<int>(cumulative.size()), nstart, nend, nlead, nlag, stablize);
}

TEST(DoPick, FindsTheStepInAmplitude) {
    // amplitude 1 up to sample 5, then 10
    EXPECT_EQ(trial({0, 1, 2, 3, 4, 5, 15, 25, 35, 45, 55}, 0, 10, 3, 3, 0.1f), 5);
}

TEST(DoPick, TriesOnlyTheSamplesBetweenStartAndEnd) {
    const std::vector<float> step = {0, 1, 2, 3, 4, 5, 15, 25, 35, 45, 55};
    EXPECT_EQ(trial(step, 5, 10, 3, 3, 0.1f), 6);
    EXPECT_EQ(trial(step, 0, 5, 3, 3, 0.1f), 4);
    EXPECT_EQ(trial(step, 4, 5, 3, 3, 0.1f), 0);
    EXPECT_EQ(trial(step, 7, 3, 3, 3, 0.1f), 0);
}

TEST(DoPick, TakesTheEarliestOfEqualRatios) {
    std::vector<float> steady(200);
    for (int i = 0; i < 200; ++i) steady[i] = static_cast<float>(i);
    EXPECT_EQ(trial(steady, 0, 199, 8, 8, 0.0f), 1);
    EXPECT_EQ(trial(steady, 30, 199, 8, 8, 0.0f), 31);
}

TEST(DoPick, LetsTheFirstInfiniteRatioWin) {
    std::vector<float> sum(100, 0.0f);
    for (int i = 31; i < 100; ++i) sum[i] = static_cast<float>(i - 30);
    EXPECT_EQ(trial(sum, 0, 100, 8, 8, 0.0f), 23);  // the first that sees amplitude behind silence
}

TEST(DoPick, PassesOverRatiosThatAreNoNumbers) {
    EXPECT_EQ(trial(std::vector<float>(50, 0.0f), 0, 50, 5, 5, 0.0f), 0);
    EXPECT_EQ(trial({0, 1, 2, 3, 4, 5, 6, 7, 8}, 0, 8, 0, 3, 0.1f), 0);
    EXPECT_EQ(trial({0, 1, 2, 3, 4, 5, 6, 7, 8}, 0, 8, 3, 0, 0.1f), 0);
    EXPECT_EQ(trial({0, 1, 2, 3, 4, 5, 6, 7, 8}, 0, 8, 3, 3, notANumber), 0);
}

TEST(DoPick, CountsEntriesOutsideTheArrayAsZero) {
    std::vector<float> sum = {0, 2, 3, 5, 8};
    EXPECT_EQ(trial(sum, -20, 30, 4, 3, 0.5f), plain::leadLagPick(sum, 5, -20, 30, 4, 3, 0.5f));
    EXPECT_EQ(trial(sum, 0, 5, -7, -9, 0.5f), plain::leadLagPick(sum, 5, 0, 5, -7, -9, 0.5f));
    EXPECT_EQ(trial(sum, 0, 5, INT_MAX, INT_MAX, 0.5f), plain::leadLagPick(sum, 5, 0, 5, 100, 100, 0.5f));
    EXPECT_EQ(trial(sum, 0, 5, INT_MIN, INT_MIN, 0.5f), plain::leadLagPick(sum, 5, 0, 5, -1000000, -1000000, 0.5f));
    EXPECT_EQ(trial({}, 0, 5, 2, 2, 0.5f), 0);
}

TEST(DoPick, MatchesThePlainRuleOnRandomSums) {
    std::mt19937 engine(7);
    for (unsigned round = 0; round < 3000; ++round) {
        const int n = 1 + static_cast<int>(engine() % (round % 4 ? 60 : 600));
        std::vector<float> sum = randomTrace(n, round, 2.0f);
        float running = 0.0f;
        for (float& entry : sum) entry = running += round % 3 ? std::fabs(entry) : std::floor(std::fabs(entry));
        if (round % 17 == 0) sum[engine() % n] = round % 2 ? infinite : notANumber;
        const int nstart = static_cast<int>(engine() % (n + 10)) / (1 + round % 3) - 5,
                  nend = static_cast<int>(engine() % (n + 20)) - 2;
        const int nlead = static_cast<int>(engine() % 70) - 3, nlag = static_cast<int>(engine() % 70) - 3;
        const float stabilizers[] = {0.0f, 1e-30f, 0.01f, 0.5f, -0.4f};
        const float stabilizer = stabilizers[engine() % 5];
        EXPECT_EQ(trial(sum, nstart, nend, nlead, nlag, stabilizer),
                  plain::leadLagPick(sum, n, nstart, nend, nlead, nlag, stabilizer))
            << "n " << n << ", " << nstart << " to " << nend << ", lead " << nlead << ", lag " << nlag << ", " << stabilizer;
    }
}

/* Energy ratio. */

TEST(EnergyRatio, GivesNoPickForADeadTrace) {
    std::vector<float> trace(400, 0.0f);
    fbPickParm parm = usualParameters(1);
    EXPECT_EQ(rawPickOf(parm, trace, 2.0f, 200), 0);
}

TEST(EnergyRatio, GivesNoPickWhenTheSignedSamplesCancelExactly) {
    std::vector<float> trace(400, 0.0f);
    trace[200] = 3.0f;
    trace[201] = -3.0f;
    fbPickParm parm = usualParameters(1);
    fbPicker picker(&parm, 400, 2.0f);
    EXPECT_EQ(picker.computeEnPick(trace.data(), 200), 0);
    trace[300] = 1e-30f;
    EXPECT_NE(picker.computeEnPick(trace.data(), 200), 0);
    // In single precision the 1 between would be lost and these would cancel too.
    std::vector<float> loud(400, 0.0f);
    loud[200] = 1e8f;
    loud[201] = 1.0f;
    loud[202] = -1e8f;
    EXPECT_NE(picker.computeEnPick(loud.data(), 200), 0);
}

TEST(EnergyRatio, DropsTheAmplitudeOfTheFirstSample) {
    std::vector<float> trace = traceWithOnset(400, 150, 8);
    fbPickParm parm = usualParameters(1);
    fbPicker picker(&parm, 400, 2.0f);
    const int pick = picker.computeEnPick(trace.data(), 200);
    trace[0] = 1e6f;
    EXPECT_EQ(picker.computeEnPick(trace.data(), 200), pick);
    std::vector<float> firstOnly(400, 0.0f);
    firstOnly[0] = 1.0f;
    EXPECT_EQ(picker.computeEnPick(firstOnly.data(), 200), 0);  // counts as dead
}

TEST(EnergyRatio, CountsThePickFromTheStartOfTheSegment) {
    constexpr int length = 800, onset = 400, searchStart = 400;
    std::vector<float> trace(length, 0.0f);
    for (int i = 0; i < length; ++i) trace[i] = i < onset ? 0.01f : 1.0f + 0.001f * i;
    fbPickParm parm = usualParameters(1);
    parm.winlen = 200;
    parm.envelope = 40;  // 20 samples, so the segment starts 50 + 2 * 21 samples before the search start
    const int pick = rawPickOf(parm, trace, 2.0f, searchStart);
    EXPECT_EQ(pick, plain::energyPick(parm, trace, 2.0f, searchStart));
    EXPECT_LT(pick, searchStart - 50);
}

TEST(EnergyRatio, SearchesBeyondTheSegmentWhereItSeesZeros) {
    // The end of the search adds the segment's start instead of subtracting it: here the search runs on behind the segment
    // and the drop of the cumulative sum to 0 gives the largest ratio, at the segment's length of 170.
    std::vector<float> trace(800, 1.0f);
    fbPickParm parm = usualParameters(1);
    parm.winlen = 200;
    parm.envelope = 40;
    const int lag = 21, lead = 14, reach = 50;
    EXPECT_EQ(rawPickOf(parm, trace, 2.0f, 400), 2 * (reach + lag + lead));
}

TEST(EnergyRatio, NeedsNoStabilizer) {
    std::vector<float> trace(400, 0.0f);
    for (int i = 170; i < 400; ++i) trace[i] = i % 2 ? 1.0f : -0.5f;
    for (float stabilizer : {0.0f, -5.0f, 1e-35f}) {
        fbPickParm parm = usualParameters(1);
        parm.stablizer = stabilizer;
        EXPECT_EQ(rawPickOf(parm, trace, 2.0f, 200), plain::energyPick(parm, trace, 2.0f, 200));
    }
}

TEST(EnergyRatio, DividesByNothingSmallerThanItsLeastStabilizer) {
    // A faint burst at 100 and a strong one at 250, each after silence: with no stabiliser both ratios would be infinite and
    // the first would win.
    std::vector<float> trace(400, 0.0f);
    for (int i = 0; i < 5; ++i) trace[100 + i] = 1e-3f;
    for (int i = 250; i < 400; ++i) trace[i] = 1.0f;
    for (float stabilizer : {0.0f, -5.0f, 1e-35f}) {
        fbPickParm parm = usualParameters(1);
        parm.stablizer = stabilizer;
        EXPECT_GT(rawPickOf(parm, trace, 2.0f, 200), 220) << stabilizer;
    }
}

TEST(EnergyRatio, LeavesRatiosInfiniteThatItsLeastStabilizerDoesNotKeepFinite) {
    // Both bursts have infinite ratios over 1e-30, so the first wins; over a larger divisor the second would.
    std::vector<float> trace(400, 0.0f);
    for (int i = 0; i < 5; ++i) trace[100 + i] = 1e12f;
    for (int i = 250; i < 400; ++i) trace[i] = 1e15f;
    fbPickParm parm = usualParameters(1);
    parm.stablizer = 0.0f;
    const int pick = rawPickOf(parm, trace, 2.0f, 200);
    EXPECT_GT(pick, 0);
    EXPECT_LT(pick, 105);
}

TEST(EnergyRatio, RoundsItsWindowLengthsInSinglePrecision) {
    // 0.35 of 90 samples is 31.5 in single precision and a little less in double.
    for (unsigned seed = 0; seed < 100; ++seed) {
        std::vector<float> trace = randomTrace(400, seed);
        fbPickParm parm = usualParameters(1);
        parm.envelope = 45;
        EXPECT_EQ(rawPickOf(parm, trace, 0.5f, 200), plain::energyPick(parm, trace, 0.5f, 200)) << seed;
    }
}

TEST(EnergyRatio, MatchesThePlainStepsOnRandomTraces) {
    std::mt19937 engine(11);
    for (unsigned round = 0; round < 1500; ++round) {
        const int n = 2 + static_cast<int>(engine() % (round % 3 ? 150 : 1200));
        std::vector<float> trace = round % 2 ? randomTrace(n, round) : traceWithOnset(n, static_cast<int>(engine() % n), round);
        if (round % 23 == 0) trace[engine() % n] = round % 2 ? infinite : notANumber;
        if (round % 29 == 0) std::fill(trace.begin(), trace.begin() + n / 2, 0.0f);
        const float intervals[] = {0.5f, 1.0f, 2.0f, 4.0f, 3.3f};
        const float interval = intervals[engine() % 5];
        fbPickParm parm = usualParameters(1);
        parm.envelope = static_cast<int>(engine() % 200);
        parm.winlen = static_cast<int>(engine() % 3000);
        const float largestStabilizer = round % 4 ? 28.0f : 2000.0f;  // many means of the amplitude: its bits count
        parm.stablizer = round % 31 == 0 ? notANumber : static_cast<float>(engine() % 40) / 40.0f * largestStabilizer;
        const int start = static_cast<int>(engine() % (n + 20)) - 10;
        EXPECT_EQ(rawPickOf(parm, trace, interval, start), plain::energyPick(parm, trace, interval, start))
            << "round " << round << ", n " << n << ", start " << start << ", interval " << interval << ", envelope "
            << parm.envelope << ", winlen " << parm.winlen;
    }
}

/* Standard-deviation ratio. */

TEST(DeviationRatio, NeverLooksAtTheSearchStart) {
    std::vector<float> trace = traceWithOnset(500, 200, 4);
    fbPickParm parm = usualParameters(2);
    fbPicker picker(&parm, 500, 2.0f);
    const int pick = picker.computeSDPick(trace.data(), 0);
    for (int start : {1, 499, -3, INT_MAX, INT_MIN}) EXPECT_EQ(picker.computeSDPick(trace.data(), start), pick);
}

TEST(DeviationRatio, GivesNoPickWhenTheScanIsTooShortForBothWindows) {
    std::vector<float> trace = traceWithOnset(100, 60, 4);
    fbPickParm parm = usualParameters(2);
    parm.win1 = 20;
    parm.win2 = 10;
    fbPicker picker(&parm, 100, 1.0f);
    parm.winlen1 = 32;
    EXPECT_EQ(picker.computeSDPick(trace.data(), 0), 0);
    parm.winlen1 = 33;
    EXPECT_EQ(picker.computeSDPick(trace.data(), 0), 21);  // the one position of the scan
}

TEST(DeviationRatio, LeavesOneSampleBetweenTheWindows) {
    // Each value of the spike's place but one disturbs a window of the only position.
    fbPickParm parm = usualParameters(2);
    parm.win1 = 5;
    parm.win2 = 5;
    parm.winlen1 = 14;
    const std::vector<float> calm = {1, -1, 1, -1, 1, 0, 2, -2, 2, -2, 2, 5, -5, 5, -5, 5};
    fbPicker picker(&parm, 16, 1.0f);
    std::vector<float> spiked = calm;
    spiked[5] = 1e30f;  // in the gap of the first position, in window 1 of the second
    EXPECT_EQ(picker.computeSDPick(spiked.data(), 0), 6);
}

TEST(DeviationRatio, PassesOverWindowsWithoutVariation) {
    fbPickParm parm = usualParameters(2);
    std::vector<float> flat(500, 3.0f);
    EXPECT_EQ(rawPickOf(parm, flat, 2.0f, 0), 0);
    std::vector<float> trace = randomTrace(500, 3);
    parm.win1 = 0;
    EXPECT_EQ(rawPickOf(parm, trace, 2.0f, 0), 0);
    parm.win1 = 100;
    parm.win2 = 0;
    EXPECT_EQ(rawPickOf(parm, trace, 2.0f, 0), 0);
}

TEST(DeviationRatio, GivesNoPickForRatiosOfItsLargestOrMore) {
    // Variances of 1e14 squared and of a 1e-20 or 1e-17 squared, which is a denormal number.
    std::vector<float> trace(16, 0.0f);
    for (int i = 0; i < 6; ++i) trace[i] = i % 2 ? 1e14f : -1e14f;
    fbPickParm parm = usualParameters(2);
    parm.win1 = 6;
    parm.win2 = 6;
    parm.winlen1 = 15;  // one position
    for (const auto& [signal, pick] : {std::pair{1e-20f, 0}, std::pair{1e-17f, 7}}) {
        for (int i = 7; i < 13; ++i) trace[i] = i % 2 ? signal : -signal;
        EXPECT_EQ(rawPickOf(parm, trace, 1.0f, 0), pick) << signal;
    }
}

TEST(DeviationRatio, TakesTheFirstOfEqualRatios) {
    std::vector<float> alternating(400);
    for (int i = 0; i < 400; ++i) alternating[i] = i % 2 ? 1.0f : -1.0f;
    fbPickParm parm = usualParameters(2);
    parm.win1 = 40;
    parm.win2 = 20;
    EXPECT_EQ(rawPickOf(parm, alternating, 1.0f, 0), 41);
}

TEST(DeviationRatio, LooksOnlyAtWindowsWithinTheTrace) {
    std::vector<float> trace = traceWithOnset(300, 250, 6);
    fbPickParm parm = usualParameters(2);
    parm.win1 = 60;
    parm.win2 = 40;
    parm.winlen1 = INT_MAX / 3 * 2;
    const int pick = rawPickOf(parm, trace, 1.0f, 0);
    parm.winlen1 = 302;  // the last window ends with the trace
    EXPECT_EQ(pick, plain::deviationPick(parm, trace, 1.0f));
    EXPECT_GT(pick, 0);
    parm.winlen1 = INT_MAX;
    parm.win2 = 240;
    EXPECT_EQ(rawPickOf(parm, trace, 1.0f, 0), 0);
}

TEST(DeviationRatio, LooksAtTheLastWindowOfTheTrace) {
    std::vector<float> trace(300);  // grows ever faster, so the last ratio is the smallest
    for (int i = 0; i < 300; ++i) trace[i] = static_cast<float>((i % 2 ? 1 : -1) * std::exp(1e-4 * i * i));
    fbPickParm parm = usualParameters(2);
    parm.win1 = 60;
    parm.win2 = 40;
    parm.winlen1 = 1000;
    EXPECT_EQ(rawPickOf(parm, trace, 1.0f, 0), 260);
}

TEST(DeviationRatio, RoundsItsSumsOfSquaresOnceATerm) {
    // Amplitudes that differ by some 1e-6: the order of the ratios hangs on the rounding of the sums.
    std::mt19937 engine(29);
    for (unsigned round = 0; round < 300; ++round) {
        const int n = 13 + static_cast<int>(engine() % (round % 2 ? 7 : 150));
        std::vector<float> trace(n);
        for (int i = 0; i < n; ++i) trace[i] = (i % 2 ? 1.0f : -1.0f) * (1.0f + 1e-7f * static_cast<float>(engine() % 20));
        fbPickParm parm = usualParameters(2);
        parm.win1 = 6;
        parm.win2 = 4;
        parm.winlen1 = n;
        EXPECT_EQ(rawPickOf(parm, trace, 1.0f, 0), plain::deviationPick(parm, trace, 1.0f)) << round;
    }
}

TEST(DeviationRatio, MatchesThePlainStepsOnRandomTraces) {
    std::mt19937 engine(13);
    for (unsigned round = 0; round < 1500; ++round) {
        const int n = 3 + static_cast<int>(engine() % (round % 5 ? 100 : 700));
        std::vector<float> trace =
            round % 2 ? randomTrace(n, round, 1e3f) : traceWithOnset(n, static_cast<int>(engine() % n), round);
        if (round % 23 == 0) trace[engine() % n] = round % 2 ? infinite : notANumber;
        if (round % 11 == 0)
            for (float& sample : trace) sample = std::round(sample);
        if (round % 13 == 0)
            for (float& sample : trace) sample *= 1e-22f;  // squares below the smallest normal float
        if (round % 19 == 0) std::fill(trace.begin() + n / 2, trace.end(), 0.0f);
        fbPickParm parm = usualParameters(2);
        parm.win1 = static_cast<int>(engine() % (n / 2 + 1));
        parm.win2 = static_cast<int>(engine() % (n / 3 + 1));
        parm.winlen1 = static_cast<int>(engine() % n) + 1;
        EXPECT_EQ(rawPickOf(parm, trace, 1.0f, 0), plain::deviationPick(parm, trace, 1.0f))
            << "round " << round << ", n " << n << ", windows " << parm.win1 << ", " << parm.win2 << ", scan " << parm.winlen1;
    }
}

/* Autoregressive. */

TEST(AutoregressivePick, StartsAtTheSearchStartAndEndsBeforeTheRange) {
    std::vector<float> trace = smoothTrace(400);
    fbPickParm parm = startRevealing();
    parm.winlen2 = 300;
    fbPicker picker(&parm, 400, 1.0f);
    EXPECT_EQ(picker.computeARPick(trace.data(), 17), 17);
    parm.winar = 20;
    EXPECT_EQ(picker.computeARPick(trace.data(), 149), 149);
}

TEST(AutoregressivePick, TakesTheSearchStartFromTheEndOfTheRange) {
    // 300 - 150: nothing is left to search, though the windows from 150 on would end well before the range does.
    std::vector<float> trace = smoothTrace(400);
    fbPickParm parm = startRevealing();
    parm.winlen2 = 300;
    parm.winar = 20;
    EXPECT_EQ(rawPickOf(parm, trace, 1.0f, 150), 0);
}

TEST(AutoregressivePick, TakesTheMedianOfNoReferenceAsZero) {
    std::vector<float> trace = smoothTrace(400);
    fbPickParm parm = startRevealing();
    parm.threshold = 1e30f;
    for (int wina : {0, -1, -300, INT_MIN}) {
        parm.wina = wina;
        fbPicker picker(&parm, 400, 1.0f);
        std::fill_n(picker._tempTrc1, 800, 99.0f);
        EXPECT_EQ(picker.computeARPick(trace.data(), 17), 17) << wina;
    }
}

TEST(AutoregressivePick, GivesNoPickForWindowsTooShortForTheLowestOrder) {
    std::vector<float> trace = smoothTrace(400);
    fbPickParm parm = startRevealing();
    fbPicker picker(&parm, 400, 1.0f);
    for (int winar : {7, 4, 3, 0, -1, -50, INT_MIN}) {
        parm.winar = winar;
        EXPECT_EQ(picker.computeARPick(trace.data(), 17), 0) << winar;
    }
    parm.winar = 8;
    EXPECT_EQ(picker.computeARPick(trace.data(), 17), 17);
}

TEST(AutoregressivePick, LooksOnlyAtWindowsWithinTheTrace) {
    std::vector<float> trace = smoothTrace(100);
    fbPickParm parm = startRevealing();
    parm.winlen2 = INT_MAX;
    parm.winar = 40;
    fbPicker picker(&parm, 100, 1.0f);
    EXPECT_EQ(picker.computeARPick(trace.data(), 60), 60);
    EXPECT_EQ(picker.computeARPick(trace.data(), 61), 0);
    parm.winar = 101;
    EXPECT_EQ(picker.computeARPick(trace.data(), 0), 0);
    parm.winar = 40;
    parm.wina = 61;
    parm.threshold = 0.9f;
    const int pick = picker.computeARPick(trace.data(), 5);
    parm.wina = INT_MAX;
    EXPECT_EQ(picker.computeARPick(trace.data(), 5), pick);
}

TEST(AutoregressivePick, TriesNoOrderThatItsArraysCannotHold) {
    // Order 13 packs into 91 of 100 floats; a quarter of the window would be 25.
    std::vector<float> trace = randomTrace(100, 2);
    std::vector<float> v(100), vc(100), s(100), sc(100), a(100);
    int n = 100, lowest = 2, highest = 13, no = 0, yes = 1, order, outcome;
    float squares, variance;
    fabne_(trace.data(), &n, &lowest, &highest, &no, &no, &yes, &n, v.data(), vc.data(), s.data(), sc.data(), a.data(), &order,
           &squares, &variance, &outcome);
    fbPickParm parm = startRevealing();
    parm.winar = 100;
    parm.winlen2 = 200;
    fbPicker picker(&parm, 100, 1.0f);
    picker.computeARPick(trace.data(), 0);
    EXPECT_EQ(picker._tempTrc6[0], a[0]);
}

TEST(AutoregressivePick, PassesOverDeadWindows) {
    std::vector<float> trace = smoothTrace(400);
    std::fill(trace.begin(), trace.begin() + 100, 0.0f);
    fbPickParm parm = startRevealing();
    parm.winar = 20;
    EXPECT_GT(rawPickOf(parm, trace, 1.0f, 10), 80);
    std::vector<float> dead(400, 0.0f);
    EXPECT_EQ(rawPickOf(parm, dead, 1.0f, 10), 0);
}

TEST(AutoregressivePick, MatchesThePlainStepsOnRandomTraces) {
    std::mt19937 engine(17);
    for (unsigned round = 0; round < 200; ++round) {
        const int n = 60 + static_cast<int>(engine() % 150);
        std::vector<float> trace = traceWithOnset(n, static_cast<int>(engine() % n), round);
        fbPickParm parm = usualParameters(3);
        parm.winar = 8 + static_cast<int>(engine() % 26);
        parm.wina = 1 + static_cast<int>(engine() % (n - parm.winar));
        parm.winlen2 = static_cast<int>(engine() % n);
        parm.threshold = 0.5f + static_cast<float>(engine() % 30) * 0.1f;
        const int start = static_cast<int>(engine() % (round % 2 ? 10 : n));
        EXPECT_EQ(rawPickOf(parm, trace, 1.0f, start), plain::autoregressivePick(parm, trace, 1.0f, start))
            << "round " << round << ", n " << n << ", start " << start;
    }
}

/* Spectral decomposition. */

TEST(DecompositionPick, HandsTheSearchStartOnAsOneCountedFromOne) {
    // A window of 2 samples about each centre, the later one weighted most: with the start 10 taken as counted from 1 the
    // first centre is the eleventh sample, and its value lands there.
    std::vector<float> trace(100, 0.0f);
    trace[10] = 1.0f;
    fbPickParm parm = usualParameters(4);
    parm.winspd = 2;
    parm.winlen3 = 100;
    fbPicker picker(&parm, 100, 1.0f);
    picker.computeSPDPick(trace.data(), 10);
    EXPECT_EQ(picker._tempTrc4[9], 0.0f);
    EXPECT_GT(picker._tempTrc4[10], 0.0f);
    EXPECT_GT(picker._tempTrc4[11], 0.0f);
    EXPECT_EQ(picker._tempTrc4[12], 0.0f);
}

TEST(DecompositionPick, CountsTheSamplesBeforeTheFirstCentreAsZero) {
    std::vector<float> trace = smoothTrace(200);
    fbPickParm parm = usualParameters(4);
    parm.winspd = 20;
    parm.winlen3 = 200;
    fbPicker picker(&parm, 200, 1.0f);
    std::fill_n(picker._tempTrc4, 200, 99.0f);
    EXPECT_EQ(picker.computeSPDPick(trace.data(), 30), 30);  // the reference lies before the first centre: 0 reaches 0
    for (int i = 0; i < 39; ++i) EXPECT_EQ(picker._tempTrc4[i], 0.0f);
    EXPECT_GT(picker._tempTrc4[39], 0.0f);
}

TEST(DecompositionPick, TakesTheSearchStartFromTheEndOfTheRange) {
    std::vector<float> trace = smoothTrace(200);
    fbPickParm parm = usualParameters(4);
    parm.winspd = 20;
    parm.winlen3 = 60;
    fbPicker picker(&parm, 200, 1.0f);
    EXPECT_EQ(picker.computeSPDPick(trace.data(), 29), 29);
    EXPECT_EQ(picker.computeSPDPick(trace.data(), 30), 0);
}

TEST(DecompositionPick, TakesTheSamplesBesideTheTraceAsZero) {
    // Only what is multiplied by 0 may differ: a trace that is embedded in zeros has the same values inside.
    std::vector<float> trace = randomTrace(120, 3), embedded(240, 0.0f);
    std::copy(trace.begin(), trace.end(), embedded.begin() + 60);
    fbPickParm parm = usualParameters(4);
    parm.winspd = 31;
    parm.winlen3 = 120;
    fbPicker picker(&parm, 120, 1.0f);
    picker.computeSPDPick(trace.data(), 0);
    parm.winlen3 = 240;
    fbPicker wide(&parm, 240, 1.0f);
    wide.computeSPDPick(embedded.data(), 0);
    for (int i = 14; i < 120; ++i) EXPECT_EQ(picker._tempTrc4[i], wide._tempTrc4[60 + i]) << i;
}

TEST(DecompositionPick, GivesNoPickForWindowsThatItsArraysCannotHold) {
    std::vector<float> trace = smoothTrace(50);
    fbPickParm parm = usualParameters(4);
    parm.winlen3 = 50;
    parm.threshspd = 0.0f;
    for (int winspd : {50, 51, INT_MAX, 0, -1, INT_MIN}) {
        parm.winspd = winspd;
        EXPECT_EQ(rawPickOf(parm, trace, 1.0f, 3), 0) << winspd;
    }
    parm.winspd = 49;
    EXPECT_EQ(rawPickOf(parm, trace, 1.0f, 3), 3);
}

TEST(DecompositionPick, AcceptsTheSearchStartOnADeadTrace) {
    std::vector<float> dead(100, 0.0f);
    fbPickParm parm = usualParameters(4);
    EXPECT_EQ(rawPickOf(parm, dead, 2.0f, 7), 7);  // 0 reaches 8 times 0
}

TEST(DecompositionPick, MatchesThePlainStepsOnRandomTraces) {
    std::mt19937 engine(19);
    for (unsigned round = 0; round < 1000; ++round) {
        const int n = 30 + static_cast<int>(engine() % 200);
        std::vector<float> trace = traceWithOnset(n, static_cast<int>(engine() % n), round);
        const float intervals[] = {1.0f, 3.0f, 3.3f};
        const float interval = intervals[engine() % 3];
        fbPickParm parm = usualParameters(4);
        parm.winspd = 4 + static_cast<int>(engine() % (n - 4));
        parm.winlen3 = 1 + static_cast<int>(engine() % n);
        parm.freqspd = static_cast<float>(engine() % 200);
        parm.threshspd = 0.5f + static_cast<float>(engine() % 50) * 0.1f;
        const int start = static_cast<int>(engine() % (round % 2 ? 8 : n));
        fbPicker picker(&parm, n, interval);
        EXPECT_EQ(picker.computeSPDPick(trace.data(), start), plain::decompositionPick(parm, trace, interval, start))
            << "round " << round << ", n " << n << ", start " << start << ", window " << parm.winspd;
        const std::vector<float> values = plain::decomposition(parm, trace, interval, start);
        const std::size_t length = static_cast<std::size_t>(n);
        EXPECT_TRUE(sameSamples({picker._tempTrc4, length}, {&values[1], length})) << "round " << round;
    }
}

/* State and life. */

TEST(PickerTables, AreMadeAnewOnlyAfterPreProcess) {
    std::vector<float> trace = traceWithOnset(500, 200, 12);
    fbPickParm parm = usualParameters(4);
    fbPicker picker(&parm, 500, 2.0f);
    EXPECT_TRUE(picker._isPreProcess);
    picker.computeSPDPick(trace.data(), 0);
    EXPECT_FALSE(picker._isPreProcess);
    const std::vector<float> values(picker._tempTrc4, picker._tempTrc4 + 500);
    const auto unchanged = [&] { return std::equal(values.begin(), values.end(), picker._tempTrc4); };

    parm.freqspd = 15.0f;
    picker.computeSPDPick(trace.data(), 0);
    EXPECT_TRUE(unchanged());  // kept on purpose
    fbPickParm other = parm;
    picker.setfbPickParm(&other);
    EXPECT_EQ(picker._fbpp, &other);
    picker.computeSPDPick(trace.data(), 0);
    EXPECT_TRUE(unchanged());  // kept on purpose: another record resets nothing
    EXPECT_EQ(picker.preProcess(), 0);
    EXPECT_TRUE(picker._isPreProcess);
    picker.computeSPDPick(trace.data(), 0);
    EXPECT_FALSE(unchanged());
}

TEST(PickerTables, ReadZerosWhenTheWindowWasLengthenedWithoutPreProcess) {
    std::vector<float> trace = traceWithOnset(200, 90, 12);
    fbPickParm parm = usualParameters(4);
    parm.winspd = 20;
    fbPicker picker(&parm, 200, 2.0f);
    for (float* array : {picker._tempTrc1, picker._tempTrc1 + 200, picker._tempTrc2}) std::fill_n(array, 200, notANumber);
    picker.computeSPDPick(trace.data(), 0);
    parm.winspd = 60;
    picker.computeSPDPick(trace.data(), 0);
    EXPECT_TRUE(std::all_of(picker._tempTrc4, picker._tempTrc4 + 200, [](float value) { return std::isfinite(value); }));
}

TEST(PickerTables, AreMadeAnewAfterAnotherMethodUsedTheirArrays) {
    std::vector<float> trace = traceWithOnset(500, 200, 12);
    for (int other : {1, 2, 3}) {
        fbPickParm parm = usualParameters(4);
        fbPicker picker(&parm, 500, 2.0f);
        const int pick = picker.computeSPDPick(trace.data(), 0);
        EXPECT_GT(pick, 0);
        rawPick(other, picker, trace, 100);
        EXPECT_EQ(picker.computeSPDPick(trace.data(), 0), pick) << "after method " << other;
    }
}

TEST(PickerLife, KeepsWhatItWasGiven) {
    fbPickParm parm = {};
    fbPicker picker(&parm, 123, 2.5f);
    EXPECT_EQ(picker._fbpp, &parm);
    EXPECT_EQ(picker._nsamp, 123);
    EXPECT_EQ(picker._srate, 2.5f);
    EXPECT_TRUE(picker._isPreProcess);
}

TEST(PickerLife, GivesNoPickWithoutItsWorkArrays) {
    std::vector<float> trace = traceWithOnset(500, 200, 12);
    const std::vector<float> fresh = trace;
    for (int ipmethod = 0; ipmethod <= 4; ++ipmethod)
        for (int missing = 0; missing < 6; ++missing) {
            fbPickParm parm = usualParameters(ipmethod);
            parm.shiftpick = 2;
            parm.method = 1;
            fbPicker picker(&parm, 500, 2.0f);
            float** const arrays[] = {&picker._tempTrc1, &picker._tempTrc2, &picker._tempTrc3,
                                      &picker._tempTrc4, &picker._tempTrc5, &picker._tempTrc6};
            std::free(*arrays[missing]);
            *arrays[missing] = nullptr;
            EXPECT_EQ(picker.getPick(trace.data(), 100.0f, 0), 0);
            EXPECT_EQ(rawPick(std::max(ipmethod, 1), picker, trace, 0), 0) << ipmethod << ' ' << missing;
            EXPECT_EQ(trace, fresh);
        }
}

#if SIZE_MAX == UINT32_MAX
TEST(PickerLife, HasNoArrayWhoseSizeDoesNotFitTheAddressSpace) {
    fbPickParm parm = usualParameters(1);
    fbPicker picker(&parm, (1 << 29) + 5, 2.0f);
    EXPECT_EQ(picker._tempTrc1, nullptr);
}
#endif

TEST(PickerLife, PicksNothingOnATraceWithoutSamples) {
    for (int nsamp : {0, -1, -500})
        for (int ipmethod = 0; ipmethod <= 4; ++ipmethod) {
            std::vector<float> none;
            fbPickParm parm = usualParameters(ipmethod);
            parm.shiftpick = 1;
            fbPicker picker(&parm, nsamp, 2.0f);
            EXPECT_EQ(picker.getPick(none.data(), 0.0f, 0), 0);
            EXPECT_EQ(rawPick(std::max(ipmethod, 1), picker, none, 0), 0);
            EXPECT_EQ(picker.adjustPick(none.data(), 7, 0), 7);
        }
}

/* Any parameters on small and odd traces: no access outside the arrays, an end, a pick on the trace, the same pick as a
 * picker that has done nothing else. */
TEST(FirstBreakPicker, StaysOnTheTraceForAnyParameters) {
    std::mt19937 engine(23);
    const auto oneOf = [&](auto values) { return *(values.begin() + engine() % values.size()); };
    const auto anyInt = [&] {
        if (engine() % 3) return static_cast<int>(engine() % 60);
        return oneOf(std::initializer_list<int>{0, 1, -1, -2, -7, 9, 100, 1000, 100000, INT_MAX, INT_MIN, INT_MAX / 2});
    };
    const auto anyFloat = [&] {
        if (engine() % 3) return static_cast<float>(engine() % 400) * 0.05f;
        return oneOf(std::initializer_list<float>{0.0f, -0.0f, 1e-30f, 1e30f, -3.0f, infinite, -infinite, notANumber, 1e-42f});
    };
    for (unsigned round = 0; round < 30000; ++round) {
        const int n = oneOf(std::initializer_list<int>{1, 2, 3, 4, 5, 8, 9, 17, 33, 64, 90});
        std::vector<float> trace = randomTrace(n, round);
        if (round % 4 == 0) trace[engine() % n] = anyFloat();
        if (round % 16 == 0) std::fill(trace.begin() + engine() % n, trace.end(), 0.0f);
        fbPickParm parm = {};
        parm.ipmethod = static_cast<int>(engine() % 6);
        parm.method = static_cast<int>(engine() % 2);
        parm.velocity = anyFloat();
        parm.shiftpick = static_cast<int>(engine() % 8) - 1;
        parm.direction = static_cast<int>(engine() % 3) - 1;
        for (int* field : {&parm.envelope, &parm.winlen, &parm.winlen1, &parm.winlen2, &parm.winlen3, &parm.delay, &parm.win1,
                           &parm.win2, &parm.wina, &parm.winar, &parm.winspd})
            *field = anyInt();
        for (float* field : {&parm.stablizer, &parm.threshold, &parm.threshspd, &parm.freqspd}) *field = anyFloat();
        const float interval = engine() % 2 ? 1.0f : anyFloat(), offset = anyFloat();

        fbPicker picker(&parm, n, interval);
        for (float* array : {picker._tempTrc1, picker._tempTrc1 + n, picker._tempTrc2, picker._tempTrc3, picker._tempTrc4,
                             picker._tempTrc5, picker._tempTrc6})
            std::fill_n(array, n, round % 2 ? 1e6f : notANumber);
        const int pick = picker.getPick(trace.data(), offset, 0);
        EXPECT_TRUE(pick >= 0 && pick < n) << "round " << round << ", pick " << pick << " of " << n;
        EXPECT_EQ(fbPicker(&parm, n, interval).getPick(trace.data(), offset, 0), pick) << "round " << round;
        for (int ipmethod = 1; ipmethod <= 4; ++ipmethod) {
            const int start = engine() % 2 ? anyInt() : static_cast<int>(engine() % n);
            const int raw = rawPick(ipmethod, picker, trace, start);
            EXPECT_TRUE(raw >= 0 && raw < n) << "round " << round << ", method " << ipmethod << ", pick " << raw << " of " << n;
        }
    }
}

}
