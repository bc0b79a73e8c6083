#include <pelta/numeric.h>

#include <cmath>
#include <cstdio>

namespace {

/* Keeps a column of ordinates that are 0 from dividing zero by zero. */
constexpr float leastDifference = 1.0e-25f;

/* The entry nearest to x, the first of equally near ones. */
int nearestEntry(const float* abscissae, int count, float x) {
    int nearest = 1;
    for (int i = 2; i <= count; ++i)
        if (std::fabs(x - abscissae[i]) < std::fabs(x - abscissae[nearest])) nearest = i;
    return nearest;
}

/* Starts at the ordinate nearest to x and adds a correction from each column of the scheme, keeping to the middle of it.
 * nextColumn(column) turns the corrections c and d of one column into those of the next, and is false where there is none. */
template <class NextColumn>
void sumCorrections(const float* ordinates, int count, int nearest, const float* c, const float* d, float* value,
                    float* correction, NextColumn nextColumn) {
    *value = ordinates[nearest];
    int above = nearest - 1;
    for (int column = 1; column < count; ++column) {
        if (!nextColumn(column)) return;
        *correction = 2 * above < count - column ? c[above + 1] : d[above--];
        *value += *correction;
    }
}

/* Kept on purpose: two equal abscissae are said and then divided by, so that nobody takes the value for a good one. */
void reportEqualAbscissae() {
    std::printf("Error in routine polint2");
    std::fflush(stdout);
}

}

void polint(float* xa, float* ya, int n, float x, float* y, float* dy, float* c, float* d) {
    for (int i = 1; i <= n; ++i) c[i] = d[i] = ya[i];
    sumCorrections(ya, n, nearestEntry(xa, n, x), c, d, y, dy, [=](int column) {
        for (int i = 1; i <= n - column; ++i) {
            const float before = xa[i] - x, after = xa[i + column] - x;
            const float span = before - after;
            if (span == 0.0f) reportEqualAbscissae();
            const float slope = (c[i + 1] - d[i]) / span;
            d[i] = after * slope;
            c[i] = before * slope;
        }
        return true;
    });
}

void ratint(float* xa, float* ya, int n, float x, float* y, float* dy, float* c, float* d) {
    for (int i = 1; i <= n; ++i) {
        if (x - xa[i] == 0.0f) {
            *y = ya[i];
            *dy = 0.0f;
            return;
        }
        c[i] = ya[i];
        d[i] = ya[i] + leastDifference;
    }
    sumCorrections(ya, n, nearestEntry(xa, n, x), c, d, y, dy, [=](int column) {
        for (int i = 1; i <= n - column; ++i) {
            const float scaled = (xa[i] - x) * d[i] / (xa[i + column] - x);
            const float span = scaled - c[i + 1];
            if (span == 0.0f) return false;
            const float slope = (c[i + 1] - d[i]) / span;
            d[i] = c[i + 1] * slope;
            c[i] = scaled * slope;
        }
        return true;
    });
}
