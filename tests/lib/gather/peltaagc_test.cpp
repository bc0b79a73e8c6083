#include <gtest/gtest.h>
#include <pelta/peltaagc.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

namespace {

using Trace = std::vector<float>;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float inf = std::numeric_limits<float>::infinity();

/* Rank order: a NaN above everything. */
bool ranksBelow(float x, float y) { return x < y || (std::isnan(y) && !std::isnan(x)); }

/* Bracketing index of x among the sorted values. */
int indexOf(const Trace& sorted, float x) {
    int index = 0;
    for (int k = 0; k < static_cast<int>(sorted.size()); ++k)
        if (!ranksBelow(x, sorted[k])) index = k;
    return index;
}

/* Gains of a trace step by step: the window is moved about entry by entry. */
Trace referenceGains(const Trace& trace, int w) {
    const int n = static_cast<int>(trace.size()), half = w / 2;
    Trace gain(n, 0.0f), amplitude(n);
    for (int i = 0; i < n; ++i) amplitude[i] = std::fabs(trace[i]);
    if (w > n) return gain;
    Trace sorted(amplitude.begin(), amplitude.begin() + w);
    std::sort(sorted.begin(), sorted.end(), ranksBelow);
    int nzero = 0;
    while (nzero < w && sorted[nzero] <= 0.0f) ++nzero;
    for (int istart = 0, iend = w - 1, ismp = half; iend < n; ++istart, ++iend, ++ismp) {
        const int m = w - nzero, medindx = nzero + m / 2;
        float medval = 0.0f;
        if (m > 0 && m % 2 == 1) medval = sorted[medindx];
        if (m > 0 && m % 2 == 0) medval = 0.5f * (sorted[medindx - 1] + sorted[medindx]);
        gain[ismp] = static_cast<double>(medval) > 1e-30 ? 1.0f / medval : 0.0f;
        if (iend + 1 == n) break;
        const float outgoing = amplitude[istart], incoming = amplitude[iend + 1];
        int jndx1 = indexOf(sorted, outgoing), jndx2 = indexOf(sorted, incoming);
        if (jndx1 == jndx2) {
            sorted[jndx2] = incoming;
        } else if (jndx1 < jndx2) {
            for (int k = jndx1; k < jndx2; ++k) sorted[k] = sorted[k + 1];
            sorted[jndx2] = incoming;
        } else if (jndx2 == 0) {
            for (int k = jndx1; k >= 2; --k) sorted[k] = sorted[k - 1];
            if (ranksBelow(incoming, sorted[0])) sorted[1] = sorted[0];
            sorted[0] = incoming;
        } else {
            ++jndx2;
            for (int k = jndx1; k > jndx2; --k) sorted[k] = sorted[k - 1];
            sorted[jndx2] = incoming;
        }
        nzero += (incoming == 0.0f) - (outgoing == 0.0f);
    }
    for (int k = 0; k < half; ++k) gain[k] = gain[half];
    const int source = n - half - 3;
    for (int k = n - half - 1; k < n; ++k) gain[k] = gain[source >= 0 ? source : half];
    return gain;
}

/* A gain control whose window is given in samples. */
Trace gainsOf(const Trace& trace, int window) {
    const int n = static_cast<int>(trace.size());
    PeltaAGC control(n, window, 1.0f);
    Trace balanced = trace;
    control.applyAGC(balanced.data(), n);
    return Trace(control.savedGain(), control.savedGain() + n);
}

testing::AssertionResult followsTheSteps(const Trace& trace, int window) {
    const int n = static_cast<int>(trace.size());
    PeltaAGC control(std::max(n, window), window, 1.0f);
    Trace balanced = trace, expected = referenceGains(trace, window);
    control.applyAGC(balanced.data(), n);
    auto gains = sameSamples({control.savedGain(), trace.size()}, expected);
    if (!gains) return gains << ", a gain";
    for (int i = 0; i < n; ++i) expected[i] *= trace[i];
    return sameSamples(balanced, expected);
}

/* Windows that are short, odd, even, all but one sample of the trace, the trace, and more. */
std::vector<int> windowsFor(int n) {
    std::vector<int> windows = {1, 2, 3, 4, 5, 8, 17, 50, 125, n / 2, n - 2, n - 1, n, n + 1, n + 40};
    std::erase_if(windows, [](int window) { return window <= 0; });
    return windows;
}

void expectTheStepsForEveryWindow(const Trace& trace, const char* what) {
    for (int window : windowsFor(static_cast<int>(trace.size())))
        EXPECT_TRUE(followsTheSteps(trace, window)) << what << ", " << trace.size() << " samples, window " << window;
}

TEST(PeltaAGC, BringsEveryLevelToTheSameMedian) {
    Trace trace = randomTrace(1000, 1);
    for (int i = 500; i < 1000; ++i) trace[i] *= 100.0f;
    PeltaAGC control(1000, 400, 4.0f);
    control.applyAGC(trace.data(), 1000);
    for (int begin : {50, 250, 600, 800}) {
        Trace section(100);
        for (int i = 0; i < 100; ++i) section[i] = std::fabs(trace[begin + i]);
        std::sort(section.begin(), section.end());
        EXPECT_NEAR(section[50], 1.0f, 0.25f) << "from sample " << begin;  // medians of 100 uniform values scatter by 0.1
    }
}

TEST(PeltaAGC, ASpikeDoesNotChangeTheGainOfItsNeighbours) {
    Trace trace(100, 2.0f);
    trace[40] = 1e6f;
    EXPECT_TRUE(sameSamples(gainsOf(trace, 9), Trace(100, 0.5f)));
}

TEST(PeltaAGC, TakesTheMedianOfTheSamplesThatAreNotZero) {
    // The window 0 3 0 -0 1 holds two of them, and the one behind it 1 3 8.
    const Trace gains = gainsOf({0.0f, 3.0f, 0.0f, -0.0f, 1.0f, 8.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f}, 5);
    EXPECT_EQ(gains[2], 1.0f / 2.0f);
    EXPECT_EQ(gains[3], 1.0f / 3.0f);
}

TEST(PeltaAGC, AveragesTheTwoMiddleValuesOfAnEvenCount) {
    const Trace gains = gainsOf({-4.0f, 1.0f, 2.0f, -5.0f, 9.0f, 9.0f, 9.0f, 9.0f, 9.0f}, 4);
    EXPECT_EQ(gains[2], 1.0f / 3.0f);
    EXPECT_EQ(gains[3], 1.0f / 3.5f);
}

TEST(PeltaAGC, MultipliesTheTraceByItsGains) {
    const Trace trace = randomTrace(300, 1);
    PeltaAGC control(300, 31, 1.0f);
    Trace balanced = trace;
    control.applyAGC(balanced.data(), 300);
    for (int i = 0; i < 300; ++i) EXPECT_EQ(bitsOf(balanced[i]), bitsOf(trace[i] * control.savedGain()[i])) << i;
}

TEST(PeltaAGC, FollowsTheStepsOnRandomTraces) {
    for (int n : {1, 2, 3, 4, 5, 6, 7, 63, 64, 65, 129, 300, 1500})
        for (unsigned seed = 1; seed <= (n < 1000 ? 20u : 2u); ++seed)
            expectTheStepsForEveryWindow(randomTrace(n, seed), "random");
}

TEST(PeltaAGC, FollowsTheStepsOnTiesAndZeros) {
    std::mt19937 engine(2);
    for (int round = 0; round < 60; ++round) {
        Trace trace = randomTrace(1 + static_cast<int>(engine() % 400), round);
        const int levels = 1 + static_cast<int>(engine() % 9);
        for (float& sample : trace) sample = std::nearbyint(sample * static_cast<float>(levels));
        expectTheStepsForEveryWindow(trace, "ties");
    }
}

TEST(PeltaAGC, FollowsTheStepsOnNumbersOfEverySize) {
    std::mt19937 engine(3);
    for (int round = 0; round < 60; ++round) {
        Trace trace(1 + engine() % 400);
        for (float& sample : trace) sample = floatFromBits(engine());
        expectTheStepsForEveryWindow(trace, "any bits");
        for (float& sample : trace) sample *= 0x1p-120f;
        expectTheStepsForEveryWindow(trace, "around the least median");
    }
}

TEST(PeltaAGC, FollowsTheStepsOnNaNsInfinitiesAndSpikes) {
    std::mt19937 engine(4);
    const Trace odd = {nan, -nan, inf, -inf, 0.0f, -0.0f, 1e30f, 1e-40f, 3e38f};
    for (int round = 0; round < 90; ++round) {
        Trace trace = randomTrace(1 + static_cast<int>(engine() % 400), round);
        const unsigned rarity = 1 + round % 30;
        for (float& sample : trace)
            if (engine() % rarity == 0) sample = odd[engine() % odd.size()];
        expectTheStepsForEveryWindow(trace, "odd samples");
    }
}

TEST(PeltaAGC, FollowsTheStepsOnRampsAndDeadZones) {
    for (int n : {2, 5, 100, 257}) {
        Trace rising(n), muted = randomTrace(n, 1);
        for (int i = 0; i < n; ++i) rising[i] = static_cast<float>(i);
        for (int i = 0; i < n; ++i) muted[i] *= (i / 30) % 2 ? 0.0f : 1.0f;
        const Trace falling(rising.rbegin(), rising.rend());
        expectTheStepsForEveryWindow(rising, "rising");
        expectTheStepsForEveryWindow(falling, "falling");
        expectTheStepsForEveryWindow(muted, "muted");
    }
}

TEST(PeltaAGC, FollowsTheStepsOnLongTracesAndWindows) {
    for (int window : {33, 1001, 20000, 39999}) EXPECT_TRUE(followsTheSteps(randomTrace(40000, 1), window)) << window;
}

TEST(PeltaAGC, KeepsNothingFromTraceToTrace) {
    PeltaAGC used(500, 51, 1.0f), fresh(500, 51, 1.0f);
    Trace earlier = randomTrace(500, 1, 1e6f), trace = randomTrace(400, 2), expected = trace;
    used.applyAGC(earlier.data(), 500);
    used.applyAGC(trace.data(), 400);
    fresh.applyAGC(expected.data(), 400);
    EXPECT_TRUE(sameSamples(trace, expected));
}

/* Kept on purpose: 3 lies between the two smallest of 1 5 9 and replaces the 1, not the outgoing 9; 5 stands in twice. */
TEST(PeltaAGC, AnIncomingValueInTheLowestGapReplacesTheSmallest) {
    const Trace gains = gainsOf({9.0f, 1.0f, 5.0f, 3.0f, 7.0f, 7.0f, 7.0f, 7.0f, 7.0f}, 3);
    EXPECT_EQ(gains[1], 1.0f / 5.0f);
    EXPECT_EQ(gains[2], 1.0f / 5.0f);  // of 3 5 5, the samples being 1 5 3
    EXPECT_EQ(gains[3], 1.0f / 5.0f);  // 1 is no longer there: 3 goes, and 5 5 7 remain
}

TEST(PeltaAGC, AnIncomingValueBelowTheSmallestGoesBeforeIt) {
    const Trace gains = gainsOf({9.0f, 1.0f, 5.0f, 0.5f, 7.0f, 7.0f, 7.0f, 7.0f, 7.0f}, 3);
    EXPECT_EQ(gains[2], 1.0f);
}

Trace risingTrace() {
    Trace trace(100);
    for (int i = 0; i < 100; ++i) trace[i] = 100.0f + static_cast<float>(i);
    return trace;
}

TEST(PeltaAGC, TheBeginningRepeatsTheFirstGain) {
    const Trace gains = gainsOf(risingTrace(), 21);
    for (int i = 0; i < 11; ++i) EXPECT_EQ(gains[i], 1.0f / 110.0f) << i;
    EXPECT_EQ(gains[11], 1.0f / 111.0f);
}

/* Kept on purpose: the gain of sample 100 - 10 - 3, although windows were computed up to sample 89. */
TEST(PeltaAGC, TheEndTakesItsGainFromThreeSamplesBeforeIt) {
    const Trace gains = gainsOf(risingTrace(), 21);
    EXPECT_EQ(gains[87], 1.0f / 187.0f);
    EXPECT_EQ(gains[88], 1.0f / 188.0f);
    for (int i = 89; i < 100; ++i) EXPECT_EQ(gains[i], 1.0f / 187.0f) << i;
}

TEST(PeltaAGC, TheEndTakesTheFirstGainWhereTheTraceIsTooShortForItsSource) {
    EXPECT_TRUE(sameSamples(gainsOf({1.0f, 2.0f, 4.0f}, 3), Trace(3, 0.5f)));  // source -1
    EXPECT_TRUE(sameSamples(gainsOf({4.0f}, 1), Trace(1, 0.25f)));             // source -2
    EXPECT_TRUE(sameSamples(gainsOf({4.0f, 8.0f}, 1), Trace(2, 0.25f)));       // source -1, the other sample computed
    EXPECT_TRUE(sameSamples(gainsOf({1.0f, 2.0f, 4.0f, 8.0f}, 4), Trace(4, 1.0f / 3.0f)));
}

TEST(PeltaAGC, ATraceShorterThanTheWindowBecomesZero) {
    PeltaAGC control(100, 50, 1.0f);
    Trace earlier(100, 1.0f), trace(49, -2.0f);
    control.applyAGC(earlier.data(), 100);
    control.applyAGC(trace.data(), 49);
    EXPECT_TRUE(sameSamples(trace, Trace(49, -0.0f)));
    EXPECT_TRUE(sameSamples({control.savedGain(), 49}, Trace(49, 0.0f)));
    Trace justLongEnough(50, -2.0f);
    control.applyAGC(justLongEnough.data(), 50);
    EXPECT_TRUE(sameSamples(justLongEnough, Trace(50, -1.0f)));
}

TEST(PeltaAGC, ADeadStretchStaysZero) {
    Trace trace(60, 1.0f);
    std::fill(trace.begin() + 20, trace.begin() + 40, 0.0f);
    const Trace gains = gainsOf(trace, 5);
    for (int i = 22; i < 38; ++i) EXPECT_EQ(gains[i], 0.0f) << i;
    EXPECT_EQ(gains[21], 1.0f);
    EXPECT_EQ(gains[38], 1.0f);
}

TEST(PeltaAGC, TheEdgesCopyTheGainOfADeadWindow) {
    Trace trace(30, 0.0f);
    trace[15] = 2.0f;
    const Trace gains = gainsOf(trace, 5);
    for (int i : {0, 1, 2, 27, 28, 29}) EXPECT_EQ(gains[i], 0.0f) << i;
    EXPECT_EQ(gains[15], 0.5f);
}

TEST(PeltaAGC, AMedianOfAtMostTheLeastGivesNoGain) {
    const float above = 1e-30f;  // in double a little more than 1e-30
    EXPECT_TRUE(sameSamples(gainsOf(Trace(9, above), 3), Trace(9, 1.0f / above)));
    EXPECT_TRUE(sameSamples(gainsOf(Trace(9, std::nextafter(above, 0.0f)), 3), Trace(9, 0.0f)));
    EXPECT_TRUE(sameSamples(gainsOf(Trace(9, nan), 3), Trace(9, 0.0f)));
    EXPECT_TRUE(sameSamples(gainsOf(Trace(9, inf), 3), Trace(9, 0.0f)));
}

TEST(PeltaAGC, TruncatesTheWindowToSamplesOfTheTrace) {
    PeltaAGC control(1500, 500, 4.0f);
    EXPECT_EQ(control._winsamples, 125);
    control.setWindowLength(503);
    EXPECT_EQ(control._winsamples, 125);
    control.setWindowLength(3);
    EXPECT_EQ(control._winsamples, 0);
    control.setWindowLength(6000);
    EXPECT_EQ(control._winsamples, 1500);
    control.setWindowLength(6004);
    EXPECT_EQ(control._winsamples, 1500);
    control.setWindowLength(-9);
    EXPECT_EQ(control._winsamples, -2);
    EXPECT_EQ(PeltaAGC(1500, 3, 0.1f)._winsamples, 30);  // in double the quotient is below 30
}

TEST(PeltaAGC, SurvivesIntervalsThatGiveNoWindow) {
    for (float interval : {nan, 0.0f, -0.0f, -4.0f, inf, 1e-40f, -1e-40f})
        for (int length : {INT_MIN, -100, 0, 1, 100, INT_MAX}) {
            PeltaAGC control(50, length, interval);
            EXPECT_LE(control._winsamples, 50);
            Trace trace = randomTrace(50, 1);
            control.applyAGC(trace.data(), 50);
        }
}

TEST(PeltaAGC, AWindowWithoutSamplesDoesNothing) {
    const Trace fresh = randomTrace(50, 1);
    for (int length : {0, 3, -40}) {
        PeltaAGC control(50, length, 4.0f);
        Trace trace = fresh;
        control.applyAGC(trace.data(), 50);
        EXPECT_TRUE(sameSamples(trace, fresh)) << length;
    }
}

TEST(PeltaAGC, TheWindowMayChangeBetweenTraces) {
    PeltaAGC control(300, 11, 1.0f);
    Trace trace = randomTrace(300, 1), again = trace;
    control.applyAGC(trace.data(), 300);
    control.setWindowLength(70);
    control.applyAGC(again.data(), 300);
    EXPECT_TRUE(sameSamples({control.savedGain(), 300}, referenceGains(randomTrace(300, 1), 70)));
}

TEST(PeltaAGC, LeavesSamplesBeyondTheConstructedLengthAlone) {
    const Trace fresh = randomTrace(80, 1);
    Trace trace = fresh, shorter(fresh.begin(), fresh.begin() + 50);
    PeltaAGC control(50, 7, 1.0f);
    control.applyAGC(trace.data(), 80);
    control.applyAGC(shorter.data(), 50);
    EXPECT_TRUE(sameSamples({trace.data(), 50}, shorter));
    EXPECT_TRUE(sameSamples({&trace[50], 30}, {&fresh[50], 30}));
}

TEST(PeltaAGC, DoesNothingForNoSamples) {
    Trace trace = {1.0f, 2.0f};
    for (int made : {2, 0, -3})
        for (int count : {0, -1, INT_MIN}) {
            PeltaAGC control(made, 1, 1.0f);
            control.applyAGC(trace.data(), made > 0 ? count : 2);
        }
    EXPECT_EQ(trace, (Trace{1.0f, 2.0f}));
}

TEST(PeltaAGC, LeavesTheTraceAloneWithoutItsWorkArrays) {
    for (auto array : {&PeltaAGC::_tempTrc1, &PeltaAGC::_tempTrc2, &PeltaAGC::_tempTrc3}) {
        PeltaAGC control(2, 1, 1.0f);
        std::free(control.*array);
        control.*array = nullptr;
        Trace trace = {1.0f, 2.0f};
        control.applyAGC(trace.data(), 2);
        EXPECT_EQ(trace, (Trace{1.0f, 2.0f}));
    }
}

}
