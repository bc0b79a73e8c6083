#ifndef PELTA_LIB_PICKING_STANDARDDEVIATIONS_H
#define PELTA_LIB_PICKING_STANDARDDEVIATIONS_H

#include <algorithm>
#include <cmath>
#include <cstring>

#include "picking/samples.h"
#include "vectorize.h"

/* Standard deviations of the windows that slide along a trace. */

namespace {

using Singles = float __attribute__((vector_size(32)));
using Doubles = double __attribute__((vector_size(64)));
constexpr int laneCount = 8;

PELTA_INLINE void load(const float* samples, Singles& lanes) { std::memcpy(&lanes, samples, sizeof lanes); }

/* Written out, since gcc 12 makes one instruction of this and several of __builtin_convertvector. */
PELTA_INLINE void widen(const Singles& from, Doubles& to) {
    to = Doubles{from[0], from[1], from[2], from[3], from[4], from[5], from[6], from[7]};
}

/* Standard deviations of the windows that start at the first groups * 8 samples, one window a lane, each sum in the order of
 * its samples. The squares are formed and added in double, their running sum is kept as float. */
template <int groups>
PELTA_INLINE void deviationsOfLanes(const float* samples, int length, float* deviations) {
    Singles sums[groups] = {}, squares[groups] = {};
    for (int j = 0; j < length; ++j)
#pragma GCC unroll 8
        for (int g = 0; g < groups; ++g) {
            Singles here;
            load(samples + j + g * laneCount, here);
            sums[g] += here;
        }
    const float count = static_cast<float>(length);
    for (int g = 0; g < groups; ++g) sums[g] /= count;
    for (int j = 0; j < length; ++j)
#pragma GCC unroll 8
        for (int g = 0; g < groups; ++g) {
            Singles deviation;
            load(samples + j + g * laneCount, deviation);
            deviation -= sums[g];
            Doubles square, sum;
            widen(deviation, square);
            widen(squares[g], sum);
            sum += square * square;
            squares[g] = __builtin_convertvector(sum, Singles);
        }
    for (int g = 0; g < groups; ++g)
        for (int lane = 0; lane < laneCount; ++lane) deviations[g * laneCount + lane] = std::sqrt(squares[g][lane] / count);
}

PELTA_INLINE float deviationOfWindow(const float* samples, int length) {
    float sum = 0.0f, squares = 0.0f;
    for (int j = 0; j < length; ++j) sum += samples[j];
    const float mean = sum / static_cast<float>(length);
    for (int j = 0; j < length; ++j) {
        const double deviation = samples[j] - mean;
        squares = static_cast<float>(squares + deviation * deviation);
    }
    return std::sqrt(squares / static_cast<float>(length));
}

/* Standard deviations of count windows, each a sample later than the one before. The last lanes overlap others. */
PELTA_VECTORIZE void standardDeviations(const float* samples, Count count, int length, float* deviations) {
    constexpr int groups = 8;
    constexpr Count many = groups * laneCount, few = laneCount;
    if (count >= many)
        for (Count i = 0; i < count; i += many)
            deviationsOfLanes<groups>(samples + std::min(i, count - many), length, deviations + std::min(i, count - many));
    else if (count >= few)
        for (Count i = 0; i < count; i += few)
            deviationsOfLanes<1>(samples + std::min(i, count - few), length, deviations + std::min(i, count - few));
    else
        for (Count i = 0; i < count; ++i) deviations[i] = deviationOfWindow(samples + i, length);
}

}

#endif
