#include <pelta/arpicker.h>

#include <algorithm>
#include <array>
#include <optional>

#include "picking/cholesky.h"
#include "picking/lagsums.h"
#include "picking/normalequations.h"
#include "picking/residualsquares.h"

namespace {

/* The prediction error assumed before the first tested order. */
constexpr float untestedError = 1.0e20f;

bool errorRises(float p, float previous, int m, int n, int akcode) {
    const float order = static_cast<float>(m), count = static_cast<float>(n);
    if (akcode == 1) return (count + order + 1.0f) / (count - order - 1.0f) * p > (count + order) / (count - order) * previous;
    return (count + order) / (count - order) * p > (count + order - 1.0f) / (count - order + 1.0f) * previous;
}

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
