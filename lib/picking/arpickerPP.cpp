#include <pelta/arpicker.h>

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <optional>

#include "vectorize.h"

namespace {

/* The prediction error assumed before the first tested order. */
constexpr float untestedError = 1.0e20f;

using Index = std::ptrdiff_t;

/* Element (i, 0) of a packed lower triangle, i from 0. */
Index rowStart(Index i) { return i * (i + 1) / 2; }

/* Kahan's compensated sum; Real is a float or several side by side. */
template <class Real>
struct CompensatedSum {
    Real sum = {}, carry = {};

    void add(Real term) {
        const Real corrected = term + carry, next = sum + corrected;
        carry = (sum - next) + corrected;
        sum = next;
    }
    Real value() const { return sum + carry; }
};

float lagSum(const float* x, Index terms, Index lag) {
    CompensatedSum<float> sum;
    for (Index i = 0; i < terms; ++i) sum.add(x[i + lag] * x[i]);
    return sum.value();
}

using Lanes = float __attribute__((vector_size(16)));
constexpr int laneCount = sizeof(Lanes) / sizeof(float);

Lanes lanesAt(const float* values) {
    Lanes lanes;
    std::memcpy(&lanes, values, sizeof lanes);
    return lanes;
}

/* The lagged sums of a window. A compensated sum is four additions that wait for one another at every term: eight lags that run
 * side by side take as long as one. Lag 0 has as many terms as lag 1. */
class LagSums {
  public:
    LagSums(const float* samples, Index count) : x(samples), n(count) { fill(0); }

    float operator[](Index lag) {
        if (lag - firstLag >= lagCount) fill(lag);
        return sums[lag - firstLag];
    }

  private:
    static constexpr int groupCount = 2, lagCount = groupCount * laneCount;
    using Group = CompensatedSum<Lanes>;

    void fill(Index first) {
        firstLag = first;
        Group groups[groupCount];
        const Index shared = n - (firstLag + lagCount - 1);
        for (Index i = 0; i < shared; ++i)
            for (int g = 0; g < groupCount; ++g) groups[g].add(lanesAt(x + i + firstLag + g * laneCount) * x[i]);
        for (int g = 0; g < groupCount; ++g) finish(groups[g], std::max(shared, Index{0}), g * laneCount);
    }

    void finish(Group group, Index i, int offset) {
        const Index lag = firstLag + offset, shared = n - (lag + laneCount - 1);
        for (; i < shared; ++i) group.add(lanesAt(x + i + lag) * x[i]);
        for (int lane = 0; lane < laneCount; ++lane) {
            CompensatedSum<float> sum = {group.sum[lane], group.carry[lane]};
            for (Index k = i; k < n - std::max(lag + lane, Index{1}); ++k) sum.add(x[k + lag + lane] * x[k]);
            sums[offset + lane] = sum.value();
        }
    }

    const float* x;
    const Index n;
    Index firstLag = 0;
    float sums[lagCount];
};

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

float reciprocalRoot(float pivot) { return static_cast<float>(1.0 / std::sqrt(static_cast<double>(pivot))); }

/* Cholesky's factor in place; false when a pivot is 0 or less. */
bool factorise(float* a, Index n) {
    for (Index i = 0; i < n; ++i) {
        float* row = a + rowStart(i);
        for (Index j = 0; j <= i; ++j) {
            const float* other = a + rowStart(j);
            float rest = row[j];
            for (Index k = 0; k < j; ++k) rest -= row[k] * other[k];
            if (j < i) {
                row[j] = rest * other[j];
            } else {
                if (rest <= 0.0f) return false;
                row[j] = reciprocalRoot(rest);
            }
        }
    }
    return true;
}

/* Solves in place and returns the sum of squares of the intermediate solution. */
float solve(const float* l, float* b, Index n) {
    float explained = 0.0f;
    for (Index i = 0; i < n; ++i) {
        const float* row = l + rowStart(i);
        float rest = b[i];
        for (Index k = 0; k < i; ++k) rest -= row[k] * b[k];
        b[i] = rest * row[i];
        explained += b[i] * b[i];
    }
    for (Index i = n - 1; i >= 0; --i) {
        float rest = b[i];
        for (Index k = i + 1; k < n; ++k) rest -= l[rowStart(k) + i] * b[k];
        b[i] = rest * l[rowStart(i) + i];
    }
    return explained;
}

bool errorRises(float p, float previous, int m, int n, int akcode) {
    const float order = static_cast<float>(m), count = static_cast<float>(n);
    if (akcode == 1) return (count + order + 1.0f) / (count - order - 1.0f) * p > (count + order) / (count - order) * previous;
    return (count + order) / (count - order) * p > (count + order - 1.0f) / (count - order + 1.0f) * previous;
}

/* The least-squares equations of one window, raised from order to order. */
class NormalEquations {
  public:
    NormalEquations(const float* samples, Index count, int code, float* matrix, float* rightSide)
        : x(samples), n(count), direction(code), v(matrix), s(rightSide), lags(samples, count) {
        const float shared = lags[0], first = x[0] * x[0], last = x[n - 1] * x[n - 1];
        if (direction < 0) {
            yty = shared;
            v[0] = shared - first + last;
        } else if (direction > 0) {
            yty = shared - first + last;
            v[0] = shared;
        } else {
            yty = v[0] = 2.0f * shared - first + last;
        }
        s[0] = newLag(1);
    }

    Index order() const { return m; }
    float targetSquares() const { return yty; }
    bool solvable() const { return m < n; }

    /* Where no equation would be left, only the order is counted. */
    void raise() {
        if (m + 1 < n) {
            appendRow();
            for (Index i = 0; i < m; ++i)
                reduce(v + rowStart(i), v + rowStart(i), i + 1, {m - 1 - i, m - 1}, {n - m + i, n - m});
            reduce(s, s, m, {m, m - 1}, {n - m - 1, n - m});
            yty -= leaving(x[m] * x[m], x[n - m - 1] * x[n - m - 1]);
            s[m] = newLag(m + 1);
        }
        ++m;
    }

  private:
    /* What leaves a sum: a product of forward sums, of backward sums, or both. */
    template <class Real>
    Real leaving(Real forward, Real backward) const {
        return direction > 0 ? forward : direction < 0 ? backward : forward + backward;
    }

    /* The row of the new order is the last right-hand side and the row above, their products moved on by one sample. */
    void appendRow() {
        float* row = v + rowStart(m);
        row[0] = s[m - 1] - leaving(x[n - 1] * x[n - 1 - m], x[0] * x[m]);
        reduce(v + rowStart(m - 1), row + 1, m, {n - 1 - m, n - 2}, {m, 1});
    }

    /* Two samples whose product leaves the first sum of a row. */
    struct LeavingPair {
        Index fixed, moving;
    };

    /* to(j) = from(j) less what leaves it: along the row the moving sample goes back in forward sums, on in backward sums. */
    void reduce(const float* from, float* to, Index count, LeavingPair forward, LeavingPair backward) const {
        const float *fore = x + forward.moving, *back = x + backward.moving;
        const float foreFactor = x[forward.fixed], backFactor = x[backward.fixed];
        Index j = 0;
        for (; j + laneCount <= count; j += laneCount) {
            const Lanes ascending = lanesAt(fore - j - (laneCount - 1));
            const Lanes descending = _mm_shuffle_ps(ascending, ascending, _MM_SHUFFLE(0, 1, 2, 3));
            const Lanes reduced = lanesAt(from + j) - leaving(foreFactor * descending, backFactor * lanesAt(back + j));
            std::memcpy(to + j, &reduced, sizeof reduced);
        }
        for (; j < count; ++j) to[j] = from[j] - leaving(foreFactor * fore[-j], backFactor * back[j]);
    }

    float newLag(Index lag) {
        const float sum = lags[lag];
        return direction == 0 ? 2.0f * sum : sum;
    }

    const float* x;
    const Index n;
    const int direction;
    float* v;
    float* s;
    LagSums lags;
    float yty = 0.0f;
    Index m = 1;
};

/* The equations of up to four successive orders, copied as they come and then factorised and solved side by side, which
 * hides the wait for every root and division. A lane sees the operations of factorise and solve. */
class OrderGroup {
  public:
    static constexpr Index largestOrder = 64;

    /* Makes room for orders from lowest on; lanes that are not needed have order 0. */
    void start(Index lowest, int size) {
        top = lowest + size - 1;
        failedRow = Flags{} + noRow;
        for (int lane = 0; lane < laneCount; ++lane) orders[lane] = lane < size ? static_cast<int>(lowest) + lane : 0;
        for (int lane = size; lane < laneCount; ++lane) set(lane, nullptr, nullptr);
    }

    /* Rows that an order below the top lacks become those of the unit matrix. */
    void set(int lane, const float* v, const float* s) {
        const Index m = orders[lane];
        for (Index e = 0; e < rowStart(m); ++e) matrix[e][lane] = v[e];
        for (Index i = 0; i < m; ++i) right[i][lane] = s[i];
        for (Index i = m; i < top; ++i) {
            for (Index e = rowStart(i); e < rowStart(i) + i; ++e) matrix[e][lane] = 0.0f;
            matrix[rowStart(i) + i][lane] = 1.0f;
            right[i][lane] = 0.0f;
        }
    }

    void solve() {
        explainedSquares = Lanes{};
        for (Index i = 0; i < top; ++i) {
            factoriseRow(i);
            explainedSquares = holds(i) ? explainedSquares + solution[i] * solution[i] : explainedSquares;
        }
        for (Index i = top - 1; i >= 0; --i) {
            const Index common = std::max(i + 1, Index{orders[0]});
            Lanes rest = solution[i];
            for (Index k = i + 1; k < std::min(common, top); ++k) rest -= factor[rowStart(k) + i] * solution[k];
            for (Index k = common; k < top; ++k) rest = holds(k) ? rest - factor[rowStart(k) + i] * solution[k] : rest;
            solution[i] = rest * factor[rowStart(i) + i];
        }
    }

    bool failed(int lane) const { return failedRow[lane] != noRow; }
    float explained(int lane) const { return explainedSquares[lane]; }

    void copyEquations(int lane, float* v, float* s) const {
        for (Index e = 0; e < rowStart(orders[lane]); ++e) v[e] = matrix[e][lane];
        for (Index i = 0; i < orders[lane]; ++i) s[i] = right[i][lane];
    }

    /* As factorise leaves it, also where it fails. */
    void copyFactor(int lane, float* vc) const {
        const Index end = rowStart(orders[lane]), reached = failed(lane) ? rowStart(Index{failedRow[lane]} + 1) - 1 : end;
        for (Index e = 0; e < end; ++e) vc[e] = e < reached ? factor[e][lane] : matrix[e][lane];
    }

    void copySolution(int lane, float* sc) const {
        for (Index i = 0; i < orders[lane]; ++i) sc[i] = failed(lane) ? right[i][lane] : solution[i][lane];
    }

  private:
    using Flags = int __attribute__((vector_size(16)));
    static constexpr int noRow = -1, columns = 4;

    /* The lanes whose order has row i. */
    Flags holds(Index i) const { return orders > static_cast<int>(i); }

    /* The row of the factor, and the unknown of the intermediate solution that it gives. */
    void factoriseRow(Index i) {
        const Lanes* given = matrix + rowStart(i);
        Lanes* row = factor + rowStart(i);
        Index j = 0;
        for (; j + columns <= i; j += columns) factoriseColumns(given, row, j);
        for (; j < i; ++j) {
            const Lanes* other = factor + rowStart(j);
            Lanes rest = given[j];
            for (Index k = 0; k < j; ++k) rest -= row[k] * other[k];
            row[j] = rest * other[j];
        }
        Lanes pivot = given[i], rest = right[i];
        for (Index k = 0; k < i; ++k) {
            pivot -= row[k] * row[k];
            rest -= row[k] * solution[k];
        }
        row[i] = reciprocalRoots(pivot, i);
        solution[i] = rest * row[i];
    }

    /* Four elements of a row from j on: their sums advance together as far as they need none of one another. */
    void factoriseColumns(const Lanes* given, Lanes* row, Index j) const {
        const Lanes* others[columns];
        Lanes rests[columns];
        for (int c = 0; c < columns; ++c) {
            others[c] = factor + rowStart(j + c);
            rests[c] = given[j + c];
        }
        for (Index k = 0; k < j; ++k)
            for (int c = 0; c < columns; ++c) rests[c] -= row[k] * others[c][k];
        for (int c = 0; c < columns; ++c) {
            row[j + c] = rests[c] * others[c][j + c];
            for (int later = c + 1; later < columns; ++later) rests[later] -= row[j + c] * others[later][j + c];
        }
    }

    /* Four at a time what reciprocalRoot gives. */
    Lanes reciprocalRoots(Lanes pivots, Index i) {
        failedRow = ((pivots <= 0.0f) & (failedRow == noRow)) ? Flags{} + static_cast<int>(i) : failedRow;
        const __m128d one = _mm_set1_pd(1.0);
        const __m128d low = _mm_div_pd(one, _mm_sqrt_pd(_mm_cvtps_pd(pivots)));
        const __m128d high = _mm_div_pd(one, _mm_sqrt_pd(_mm_cvtps_pd(_mm_movehl_ps(pivots, pivots))));
        return _mm_movelh_ps(_mm_cvtpd_ps(low), _mm_cvtpd_ps(high));
    }

    Flags orders;
    Index top;
    Flags failedRow; /* or noRow */
    Lanes explainedSquares;
    Lanes matrix[largestOrder * (largestOrder + 1) / 2], factor[largestOrder * (largestOrder + 1) / 2];
    Lanes right[largestOrder], solution[largestOrder];
};

struct Fit {
    float squares, variance;
};

/* How a search ended. */
struct Outcome {
    Index order;
    Fit fit;
    int code;
};

struct SearchSettings {
    int firstTested, lastOrder, direction, akcode;
    bool fromResiduals;
};

struct SearchArrays {
    float *v, *vc, *s, *sc, *a;
};

/* Tries the orders of one window, side by side as long as they are low enough for the group's room. */
class ModelSearch {
  public:
    ModelSearch(const float* samples, Index count, const SearchSettings& how, const SearchArrays& arrays)
        : x(samples), n(count), settings(how), work(arrays), equations(samples, count, how.direction, arrays.v, arrays.s) {}

    Outcome run() {
        work.a[0] = work.s[0] / work.v[0];
        const bool comparesFirst = settings.firstTested == 1, onlyFirst = settings.lastOrder == 1;
        previous = comparesFirst || onlyFirst ? firstFit() : Fit{untestedError, untestedError};
        if (onlyFirst) return {1, previous, 0};
        if (settings.firstTested > settings.lastOrder) return {1, previous, 1};
        while (equations.order() + 1 < settings.firstTested && equations.solvable()) equations.raise();
        for (;;) {
            const int size = groupSize();
            if (const std::optional<Outcome> end = size > 1 ? tryGroup(size) : tryNext()) return *end;
        }
    }

  private:
    Fit firstFit() const {
        const float squares = settings.fromResiduals ? residualSquares(x, n, work.a, 1, settings.direction)
                                                     : equations.targetSquares() - work.a[0] * work.s[0];
        return {squares, errorVariance(squares, 1)};
    }

    float errorVariance(float squares, Index order) const {
        const float equationCount = static_cast<float>(n - order);
        return squares / (settings.direction == 0 ? 2.0f * equationCount : equationCount);
    }

    int groupSize() const {
        const Index order = equations.order(), left = std::min<Index>(settings.lastOrder, n - 1) - order;
        const Index size = std::min<Index>(laneCount, left);
        return order + size <= OrderGroup::largestOrder ? static_cast<int>(size) : 1;
    }

    std::optional<Outcome> tryNext() {
        equations.raise();
        const Index order = equations.order();
        if (!equations.solvable()) return failure(order);
        std::copy_n(work.v, rowStart(order), work.vc);
        std::copy_n(work.s, order, work.sc);
        if (!factorise(work.vc, order)) return failure(order);
        const float explained = solve(work.vc, work.sc, order);
        return judge(order, settings.fromResiduals ? residualSquares(x, n, work.sc, order, settings.direction)
                                                   : equations.targetSquares() - explained);
    }

    /* The orders behind the one that ends the search are worked out in vain; the equations are set back to that one. */
    std::optional<Outcome> tryGroup(int size) {
        const Index lowest = equations.order() + 1;
        float targetSquares[laneCount];
        group.start(lowest, size);
        for (int lane = 0; lane < size; ++lane) {
            equations.raise();
            group.set(lane, work.v, work.s);
            targetSquares[lane] = equations.targetSquares();
        }
        group.solve();
        std::optional<Outcome> end;
        for (int lane = 0; lane < size && !end; ++lane) {
            group.copySolution(lane, work.sc);
            if (settings.fromResiduals && lane % 2 == 0) measurePair(lowest + lane, lane, lane + 1 < size);
            const float squares = settings.fromResiduals ? pairSquares[lane % 2] : targetSquares[lane] - group.explained(lane);
            end = group.failed(lane) ? failure(lowest + lane) : judge(lowest + lane, squares);
            if (end) group.copyEquations(lane, work.v, work.s);
            if (end || lane + 1 == size) group.copyFactor(lane, work.vc);
        }
        return end;
    }

    void measurePair(Index order, int lane, bool hasNext) {
        if (hasNext) {
            group.copySolution(lane + 1, nextSolution);
            pairSquares = residualSquaresOfPair(x, n, work.sc, nextSolution, order, settings.direction);
        } else {
            pairSquares[0] = residualSquares(x, n, work.sc, order, settings.direction);
        }
    }

    Outcome failure(Index order) const { return {order > settings.firstTested ? order - 1 : 1, previous, 2}; }

    /* Keeps the model of this order, or ends with the one before. */
    std::optional<Outcome> judge(Index order, float squares) {
        const Fit fit = {squares, errorVariance(squares, order)};
        // Kept on purpose: a stop at the first tested order names an order whose coefficients were never worked out.
        if (errorRises(fit.variance, previous.variance, static_cast<int>(order), static_cast<int>(n), settings.akcode))
            return Outcome{order - 1, previous, 0};
        std::copy_n(work.sc, order, work.a);
        previous = fit;
        if (order >= settings.lastOrder) return Outcome{order, fit, 1};
        return std::nullopt;
    }

    const float* x;
    const Index n;
    const SearchSettings settings;
    const SearchArrays work;
    NormalEquations equations;
    OrderGroup group;
    float nextSolution[OrderGroup::largestOrder];
    std::array<float, 2> pairSquares;
    Fit previous;
};

}

void fabne_(float* x, int* n, int* mstart, int* mlast, int* icode, int* akcode, int* rscode, int* /*mdim*/, float* v, float* vc,
            float* s, float* sc, float* a, int* m, float* ssq, float* p, int* ocode) {
    Outcome outcome = {0, {0.0f, 0.0f}, 0};
    if (*mlast >= 1 && *n >= 1)
        outcome = ModelSearch(x, *n, {*mstart, *mlast, *icode, *akcode, *rscode == 1}, {v, vc, s, sc, a}).run();
    *m = static_cast<int>(outcome.order);
    *ssq = outcome.fit.squares;
    *p = outcome.fit.variance;
    *ocode = outcome.code;
}

void chfac_(int* n, int* /*nt*/, float* a, int* ifail) { *ifail = factorise(a, *n) ? 0 : 1; }

void chsol_(int* n, int* /*nt*/, float* l, float* b, float* ss) { *ss = solve(l, b, *n); }

void accsum_(float* x, int* /*n*/, int* nmm, int* move, float* sum) { *sum = lagSum(x, *nmm, *move); }

void accssq_(int* m, int* n, float* x, float* a, int* icode, float* ssq) {
    *ssq = residualSquares(x, std::max(*n, 0), a, std::max(*m, 0), *icode);
}

void akstop_(float* p, float* pl, int* m, int* n, int* akcode, int* itend) { *itend = errorRises(*p, *pl, *m, *n, *akcode); }
