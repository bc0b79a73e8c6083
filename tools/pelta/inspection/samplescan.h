#ifndef PELTA_TOOL_SAMPLESCAN_H
#define PELTA_TOOL_SAMPLESCAN_H

#include <cstdint>
#include <vector>

#include "segy/trace.h"

namespace pelta::inspection {

/* What the samples of one trace look like. */
struct TraceQuality {
    float min = 0.0f, max = 0.0f;
    float mean = 0.0f, deviation = 0.0f, rms = 0.0f; /* RMS of the samples that are not 0 */
    std::int64_t nanCount = 0, infiniteCount = 0;
    std::int64_t firstBad = -1; /* zero-based sample that is NaN or infinite */
    bool isFlat = false;        /* all samples equal */
    std::int64_t spike = -1;    /* zero-based sample that towers above the trace */
    std::int64_t clippedCount = 0;

    bool isFinite() const { return firstBad < 0; }
};

/* Looks at decoded samples. A trace with samples that are not finite is judged no further.
 *   spike    the largest amplitude, when it is at least 10 times the RMS of the rest and 5 times every sample that is two to
 *            eight samples away: a pulse of one to three samples, which no wavelet is
 *   clipped  samples in runs of three and more at the trace's largest amplitude, when there are at least six of them
 *   smallestClip  amplitudes below it are not taken for clipped: whole numbers repeat by themselves when they are small */
TraceQuality judgeSamples(std::vector<float>& samples, float smallestClip);
/* That amplitude for a sample format. */
float smallestClipOf(segy::SampleFormat format);

/* Median of many positive numbers in bounded memory, to 1 %. */
class RoughMedian {
  public:
    RoughMedian();
    void take(float value);
    /* 0 where nothing was taken. */
    float median() const;

  private:
    std::vector<std::int64_t> _bins;
    std::int64_t _count = 0;
};

/* Sums the traces up. */
class SampleScan {
  public:
    struct Span {
        float min = 0.0f, max = 0.0f;
        std::int64_t minTrace = 0, maxTrace = 0; /* from 1 */
        std::int64_t count = 0;
        double sum = 0.0;
        void take(float value, std::int64_t trace) { take(value, value, trace); }
        void take(float smallest, float largest, std::int64_t trace);
        double mean() const { return count > 0 ? sum / static_cast<double>(count) : 0.0; }
    };
    /* Traces of one kind: how many and the first ones. */
    struct Kind {
        static constexpr std::size_t mostListed = 8;
        std::int64_t count = 0;
        std::vector<std::int64_t> first; /* from 1 */
        void take(std::int64_t trace);
    };

    void take(const TraceQuality& quality, std::int64_t traceType, std::int64_t trace);

    Kind live, dead, spiky, clipped, bad; /* bad: with samples that are not finite */
    Kind markedButLive;                   /* trace type 2, but samples that vary */
    std::int64_t nanCount = 0, infiniteCount = 0, clippedCount = 0, firstBadSample = 0;
    Span amplitude, rms, mean; /* over finite traces; RMS and mean over live ones */
    float largestSpike = 0.0f; /* its ratio to the trace's RMS */
    RoughMedian rmsMedian;
};

}

#endif
