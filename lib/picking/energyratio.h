#ifndef PELTA_LIB_PICKING_ENERGYRATIO_H
#define PELTA_LIB_PICKING_ENERGYRATIO_H

#include <pelta/host.h>

#include <algorithm>
#include <cmath>

#include "picking/samples.h"
#include "vectorize.h"

/* The energy ratio: the mean amplitude in a window behind a sample over that in a window before it. */

namespace {

constexpr float smallestStabilizer = 1e-30f;

/* A cumulative sum of absolute amplitudes. Behind its end the array may be readable up to extent entries. */
struct Cumulative {
    const float* sum;
    Count length;
    Count extent;
};

/* One trial of the energy ratio: lengths of the window behind a sample and before it, and what steadies the quotient. */
struct Trial {
    Count lead;
    Count lag;
    float stabilizer;
};

/* The largest ratio seen so far and the first sample that has it. */
struct Best {
    float ratio = 0.0f;
    Count pick = 0;

    void look(float other, Count at) {
        if (other > ratio) *this = {other, at};
    }
};

PELTA_INLINE float leadLagRatio(float behind, float here, float ahead, float lag, float lead, float stabilizer) {
    const float before = (here - behind) / lag + stabilizer;
    return (ahead - here) / lead / before;
}

/* Any windows, inside the array or not. */
float leadLagRatioAnywhere(const Cumulative& cumulative, const Trial& trial, Count i) {
    const auto sumAt = [&](Count index) { return entryAt(cumulative.sum, cumulative.extent, index); };
    const Count lagStart = std::max<Count>(0, i - trial.lag);
    const Count leadEnd = std::min(cumulative.length - 1, i + trial.lead);
    return leadLagRatio(sumAt(lagStart), sumAt(i), sumAt(leadEnd), static_cast<float>(i - lagStart),
                        static_cast<float>(leadEnd - i), trial.stabilizer);
}

constexpr int blockLength = 64;  // samples whose ratios are formed over lanes before one looks at them

PELTA_INLINE float largestOf(const float (&ratios)[blockLength]) {
    constexpr int lanes = 16;
    float largest[lanes] = {};
    for (int k = 0; k < blockLength; k += lanes)
        for (int lane = 0; lane < lanes; ++lane)
            largest[lane] = ratios[k + lane] > largest[lane] ? ratios[k + lane] : largest[lane];
    float result = 0.0f;
    for (float candidate : largest) result = candidate > result ? candidate : result;
    return result;
}

/* Samples start <= i < end that have in common whether their windows are whole or cut off at an end of the array. Most blocks
 * hold nothing new; only in the others is the first sample with the largest ratio looked for. */
template <bool wholeLag, bool wholeLead>
PELTA_INLINE void searchStretch(const float* sum, int length, int lead, int lag, float stabilizer, int start, int end,
                                Best& best) {
    for (Count block = start; block < end; block += blockLength) {
        float ratios[blockLength] = {};
        const int first = static_cast<int>(block), count = std::min(blockLength, end - first);
        for (int k = 0; k < count; ++k) {
            const int i = first + k, lagStart = wholeLag ? i - lag : 0, leadEnd = wholeLead ? i + lead : length - 1;
            ratios[k] = leadLagRatio(sum[lagStart], sum[i], sum[leadEnd], static_cast<float>(i - lagStart),
                                     static_cast<float>(leadEnd - i), stabilizer);
        }
        if (largestOf(ratios) > best.ratio)
            for (int k = 0; k < count; ++k) best.look(ratios[k], block + k);
    }
}

/* Samples start <= i < end within the array; neither window is of negative length or longer than the array. */
PELTA_VECTORIZE void searchInside(const float* sum, int length, int lead, int lag, float stabilizer, int start, int end,
                                  Best& best) {
    const int lagWhole = std::clamp(lag, start, end), leadCut = std::clamp(length - lead, start, end);
    searchStretch<false, true>(sum, length, lead, lag, stabilizer, start, std::min(lagWhole, leadCut), best);
    if (lagWhole < leadCut) searchStretch<true, true>(sum, length, lead, lag, stabilizer, lagWhole, leadCut, best);
    else searchStretch<false, false>(sum, length, lead, lag, stabilizer, leadCut, lagWhole, best);
    searchStretch<true, false>(sum, length, lead, lag, stabilizer, std::max(lagWhole, leadCut), end, best);
}

/* The first of the largest ratios at the samples after start and before end; 0 when none is above 0. */
int largestLeadLagRatio(const Cumulative& cumulative, const Trial& trial, Count start, Count end) {
    Best best;
    Count i = start + 1;
    const auto searchAnywhere = [&](Count stop) {
        for (; i < stop; ++i) best.look(leadLagRatioAnywhere(cumulative, trial, i), i);
    };
    searchAnywhere(std::min<Count>(end, 0));
    const Count insideEnd = std::min(end, cumulative.extent);
    if (i < insideEnd && cumulative.length > 0 && trial.lead >= 0 && trial.lag >= 0) {
        const int lead = static_cast<int>(std::min(trial.lead, cumulative.extent));  // longer ones are cut off all the same
        const int lag = static_cast<int>(std::min(trial.lag, cumulative.extent));
        searchInside(cumulative.sum, static_cast<int>(cumulative.length), lead, lag, trial.stabilizer, static_cast<int>(i),
                     static_cast<int>(insideEnd), best);
        i = insideEnd;
    }
    searchAnywhere(end);
    return static_cast<int>(best.pick);
}

/* Where the energy ratio looks: the windows of its first trial, the segment of the trace that is summed, and the samples of the
 * segment that are tried. */
struct EnergySearch {
    Count lead, lag;
    Count segmentStart, segmentLength;
    Count start, end;
};

/* Kept on purpose: the end of the search adds the segment's start where the beginning subtracts it, and the pick stays counted
 * from the segment's start. Behind the segment the search sees zeros. */
EnergySearch searchAbout(Count centre, Count reach, float envelope, Count sampleCount) {
    EnergySearch search;
    search.lag = std::max<Count>(Count(rounded(envelope)) + 1, 10);
    search.lead = rounded(static_cast<double>(search.lag) * 0.67);
    const Count last = sampleCount - 1;
    search.segmentStart = std::max<Count>(0, centre - reach - 2 * search.lag);
    search.segmentLength = std::min(last, centre + reach + 2 * search.lead) - search.segmentStart;
    search.start = std::max<Count>(0, centre - reach - search.segmentStart);
    search.end = std::min(last, centre + reach + search.segmentStart);
    return search;
}

/* Writes the cumulative absolute amplitude of a segment and returns the sum of its signed samples.
 * Kept on purpose: the first sample's amplitude is dropped. */
double accumulate(const float* segment, Count length, float* cumulative) {
    double signedSum = 0.0;
    float sum = 0.0f;
    cumulative[0] = 0.0f;
    for (Count k = 1; k < length; ++k) {
        signedSum += segment[k];
        sum += std::fabs(segment[k]);  // the bits of a sum formed in double and stored as float
        cumulative[k] = sum;
    }
    return signedSum;
}

/* A percentage of the mean amplitude, in double but for the result. */
float shareOfMean(float percent, double amplitude, Count sampleCount) {
    return static_cast<float>(static_cast<double>(percent) * 0.01 * amplitude / static_cast<double>(sampleCount));
}

/* Median pick of three trials whose windows differ in scale. */
float coarsePick(const Cumulative& cumulative, Count start, Count end, const Trial& trial) {
    const Trial trials[3] = {trial,
                             {2 * trial.lead, 2 * trial.lag, trial.stabilizer * 0.5f},
                             {trial.lead / 2, trial.lag / 2, trial.stabilizer + trial.stabilizer}};
    float picks[3];
    for (int k = 0; k < 3; ++k) picks[k] = static_cast<float>(largestLeadLagRatio(cumulative, trials[k], start, end));
    qksort(3, picks);
    return picks[1];
}

/* Median pick of nine trials. Kept on purpose: they are three trials, each entered three times, as the method has it; a trial
 * gives the same pick every time, so it is run once. */
int finePick(const Cumulative& cumulative, Count start, Count end, float envelope, float stabilizer) {
    const Trial trials[3] = {{rounded(envelope * 0.35f), rounded(envelope * 0.5f), stabilizer * 0.5f},
                             {rounded(envelope * 0.7f), rounded(envelope), stabilizer},
                             {rounded(envelope * 1.2f), rounded(envelope * 1.4f), stabilizer * 2.0f}};
    float picks[9];
    for (int k = 0; k < 3; ++k)
        picks[k] = picks[k + 3] = picks[k + 6] = static_cast<float>(largestLeadLagRatio(cumulative, trials[k], start, end));
    qksort(9, picks);
    return truncated(picks[4] + 0.5f);
}

}

#endif
