#ifndef PELTA_SPECTRUM_H
#define PELTA_SPECTRUM_H

/* Wavelets and their spectra: for a signature that is to be turned into its minimum-, zero- or maximum-phase equivalent, for
 * the autocorrelations and Wiener filters of a deconvolution, and for spectra as amplitude and phase.
 *
 * Example:
 *     float wavelet[2] = {1.0f, 0.5f}, wanted[4] = {1, 0, 0, 0};  // a spike is wanted
 *     float autocor[5] = {0}, filter[4], predictionError[4];
 *     AutoCorr(wavelet, 2, autocor, 3);
 *     Wiener(4, autocor, wanted, filter, predictionError, 1);
 *     for (int i = 0; i < 5; ++i) {
 *         const float now = i < 4 ? filter[i] : 0, before = i > 0 ? filter[i - 1] : 0;
 *         printf("%6.3f ", wavelet[0] * now + wavelet[1] * before);
 *     }
 *     printf("\n");
 * Output:
 *      0.997  0.006 -0.012  0.023 -0.047
 *
 * Spectra of real traces have nfft/2 + 1 bins from zero frequency to the Nyquist, interleaved (real at 2k, imaginary at 2k +
 * 1). Amplitude and phase spectra hold one value per bin, phases in radians. All arithmetic is single precision, and every sum
 * runs in index order. */

#include "export.h"

PELTA_BEGIN_C

/* Changes the phase of a wavelet and reports its spectra and quadrature trace. With a phase_char other than 0 the wavelet is
 * first replaced by the minimum-phase wavelet of the same autocorrelation (Robinson & Treitel, Geophysical Signal Analysis,
 * 1980: the inverse of its spiking operator); its phase spectrum is then multiplied by -phase_char. With a phase_char of 0
 * the wavelet is taken to be zero phase about its centre sample nsamp/2.
 *   filter       [nsamp] the wavelet, replaced by the result; an odd nsamp is meant: for an even one with phase_char 0 the
 *                sample behind the last counts as 0
 *   nfft         transform length in samples, even, at least nsamp and valid for pfarc (see npfar in host.h)
 *   iopt         non-zero: filter holds an autocorrelation, lag 0 first; ignored when phase_char is 0
 *   phase_char   phase of the result: -1 minimum, 0 zero, 1 maximum, between these mixed
 *   noise        white noise added to the autocorrelation, percent of its zero lag
 *   phase_shift  constant rotation in degrees (taken as 0.01745392 radians each)
 *   mag, phase   [nfft/2 + 1] receive the amplitude spectrum, its peak scaled to 1, and the phase spectrum
 *   quad         [nsamp] receives the quadrature trace, its peak scaled to 1
 * Time zero of the result stands at sample (nsamp - 1) (phase_char + 1) / 2, truncated, and its peak is scaled to 1; with
 * both phase_char and phase_shift 0 filter is kept as it is. Where the result reaches past the transform's nfft samples on
 * either side of time zero it is 0.
 * Returns 0; or 1, with all arrays as they were, when the autocorrelation is not positive definite (an all-zero wavelet of
 * two samples or more, say) or the work arrays could not be had. Does nothing when nsamp or nfft is 0 or less. */
PELTA_API int changePhase(float* filter, int nsamp, int nfft, int iopt, float phase_char, float noise, float phase_shift,
                          float* mag, float* phase, float* quad);

/* Autocorrelation, not scaled: autocor[i] = sum of trace[j + i] trace[j], j = 0 .. nt - 1 - i.
 *   trace    [nt] kept; must not overlap autocor
 *   autocor  [na] receives lags 0 .. na - 1
 * Lag nt is set to 0 and later lags are left untouched; with nt of 0 or less lag 0 is the one set to 0. */
PELTA_API void AutoCorr(float* trace, int nt, float* autocor, int na);

/* Levinson recursion for the normal equations of a least-squares shaping or spiking filter (Levinson, J. Math. Phys. 25,
 * 1947). No array may overlap another.
 *   lr  filter length in samples: the order of the equations
 *   r   [lr + 1] autocorrelation, kept; r[lr] goes into no result
 *   g   [lr] wanted cross-correlation, kept; with isw 0 only g[0] is read
 *   f   [lr] receives the shaping filter; with isw 0 f[0] = g[0] / r[0] and f[l - 1] is the error power before order l
 *   a   [lr] receives the prediction-error operator, minimum phase, a[0] = 1
 *   isw 0: the operator a only
 * Returns 0 if the error power was positive before every order, else the last order (2 .. lr) before which it was 0 or
 * less; the recursion runs to its end all the same. A NaN error power is not reported. With lr of 1 or less a[0] and f[0]
 * are all that is written, and 0 is returned. */
PELTA_API int Wiener(int lr, float* r, float* g, float* f, float* a, int isw);

/* Magnitude and phase of n complex values.
 *   a  real parts at a[k * ia], imaginary parts behind them      ia, im, ip  strides in floats
 *   m  receives magnitudes at m[k * im]                          p           receives phases (radians) at p[k * ip]
 * A negative real value has phase -pi, 0 has phase 0. A magnitude whose square underflows or is NaN is 0; a NaN in either
 * part makes the phase NaN. m and p may be the two parts of a itself. */
PELTA_API void rectToPolar(float* a, int ia, float* m, int im, float* p, int ip, int n);

/* Complex values from magnitude and phase: the inverse of rectToPolar, with its arguments. */
PELTA_API void polarToRect(float* m, int im, float* p, int ip, float* a, int ia, int n);

PELTA_END_C

#endif
