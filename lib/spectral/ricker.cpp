#include <pelta/wavelet.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <numbers>

#include "truncation.h"

namespace {

/* The wavelet at the n-th sample from the peak, counted from 0. */
float lobeAt(std::int64_t n, float dt, float freq) {
    const double b = static_cast<double>(static_cast<float>(n) * dt) * std::numbers::pi * freq;
    const auto squared = static_cast<float>(std::pow(b, 2.0));
    return (1.0f - 2.0f * squared) * std::exp(-squared);
}

}

void ricker(float tdelay, float dt, float freq, int num, float amp, float* wave) {
    const std::int64_t peak = std::int64_t{truncated(tdelay / dt + 0.5f)} + 1; /* one-based */
    // Kept on purpose: formed in single precision, in which 1.5 / 0.004 / 25 falls just short of 15, and the last sample of the
    // wavelet, or of the array, is not written.
    const std::int64_t half = truncated(1.5f / dt / freq + 1.0f);
    const std::int64_t first = std::max(std::min<std::int64_t>(peak - half, num), std::int64_t{1}) - 1;
    const std::int64_t end = std::min<std::int64_t>(std::max(peak + half, std::int64_t{1}), num) - 1;
    constexpr float twoSquaredPi = 19.739208802178716f, squaredPi = 9.869604401089358f;
    const float frequencySquared = freq * freq;
    for (std::int64_t i = first; i < end; ++i) {
        const float time = static_cast<float>(i) * dt - tdelay;
        const float timeSquared = time * time;
        wave[i] = (1.0f - twoSquaredPi * frequencySquared * timeSquared) *
                  std::exp(-squaredPi * frequencySquared * timeSquared) * amp;
    }
}

int rickerLength(float dt, float freq, float amp) {
    constexpr double firstCrossing = 0.7; /* just before it, in units of b */
    constexpr std::int64_t longest = INT_MAX / 2;
    const double step = std::abs(static_cast<double>(dt) * std::numbers::pi * freq);
    if (!(amp > 0.0f) || !(step > 0.0) || std::isinf(step)) return 1;
    const double before = std::floor(firstCrossing / step);
    if (before >= static_cast<double>(longest)) return INT_MAX;
    for (auto n = static_cast<std::int64_t>(before); n < longest; ++n) {
        const float lobe = lobeAt(n, dt, freq);
        const bool isNegative = lobe < 0.0f, hasVanished = !isNegative && static_cast<double>(n) * step > 1.0;
        if ((isNegative && -lobe < amp) || hasVanished) return static_cast<int>(2 * n + 1);
    }
    return INT_MAX;
}
