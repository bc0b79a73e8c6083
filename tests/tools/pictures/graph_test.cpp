#include "pictures/graph.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "pictures/canvas.h"
#include "support/pixels.h"

namespace pelta::pictures {
namespace {

constexpr double none = std::numeric_limits<double>::quiet_NaN();
constexpr Box box = {0, 0, 400, 300};
/* Where the axes of a graph without title and legend stand in that box. */
constexpr int left = 68, right = 384, top = 8, bottom = 254;
constexpr std::uint32_t blueInk = 0x0073B3, vermilionInk = 0xD65E00;

bool isNear(std::uint32_t color, std::uint32_t ink) {
    for (int shift : {0, 8, 16})
        if (std::abs(static_cast<int>(color >> shift & 0xFF) - static_cast<int>(ink >> shift & 0xFF)) > 2) return false;
    return true;
}

/* How many points of a part of the picture have a colour. */
int countInk(Canvas& canvas, std::uint32_t ink, int fromX, int toX, int fromY, int toY) {
    int count = 0;
    for (int y = fromY; y < toY; ++y)
        for (int x = fromX; x < toX; ++x) count += isNear(pixel(canvas, x, y), ink);
    return count;
}

/* Both axes from 0 to 10. */
Graph graphOf(const Series& series) {
    Graph graph;
    graph.series = {series};
    graph.xRange = graph.yRange = Range{0.0, 10.0};
    return graph;
}

int placeOfX(double value) { return static_cast<int>(left + value / 10.0 * (right - left)); }
int placeOfY(double value) { return static_cast<int>(bottom - value / 10.0 * (bottom - top)); }

TEST(Graph, PutsMarksWhereTheirValuesAre) {
    Canvas canvas("picture.png", 400, 300);
    drawGraph(canvas, box, graphOf({.x = {3.0, 7.0}, .y = {4.0, none}, .color = blue, .mark = Mark::dot}));
    EXPECT_TRUE(isNear(pixel(canvas, placeOfX(3.0), placeOfY(4.0)), blueInk));
    const int inDot = countInk(canvas, blueInk, placeOfX(3.0) - 4, placeOfX(3.0) + 5, placeOfY(4.0) - 4, placeOfY(4.0) + 5);
    EXPECT_EQ(countInk(canvas, blueInk, 0, 400, 0, 300), inDot) << "and nowhere else";
}

TEST(Graph, LetsTimesGrowDownwards) {
    Canvas canvas("picture.png", 400, 300);
    Graph graph = graphOf({.x = {3.0}, .y = {2.0}, .color = blue, .mark = Mark::dot});
    graph.growsDown = true;
    drawGraph(canvas, box, graph);
    EXPECT_TRUE(isNear(pixel(canvas, placeOfX(3.0), placeOfY(8.0)), blueInk));
}

TEST(Graph, InterruptsACurveWhereAValueIsMissing) {
    Canvas canvas("picture.png", 400, 300);
    drawGraph(canvas, box,
              graphOf({.x = {0, 4, 5, 6, 10}, .y = {5.5, 5.5, none, 5.5, 5.5}, .color = blue, .stroke = Stroke::solid}));
    const auto isDrawnAt = [&](double x) {
        return countInk(canvas, 0xFFFFFF, placeOfX(x), placeOfX(x) + 1, placeOfY(5.5) - 1, placeOfY(5.5) + 2) < 3;
    };
    EXPECT_TRUE(isDrawnAt(2.1));
    EXPECT_FALSE(isDrawnAt(5.1));
    EXPECT_TRUE(isDrawnAt(7.1));
}

TEST(Graph, StandsBarsOnZero) {
    Canvas canvas("picture.png", 400, 300);
    Graph graph = graphOf({.x = {2, 4, 6}, .y = {5, -5, 0}, .color = blue, .mark = Mark::bar});
    graph.yRange = Range{-10.0, 10.0};
    drawGraph(canvas, box, graph);
    const auto place = [](double y) { return placeOfY(5.0 + y / 2.0); };
    EXPECT_TRUE(isNear(pixel(canvas, placeOfX(2), place(2.2)), blueInk));
    EXPECT_FALSE(isNear(pixel(canvas, placeOfX(2), place(-2.2)), blueInk));
    EXPECT_TRUE(isNear(pixel(canvas, placeOfX(4), place(-2.2)), blueInk));
    EXPECT_FALSE(isNear(pixel(canvas, placeOfX(4), place(2.2)), blueInk));
}

TEST(Graph, DrawsErrorsAboveAndBelow) {
    Canvas canvas("picture.png", 400, 300);
    drawGraph(canvas, box, graphOf({.x = {3.1}, .y = {5}, .errors = {2}, .color = blue}));
    const auto inkAt = [&](double y) {
        return 3 - countInk(canvas, 0xFFFFFF, placeOfX(3.1) - 1, placeOfX(3.1) + 2, placeOfY(y), placeOfY(y) + 1);
    };
    EXPECT_GT(inkAt(6.3), 0);
    EXPECT_GT(inkAt(3.7), 0);
    EXPECT_EQ(inkAt(7.7), 0);
    EXPECT_EQ(inkAt(2.7), 0);
}

TEST(Graph, DrawsNothingOutsideItsAxes) {
    Canvas canvas("picture.png", 400, 300);
    drawGraph(canvas, box, graphOf({.x = {-9, 19}, .y = {-50, 60}, .color = blue, .stroke = Stroke::solid, .mark = Mark::bar}));
    const int everywhere = countInk(canvas, blueInk, 0, 400, 0, 300);
    EXPECT_GT(everywhere, 0);
    EXPECT_EQ(everywhere, countInk(canvas, blueInk, left, right, top, bottom));
}

TEST(Graph, StandsTheLegendAboveTheAxesInAsManyRowsAsItTakes) {
    Canvas canvas("picture.png", 400, 300);
    Graph graph;
    graph.title = "title";
    for (const char* name : {"a name that takes much of the width", "another that takes much of it", "and a third long name"})
        graph.series.push_back({.name = name, .x = {0, 1}, .y = {0, 1}, .color = vermilion, .mark = Mark::bar});
    drawGraph(canvas, box, graph);
    constexpr int titleHeight = 18, rowHeight = 16;
    for (int row = 0; row < 3; ++row) {
        const int rowTop = top + titleHeight - 2 + row * rowHeight;
        EXPECT_GT(countInk(canvas, vermilionInk, left, left + 22, rowTop, rowTop + rowHeight), 30) << "row " << row;
    }
    EXPECT_EQ(countInk(canvas, 0xFFFFFF, right + 2, 400, 0, 200), (400 - right - 2) * 200) << "nothing runs out of the box";
}

TEST(Graph, NamesSeriesOfOneNameOnce) {
    Canvas once("picture.png", 400, 300), twice("picture.png", 400, 300);
    const Series series = {.name = "picks", .x = {0, 1}, .y = {0, 1}, .color = blue, .mark = Mark::dot};
    Graph graph;
    graph.series = {series};
    drawGraph(once, box, graph);
    graph.series = {series, series};
    drawGraph(twice, box, graph);
    constexpr int belowLegend = 26;
    for (int y = 0; y < belowLegend; ++y)
        for (int x = 0; x < 400; ++x) ASSERT_EQ(pixel(once, x, y), pixel(twice, x, y)) << x << ", " << y;
}

TEST(Graph, IsDrawnForNoValuesOneValueAndExtremeOnes) {
    const double infinity = std::numeric_limits<double>::infinity();
    for (const std::vector<double>& values :
         std::vector<std::vector<double>>{{}, {0}, {-7}, {3, 3, 3}, {none}, {infinity, 1}, {1e300, -1e300}, {1e-300, 2e-300}}) {
        Graph graph;
        for (Mark mark : {Mark::dot, Mark::ring, Mark::cross, Mark::bar, Mark::none})
            graph.series.push_back(
                {.name = "n", .x = values, .y = values, .errors = values, .stroke = Stroke::dashed, .mark = mark});
        Canvas canvas("picture.png", 400, 300);
        drawGraph(canvas, box, graph);
        drawGraph(canvas, {0, 0, 20, 10}, graph);
    }
}

TEST(Graph, DoesNotSpreadWhatItsNumbersCannotTellApart) {
    Canvas canvas("picture.png", 400, 300);
    Graph graph = graphOf({.x = {3.0, 7.0}, .y = {2200.0, 2200.0001}, .color = blue, .mark = Mark::dot});
    graph.yRange.reset();
    drawGraph(canvas, box, graph);
    const int middle = (top + bottom) / 2;
    EXPECT_GT(countInk(canvas, blueInk, left, right, middle - 6, middle + 7), 0);
    EXPECT_EQ(countInk(canvas, blueInk, left, right, top, middle - 6), 0);
    EXPECT_EQ(countInk(canvas, blueInk, left, right, middle + 7, bottom), 0);
}

TEST(PictureOfGraphs, HasItsHeadingAboveTheirRoom) {
    Canvas canvas("picture.png", 400, 300);
    drawHeading(canvas, "a title", {{.name = "picks", .color = blue, .mark = Mark::dot}});
    const int roomTop = static_cast<int>(roomForGraphs(canvas).top);
    EXPECT_GT(countInk(canvas, blueInk, 0, 400, 0, roomTop), 0);
    EXPECT_EQ(countInk(canvas, 0xFFFFFF, 0, 400, roomTop, 300), 400 * (300 - roomTop));
}

TEST(BoxOfShape, IsTheLargestInTheUpperLeftOfItsRoom) {
    const Box room = {10, 20, 300, 200}, wide = boxOfShape(room, 3.0), high = boxOfShape(room, 0.5);
    EXPECT_EQ(wide.left, 10);
    EXPECT_EQ(wide.top, 20);
    EXPECT_EQ(wide.width, 300);
    EXPECT_EQ(wide.height, 100);
    EXPECT_EQ(high.width, 100);
    EXPECT_EQ(high.height, 200);
}

TEST(Tile, DividesABoxEvenly) {
    const Box second = tile({10, 20, 300, 200}, 3, 2, 1, 1);
    EXPECT_EQ(second.left, 110);
    EXPECT_EQ(second.top, 120);
    EXPECT_EQ(second.right(), 210);
    EXPECT_EQ(second.bottom(), 220);
}

}
}
