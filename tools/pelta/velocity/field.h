#ifndef PELTA_TOOL_VELOCITY_FIELD_H
#define PELTA_TOOL_VELOCITY_FIELD_H

#include <pelta/trimodel.h>

#include <utility>
#include <vector>

#include "flow/timefunction.h"
#include "velocity/controlpoints.h"

namespace pelta::velocity {

/* Velocities anywhere out of functions in their places: over a Delaunay mesh inside their hull, continued beyond it. Functions
 * that stand on a straight line, or as good as (none farther off than a hundredth of its length), are interpolated along it:
 * a place counts as the foot of its perpendicular there, and beyond the ends the first and the last function hold.
 *
 * What comes out at a place does not depend on what was asked before. One thread at a time. */
class Field {
  public:
    /* At least one point, all of them covered, no two in the same place. */
    explicit Field(std::vector<ControlPoint> points);

    /* Velocities (m/s) at firstMs + i * intervalMs, i below count: each function is linear between its pairs and constant
     * beyond them. Allocates nothing unless count is larger than ever before. */
    void functionAt(const Place& place, double firstMs, double intervalMs, int count, float* velocities);

    /* Where a place lies in the mesh: the same number for the same triangle (along a line: the same stretch between
     * neighbours), or outside. */
    static constexpr std::ptrdiff_t outside = -1;
    std::ptrdiff_t regionOf(const Place& place);

    const std::vector<ControlPoint>& points() const { return _points; }
    /* All points stand on a line (or there is one alone): then there are no triangles. */
    bool isLine() const { return _isLine; }
    /* Pairs of places between which sides of triangles run (along a line: from neighbour to neighbour). */
    std::vector<std::pair<Place, Place>> sides() const;
    /* The corners in order (along a line: its ends). */
    std::vector<Place> hull() const;

    /* The function at a place, at the times of the pairs of the nearest point. */
    TimeFunction timeFunctionAt(const Place& place);

  private:
    void findLine();
    double footOf(const Place& place) const;
    Place inMesh(const Place& place) const;
    void build();

    std::vector<ControlPoint> _points; /* along a line: in its order */
    bool _isLine = false;
    Place _origin, _direction; /* of the line */
    std::vector<double> _feet; /* of the points along it, in the mesh's unit */
    triModel _mesh;
    std::vector<float> _scratch;
};

}

#endif
