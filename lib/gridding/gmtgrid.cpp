#include <pelta/gmtgrid.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "gridding/tensionspline.h"

namespace {

struct DATA {
    float x, y, z;
    int index;
};

struct BRIGGS {
    float b[6];
};

/* All state of a gridding; names as in tensionspline.h. */
struct {
    int max_iterations, total_iterations;
    float boundary_tension, interior_tension, converge_limit, l_epsilon;
    float x_min, x_max, y_min, y_max, z_min, z_max;
    int npoints, nx, ny, mx, my;
    float x_inc, y_inc, r_xinc, r_yinc;
    int grid, old_grid, n_fact, factors[64], block_nx, block_ny;
    float grid_xinc, grid_yinc, r_grid_xinc, r_grid_yinc;
    int grid_east, ij_sw_corner, ij_se_corner, ij_nw_corner, ij_ne_corner;
    float coeff[2][stencilSize], a0_const_1, a0_const_2, e_2, e_m2, one_plus_e2, eps_p2, eps_m2, two_plus_ep2, two_plus_em2;
    float x_edge_const, y_edge_const, relax_old, relax_new, small;
    DATA* data;
    BRIGGS* briggs;
    float* u;
    char* iu;
    double plane_c0, plane_c1, plane_c2;
    float z_mean;
    double z_scale, r_z_scale;
} state;

[[noreturn]] void endWithout(const char* message) {
    std::fputs(message, stderr);
    std::fflush(stdout);
    std::exit(-1);
}

constexpr char noData[] = "grid: out of memory (data) \n", noBriggs[] = "grid : out of memory (briggs) \n",
               noStates[] = "grid : out of memory (iu) \n", noSurface[] = "grid : out of memory (u) \n";

/* Kept on purpose: rows along x with the spacing of columns, columns along y with that of rows. */
void setNodes(int columns, int rows) {
    state.nx = rows;
    state.ny = columns;
    state.mx = state.nx + 4;
    state.my = state.ny + 4;
    state.x_inc = (state.x_max - state.x_min) / static_cast<float>(columns - 1);
    state.y_inc = (state.y_max - state.y_min) / static_cast<float>(rows - 1);
    state.r_xinc = 1 / state.x_inc;
    state.r_yinc = 1 / state.y_inc;
    state.grid = 1;
    tension::setGridParameters(state);
}

void storeData(const float* x, const float* y, const float* z, int count) {
    state.data = tension::obtain<DATA>(static_cast<std::size_t>(std::max(count, 0))).release();
    if (!state.data) endWithout(noData);
    float sum = 0;
    for (int k = 0; k < count; ++k) {
        const int index = tension::nodeIndex(state, x[k], y[k]);
        if (index == tension::discarded) continue;
        state.data[state.npoints++] = {x[k], y[k], z[k], index};
        sum += z[k];
    }
    state.z_mean = sum / static_cast<float>(state.npoints);
}

/* Takes the points that count, without plane and scale; the numbers are of their places in the input. */
tension::Block<int> takePoints(const float* x, const float* y, const float* z, int count) {
    storeData(x, y, z, count);
    tension::Block<int> numbers = tension::numbersOf(state.npoints);
    if (!numbers || !tension::throwAwayUnusables(state, numbers.get())) endWithout(noData);
    tension::shrinkPoints(state);
    tension::removePlanarTrend(state);
    tension::rescaleZValues(state, 0.0);
    return numbers;
}

/* The common primes of two numbers, with multiplicity and ascending, into the state. */
int commonFactors(int n, int m) {
    int ofN[64], ofM[64];
    if (n < 2 || m < 2) return 0;
    const int countN = tension::primeFactors(n, ofN), countM = tension::primeFactors(m, ofM);
    return static_cast<int>(std::set_intersection(ofN, ofN + countN, ofM, ofM + countM, state.factors) - state.factors);
}

void chooseFirstStride() {
    state.n_fact = commonFactors(state.nx - 1, state.ny - 1);
    for (int k = 0; k < state.n_fact; ++k) state.grid *= state.factors[k];
    tension::startCoarse(state);
}

template <class Value>
Value* obtainOr(std::size_t count, const char* message) {
    auto* const memory = static_cast<Value*>(std::calloc(std::max<std::size_t>(count, 1), sizeof(Value)));
    if (!memory) endWithout(message);
    return memory;
}

void solve(tension::Block<int> numbers) {
    if (!tension::setIndex(state, numbers.get())) endWithout(noData);
    const std::size_t padded = static_cast<std::size_t>(state.mx) * static_cast<std::size_t>(state.my);
    state.briggs = obtainOr<BRIGGS>(static_cast<std::size_t>(state.npoints), noBriggs);
    state.iu = obtainOr<char>(padded, noStates);
    state.u = obtainOr<float>(padded, noSurface);
    tension::setCoefficients(state);
    const auto shortage = tension::solveLevels(state, std::move(numbers), [] { tension::setGridParameters(state); });
    if (shortage == tension::Shortage::points) endWithout(noData);
    if (shortage == tension::Shortage::surface) endWithout(noSurface);
}

float kept(float z) { return z < state.z_min ? state.z_min : z > state.z_max ? state.z_max : z; }

void writeSurface(float* grid) {
    for (int i = 0; i < state.nx; ++i)
        for (int j = 0; j < state.ny; ++j)
            grid[static_cast<std::size_t>(j) * static_cast<std::size_t>(state.nx) + static_cast<std::size_t>(i)] =
                kept(state.u[tension::nodeOf(state, i, j)]);
}

}

void makeGMTGrid(float* p_xmin, float* p_xmax, float* p_ymin, float* p_ymax, float* p_zmin, float* p_zmax, int* p_ncols,
                 int* p_nrows, float* p_x, float* p_y, float* p_z, int* p_npts, int* p_max_iteration, float* p_b_tension,
                 float* p_converge_limit, float* p_epsilon, float* p_i_tension, float* final_grid) {
    if (*p_ncols < 1 || *p_nrows < 1) return;
    state = {};
    state.max_iterations = *p_max_iteration;
    state.boundary_tension = *p_b_tension;
    state.interior_tension = *p_i_tension;
    state.converge_limit = *p_converge_limit;
    state.l_epsilon = *p_epsilon;
    state.x_min = *p_xmin;
    state.x_max = *p_xmax;
    state.y_min = *p_ymin;
    state.y_max = *p_ymax;
    state.z_min = *p_zmin;
    state.z_max = *p_zmax;
    state.relax_new = 1.4f;
    state.relax_old = 1 - state.relax_new;
    setNodes(*p_ncols, *p_nrows);
    tension::Block<int> numbers = takePoints(p_x, p_y, p_z, *p_npts);
    chooseFirstStride();
    solve(std::move(numbers));
    tension::replacePlanarTrend(state);
    writeSurface(final_grid);
    std::free(state.briggs);
    std::free(state.u);
    std::free(state.iu);
}
