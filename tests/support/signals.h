#ifndef PELTA_TESTS_SIGNALS_H
#define PELTA_TESTS_SIGNALS_H

#include <cmath>
#include <random>
#include <vector>

/* Makers of traces and gathers for tests and benchmarks. Every maker is reproducible: same seed, same samples. */

/* Uniform random amplitudes in -size .. size. */
inline std::vector<float> randomTrace(int sampleCount, unsigned seed, float size = 1.0f) {
    std::mt19937 engine(seed);
    std::vector<float> trace(sampleCount);
    for (float& sample : trace) sample = size * (static_cast<float>(engine() >> 8) / 8388608.0f - 1.0f);
    return trace;
}

/* A Ricker wavelet of the given peak frequency (Hz) with its crest (1) at sample centre. */
inline void addRicker(std::vector<float>& trace, float centre, float frequency, float intervalMs, float amplitude) {
    for (std::size_t i = 0; i < trace.size(); ++i) {
        const double phase = M_PI * frequency * (static_cast<double>(i) - centre) * intervalMs / 1000.0;
        trace[i] += static_cast<float>(amplitude * (1.0 - 2.0 * phase * phase) * std::exp(-phase * phase));
    }
}

/* A shot record: quiet noise, then a first arrival at 1500 m/s and three reflections, traces 25 m apart from 50 m on. */
inline std::vector<std::vector<float>> shotGather(int traceCount, int sampleCount, float intervalMs = 2.0f, unsigned seed = 1) {
    std::vector<std::vector<float>> gather;
    for (int k = 0; k < traceCount; ++k) {
        std::vector<float> trace = randomTrace(sampleCount, seed + 7919u * k, 0.02f);
        const double offset = 50.0 + 25.0 * k;
        addRicker(trace, static_cast<float>(offset / 1.5 / intervalMs), 40.0f, intervalMs, 1.0f);
        for (double zeroOffsetTime : {400.0, 900.0, 1600.0}) {
            const double time = std::hypot(zeroOffsetTime, offset / 2.2);
            addRicker(trace, static_cast<float>(time / intervalMs), 30.0f, intervalMs, 0.5f);
        }
        gather.push_back(std::move(trace));
    }
    return gather;
}

#endif
