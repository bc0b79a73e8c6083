#ifndef PELTA_SPDPICKER_H
#define PELTA_SPDPICKER_H

/* The kernel of spectral-decomposition first-break picking: the amplitude or phase of one frequency in a tapered window that
 * slides along the trace (a short-time Fourier transform, Gabor 1946, at a single frequency). Wanted where a picker of one's
 * own needs it, or for the strength of one frequency along a trace.
 *
 * Example:
 *     float trace[300], buffer[50], taper[50], amplitude[300] = {0};
 *     float pie = 3.14159265f, freq = 30, dt = 0.004f, radeg = 57.29578f;
 *     int n = 300, length = 50, half = 25, nomega = 1, no = 0, yes = 1, itw = 0, first = 1, last = 270, step = 1;
 *     peltaComplex table[51];
 *     for (int i = 0; i < 300; ++i) trace[i] = i < 150 ? 0 : sinf(2 * pie * freq * dt * i);
 *     spdtables_(table, &length, &nomega, &no, &yes, taper, &itw, &half, &pie, &freq, &dt);
 *     spddecompose_(trace, &n, buffer, &length, &first, &last, &step, &no, &nomega, &length, &half, table, taper, amplitude,
 *                   &radeg, &no, &no, &no);
 *     printf("30 Hz: %.2f at sample 100, %.2f at sample 200\n", amplitude[99], amplitude[199]);
 * Output:
 *     30 Hz: 0.00 at sample 100, 0.21 at sample 200
 *
 * Every argument is passed by address; a logical is an int, 0 for false. Formulas count from one: t(1) and tri(1) are the first
 * elements of the arrays whose address is given, ctable alone starts at entry 0. All arithmetic is single precision unless said
 * otherwise, and sums run in index order. */

#include "export.h"
#include "types.h"

PELTA_BEGIN_C

/* Builds the table of the frequency and the taper of the window.
 *   ctable  [iwind + 1] receives ctable(k) = (cos(k w), -sin(k w)), k = 0 .. iwind, with w = (freq + freq) pie dt; the angle k w,
 *           its cosine and sine are formed in double from the single-precision w
 *   iwind   window length, samples
 *   nomega  not used
 *   opbias  true: subtracts the table's mean, which is its sum divided by iwind + 2
 *   gaus    true: Gaussian taper; false: cosine taper
 *   t       [iwind] receives the taper
 *   itw     cosine taper: the flat part, percent; replaced by (100 - itw) / 100 iwind, truncated, halved and truncated.
 *           Kept with a Gaussian taper
 *   ihalf   samples of the window before its centre
 *   pie     pi
 *   freq    analysis frequency, Hz
 *   dt      sample interval, seconds (not ms)
 * Gaussian: exp(-(j - 1 - ihalf)^2 / (2 sigma^2)) / (sqrt(2 pie) sigma) with sigma = iwind / 6, a real quotient, divided by the
 * largest of them: exactly 1 at j = ihalf + 1.
 * Cosine, with f the new itw and d = |ihalf - f|: (cos((j + f - ihalf) / d pie) + 1) / 2 for j <= ihalf - f,
 * (cos(|(j - 1 - ihalf - f) / d| pie) + 1) / 2 for j > ihalf + f + 1, and 1 between. A wide flat part thus leaves a small f:
 * the taper follows the formula, not the name.
 * An iwind below 0 leaves ctable alone, one below 1 leaves t alone. */
PELTA_API void spdtables_(peltaComplex* ctable, int* iwind, int* nomega, int* opbias, int* gaus, float* t, int* itw, int* ihalf,
                          float* pie, float* freq, float* dt);

/* Measures the table's frequency in the window about every nskip-th sample. Window centres are c = ist + ihalf,
 * ist + ihalf + nskip, ..: (iend - ist - ihalf + nskip) / nskip of them, by integer division. The window of c is
 * b(j) = tri(c - ihalf + j - 1), j = 1 .. iwind.
 *   tri           the trace from its first sample, kept; read up to tri(iend - ihalf + iwind - 1), which the caller provides
 *                 (with trbias up to tri(iend + ihalf) too). Samples before the first count as 0 and are not read
 *   nsamp         not used
 *   tri_buffer_   [t_size_] scratch, left holding the last window
 *   t_size_       its size, at least iwind; what it has no room for counts as 0
 *   ist           first sample of the first window, from one
 *   iend          last centre
 *   nskip         step between centres; 0 does nothing
 *   trbias        true: subtracts from each tapered sample the mean of tri(c - ihalf + j - 1) t(j) over j = 1 .. 2 ihalf + 1,
 *                 where t counts as 0 behind its end
 *   nomega        not used
 *   iwind, ihalf  window length and samples before its centre
 *   ctable, t     [iwind + 1], [iwind] as spdtables_ built them, kept
 *   sum           receives one value a centre at sum(c), must not overlap tri; the other entries are left alone, and centres
 *                 before sum(1) are not written
 *   radeg         degrees in a radian
 *   phase         true: sum(c) is the phase in degrees, atan2(xi, xr) radeg, and 0 where xr is 0; false: the amplitude
 *                 |xr + i xi| / iwind, the magnitude by the host's cvabs_
 *   normal_energy_  true: divides the window by its Euclidean norm (root and quotient in double) where that is positive
 *   normal_live_    true: then divides it by the number of its samples that are not 0, where there are any
 * The coefficient is xr = sum of t(j) b(j) re(ctable(j - 1)), xi alike. */
PELTA_API void spddecompose_(float* tri, int* nsamp, float* tri_buffer_, int* t_size_, int* ist, int* iend, int* nskip,
                             int* trbias, int* nomega, int* iwind, int* ihalf, peltaComplex* ctable, float* t, float* sum,
                             float* radeg, int* phase, int* normal_live_, int* normal_energy_);

PELTA_END_C

#endif
