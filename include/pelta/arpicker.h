#ifndef PELTA_ARPICKER_H
#define PELTA_ARPICKER_H

/* The kernel of autoregressive first-break picking: linear prediction of a short window of trace, fitted by least squares
 * order by order (modified covariance method, Marple 1980, and its one-sided forms) until Akaike's final prediction error
 * (1969) rises. Wanted where a picker of one's own needs it, or for the spectrum of a short window.
 *
 * Example:
 *     float x[64], v[3], vc[3], s[2], sc[2], a[2], ssq, p;
 *     int n = 64, mstart = 2, mlast = 2, icode = 0, akcode = 0, rscode = 0, mdim = 2, m, ocode;
 *     for (int t = 0; t < 64; ++t) x[t] = cosf(0.3f * t);
 *     fabne_(x, &n, &mstart, &mlast, &icode, &akcode, &rscode, &mdim, v, vc, s, sc, a, &m, &ssq, &p, &ocode);
 *     printf("order %d: x(t) = %.2f x(t - 1) %+.2f x(t - 2)\n", m, a[0], a[1]);
 * Output:
 *     order 2: x(t) = 1.91 x(t - 1) -1.00 x(t - 2)
 *
 * Every argument is passed by address. Formulas count from one: x(1) is the first element of the array whose address is given.
 * All arithmetic is single precision unless a declaration says otherwise.
 *
 * A symmetric matrix is packed as the rows of its lower triangle: element (i, j), j <= i, stands at i (i - 1) / 2 + j. */

#include "export.h"

PELTA_BEGIN_C

/* Fits models x(t) ~ a(1) x(t -+ 1) + .. + a(m) x(t -+ m) of orders 1, 2, .. mlast to a window and keeps the last one before
 * the final prediction error rises.
 *   x       [n] the window, kept
 *   mstart  lowest order that is solved and tested; lower ones but the first are only passed through
 *   mlast   highest order; meant to stay well below n
 *   icode   > 0: each sample is predicted from those before it; < 0: from those behind it; 0: both, errors added
 *   akcode  the form of the stopping test, see akstop_
 *   rscode  1: the residual sum of squares of an order comes from its residuals (accssq_); otherwise from the normal equations
 *   mdim    not used
 *   v, vc   [mlast (mlast + 1) / 2] work: normal matrix of the last order tried, and its Cholesky factor (chfac_)
 *   s, sc   [mlast] work: right-hand side of that order, and its solution
 *   a       [mlast] receives the coefficients of the model kept; a(1) belongs to the nearest sample
 *   m       receives its order
 *   ssq, p  receive its residual sum of squares, and that divided by the number of equations (n - m, twice that for icode 0)
 *   ocode   receives 0: the test ended the search, 1: mlast was reached, 2: a normal matrix was not positive definite
 *
 * Before the first tested order the error counts as 1e20, unless mstart is 1: then order 1 is the first to compare with. A
 * matrix that fails at order mstart leaves order 1 with a(1) = s(1) / v(1) and, for mstart above 1, ssq = p = 1e20; so does a
 * window of zeros, with an a(1) that is not a number. A model of order mstart above 2 that is worse than 1e20 ends the search
 * at m = mstart - 1 with only a(1) set. With mlast 1 the first order is returned and ocode is 0.
 *
 * Orders of n and more have no equations: they count as not positive definite. With mstart above an mlast of 2 or more no
 * order is tested: order 1, ssq = p = 1e20, ocode 1. With mlast or n below 1 there is no model: m, ssq, p and ocode become 0
 * and nothing else is written.
 *
 * The lagged sums are compensated (accsum_). From order to order the sums v, s and yty lose the products of the samples
 * that leave them: a matrix row is the row above it, moved one sample; with icode 0 the two products that leave a sum are
 * added before they are taken away. Allocates nothing. */
PELTA_API void fabne_(float* x, int* n, int* mstart, int* mlast, int* icode, int* akcode, int* rscode, int* mdim, float* v,
                      float* vc, float* s, float* sc, float* a, int* m, float* ssq, float* p, int* ocode);

/* Factorises a positive definite matrix A = L L' in place (Cholesky), row by row.
 *   n      order of the matrix
 *   nt     not used
 *   a      [n (n + 1) / 2] packed; receives L with the reciprocals of its diagonal: 1 / sqrt(pivot), in double, stored as float
 *   ifail  receives 1 when a pivot is 0 or less, and a is left as far as it was worked out; otherwise 0, a NaN pivot included
 * The products L(i, k) L(j, k) are taken from an element one after another, k ascending. */
PELTA_API void chfac_(int* n, int* nt, float* a, int* ifail);

/* Solves L L' z = b with the factor of chfac_.
 *   n, nt  as for chfac_
 *   l      [n (n + 1) / 2] the factor, kept
 *   b      [n] right-hand side; receives the solution z
 *   ss     receives the sum of squares of y, where L y = b: the part of the sum of squares that the model explains
 * Each unknown is b(i) less its products, taken away one after another in ascending order, times the stored reciprocal. */
PELTA_API void chsol_(int* n, int* nt, float* l, float* b, float* ss);

/* Sum of lagged products, x(i + move) x(i) over i = 1 .. nmm, by Kahan's compensated summation (1965): with y = product + c,
 * t = s + y, c = (s - t) + y, s = t for every product, the result is s + c.
 *   x     [nmm + move], kept
 *   n     not used
 *   nmm   products; 0 or less gives 0
 *   move  lag, 0 or more
 *   sum   receives the sum */
PELTA_API void accsum_(float* x, int* n, int* nmm, int* move, float* sum);

/* Residual sum of squares of a prediction model.
 *   m      order; 0 or less: no prediction, the residuals are the samples
 *   n      samples
 *   x      [n], kept
 *   a      [m] coefficients, kept
 *   icode  > 0: forward residuals x(t) - sum of a(j) x(t - j), t = m + 1 .. n; < 0: backward residuals
 *          x(t) - sum of a(j) x(t + j), t = 1 .. n - m; 0: both sums of squares, added
 *   ssq    receives the sum; 0 where no t is left
 * Sums run in the order of j and t. */
PELTA_API void accssq_(int* m, int* n, float* x, float* a, int* icode, float* ssq);

/* Tells whether the final prediction error rises from order m - 1 (error variance pl) to order m (p), strictly.
 *   akcode  1: (n + m + 1) / (n - m - 1) p against (n + m) / (n - m) pl, which counts the mean as a parameter;
 *           otherwise (n + m) / (n - m) p against (n + m - 1) / (n - m + 1) pl
 *   itend   receives 1 when it rises, else 0; values that are not a number do not rise */
PELTA_API void akstop_(float* p, float* pl, int* m, int* n, int* akcode, int* itend);

PELTA_END_C

#endif
