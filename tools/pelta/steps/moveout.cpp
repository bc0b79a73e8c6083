#include <pelta/normalmoveout.h>

#include <algorithm>
#include <cmath>

#include "flow/step.h"
#include "flow/timefunction.h"
#include "support/failure.h"

namespace pelta {
namespace {

enum Mode { forward = 0, inverse = 1, block = 2 };

constexpr double everyOffset = -1e9;

/* The velocity function as given: one velocity, pairs of time and velocity, or a file of such pairs. */
TimeFunction velocityOf(const Parameters& parameters) {
    const int given = parameters.has("velocity") + parameters.has("velocity_table") + parameters.has("velocity_file");
    if (given != 1) failUsage("moveout: give one of velocity_m_per_s, velocity_table_ms_m_per_s and velocity_file");
    const TimeFunction function = parameters.has("velocity_file") ? readTimeFunction(parameters.text("velocity_file"))
                                  : parameters.has("velocity_table")
                                      ? TimeFunction(parameters.pairs("velocity_table"), "moveout: velocity_table_ms_m_per_s")
                                      : TimeFunction(parameters.real("velocity"));
    if (!(function.smallestValue() > 0.0)) failUsage("moveout: velocities must be above 0");
    return function;
}

/* Moveout in seconds and metres. The library reads a trace as if its first sample were at time 0, so a trace that begins
 * later is worked on with zeros before it, and one that begins earlier from its time 0 on. */
class Moveout : public Step {
  public:
    Moveout(const Parameters& parameters, const Line& line)
        : _mode(parameters.choice("mode")),
          _metresPerUnit(line.layout.metresPerUnit()),
          _intervalMs(line.layout.intervalMs),
          _velocityFunction(velocityOf(parameters)),
          _fourthOrder(static_cast<float>(parameters.real("fourth_order"))),
          _windowMs(parameters.has("window") ? parameters.reals("window") : std::vector<double>{}),
          _stretch(static_cast<float>(parameters.real("stretch") / 100.0)),
          _stretchFrom(static_cast<float>(parameters.real("stretch_from_offset"))),
          _isTwoWay(!parameters.flag("one_way")),
          _isConvertedWave(parameters.flag("converted_wave")) {
        makeOperator(line.sampleCount());
    }

    void apply(WorkTrace& work, Findings&) override {
        std::vector<float>& samples = work.trace.samples;
        const double lead = std::round(work.facts.delayMs / _intervalMs);
        if (std::abs(lead) >= longestLead)
            fail("trace {}: a delay of {:g} ms is more than moveout takes; --map delay=BYTE:SIZE names the right word",
                 work.trace.number + 1, work.facts.delayMs);
        const int leadCount = static_cast<int>(lead);
        const int count = static_cast<int>(samples.size()) + leadCount;
        const auto offset = static_cast<float>(work.facts.offset * _metresPerUnit);
        if (count <= 0) return;
        work.trace.samplesChanged = true;
        if (leadCount <= 0) return correct(samples.data() - leadCount, count, offset);
        if (count > _moveout->_nsamples) makeOperator(count);
        _padded.assign(static_cast<std::size_t>(count), 0.0f);
        std::copy(samples.begin(), samples.end(), _padded.begin() + leadCount);
        correct(_padded.data(), count, offset);
        std::copy(_padded.begin() + leadCount, _padded.end(), samples.begin());
    }

  private:
    static constexpr double longestLead = 1 << 24;

    void makeOperator(int sampleCount) {
        _moveout = std::make_unique<NormalMoveout>(sampleCount, static_cast<float>(_intervalMs / 1000.0), _stretch,
                                                   _stretchFrom, _isTwoWay, _fourthOrder != 0.0f);
        _moveout->setConvertedWave(_isConvertedWave);
        _fourthOrders.assign(static_cast<std::size_t>(sampleCount), _fourthOrder);
        _velocities.resize(static_cast<std::size_t>(sampleCount));
        for (int i = 0; i < sampleCount; ++i) _velocities[i] = static_cast<float>(_velocityFunction.at(i * _intervalMs));
    }

    int sampleAt(double timeMs, int count) const {
        return static_cast<int>(std::clamp(std::round(timeMs / _intervalMs), 0.0, static_cast<double>(count)));
    }

    void correct(float* fromTimeZero, int count, float offset) {
        const int first = _windowMs.empty() ? 0 : sampleAt(_windowMs[0], count);
        const int end = _windowMs.empty() ? count : sampleAt(_windowMs[1], count);
        const auto operation = _mode == inverse ? &NormalMoveout::unApplyNMO
                               : _mode == block ? &NormalMoveout::applyBlockNMO
                                                : &NormalMoveout::applyNMO;
        (_moveout.get()->*operation)(fromTimeZero, _velocities.data(), _fourthOrders.data(), count, 0.0f, offset, first, end);
    }

    int _mode;
    double _metresPerUnit, _intervalMs;
    TimeFunction _velocityFunction;
    float _fourthOrder;
    std::vector<double> _windowMs;
    float _stretch, _stretchFrom;
    bool _isTwoWay, _isConvertedWave;
    std::unique_ptr<NormalMoveout> _moveout;
    std::vector<float> _velocities, _fourthOrders, _padded;
};

std::unique_ptr<Step> make(const Parameters& parameters, const Line& line) {
    if (parameters.has("window")) {
        const std::vector<double>& window = parameters.reals("window");
        if (window.size() != 2 || !(window[0] < window[1])) failUsage("moveout: window_ms takes two times, start and end");
    } else if (parameters.choice("mode") == block) {
        failUsage("moveout: mode block needs window_ms, the window to shift");
    }
    return std::make_unique<Moveout>(parameters, line);
}

const StepKind kind = {
    .name = "moveout",
    .summary = "normal-moveout correction, its inverse, or the rigid shift of a window",
    .example = "pelta moveout in.sgy out.sgy --velocity-table 0:1500,1000:2200,3000:3400 --stretch 30",
    .parameters =
        {
            {"mode",
             "",
             Kind::choice,
             "flatten reflections, undo it, or shift one window as a block",
             std::int64_t{forward},
             0,
             2,
             {{"forward", 0}, {"inverse", 1}, {"block", 2}}},
            {"velocity", "m_per_s", Kind::real, "one velocity for all times", {}, 1e-3, 1e6},
            {"velocity_table",
             "ms_m_per_s",
             Kind::pairs,
             "pairs of time and velocity, times ascending, linear between them",
             {},
             0,
             1e9},
            {"velocity_file", "", Kind::text, "CSV file of the same pairs, a time and a velocity a line"},
            {"fourth_order", "", Kind::real, "coefficient of the fourth-order term; 0 is the hyperbola", 0.0, -1e3, 1e3},
            {"converted_wave", "", Kind::flag, "moveout of a P wave down and an S wave up", false},
            {"one_way", "", Kind::flag, "times are one-way: halve the moveout", false},
            {"stretch", "percent", Kind::real, "mute where a sample is stretched by more; 100 mutes nothing", 30.0, 0, 100},
            {"stretch_from_offset", "m", Kind::real, "mute only at signed offsets from this one on", everyOffset, -1e9, 1e9},
            {"window",
             "ms",
             Kind::reals,
             "start and end of the samples to move, from shot time; mode block needs it",
             {},
             0,
             1e9},
        },
    .make = make,
    .needsOffsets = [](const Parameters&) { return true; },
};
const Registration registration(kind);

}
}
