#include <gtest/gtest.h>
#include <pelta/spectrum.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "support/bits.h"

namespace {

constexpr std::uint32_t infinityBits = 0x7F800000;

/* Every stride-th positive finite float as imaginary part beside the given real part. */
void expectPhasesOfTheLibrary(float real, std::uint32_t stride) {
    constexpr int count = 4096;
    std::vector<float> bins(2 * count, real), magnitude(count), phase(count);
    for (std::uint64_t first = 1; first < infinityBits; first += std::uint64_t{count} * stride) {
        for (int k = 0; k < count; ++k) {
            const std::uint64_t bits = first + std::uint64_t{stride} * k;
            bins[2 * k + 1] = floatFromBits(static_cast<std::uint32_t>(bits < infinityBits ? bits : 1));
        }
        rectToPolar(bins.data(), 2, magnitude.data(), 1, phase.data(), 1, count);
        for (int k = 0; k < count; ++k)
            ASSERT_EQ(bitsOf(phase[k]), bitsOf(std::atan2(bins[2 * k + 1], real))) << bins[2 * k + 1] << " beside " << real;
    }
}

TEST(RectToPolarExhaustive, GivesTheLibrarysAngleForEveryQuotient) { expectPhasesOfTheLibrary(1.0f, 1); }

TEST(RectToPolarExhaustive, GivesTheLibrarysAngleInTheSecondQuarter) { expectPhasesOfTheLibrary(-1.0f, 3); }

TEST(RectToPolarExhaustive, GivesTheLibrarysAngleForQuotientsThatAreRounded) {
    for (float real : {3.0f, -0.7f, 1e-30f, -1e30f, 5e-40f, -3e38f}) expectPhasesOfTheLibrary(real, 101);
}

}
