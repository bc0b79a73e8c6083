#include <pelta/host.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "vectorize.h"

namespace {

constexpr int tapCount = 8, tapsBefore = 3;  // an operator reads samples below-3 .. below+4
constexpr int fractionCount = 1024;
constexpr int reach = 8;  // samples beyond an end, from which on only the outside value is seen

/* Share of the Nyquist band that an operator is fitted to. The largest error up to 0.6 Nyquist is least here. */
constexpr double fittedBand = 0.617;

/* sin(pi x) / (pi x). Written out, since the C library's sine may differ in the last bit between machines, and with it an
 * operator: only additions, products and one division are used. */
double sinc(double x) {
    if (x == 0.0) return 1.0;
    const double turns = std::nearbyint(x), angle = M_PI * (x - turns);
    double series = 1.0;
    for (int power = 22; power >= 2; power -= 2) series = 1.0 - angle * angle / (power * (power + 1)) * series;
    const double sine = angle * series;
    return (std::fmod(turns, 2.0) == 0.0 ? sine : -sine) / (M_PI * x);
}

using Operator = std::array<float, tapCount>;
using Operators = std::array<Operator, fractionCount>;

/* The taps a that bring sum of a[j] exp(i w j) closest to exp(i w fraction) in the mean square over the fitted band: the
 * normal equations sum over k of sinc(b (j - k)) a[k] = sinc(b (fraction - j)), symmetric and positive definite, solved by
 * elimination. */
Operator leastSquaresOperator(double fraction) {
    double matrix[tapCount][tapCount + 1];
    for (int j = 0; j < tapCount; ++j) {
        for (int k = 0; k < tapCount; ++k) matrix[j][k] = sinc(fittedBand * (j - k));
        matrix[j][tapCount] = sinc(fittedBand * (fraction - (j - tapsBefore)));
    }
    for (int pivot = 0; pivot < tapCount; ++pivot)
        for (int row = pivot + 1; row < tapCount; ++row) {
            const double factor = matrix[row][pivot] / matrix[pivot][pivot];
            for (int k = pivot; k <= tapCount; ++k) matrix[row][k] -= factor * matrix[pivot][k];
        }
    double taps[tapCount];
    for (int j = tapCount - 1; j >= 0; --j) {
        double sum = matrix[j][tapCount];
        for (int k = j + 1; k < tapCount; ++k) sum -= matrix[j][k] * taps[k];
        taps[j] = sum / matrix[j][j];
    }
    Operator rounded;
    std::copy_n(taps, tapCount, rounded.begin());
    return rounded;
}

/* One operator for each fraction r / fractionCount. The upper half mirrors the lower, so that a reversed series gives reversed
 * values to the bit. */
Operators allOperators() {
    Operators operators;
    for (int r = 0; r <= fractionCount / 2; ++r) operators[r] = leastSquaresOperator(static_cast<double>(r) / fractionCount);
    for (int r = 1; r < fractionCount / 2; ++r)
        std::reverse_copy(operators[r].begin(), operators[r].end(), operators[fractionCount - r].begin());
    return operators;
}

/* A uniformly sampled series, extended by its outside values. */
struct Series {
    const float* samples;
    int count;
    float left, right;

    float at(int i) const { return i < 0 ? left : i >= count ? right : samples[i]; }
};

constexpr int chunkLength = 128;

/* Where the outputs of a chunk lie: the sample at or below each position and the operator for what remains. */
struct Places {
    int below[chunkLength], fraction[chunkLength];
};

/* The position is held within the reach of the series first, which settles infinities and what an int cannot hold; a NaN goes
 * to the left end. Truncation is made to round down by counting from the left reach. */
HOST_INLINE void place(double position, double last, int& below, int& fraction) {
    const double heldLeft = position > -reach ? position : -reach;
    const double held = heldLeft < last ? heldLeft : last;
    const int whole = static_cast<int>(held + reach);
    const int part = static_cast<int>((held + reach - whole) * fractionCount + 0.5);
    below = whole - reach + (part >= fractionCount ? 1 : 0);
    fraction = part & (fractionCount - 1);
}

/* An interval of 1 needs no division: the quotient has the same bits. */
HOST_VECTORIZE void placeOutputs(const float* positions, int count, double first, double interval, double last,
                                 Places& places) {
    if (interval == 1.0)
        for (int k = 0; k < count; ++k) place(positions[k] - first, last, places.below[k], places.fraction[k]);
    else
        for (int k = 0; k < count; ++k) place((positions[k] - first) / interval, last, places.below[k], places.fraction[k]);
}

/* What the places of a chunk have in common. */
struct Extent {
    int lowest, highest, leastFraction;
};

HOST_VECTORIZE Extent extentOf(const Places& places, int count) {
    int lowest = INT_MAX, highest = INT_MIN, leastFraction = INT_MAX;
    for (int k = 0; k < count; ++k) {
        lowest = std::min(lowest, places.below[k]);
        highest = std::max(highest, places.below[k]);
        leastFraction = std::min(leastFraction, places.fraction[k]);
    }
    return {lowest, highest, leastFraction};
}

typedef float EightFloats __attribute__((vector_size(32), aligned(4), may_alias));
typedef float FourFloats __attribute__((vector_size(16), aligned(4), may_alias));

/* The eight products as (0+4, 1+5, 2+6, 3+7). */
HOST_INLINE FourFloats foldedProducts(const float* taps, const float* samples) {
    const EightFloats products = *reinterpret_cast<const EightFloats*>(taps) * *reinterpret_cast<const EightFloats*>(samples);
    return __builtin_shufflevector(products, products, 0, 1, 2, 3) + __builtin_shufflevector(products, products, 4, 5, 6, 7);
}

HOST_INLINE float weightedSum(const float* taps, const float* samples) {
    const FourFloats folded = foldedProducts(taps, samples);
    return (folded[0] + folded[2]) + (folded[1] + folded[3]);
}

/* Outputs whose eight samples all lie in a stretch that begins with the series' sample first, four at a time. Each sum is
 * ((0+4)+(2+6)) + ((1+5)+(3+7)), the order in which vector units of every level fold eight products. */
HOST_VECTORIZE void sumWithin(const float* samples, int first, const Operators& operators, const Places& places, int count,
                              float* out) {
    const auto folded = [&](int k) HOST_ALWAYS_INLINE {
        return foldedProducts(operators[places.fraction[k]].data(), samples + (places.below[k] - tapsBefore - first));
    };
    int k = 0;
    for (; k + 4 <= count; k += 4) {
        const FourFloats a = folded(k), b = folded(k + 1), c = folded(k + 2), d = folded(k + 3);
        const FourFloats ab = __builtin_shufflevector(a, b, 0, 4, 1, 5) + __builtin_shufflevector(a, b, 2, 6, 3, 7);
        const FourFloats cd = __builtin_shufflevector(c, d, 0, 4, 1, 5) + __builtin_shufflevector(c, d, 2, 6, 3, 7);
        *reinterpret_cast<FourFloats*>(out + k) =
            __builtin_shufflevector(ab, cd, 0, 1, 4, 5) + __builtin_shufflevector(ab, cd, 2, 3, 6, 7);
    }
    for (; k < count; ++k)
        out[k] = weightedSum(operators[places.fraction[k]].data(), samples + (places.below[k] - tapsBefore - first));
}

HOST_VECTORIZE void sumAnywhere(const Series& series, const Operators& operators, const Places& places, int count, float* out) {
    for (int k = 0; k < count; ++k) {
        float samples[tapCount];
        for (int j = 0; j < tapCount; ++j) samples[j] = series.at(places.below[k] - tapsBefore + j);
        out[k] = weightedSum(operators[places.fraction[k]].data(), samples);
    }
}

/* At a sample the other seven do not enter, not even as 0 times infinity. */
void copyHitSamples(const Series& series, const Places& places, int count, float* out) {
    for (int k = 0; k < count; ++k)
        if (places.fraction[k] == 0) out[k] = series.at(places.below[k]);
}

/* A stretch of the extended series. */
void copyExtended(const Series& series, int first, int length, float* out) {
    const auto ahead = static_cast<int>(std::clamp<std::int64_t>(-std::int64_t{first}, 0, length));
    const auto end = static_cast<int>(std::clamp<std::int64_t>(std::int64_t{series.count} - first, 0, length));
    std::fill(out, out + ahead, series.left);
    if (ahead < end) std::copy(series.samples + first + ahead, series.samples + first + end, out + ahead);
    std::fill(out + end, out + length, series.right);
}

void interpolate(const Series& series, const Operators& operators, const Places& places, int count, float* out) {
    const Extent extent = extentOf(places, count);
    const int reachOfChunk = extent.highest - extent.lowest;
    if (extent.lowest >= tapsBefore && extent.highest - tapsBefore <= series.count - tapCount)
        sumWithin(series.samples, 0, operators, places, count, out);
    else if (constexpr int room = 4 * chunkLength; reachOfChunk <= room - tapCount) {
        float around[room];
        copyExtended(series, extent.lowest - tapsBefore, reachOfChunk + tapCount, around);
        sumWithin(around, extent.lowest - tapsBefore, operators, places, count, out);
    } else sumAnywhere(series, operators, places, count, out);
    if (extent.leastFraction == 0) copyHitSamples(series, places, count, out);
}

}

void ints8r(int nxin, float dxin, float fxin, float* yin, float yinl, float yinr, int nxout, float* xout, float* yout) {
    alignas(64) static const Operators operators = allOperators();
    const Series series{yin, std::max(nxin, 0), yinl, yinr};
    const double last = std::min<double>(series.count + (reach - 1.0), INT_MAX - 2 * reach);
    Places places;
    for (int done = 0, count; done < nxout; done += count) {
        count = std::min(chunkLength, nxout - done);
        placeOutputs(xout + done, count, fxin, dxin, last, places);
        interpolate(series, operators, places, count, yout + done);
    }
}
