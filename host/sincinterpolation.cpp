#include <pelta/host.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
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
    operators[0] = {};
    operators[0][tapsBefore] = 1.0f;
    return operators;
}

/* A uniformly sampled series, extended by its outside values. */
struct Series {
    const float* samples;
    int count;
    float left, right;

    float at(int i) const { return i < 0 ? left : i >= count ? right : samples[i]; }
};

constexpr int chunkLength = 256;

/* Where the outputs of a chunk lie: the sample at or below each position and the operator for what remains. */
struct Places {
    int below[chunkLength], fraction[chunkLength];
};

/* The position is held within the reach of the series first, which settles infinities and what an int cannot hold; a NaN goes
 * to the left end. Truncation is made to round down by counting from the left reach. */
HOST_INLINE void place(double position, double last, int& below, int& fraction) {
    const double fromReach = (position > -reach ? position < last ? position : last : -reach) + reach;
    const int whole = static_cast<int>(fromReach);
    const int part = static_cast<int>((fromReach - whole) * fractionCount + 0.5);
    below = whole - reach + part / fractionCount;
    fraction = part % fractionCount;
}

/* An interval of 1 needs no division: the quotient has the same bits. */
HOST_VECTORIZE void placeOutputs(const float* positions, int count, double first, double interval, double last,
                                 Places& places) {
    if (interval == 1.0)
        for (int k = 0; k < count; ++k) place(positions[k] - first, last, places.below[k], places.fraction[k]);
    else
        for (int k = 0; k < count; ++k) place((positions[k] - first) / interval, last, places.below[k], places.fraction[k]);
}

typedef float EightFloats __attribute__((vector_size(32), aligned(4), may_alias));
typedef float FourFloats __attribute__((vector_size(16)));

/* The eight products are added in the order ((0+4)+(2+6)) + ((1+5)+(3+7)), which the vector units of every level can follow. */
HOST_INLINE float weightedSum(const float* taps, const float* samples) {
    const EightFloats products = *reinterpret_cast<const EightFloats*>(taps) * *reinterpret_cast<const EightFloats*>(samples);
    const FourFloats fours = FourFloats{products[0], products[1], products[2], products[3]} +
                             FourFloats{products[4], products[5], products[6], products[7]};
    return (fours[0] + fours[2]) + (fours[1] + fours[3]);
}

HOST_VECTORIZE void interpolate(const Series& series, const Operators& operators, const Places& places, int count, float* out) {
    for (int k = 0; k < count; ++k) {
        const int first = places.below[k] - tapsBefore, fraction = places.fraction[k];
        float extended[tapCount];
        const float* samples = extended;
        if (first >= 0 && first <= series.count - tapCount) samples = series.samples + first;
        else
            for (int j = 0; j < tapCount; ++j) extended[j] = series.at(first + j);
        /* At a sample the other seven do not enter, not even as 0 times infinity. */
        out[k] = fraction == 0 ? samples[tapsBefore] : weightedSum(operators[fraction].data(), samples);
    }
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
