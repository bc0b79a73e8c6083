#ifndef PELTA_TESTS_RESPONSEMASK_H
#define PELTA_TESTS_RESPONSEMASK_H

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <span>
#include <vector>

/* A filter is held to a mask drawn over its amplitude response: between two frequencies the gain lies between two levels. */

struct MaskBand {
    double from, to;         // Hz, both included
    double lowest, highest;  // dB
};

/* Gain of an impulse response at a frequency, in dB. */
inline double gainAt(std::span<const float> impulseResponse, double frequency, double intervalMs) {
    std::complex<double> sum;
    for (std::size_t i = 0; i < impulseResponse.size(); ++i)
        sum += std::polar(static_cast<double>(impulseResponse[i]),
                          -2.0 * M_PI * frequency * static_cast<double>(i) * intervalMs / 1000.0);
    return 20.0 * std::log10(std::abs(sum));
}

/* EXPECT_TRUE(staysWithin(mask, response, 4.0, step)) names the first frequency, multiples of step, where the mask is left. */
inline testing::AssertionResult staysWithin(const std::vector<MaskBand>& mask, std::span<const float> impulseResponse,
                                            double intervalMs, double step) {
    for (const MaskBand& band : mask)
        for (double k = std::ceil(band.from / step); k * step <= band.to; ++k) {
            const double gain = gainAt(impulseResponse, k * step, intervalMs);
            if (!(gain >= band.lowest && gain <= band.highest))
                return testing::AssertionFailure() << gain << " dB at " << k * step << " Hz is not within " << band.lowest
                                                   << " .. " << band.highest << " dB";
        }
    return testing::AssertionSuccess();
}

#endif
