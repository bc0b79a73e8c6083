#ifndef PELTA_NORMALMOVEOUT_H
#define PELTA_NORMALMOVEOUT_H

#include "export.h"

#ifdef __cplusplus

class PELTA_API NormalMoveout {
  public:
    NormalMoveout(int nsamples, float srate, float stretch, float stroff, bool twoway, bool forthord);
    ~NormalMoveout();
    NormalMoveout(const NormalMoveout&) = delete;
    NormalMoveout& operator=(const NormalMoveout&) = delete;

    void setStretch(float stretch);
    float getStretch();
    void setConvertedWave(bool state);
    bool isConvertedWave();
    void setFourthOrder(bool state);
    bool isFourthOrder();
    int sampleAtStretch();

    int applyNMO(float* trace, float* velocity, float* forth, int nsamp, float t0, float offset, int istrt, int iend);
    int applyBlockNMO(float* trace, float* velocity, float* forth, int nsamp, float t0, float offset, int istrt, int iend);
    int unApplyNMO(float* trace, float* velocity, float* forth, int nsamp, float t0, float offset, int istrt, int iend);

    int _nsamples;
    float _srate;
    float _stretch;
    float _stroffset;
    bool _twoway;
    bool _4thorder;
    float* _tempTrc;
    float* _tempSamp;
    float* _tempSampCopy;
    bool _isConvertedWave;
    int _sampleAtStretch;
};

#endif
#endif
