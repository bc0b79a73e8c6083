#include <gtest/gtest.h>
#include <pelta/leastsquares.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <new>
#include <numeric>
#include <random>
#include <vector>

#include "support/bits.h"

/* Arrays from the library go through the test, which makes them fail one by one. The operators stay out of line: inlined one by
 * one, compilers take the pairs for mismatched ones. */

namespace {
long arraysUntilFailure = -1;
}

[[gnu::noinline]] void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return arraysUntilFailure >= 0 && arraysUntilFailure-- == 0 ? nullptr : std::malloc(size);
}
[[gnu::noinline]] void operator delete[](void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr double pi = 3.141592653589793;

struct Points {
    std::vector<float> x, y;

    int count() const { return static_cast<int>(x.size()); }
};

struct Line {
    float intercept, slope, correlation;
};

struct ErrorLine {
    Line line;
    float interceptError, slopeError, interceptSigma, slopeSigma;
};

testing::AssertionResult sameLine(const Line& actual, const Line& expected) {
    return sameSamples(std::vector{actual.intercept, actual.slope, actual.correlation},
                       std::vector{expected.intercept, expected.slope, expected.correlation});
}

testing::AssertionResult sameErrorLine(const ErrorLine& actual, const ErrorLine& expected) {
    const auto list = [](const ErrorLine& r) {
        return std::vector{r.line.intercept, r.line.slope,     r.line.correlation, r.interceptError,
                           r.slopeError,     r.interceptSigma, r.slopeSigma};
    };
    return sameSamples(list(actual), list(expected));
}

/* The library's routines, with what they receive set to something else beforehand. */

Line lstSquareOf(Points points, int count) {
    Line line = {-1.0f, -1.0f, -1.0f};
    lstSquare(points.x.data(), points.y.data(), &count, &line.intercept, &line.slope, &line.correlation);
    return line;
}

Line lstSquareOf(const Points& points) { return lstSquareOf(points, points.count()); }

struct Trimmed {
    float slope;
    std::vector<float> ratios;
};

Trimmed meanAlphaTrimOf(Points points, int alpha) {
    Trimmed trimmed = {-1.0f, std::vector<float>(points.x.size())};
    meanAlphaTrim(points.x.data(), points.y.data(), points.count(), alpha, trimmed.ratios.data(), &trimmed.slope);
    return trimmed;
}

struct Weighted {
    Line line;
    std::vector<float> weights;
};

Weighted wghtLstSquareOf(Points points) {
    Weighted fit = {{-1.0f, -1.0f, -1.0f}, std::vector<float>(points.x.size(), -1.0f)};
    int count = points.count();
    wghtLstSquare(points.x.data(), points.y.data(), fit.weights.data(), &count, &fit.line.intercept, &fit.line.slope,
                  &fit.line.correlation);
    return fit;
}

std::vector<float> weightsOf(Points points) {
    std::vector<float> weights(points.x.size(), -1.0f);
    int count = points.count();
    wghtCalcWeights(points.x.data(), points.y.data(), &count, weights.data());
    return weights;
}

struct MedianLine {
    float intercept, slope;
    std::vector<float> rests;
};

MedianLine medianLineOf(Points points) {
    MedianLine line = {-1.0f, -1.0f, std::vector<float>(points.x.size())};
    std::vector<int> indices(points.x.size());
    int count = points.count();
    wghtMedianReg(points.x.data(), points.y.data(), &count, &line.intercept, &line.slope, indices.data(), line.rests.data());
    return line;
}

float medianOf(std::vector<float> values) {
    std::vector<int> indices(values.size());
    return wghtMedian(values.data(), indices.data(), static_cast<int>(values.size()));
}

ErrorLine errorLineOf(Points points, std::vector<float> weights, float gauss, int count) {
    ErrorLine fit = {{-1.0f, -1.0f, -1.0f}, -1.0f, -1.0f, -1.0f, -1.0f};
    wghtCalcLstsqr(points.x.data(), points.y.data(), weights.data(), &count, &gauss, &fit.line.intercept, &fit.line.slope,
                   &fit.interceptError, &fit.slopeError, &fit.line.correlation, &fit.interceptSigma, &fit.slopeSigma);
    return fit;
}

ErrorLine errorLineOf(const Points& points, const std::vector<float>& weights, float gauss = 1.0f) {
    return errorLineOf(points, weights, gauss, points.count());
}

/* Plain forms. */

Line plainLine(const Points& points) {
    const int count = points.count();
    double xMean = 0.0, yMean = 0.0, xSum = 0.0, ySum = 0.0, xySum = 0.0;
    for (float x : points.x) xMean += x;
    for (float y : points.y) yMean += y;
    xMean /= count;
    yMean /= count;
    for (int i = 0; i < count; ++i) xSum += (points.x[i] - xMean) * (points.x[i] - xMean);
    for (int i = 0; i < count; ++i) ySum += (points.y[i] - yMean) * (points.y[i] - yMean);
    for (int i = 0; i < count; ++i) xySum += (points.x[i] - xMean) * (points.y[i] - yMean);
    Line line = {0.0f, 0.0f, 0.0f};
    if (xSum != 0.0) line.slope = static_cast<float>(xySum / xSum);
    line.intercept = static_cast<float>(yMean - static_cast<double>(line.slope) * xMean);
    const double xRoot = xSum != 0.0 ? std::sqrt(xSum) : 0.0, yRoot = ySum != 0.0 ? std::sqrt(ySum) : 0.0;
    if (xRoot * yRoot != 0.0) line.correlation = static_cast<float>(xySum / (xRoot * yRoot));
    return line;
}

bool isBelow(float a, float b) {
    if (std::isnan(a) || std::isnan(b)) return !std::isnan(a);
    return a < b || (a == b && std::signbit(a) && !std::signbit(b));
}

/* Insertion sort; -0 before 0, NaNs last. */
std::vector<float> plainlySorted(std::vector<float> values) {
    for (std::size_t i = 1; i < values.size(); ++i)
        for (std::size_t j = i;
             j > 0 && isBelow(values[j], values[j - 1]) && !(std::isnan(values[j]) && std::isnan(values[j - 1])); --j)
            std::swap(values[j], values[j - 1]);
    return values;
}

float plainMedian(const std::vector<float>& values) { return plainlySorted(values)[values.size() / 2]; }

Trimmed plainTrimmed(const Points& points, int alpha) {
    std::vector<float> ratios(points.x.size());
    for (std::size_t i = 0; i < ratios.size(); ++i) ratios[i] = points.y[i] / points.x[i];
    ratios = plainlySorted(ratios);
    const int ends = static_cast<int>(alpha / 100.0 * points.count()) / 2;
    double sum = 0.0;
    for (int i = ends; i < points.count() - ends; ++i) sum += ratios[i];
    const int left = points.count() - 2 * ends;
    return {left > 0 ? static_cast<float>(sum / left) : 0.0f, ratios};
}

MedianLine plainMedianLine(const Points& points) {
    const int count = points.count(), half = count / 2;
    if (count < 2) return {0.0f, 0.0f, std::vector<float>(points.x.size())};
    const auto part = [](const std::vector<float>& values, int first, int length) {
        return std::vector<float>(values.begin() + first, values.begin() + first + length);
    };
    const float left = plainMedian(part(points.y, 0, half)), right = plainMedian(part(points.y, half, half));
    const float span = points.x[half + half / 2] - points.x[half / 2];
    const float first = span == 0.0f ? 0.0f : (right - left) / span;
    std::vector<float> leftRests(half), rightRests(half), rests(count);
    for (int i = 0; i < half; ++i) {
        leftRests[i] = points.y[i] - first * points.x[i];
        rightRests[i] = points.y[count - 1 - i] - first * points.x[count - 1 - i];
    }
    const float second = span == 0.0f ? 0.0f : (plainMedian(rightRests) - plainMedian(leftRests)) / span;
    const float slope = first + second;
    for (int i = 0; i < count; ++i) rests[i] = points.y[i] - slope * points.x[i];
    return {plainMedian(rests), slope, rests};
}

std::vector<float> plainWeights(const Points& points) {
    const MedianLine line = plainMedianLine(points);
    std::vector<float> rests(points.x.size()), sizes(points.x.size()), weights(points.x.size(), 1.0f);
    for (std::size_t i = 0; i < rests.size(); ++i) {
        rests[i] = points.y[i] - line.intercept - points.x[i] * line.slope;
        sizes[i] = std::fabs(rests[i]);
    }
    const float sigma = static_cast<float>(2.1 * static_cast<double>(plainMedian(sizes)));
    if (sigma == 0.0f) return weights;
    const float perSigma = 1.0f / sigma;
    for (std::size_t i = 0; i < rests.size(); ++i) {
        const float u = rests[i] * perSigma;
        if (static_cast<double>(std::fabs(u)) >= pi) weights[i] = 0.0f;
        else weights[i] = rests[i] != 0.0f ? sinf(u) / rests[i] : perSigma;
    }
    return weights;
}

ErrorLine plainErrorLine(const Points& points, const std::vector<float>& weights, float gauss) {
    ErrorLine fit = {};
    float w = 0.0f, wx = 0.0f, wxx = 0.0f, wxy = 0.0f, wy = 0.0f, wyy = 0.0f;
    for (int i = 0; i < points.count(); ++i) {
        const float x = points.x[i], y = points.y[i], xSquare = x * x, ySquare = y * y, weightedX = weights[i] * x;
        w += weights[i];
        wx += weightedX;
        wxx += weights[i] * xSquare;
        wxy += weightedX * y;
        wy += weights[i] * y;
        wyy += weights[i] * ySquare;
    }
    if (w == 0.0f) return fit;
    const float xx = wxx - wx * wx / w, yy = wyy - wy * wy / w, xy = wxy - wx * wy / w;
    if (xx == 0.0f) return fit;
    fit.line.slope = xy / xx;
    fit.line.intercept = wy / w - wx * xy / (xx * w);
    float rest = yy - fit.line.slope * xy, scatter = 0.0f;
    if (xy == 0.0f) rest = 0.0f;
    if (rest > 0.0f && points.count() > 2) scatter = std::sqrt(rest / static_cast<float>(points.count() - 2));
    if (xx * yy > 0.0f) fit.line.correlation = xy / std::sqrt(xx * yy);
    const float mean = wx / w, square = mean * mean, quotient = square / xx;
    const float q = static_cast<float>(1.0 / points.count() + static_cast<double>(quotient));
    if (q >= 0.0f) fit.interceptError = gauss * scatter * std::sqrt(q);
    if (xx > 0.0f) {
        fit.slopeError = gauss * scatter * std::sqrt(1.0f / xx);
        fit.interceptSigma = scatter * std::sqrt(wxx / (xx * w));
        fit.slopeSigma = scatter / std::sqrt(xx);
    }
    return fit;
}

/* Points about a line, at rising x with ties; some lie far off. */
Points scatteredPoints(int count, unsigned seed) {
    std::mt19937 engine(seed);
    std::uniform_real_distribution<float> step(0.0f, 20.0f), noise(-5.0f, 5.0f);
    Points points;
    float x = noise(engine);
    for (int i = 0; i < count; ++i) {
        x += engine() % 4 ? step(engine) : 0.0f;
        points.x.push_back(x);
        points.y.push_back(100.0f + 0.4f * x + noise(engine) + (engine() % 10 ? 0.0f : 400.0f));
    }
    return points;
}

/* Few different values, hence ties everywhere, and zeros of both signs. */
Points tiedPoints(int count, unsigned seed) {
    std::mt19937 engine(seed);
    Points points;
    for (int i = 0; i < count; ++i) {
        points.x.push_back(static_cast<float>(i / 3));
        points.y.push_back(static_cast<float>(static_cast<int>(engine() % 5) - 2) * (engine() % 2 ? 1.0f : -1.0f));
    }
    return points;
}

/* Every few points a value that is no ordinary number. */
Points oddPoints(int count, unsigned seed) {
    std::mt19937 engine(seed);
    Points points = scatteredPoints(count, seed);
    const float odd[] = {infinity, -infinity, notANumber, -notANumber, -0.0f, 0.0f, 1.0e-45f, -1.0e-40f, 3.0e38f};
    for (int k = 0; k < 1 + count / 8; ++k)
        (engine() % 3 ? points.y : points.x)[engine() % count] = odd[engine() % std::size(odd)];
    return points;
}

/* Runs check(points) on points of all kinds. */
template <class Check>
void onPointsOfAllKinds(Check check) {
    for (unsigned seed = 0; seed < 4; ++seed)
        for (int count = 1; count < 70; ++count) {
            check(scatteredPoints(count, 100 * seed + count));
            check(tiedPoints(count, 100 * seed + count));
            check(oddPoints(count, 100 * seed + count));
        }
    for (unsigned seed = 0; seed < 20; ++seed) {
        check(scatteredPoints(1000, seed));
        check(oddPoints(777, seed));
    }
}

Points onLine(int count, float intercept, float slope) {
    Points points;
    for (int i = 0; i < count; ++i) {
        points.x.push_back(static_cast<float>(i));
        points.y.push_back(intercept + slope * static_cast<float>(i));
    }
    return points;
}

// --- lstSquare ---

TEST(LstSquare, ReturnsTheLineOnWhichThePointsLie) {
    EXPECT_TRUE(sameLine(lstSquareOf(onLine(11, 3.0f, 0.5f)), {3.0f, 0.5f, 1.0f}));
    EXPECT_TRUE(sameLine(lstSquareOf(onLine(8, 3.0f, -2.0f)), {3.0f, -2.0f, -1.0f}));
}

TEST(LstSquare, FitsByHand) {
    const Line line = lstSquareOf({{0, 1, 2}, {0, 0, 3}});
    EXPECT_TRUE(sameLine(line, {-0.5f, 1.5f, static_cast<float>(3.0 / (std::sqrt(2.0) * std::sqrt(6.0)))}));
}

TEST(LstSquare, OfEqualAbscissaeIsLevelAtTheMean) {
    EXPECT_TRUE(sameLine(lstSquareOf({{2, 2, 2}, {1, 2, 6}}), {3.0f, 0.0f, 0.0f}));
    EXPECT_TRUE(sameLine(lstSquareOf({{2}, {5}}), {5.0f, 0.0f, 0.0f}));
}

TEST(LstSquare, OfEqualOrdinatesHasNoCorrelation) {
    EXPECT_TRUE(sameLine(lstSquareOf({{1, 2, 3}, {4, 4, 4}}), {4.0f, 0.0f, 0.0f}));
}

TEST(LstSquare, OfNoPointsIsZero) {
    for (int count : {0, -1, INT_MIN}) EXPECT_TRUE(sameLine(lstSquareOf({}, count), {0.0f, 0.0f, 0.0f}));
}

TEST(LstSquare, SumsInDouble) {
    EXPECT_TRUE(sameLine(lstSquareOf({{1.0e8f, 1.0e8f + 8, 1.0e8f + 16}, {1, 2, 3}}), {-12499999.0f, 0.125f, 1.0f}));
}

TEST(LstSquare, TakesTheInterceptOfTheSlopeAsStored) {
    const Points points = {{3.0e6f, 3.0e6f + 1, 3.0e6f + 3}, {1928572, 1928573, 1928574}};
    const Line line = lstSquareOf(points);
    const double xMean = (9.0e6 + 4) / 3;
    EXPECT_EQ(line.slope, static_cast<float>(9.0 / 14.0));
    EXPECT_EQ(line.intercept, static_cast<float>(1928573.0 - line.slope * xMean));
    EXPECT_NE(line.intercept, static_cast<float>(1928573.0 - 9.0 / 14.0 * xMean));
}

TEST(LstSquare, MatchesThePlainForm) {
    onPointsOfAllKinds([](const Points& points) {
        EXPECT_TRUE(sameLine(lstSquareOf(points), plainLine(points))) << points.count() << " points";
    });
}

// --- meanAlphaTrim ---

TEST(MeanAlphaTrim, WithNothingTrimmedIsTheMeanRatio) {
    EXPECT_EQ(meanAlphaTrimOf({{1, 2, 4}, {3, 4, 4}}, 0).slope, 2.0f);
    EXPECT_EQ(meanAlphaTrimOf({{2}, {5}}, 0).slope, 2.5f);
}

TEST(MeanAlphaTrim, LeavesTheSortedRatios) {
    EXPECT_EQ(meanAlphaTrimOf({{1, 2, 4}, {3, 4, 4}}, 50).ratios, (std::vector<float>{1, 2, 3}));
}

TEST(MeanAlphaTrim, LeavesHalfThePercentageOutAtEachEnd) {
    const Points points = {std::vector<float>(10, 1.0f), {1000, 2, 3, 4, 5, 6, 7, 8, 9, -1000}};
    EXPECT_EQ(meanAlphaTrimOf(points, 20).slope, 5.5f);
    EXPECT_EQ(meanAlphaTrimOf(points, 39).slope, 5.5f) << "3.9 points are 3, half of which is 1";
    EXPECT_EQ(meanAlphaTrimOf(points, 19).slope, 4.4f) << "1.9 points are 1, half of which is none";
}

TEST(MeanAlphaTrim, TakesThePercentageInDouble) {
    std::vector<float> ratios(100, 1.0f);
    ratios[28] = 101.0f; /* among the largest */
    for (int i = 0; i < 28; ++i) ratios[i] = 1000.0f;
    /* 58 / 100.0 * 100 is just below 58, which is 57, and half of that 28: the 29th from above remains. */
    EXPECT_EQ(meanAlphaTrimOf({std::vector<float>(100, 1.0f), ratios}, 58).slope, static_cast<float>(144.0 / 44));
}

TEST(MeanAlphaTrim, KeepsTheMedianOfAnOddCountTrimmedWhole) {
    EXPECT_EQ(meanAlphaTrimOf({{1, 1, 1}, {9, 2, 1}}, 100).slope, 2.0f);
    EXPECT_EQ(meanAlphaTrimOf({{1}, {7}}, 100).slope, 7.0f);
}

TEST(MeanAlphaTrim, OfNothingLeftIsZero) {
    EXPECT_EQ(bitsOf(meanAlphaTrimOf({{1, 1}, {3, 4}}, 100).slope), 0u);
    EXPECT_EQ(bitsOf(meanAlphaTrimOf({{1, 1, 1}, {3, 4, 5}}, 200).slope), 0u);
    for (int alpha : {0, 100, -100}) {
        EXPECT_EQ(bitsOf(meanAlphaTrimOf({}, alpha).slope), 0u);
        float slope = -1.0f;
        meanAlphaTrim(nullptr, nullptr, -5, alpha, nullptr, &slope);
        EXPECT_EQ(bitsOf(slope), 0u);
    }
}

TEST(MeanAlphaTrim, StaysWithinTheRatiosForAnyPercentage) {
    const Points points = {{1, 1, 1, 1}, {1, 2, 3, 6}};
    for (int alpha : {-1, -100, -1000, INT_MIN}) EXPECT_EQ(meanAlphaTrimOf(points, alpha).slope, 3.0f);
    EXPECT_EQ(bitsOf(meanAlphaTrimOf(points, INT_MAX).slope), 0u);
}

TEST(MeanAlphaTrim, TrimsTheInfiniteRatiosOfPointsAtTheOrigin) {
    EXPECT_EQ(meanAlphaTrimOf({{0, 1, 1, -0.0f}, {1, 2, 4, 1}}, 50).slope, 3.0f);
    EXPECT_EQ(meanAlphaTrimOf({{0, 1, 1}, {1, 2, 4}}, 0).slope, infinity);
    EXPECT_TRUE(std::isnan(meanAlphaTrimOf({{0, 1, 1}, {0, 2, 4}}, 0).slope));
}

TEST(MeanAlphaTrim, SumsInDouble) { EXPECT_EQ(meanAlphaTrimOf({{1, 1, 1, 1}, {-1.0e8f, 1, 1, 1.0e8f}}, 0).slope, 0.5f); }

TEST(MeanAlphaTrim, OfNegativeZerosIsZero) {
    EXPECT_EQ(bitsOf(meanAlphaTrimOf({{1, 1, 1}, {-0.0f, -0.0f, -0.0f}}, 0).slope), 0u);
}

TEST(MeanAlphaTrim, MatchesThePlainForm) {
    onPointsOfAllKinds([](const Points& points) {
        for (int alpha : {0, 10, 33, 58, 99, 100, 130}) {
            const Trimmed actual = meanAlphaTrimOf(points, alpha), expected = plainTrimmed(points, alpha);
            EXPECT_TRUE(sameBits(actual.slope, expected.slope)) << points.count() << " points, " << alpha << " %";
            EXPECT_TRUE(sameSamples(actual.ratios, expected.ratios));
        }
    });
}

// --- wghtLstSquare ---

TEST(WghtLstSquare, ReturnsTheLineOnWhichThePointsLie) {
    EXPECT_TRUE(sameLine(wghtLstSquareOf(onLine(11, 3.0f, 0.5f)).line, {3.0f, 0.5f, 1.0f}));
    EXPECT_TRUE(sameLine(wghtLstSquareOf(onLine(8, 3.0f, -2.0f)).line, {3.0f, -2.0f, -1.0f}));
}

TEST(WghtLstSquare, IsNotMovedByAGrossOutlier) {
    Points points = onLine(40, 10.0f, 0.5f);
    for (int i = 0; i < 40; ++i) points.y[i] += i % 2 ? 0.25f : -0.25f;
    const Weighted before = wghtLstSquareOf(points);
    points.y[5] += 1000.0f;
    const Weighted after = wghtLstSquareOf(points);
    EXPECT_EQ(after.weights[5], 0.0f);
    EXPECT_EQ(std::count(after.weights.begin(), after.weights.end(), 0.0f), 1);
    EXPECT_NEAR(after.line.intercept, before.line.intercept, 0.02f); /* of noise of 0.25, over 40 points */
    EXPECT_NEAR(after.line.slope, before.line.slope, 0.002f);
    EXPECT_GT(lstSquareOf(points).intercept, 20.0f);
    points.y[5] += 1.0e6f;
    EXPECT_TRUE(sameLine(wghtLstSquareOf(points).line, after.line));
}

TEST(WghtLstSquare, OfTwoOrThreePointsIsPlainLeastSquares) {
    const Weighted three = wghtLstSquareOf({{0, 1, 2}, {0, 0, 3}}), two = wghtLstSquareOf({{0, 2}, {1, 5}});
    EXPECT_TRUE(sameLine(three.line, {-0.5f, 1.5f, 3.0f / std::sqrt(12.0f)}));
    EXPECT_EQ(three.weights, (std::vector<float>{1, 1, 1}));
    EXPECT_TRUE(sameLine(two.line, {1.0f, 2.0f, 1.0f}));
    EXPECT_EQ(two.weights, (std::vector<float>{1, 1}));
}

TEST(WghtLstSquare, OfFewerThanTwoPointsIsZeroAndLeavesTheWeight) {
    const Weighted one = wghtLstSquareOf({{3}, {4}});
    EXPECT_TRUE(sameLine(one.line, {0.0f, 0.0f, 0.0f}));
    EXPECT_EQ(one.weights[0], -1.0f);
    for (int count : {0, -1, INT_MIN}) {
        Line line = {-1.0f, -1.0f, -1.0f};
        wghtLstSquare(nullptr, nullptr, nullptr, &count, &line.intercept, &line.slope, &line.correlation);
        EXPECT_TRUE(sameLine(line, {0.0f, 0.0f, 0.0f}));
    }
}

TEST(WghtLstSquare, OfEqualAbscissaeIsZero) {
    EXPECT_TRUE(sameLine(wghtLstSquareOf({{2, 2, 2}, {1, 2, 6}}).line, {0.0f, 0.0f, 0.0f}));
    EXPECT_TRUE(sameLine(wghtLstSquareOf({{2, 2, 2, 2, 2}, {1, 2, 6, 3, 2}}).line, {0.0f, 0.0f, 0.0f}));
}

TEST(WghtLstSquare, MatchesThePlainForm) {
    onPointsOfAllKinds([](const Points& points) {
        if (points.count() < 2) return;
        const Weighted actual = wghtLstSquareOf(points);
        const std::vector<float> weights =
            points.count() > 3 ? plainWeights(points) : std::vector<float>(points.x.size(), 1.0f);
        EXPECT_TRUE(sameSamples(actual.weights, weights)) << points.count() << " points";
        EXPECT_TRUE(sameLine(actual.line, plainErrorLine(points, weights, 1.0f).line)) << points.count() << " points";
    });
}

// --- wghtCalcWeights ---

TEST(WghtCalcWeights, AreOneWhereHalfThePointsLieOnTheLine) {
    Points points = onLine(9, 1.0f, 2.0f);
    points.y[8] = 100.0f;
    EXPECT_EQ(weightsOf(points), std::vector<float>(9, 1.0f));
}

/* The median line is level at 0, the median of the sizes 2: sigma is 4.2. */
TEST(WghtCalcWeights, AreTheSinesOfTheResiduals) {
    const Points points = {{0, 1, 2, 3, 4, 5, 6, 7, 8}, {2, -2, 0, 20, -20, 0, 2, -2, 0}};
    const MedianLine line = medianLineOf(points);
    ASSERT_EQ(line.intercept, 0.0f);
    ASSERT_EQ(line.slope, 0.0f);
    const float perSigma = 1.0f / static_cast<float>(2.1 * 2.0f), weight = sinf(2.0f * perSigma) / 2.0f;
    EXPECT_EQ(weightsOf(points), (std::vector<float>{weight, weight, perSigma, 0, 0, perSigma, weight, weight, perSigma}));
}

TEST(WghtCalcWeights, EndAtPiSigma) {
    const float sigma = static_cast<float>(2.1 * 2.0f), perSigma = 1.0f / sigma;
    float far = 13.0f;
    while (far * perSigma < pi) far = std::nextafter(far, 100.0f);
    const float near = std::nextafter(far, 0.0f);
    const Points points = {{0, 1, 2, 3, 4, 5, 6, 7, 8}, {2, -2, 0, near, -near, 0, 2, far, 0}};
    const std::vector<float> weights = weightsOf(points);
    EXPECT_EQ(weights[3], sinf(near * perSigma) / near);
    EXPECT_NE(weights[3], 0.0f);
    EXPECT_EQ(weights[4], weights[3]);
    EXPECT_EQ(weights[7], 0.0f);
}

TEST(WghtCalcWeights, TakeTheFactorOfSigmaInDouble) {
    const float median = 0.7f; /* times 2.1 it has another float than times the float 2.1 */
    ASSERT_NE(static_cast<float>(2.1 * median), 2.1f * median);
    const Points points = {{0, 1, 2, 3, 4, 5, 6, 7, 8}, {median, -median, 0, 20, -20, 0, median, -median, 0}};
    EXPECT_EQ(weightsOf(points)[2], 1.0f / static_cast<float>(2.1 * median));
}

TEST(WghtCalcWeights, TakeSinesInSinglePrecision) {
    int differences = 0;
    const float perSigma = 1.0f / static_cast<float>(2.1 * 2.0f);
    for (float y = 9.0f; y < 13.0f; y += 0.03125f) {
        const Points points = {{0, 1, 2, 3, 4, 5, 6, 7, 8}, {2, -2, 0, y, -y, 0, 2, -2, 0}};
        const float weight = weightsOf(points)[3];
        EXPECT_EQ(weight, sinf(y * perSigma) / y);
        differences += weight != static_cast<float>(std::sin(static_cast<double>(y * perSigma)) / static_cast<double>(y));
    }
    EXPECT_GT(differences, 0) << "double would have given the same";
}

TEST(WghtCalcWeights, OfOnePointOrNone) {
    EXPECT_TRUE(sameSamples(weightsOf({{3}, {4}}), plainWeights({{3}, {4}})));
    EXPECT_EQ(weightsOf({{3}, {0}})[0], 1.0f);
    for (int count : {0, -1, INT_MIN}) wghtCalcWeights(nullptr, nullptr, &count, nullptr);
}

TEST(WghtCalcWeights, AreOneWithoutMemory) {
    const Points points = scatteredPoints(20, 3);
    const std::vector<float> weights = weightsOf(points);
    ASSERT_NE(weights, std::vector<float>(20, 1.0f));
    for (int allocation = 0; allocation < 3; ++allocation) {
        arraysUntilFailure = allocation;
        EXPECT_EQ(weightsOf(points), std::vector<float>(20, 1.0f));
        EXPECT_EQ(arraysUntilFailure, -1) << "the allocation did not fail";
        arraysUntilFailure = -1;
    }
    EXPECT_EQ(weightsOf(points), weights);
}

TEST(WghtCalcWeights, MatchThePlainForm) {
    onPointsOfAllKinds([](const Points& points) {
        EXPECT_TRUE(sameSamples(weightsOf(points), plainWeights(points))) << points.count() << " points";
    });
}

// --- wghtMedianReg ---

TEST(WghtMedianReg, ReturnsTheLineOnWhichThePointsLie) {
    for (int count : {2, 3, 4, 5, 20, 21}) {
        const MedianLine line = medianLineOf(onLine(count, 3.0f, 0.5f));
        EXPECT_EQ(line.slope, 0.5f) << count;
        EXPECT_EQ(line.intercept, 3.0f) << count;
        EXPECT_EQ(line.rests, std::vector<float>(count, 3.0f));
    }
}

/* Halves (0, 1) and (2, 3): medians at x 1 and 3, y 4 and 8, so a slope of 2. Residuals 1, 2 and 2, 2 leave it. */
TEST(WghtMedianReg, FitsByHand) {
    const MedianLine line = medianLineOf({{0, 1, 2, 3}, {1, 4, 6, 8}});
    EXPECT_EQ(line.slope, 2.0f);
    EXPECT_EQ(line.intercept, 2.0f);
    EXPECT_EQ(line.rests, (std::vector<float>{1, 2, 2, 2}));
}

/* Of five points the first slope takes the third and fourth as the right half, 10 and 0: 10 / 2 = 5. The residuals are taken of
 * the fourth and fifth: -15 and -20 against 0 and -5, -15 / 2 = -7.5. With the same half twice it would have been another line. */
TEST(WghtMedianReg, TakesTheMiddleOfAnOddCountInPlaceOfTheLast) {
    const MedianLine line = medianLineOf({{0, 1, 2, 3, 4}, {0, 0, 10, 0, 0}});
    EXPECT_EQ(line.slope, 5.0f - 7.5f);
    EXPECT_EQ(line.rests, (std::vector<float>{0, 2.5f, 15, 7.5f, 10}));
    EXPECT_EQ(line.intercept, 7.5f);
}

TEST(WghtMedianReg, OfEqualAbscissaeIsLevelAtTheMedian) {
    const MedianLine line = medianLineOf({{2, 2, 2, 2, 2}, {1, 9, 2, 3, 7}});
    EXPECT_EQ(line.slope, 0.0f);
    EXPECT_EQ(line.intercept, 3.0f);
}

TEST(WghtMedianReg, OfFewerThanTwoPointsIsZero) {
    for (int count : {1, 0, -1, INT_MIN}) {
        float x = 3.0f, y = 4.0f, intercept = -1.0f, slope = -1.0f, work;
        int index;
        wghtMedianReg(&x, &y, &count, &intercept, &slope, &index, &work);
        EXPECT_EQ(bitsOf(intercept), 0u);
        EXPECT_EQ(bitsOf(slope), 0u);
    }
}

TEST(WghtMedianReg, MatchesThePlainForm) {
    onPointsOfAllKinds([](const Points& points) {
        const MedianLine actual = medianLineOf(points), expected = plainMedianLine(points);
        EXPECT_TRUE(sameBits(actual.slope, expected.slope)) << points.count() << " points";
        EXPECT_TRUE(sameBits(actual.intercept, expected.intercept)) << points.count() << " points";
        EXPECT_TRUE(sameSamples(actual.rests, expected.rests));
    });
}

// --- wghtMedian ---

TEST(WghtMedian, IsTheMiddleValue) {
    EXPECT_EQ(medianOf({5, 1, 3}), 3.0f);
    EXPECT_EQ(medianOf({7}), 7.0f);
    EXPECT_EQ(medianOf({2, 2, 1, 2, 9}), 2.0f);
}

TEST(WghtMedian, OfAnEvenCountIsTheUpperMiddleValue) {
    EXPECT_EQ(medianOf({4, 1, 3, 2}), 3.0f);
    EXPECT_EQ(medianOf({2, 1}), 2.0f);
}

TEST(WghtMedian, CountsNotANumberAsLargest) {
    EXPECT_EQ(medianOf({notANumber, 1, 2}), 2.0f);
    EXPECT_EQ(medianOf({-notANumber, infinity, 2}), infinity);
    EXPECT_TRUE(std::isnan(medianOf({notANumber, 1, notANumber, -infinity})));
}

TEST(WghtMedian, CountsNegativeZeroAsSmallerThanZero) {
    EXPECT_EQ(bitsOf(medianOf({0.0f, -0.0f})), bitsOf(0.0f));
    EXPECT_EQ(bitsOf(medianOf({-0.0f, 0.0f, -0.0f})), bitsOf(-0.0f));
}

TEST(WghtMedian, KeepsTheValuesAndPartlyOrdersTheirIndices) {
    std::vector<float> values = scatteredPoints(101, 5).y;
    const std::vector<float> before = values;
    std::vector<int> indices(101, -7);
    const float median = wghtMedian(values.data(), indices.data(), 101);
    EXPECT_EQ(values, before);
    EXPECT_EQ(values[indices[50]], median);
    for (int k = 0; k < 50; ++k) EXPECT_LE(values[indices[k]], median);
    for (int k = 51; k < 101; ++k) EXPECT_GE(values[indices[k]], median);
    std::sort(indices.begin(), indices.end());
    for (int k = 0; k < 101; ++k) EXPECT_EQ(indices[k], k);
}

TEST(WghtMedian, OfNothingIsZero) {
    for (int n : {0, -1, INT_MIN}) EXPECT_EQ(bitsOf(wghtMedian(nullptr, nullptr, n)), 0u);
}

TEST(WghtMedian, MatchesAFullSort) {
    onPointsOfAllKinds([](const Points& points) {
        EXPECT_TRUE(sameBits(medianOf(points.y), plainMedian(points.y))) << points.count() << " values";
    });
}

// --- wghtCalcLstsqr ---

/* Points (-1, 0), (0, 0), (1, 3) have Sxx = 2, Sxy = 3, Syy = 6: what the line leaves is 6 - 1.5 * 3 = 1.5 over one degree of
 * freedom. */
TEST(WghtCalcLstsqr, FitsByHand) {
    const ErrorLine fit = errorLineOf({{-1, 0, 1}, {0, 0, 3}}, {1, 1, 1}, 2.0f);
    const float scatter = std::sqrt(1.5f);
    EXPECT_TRUE(sameLine(fit.line, {1.0f, 1.5f, 3.0f / std::sqrt(12.0f)}));
    EXPECT_EQ(fit.interceptError, 2.0f * scatter * std::sqrt(static_cast<float>(1.0 / 3)));
    EXPECT_EQ(fit.slopeError, 2.0f * scatter * std::sqrt(0.5f));
    EXPECT_EQ(fit.interceptSigma, scatter * std::sqrt(2.0f / 6.0f));
    EXPECT_EQ(fit.slopeSigma, scatter / std::sqrt(2.0f));
}

TEST(WghtCalcLstsqr, GivesEveryPointItsWeight) {
    const Line line = errorLineOf({{0, 1, 2, 7}, {1, 3, 5, 400}}, {2, 1, 2, 0}).line;
    EXPECT_TRUE(sameLine(line, {1.0f, 2.0f, 1.0f}));
    const Line twice = errorLineOf({{0, 1, 2}, {0, 0, 3}}, {1, 1, 2}).line,
               repeated = errorLineOf({{0, 1, 2, 2}, {0, 0, 3, 3}}, {1, 1, 1, 1}).line;
    EXPECT_TRUE(sameLine(twice, repeated));
}

/* Six of the degrees of freedom belong to points that were rejected. */
TEST(WghtCalcLstsqr, CountsRejectedPointsInTheScatter) {
    const ErrorLine three = errorLineOf({{-1, 0, 1}, {0, 0, 3}}, {1, 1, 1});
    const ErrorLine nine =
        errorLineOf({{-1, 0, 1, 2, 3, 4, 5, 6, 7}, {0, 0, 3, 9, 9, 9, 9, 9, 9}}, {1, 1, 1, 0, 0, 0, 0, 0, 0});
    EXPECT_TRUE(sameLine(nine.line, three.line));
    EXPECT_EQ(nine.slopeSigma, std::sqrt(1.5f / 7.0f) / std::sqrt(2.0f));
}

TEST(WghtCalcLstsqr, HasNoErrorsForTwoPointsOrForALevelLine) {
    for (const ErrorLine& fit : {errorLineOf({{0, 2}, {1, 4}}, {1, 1}), errorLineOf({{-1, 0, 1}, {1, -2, 1}}, {1, 1, 1})}) {
        EXPECT_EQ(fit.interceptError, 0.0f);
        EXPECT_EQ(fit.slopeError, 0.0f);
        EXPECT_EQ(fit.interceptSigma, 0.0f);
        EXPECT_EQ(fit.slopeSigma, 0.0f);
    }
}

TEST(WghtCalcLstsqr, IsZeroWithoutPointsWeightOrSpread) {
    const ErrorLine zeros = {};
    for (int count : {0, -1, INT_MIN}) EXPECT_TRUE(sameErrorLine(errorLineOf({}, {}, 1.0f, count), zeros));
    EXPECT_TRUE(sameErrorLine(errorLineOf({{1, 2}, {3, 5}}, {0, 0}), zeros));
    EXPECT_TRUE(sameErrorLine(errorLineOf({{2, 2, 2}, {1, 2, 6}}, {1, 1, 1}), zeros));
    EXPECT_TRUE(sameErrorLine(errorLineOf({{1, 2, 3}, {1, 2, 6}}, {0, 1, 0}), zeros));
}

TEST(WghtCalcLstsqr, SumsInSinglePrecision) {
    EXPECT_EQ(errorLineOf({{1.0e8f, 1, -1.0e8f}, {1, 1, 1}}, {1, 1, 1}).line.slope, 0.0f);
    /* 4096 squares to 2^24, beside which a float loses the 1. */
    EXPECT_EQ(errorLineOf({{4096, 1, -4096}, {1, 0, -1}}, {1, 1, 1}).line.slope, 8192.0f / 33554432.0f);
    /* The square comes before the weight: it is infinite before a weight of 1e-20 could make 1e20 of it. */
    EXPECT_EQ(errorLineOf({{1.0e20f, 0}, {1, 0}}, {1.0e-20f, 1}).line.slope, 0.0f);
}

/* 1/n in double and a quotient in single precision, added in double. */
TEST(WghtCalcLstsqr, TakesTheReciprocalOfTheCountInDouble) {
    int differences = 0;
    for (unsigned seed = 0; seed < 200; ++seed) {
        const Points points = scatteredPoints(30, seed);
        const std::vector<float> weights(30, 1.0f);
        const ErrorLine fit = errorLineOf(points, weights);
        EXPECT_EQ(fit.interceptError, plainErrorLine(points, weights, 1.0f).interceptError);
        float x = 0.0f, xx = 0.0f;
        for (float value : points.x) x += value, xx += value * value;
        const float spread = xx - x * x / 30.0f, mean = x / 30.0f;
        const float scatter = fit.slopeSigma * std::sqrt(spread);
        ASSERT_GT(scatter, 0.0f);
        differences += static_cast<float>(1.0 / 30 + mean * mean / spread) != 1.0f / 30 + mean * mean / spread;
    }
    EXPECT_GT(differences, 0) << "single precision would have given the same";
}

TEST(WghtCalcLstsqr, MatchesThePlainForm) {
    std::mt19937 engine(9);
    onPointsOfAllKinds([&](const Points& points) {
        std::vector<float> weights(points.x.size());
        for (float& weight : weights) weight = engine() % 5 ? static_cast<float>(engine() % 1000) / 700.0f : 0.0f;
        EXPECT_TRUE(sameErrorLine(errorLineOf(points, weights, 1.96f), plainErrorLine(points, weights, 1.96f)))
            << points.count() << " points";
    });
}

}
