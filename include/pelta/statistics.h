#ifndef PELTA_STATISTICS_H
#define PELTA_STATISTICS_H

/* Statistics of one trace: its mean, its scatter and the RMS of its live part, for scaling and for judging noise; a running mean,
 * for smoothing attributes and envelopes; and the crest of a peak between samples, for picking finer than the sample interval.
 * All sums run in double, in the order of the samples.
 *
 * Example:
 *     float trace[9] = {0, 0, 1, 4, 9, 7, 2, 0, 0}, smoothed[9];
 *     float mean, deviation, rms, crest, distance;
 *     computeMean(trace, 9, &mean, &deviation);
 *     computeMeanRms(trace, 9, &rms);
 *     printf("mean %.3f, deviation %.3f, RMS where live %.3f\n", mean, deviation, rms);
 *     smooth(trace, smoothed, 9, 2);
 *     printf("smoothed peak %.1f\n", smoothed[5]);
 *     parabolic(trace, 4, &crest, &distance);
 *     printf("crest %.3f at sample %.3f\n", crest, 4 + distance);
 * Output:
 *     mean 2.556, deviation 3.395, RMS where live 5.495
 *     smoothed peak 8.0
 *     crest 9.161 at sample 4.214
 */

#include "export.h"

PELTA_BEGIN_C

/* Mean and standard deviation of a trace.
 *   trace  [nsamp] amplitudes, kept
 *   fmean  receives the mean
 *   fstd   receives the sample deviation (divisor nsamp - 1), taken about the mean as it was stored
 * One sample has the deviation 0; no samples give 0 and 0, a negative count -0 and 0. */
PELTA_API void computeMean(float* trace, int nsamp, float* fmean, float* fstd);

/* Root mean square of the live part of a trace: samples that are exactly 0 are neither summed nor counted, so that muted and
 * padded stretches do not weaken it.
 *   trace  [nsamp] amplitudes, kept
 *   rms    receives the result; 0 for a trace without live samples
 * A NaN is live and makes the result NaN. */
PELTA_API void computeMeanRms(float* trace, int nsamp, float* rms);

/* Running mean of a trace.
 *   trcin   [num] amplitudes, kept
 *   trcout  [num] receives the means; must not overlap trcin
 *   nsmth   window length in samples, at least 2
 * Sample i becomes the mean of the samples i - nsmth/2 up to, not including, i + nsmth/2: an even window reaches one sample
 * further back than ahead, an odd one counts as the even one below it. At the ends of the trace the window is cut and the mean
 * is that of what remains. A window of -1 to 1 has no samples and gives NaN, one of -2 or less gives -0. */
PELTA_API void smooth(float* trcin, float* trcout, int num, int nsmth);

/* Running mean in place: as smooth, with temp [num] as scratch. */
PELTA_API void smooth2(float* trcin, int num, int nsmth, float* temp);

/* Running mean of doubles in place: as smooth2. */
PELTA_API void smooth2Double(double* trcin, int num, int nsmth, double* temp);

/* Crest of the parabola through the samples n - 1, n and n + 1.
 *   amparray  amplitudes, kept
 *   n         sample at the peak or trough; 1 .. length - 2
 *   ampval    receives the amplitude at the crest
 *   xposn     receives its distance from sample n in samples, positive towards n + 1
 * Three samples on a straight line have their curvature taken as 1e-30: a level line gives its value at distance 0, a slope a
 * crest far away. */
PELTA_API void parabolic(float* amparray, int n, float* ampval, float* xposn);

/* Amplitude, xposn samples from sample n, of the crest that parabolic would have found there: reads one attribute at the peak
 * of another. Arguments as for parabolic; xposn is given. */
PELTA_API void parabolic2(float* amparray, int n, float* ampval, float xposn);

PELTA_END_C

#endif
