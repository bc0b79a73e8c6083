#include <pelta/host.h>

#include <cmath>

void vclr_(float* a, int* stride, int* n) {
    for (int k = 0; k < *n; ++k) a[static_cast<long>(k) * *stride] = 0.0f;
}

void cvabs_(float* a, int* ia, float* c, int* ic, int* n) {
    for (int k = 0; k < *n; ++k) {
        const float* bin = a + static_cast<long>(k) * *ia;
        c[static_cast<long>(k) * *ic] = std::sqrt(bin[0] * bin[0] + bin[1] * bin[1]);
    }
}
