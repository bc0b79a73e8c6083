#include <pelta/host.h>
#include <pelta/leastsquares.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <new>
#include <numeric>

#include "vectorize.h"

namespace {

/* Sums about the means, in double. */
struct Moments {
    double xMean, yMean;
    double xSquares, ySquares, products;
};

Moments momentsOf(const float* x, const float* y, int count) {
    double xSum = 0.0, ySum = 0.0;
    for (int i = 0; i < count; ++i) {
        xSum += x[i];
        ySum += y[i];
    }
    Moments moments = {xSum / count, ySum / count, 0.0, 0.0, 0.0};
    for (int i = 0; i < count; ++i) {
        const double dx = x[i] - moments.xMean, dy = y[i] - moments.yMean;
        moments.xSquares += dx * dx;
        moments.ySquares += dy * dy;
        moments.products += dx * dy;
    }
    return moments;
}

double rootUnlessZero(double sum) { return sum != 0.0 ? std::sqrt(sum) : 0.0; }

/* Ratios to leave out at either end. Both counts are cut to whole numbers. */
std::int64_t trimmedAtEachEnd(int count, int percentage) {
    const auto trimmed = static_cast<std::int64_t>(percentage / 100.0 * count);
    return std::max<std::int64_t>(trimmed / 2, 0);
}

PELTA_VECTORIZE void divide(const float* dividends, const float* divisors, int count, float* ratios) {
    for (int i = 0; i < count; ++i) ratios[i] = dividends[i] / divisors[i];
}

/* What the slope leaves of the ordinates. */
PELTA_VECTORIZE void takeSlopeOff(const float* x, const float* y, int count, float slope, float* residuals) {
    for (int i = 0; i < count; ++i) residuals[i] = y[i] - slope * x[i];
}

/* The same of points from the end backwards; x and y point to the last one. */
PELTA_VECTORIZE void takeSlopeOffBackwards(const float* x, const float* y, int count, float slope, float* residuals) {
    for (int i = 0; i < count; ++i) residuals[i] = y[-i] - slope * x[-i];
}

PELTA_VECTORIZE void takeLineOff(const float* x, const float* y, int count, float intercept, float slope, float* residuals,
                                 float* sizes) {
    for (int i = 0; i < count; ++i) {
        residuals[i] = y[i] - intercept - x[i] * slope;
        sizes[i] = std::fabs(residuals[i]);
    }
}

float quotientUnlessZero(float dividend, float divisor) { return divisor == 0.0f ? 0.0f : dividend / divisor; }

/* Andrews' weight of a residual, times 1 / sigma. */
float sineWeight(float residual, float perSigma) {
    constexpr double pi = 3.141592653589793;
    const float u = residual * perSigma;
    if (std::fabs(u) >= pi) return 0.0f;
    return residual != 0.0f ? std::sin(u) / residual : perSigma;
}

/* Sums over weighted points, in single precision, and the central moments that they give. */
struct WeightedSums {
    float w = 0.0f, x = 0.0f, xx = 0.0f, xy = 0.0f, y = 0.0f, yy = 0.0f;

    float centralXX() const { return xx - x * x / w; }
    float centralYY() const { return yy - y * y / w; }
    float centralXY() const { return xy - x * y / w; }
};

WeightedSums weightedSumsOf(const float* x, const float* y, const float* weight, int count) {
    WeightedSums sums;
    for (int i = 0; i < count; ++i) {
        sums.w += weight[i];
        sums.x += weight[i] * x[i];
        sums.xx += weight[i] * (x[i] * x[i]);
        sums.xy += weight[i] * x[i] * y[i];
        sums.y += weight[i] * y[i];
        sums.yy += weight[i] * (y[i] * y[i]);
    }
    return sums;
}

}

void lstSquare(float* x, float* y, int* nsamp, float* rcept, float* slope, float* rxy) {
    *rcept = *slope = *rxy = 0.0f;
    if (*nsamp <= 0) return;
    const Moments moments = momentsOf(x, y, *nsamp);
    if (moments.xSquares != 0.0) *slope = static_cast<float>(moments.products / moments.xSquares);
    *rcept = static_cast<float>(moments.yMean - *slope * moments.xMean);
    const double scatter = rootUnlessZero(moments.xSquares) * rootUnlessZero(moments.ySquares);
    if (scatter != 0.0) *rxy = static_cast<float>(moments.products / scatter);
}

void meanAlphaTrim(float* x, float* y, int nsamp, int alpha, float* work, float* slope) {
    divide(y, x, nsamp, work);
    qksort(nsamp, work);
    const std::int64_t first = trimmedAtEachEnd(nsamp, alpha), end = nsamp - first;
    *slope = 0.0f;
    if (end <= first) return;
    const double sum = std::accumulate(work + first, work + end, 0.0);
    *slope = static_cast<float>(sum / static_cast<double>(end - first));
}

void wghtLstSquare(float* x, float* y, float* weight, int* nsamp, float* rcept, float* slope, float* rxy) {
    *rxy = *slope = *rcept = 0.0f;
    if (*nsamp <= 1) return;
    if (*nsamp > 3) wghtCalcWeights(x, y, nsamp, weight);
    else std::fill_n(weight, *nsamp, 1.0f);
    float gauss = 1.0f, interceptError, slopeError, sigmaIntercept, sigmaSlope;
    wghtCalcLstsqr(x, y, weight, nsamp, &gauss, rcept, slope, &interceptError, &slopeError, rxy, &sigmaIntercept, &sigmaSlope);
}

void wghtCalcWeights(float* xa, float* ya, int* num, float* weight) {
    const int count = *num;
    if (count <= 0) return;
    const auto length = static_cast<std::size_t>(count);
    const std::unique_ptr<float[]> residuals(new (std::nothrow) float[length]), sizes(new (std::nothrow) float[length]);
    const std::unique_ptr<int[]> indices(new (std::nothrow) int[length]);
    if (!residuals || !sizes || !indices) {
        std::fill_n(weight, count, 1.0f);
        return;
    }
    float intercept, slope;
    wghtMedianReg(xa, ya, num, &intercept, &slope, indices.get(), sizes.get());
    takeLineOff(xa, ya, count, intercept, slope, residuals.get(), sizes.get());
    const auto sigma = static_cast<float>(2.1 * wghtMedian(sizes.get(), indices.get(), count));
    if (sigma == 0.0f) {
        std::fill_n(weight, count, 1.0f);
        return;
    }
    const float perSigma = 1.0f / sigma;
    for (int i = 0; i < count; ++i) weight[i] = sineWeight(residuals[i], perSigma);
}

void wghtMedianReg(float* xa, float* ya, int* num, float* inter_med, float* slope_med, int* iwork1, float* work2) {
    const int count = *num, half = count / 2;
    *inter_med = *slope_med = 0.0f;
    if (count < 2) return;
    const float span = xa[half + half / 2] - xa[half / 2];
    const float leftMedian = wghtMedian(ya, iwork1, half), rightMedian = wghtMedian(ya + half, iwork1, half);
    const float firstSlope = quotientUnlessZero(rightMedian - leftMedian, span);
    /* Kept on purpose: the right half ends with the last point here, while its median above began behind the left half; for odd
     * counts those are not the same points. */
    takeSlopeOff(xa, ya, half, firstSlope, work2);
    takeSlopeOffBackwards(xa + count - 1, ya + count - 1, half, firstSlope, work2 + half);
    const float leftRest = wghtMedian(work2, iwork1, half), rightRest = wghtMedian(work2 + half, iwork1, half);
    *slope_med = firstSlope + quotientUnlessZero(rightRest - leftRest, span);
    takeSlopeOff(xa, ya, count, *slope_med, work2);
    *inter_med = wghtMedian(work2, iwork1, count);
}

float wghtMedian(float* x, int* idx, int n) {
    if (n <= 0) return 0.0f;
    std::iota(idx, idx + n, 0);
    qkifind(n / 2, n, x, idx);
    /* Kept on purpose: the upper of the two middle values of an even count, with no mean of the two. */
    return x[idx[n / 2]];
}

void wghtCalcLstsqr(float* xa, float* ya, float* weight, int* num, float* gauss, float* rcept, float* slope, float* rerror,
                    float* serror, float* rxy, float* siga, float* sigb) {
    *rcept = *slope = *rerror = *serror = *rxy = *siga = *sigb = 0.0f;
    const int count = *num;
    const WeightedSums sums = weightedSumsOf(xa, ya, weight, count);
    if (sums.w == 0.0f) return;
    const float xx = sums.centralXX(), yy = sums.centralYY(), xy = sums.centralXY();
    if (xx == 0.0f) return;
    *slope = xy / xx;
    *rcept = sums.y / sums.w - sums.x * xy / (xx * sums.w);

    const float unexplained = xy == 0.0f ? 0.0f : yy - *slope * xy;
    const float scatter = unexplained > 0.0f && count > 2 ? std::sqrt(unexplained / static_cast<float>(count - 2)) : 0.0f;
    if (xx * yy > 0.0f) *rxy = xy / std::sqrt(xx * yy);
    const float centre = sums.x / sums.w;
    const auto reach = static_cast<float>(1.0 / count + centre * centre / xx);
    if (reach >= 0.0f) *rerror = *gauss * scatter * std::sqrt(reach);
    if (xx > 0.0f) {
        *serror = *gauss * scatter * std::sqrt(1.0f / xx);
        *siga = scatter * std::sqrt(sums.xx / (xx * sums.w));
        *sigb = scatter / std::sqrt(xx);
    }
}
