#include "wavelets/design.h"

#include <pelta/host.h>
#include <pelta/spectrum.h>
#include <pelta/wavelet.h>

#include <algorithm>
#include <cmath>

#include "support/failure.h"

namespace pelta::wavelets {
namespace {

constexpr int longest = 20001;                    /* samples; the work grows with the square */
constexpr double smallestTail = 1e-6;             /* single precision of a peak of 1 */
constexpr double halfPeriodsToSmallestTail = 4.5; /* pi f t there */

void check(const Settings& settings) {
    if (!(settings.intervalMs > 0.0 && std::isfinite(settings.intervalMs)))
        failUsage("--interval: {:g} ms, expected a sample interval above 0", settings.intervalMs);
    if (!(settings.frequencyHz > 0.0 && settings.frequencyHz < settings.nyquistHz()))
        failUsage("--frequency: {:g} Hz does not lie between 0 and {:g} Hz, the Nyquist frequency of {:g} ms",
                  settings.frequencyHz, settings.nyquistHz(), settings.intervalMs);
    if (!(settings.tail >= smallestTail && settings.tail < 1.0))
        failUsage("--tail: an amplitude of {:g} does not lie between {:g} and 1, the peak", settings.tail, smallestTail);
    if (!(settings.noisePercent >= 0.0 && std::isfinite(settings.noisePercent)))
        failUsage("--noise: {:g} percent, expected 0 or more", settings.noisePercent);
    if (settings.length != 0 && (settings.length < 3 || settings.length > longest || settings.length % 2 == 0))
        failUsage("--length: {} samples, expected an odd number of 3 to {}: time 0 stands in the middle", settings.length,
                  longest);
    if (settings.filterLength < 0 || settings.filterLength > longest)
        failUsage("--filter-length: {} samples, expected 1 to {}", settings.filterLength, longest);
    const double samples = 2.0 * halfPeriodsToSmallestTail * 1000.0 / (M_PI * settings.frequencyHz * settings.intervalMs);
    if (settings.length == 0 && !(samples < longest))
        failUsage("--frequency: {:g} Hz at {:g} ms takes more than {} samples; choose fewer by --length", settings.frequencyHz,
                  settings.intervalMs, longest);
}

/* The library looks for a first sample below the tail in the negative lobes; where sampling is fine it finds one that has only
 * just left the main lobe. Then the way goes on beyond the trough. */
int lengthFor(const Settings& settings) {
    const int length = rickerLength(static_cast<float>(settings.intervalMs / 1000.0), static_cast<float>(settings.frequencyHz),
                                    static_cast<float>(settings.tail));
    const double step = M_PI * settings.frequencyHz * settings.intervalMs / 1000.0, trough = std::sqrt(1.5);
    int half = length / 2;
    if (half * step >= trough) return length;
    const auto amplitude = [&](int k) {
        const double square = k * step * k * step;
        return std::abs(1.0 - 2.0 * square) * std::exp(-square);
    };
    half = static_cast<int>(std::ceil(trough / step));
    while (amplitude(half) >= settings.tail) ++half;
    return 2 * half + 1;
}

/* The library leaves the last sample out. */
std::vector<float> rickerWavelet(const Settings& settings) {
    const auto interval = static_cast<float>(settings.intervalMs / 1000.0);
    std::vector<float> samples(static_cast<std::size_t>(settings.length) + 1, 0.0f);
    const float middle = static_cast<float>(settings.length / 2) * interval;
    ricker(middle, interval, static_cast<float>(settings.frequencyHz), settings.length + 1, 1.0f, samples.data());
    samples.pop_back();
    return samples;
}

[[noreturn]] void failUnsolved(const char* what) {
    fail("the equations of the {} have no solution; more white noise (--noise, percent) gives them one", what);
}

Version versionOf(const std::vector<float>& wavelet, float phaseCharacteristic, const Settings& settings, int transformLength) {
    const auto bins = static_cast<std::size_t>(transformLength / 2 + 1);
    Version version;
    version.samples = wavelet;
    version.amplitude.resize(bins);
    version.phase.resize(bins);
    std::vector<float> quadrature(wavelet.size());
    if (changePhase(version.samples.data(), settings.length, transformLength, 0, phaseCharacteristic,
                    static_cast<float>(settings.noisePercent), 0.0f, version.amplitude.data(), version.phase.data(),
                    quadrature.data()) != 0)
        failUnsolved("minimum phase");
    version.origin = static_cast<int>(0.5 * (settings.length - 1) * (phaseCharacteristic + 1.0));
    return version;
}

/* Cross-correlation at lags 0 .. count - 1: sum over t of wanted[t + lag] input[t]. */
std::vector<float> crossCorrelation(const std::vector<float>& wanted, const std::vector<float>& input, int count) {
    std::vector<float> lags;
    for (std::size_t lag = 0; lag < static_cast<std::size_t>(count); ++lag) {
        double sum = 0.0;
        for (std::size_t t = 0; t < input.size() && t + lag < wanted.size(); ++t)
            sum += static_cast<double>(wanted[t + lag]) * input[t];
        lags.push_back(static_cast<float>(sum));
    }
    return lags;
}

std::vector<float> shapingFilter(std::vector<float> input, const std::vector<float>& wanted, const Settings& settings) {
    const int length = settings.filterLength;
    std::vector<float> autocorrelation(static_cast<std::size_t>(length) + 1, 0.0f);
    AutoCorr(input.data(), settings.length, autocorrelation.data(), length + 1);
    autocorrelation[0] *= static_cast<float>(1.0 + settings.noisePercent / 100.0);
    std::vector<float> right = crossCorrelation(wanted, input, length);
    std::vector<float> filter(static_cast<std::size_t>(length)), predictionError(filter.size());
    constexpr int shapes = 1;
    if (Wiener(length, autocorrelation.data(), right.data(), filter.data(), predictionError.data(), shapes) != 0)
        failUnsolved("shaping filter");
    return filter;
}

std::vector<float> convolved(std::vector<float> input, std::vector<float> filter) {
    std::vector<float> output(input.size() + filter.size() - 1);
    conv(static_cast<int>(input.size()), 0, input.data(), static_cast<int>(filter.size()), 0, filter.data(),
         static_cast<int>(output.size()), 0, output.data());
    return output;
}

double errorPercent(const std::vector<float>& result, const std::vector<float>& wanted) {
    double error = 0.0, energy = 0.0;
    for (std::size_t k = 0; k < wanted.size(); ++k) {
        error += std::pow(static_cast<double>(result[k]) - wanted[k], 2.0);
        energy += static_cast<double>(wanted[k]) * wanted[k];
    }
    return 100.0 * error / energy;
}

}

Design designWavelets(const Settings& settings) {
    check(settings);
    Design design;
    design.settings = settings;
    Settings& chosen = design.settings;
    if (chosen.length == 0) chosen.length = lengthFor(chosen);
    if (chosen.filterLength == 0) chosen.filterLength = chosen.length;

    constexpr int paddedTimes = 8, shortestTransform = 1024; /* smooth spectra */
    const int transformLength = npfar(std::max(paddedTimes * chosen.length, shortestTransform));
    design.frequencyStepHz = 1000.0 / (transformLength * chosen.intervalMs);
    design.ricker = rickerWavelet(chosen);
    design.minimum = versionOf(design.ricker, -1.0f, chosen, transformLength);
    design.zero = versionOf(design.ricker, 0.0f, chosen, transformLength);
    design.maximum = versionOf(design.ricker, 1.0f, chosen, transformLength);

    design.wanted = design.zero.samples;
    design.wanted.resize(static_cast<std::size_t>(chosen.length + chosen.filterLength - 1), 0.0f);
    design.filter = shapingFilter(design.minimum.samples, design.wanted, chosen);
    design.filtered = convolved(design.minimum.samples, design.filter);
    design.errorPercent = errorPercent(design.filtered, design.wanted);
    return design;
}

}
