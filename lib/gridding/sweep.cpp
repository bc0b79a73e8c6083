#include "gridding/sweep.h"

#include <algorithm>
#include <cmath>

namespace {

/* The front itself and its neighbours, each from the node that the first node of the front needs. */
struct Front {
    float* values;
    const char* states;
    const float* neighbours[stencilSize];
    int count;
};

Front frontOf(const SkewedGrid& grid, int number) {
    const SkewedGrid::Run run = grid.nodesOf(number);
    Front front;
    front.values = grid.valuesOf(number, 0) + run.firstI;
    front.states = grid.statesOf(number) + run.firstI;
    for (int k = 0; k < stencilSize; ++k)
        front.neighbours[k] = grid.valuesOf(number, stencil[k].fronts()) + run.firstI + stencil[k].i;
    front.count = run.count;
    return front;
}

/* Vectors are passed between functions that are inlined into one another only: no calling convention is concerned. */
#pragma GCC diagnostic ignored "-Wpsabi"

/* Several nodes at a time, in the arithmetic of Real. */
template <class Real>
struct Pack {
    static constexpr int lanes = 64 / sizeof(Real);
    typedef Real Values __attribute__((vector_size(64)));
    typedef float Stored __attribute__((vector_size(lanes * sizeof(float)), aligned(4), may_alias));
    typedef char States __attribute__((vector_size(lanes), aligned(1), may_alias));
    typedef decltype(Values{} > Values{}) Mask;

    static PELTA_INLINE Values load(const float* from) {
        return __builtin_convertvector(*reinterpret_cast<const Stored*>(from), Values);
    }
    static PELTA_INLINE void store(float* to, Values values) {
        *reinterpret_cast<Stored*>(to) = __builtin_convertvector(values, Stored);
    }
    static PELTA_INLINE Mask areFree(const char* states) {
        return __builtin_convertvector(*reinterpret_cast<const States*>(states), Mask) == 0;
    }
};

/* Nodes of a front do not depend on one another: they may be written while others are read. */
template <class Real>
PELTA_INLINE Real sweep(const Front& front, const Relaxation<Real>& relaxation) {
    using Nodes = Pack<Real>;
    using Values = typename Nodes::Values;
    Values largest = {};
    int n = 0;
    for (; n + Nodes::lanes <= front.count; n += Nodes::lanes) {
        Values sum = {};
#pragma GCC unroll 12
        for (int k = 0; k < stencilSize; ++k) sum += relaxation.coefficients[k] * Nodes::load(front.neighbours[k] + n);
        const Values old = Nodes::load(front.values + n);
        const Values value = old * relaxation.ofOld + sum * relaxation.ofNew;
        const auto isFree = Nodes::areFree(front.states + n);
        const Values difference = isFree ? value - old : Values{};
        const Values change = difference < 0 ? -difference : difference;
        largest = change > largest ? change : largest;
        Nodes::store(front.values + n, isFree ? value : old);
    }
    Real largestOfAll = 0;
    for (int lane = 0; lane < Nodes::lanes; ++lane) largestOfAll = std::max(largestOfAll, largest[lane]);
    for (; n < front.count; ++n) {
        if (front.states[n] != 0) continue;
        Real sum = 0;
        for (int k = 0; k < stencilSize; ++k) sum += relaxation.coefficients[k] * static_cast<Real>(front.neighbours[k][n]);
        const Real old = front.values[n];
        const Real value = old * relaxation.ofOld + sum * relaxation.ofNew;
        largestOfAll = std::max(largestOfAll, std::abs(value - old));
        front.values[n] = static_cast<float>(value);
    }
    return largestOfAll;
}

PELTA_VECTORIZE float sweepSingle(const Front& front, const Relaxation<float>& relaxation) { return sweep(front, relaxation); }
PELTA_VECTORIZE double sweepDouble(const Front& front, const Relaxation<double>& relaxation) {
    return sweep(front, relaxation);
}

}

float sweepFront(const SkewedGrid& grid, int front, const Relaxation<float>& relaxation) {
    return sweepSingle(frontOf(grid, front), relaxation);
}

double sweepFront(const SkewedGrid& grid, int front, const Relaxation<double>& relaxation) {
    return sweepDouble(frontOf(grid, front), relaxation);
}
