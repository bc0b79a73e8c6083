#include "gridding/sweep.h"

#include <algorithm>
#include <cmath>

#include "vectorize.h"

namespace {

/* A front and its neighbours, as pointers that an i of the front leads to a node. */
template <class Real>
struct Front {
    Real* values;
    const Real* neighbours[stencilSize];
};

template <class Real>
PELTA_INLINE Front<Real> frontOf(const SkewedGrid<Real>& grid, int number) {
    Front<Real> front;
    front.values = grid.valuesOf(number);
    for (int k = 0; k < stencilSize; ++k) front.neighbours[k] = grid.valuesOf(number + stencil[k].fronts()) + stencil[k].i;
    return front;
}

/* Several nodes at a time. */
template <class Real>
struct Pack {
    static constexpr int lanes = SkewedGrid<Real>::packed;
    typedef Real Values __attribute__((vector_size(64)));
    typedef Real Stored __attribute__((vector_size(64), aligned(sizeof(Real)), may_alias));
    typedef float Singles __attribute__((vector_size(lanes * sizeof(float))));
    typedef decltype(Values{} > Values{}) Mask;

    static PELTA_INLINE Values load(const Real* from) { return *reinterpret_cast<const Stored*>(from); }
    static PELTA_INLINE void store(Real* to, Values values) { *reinterpret_cast<Stored*>(to) = values; }
    static PELTA_INLINE Values rounded(Values values) {
        return __builtin_convertvector(__builtin_convertvector(values, Singles), Values);
    }
    static PELTA_INLINE Values absolute(Values values) {
        return reinterpret_cast<Values>(reinterpret_cast<Mask>(values) & ~reinterpret_cast<Mask>(-Values{}));
    }
    /* Lane by lane, whether the lane's bit is set. */
    static PELTA_INLINE Mask lanesOf(unsigned bits) {
        Mask bitOfLane;
        for (int lane = 0; lane < lanes; ++lane) bitOfLane[lane] = 1 << lane;
        return ((Mask{} + static_cast<int>(bits)) & bitOfLane) != 0;
    }
};

/* Nodes without data. */
template <class Real>
class FreeNodes {
    using Nodes = Pack<Real>;
    using Mask = typename Nodes::Mask;

  public:
    using Values = typename Nodes::Values;

    explicit PELTA_INLINE FreeNodes(const Equations<Real>& equations) {
        for (int k = 0; k < stencilSize; ++k) _coefficients[k] = Values{} + equations.free[k];
        _ofOld = Values{} + equations.ofOld;
        _ofNew = Values{} + equations.ofNew;
    }

    /* The largest change of all goes into largest. */
    PELTA_INLINE void sweep(const Front<Real>& front, const typename SkewedGrid<Real>::Pack* free,
                            typename SkewedGrid<Real>::Run run, Values& largest) const {
        Values changes = largest;
        for (int i = run.firstI; i < run.firstI + run.count; i += Nodes::lanes) sweepPack(front, i, *free++, changes);
        largest = changes;
    }

  private:
    /* Nodes of a front do not depend on one another: they may be written while others are read. What is no free node of the front
     * gets its own value back. */
    PELTA_INLINE void sweepPack(const Front<Real>& front, int i, unsigned free, Values& largest) const {
        Values sum = {};
#pragma GCC unroll 12
        for (int k = 0; k < stencilSize; ++k) sum += _coefficients[k] * Nodes::load(front.neighbours[k] + i);
        const Values old = Nodes::load(front.values + i);
        const Values value = old * _ofOld + sum * _ofNew;
        const Mask isFree = Nodes::lanesOf(free);
        const Values change = Nodes::absolute(isFree ? value - old : Values{});
        largest = change > largest ? change : largest;
        Nodes::store(front.values + i, isFree ? Nodes::rounded(value) : old);
    }

    Values _coefficients[stencilSize], _ofOld, _ofNew;
};

/* The neighbours that a point's Briggs coefficients b0 .. b3 go with, by its quadrant. */
constexpr StencilNode briggsNodes[4][4] = {{southEast, south, west, northWest},
                                           {southWest, south, east, northEast},
                                           {northWest, north, east, southEast},
                                           {northEast, north, west, southWest}};

template <class Real>
PELTA_INLINE Real sweepDataNode(const Front<Real>& front, const DataNode& node, const Real* b,
                                const Equations<Real>& equations) {
    const int i = node.i;
    Real sum = 0;
#pragma GCC unroll 12
    for (int k = 0; k < stencilSize; ++k) sum += equations.withData[k] * front.neighbours[k][i];
    const StencilNode* const nodes = briggsNodes[node.quadrant];
    const auto at = [&](int n) { return front.neighbours[nodes[n]][i]; };
    const Real pull = b[0] * at(0) + b[1] * at(1) + b[2] * at(2) + b[3] * at(3) + b[5];
    sum = (sum + equations.ofPull * pull) / (equations.ofPull * b[4] + equations.ofNode);
    const Real old = front.values[i], value = old * equations.ofOld + sum * equations.ofNew;
    front.values[i] = static_cast<float>(value);
    return std::abs(value - old);
}

/* The boundary values on the pad, from the edges inwards: zero curvature or slope across the edge, by the boundary tension, no twist
 * at the corners, and zero change of curvature across the edge. They come from the values before a sweep: each may be set as late as
 * before the first front that needs it or that changes what it comes from. */
template <class Real>
class Pad {
  public:
    PELTA_INLINE Pad(SkewedGrid<Real>& u, const EdgeConstants<Real>& edges)
        : _u(u), _c(edges), _e(u.countI() - 1), _n(u.countJ() - 1), _isPiecemeal(_e >= 4 && _n >= 4) {}

    /* So many fronts the sweep before has to be ahead: most for the north edge, whose values are set five fronts before those of
     * their nodes and needed up to two fronts behind them. */
    PELTA_INLINE int lead() const { return _isPiecemeal ? 8 : _u.frontCount(); }

    PELTA_INLINE void setBefore(int front) const {
        if (front == 0) {
            setFirst();
        } else if (_isPiecemeal) {
            setNear(front);
            setCorners(front);
            setFar(front);
        }
    }

  private:
    static constexpr int earliest = -3; /* of what could be set before front 0 */

    /* Once a sweep: not worth a copy for every level of instructions. */
    [[gnu::noinline]] void setFirst() const {
        if (_isPiecemeal) {
            for (int due = earliest; due <= 0; ++due) setNear(due);
            setCorners(0);
            for (int due = earliest; due <= 0; ++due) setFar(due);
            return;
        }
        for (int i = 0; i <= _e; ++i) south(i), north(i);
        for (int j = 0; j <= _n; ++j) west(j), east(j);
        southWest(), northWest(), southEast(), northEast();
        for (int i = 0; i <= _e; ++i) farSouth(i), farNorth(i);
        for (int j = 0; j <= _n; ++j) farWest(j), farEast(j);
    }

    static PELTA_INLINE bool isIn(int number, int last) { return number >= 0 && number <= last; }
    static PELTA_INLINE bool isTwice(int number, int last) { return number % 2 == 0 && isIn(number, 2 * last); }

    PELTA_INLINE void setNear(int front) const {
        if (const int twoI = front + 3; isTwice(twoI, _e)) south(twoI / 2);
        if (const int twoI = front + 5 - _n; isTwice(twoI, _e)) north(twoI / 2);
        if (const int j = front + 2; isIn(j, _n)) west(j);
        if (const int j = front + 5 - 2 * _e; isIn(j, _n)) east(j);
    }
    PELTA_INLINE void setCorners(int front) const {
        if (front == 0) southWest();
        if (front == _n - 3) northWest();
        if (front == 2 * _e - 4) southEast();
        if (front == 2 * _e + _n - 5) northEast();
    }
    PELTA_INLINE void setFar(int front) const {
        if (const int twoI = front + 1; isTwice(twoI, _e)) farSouth(twoI / 2);
        if (const int twoI = front + 3 - _n; isTwice(twoI, _e)) farNorth(twoI / 2);
        if (isIn(front, _n)) farWest(front);
        if (const int j = front + 4 - 2 * _e; isIn(j, _n)) farEast(j);
    }

    PELTA_INLINE Real at(int i, int j) const { return _u.value(i, j); }
    PELTA_INLINE void set(int i, int j, Real value) const { _u.value(i, j) = static_cast<float>(value); }

    PELTA_INLINE void south(int i) const { set(i, -1, _c.y0 * at(i, 0) + _c.y1 * at(i, 1)); }
    PELTA_INLINE void north(int i) const { set(i, _n + 1, _c.y0 * at(i, _n) + _c.y1 * at(i, _n - 1)); }
    PELTA_INLINE void west(int j) const { set(-1, j, _c.x1 * at(1, j) + _c.x0 * at(0, j)); }
    PELTA_INLINE void east(int j) const { set(_e + 1, j, _c.x1 * at(_e - 1, j) + _c.x0 * at(_e, j)); }

    PELTA_INLINE void southWest() const { set(-1, -1, at(-1, 1) + at(1, -1) - at(1, 1)); }
    PELTA_INLINE void northWest() const { set(-1, _n + 1, at(-1, _n - 1) + at(1, _n + 1) - at(1, _n - 1)); }
    PELTA_INLINE void southEast() const { set(_e + 1, -1, at(_e + 1, 1) + at(_e - 1, -1) - at(_e - 1, 1)); }
    PELTA_INLINE void northEast() const { set(_e + 1, _n + 1, at(_e + 1, _n - 1) + at(_e - 1, _n + 1) - at(_e - 1, _n - 1)); }

    PELTA_INLINE Real acrossJ(int i, int j) const {
        return _c.eps_m2 * (at(i - 1, j + 1) + at(i + 1, j + 1) - at(i - 1, j - 1) - at(i + 1, j - 1));
    }
    PELTA_INLINE Real acrossI(int i, int j) const {
        return _c.eps_p2 * (at(i + 1, j + 1) + at(i + 1, j - 1) - at(i - 1, j + 1) - at(i - 1, j - 1));
    }
    PELTA_INLINE void farSouth(int i) const { set(i, -2, at(i, 2) + acrossJ(i, 0) + _c.two_plus_em2 * (at(i, -1) - at(i, 1))); }
    PELTA_INLINE void farNorth(int i) const {
        set(i, _n + 2, -(acrossJ(i, _n) - at(i, _n - 2) + _c.two_plus_em2 * (at(i, _n - 1) - at(i, _n + 1))));
    }
    PELTA_INLINE void farWest(int j) const { set(-2, j, at(2, j) + acrossI(0, j) + _c.two_plus_ep2 * (at(-1, j) - at(1, j))); }
    PELTA_INLINE void farEast(int j) const {
        set(_e + 2, j, -(acrossI(_e, j) - at(_e - 2, j) + _c.two_plus_ep2 * (at(_e - 1, j) - at(_e + 1, j))));
    }

    SkewedGrid<Real>& _u;
    const EdgeConstants<Real>& _c;
    const int _e, _n;
    const bool _isPiecemeal;
};

/* The sweeps over a level. One sweep follows the one before at the distance that the pad and the stencil ask for, as soon as it is
 * certain that it will be needed: values are still in the cache then, and a front need not wait for the front before. */
template <class Real>
class Sweeps {
    using Values = typename FreeNodes<Real>::Values;

  public:
    PELTA_INLINE Sweeps(const Level<Real>& level, Real limit, double scale, int most)
        : _level(level),
          _freeNodes(level.equations),
          _pad(level.grid, level.edges),
          _limit(limit),
          _scale(scale),
          _most(most) {}

    PELTA_INLINE int run() {
        const int frontCount = _level.grid.frontCount(), lead = _pad.lead();
        int begun = 1;
        sweepNumber(0) = Sweep();
        for (int first = 0; first < begun;) {
            for (int number = first; number < begun; ++number) {
                Sweep& sweep = sweepNumber(number);
                const int end = number == first ? frontCount : sweepNumber(number - 1).front - lead + 1;
                for (int k = 0; k < atATime && sweep.front < end; ++k) advance(sweep);
            }
            const Sweep& last = sweepNumber(begun - 1);
            if (begun - first < atOnce && begun < _most && changesEnough(last)) sweepNumber(begun++) = Sweep();
            if (sweepNumber(first).front == frontCount) ++first;
        }
        return begun;
    }

  private:
    static constexpr int atOnce = 4, atATime = 2;

    struct Sweep {
        int front;
        Real largestAtData;
        Values largest;
    };
    PELTA_INLINE Sweep& sweepNumber(int number) { return _sweeps[number % atOnce]; }

    PELTA_INLINE void advance(Sweep& sweep) const {
        _pad.setBefore(sweep.front);
        const Front<Real> front = frontOf(_level.grid, sweep.front);
        _freeNodes.sweep(front, _level.grid.packsOf(sweep.front), _level.grid.nodesOf(sweep.front), sweep.largest);
        const DataNodes<Real>& data = _level.dataNodes;
        for (int k = data.starts[sweep.front]; k < data.starts[sweep.front + 1]; ++k) {
            const DataNode& node = data.nodes[k];
            const Real change = sweepDataNode(front, node, data.briggs[node.record], _level.equations);
            sweep.largestAtData = std::max(sweep.largestAtData, change);
        }
        ++sweep.front;
    }

    /* The largest change so far does. */
    PELTA_INLINE bool changesEnough(const Sweep& sweep) const {
        Real largest = sweep.largestAtData;
        for (int lane = 0; lane < Pack<Real>::lanes; ++lane) largest = std::max(largest, sweep.largest[lane]);
        return largest * _scale > _limit;
    }

    const Level<Real>& _level;
    const FreeNodes<Real> _freeNodes;
    const Pad<Real> _pad;
    const Real _limit;
    const double _scale;
    const int _most;
    Sweep _sweeps[atOnce];
};

PELTA_VECTORIZE int runSingle(const Level<float>& level, float limit, double scale, int most) {
    return Sweeps<float>(level, limit, scale, most).run();
}
PELTA_VECTORIZE int runDouble(const Level<double>& level, double limit, double scale, int most) {
    return Sweeps<double>(level, limit, scale, most).run();
}

}

int sweepUntilSettled(const Level<float>& level, float limit, double scale, int most) {
    return runSingle(level, limit, scale, most);
}

int sweepUntilSettled(const Level<double>& level, double limit, double scale, int most) {
    return runDouble(level, limit, scale, most);
}
