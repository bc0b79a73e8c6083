#include <pelta/gmtsurface.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <numeric>
#include <utility>

#include "gridding/fit.h"
#include "gridding/gridsizes.h"
#include "gridding/tensionspline.h"

SURFACE_GLOBAL* SG = nullptr;

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

void setNodes(SURFACE_INFO& s, float xmin, float xinc, int nx, float ymin, float yinc, int ny) {
    s.x_inc = xinc;
    s.y_inc = yinc;
    s.x_min = xmin;
    s.y_min = ymin;
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
}

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

/* Takes the points that count, without plane and scale; the numbers are of their places in the input. Null where memory ran out. */
tension::Block<int> takePoints(SURFACE_INFO& s, const float* x, const float* y, const float* z) {
    s.data = tension::obtain<SURFACE_DATA>(static_cast<std::size_t>(s.npoints)).release();
    if (!s.data) return nullptr;
    setLimits(s, storeData(s, x, y, z, s.npoints));
    tension::Block<int> numbers = tension::numbersOf(s.npoints);
    if (!numbers || !tension::throwAwayUnusables(s, numbers.get())) return nullptr;
    tension::shrinkPoints(s);
    GMT1remove_planar_trend(&s);
    GMT1rescale_z_values(&s);
    return numbers;
}

bool prepare(SURFACE_INFO& s) {
    const std::size_t padded = static_cast<std::size_t>(s.mx) * static_cast<std::size_t>(s.my);
    s.briggs = tension::obtain<SURFACE_BRIGGS>(static_cast<std::size_t>(s.npoints)).release();
    s.iu = static_cast<char*>(std::calloc(padded, 1));
    s.u = static_cast<float*>(std::calloc(padded, sizeof(float)));
    return s.briggs && s.iu && s.u;
}

void enterLevel(SURFACE_INFO& s) {
    GMT1set_grid_parameters(&s, SG);
    GMT1set_offset(&s);
}

bool solve(SURFACE_INFO& s, tension::Block<int> numbers) {
    s.grid = GMT1gcd_euclid(s.nx - 1, s.ny - 1);
    s.n_fact = GMT1get_prime_factors(s.grid, s.factors);
    if (s.grid < 1) s.grid = 1;
    tension::startCoarse(s);
    enterLevel(s);
    if (!tension::setIndex(s, numbers.get()) || !prepare(s)) return false;
    GMT1set_coefficients(&s);
    if (s.radius > 0.0) GMT1initialize_grid(&s);
    return tension::solveLevels(s, std::move(numbers), [&] { enterLevel(s); }) == tension::Shortage::none;
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
    s.relax_old = 1.0 - s.relax_new;
    setNodes(s, xmin, xinc, nx, ymin, yinc, ny);
    tension::Block<int> numbers = takePoints(s, x, y, z);
    if (!numbers || !solve(s, std::move(numbers))) return 0;
    GMT1replace_planar_trend(&s);
    /* Bounds act on what comes out and are not needed before. */
    if (GMT1load_constraints(&s, 0) == 0) writeSurface(s, z);
    return 0;
}

// --- sizes ---

double GMT1guess_surface_time(int* factors, int nx, int ny) { return griddingCost(factors, nx, ny); }

void GMT1suggest_sizes_for_surface(int* factors, int nx, int ny) {
    const Suggestions suggestions = quickerSizes(factors, nx, ny);
    for (const SURFACE_SUGGESTION& suggestion : suggestions)
        std::printf("HINT:  Choosing nx = %d, ny = %d might cut run time by a factor of %.8g\n", suggestion.nx, suggestion.ny,
                    suggestion.factor);
    if (suggestions.begin() == suggestions.end()) std::puts("Cannot suggest any nx,ny better than your -R -I define.");
    std::fflush(stdout);
}

int GMT1compare_sugs(const void* point_1, const void* point_2) {
    const double first = static_cast<const SURFACE_SUGGESTION*>(point_1)->factor;
    const double second = static_cast<const SURFACE_SUGGESTION*>(point_2)->factor;
    return first > second ? -1 : first < second ? 1 : 0;
}

int GMT1gcd_euclid(int a, int b) { return std::gcd(a, b); }

int GMT1get_prime_factors(int n, int* f) { return tension::primeFactors(n, f); }

// --- options ---

SURFACE_CTRL* GMT1New_Surface_Ctrl(void) {
    auto* options = static_cast<SURFACE_CTRL*>(std::calloc(1, sizeof(SURFACE_CTRL)));
    if (!options) return nullptr;
    options->N.value = 250;
    options->A.value = 1.0;
    options->Z.value = 1.4;
    return options;
}

void GMT1Free_Surface_Ctrl(SURFACE_CTRL* C) { std::free(C); }

// --- steps ---

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
            const auto plane = static_cast<float>(tension::planeAt(s, i, s.ny - 1 - row));
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

void GMT1check_errors(SURFACE_INFO* C) {
    const Fit fit = fitOf(*C);
    std::fprintf(stderr, "Fit info: N data points  N nodes\tmean error\trms error\tcurvature\n");
    std::fprintf(stderr, "\t%8d\t%8d\t%.8g\t%.8g\t%.8g\n", C->npoints, C->nx * C->ny, fit.meanError, fit.rmsError,
                 fit.curvature);
}
