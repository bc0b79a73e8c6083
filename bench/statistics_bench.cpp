#include <benchmark/benchmark.h>
#include <gsl/gsl_statistics_float.h>
#include <pelta/statistics.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "figures.h"
#include "support/signals.h"

/* Statistics of the traces of a shot record, 1500 and 4000 samples long, one after the other. */

namespace {

using Gather = std::vector<std::vector<float>>;

constexpr int traceCount = 8;
constexpr int windowLength = 50, wideLength = 500;

/* Runs through the traces of a gather, so that no figure rests on one trace; times are per trace. */
template <class Trace>
void perTrace(benchmark::State& state, int sampleCount, Trace run) {
    Gather gather = shotGather(traceCount, sampleCount);
    int k = 0;
    for (auto _ : state) {
        run(gather[k]);
        k = (k + 1) % traceCount;
    }
    state.SetItemsProcessed(state.iterations() * sampleCount);
}

template <class Trace>
void add(const std::string& routine, const std::string& who, Trace run) {
    for (int sampleCount : {1500, 4000})
        addFigure(routine + "|" + who + "|" + std::to_string(sampleCount) + " samples", perTrace<Trace>, sampleCount, run);
}

/* One dependent addition a sample. */
double chainOfAdds(const std::vector<float>& trace) {
    double sum = 0.0;
    for (float sample : trace) sum += sample;
    return sum;
}

void peltaMean(std::vector<float>& trace) {
    float mean, deviation;
    computeMean(trace.data(), static_cast<int>(trace.size()), &mean, &deviation);
    benchmark::DoNotOptimize(mean);
    benchmark::DoNotOptimize(deviation);
}

void gslMean(std::vector<float>& trace) {
    const double mean = gsl_stats_float_mean(trace.data(), 1, trace.size());
    benchmark::DoNotOptimize(gsl_stats_float_sd_m(trace.data(), 1, trace.size(), mean));
}

void twoChains(std::vector<float>& trace) {
    const double mean = chainOfAdds(trace);
    benchmark::DoNotOptimize(mean);
    double squares = 0.0;
    for (float sample : trace) squares += (sample - mean) * (sample - mean);
    benchmark::DoNotOptimize(squares);
}

void peltaRms(std::vector<float>& trace) {
    float rms;
    computeMeanRms(trace.data(), static_cast<int>(trace.size()), &rms);
    benchmark::DoNotOptimize(rms);
}

void oneChain(std::vector<float>& trace) { benchmark::DoNotOptimize(chainOfAdds(trace)); }

std::vector<float> means(4000);
std::vector<double> doubles(4000), scratch(4000);

template <int window>
void peltaSmooth(std::vector<float>& trace) {
    smooth(trace.data(), means.data(), static_cast<int>(trace.size()), window);
    benchmark::ClobberMemory();
}

void peltaSmoothDouble(std::vector<float>& trace) {
    doubles.assign(trace.begin(), trace.end());
    smooth2Double(doubles.data(), static_cast<int>(trace.size()), windowLength, scratch.data());
    benchmark::ClobberMemory();
}

/* The running sum, which rounds differently: one sum for the whole trace. */
template <int window>
void runningSum(std::vector<float>& trace) {
    const int sampleCount = static_cast<int>(trace.size()), half = window / 2;
    double sum = 0.0;
    for (int j = 0; j < half; ++j) sum += trace[j];
    for (int i = 0; i < sampleCount; ++i) {
        const int first = std::max(i - half, 0), end = std::min(i + half, sampleCount);
        means[i] = static_cast<float>(sum / (end - first));
        if (end < sampleCount) sum += trace[end];
        if (i >= half) sum -= trace[first];
    }
    benchmark::ClobberMemory();
}

void requireMeans(const std::vector<float>& expected, const char* what) {
    for (std::size_t i = 0; i < expected.size(); ++i) require(std::fabs(means[i] - expected[i]) < 1e-6f, what);
}

void checkMeans(std::vector<float> trace) {
    runningSum<wideLength>(trace);
    std::vector<float> expected(means.begin(), means.begin() + static_cast<std::ptrdiff_t>(trace.size()));
    peltaSmooth<wideLength>(trace);
    requireMeans(expected, "smooth, wide window");
    runningSum<windowLength>(trace);
    std::copy_n(means.begin(), trace.size(), expected.begin());
    peltaSmooth<windowLength>(trace);
    requireMeans(expected, "smooth");
    peltaSmoothDouble(trace);
    std::copy(doubles.begin(), doubles.end(), means.begin());
    requireMeans(expected, "smooth2Double");
}

void checkAnswers() {
    std::vector<float> trace = shotGather(1, 1500)[0];
    float mean, deviation, rms;
    computeMean(trace.data(), 1500, &mean, &deviation);
    computeMeanRms(trace.data(), 1500, &rms);
    const double peer = gsl_stats_float_mean(trace.data(), 1, 1500), peerDeviation = gsl_stats_float_sd(trace.data(), 1, 1500);
    const double peerRms = std::sqrt(gsl_stats_float_tss_m(trace.data(), 1, 1500, 0.0) / 1500);
    require(std::fabs(mean - peer) < 1e-7 && std::fabs(deviation - peerDeviation) < 1e-7, "computeMean");
    require(std::fabs(rms - peerRms) < 1e-7, "computeMeanRms");
    checkMeans(trace);
}

const bool registered = [] {
    checkAnswers();
    add("computeMean", "pelta", peltaMean);
    add("computeMean", "GSL mean and sd", gslMean);
    add("computeMean", "limit: two chains of adds", twoChains);
    add("computeMeanRms", "pelta", peltaRms);
    add("computeMeanRms", "limit: chain of adds", oneChain);
    add("smooth window 50", "pelta", peltaSmooth<windowLength>);
    add("smooth window 50", "running sum", runningSum<windowLength>);
    add("smooth window 500", "pelta", peltaSmooth<wideLength>);
    add("smooth2Double window 50", "pelta", peltaSmoothDouble);
    return true;
}();

}
