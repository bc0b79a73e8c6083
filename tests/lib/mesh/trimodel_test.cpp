#include <gtest/gtest.h>
#include <pelta/trimodel.h>
#include <pthread.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "support/files.h"
#include "support/meshverifier.h"
#include "support/plainmesh.h"

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double half = 40000000.0;

using Places = std::vector<std::pair<double, double>>;

struct Function {
    std::vector<float> abscissae, ordinates;
};

int add(triModel& mesh, double x, double y, Function function = {{0.0f}, {1.0f}}) {
    int pairs = static_cast<int>(function.abscissae.size());
    return mesh.triAdd(&x, &y, function.abscissae.data(), function.ordinates.data(), &pairs);
}

Function get(triModel& mesh, double x, double y) {
    Function function{std::vector<float>(50, -7.0f), std::vector<float>(50, -7.0f)};
    int pairs = -1;
    mesh.triGet(&x, &y, function.abscissae.data(), function.ordinates.data(), &pairs);
    EXPECT_EQ(function.abscissae[static_cast<std::size_t>(pairs)], -7.0f);
    function.abscissae.resize(static_cast<std::size_t>(pairs));
    function.ordinates.resize(static_cast<std::size_t>(pairs));
    return function;
}

std::vector<float> interpolated(triModel& mesh, double x, double y, int count = 5, float from = 0.0f, float step = 1.0f) {
    std::vector<float> work(static_cast<std::size_t>(2 * count)), result(static_cast<std::size_t>(count) + 1, 99.0f);
    mesh.triInterpolate(&x, &y, &from, &step, work.data(), result.data(), &count);
    EXPECT_EQ(result.back(), 99.0f);
    result.pop_back();
    return result;
}

/* The first ordinate of functions of one pair. */
float valueAt(triModel& mesh, double x, double y) { return interpolated(mesh, x, y, 1).front(); }

Function constant(float value) { return {{0.0f}, {value}}; }

struct Started : triModel {
    Started() { EXPECT_EQ(triStart(), 1); }
};

// --- life ---

TEST(TriModel, IsUnsetUntilItIsStarted) {
    triModel mesh;
    EXPECT_EQ(mesh.model, nullptr);
    EXPECT_EQ(add(mesh, 1, 2), 0);
    EXPECT_TRUE(get(mesh, 1, 2).abscissae.empty());
    EXPECT_EQ(interpolated(mesh, 1, 2), std::vector<float>(5, 0.0f));
    mesh.triPrint();
    mesh.triClear();
}

TEST(TriModel, StartsWithASquareOfTwoFaces) {
    Started mesh;
    const Model& model = *mesh.model;
    const double xs[4] = {-half, half, half, -half}, ys[4] = {-half, -half, half, half};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(model.Xc[i], xs[i]);
        EXPECT_EQ(model.Yc[i], ys[i]);
        EXPECT_EQ(model.Vc[i], 0.0f);
        EXPECT_EQ(model.CV[i]->x, xs[i]);
        EXPECT_EQ(model.CV[i]->y, ys[i]);
        EXPECT_EQ(model.CV[i]->nabs, 1);
        EXPECT_EQ(model.CV[i]->va[0], 0.0f);
        EXPECT_EQ(model.CV[i]->va[1], 0.0f);
    }
    EXPECT_EQ(model.Cupdate, 1);
    EXPECT_EQ(model.npnts, 0);
    EXPECT_EQ(model.hull.n, 0);
    EXPECT_EQ(model.Fcur, model.f);
    EXPECT_EQ(model.f->rs, 2 * half * half);
    for (const Face* face = model.f; face; face = face->fNext) EXPECT_LT(twiceArea(face), 0.0) << "clockwise";
    expectDelaunay(mesh, 0);
}

TEST(TriModel, CanBeStartedAgainAfterClearingAndWithout) {
    Started mesh;
    EXPECT_EQ(add(mesh, 1, 1), 1);
    mesh.triClear();
    EXPECT_EQ(mesh.model, nullptr);
    mesh.triClear();
    EXPECT_EQ(mesh.triStart(), 1);
    EXPECT_EQ(add(mesh, 1, 1), 1);
    EXPECT_EQ(mesh.triStart(), 1);
    expectDelaunay(mesh, 0);
}

// --- points ---

TEST(TriModel, TakesPointsOnTheSquaresRimAndRefusesThoseBeyond) {
    for (const auto& [x, y] : Places{{half, 0}, {-half, 3}, {5, half}, {5, -half}}) {
        Started mesh;
        EXPECT_EQ(add(mesh, x, y), 1);
        EXPECT_EQ(get(mesh, x, y).abscissae.size(), 1u);
    }
    Started mesh;
    const std::string range = "The tessellation range is (-40000000,-40000000) to (40000000,40000000)\n";
    const double beyond = std::nextafter(half, infinity);
    const Printed printed = printedBy([&] { EXPECT_EQ(add(mesh, beyond, 12.5), 0); });
    EXPECT_EQ(printed.text, "triModel: Point (4e+07,12.5) is outside tessellation not inserted\n" + range);
    EXPECT_EQ(printed.unflushed, 0u);
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(add(mesh, -1, -beyond), 0); }).text,
              "triModel: Point (-1,-4e+07) is outside tessellation not inserted\n" + range);
    EXPECT_EQ(mesh.model->f->fNext->fNext, nullptr);
}

TEST(TriModel, RefusesCoordinatesThatAreNoNumbers) {
    Started mesh;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const Printed printed = printedBy([&] {
        EXPECT_EQ(add(mesh, nan, 0), 0);
        EXPECT_EQ(add(mesh, 0, nan), 0);
        EXPECT_EQ(add(mesh, infinity, 0), 0);
        EXPECT_EQ(add(mesh, 0, -infinity), 0);
    });
    EXPECT_EQ(std::count(printed.text.begin(), printed.text.end(), '\n'), 8);
    expectDelaunay(mesh, 0);
    EXPECT_TRUE(get(mesh, nan, 0).abscissae.empty());
    EXPECT_TRUE(get(mesh, infinity, 0).abscissae.empty());
    for (int i = 0; i < 5; ++i) add(mesh, i * i, 3 * i);
    interpolated(mesh, nan, 0);
    interpolated(mesh, infinity, 0);
    interpolated(mesh, -infinity, nan);
}

TEST(TriModel, TheLastOfTwoPointsAtAPlaceWins) {
    Started mesh;
    add(mesh, 10, 20, {{1, 2, 3}, {4, 5, 6}});
    add(mesh, 30, 20, {{1}, {2}});
    add(mesh, 10, 20, {{7, 8}, {9, 10}});
    const Function function = get(mesh, 10, 20);
    EXPECT_EQ(function.abscissae, (std::vector<float>{7, 8}));
    EXPECT_EQ(function.ordinates, (std::vector<float>{9, 10}));
    expectDelaunay(mesh, 2);
    for (std::size_t i = 0; i < 45; ++i) add(mesh, 10, 20, Function{std::vector<float>(i), std::vector<float>(i, 1.0f)});
    EXPECT_EQ(get(mesh, 10, 20).abscissae.size(), 44u);
    EXPECT_EQ(get(mesh, 10, 20).ordinates, std::vector<float>(44, 1.0f));
}

TEST(TriModel, GetsNothingBetweenVertices) {
    Started mesh;
    add(mesh, 10, 20, {{1, 2}, {3, 4}});
    EXPECT_TRUE(get(mesh, 10, 20.000001).abscissae.empty());
    EXPECT_TRUE(get(mesh, 2 * half, 0).abscissae.empty());
    EXPECT_EQ(get(mesh, half, half).abscissae.size(), 1u) << "a corner of the square is a vertex";
}

TEST(TriModel, APointOnACornerOfTheSquareTakesItsPlace) {
    Started mesh;
    add(mesh, half, -half, {{1, 2}, {3, 4}});
    EXPECT_EQ(mesh.model->CV[1]->nabs, 2);
    EXPECT_EQ(get(mesh, half, -half).ordinates, (std::vector<float>{3, 4}));
    expectDelaunay(mesh, 0);
}

TEST(TriModel, RandomPointsMakeADelaunayMeshInAnyOrder) {
    std::mt19937 engine(3);
    std::uniform_real_distribution<double> uniform(0.0, 5000.0);
    for (const bool isSorted : {false, true}) {
        Places points;
        for (int i = 0; i < 3000; ++i) points.emplace_back(uniform(engine), uniform(engine));
        if (isSorted) std::sort(points.begin(), points.end());
        Started mesh;
        for (const auto& [x, y] : points) ASSERT_EQ(add(mesh, x, y, constant(static_cast<float>(x))), 1);
        expectDelaunay(mesh, points.size());
        for (const auto& [x, y] : points) EXPECT_EQ(get(mesh, x, y).ordinates.at(0), static_cast<float>(x));
    }
}

TEST(TriModel, APointOnASideSplitsAFaceAndFlipsTheRest) {
    Started mesh;
    for (const auto& [x, y] : Places{{0, 0}, {4, 0}, {0, 4}, {4, 4}, {2, 0}, {2, 2}}) ASSERT_EQ(add(mesh, x, y), 1);
    expectDelaunay(mesh, 6);
    for (const Face* face = mesh.model->f; face; face = face->fNext) EXPECT_LT(twiceArea(face), 0.0);
}

TEST(TriModel, APointOnACircleFlipsNothing) {
    Started mesh;
    for (const auto& [x, y] : Places{{0, 0}, {4, 0}, {0, 4}, {4, 4}}) add(mesh, x, y);
    int inner = 0;
    for (const Face* face = mesh.model->f; face; face = face->fNext) {
        if (face->rs != 8.0) continue;
        ++inner;
        const EdgeUse* side = face->eu;
        for (int j = 0; j < 3; ++j, side = side->euCW) {
            const Vertex *v = side->vu->v, *w = side->euCW->vu->v;
            if (v->x != w->x && v->y != w->y) { EXPECT_EQ(v->x + v->y, 4.0) << "the diagonal that stood first"; }
        }
    }
    EXPECT_EQ(inner, 2);
}

TEST(TriModel, TheFacesOfASplitFollowOneAnother) {
    Started mesh;
    Face* const first = mesh.model->f;
    Face* const second = first->fNext;
    EdgeUse* const sides[3] = {first->eu, first->eu->euCW, first->eu->euCCW};
    add(mesh, 39000000, 0);
    const Face* face = mesh.model->f;
    ASSERT_EQ(face, first);
    for (int i = 1; i < 3; ++i) {
        face = face->fNext;
        EXPECT_EQ(face->eu, sides[i]) << "the side opposite the new point";
    }
    EXPECT_EQ(face->fNext, second);
    EXPECT_EQ(second->fNext, nullptr);
}

TEST(TriModel, CirclesAreThoseOfTheirFormulaFromTheFacesSideOn) {
    std::mt19937 engine(10);
    std::uniform_real_distribution<double> uniform(0.0, 1000.0);
    Started mesh;
    for (int i = 0; i < 300; ++i) add(mesh, uniform(engine), uniform(engine));
    for (int i = 0; i < 50; ++i) add(mesh, static_cast<double>(engine() % 20), static_cast<double>(engine() % 20));
    for (const Face* face = mesh.model->f; face; face = face->fNext) {
        const Vertex *p = face->eu->vu->v, *q = face->eu->euCW->vu->v, *r = face->eu->euCCW->vu->v;
        const double a = q->x - p->x, b = r->x - p->x, det = (r->y - p->y) * a - (q->y - p->y) * b;
        const double c = p->x * p->x + p->y * p->y;
        const double h2 = (q->x * q->x + q->y * q->y - c) * 0.5, h3 = (r->x * r->x + r->y * r->y - c) * 0.5;
        const double yc = (a * h3 - b * h2) / det;
        const double xc = a == 0.0 ? (h3 - yc * (r->y - p->y)) / b : (h2 - yc * (q->y - p->y)) / a;
        ASSERT_EQ(face->xc, xc);
        ASSERT_EQ(face->yc, yc);
        ASSERT_EQ(face->rs, (p->x - xc) * (p->x - xc) + (p->y - yc) * (p->y - yc));
    }
}

TEST(TriModel, ALatticeCanBeReplacedVertexByVertex) {
    std::mt19937 engine(13);
    Started mesh;
    Places points;
    for (int i = 0; i < 400; ++i) points.emplace_back(50.0 * (i % 20), 50.0 * (i / 20));
    for (const auto& [x, y] : points) add(mesh, x, y);
    for (int round = 1; round <= 3; ++round) {
        std::shuffle(points.begin(), points.end(), engine);
        for (std::size_t i = 0; i < points.size(); ++i) {
            const std::vector<float> values(i % 5 + 1, static_cast<float>(round * 1000) + static_cast<float>(i));
            ASSERT_EQ(add(mesh, points[i].first, points[i].second, {values, values}), 1);
            if (i % 50 == 0) valueAt(mesh, 475.0, 480.0);
        }
        for (std::size_t i = 0; i < points.size(); ++i) {
            const Function function = get(mesh, points[i].first, points[i].second);
            ASSERT_EQ(function.ordinates,
                      std::vector<float>(i % 5 + 1, static_cast<float>(round * 1000) + static_cast<float>(i)));
        }
        expectDelaunay(mesh, points.size());
    }
}

void addHub() {
    Started mesh;
    constexpr int rim = 20000;
    testing::internal::CaptureStdout();
    for (int i = 0; i < rim; ++i) ASSERT_EQ(add(mesh, 1000 * std::cos(0.1 * i), 1000 * std::sin(0.1 * i)), 1);
    ASSERT_EQ(add(mesh, 0, 0, constant(5)), 1);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(valueAt(mesh, 0, 0), 5.0f);
    const MeshCounts counts = expectLinked(mesh);
    EXPECT_EQ(counts.faces, 2 * (counts.vertices - 4) + 2);
}

/* One call a neighbour would not fit on the stack. */
TEST(TriModel, AHubWithManyNeighboursDoesNotDeepenAnything) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 256 << 10), 0);
    pthread_t thread;
    const auto run = [](void*) -> void* { return addHub(), nullptr; };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, nullptr), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

// --- interpolation ---

TEST(TriModel, InsideTheHullAPlaneIsReproduced) {
    Started mesh;
    std::mt19937 engine(8);
    std::uniform_real_distribution<double> uniform(0.0, 1000.0);
    const auto plane = [](double x, double y) { return 1500.0 + 0.7 * x - 0.3 * y; };
    for (int i = 0; i < 400; ++i) {
        const double x = uniform(engine), y = uniform(engine);
        add(mesh, x, y, constant(static_cast<float>(plane(x, y))));
    }
    constexpr double storedAsFloat = 2e-4; /* ordinates near 2000 */
    for (int i = 0; i < 1000; ++i) {
        const double x = 100 + 0.8 * uniform(engine), y = 100 + 0.8 * uniform(engine);
        EXPECT_NEAR(valueAt(mesh, x, y), plane(x, y), storedAsFloat);
    }
}

TEST(TriModel, OutsideTheHullTheValueRunsFromBisectorToBisector) {
    Started mesh;
    add(mesh, 0, 0, constant(10));
    add(mesh, 0, 10, constant(20));
    add(mesh, 10, 10, constant(40));
    add(mesh, 10, 0, constant(80));
    constexpr float rounded = 1e-4f;
    EXPECT_NEAR(valueAt(mesh, 0, -5), 80 * 5 / 20.0 + 10 * 15 / 20.0, rounded) << "below the bottom, bisectors 20 apart";
    EXPECT_NEAR(valueAt(mesh, 5, -5), 45, rounded);
    EXPECT_NEAR(valueAt(mesh, -7, -7), 10, rounded) << "on the bisector";
    EXPECT_NEAR(valueAt(mesh, -3, 5), 15, rounded);
    EXPECT_NEAR(valueAt(mesh, -1e6, -1e6), 10, 1e-2f);
    EXPECT_EQ(valueAt(mesh, 5, 0), 45.0f) << "on the hull: inside";
}

TEST(TriModel, WithoutPointsItSaysSoAndGivesZeros) {
    Started mesh;
    const Printed printed = printedBy([&] { EXPECT_EQ(interpolated(mesh, 3, 4), std::vector<float>(5, 0.0f)); });
    EXPECT_EQ(printed.text, "triModel: Empty tessellation\n");
    EXPECT_EQ(printed.unflushed, 0u);
    EXPECT_EQ(mesh.model->Cupdate, 0);
    EXPECT_EQ(printedBy([&] { interpolated(mesh, 3, 4); }).text, "");
}

TEST(TriModel, OnePointGivesItsFunctionEverywhere) {
    Started mesh;
    add(mesh, 100, 100, {{0, 4}, {0, 40}});
    for (double x : {-1e7, 100.0, 3e7}) EXPECT_EQ(interpolated(mesh, x, 50), (std::vector<float>{10, 20, 30, 40, 40}));
}

TEST(TriModel, TwoPointsAreWeightedByTheFootOfThePerpendicular) {
    Started mesh;
    add(mesh, 0, 0, constant(10));
    add(mesh, 4, 4, constant(50));
    EXPECT_EQ(valueAt(mesh, 1, 1), 20.0f);
    EXPECT_EQ(valueAt(mesh, 0, 2), 20.0f);
    EXPECT_EQ(valueAt(mesh, -1, -1), 10.0f);
    EXPECT_EQ(valueAt(mesh, 9, 9), 50.0f);
    Started upright;
    add(upright, 3, 0, constant(10));
    add(upright, 3, 4, constant(50));
    EXPECT_EQ(valueAt(upright, 100, 3), 40.0f);
    EXPECT_EQ(valueAt(upright, 100, -3), 10.0f);
    EXPECT_EQ(valueAt(upright, 100, 4), 50.0f);
}

TEST(TriModel, PointsOnALineAreWeightedAlongIt) {
    Started mesh;
    printedBy([&] {
        add(mesh, 0, 5, constant(10));
        add(mesh, 2, 5, constant(20));
        add(mesh, 6, 5, constant(60));
        EXPECT_EQ(valueAt(mesh, -3, 5), 10.0f);
        EXPECT_EQ(valueAt(mesh, 1, 5), 15.0f);
        EXPECT_EQ(valueAt(mesh, 4, 5), 40.0f);
        EXPECT_EQ(valueAt(mesh, 60, 5), 60.0f);
    });
    expectLinked(mesh);
}

TEST(TriModel, VerticesWithoutPairsCountAsZero) {
    Started mesh;
    add(mesh, 0, 0, {});
    EXPECT_EQ(valueAt(mesh, 5, 5), 0.0f);
    double x = 1, y = 1;
    int negative = -4;
    EXPECT_EQ(mesh.triAdd(&x, &y, nullptr, nullptr, &negative), 1);
    EXPECT_TRUE(get(mesh, 1, 1).abscissae.empty());
}

TEST(TriModel, ACountOfZeroWritesNothing) {
    Started mesh;
    for (int points = 0; points < 5; ++points) {
        EXPECT_TRUE(interpolated(mesh, 3, 3, 0).empty());
        add(mesh, points, points * points, constant(1));
    }
}

TEST(TriModel, HullAndCornersAreMadeAgainOnlyAfterAChange) {
    Started mesh;
    for (int i = 0; i < 5; ++i) add(mesh, 10 * std::cos(i), 10 * std::sin(i), constant(static_cast<float>(i)));
    EXPECT_EQ(mesh.model->Cupdate, 1);
    valueAt(mesh, 0, 0);
    EXPECT_EQ(mesh.model->Cupdate, 0);
    const VertexHull* const ring = mesh.model->hull.vh;
    valueAt(mesh, 1, 1);
    EXPECT_EQ(mesh.model->hull.vh, ring);
    add(mesh, 100, 100, constant(7));
    EXPECT_EQ(mesh.model->Cupdate, 1);
    EXPECT_EQ(valueAt(mesh, 100, 100), 7.0f);
}

// --- printing ---

TEST(TriModel, PrintsFacesWithTheCornersOfThoseOffTheRim) {
    Started mesh;
    add(mesh, 0, 0);
    add(mesh, 4, 0);
    add(mesh, 0, 2);
    const Printed printed = printedBy([&] { mesh.triPrint(); });
    std::string expected;
    int number = 0, inner = 0;
    for (const Face* face = mesh.model->f; face; face = face->fNext, ++number) {
        char line[200];
        std::snprintf(line, sizeof line, "Face %d %g %g %g\n", number, face->xc, face->yc, face->rs);
        expected += line;
        if (face->xc != 2.0 || face->yc != 1.0) continue;
        ++inner;
        const EdgeUse* side = face->eu;
        for (int j = 0; j < 3; ++j, side = side->euCW) {
            std::snprintf(line, sizeof line, "%d %g %g\n", j, side->vu->v->x, side->vu->v->y);
            expected += line;
        }
    }
    EXPECT_EQ(inner, 1);
    EXPECT_EQ(printed.text, expected);
    EXPECT_EQ(printed.unflushed, 0u);
    EXPECT_EQ(mesh.model->Fcur, mesh.model->f);
}

TEST(TriModel, FacesWithAPointOnTheRimArePrintedWithoutCorners) {
    Started mesh;
    add(mesh, half, 5);
    add(mesh, 0, 0);
    add(mesh, 0, 100);
    get(mesh, -3e7, 0);
    get(mesh, 3e7, 3e7);
    ASSERT_NE(mesh.model->Fcur, mesh.model->f);
    const std::string text = printedBy([&] { mesh.triPrint(); }).text;
    EXPECT_EQ(text.find("\n0 "), std::string::npos);
    EXPECT_EQ(mesh.model->Fcur, mesh.model->f);
}

TEST(TriModel, PrintsAFaceWithABlankBeforeTheLinesEnd) {
    Started mesh;
    const std::string text = printedBy([&] { mesh.tri_printface(mesh.model->f); }).text;
    EXPECT_EQ(text.substr(0, 5), "Face ");
    EXPECT_EQ(text.substr(text.find('\n') - 8, 8), " 3.2e+15");
    EXPECT_NE(text.find("0 -4e+07 -4e+07 \n1 "), std::string::npos);
    EXPECT_EQ(text.substr(text.size() - 2), " \n");
}

// --- the plain steps, with awkward points ---

/* Points of every degenerate kind. */
Places awkwardPoints(const std::string& kind, int count, std::mt19937& engine) {
    std::uniform_real_distribution<double> uniform(-1000.0, 1000.0);
    std::uniform_int_distribution<int> small(-6, 6);
    Places points;
    for (int i = 0; i < count; ++i) {
        const double angle = uniform(engine);
        if (kind == "random") points.emplace_back(uniform(engine), uniform(engine));
        else if (kind == "lattice") points.emplace_back(small(engine), small(engine));
        else if (kind == "fine lattice far out") points.emplace_back(1e6 + 0.1 * small(engine), 3e6 + 0.1 * small(engine));
        else if (kind == "upright line") points.emplace_back(17.0, small(engine) + 0.1 * small(engine));
        else if (kind == "slanted line") points.emplace_back(0.1 * (i % 37), 0.3 * (i % 37));
        else if (kind == "coincident") points.emplace_back(small(engine) / 4, small(engine) / 4);
        else if (kind == "circle") points.emplace_back(500.0 * std::cos(angle), 500.0 * std::sin(angle));
        else if (kind == "neighbouring numbers") {
            double x = 12345.678, y = 0.1;
            for (int k = small(engine); k > 0; --k) x = std::nextafter(x, infinity);
            for (int k = small(engine); k > 0; --k) y = std::nextafter(y, infinity);
            points.emplace_back(x, y);
        } else if (kind == "rim")
            points.emplace_back(i % 4 < 2 ? (i % 2 ? half : -half) : uniform(engine) * 40000.0,
                                i % 4 < 2 ? uniform(engine) * 40000.0 : (i % 2 ? half : -half));
        else if (kind == "clusters") points.emplace_back(1000.0 * (i % 3) + 1e-9 * uniform(engine), 1e-9 * uniform(engine));
        else if (kind == "along far sides") {
            /* Near the side from an earlier point to a corner of the square: neither face may seem to have it. */
            const auto [x, y] = i < 3 ? std::pair{uniform(engine), uniform(engine)} : points[engine() % 3];
            const double part = i < 3 ? 0.0 : 0.0005 * (uniform(engine) + 1000.0);
            points.emplace_back(x + part * ((i & 1 ? half : -half) - x), y + part * ((i & 2 ? half : -half) - y));
        } else if (kind == "turned lattice") {
            const double x = small(engine), y = small(engine);
            points.emplace_back(0.6 * x - 0.8 * y, 0.8 * x + 0.6 * y);
        }
    }
    return points;
}

class AwkwardPoints : public testing::TestWithParam<std::string> {};

/* Coordinates that the arithmetic cannot tell from those of a line leave faces that no test decides: links and counts hold. */
TEST_P(AwkwardPoints, LeaveAWellLinkedMeshThatAnswers) {
    const std::string kind = GetParam();
    for (unsigned seed = 1; seed <= 20; ++seed) {
        std::mt19937 engine(seed);
        testing::internal::CaptureStdout();
        Started mesh;
        const auto points = awkwardPoints(kind, 60, engine);
        for (const auto& [x, y] : points) ASSERT_EQ(add(mesh, x, y), 1) << x << " " << y;
        const MeshCounts counts = expectLinked(mesh);
        EXPECT_EQ(counts.faces, 2 * (counts.vertices - 4) + 2);
        EXPECT_EQ(counts.edges, 3 * (counts.vertices - 4) + 5);
        std::uniform_real_distribution<double> uniform(-1100.0, 1100.0);
        for (int i = 0; i < 50; ++i) interpolated(mesh, uniform(engine), uniform(engine));
        for (const auto& [x, y] : points) interpolated(mesh, x, y);
        testing::internal::GetCapturedStdout();
        if (HasFailure()) FAIL() << kind << ", seed " << seed;
    }
}

/* Adds points to a mesh, gets functions at places between, and does the same by the plain steps. */
void expectPlainSteps(Started& mesh, PlainMesh& plain, const Places& points, std::mt19937& engine) {
    testing::internal::CaptureStdout();
    for (std::size_t i = 0; i < points.size(); ++i) {
        const auto [x, y] = points[i];
        if (engine() % 4 == 0) {
            const auto [otherX, otherY] = points[engine() % (i + 1)];
            const double placeX = engine() % 2 ? otherX : (x + otherX) / 2, placeY = (y + otherY) / 2;
            get(mesh, placeX, placeY);
            plain.locate(placeX, placeY);
        }
        add(mesh, x, y);
        plain.add(x, y);
    }
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(isSameMesh(plain, mesh));
}

/* Every face, circle and ring is what the published steps make, whatever shorter ways were gone. */
TEST_P(AwkwardPoints, MakeTheMeshOfThePlainSteps) {
    for (unsigned seed = 1; seed <= 100; ++seed) {
        std::mt19937 engine(seed);
        Started mesh;
        PlainMesh plain(mesh);
        ASSERT_TRUE(isSameMesh(plain, mesh));
        expectPlainSteps(mesh, plain, awkwardPoints(GetParam(), seed % 10 ? 60 : 400, engine), engine);
        ASSERT_FALSE(HasFailure()) << "seed " << seed;
    }
}

/* Adds points one by one; getting goes shorter ways than tri_face and has to come to the same face: at the next point, at one
 * that stands already, and halfway between. */
void expectLocationsOfTheWalk(const Places& points, std::mt19937& engine) {
    Started mesh;
    testing::internal::CaptureStdout();
    bool isSame = true;
    for (std::size_t i = 0; i < points.size() && isSame; ++i) {
        const auto [x, y] = points[i];
        const auto [otherX, otherY] = points[engine() % (i + 1)];
        const std::pair<double, double> places[] = {{x, y}, {otherX, otherY}, {(x + otherX) / 2, (y + otherY) / 2}};
        for (const auto& [placeX, placeY] : places) {
            Face* face = mesh.model->Fcur;
            mesh.tri_face(placeX, placeY, &face);
            get(mesh, placeX, placeY);
            isSame &= mesh.model->Fcur == face;
        }
        add(mesh, x, y);
    }
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(isSame);
}

TEST_P(AwkwardPoints, AreFoundInTheFaceThatTheWalkEndsIn) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
        std::mt19937 engine(seed);
        expectLocationsOfTheWalk(awkwardPoints(GetParam(), 150, engine), engine);
        if (HasFailure()) FAIL() << GetParam() << ", seed " << seed;
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, AwkwardPoints,
                         testing::Values("random", "lattice", "fine lattice far out", "upright line", "slanted line",
                                         "coincident", "circle", "neighbouring numbers", "rim", "clusters", "turned lattice",
                                         "along far sides"),
                         [](const auto& kind) {
                             std::string name = kind.param;
                             std::replace(name.begin(), name.end(), ' ', '_');
                             return name;
                         });

/* So that the comparison above means something: there are sequences that take each of the rarer turns. */
TEST(TriModel, AwkwardPointsTakeEveryTurnOfThePlainSteps) {
    std::size_t restarts = 0, lostWalks = 0, facesLeastBeyond = 0, refusedFlips = 0, flatFaces = 0;
    for (const char* kind : {"lattice", "clusters", "neighbouring numbers", "rim", "along far sides"})
        for (unsigned seed = 1; seed <= 20; ++seed) {
            std::mt19937 engine(seed);
            Started mesh;
            PlainMesh plain(mesh);
            expectPlainSteps(mesh, plain, awkwardPoints(kind, 150, engine), engine);
            restarts += plain.restarts;
            lostWalks += plain.lostWalks;
            facesLeastBeyond += plain.facesLeastBeyond;
            refusedFlips += plain.refusedFlips;
            flatFaces += plain.flatFaces;
        }
    EXPECT_GT(restarts, 0u) << "far corners";
    EXPECT_GT(lostWalks, 0u);
    EXPECT_GT(facesLeastBeyond, 0u);
    EXPECT_GT(refusedFlips, 0u);
    EXPECT_GT(flatFaces, 0u);
}

/* Large enough for cells that have been laid several times, and for walks across them. */
TEST(TriModel, LatticesInAnyOrderMakeTheMeshOfThePlainSteps) {
    std::mt19937 engine(12);
    for (const double spacing : {0.1, 25.0})
        for (const bool isShuffled : {false, true}) {
            Places points;
            for (int i = 0; i < 1600; ++i) points.emplace_back(1e6 + spacing * (i % 40), 2e6 + spacing * (i / 40));
            if (isShuffled) std::shuffle(points.begin(), points.end(), engine);
            Started mesh;
            PlainMesh plain(mesh);
            expectPlainSteps(mesh, plain, points, engine);
            std::shuffle(points.begin(), points.end(), engine); /* every vertex once more */
            expectPlainSteps(mesh, plain, points, engine);
            ASSERT_FALSE(HasFailure()) << spacing << (isShuffled ? ", shuffled" : "");
        }
}

TEST(TriModel, PointsOfRotatedLinesAreFoundInTheFaceThatTheWalkEndsIn) {
    std::mt19937 engine(9);
    for (const double spacing : {0.1, 12.5, 100.0}) {
        Places points;
        for (int i = 0; i < 900; ++i) {
            const double along = i % 30 * spacing, across = i / 30 * spacing;
            points.emplace_back(5e5 + along * std::cos(0.3) - across * std::sin(0.3),
                                5e6 + along * std::sin(0.3) + across * std::cos(0.3));
        }
        expectLocationsOfTheWalk(points, engine);
        std::shuffle(points.begin(), points.end(), engine);
        expectLocationsOfTheWalk(points, engine);
    }
}

TEST(TriModel, LocationFindsAFaceThatContainsThePoint) {
    std::mt19937 engine(4);
    std::uniform_real_distribution<double> uniform(0.0, 100.0);
    Started mesh;
    for (int i = 0; i < 500; ++i) add(mesh, uniform(engine), uniform(engine));
    for (int i = 0; i < 2000; ++i) {
        const double x = uniform(engine), y = uniform(engine);
        Face* face = i % 2 ? nullptr : mesh.model->Fcur;
        mesh.tri_face(x, y, &face);
        ASSERT_EQ(mesh.tri_inside(face, x, y), 1);
        interpolated(mesh, x, y, 1);
        if (mesh.tri_out_hull(x, y)) continue;
        ASSERT_EQ(mesh.model->Fcur, face) << "interpolation finds the same face";
    }
}

// --- memory ---

TEST(TriModel, ListsAndFreesWhatItAllocates) {
    triModel mesh;
    Tracker* list = nullptr;
    void* first = mesh.trimalloc(&list, 10);
    void* second = mesh.trimalloc(&list, 10);
    EXPECT_EQ(list->p, second);
    EXPECT_EQ(list->next->p, first);
    mesh.trifree(&list, &mesh);  // not listed: nothing happens
    mesh.trifree(&list, first);
    EXPECT_EQ(list->p, second);
    EXPECT_EQ(list->next, nullptr);
    mesh.trigfree(&list, second);
    EXPECT_EQ(list, nullptr);
}

TEST(TriModel, WhatIsTakenOffTheListIsNotFreed) {
    triModel mesh;
    Tracker* list = nullptr;
    int first = 1, second = 2;
    mesh.tri_add_ptr(&list, &first);
    mesh.tri_add_ptr(&list, &second);
    ASSERT_EQ(list->p, &second);
    ASSERT_EQ(list->next->p, &first);
    EXPECT_EQ(list->next->next, nullptr);
    mesh.tri_rem_ptr(&list, &mesh);  // not listed: nothing happens
    mesh.tri_rem_ptr(&list, &first);
    EXPECT_EQ(list->p, &second);
    EXPECT_EQ(list->next, nullptr);
    mesh.tri_rem_ptr(&list, &second);
    EXPECT_EQ(list, nullptr);
}

/* Leaks are the sanitizers' to find. */
TEST(TriModel, FreesAllThatIsListed) {
    triModel mesh;
    Tracker* list = nullptr;
    for (int i = 0; i < 3; ++i) ASSERT_NE(mesh.trimalloc(&list, 100), nullptr);
    mesh.tri_free_all(&list);
    EXPECT_EQ(list, nullptr);
    mesh.tri_free_all(&list);
    EXPECT_EQ(list, nullptr);
}

TEST(TriModel, AnEmptyPoolSaysSo) {
    const char message[] = "triModel: error, no space left in memory pool.\n";
    triModel unstarted;
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(unstarted.tri_malloc_mem(1), nullptr); }).text, message);
    char pool[32];
    Started mesh;
    mesh.model->pntr = pool;
    mesh.model->mbytes = 32;
    EXPECT_EQ(mesh.tri_malloc_mem(24), pool);
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(mesh.tri_malloc_mem(9), nullptr); }).text, message);
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(mesh.tri_malloc_mem(-1), nullptr); }).text, message);
    EXPECT_EQ(mesh.tri_malloc_mem(8), pool + 24);
    EXPECT_EQ(mesh.model->mused, 32);
}

TEST(TriModel, TakesRecordsFromAPoolWhereOneIsSet) {
    std::vector<double> pool(400);
    const auto usePool = [&](triModel& mesh, int bytes) {
        mesh.model->npnts = 1;
        mesh.model->pntr = reinterpret_cast<char*>(pool.data());
        mesh.model->mbytes = bytes;
    };
    Started first;
    usePool(first, static_cast<int>(pool.size() * sizeof(double)));
    EXPECT_EQ(add(first, 3, 4), 1);
    const int point = first.model->mused;
    EXPECT_EQ(first.model->pntr, reinterpret_cast<char*>(pool.data()) + point);
    first.triClear();
    Started mesh;
    usePool(mesh, point);
    EXPECT_EQ(add(mesh, 3, 4), 1);
    EXPECT_EQ(mesh.model->mused, point);
    const Printed printed = printedBy([&] { EXPECT_EQ(add(mesh, 5, 4), 0); });
    EXPECT_EQ(printed.text, "triModel: error, no space left in memory pool.\n");
    EXPECT_EQ(printed.unflushed, 0u);
    expectDelaunay(mesh, 1);
    mesh.triClear();
}

// --- records ---

TEST(TriModel, LinksAreSetAtBothEnds) {
    triModel mesh;
    EdgeUse sides[3] = {};
    VertexUse uses[3] = {};
    mesh.tri_vu_eu(&uses[0], &sides[1]);
    EXPECT_EQ(uses[0].eu, &sides[1]);
    EXPECT_EQ(sides[1].vu, &uses[0]);
    mesh.tri_mate(&sides[0], &sides[2]);
    EXPECT_EQ(sides[0].euMate, &sides[2]);
    EXPECT_EQ(sides[2].euMate, &sides[0]);
    mesh.tri_eu_eu(&sides[0], &sides[2]);
    EXPECT_EQ(sides[0].euCW, &sides[2]);
    EXPECT_EQ(sides[2].euCCW, &sides[0]);
    mesh.tri_vu_vu(&uses[0], &uses[2]);
    EXPECT_EQ(uses[0].vuNext, &uses[2]);
    EXPECT_EQ(uses[2].vuPrev, &uses[0]);
    mesh.tri_eu_loop(&sides[0], &sides[1], &sides[2]);
    mesh.tri_vu_loop(&uses[0], &uses[1], &uses[2]);
    for (int i = 0; i < 3; ++i) {
        const int next = (i + 1) % 3;
        EXPECT_EQ(sides[i].euCW, &sides[next]);
        EXPECT_EQ(sides[next].euCCW, &sides[i]);
        EXPECT_EQ(uses[i].vuNext, &uses[next]);
        EXPECT_EQ(uses[next].vuPrev, &uses[i]);
    }
}

TEST(TriModel, ASquareOfAnySizeHasTwoFaces) {
    Started mesh;
    double x[4] = {0, 8, 8, 0}, y[4] = {0, 0, 4, 4};
    Vertex* corners[4] = {};
    triModel unstarted;
    EXPECT_EQ(unstarted.tri_init_0(x, y, corners), 0);
    ASSERT_EQ(mesh.tri_init_0(x, y, corners), 1);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(corners[i]->x, x[i]);
        EXPECT_EQ(corners[i]->y, y[i]);
        EXPECT_EQ(corners[i]->nabs, 1);
        EXPECT_EQ(corners[i]->va[1], 0.0f);
    }
    const Face* face = mesh.model->f;
    ASSERT_NE(face->fNext, nullptr);
    EXPECT_EQ(face->fNext->fNext, nullptr);
    for (; face; face = face->fNext) {
        EXPECT_EQ(face->xc, 4.0);
        EXPECT_EQ(face->yc, 2.0);
        EXPECT_EQ(face->rs, 20.0);
        EXPECT_EQ(twiceArea(face), -32.0);
    }
}

TEST(TriModel, ANewVertexTakesTheUsesOfTheOld) {
    Vertex newer = {nullptr, 3.0, 4.0, 1, {0.0f, 77.0f}};
    Started mesh;
    add(mesh, 3, 4);
    add(mesh, 5, 5);
    Face* face = nullptr;
    VertexUse* use = nullptr;
    mesh.tri_face(3, 4, &face);
    ASSERT_EQ(mesh.tri_onvertex(3, 4, face, &use), 1);
    mesh.tri_overwrite(&newer, use->v);
    EXPECT_EQ(newer.vu->v, &newer);
    EXPECT_EQ(get(mesh, 3, 4).ordinates, std::vector<float>{77.0f});
    expectDelaunay(mesh, 2);
}

/* Of four points on a circle either diagonal will do; a circle that seems to hold the fourth point makes it the other one. */
TEST(TriModel, ASideIsFlippedWhenTheCircleBehindItHoldsThePoint) {
    Started mesh;
    for (const auto& [x, y] : {std::pair{0.0, 0.0}, {4.0, 0.0}, {4.0, 4.0}, {0.0, 4.0}}) add(mesh, x, y);
    const auto isInner = [](const Face* face) {
        if (!face) return false;
        EdgeUse* const side = face->eu;
        for (const EdgeUse* one : {side, side->euCW, side->euCCW})
            if (std::abs(one->vu->v->x) == half) return false;
        return true;
    };
    Face* face = mesh.model->f;
    while (!isInner(face)) face = face->fNext;
    while (!isInner(face->eu->euMate->f)) face->eu = face->eu->euCW;
    const Vertex* const near = face->eu->euCCW->vu->v;
    const Vertex* const far = face->eu->euMate->euCCW->vu->v;
    const auto areJoined = [&] {
        for (const Face* one = mesh.model->f; one; one = one->fNext)
            for (const EdgeUse* side : {one->eu, one->eu->euCW, one->eu->euCCW})
                if (side->vu->v == near && side->euCW->vu->v == far) return true;
        return false;
    };
    mesh.tri_opt(face, near->x, near->y);
    EXPECT_FALSE(areJoined());
    face->eu->euMate->f->rs *= 2.0;
    mesh.tri_opt(face, near->x, near->y);
    EXPECT_TRUE(areJoined());
    expectDelaunay(mesh, 4);
}

// --- tests on places ---

TEST(TriModel, SidesAreToldWithoutTolerance) {
    triModel mesh;
    EXPECT_EQ(mesh.tri_left(0, 0, 1, 0, 0.5, 1e-300), 1);
    EXPECT_EQ(mesh.tri_left(0, 0, 1, 0, 7, 0), 0);
    EXPECT_EQ(mesh.tri_left(0, 0, 1, 0, 0.5, -1e-300), -1);
    EXPECT_EQ(mesh.tri_left_1(0, 0, 0, 2, -1, 1), 1);
    EXPECT_EQ(mesh.tri_left_1(0, 0, 0, 2, 1, 1), -1);
}

TEST(TriModel, SidesAndCornersOfAFaceBelongToIt) {
    Started mesh;
    Face* face = mesh.model->f; /* corners 0, 2, 1 of the square */
    EXPECT_EQ(mesh.tri_inside(face, 0, 0), 1);
    EXPECT_EQ(mesh.tri_inside(face, half, 7), 1);
    EXPECT_EQ(mesh.tri_inside(face, half, half), 1);
    EXPECT_EQ(mesh.tri_inside(face, 0, 1e-7), 0);
}

TEST(TriModel, ASegmentThatTouchesASideCrossesIt) {
    Started mesh;
    EdgeUse* diagonal = mesh.model->f->eu;
    ASSERT_EQ(diagonal->e->fixed, 0);
    EXPECT_EQ(mesh.tri_sect(diagonal, -5, 5, 5, -5), 1);
    EXPECT_EQ(mesh.tri_sect(diagonal, -5, 5, 0, 0), 1);
    EXPECT_EQ(mesh.tri_sect(diagonal, -5, 5, -1, 5), 0);
    EXPECT_EQ(mesh.tri_sect(diagonal, -5 - half, -half, -half - 5, -half + 20), 0) << "beside the side's end";
}

TEST(TriModel, ASegmentAcrossOrAlongASideCrossesIt) {
    Started mesh;
    EdgeUse* diagonal = mesh.model->f->eu;
    EXPECT_EQ(mesh.tri_sect(diagonal, -5, 0, 1, 0), 1) << "the side's ends lie on either side of the segment";
    EXPECT_EQ(mesh.tri_sect(diagonal, -5, 5, half, half), 1) << "through an end of the side";
    EXPECT_EQ(mesh.tri_sect(diagonal, 0, 0, 0, 5), 1) << "from the side on";
    EXPECT_EQ(mesh.tri_sect(diagonal, 1, 1, 2, 2), 1) << "in the side";
}

TEST(TriModel, ACornerIsKnownByItsExactPlace) {
    Started mesh;
    VertexUse* use = nullptr;
    EXPECT_EQ(mesh.tri_onvertex(-half, std::nextafter(-half, 0.0), mesh.model->f, &use), 0);
    EXPECT_EQ(use, nullptr);
    ASSERT_EQ(mesh.tri_onvertex(-half, -half, mesh.model->f, &use), 1);
    EXPECT_EQ(use->v, mesh.model->CV[0]);
    EXPECT_EQ(use->eu->f, mesh.model->f);
}

TEST(TriModel, ACircleGoesThroughThreePoints) {
    triModel mesh;
    double xc, yc, rs;
    mesh.tri_circ(0, 0, 0, 2, 2, 0, &xc, &yc, &rs);
    EXPECT_EQ(xc, 1.0);
    EXPECT_EQ(yc, 1.0);
    EXPECT_EQ(rs, 2.0);
    mesh.tri_circ(0, 0, 4, 0, 0, 2, &xc, &yc, &rs);
    EXPECT_EQ(xc, 2.0);
    EXPECT_EQ(yc, 1.0);
    EXPECT_EQ(rs, 5.0);
}

TEST(TriModel, PointsOnALineHaveNoCircle) {
    triModel mesh;
    double xc = 7, yc = 8, rs = 9;
    const Printed printed = printedBy([&] { mesh.tri_circ(0, 0, 1.5, 1.5, 1e6, 1e6, &xc, &yc, &rs); });
    EXPECT_EQ(printed.text, "Given points are on straight line(0,0) (1.5,1.5) (1e+06,1e+06)\n");
    EXPECT_EQ(printed.unflushed, 0u);
    EXPECT_EQ(xc, 7.0);
    EXPECT_EQ(yc, 8.0);
    EXPECT_EQ(rs, -1.0);
}

TEST(TriModel, AFacesCircleIsStoredInIt) {
    Started mesh;
    Face* const face = mesh.model->f;
    face->xc = face->yc = face->rs = 7.0;
    mesh.tri_circle(face);
    EXPECT_EQ(face->xc, 0.0);
    EXPECT_EQ(face->yc, 0.0);
    EXPECT_EQ(face->rs, 2.0 * half * half);
}

// --- corners and hull ---

TEST(TriModel, CornersOfTheSquareCarryTheNearestPointsFunction) {
    Started mesh;
    add(mesh, -100, -100, constant(1));
    add(mesh, 100, -100, constant(2));
    add(mesh, 100, 100, constant(3));
    add(mesh, -100, 100, {{0, 1, 2}, {4, 5, 6}});
    valueAt(mesh, 0, 0);
    EXPECT_EQ(get(mesh, -half, -half).ordinates, (std::vector<float>{1}));
    EXPECT_EQ(get(mesh, half, -half).ordinates, (std::vector<float>{2}));
    EXPECT_EQ(get(mesh, half, half).ordinates, (std::vector<float>{3}));
    EXPECT_EQ(get(mesh, -half, half).ordinates, (std::vector<float>{4, 5, 6}));
    expectDelaunay(mesh, 4);
}

/* The four corners' nearest neighbours, the first of the ring where several are as near. */
TEST(TriModel, OfNeighboursAsNearACornerOfTheSquareTakesTheFirstOfItsRing) {
    for (int order = 0; order < 24; ++order) {
        Places points{{0, 100}, {100, 0}, {0, -100}, {-100, 0}};
        for (int i = 0, left = order; i < 4; ++i) {
            std::swap(points[i], points[i + left % (4 - i)]);
            left /= 4 - i;
        }
        Started mesh;
        for (std::size_t i = 0; i < 4; ++i) add(mesh, points[i].first, points[i].second, constant(static_cast<float>(i + 1)));
        float expected[4];
        for (int i = 0; i < 4; ++i) {
            const Vertex* const corner = mesh.model->CV[i];
            std::vector<std::pair<double, float>> candidates;
            const VertexUse* use = corner->vu;
            do {
                const Vertex* const v = use->eu->euCW->vu->v;
                candidates.emplace_back(std::pow(v->x - corner->x, 2) + std::pow(v->y - corner->y, 2), v->va[1]);
                use = use->vuNext;
            } while (use != corner->vu);
            const auto isNearer = [](const auto& a, const auto& b) { return a.first < b.first; };
            const auto nearest = std::min_element(candidates.begin(), candidates.end(), isNearer); /* the first of several */
            expected[i] = nearest->second;
            const auto isAsNear = [&](const auto& candidate) { return candidate.first == nearest->first; };
            ASSERT_EQ(std::count_if(candidates.begin(), candidates.end(), isAsNear), 2);
        }
        EXPECT_EQ(mesh.tri_update(), 1);
        for (int i = 0; i < 4; ++i) EXPECT_EQ(mesh.model->CV[i]->va[1], expected[i]) << "order " << order;
    }
}

TEST(TriModel, TheHullIsTheClockwiseConvexHull) {
    std::mt19937 engine(5);
    std::uniform_real_distribution<double> uniform(0.0, 100.0);
    for (int count : {3, 4, 10, 300}) {
        Started mesh;
        Places points;
        for (int i = 0; i < count; ++i) points.emplace_back(uniform(engine), uniform(engine));
        for (const auto& [x, y] : points) add(mesh, x, y);
        valueAt(mesh, 50, 50);
        std::sort(points.begin(), points.end());
        Places hull; /* monotone chains, upper then lower: clockwise */
        for (const bool isUpper : {true, false}) {
            const std::size_t kept = hull.size();
            for (const auto& p : points) {
                const auto turnsLeft = [&] {
                    const auto &a = hull[hull.size() - 2], &b = hull.back();
                    return (b.first - a.first) * (p.second - a.second) - (b.second - a.second) * (p.first - a.first) >= 0;
                };
                while (hull.size() >= kept + 2 && turnsLeft()) hull.pop_back();
                hull.push_back(p);
            }
            hull.pop_back();
            if (isUpper) std::reverse(points.begin(), points.end());
        }
        ASSERT_EQ(static_cast<std::size_t>(mesh.model->hull.n), hull.size());
        const VertexHull* record = mesh.model->hull.vh;
        const auto start = std::find(hull.begin(), hull.end(), std::pair{record->v->x, record->v->y});
        ASSERT_NE(start, hull.end());
        std::rotate(hull.begin(), start, hull.end());
        for (const auto& [x, y] : hull) {
            EXPECT_EQ(record->v->x, x);
            EXPECT_EQ(record->v->y, y);
            EXPECT_EQ(record->vhNext->vhPrev, record);
            const double dx = record->x - x, dy = record->y - y;
            EXPECT_NEAR(dx * dx + dy * dy, 1.0, 1e-12);
            EXPECT_EQ(mesh.tri_out_hull(record->x, record->y), 1) << "bisectors point outwards";
            EXPECT_EQ(mesh.tri_out_hull(x, y), 0) << "the hull itself is inside";
            record = record->vhNext;
        }
        EXPECT_EQ(record, mesh.model->hull.vh);
    }
}

TEST(TriModel, AHullOfOneOrTwoPointsHasNoInsideAndNoBisectors) {
    Started mesh;
    add(mesh, 10, 20);
    for (int count = 1; count <= 2; ++count) {
        mesh.model->Cupdate = 1;
        EXPECT_EQ(mesh.tri_update_hull(), 1);
        EXPECT_EQ(mesh.model->Cupdate, 0);
        ASSERT_EQ(mesh.model->hull.n, count);
        const VertexHull* const record = mesh.model->hull.vh;
        EXPECT_EQ(record->x, 0.0);
        EXPECT_EQ(record->y, 0.0);
        EXPECT_EQ(count == 1 ? record : record->vhNext, record->vhPrev);
        EXPECT_EQ(mesh.tri_out_hull(10, 20), 1) << "even the point itself";
        add(mesh, 30, 20);
    }
    mesh.triClear();
    EXPECT_EQ(mesh.tri_out_hull(10, 20), 1);
    EXPECT_EQ(mesh.tri_update(), 0);
    EXPECT_EQ(mesh.tri_update_hull(), 0);
}

TEST(TriModel, BisectorsPointOutOfAClockwiseHull) {
    triModel mesh;
    double x, y;
    mesh.tri_bisector(0, 0, 0, 1, 1, 1, &x, &y);
    EXPECT_NEAR(x, -std::sqrt(0.5), 1e-15);
    EXPECT_NEAR(y, 1 + std::sqrt(0.5), 1e-15);
    mesh.tri_bisector(1, 0, 0, 0, 0, 1, &x, &y); /* directions pi and pi / 2 */
    EXPECT_NEAR(x, -std::sqrt(0.5), 1e-15);
    EXPECT_NEAR(y, -std::sqrt(0.5), 1e-15);
    mesh.tri_bisector(0, -1, -1, 0, 0, 1, &x, &y); /* directions 3/4 pi and 1/4 pi */
    EXPECT_NEAR(x, -2.0, 1e-15);
    EXPECT_NEAR(y, 0.0, 1e-15);
    mesh.tri_bisector(1, 0, 0, -1, -1, 0, &x, &y); /* directions -3/4 pi and 3/4 pi: across the half turn */
    EXPECT_NEAR(x, 0.0, 1e-15);
    EXPECT_NEAR(y, -2.0, 1e-15);
    mesh.tri_bisector(2, 2, 2, 2, 2, 2, &x, &y);
    EXPECT_NEAR(y, 3.0, 1e-15);
}

TEST(TriModel, BisectorsTurnByTheMeanDirection) {
    triModel mesh;
    double x, y;
    mesh.tri_bisector(1, 0, 0, 1, -1, 0, &x, &y); /* directions 3/4 pi and -3/4 pi: across the half turn, the other way */
    EXPECT_NEAR(x, 0.0, 1e-15);
    EXPECT_NEAR(y, 0.0, 1e-15);
    mesh.tri_bisector(0, 0, 1, 0, 0, 0, &x, &y); /* directions 0 and pi: not more than half a turn */
    EXPECT_NEAR(x, 0.0, 1e-15);
    EXPECT_NEAR(y, 0.0, 1e-15);
}

// --- extrapolation ---

bool isLeft(const Vertex* from, const Vertex* to, double x, double y) {
    return (to->x - from->x) * (y - from->y) > (x - from->x) * (to->y - from->y);
}

double plainDistance(double x1, double y1, double x2, double y2) {
    return std::sqrt((x1 - x2) * (x1 - x2) + (y1 - y2) * (y1 - y2));
}

/* Of constant functions, outside a hull of three points or more. */
float plainExtrapolation(const Hull& hull, double x, double y) {
    std::vector<const VertexHull*> ring{hull.vh};
    while (ring.back()->vhNext != hull.vh) ring.push_back(ring.back()->vhNext);
    const VertexHull* nearest = nullptr;
    const auto squared = [&](const VertexHull* r) { return (x - r->v->x) * (x - r->v->x) + (y - r->v->y) * (y - r->v->y); };
    for (const VertexHull* r : ring)
        if (isLeft(r->v, r->vhNext->v, x, y) || isLeft(r->vhPrev->v, r->v, x, y))
            if (!nearest || squared(r) < squared(nearest)) nearest = r;
    Vertex bisector = {};
    bisector.x = nearest->x;
    bisector.y = nearest->y;
    const VertexHull* other = isLeft(nearest->v, &bisector, x, y) ? nearest->vhPrev : nearest->vhNext;
    const Vertex *b = nearest->v, *n = other->v;
    const auto isDegenerate = [](const VertexHull* r) {
        const double product = (r->v->y - r->vhPrev->y) * (r->v->x - r->vhNext->x);
        return (r->v->x - r->vhPrev->x) * (r->v->y - r->vhNext->y) == -product;
    };
    if (isDegenerate(other) || isDegenerate(nearest)) {
        const auto foot = [](double x1, double y1, double x2, double y2, double x3, double y3) {
            const double dx = x2 - x1, dy = y2 - y1;
            return ((y3 - y1) * dy * dx + x1 * (dy * dy) + (dx * dx) * x3) / (dy * dy + dx * dx);
        };
        const double fx = foot(n->x, n->y, b->x, b->y, x, y), fy = foot(n->y, n->x, b->y, b->x, y, x);
        const bool isUpright = n->x == b->x, isHigh = isUpright ? n->y >= b->y : n->x >= b->x;
        const Vertex *high = isHigh ? n : b, *low = isHigh ? b : n;
        const double c = isUpright ? fy : fx;
        if (c >= (isUpright ? high->y : high->x)) return high->va[1];
        if (c < (isUpright ? low->y : low->x)) return low->va[1];
        const double w = plainDistance(fx, fy, low->x, low->y) / plainDistance(high->x, high->y, low->x, low->y);
        return static_cast<float>(high->va[1] * w + low->va[1] * (1 - w));
    }
    const auto meeting = [](double x1, double y1, double x2, double y2, double x3, double y3, double x4, double y4) {
        const double above = (y2 - y4) * (x3 - x1) * (x2 - x1) + (x2 - x1) * x4 * (y3 - y1) - (y2 - y1) * x2 * (x3 - x1);
        return above / ((x2 - x1) * y3 + (x3 - x2) * y1 + (x1 - x3) * y2);
    };
    const double ax = meeting(b->x, b->y, nearest->x, nearest->y, n->x, n->y, x, y);
    const double ay = meeting(b->y, b->x, nearest->y, nearest->x, n->y, n->x, y, x);
    const double cx = meeting(n->x, n->y, other->x, other->y, b->x, b->y, x, y);
    const double cy = meeting(n->y, n->x, other->y, other->x, b->y, b->x, y, x);
    const double w = plainDistance(x, y, ax, ay) / plainDistance(ax, ay, cx, cy);
    return static_cast<float>(n->va[1] * w + b->va[1] * (1 - w));
}

TEST(TriModel, ExtrapolatesToTheBitsOfThePlainSteps) {
    std::mt19937 engine(11);
    std::uniform_real_distribution<double> uniform(-1000.0, 1000.0);
    int outside = 0;
    for (int round = 0; round < 400; ++round) {
        Started mesh;
        testing::internal::CaptureStdout();
        const auto coordinate = [&] { return round % 2 ? uniform(engine) : static_cast<double>(engine() % 5); };
        const int count = 3 + static_cast<int>(engine() % 12);
        for (int i = 0; i < count; ++i) {
            const double x = coordinate(), y = coordinate();
            add(mesh, x, y, constant(static_cast<float>(1500.0 + 2.0 * uniform(engine))));
        }
        for (int i = 0; i < 40; ++i) {
            const double x = 2.0 * coordinate() - 2.0, y = i % 3 ? 2.0 * coordinate() - 2.0 : x;
            const float value = valueAt(mesh, x, y);
            if (mesh.model->hull.n < 3 || !mesh.tri_out_hull(x, y)) continue;
            ++outside;
            const float expected = plainExtrapolation(mesh.model->hull, x, y);
            EXPECT_TRUE(value == expected || (std::isnan(value) && std::isnan(expected)));
        }
        testing::internal::GetCapturedStdout();
        ASSERT_FALSE(HasFailure()) << "round " << round;
    }
    EXPECT_GT(outside, 5000);
}

TEST(TriModel, OutsideTheHullThereIsOnlyExtrapolation) {
    const auto extrapolated = [](triModel& mesh, double x, double y) {
        float from = 0.0f, step = 1.0f, scratch[2], value = -1.0f;
        int one = 1;
        mesh.tri_extrap(&x, &y, &from, &step, scratch, &value, &one);
        return value;
    };
    triModel unstarted;
    EXPECT_EQ(extrapolated(unstarted, 1, 1), 0.0f);
    Started mesh;
    EXPECT_EQ(extrapolated(mesh, 1, 1), 0.0f) << "no points";
    const auto addPoint = [&](double x, double y, float value) {
        add(mesh, x, y, {{0.0f}, {value}});
        EXPECT_EQ(mesh.tri_update(), 1);
        EXPECT_EQ(mesh.tri_update_hull(), 1);
    };
    addPoint(0, 0, 10.0f);
    EXPECT_EQ(extrapolated(mesh, -7, 3), 10.0f);
    addPoint(8, 0, 50.0f);
    EXPECT_EQ(extrapolated(mesh, 2, 3), 20.0f) << "by the foot of the perpendicular";
    addPoint(4, 4, 90.0f);
    for (const auto& [x, y] : {std::pair{4.0, -1.0}, {4.0, -300.0}}) {
        EXPECT_NEAR(extrapolated(mesh, x, y), 30.0f, 30.0f * FLT_EPSILON)
            << "the roots and quotients of its weight are rounded";
        EXPECT_EQ(extrapolated(mesh, x, y), interpolated(mesh, x, y, 1)[0]);
    }
}

TEST(TriModel, BetweenTwoPointsTheEndsCountAsTheirs) {
    triModel mesh;
    Vertex low = {nullptr, 0, 0, 1, {0.0f, 10.0f}}, high = {nullptr, 8, 8, 1, {0.0f, 50.0f}};
    VertexHull p = {}, q = {};
    const auto at = [&](double x, double y) {
        float a0 = 0.0f, ainc = 1.0f, scratch[2], value = -1.0f;
        int one = 1;
        mesh.tri_degenr(&p, &q, &x, &y, &a0, &ainc, scratch, &value, &one);
        return value;
    };
    for (const bool isTurned : {false, true}) {
        p.v = isTurned ? &high : &low;
        q.v = isTurned ? &low : &high;
        EXPECT_EQ(at(0, 0), 10.0f) << "the foot at the lower end: weight 0";
        EXPECT_EQ(at(8, 8), 50.0f);
        EXPECT_EQ(at(2, 2), 20.0f);
        EXPECT_EQ(at(-1, 0), 10.0f);
        EXPECT_EQ(at(9, 8), 50.0f);
    }
    high.x = 0; /* upright: by y */
    EXPECT_EQ(at(5, 2), 20.0f);
    EXPECT_EQ(at(5, 8), 50.0f);
    EXPECT_EQ(at(5, 0), 10.0f);
    EXPECT_EQ(at(5, -1), 10.0f);
    high.x = -8; /* by x, which is lower now */
    high.y = 0;
    EXPECT_EQ(at(-2, 7), 20.0f);
    EXPECT_EQ(at(-8, 7), 50.0f);
    EXPECT_EQ(at(0, 7), 10.0f);
    high.x = low.x;
    high.y = low.y;
    EXPECT_EQ(at(3, 4), 30.0f) << "at one place: half of each";
}

TEST(TriModel, ExtrapolationTakesTheTwoPointRuleWhereBisectorPointsLieOnALine) {
    triModel mesh;
    Vertex vertex = {};
    VertexHull before = {}, record = {}, after = {};
    record.vhPrev = &before;
    record.vhNext = &after;
    record.v = &vertex;
    before.vhPrev = before.vhNext = after.vhPrev = after.vhNext = &record;
    before.v = after.v = &vertex;
    const auto isDegenerate = [&](double px, double py, double nx, double ny) {
        before.x = px, before.y = py, after.x = nx, after.y = ny;
        record.x = 1, record.y = 2;
        return mesh.tri_deg(&record, &record);
    };
    EXPECT_EQ(isDegenerate(1, 2, 3, 4), 0);
    EXPECT_EQ(isDegenerate(1, 2, 1, -2), 1) << "mirrored about an axis through the vertex";
    EXPECT_EQ(isDegenerate(1, 2, 2, 4), 0) << "kept on purpose: the sign of the second product";
}

TEST(TriModel, FeetAndCrossingsOfLines) {
    triModel mesh;
    EXPECT_EQ(mesh.tri_proj(0, 0, 4, 4, 4, 0), 2.0);
    EXPECT_EQ(mesh.tri_proj(0, 0, 4, 4, 0, 4), 2.0) << "y, with the coordinates exchanged";
    EXPECT_EQ(mesh.tri_proj(3, 0, 3, 9, 7, 2), 3.0) << "an upright line";
    EXPECT_EQ(mesh.tri_proj(0, 3, 9, 3, 2, 7), 2.0);
    /* Through (5, 2) parallel to the side from (0, 0) to (1, 0), up to the line from (0, 0) to (1, 1). */
    EXPECT_EQ(mesh.tri_x_y(0, 0, 1, 1, 1, 0, 5, 2), 2.0);
    EXPECT_EQ(mesh.tri_x_y(0, 0, 1, 1, 0, 1, 2, 5), 2.0) << "y, with the coordinates exchanged";
}

// --- functions on a grid ---

/* The published steps, slot by slot. */
std::vector<float> plainResample(const std::vector<float>& xin, const std::vector<float>& yin, float xs, float xi, int ny) {
    std::vector<float> y(static_cast<std::size_t>(ny));
    const std::size_t n = xin.size();
    float x = xs;
    if (xin[0] >= xs) {
        const int k = static_cast<int>((xin[0] - xs) / xi + 1.0f);
        for (int m = 1; m <= k; ++m) {
            y[m - 1] = yin[0];
            if (m >= ny) return y;
            x += xi;
        }
    }
    int j = 1;
    for (std::size_t i = 1; i < n; ++i) {
        if (!(xin[i] >= x)) continue;
        const float slope = (yin[i] - yin[i - 1]) / (xin[i] - xin[i - 1]);
        const int last = static_cast<int>((xin[i] - x) / xi + static_cast<float>(j));
        for (; j <= last; ++j) {
            y[j - 1] = (x - xin[i - 1]) * slope + yin[i - 1];
            if (j >= ny) return y;
            x += xi;
        }
    }
    for (; j <= ny; ++j) y[j - 1] = yin[n - 1];
    return y;
}

std::vector<float> resampled(triModel& mesh, std::vector<float> xin, std::vector<float> yin, float xs, float xi, int ny) {
    std::vector<float> y(static_cast<std::size_t>(ny) + 1, 99.0f);
    mesh.tri_interpolate(xin.data(), yin.data(), static_cast<int>(xin.size()), xs, xi, ny, y.data());
    EXPECT_EQ(y.back(), 99.0f);
    y.pop_back();
    return y;
}

TEST(TriModel, AFunctionThatStartsWithTheGridComesOutOneSampleEarly) {
    triModel mesh;
    EXPECT_EQ(resampled(mesh, {0, 4}, {0, 40}, 0, 1, 6), (std::vector<float>{10, 20, 30, 40, 40, 40}));
    EXPECT_EQ(resampled(mesh, {2, 4}, {20, 40}, 0, 1, 6), (std::vector<float>{30, 40, 40, 40, 40, 40}));
    EXPECT_EQ(resampled(mesh, {-1, 4}, {-10, 40}, 0, 1, 6), (std::vector<float>{0, 10, 20, 30, 40, 40}))
        << "one before it, in place";
    EXPECT_EQ(resampled(mesh, {9, 10}, {7, 8}, 0, 1, 6), (std::vector<float>(6, 7.0f)));
    EXPECT_EQ(resampled(mesh, {2}, {5}, 0, 1, 3), (std::vector<float>(3, 5.0f)));
    EXPECT_EQ(resampled(mesh, {-9, -8}, {7, 8}, 0, 1, 3), (std::vector<float>(3, 8.0f)));
}

TEST(TriModel, ResamplesToTheBitsOfThePlainSteps) {
    std::mt19937 engine(6);
    std::uniform_real_distribution<float> uniform(0.0f, 1.0f);
    Started started;
    triModel unset;
    for (int i = 0; i < 5000; ++i) {
        const int knots = 1 + static_cast<int>(engine() % 20), ny = 1 + static_cast<int>(engine() % 200);
        std::vector<float> xin, yin;
        float at = 100.0f * uniform(engine) - 50.0f;
        for (int k = 0; k < knots; ++k, at += i % 3 ? 20.0f * uniform(engine) : 4.0f * static_cast<float>(engine() % 4)) {
            xin.push_back(i % 3 ? at : std::round(at));
            yin.push_back(1500.0f + 3000.0f * uniform(engine));
        }
        const float xs = i % 3 ? 10.0f * uniform(engine) : 0.0f, xi = i % 2 ? 2.0f : 0.1f + uniform(engine);
        const std::vector<float> expected = plainResample(xin, yin, xs, xi, ny);
        const auto isSame = [&](const std::vector<float>& y) {
            return std::equal(y.begin(), y.end(), expected.begin(),
                              [](float a, float b) { return a == b || (std::isnan(a) && std::isnan(b)); });
        };
        ASSERT_TRUE(isSame(resampled(started, xin, yin, xs, xi, ny))) << i;
        ASSERT_TRUE(isSame(resampled(unset, xin, yin, xs, xi, ny))) << i << ", without memory for the abscissae";
    }
}

TEST(TriModel, ResamplingStaysInItsArraysWhateverItIsGiven) {
    Started mesh;
    const float nan = std::nanf(""), inf = std::numeric_limits<float>::infinity();
    for (float xi : {0.0f, -1.0f, nan, inf, 1e-30f})
        for (float xs : {0.0f, nan, -inf, inf, 1e30f})
            for (float knot : {0.0f, nan, inf, -inf}) {
                resampled(mesh, {knot, 1.0f, 5.0f, 3.0f}, {1, 2, 3, 4}, xs, xi, 17);
                triModel unset;
                resampled(unset, {knot, 1.0f, 5.0f, 3.0f}, {1, 2, 3, 4}, xs, xi, 17);
            }
    EXPECT_EQ(resampled(mesh, {}, {}, 0, 1, 3), (std::vector<float>(3, 0.0f)));
}

/* The three functions resampled by a model of their own, which keeps nothing. */
std::vector<float> interpolatedAfresh(const Face* face, double x, double y, int count, float from, float step) {
    std::vector<float> z[3];
    const Vertex* const corners[3] = {face->eu->vu->v, face->eu->euCW->vu->v, face->eu->euCCW->vu->v};
    triModel unset;
    for (std::size_t i = 0; i < 3; ++i) {
        const float* const pairs = corners[i]->va;
        const int n = corners[i]->nabs;
        z[i] = resampled(unset, {pairs, pairs + n}, {pairs + n, pairs + 2 * n}, from, step, count);
    }
    unset.tri_initialize(x, y, z[0].data(), count, corners[0]->x, corners[0]->y, z[0].data(), corners[1]->x, corners[1]->y,
                         z[1].data(), corners[2]->x, corners[2]->y, z[2].data());
    return z[0];
}

TEST(TriModel, FunctionsOfFacesThatRepeatAreThoseOfTheVerticesAsTheyAre) {
    std::mt19937 engine(16);
    std::uniform_real_distribution<float> uniform(0.0f, 1.0f);
    const auto randomFunction = [&] {
        Function function;
        for (std::size_t k = 0, pairs = 1 + engine() % 40; k < pairs; ++k) {
            function.abscissae.push_back(static_cast<float>(k) + uniform(engine));
            function.ordinates.push_back(uniform(engine));
        }
        return function;
    };
    Started mesh;
    Places places = {{0, 0}, {100, 0}, {100, 100}, {0, 100}};
    for (int i = 0; i < 20; ++i) places.emplace_back(100 * uniform(engine), 100 * uniform(engine));
    for (const auto& [x, y] : places) add(mesh, x, y, randomFunction());
    double x = 50, y = 50;
    float from = 0.0f, step = 0.1f;
    int count = 100;
    for (int i = 0; i < 5000; ++i) {
        x = std::clamp(x + 4.0 * uniform(engine) - 2.0, 1.0, 99.0);
        y = std::clamp(y + 4.0 * uniform(engine) - 2.0, 1.0, 99.0);
        const std::vector<float> result = interpolated(mesh, x, y, count, from, step);
        ASSERT_EQ(result, interpolatedAfresh(mesh.model->Fcur, x, y, count, from, step)) << i;
        const auto [placeX, placeY] = places[engine() % places.size()];
        if (i % 50 == 10) add(mesh, placeX, placeY, randomFunction());
        if (i % 50 == 20) mesh.model->Fcur->eu->vu->v->va[0] -= 0.1f;
        if (i % 50 == 30) step = 0.1f + 0.01f * uniform(engine);
        if (i % 50 == 40) count = 1 + static_cast<int>(engine() % 5000);
        if (i % 500 == 45) add(mesh, x, y, randomFunction());
    }
}

TEST(TriModel, PlanesAreInterpolatedInDoublePrecision) {
    triModel mesh;
    std::mt19937 engine(7);
    std::uniform_real_distribution<double> uniform(-100.0, 100.0);
    for (int i = 0; i < 2000; ++i) {
        double p[8];
        for (double& value : p) value = uniform(engine);
        std::vector<float> z1(9), z2(9), z3(9), expected(9);
        for (int k = 0; k < 9; ++k) {
            z1[k] = static_cast<float>(uniform(engine));
            z2[k] = static_cast<float>(uniform(engine));
            z3[k] = static_cast<float>(uniform(engine));
        }
        const double dx = p[0] - p[2], dy = p[1] - p[3], det = (p[7] - p[3]) * (p[4] - p[2]) - (p[6] - p[2]) * (p[5] - p[3]);
        const double f1 = (dy * (p[4] - p[2]) - (p[5] - p[3]) * dx) / det, f2 = (dx * (p[7] - p[3]) - (p[6] - p[2]) * dy) / det;
        for (int k = 0; k < 9; ++k) {
            const double a = z1[k], b = z2[k], c = z3[k];
            expected[k] = static_cast<float>(a + (c - a) * f1 + (b - a) * f2);
        }
        std::vector<float> apart(9);
        mesh.tri_initialize(p[0], p[1], apart.data(), 9, p[2], p[3], z1.data(), p[4], p[5], z2.data(), p[6], p[7], z3.data());
        EXPECT_EQ(apart, expected);
        mesh.tri_initialize(p[0], p[1], z1.data(), 9, p[2], p[3], z1.data(), p[4], p[5], z2.data(), p[6], p[7], z3.data());
        ASSERT_EQ(z1, expected);
    }
}

TEST(TriModel, OfThreePlacesOnALineTheFarthestIsDropped) {
    triModel mesh;
    const auto at = [&](double x) {
        float z1 = 10, z2 = 20, z3 = 40, value;
        mesh.tri_initialize(x, 0, &value, 1, 0, 0, &z1, 1, 0, &z2, 3, 0, &z3);
        return value;
    };
    EXPECT_EQ(at(0.25), 12.5f);  // third dropped
    EXPECT_EQ(at(2.0), 30.0f);   // first dropped: both others 1 away
    EXPECT_EQ(at(1.5), 20.0f * 1.5f / 2.0f + 40.0f * 0.5f / 2.0f) << "first and third are as far: the first is dropped";
}

TEST(TriModel, OfPlacesAsFarTheLowerIsDropped) {
    triModel mesh;
    const auto at = [&](double x, double x1, double x2, double x3) {
        float z1 = 10, z2 = 20, z3 = 40, value;
        mesh.tri_initialize(x, 0, &value, 1, x1, 0, &z1, x2, 0, &z2, x3, 0, &z3);
        return value;
    };
    EXPECT_EQ(at(2, 0, 4, 3), 20.0f / 3 + 40.0f * 2 / 3) << "first and second";
    EXPECT_EQ(at(2, 3, 0, 4), 10.0f * 2 / 3 + 40.0f / 3) << "second and third";
}

}
