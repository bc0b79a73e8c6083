#include <gtest/gtest.h>
#include <pelta/host.h>
#include <pelta/normalmoveout.h>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

namespace {

using Trace = std::vector<float>;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float inf = std::numeric_limits<float>::infinity();

/* What an object is made with and what an operation is called with. */
struct Case {
    int sampleCount = 200;
    float interval = 4.0f, stretch = 1.0f, stretchOffset = 0.0f;
    bool isTwoWay = true, isFourthOrder = false, isConvertedWave = false;
    float startTime = 0.0f, offset = 500.0f;
    int first = 0, last = 200;
    Trace velocity = Trace(200, 2.0f), fourth = Trace(200, 0.1f);
};

/* Arrival time by the published formulas, one rounding a statement. The volatile values keep the compiler from joining
 * a rounding to single precision with what follows in double. */
float arrivalOf(const Case& c, int i) {
    const float x = std::fabs(c.offset);
    const float x2 = x * x;
    volatile float t = i * c.interval;
    t = t + c.startTime;
    const float t2 = t * t;
    const float v = c.velocity[i];
    const float v2 = v * v;
    if (c.isConvertedWave) {
        const double sl2 = x2 / (2.0 * v2);
        volatile float te2 = static_cast<float>(0.25 * t2 + sl2);
        const float tc = 0.5f * t;
        return static_cast<float>(std::sqrt(static_cast<double>(te2)) + static_cast<double>(tc));
    }
    const float slx = x2 / v2;
    const float tn2 = t2 + slx;
    if (!c.isFourthOrder) return static_cast<float>(std::sqrt(static_cast<double>(tn2)));
    volatile float dtt = static_cast<float>(2.0 * static_cast<double>(c.fourth[i]) * static_cast<double>(slx));
    const float d = tn2 + dtt;
    if (d == 0.0f) return static_cast<float>(std::sqrt(static_cast<double>(tn2)));
    const float numerator = dtt * slx;
    const float correction = numerator / d;
    return std::sqrt(tn2 - correction);
}

float timeOf(const Case& c, int i) {
    volatile float product = i * c.interval;
    return product + c.startTime;
}

bool isStretched(const Case& c, int i) {
    const float t = timeOf(c, i);
    return c.offset >= c.stretchOffset && c.stretch < 1.0f && arrivalOf(c, i) - t > c.stretch * t;
}

float positionOf(const Case& c, int i) {
    const float t = timeOf(c, i);
    float tnmo = arrivalOf(c, i);
    if (!c.isTwoWay) tnmo = t + 0.5f * (tnmo - t);
    return tnmo / c.interval;
}

Trace identity(int count) {
    Trace ramp(count);
    for (int i = 0; i < count; ++i) ramp[i] = static_cast<float>(i);
    return ramp;
}

struct Outcome {
    Trace trace;
    int sampleAtStretch;
};

/* The three operations step by step, for windows and times inside the trace. */
Outcome referenceApply(const Case& c, Trace trace) {
    const int n = c.sampleCount;
    Trace positions = identity(n), input = trace;
    std::fill(trace.begin(), trace.end(), 0.0f);
    int it = 0;
    for (int i = c.first; i < c.last; ++i) {
        if (isStretched(c, i)) it = i + 1;
        positions[i] = positionOf(c, i);
    }
    if (n - it < 1) return {trace, it};
    ints8r(n, 1.0f, 0.0f, input.data(), 0.0f, 0.0f, n - it, &positions[it], &trace[it]);
    return {trace, it};
}

Trace referenceBlock(const Case& c, Trace trace) {
    const int nsamp = c.sampleCount;
    Trace positions = identity(nsamp), input(nsamp, 0.0f), zero(nsamp, 0.0f);
    const int n = c.last - c.first, n2 = n / 2, ic = c.first + n2;
    if (ic >= nsamp) return zero;
    if (isStretched(c, ic)) return zero;
    positions[ic] = positionOf(c, ic);
    const int it = static_cast<int>(positions[ic]) - n;
    for (int i = it; i < it + 2 * n; ++i)
        if (i >= 0 && i < nsamp) input[i] = trace[i];
    for (int j = ic + 1; j < std::min(ic + n2 + 1, nsamp); ++j) positions[j] = positions[j - 1] + 1.0f;
    for (int j = ic - 1; j >= std::max(ic - n2 - 1, 0); --j) positions[j] = positions[j + 1] - 1.0f;
    trace = zero;
    ints8r(nsamp, 1.0f, 0.0f, input.data(), 0.0f, 0.0f, nsamp, positions.data(), trace.data());
    return trace;
}

Outcome referenceUnapply(const Case& c, Trace trace) {
    const int n = c.sampleCount;
    Trace positions = identity(n), table(n);
    float smin = static_cast<float>(n);
    table[0] = std::fabs(c.offset) / c.velocity[0] / c.interval + 1.0f;
    for (int i = 1; i < n; ++i) table[i] = positionOf(c, i) + 1.0f;
    for (int j = 1; j < n; ++j) {
        const float rt1 = table[j - 1], rt2 = table[j];
        if (rt1 >= 1e9f) break;
        volatile float next = rt1 + 1.0f;
        const int it2 = rt2 < 1e9f ? static_cast<int>(rt2) : 1000000000, it1 = static_cast<int>(next);
        if (it1 >= n) break;
        if (it1 > it2) continue;
        smin = std::min(rt1, smin);
        const float rinterp = 1.0f / (rt2 - rt1);
        const float ts = (j - 1) + (it1 - rt1) * rinterp;
        positions[it1 - 1] = ts;
        if (it1 < it2)
            for (int k = 1; k < 100 && it1 + k <= it2; ++k)
                if (it1 + k - 2 < n) positions[it1 + k - 2] = k * rinterp + ts;
    }
    Trace input = trace;
    const int it = static_cast<int>(smin);
    if (it >= n) return {Trace(n, 0.0f), it};
    for (int i = 0; i <= it - 2; ++i) trace[i] = 0.0f;
    ints8r(n, 1.0f, 0.0f, input.data(), 0.0f, 0.0f, n - it, &positions[it - 1], &trace[it - 1]);
    return {trace, it - 1};
}

using Operation = int (NormalMoveout::*)(float*, float*, float*, int, float, float, int, int);
constexpr Operation operations[] = {&NormalMoveout::applyNMO, &NormalMoveout::applyBlockNMO, &NormalMoveout::unApplyNMO};

class Moveout {
  public:
    explicit Moveout(const Case& c)
        : case_(c), object_(c.sampleCount, c.interval, c.stretch, c.stretchOffset, c.isTwoWay, c.isFourthOrder) {
        object_.setConvertedWave(c.isConvertedWave);
    }

    Trace apply(Trace trace) { return run(&NormalMoveout::applyNMO, trace); }
    Trace applyBlock(Trace trace) { return run(&NormalMoveout::applyBlockNMO, trace); }
    Trace unapply(Trace trace) { return run(&NormalMoveout::unApplyNMO, trace); }
    NormalMoveout* operator->() { return &object_; }

  private:
    Trace run(Operation operation, Trace& trace) {
        EXPECT_EQ((object_.*operation)(trace.data(), case_.velocity.data(), case_.fourth.data(), case_.sampleCount,
                                       case_.startTime, case_.offset, case_.first, case_.last),
                  0);
        return trace;
    }
    Case case_;
    NormalMoveout object_;
};

/* The first sample that the stretch mute leaves. */
int firstKeptOf(const Case& c) {
    Moveout moveout(c);
    moveout.apply(Trace(c.sampleCount, 1.0f));
    return moveout->sampleAtStretch();
}

/* The first sample that the inverse writes. */
int firstRecordedOf(const Case& c) {
    Moveout moveout(c);
    moveout.unapply(Trace(c.sampleCount, 1.0f));
    return moveout->sampleAtStretch();
}

Trace ricker(int sampleCount, float centre, float interval) {
    Trace trace(sampleCount, 0.0f);
    addRicker(trace, centre, 25.0f, interval, 1.0f);
    return trace;
}

int crestOf(const Trace& trace) { return static_cast<int>(std::max_element(trace.begin(), trace.end()) - trace.begin()); }

const Trace zeros200(200, 0.0f);

/* Every formula, both ways, mute on and off, offsets of both signs, velocities that rise, fall and jump. */
Case randomCase(std::mt19937& engine) {
    const auto uniform = [&](double low, double high) {
        return static_cast<float>(low + (high - low) * (engine() / 4294967296.0));
    };
    Case c;
    c.sampleCount = 1 + static_cast<int>(engine() % 300);
    c.interval = uniform(0.5, 5.0);
    c.stretch = engine() % 3 ? uniform(0.0, 1.1) : 1.0f;
    c.stretchOffset = engine() % 2 ? 0.0f : uniform(-2000.0, 2000.0);
    c.isTwoWay = engine() % 3;
    c.isFourthOrder = engine() % 2;
    c.isConvertedWave = engine() % 3 == 0;
    c.startTime = engine() % 2 ? 0.0f : uniform(0.0, 300.0);
    c.offset = engine() % 8 ? uniform(-2500.0, 2500.0) : 0.0f;
    c.first = static_cast<int>(engine() % c.sampleCount);
    c.last = c.first + static_cast<int>(engine() % (c.sampleCount - c.first + 1));
    if (engine() % 2) c.first = 0, c.last = c.sampleCount;
    const float velocity = uniform(0.5, 4.0), gradient = uniform(-0.4, 3.0),
                roughness = engine() % 2 ? uniform(0.0, 0.5) : 0.0f;
    c.velocity.resize(c.sampleCount);
    c.fourth.resize(c.sampleCount);
    for (int i = 0; i < c.sampleCount; ++i) {
        c.velocity[i] = velocity + gradient * i / c.sampleCount + roughness * uniform(0.0, 1.0);
        c.fourth[i] = uniform(-0.3, 0.3);
    }
    return c;
}

/* What a user relies on. */

TEST(NormalMoveout, FlattensAHyperbola) {
    Case c;
    for (float offset : {0.0f, 100.0f, -400.0f, 900.0f}) {
        c.offset = offset;
        const float centre = std::hypot(100.0f * c.interval, offset / 2.0f) / c.interval;
        EXPECT_EQ(crestOf(Moveout(c).apply(ricker(200, centre, c.interval))), 100) << "offset " << offset;
    }
}

TEST(NormalMoveout, FlattensAConvertedWave) {
    const Case c{.isConvertedWave = true};
    const float time = 100.0f * c.interval, slowness = 500.0f / 2.0f;
    const float centre = (time / 2 + std::sqrt(time * time / 4 + slowness * slowness / 2)) / c.interval;
    EXPECT_EQ(crestOf(Moveout(c).apply(ricker(200, centre, c.interval))), 100);
}

TEST(NormalMoveout, FlattensAFourthOrderArrival) {
    const Case c{.isFourthOrder = true};
    const double time2 = 400.0 * 400.0, slow2 = 250.0 * 250.0, anisotropy = 0.1f;
    const double arrival = std::sqrt(time2 + slow2 - 2 * anisotropy * slow2 * slow2 / (time2 + slow2 + 2 * anisotropy * slow2));
    EXPECT_EQ(crestOf(Moveout(c).apply(ricker(200, static_cast<float>(arrival / c.interval), c.interval))), 100);
}

constexpr float roundTripError = 0.02f;  // of the crest: two sinc interpolations and a table inverted linearly

TEST(NormalMoveout, UnapplyBringsACorrectedTraceBack) {
    for (bool isTwoWay : {true, false})
        for (bool isConvertedWave : {false, true}) {
            Case c;
            c.sampleCount = c.last = 500;
            c.velocity.assign(500, 2.0f);
            c.isTwoWay = isTwoWay;
            c.isConvertedWave = isConvertedWave;
            Trace trace(500, 0.0f);
            for (float centre : {200.0f, 271.3f, 350.0f}) addRicker(trace, centre, 20.0f, c.interval, 1.0f);
            const Trace back = Moveout(c).unapply(Moveout(c).apply(trace));
            for (int i = 150; i < 420; ++i)
                EXPECT_NEAR(back[i], trace[i], roundTripError) << "sample " << i << ", " << isTwoWay << isConvertedWave;
        }
}

/* The steps, to the bit. */

/* Calls check(case, trace) for many of them. */
template <class Check>
void onRandomCases(unsigned seed, Check check) {
    std::mt19937 engine(seed);
    for (int round = 0; round < 600; ++round) {
        const Case c = randomCase(engine);
        SCOPED_TRACE("case " + std::to_string(round));
        check(c, randomTrace(c.sampleCount, round));
    }
}

TEST(NormalMoveout, MatchesTheStepsOnRandomTraces) {
    onRandomCases(11, [](const Case& c, const Trace& trace) {
        Moveout moveout(c);
        const auto [expected, sampleAtStretch] = referenceApply(c, trace);
        EXPECT_TRUE(sameSamples(moveout.apply(trace), expected));
        EXPECT_EQ(moveout->sampleAtStretch(), sampleAtStretch);
    });
}

TEST(NormalMoveout, ReadsEverySampleAtTheBitsOfItsPosition) {
    onRandomCases(12, [](const Case& c, const Trace& trace) {
        Trace expected = identity(c.sampleCount);
        for (int i = c.first; i < c.last; ++i) expected[i] = positionOf(c, i);
        Moveout moveout(c);
        moveout.apply(trace);
        EXPECT_TRUE(sameSamples({moveout->_tempSamp, expected.size()}, expected));
    });
}

TEST(NormalMoveout, ShiftsBlocksAsTheStepsSayOnRandomTraces) {
    onRandomCases(13, [](const Case& c, const Trace& trace) {
        Case narrow = c;
        narrow.last = std::min(c.last, c.first + 20);
        for (const Case& block : {c, narrow})
            EXPECT_TRUE(sameSamples(Moveout(block).applyBlock(trace), referenceBlock(block, trace)));
    });
}

TEST(NormalMoveout, RemovesMoveoutAsTheStepsSayOnRandomTraces) {
    onRandomCases(14, [](const Case& c, const Trace& trace) {
        Moveout moveout(c);
        const auto [expected, sampleAtStretch] = referenceUnapply(c, trace);
        EXPECT_TRUE(sameSamples(moveout.unapply(trace), expected));
        EXPECT_EQ(moveout->sampleAtStretch(), sampleAtStretch);
    });
}

TEST(NormalMoveout, KeepsNothingFromTraceToTrace) {
    std::mt19937 engine(15);
    const Case c = randomCase(engine);
    const Trace trace = randomTrace(c.sampleCount, 1);
    Moveout used(c);
    used.unapply(randomTrace(c.sampleCount, 2));
    used.applyBlock(randomTrace(c.sampleCount, 3));
    EXPECT_TRUE(sameSamples(used.apply(trace), Moveout(c).apply(trace)));
    EXPECT_TRUE(sameSamples(used.unapply(trace), Moveout(c).unapply(trace)));
}

/* The object and its switches. */

TEST(NormalMoveout, StoresWhatItIsMadeWith) {
    NormalMoveout moveout(3, 4.0f, 0.3f, -50.0f, true, false);
    EXPECT_EQ(moveout._nsamples, 3);
    EXPECT_EQ(moveout._srate, 4.0f);
    EXPECT_EQ(moveout.getStretch(), 0.3f);
    EXPECT_EQ(moveout._stroffset, -50.0f);
    EXPECT_TRUE(moveout._twoway);
    EXPECT_FALSE(moveout.isFourthOrder());
    EXPECT_FALSE(moveout.isConvertedWave());
    EXPECT_TRUE(sameSamples({moveout._tempSampCopy, 3}, Trace{0.0f, 1.0f, 2.0f}));
}

TEST(NormalMoveout, SettersChangeTheNextTrace) {
    NormalMoveout moveout(3, 4.0f, 0.3f, 0.0f, true, false);
    moveout.setStretch(0.5f);
    moveout.setFourthOrder(true);
    moveout.setConvertedWave(true);
    EXPECT_EQ(moveout.getStretch(), 0.5f);
    EXPECT_TRUE(moveout.isFourthOrder());
    EXPECT_TRUE(moveout.isConvertedWave());
    moveout.setFourthOrder(false);
    moveout.setConvertedWave(false);
    EXPECT_FALSE(moveout.isFourthOrder());
    EXPECT_FALSE(moveout.isConvertedWave());
}

TEST(NormalMoveout, ConvertedWavesIgnoreTheFourthOrder) {
    Case c{.isConvertedWave = true};
    const Trace trace = randomTrace(200, 1), plain = Moveout(c).apply(trace);
    c.isFourthOrder = true;
    EXPECT_TRUE(sameSamples(Moveout(c).apply(trace), plain));
}

TEST(NormalMoveout, LeavesTheFourthOrderCoefficientsUnreadWithoutTheirFormula) {
    Case c;
    Moveout moveout(c);
    Trace trace = randomTrace(200, 1), expected = moveout.apply(trace);
    moveout->applyNMO(trace.data(), c.velocity.data(), nullptr, 200, 0.0f, c.offset, 0, 200);
    EXPECT_TRUE(sameSamples(trace, expected));
}

/* Positions and the stretch mute. */

TEST(NormalMoveout, ZeroOffsetReadsEverySampleWhereItStands) {
    const Case c{.stretch = 0.0f, .offset = 0.0f};
    Moveout moveout(c);
    const Trace trace = randomTrace(200, 1);
    EXPECT_TRUE(sameSamples(moveout.apply(trace), trace));
    EXPECT_EQ(moveout->sampleAtStretch(), 0);
}

/* Kept on purpose: the trace that is read begins at time 0. */
TEST(NormalMoveout, DoesNotTakeTheStartTimeOffThePositions) {
    const Case c{.startTime = 20.0f, .offset = 0.0f};  // 5 samples
    const Trace trace = randomTrace(200, 1);
    Trace expected(trace.begin() + 5, trace.end());
    expected.resize(200, 0.0f);
    EXPECT_TRUE(sameSamples(Moveout(c).apply(trace), expected));
}

TEST(NormalMoveout, MutesWhatIsStretchedBeyondTheLimit) {
    const Case c{.stretch = 0.3f};
    Moveout moveout(c);
    const Trace corrected = moveout.apply(Trace(200, 1.0f));
    // sqrt(t^2 + 250^2) - t > 0.3 t up to t = 250 / sqrt(0.69) = 300.96 ms, sample 75
    EXPECT_EQ(moveout->sampleAtStretch(), 76);
    EXPECT_TRUE(sameSamples({corrected.data(), 76}, Trace(76, 0.0f)));
    EXPECT_NE(corrected[76], 0.0f);
}

TEST(NormalMoveout, AStretchLimitOfOneMutesNothing) {
    Case c;
    for (float stretch : {1.0f, 1.5f, inf, nan}) {
        c.stretch = stretch;
        EXPECT_EQ(firstKeptOf(c), 0) << stretch;
    }
}

/* Kept on purpose: the mute looks at the signed offset. */
TEST(NormalMoveout, NegativeOffsetsEscapeTheMuteUnlessItsOffsetIsNegativeToo) {
    Case c{.stretch = 0.3f, .offset = -500.0f};
    EXPECT_EQ(firstKeptOf(c), 0);
    const Trace trace = randomTrace(200, 1), corrected = Moveout(c).apply(trace);
    c.stretchOffset = -500.0f;
    EXPECT_EQ(firstKeptOf(c), 76);
    c.offset = 500.0f;
    c.stretch = 1.0f;
    EXPECT_TRUE(sameSamples(corrected, Moveout(c).apply(trace)));
}

TEST(NormalMoveout, TheMuteStartsAtItsOffset) {
    Case c{.stretch = 0.3f, .stretchOffset = 500.0f};
    EXPECT_EQ(firstKeptOf(c), 76);
    c.stretchOffset = std::nextafter(500.0f, 1000.0f);
    EXPECT_EQ(firstKeptOf(c), 0);
}

TEST(NormalMoveout, TheLastStretchedSampleSetsTheMute) {
    Case c{.stretch = 0.3f};
    c.velocity[150] = 0.1f;
    Moveout moveout(c);
    const Trace corrected = moveout.apply(Trace(200, 1.0f));
    EXPECT_EQ(moveout->sampleAtStretch(), 151);
    EXPECT_TRUE(sameSamples({corrected.data(), 151}, Trace(151, 0.0f)));
}

TEST(NormalMoveout, AStretchedLastSampleMutesTheTrace) {
    const Case c{.stretch = 0.0f};
    Moveout moveout(c);
    EXPECT_TRUE(sameSamples(moveout.apply(Trace(200, 1.0f)), zeros200));
    EXPECT_EQ(moveout->sampleAtStretch(), 200);
}

TEST(NormalMoveout, HalvesTheMoveoutOfOneWayTimesAfterTheStretchTest) {
    const Case c{.stretch = 0.3f, .isTwoWay = false};
    Moveout moveout(c);
    moveout.apply(Trace(200, 1.0f));
    EXPECT_EQ(moveout->sampleAtStretch(), 76);
    EXPECT_EQ(moveout->_tempSamp[0], 250.0f / 4.0f / 2.0f);
}

TEST(NormalMoveout, FallsBackToTheHyperbolaWhereTheFourthOrderHasNoDenominator) {
    Case c{.isFourthOrder = true};
    c.fourth.assign(200, 0.0f);
    c.fourth[0] = -0.5f;  // at time 0: x^2/v^2 - x^2/v^2
    Moveout moveout(c);
    moveout.apply(Trace(200, 1.0f));
    EXPECT_EQ(moveout->_tempSamp[0], 250.0f / 4.0f);
}

/* The range and the ends of the arrays. */

TEST(NormalMoveout, AnEmptyRangeReadsEverySampleWhereItStands) {
    Case c;
    const Trace trace = randomTrace(200, 1);
    for (int edge : {0, 100, 200}) {
        c.first = c.last = edge;
        EXPECT_TRUE(sameSamples(Moveout(c).apply(trace), trace)) << edge;
    }
    c.first = 120, c.last = 80;
    EXPECT_TRUE(sameSamples(Moveout(c).apply(trace), trace));
}

TEST(NormalMoveout, MovesOnlyTheSamplesOfTheRange) {
    const Case c{.first = 90, .last = 110};
    const Trace trace = randomTrace(200, 1), corrected = Moveout(c).apply(trace);
    EXPECT_TRUE(sameSamples({corrected.data(), 90}, {trace.data(), 90}));
    EXPECT_FALSE(sameSamples({&corrected[90], 20}, {&trace[90], 20}));
    EXPECT_TRUE(sameSamples({&corrected[110], 90}, {&trace[110], 90}));
}

TEST(NormalMoveout, CutsARangeThatLeavesTheTrace) {
    Case c;
    const Trace trace = randomTrace(200, 1), whole = Moveout(c).apply(trace);
    c.first = INT_MIN, c.last = INT_MAX;
    EXPECT_TRUE(sameSamples(Moveout(c).apply(trace), whole));
    c.first = 500, c.last = 700;
    EXPECT_TRUE(sameSamples(Moveout(c).apply(trace), trace));
}

TEST(NormalMoveout, LeavesSamplesBeyondTheConstructedLengthAlone) {
    Trace velocity(200, 2.0f);
    const Trace fresh = randomTrace(200, 1);
    for (Operation operation : operations) {
        NormalMoveout moveout(120, 4.0f, 1.0f, 0.0f, true, false);
        Trace trace = fresh, shorter(fresh.begin(), fresh.begin() + 120);
        (moveout.*operation)(trace.data(), velocity.data(), nullptr, 200, 0.0f, 200.0f, 20, 60);
        (moveout.*operation)(shorter.data(), velocity.data(), nullptr, 120, 0.0f, 200.0f, 20, 60);
        EXPECT_TRUE(sameSamples({trace.data(), 120}, shorter));
        EXPECT_TRUE(sameSamples({&trace[120], 80}, {&fresh[120], 80}));
    }
}

TEST(NormalMoveout, DoesNothingForNoSamples) {
    Trace trace = {1.0f, 2.0f}, velocity = {1.0f, 1.0f};
    for (int made : {2, 0, -3})
        for (int count : {0, -1, INT_MIN}) {
            NormalMoveout moveout(made, 1.0f, 0.0f, 0.0f, true, false);
            for (Operation operation : operations)
                EXPECT_EQ((moveout.*operation)(trace.data(), velocity.data(), nullptr, made > 0 ? count : 2, 0.0f, 10.0f, 0, 2),
                          0);
            EXPECT_EQ(moveout.sampleAtStretch(), 0);
        }
    EXPECT_EQ(trace, (Trace{1.0f, 2.0f}));
}

TEST(NormalMoveout, LeavesTheTraceAloneWithoutItsWorkArrays) {
    for (auto array : {&NormalMoveout::_tempTrc, &NormalMoveout::_tempSamp, &NormalMoveout::_tempSampCopy}) {
        NormalMoveout moveout(2, 1.0f, 0.0f, 0.0f, true, false);
        std::free(moveout.*array);
        moveout.*array = nullptr;
        Trace trace = {1.0f, 2.0f}, velocity = {1.0f, 1.0f};
        for (Operation operation : operations)
            EXPECT_EQ((moveout.*operation)(trace.data(), velocity.data(), nullptr, 2, 0.0f, 10.0f, 0, 2), 0);
        EXPECT_EQ(trace, (Trace{1.0f, 2.0f}));
    }
}

TEST(NormalMoveout, SurvivesVelocitiesAndTimesThatAreNoNumbers) {
    std::mt19937 engine(16);
    const Trace odd = {0.0f, -0.0f, nan, inf, -inf, -2.0f, 1e-30f, 1e30f, FLT_MAX, FLT_MIN, 1e-42f};
    const auto any = [&](float usual) { return engine() % 3 ? usual : odd[engine() % odd.size()]; };
    for (int round = 0; round < 500; ++round) {
        Case c = randomCase(engine);
        c.interval = any(c.interval);
        c.offset = any(c.offset);
        c.startTime = any(c.startTime);
        for (float& velocity : c.velocity) velocity = any(velocity);
        const Trace trace = randomTrace(c.sampleCount, round);
        Moveout moveout(c);
        moveout.apply(trace);
        EXPECT_LE(moveout->sampleAtStretch(), c.sampleCount);
        moveout.applyBlock(trace);
        moveout.unapply(trace);
        EXPECT_GE(moveout->sampleAtStretch(), 0);
    }
}

TEST(NormalMoveoutBlock, MovesTheWindowRigidlyByTheMoveoutOfItsCentre) {
    const Case c{.offset = 480.0f, .first = 70, .last = 90};  // centre 80, at 320 ms: sqrt(320^2 + 240^2) = 400 ms, sample 100
    const Trace trace = randomTrace(200, 1), shifted = Moveout(c).applyBlock(trace);
    EXPECT_TRUE(sameSamples({&shifted[69], 22}, {&trace[89], 22}));
    // Around it only what survived on either side of sample 100 is read, where it stands.
    EXPECT_TRUE(sameSamples({shifted.data(), 69}, Trace(69, 0.0f)));
    EXPECT_TRUE(sameSamples({&shifted[91], 29}, {&trace[91], 29}));
    EXPECT_TRUE(sameSamples({&shifted[120], 80}, Trace(80, 0.0f)));
}

TEST(NormalMoveoutBlock, ZeroesTheTraceWhenItsCentreIsStretchedTooFar) {
    Case c{.stretch = 0.24f, .offset = 480.0f, .first = 70, .last = 90};
    EXPECT_TRUE(sameSamples(Moveout(c).applyBlock(randomTrace(200, 1)), zeros200));
    c.stretch = 0.26f;
    EXPECT_FALSE(sameSamples(Moveout(c).applyBlock(randomTrace(200, 1)), zeros200));
}

TEST(NormalMoveoutBlock, JudgesTheStretchBeforeHalving) {
    const Case c{.stretch = 0.24f, .isTwoWay = false, .offset = 480.0f, .first = 70, .last = 90};
    EXPECT_TRUE(sameSamples(Moveout(c).applyBlock(randomTrace(200, 1)), zeros200));
}

TEST(NormalMoveoutBlock, NeverChangesTheSampleAtStretch) {
    const Case c{.stretch = 0.3f};
    Moveout moveout(c);
    moveout.apply(Trace(200, 1.0f));
    moveout.applyBlock(Trace(200, 1.0f));
    EXPECT_EQ(moveout->sampleAtStretch(), 76);
}

TEST(NormalMoveoutBlock, ZeroesTheTraceWhenItsCentreLiesOutside) {
    for (auto [first, last] :
         {std::pair{200, 200}, {150, 250}, {201, 201}, {199, 202}, {-40, 20}, {INT_MAX, INT_MAX}, {INT_MIN, INT_MIN}}) {
        const Case c{.offset = 0.0f, .first = first, .last = last};
        EXPECT_TRUE(sameSamples(Moveout(c).applyBlock(randomTrace(200, 1)), zeros200)) << first << " " << last;
    }
}

TEST(NormalMoveoutBlock, CutsAWindowThatLeavesTheTrace) {
    Case c{.offset = 0.0f, .first = 0, .last = 200};  // 200 samples on either side of the position of sample 100
    const Trace trace = randomTrace(200, 1);
    EXPECT_TRUE(sameSamples(Moveout(c).applyBlock(trace), trace));
    c.first = INT_MIN, c.last = INT_MAX;  // its centre is sample -1
    EXPECT_TRUE(sameSamples(Moveout(c).applyBlock(trace), zeros200));
    c.first = INT_MIN + 150, c.last = INT_MAX - 50;
    EXPECT_TRUE(sameSamples(Moveout(c).applyBlock(trace), trace));
}

TEST(NormalMoveoutBlock, KeepsNothingOfAnEmptyWindow) {
    Case c{.offset = 0.0f};
    for (auto [first, last] : {std::pair{100, 100}, {101, 100}, {120, 80}, {INT_MAX, INT_MIN}}) {
        c.first = first, c.last = last;
        EXPECT_TRUE(sameSamples(Moveout(c).applyBlock(randomTrace(200, 1)), zeros200)) << first << " " << last;
    }
}

TEST(NormalMoveoutBlock, ZeroesWhatWouldBeReadFarOutside) {
    for (float velocity : {0.0f, nan, 1e-30f}) {
        Case c;
        c.velocity.assign(200, velocity);
        c.first = 90, c.last = 110;
        const Trace shifted = Moveout(c).applyBlock(randomTrace(200, 1));
        for (int i = 0; i < 200; ++i) EXPECT_EQ(shifted[i], 0.0f) << "velocity " << velocity << ", sample " << i;
    }
}

TEST(NormalMoveoutInverse, MovesAFlatEventBackToItsHyperbola) {
    const Case c{.offset = 600.0f};
    const float centre = std::hypot(400.0f, 300.0f) / c.interval;  // 125
    EXPECT_EQ(crestOf(Moveout(c).unapply(ricker(200, 100.0f, c.interval))), static_cast<int>(centre));
}

TEST(NormalMoveoutInverse, IgnoresTheRangeAndTheStretchLimit) {
    Case c;
    const Trace trace = randomTrace(200, 1), whole = Moveout(c).unapply(trace);
    c.first = 50, c.last = 60;
    c.stretch = 0.0f;
    EXPECT_TRUE(sameSamples(Moveout(c).unapply(trace), whole));
}

/* Kept on purpose. */
TEST(NormalMoveoutInverse, LeavesTheLastSampleAlone) {
    const Case c;
    Trace trace(200, 0.0f);
    trace[199] = 7.0f;
    EXPECT_EQ(Moveout(c).unapply(trace)[199], 7.0f);
}

TEST(NormalMoveoutInverse, ZeroesWhatLiesBeforeTheFirstRecordedTime) {
    const Case c{.offset = 480.0f};  // x/v = 240 ms, position 60 (61 from one)
    Moveout moveout(c);
    const Trace recorded = moveout.unapply(Trace(200, 1.0f));
    EXPECT_EQ(moveout->sampleAtStretch(), 60);
    EXPECT_TRUE(sameSamples({recorded.data(), 60}, Trace(60, 0.0f)));
    EXPECT_NE(recorded[60], 0.0f);
}

TEST(NormalMoveoutInverse, ZeroesATraceThatIsRecordedBehindItsEnd) {
    const Case c{.offset = 1700.0f};  // x/v = 850 ms, the trace ends at 796
    Moveout moveout(c);
    EXPECT_TRUE(sameSamples(moveout.unapply(Trace(200, 1.0f)), zeros200));
    EXPECT_EQ(moveout->sampleAtStretch(), 200);
}

TEST(NormalMoveoutInverse, ZeroesATraceOfOneSample) {
    NormalMoveout moveout(1, 4.0f, 1.0f, 0.0f, true, false);
    float trace = 3.0f, velocity = 2.0f;
    moveout.unApplyNMO(&trace, &velocity, nullptr, 1, 0.0f, 0.0f, 0, 1);
    EXPECT_EQ(trace, 0.0f);
    EXPECT_EQ(moveout.sampleAtStretch(), 1);
}

/* Kept on purpose. With the start time the first position from one would be 66. */
TEST(NormalMoveoutInverse, TakesTheFirstSampleWithoutTheStartTime) {
    EXPECT_EQ(firstRecordedOf({.startTime = 100.0f, .offset = 480.0f}), 60);
}

/* Kept on purpose. Halved, sample 0 would be recorded at 30.75 from one and sample 1 at 31.25, with sample 31 between them. At
 * x/v it comes behind, and the first sample between two positions is the one behind sample 2, at 31.77. */
TEST(NormalMoveoutInverse, TakesTheFirstSampleWithoutHalving) {
    EXPECT_EQ(firstRecordedOf({.isTwoWay = false, .offset = 476.0f}), 30);
}

/* Kept on purpose. By the converted wave's formula the positions would be the same 30.75, 31.25 and 31.77. */
TEST(NormalMoveoutInverse, TakesTheFirstSampleWithoutTheConvertedWavesFormula) {
    EXPECT_EQ(firstRecordedOf({.isConvertedWave = true, .offset = 336.6f}), 30);
}

/* Kept on purpose. At offset 0 sample 0 is recorded at 0 ms, without the start time, and sample 1 with it. */
TEST(NormalMoveoutInverse, StoresFurtherPositionsOneSampleEarly) {
    const Case c{.sampleCount = 40, .interval = 1.0f, .startTime = 5.0f, .offset = 0.0f};
    Moveout moveout(c);
    moveout.unapply(Trace(40, 1.0f));
    // From one, the first interval runs from 1 to 7, and samples 2 .. 7 lie in it. Sample 2 gets 1/6; then k = 1 .. 5 add k/6 and
    // go to the samples k from zero, the first of them over the 1/6. Sample 7 (from zero: 6) is left where it stands.
    const float step = 1.0f / 6.0f;
    EXPECT_EQ(moveout->_tempSamp[0], 0.0f);
    for (int k = 1; k <= 5; ++k) EXPECT_EQ(moveout->_tempSamp[k], k * step + step) << k;
    EXPECT_EQ(moveout->_tempSamp[6], 6.0f);
    EXPECT_EQ(moveout->_tempSamp[7], 2.0f);
}

/* Kept on purpose. */
TEST(NormalMoveoutInverse, FillsAtMostNinetyNineSamplesOfAnInterval) {
    const Case c{.sampleCount = 200, .interval = 1.0f, .startTime = 150.0f, .offset = 0.0f};
    Moveout moveout(c);
    moveout.unapply(Trace(200, 1.0f));
    const float step = 1.0f / 151.0f;
    EXPECT_EQ(moveout->_tempSamp[99], 99.0f * step + step);
    for (int i = 100; i < 151; ++i) EXPECT_EQ(moveout->_tempSamp[i], static_cast<float>(i)) << i;
}

TEST(NormalMoveoutInverse, PassesOverAPositionThatIsNoNumber) {
    Case c{.offset = 480.0f};
    Moveout whole(c);
    whole.unapply(Trace(200, 1.0f));
    Trace expected(whole->_tempSamp, whole->_tempSamp + 200);
    c.velocity[100] = nan;  // recorded at position 117: the samples about it are left where they stand
    Moveout moveout(c);
    moveout.unapply(Trace(200, 1.0f));
    EXPECT_EQ(moveout->sampleAtStretch(), 60);
    for (int i : {116, 117}) EXPECT_EQ(moveout->_tempSamp[i], static_cast<float>(i)) << i;
    std::copy_n(&moveout->_tempSamp[116], 2, &expected[116]);
    EXPECT_TRUE(sameSamples({moveout->_tempSamp, 200}, expected));
}

TEST(NormalMoveoutInverse, ClipsAStartBeforeTheArrays) {
    Case c{.isTwoWay = false, .startTime = -40.0f, .offset = -8.0f};  // 10 samples before the trace
    c.velocity.assign(200, -2.0f);                                    // sample 0 at x/v = -4 ms, position 0 from one
    Moveout moveout(c);
    const Trace trace = randomTrace(200, 1), recorded = moveout.unapply(trace);
    EXPECT_EQ(moveout->sampleAtStretch(), 0);
    EXPECT_EQ(recorded[199], trace[199]);
}

TEST(NormalMoveoutInverse, NeverWritesAPositionBeyondTheArrays) {
    Case c;
    c.velocity.assign(200, 2.0f);
    c.velocity[0] = -0.01f;  // sample 0 is recorded 50 s before the trace
    Moveout(c).unapply(randomTrace(200, 1));
    c.velocity[0] = 2.0f;
    c.velocity[100] = 1e-20f;  // and sample 100 behind every int
    Moveout(c).unapply(randomTrace(200, 1));
}

}
