#ifndef PELTA_PELTAAGC_H
#define PELTA_PELTAAGC_H

/* Automatic gain: for traces whose amplitudes decay or jump, before they are looked at, picked or stacked, where relative
 * amplitudes need not be kept.
 *
 * Example in C++:
 *     float trace[500];
 *     for (int i = 0; i < 500; ++i) trace[i] = std::exp(-0.01f * i) * std::sin(0.3f * i);
 *     std::printf("before: %.4f %.4f\n", trace[100], trace[393]);
 *
 *     PeltaAGC gain(500, 200, 4.0f);  // a window of 200 ms at 4 ms
 *     gain.applyAGC(trace, 500);
 *     std::printf("balanced: %.2f %.2f\n", trace[100], trace[393]);
 *     std::printf("gains: %.1f %.1f\n", gain.savedGain()[100], gain.savedGain()[393]);
 * Output:
 *     before: -0.3635 -0.0196
 *     balanced: -1.38 -1.24
 *     gains: 3.8 63.3
 */

#include "export.h"

#ifdef __cplusplus

/* Automatic gain control: every sample is divided by the median of the absolute amplitudes in a window that slides along the
 * trace. Zero samples do not count for the median, so that a muted zone does not raise the gain of its neighbours; and a median
 * makes the gain robust against spikes. Where the median is at most 1e-30, as in a dead stretch, the gain is 0.
 *
 * The running median is kept in a sorted window from which one value goes and into which one comes at every slide (after
 * T. S. Huang and others, A fast two-dimensional median filtering algorithm, IEEE Trans. ASSP 27, 1979). A NaN ranks above
 * every number. One object serves any number of traces. Where the work arrays could not be had, applyAGC leaves the trace
 * alone. */
class PELTA_API PeltaAGC {
  public:
    /* Makes the gain for a window.
     *   nsamples  longest trace that will be balanced; the work arrays have this length
     *   winlen    window length, in the unit of srate
     *   srate     sample interval */
    PeltaAGC(int nsamples, int winlen, float srate);
    ~PeltaAGC();
    PeltaAGC(const PeltaAGC&) = delete;
    PeltaAGC& operator=(const PeltaAGC&) = delete;

    /* Sets the window for the traces to come: winlen / srate samples (a quotient in single precision), truncated and at most
     * nsamples. */
    void setWindowLength(int winlen);

    /* Balances a trace of numsmp samples, in place; those beyond the constructed length are left alone.
     * A gain stands at the sample w/2 of its window of w samples. Before the first the gains repeat it; the last w/2 + 1 samples
     * take the gain of sample numsmp - w/2 - 3, or where there is none that of sample w/2. A trace shorter than the window
     * becomes zero. A window without samples does nothing.
     * The window is kept with one peculiarity: an incoming amplitude that ranks between its two smallest, when a larger one goes,
     * replaces the smallest, and the second smallest is held once more in place of the one that goes. */
    void applyAGC(float* trace, int numsmp);

    /* The gains of the last trace, one a sample, in place: valid until the next applyAGC. */
    float* savedGain();

    int _nsamples;    /* longest trace */
    int _winsamples;  /* window, in samples */
    float _srate;     /* sample interval */
    float* _tempTrc1; /* [_nsamples] absolute amplitudes */
    float* _tempTrc2; /* [_nsamples] the first _winsamples: the first window, sorted. Tables for the windows to come follow */
    float* _tempTrc3; /* [_nsamples] gains */
};

#endif
#endif
