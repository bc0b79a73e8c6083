#ifndef PELTA_FORMATS_H
#define PELTA_FORMATS_H

/* Sample and text formats: what a tool needs when it reads or writes seismic tapes and files, whose text headers are in
 * EBCDIC, whose samples are IBM hexadecimal floats, and whose words are big-endian. All routines work in place on a buffer
 * of any alignment that its element type allows, allocate nothing and flag nothing.
 *
 * Example:
 *     float samples[2] = {1.0f, -118.625f};
 *     unsigned char* bytes = (unsigned char*)samples;
 *     ieeeToIbm(samples, 2);
 *     if (littleEndian()) endianSwap(samples, sizeof(float), 2);
 *     printf("as on tape: %02X%02X%02X%02X\n", bytes[4], bytes[5], bytes[6], bytes[7]);
 *
 *     if (littleEndian()) endianSwap(samples, sizeof(float), 2);
 *     ibmToIeee(samples, 2);
 *     printf("in memory: %g %g\n", samples[0], samples[1]);
 * Output:
 *     as on tape: C276A000
 *     in memory: 1 -118.625
 *
 * The float converters take native words and never swap bytes: swap before ibmToIeee, and behind ieeeToIbm. */

#include "export.h"

PELTA_BEGIN_C

/* Translates text from EBCDIC to ASCII: letters, digits, blank and most punctuation of code page 037.
 *   out  [nbyte] characters, changed in place
 * 0x15 and 0x25 both become a newline, accented letters the nearest byte of the PC code page, and the 51 codes without an
 * equivalent become SUB (0x1A). Not the inverse of asciiToEbcdic: text that went through both returns every printable ASCII
 * character except "[", "]" and "|". */
PELTA_API void ebcdicToAscii(unsigned char* out, int nbyte);

/* Translates text from ASCII to EBCDIC by the traditional Unix table (dd conv=ebcdic), a permutation of the 256 bytes.
 *   out  [nbyte] characters, changed in place */
PELTA_API void asciiToEbcdic(unsigned char* out, int nbyte);

/* 1 where the least significant byte of a word comes first in memory, 0 elsewhere. */
PELTA_API int littleEndian(void);

/* Reverses the bytes of each element.
 *   ptr   n consecutive elements of size bytes, of any alignment, changed in place
 *   size  bytes in an element; below 2 nothing changes, and the middle byte of an odd size stays */
PELTA_API void endianSwap(void* ptr, int size, int n);

/* Converts IBM System/360 hexadecimal floats (sign, exponent of 16 with excess 64, 24-bit fraction) to IEEE singles.
 *   vv  [n] native words, changed in place
 * Exact for every value within the IEEE range; unnormalised fractions are taken as well. Beyond the range (magnitudes above
 * about 3.4e38 or below 1.2e-38) the exponent wraps modulo 256, which gives unrelated values, infinities or NaNs. A word with
 * fraction 0 stays as it is, whatever its sign and exponent: 0x41000000 is read as 8. */
PELTA_API void ibmToIeee(float* vv, int n);

/* Converts IEEE singles to IBM System/360 hexadecimal floats.
 *   vv  [n] native words, changed in place
 * Up to three low bits of the fraction are cut off, never rounded. The word 0 stays 0; every other word is taken as a normal
 * number, so that -0 becomes 0xA1200000 (about -5.9e-39) and infinities and NaNs become large values. */
PELTA_API void ieeeToIbm(float* vv, int n);

PELTA_END_C

#endif
