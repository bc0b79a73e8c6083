#include "velocity/panel.h"

#include <gtest/gtest.h>
#include <pelta/normalmoveout.h>
#include <pelta/phaseshift.h>
#include <pelta/semblance.h>

#include <cmath>

#include "support/bits.h"
#include "support/signals.h"

namespace pelta::velocity {
namespace {

constexpr int sampleCount = 500;
constexpr double intervalMs = 4.0;

/* Noise and one reflection of the given zero-offset time (ms) and velocity (m/s), traces 50 m apart. */
Gather gatherOf(int traceCount, double time, double velocity, float noise = 0.01f) {
    Gather gather;
    gather.sampleCount = sampleCount;
    gather.intervalMs = intervalMs;
    for (int k = 0; k < traceCount; ++k) {
        gather.offsets.push_back(50.0 * (k + 1));
        std::vector<float> trace = randomTrace(sampleCount, 17u + static_cast<unsigned>(k), noise);
        const double arrival = std::hypot(time, 1000.0 * gather.offsets.back() / velocity);
        addRicker(trace, static_cast<float>(arrival / intervalMs), 30.0f, static_cast<float>(intervalMs), 1.0f);
        gather.samples.insert(gather.samples.end(), trace.begin(), trace.end());
    }
    return gather;
}

PanelSettings settingsOf(int velocityCount, int windowSamples) {
    PanelSettings settings;
    settings.fan = {1500.0, 3500.0, velocityCount};
    settings.windowSamples = windowSamples;
    return settings;
}

TEST(Fan, HoldsBothEnds) {
    const Fan fan = {1500.0, 3500.0, 5};
    EXPECT_EQ(fan.step(), 500.0);
    EXPECT_EQ(fan.at(0), 1500.0);
    EXPECT_EQ(fan.at(4), 3500.0);
    EXPECT_EQ(fan.at(1.5), 2250.0);
}

TEST(Panel, IsHighestAtTheTimeAndVelocityOfTheReflection) {
    const Panel panel = computePanel(gatherOf(20, 900.0, 2200.0), settingsOf(41, 11), 1);
    const auto highest = std::max_element(panel.semblance.begin(), panel.semblance.end()) - panel.semblance.begin();
    EXPECT_EQ(panel.fan.at(static_cast<double>(highest / sampleCount)), 2200.0);
    EXPECT_NEAR(static_cast<double>(highest % sampleCount) * intervalMs, 900.0, 20.0) << "within the window";
    EXPECT_GT(panel.semblance[highest], 0.95f);
    EXPECT_LE(panel.semblance[highest], 1.0f + 1e-6f);
}

TEST(Panel, IsOneWhereTracesAreAlike) {
    Gather gather = gatherOf(1, 900.0, 2200.0);
    gather.offsets.assign(6, 0.0);
    const std::vector<float> trace = gather.samples;
    for (int k = 1; k < 6; ++k) gather.samples.insert(gather.samples.end(), trace.begin(), trace.end());
    const Panel panel = computePanel(gather, settingsOf(3, 11), 1);
    for (float semblance : panel.semblance) ASSERT_NEAR(semblance, 1.0f, 1e-6f);
}

/* Moveout, quadrature, sums, fold, window: the library's routines one after another, with arrays made afresh. */
std::vector<float> plainSemblance(const Gather& gather, const PanelSettings& settings, double velocity) {
    std::vector<double> sum(sampleCount), quadratureSum(sampleCount), energy(sampleCount), fold(sampleCount);
    for (int k = 0; k < gather.traceCount(); ++k) {
        std::vector<float> trace(gather.trace(k), gather.trace(k) + sampleCount), quadrature(sampleCount);
        std::vector<float> velocities(sampleCount, static_cast<float>(velocity));
        NormalMoveout moveout(sampleCount, static_cast<float>(intervalMs / 1000.0), settings.stretch, -1e9f, true, false);
        moveout.applyNMO(trace.data(), velocities.data(), nullptr, sampleCount, 0.0f, static_cast<float>(gather.offsets[k]), 0,
                         sampleCount);
        applyHilbert(trace.data(), quadrature.data(), sampleCount);
        buildSemblance(sum.data(), quadratureSum.data(), energy.data(), fold.data(), trace.data(), quadrature.data(),
                       sampleCount);
    }
    for (int i = 0; i < sampleCount; ++i)
        if (fold[i] < settings.leastFold) sum[i] = quadratureSum[i] = energy[i] = 0.0;
    equalizeSemblance(sum.data(), quadratureSum.data(), energy.data(), fold.data(), gather.traceCount(), sampleCount);
    std::vector<float> semblance(sampleCount);
    applySemblance(sum.data(), quadratureSum.data(), energy.data(), gather.traceCount(), settings.windowSamples,
                   semblance.data(), sampleCount);
    for (int i = 0; i < sampleCount; ++i)
        if (fold[i] < settings.leastFold) semblance[i] = 0.0f;
    return semblance;
}

TEST(Panel, IsTheLibrarysRoutinesInTheirOrderForAnyNumberOfThreads) {
    const Gather gather = gatherOf(24, 700.0, 1900.0, 0.3f);
    for (int window : {0, 1, 2, 9}) {
        const PanelSettings settings = settingsOf(17, window);
        for (int threads : {1, 2, 5}) {
            const Panel panel = computePanel(gather, settings, threads);
            for (int k = 0; k < 17; ++k) {
                const std::vector<float> plain = plainSemblance(gather, settings, settings.fan.at(k));
                for (int i = 0; i < sampleCount; ++i)
                    ASSERT_EQ(bitsOf(panel.at(k)[i]), bitsOf(plain[i])) << "velocity " << k << ", sample " << i;
            }
        }
    }
}

TEST(Panel, IsZeroBehindALoudReflectionWhereNothingIsLeft) {
    constexpr int end = 300, interpolated = 8; /* samples; the interpolation of moveout reaches a little beyond the end */
    Gather gather = gatherOf(24, 1150.0, 2200.0);
    for (float& sample : gather.samples) sample *= 1e4f;
    for (int k = 0; k < gather.traceCount(); ++k)
        std::fill_n(gather.samples.begin() + k * sampleCount + end, sampleCount - end, 0.0f);
    const Panel panel = computePanel(gather, settingsOf(41, 11), 1);
    for (int k = 0; k < 41; ++k)
        for (int i = 0; i < sampleCount; ++i) ASSERT_LE(panel.at(k)[i], i < end + interpolated ? 1.0f : 0.0f) << k << ", " << i;
}

TEST(Panel, IsZeroWhereTheMuteLeavesTooFewTraces) {
    const Gather gather = gatherOf(20, 900.0, 2200.0, 0.3f);
    PanelSettings settings = settingsOf(3, 0);
    settings.leastFold = 5;
    const Panel panel = computePanel(gather, settings, 1);
    /* 30 % stretch leaves the offsets up to 0.83 v t. */
    for (int k = 0; k < 3; ++k) {
        const double fifthComesAt = 1000.0 * gather.offsets[4] / std::sqrt(1.3 * 1.3 - 1.0) / panel.fan.at(k) / intervalMs;
        const int first = static_cast<int>(std::ceil(fifthComesAt));
        for (int i = 0; i < first; ++i) ASSERT_EQ(panel.at(k)[i], 0.0f) << k << ", " << i;
        EXPECT_GT(panel.at(k)[first + 1], 0.0f) << k;
    }
}

}
}
