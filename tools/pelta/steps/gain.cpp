#include <pelta/peltaagc.h>

#include <climits>

#include "flow/step.h"
#include "segy/binaryheader.h"
#include "segy/writer.h"

namespace pelta {
namespace {

class Gain : public Step {
  public:
    Gain(const Parameters& parameters, const Line& line)
        : _agc(line.sampleCount(), static_cast<int>(parameters.integer("window")), line.intervalMs()),
          _reportsGains(parameters.has("gains_file")) {}

    void apply(WorkTrace& work, Findings& findings) override {
        std::vector<float>& samples = work.trace.samples;
        const int count = static_cast<int>(samples.size());
        _agc.applyAGC(samples.data(), count);
        work.trace.samplesChanged = true;
        if (_reportsGains) findings.assign(_agc.savedGain(), _agc.savedGain() + count);
    }

  private:
    PeltaAGC _agc;
    bool _reportsGains;
};

/* Writes the gains as a SEG-Y file of IEEE floats with the traces' own headers. */
class GainsFile : public Collector {
  public:
    GainsFile(const std::string& name, const Line& line)
        : _layout(withIeeeSamples(line.layout)), _writer(name, line.overwrite, withIeeeFormat(line)) {}

    void collect(const WorkTrace& work, const Findings& findings) override {
        _trace.header = work.trace.header;
        _trace.samples = findings;
        _trace.samplesChanged = true;
        segy::encode(_trace, _layout);
        _writer.write(_trace);
    }
    void finish() override { _writer.commit(); }

  private:
    static segy::Layout withIeeeSamples(segy::Layout layout) {
        layout.format = segy::SampleFormat::ieee;
        return layout;
    }
    static segy::Preamble withIeeeFormat(const Line& line) {
        segy::Preamble preamble = line.preamble;
        segy::writeWord(preamble.data(), segy::formatWord, line.layout.byteOrder, static_cast<int>(segy::SampleFormat::ieee));
        return preamble;
    }

    segy::Layout _layout;
    segy::Writer _writer;
    segy::Trace _trace;
};

std::unique_ptr<Step> make(const Parameters& parameters, const Line& line) { return std::make_unique<Gain>(parameters, line); }

std::unique_ptr<Collector> makeCollector(const Parameters& parameters, const Line& line) {
    if (!parameters.has("gains_file")) return nullptr;
    return std::make_unique<GainsFile>(parameters.text("gains_file"), line);
}

const StepKind kind = {
    .name = "gain",
    .summary = "controls gain automatically: divides by the median amplitude of a sliding window",
    .example = "pelta gain in.sgy out.sgy --window 500",
    .parameters =
        {
            {"window", "ms", Kind::integer, "length of the sliding window", std::int64_t{500}, 1, INT_MAX},
            outputFileParameter("gains_file", "write the gains to this SEG-Y file"),
        },
    .make = make,
    .makeCollector = makeCollector,
};
const Registration registration(kind);

}
}
