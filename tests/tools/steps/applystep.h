#ifndef PELTA_TESTS_APPLYSTEP_H
#define PELTA_TESTS_APPLYSTEP_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "flow/step.h"
#include "segy/reader.h"
#include "support/complaint.h"
#include "support/failure.h"
#include "support/files.h"
#include "support/segyfiles.h"

namespace pelta {

/* A step on one trace, by the texts that the command line would give it. */

constexpr int sampleCount = 500;
constexpr float intervalMs = 4.0f;

inline Line testLine(bool isFeet = false) {
    Line line;
    line.layout.sampleCount = sampleCount;
    line.layout.intervalMs = intervalMs;
    line.layout.isFeet = isFeet;
    return line;
}

inline WorkTrace traceOf(std::vector<float> samples, double offset = 0.0, double delayMs = 0.0) {
    WorkTrace work;
    work.trace.header.assign(240, 0);
    work.trace.samples = std::move(samples);
    work.facts.offset = offset;
    work.facts.delayMs = delayMs;
    return work;
}

using Texts = std::vector<std::pair<std::string, std::string>>;

inline Parameters parametersOf(const char* name, const Texts& values) {
    const StepKind* kind = findStepKind(name);
    Parameters parameters(kind->name, kind->parameters);
    for (const auto& [key, text] : values)
        for (const Parameter& parameter : kind->parameters)
            if (parameter.name == key) parameters.set(key, valueFromOption(parameter, text));
    return parameters;
}

/* As a run does it: what the workers share is made first, a line at hand. */
inline std::unique_ptr<Step> makeStep(const char* name, const Parameters& parameters, Line line = testLine()) {
    const StepKind* kind = findStepKind(name);
    if (kind->prepare && !line.prepared) {
        const ScratchFolder folder;
        writeFile(folder.file("line.sgy"), makeSegy({}));
        segy::Reader reader(folder.file("line.sgy"), {});
        line.prepared = kind->prepare(parameters, reader);
    }
    return kind->make(parameters, line);
}

struct Applied {
    std::vector<float> samples;
    Findings findings;
    bool isChanged;
    WorkTrace work;
};

inline Applied apply(const char* name, const Texts& values, WorkTrace work, const Line& line = testLine()) {
    const Parameters parameters = parametersOf(name, values);
    Findings findings;
    makeStep(name, parameters, line)->apply(work, findings);
    return {work.trace.samples, findings, work.trace.samplesChanged, work};
}

/* What a step says of parameters that it refuses. */
inline std::string refusal(const char* name, const Texts& values, const Line& line = testLine()) {
    return complaintOf<UsageError>([&] { makeStep(name, parametersOf(name, values), line); });
}

}

#endif
