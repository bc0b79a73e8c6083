#ifndef PELTA_LIB_GRIDDING_SKEWEDGRID_H
#define PELTA_LIB_GRIDDING_SKEWEDGRID_H

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>

/* The nodes of one level, two pad nodes round them, stored along the fronts t = 2 i + j. A node of the stencil lies on another
 * front than its centre, before it if a sweep along i and then j comes to it earlier and behind it if later: so a sweep front by
 * front gives what that sweep gives, and all nodes of a front can be worked on at once. On the front of each neighbour they lie side
 * by side. Values are single, in whatever type they are kept. */
template <class Real>
class SkewedGrid {
  public:
    static constexpr int pad = 2;
    static constexpr int vector = 64 / sizeof(Real); /* nodes worked on at a time: as many may be read behind a front's end */

    SkewedGrid(int countI, int countJ) : _countI(countI), _countJ(countJ) {
        const int lastFront = 2 * (countI - 1 + pad) + countJ - 1 + pad, count = lastFront - firstFront + 1;
        _origins.reset(static_cast<std::ptrdiff_t*>(std::malloc(static_cast<std::size_t>(count) * sizeof(std::ptrdiff_t))));
        if (!_origins) return;
        std::ptrdiff_t place = 0;
        for (int front = firstFront; front <= lastFront; ++front) {
            const Run run = withinPad(front);
            _origins.get()[front - firstFront] = place - run.firstI;
            place += run.count;
        }
        const auto size = static_cast<std::size_t>(place + vector);
        _values.reset(static_cast<Real*>(std::calloc(size, sizeof(Real))));
        _states.reset(static_cast<char*>(std::calloc(size, 1)));
    }

    bool hasMemory() const { return _origins && _values && _states; }
    int countI() const { return _countI; }
    int countJ() const { return _countJ; }

    Real& value(int i, int j) { return valuesOf(2 * i + j)[i]; }
    char& state(int i, int j) { return _states.get()[origin(2 * i + j) + i]; }

    /* Nodes of the level on a front, from the one with the least i on. Fronts are numbered from 0 (node 0, 0) here. */
    struct Run {
        int firstI, count;
    };
    int frontCount() const { return 2 * (_countI - 1) + _countJ; }
    Run nodesOf(int front) const {
        const int first = std::max(0, (front - (_countJ - 1) + 1) / 2), last = std::min(_countI - 1, front / 2);
        return {first, last - first + 1};
    }
    /* A pointer that an i leads to its value, or its state. */
    Real* valuesOf(int front) const { return _values.get() + origin(front); }
    const char* statesOf(int front) const { return _states.get() + origin(front); }

  private:
    static constexpr int firstFront = -3 * pad;
    struct Free {
        void operator()(void* memory) const { std::free(memory); }
    };

    /* Of a front, with the nodes of the pad. */
    Run withinPad(int front) const {
        const int first = std::max(-pad, (front - (_countJ - 1 + pad) + 1) >> 1),
                  last = std::min(_countI - 1 + pad, (front + pad) >> 1);
        return {first, last - first + 1};
    }
    std::ptrdiff_t origin(int front) const { return _origins.get()[front - firstFront]; }

    int _countI, _countJ;
    std::unique_ptr<std::ptrdiff_t, Free> _origins; /* of each front, pad and all: the place that i = 0 would have */
    std::unique_ptr<Real, Free> _values;
    std::unique_ptr<char, Free> _states;
};

#endif
