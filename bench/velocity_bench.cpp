#include <benchmark/benchmark.h>
#include <pelta/velocity.h>

#include <cmath>
#include <string>
#include <vector>

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
    if (!(velocity.back() > surfaceVelocity)) state.SkipWithError("the last velocity is wrong");
    state.SetItemsProcessed(state.iterations() * sampleCount);
}

void intervalsByPelta(benchmark::State& state, int sampleCount) {
    Trace times = timesFor(sampleCount);
    onVelocities(state, sampleCount,
                 [&](Trace& velocity) { dixIntVelocity(times.data(), velocity.data(), sampleCount, 1.5f); });
}

void intervalsByFormula(benchmark::State& state, int sampleCount) {
    const Trace times = timesFor(sampleCount);
    onVelocities(state, sampleCount, [&](Trace& velocity) {
        double above = static_cast<double>(velocity[0]) * velocity[0] * times[0];
        for (int i = 1; i < sampleCount; ++i) {
            const double here = static_cast<double>(velocity[i]) * velocity[i] * times[i];
            velocity[i] = static_cast<float>(std::sqrt((here - above) / (times[i] - times[i - 1])));
            above = here;
        }
    });
}

void rmsByPelta(benchmark::State& state, int sampleCount) {
    onVelocities(state, sampleCount, [&](Trace& velocity) { dixRmsVelocity(velocity.data(), sampleCount); });
}

void rmsByFormula(benchmark::State& state, int sampleCount) {
    onVelocities(state, sampleCount, [&](Trace& velocity) {
        double sum = 0.0;
        for (int i = 1; i < sampleCount; ++i) {
            sum += static_cast<double>(velocity[i]) * velocity[i];
            velocity[i] = static_cast<float>(std::sqrt(sum / i));
        }
    });
}

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
        const auto add = [n](const char* name, auto work) {
            benchmark::RegisterBenchmark((name + ("|n=" + std::to_string(n))).c_str(), [=](auto& state) { work(state, n); });
        };
        add("dixIntVelocity|pelta", intervalsByPelta);
        add("dixIntVelocity|formula in double", intervalsByFormula);
        add("dixRmsVelocity|pelta", rmsByPelta);
        add("dixRmsVelocity|formula in double", rmsByFormula);
        add("sin2Angle|pelta", anglesByPelta);
        add("sin2Angle|limit: logarithm and exponential", logarithmAndExponential);
    }
    return true;
}();

}
