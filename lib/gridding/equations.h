#ifndef PELTA_LIB_GRIDDING_EQUATIONS_H
#define PELTA_LIB_GRIDDING_EQUATIONS_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <type_traits>

#include "gridding/levels.h"
#include "gridding/points.h"
#include "gridding/sweep.h"

/* What the nodes are solved for: weights of the stencil, nodes with a point on them or near them, and a first guess. */
namespace tension {

constexpr char fixedNode = 5; /* state of a node that keeps its value */

template <class State>
void setCoefficients(State& s) {
    using Real = RealOf<State>;
    const Real e2 = s.l_epsilon * s.l_epsilon, e4 = e2 * e2, ti = s.interior_tension, loose = 1 - ti;
    s.eps_p2 = e2;
    s.eps_m2 = 1 / e2;
    s.one_plus_e2 = 1 + e2;
    s.two_plus_ep2 = 2 + 2 * e2;
    s.two_plus_em2 = 2 + 2 / e2;
    s.e_2 = 2 * e2;
    s.e_m2 = 2 / e2;
    s.x_edge_const = 4 * (1 + e2) - 2 * ti / loose;
    s.y_edge_const = 4 * (1 + 1 / e2) - 2 * ti / (e2 * loose);
    const Real a0 = 1 / (6 * e4 * loose + 10 * e2 * loose + 8 * loose - 2 * (1 + e2) + 4 * ti * (1 + e2));
    s.a0_const_1 = 2 * loose * (1 + e4);
    s.a0_const_2 = 2 - ti + 2 * loose * e2;
    const auto set = [&](int data, std::initializer_list<StencilNode> nodes, Real value) {
        for (StencilNode node : nodes) s.coeff[data][node] = value;
    };
    set(0, {north2, south2}, -e4 * loose * a0);
    set(0, {northWest, northEast, southWest, southEast}, -2 * loose * e2 * a0);
    set(0, {north, south}, (4 * loose * (1 + e2) + ti) * e2 * a0);
    set(0, {west2, east2}, -loose * a0);
    set(0, {west, east}, (4 * loose * (1 + e2) + ti) * a0);
    set(1, {north2, south2}, -e4 * loose);
    set(1, {northWest, northEast, southWest, southEast}, -2 * loose * e2);
    set(1, {north, south}, 2 * loose * (1 + e2) * e2);
    set(1, {west2, east2}, -loose);
    set(1, {west, east}, 2 * loose * (1 + e2));
    setCorners(s);
}

/* States: the quadrant, counted from 1, in which the nearest point lies as seen from its node. */
template <class Real>
char quadrantOf(Real dx, Real dy) {
    if (dy >= 0) return dx >= 0 ? 1 : 2;
    return dx < 0 ? 3 : 4;
}

/* Briggs' coefficients for a point at (dx, dy) node units from its node, both made positive. */
template <class State, class Real>
auto briggsOf(const State& s, Real dx, Real dy, float z) {
    constexpr Real half = static_cast<Real>(0.5);
    std::remove_pointer_t<decltype(State::briggs)> record;
    const Real far = 1 + dx + dy;
    const Real last = 2 * s.one_plus_e2 / ((dx + dy) * far);
    record.b[0] = 1 - half * (dx + dx * dx) * last;
    record.b[3] = half * (s.e_2 - (dy + dy * dy) * last);
    record.b[1] = (s.e_2 * far - 4 * dy) / far;
    record.b[2] = 2 * (dy - dx + 1) / far;
    record.b[4] = record.b[0] + record.b[1] + record.b[2] + record.b[3] + last;
    record.b[5] = last * z;
    return record;
}

/* Fixes the nodes that have a point on them and enters the others by their quadrant and Briggs record. */
template <class State>
void findNearestPoint(State& s) {
    using Real = RealOf<State>;
    s.small = static_cast<Real>(0.05) * std::min(s.grid_xinc, s.grid_yinc);
    for (int i = 0; i < s.nx; i += s.grid)
        for (int j = 0; j < s.ny; j += s.grid) s.iu[nodeOf(s, i, j)] = 0;
    int last = -1, recordCount = 0;
    for (int k = 0; k < s.npoints; ++k) {
        const auto& point = s.data[k];
        if (point.index == last) continue;
        last = point.index;
        const int i = point.index / s.block_ny, j = point.index % s.block_ny;
        const Real dx = eastOfNode(s, point.x, i) * s.r_grid_xinc;
        const Real dy = northOfNode(s, point.y, j) * s.r_grid_yinc;
        const std::size_t node = nodeOf(s, i * s.grid, j * s.grid);
        /* Kept on purpose: node units beside a length. */
        if (std::abs(dx) < s.small && std::abs(dy) < s.small) {
            s.iu[node] = fixedNode;
            s.u[node] = point.z;
        } else {
            s.iu[node] = quadrantOf(dx, dy);
            s.briggs[recordCount++] = briggsOf(s, std::abs(dx), std::abs(dy), point.z);
        }
    }
}

/* Gives a node a value that is only a guess: it is free. */
template <class State>
void guess(State& s, int i, int j, RealOf<State> value) {
    const std::size_t node = nodeOf(s, i, j);
    s.u[node] = static_cast<float>(value);
    s.iu[node] = 0;
}

/* Bilinear, between the four nodes of the coarser level from (i, j) on. */
template <class State>
void fillCell(State& s, int i, int j) {
    using Real = RealOf<State>;
    const Real u00 = s.u[nodeOf(s, i, j)], u10 = s.u[nodeOf(s, i + s.old_grid, j)];
    const Real u01 = s.u[nodeOf(s, i, j + s.old_grid)], u11 = s.u[nodeOf(s, i + s.old_grid, j + s.old_grid)];
    const Real a1 = u10 - u00, a2 = u01 - u00, a3 = u11 - u00 - a1 - a2;
    const int cell = s.old_grid, step = s.grid;
    for (int di = 0; di < cell; di += step) {
        const Real fi = static_cast<Real>(di) / static_cast<Real>(cell);
        for (int dj = 0; dj < cell; dj += step) {
            if (di == 0 && dj == 0) continue;
            const Real fj = static_cast<Real>(dj) / static_cast<Real>(cell);
            guess(s, i + di, j + dj, u00 + a1 * fi + (a3 * fi + a2) * fj);
        }
    }
    s.iu[nodeOf(s, i, j)] = fixedNode;
}

/* From one node of the coarser level to the next, along an edge from (i, j) on. */
template <class State>
void fillEdge(State& s, int i, int j, int stepI, int stepJ) {
    using Real = RealOf<State>;
    const int cell = s.old_grid;
    for (; i < s.nx && j < s.ny; i += cell * stepI, j += cell * stepJ) {
        s.iu[nodeOf(s, i, j)] = fixedNode;
        const int nextI = i + cell * stepI, nextJ = j + cell * stepJ;
        if (nextI >= s.nx || nextJ >= s.ny) return;
        const Real from = s.u[nodeOf(s, i, j)], rise = s.u[nodeOf(s, nextI, nextJ)] - from;
        for (int d = s.grid; d < cell; d += s.grid)
            guess(s, i + d * stepI, j + d * stepJ, from + rise * (static_cast<Real>(d) / static_cast<Real>(cell)));
    }
}

/* Gives the nodes between those of the coarser level a first value; the coarser ones are fixed meanwhile. */
template <class State>
void fillInForecast(State& s) {
    for (int i = 0; i < s.nx - 1; i += s.old_grid)
        for (int j = 0; j < s.ny - 1; j += s.old_grid) fillCell(s, i, j);
    fillEdge(s, s.nx - 1, 0, 0, 1);
    fillEdge(s, 0, s.ny - 1, 1, 0);
}

}

#endif
