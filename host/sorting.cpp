#include <pelta/host.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

namespace {

/* NaNs behind everything else: a total order, without which the standard algorithms may leave their array. */
bool before(float x, float y) { return x < y || (std::isnan(y) && !std::isnan(x)); }

/* Integers in the order of the floats: -0 before 0, and NaNs, of which none is before another, behind everything else. With it
 * the bits of a rank do not depend on how it is found. */
std::int32_t keyOf(float value) {
    if (std::isnan(value)) return INT32_MAX;
    const auto bits = std::bit_cast<std::int32_t>(value);
    return bits ^ ((bits >> 31) & INT32_MAX);
}

bool brackets(const float* ax, int nx, int index, float x) {
    return index >= 0 && index < nx - 1 && ax[index] <= x && x < ax[index + 1];
}

}

void qksort(int n, float* a) {
    if (n < 2) return;
    float* const numbersEnd = std::partition(a, a + n, [](float value) { return !std::isnan(value); });
    std::sort(a, numbersEnd, [](float x, float y) { return keyOf(x) < keyOf(y); });
}

void qkifind(int m, int n, float* a, int* i) {
    if (m < 0 || m >= n) return;
    std::nth_element(i, i + m, i + n, [a](int j, int k) { return keyOf(a[j]) < keyOf(a[k]); });
}

void xindex(int nx, float* ax, float x, int* index) {
    if (brackets(ax, nx, *index, x)) return;
    const auto above = std::upper_bound(ax, ax + std::max(nx, 0), x, before);
    *index = std::max(static_cast<int>(above - ax) - 1, 0);
}
