#include <pelta/phaseshift.h>

#include "flow/step.h"

namespace pelta {
namespace {

class Hilbert : public Step {
  public:
    void apply(WorkTrace& work, Findings&) override {
        std::vector<float>& samples = work.trace.samples;
        _quadrature.resize(samples.size());
        applyHilbert(samples.data(), _quadrature.data(), static_cast<int>(samples.size()));
        samples.swap(_quadrature);
        work.trace.samplesChanged = true;
    }

  private:
    std::vector<float> _quadrature;
};

std::unique_ptr<Step> make(const Parameters&, const Line&) { return std::make_unique<Hilbert>(); }

const StepKind kind = {
    .name = "hilbert",
    .summary = "makes the quadrature trace, 90 degrees ahead, with a Hilbert operator of 19 samples",
    .example = "pelta hilbert in.sgy quadrature.sgy",
    .parameters = {},
    .make = make,
};
const Registration registration(kind);

}
}
