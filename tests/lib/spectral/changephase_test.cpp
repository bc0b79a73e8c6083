#include <gtest/gtest.h>
#include <malloc.h>
#include <pelta/host.h>
#include <pelta/spectrum.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

namespace {

constexpr float untouched = -77.0f;
constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float pi = 3.1415927f;
constexpr float infinity = std::numeric_limits<float>::infinity();

struct Change {
    int transformLength;
    float phaseCharacteristic;
    float noise = 0.0f;
    float rotation = 0.0f;
    int isAutocorrelation = 0;
};

struct Result {
    std::vector<float> wavelet, amplitude, phase, quadrature;
    int status;
};

Result untouchedResult(const std::vector<float>& wavelet, int transformLength) {
    const std::vector<float> bins(std::max(0, transformLength / 2 + 1), untouched);
    return {wavelet, bins, bins, std::vector<float>(wavelet.size(), untouched), 0};
}

Result changed(const std::vector<float>& wavelet, const Change& change) {
    Result result = untouchedResult(wavelet, change.transformLength);
    result.status = changePhase(result.wavelet.data(), static_cast<int>(wavelet.size()), change.transformLength,
                                change.isAutocorrelation, change.phaseCharacteristic, change.noise, change.rotation,
                                result.amplitude.data(), result.phase.data(), result.quadrature.data());
    return result;
}

/* The wavelet itself where its autocorrelation is not positive definite. */
std::vector<float> plainMinimumPhase(const std::vector<float>& wavelet, const Change& change) {
    const int count = static_cast<int>(wavelet.size());
    std::vector<float> trace = wavelet, lags = wavelet, powers(count), spiking(count), one = {1.0f};
    if (!change.isAutocorrelation) AutoCorr(trace.data(), count, lags.data(), count);
    lags.push_back(0.0f);
    lags[0] = lags[0] + lags[0] * change.noise / 100.0f;
    if (Wiener(count, lags.data(), one.data(), powers.data(), spiking.data(), 0) != 0) return {};
    std::vector<float> inverse = {1.0f / spiking[0]};
    for (int i = 1; i < count; ++i) {
        float sum = 0.0f;
        for (int j = 0; j <= i - 1; ++j) sum += spiking[i - j] * inverse[j];
        inverse.push_back(-inverse[0] * sum);
    }
    return inverse;
}

void plainUnwrap(std::vector<float>& phase) {
    float correction = 0.0f;
    for (std::size_t i = 1; i < phase.size(); ++i) {
        const float difference = phase[i] - phase[i - 1];
        phase[i - 1] += correction;
        if (static_cast<double>(difference) > M_PI)
            correction = static_cast<float>(static_cast<double>(correction) - 6.2831854);
        if (static_cast<double>(difference) < -M_PI)
            correction = static_cast<float>(static_cast<double>(correction) + 6.2831854);
    }
}

float plainWrapped(float phase) {
    if (phase > M_PI)
        while (phase > M_PI) phase = static_cast<float>(static_cast<double>(phase) - 6.2831854);
    else
        while (phase < -M_PI) phase = static_cast<float>(static_cast<double>(phase) + 6.2831854);
    return phase;
}

float largestMagnitude(const std::vector<float>& values) {
    float peak = 0.0f;
    for (float value : values) peak = std::max(peak, std::fabs(value));
    return peak;
}

void dividePlainlyByPeak(std::vector<float>& values) {
    const float peak = largestMagnitude(values);
    for (float& value : values) value /= peak == 0.0f ? 1.0f : peak;
}

/* Every step as it is described, for wavelets that fit the transform and phase characteristics of -1 .. 1. */
Result plainChange(const std::vector<float>& wavelet, const Change& change) {
    const int count = static_cast<int>(wavelet.size()), half = count / 2, n = change.transformLength, binCount = n / 2 + 1;
    const float characteristic = change.phaseCharacteristic, rotation = change.rotation;
    Result result = untouchedResult(wavelet, n);
    std::vector<float> input(n, 0.0f), spectrum(2 * n + 2);
    if (characteristic != 0.0f) {
        const std::vector<float> causal = plainMinimumPhase(wavelet, change);
        if (causal.empty()) {
            result.status = 1;
            return result;
        }
        std::copy(causal.begin(), causal.end(), input.begin());
    } else {
        for (int k = 0; k <= half; ++k) input[k] = half + k < count ? wavelet[half + k] : 0.0f;
        for (int k = 0; k < half; ++k) input[n - 1 - k] = wavelet[half - 1 - k];
    }
    auto* bins = reinterpret_cast<peltaComplex*>(spectrum.data());
    pfarc(1, n, input.data(), bins);
    rectToPolar(spectrum.data(), 2, result.amplitude.data(), 1, result.phase.data(), 1, binCount);
    plainUnwrap(result.phase);
    const float peak = *std::max_element(result.amplitude.begin(), result.amplitude.end());
    const float scale = 1.0f / (peak == 0.0f ? 1.0f : peak);
    for (float& amplitude : result.amplitude) amplitude *= scale;
    for (float& phase : result.phase) {
        phase = phase * -characteristic;
        if (rotation != 0.0f) phase = phase + rotation * 0.01745392f;
        phase = plainWrapped(phase);
    }
    const int origin = static_cast<int>(static_cast<float>(count - 1) * ((characteristic + 1.0f) * 0.5f));
    if (characteristic != 0.0f || rotation != 0.0f) {
        polarToRect(result.amplitude.data(), 1, result.phase.data(), 1, spectrum.data(), 2, binCount);
        std::vector<float> output(n);
        pfacr(-1, n, bins, output.data());
        for (int k = 0; k <= count - 1 - origin; ++k) result.wavelet[origin + k] = output[k];
        for (int k = 0; k < origin; ++k) result.wavelet[origin - 1 - k] = output[n - 1 - k];
        dividePlainlyByPeak(result.wavelet);
    }
    for (int k = n + 2; k < 2 * n; ++k) spectrum[k] = 0.0f;
    pfacc(-1, n, bins);
    for (int k = 0; k <= count - 1 - origin; ++k) result.quadrature[origin + k] = bins[k].i;
    for (int k = 0; k < origin; ++k) result.quadrature[origin - 1 - k] = bins[n - 1 - k].i;
    dividePlainlyByPeak(result.quadrature);
    return result;
}

testing::AssertionResult sameResult(const Result& actual, const Result& expected) {
    if (actual.status != expected.status)
        return testing::AssertionFailure() << "status " << actual.status << ", expected " << expected.status;
    if (auto same = sameSamples(actual.wavelet, expected.wavelet); !same) return same << " (wavelet)";
    if (auto same = sameSamples(actual.amplitude, expected.amplitude); !same) return same << " (amplitude)";
    if (auto same = sameSamples(actual.phase, expected.phase); !same) return same << " (phase)";
    return sameSamples(actual.quadrature, expected.quadrature) << " (quadrature)";
}

std::vector<float> rickerWavelet(int sampleCount) {
    std::vector<float> wavelet(sampleCount, 0.0f);
    addRicker(wavelet, static_cast<float>(sampleCount / 2), 30.0f, 2.0f, 1.0f);
    return wavelet;
}

std::vector<float> paddedTo(std::vector<float> wavelet, int sampleCount) {
    wavelet.resize(sampleCount);
    return wavelet;
}

/* The coefficients of (1 + coefficient z)^power. */
std::vector<float> repeatedDipole(float coefficient, int power) {
    std::vector<float> series = {1.0f};
    for (int i = 0; i < power; ++i) {
        series.push_back(0.0f);
        for (std::size_t k = series.size() - 1; k > 0; --k) series[k] += coefficient * series[k - 1];
    }
    return series;
}

std::vector<float> reversed(std::vector<float> values) {
    std::reverse(values.begin(), values.end());
    return values;
}

testing::AssertionResult nearlyEqual(const std::vector<float>& actual, const std::vector<float>& expected, float tolerance) {
    for (std::size_t i = 0; i < expected.size(); ++i)
        if (!(std::fabs(actual[i] - expected[i]) <= tolerance))
            return testing::AssertionFailure() << "sample " << i << " is " << actual[i] << ", expected " << expected[i];
    return testing::AssertionSuccess();
}

// Of a peak of 1: each transform of some 200 samples adds up to 10 roundings, phases near pi two more.
constexpr float transformError = 16 * FLT_EPSILON;

TEST(ChangePhase, KeepsAWaveletThatIsToStayZeroPhase) {
    const std::vector<float> wavelet = rickerWavelet(101);
    const Result result = changed(wavelet, {npfar(202), 0.0f});
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(sameSamples(result.wavelet, wavelet));
    EXPECT_NEAR(*std::max_element(result.amplitude.begin(), result.amplitude.end()), 1.0f, FLT_EPSILON);
    for (float phase : result.phase) EXPECT_EQ(phase, 0.0f);
}

TEST(ChangePhase, ReportsTheAmplitudeSpectrumOfTheCentredWavelet) {
    // 1, 2, 1 about its centre: 2 + 2 cos w, between 4 and 0
    const Result result = changed({1, 2, 1}, {8, 0.0f});
    for (int k = 0; k <= 4; ++k) EXPECT_NEAR(result.amplitude[k], 0.5 + 0.5 * std::cos(k * M_PI / 4), transformError) << k;
}

TEST(ChangePhase, GivesTheQuadratureTraceOfAZeroPhaseWavelet) {
    const std::vector<float> quadrature = changed(rickerWavelet(101), {npfar(400), 0.0f}).quadrature;
    EXPECT_EQ(largestMagnitude(quadrature), 1.0f);
    for (int k = 0; k <= 50; ++k) EXPECT_NEAR(quadrature[50 + k], -quadrature[50 - k], transformError) << k;
}

TEST(ChangePhase, LeavesASpikeInItsPlaceAtMinimumPhase) {
    const Result result = changed(paddedTo({1}, 21), {npfar(42), -1.0f});
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(nearlyEqual(result.wavelet, paddedTo({1}, 21), transformError));
    EXPECT_EQ(result.wavelet[0], 1.0f);
}

TEST(ChangePhase, FindsTheMinimumPhaseOfADipole) {
    // 1, 2 and 2, 1 have the same autocorrelation; the second is minimum phase
    EXPECT_TRUE(
        nearlyEqual(changed(paddedTo({1, 2}, 41), {npfar(82), -1.0f}).wavelet, paddedTo({1, 0.5f}, 41), transformError));
}

TEST(ChangePhase, EndsTheMaximumPhaseOfADipoleAtTheLastSample) {
    EXPECT_TRUE(nearlyEqual(changed(paddedTo({2, 1}, 41), {npfar(82), 1.0f}).wavelet, reversed(paddedTo({1, 0.5f}, 41)),
                            transformError));
}

TEST(ChangePhase, MaximumPhaseIsTheTimeReverseOfMinimumPhase) {
    const std::vector<float> wavelet = rickerWavelet(101);
    const int length = npfar(202);
    EXPECT_TRUE(nearlyEqual(changed(wavelet, {length, 1.0f, 0.1f}).wavelet,
                            reversed(changed(wavelet, {length, -1.0f, 0.1f}).wavelet), transformError));
}

TEST(ChangePhase, KeepsTheAutocorrelationAtMinimumPhase) {
    const int count = 201;
    const float noise = 1.0f;
    std::vector<float> wavelet = rickerWavelet(count), expected(count), lags(count);
    AutoCorr(wavelet.data(), count, expected.data(), count);
    expected[0] *= 1.0f + noise / 100.0f;
    std::vector<float> minimumPhase = changed(wavelet, {npfar(402), -1.0f, noise}).wavelet;
    AutoCorr(minimumPhase.data(), count, lags.data(), count);
    constexpr float cutOff = 1e-3f;  // of lag 0: what the inverse operator loses behind the last sample
    for (int lag = 0; lag < count; ++lag) EXPECT_NEAR(lags[lag] / lags[0], expected[lag] / expected[0], cutOff) << lag;
}

TEST(ChangePhase, ConcentratesMinimumPhaseEnergyAtTheStart) {
    const std::vector<float> minimumPhase = changed(rickerWavelet(101), {npfar(202), -1.0f, 0.1f}).wavelet;
    float early = 0.0f, late = 0.0f;
    for (int i = 0; i < 101; ++i) (i < 25 ? early : late) += minimumPhase[i] * minimumPhase[i];
    EXPECT_GT(early, 20.0f * late);
}

TEST(ChangePhase, RotatesASymmetricWaveletByNinetyDegreesIntoAnAntisymmetricOne) {
    const Result result = changed(rickerWavelet(101), {npfar(202), 0.0f, 0.0f, 90.0f});
    // 90 times the published degree is 6e-5 radians more than a quarter turn; the quadrature's peak is 0.8 of the wavelet's.
    constexpr float degreeError = 2 * 6e-5f / 0.8f;
    for (int k = 0; k <= 50; ++k) EXPECT_NEAR(result.wavelet[50 + k], -result.wavelet[50 - k], degreeError) << k;
}

TEST(ChangePhase, TakesADegreeAsThePublishedFactor) {
    const Result result = changed({0, 1, 0}, {8, 0.0f, 0.0f, 90.0f});
    for (float phase : result.phase) {
        EXPECT_EQ(phase, 90.0f * 0.01745392f);
        EXPECT_NE(phase, 90.0f * 0.0174532925f);
    }
}

TEST(ChangePhase, GivesACentredWaveletAPeakOfOneAfterAVanishingRotation) {
    const Result result = changed({1, -4, 6, -4, 1}, {8, 0.0f, 0.0f, 1e-30f});
    EXPECT_TRUE(nearlyEqual(result.wavelet, {1 / 6.0f, -4 / 6.0f, 1, -4 / 6.0f, 1 / 6.0f}, transformError));
}

TEST(ChangePhase, LosesThePolarityOfARotatedZeroPhaseWavelet) {
    const Result result = changed({-1, 4, -6, 4, -1}, {8, 0.0f, 0.0f, 1e-30f});
    EXPECT_TRUE(nearlyEqual(result.wavelet, {1 / 6.0f, -4 / 6.0f, 1, -4 / 6.0f, 1 / 6.0f}, transformError));
}

TEST(ChangePhase, CarriesTheNyquistTerm) {
    // Alternating samples that fill the transform have nothing but a Nyquist term.
    std::vector<float> wavelet(16);
    for (int i = 0; i < 16; ++i) wavelet[i] = i % 2 ? -1.0f : 1.0f;
    const Result result = changed(wavelet, {16, 0.0f, 0.0f, 1e-30f});
    EXPECT_EQ(result.amplitude[8], 1.0f);
    for (int k = 0; k < 8; ++k) EXPECT_NEAR(result.amplitude[k], 0.0f, transformError) << k;
    for (int i = 0; i < 15; ++i) EXPECT_NEAR(result.wavelet[i], -result.wavelet[i + 1], transformError) << i;
}

TEST(ChangePhase, MatchesThePlainStepsOnRandomWavelets) {
    const float characteristics[] = {-1.0f, -0.7f, -0.5f, -1e-3f, 0.0f, -0.0f, 0.25f, 0.9f, 1.0f};
    for (int count : {1, 3, 5, 17, 64, 101, 255, 300})
        for (float characteristic : characteristics)
            for (float rotation : {0.0f, 37.5f, -180.0f, 1234.5f}) {
                const unsigned seed = 31u * count + static_cast<int>(rotation);
                for (int length : {npfar(count), npfar(2 * count)}) {
                    const Change change = {length, characteristic, 0.5f, rotation};
                    const std::vector<float> wavelet = randomTrace(count, seed, 3.0f);
                    ASSERT_TRUE(sameResult(changed(wavelet, change), plainChange(wavelet, change)))
                        << count << " samples, transform " << length << ", characteristic " << characteristic << ", rotation "
                        << rotation;
                }
            }
}

TEST(ChangePhase, MatchesThePlainStepsOnSmoothWavelets) {
    for (int power : {2, 4, 7, 12})
        for (float coefficient : {0.95f, -0.95f, 1.2f})
            for (float characteristic : {-1.0f, -0.5f, 0.3f}) {
                const std::vector<float> wavelet = paddedTo(repeatedDipole(coefficient, power), 301);
                const Change change = {npfar(301), characteristic, 0.01f};
                ASSERT_TRUE(sameResult(changed(wavelet, change), plainChange(wavelet, change)))
                    << power << ", " << coefficient << ", " << characteristic;
            }
}

TEST(ChangePhase, MatchesThePlainStepsOnAWaveletWithANaN) {
    for (float characteristic : {0.0f, -1.0f}) {
        std::vector<float> wavelet = rickerWavelet(31);
        wavelet[12] = nan;
        EXPECT_TRUE(
            sameResult(changed(wavelet, {npfar(62), characteristic}), plainChange(wavelet, {npfar(62), characteristic})));
    }
}

TEST(ChangePhase, TakesAnAutocorrelationAsInput) {
    const int count = 65;
    std::vector<float> wavelet = randomTrace(count, 2), lags(count);
    AutoCorr(wavelet.data(), count, lags.data(), count);
    const int length = npfar(2 * count);
    EXPECT_TRUE(sameResult(changed(lags, {length, -0.4f, 0.1f, 12.0f, 1}), changed(wavelet, {length, -0.4f, 0.1f, 12.0f, 0})));
}

TEST(ChangePhase, IgnoresTheAutocorrelationFlagAtZeroPhase) {
    const std::vector<float> wavelet = rickerWavelet(41);
    EXPECT_TRUE(
        sameResult(changed(wavelet, {npfar(82), 0.0f, 0.0f, 30.0f, 1}), changed(wavelet, {npfar(82), 0.0f, 0.0f, 30.0f, 0})));
}

TEST(ChangePhase, AddsNoiseInPercentOfTheZeroLag) {
    // 4, 2 with 50 percent noise is 6, 2
    const std::vector<float> lags = paddedTo({4, 2}, 21), loaded = paddedTo({6, 2}, 21);
    EXPECT_TRUE(
        sameResult(changed(lags, {npfar(42), -1.0f, 50.0f, 0.0f, 1}), changed(loaded, {npfar(42), -1.0f, 0.0f, 0.0f, 1})));
}

/* Large percentages: beside the lag itself a small part of it hardly shows how it was rounded. */
TEST(ChangePhase, MultipliesTheZeroLagByThePercentageBeforeTheDivision) {
    for (float part : randomTrace(40, 12)) {
        const Change change = {npfar(42), -1.0f, 150.0f + 100.0f * part};
        const std::vector<float> wavelet = randomTrace(21, 13);
        EXPECT_TRUE(sameResult(changed(wavelet, change), plainChange(wavelet, change))) << change.noise << " percent";
    }
}

TEST(ChangePhase, LeavesTheLastBinAsItWasBeforeUnwrapping) {
    // Half the unwrapped phase: just below the Nyquist it exceeds pi / 2, so that it was unwrapped by a whole turn.
    const Result result = changed(paddedTo(repeatedDipole(0.8f, 5), 23), {24, -0.5f});
    EXPECT_GT(result.phase[11], pi / 2);
    EXPECT_EQ(result.phase[12], -pi / 2);  // pi / 2 if it were corrected like its neighbour
}

TEST(ChangePhase, ComparesAndWrapsPhasesInDouble) {
    // 180 degrees are 3.1417055; the float nearest to pi lies above pi itself and is wrapped too.
    const float degrees = 3.1415927f / 0.01745392f;
    for (float rotation : {180.0f, -180.0f, degrees, std::nextafter(degrees, 0.0f), -degrees}) {
        const Change change = {8, 0.0f, 0.0f, rotation};
        const float wanted = rotation * 0.01745392f;
        EXPECT_EQ(bitsOf(changed({0, 1, 0}, change).phase[1]), bitsOf(plainWrapped(wanted))) << wanted;
    }
}

TEST(ChangePhase, WrapsLargePhasesStepByStep) {
    float rotation = 170.0f;
    for (const float factor : randomTrace(60, 77, 0.3f)) {
        rotation *= -(1.3f + factor);
        if (std::fabs(rotation) > 5e8f) break;  // where one step after another takes too long for the reference
        const float wanted = plainWrapped(rotation * 0.01745392f);
        EXPECT_EQ(bitsOf(changed({0, 1, 0}, {8, 0.0f, 0.0f, rotation}).phase[2]), bitsOf(wanted)) << rotation;
    }
    for (float large : {5e8f, 2.3e9f, -2.3e9f})
        EXPECT_EQ(bitsOf(changed({0, 1, 0}, {8, 0.0f, 0.0f, large}).phase[2]), bitsOf(plainWrapped(large * 0.01745392f)))
            << large;
}

TEST(ChangePhase, EndsForPhasesThatAWholeTurnDoesNotChange) {
    for (float rotation : {1e12f, -1e12f, FLT_MAX}) {
        const Result result = changed({0, 1, 0}, {8, 0.0f, 0.0f, rotation});
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.phase[1], rotation * 0.01745392f);
    }
}

TEST(ChangePhase, EndsForInfiniteAndNaNPhases) {
    for (float rotation : {infinity, -infinity, nan}) {
        const Result result = changed(rickerWavelet(31), {npfar(62), 0.0f, 0.0f, rotation});
        EXPECT_EQ(result.status, 0);
        EXPECT_TRUE(sameBits(result.phase[1], rotation));
        EXPECT_TRUE(std::isnan(result.wavelet[0]));
    }
}

TEST(ChangePhase, TakesANaNCharacteristicAsNonZero) {
    const Result result = changed(paddedTo({1, 2}, 21), {npfar(42), nan});
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(sameSamples(result.amplitude, changed(paddedTo({1, 2}, 21), {npfar(42), -1.0f}).amplitude));
    EXPECT_TRUE(sameSamples(result.wavelet, std::vector<float>(21, nan)));
    EXPECT_EQ(changed(std::vector<float>(21), {npfar(42), nan}).status, 1);
}

TEST(ChangePhase, EndsForAnInfiniteCharacteristic) {
    for (float characteristic : {infinity, -infinity})
        EXPECT_TRUE(std::isnan(changed(paddedTo({1, 2}, 21), {npfar(42), characteristic}).wavelet[0])) << characteristic;
}

TEST(ChangePhase, FailsForAnAllZeroWaveletWithoutTouchingAnything) {
    const std::vector<float> wavelet(21, 0.0f);
    const Result result = changed(wavelet, {npfar(42), -1.0f});
    Result expected = untouchedResult(wavelet, npfar(42));
    expected.status = 1;
    EXPECT_TRUE(sameResult(result, expected));
}

TEST(ChangePhase, FailsForLagsThatAreNoAutocorrelation) {
    const std::vector<float> lags = paddedTo({1, 2}, 21);
    const Result result = changed(lags, {npfar(42), 0.5f, 0.0f, 0.0f, 1});
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(sameSamples(result.wavelet, lags));
}

TEST(ChangePhase, ReleasesItsWorkArraysOnFailure) {
    const auto inUse = [] {
        const auto statistics = mallinfo2();
        return statistics.uordblks + statistics.hblkhd;
    };
    const std::vector<float> wavelet(301, 0.0f);
    changed(wavelet, {npfar(602), -1.0f});
    const auto before = inUse();
    for (int i = 0; i < 100; ++i) changed(wavelet, {npfar(602), -1.0f});
    EXPECT_LT(inUse(), before + 10000);
}

TEST(ChangePhase, MakesASpikeOfASingleSampleWhateverItIs) {
    for (float sample : {0.0f, 5.0f, -5.0f}) EXPECT_EQ(changed({sample}, {2, -1.0f}).wavelet[0], 1.0f) << sample;
}

TEST(ChangePhase, GivesZerosForAnAllZeroWaveletAtZeroPhase) {
    const Result result = changed(std::vector<float>(11), {22, 0.0f, 0.0f, 45.0f});
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(sameSamples(result.wavelet, std::vector<float>(11)));
    EXPECT_TRUE(sameSamples(result.amplitude, std::vector<float>(12)));
    for (float sample : result.quadrature) EXPECT_EQ(sample, 0.0f);
}

TEST(ChangePhase, CountsTheSampleBehindAnEvenZeroPhaseWaveletAsZero) {
    for (int count : {2, 10, 16})
        for (int length : {16, 22}) {
            std::vector<float> wavelet = randomTrace(count, count);
            const Change change = {length, 0.0f, 0.0f, 20.0f};
            const Result expected = plainChange(wavelet, change);
            EXPECT_TRUE(sameResult(changed(wavelet, change), expected)) << count;
            wavelet.push_back(1000.0f);
            Result result = untouchedResult(wavelet, length);
            changePhase(result.wavelet.data(), count, length, 0, 0.0f, 0.0f, 20.0f, result.amplitude.data(),
                        result.phase.data(), result.quadrature.data());
            EXPECT_TRUE(sameSamples(result.amplitude, expected.amplitude)) << count;
            EXPECT_EQ(result.wavelet[count], 1000.0f);
        }
}

TEST(ChangePhase, UsesNoMoreSamplesThanTheTransformHolds) {
    for (float characteristic : {-1.0f, -0.5f, 0.0f, 1.0f})
        for (int count : {23, 24, 45, 99}) {
            const Result result = changed(randomTrace(count, 4), {22, characteristic, 1.0f, 10.0f});
            EXPECT_EQ(result.status, 0);
            for (float sample : result.wavelet) EXPECT_LE(std::fabs(sample), 1.0f);
        }
}

TEST(ChangePhase, GivesZerosWhereTheResultReachesPastTheTransform) {
    const std::vector<float> wavelet = changed(paddedTo({1, 2}, 41), {22, -1.0f}).wavelet;
    EXPECT_NE(wavelet[21], 0.0f);
    for (int i = 22; i < 41; ++i) EXPECT_EQ(wavelet[i], 0.0f) << i;
}

TEST(ChangePhase, PlacesTimeZeroInProportionToTheCharacteristic) {
    for (auto [characteristic, sample] : {std::pair{-1.0f, 0}, {-0.5f, 5}, {-0.31f, 6}, {0.25f, 12}, {0.5f, 15}, {1.0f, 20}}) {
        std::vector<float> spike(21);
        spike[sample] = 1.0f;
        EXPECT_TRUE(nearlyEqual(changed(paddedTo({1}, 21), {npfar(42), characteristic}).wavelet, spike, transformError))
            << characteristic;
    }
}

TEST(ChangePhase, FindsTheTimeOriginInSinglePrecision) {
    // 20 times (1 - 0.4f) / 2 is exactly 6 in single precision and just below it in double.
    std::vector<float> spike(21);
    spike[6] = 1.0f;
    EXPECT_TRUE(nearlyEqual(changed(paddedTo({1}, 21), {npfar(42), -0.4f}).wavelet, spike, transformError));
    EXPECT_EQ(static_cast<int>(20 * ((-0.4f + 1.0) * 0.5)), 5);
}

TEST(ChangePhase, PlacesTimeZeroOutsideTheTraceForCharacteristicsBeyondOne) {
    const std::vector<float> wavelet = randomTrace(21, 6);
    const int length = npfar(42);
    for (float characteristic : {-3.0f, -1.5f, 1.5f, 3.0f, 50.0f, -50.0f, 1e30f, -1e30f}) {
        const Result result = changed(wavelet, {length, characteristic, 1.0f});
        EXPECT_EQ(result.status, 0);
        if (std::fabs(characteristic) > 10.0f) {
            EXPECT_TRUE(sameSamples(result.wavelet, std::vector<float>(21, 0.0f))) << characteristic;
            EXPECT_TRUE(sameSamples(result.quadrature, std::vector<float>(21, 0.0f))) << characteristic;
        } else {
            EXPECT_EQ(largestMagnitude(result.wavelet), 1.0f);
        }
    }
}

TEST(ChangePhase, FailsWhereItsWorkArraysCannotBeHad) {
    if (sizeof(void*) > 4) GTEST_SKIP() << "there is always address space for the longest transform";
    std::vector<float> wavelet = {0, 1, 0}, amplitude = {untouched}, phase = {untouched}, quadrature = {untouched};
    EXPECT_EQ(changePhase(wavelet.data(), 3, std::numeric_limits<int>::max() - 1, 0, 0.0f, 0.0f, 0.0f, amplitude.data(),
                          phase.data(), quadrature.data()),
              1);
    EXPECT_EQ(amplitude[0], untouched);
}

TEST(ChangePhase, DoesNothingForNoSamplesOrNoTransform) {
    const std::vector<float> wavelet = {1, 2, 3};
    for (auto [count, length] : {std::pair{0, 8}, {-1, 8}, {3, 0}, {3, -8}, {std::numeric_limits<int>::min(), 8}})
        for (float characteristic : {0.0f, -1.0f}) {
            Result result = untouchedResult(wavelet, 8);
            EXPECT_EQ(changePhase(result.wavelet.data(), count, length, 0, characteristic, 0.0f, 5.0f, result.amplitude.data(),
                                  result.phase.data(), result.quadrature.data()),
                      0);
            EXPECT_TRUE(sameResult(result, untouchedResult(wavelet, 8))) << count << ", " << length;
        }
}

}
