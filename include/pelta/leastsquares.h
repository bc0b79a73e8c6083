#ifndef PELTA_LEASTSQUARES_H
#define PELTA_LEASTSQUARES_H

/* Straight lines y = rcept + slope x through scattered points, for refractor velocities, drift and amplitude decay: by least
 * squares, through the origin by a trimmed mean, and by a robust fit that gross outliers do not move.
 *
 * Example:
 *     float offset[8] = {500, 600, 700, 800, 900, 1000, 1100, 1200};
 *     float pick[8] = {301, 349, 402, 450, 498, 549, 810, 650};  // ms; one pick is on another phase
 *     float weight[8], intercept, slope, correlation;
 *     int count = 8;
 *     lstSquare(offset, pick, &count, &intercept, &slope, &correlation);
 *     printf("least squares: %.0f m/s, intercept %.0f ms\n", 1000 / slope, intercept);
 *     wghtLstSquare(offset, pick, weight, &count, &intercept, &slope, &correlation);
 *     printf("robust: %.0f m/s, intercept %.0f ms\n", 1000 / slope, intercept);
 * Output:
 *     least squares: 1604 m/s, intercept -29 ms
 *     robust: 2008 m/s, intercept 52 ms
 *
 * A count of zero or less has no points: the results are those of the degenerate case, and no array is touched. */

#include "export.h"

PELTA_BEGIN_C

/* Line of least squares.
 *   x, y   [*nsamp] points, kept
 *   rcept  receives the intercept      slope  receives the slope
 *   rxy    receives the correlation coefficient, -1 .. 1
 * Means and sums run in double; the intercept is that of the slope as it was stored. Where all x are equal the slope is 0 and
 * the intercept the mean of y; where all x or all y are equal the correlation is 0. No points give three zeros. */
PELTA_API void lstSquare(float* x, float* y, int* nsamp, float* rcept, float* slope, float* rxy);

/* Slope of a line through the origin: the trimmed mean of the ratios y / x.
 *   x, y   [nsamp] points, kept
 *   alpha  percentage of the ratios to leave out, half of it at each end; below 0 counts as 0
 *   work   [nsamp] receives the ratios, sorted ascending, NaNs last
 *   slope  receives the mean of the ratios that remain, summed in double; 0 where none remains
 * The number left out, alpha / 100 nsamp, is cut to a whole number and its half again. So of an odd count the median remains
 * when alpha is 100, and nothing of an even one. A point at x = 0 has an infinite ratio, which goes first when ends are trimmed. */
PELTA_API void meanAlphaTrim(float* x, float* y, int nsamp, int alpha, float* work, float* slope);

/* Robust line: a weighted fit (wghtCalcLstsqr) with the weights of wghtCalcWeights, computed once.
 *   x, y    [*nsamp] points in order of increasing x, kept
 *   weight  [*nsamp] receives the weights; left alone where there are fewer than two points
 *   rcept, slope, rxy  as for lstSquare
 * Two or three points have unit weights, which is plain least squares; fewer give three zeros. */
PELTA_API void wghtLstSquare(float* x, float* y, float* weight, int* nsamp, float* rcept, float* slope, float* rxy);

/* Andrews' sine weights of points, by their residuals r from the median line.
 *   xa, ya  [*num] points in order of increasing x, kept
 *   weight  [*num] receives sin(r / sigma) / r, or 1 / sigma where r is 0; sigma is 2.1 times the median of |r|
 * A point with |r| of pi sigma or more has weight 0. The weights are not scaled to 1. They are all 1 where sigma is 0, since at
 * least half of the points lie on the line, and where there is no memory for three work arrays of *num entries.
 * D. F. Andrews, A robust method for multiple linear regression, Technometrics 16, 1974. */
PELTA_API void wghtCalcWeights(float* xa, float* ya, int* num, float* weight);

/* Median line of points: through the medians of their left and their right half, its slope corrected once by the medians of the
 * residuals, its intercept the median of what then remains.
 *   xa, ya     [*num] points in order of increasing x, which is not checked; kept
 *   inter_med  receives the intercept      slope_med  receives the slope
 *   iwork1     [*num] scratch              work2      [*num] receives the residuals from slope_med x
 * Of an odd count the middle point belongs to neither half, but the right half's first median takes it in place of the last
 * point. Where the middles of both halves have the same x the slope is 0. Fewer than two points give two zeros.
 * After J. W. Tukey, Exploratory Data Analysis, 1977, chapter 10. */
PELTA_API void wghtMedianReg(float* xa, float* ya, int* num, float* inter_med, float* slope_med, int* iwork1, float* work2);

/* Returns the median of x [n], of an even count the upper of the two middle values; 0 where n is 0 or less.
 *   x    values, kept; NaNs count as largest
 *   idx  [n] receives the indices of the values, partly ordered: that of the median at n / 2, none of larger values before it */
PELTA_API float wghtMedian(float* x, int* idx, int n);

/* Weighted line of least squares with its errors, in single precision.
 *   xa, ya, weight  [*num] points and their weights, kept
 *   gauss           factor of the two errors, such as a quantile; kept
 *   rcept, slope    receive intercept and slope      rxy   receives the correlation coefficient
 *   rerror, serror  receive *gauss times the standard errors of intercept and slope
 *   siga, sigb      receive those standard errors by the formulas for weighted sums
 * The scatter about the line is that of *num points less two, however many have weight 0; it is 0 for two points or fewer, and
 * with it all four errors. Seven zeros where there are no points, the weights add up to 0, or all x with a weight are equal. */
PELTA_API void wghtCalcLstsqr(float* xa, float* ya, float* weight, int* num, float* gauss, float* rcept, float* slope,
                              float* rerror, float* serror, float* rxy, float* siga, float* sigb);

PELTA_END_C

#endif
