#include "gridding/surface.h"

#include <pelta/gmtgrid.h>
#include <pelta/gmtsurface.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <new>

#include "support/failure.h"

namespace pelta::gridding {
namespace {

/* Units of length to a spacing. The routines fix a node to the value of a point that lies within 0.05 of them, however coarse the
 * level, and enter only those further away by their true place: with this few, next to all are. */
constexpr float spacingUnits = 1.0f / 64.0f;

/* Points as the library takes them: single precision loses nothing that matters when places count from the frame's first node
 * and values from their middle. */
struct SinglePoints {
    std::vector<float> x, y, z;
    double reference = 0.0;
};

SinglePoints singlePoints(const Points& points, const Frame& frame) {
    const Extent extent = extentOf(points.z);
    SinglePoints single;
    single.reference = 0.5 * extent.first + 0.5 * extent.second;
    for (std::size_t k = 0; k < points.size(); ++k) {
        single.x.push_back(spacingUnits * static_cast<float>(frame.column(points.x[k])));
        single.y.push_back(spacingUnits * static_cast<float>(frame.row(points.y[k])));
        single.z.push_back(static_cast<float>(points.z[k] - single.reference));
    }
    return single;
}

std::string levelText(int columns, int rows, int stride) {
    return fmt::format("gridding {} x {} nodes, stride {}", columns, rows, stride);
}

/* Rows from the first upwards. The routine takes the counts crossed, and its spacings from them: columns = nodes along y. */
void computeByGmtgrid(SinglePoints& points, const Frame& frame, const Settings& settings, const LevelReport& report,
                      std::vector<float>& values) {
    report(levelText(frame.columns, frame.rows, 1));
    int columns = frame.rows, rows = frame.columns, count = static_cast<int>(points.z.size()), sweeps = settings.sweeps;
    float left = 0.0f, right = spacingUnits * static_cast<float>(columns - 1);
    float bottom = 0.0f, top = spacingUnits * static_cast<float>(rows - 1);
    float highest = std::numeric_limits<float>::infinity(), lowest = -highest; /* a surface that runs off is to show */
    auto boundaryTension = static_cast<float>(settings.boundaryTension), tension = static_cast<float>(settings.tension);
    auto converge = static_cast<float>(settings.converge), aspect = static_cast<float>(cellAspect(frame, settings));
    makeGMTGrid(&left, &right, &bottom, &top, &lowest, &highest, &columns, &rows, points.x.data(), points.y.data(),
                points.z.data(), &count, &sweeps, &boundaryTension, &converge, &aspect, &tension, values.data());
}

template <class Value>
Value* obtain(std::size_t count) {
    auto* const memory = static_cast<Value*>(std::calloc(std::max<std::size_t>(count, 1), sizeof(Value)));
    if (!memory) throw std::bad_alloc();
    return memory;
}

/* The routine of gmtsurface step by step: so there is a word on every level, and there are sweeps and limits to choose. */
class StepwiseSurface {
  public:
    StepwiseSurface(const SinglePoints& points, const Frame& frame, const Settings& settings)
        : _options(GMT1New_Surface_Ctrl()), _state(obtain<SURFACE_INFO>(1)) {
        if (!_options) throw std::bad_alloc();
        SG = &_order;
        SURFACE_CTRL& options = *_options;
        options.N.value = settings.sweeps;
        options.A.value = cellAspect(frame, settings);
        options.C.value = settings.converge;
        options.Z.value = settings.relax;
        options.T.i_tension = settings.tension;
        options.T.b_tension = settings.boundaryTension;
        SURFACE_INFO& s = *_state;
        GMT1load_parameters(&s, _options.get());
        s.relax_old = 1.0 - s.relax_new;
        s.x_inc = s.y_inc = spacingUnits;
        s.r_xinc = s.r_yinc = 1.0 / spacingUnits;
        s.nx = frame.columns;
        s.ny = frame.rows;
        s.mx = s.nx + 4;
        s.my = s.ny + 4;
        s.z_scale = s.r_z_scale = 1.0;
        s.npoints = s.n_alloc = static_cast<int>(points.z.size());
        s.data = obtain<SURFACE_DATA>(points.z.size());
        for (std::size_t k = 0; k < points.z.size(); ++k) s.data[k] = {points.x[k], points.y[k], points.z[k], 0};
        s.grid = 1;
        GMT1set_grid_parameters(&s, SG);
        require(GMT1set_index(&s) == 0 && GMT1throw_away_unusables(&s) == 0);
        GMT1remove_planar_trend(&s);
        GMT1rescale_z_values(&s);
        s.briggs = obtain<SURFACE_BRIGGS>(static_cast<std::size_t>(s.npoints));
        const std::size_t padded = static_cast<std::size_t>(s.mx) * static_cast<std::size_t>(s.my);
        s.iu = obtain<char>(padded);
        s.u = obtain<float>(padded);
    }
    ~StepwiseSurface() { SG = nullptr; }
    StepwiseSurface(const StepwiseSurface&) = delete;
    StepwiseSurface& operator=(const StepwiseSurface&) = delete;

    /* From coarse to fine. Returns the stride of the finest level that did not settle, or 0. */
    int solve(const LevelReport& report) {
        SURFACE_INFO& s = *_state;
        startCoarse();
        GMT1set_offset(&s);
        require(GMT1set_index(&s) == 0);
        GMT1set_coefficients(&s);
        s.old_grid = s.grid;
        solveLevel(report);
        while (s.grid > 1) {
            GMT1smart_divide(&s);
            GMT1set_grid_parameters(&s, SG);
            GMT1set_offset(&s);
            require(GMT1set_index(&s) == 0);
            GMT1fill_in_forecast(&s);
            require(GMT1iterate(&s, 0) > 0);
            s.old_grid = s.grid;
            solveLevel(report);
        }
        GMT1replace_planar_trend(&s);
        return _unsettledStride;
    }

    /* Rows from the first upwards. */
    void copyTo(std::vector<float>& values) const {
        const SURFACE_INFO& s = *_state;
        std::size_t place = 0;
        for (int j = 0; j < s.ny; ++j)
            for (int i = 0; i < s.nx; ++i)
                values[place++] = s.u[static_cast<std::size_t>(s.ij_sw_corner + j) +
                                      static_cast<std::size_t>(i) * static_cast<std::size_t>(s.my)];
    }

  private:
    struct Free {
        void operator()(SURFACE_CTRL* options) const { GMT1Free_Surface_Ctrl(options); }
        void operator()(SURFACE_INFO* state) const {
            for (void* part : std::array<void*, 4>{state->data, state->briggs, state->iu, state->u}) std::free(part);
            std::free(state);
        }
    };

    static void require(bool hasMemory) {
        if (!hasMemory) throw std::bad_alloc();
    }

    /* The coarsest stride that leaves four nodes along x and y, or 1. */
    void startCoarse() {
        constexpr int fewestNodes = 4;
        SURFACE_INFO& s = *_state;
        s.grid = std::max(GMT1gcd_euclid(s.nx - 1, s.ny - 1), 1);
        s.n_fact = GMT1get_prime_factors(s.grid, s.factors);
        while (true) {
            GMT1set_grid_parameters(&s, SG);
            if (s.grid < 2 || std::min(s.block_nx, s.block_ny) >= fewestNodes) return;
            GMT1smart_divide(&s);
        }
    }

    void solveLevel(const LevelReport& report) {
        SURFACE_INFO& s = *_state;
        report(levelText(s.block_nx, s.block_ny, s.grid));
        GMT1find_nearest_point(&s);
        const int sweeps = GMT1iterate(&s, 1);
        require(sweeps > 0);
        _unsettledStride = sweeps >= s.max_iterations ? s.grid : 0;
    }

    std::unique_ptr<SURFACE_CTRL, Free> _options;
    std::unique_ptr<SURFACE_INFO, Free> _state;
    SURFACE_GLOBAL _order = {};
    int _unsettledStride = 0;
};

/* Bytes that programs can still have; nothing where the system does not tell. */
std::optional<double> freeMemory() {
    std::ifstream file("/proc/meminfo");
    std::string name, unit;
    double kilobytes = 0.0, free = 0.0;
    while (file >> name >> kilobytes && std::getline(file, unit))
        if (name == "MemAvailable:" || name == "SwapFree:") free += 1024.0 * kilobytes;
    return free > 0.0 ? std::optional(free) : std::nullopt;
}

}

double cellAspect(const Frame& frame, const Settings& settings) {
    return settings.aspect * frame.columnSpacing / frame.rowSpacing;
}

void requireMemory(const Frame& frame, std::size_t points) {
    constexpr double perNode = 24.0, perPoint = 200.0; /* bytes: the library's, the surface, copies of both */
    const double needed = perNode * static_cast<double>(frame.nodes()) + perPoint * static_cast<double>(points);
    const std::optional<double> free = freeMemory();
    bool canBeHad = needed < static_cast<double>(std::numeric_limits<std::ptrdiff_t>::max()) && (!free || needed < *free);
    if (canBeHad) { /* limits of the process and of its address space show when asked for */
        // Volatile: a compiler may leave out an allocation that nobody uses.
        void* const volatile trial = std::malloc(static_cast<std::size_t>(needed));
        canBeHad = trial != nullptr;
        std::free(trial);
    }
    if (!canBeHad)
        fail(
            "a grid of {} x {} nodes needs {:.1f} GB of memory, which cannot be had; give a larger --spacing or a smaller "
            "--region",
            frame.columns, frame.rows, needed / 1e9);
}

Surface computeSurface(const Points& points, const Frame& frame, const Settings& settings, const LevelReport& report) {
    SinglePoints single = singlePoints(points, frame);
    Surface surface;
    Grid& grid = surface.grid;
    grid.columns = frame.columns;
    grid.rows = frame.rows;
    grid.left = frame.left;
    grid.top = frame.top();
    grid.columnSpacing = frame.columnSpacing;
    grid.rowSpacing = frame.rowSpacing;
    grid.values.resize(static_cast<std::size_t>(frame.nodes()));
    if (settings.variant == Variant::gmtgrid) {
        computeByGmtgrid(single, frame, settings, report, grid.values);
    } else {
        StepwiseSurface stepwise(single, frame, settings);
        surface.unsettledStride = stepwise.solve(report);
        stepwise.copyTo(grid.values);
    }
    for (auto bottom = grid.values.begin(), top = grid.values.end() - frame.columns; bottom < top;
         bottom += frame.columns, top -= frame.columns)
        std::swap_ranges(bottom, bottom + frame.columns, top);
    for (float& value : grid.values)
        value = static_cast<float>(std::clamp(value + single.reference, settings.lowest, settings.highest));
    return surface;
}

}
