#ifndef PELTA_LIB_VECTORIZE_H
#define PELTA_LIB_VECTORIZE_H

/* PELTA_VECTORIZE stands before a kernel in an unnamed namespace: the compiler makes one copy of it for each x86-64 level and
 * the loader picks the best that the machine has. The bits are the same at every level, since products and sums are never
 * fused. Helpers called from such a kernel must be inlined into it (PELTA_INLINE), or they keep the lowest level.
 * clang exports the resolvers of such copies, so it builds one level.
 * PELTA_VECTORIZE_256 stops short of 512-bit registers: while those are in use a processor adds single floats more slowly,
 * which costs a kernel that lives by a long chain of additions more than they bring. */
#if defined(PELTA_DISPATCH) && defined(__GNUC__) && !defined(__clang__)
#define PELTA_VECTORIZE __attribute__((target_clones("default", "arch=x86-64-v2", "arch=x86-64-v3", "arch=x86-64-v4")))
#define PELTA_VECTORIZE_256 __attribute__((target_clones("default", "arch=x86-64-v2", "arch=x86-64-v3")))
#else
#define PELTA_VECTORIZE
#define PELTA_VECTORIZE_256
#endif

/* PELTA_LEVELS: a kernel may instead be written out for a level, where the levels need differently shaped loops. */
#if defined(PELTA_DISPATCH) && defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define PELTA_LEVELS 1
#define PELTA_LEVEL_V3 __attribute__((target("arch=x86-64-v3")))
#define PELTA_LEVEL_V4 __attribute__((target("arch=x86-64-v4")))
#else
#define PELTA_LEVELS 0
#endif

#define PELTA_INLINE inline __attribute__((always_inline))

#endif
