#ifndef PELTA_FORMATS_H
#define PELTA_FORMATS_H

#include "export.h"

PELTA_BEGIN_C

PELTA_API void ebcdicToAscii(unsigned char* out, int nbyte);
PELTA_API void asciiToEbcdic(unsigned char* out, int nbyte);
PELTA_API int littleEndian(void);
PELTA_API void endianSwap(void* ptr, int size, int n);
PELTA_API void ibmToIeee(float* vv, int n);
PELTA_API void ieeeToIbm(float* vv, int n);

PELTA_END_C

#endif
