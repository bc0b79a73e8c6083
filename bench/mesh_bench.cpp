#define CGAL_DISABLE_GMP 1
#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Simple_cartesian.h>
#include <CGAL/Triangulation_hierarchy_2.h>
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <pelta/trimodel.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "figures.h"
#include "keptmemory.h"

/* Velocity functions all over a survey: the mesh as it is built in one order or another, beside CGAL's Delaunay triangulations
 * (black boxes, with plain doubles, as exact as pelta's own tests), locations in it, and functions interpolated from it. */

namespace {

struct Place {
    double x, y;

    bool operator<(const Place& other) const { return std::pair{x, y} < std::pair{other.x, other.y}; }
    bool operator==(const Place& other) const { return x == other.x && y == other.y; }
};
using Places = std::vector<Place>;

// --- surveys ---

constexpr double spacing = 50.0; /* m between neighbours */

double widthOf(int count) { return spacing * std::sqrt(static_cast<double>(count)); }

Places randomPlaces(int count, unsigned seed) {
    std::mt19937_64 engine(seed);
    std::uniform_real_distribution<double> uniform(0.0, widthOf(count));
    Places places(static_cast<std::size_t>(count));
    for (Place& place : places) place = {uniform(engine), uniform(engine)};
    return places;
}

/* Line after line, every place a little off where it was planned. */
Places placesInLines(int count) {
    std::mt19937_64 engine(1);
    std::uniform_real_distribution<double> off(-0.1 * spacing, 0.1 * spacing);
    const int perLine = static_cast<int>(std::lround(std::sqrt(count)));
    Places places;
    for (int i = 0; i < count; ++i) {
        const double along = i % perLine * spacing, across = i / perLine * spacing;
        const double offAlong = off(engine), offAcross = off(engine);
        places.push_back({along + offAlong, across + offAcross});
    }
    return places;
}

/* Where a place comes along the curve that fills a square of 2^16 by 2^16 cells. */
std::uint64_t hilbertIndex(std::uint32_t x, std::uint32_t y) {
    std::uint64_t index = 0;
    for (std::uint32_t half = 1u << 15; half > 0; half /= 2) {
        const bool right = x & half, top = y & half;
        index += std::uint64_t{half} * half * ((3 * right) ^ top);
        if (top) continue;
        if (right) {
            x = ~x;
            y = ~y;
        }
        std::swap(x, y);
    }
    return index;
}

Places placesAlongHilbert(int count) {
    const double cells = 65535.0 / widthOf(count);
    const auto indexOf = [&](const Place& place) {
        return hilbertIndex(static_cast<std::uint32_t>(place.x * cells), static_cast<std::uint32_t>(place.y * cells));
    };
    Places places = randomPlaces(count, 1);
    std::sort(places.begin(), places.end(), [&](const Place& a, const Place& b) { return indexOf(a) < indexOf(b); });
    return places;
}

/* A lattice of whole metres in shuffled order: every place lies on sides that stand already, most on circles too. */
Places shuffledLattice(int count) {
    const int perLine = static_cast<int>(std::lround(std::sqrt(count)));
    Places places;
    for (int i = 0; i < count; ++i) places.push_back({spacing * (i % perLine), spacing * (i / perLine)});
    std::shuffle(places.begin(), places.end(), std::mt19937_64(1));
    return places;
}

/* Row after row. */
Places raster(int meshCount, int perRow) {
    const double width = widthOf(meshCount), step = width / (perRow + 1);
    Places places;
    for (int row = 1; row <= perRow; ++row)
        for (int column = 1; column <= perRow; ++column) places.push_back({column * step, row * step});
    return places;
}

// --- building ---

struct Mesh : triModel {
    Mesh() { require(triStart() == 1, "a mesh"); }
};

void addTo(triModel& mesh, Place place, float value = 2000.0f) {
    float time = 0.0f;
    int pairs = 1;
    mesh.triAdd(&place.x, &place.y, &time, &value, &pairs);
}

void buildPelta(const Places& places) {
    Mesh mesh;
    for (const Place& place : places) addTo(mesh, place);
    benchmark::DoNotOptimize(mesh.model->f);
}

using Kernel = CGAL::Simple_cartesian<double>;
using Point = Kernel::Point_2;
using Walking = CGAL::Delaunay_triangulation_2<Kernel>;
using HierarchyRecords =
    CGAL::Triangulation_data_structure_2<CGAL::Triangulation_hierarchy_vertex_base_2<CGAL::Triangulation_vertex_base_2<Kernel>>,
                                         CGAL::Triangulation_face_base_2<Kernel>>;
using Hierarchy = CGAL::Triangulation_hierarchy_2<CGAL::Delaunay_triangulation_2<Kernel, HierarchyRecords>>;

void insertOneByOne(Walking& mesh, const Places& places) {
    Walking::Face_handle last;
    for (const Place& place : places) last = mesh.insert(Point(place.x, place.y), last)->face();
}

void buildWalking(const Places& places) {
    Walking mesh;
    insertOneByOne(mesh, places);
    benchmark::DoNotOptimize(mesh.number_of_faces());
}

void buildHierarchy(const Places& places) {
    Hierarchy mesh;
    for (const Place& place : places) mesh.insert(Point(place.x, place.y));
    benchmark::DoNotOptimize(mesh.number_of_faces());
}

/* Sorts them first: no one-by-one insertion can. */
void buildAtOnce(const Places& places) {
    std::vector<Point> points;
    for (const Place& place : places) points.emplace_back(place.x, place.y);
    Walking mesh;
    mesh.insert(points.begin(), points.end());
    benchmark::DoNotOptimize(mesh.number_of_faces());
}

using Build = void (*)(const Places&);

std::string pointsText(int count) { return std::to_string(count) + " points"; }

void addBuild(const std::string& who, const std::string& order, Places (*makePlaces)(int), int count, Build build,
              int repetitions = 0, int parts = 1) {
    auto* const registered = benchmark::RegisterBenchmark(
        ("triAdd|" + who + "|" + order + ", " + pointsText(count)).c_str(), [=](benchmark::State& state) {
            const Places places = makePlaces(count / parts);
            for (auto _ : state)
                for (int part = 0; part < parts; ++part) build(places);
            state.counters["ns a point"] =
                benchmark::Counter(1e-9 * count, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
        });
    registered->Unit(benchmark::kMillisecond);
    if (repetitions > 0) registered->Repetitions(repetitions)->Iterations(1);
}

Places inRandomOrder(int count) { return randomPlaces(count, 1); }

void registerBuilds() {
    const std::string pelta = "pelta", walk = "CGAL, hint last face", hierarchy = "CGAL hierarchy",
                      atOnce = "CGAL, all at once";
    constexpr int few = 3; /* turns of what takes seconds */
    const std::pair<std::string, Places (*)(int)> spatialOrders[] = {{"in lines", placesInLines},
                                                                     {"Hilbert order", placesAlongHilbert}};
    for (const auto& [order, places] : spatialOrders)
        for (const int count : {1000, 10000, 100000, 1000000}) {
            const int turns = count == 1000000 ? few : 0;
            addBuild(pelta, order, places, count, buildPelta, turns);
            addBuild(walk, order, places, count, buildWalking, turns);
            if (turns > 0) addBuild("limit: 100 meshes of 10000", order, places, count, buildPelta, turns, 100);
        }
    for (const int count : {1000, 100000, 1000000}) {
        const int turns = count == 1000000 ? few : 0;
        addBuild(pelta, "random order", inRandomOrder, count, buildPelta, turns);
        addBuild(hierarchy, "random order", inRandomOrder, count, buildHierarchy, turns);
        addBuild(atOnce, "random order", inRandomOrder, count, buildAtOnce, turns);
    }
    addBuild(walk, "random order", inRandomOrder, 100000, buildWalking, few);
    addBuild(pelta, "shuffled lattice", shuffledLattice, 100000, buildPelta, few);
    addBuild(walk, "shuffled lattice", shuffledLattice, 100000, buildWalking, few);
}

// --- location ---

/* Built once and kept, since a location leaves a mesh as it is but for the face that the next one starts from. */
triModel& standingMesh(int count) {
    static std::map<int, Mesh> meshes;
    const auto [entry, isNew] = meshes.try_emplace(count);
    if (isNew)
        for (const Place& place : randomPlaces(count, 1)) addTo(entry->second, place);
    return entry->second;
}

Walking& standingWalking(int count) {
    static std::map<int, Walking> meshes;
    const auto [entry, isNew] = meshes.try_emplace(count);
    if (isNew) {
        std::vector<Point> points;
        for (const Place& place : randomPlaces(count, 1)) points.emplace_back(place.x, place.y);
        entry->second.insert(points.begin(), points.end());
    }
    return entry->second;
}

int pairsAt(triModel& mesh, Place place) {
    float time, value;
    int pairs;
    mesh.triGet(&place.x, &place.y, &time, &value, &pairs);
    return pairs;
}

void locatePelta(benchmark::State& state, int count, const Places& places) {
    triModel& mesh = standingMesh(count);
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(pairsAt(mesh, places[i]));
        i = i + 1 < places.size() ? i + 1 : 0;
    }
}

void locateWalking(benchmark::State& state, int count, const Places& places) {
    const Walking& mesh = standingWalking(count);
    Walking::Face_handle face;
    std::size_t i = 0;
    for (auto _ : state) {
        face = mesh.locate(Point(places[i].x, places[i].y), face);
        benchmark::DoNotOptimize(face);
        i = i + 1 < places.size() ? i + 1 : 0;
    }
}

Places randomPlacesWithin(int count) {
    Places places = randomPlaces(count, 2);
    places.resize(std::min<std::size_t>(places.size(), 100000));
    return places;
}

void registerLocations() {
    constexpr int perRow = 500;
    for (const int count : {1000, 100000}) {
        const auto add = [&](const std::string& who, const std::string& order, auto locate, const Places& places) {
            addFigure("location|" + who + "|" + order + ", " + pointsText(count), locate, count, places);
        };
        add("pelta", "raster", locatePelta, raster(count, perRow));
        add("CGAL, hint last face", "raster", locateWalking, raster(count, perRow));
        add("pelta", "random places", locatePelta, randomPlacesWithin(count));
        add("CGAL, hint last face", "random places", locateWalking, randomPlacesWithin(count));
    }
}

// --- interpolation ---

/* The survey of peers.py too: places that fill a square evenly, velocities that grow with time and change from place to place. */
constexpr int functionCount = 1000, locationsPerRow = 100, rowCount = 10;
constexpr double surveyWidth = 10000.0;

Place surveyPlace(int k) {
    return {surveyWidth * std::fmod(k * 0.7548776662466927, 1.0), surveyWidth * std::fmod(k * 0.5698402909980532, 1.0)};
}

struct Function {
    std::vector<float> times, velocities;
};

Function surveyFunction(int k, int pairs) {
    Function function;
    for (int j = 0; j < pairs; ++j) {
        function.times.push_back(static_cast<float>(-100.0 + 2400.0 * j / (pairs - 1) + (j > 0 ? 7.0 * (k % 11) : 0.0)));
        function.velocities.push_back(static_cast<float>(1500.0 + 2000.0 * j / (pairs - 1) + 10.0 * ((k + j) % 17)));
    }
    return function;
}

struct Grid {
    int pairs, count;
    float first, interval;

    std::string text() const {
        return "1000 ordered locations, " + std::to_string(pairs) + " pairs, " + std::to_string(count) + " samples";
    }
};
constexpr Grid shortGrid = {12, 501, 0.0f, 4.0f}, longGrid = {20, 1000, 0.0f, 2.0f};

triModel& surveyMesh(int pairs) {
    static std::map<int, Mesh> meshes;
    const auto [entry, isNew] = meshes.try_emplace(pairs);
    for (int k = 0; isNew && k < functionCount; ++k) {
        Place place = surveyPlace(k);
        Function function = surveyFunction(k, pairs);
        entry->second.triAdd(&place.x, &place.y, function.times.data(), function.velocities.data(), &pairs);
    }
    return entry->second;
}

/* Ten rows across the middle. */
Places surveyLocations() {
    Places places;
    for (int row = 0; row < rowCount; ++row)
        for (int column = 0; column < locationsPerRow; ++column)
            places.push_back({surveyWidth * (0.1 + 0.8 * column / locationsPerRow), surveyWidth * (0.3 + 0.04 * row)});
    return places;
}

void interpolate(triModel& mesh, Place place, Grid grid, std::vector<float>& result) {
    static std::vector<float> scratch;
    scratch.resize(2 * static_cast<std::size_t>(grid.count));
    result.resize(static_cast<std::size_t>(grid.count));
    mesh.triInterpolate(&place.x, &place.y, &grid.first, &grid.interval, scratch.data(), result.data(), &grid.count);
}

void interpolatePelta(benchmark::State& state, const Grid& grid) {
    triModel& mesh = surveyMesh(grid.pairs);
    const Places places = surveyLocations();
    std::vector<float> result;
    for (auto _ : state)
        for (const Place& place : places) {
            interpolate(mesh, place, grid, result);
            benchmark::DoNotOptimize(result.data());
        }
}

using Corners = std::array<Vertex*, 3>;

std::vector<Corners> cornersRound(triModel& mesh, const Places& places) {
    std::vector<Corners> corners;
    Face* face = nullptr;
    for (const Place& place : places) {
        mesh.tri_face(place.x, place.y, &face);
        corners.push_back({face->eu->vu->v, face->eu->euCW->vu->v, face->eu->euCCW->vu->v});
    }
    return corners;
}

/* Into the first of three functions. */
void resampleAndSum(triModel& mesh, const Corners& corners, Place place, const Grid& grid,
                    std::array<std::vector<float>, 3>& z) {
    for (std::size_t k = 0; k < 3; ++k) {
        Vertex* const v = corners[k];
        z[k].resize(static_cast<std::size_t>(grid.count));
        mesh.tri_interpolate(v->va, v->va + v->nabs, v->nabs, grid.first, grid.interval, grid.count, z[k].data());
    }
    const auto& [a, b, c] = corners;
    mesh.tri_initialize(place.x, place.y, z[0].data(), grid.count, a->x, a->y, z[0].data(), b->x, b->y, z[1].data(), c->x, c->y,
                        z[2].data());
}

/* What remains when the faces are known: the limit of the above. */
void threeResamplingsAndASum(benchmark::State& state, const Grid& grid) {
    triModel& mesh = surveyMesh(grid.pairs);
    const Places places = surveyLocations();
    const std::vector<Corners> corners = cornersRound(mesh, places);
    std::array<std::vector<float>, 3> z;
    for (auto _ : state)
        for (std::size_t i = 0; i < places.size(); ++i) {
            resampleAndSum(mesh, corners[i], places[i], grid, z);
            benchmark::DoNotOptimize(z[0].data());
        }
}

void registerInterpolations() {
    for (const Grid& grid : {shortGrid, longGrid}) {
        const auto add = [&](const std::string& who, void (*run)(benchmark::State&, const Grid&)) {
            addFigure("triInterpolate|" + who + "|" + grid.text(), run, grid);
        };
        add("pelta", interpolatePelta);
        add("limit: three resamplings and a sum", threeResamplingsAndASum);
    }
}

// --- changes between interpolations ---

constexpr int hullCount = 1000;

/* A thousand places on a circle and the others inside. */
triModel& roundMesh(int count) {
    static std::map<int, Mesh> meshes;
    const auto [entry, isNew] = meshes.try_emplace(count);
    if (!isNew) return entry->second;
    const double radius = widthOf(count);
    for (int k = 0; k < hullCount; ++k) {
        const double angle = 2 * M_PI * k / hullCount;
        addTo(entry->second, {radius * (0.5 + std::cos(angle)), radius * (0.5 + std::sin(angle))});
    }
    for (const Place& place : placesAlongHilbert(count - hullCount)) addTo(entry->second, place);
    return entry->second;
}

constexpr Grid oneSample = {1, 1, 0.0f, 1.0f};

/* Corners and hull are made again where something changed. */
void rebuildHull(benchmark::State& state, int count) {
    triModel& mesh = roundMesh(count);
    const double middle = 0.5 * widthOf(count);
    std::vector<float> result;
    for (auto _ : state) {
        mesh.model->Cupdate = 1;
        interpolate(mesh, {middle, middle}, oneSample, result);
    }
    require(mesh.model->hull.n == hullCount, "the hull");
}

void replaceVertex(benchmark::State& state, int count) {
    triModel& mesh = roundMesh(count);
    const double radius = widthOf(count);
    for (auto _ : state) addTo(mesh, {1.5 * radius, 0.5 * radius});
}

/* Near the middle. Never a place of an earlier turn, which would only be replaced. */
void addBetween(benchmark::State& state, int count) {
    triModel& mesh = roundMesh(count);
    const double middle = 0.5 * widthOf(count);
    static std::mt19937_64 engine(3);
    std::uniform_real_distribution<double> near(-5.0 * spacing, 5.0 * spacing);
    std::vector<float> result;
    for (auto _ : state) {
        addTo(mesh, {middle + near(engine), middle + near(engine)});
        interpolate(mesh, {middle, middle}, oneSample, result);
    }
}

void registerChanges() {
    using Change = void (*)(benchmark::State&, int);
    const auto add = [](const std::string& routine, Change change, int turns) {
        const std::string text = "mesh of 1000000 points, 1000 of them on the hull";
        for (const auto& [who, count] : {std::pair{"pelta", 1000000}, std::pair{"limit: mesh of 3000 points", 3000}})
            benchmark::RegisterBenchmark((routine + "|" + who + "|" + text).c_str(), [=,
                                                                                      size = count](benchmark::State& state) {
                change(state, size);
            })->Iterations(turns);
    };
    add("hull and corners made again", rebuildHull, 500);
    add("point replaced", replaceVertex, 10000);
    add("point added, then triInterpolate", addBetween, 200);
}

// --- answers ---

std::array<Place, 3> cornersOf(const Face* face) {
    std::array<Place, 3> corners;
    const EdgeUse* side = face->eu;
    for (Place& corner : corners) {
        corner = {side->vu->v->x, side->vu->v->y};
        side = side->euCW;
    }
    std::sort(corners.begin(), corners.end());
    return corners;
}

/* The faces well inside are CGAL's. */
void checkFaces() {
    constexpr int count = 1000;
    triModel& mesh = standingMesh(count);
    const Walking& peer = standingWalking(count);
    const double width = widthOf(count);
    for (const Place& place : randomPlaces(count, 4)) {
        const Place inside = {0.1 * width + 0.8 * place.x, 0.1 * width + 0.8 * place.y};
        pairsAt(mesh, inside);
        const Walking::Face_handle face = peer.locate(Point(inside.x, inside.y));
        std::array<Place, 3> corners;
        for (int i = 0; i < 3; ++i)
            corners[static_cast<std::size_t>(i)] = {face->vertex(i)->point().x(), face->vertex(i)->point().y()};
        std::sort(corners.begin(), corners.end());
        require(cornersOf(mesh.model->Fcur) == corners, "a face");
    }
}

/* Functions are to the bit what resampling and summing at the corners gives. */
void checkFunctions() {
    triModel& mesh = surveyMesh(shortGrid.pairs);
    const Places places = surveyLocations();
    const std::vector<Corners> corners = cornersRound(mesh, places);
    std::array<std::vector<float>, 3> z;
    std::vector<float> result;
    for (std::size_t i = 0; i < places.size(); ++i) {
        interpolate(mesh, places[i], shortGrid, result);
        resampleAndSum(mesh, corners[i], places[i], shortGrid, z);
        require(result == z[0], "a function");
    }
}

/* As the allocator counts it, the functions' own pairs included. */
void checkMemory() {
    constexpr double most = 1.2 * 1024; /* bytes a point */
    const auto bytesInUse = [] {
        const struct mallinfo2 in = mallinfo2();
        return static_cast<double>(in.uordblks + in.hblkhd);
    };
    for (const int count : {1000, 10000, 100000}) {
        const Places places = placesAlongHilbert(count);
        const double before = bytesInUse();
        Mesh mesh;
        for (const Place& place : places) addTo(mesh, place);
        const double each = (bytesInUse() - before) / count;
        std::fprintf(stderr, "%d points: %.0f bytes a point\n", count, each);
        require(each < most, "more memory a point than allowed");
    }
}

const bool registered = [] {
    checkFaces();
    checkFunctions();
    checkMemory();
    constexpr std::size_t largestMesh = 1200 << 20;
    keepMemory(largestMesh);
    registerBuilds();
    registerLocations();
    registerInterpolations();
    registerChanges();
    return true;
}();

}
