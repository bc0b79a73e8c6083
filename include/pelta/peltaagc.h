#ifndef PELTA_PELTAAGC_H
#define PELTA_PELTAAGC_H

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
    /* nsamples  longest trace that will be balanced; the work arrays have this length
     * winlen    window length, in the unit of srate
     * srate     sample interval */
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

    int _nsamples;
    int _winsamples;
    float _srate;
    float* _tempTrc1; /* [_nsamples] absolute amplitudes */
    float* _tempTrc2; /* [_nsamples] the first _winsamples: the first window, sorted. Tables for the windows to come follow */
    float* _tempTrc3; /* [_nsamples] gains */
};

#endif
#endif
