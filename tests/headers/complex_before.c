/* The C library's complex numbers keep their name where they were there first; bins go by the long one. */
#include <complex.h>

#include <pelta/pelta.h>

float complex sampleOf(peltaComplex bin);

float complex sampleOf(peltaComplex bin) { return bin.r + bin.i * I; }
