#ifndef PELTA_LIB_PICKING_CHOLESKY_H
#define PELTA_LIB_PICKING_CHOLESKY_H

#include <emmintrin.h>

#include <algorithm>
#include <cmath>

#include "picking/lanes.h"

/* Symmetric matrices, packed by the rows of their lower triangles, factorised and solved: one, or those of several orders side by
 * side. */

namespace {

/* Element (i, 0) of a packed lower triangle, i from 0. */
Index rowStart(Index i) { return i * (i + 1) / 2; }

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

}

#endif
