#ifndef PELTA_PELTAAGC_H
#define PELTA_PELTAAGC_H

#include "export.h"

#ifdef __cplusplus

class PELTA_API PeltaAGC {
  public:
    PeltaAGC(int nsamples, int winlen, float srate);
    ~PeltaAGC();
    PeltaAGC(const PeltaAGC&) = delete;
    PeltaAGC& operator=(const PeltaAGC&) = delete;

    void setWindowLength(int winlen);
    void applyAGC(float* trace, int numsmp);
    float* savedGain();

    int _nsamples;
    int _winsamples;
    float _srate;
    float* _tempTrc1;
    float* _tempTrc2;
    float* _tempTrc3;
};

#endif
#endif
