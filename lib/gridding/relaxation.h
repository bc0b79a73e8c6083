#ifndef PELTA_LIB_GRIDDING_RELAXATION_H
#define PELTA_LIB_GRIDDING_RELAXATION_H

#include <algorithm>
#include <cstddef>
#include <utility>

#include "gridding/equations.h"
#include "gridding/levels.h"
#include "gridding/memory.h"
#include "gridding/skewedgrid.h"
#include "gridding/sweep.h"

/* The sweeps over a level: its nodes go to the fronts of a skewed grid and come back. */
namespace tension {

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

template <class State>
void take(const State& s, SkewedGrid<RealOf<State>>& grid) {
    for (int i = 0; i < s.block_nx; ++i)
        for (int j = 0; j < s.block_ny; ++j) {
            grid.value(i, j) = s.u[levelPlace(s, i, j)];
            if (s.iu[levelPlace(s, i, j)] == 0) grid.setFree(i, j);
        }
}

/* The nodes of the level and those of the pad, of which the corners' outermost are not used. */
template <class State>
void giveBack(State& s, SkewedGrid<RealOf<State>>& grid) {
    constexpr int pad = SkewedGrid<RealOf<State>>::pad;
    const auto give = [&](int i, int j) { s.u[levelPlace(s, i, j)] = static_cast<float>(grid.value(i, j)); };
    for (int i = 0; i < s.block_nx; ++i)
        for (int j = -pad; j < s.block_ny + pad; ++j) give(i, j);
    for (int j = 0; j < s.block_ny; ++j)
        for (int k = 0; k < pad; ++k) give(-1 - k, j), give(s.block_nx + k, j);
    for (int i : {-1, s.block_nx})
        for (int j : {-1, s.block_ny}) give(i, j);
}

/* Sweeps over the nodes of the current stride until they change by no more than the limit. False where memory ran out. */
template <class State>
bool iterate(State& s) {
    using Real = RealOf<State>;
    SkewedGrid<Real> grid(s.block_nx, s.block_ny);
    if (!grid.hasMemory()) return false;
    take(s, grid);
    const DataNodeList<State> dataNodes(s, grid.frontCount());
    if (!dataNodes.hasMemory()) return false;
    const Level<Real> level = {grid, equationsOf(s), edgeConstantsOf(s), dataNodes.byFronts()};
    const Real limit = s.converge_limit / static_cast<Real>(s.grid);
    s.total_iterations += sweepUntilSettled(level, limit, s.z_scale, s.max_iterations);
    giveBack(s, grid);
    return true;
}

}

#endif
