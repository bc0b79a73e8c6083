#include <pelta/phaseshift.h>

#include "flow/step.h"

namespace pelta {
namespace {

class Phase : public Step {
  public:
    Phase(const Parameters& parameters, const Line& line)
        : _rotation(line.sampleCount(), static_cast<float>(parameters.real("angle"))) {}

    void apply(WorkTrace& work, Findings&) override {
        std::vector<float>& samples = work.trace.samples;
        _rotation.applyPhaseShift(samples.data(), static_cast<int>(samples.size()));
        work.trace.samplesChanged = true;
    }

  private:
    PeltaPhaseShift _rotation;
};

std::unique_ptr<Step> make(const Parameters& parameters, const Line& line) { return std::make_unique<Phase>(parameters, line); }

const StepKind kind = {
    .name = "phase",
    .summary = "rotates the phase of every frequency by one angle",
    .example = "pelta phase in.sgy out.sgy --angle 90",
    .parameters =
        {
            {"angle",
             "deg",
             Kind::real,
             "angle of the rotation; cos(w t) becomes cos(w t + angle), 180 reverses the polarity",
             {},
             -360,
             360},
        },
    .make = make,
};
const Registration registration(kind);

}
}
