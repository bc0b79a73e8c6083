#ifndef PELTA_WAVELET_H
#define PELTA_WAVELET_H

/* Wavelets and test signals: for synthetic traces, for trying out a filter or a picker, and as a decomposition of a trace into
 * scales. Times are in seconds here, so that their products with frequencies in hertz have no unit.
 *
 * Example:
 *     float wavelet[101] = {0};
 *     const int length = rickerLength(0.004f, 30, 0.001f), centre = length / 2;
 *     ricker(0.004f * centre, 0.004f, 30, length, 1, wavelet);
 *     printf("%d samples\n", length);
 *     for (int i = 0; i < 4; ++i) printf("%2d ms %7.4f\n", 4 * i, wavelet[centre + i]);
 * Output:
 *     19 samples
 *      0 ms  1.0000
 *      4 ms  0.6209
 *      8 ms -0.0776
 *     12 ms -0.4336
 */

#include "export.h"

PELTA_BEGIN_C

/* Writes a Ricker wavelet: (1 - 2 b^2) exp(-b^2) times amp, b = pi freq (t - tdelay).
 *   tdelay  time of the peak, s       dt  sample interval, s       freq  peak frequency, Hz
 *   num     samples in wave           amp  amplitude of the peak
 *   wave    [num] receives the samples c - h up to, not including, c + h, with c = tdelay / dt + 0.5 and h = 1.5 / dt / freq + 1,
 *           both formed in single precision and truncated; the others are left alone, and so is sample num - 1
 * N. Ricker, The form and laws of propagation of seismic wavelets, Geophysics 18 (1953). */
PELTA_API void ricker(float tdelay, float dt, float freq, int num, float amp, float* wave);

/* The odd number of samples of a centred Ricker wavelet of peak 1 whose outermost samples lie in the negative lobes, at less than
 * amp. Fine sampling finds such a sample just beyond the zero crossing.
 *   dt, freq  as above      amp  above 0
 * Where no sample satisfies this: the length at which the wavelet vanishes in single precision; 1 when amp is not above 0 or the
 * product of dt and freq is 0, infinite or no number; at most 2147483647. */
PELTA_API int rickerLength(float dt, float freq, float amp);

/* Writes a sine wave, amp sin(2 pi (i + ilag) / resolution), its angle added up in double precision. Always 0.
 *   wave        [nsamp] receives the samples i = 0, 1, ..
 *   amp         amplitude
 *   resolution  samples a period; 0 gives NaNs
 *   ilag        samples by which the wave is advanced */
PELTA_API int peltaSineWave(float* wave, int nsamp, float amp, int resolution, int ilag);

/* Haar transform in place: averages and half differences of neighbours, then the same of the averages, and so on.
 *   data       [num] averages come first, then the differences from the coarsest to the finest
 *   direction  above 0: forward; else inverse
 *   work       [num] scratch
 * Kept on purpose: the forward transform works on num - 1 samples, so that num = 2^k + 1 analyses the first 2^k and leaves the last
 * alone; other counts skip or mix pairs. The inverse undoes it with num = 2^k; for a count that is no power of two both arrays must
 * have room for the next one, and for 2 samples at least.
 * A. Haar, Zur Theorie der orthogonalen Funktionensysteme, Mathematische Annalen 69 (1910). */
PELTA_API void Wavelet(float* data, int num, int direction, float* work);

PELTA_END_C

#endif
