#include "velocity/cutpicture.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/pixels.h"

namespace pelta::velocity {
namespace {

using pictures::Canvas;

struct Rgb {
    int red, green, blue;
    /* How far from white. */
    int depth() const { return 765 - red - green - blue; }
};

Rgb colorAt(Canvas& canvas, int x, int y) {
    const std::uint32_t value = pixel(canvas, x, y);
    return {static_cast<int>(value >> 16 & 255), static_cast<int>(value >> 8 & 255), static_cast<int>(value & 255)};
}

ControlPoint pointAt(double x, double y, double velocity) { return {{x, y}, {{0, velocity}, {1000, 2 * velocity}}}; }

/* The box of a picture of 600 x 420 begins at (90, 64) and is 400 x 300: here a metre is two of its points. */
class CutPictureOfASquare : public testing::Test {
  protected:
    Canvas canvas{"cut.png", 600, 420};
    Field field{{pointAt(50, 25, 2000), pointAt(150, 25, 2000), pointAt(150, 125, 2000), pointAt(50, 125, 2000)}};
};

TEST_F(CutPictureOfASquare, IsPaleOutsideTheHullOfASlice) {
    TimeSlice slice = cutTimeSlice(field, 0, {{0, 200}, {0, 150}}, 5, false);
    slice.grid.values.back() = 4000; /* all others are at the dark end of the scale */
    drawCut(canvas, slice, field, "a square");
    const auto atPlace = [&](double x, double y) {
        return colorAt(canvas, 90 + static_cast<int>(2 * x), 64 + static_cast<int>(300 - 2 * y));
    };
    const Rgb inside = atPlace(83, 102), outside = atPlace(13, 102);
    EXPECT_GT(inside.depth(), 400);
    EXPECT_LT(outside.depth(), inside.depth() / 2 + 40);
    EXPECT_GT(outside.depth(), 50);
    const Rgb hull = atPlace(50, 92);
    EXPECT_TRUE(hull.red > hull.blue + 60) << "orange: " << hull.red << " " << hull.green << " " << hull.blue;
    /* One of the diagonals is a side of two triangles. */
    const auto isLight = [&](double x, double y) {
        int least = 765;
        for (double off : {-1.0, -0.5, 0.0, 0.5, 1.0}) least = std::min(least, atPlace(x, y + off).depth());
        return least < 300;
    };
    EXPECT_NE(isLight(70, 45), isLight(70, 105));
}

TEST_F(CutPictureOfASquare, IsPaleOutsideTheHullOfASection) {
    Section section = cutSection(field, straightPath({0, 80}, {200, 80}, 1), {0, 300}, 10, false);
    drawCut(canvas, section, "a section");
    const auto at = [&](double distance, double timeMs) {
        return colorAt(canvas, 90 + static_cast<int>(2 * distance), 64 + static_cast<int>(timeMs));
    };
    EXPECT_GT(at(70, 13).depth(), 400);
    EXPECT_LT(at(20, 13).depth(), at(70, 13).depth() / 2 + 40);
    const Rgb hull = at(49.5, 113);
    EXPECT_TRUE(hull.red > hull.blue + 60) << "orange: " << hull.red << " " << hull.green << " " << hull.blue;
}

/* Edges of the nodes' parts of it fall on, before and behind the middles of the picture's points. */
TEST_F(CutPictureOfASquare, HasAVeilWithoutGaps) {
    Field one({pointAt(0, 0, 2000)});
    for (int nodes = 340; nodes < 420; nodes += 5) {
        TimeSlice slice = cutTimeSlice(one, 0, {{-1, 199}, {-1, 149}}, 150.0 / (nodes - 1), false);
        slice.isInside.assign(slice.isInside.size(), false);
        Canvas veiled("cut.png", 600, 420);
        drawCut(veiled, slice, one, "all outside");
        const auto isPale = [&](int x, int y) { return colorAt(veiled, x, y).depth() < 400; };
        for (int y = 66; y < 350; ++y) ASSERT_TRUE(isPale(485, y)) << nodes << " rows, " << y;
        for (int x = 96; x < 488; ++x) ASSERT_TRUE(isPale(x, 67)) << nodes << " rows, " << x;
    }
}

}
}
