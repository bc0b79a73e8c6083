#ifndef PELTA_LIB_MESH_HULLSIDES_H
#define PELTA_LIB_MESH_HULLSIDES_H

#include <pelta/trimodel.h>

#include <cstddef>
#include <cstdlib>

/* The sides of the hull beside one another, for a test of all of them at once. */
class HullSides {
  public:
    HullSides() = default;
    ~HullSides() { std::free(_startX); }
    HullSides(const HullSides&) = delete;
    HullSides& operator=(const HullSides&) = delete;

    /* Copies the ring's; without memory for them there are none. */
    void copyOf(const Hull& hull);
    void clear() { _count = 0; }
    int count() const { return _count; }

    /* How many of them have the point to their left, outside the hull. */
    int countPassed(Coord x, Coord y) const;

  private:
    bool hasRoomFor(int count);

    double *_startX = nullptr, *_startY = nullptr, *_alongX = nullptr, *_alongY = nullptr;
    int _count = 0, _room = 0;
};

#endif
