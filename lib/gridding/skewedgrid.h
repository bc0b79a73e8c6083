#ifndef PELTA_LIB_GRIDDING_SKEWEDGRID_H
#define PELTA_LIB_GRIDDING_SKEWEDGRID_H

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>

/* The nodes of one level, two pad nodes round them, stored along the fronts t = 2 i + j. A node of the stencil lies on another
 * front than its centre, before it if a sweep along i and then j comes to it earlier and behind it if later: so a sweep front by
 * front gives what that sweep gives, and all nodes of a front can be worked on at once. On the front of each neighbour they lie side
 * by side. */
class SkewedGrid {
  public:
    static constexpr int pad = 2;

    SkewedGrid(int countI, int countJ) : _countI(countI), _countJ(countJ) {
        const std::ptrdiff_t paddedI = countI + 2 * pad, paddedJ = countJ + 2 * pad;
        _width = std::min(paddedI, (paddedJ - 1) / 2 + 1);
        _frontCount = 2 * (paddedI - 1) + paddedJ;
        const auto size = static_cast<std::size_t>(_frontCount * _width);
        _values.reset(static_cast<float*>(std::calloc(size, sizeof(float))));
        _states.reset(static_cast<char*>(std::calloc(size, 1)));
    }

    bool hasMemory() const { return _values && _states; }
    int countI() const { return _countI; }
    int countJ() const { return _countJ; }

    float& value(int i, int j) { return _values.get()[place(i, j)]; }
    char& state(int i, int j) { return _states.get()[place(i, j)]; }

    /* Nodes of the level on a front, from the one with the least i on. Fronts are numbered from 0 (node 0, 0) here. */
    struct Run {
        int firstI, count;
    };
    int frontCount() const { return 2 * (_countI - 1) + _countJ; }
    Run nodesOf(int front) const {
        const int first = std::max(0, (front - (_countJ - 1) + 1) / 2), last = std::min(_countI - 1, front / 2);
        return {first, last - first + 1};
    }
    /* The front so many further on, as a pointer that an i leads to its value. */
    float* valuesOf(int front, int further) const { return _values.get() + origin(front + further); }
    const char* statesOf(int front) const { return _states.get() + origin(front); }

  private:
    struct Free {
        void operator()(void* memory) const { std::free(memory); }
    };

    /* Of the place that a padded front would have for i = 0. */
    std::ptrdiff_t origin(std::ptrdiff_t front) const {
        const std::ptrdiff_t padded = front + 3 * pad, behind = padded - (_countJ + 2 * pad - 1);
        return padded * _width - (behind > 0 ? (behind + 1) / 2 : 0) + pad;
    }
    std::ptrdiff_t place(int i, int j) const { return origin(2 * std::ptrdiff_t{i} + j) + i; }

    int _countI, _countJ;
    std::ptrdiff_t _width, _frontCount;
    std::unique_ptr<float, Free> _values;
    std::unique_ptr<char, Free> _states;
};

#endif
