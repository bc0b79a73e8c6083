#include <pelta/host.h>

#include <cmath>
#include <cstddef>

void vclr_(float* a, int* stride, int* n) {
    const std::ptrdiff_t step = *stride;
    for (std::ptrdiff_t k = 0; k < *n; ++k) a[k * step] = 0.0f;
}

void cvabs_(float* a, int* ia, float* c, int* ic, int* n) {
    const std::ptrdiff_t from = *ia, to = *ic;
    for (std::ptrdiff_t k = 0; k < *n; ++k) {
        const float real = a[k * from], imaginary = a[k * from + 1];
        c[k * to] = std::sqrt(real * real + imaginary * imaginary);
    }
}
