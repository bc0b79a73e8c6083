#include <pelta/host.h>
#include <pelta/mute.h>

#include <algorithm>
#include <cstdint>

namespace {

void setEntry(float* header, int entry, float value) {
    if (entry >= 1) header[entry - 1] = value;
}

/* 0 where there is none. Kept on purpose: the first sample of the trace and, below, the last one are never an edge. */
int firstLiveSample(const float* trace, int sampleCount) {
    for (int i = 1; i < sampleCount; ++i)
        if (trace[i] != 0.0f) return i;
    return 0;
}

int lastLiveSample(const float* trace, int sampleCount) {
    for (int i = sampleCount - 2; i > 0; --i)
        if (trace[i] != 0.0f) return i;
    return 0;
}

/* Returns where the taper ended. Kept on purpose: here the edge sample gets the last multiplier, at the bottom the first. */
int taperTop(float* trace, int sampleCount, int first, int taperLength, const float* taper) {
    const auto end = static_cast<int>(std::min<std::int64_t>(std::int64_t{first} + std::max(taperLength, 0), sampleCount));
    for (int i = first; i < end; ++i) trace[i] *= taper[taperLength - 1 - (i - first)];
    return end;
}

int taperBottom(float* trace, int last, int taperLength, const float* taper) {
    const int lower = std::max(last - std::max(taperLength, 0), 0);
    for (int i = last; i > lower; --i) trace[i] *= taper[last - i];
    return lower;
}

}

void applyMute(float* trace, int num, float dt, float* header, int itaperlen, float* taper) {
    if (num <= 0) return;
    const stdHdrStruct entries = stdHdr ? *stdHdr : stdHdrStruct{};
    if (const int first = firstLiveSample(trace, num)) {
        const int full = taperTop(trace, num, first, itaperlen, taper);
        setEntry(header, entries.itlive_s, static_cast<float>(first + 1) * dt);
        setEntry(header, entries.itfull_s, static_cast<float>(full) * dt);
    }
    if (const int last = lastLiveSample(trace, num)) {
        const int full = taperBottom(trace, last, itaperlen, taper);
        setEntry(header, entries.itlive_e, static_cast<float>(last + 1) * dt);
        setEntry(header, entries.itfull_e, static_cast<float>(full) * dt);
    }
}
