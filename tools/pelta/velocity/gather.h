#ifndef PELTA_TOOL_VELOCITY_GATHER_H
#define PELTA_TOOL_VELOCITY_GATHER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "flow/timefunction.h"
#include "segy/reader.h"
#include "velocity/place.h"

namespace pelta::velocity {

/* Live traces of equal length by ascending offset. Every trace begins at time 0. */
struct Gather {
    int sampleCount = 0;
    double intervalMs = 0.0;
    std::vector<double> offsets; /* m */
    Place place = {};            /* the mean of its traces' */
    std::vector<float> samples;  /* trace after trace */

    int traceCount() const { return static_cast<int>(offsets.size()); }
    const float* trace(int number) const { return samples.data() + static_cast<std::size_t>(number) * sampleCount; }
    float* trace(int number) { return samples.data() + static_cast<std::size_t>(number) * sampleCount; }
};

/* Which traces of a line make a gather: those of a record, or of the CDPs from first to last. */
struct GatherChoice {
    enum class Kind { cdp, record } kind = Kind::cdp;
    std::int64_t first = 0, last = 0;
    /* "CDP 150", "CDPs 150 to 154", "record 5" */
    std::string name() const;
};

/* Reads the chosen traces. Dead ones are left out, samples that are no numbers become 0 with a warning, and traces that begin
 * before or after time 0 are cut or padded to begin there. Fails with one line when nothing can be learned of velocities from
 * them: no such traces, fewer than two live ones, offsets that are all 0 or all the same. */
Gather readGather(segy::Reader& reader, const GatherChoice& choice);

/* The gather after moveout with a velocity function (m/s), muted where it is stretched by more than the share given. */
Gather correctedGather(const Gather& gather, const TimeFunction& velocities, float stretch);

}

#endif
