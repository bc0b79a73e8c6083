#ifndef PELTA_LIB_GRIDDING_TREND_H
#define PELTA_LIB_GRIDDING_TREND_H

#include <cmath>
#include <utility>

#include "gridding/levels.h"
#include "gridding/points.h"

/* The plane and the scale that are taken off the points and given back to the surface. */
namespace tension {

/* In node units. */
template <class State>
std::pair<double, double> placeOf(const State& s, float x, float y) {
    return {eastOf(s, x) * s.r_xinc, northOf(s, y) * s.r_yinc};
}

/* Sums over the points, of their places in node units and their values. */
struct PlaneSums {
    double n = 0, x = 0, y = 0, z = 0, xx = 0, xy = 0, yy = 0, xz = 0, yz = 0;
};

template <class State>
PlaneSums sumsOf(const State& s) {
    PlaneSums sums;
    sums.n = s.npoints;
    for (int k = 0; k < s.npoints; ++k) {
        const auto [x, y] = placeOf(s, s.data[k].x, s.data[k].y);
        const double z = s.data[k].z;
        sums.x += x;
        sums.y += y;
        sums.z += z;
        sums.xx += x * x;
        sums.xy += x * y;
        sums.yy += y * y;
        sums.xz += x * z;
        sums.yz += y * z;
    }
    return sums;
}

/* Takes the plane of least squares z = c0 + c1 x + c2 y off the points, by Cramer's rule; none where they lie on a line. */
template <class State>
void removePlanarTrend(State& s) {
    s.plane_c0 = s.plane_c1 = s.plane_c2 = 0;
    const auto [n, x, y, z, xx, xy, yy, xz, yz] = sumsOf(s);
    const double determinant = n * xx * yy + 2 * x * y * xy - n * xy * xy - x * x * yy - y * y * xx;
    if (determinant == 0.0) return;
    s.plane_c0 = (z * xx * yy + x * xy * yz + y * xy * xz - z * xy * xy - x * xz * yy - y * yz * xx) / determinant;
    s.plane_c1 = (n * xz * yy + z * y * xy + y * x * yz - n * xy * yz - z * x * yy - y * y * xz) / determinant;
    s.plane_c2 = (n * xx * yz + x * y * xz + z * x * xy - n * xy * xz - x * x * yz - z * y * xx) / determinant;
    for (int k = 0; k < s.npoints; ++k) {
        const auto [east, north] = placeOf(s, s.data[k].x, s.data[k].y);
        s.data[k].z = static_cast<float>(s.data[k].z - (s.plane_c0 + s.plane_c1 * east + s.plane_c2 * north));
    }
}

/* Divides the points by their RMS. zeroScale stands for an RMS of 0, and for its reciprocal. */
template <class State>
void rescaleZValues(State& s, double zeroScale) {
    double squares = 0;
    for (int k = 0; k < s.npoints; ++k) squares += static_cast<double>(s.data[k].z) * s.data[k].z;
    const double rms = s.npoints > 0 ? std::sqrt(squares / s.npoints) : 0.0;
    s.z_scale = rms == 0.0 ? zeroScale : rms;
    s.r_z_scale = rms == 0.0 ? zeroScale : 1.0 / rms;
    for (int k = 0; k < s.npoints; ++k) s.data[k].z = static_cast<float>(s.data[k].z * s.r_z_scale);
}

template <class State>
double planeAt(const State& s, int i, int j) {
    return s.plane_c0 + s.plane_c1 * i + s.plane_c2 * j;
}

/* In the order in which it was published, which is not that of planeAt. */
template <class State>
void replacePlanarTrend(State& s) {
    for (int i = 0; i < s.nx; ++i)
        for (int j = 0; j < s.ny; ++j) {
            float& u = s.u[nodeOf(s, i, j)];
            u = static_cast<float>(u * s.z_scale + s.plane_c0 + s.plane_c1 * i + s.plane_c2 * j);
        }
}

}

#endif
