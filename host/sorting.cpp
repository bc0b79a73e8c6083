#include <pelta/host.h>

#include <algorithm>
#include <cmath>

namespace {

/* A total order with NaN last, which the standard algorithms need to stay inside their array. */
bool before(float x, float y) { return x < y || (std::isnan(y) && !std::isnan(x)); }

}

void qksort(int n, float* a) {
    if (n > 1) std::sort(a, a + n, before);
}

void qkifind(int m, int n, float* a, int* i) {
    if (m >= 0 && m < n) std::nth_element(i, i + m, i + n, [a](int j, int k) { return before(a[j], a[k]); });
}

void xindex(int nx, float* ax, float x, int* index) {
    const auto above = std::upper_bound(ax, ax + std::max(nx, 0), x);
    *index = std::max(static_cast<int>(above - ax) - 1, 0);
}
