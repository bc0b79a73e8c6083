#ifndef PELTA_TOOL_TRACE_H
#define PELTA_TOOL_TRACE_H

#include <cstdint>
#include <vector>

#include "segy/layout.h"

namespace pelta::segy {

/* One trace on its way. Its bytes are those of the file until a step changes the samples or a header word. */
struct Trace {
    std::int64_t number = 0;            /* position in the file, from 0 */
    std::vector<unsigned char> header;  /* 240 bytes and what extra headers the layout has, in the file's byte order */
    std::vector<unsigned char> encoded; /* the samples as they stand in the file */
    std::vector<float> samples;         /* filled by decode() */
    bool samplesChanged = false;        /* encode() leaves unchanged samples' bytes alone */
};

/* What the trace header says, scalars applied. Lengths in the file's own unit (layout.metresPerUnit()). */
struct TraceFacts {
    std::int64_t record = 0, channel = 0, cdp = 0, traceType = 0;
    double offset = 0.0;
    double sourceX = 0.0, sourceY = 0.0, receiverX = 0.0, receiverY = 0.0, cdpX = 0.0, cdpY = 0.0;
    double sourceElevation = 0.0, receiverElevation = 0.0;
    double delayMs = 0.0; /* time of the first sample */
};
/* Types of traces. */
inline constexpr std::int64_t liveTrace = 1, deadTrace = 2;
TraceFacts readFacts(const Trace& trace, const Layout& layout);

/* Samples that are NaN or infinite. */
std::int64_t countNotFinite(const std::vector<float>& samples);

/* encoded -> samples. */
void decode(Trace& trace, const Layout& layout);
/* samples -> encoded where samplesChanged. Integer formats are rounded to the nearest (an even one where two are equally
 * near) and clipped, NaN becomes 0; the IBM format cuts off up to three low bits. Returns the number of samples that the
 * format could not hold: clipped ones, in the IBM format those that are not finite. */
std::int64_t encode(Trace& trace, const Layout& layout);

}

#endif
