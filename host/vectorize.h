#ifndef PELTA_HOST_VECTORIZE_H
#define PELTA_HOST_VECTORIZE_H

/* HOST_VECTORIZE stands before a kernel in an unnamed namespace: the compiler makes one copy of it for each x86-64 level and
 * the loader picks the best that the machine has. Products and sums are never fused, so every copy gives the same bits.
 * HOST_LEVELS says that a kernel may instead be written out for a level (HOST_LEVEL_V3, HOST_LEVEL_V4) where the levels need
 * differently shaped loops. clang exports the resolvers of such copies and a 32-bit build has no levels: both build one. */
#if defined(PELTA_DISPATCH) && defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define HOST_LEVELS 1
#define HOST_VECTORIZE __attribute__((target_clones("default", "arch=x86-64-v2", "arch=x86-64-v3", "arch=x86-64-v4")))
#define HOST_LEVEL_V3 __attribute__((target("arch=x86-64-v3")))
#define HOST_LEVEL_V4 __attribute__((target("arch=x86-64-v4")))
#else
#define HOST_LEVELS 0
#define HOST_VECTORIZE
#endif

#define HOST_ALWAYS_INLINE __attribute__((always_inline))
#define HOST_INLINE inline HOST_ALWAYS_INLINE

#endif
