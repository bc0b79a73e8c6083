#ifndef PELTA_LIB_GRIDDING_POINTS_H
#define PELTA_LIB_GRIDDING_POINTS_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <numeric>
#include <type_traits>
#include <utility>

#include "gridding/levels.h"
#include "gridding/memory.h"

/* The points: where they lie among the nodes, and which of them count. */
namespace tension {

constexpr int discarded = 2000000000; /* index of a point that does not count */

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

/* What a point is sorted by: its node, and its squared distance from there. */
template <class Real>
struct PointKey {
    int index, place;
    Real distance;
};

template <class State>
auto keyOf(const State& s, int k) {
    using Real = RealOf<State>;
    const auto& point = s.data[k];
    if (point.index == discarded) return PointKey<Real>{point.index, k, 0};
    const Real dx = eastOfNode(s, point.x, point.index / s.block_ny);
    const Real dy = northOfNode(s, point.y, point.index % s.block_ny);
    return PointKey<Real>{point.index, k, dx * dx + dy * dy};
}

/* Puts the points and their numbers where the keys stand. In place, one round of points that move on after the other. */
template <class State, class Key>
void arrange(State& s, int* numbers, Key* keys) {
    for (int k = 0; k < s.npoints; ++k) {
        const auto point = s.data[k];
        const int number = numbers ? numbers[k] : k;
        int hole = k;
        for (int from; (from = std::exchange(keys[hole].place, hole)) != k; hole = from) {
            s.data[hole] = s.data[from];
            if (numbers) numbers[hole] = numbers[from];
        }
        s.data[hole] = point;
        if (numbers) numbers[hole] = number;
    }
}

/* By node, and at a node the nearest point first. Equally near points stand by their numbers, which go with them; without numbers
 * they keep their order. False where memory ran out. */
template <class State>
bool sortPoints(State& s, int* numbers) {
    using Key = PointKey<RealOf<State>>;
    const Block<Key> block = obtain<Key>(static_cast<std::size_t>(s.npoints));
    Key* const keys = block.get();
    if (!keys) return false;
    for (int k = 0; k < s.npoints; ++k) keys[k] = keyOf(s, k);
    const auto numberOf = [&](const Key& one) { return numbers ? numbers[one.place] : one.place; };
    std::sort(keys, keys + s.npoints, [&](const Key& one, const Key& other) {
        if (one.index != other.index) return one.index < other.index;
        return one.distance != other.distance ? one.distance < other.distance : numberOf(one) < numberOf(other);
    });
    arrange(s, numbers, keys);
    return true;
}

/* Numbers for sortPoints, in the order that the points have now. */
inline Block<int> numbersOf(int count) {
    Block<int> numbers = obtain<int>(static_cast<std::size_t>(count));
    if (numbers) std::iota(numbers.get(), numbers.get() + count, 0);
    return numbers;
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

/* Numbers the points by the nodes of the current stride, sorts them so and leaves out what lies outside. */
template <class State>
bool setIndex(State& s, int* numbers) {
    for (int k = 0; k < s.npoints; ++k) s.data[k].index = nodeIndex(s, s.data[k].x, s.data[k].y);
    if (!sortPoints(s, numbers)) return false;
    while (s.npoints > 0 && s.data[s.npoints - 1].index == discarded) --s.npoints;
    return true;
}

}

#endif
