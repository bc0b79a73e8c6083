#ifndef PELTA_BANDPASSFILTER_H
#define PELTA_BANDPASSFILTER_H

/* Band-pass (or, inverted, band-reject) filter of Ormsby or Butterworth shape, for ground roll below the band of the
 * reflections and noise above it. It is built once for a set of corners and then filters any number of traces, by convolution
 * with a truncated operator or by a product of spectra.
 *
 * Example in C++:
 *     const float pi = 3.14159265f;
 *     float trace[500];  // 4 ms: a reflection band at 40 Hz, ground roll at 5 Hz
 *     for (int i = 0; i < 500; ++i) trace[i] = std::sin(0.32f * pi * i) + 3 * std::sin(0.04f * pi * i);
 *
 *     BandPassFilter filter(0, 0, 0, 0.001f, 10, 20, 60, 80, 500, 4.0f);
 *     filter.setTimeDomain(0);
 *     filter.buildFilter(10, 20, 60, 80);
 *     filter.applyFilter(trace, 500);
 *     std::printf("largest in the middle: %.2f\n", *std::max_element(trace + 200, trace + 300));
 * Output:
 *     largest in the middle: 1.00
 */

#include "export.h"

#ifdef __cplusplus

/* A filter for a set of corners and traces of one length and sample interval. */
class PELTA_API BandPassFilter {
  public:
    /* Stores its arguments, chooses the time domain and builds the filter.
     *   type        0 Ormsby, else Butterworth
     *   phase       1 asks for minimum phase, else zero phase; the operator is symmetric either way, see buildFilter
     *   inverse     1 inverts the response: band reject
     *   lag         amplitude, relative to the operator's peak, below which the end of the operator is cut off: 0 keeps all,
     *               above 1 leaves a single sample
     *   lc, lp      Ormsby: low taper from lc to lp (Hz); Butterworth: low-side slope lc (dB/octave), low corner lp (Hz), an lp of
     *               0 for no low cut
     *   hp, hc      Ormsby: high taper from hp to hc; Butterworth: high corner hp, high-side slope hc
     *   nsample     samples per trace
     *   sRate       sample interval (ms) */
    BandPassFilter(int type, int phase, int inverse, float lag, int lc, int lp, int hp, int hc, int nsample, float sRate);
    ~BandPassFilter();
    BandPassFilter(const BandPassFilter&) = delete;
    BandPassFilter& operator=(const BandPassFilter&) = delete;

    /* Builds the filter anew for other corners, in the domain chosen last.
     * The response is laid out from 0 Hz to the Nyquist frequency in whole hertz, as single precision truncates it: 124 for
     * 4 ms, 249 for 2 ms, 499 for 1 ms. The transform's length is that of 1.3 nsample samples in the frequency domain and of
     * 4 Nyquist / sRate in the time domain, where the response is turned into an operator:
     * - The operator is the mirror image of the impulse response's first half, cut at lag, and so symmetric. Asking for minimum
     *   phase changes that half (and costs time that grows with the square of the transform's length), not the symmetry.
     * - It is not divided by the transform's length: traces come out about _nfft times larger than in the frequency domain.
     * Where the work arrays cannot be had, or the sample interval asks for a transform of more than 2^26 samples, there is no
     * filter and applyFilter leaves the data alone. */
    void buildFilter(int lc, int lp, int hp, int hc);

    /* Chooses the domain: not 0 for the time domain, 0 for the frequency domain. The filter stays that of the last build: call
     * buildFilter before applyFilter. */
    void setTimeDomain(int istime);

    /* Filters a trace in place. Always returns 0.
     *   data   [nsamp] amplitudes. In the time domain the first nsample samples at most are filtered, in the frequency domain the
     *          first _nfft; what lies behind stays as it is.
     * The convolution sees zeros around the trace; the product of spectra wraps around after _nfft samples. */
    int applyFilter(float* data, int nsamp);

    /* Writes an Ormsby response with the object's corners at the frequencies f = 0, df, 2 df, ... up to and including the last
     * that is not above maxf, or not above the highest corner where that lies beyond maxf: 0.001 (-60 dB) outside lc .. hc, 1
     * from lp to hp, sin^2 and cos^2 tapers between.
     *   a      [about numf + 1, more for corners above maxf] receives the values, ia floats apart
     *   maxf   highest frequency (Hz)      numf   steps up to it: df = maxf / numf, added up in single precision
     * A step that does not raise f (zero, negative, not a number, or lost in rounding) ends the response after its value. */
    void ormsbyGen(float* a, int ia, int maxf, int numf);

    /* Writes a Butterworth response with the object's corners and slopes at f = k maxf / numf, k = 0 .. numf - 1:
     * sqrt(x / ((x + 1) (y + 1))), x = (f / lp)^(lc / 3), y = (f / hp)^(hc / 3), the exponents whole numbers.
     *   a   [numf] receives the values, ia floats apart
     * Without a low cut (lp 0 stands for 1e-20 Hz) slopes lc from 42 dB/octave on leave the range of x: such values are not
     * numbers. */
    void butterworthGen(float* a, int ia, int maxf, int numf);

    int _type, _phase, _inverse; /* as constructed */
    float _lag;                  /* as constructed */
    int _lp, _lc, _hc, _hp;      /* corners and slopes of the last build */
    int _nsample;                /* samples per trace */
    float _sRate;                /* sample interval, ms */
    int _isTime;                 /* not 0: time domain */
    int _nfft;                   /* transform length of the last build */
    float* _tempTrc;             /* work trace */
    float* _tempTrc1;            /* work trace */
    float* _filter;              /* [_lenfilter] time-domain operator, centred on its middle sample */
    /* [_nfft + 2] response: complex bins 0 .. _nfft/2, all real. A minimum-phase build leaves its normalised
     * amplitudes in the first _nfft/2 + 1 floats instead. */
    float* _magfilter;
    int _lenfilter; /* odd */
};
#else
typedef struct BandPassFilter BandPassFilter;
#endif

PELTA_BEGIN_C

/* The filter of the flat interface; null before the first bandPassFilter. */
extern PELTA_API BandPassFilter* bandpassfilter;

/* Makes a new filter and stores it in bandpassfilter; the one before is not released, since its caller may still hold it.
 * The frequencies are, in the order of the arguments and whatever the names say, the low cut, low pass, high pass and high cut of
 * the class. */
PELTA_API int bandPassFilter(int type, int phase, int inverse, float lag, int lp, int lc, int hc, int hp, int nsample,
                             float sRate);

/* Filters a trace in place with bandpassfilter; without one the data stays as it is. */
PELTA_API int applyBandPassFilter(float* data, int nsample);

PELTA_END_C

#endif
