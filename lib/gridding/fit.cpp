#include "gridding/fit.h"

#include <algorithm>
#include <cmath>

#include "gridding/tensionspline.h"

namespace {

/* The surface near node (i, j) to second order; at the rim the expansion is about the next node inside. */
class Expansion {
  public:
    Expansion(const SURFACE_INFO& s, int i, int j)
        : _s(s),
          _i(std::clamp(i, std::min(1, s.nx - 1), std::max(s.nx - 2, 0))),
          _j(std::clamp(j, std::min(1, s.ny - 1), std::max(s.ny - 2, 0))) {}

    double alongI() const { return 0.5 * (at(1, 0) - at(-1, 0)); }
    double alongJ() const { return 0.5 * (at(0, 1) - at(0, -1)); }
    double bendAlongI() const { return at(1, 0) - 2.0 * at(0, 0) + at(-1, 0); }
    double bendAlongJ() const { return at(0, 1) - 2.0 * at(0, 0) + at(0, -1); }
    double twist() const { return 0.25 * (at(1, 1) - at(-1, 1) - at(1, -1) + at(-1, -1)); }
    /* At a place in node units. */
    double value(double x, double y) const {
        const double dx = x - _i, dy = y - _j;
        return at(0, 0) + dx * alongI() + dy * alongJ() + 0.5 * dx * dx * bendAlongI() + 0.5 * dy * dy * bendAlongJ() +
               dx * dy * twist();
    }

  private:
    double at(int di, int dj) const {
        const int i = std::clamp(_i + di, 0, _s.nx - 1), j = std::clamp(_j + dj, 0, _s.ny - 1);
        return _s.u[tension::nodeOf(_s, i, j)];
    }

    const SURFACE_INFO& _s;
    int _i, _j;
};

}

Fit fitOf(const SURFACE_INFO& s) {
    double sum = 0.0, squares = 0.0, curvature = 0.0;
    for (int k = 0; k < s.npoints; ++k) {
        const auto [x, y] = tension::placeOf(s, s.data[k].x, s.data[k].y);
        const Expansion surface(s, static_cast<int>(std::lround(x)), static_cast<int>(std::lround(y)));
        const double error = (surface.value(x, y) - s.data[k].z) * s.z_scale;
        sum += error;
        squares += error * error;
    }
    for (int i = 1; i + 1 < s.nx; ++i)
        for (int j = 1; j + 1 < s.ny; ++j) {
            const Expansion surface(s, i, j);
            const double laplacian = (surface.bendAlongI() + surface.bendAlongJ()) * s.z_scale;
            curvature += laplacian * laplacian;
        }
    const double count = std::max(s.npoints, 1);
    return {sum / count, std::sqrt(squares / count), curvature};
}
