#include <pelta/spectrum.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>

#include "vectorize.h"

namespace {

constexpr float pi = std::numbers::pi_v<float>;

PELTA_INLINE float magnitudeOf(float real, float imaginary) {
    const float square = real * real + imaginary * imaginary;
    return square > 0.0f ? std::sqrt(square) : 0.0f;
}

/* Kept on purpose: a negative real value has phase -pi, where atan2 gives pi. */
float phaseOf(float real, float imaginary) {
    if (imaginary == 0.0f && real < 0.0f) return -pi;
    if (imaginary == 0.0f && real >= 0.0f) return 0.0f;
    return std::atan2(imaginary, real);
}

/* Arc tangent of 0 or more by the steps of Ng's fdlibm (Sun Microsystems, 1993), in whose single precision most C libraries
 * take it: reduction to the nearest of atan 0, 1/2, 1, 3/2 and infinity (in two parts, high and low), then a polynomial.
 * Every case is computed, so that quotients of all sizes can stand side by side in a register. */
PELTA_INLINE float arcTangent(float quotient) {
    float numerator = quotient, denominator = 1.0f, high = 0.0f, low = 0.0f;
    const auto reduceFrom = [&](float least, float above, float below, float atanHigh, float atanLow) {
        const bool chosen = quotient >= least;
        numerator = chosen ? above : numerator;
        denominator = chosen ? below : denominator;
        high = chosen ? atanHigh : high;
        low = chosen ? atanLow : low;
    };
    reduceFrom(0.4375f, 2.0f * quotient - 1.0f, 2.0f + quotient, 4.6364760399e-01f, 5.0121582440e-09f);
    reduceFrom(0.6875f, quotient - 1.0f, quotient + 1.0f, 7.8539812565e-01f, 3.7748947079e-08f);
    reduceFrom(1.1875f, quotient - 1.5f, 1.0f + 1.5f * quotient, 9.8279368877e-01f, 3.4473217170e-08f);
    reduceFrom(2.4375f, -1.0f, quotient, 1.5707962513e+00f, 7.5497894159e-08f);
    const float x = numerator / denominator;
    const float z = x * x, w = z * z;
    const float odd =
        z * (3.3333334327e-01f +
             w * (1.4285714924e-01f +
                  w * (9.0908870101e-02f + w * (6.6610731184e-02f + w * (4.9768779427e-02f + w * 1.6285819933e-02f)))));
    const float even =
        w * (-2.0000000298e-01f +
             w * (-1.1111110449e-01f + w * (-7.6918758452e-02f + w * (-5.8335702866e-02f + w * -3.6531571299e-02f))));
    const float angle = high - ((x * (odd + even) - low) - x);
    return quotient >= 0x1p25f ? 0.5f * pi : angle;
}

/* The library's atan2 step by step, for values that are finite and not 0. */
PELTA_INLINE float anglePastAxes(float real, float imaginary) {
    constexpr float piLow = -8.7422776573e-08f;  // pi less its float
    const float acute = arcTangent(std::fabs(imaginary / real));
    return std::copysign(real < 0.0f ? pi - (acute - piLow) : acute, imaginary);
}

PELTA_INLINE bool isOrdinary(float value) {
    const float magnitude = std::fabs(value);
    return (magnitude > 0.0f) & (magnitude < std::numeric_limits<float>::infinity());
}

constexpr int blockLength = 256;

struct Block {
    float real[blockLength], imaginary[blockLength], magnitude[blockLength], phase[blockLength];
};

/* Returns how many bins are on an axis or not finite: their phases are still to be set. */
PELTA_VECTORIZE int toPolarPastAxes(Block& block, int count) {
    int others = 0;
    for (int k = 0; k < count; ++k) {
        const float real = block.real[k], imaginary = block.imaginary[k];
        block.magnitude[k] = magnitudeOf(real, imaginary);
        block.phase[k] = anglePastAxes(real, imaginary);
        const bool ordinaryReal = isOrdinary(real), ordinaryImaginary = isOrdinary(imaginary);
        others += !(ordinaryReal & ordinaryImaginary);
    }
    return others;
}

void toPolar(Block& block, int count) {
    if (toPolarPastAxes(block, count) == 0) return;
    for (int k = 0; k < count; ++k)
        if (!(isOrdinary(block.real[k]) && isOrdinary(block.imaginary[k])))
            block.phase[k] = phaseOf(block.real[k], block.imaginary[k]);
}

/* Whether this C library takes the same steps: one with another method would differ in some of the many angles tried. */
bool libraryTakesTheSameSteps() {
    Block block;
    std::uint32_t random = 1;
    const auto next = [&] { return static_cast<float>(static_cast<std::int32_t>(random = random * 1664525u + 1013904223u)); };
    for (int round = 0; round < 8; ++round) {
        for (int k = 0; k < blockLength; ++k) {
            block.real[k] = next();
            block.imaginary[k] = next();
        }
        toPolar(block, blockLength);
        for (int k = 0; k < blockLength; ++k)
            if (block.phase[k] != phaseOf(block.real[k], block.imaginary[k])) return false;
    }
    return true;
}

void toPolarByLibrary(Block& block, int count) {
    for (int k = 0; k < count; ++k) {
        block.magnitude[k] = magnitudeOf(block.real[k], block.imaginary[k]);
        block.phase[k] = phaseOf(block.real[k], block.imaginary[k]);
    }
}

}

void rectToPolar(float* a, int ia, float* m, int im, float* p, int ip, int n) {
    static const auto convert = libraryTakesTheSameSteps() ? toPolar : toPolarByLibrary;
    Block block;
    for (std::ptrdiff_t first = 0; first < n; first += blockLength) {
        const int count = static_cast<int>(std::min<std::ptrdiff_t>(blockLength, n - first));
        for (int k = 0; k < count; ++k) {
            block.real[k] = a[(first + k) * ia];
            block.imaginary[k] = a[(first + k) * ia + 1];
        }
        convert(block, count);
        for (int k = 0; k < count; ++k) {
            m[(first + k) * im] = block.magnitude[k];
            p[(first + k) * ip] = block.phase[k];
        }
    }
}

void polarToRect(float* m, int im, float* p, int ip, float* a, int ia, int n) {
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        const float magnitude = m[k * im], phase = p[k * ip];
        a[k * ia] = magnitude * std::cos(phase);
        a[k * ia + 1] = magnitude * std::sin(phase);
    }
}
