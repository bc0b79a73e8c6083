#ifndef PELTA_LIB_VECTORIZE_H
#define PELTA_LIB_VECTORIZE_H

/* PELTA_VECTORIZE stands before a kernel in an unnamed namespace: the compiler makes one copy of it for each x86-64 level and
 * the loader picks the best that the machine has. The bits are the same at every level, since products and sums are never
 * fused. Helpers called from such a kernel must be inlined into it (PELTA_INLINE), or they keep the lowest level.
 * clang exports the resolvers of such copies, so it builds one level. */
#if defined(PELTA_DISPATCH) && defined(__GNUC__) && !defined(__clang__)
#define PELTA_VECTORIZE __attribute__((target_clones("default", "arch=x86-64-v2", "arch=x86-64-v3", "arch=x86-64-v4")))
#else
#define PELTA_VECTORIZE
#endif

#define PELTA_INLINE inline __attribute__((always_inline))

#endif
