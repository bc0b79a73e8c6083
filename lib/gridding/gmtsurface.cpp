#include <pelta/gmtsurface.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <numeric>
#include <utility>

#include "gridding/tensionspline.h"

SURFACE_GLOBAL* SG = nullptr;

SURFACE_CTRL* GMT1New_Surface_Ctrl(void) {
    auto* options = static_cast<SURFACE_CTRL*>(std::calloc(1, sizeof(SURFACE_CTRL)));
    if (!options) return nullptr;
    options->N.value = 250;
    options->A.value = 1.0;
    options->Z.value = 1.4;
    return options;
}

void GMT1Free_Surface_Ctrl(SURFACE_CTRL* C) { std::free(C); }

int GMT1gcd_euclid(int a, int b) { return std::gcd(a, b); }

int GMT1get_prime_factors(int n, int* f) { return tension::primeFactors(n, f); }

double GMT1guess_surface_time(int* factors, int nx, int ny) {
    int common = GMT1gcd_euclid(nx, ny), count = 0;
    int xnode = nx, ynode = ny;
    if (common > 1) {
        count = GMT1get_prime_factors(common, factors);
        xnode = nx / common;
        ynode = ny / common;
        if (xnode <= 2 || ynode <= 2) {
            const int factor = factors[--count];
            common /= factor;
            xnode *= factor;
            ynode *= factor;
        }
    }
    double time = static_cast<double>(xnode) * ynode * std::max(xnode, ynode);
    while (common > 1) {
        const int factor = factors[--count];
        ynode *= factor;
        xnode *= factor;
        common /= factor;
        time += static_cast<double>(xnode) * ynode * factor;
    }
    return time;
}

int GMT1compare_sugs(const void* point_1, const void* point_2) {
    const double first = static_cast<const SURFACE_SUGGESTION*>(point_1)->factor;
    const double second = static_cast<const SURFACE_SUGGESTION*>(point_2)->factor;
    return first > second ? -1 : first < second ? 1 : 0;
}

namespace {

/* Calls visit with every 2^a 3^b 5^c, a >= 1, from size up to twice that, in the order of a, b and c. */
template <class Visit>
void eachSmoothSize(int size, Visit visit) {
    const std::int64_t largest = std::min<std::int64_t>(2 * std::int64_t{size}, std::numeric_limits<int>::max());
    for (std::int64_t twos = 2; twos <= largest; twos *= 2)
        for (std::int64_t threes = twos; threes <= largest; threes *= 3)
            for (std::int64_t fives = threes; fives <= largest; fives *= 5)
                if (fives >= size) visit(static_cast<int>(fives));
}

/* The best ones, best first; of equal ones the first found. */
class Suggestions {
  public:
    static constexpr int most = 10;

    void add(const SURFACE_SUGGESTION& suggestion) {
        SURFACE_SUGGESTION* const end = _best + _count;
        SURFACE_SUGGESTION* const place = std::find_if(
            _best, end, [&](const SURFACE_SUGGESTION& other) { return GMT1compare_sugs(&suggestion, &other) < 0; });
        if (place == _best + most) return;
        std::copy_backward(place, _best + std::min(_count, most - 1), _best + std::min(_count + 1, most));
        *place = suggestion;
        _count = std::min(_count + 1, most);
    }
    const SURFACE_SUGGESTION* begin() const { return _best; }
    const SURFACE_SUGGESTION* end() const { return _best + _count; }

  private:
    SURFACE_SUGGESTION _best[most];
    int _count = 0;
};

}

void GMT1suggest_sizes_for_surface(int* factors, int nx, int ny) {
    const double usual = GMT1guess_surface_time(factors, nx, ny);
    Suggestions suggestions;
    eachSmoothSize(nx, [&](int otherNx) {
        eachSmoothSize(ny, [&](int otherNy) {
            const double time = GMT1guess_surface_time(factors, otherNx, otherNy);
            if (time < usual) suggestions.add({otherNx, otherNy, usual / time});
        });
    });
    for (const SURFACE_SUGGESTION& suggestion : suggestions)
        std::printf("HINT:  Choosing nx = %d, ny = %d might cut run time by a factor of %.8g\n", suggestion.nx, suggestion.ny,
                    suggestion.factor);
    if (suggestions.begin() == suggestions.end()) std::puts("Cannot suggest any nx,ny better than your -R -I define.");
    std::fflush(stdout);
}

int GMT1load_parameters(SURFACE_INFO* C, SURFACE_CTRL* Ctrl) {
    C->relax_new = Ctrl->Z.value;
    C->max_iterations = Ctrl->N.value;
    C->low_file = Ctrl->L.low;
    C->high_file = Ctrl->L.high;
    C->set_low = Ctrl->L.lmode;
    C->set_high = Ctrl->L.hmode;
    C->low_limit = Ctrl->L.min;
    C->high_limit = Ctrl->L.max;
    C->radius = Ctrl->S.radius;
    if (Ctrl->S.active && (Ctrl->S.unit == 'm' || Ctrl->S.unit == 'M')) C->radius /= 60.0;
    if (Ctrl->S.active && Ctrl->S.unit == 'c') C->radius /= 3600.0;
    C->boundary_tension = Ctrl->T.b_tension;
    C->interior_tension = Ctrl->T.i_tension;
    C->l_epsilon = Ctrl->A.value;
    C->converge_limit = Ctrl->C.value;
    return 0;
}

int GMT1set_grid_parameters(SURFACE_INFO* C, SURFACE_GLOBAL* G) {
    tension::setGridParameters(*C);
    G->block_ny = C->block_ny;
    G->grid_xinc = C->grid_xinc;
    G->grid_yinc = C->grid_yinc;
    return 0;
}

int GMT1compare_points(const void* point_1, const void* point_2) {
    const auto& first = *static_cast<const SURFACE_DATA*>(point_1);
    const auto& second = *static_cast<const SURFACE_DATA*>(point_2);
    if (first.index != second.index) return first.index < second.index ? -1 : 1;
    if (first.index == tension::discarded) return 0;
    const double x = SG->x_min + first.index / SG->block_ny * SG->grid_xinc;
    const double y = SG->y_min + first.index % SG->block_ny * SG->grid_yinc;
    const auto distance = [&](const SURFACE_DATA& point) {
        return (point.x - x) * (point.x - x) + (point.y - y) * (point.y - y);
    };
    const double ofFirst = distance(first), ofSecond = distance(second);
    return ofFirst < ofSecond ? -1 : ofFirst > ofSecond ? 1 : 0;
}

int GMT1throw_away_unusables(SURFACE_INFO* C) { return tension::throwAwayUnusables(*C, nullptr) ? 0 : 1; }

int GMT1remove_planar_trend(SURFACE_INFO* C) {
    tension::removePlanarTrend(*C);
    return 0;
}

int GMT1rescale_z_values(SURFACE_INFO* C) {
    tension::rescaleZValues(*C, 1.0);
    if (C->converge_limit == 0.0) C->converge_limit = 0.001 * C->z_scale;
    return 0;
}

namespace {

/* Row by row. Kept on purpose: the plane is taken as if the rows ran from the top. */
void transformBound(const SURFACE_INFO& s, float* bound) {
    for (int row = 0; row < s.ny; ++row)
        for (int i = 0; i < s.nx; ++i) {
            float& value = bound[static_cast<std::size_t>(row) * static_cast<std::size_t>(s.nx) + static_cast<std::size_t>(i)];
            const auto plane = static_cast<float>(s.plane_c0 + s.plane_c1 * i + s.plane_c2 * (s.ny - 1 - row));
            value = (value - plane) * static_cast<float>(s.r_z_scale);
        }
}

/* Modes above 2 would read their bounds from a file; here they do not bound anything.
 * Kept on purpose: the grid of an earlier call is not released. It is the caller's. */
bool loadBound(SURFACE_INFO& s, float*& bound, int mode, double limit, float unbounded, bool isTransformed) {
    if (mode <= 0) return true;
    const std::size_t count = static_cast<std::size_t>(s.nx) * static_cast<std::size_t>(s.ny);
    bound = tension::obtain<float>(count).release();
    if (!bound) return false;
    std::fill_n(bound, count, mode <= 2 ? static_cast<float>(limit) : unbounded);
    if (isTransformed) transformBound(s, bound);
    s.constrained = 1;
    return true;
}

}

int GMT1load_constraints(SURFACE_INFO* C, int transform) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const bool isLoaded = loadBound(*C, C->lower, C->set_low, C->low_limit, -infinity, transform != 0) &&
                          loadBound(*C, C->upper, C->set_high, C->high_limit, infinity, transform != 0);
    return isLoaded ? 0 : 1;
}

int GMT1smart_divide(SURFACE_INFO* C) {
    tension::smartDivide(*C);
    return 0;
}

namespace {

/* Index step for so many nodes from the node of a case: single nodes beyond the grid's first or last line, where the pad is. */
int stepFrom(int caseNumber, int steps, int nodeCount, int stride, int single) {
    const int fromEnd = 4 - caseNumber;
    const int node = caseNumber <= 1 ? caseNumber : caseNumber == 2 ? 2 : nodeCount - 1 - fromEnd;
    const int target = node + steps;
    if (caseNumber == 2) return steps * stride;
    if (target < 0) return -node * stride + target * single;
    const int last = nodeCount - 1;
    return target > last ? (last - node) * stride + (target - last) * single : steps * stride;
}

}

int GMT1set_offset(SURFACE_INFO* C) {
    for (int x = 0; x < 5; ++x)
        for (int y = 0; y < 5; ++y)
            for (int k = 0; k < stencilSize; ++k)
                C->offset[5 * x + y][k] = stepFrom(x, stencil[k].i, C->block_nx, C->grid_east, C->my) +
                                          stepFrom(y, stencil[k].j, C->block_ny, C->grid, 1);
    return 0;
}

int GMT1set_index(SURFACE_INFO* C) { return tension::setIndex(*C, nullptr) ? 0 : 1; }

int GMT1set_coefficients(SURFACE_INFO* C) {
    tension::setCoefficients(*C);
    return 0;
}

int GMT1initialize_grid(SURFACE_INFO* C) {
    const double reach = C->radius * C->radius;
    for (int i = 0; i < C->nx; i += C->grid)
        for (int j = 0; j < C->ny; j += C->grid) {
            double weights = 0.0, sum = 0.0;
            for (int k = 0; k < C->npoints; ++k) {
                const double dx = tension::eastOf(*C, C->data[k].x) - i / C->r_xinc;
                const double dy = tension::northOf(*C, C->data[k].y) - j / C->r_yinc;
                const double squared = dx * dx + dy * dy;
                if (squared > reach) continue;
                const double weight = std::exp(-3.0 * squared / reach);
                weights += weight;
                sum += weight * C->data[k].z;
            }
            if (weights > 0.0) C->u[tension::nodeOf(*C, i, j)] = static_cast<float>(sum / weights);
        }
    return 0;
}

int GMT1new_initialize_grid(SURFACE_INFO* C) {
    int last = -1;
    for (int k = 0; k < C->npoints; ++k) {
        const SURFACE_DATA& point = C->data[k];
        if (point.index == last) continue;
        last = point.index;
        C->u[tension::nodeOf(*C, last / C->block_ny * C->grid, last % C->block_ny * C->grid)] = point.z;
    }
    return 0;
}

int GMT1find_nearest_point(SURFACE_INFO* C) {
    tension::findNearestPoint(*C);
    return 0;
}

int GMT1fill_in_forecast(SURFACE_INFO* C) {
    tension::fillInForecast(*C);
    return 0;
}

int GMT1iterate(SURFACE_INFO* C, int) {
    const int before = C->total_iterations;
    tension::iterate(*C);
    return C->total_iterations - before;
}

int GMT1replace_planar_trend(SURFACE_INFO* C) {
    tension::replacePlanarTrend(*C);
    return 0;
}

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

void GMT1check_errors(SURFACE_INFO* C) {
    double sum = 0.0, squares = 0.0, curvature = 0.0;
    for (int k = 0; k < C->npoints; ++k) {
        const SURFACE_DATA& point = C->data[k];
        const double x = tension::eastOf(*C, point.x) * C->r_xinc, y = tension::northOf(*C, point.y) * C->r_yinc;
        const Expansion surface(*C, static_cast<int>(std::lround(x)), static_cast<int>(std::lround(y)));
        const double error = (surface.value(x, y) - point.z) * C->z_scale;
        sum += error;
        squares += error * error;
    }
    for (int i = 1; i + 1 < C->nx; ++i)
        for (int j = 1; j + 1 < C->ny; ++j) {
            const Expansion surface(*C, i, j);
            const double laplacian = (surface.bendAlongI() + surface.bendAlongJ()) * C->z_scale;
            curvature += laplacian * laplacian;
        }
    const double count = std::max(C->npoints, 1);
    std::fprintf(stderr, "Fit info: N data points  N nodes\tmean error\trms error\tcurvature\n");
    std::fprintf(stderr, "\t%8d\t%8d\t%.8g\t%.8g\t%.8g\n", C->npoints, C->nx * C->ny, sum / count, std::sqrt(squares / count),
                 curvature);
}

namespace {

/* Everything of one call. */
struct Work {
    SURFACE_CTRL* options = GMT1New_Surface_Ctrl();
    SURFACE_INFO* state = static_cast<SURFACE_INFO*>(std::calloc(1, sizeof(SURFACE_INFO)));

    Work() { SG = static_cast<SURFACE_GLOBAL*>(std::calloc(1, sizeof(SURFACE_GLOBAL))); }
    ~Work() {
        if (state)
            for (void* part :
                 {static_cast<void*>(state->data), static_cast<void*>(state->briggs), static_cast<void*>(state->iu),
                  static_cast<void*>(state->u), static_cast<void*>(state->lower), static_cast<void*>(state->upper)})
                std::free(part);
        std::free(state);
        std::free(SG);
        GMT1Free_Surface_Ctrl(options);
    }
    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;
    bool hasMemory() const { return options && state && SG; }
};

struct Range {
    float smallest = 3.4e38f, largest = -3.4e38f;
};

/* Record k belongs to point k, discarded ones included. */
Range storeData(SURFACE_INFO& s, const float* x, const float* y, const float* z, int count) {
    Range range;
    double sum = 0.0;
    for (int k = 0; k < count; ++k) {
        const int index = tension::nodeIndex(s, x[k], y[k]);
        s.data[k] = {x[k], y[k], z[k], index};
        if (index == tension::discarded) continue;
        range.smallest = std::min(range.smallest, z[k]);
        range.largest = std::max(range.largest, z[k]);
        sum += z[k];
    }
    s.z_mean = sum / count;
    return range;
}

void setLimits(SURFACE_INFO& s, const Range& range) {
    if (range.smallest > range.largest) return; /* no point */
    if (s.set_low == 1) s.low_limit = range.smallest;
    if (s.set_low == 2 && s.low_limit > range.smallest)
        std::puts("SURFACE: Warning:  Your lower value is > than min data value.");
    if (s.set_high == 1) s.high_limit = range.largest;
    if (s.set_high == 2 && range.largest > s.high_limit)
        std::puts("SURFACE: Warning:  Your upper value is < than max data value.");
    std::fflush(stdout);
}

bool prepare(SURFACE_INFO& s) {
    const std::size_t padded = static_cast<std::size_t>(s.mx) * static_cast<std::size_t>(s.my);
    s.briggs = tension::obtain<SURFACE_BRIGGS>(static_cast<std::size_t>(s.npoints)).release();
    s.iu = static_cast<char*>(std::calloc(padded, 1));
    s.u = static_cast<float*>(std::calloc(padded, sizeof(float)));
    return s.briggs && s.iu && s.u;
}

bool solve(SURFACE_INFO& s, tension::Block<int> numbers) {
    s.grid = GMT1gcd_euclid(s.nx - 1, s.ny - 1);
    s.n_fact = GMT1get_prime_factors(s.grid, s.factors);
    if (s.grid < 1) s.grid = 1;
    tension::startCoarse(s);
    GMT1set_grid_parameters(&s, SG);
    GMT1set_offset(&s);
    if (!tension::setIndex(s, numbers.get()) || !prepare(s)) return false;
    if (s.radius > 0.0) GMT1initialize_grid(&s);
    GMT1set_coefficients(&s);
    s.old_grid = s.grid;
    const auto settle = [&] {
        GMT1find_nearest_point(&s);
        if (s.grid == 1) {
            numbers.reset();
            std::free(std::exchange(s.data, nullptr));
        }
        return tension::iterate(s);
    };
    if (!settle()) return false;
    while (s.grid > 1) {
        GMT1smart_divide(&s);
        GMT1set_grid_parameters(&s, SG);
        GMT1set_offset(&s);
        if (!tension::setIndex(s, numbers.get())) return false;
        GMT1fill_in_forecast(&s);
        if (!tension::iterate(s)) return false;
        s.old_grid = s.grid;
        if (!settle()) return false;
    }
    return true;
}

void writeSurface(const SURFACE_INFO& s, float* z) {
    for (int i = 0; i < s.nx; ++i)
        for (int j = 0; j < s.ny; ++j) {
            const std::size_t node = static_cast<std::size_t>(j) * static_cast<std::size_t>(s.nx) + static_cast<std::size_t>(i);
            float value = s.u[tension::nodeOf(s, i, j)];
            if (s.set_high > 0 && value > s.upper[node]) value = s.upper[node];
            else if (s.set_low > 0 && value < s.lower[node]) value = s.lower[node];
            z[node] = value;
        }
}

}

int computeGMT1Surface(float* x, float* y, float* z, int npts, float xmin, float xinc, int nx, float ymin, float yinc, int ny,
                       float aspect, float relax, float tension, int constrain) {
    std::printf("computeSurface relax: %f   tension: %f   aspect: %f   constrain: %d\n", relax, tension, aspect, constrain);
    std::fflush(stdout);
    Work work;
    if (!work.hasMemory() || nx < 1 || ny < 1) return 0;
    SURFACE_INFO& s = *work.state;
    std::memcpy(s.mode_type, "ID", 2);
    s.npoints = s.n_alloc = std::max(npts, 0);
    s.z_scale = s.r_z_scale = 1.0;
    GMT1load_parameters(&s, work.options);
    s.boundary_tension = s.interior_tension = tension;
    s.relax_new = relax;
    s.set_low = s.set_high = s.constrained = constrain;
    s.l_epsilon = aspect;
    s.max_iterations = 100;
    s.converge_limit = 2.0;
    s.x_inc = xinc;
    s.y_inc = yinc;
    s.x_min = xmin;
    s.y_min = ymin;
    s.relax_old = 1.0 - s.relax_new;
    s.nx = nx;
    s.ny = ny;
    s.mx = nx + 4;
    s.my = ny + 4;
    s.r_xinc = 1.0 / xinc;
    s.r_yinc = 1.0 / yinc;
    SG->x_min = xmin;
    SG->y_min = ymin;
    s.grid = 1;
    GMT1set_grid_parameters(&s, SG);
    s.data = tension::obtain<SURFACE_DATA>(static_cast<std::size_t>(s.npoints)).release();
    if (!s.data) return 0;
    setLimits(s, storeData(s, x, y, z, s.npoints));
    tension::Block<int> numbers = tension::numbersOf(s.npoints);
    if (!numbers || !tension::throwAwayUnusables(s, numbers.get())) return 0;
    tension::shrinkPoints(s);
    GMT1remove_planar_trend(&s);
    GMT1rescale_z_values(&s);
    /* Bounds act on what comes out and are not needed before. */
    if (!solve(s, std::move(numbers))) return 0;
    GMT1replace_planar_trend(&s);
    if (GMT1load_constraints(&s, 0) == 0) writeSurface(s, z);
    return 0;
}
