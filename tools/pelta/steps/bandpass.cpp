#include <pelta/bandpassfilter.h>

#include <climits>

#include "flow/step.h"
#include "support/failure.h"

namespace pelta {
namespace {

enum Shape { ormsby = 0, butterworth = 1 };
enum Phase { zeroPhase = 0, minimumPhase = 1 };
enum Domain { frequencyDomain = 0, timeDomain = 1 };

struct Band {
    int lowCut, lowPass, highPass, highCut;
};

int wholeHertz(double number) { return static_cast<int>(number); }

/* The filter takes a Butterworth band's slopes where an Ormsby band has its cut frequencies. */
Band bandOf(const Parameters& parameters) {
    const std::vector<double>& corners = parameters.reals("corners");
    if (parameters.choice("shape") == butterworth) {
        const std::vector<double>& slopes = parameters.reals("slopes");
        if (corners.size() != 2 || slopes.size() != 2)
            failUsage("bandpass: a Butterworth band takes two corners_hz and two slopes_db_per_octave");
        if (corners[0] > corners[1]) failUsage("bandpass: corners_hz must ascend");
        return {wholeHertz(slopes[0]), wholeHertz(corners[0]), wholeHertz(corners[1]), wholeHertz(slopes[1])};
    }
    if (corners.size() != 4)
        failUsage("bandpass: an Ormsby band takes four corners_hz: low cut, low pass, high pass, high cut");
    for (int k = 0; k < 3; ++k)
        if (corners[k] > corners[k + 1]) failUsage("bandpass: corners_hz must ascend");
    return {wholeHertz(corners[0]), wholeHertz(corners[1]), wholeHertz(corners[2]), wholeHertz(corners[3])};
}

class BandPass : public Step {
  public:
    BandPass(const Parameters& parameters, const Line& line, Band band)
        : _filter(parameters.choice("shape"), parameters.choice("phase"), parameters.flag("inverse"),
                  static_cast<float>(parameters.real("truncation")), band.lowCut, band.lowPass, band.highPass, band.highCut,
                  line.sampleCount(), line.intervalMs()) {
        if (parameters.choice("domain") == frequencyDomain) {
            _filter.setTimeDomain(0);
            _filter.buildFilter(band.lowCut, band.lowPass, band.highPass, band.highCut);
        } else if (parameters.flag("keep_level")) {
            /* The operator is an inverse transform without its 1/n, so convolution multiplies the pass band by n. */
            _level = 1.0f / static_cast<float>(_filter._nfft);
        }
    }

    void apply(WorkTrace& work, Findings&) override {
        std::vector<float>& samples = work.trace.samples;
        _filter.applyFilter(samples.data(), static_cast<int>(samples.size()));
        if (_level != 1.0f)
            for (float& sample : samples) sample *= _level;
        work.trace.samplesChanged = true;
    }

  private:
    BandPassFilter _filter;
    float _level = 1.0f;
};

std::unique_ptr<Step> make(const Parameters& parameters, const Line& line) {
    const Band band = bandOf(parameters);
    const double nyquist = 500.0 / line.layout.intervalMs;
    if (band.highPass > nyquist)
        failUsage("bandpass: the upper corner of {} Hz lies above the Nyquist frequency of {:g} Hz ({:g} ms samples)",
                  band.highPass, nyquist, line.layout.intervalMs);
    return std::make_unique<BandPass>(parameters, line, band);
}

const StepKind kind = {
    .name = "bandpass",
    .summary = "filters by a band-pass of Ormsby or Butterworth shape",
    .example = "pelta bandpass in.sgy out.sgy --corners 5,10,60,80",
    .parameters =
        {
            choiceParameter("shape", "shape of the response", ormsby, {{"ormsby", ormsby}, {"butterworth", butterworth}}),
            {"corners",
             "hz",
             Kind::integers,
             "Ormsby: low cut, low pass, high pass, high cut; Butterworth: low and high corner; 0 is no low cut",
             {},
             0,
             1e6},
            {"slopes", "db_per_octave", Kind::integers, "Butterworth: low and high slope, in steps of 3",
             std::vector<double>{18, 36}, 0, 300},
            choiceParameter("phase", "phase that the time-domain operator is built from", zeroPhase,
                            {{"zero", zeroPhase}, {"minimum", minimumPhase}}),
            flagParameter("inverse", "invert the response: reject the band"),
            choiceParameter("domain", "convolve in time or multiply in frequency", timeDomain,
                            {{"time", timeDomain}, {"frequency", frequencyDomain}}),
            {"truncation", "", Kind::real, "cut the time-domain operator where it falls below this share of its peak", 0.001, 0,
             2},
            flagParameter(
                "keep_level",
                "keep the pass band's amplitudes; false leaves them multiplied by the transform length in the time domain",
                true),
        },
    .make = make,
};
const Registration registration(kind);

}
}
