#include "gridding/fit.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace pelta::gridding {
namespace {

/* The lower of two neighbouring nodes and the weight of the upper. */
struct Between {
    std::size_t first;
    double weight;
};

Between between(double position, std::int64_t count) {
    const double inside = std::clamp(position, 0.0, static_cast<double>(count - 1));
    const std::int64_t first = std::min(static_cast<std::int64_t>(inside), std::max<std::int64_t>(count - 2, 0));
    return {static_cast<std::size_t>(first), inside - static_cast<double>(first)};
}

}

double valueAt(const Grid& grid, double x, double y) {
    const Between across = between((x - grid.left) / grid.columnSpacing, grid.columns);
    const Between down = between((grid.top - y) / grid.rowSpacing, grid.rows);
    const auto columns = static_cast<std::size_t>(grid.columns);
    const auto along = [&](std::size_t row) {
        const float* const values = grid.values.data() + row * columns + across.first;
        return across.weight == 0.0 ? values[0] : values[0] + across.weight * (static_cast<double>(values[1]) - values[0]);
    };
    const double upper = along(down.first);
    return down.weight == 0.0 ? upper : upper + down.weight * (along(down.first + 1) - upper);
}

Errors errorsOf(const Grid& grid, const Points& points) {
    std::vector<double> sizes;
    double sum = 0.0, squares = 0.0;
    for (std::size_t k = 0; k < points.size(); ++k) {
        const double error = valueAt(grid, points.x[k], points.y[k]) - points.z[k];
        sum += error;
        squares += error * error;
        sizes.push_back(std::abs(error));
    }
    if (sizes.empty()) return {};
    const auto count = static_cast<double>(sizes.size());
    const auto middle = sizes.begin() + std::ssize(sizes) / 2;
    std::nth_element(sizes.begin(), middle, sizes.end());
    return {sizes.size(), sum / count, std::sqrt(squares / count), *middle};
}

double curvatureOf(const Grid& grid, double aspect) {
    if (grid.columns < 3 || grid.rows < 3) return 0.0;
    const auto columns = static_cast<std::size_t>(grid.columns);
    const double acrossUnit = aspect * grid.columnSpacing;
    const double ofAcross = 1.0 / (acrossUnit * acrossUnit), ofDown = 1.0 / (grid.rowSpacing * grid.rowSpacing);
    double squares = 0.0;
    for (std::size_t row = 1; row + 1 < static_cast<std::size_t>(grid.rows); ++row)
        for (std::size_t node = row * columns + 1; node + 1 < (row + 1) * columns; ++node) {
            const auto bend = [&](std::size_t step) {
                const auto value = [&](std::size_t at) { return static_cast<double>(grid.values[at]); };
                return value(node - step) - 2.0 * value(node) + value(node + step);
            };
            const double laplacian = ofAcross * bend(1) + ofDown * bend(columns);
            squares += laplacian * laplacian;
        }
    return std::sqrt(squares / static_cast<double>((grid.columns - 2) * (grid.rows - 2)));
}

namespace {

/* The finalizer of G. L. Steele, D. Lea and C. H. Flood, Fast splittable pseudorandom number generators, OOPSLA (2014). */
std::uint64_t scrambled(std::uint64_t number) {
    number += 0x9E3779B97F4A7C15u;
    number = (number ^ (number >> 30)) * 0xBF58476D1CE4E5B9u;
    number = (number ^ (number >> 27)) * 0x94D049BB133111EBu;
    return number ^ (number >> 31);
}

}

std::pair<Points, Points> holdOut(const Points& points, double percent) {
    const std::size_t count = points.size();
    const auto share = static_cast<std::size_t>(std::lround(static_cast<double>(count) * percent / 100.0));
    const std::size_t heldCount = std::min(std::max<std::size_t>(share, 1), count);
    std::vector<std::uint64_t> numbers(count);
    std::iota(numbers.begin(), numbers.end(), std::uint64_t{0});
    std::nth_element(numbers.begin(), numbers.begin() + static_cast<std::ptrdiff_t>(heldCount), numbers.end(),
                     [](std::uint64_t a, std::uint64_t b) { return scrambled(a) < scrambled(b); });
    std::vector<bool> isHeld(count, false);
    for (std::size_t k = 0; k < heldCount; ++k) isHeld[numbers[k]] = true;
    std::pair<Points, Points> parts;
    for (std::size_t k = 0; k < count; ++k) (isHeld[k] ? parts.second : parts.first).add(points.x[k], points.y[k], points.z[k]);
    return parts;
}

}
