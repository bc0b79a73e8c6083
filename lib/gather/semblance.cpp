#include <pelta/semblance.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "vectorize.h"

namespace {

/* The value under a mask of ones. A sum or quotient behind a condition the compiler would leave scalar. */
PELTA_INLINE double under(std::uint64_t mask, double value, double otherwise) {
    return std::bit_cast<double>((std::bit_cast<std::uint64_t>(value) & mask) |
                                 (std::bit_cast<std::uint64_t>(otherwise) & ~mask));
}

PELTA_INLINE std::uint64_t maskOf(bool isSet) { return isSet ? ~std::uint64_t{0} : 0; }

/* A dead sample adds -0, which changes no bit of any sum. */
PELTA_VECTORIZE void addTrace(double* __restrict sum, double* __restrict sumh, double* __restrict sqrd, double* __restrict fold,
                              const float* __restrict trace, const float* __restrict quadrature, int count) {
    for (int i = 0; i < count; ++i) {
        const std::uint64_t live = maskOf(trace[i] != 0.0f);
        const double real = trace[i], imaginary = quadrature[i];
        fold[i] += under(live, 1.0, -0.0);
        sum[i] += under(live, real, -0.0);
        sqrd[i] += under(live, real * real + imaginary * imaginary, -0.0);
        sumh[i] += under(live, imaginary, -0.0);
    }
}

PELTA_VECTORIZE void scaleToFold(double* __restrict sum, double* __restrict sumh, double* __restrict sqrd,
                                 const double* __restrict fold, double foldmax, int count) {
    for (int i = 0; i < count; ++i) {
        const double scale = under(maskOf(fold[i] != 0.0), foldmax / fold[i], 1.0);
        sum[i] *= scale;
        sumh[i] *= scale;
        sqrd[i] *= scale;
    }
}

/* The energy of the stack, in place of its quadrature. */
PELTA_INLINE void formEnergy(const double* __restrict sum, double* __restrict sumh, int count) {
    for (int i = 0; i < count; ++i) sumh[i] = sum[i] * sum[i] + sumh[i] * sumh[i];
}

PELTA_INLINE void formRatio(const double* __restrict stack, const double* __restrict traces, double fold,
                            float* __restrict ratio, int count) {
    for (int i = 0; i < count; ++i)
        ratio[i] = static_cast<float>(under(maskOf(traces[i] > 0.0), stack[i] / (fold * traces[i]), 0.0));
}

PELTA_VECTORIZE void applyWithoutWindow(const double* sum, double* sumh, const double* sqrd, double fold, float* ratio,
                                        int count) {
    formEnergy(sum, sumh, count);
    formRatio(sumh, sqrd, fold, ratio, count);
}

/* Sums over a window, of the stack's energy and of the traces'. */
struct WindowSums {
    double stack, traces;
};

/* Around the first sample, of a window whose other half is its mirror image. */
PELTA_VECTORIZE_256 WindowSums sumAroundStart(const double* sum, double* sumh, const double* sqrd, int half) {
    formEnergy(sum, sumh, half + 1);
    WindowSums sums = {};
    for (int i = 0; i <= half; ++i) {
        sums.stack += sumh[i];
        sums.traces += sqrd[i];
    }
    return {2.0 * sums.stack - sumh[0], 2.0 * sums.traces - sqrd[0]};
}

/* The samples that leave and enter a window that slides, and how far they move at each step. */
struct Edges {
    int leaving, leavingStep, entering, enteringStep;
};

/* Slides by count samples. The window's sums are bound to their order. What goes over lanes comes in short stretches between
 * them, so that the processor squares and divides while they run on: ahead the energy of the samples that enter for the first
 * time, behind the ratios. */
PELTA_VECTORIZE_256 WindowSums slide(WindowSums sums, Edges edges, const double* sum, double* sumh, const double* sqrd,
                                     double fold, float* ratio, int count) {
    constexpr int stretch = 32;
    double stackSums[stretch], traceSums[stretch];
    std::ptrdiff_t leaving = edges.leaving, entering = edges.entering;
    for (int done = 0; done < count; done += stretch) {
        const int length = std::min(stretch, count - done);
        if (edges.enteringStep > 0) formEnergy(sum + entering, sumh + entering, length);
        for (int i = 0; i < length; ++i, leaving += edges.leavingStep, entering += edges.enteringStep) {
            stackSums[i] = sums.stack = sums.stack - sumh[leaving] + sumh[entering];
            traceSums[i] = sums.traces = sums.traces - sqrd[leaving] + sqrd[entering];
        }
        formRatio(stackSums, traceSums, fold, ratio + done, length);
    }
    return sums;
}

}

void buildSemblance(double* sum, double* sumh, double* sqrd, double* fold, float* datain, float* datainh, int nsamp) {
    addTrace(sum, sumh, sqrd, fold, datain, datainh, nsamp);
}

void equalizeSemblance(double* sum, double* sumh, double* sqrd, double* fold, double foldmax, int nsamp) {
    scaleToFold(sum, sumh, sqrd, fold, foldmax, nsamp);
}

void applySemblance(double* sum, double* sumh, double* sqrd, int nfold, int nwin, float* dataout, int nsamp) {
    if (nsamp <= 0) return;
    if (nwin < 2) return applyWithoutWindow(sum, sumh, sqrd, nfold, dataout, nsamp);
    const int half = std::min(nwin / 2, (nsamp - 1) / 2), last = nsamp - 1;
    WindowSums sums = sumAroundStart(sum, sumh, sqrd, half);
    formRatio(&sums.stack, &sums.traces, nfold, dataout++, 1);
    const auto slideBy = [&](int count, const Edges& edges) {
        sums = slide(sums, edges, sum, sumh, sqrd, nfold, dataout, count);
        dataout += count;
    };
    slideBy(half, {half, -1, half + 1, 1});
    slideBy(last - 2 * half, {0, 1, 2 * half + 1, 1});
    slideBy(half, {last - 2 * half, 1, last - 1, -1});
}
