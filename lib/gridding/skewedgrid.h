#ifndef PELTA_LIB_GRIDDING_SKEWEDGRID_H
#define PELTA_LIB_GRIDDING_SKEWEDGRID_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
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
    static constexpr int packed = 64 / sizeof(Real); /* nodes worked on at a time: behind a front's end as many may be read */
    using Pack = std::uint16_t;                      /* a bit for each node that may change, from the lowest on */

    SkewedGrid(int countI, int countJ) : _countI(countI), _countJ(countJ) {
        const int lastFront = 2 * (countI - 1 + pad) + countJ - 1 + pad, count = lastFront - firstFront + 1;
        _origins.reset(static_cast<Origin*>(std::malloc(static_cast<std::size_t>(count) * sizeof(Origin))));
        if (!_origins) return;
        Origin origin = {0, 0};
        for (int front = firstFront; front <= lastFront; ++front) {
            const Run run = withinPad(front), nodes = nodesOf(front);
            const int padBefore = std::max(nodes.firstI - run.firstI, 0);
            /* The nodes begin on a cache line. */
            origin.value = (origin.value + padBefore + packed - 1) / packed * packed - padBefore;
            _origins.get()[front - firstFront] = {origin.value - run.firstI, origin.pack};
            origin.value += run.count;
            origin.pack += std::max(nodes.count + packed - 1, 0) / packed;
        }
        const std::size_t size = static_cast<std::size_t>(origin.value + 2 * packed) / packed * 64;
        _values.reset(static_cast<Real*>(std::aligned_alloc(64, size)));
        if (_values) std::fill_n(_values.get(), size / sizeof(Real), Real{0});
        _packs.reset(static_cast<Pack*>(std::calloc(static_cast<std::size_t>(origin.pack), sizeof(Pack))));
    }

    bool hasMemory() const { return _origins && _values && _packs; }
    int countI() const { return _countI; }
    int countJ() const { return _countJ; }

    Real& value(int i, int j) { return valuesOf(2 * i + j)[i]; }
    void setFree(int i, int j) {
        const int front = 2 * i + j, number = i - nodesOf(front).firstI;
        _packs.get()[origin(front).pack + number / packed] |= static_cast<Pack>(1u << number % packed);
    }

    /* Nodes of the level on a front, from the one with the least i on. Fronts are numbered from 0 (node 0, 0) here. */
    struct Run {
        int firstI, count;
    };
    int frontCount() const { return 2 * (_countI - 1) + _countJ; }
    Run nodesOf(int front) const {
        const int first = std::max(0, (front - (_countJ - 1) + 1) >> 1), last = std::min(_countI - 1, front >> 1);
        return {first, last - first + 1};
    }
    /* A pointer that an i leads to its value. */
    Real* valuesOf(int front) const { return _values.get() + origin(front).value; }
    const Pack* packsOf(int front) const { return _packs.get() + origin(front).pack; }

  private:
    static constexpr int firstFront = -3 * pad;
    struct Free {
        void operator()(void* memory) const { std::free(memory); }
    };

    /* Of a front, pad and all: the place that i = 0 would have, and the place of the first pack. */
    struct Origin {
        std::ptrdiff_t value, pack;
    };

    /* Of a front, with the nodes of the pad. */
    Run withinPad(int front) const {
        const int first = std::max(-pad, (front - (_countJ - 1 + pad) + 1) >> 1),
                  last = std::min(_countI - 1 + pad, (front + pad) >> 1);
        return {first, last - first + 1};
    }
    const Origin& origin(int front) const { return _origins.get()[front - firstFront]; }

    int _countI, _countJ;
    std::unique_ptr<Origin, Free> _origins;
    std::unique_ptr<Real, Free> _values;
    std::unique_ptr<Pack, Free> _packs;
};

#endif
