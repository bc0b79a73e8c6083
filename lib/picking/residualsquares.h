#ifndef PELTA_LIB_PICKING_RESIDUALSQUARES_H
#define PELTA_LIB_PICKING_RESIDUALSQUARES_H

#include <algorithm>
#include <array>
#include <limits>

#include "picking/lanes.h"
#include "vectorize.h"

/* Sums of squared residuals of prediction models: squared over lanes, added in order. */

namespace {

/* Targets in a row that one model predicts in one direction: step is -1 for predictors before the target, 1 for those behind. */
struct ResidualRun {
    const float* targets;
    Index count;
    const float* coefficients;
    Index order, step;
};

ResidualRun forwardRun(const float* x, Index n, const float* coefficients, Index order) {
    return {x + std::min(order, n), n - order, coefficients, order, -1};
}

ResidualRun backwardRun(const float* x, Index n, const float* coefficients, Index order) {
    return {x, n - order, coefficients, order, 1};
}

void squareOne(const ResidualRun& run, Index target, float* square) {
    const float* at = run.targets + target;
    float prediction = 0.0f;
    for (Index j = 0; j < run.order; ++j) prediction += run.coefficients[j] * at[(j + 1) * run.step];
    *square = (*at - prediction) * (*at - prediction);
}

/* Neighbouring targets whose predictions advance side by side, each in the order of its terms. */
constexpr int fewTargets = 2 * laneCount, manyTargets = 32;

void squareFew(const ResidualRun& run, Index target, float* squares) {
    const float* at = run.targets + target;
    Lanes low = {}, high = {};
    for (Index j = 0; j < run.order; ++j) {
        const float* predictors = at + (j + 1) * run.step;
        low += run.coefficients[j] * lanesAt(predictors);
        high += run.coefficients[j] * lanesAt(predictors + laneCount);
    }
    low = lanesAt(at) - low;
    high = lanesAt(at + laneCount) - high;
    const Lanes squared[2] = {low * low, high * high};
    std::memcpy(squares, squared, sizeof squared);
}

PELTA_INLINE void squareMany(const ResidualRun& run, Index target, float* squares) {
    const float* at = run.targets + target;
    float predictions[manyTargets] = {};
    for (Index j = 0; j < run.order; ++j) {
        const float coefficient = run.coefficients[j], *predictors = at + (j + 1) * run.step;
        for (int lane = 0; lane < manyTargets; ++lane) predictions[lane] += coefficient * predictors[lane];
    }
    for (int lane = 0; lane < manyTargets; ++lane)
        squares[lane] = (at[lane] - predictions[lane]) * (at[lane] - predictions[lane]);
}

/* Squared residuals of the targets from begin to end, by groups; squares belongs to begin. A last group that is not full is
 * moved back, over targets that then get the same again or over up to a group's length before begin. */
template <int group>
PELTA_INLINE void squareByGroups(const ResidualRun& run, Index begin, Index end, float* squares) {
    for (Index k = begin; k < end; k += group) {
        const Index first = std::min(k, end - group);
        if constexpr (group == manyTargets) squareMany(run, first, squares + (first - begin));
        else if constexpr (group == fewTargets) squareFew(run, first, squares + (first - begin));
        else squareOne(run, first, squares + (first - begin));
    }
}

PELTA_VECTORIZE void squareByManyTargets(const ResidualRun& run, Index begin, Index end, float* squares) {
    squareByGroups<manyTargets>(run, begin, end, squares);
}

/* Hands out the squared residuals of a run, in order. */
class SquareFeed {
  public:
    Index count = 0;

    void next(const ResidualRun& run) {
        const Index begin = done, end = std::min(run.count, done + capacity);
        count = std::max(end - begin, Index{0});
        done += count;
        if (run.count >= manyTargets) squareByManyTargets(run, begin, end, buffer + manyTargets);
        else if (run.count >= fewTargets) squareByGroups<fewTargets>(run, begin, end, buffer + manyTargets);
        else squareByGroups<1>(run, begin, end, buffer + manyTargets);
    }

    bool ended(const ResidualRun& run) const { return done >= run.count; }
    const float* squares() const { return buffer + manyTargets; }

  private:
    static constexpr Index capacity = 256;
    float buffer[manyTargets + capacity];
    Index done = 0;
};

/* Adds the first count squares of every feed. */
template <std::size_t runCount>
void addSideBySide(const std::array<SquareFeed, runCount>& feeds, Index count, std::array<float, runCount>& sums) {
    std::array<const float*, runCount> squares;
    for (std::size_t r = 0; r < runCount; ++r) squares[r] = feeds[r].squares();
    std::array<float, runCount> grown = sums;  // a copy of its own, or the sums would travel through memory at every step
    for (Index i = 0; i < count; ++i)
        for (std::size_t r = 0; r < runCount; ++r) grown[r] += squares[r][i];
    sums = grown;
}

/* Sums of squared residuals, each in the order of its targets. Every addition waits for the one before it in its own sum only,
 * so several runs take as long as one. */
template <std::size_t runCount>
std::array<float, runCount> squareSums(const std::array<ResidualRun, runCount>& runs) {
    std::array<SquareFeed, runCount> feeds;
    std::array<float, runCount> sums = {};
    for (bool more = true; more;) {
        Index shared = std::numeric_limits<Index>::max();
        more = false;
        for (std::size_t r = 0; r < runCount; ++r) {
            feeds[r].next(runs[r]);
            shared = std::min(shared, feeds[r].count);
            more = more || !feeds[r].ended(runs[r]);
        }
        addSideBySide(feeds, shared, sums);
        for (std::size_t r = 0; r < runCount; ++r)
            for (Index i = shared; i < feeds[r].count; ++i) sums[r] += feeds[r].squares()[i];
    }
    return sums;
}

float residualSquares(const float* x, Index n, const float* coefficients, Index order, int direction) {
    const ResidualRun forward = forwardRun(x, n, coefficients, order), backward = backwardRun(x, n, coefficients, order);
    if (direction != 0) return squareSums<1>({direction > 0 ? forward : backward})[0];
    const std::array<float, 2> sums = squareSums<2>({forward, backward});
    return sums[0] + sums[1];
}

/* The same for a model and for the one of the next order. */
std::array<float, 2> residualSquaresOfPair(const float* x, Index n, const float* coefficients, const float* nextCoefficients,
                                           Index order, int direction) {
    const ResidualRun forward = forwardRun(x, n, coefficients, order), backward = backwardRun(x, n, coefficients, order);
    const ResidualRun nextForward = forwardRun(x, n, nextCoefficients, order + 1);
    const ResidualRun nextBackward = backwardRun(x, n, nextCoefficients, order + 1);
    if (direction > 0) return squareSums<2>({forward, nextForward});
    if (direction < 0) return squareSums<2>({backward, nextBackward});
    const std::array<float, 4> sums = squareSums<4>({forward, backward, nextForward, nextBackward});
    return {sums[0] + sums[1], sums[2] + sums[3]};
}

}

#endif
