#include <benchmark/benchmark.h>
#include <gsl/gsl_errno.h>
#include <gsl/gsl_multifit.h>
#include <pelta/leastsquares.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "figures.h"
#include "support/signals.h"

/* Straight lines through the first breaks of a refraction spread: times over offsets with noise, every tenth far too late. */

namespace {

struct Spread {
    std::vector<float> x, y;

    int count() const { return static_cast<int>(x.size()); }
};

constexpr float intercept = 100.0f, slope = 0.4f; /* of the lines; those through the origin have no intercept */

Spread makeSpread(int count, unsigned seed, float atOrigin) {
    const std::vector<float> place = randomTrace(count, seed, 5.0f), noise = randomTrace(count, seed + 1, 5.0f);
    Spread spread;
    for (int i = 0; i < count; ++i) {
        const float x = 100.0f + 12.5f * static_cast<float>(i) + place[i];
        spread.x.push_back(x);
        spread.y.push_back(atOrigin + slope * x + noise[i] + (i % 10 == 7 ? 400.0f : 0.0f));
    }
    return spread;
}

/* Several spreads, since of one alone the branch predictor learns every comparison. */
std::vector<Spread> makeSpreads(int count, float atOrigin) {
    std::vector<Spread> spreads;
    for (unsigned k = 0; k < std::max(2u, 40000u / static_cast<unsigned>(count)); ++k)
        spreads.push_back(makeSpread(count, 10 * k, atOrigin));
    return spreads;
}

template <class Fit>
void perSpread(benchmark::State& state, int count, float atOrigin, Fit fit) {
    const std::vector<Spread> spreads = makeSpreads(count, atOrigin);
    std::size_t k = 0;
    for (auto _ : state) {
        fit(spreads[k]);
        k = (k + 1) % spreads.size();
    }
    state.SetItemsProcessed(state.iterations() * count);
}

template <class Fit>
void add(const std::string& routine, const std::string& who, std::vector<int> counts, float atOrigin, Fit fit) {
    for (int count : counts)
        addFigure(routine + "|" + who + "|" + std::to_string(count) + " points", perSpread<Fit>, count, atOrigin, fit);
}

struct Line {
    float intercept, slope, correlation;
};

/* The published interface takes its points without const and keeps them. */
float* points(const std::vector<float>& values) { return const_cast<float*>(values.data()); }

Line robustLine(const Spread& spread) {
    static std::vector<float> weights;
    weights.resize(spread.x.size());
    Line line;
    int count = spread.count();
    wghtLstSquare(points(spread.x), points(spread.y), weights.data(), &count, &line.intercept, &line.slope, &line.correlation);
    benchmark::DoNotOptimize(line);
    return line;
}

Line plainLine(const Spread& spread) {
    Line line;
    int count = spread.count();
    lstSquare(points(spread.x), points(spread.y), &count, &line.intercept, &line.slope, &line.correlation);
    benchmark::DoNotOptimize(line);
    return line;
}

float trimmedSlope(const Spread& spread) {
    static std::vector<float> work;
    work.resize(spread.x.size());
    float result;
    meanAlphaTrim(points(spread.x), points(spread.y), spread.count(), 20, work.data(), &result);
    benchmark::DoNotOptimize(result);
    return result;
}

/* GSL's robust fit with bisquare weights, which are computed anew until they settle. */
Line gslBisquare(const Spread& spread) {
    const std::size_t count = spread.x.size();
    gsl_multifit_robust_workspace* work = gsl_multifit_robust_alloc(gsl_multifit_robust_bisquare, count, 2);
    gsl_matrix *design = gsl_matrix_alloc(count, 2), *covariance = gsl_matrix_alloc(2, 2);
    gsl_vector *ordinates = gsl_vector_alloc(count), *line = gsl_vector_alloc(2);
    for (std::size_t i = 0; i < count; ++i) {
        gsl_matrix_set(design, i, 0, 1.0);
        gsl_matrix_set(design, i, 1, spread.x[i]);
        gsl_vector_set(ordinates, i, spread.y[i]);
    }
    gsl_multifit_robust(design, ordinates, line, covariance, work);
    const Line result = {static_cast<float>(gsl_vector_get(line, 0)), static_cast<float>(gsl_vector_get(line, 1)), 0.0f};
    gsl_vector_free(ordinates);
    gsl_vector_free(line);
    gsl_matrix_free(design);
    gsl_matrix_free(covariance);
    gsl_multifit_robust_free(work);
    return result;
}

/* Leaves the values in another order. */
float medianOf(float* values, std::size_t count) {
    std::nth_element(values, values + count / 2, values + count);
    return values[count / 2];
}

/* Of the ordinates of each half, of the residuals of each half, of all residuals and of their sizes; then a sine for each. */
void sixSelectionsAndSines(const Spread& spread) {
    static std::vector<float> values, residuals;
    const std::size_t count = spread.x.size(), half = count / 2;
    residuals.resize(count);
    for (std::size_t i = 0; i < count; ++i) residuals[i] = spread.y[i] - slope * spread.x[i];
    const auto halfMedians = [&](const std::vector<float>& all) {
        values = all;
        benchmark::DoNotOptimize(medianOf(values.data(), half) + medianOf(values.data() + half, half));
    };
    halfMedians(spread.y);
    halfMedians(residuals);
    values = residuals;
    const float median = medianOf(values.data(), count);
    for (std::size_t i = 0; i < count; ++i) values[i] = std::fabs(residuals[i] - median);
    const float perSigma = 1.0f / (2.1f * medianOf(values.data(), count));
    for (std::size_t i = 0; i < count; ++i) values[i] = std::sin((residuals[i] - median) * perSigma);
    benchmark::ClobberMemory();
}

std::vector<float> sortedRatios(const Spread& spread) {
    std::vector<float> ratios(spread.x.size());
    for (std::size_t i = 0; i < ratios.size(); ++i) ratios[i] = spread.y[i] / spread.x[i];
    std::sort(ratios.begin(), ratios.end());
    return ratios;
}

void standardSort(const Spread& spread) { benchmark::DoNotOptimize(sortedRatios(spread)); }

/* Two chains of dependent additions, then three beside each other. */
void chainsOfAdds(const Spread& spread) {
    double x = 0.0, y = 0.0, xx = 0.0, yy = 0.0, xy = 0.0;
    for (std::size_t i = 0; i < spread.x.size(); ++i) {
        x += spread.x[i];
        y += spread.y[i];
    }
    benchmark::DoNotOptimize(x);
    benchmark::DoNotOptimize(y);
    for (std::size_t i = 0; i < spread.x.size(); ++i) {
        xx += spread.x[i];
        yy += spread.y[i];
        xy += spread.x[i];
    }
    benchmark::DoNotOptimize(xx);
    benchmark::DoNotOptimize(yy);
    benchmark::DoNotOptimize(xy);
}

void checkAnswers() {
    gsl_set_error_handler_off(); /* the weights of a large spread may not settle to the last digit */
    const Spread spread = makeSpread(1000, 0, intercept);
    const Line robust = robustLine(spread), peer = gslBisquare(spread), plain = plainLine(spread);
    const std::vector<float> ratios = sortedRatios(spread);
    const double trimmed = std::accumulate(ratios.begin() + 100, ratios.end() - 100, 0.0) / 800;
    require(std::fabs(robust.intercept - peer.intercept) < 1.0f && std::fabs(robust.slope - peer.slope) < 1e-3f &&
                std::fabs(robust.slope - slope) < 1e-3f,
            "the robust line");
    require(std::fabs(plain.intercept - intercept - 40.0f) < 5.0f, "the line of least squares");
    require(std::fabs(trimmedSlope(spread) - trimmed) < 1e-6, "the trimmed slope");
}

const bool registered = [] {
    checkAnswers();
    const std::vector<int> all = {100, 1000, 100000};
    add("wghtLstSquare", "pelta", all, intercept, robustLine);
    add("wghtLstSquare", "GSL robust bisquare", all, intercept, gslBisquare);
    add("wghtLstSquare", "limit: six selections and the sines", all, intercept, sixSelectionsAndSines);
    add("lstSquare", "pelta", {1000}, intercept, plainLine);
    add("lstSquare", "limit: two chains of adds, then three", {1000}, intercept, chainsOfAdds);
    add("meanAlphaTrim", "pelta", {1000, 100000}, 0.0f, trimmedSlope);
    add("meanAlphaTrim", "std::sort", {1000, 100000}, 0.0f, standardSort);
    return true;
}();

}
