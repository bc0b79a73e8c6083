#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/signals.h"
#include "velocity/picking.h"

namespace {

using namespace pelta::velocity;

constexpr int traceCount = 48, sampleCount = 2000, velocityCount = 100, windowSamples = 11;
constexpr double intervalMs = 2.0;

void require(bool isRight, const char* what) {
    if (isRight) return;
    std::fprintf(stderr, "wrong answer: %s\n", what);
    std::abort();
}

/* The shot record of the other benchmarks: reflections at 400, 900 and 1600 ms, all of 2200 m/s. */
Gather shotRecord() {
    Gather gather;
    gather.sampleCount = sampleCount;
    gather.intervalMs = intervalMs;
    for (const std::vector<float>& trace : shotGather(traceCount, sampleCount, static_cast<float>(intervalMs))) {
        gather.offsets.push_back(50.0 + 25.0 * static_cast<double>(gather.offsets.size()));
        gather.samples.insert(gather.samples.end(), trace.begin(), trace.end());
    }
    return gather;
}

PanelSettings panelSettings() {
    PanelSettings settings;
    settings.fan = {1500.0, 3480.0, velocityCount};
    settings.windowSamples = windowSamples;
    settings.leastFold = 1;
    return settings;
}

void panelByPelta(benchmark::State& state) {
    const Gather gather = shotRecord();
    const PanelSettings settings = panelSettings();
    const Panel first = computePanel(gather, settings, 1);
    for (int time : {900, 1600}) {
        const int row = static_cast<int>(time / intervalMs);
        int best = 0;
        for (int k = 0; k < velocityCount; ++k)
            if (first.at(k)[row] > first.at(best)[row]) best = k;
        require(std::fabs(settings.fan.at(best) - 2200.0) <= 2.0 * settings.fan.step(), "velocity analysis");
    }
    for (auto _ : state) {
        const Panel panel = computePanel(gather, settings, 1);
        benchmark::DoNotOptimize(panel.semblance.data());
    }
}

void picksByPelta(benchmark::State& state) {
    const Panel panel = computePanel(shotRecord(), panelSettings(), 1);
    require(pickVelocities(panel, {}).size() >= 3, "picking");
    for (auto _ : state) benchmark::DoNotOptimize(pickVelocities(panel, {}));
}

const bool isRegistered = [] {
    const std::string sizes = "48 traces, 2000 samples, 100 velocities";
    benchmark::RegisterBenchmark(("velocity analysis|pelta|" + sizes).c_str(), panelByPelta);
    benchmark::RegisterBenchmark(("picking of velocities|pelta|" + sizes).c_str(), picksByPelta);
    return true;
}();

}
