#include <pelta/host.h>
#include <pelta/spdpicker.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "truncation.h"
#include "vectorize.h"

namespace {

using Index = std::int64_t;

void fillTable(peltaComplex* table, Index last, float radiansPerSample, bool removeMean) {
    const double w = radiansPerSample;
    float meanReal = 0.0f, meanImaginary = 0.0f;
    if (removeMean) {
        for (Index k = 0; k <= last; ++k) {
            const double angle = static_cast<double>(k) * w;
            meanReal = static_cast<float>(meanReal + std::cos(angle));
            meanImaginary = static_cast<float>(meanImaginary - std::sin(angle));
        }
        // Kept on purpose: one more than the number of terms.
        meanReal /= static_cast<float>(last + 2);
        meanImaginary /= static_cast<float>(last + 2);
    }
    for (Index k = 0; k <= last; ++k) {
        const double angle = static_cast<double>(k) * w;
        table[k].r = static_cast<float>(std::cos(angle) - meanReal);
        table[k].i = static_cast<float>(-std::sin(angle) - meanImaginary);
    }
}

void fillGaussian(float* taper, Index length, Index centre, float pi) {
    const float sigma = static_cast<float>(length) / 6.0f, area = std::sqrt(2.0f * pi) * sigma;
    for (Index j = 0; j < length; ++j) {
        const float distance = static_cast<float>(j - centre);
        taper[j] = std::exp(-(distance * distance) / (2.0f * (sigma * sigma))) / area;
    }
    const float largest = length > 0 ? *std::max_element(taper, taper + length) : 0.0f;
    for (Index j = 0; j < length; ++j) taper[j] /= largest;
}

int flatHalfWidth(Index flatPercent, Index length) {
    return truncated(static_cast<float>(100 - flatPercent) / 100.0f * static_cast<float>(length)) / 2;
}

void fillCosine(float* taper, Index length, Index centre, Index flat, float pi) {
    const float rampLength = static_cast<float>(std::max(flat - centre, centre - flat));
    const auto ramp = [&](float fraction) { return (std::cos(fraction * pi) + 1.0f) * 0.5f; };
    for (Index j = 1; j <= length; ++j) {
        if (j <= centre - flat) {
            taper[j - 1] = ramp(static_cast<float>(j + flat - centre) / rampLength);
        } else if (j > centre + flat + 1) {
            taper[j - 1] = ramp(std::abs(static_cast<float>(j - 1 - centre - flat) / rampLength));
        } else {
            taper[j - 1] = 1.0f;
        }
    }
}

/* What is measured in every window, in zero-based positions. */
struct Analysis {
    const float* trace;
    const peltaComplex* table;
    const float* taper;
    Index length;     /* of the window */
    Index halfLength; /* samples before its centre */
    Index taps;       /* samples of the window that the scratch holds */
    bool removeMean, wantPhase, perLiveSample, perEnergy;
    float degreesPerRadian;
};

/* Nothing lies before the trace. */
float sampleAt(const float* trace, Index position) { return position < 0 ? 0.0f : trace[position]; }

float taperedMean(const Analysis& work, Index start) {
    const Index count = 2 * work.halfLength + 1;
    float sum = 0.0f;
    for (Index j = 0; j < std::min(count, work.length); ++j) sum += sampleAt(work.trace, start + j) * work.taper[j];
    return sum / static_cast<float>(count);
}

void divideByNorm(float* window, Index count) {
    float energy = 0.0f;
    for (Index j = 0; j < count; ++j) energy += window[j] * window[j];
    const double norm = std::sqrt(static_cast<double>(energy));
    if (norm > 0.0)
        for (Index j = 0; j < count; ++j) window[j] = static_cast<float>(window[j] / norm);
}

void divideByLiveCount(float* window, Index count) {
    const auto live = count - std::count(window, window + count, 0.0f);
    if (live > 0)
        for (Index j = 0; j < count; ++j) window[j] /= static_cast<float>(live);
}

void fillWindow(const Analysis& work, Index start, float* window, int windowSize) {
    int stride = 1;
    vclr_(window, &stride, &windowSize);
    for (Index j = 0; j < work.taps; ++j) window[j] = sampleAt(work.trace, start + j);
    if (work.perEnergy) divideByNorm(window, work.taps);
    if (work.perLiveSample) divideByLiveCount(window, work.taps);
}

peltaComplex coefficient(const Analysis& work, const float* window, float mean) {
    peltaComplex sum = {0.0f, 0.0f};
    for (Index j = 0; j < work.taps; ++j) {
        float tapered = work.taper[j] * window[j];
        if (work.removeMean) tapered -= mean;
        sum.r += tapered * work.table[j].r;
        sum.i += tapered * work.table[j].i;
    }
    return sum;
}

/* Neighbouring window centres that advance side by side, each with its own sums in tap order. */
constexpr int laneCount = 64;

struct LaneSums {
    float r[laneCount] = {}, i[laneCount] = {};
};

template <bool removeMean>
PELTA_INLINE void addTaps(const Analysis& work, const float* windows, const float* means, LaneSums& sums) {
    LaneSums bins;
    for (Index j = 0; j < work.taps; ++j) {
        const float weight = work.taper[j], real = work.table[j].r, imaginary = work.table[j].i;
        for (int lane = 0; lane < laneCount; ++lane) {
            float tapered = weight * windows[j + lane];
            if (removeMean) tapered -= means[lane];
            bins.r[lane] += tapered * real;
            bins.i[lane] += tapered * imaginary;
        }
    }
    sums = bins;
}

PELTA_VECTORIZE void addPlainTaps(const Analysis& work, const float* windows, LaneSums& sums) {
    addTaps<false>(work, windows, nullptr, sums);
}

PELTA_VECTORIZE void addCentredTaps(const Analysis& work, const float* windows, LaneSums& sums) {
    const Index count = 2 * work.halfLength + 1;
    float means[laneCount] = {};
    for (Index j = 0; j < std::min(count, work.length); ++j)
        for (int lane = 0; lane < laneCount; ++lane) means[lane] += windows[j + lane] * work.taper[j];
    for (float& mean : means) mean /= static_cast<float>(count);
    addTaps<true>(work, windows, means, sums);
}

float phaseOf(const Analysis& work, const peltaComplex& bin) {
    return bin.r != 0.0f ? std::atan2(bin.i, bin.r) * work.degreesPerRadian : 0.0f;
}

void finish(const Analysis& work, peltaComplex* bins, int count, float* values) {
    if (work.wantPhase) {
        std::transform(bins, bins + count, values, [&](const peltaComplex& bin) { return phaseOf(work, bin); });
        return;
    }
    int binStride = 2, stride = 1;
    cvabs_(&bins->r, &binStride, values, &stride, &count);
    for (int k = 0; k < count; ++k) values[k] /= static_cast<float>(work.length);
}

void measureLanes(const Analysis& work, const float* windows, float* values) {
    LaneSums sums;
    peltaComplex bins[laneCount];
    if (work.removeMean) addCentredTaps(work, windows, sums);
    else addPlainTaps(work, windows, sums);
    for (int lane = 0; lane < laneCount; ++lane) bins[lane] = {sums.r[lane], sums.i[lane]};
    finish(work, bins, laneCount, values);
}

void measureOne(const Analysis& work, Index start, float* window, int windowSize, float* value) {
    fillWindow(work, start, window, windowSize);
    const float mean = work.removeMean ? taperedMean(work, start) : 0.0f;
    peltaComplex bin = coefficient(work, window, mean);
    finish(work, &bin, 1, value);
}

/* The centres in zero-based positions. */
struct Centres {
    Index first, step, count;
};

/* A last group of lanes that is not full is moved back over centres already measured, which get the same values again. */
void measureAll(const Analysis& work, const Centres& centres, float* window, int windowSize, float* values) {
    const Index firstStart = centres.first - work.halfLength;
    const bool sideBySide = centres.step == 1 && centres.count >= laneCount && !work.perLiveSample && !work.perEnergy;
    for (Index k = 0; k < centres.count;) {
        const Index group = std::min(k, centres.count - laneCount);
        if (sideBySide && firstStart + group >= 0 && centres.first + group >= 0) {
            measureLanes(work, work.trace + firstStart + group, values + centres.first + group);
            k = group + laneCount;
        } else {
            const Index centre = centres.first + k * centres.step;
            if (centre >= 0) measureOne(work, centre - work.halfLength, window, windowSize, values + centre);
            ++k;
        }
    }
    if (sideBySide) fillWindow(work, firstStart + centres.count - 1, window, windowSize);
}

}

void spdtables_(peltaComplex* ctable, int* iwind, int* /*nomega*/, int* opbias, int* gaus, float* t, int* itw, int* ihalf,
                float* pie, float* freq, float* dt) {
    fillTable(ctable, *iwind, (*freq + *freq) * *pie * *dt, *opbias != 0);
    if (*gaus) {
        fillGaussian(t, *iwind, *ihalf, *pie);
    } else {
        *itw = flatHalfWidth(*itw, *iwind);
        fillCosine(t, *iwind, *ihalf, *itw, *pie);
    }
}

void spddecompose_(float* tri, int* /*nsamp*/, float* tri_buffer_, int* t_size_, int* ist, int* iend, int* nskip, int* trbias,
                   int* /*nomega*/, int* iwind, int* ihalf, peltaComplex* ctable, float* t, float* sum, float* radeg,
                   int* phase, int* normal_live_, int* normal_energy_) {
    const Analysis work = {tri,
                           ctable,
                           t,
                           *iwind,
                           *ihalf,
                           std::min(*iwind, *t_size_),
                           *trbias != 0,
                           *phase != 0,
                           *normal_live_ != 0,
                           *normal_energy_ != 0,
                           *radeg};
    const Index step = *nskip, first = static_cast<Index>(*ist) + *ihalf;
    if (step == 0) return;
    measureAll(work, {first - 1, step, (*iend - first + step) / step}, tri_buffer_, *t_size_, sum);
}
