#ifndef PELTA_SEMBLANCE_H
#define PELTA_SEMBLANCE_H

/* Coherence of a gather in a sliding window, of the analytic signal, so that it does not flicker with phase: 1 where all traces
 * are alike. It tells events from noise, and of several velocities the one that flattens a reflection.
 *
 * Example:
 *     double sum[100] = {0}, sumh[100] = {0}, sqrd[100] = {0}, fold[100] = {0};
 *     float trace[100], quadrature[100], semblance[100];
 *     for (int k = 0; k < 4; ++k) {  // the last 40 samples of one trace in four are reversed
 *         for (int i = 0; i < 100; ++i) trace[i] = (k == 3 && i >= 60 ? -1 : 1) * cosf(0.7f * i);
 *         applyHilbert(trace, quadrature, 100);
 *         buildSemblance(sum, sumh, sqrd, fold, trace, quadrature, 100);
 *     }
 *     applySemblance(sum, sumh, sqrd, 4, 11, semblance, 100);
 *     printf("alike: %.2f, one reversed: %.2f\n", semblance[30], semblance[80]);
 * Output:
 *     alike: 1.00, one reversed: 0.25
 *
 * Accumulate the traces one by one (buildSemblance), even out their fold if it varies (equalizeSemblance), and form the
 * semblance (applySemblance). The accumulators are the caller's, [nsamp] each, zeroed before the first trace: sum of the
 * traces, sumh of their quadrature traces, sqrd of the squares of both, fold of the live samples. Work is in double precision.
 *
 * N. S. Neidell and M. T. Taner, Semblance and other coherency measures for multichannel data, Geophysics 36 (1971); M. T. Taner,
 * F. Koehler and R. E. Sheriff, Complex seismic trace analysis, Geophysics 44 (1979). */

#include "export.h"

PELTA_BEGIN_C

/* Adds a trace.
 *   datain   [nsamp] kept; a sample of 0 is dead and adds nothing, whatever its quadrature
 *   datainh  [nsamp] its quadrature trace (applyHilbert), kept */
PELTA_API void buildSemblance(double* sum, double* sumh, double* sqrd, double* fold, float* datain, float* datainh, int nsamp);

/* Scales the sums of each sample from its own fold to foldmax; samples without fold and fold itself stay as they are. */
PELTA_API void equalizeSemblance(double* sum, double* sumh, double* sqrd, double* fold, double foldmax, int nsamp);

/* Writes the semblance: the window's energy of the stack over nfold times the window's energy of the traces; 0 where there is
 * none.
 *   sumh     becomes the energy of the stack, sum^2 + sumh^2; sum and sqrd are kept
 *   nfold    number of traces, or foldmax
 *   nwin     window in samples; an even one grows by 1, below 2 means no window. The trace is mirrored at its ends. Windows
 *            longer than the trace become as long as the trace allows
 *   dataout  [nsamp] the semblance
 * The window's sums run from sample to sample: one goes in, one out. */
PELTA_API void applySemblance(double* sum, double* sumh, double* sqrd, int nfold, int nwin, float* dataout, int nsamp);

PELTA_END_C

#endif
