#ifndef PELTA_SPDPICKER_H
#define PELTA_SPDPICKER_H

#include "export.h"
#include "types.h"

PELTA_BEGIN_C

PELTA_API void spdtables_(peltaComplex* ctable, int* iwind, int* nomega, int* opbias, int* gaus, float* t, int* itw,
                          int* ihalf, float* pie, float* freq, float* dt);
PELTA_API void spddecompose_(float* tri, int* nsamp, float* tri_buffer_, int* t_size_, int* ist, int* iend, int* nskip,
                             int* trbias, int* nomega, int* iwind, int* ihalf, peltaComplex* ctable, float* t, float* sum,
                             float* radeg, int* phase, int* normal_live_, int* normal_energy_);

PELTA_END_C

#endif
