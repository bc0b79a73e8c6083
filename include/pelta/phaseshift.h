#ifndef PELTA_PHASESHIFT_H
#define PELTA_PHASESHIFT_H

/* Rotation of phase: by a constant angle, for matching data of different sources or polarity, and by the quadrature trace, from
 * which envelopes and other attributes of the analytic signal are made.
 *
 * Example in C++:
 *     float trace[101] = {}, quadrature[101], envelope[101];
 *     ricker(0.2f, 0.004f, 30, 101, 1, trace);  // peak 1 at 200 ms, sample 50
 *     PeltaPhaseShift rotation(101, 90);
 *     rotation.applyPhaseShift(trace, 101);
 *     applyHilbert(trace, quadrature, 101);
 *     for (int i = 0; i < 101; ++i) envelope[i] = std::hypot(trace[i], quadrature[i]);
 *
 *     const float* crest = std::max_element(envelope, envelope + 101);
 *     std::printf("rotated: %.2f at its centre\n", std::fabs(trace[50]));
 *     std::printf("the envelope's crest is %.1f, at sample %d\n", *crest, int(crest - envelope));
 * Output:
 *     rotated: 0.00 at its centre
 *     the envelope's crest is 1.0, at sample 50
 */

#include "export.h"

#ifdef __cplusplus

/* Rotation of the phase of every frequency of a trace by one constant angle, in the frequency domain. Zero frequency and Nyquist
 * are rotated too: what they lose as real bins the trace loses. One object serves any number of traces; its work arrays are
 * shared between calls. Where they could not be had, the trace is left alone. */
class PELTA_API PeltaPhaseShift {
  public:
    /* Makes the rotation by an angle.
     *   nsamples  longest trace that will be rotated
     *   angle     degrees, added to the phase: cos(wt) becomes cos(wt + angle) */
    PeltaPhaseShift(int nsamples, float angle);
    ~PeltaPhaseShift();
    PeltaPhaseShift(const PeltaPhaseShift&) = delete;
    PeltaPhaseShift& operator=(const PeltaPhaseShift&) = delete;

    /* Sets the angle, in degrees, for the traces to come. */
    void setAngle(float angle);

    /* Rotates a trace in place.
     *   trace   [numsmp]
     *   numsmp  samples; those beyond the constructed length are left alone */
    void applyPhaseShift(float* trace, int numsmp);

    int _nsamples;    /* longest trace */
    int _nfft;        /* transform length: about 1.3 times the trace's, so that what wraps round falls behind it */
    float _angle;     /* degrees */
    float* _tempTrc1; /* the trace with zeros behind it; its rotated spectrum */
    float* _tempTrc2; /* its spectrum; the rotated trace */
};

#endif

PELTA_BEGIN_C

/* Quadrature (Hilbert-transformed) trace by a 19-point operator in the time domain: h[n] = -2 / (pi n) for odd n = -9 .. 9, not
 * tapered, and 0 for even n. A sine becomes a cosine, its amplitude right to 11 % from 0.15 to 0.85 of Nyquist, 18 %
 * too large at 0.1 and 0.9, and falling to 0 beyond.
 *   datain   [nsamp] kept; zeros count beyond its ends
 *   dataout  [nsamp] receives sum over n of h[n] datain[i - n]; must not overlap datain */
PELTA_API void applyHilbert(float* datain, float* dataout, int nsamp);

PELTA_END_C

#endif
