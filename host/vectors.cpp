#include <pelta/host.h>

#include <cmath>
#include <cstddef>

#include "vectorize.h"

namespace {

/* Bins and magnitudes that stand side by side, as nearly all do. */
HOST_VECTORIZE void magnitudes(const peltaComplex* bins, float* c, std::ptrdiff_t n) {
    for (std::ptrdiff_t k = 0; k < n; ++k) c[k] = std::sqrt(bins[k].r * bins[k].r + bins[k].i * bins[k].i);
}

}

void vclr_(float* a, int* stride, int* n) {
    const std::ptrdiff_t step = *stride;
    for (std::ptrdiff_t k = 0; k < *n; ++k) a[k * step] = 0.0f;
}

void cvabs_(float* a, int* ia, float* c, int* ic, int* n) {
    const std::ptrdiff_t from = *ia, to = *ic;
    if (from == 2 && to == 1) return magnitudes(reinterpret_cast<const peltaComplex*>(a), c, *n);
    for (std::ptrdiff_t k = 0; k < *n; ++k) {
        const float real = a[k * from], imaginary = a[k * from + 1];
        c[k * to] = std::sqrt(real * real + imaginary * imaginary);
    }
}
