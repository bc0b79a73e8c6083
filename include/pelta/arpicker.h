#ifndef PELTA_ARPICKER_H
#define PELTA_ARPICKER_H

#include "export.h"

PELTA_BEGIN_C

PELTA_API void fabne_(float* x, int* n, int* mstart, int* mlast, int* icode, int* akcode, int* rscode, int* mdim, float* v,
                      float* vc, float* s, float* sc, float* a, int* m, float* ssq, float* p, int* ocode);
PELTA_API void chfac_(int* n, int* nt, float* a, int* ifail);
PELTA_API void chsol_(int* n, int* nt, float* l, float* b, float* ss);
PELTA_API void accsum_(float* x, int* n, int* nmm, int* move, float* sum);
PELTA_API void accssq_(int* m, int* n, float* x, float* a, int* icode, float* ssq);
PELTA_API void akstop_(float* p, float* pl, int* m, int* n, int* akcode, int* itend);

PELTA_END_C

#endif
