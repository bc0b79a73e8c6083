#include "wavelets/design.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "support/failure.h"

namespace pelta::wavelets {
namespace {

double rickerAt(double timeMs, double frequencyHz) {
    const double square = std::pow(M_PI * frequencyHz * timeMs / 1000.0, 2.0);
    return (1.0 - 2.0 * square) * std::exp(-square);
}

double energyOf(const std::vector<float>& samples, std::size_t count) {
    double energy = 0.0;
    for (std::size_t k = 0; k < count; ++k) energy += static_cast<double>(samples[k]) * samples[k];
    return energy;
}

TEST(Wavelets, OfZeroPhaseAreRickersRoundTheMiddle) {
    const Design design = designWavelets({.frequencyHz = 30.0, .intervalMs = 2.0});
    EXPECT_EQ(design.zero.samples, design.ricker);
    EXPECT_EQ(design.zero.origin, design.settings.length / 2);
    EXPECT_EQ(design.ricker[static_cast<std::size_t>(design.zero.origin)], 1.0f);
    constexpr double rounding = 4e-6; /* of times in seconds, by slopes of up to 0.25 a ms */
    for (int k = 0; k < design.settings.length; ++k)
        EXPECT_NEAR(design.ricker[static_cast<std::size_t>(k)], rickerAt(2.0 * (k - design.zero.origin), 30.0), rounding) << k;
}

TEST(Wavelets, HaveTheirLargestAmplitudeAtTheirFrequency) {
    for (double frequency : {8.0, 30.0, 60.0}) {
        const Design design = designWavelets({.frequencyHz = frequency, .intervalMs = 2.0});
        const std::vector<float>& spectrum = design.zero.amplitude;
        const auto peak = std::max_element(spectrum.begin(), spectrum.end()) - spectrum.begin();
        EXPECT_NEAR(static_cast<double>(peak) * design.frequencyStepHz, frequency, design.frequencyStepHz + 0.005 * frequency);
    }
}

TEST(Wavelets, EndBelowTheTailHoweverFineTheSampling) {
    for (double interval : {0.05, 0.1, 0.25, 0.5, 1.0, 2.0, 4.0})
        for (double tail : {0.1, 0.01, 0.0001}) {
            const Design design = designWavelets({.frequencyHz = 25.0, .intervalMs = interval, .tail = tail});
            const int half = design.settings.length / 2;
            EXPECT_EQ(design.settings.length % 2, 1);
            for (int k = half; k < 4 * half; ++k)
                ASSERT_LT(std::abs(rickerAt(k * interval, 25.0)), tail * 1.001)
                    << interval << " ms, tail " << tail << ", " << k;
            EXPECT_GE(std::abs(rickerAt((half - 1.5) * interval, 25.0)), tail) << "and no longer than that";
        }
}

/* The property that gives minimum phase its name (Robinson & Treitel 1980). */
TEST(Wavelets, BringTheirEnergyEarliestWithMinimumAndLatestWithMaximumPhase) {
    const Design design = designWavelets({.frequencyHz = 30.0, .intervalMs = 2.0});
    const auto length = static_cast<std::size_t>(design.settings.length);
    constexpr double noise = 0.002; /* share of energy that the white noise adds */
    for (std::size_t count = 1; count < length; ++count) {
        const auto share = [&](const Version& version) {
            return energyOf(version.samples, count) / energyOf(version.samples, length);
        };
        EXPECT_GE(share(design.minimum), share(design.zero) - noise) << count;
        EXPECT_GE(share(design.zero), share(design.maximum) - noise) << count;
    }
    EXPECT_EQ(design.minimum.origin, 0);
    EXPECT_EQ(design.maximum.origin, design.settings.length - 1);
}

TEST(Wavelets, OfMaximumPhaseAreThoseOfMinimumPhaseBackwards) {
    const Design design = designWavelets({.frequencyHz = 30.0, .intervalMs = 2.0});
    const std::size_t length = design.minimum.samples.size();
    constexpr float transformError = 2e-6f; /* single-precision transforms there and back, of a peak of 1 */
    for (std::size_t k = 0; k < length; ++k)
        EXPECT_NEAR(design.maximum.samples[k], design.minimum.samples[length - 1 - k], transformError) << k;
}

/* A minimum-phase wavelet without the lowest frequencies rings on for long: here it has the room. */
TEST(Wavelets, KeepTheirAmplitudeSpectrumInEveryPhase) {
    const Design design = designWavelets({.frequencyHz = 30.0, .intervalMs = 2.0, .length = 401});
    constexpr float noise = 0.005f; /* white noise of 0.1 % of the energy, where it shows most */
    for (std::size_t k = 0; k < design.zero.amplitude.size(); ++k) {
        EXPECT_EQ(design.minimum.amplitude[k], design.maximum.amplitude[k]) << k;
        if (design.zero.amplitude[k] < 0.1f) continue;
        EXPECT_NEAR(design.minimum.amplitude[k], design.zero.amplitude[k], noise) << k;
    }
}

TEST(ShapingFilter, MakesTheZeroPhaseWaveletOutOfTheMinimumPhaseOne) {
    for (double frequency : {10.0, 30.0, 60.0}) {
        const Design design = designWavelets({.frequencyHz = frequency, .intervalMs = 2.0});
        ASSERT_EQ(design.filtered.size(), design.wanted.size());
        double error = 0.0;
        for (std::size_t k = 0; k < design.wanted.size(); ++k) {
            error += std::pow(static_cast<double>(design.filtered[k]) - design.wanted[k], 2.0);
            EXPECT_NEAR(design.filtered[k], design.wanted[k], 0.05) << frequency << " Hz, sample " << k;
        }
        EXPECT_NEAR(design.errorPercent, 100.0 * error / energyOf(design.wanted, design.wanted.size()), 1e-9);
        EXPECT_LT(design.errorPercent, 0.5);
    }
}

/* No other filter of its length comes nearer: every coefficient stands at its best. */
TEST(ShapingFilter, IsTheBestOfItsLength) {
    const Design design = designWavelets({.frequencyHz = 30.0, .intervalMs = 2.0, .filterLength = 12});
    const std::vector<float>& input = design.minimum.samples;
    double power = 0.0;
    for (float sample : input) power += static_cast<double>(sample) * sample;
    const auto cost = [&](const std::vector<double>& filter) {
        double sum = 0.0;
        for (std::size_t t = 0; t < design.wanted.size(); ++t) {
            double output = 0.0;
            for (std::size_t k = 0; k < filter.size() && k <= t; ++k)
                if (t - k < input.size()) output += filter[k] * input[t - k];
            sum += std::pow(output - design.wanted[t], 2.0);
        }
        for (double coefficient : filter) sum += 0.001 * power * coefficient * coefficient; /* the white noise of 0.1 % */
        return sum;
    };
    std::vector<double> filter(design.filter.begin(), design.filter.end());
    ASSERT_EQ(filter.size(), 12u);
    const double best = cost(filter);
    for (double& coefficient : filter)
        for (double step : {-0.01, 0.01}) {
            coefficient += step;
            EXPECT_GT(cost(filter), best);
            coefficient -= step;
        }
}

TEST(Wavelets, SayWhatCannotBeMade) {
    const auto complaint = [](const Settings& settings) -> std::string {
        try {
            designWavelets(settings);
        } catch (const UsageError& error) { return error.what(); }
        return "";
    };
    constexpr double none = std::numeric_limits<double>::quiet_NaN(), infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(complaint({.frequencyHz = 130.0, .intervalMs = 4.0}),
              "--frequency: 130 Hz does not lie between 0 and 125 Hz, the Nyquist frequency of 4 ms");
    EXPECT_EQ(complaint({.frequencyHz = 125.0, .intervalMs = 4.0}),
              "--frequency: 125 Hz does not lie between 0 and 125 Hz, the Nyquist frequency of 4 ms");
    for (double frequency : {0.0, -5.0, none, infinity}) EXPECT_NE(complaint({.frequencyHz = frequency}), "") << frequency;
    EXPECT_EQ(complaint({.intervalMs = 0.0}), "--interval: 0 ms, expected a sample interval above 0");
    for (double interval : {-2.0, none, infinity}) EXPECT_NE(complaint({.intervalMs = interval}), "") << interval;
    EXPECT_EQ(complaint({.tail = 0.0}), "--tail: an amplitude of 0 does not lie between 1e-06 and 1, the peak");
    for (double tail : {-1.0, 1.0, none, 1e-9}) EXPECT_NE(complaint({.tail = tail}), "") << tail;
    EXPECT_EQ(complaint({.length = 20}),
              "--length: 20 samples, expected an odd number of 3 to 20001: time 0 stands in the middle");
    for (int length : {-1, 1, 20003}) EXPECT_NE(complaint({.length = length}), "") << length;
    for (int length : {-1, 20002}) EXPECT_NE(complaint({.filterLength = length}), "") << length;
    for (double noise : {-0.1, none, infinity}) EXPECT_NE(complaint({.noisePercent = noise}), "") << noise;
    EXPECT_EQ(complaint({.frequencyHz = 0.01}),
              "--frequency: 0.01 Hz at 2 ms takes more than 20001 samples; choose fewer by --length");
    EXPECT_THROW(designWavelets({.intervalMs = 0.1, .noisePercent = 0.0}), Failure) << "equations without a solution";
    EXPECT_EQ(designWavelets({.length = 3, .filterLength = 1}).filtered.size(), 3u);
}

}
}
