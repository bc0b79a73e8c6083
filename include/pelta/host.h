#ifndef PELTA_HOST_H
#define PELTA_HOST_H

/* What the processing host supplies. libpelta calls these by name; the stand-in host libpeltahost defines them, and a host
 * program's own definitions win over it by ordinary symbol resolution. For whoever writes such a host, or wants a transform, a
 * convolution or a sinc interpolation beside the library.
 *
 * Example:
 *     const int n = npfar(100);
 *     float trace[200] = {0};
 *     peltaComplex spectrum[101];
 *     for (int i = 0; i < n; ++i) trace[i] = 2 * cosf(2 * 3.14159265f * 5 * i / n);  // five periods
 *     pfarc(1, n, trace, spectrum);
 *     printf("%d samples, bin 5 is %.0f\n", n, spectrum[5].r);
 *     pfacr(-1, n, spectrum, trace);
 *     printf("there and back: %.1f times %d\n", trace[0] / n, n);
 * Output:
 *     104 samples, bin 5 is 104
 *     there and back: 2.0 times 104
 */

#include "export.h"
#include "types.h"

PELTA_BEGIN_C

/* Smallest valid length of a real transform that is at least nmin: 2 L, L a product of mutually prime factors out of
 * 2, 3, 4, 5, 7, 8, 9, 11, 13, 16; past the largest such length (1441440) the smallest even length without a prime factor
 * above 7, and past the largest of those that an int holds its largest even value. For nmin of 2 or less: 2. */
PELTA_API int npfar(int nmin);

/* Real to complex transform, not scaled: cz[k] = sum over j of rz[j] exp(isign 2 pi i j k / n), k = 0 .. n/2.
 *   isign  above 0 for a positive exponent, else negative
 *   n      any length; odd ones have no Nyquist bin, 0 or less does nothing
 *   rz     [n], kept unless it is cz's own memory      cz  [n/2 + 1]
 * The imaginary parts of bins 0 and, for even n, n/2 are 0. All transforms are safe to call from several threads. Their bits
 * depend on n, isign, the data and the machine's vector unit, not on the thread, the run or the place of the arrays. */
PELTA_API void pfarc(int isign, int n, float* rz, peltaComplex* cz);

/* Complex to real transform, not scaled: rz[j] = sum of cz[k] exp(isign 2 pi i j k / n) over all n bins, those above n/2 being
 * the conjugates of those below. The inverse of pfarc up to the factor n when called with the opposite sign.
 *   cz  [n/2 + 1], kept unless it is rz's own memory; the imaginary parts of bins 0 and n/2 (n even) are ignored
 *   rz  [n] */
PELTA_API void pfacr(int isign, int n, peltaComplex* cz, float* rz);

/* Complex transform in place, not scaled: n bins. */
PELTA_API void pfacc(int isign, int n, peltaComplex* cz);

/* z[k] = sum over j of x[j] y[k - j], k = ifz .. ifz + lz - 1: convolution of series that are each given with their length and
 * the index of their first sample; samples outside a series count as 0, and an empty series gives zeros. z must not overlap x
 * or y. The terms of an output sample are added in single precision and in ascending order of x's index. */
PELTA_API void conv(int lx, int ifx, float* x, int ly, int ify, float* y, int lz, int ifz, float* z);

/* Reads a uniformly sampled series at nxout arbitrary positions with least-squares 8-point sinc operators.
 *   nxin, dxin, fxin  samples, interval and first position of yin
 *   yinl, yinr        values left and right of the series
 *   xout [nxout]      positions      yout [nxout]  receives the values; may be xout, must not overlap yin
 * Positions count to the nearest 1/1024 of an interval. At a sample (to that accuracy) the value is the sample's own bits; in
 * between the error is below 0.0042 of the amplitude for frequencies up to 0.6 of Nyquist. Positions less than 8 samples
 * outside see the series extended by yinl or yinr; further out, infinity included, they get that value; a NaN gets yinl. */
PELTA_API void ints8r(int nxin, float dxin, float fxin, float* yin, float yinl, float yinr, int nxout, float* xout,
                      float* yout);

/* Sorts n floats ascending, in place; -0 comes before 0, and NaNs come last. */
PELTA_API void qksort(int n, float* a);

/* Reorders the indices i[0 .. n-1] so that a[i[m]] is the m-th smallest (m from 0), nothing before it is larger and nothing
 * behind it is smaller; a itself is kept. -0 counts as smaller than 0, NaNs count as largest. An m outside 0 .. n-1 changes
 * nothing. */
PELTA_API void qkifind(int m, int n, float* a, int* i);

/* Finds the index with ax[index] <= x < ax[index + 1] in an ascending array of nx values: 0 when x is below ax[0], nx - 1
 * when at or above the last or not a number. An index that brackets x already is found at once; any other is allowed. */
PELTA_API void xindex(int nx, float* ax, float x, int* index);

/* Sets n entries of a, stride apart, to 0. */
PELTA_API void vclr_(float* a, int* stride, int* n);

/* c[k * ic] = |a[k * ia] + i a[k * ia + 1]|, k = 0 .. n-1; strides in floats. */
PELTA_API void cvabs_(float* a, int* ia, float* c, int* ic, int* n);

/* The host's table of header entries; the stand-in numbers them from 1 in their order of declaration. */
extern PELTA_API stdHdrStruct* stdHdr;

/* The host's names of the work in hand; the stand-in leaves them empty. */
extern PELTA_API globalCharStruct* globalChar;

PELTA_END_C

#endif
