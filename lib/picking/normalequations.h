#ifndef PELTA_LIB_PICKING_NORMALEQUATIONS_H
#define PELTA_LIB_PICKING_NORMALEQUATIONS_H

#include <emmintrin.h>

#include "picking/cholesky.h"
#include "picking/lagsums.h"

namespace {

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

}

#endif
