#include <pelta/arpicker.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {

/* The prediction error assumed before the first tested order. */
constexpr float untestedError = 1.0e20f;

using Index = std::ptrdiff_t;

/* Element (i, 0) of a packed lower triangle, i from 0. */
Index rowStart(Index i) { return i * (i + 1) / 2; }

float lagSum(const float* x, Index terms, Index lag) {
    float sum = 0.0f, carry = 0.0f;
    for (Index i = 0; i < terms; ++i) {
        const float term = x[i + lag] * x[i] + carry;
        const float next = sum + term;
        carry = (sum - next) + term;
        sum = next;
    }
    return sum + carry;
}

/* x[t] less its prediction from the order samples at x[t + step], x[t + 2 step], .. */
float residual(const float* x, const float* coefficients, Index order, Index step) {
    float prediction = 0.0f;
    for (Index j = 0; j < order; ++j) prediction += coefficients[j] * x[(j + 1) * step];
    return *x - prediction;
}

float forwardSquares(const float* x, Index n, const float* coefficients, Index order) {
    float squares = 0.0f;
    for (Index t = order; t < n; ++t) {
        const float error = residual(x + t, coefficients, order, -1);
        squares += error * error;
    }
    return squares;
}

float backwardSquares(const float* x, Index n, const float* coefficients, Index order) {
    float squares = 0.0f;
    for (Index t = 0; t < n - order; ++t) {
        const float error = residual(x + t, coefficients, order, 1);
        squares += error * error;
    }
    return squares;
}

float residualSquares(const float* x, Index n, const float* coefficients, Index order, int direction) {
    if (direction > 0) return forwardSquares(x, n, coefficients, order);
    if (direction < 0) return backwardSquares(x, n, coefficients, order);
    return forwardSquares(x, n, coefficients, order) + backwardSquares(x, n, coefficients, order);
}

/* False when a pivot is 0 or less. */
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
                row[j] = static_cast<float>(1.0 / std::sqrt(static_cast<double>(rest)));
            }
        }
    }
    return true;
}

/* The sum of squares of the intermediate solution. */
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
        : x(samples), n(count), direction(code), v(matrix), s(rightSide) {
        const float shared = lagSum(x, n - 1, 0), first = x[0] * x[0], last = x[n - 1] * x[n - 1];
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

    /* Needs order() + 1 < n, past that there is no equation left and only the order is counted. */
    void raise() {
        if (m + 1 < n) {
            appendRow();
            for (Index i = 0; i < m; ++i) {
                float* row = v + rowStart(i);
                for (Index j = 0; j <= i; ++j) row[j] -= leaving(m - 1 - i, m - 1 - j, n - m + i, n - m + j);
            }
            for (Index i = 0; i < m; ++i) s[i] -= leaving(m, m - 1 - i, n - m - 1, n - m + i);
            yty -= leaving(m, m, n - m - 1, n - m - 1);
            s[m] = newLag(m + 1);
        }
        ++m;
    }

  private:
    /* The products that leave a sum: of the samples given first in forward sums, of the others in backward sums. */
    float leaving(Index forwardA, Index forwardB, Index backwardA, Index backwardB) const {
        if (direction > 0) return x[forwardA] * x[forwardB];
        if (direction < 0) return x[backwardA] * x[backwardB];
        return x[forwardA] * x[forwardB] + x[backwardA] * x[backwardB];
    }

    /* The row of the new order is the last right-hand side and the row above, their products moved on by one sample. */
    void appendRow() {
        const float* above = v + rowStart(m - 1);
        float* row = v + rowStart(m);
        row[0] = s[m - 1] - leaving(n - 1, n - 1 - m, 0, m);
        for (Index j = 0; j < m; ++j) row[j + 1] = above[j] - leaving(n - 1 - m, n - 2 - j, m, j + 1);
    }

    float newLag(Index lag) const {
        const float sum = lagSum(x, n - lag, lag);
        return direction == 0 ? 2.0f * sum : sum;
    }

    const float* x;
    const Index n;
    const int direction;
    float* v;
    float* s;
    float yty = 0.0f;
    Index m = 1;
};

struct Fit {
    float squares, variance;
};

float errorVariance(float squares, Index n, Index order, int direction) {
    const float equations = static_cast<float>(n - order);
    return squares / (direction == 0 ? 2.0f * equations : equations);
}

}

void fabne_(float* x, int* n, int* mstart, int* mlast, int* icode, int* akcode, int* rscode, int* /*mdim*/, float* v, float* vc,
            float* s, float* sc, float* a, int* m, float* ssq, float* p, int* ocode) {
    const int sampleCount = *n, firstTested = *mstart, lastOrder = *mlast, direction = *icode;
    const bool fromResiduals = *rscode == 1;
    const auto finish = [&](Index order, const Fit& fit, int code) {
        *m = static_cast<int>(order);
        *ssq = fit.squares;
        *p = fit.variance;
        *ocode = code;
    };
    if (lastOrder < 1 || sampleCount < 1) return finish(0, {0.0f, 0.0f}, 0);

    NormalEquations equations(x, sampleCount, direction, v, s);
    a[0] = s[0] / v[0];
    Fit previous;
    previous.squares =
        fromResiduals ? residualSquares(x, sampleCount, a, 1, direction) : equations.targetSquares() - a[0] * s[0];
    previous.variance = errorVariance(previous.squares, sampleCount, 1, direction);
    if (lastOrder == 1) return finish(1, previous, 0);
    if (firstTested != 1) previous = {untestedError, untestedError};
    if (firstTested > lastOrder) return finish(1, previous, 1);

    for (;;) {
        do equations.raise();
        while (equations.order() < firstTested && equations.solvable());
        const Index order = equations.order();
        const auto failed = [&] { finish(order > firstTested ? order - 1 : 1, previous, 2); };
        if (!equations.solvable()) return failed();
        std::copy_n(v, rowStart(order), vc);
        std::copy_n(s, order, sc);
        if (!factorise(vc, order)) return failed();
        Fit fit;
        fit.squares = equations.targetSquares() - solve(vc, sc, order);
        if (fromResiduals) fit.squares = residualSquares(x, sampleCount, sc, order, direction);
        fit.variance = errorVariance(fit.squares, sampleCount, order, direction);
        // Kept on purpose: a stop at the first tested order names an order whose coefficients were never worked out.
        if (errorRises(fit.variance, previous.variance, static_cast<int>(order), sampleCount, *akcode))
            return finish(order - 1, previous, 0);
        std::copy_n(sc, order, a);
        if (order >= lastOrder) return finish(order, fit, 1);
        previous = fit;
    }
}

void chfac_(int* n, int* /*nt*/, float* a, int* ifail) { *ifail = factorise(a, *n) ? 0 : 1; }

void chsol_(int* n, int* /*nt*/, float* l, float* b, float* ss) { *ss = solve(l, b, *n); }

void accsum_(float* x, int* /*n*/, int* nmm, int* move, float* sum) { *sum = lagSum(x, *nmm, *move); }

void accssq_(int* m, int* n, float* x, float* a, int* icode, float* ssq) {
    *ssq = residualSquares(x, *n, a, std::max(*m, 0), *icode);
}

void akstop_(float* p, float* pl, int* m, int* n, int* akcode, int* itend) { *itend = errorRises(*p, *pl, *m, *n, *akcode); }
