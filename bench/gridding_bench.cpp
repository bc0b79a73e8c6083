#include <benchmark/benchmark.h>
#include <pelta/gmtgrid.h>
#include <pelta/gmtsurface.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "figures.h"
#include "gridding/sweep.h"
#include "silence.h"
#include "support/signals.h"

/* Surfaces through scattered points: sweeps over nodes without data, then whole grids, with their distance from the surface that
 * the points were taken from. */

namespace {

const std::string single = "20 grid sweeps, single", twice = "20 grid sweeps, double";

std::string nodesText(int size) { return std::to_string(size) + " x " + std::to_string(size) + " nodes"; }

/* Of a tension of 0.25, over-relaxed by 1.4. */
template <class Real>
Equations<Real> usualEquations() {
    constexpr Real tension = 0.25, loose = 1 - tension, a0 = 1 / (24 * loose - 4 + 8 * tension);
    Equations<Real> equations = {};
    for (StencilNode node : {north2, south2, west2, east2}) equations.free[node] = -loose * a0;
    for (StencilNode node : {northWest, northEast, southWest, southEast}) equations.free[node] = -2 * loose * a0;
    for (StencilNode node : {north, south, west, east}) equations.free[node] = (8 * loose + tension) * a0;
    equations.ofNew = static_cast<Real>(1.4);
    equations.ofOld = 1 - equations.ofNew;
    return equations;
}

template <class Real>
EdgeConstants<Real> usualEdges() {
    constexpr Real tension = 0.25, of0 = 4 * (1 - tension) / (2 - tension), of1 = (3 * tension - 2) / (2 - tension);
    return {of0, of1, of0, of1, 1, 1, 4, 4};
}

std::vector<float> startValues(int size) {
    std::vector<float> values = randomTrace(size * size, 1);
    for (float& value : values) value += 2.0f; /* far from where differences would become denormal */
    return values;
}

constexpr int sweepCount = 20;

template <class Real>
class SkewedSweeps {
  public:
    explicit SkewedSweeps(int size) : _grid(size, size), _noDataNodes(_grid.frontCount() + 1) {
        const std::vector<float> values = startValues(size);
        const float* next = values.data();
        for (int i = 0; i < size; ++i)
            for (int j = 0; j < size; ++j) _grid.value(i, j) = *next++, _grid.setFree(i, j);
    }
    void sweep() {
        constexpr Real never = -1;
        sweepUntilSettled({_grid, usualEquations<Real>(), usualEdges<Real>(), {_noDataNodes.data(), nullptr, nullptr}}, never,
                          1.0, sweepCount);
    }
    Real value(int i, int j) { return _grid.value(i, j); }

  private:
    SkewedGrid<Real> _grid;
    const std::vector<int> _noDataNodes;
};

/* The same in one array, node after node along i and then j. */
template <class Real>
class InOrderSweeps {
  public:
    explicit InOrderSweeps(int size) : _size(size), _width(size + 2 * pad), _values(_width * _width) {
        for (int k = 0; k < stencilSize; ++k) _offsets[k] = stencil[k].i * _width + stencil[k].j;
        const std::vector<float> start = startValues(size);
        for (int i = 0; i < size; ++i) std::copy_n(&start[static_cast<std::size_t>(i) * size], size, &value(i, 0));
    }
    void sweep() {
        for (int k = 0; k < sweepCount; ++k) {
            setPad();
            benchmark::DoNotOptimize(sweepNodes());
        }
    }
    float& value(int i, int j) { return _values[static_cast<std::size_t>((i + pad) * _width + j + pad)]; }

  private:
    static constexpr int pad = SkewedGrid<Real>::pad;

    Real sweepNodes() {
        Real largest = 0;
        for (int i = 0; i < _size; ++i)
            for (int j = 0; j < _size; ++j) {
                float& node = value(i, j);
                Real sum = 0;
                for (int k = 0; k < stencilSize; ++k) sum += _equations.free[k] * static_cast<Real>((&node)[_offsets[k]]);
                const Real old = node, changed = old * _equations.ofOld + sum * _equations.ofNew;
                largest = std::max(largest, std::abs(changed - old));
                node = static_cast<float>(changed);
            }
        return largest;
    }
    /* The four edges are alike: at(d, k) is node k of the line that lies d inside the edge. */
    void setPad() {
        const int last = _size - 1;
        const auto west = [&](int d, int k) -> float& { return value(d, k); };
        const auto east = [&](int d, int k) -> float& { return value(last - d, k); };
        const auto south = [&](int d, int k) -> float& { return value(k, d); };
        const auto north = [&](int d, int k) -> float& { return value(k, last - d); };
        const auto near = [&](auto at) {
            for (int k = 0; k <= last; ++k) at(-1, k) = static_cast<float>(_edges.x1 * at(1, k) + _edges.x0 * at(0, k));
        };
        const auto corners = [&](auto at) {
            for (auto [k, inwards] : {std::pair{-1, 1}, {_size, -1}})
                at(-1, k) = at(-1, k + 2 * inwards) + at(1, k) - at(1, k + 2 * inwards);
        };
        const auto far = [&](auto at) {
            for (int k = 0; k <= last; ++k) {
                const auto real = [&](int d, int l) { return static_cast<Real>(at(d, l)); };
                const Real across = real(1, k - 1) + real(1, k + 1) - real(-1, k - 1) - real(-1, k + 1);
                at(-2, k) = static_cast<float>(real(2, k) + across + 4 * (real(-1, k) - real(1, k)));
            }
        };
        near(south), near(north), near(west), near(east);
        corners(west), corners(east);
        far(south), far(north), far(west), far(east);
    }

    const int _size, _width;
    std::vector<float> _values;
    std::ptrdiff_t _offsets[stencilSize];
    const Equations<Real> _equations = usualEquations<Real>();
    const EdgeConstants<Real> _edges = usualEdges<Real>();
};

template <class Sweeps>
void sweepRate(benchmark::State& state, int size) {
    Sweeps work(size);
    for (auto _ : state) work.sweep();
    state.SetItemsProcessed(state.iterations() * sweepCount * size * size);
}

/* Within the rounding of boundary values that are summed in another order. */
template <class Real>
bool sweepsAgree(int size) {
    constexpr double rounding = 1e-4;
    SkewedSweeps<Real> skewed(size);
    InOrderSweeps<Real> inOrder(size);
    skewed.sweep();
    inOrder.sweep();
    for (int i = 0; i < size; ++i)
        for (int j = 0; j < size; ++j)
            if (!(std::abs(skewed.value(i, j) - inOrder.value(i, j)) < rounding)) return false;
    return true;
}

/* A survey of 10 km by 10 km, heights in m. Lengths are in km: from a spacing of 10 units on, every point would count as lying on
 * its node. peers.py has the same. */
constexpr float extent = 10.0f;
constexpr int pointCount = 10000;

/* Two hills, a hump and a hollow: R. Franke, Scattered data interpolation, Mathematics of Computation 38 (1982). Times 1000. */
double franke(double x, double y) {
    const double a = 9 * x / extent, b = 9 * y / extent;
    const auto bell = [](double p, double q) { return std::exp(-p * p - q * q); };
    return 750 * bell((a - 2) / 2, (b - 2) / 2) + 750 * std::exp(-(a + 1) * (a + 1) / 49 - (b + 1) / 10) +
           500 * bell((a - 7) / 2, (b - 3) / 2) - 200 * bell(a - 4, b - 7);
}

/* Folds of 2 km by 3 km on a slope. */
double folds(double x, double y) { return 300 * std::sin(M_PI * x) * std::cos(2 * M_PI / 3 * y) + 60 * x - 40 * y; }

using Surface = double (*)(double, double);

struct Points {
    std::vector<float> x, y, z;

    explicit Points(Surface surface) : x(randomTrace(pointCount, 1, extent / 2)), y(randomTrace(pointCount, 2, extent / 2)) {
        for (int k = 0; k < pointCount; ++k) {
            x[k] += extent / 2;
            y[k] += extent / 2;
            z.push_back(static_cast<float>(surface(x[k], y[k])));
        }
    }
};

/* Over the nodes that lie a twentieth of the region or more from its rim: beyond the outermost points some peers give nothing. */
double rmsError(const std::vector<float>& grid, int size, Surface surface) {
    const int rim = (size - 1) / 20;
    const double spacing = extent / (size - 1);
    double squares = 0;
    for (int j = rim; j < size - rim; ++j)
        for (int i = rim; i < size - rim; ++i) {
            const double error = grid[static_cast<std::size_t>(j) * size + i] - surface(i * spacing, j * spacing);
            squares += error * error;
        }
    return std::sqrt(squares / (size - 2 * rim) / (size - 2 * rim));
}

/* A level is done after so many sweeps, or when heights change by no more than the limit over the level's stride. */
struct Effort {
    int sweeps;
    float limit;
};
constexpr Effort untilSettled = {250, 2.0f}, twoHundredSweeps = {100, 0.0f}; /* every level is swept twice */

void makeGrid(Points& points, int size, Effort effort, std::vector<float>& grid) {
    float start = 0, end = extent, lowest = -1e9f, highest = 1e9f, tension = 0.25f, aspect = 1;
    int count = pointCount;
    makeGMTGrid(&start, &end, &start, &end, &lowest, &highest, &size, &size, points.x.data(), points.y.data(), points.z.data(),
                &count, &effort.sweeps, &tension, &effort.limit, &aspect, &tension, grid.data());
}

/* The limit is the routine's own, of 2; the sweeps, 100. Heights in um never settle. */
void computeSurface(Points& points, int size, Effort effort, std::vector<float>& grid) {
    const float scale = effort.limit > 0 ? 1.0f : 1e6f, spacing = extent / static_cast<float>(size - 1);
    for (int k = 0; k < pointCount; ++k) grid[k] = scale * points.z[k];
    computeGMT1Surface(points.x.data(), points.y.data(), grid.data(), pointCount, 0, spacing, size, 0, spacing, size, 1, 1.4f,
                       0.25f, 0);
    for (float& value : grid) value /= scale;
}

using Routine = void (*)(Points&, int, Effort, std::vector<float>&);

void wholeGrid(benchmark::State& state, Routine routine, int size, Surface surface, Effort effort) {
    Points points(surface);
    std::vector<float> grid(static_cast<std::size_t>(size) * size);
    const Silence silence;
    for (auto _ : state) routine(points, size, effort, grid);
    constexpr double mostError = 5; /* m, of heights that range over a kilometre */
    const double error = rmsError(grid, size, surface);
    if (!(error < mostError)) state.SkipWithError("not the surface that the points were taken from");
    if (effort.limit > 0) state.counters["RMS error"] = error;
}

template <class Body, class... Arguments>
auto* add(const std::string& routine, const std::string& who, const std::string& what, Body body, Arguments... arguments) {
    return benchmark::RegisterBenchmark((routine + "|" + who + "|" + what).c_str(),
                                        [=](benchmark::State& state) { body(state, arguments...); })
        ->Unit(benchmark::kMillisecond);
}

void addWholeGrids(const std::string& name, Routine routine) {
    for (int size : {501, 2001}) {
        const std::string nodes = nodesText(size);
        add(name, "pelta", nodes + ", hills", wholeGrid, routine, size, franke, untilSettled);
        add(name, "pelta", nodes + ", folds", wholeGrid, routine, size, folds, untilSettled);
        add(name, "pelta", nodes + ", 200 sweeps a level", wholeGrid, routine, size, franke, twoHundredSweeps)->Repetitions(3);
    }
}

const bool registered = [] {
    require(sweepsAgree<float>(67) && sweepsAgree<double>(67), "sweeps");
    for (int size : {126, 501, 2001}) {
        add(single, "pelta", nodesText(size), sweepRate<SkewedSweeps<float>>, size);
        add(single, "in-order loop", nodesText(size), sweepRate<InOrderSweeps<float>>, size);
        add(twice, "pelta", nodesText(size), sweepRate<SkewedSweeps<double>>, size);
        add(twice, "in-order loop", nodesText(size), sweepRate<InOrderSweeps<double>>, size);
    }
    addWholeGrids("makeGMTGrid", makeGrid);
    addWholeGrids("computeGMT1Surface", computeSurface);
    return true;
}();

}
