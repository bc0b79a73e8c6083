#include "gridding/sweep.h"

#include <algorithm>
#include <cmath>

namespace {

/* A front and its neighbours, as pointers that an i of the front leads to a node. */
template <class Real>
struct Front {
    Real* values;
    const char* states;
    const Real* neighbours[stencilSize];
};

template <class Real>
PELTA_INLINE Front<Real> frontOf(const SkewedGrid<Real>& grid, int number) {
    Front<Real> front;
    front.values = grid.valuesOf(number);
    front.states = grid.statesOf(number);
    for (int k = 0; k < stencilSize; ++k) front.neighbours[k] = grid.valuesOf(number + stencil[k].fronts()) + stencil[k].i;
    return front;
}

/* Vectors are passed between functions that are inlined into one another only: no calling convention is concerned. */
#pragma GCC diagnostic ignored "-Wpsabi"

/* Several nodes at a time. */
template <class Real>
struct Pack {
    static constexpr int lanes = SkewedGrid<Real>::vector;
    typedef Real Values __attribute__((vector_size(64)));
    typedef Real Stored __attribute__((vector_size(64), aligned(sizeof(Real)), may_alias));
    typedef float Singles __attribute__((vector_size(lanes * sizeof(float))));
    typedef char States __attribute__((vector_size(lanes), aligned(1), may_alias));
    typedef decltype(Values{} > Values{}) Mask;

    static PELTA_INLINE Values load(const Real* from) { return *reinterpret_cast<const Stored*>(from); }
    static PELTA_INLINE void store(Real* to, Values values) { *reinterpret_cast<Stored*>(to) = values; }
    static PELTA_INLINE Values rounded(Values values) {
        return __builtin_convertvector(__builtin_convertvector(values, Singles), Values);
    }
    static PELTA_INLINE Values absolute(Values values) {
        return reinterpret_cast<Values>(reinterpret_cast<Mask>(values) & ~reinterpret_cast<Mask>(-Values{}));
    }
    static PELTA_INLINE Mask statesOf(const char* states) {
        return __builtin_convertvector(*reinterpret_cast<const States*>(states), Mask);
    }
    /* All bits set from a number on. */
    static PELTA_INLINE Mask from(int count) {
        Mask number;
        for (int lane = 0; lane < lanes; ++lane) number[lane] = lane;
        return number >= count;
    }
};

template <class Real>
class FreeNodes {
    using Nodes = Pack<Real>;
    using Values = typename Nodes::Values;
    using Mask = typename Nodes::Mask;

  public:
    explicit PELTA_INLINE FreeNodes(const Equations<Real>& equations) {
        for (int k = 0; k < stencilSize; ++k) _coefficients[k] = Values{} + equations.free[k];
        _ofOld = Values{} + equations.ofOld;
        _ofNew = Values{} + equations.ofNew;
    }

    PELTA_INLINE void sweep(const Front<Real>& front, int firstI, int count) {
        const int endI = firstI + count;
        int i = firstI;
        for (; i + Nodes::lanes <= endI; i += Nodes::lanes) sweepPack(front, i, Nodes::statesOf(front.states + i));
        if (i < endI) sweepPack(front, i, Nodes::statesOf(front.states + i) | Nodes::from(endI - i));
    }

    PELTA_INLINE Real largestChange() const {
        Real largest = 0;
        for (int lane = 0; lane < Nodes::lanes; ++lane) largest = std::max(largest, _largest[lane]);
        return largest;
    }

  private:
    /* Nodes of a front do not depend on one another: they may be written while others are read. What is no free node of the front
     * gets its own value back. */
    PELTA_INLINE void sweepPack(const Front<Real>& front, int i, Mask states) {
        Values sum = {};
#pragma GCC unroll 12
        for (int k = 0; k < stencilSize; ++k) sum += _coefficients[k] * Nodes::load(front.neighbours[k] + i);
        const Values old = Nodes::load(front.values + i);
        const Values value = old * _ofOld + sum * _ofNew;
        const auto isFree = states == 0;
        const Values change = Nodes::absolute(isFree ? value - old : Values{});
        _largest = change > _largest ? change : _largest;
        Nodes::store(front.values + i, isFree ? Nodes::rounded(value) : old);
    }

    Values _coefficients[stencilSize], _ofOld, _ofNew, _largest = {};
};

/* The neighbours that a point's Briggs coefficients b0 .. b3 go with, by its quadrant. */
constexpr StencilNode briggsNodes[4][4] = {{southEast, south, west, northWest},
                                           {southWest, south, east, northEast},
                                           {northWest, north, east, southEast},
                                           {northEast, north, west, southWest}};

template <class Real>
PELTA_INLINE Real sweepDataNode(const Front<Real>& front, int i, const Real* b, const Equations<Real>& equations) {
    Real sum = 0;
#pragma GCC unroll 12
    for (int k = 0; k < stencilSize; ++k) sum += equations.withData[k] * front.neighbours[k][i];
    const StencilNode* const nodes = briggsNodes[front.states[i] - 1];
    const auto at = [&](int n) { return front.neighbours[nodes[n]][i]; };
    const Real pull = b[0] * at(0) + b[1] * at(1) + b[2] * at(2) + b[3] * at(3) + b[5];
    sum = (sum + equations.ofPull * pull) / (equations.ofPull * b[4] + equations.ofNode);
    const Real old = front.values[i], value = old * equations.ofOld + sum * equations.ofNew;
    front.values[i] = static_cast<float>(value);
    return std::abs(value - old);
}

template <class Real>
PELTA_INLINE Real sweepAll(const SkewedGrid<Real>& grid, const Equations<Real>& equations, const DataNodes<Real>& dataNodes) {
    FreeNodes<Real> freeNodes(equations);
    Real largest = 0;
    for (int t = 0; t < grid.frontCount(); ++t) {
        const Front<Real> front = frontOf(grid, t);
        const auto [firstI, count] = grid.nodesOf(t);
        freeNodes.sweep(front, firstI, count);
        for (int k = dataNodes.starts[t]; k < dataNodes.starts[t + 1]; ++k) {
            const DataNode& node = dataNodes.nodes[k];
            largest = std::max(largest, sweepDataNode(front, node.i, dataNodes.briggs[node.record], equations));
        }
    }
    return std::max(largest, freeNodes.largestChange());
}

PELTA_VECTORIZE float sweepSingle(const SkewedGrid<float>& grid, const Equations<float>& equations,
                                  const DataNodes<float>& dataNodes) {
    return sweepAll(grid, equations, dataNodes);
}
PELTA_VECTORIZE double sweepDouble(const SkewedGrid<double>& grid, const Equations<double>& equations,
                                   const DataNodes<double>& dataNodes) {
    return sweepAll(grid, equations, dataNodes);
}

}

float sweep(const SkewedGrid<float>& grid, const Equations<float>& equations, const DataNodes<float>& dataNodes) {
    return sweepSingle(grid, equations, dataNodes);
}

double sweep(const SkewedGrid<double>& grid, const Equations<double>& equations, const DataNodes<double>& dataNodes) {
    return sweepDouble(grid, equations, dataNodes);
}
