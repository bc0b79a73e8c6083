#include <pelta/spectrum.h>

namespace {

/* Raises the operator from length order - 1 to order and returns the cross term that the next order starts from. */
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
        a[middle] = a[middle] + reflection * a[middle];
        crossTerm += a[middle] * r[middle + 1];
    }
    return crossTerm;
}

/* Lengthens the filter to order and returns its cross term with the next lag. */
float raiseFilter(float* f, const float* a, const float* r, int order) {
    const float newest = f[order - 1];
    float crossTerm = r[1] * newest;
    for (int k = 0; k < order - 1; ++k) {
        f[k] += a[order - 1 - k] * newest;
        crossTerm += f[k] * r[order - k];
    }
    return crossTerm;
}

}

int Wiener(int lr, float* r, float* g, float* f, float* a, int isw) {
    a[0] = 1.0f;
    f[0] = g[0] / r[0];
    if (lr < 2) return 0;
    float errorPower = r[0];
    float operatorTerm = r[1];
    float filterTerm = f[0] * r[1];
    int lastBadOrder = 0;
    for (int order = 2; order <= lr; ++order) {
        const float reflection = -operatorTerm / errorPower;
        if (errorPower <= 0.0f) lastBadOrder = order;
        a[order - 1] = reflection;
        if (isw == 0) f[order - 1] = errorPower;
        errorPower += operatorTerm * reflection;
        operatorTerm = raiseOperator(a, r, order, reflection);
        if (isw != 0) {
            f[order - 1] = (g[order - 1] - filterTerm) / errorPower;
            filterTerm = raiseFilter(f, a, r, order);
        }
    }
    return lastBadOrder;
}
