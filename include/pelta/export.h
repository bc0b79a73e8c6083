#ifndef PELTA_EXPORT_H
#define PELTA_EXPORT_H

/* PELTA_API marks what the shared libraries export; everything else stays inside. */
#define PELTA_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define PELTA_BEGIN_C extern "C" {
#define PELTA_END_C }
#else
#define PELTA_BEGIN_C
#define PELTA_END_C
#endif

#endif
