#ifndef PELTA_CUMMLATIVE_H
#define PELTA_CUMMLATIVE_H

#include "export.h"

PELTA_BEGIN_C

PELTA_API int initCummlative(int icheck);
PELTA_API int runCummlative(char* process, long int numTraces);
PELTA_API int printCummlative(char* user, char* process, int year, int month);

PELTA_END_C

#endif
