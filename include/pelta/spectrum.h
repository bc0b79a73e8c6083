#ifndef PELTA_SPECTRUM_H
#define PELTA_SPECTRUM_H

#include "export.h"

PELTA_BEGIN_C

PELTA_API int changePhase(float* filter, int nsamp, int nfft, int iopt, float phase_char, float noise, float phase_shift,
                          float* mag, float* phase, float* quad);
PELTA_API void AutoCorr(float* trace, int nt, float* autocor, int na);
PELTA_API int Wiener(int lr, float* r, float* g, float* f, float* a, int isw);
PELTA_API void rectToPolar(float* a, int ia, float* m, int im, float* p, int ip, int n);
PELTA_API void polarToRect(float* m, int im, float* p, int ip, float* a, int ia, int n);

PELTA_END_C

#endif
