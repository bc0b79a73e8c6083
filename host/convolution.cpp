#include <pelta/host.h>

#include <algorithm>

void conv(int lx, int ifx, float* x, int ly, int ify, float* y, int lz, int ifz, float* z) {
    for (int k = 0; k < lz; ++k) {
        const int shift = k + ifz - ifx - ify;
        const int first = std::max(0, shift - ly + 1), last = std::min(lx - 1, shift);
        float sum = 0.0f;
        for (int j = first; j <= last; ++j) sum += x[j] * y[shift - j];
        z[k] = sum;
    }
}
