/* A program may come to the C library's complex numbers after the library's headers. */
#include <pelta/pelta.h>

static complex shortName;

#include <complex.h>

#include <pelta/host.h>

float complex firstBin(void);

float complex firstBin(void) { return shortName.r + shortName.i * I; }
