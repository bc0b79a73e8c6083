#ifndef PELTA_STATISTICS_H
#define PELTA_STATISTICS_H

#include "export.h"

PELTA_BEGIN_C

PELTA_API void computeMean(float* trace, int nsamp, float* fmean, float* fstd);
PELTA_API void computeMeanRms(float* trace, int nsamp, float* rms);
PELTA_API void smooth(float* trcin, float* trcout, int num, int nsmth);
PELTA_API void smooth2(float* trcin, int num, int nsmth, float* temp);
PELTA_API void smooth2Double(double* trcin, int num, int nsmth, double* temp);
PELTA_API void parabolic(float* amparray, int n, float* ampval, float* xposn);
PELTA_API void parabolic2(float* amparray, int n, float* ampval, float xposn);

PELTA_END_C

#endif
