#ifndef PELTA_NORMALMOVEOUT_H
#define PELTA_NORMALMOVEOUT_H

/* Normal-moveout correction of a trace, its inverse, and the rigid shift of a window by the moveout of its centre: for gathers
 * that are to be stacked, for velocity analysis, and for looking at residual moveout.
 *
 * Example in C++:
 *     float trace[500] = {}, velocity[500];
 *     std::fill_n(velocity, 500, 2.0f);  // m/ms
 *     trace[250] = 1;                    // at 500 ms and 600 m: sqrt(400^2 + (600/2)^2)
 *
 *     NormalMoveout moveout(500, 2, 0.5f, 0, true, false);
 *     moveout.applyNMO(trace, velocity, nullptr, 500, 0, 600, 0, 500);
 *     const int crest = int(std::max_element(trace, trace + 500) - trace);
 *     std::printf("the reflection is at %d ms\n", 2 * crest);
 *     std::printf("muted before %d ms\n", 2 * moveout.sampleAtStretch());
 * Output:
 *     the reflection is at 400 ms
 *     muted before 270 ms
 */

#include "export.h"

#ifdef __cplusplus

/* Normal-moveout correction of a trace, its inverse, and the rigid shift of a window by the moveout of its centre.
 *
 * A reflection seen at the two-way time t at zero offset arrives at offset x at the time
 *
 *   hyperbola        sqrt(t^2 + x^2/v^2)
 *   fourth order     sqrt(t^2 + x^2/v^2 - 2 A (x^2/v^2)^2 / (t^2 + x^2/v^2 + 2 A x^2/v^2))
 *   converted wave   t/2 + sqrt(t^2/4 + x^2/(2 v^2))          (P down, S up)
 *
 * with v and A given for every sample. The trace is resampled at these times with the host's 8-point sinc interpolation
 * (ints8r); what would be read outside the trace is 0. Where the correction stretches the trace too much, it is muted: hard,
 * without a taper.
 *
 * One object serves any number of traces; it keeps nothing from one to the next but sampleAtStretch. Offset, velocity and
 * times must be in consistent units: nothing is converted. Unless said otherwise every quantity is formed in single precision.
 * Where the work arrays could not be had, the operations leave the trace alone.
 *
 * Hyperbola: C. H. Dix, Seismic velocities from surface measurements, Geophysics 20 (1955). Fourth order: T. Alkhalifah and
 * I. Tsvankin, Velocity analysis for transversely isotropic media, Geophysics 60 (1995). */
class PELTA_API NormalMoveout {
  public:
    /* Makes a correction.
     *   nsamples  longest trace that will be corrected; the work arrays have this length
     *   srate     sample interval, in the unit of t0
     *   stretch   largest stretch that is kept, as a fraction of the time (0.3: 30 %); 1 or more mutes nothing
     *   stroff    the mute applies to offsets of at least this one, sign included: with 0, negative offsets are not muted
     *   twoway    false: only half the moveout is applied; the stretch mute still judges the whole
     *   forthord  true: the fourth-order formula */
    NormalMoveout(int nsamples, float srate, float stretch, float stroff, bool twoway, bool forthord);
    ~NormalMoveout();
    NormalMoveout(const NormalMoveout&) = delete;
    NormalMoveout& operator=(const NormalMoveout&) = delete;

    /* Sets the largest stretch that is kept, a fraction of the time. */
    void setStretch(float stretch);
    /* The largest stretch that is kept. */
    float getStretch();
    /* Chooses converted-wave moveout, which goes before the fourth-order formula; false at first. */
    void setConvertedWave(bool state);
    /* Whether converted-wave moveout is chosen. */
    bool isConvertedWave();
    /* Chooses the fourth-order formula. */
    void setFourthOrder(bool state);
    /* Whether the fourth-order formula is chosen. */
    bool isFourthOrder();
    /* After applyNMO: the first sample that the stretch mute left, 0 when nothing was muted. After unApplyNMO: the first sample
     * that was interpolated; or, when the trace was zeroed, the one-based position from which on it would have been.
     * applyBlockNMO does not change it. */
    int sampleAtStretch();

    /* Corrects a trace for moveout, in place. Always 0.
     *   trace         [nsamp]
     *   velocity      [nsamp]  v at the zero-offset time of each sample, kept
     *   forth         [nsamp]  A likewise, kept; read only with the fourth-order formula, else it may be null
     *   nsamp         samples; those beyond the constructed length are left alone
     *   t0            time of output sample 0. The trace that is read counts as beginning at time 0, whatever t0 is
     *   offset        source to receiver; only the mute looks at the sign
     *   istrt, iend   the samples istrt <= i < iend are moved, as far as they lie in the trace; the others are read where
     *                 they stand
     * Everything before the last sample that is stretched beyond the limit is zeroed, that sample included. A position that
     * is not a number (velocity 0 at offset 0) is left to ints8r; so is one that is infinite. */
    int applyNMO(float* trace, float* velocity, float* forth, int nsamp, float t0, float offset, int istrt, int iend);

    /* Shifts the window istrt <= i < iend as a block, by the moveout of its centre sample c = istrt + (iend - istrt) / 2,
     * and zeroes the rest of the trace but for what the window's surroundings hold: of the input, the n = iend - istrt samples
     * on either side of the time from which the centre is read survive. Arguments as in applyNMO. Always 0.
     * The whole trace becomes zero when the centre is stretched beyond the limit or lies outside the trace. Windows without
     * samples keep nothing of the trace either. */
    int applyBlockNMO(float* trace, float* velocity, float* forth, int nsamp, float t0, float offset, int istrt, int iend);

    /* Removes the correction: the whole corrected trace goes back to the recorded times, in place. Arguments as in applyNMO,
     * except that istrt and iend are ignored. Always 0.
     * The recorded times of the samples are inverted by linear interpolation. Sample 0 is taken at offset / velocity, without
     * t0, halving or the converted wave's formula. Samples before the first recorded time become 0; when that lies
     * behind the trace, the whole trace does. The last sample keeps its value. */
    int unApplyNMO(float* trace, float* velocity, float* forth, int nsamp, float t0, float offset, int istrt, int iend);

    int _nsamples;         /* longest trace */
    float _srate;          /* sample interval */
    float _stretch;        /* largest stretch that is kept */
    float _stroffset;      /* least offset that is muted */
    bool _twoway;          /* the whole moveout is applied */
    bool _4thorder;        /* the fourth-order formula is chosen */
    float* _tempTrc;       /* [_nsamples] the input trace */
    float* _tempSamp;      /* [_nsamples] the position, in input samples, from which each output sample is read */
    float* _tempSampCopy;  /* [_nsamples] 0, 1, 2, ... */
    bool _isConvertedWave; /* converted-wave moveout is chosen */
    int _sampleAtStretch;  /* see sampleAtStretch */
};

#endif
#endif
