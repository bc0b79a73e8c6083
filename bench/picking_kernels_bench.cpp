#include <benchmark/benchmark.h>
#include <pelta/arpicker.h>
#include <pelta/spdpicker.h>

#include <cmath>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#if __has_include(<eigen3/Eigen/Dense>)
#include <eigen3/Eigen/Dense>
#define PELTA_BENCH_EIGEN
#endif

#include "figures.h"
#include "peakrate.h"
#include "support/signals.h"

/* The kernels of first-break picking. One call of fabne_ fits one window; a call of spddecompose_ covers a trace. */

namespace {

using Windows = std::vector<std::vector<float>>;

/* Windows of a shot record as the picker slides over it: noise, the first arrival and what follows. */
Windows slidingWindows(int length) {
    Windows windows;
    for (const std::vector<float>& trace : shotGather(8, 400))
        for (int start = 0; start + length <= 240; start += 9)
            windows.emplace_back(trace.begin() + start, trace.begin() + start + length);
    return windows;
}

struct FitArrays {
    explicit FitArrays(int mlast) : v(mlast * (mlast + 1) / 2), vc(v), s(mlast), sc(mlast), a(mlast) {}
    std::vector<float> v, vc, s, sc, a;
    int m = 0, ocode = 0;
    float ssq = 0, p = 0;
};

void fit(std::vector<float>& window, int mlast, FitArrays& result) {
    int n = static_cast<int>(window.size()), mstart = 2, icode = 0, akcode = 0, rscode = 1, mdim = n;
    fabne_(window.data(), &n, &mstart, &mlast, &icode, &akcode, &rscode, &mdim, result.v.data(), result.vc.data(),
           result.s.data(), result.sc.data(), result.a.data(), &result.m, &result.ssq, &result.p, &result.ocode);
}

/* Windows whose error falls at every order up to the highest: as many sines as half the orders, in faint noise. */
Windows unstoppedWindows(int length) {
    const int mlast = length / 4;
    FitArrays arrays(mlast);
    Windows windows;
    std::mt19937 engine(5);
    const auto uniform = [&] { return static_cast<double>(engine() >> 8) / 16777216.0; };
    for (unsigned seed = 0; windows.size() < 16 && seed < 200000; ++seed) {
        std::vector<float> window = randomTrace(length, seed, 0.05f);
        for (int k = 0; k < (mlast + 2) / 2; ++k) {
            const double frequency = M_PI * uniform(), phase = 2 * M_PI * uniform(), amplitude = 0.3 + uniform();
            for (int t = 0; t < length; ++t) window[t] += static_cast<float>(amplitude * std::sin(frequency * t + phase));
        }
        fit(window, mlast, arrays);
        if (arrays.ocode == 1) windows.push_back(window);
    }
    return windows;
}

void fitWindows(benchmark::State& state, Windows windows) {
    const int mlast = static_cast<int>(windows.at(0).size()) / 4;
    FitArrays arrays(mlast);
    std::size_t next = 0;
    double orders = 0;
    for (auto _ : state) {
        fit(windows[next], mlast, arrays);
        orders += arrays.m;
        next = next + 1 < windows.size() ? next + 1 : 0;
        benchmark::DoNotOptimize(arrays.a.data());
    }
    state.counters["order"] = orders / static_cast<double>(state.iterations());
    fit(windows[0], mlast, arrays);
    int n = static_cast<int>(windows[0].size()), icode = 0;
    float ssq;
    accssq_(&arrays.m, &n, windows[0].data(), arrays.a.data(), &icode, &ssq);
    if (ssq != arrays.ssq) state.SkipWithError("the residuals of the model are not those reported");
}

/* How much of a window's energy a model of its samples, both ways, leaves. */
template <class Coefficients>
double residualShare(const std::vector<float>& x, const Coefficients& model, int order) {
    const int n = static_cast<int>(x.size());
    double energy = 0, squares = 0;
    for (int t = 0; t + order < n; ++t) {
        double forward = x[t + order], backward = x[t];
        energy += forward * forward + backward * backward;
        for (int j = 0; j < order; ++j) {
            forward -= model[j] * x[t + order - 1 - j];
            backward -= model[j] * x[t + 1 + j];
        }
        squares += forward * forward + backward * backward;
    }
    return squares / energy;
}

/* Burg's recursion in double, all orders up to mlast, and the order of least final prediction error. */
struct Burg {
    std::vector<double> forward, backward, coefficients, saved;

    int fit(const std::vector<float>& window, int mlast) {
        const int n = static_cast<int>(window.size());
        forward.assign(window.begin(), window.end());
        backward = forward;
        coefficients.assign(mlast + 1, 0.0);
        double variance = std::inner_product(forward.begin(), forward.end(), forward.begin(), 0.0) / n, best = 1e300;
        int order = 0;
        for (int m = 1; m <= mlast; ++m) {
            double cross = 0, energy = 0;
            for (int t = m; t < n; ++t) {
                cross += forward[t] * backward[t - 1];
                energy += forward[t] * forward[t] + backward[t - 1] * backward[t - 1];
            }
            const double reflection = 2 * cross / energy;
            for (int t = n - 1; t >= m; --t) {
                const double old = forward[t];
                forward[t] -= reflection * backward[t - 1];
                backward[t] = backward[t - 1] - reflection * old;
            }
            saved = coefficients;
            coefficients[m] = reflection;
            for (int j = 1; j < m; ++j) coefficients[j] = saved[j] - reflection * saved[m - j];
            variance *= 1 - reflection * reflection;
            const double error = variance * (n + m) / (n - m);
            if (error < best) best = error, order = m;
        }
        return order;
    }
};

void burgWindows(benchmark::State& state, Windows windows) {
    const int mlast = static_cast<int>(windows.at(0).size()) / 4;
    Burg burg;
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(burg.fit(windows[next], mlast));
        next = next + 1 < windows.size() ? next + 1 : 0;
    }
    burg.fit(windows[0], mlast);
    if (!(residualShare(windows[0], burg.coefficients.data() + 1, mlast) < 1.0)) state.SkipWithError("Burg predicts nothing");
}

/* One compensated sum over the window, as it runs when its steps wait for one another. */
void oneLagSum(benchmark::State& state, Windows windows) {
    int n = static_cast<int>(windows.at(0).size()), nmm = n - 1, move = 1;
    float sum = 0;
    for (auto _ : state) {
        accsum_(windows[0].data(), &n, &nmm, &move, &sum);
        benchmark::DoNotOptimize(sum);
    }
    double expected = 0, size = 0;
    for (int i = 0; i < nmm; ++i) {
        const double product = static_cast<double>(windows[0][i]) * windows[0][i + 1];
        expected += product;
        size += std::fabs(product);
    }
    if (!(std::fabs(sum - expected) < 1e-6 * size)) state.SkipWithError("the sum is wrong");
}

#ifdef PELTA_BENCH_EIGEN
/* Forward and backward normal equations of the top order alone, in double, by Cholesky. */
void normalEquationsByEigen(benchmark::State& state, Windows windows) {
    const int n = static_cast<int>(windows.at(0).size()), m = n / 4;
    Eigen::MatrixXd predictors(2 * (n - m), m);
    Eigen::VectorXd targets(2 * (n - m)), solution;
    std::size_t next = 0, last = 0;
    for (auto _ : state) {
        const std::vector<float>& x = windows[next];
        for (int j = 0; j < m; ++j)
            for (int t = 0; t < n - m; ++t) predictors(t, j) = x[t + m - 1 - j], predictors(n - m + t, j) = x[t + 1 + j];
        for (int t = 0; t < n - m; ++t) targets[t] = x[t + m], targets[n - m + t] = x[t];
        solution = (predictors.transpose() * predictors).llt().solve(predictors.transpose() * targets);
        benchmark::DoNotOptimize(solution.data());
        last = next;
        next = next + 1 < windows.size() ? next + 1 : 0;
    }
    FitArrays arrays(m);
    fit(windows[last], m, arrays);
    const double eigens = residualShare(windows[last], solution, m), peltas = residualShare(windows[last], arrays.a, m);
    if (!(std::fabs(eigens - peltas) < 1e-3)) state.SkipWithError("the two models differ");
}
#endif

void registerFits() {
    for (int n : {24, 48, 100}) {
        const std::string length = "window " + std::to_string(n), top = length + " to the top order",
                          usual = length + " of a shot record";
        const Windows unstopped = unstoppedWindows(n), sliding = slidingWindows(n);
        addFigure("fabne_|pelta|" + top, fitWindows, unstopped);
        addFigure("fabne_|Burg recursion, double|" + top, burgWindows, unstopped);
        addFigure("fabne_|limit: one compensated sum|" + top, oneLagSum, unstopped);
        addFigure("fabne_|pelta|" + usual, fitWindows, sliding);
        addFigure("fabne_|Burg recursion, double|" + usual, burgWindows, sliding);
#ifdef PELTA_BENCH_EIGEN
        addFigure("fabne_|Eigen LLT, top order only|" + top, normalEquationsByEigen, unstopped);
#endif
    }
}

struct Decomposition {
    Decomposition(int count, int windowLength)
        : n(count),
          iwind(windowLength),
          ihalf(windowLength / 2),
          table(iwind + 1),
          t(iwind),
          scratch(iwind + 2),
          sums(count),
          trace(shotGather(1, count + windowLength)[0]) {
        int nomega = 1, opbias = 0, gaus = 1, itw = 100;
        float pie = 3.1415927f, freq = 40.0f, dt = 0.002f;
        spdtables_(table.data(), &iwind, &nomega, &opbias, &gaus, t.data(), &itw, &ihalf, &pie, &freq, &dt);
    }

    void run() {
        int size = iwind + 2, ist = 1, iend = n, nskip = 1, nomega = 1, no = 0;
        float radeg = 57.29578f;
        spddecompose_(trace.data(), &n, scratch.data(), &size, &ist, &iend, &nskip, &no, &nomega, &iwind, &ihalf, table.data(),
                      t.data(), sums.data(), &radeg, &no, &no, &no);
    }

    /* The same sums, one window after the other. */
    void runPlain(std::vector<float>& out) const {
        for (int centre = ihalf; centre < n; ++centre) {
            float real = 0, imaginary = 0;
            for (int j = 0; j < iwind; ++j) {
                const float tapered = t[j] * trace[centre - ihalf + j];
                real += tapered * table[j].r;
                imaginary += tapered * table[j].i;
            }
            out[centre] = std::sqrt(real * real + imaginary * imaginary) / static_cast<float>(iwind);
        }
    }

    int n, iwind, ihalf;
    std::vector<peltaComplex> table;
    std::vector<float> t, scratch, sums, trace;
};

void decompose(benchmark::State& state, int n, int iwind) {
    Decomposition work(n, iwind);
    std::vector<float> expected(n);
    for (auto _ : state) {
        work.run();
        benchmark::DoNotOptimize(work.sums.data());
    }
    work.runPlain(expected);
    if (work.sums != expected) state.SkipWithError("the sums differ from the plain loop's");
}

void decomposePlainly(benchmark::State& state, int n, int iwind) {
    const Decomposition work(n, iwind);
    std::vector<float> out(n);
    for (auto _ : state) {
        work.runPlain(out);
        benchmark::DoNotOptimize(out.data());
    }
}

/* As many products and additions as the table, the taper and the sums take. */
void multiplyAndAddOnly(benchmark::State& state, int n, int iwind) {
    multiplyAndAddAtPeak(state, 3L * (n - iwind / 2) * iwind);
}

void registerDecompositions() {
    for (int n : {1500, 4000})
        for (int iwind : {32, 64}) {
            const std::string of = "|" + std::to_string(n) + " samples, window " + std::to_string(iwind);
            addFigure("spddecompose_|pelta" + of, decompose, n, iwind);
            addFigure("spddecompose_|plain loop" + of, decomposePlainly, n, iwind);
            addFigure("spddecompose_|limit: products and sums in registers" + of, multiplyAndAddOnly, n, iwind);
        }
}

const bool registered = [] {
    registerFits();
    registerDecompositions();
    return true;
}();

}
