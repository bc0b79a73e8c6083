#include <pelta/semblance.h>

#include <algorithm>

#include "vectorize.h"

namespace {

/* Dead samples keep what they have to the bit, the sign of a zero included. */
PELTA_VECTORIZE void addTrace(double* __restrict sum, double* __restrict sumh, double* __restrict sqrd, double* __restrict fold,
                              const float* __restrict trace, const float* __restrict quadrature, int count) {
    for (int i = 0; i < count; ++i) {
        const bool isLive = trace[i] != 0.0f;
        const double real = trace[i], imaginary = quadrature[i];
        const double squares = real * real + imaginary * imaginary;
        fold[i] = isLive ? fold[i] + 1.0 : fold[i];
        sum[i] = isLive ? sum[i] + real : sum[i];
        sqrd[i] = isLive ? sqrd[i] + squares : sqrd[i];
        sumh[i] = isLive ? sumh[i] + imaginary : sumh[i];
    }
}

PELTA_VECTORIZE void scaleToFold(double* __restrict sum, double* __restrict sumh, double* __restrict sqrd,
                                 const double* __restrict fold, double foldmax, int count) {
    for (int i = 0; i < count; ++i) {
        const double scale = fold[i] != 0.0 ? foldmax / fold[i] : 1.0;
        sum[i] *= scale;
        sumh[i] *= scale;
        sqrd[i] *= scale;
    }
}

PELTA_VECTORIZE void formEnergy(const double* __restrict sum, double* __restrict sumh, int count) {
    for (int i = 0; i < count; ++i) sumh[i] = sum[i] * sum[i] + sumh[i] * sumh[i];
}

PELTA_VECTORIZE void formRatio(const double* __restrict stack, const double* __restrict traces, double fold,
                               float* __restrict ratio, int count) {
    for (int i = 0; i < count; ++i) {
        const double quotient = stack[i] / (fold * traces[i]);
        ratio[i] = traces[i] > 0.0 ? static_cast<float>(quotient) : 0.0f;
    }
}

/* The sums of stack and traces over a window that slides along both; their ratios are formed a stretch at a time. */
class SlidingWindow {
  public:
    SlidingWindow(const double* stack, const double* traces, double fold, int half, float* ratios)
        : _stack(stack), _traces(traces), _fold(fold), _ratios(ratios) {
        for (int i = 0; i <= half; ++i) {
            _ofStack += stack[i];
            _ofTraces += traces[i];
        }
        _ofStack = 2.0 * _ofStack - stack[0];
        _ofTraces = 2.0 * _ofTraces - traces[0];
        keep();
    }

    /* Moves on by count samples; the entries that leave and enter move by a step each. */
    void slide(int count, int leaving, int leavingStep, int entering, int enteringStep) {
        for (int i = 0; i < count; ++i, leaving += leavingStep, entering += enteringStep) {
            _ofStack = _ofStack - _stack[leaving] + _stack[entering];
            _ofTraces = _ofTraces - _traces[leaving] + _traces[entering];
            keep();
        }
    }

    void finish() {
        formRatio(_stackSums, _traceSums, _fold, _ratios, _kept);
        _ratios += _kept;
        _kept = 0;
    }

  private:
    static constexpr int stretch = 256;

    void keep() {
        _stackSums[_kept] = _ofStack;
        _traceSums[_kept] = _ofTraces;
        if (++_kept == stretch) finish();
    }

    const double *_stack, *_traces;
    double _fold, _ofStack = 0.0, _ofTraces = 0.0;
    float* _ratios;
    int _kept = 0;
    double _stackSums[stretch], _traceSums[stretch];
};

}

void buildSemblance(double* sum, double* sumh, double* sqrd, double* fold, float* datain, float* datainh, int nsamp) {
    addTrace(sum, sumh, sqrd, fold, datain, datainh, nsamp);
}

void equalizeSemblance(double* sum, double* sumh, double* sqrd, double* fold, double foldmax, int nsamp) {
    scaleToFold(sum, sumh, sqrd, fold, foldmax, nsamp);
}

void applySemblance(double* sum, double* sumh, double* sqrd, int nfold, int nwin, float* dataout, int nsamp) {
    if (nsamp <= 0) return;
    formEnergy(sum, sumh, nsamp);
    const double fold = nfold;
    if (nwin < 2) return formRatio(sumh, sqrd, fold, dataout, nsamp);
    const int half = std::min(nwin / 2, (nsamp - 1) / 2), last = nsamp - 1;
    SlidingWindow window(sumh, sqrd, fold, half, dataout);
    window.slide(half, half, -1, half + 1, 1);
    window.slide(nsamp - 2 * half - 1, 0, 1, 2 * half + 1, 1);
    window.slide(half, last - 2 * half, 1, last - 1, -1);
    window.finish();
}
