#ifndef PELTA_FBPICKER_H
#define PELTA_FBPICKER_H

/* First breaks: the sample at which the first arrival begins, for refraction statics, for mutes and for checking geometry. Four
 * methods, from the plain ratio of energies to a prediction of the noise; a pick can be snapped to a trough, a peak or a zero
 * crossing.
 *
 * Example in C++:
 *     float trace[500];  // 2 ms: noise, and from 400 ms on a 30 Hz arrival
 *     for (int i = 0; i < 500; ++i) trace[i] = 0.05f * std::sin(1.7f * i * i) + (i < 200 ? 0 : std::sin(0.377f * (i - 200)));
 *
 *     fbPickParm parm = {};
 *     parm.ipmethod = 1;       // energy ratio
 *     parm.method = 1;         // about offset / velocity
 *     parm.velocity = 2000;    // m/s
 *     parm.envelope = 100;     // ms
 *     parm.winlen = 400;       // ms
 *     parm.stablizer = 5;      // percent
 *     parm.shiftpick = 5;      // where it was found
 *     fbPicker picker(&parm, 500, 2);
 *     std::printf("picked at %d ms\n", 2 * picker.getPick(trace, 760, 0));
 * Output:
 *     picked at 400 ms
 */

#include "export.h"

/* What a picker is told. The caller keeps the record alive as long as a picker uses it, and may change it between picks.
 * A time in ms becomes a count of samples by dividing by the sample interval and truncating towards zero. */
typedef struct fbPickParm {
    int ipmethod; /* 1 energy ratio, 2 standard-deviation ratio, 3 autoregressive, 4 spectral decomposition, others: 0 is picked */
    int method;      /* search start: 1 = offset / velocity + delay; others: half of winlen for the energy ratio, else 0 */
    float velocity;  /* linear moveout velocity, offset units per second */
    int limkey;      /* for the host: never read */
    int ilkey;       /* for the host: never read */
    int shiftpick;   /* what the pick snaps to: 1 trough, 2 peak, 3 falling zero crossing or local minimum, 4 rising zero
                        crossing or local maximum, 5 or more nothing; 0 or less: no sample matches, see adjustPick */
    int direction;   /* snapping: negative backward only, 0 both ways, positive forward only */
    int envelope;    /* ms; energy ratio: nominal window length */
    float stablizer; /* percent; energy ratio: stabiliser, of the mean absolute amplitude */
    int winlen;      /* ms; energy ratio: width of the search window, centred on the search start */
    int winlen1;     /* ms; standard-deviation ratio: length of the trace scanned */
    int winlen2;     /* ms; autoregressive: end of the search range */
    int winlen3;     /* ms; spectral decomposition: end of the search range */
    int delay;       /* samples (not ms); added to the search start that comes from the offset */
    int win1;        /* ms; standard-deviation ratio: earlier window (noise) */
    int win2;        /* ms; standard-deviation ratio: later window (signal) */
    int wina;        /* ms; autoregressive: span of leading window positions whose median is the reference */
    int winar;       /* ms; autoregressive: analysis window; models up to a quarter of its samples are tried */
    float threshold; /* autoregressive: multiple of the reference that declares the onset */
    float threshspd; /* spectral decomposition: multiple of the reference that declares the onset */
    float freqspd;   /* Hz; spectral decomposition: frequency analysed */
    int winspd;      /* ms; spectral decomposition: window length; also the span whose median is the reference */
} fbPickParm;

#ifdef __cplusplus

/* Finds the sample at which the first arrival begins on a trace. A tool makes one picker for its trace length and sample
 * interval and calls getPick for every trace.
 *
 * A pick depends on the trace and the parameters alone, not on earlier picks. Nothing outside the trace is read: beyond its
 * ends the samples count as 0 in the spectral decomposition and in snapping, and the standard-deviation and autoregressive
 * methods look only at windows that lie within it. Data are kept. When a work array could not be had, every pick is 0. */
class PELTA_API fbPicker {
  public:
    /* Makes a picker.
     *   fbpp   parameters, not owned
     *   nsamp  samples per trace
     *   sRate  sample interval, ms */
    fbPicker(fbPickParm* fbpp, int nsamp, float sRate);
    ~fbPicker();
    fbPicker(const fbPicker&) = delete;
    fbPicker& operator=(const fbPicker&) = delete;

    /* Takes another record; nothing else is reset. */
    void setfbPickParm(fbPickParm* fbpp);

    /* To be called after a change of freqspd, winspd or the sample interval: the tables of the spectral decomposition, made
     * at its first pick, are made anew at its next one. Returns 0. */
    int preProcess();

    /* Picks a trace and snaps the pick.
     *   data      [nsamp] the trace
     *   offset    source to receiver distance; read when the record's method is 1
     *   lastPick  ignored
     * Returns the pick, 0 for none. A search start before or behind the trace gives 0 without snapping; any other raw pick
     * is snapped, one of 0 (a dead trace) as well. */
    int getPick(float* data, float offset, int lastPick);

    /* The methods by themselves take data [nsamp], the trace, and isamp, the search start in samples. They return the raw pick,
     * 0 for none. */

    /* Energy ratio: the largest ratio of mean absolute amplitude after and before a sample, as the median of three trials over
     * the search window and of nine around it. The pick counts from the start of the segment that is looked at. That is the
     * start of the trace unless isamp lies more than winlen / 2 + 2 windows (of envelope + 1 samples, at least 10) behind it;
     * then the search also runs on beyond the segment, where it sees zeros. A segment whose samples but the first add up to
     * exactly 0 gives 0. */
    int computeEnPick(float* data, int isamp);

    /* Standard-deviation ratio: the smallest ratio of the standard deviations in two windows that slide along the first
     * winlen1 of the trace, one sample between them; the pick is the start of the later window. isamp is ignored. */
    int computeSDPick(float* data, int isamp);

    /* Autoregressive: the first window position from isamp on whose first prediction coefficient (see fabne_) reaches threshold
     * times the median over the leading positions. Windows of less than 8 samples give 0. Models whose packed matrix,
     * m (m + 1) / 2 floats at order m, exceeds nsamp floats are not tried. */
    int computeARPick(float* data, int isamp);

    /* Spectral decomposition: the first sample from isamp on where the amplitude at freqspd in a Gaussian window (see
     * spddecompose_) reaches threshspd times the median over the leading samples. The samples up to half a window behind
     * isamp have no window of their own and count as 0. Windows of less than 1 or at least nsamp samples give 0. */
    int computeSPDPick(float* data, int isamp);

    /* One trial of the energy ratio.
     *   data          [nsamp] cumulative sum of absolute amplitudes; entries beyond it count as 0
     *   nstart, nend  the samples after nstart and before nend are tried
     *   nlead, nlag   window lengths after and before a sample; the windows are cut off at the ends of the array
     *   stablize      added to the mean amplitude before a sample
     * Returns the first of the samples with the largest ratio (an infinite one included), 0 when no ratio is above 0. */
    int doPick(float* data, int nsamp, int nstart, int nend, int nlead, int nlag, float stablize);

    /* Snaps the sample time to the nearest one that shiftpick asks for, itself included; of two at the same distance the later
     * one is taken. A search without a match ends at sample 1 or nsamp - 1, and that becomes the result. ptime is ignored. */
    int adjustPick(float* data, int time, int ptime);

    fbPickParm* _fbpp;                                                /* parameters, not owned */
    int _nsamp;                                                       /* samples per trace */
    float _srate;                                                     /* sample interval, ms */
    float* _tempTrc1;                                                 /* [2 nsamp] work array */
    float *_tempTrc2, *_tempTrc3, *_tempTrc4, *_tempTrc5, *_tempTrc6; /* [nsamp] work arrays */
    bool _isPreProcess; /* the tables of the spectral decomposition are to be made at its next pick */
};

#endif
#endif
