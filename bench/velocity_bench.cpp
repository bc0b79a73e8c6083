#include <benchmark/benchmark.h>
#include <pelta/velocity.h>

#include <cmath>
#include <string>
#include <vector>

#include "figures.h"

/* Velocities of a trace, and the angles at all its samples, beside their formulas as one would write them down in double precision. */

namespace {

using Trace = std::vector<float>;

constexpr float intervalMs = 2.0f, offset = 1500.0f, surfaceVelocity = 1.8f; /* m, m/ms */

Trace timesFor(int sampleCount) {
    Trace times(sampleCount);
    for (int i = 0; i < sampleCount; ++i) times[i] = static_cast<float>(i + 1) * intervalMs;
    return times;
}

/* Velocities (m/ms) that grow with time. */
Trace velocitiesFor(int sampleCount) {
    Trace velocity(sampleCount);
    for (int i = 0; i < sampleCount; ++i) velocity[i] = surfaceVelocity + 0.0005f * static_cast<float>(i);
    return velocity;
}

/* Each turn works on fresh velocities in place. */
template <class Work>
void onVelocities(benchmark::State& state, int sampleCount, const Work& work) {
    const Trace fresh = velocitiesFor(sampleCount);
    Trace velocity = fresh;
    for (auto _ : state) {
        velocity = fresh;
        work(velocity);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * sampleCount);
}

void intervalFormula(const Trace& times, Trace& velocity) {
    double above = static_cast<double>(velocity[0]) * velocity[0] * times[0];
    for (std::size_t i = 1; i < velocity.size(); ++i) {
        const double here = static_cast<double>(velocity[i]) * velocity[i] * times[i];
        velocity[i] = static_cast<float>(std::sqrt((here - above) / (times[i] - times[i - 1])));
        above = here;
    }
}

void rmsFormula(Trace& velocity) {
    double sum = 0.0;
    for (std::size_t i = 1; i < velocity.size(); ++i) {
        sum += static_cast<double>(velocity[i]) * velocity[i];
        velocity[i] = static_cast<float>(std::sqrt(sum / static_cast<double>(i)));
    }
}

/* Of two ways to work on the velocities of a trace. */
template <class Work, class Formula>
void requireSame(int sampleCount, const Work& work, const Formula& formula, const char* what) {
    constexpr float rounding = 0.01f; /* m/ms: layers of 2 ms out of differences of single-precision squares */
    Trace velocity = velocitiesFor(sampleCount), expected = velocity;
    work(velocity);
    formula(expected);
    for (int i = 0; i < sampleCount; ++i) require(std::fabs(velocity[i] - expected[i]) < rounding, what);
}

void intervalsByPelta(benchmark::State& state, int sampleCount) {
    Trace times = timesFor(sampleCount);
    const auto intervals = [&](Trace& velocity) { dixIntVelocity(times.data(), velocity.data(), sampleCount, 1.5f); };
    requireSame(
        sampleCount, intervals, [&](Trace& velocity) { intervalFormula(times, velocity); }, "dixIntVelocity");
    onVelocities(state, sampleCount, intervals);
}

void intervalsByFormula(benchmark::State& state, int sampleCount) {
    const Trace times = timesFor(sampleCount);
    onVelocities(state, sampleCount, [&](Trace& velocity) { intervalFormula(times, velocity); });
}

void rmsByPelta(benchmark::State& state, int sampleCount) {
    const auto rms = [&](Trace& velocity) { dixRmsVelocity(velocity.data(), sampleCount); };
    requireSame(sampleCount, rms, rmsFormula, "dixRmsVelocity");
    onVelocities(state, sampleCount, rms);
}

void rmsByFormula(benchmark::State& state, int sampleCount) { onVelocities(state, sampleCount, rmsFormula); }

/* angle(velocity, time) at every sample. */
template <class Angle>
void anglesOfTrace(benchmark::State& state, int sampleCount, const Angle& angle) {
    const Trace times = timesFor(sampleCount), velocity = velocitiesFor(sampleCount);
    Trace squaredSines(sampleCount);
    for (auto _ : state) {
        for (int i = 0; i < sampleCount; ++i) squaredSines[i] = angle(velocity[i], times[i]);
        benchmark::ClobberMemory();
    }
    if (!(squaredSines.back() > 0.0f && squaredSines.back() < squaredSines[sampleCount / 2]))
        state.SkipWithError("angles do not fall with depth");
    state.SetItemsProcessed(state.iterations() * sampleCount);
}

void anglesByPelta(benchmark::State& state, int sampleCount) {
    anglesOfTrace(state, sampleCount, [](float velocity, float time) {
        float squaredSine;
        return sin2Angle(velocity, surfaceVelocity, time, offset, &squaredSine);
    });
}

/* A logarithm and an exponential function cannot be avoided. */
void logarithmAndExponential(benchmark::State& state, int sampleCount) {
    anglesOfTrace(state, sampleCount, [](float velocity, float time) {
        const float gradient = std::log(velocity / surfaceVelocity) / (0.5f * time);
        return 1.0f / (1.0f + std::exp(0.5f * time * gradient) * time);
    });
}

const bool isRegistered = [] {
    for (int n : {1500, 4000}) {
        const std::string of = "|n=" + std::to_string(n);
        addFigure("dixIntVelocity|pelta" + of, intervalsByPelta, n);
        addFigure("dixIntVelocity|formula in double" + of, intervalsByFormula, n);
        addFigure("dixRmsVelocity|pelta" + of, rmsByPelta, n);
        addFigure("dixRmsVelocity|formula in double" + of, rmsByFormula, n);
        addFigure("sin2Angle|pelta" + of, anglesByPelta, n);
        addFigure("sin2Angle|limit: logarithm and exponential" + of, logarithmAndExponential, n);
    }
    return true;
}();

}
