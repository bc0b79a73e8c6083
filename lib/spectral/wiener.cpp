#include <pelta/spectrum.h>

#include <algorithm>

#include "vectorize.h"

namespace {

/* Raises the operator from length order - 1 to order and returns the cross term that the next order starts from. One after
 * another, its additions take as long as all the rest, which runs beside them. */
float raiseOperator(float* a, const float* r, int order, float reflection) {
    float crossTerm = r[order] + reflection * r[1];
    for (int j = 1; j < order / 2; ++j) {
        const float front = a[j], back = a[order - 1 - j];
        a[j] = front + reflection * back;
        crossTerm += a[j] * r[order - j];
        a[order - 1 - j] = back + reflection * front;
        crossTerm += a[order - 1 - j] * r[j + 1];
    }
    if (order % 2 == 1) {
        const int middle = order / 2;
        a[middle] += reflection * a[middle];
        crossTerm += a[middle] * r[middle + 1];
    }
    return crossTerm;
}

/* Steps of the recursion whose state is the error power and the cross term of the operator with the next lag. */
struct Recursion {
    float errorPower;
    float crossTerm;
    int lastBadOrder = 0;

    /* Begins an order and returns its reflection coefficient, which becomes the operator's last. */
    PELTA_INLINE float begin(int order, float* a) {
        const float reflection = -crossTerm / errorPower;
        if (errorPower <= 0.0f) lastBadOrder = order;
        a[order - 1] = reflection;
        errorPower += crossTerm * reflection;
        return reflection;
    }
};

int findOperator(int length, const float* r, float* errorPowers, float* a) {
    Recursion recursion{r[0], r[1]};
    for (int order = 2; order <= length; ++order) {
        errorPowers[order - 1] = recursion.errorPower;
        const float reflection = recursion.begin(order, a);
        recursion.crossTerm = raiseOperator(a, r, order, reflection);
    }
    return recursion.lastBadOrder;
}

/* Replaces the coefficients between the first and the last by their sums with the mirrored ones. */
PELTA_INLINE void reflectPairs(float* __restrict front, float* __restrict back, int pairCount, float reflection) {
    for (int j = 0; j < pairCount; ++j) {
        const float before = front[j], behind = back[-j];
        front[j] = before + reflection * behind;
        back[-j] = behind + reflection * before;
    }
}

PELTA_INLINE void addMirrored(float* __restrict sums, const float* __restrict last, int count, float factor) {
    for (int k = 0; k < count; ++k) sums[k] += last[-k] * factor;
}

PELTA_INLINE void multiplyMirrored(const float* __restrict first, const float* __restrict last, int count,
                                   float* __restrict products) {
    for (int k = 0; k < count; ++k) products[k] = first[k] * last[-k];
}

/* Cross terms with the next lag: what the next order starts from. */
struct CrossTerms {
    float ofOperator, ofFilter;
};

/* Lengthens the filter to order by its newest coefficient, f[order - 1], and returns both cross terms. The additions of
 * either go one after another; the two run side by side, and what they add is made over lanes a short block ahead. */
PELTA_INLINE CrossTerms lengthenFilter(float* f, const float* a, const float* r, int order) {
    constexpr int blockLength = 16;
    const float newest = f[order - 1];
    const int pairEnd = order / 2;
    float operatorTerm = r[order] + a[order - 1] * r[1];
    float filterTerm = r[1] * newest;
    int k = 0;
    for (int j = 1; j < pairEnd; j += blockLength) {
        float front[blockLength], back[blockLength], filtered[2 * blockLength];
        const int count = std::min(blockLength, pairEnd - j);
        multiplyMirrored(a + j, r + order - j, count, front);
        multiplyMirrored(r + j + 1, a + order - 1 - j, count, back);
        addMirrored(f + k, a + order - 1 - k, 2 * count, newest);
        multiplyMirrored(f + k, r + order - k, 2 * count, filtered);
        for (int i = 0; i < count; ++i) {
            operatorTerm += front[i];
            filterTerm += filtered[2 * i];
            operatorTerm += back[i];
            filterTerm += filtered[2 * i + 1];
            asm("" : "+x"(operatorTerm), "+x"(filterTerm));  // picking the terms from vectors is slower than loading them
        }
        k += 2 * count;
    }
    if (order % 2 == 1) operatorTerm += a[pairEnd] * r[pairEnd + 1];
    for (; k < order - 1; ++k) {
        f[k] += a[order - 1 - k] * newest;
        filterTerm += f[k] * r[order - k];
    }
    return {operatorTerm, filterTerm};
}

PELTA_VECTORIZE_256 int findFilter(int length, const float* r, const float* g, float* f, float* a) {
    Recursion recursion{r[0], r[1]};
    float filterTerm = f[0] * r[1];
    for (int order = 2; order <= length; ++order) {
        const float reflection = recursion.begin(order, a);
        reflectPairs(a + 1, a + order - 2, order / 2 - 1, reflection);
        if (order % 2 == 1) a[order / 2] += reflection * a[order / 2];
        f[order - 1] = (g[order - 1] - filterTerm) / recursion.errorPower;
        const CrossTerms next = lengthenFilter(f, a, r, order);
        recursion.crossTerm = next.ofOperator;
        filterTerm = next.ofFilter;
    }
    return recursion.lastBadOrder;
}

}

int Wiener(int lr, float* r, float* g, float* f, float* a, int isw) {
    a[0] = 1.0f;
    f[0] = g[0] / r[0];
    if (lr < 2) return 0;
    return isw == 0 ? findOperator(lr, r, f, a) : findFilter(lr, r, g, f, a);
}
