#include <pelta/wavelet.h>

#include <algorithm>
#include <cstdint>

#include "vectorize.h"

namespace {

constexpr std::int64_t block = 32;

/* The averages of pairs take the place of the pairs; a block's are stored behind all that was read. */
PELTA_VECTORIZE void analyse(float* data, std::int64_t pairs, float* differences) {
    std::int64_t i = 0;
    for (; i + block <= pairs; i += block) {
        float averages[block];
        const float* const pair = data + 2 * i;
        for (int k = 0; k < block; ++k) {
            averages[k] = (pair[2 * k] + pair[2 * k + 1]) * 0.5f;
            differences[i + k] = (pair[2 * k] - pair[2 * k + 1]) * 0.5f;
        }
        std::copy_n(averages, block, data + i);
    }
    for (; i < pairs; ++i) {
        const float left = data[2 * i], right = data[2 * i + 1];
        data[i] = (left + right) * 0.5f;
        differences[i] = (left - right) * 0.5f;
    }
}

/* pairs averages and as many differences become pairs of samples. */
PELTA_VECTORIZE void synthesise(const float* averages, const float* differences, std::int64_t pairs, float* samples) {
    for (std::int64_t i = 0; i < pairs; ++i) {
        samples[2 * i] = averages[i] + differences[i];
        samples[2 * i + 1] = averages[i] - differences[i];
    }
}

}

void Wavelet(float* data, int num, int direction, float* work) {
    if (num <= 0) return;
    if (direction > 0) {
        // Kept on purpose: one sample less than the count.
        for (std::int64_t count = std::int64_t{num} - 1; count > 1; count /= 2) {
            analyse(data, count / 2, work);
            std::copy_n(work, count / 2, data + count / 2);
        }
        return;
    }
    std::int64_t count = 1;
    do {
        std::copy_n(data, 2 * count, work);
        synthesise(work, work + count, count, data);
        count *= 2;
    } while (count < num);
}
