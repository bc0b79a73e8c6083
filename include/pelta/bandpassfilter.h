#ifndef PELTA_BANDPASSFILTER_H
#define PELTA_BANDPASSFILTER_H

#include "export.h"

#ifdef __cplusplus
class PELTA_API BandPassFilter {
  public:
    BandPassFilter(int type, int phase, int inverse, float lag, int lc, int lp, int hp, int hc, int nsample, float sRate);
    ~BandPassFilter();
    BandPassFilter(const BandPassFilter&) = delete;
    BandPassFilter& operator=(const BandPassFilter&) = delete;

    void buildFilter(int lc, int lp, int hp, int hc);
    void setTimeDomain(int istime);
    int applyFilter(float* data, int nsamp);
    void ormsbyGen(float* a, int ia, int maxf, int numf);
    void butterworthGen(float* a, int ia, int maxf, int numf);

    int _type;
    int _phase;
    int _inverse;
    float _lag;
    int _lp;
    int _lc;
    int _hc;
    int _hp;
    int _nsample;
    float _sRate;
    int _isTime;
    int _nfft;
    float* _tempTrc;
    float* _tempTrc1;
    float* _filter;
    float* _magfilter;
    int _lenfilter;
};
#else
typedef struct BandPassFilter BandPassFilter;
#endif

PELTA_BEGIN_C

extern PELTA_API BandPassFilter* bandpassfilter;
PELTA_API int bandPassFilter(int type, int phase, int inverse, float lag, int lp, int lc, int hc, int hp, int nsample,
                             float sRate);
PELTA_API int applyBandPassFilter(float* data, int nsample);

PELTA_END_C

#endif
