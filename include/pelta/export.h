#ifndef PELTA_EXPORT_H
#define PELTA_EXPORT_H

/* How the headers mark what they declare. */

/* What the shared libraries export; everything else stays inside. */
#define PELTA_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define PELTA_BEGIN_C extern "C" { /* flat functions, with C linkage in C++ too, */
#define PELTA_END_C }              /* up to here */
#else
#define PELTA_BEGIN_C
#define PELTA_END_C
#endif

#endif
