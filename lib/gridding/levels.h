#ifndef PELTA_LIB_GRIDDING_LEVELS_H
#define PELTA_LIB_GRIDDING_LEVELS_H

#include <cstddef>

/* The nodes of the grid: at every stride, from coarse to fine. */
namespace tension {

template <class State>
using RealOf = decltype(State::grid_xinc);

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

/* In u, of a node of the current stride or of the two pad nodes on each side, which are single nodes at every stride. */
template <class State>
std::size_t levelPlace(const State& s, int i, int j) {
    const auto scaled = [&](int k, int count) {
        return k < 0 ? k : k < count ? k * s.grid : (count - 1) * s.grid + k - (count - 1);
    };
    const std::ptrdiff_t east = scaled(i, s.block_nx), north = scaled(j, s.block_ny);
    return static_cast<std::size_t>(s.ij_sw_corner + east * s.my + north);
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

}

#endif
