#ifndef PELTA_LIB_GRIDDING_TENSIONSPLINE_H
#define PELTA_LIB_GRIDDING_TENSIONSPLINE_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <utility>

#include "gridding/skewedgrid.h"
#include "gridding/sweep.h"

/* Continuous-curvature splines in tension on a regular grid, level by level from coarse to fine: what both gridding routines
 * share. Their working states bear the same names and differ in where they live and in their arithmetic: every step computes in
 * the type of State::grid_xinc. The surface u and the points are in single precision in both.
 *
 * W. H. F. Smith and P. Wessel, Gridding with continuous curvature splines in tension, Geophysics 55 (1990); I. C. Briggs, Machine
 * contouring using minimum curvature, Geophysics 39 (1974). */
namespace tension {

constexpr int discarded = 2000000000; /* index of a point that does not count */
constexpr char fixedNode = 5;         /* state of a node that keeps its value */

template <class State>
using RealOf = decltype(State::grid_xinc);

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};
template <class Value>
using Block = std::unique_ptr<Value, Free>;

template <class Value>
Block<Value> obtain(std::size_t count) {
    return Block<Value>(static_cast<Value*>(reallocarray(nullptr, std::max<std::size_t>(count, 1), sizeof(Value))));
}

/* Primes with multiplicity, ascending; returns their count. */
inline int primeFactors(int n, int* primes) {
    int count = 0;
    for (int divisor = 2; n > 1 && divisor <= n / divisor; ++divisor)
        for (; n % divisor == 0; n /= divisor) primes[count++] = divisor;
    if (n > 1) primes[count++] = n;
    return count;
}

template <class State>
void setGridParameters(State& s) {
    using Real = RealOf<State>;
    s.block_nx = (s.nx - 1) / s.grid + 1;
    s.block_ny = (s.ny - 1) / s.grid + 1;
    s.grid_xinc = static_cast<Real>(s.grid) * s.x_inc;
    s.grid_yinc = static_cast<Real>(s.grid) * s.y_inc;
    s.r_grid_xinc = Real{1} / s.grid_xinc;
    s.r_grid_yinc = Real{1} / s.grid_yinc;
    s.grid_east = s.grid * s.my;
}

template <class State>
void setCorners(State& s) {
    s.ij_sw_corner = 2 * s.my + 2;
    s.ij_se_corner = s.ij_sw_corner + (s.nx - 1) * s.my;
    s.ij_nw_corner = s.ij_sw_corner + s.ny - 1;
    s.ij_ne_corner = s.ij_se_corner + s.ny - 1;
}

template <class State>
std::size_t nodeOf(const State& s, int i, int j) {
    return static_cast<std::size_t>(s.ij_sw_corner) + static_cast<std::size_t>(i) * static_cast<std::size_t>(s.my) +
           static_cast<std::size_t>(j);
}

/* From the grid's origin. */
template <class State>
RealOf<State> eastOf(const State& s, float x) {
    return static_cast<RealOf<State>>(x) - static_cast<RealOf<State>>(s.x_min);
}
template <class State>
RealOf<State> northOf(const State& s, float y) {
    return static_cast<RealOf<State>>(y) - static_cast<RealOf<State>>(s.y_min);
}

/* The same, from the place of a node at the current stride. */
template <class State>
RealOf<State> eastOfNode(const State& s, float x, int i) {
    using Real = RealOf<State>;
    return static_cast<Real>(x) - (static_cast<Real>(s.x_min) + static_cast<Real>(i) * s.grid_xinc);
}
template <class State>
RealOf<State> northOfNode(const State& s, float y, int j) {
    using Real = RealOf<State>;
    return static_cast<Real>(y) - (static_cast<Real>(s.y_min) + static_cast<Real>(j) * s.grid_yinc);
}

/* Number of the node nearest to a point at the current stride; discarded for one outside, or with a coordinate that is none. */
template <class State>
int nodeIndex(const State& s, float x, float y) {
    using Real = RealOf<State>;
    constexpr Real half = static_cast<Real>(0.5);
    const Real i = std::floor(eastOf(s, x) * s.r_grid_xinc + half), j = std::floor(northOf(s, y) * s.r_grid_yinc + half);
    const bool isInside = i >= 0 && i < static_cast<Real>(s.block_nx) && j >= 0 && j < static_cast<Real>(s.block_ny);
    return isInside ? static_cast<int>(i) * s.block_ny + static_cast<int>(j) : discarded;
}

/* By node, and at a node the nearest point first. Equally near points stand by their numbers, which go with them; without numbers
 * they keep their order. */
template <class State>
bool sortPoints(State& s, int* numbers) {
    using Real = RealOf<State>;
    struct Key {
        int index, place;
        Real distance;
    };
    const Block<Key> keys = obtain<Key>(static_cast<std::size_t>(s.npoints));
    Key* const key = keys.get();
    if (!key) return false;
    for (int k = 0; k < s.npoints; ++k) {
        const auto& point = s.data[k];
        Real distance = 0;
        if (point.index != discarded) {
            const Real dx = eastOfNode(s, point.x, point.index / s.block_ny);
            const Real dy = northOfNode(s, point.y, point.index % s.block_ny);
            distance = dx * dx + dy * dy;
        }
        key[k] = {point.index, k, distance};
    }
    const auto numberOf = [&](const Key& one) { return numbers ? numbers[one.place] : one.place; };
    std::sort(key, key + s.npoints, [&](const Key& one, const Key& other) {
        if (one.index != other.index) return one.index < other.index;
        return one.distance != other.distance ? one.distance < other.distance : numberOf(one) < numberOf(other);
    });
    /* In place, one round of points that move on after the other. */
    for (int k = 0; k < s.npoints; ++k) {
        const auto point = s.data[k];
        const int number = numbers ? numbers[k] : k;
        int hole = k;
        for (int from; (from = std::exchange(key[hole].place, hole)) != k; hole = from) {
            s.data[hole] = s.data[from];
            if (numbers) numbers[hole] = numbers[from];
        }
        s.data[hole] = point;
        if (numbers) numbers[hole] = number;
    }
    return true;
}

/* At the finest stride: of the points nearest to one node only the nearest counts. */
template <class State>
bool throwAwayUnusables(State& s, int* numbers) {
    if (!sortPoints(s, numbers)) return false;
    int kept = 0, last = discarded;
    for (int k = 0; k < s.npoints; ++k) {
        const bool isSecond = s.data[k].index == last;
        last = s.data[k].index;
        if (isSecond) s.data[k].index = discarded;
        if (s.data[k].index == discarded) continue;
        if (numbers) std::swap(numbers[kept], numbers[k]);
        std::swap(s.data[kept++], s.data[k]);
    }
    s.npoints = kept;
    return true;
}

/* Gives back the room behind the points that are left. */
template <class State>
void shrinkPoints(State& s) {
    using Point = std::remove_pointer_t<decltype(State::data)>;
    const std::size_t count = std::max<std::size_t>(static_cast<std::size_t>(s.npoints), 1);
    if (void* const smaller = std::realloc(s.data, count * sizeof(Point))) s.data = static_cast<Point*>(smaller);
}

template <class State>
bool setIndex(State& s, int* numbers) {
    for (int k = 0; k < s.npoints; ++k) s.data[k].index = nodeIndex(s, s.data[k].x, s.data[k].y);
    if (!sortPoints(s, numbers)) return false;
    while (s.npoints > 0 && s.data[s.npoints - 1].index == discarded) --s.npoints;
    return true;
}

/* Numbers for sortPoints, in the order that the points have now. */
inline Block<int> numbersOf(int count) {
    Block<int> numbers = obtain<int>(static_cast<std::size_t>(count));
    if (numbers) std::iota(numbers.get(), numbers.get() + count, 0);
    return numbers;
}

/* Least-squares plane z = c0 + c1 xx + c2 yy in node units, by Cramer's rule. */
template <class State>
void removePlanarTrend(State& s) {
    const auto place = [&](const auto& point) {
        return std::pair<double, double>(eastOf(s, point.x) * s.r_xinc, northOf(s, point.y) * s.r_yinc);
    };
    double sx = 0, sy = 0, sz = 0, sxx = 0, sxy = 0, syy = 0, sxz = 0, syz = 0;
    for (int k = 0; k < s.npoints; ++k) {
        const auto [xx, yy] = place(s.data[k]);
        const double z = s.data[k].z;
        sx += xx;
        sy += yy;
        sz += z;
        sxx += xx * xx;
        sxy += xx * yy;
        syy += yy * yy;
        sxz += xx * z;
        syz += yy * z;
    }
    const double n = s.npoints;
    const double determinant = n * sxx * syy + 2 * sx * sy * sxy - n * sxy * sxy - sx * sx * syy - sy * sy * sxx;
    s.plane_c0 = s.plane_c1 = s.plane_c2 = 0;
    if (determinant == 0.0) return;
    s.plane_c0 =
        (sz * sxx * syy + sx * sxy * syz + sy * sxy * sxz - sz * sxy * sxy - sx * sxz * syy - sy * syz * sxx) / determinant;
    s.plane_c1 = (n * sxz * syy + sz * sy * sxy + sy * sx * syz - n * sxy * syz - sz * sx * syy - sy * sy * sxz) / determinant;
    s.plane_c2 = (n * sxx * syz + sx * sy * sxz + sz * sx * sxy - n * sxy * sxz - sx * sx * syz - sz * sy * sxx) / determinant;
    for (int k = 0; k < s.npoints; ++k) {
        const auto [xx, yy] = place(s.data[k]);
        s.data[k].z = static_cast<float>(s.data[k].z - (s.plane_c0 + s.plane_c1 * xx + s.plane_c2 * yy));
    }
}

/* zeroScale: what stands for an RMS of 0, and for its reciprocal. */
template <class State>
void rescaleZValues(State& s, double zeroScale) {
    double squares = 0;
    for (int k = 0; k < s.npoints; ++k) squares += static_cast<double>(s.data[k].z) * s.data[k].z;
    const double rms = s.npoints > 0 ? std::sqrt(squares / s.npoints) : 0.0;
    s.z_scale = rms == 0.0 ? zeroScale : rms;
    s.r_z_scale = rms == 0.0 ? zeroScale : 1.0 / rms;
    for (int k = 0; k < s.npoints; ++k) s.data[k].z = static_cast<float>(s.data[k].z * s.r_z_scale);
}

/* The next finer stride, by the largest factor that is left. */
template <class State>
void smartDivide(State& s) {
    if (s.n_fact >= 1) s.grid /= s.factors[--s.n_fact];
    else if (s.grid > 1) s.grid /= s.factors[0];
}

/* The coarsest stride that leaves four nodes in both directions, or none. */
template <class State>
void startCoarse(State& s) {
    while (true) {
        setGridParameters(s);
        if ((s.block_nx > 3 && s.block_ny > 3) || s.grid < 2) return;
        smartDivide(s);
    }
}

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

/* Nodes between those of the coarser level: bilinear, and free; the coarser ones are fixed meanwhile. */
template <class State>
void fillInForecast(State& s) {
    using Real = RealOf<State>;
    const Real cell = static_cast<Real>(s.old_grid);
    const auto fraction = [&](int step) { return static_cast<Real>(step) / cell; };
    const auto give = [&](std::size_t node, Real value) {
        s.u[node] = static_cast<float>(value);
        s.iu[node] = 0;
    };
    const int lastI = s.nx - 1, lastJ = s.ny - 1;
    for (int i = 0; i < lastI; i += s.old_grid)
        for (int j = 0; j < lastJ; j += s.old_grid) {
            const Real u00 = s.u[nodeOf(s, i, j)], u10 = s.u[nodeOf(s, i + s.old_grid, j)];
            const Real u01 = s.u[nodeOf(s, i, j + s.old_grid)], u11 = s.u[nodeOf(s, i + s.old_grid, j + s.old_grid)];
            const Real a1 = u10 - u00, a2 = u01 - u00, a3 = u11 - u00 - a1 - a2;
            for (int di = 0; di < s.old_grid; di += s.grid)
                for (int dj = 0; dj < s.old_grid; dj += s.grid) {
                    if (di == 0 && dj == 0) continue;
                    const Real fi = fraction(di), fj = fraction(dj);
                    give(nodeOf(s, i + di, j + dj), u00 + a1 * fi + (a3 * fi + a2) * fj);
                }
            s.iu[nodeOf(s, i, j)] = fixedNode;
        }
    /* From one old node to the next along the east and the north edge. */
    const auto fillEdge = [&](int i, int j, int stepI, int stepJ) {
        for (; i < s.nx && j < s.ny; i += s.old_grid * stepI, j += s.old_grid * stepJ) {
            s.iu[nodeOf(s, i, j)] = fixedNode;
            const int nextI = i + s.old_grid * stepI, nextJ = j + s.old_grid * stepJ;
            if (nextI >= s.nx || nextJ >= s.ny) return;
            const Real from = s.u[nodeOf(s, i, j)], rise = s.u[nodeOf(s, nextI, nextJ)] - from;
            for (int d = s.grid; d < s.old_grid; d += s.grid)
                give(nodeOf(s, i + d * stepI, j + d * stepJ), from + rise * fraction(d));
        }
    };
    fillEdge(lastI, 0, 0, 1);
    fillEdge(0, lastJ, 1, 0);
}

template <class State>
double planeAt(const State& s, int i, int j) {
    return s.plane_c0 + s.plane_c1 * i + s.plane_c2 * j;
}

template <class State>
void replacePlanarTrend(State& s) {
    for (int i = 0; i < s.nx; ++i)
        for (int j = 0; j < s.ny; ++j) {
            float& u = s.u[nodeOf(s, i, j)];
            u = static_cast<float>(u * s.z_scale + s.plane_c0 + s.plane_c1 * i + s.plane_c2 * j);
        }
}

/* In u, of a node of the current stride or of the two pad nodes on each side, which are single nodes at every stride. */
template <class State>
std::size_t levelPlace(const State& s, int i, int j) {
    const auto scaled = [&](int k, int count) {
        return k < 0 ? k : k < count ? k * s.grid : (count - 1) * s.grid + k - (count - 1);
    };
    const std::ptrdiff_t east = scaled(i, s.block_nx), north = scaled(j, s.block_ny);
    return static_cast<std::size_t>(s.ij_sw_corner + east * s.my + north);
}

/* Nodes with a point near them, front by front. */
template <class State>
class DataNodeList {
    using Real = RealOf<State>;

  public:
    /* The records stand in the order of a sweep along i and then j. */
    DataNodeList(const State& s, int frontCount)
        : _starts(obtain<int>(static_cast<std::size_t>(frontCount) + 1)),
          _nodes(obtain<DataNode>(static_cast<std::size_t>(std::max(s.npoints, 0)))),
          _briggs(reinterpret_cast<const Real (*)[6]>(s.briggs)) {
        if (!hasMemory()) return;
        int* const starts = _starts.get();
        std::fill_n(starts, frontCount + 1, 0);
        eachDataNode(s, [&](int i, int j, int) { ++starts[2 * i + j]; });
        int total = 0;
        for (int front = 0; front <= frontCount; ++front) total += std::exchange(starts[front], total);
        unsigned record = 0;
        eachDataNode(s, [&](int i, int j, int state) {
            _nodes.get()[starts[2 * i + j]++] = {i, static_cast<unsigned>(state - 1) & 3, record++};
        });
        std::copy_backward(starts, starts + frontCount, starts + frontCount + 1);
        starts[0] = 0;
    }
    bool hasMemory() const { return _starts && _nodes; }
    DataNodes<Real> byFronts() const { return {_starts.get(), _nodes.get(), _briggs}; }

  private:
    template <class Visit>
    static void eachDataNode(const State& s, Visit visit) {
        for (int i = 0; i < s.block_nx; ++i)
            for (int j = 0; j < s.block_ny; ++j)
                if (const char state = s.iu[levelPlace(s, i, j)]; state != 0 && state != fixedNode) visit(i, j, state);
    }

    Block<int> _starts;
    Block<DataNode> _nodes;
    const Real (*_briggs)[6];
};

template <class State>
auto equationsOf(const State& s) {
    Equations<RealOf<State>> equations;
    std::copy_n(s.coeff[0], stencilSize, equations.free);
    std::copy_n(s.coeff[1], stencilSize, equations.withData);
    equations.ofPull = s.a0_const_2;
    equations.ofNode = s.a0_const_1;
    equations.ofOld = s.relax_old;
    equations.ofNew = s.relax_new;
    return equations;
}

template <class State>
auto edgeConstantsOf(const State& s) {
    using Real = RealOf<State>;
    const Real tension = s.boundary_tension, epsilon = s.l_epsilon;
    const Real denominator = 2 * epsilon * (1 - tension) + tension;
    return EdgeConstants<Real>{.x0 = 4 * (1 - tension) / (2 - tension),
                               .x1 = (3 * tension - 2) / (2 - tension),
                               .y0 = 4 * epsilon * (1 - tension) / denominator,
                               .y1 = (tension - 2 * epsilon * (1 - tension)) / denominator,
                               .eps_p2 = s.eps_p2,
                               .eps_m2 = s.eps_m2,
                               .two_plus_ep2 = s.two_plus_ep2,
                               .two_plus_em2 = s.two_plus_em2};
}

/* Sweeps over the nodes of the current stride until they change by no more than the limit. False where memory ran out. */
template <class State>
bool iterate(State& s) {
    using Real = RealOf<State>;
    SkewedGrid<Real> grid(s.block_nx, s.block_ny);
    if (!grid.hasMemory()) return false;
    for (int i = 0; i < s.block_nx; ++i)
        for (int j = 0; j < s.block_ny; ++j) {
            grid.value(i, j) = s.u[levelPlace(s, i, j)];
            if (s.iu[levelPlace(s, i, j)] == 0) grid.setFree(i, j);
        }
    const DataNodeList<State> dataNodes(s, grid.frontCount());
    if (!dataNodes.hasMemory()) return false;
    const Level<Real> level = {grid, equationsOf(s), edgeConstantsOf(s), dataNodes.byFronts()};
    const Real limit = s.converge_limit / static_cast<Real>(s.grid);
    s.total_iterations += sweepUntilSettled(level, limit, s.z_scale, s.max_iterations);
    const auto giveBack = [&](int i, int j) { s.u[levelPlace(s, i, j)] = static_cast<float>(grid.value(i, j)); };
    for (int i = 0; i < s.block_nx; ++i)
        for (int j = -SkewedGrid<Real>::pad; j < s.block_ny + SkewedGrid<Real>::pad; ++j) giveBack(i, j);
    for (int j = 0; j < s.block_ny; ++j)
        for (int k = 0; k < SkewedGrid<Real>::pad; ++k) giveBack(-1 - k, j), giveBack(s.block_nx + k, j);
    for (int i : {-1, s.block_nx})
        for (int j : {-1, s.block_ny}) giveBack(i, j);
    return true;
}

}

#endif
