#include <pelta/normalmoveout.h>

#include <algorithm>
#include <cmath>

#include "flow/step.h"
#include "flow/timefunction.h"
#include "support/failure.h"
#include "velocity/field.h"

namespace pelta {
namespace {

enum Mode { forward = 0, inverse = 1, block = 2 };

constexpr float everyOffset = -1e9f;

/* What a velocity file holds, where there is one: a function for all places, or functions in theirs. */
struct FileVelocities : Preparation {
    std::optional<TimeFunction> function;
    std::vector<velocity::ControlPoint> points;
};

std::shared_ptr<const Preparation> prepare(const Parameters& parameters, segy::Reader& reader) {
    auto velocities = std::make_shared<FileVelocities>();
    velocities->needsOffsets = true;
    if (!parameters.has("velocity_file")) return velocities;
    const velocity::FunctionTable table = velocity::readFunctions(parameters.text("velocity_file"));
    if (table.holdsEverywhere()) {
        velocities->function = TimeFunction(table.onlyPairs(), table.fileName);
        return velocities;
    }
    const auto by = static_cast<velocity::PlacedBy>(parameters.choice("velocity_by"));
    velocity::ControlPoints placed = velocity::placeFunctions(table, by, &reader);
    velocities->needsPlaces = by == velocity::PlacedBy::coordinates;
    velocities->needsCdps = by == velocity::PlacedBy::cdp;
    velocities->points = std::move(placed.points);
    velocities->warnings = std::move(placed.warnings);
    return velocities;
}

/* Velocities at the samples of a trace, whatever they were given as: one velocity, pairs of time and velocity, a file. */
class SampleVelocities {
  public:
    SampleVelocities(const Parameters& parameters, const Line& line)
        : _intervalMs(line.layout.intervalMs), _by(static_cast<velocity::PlacedBy>(parameters.choice("velocity_by"))) {
        const int given = parameters.has("velocity") + parameters.has("velocity_table") + parameters.has("velocity_file");
        if (given != 1) failUsage("moveout: give one of velocity_m_per_s, velocity_table_ms_m_per_s and velocity_file");
        const auto* ofFile = static_cast<const FileVelocities*>(line.prepared.get());
        if (parameters.has("velocity")) _function = TimeFunction(parameters.real("velocity"));
        else if (parameters.has("velocity_table"))
            _function = TimeFunction(parameters.pairs("velocity_table"), "moveout: velocity_table_ms_m_per_s");
        else if (ofFile->function) _function = ofFile->function;
        else _field.emplace(ofFile->points);
        if (_function && !(_function->smallestValue() > 0.0)) failUsage("moveout: velocities must be above 0");
    }

    /* From time 0 on, as many as there will be at most. */
    void resize(int count) {
        _velocities.resize(static_cast<std::size_t>(count));
        _place.reset();
        for (int i = 0; _function && i < count; ++i) _velocities[i] = static_cast<float>(_function->at(i * _intervalMs));
    }

    /* Of a trace. Neighbours often lie in one place. */
    float* at(const segy::TraceFacts& facts) {
        if (_function) return _velocities.data();
        const velocity::Place place =
            _by == velocity::PlacedBy::cdp ? velocity::Place{static_cast<double>(facts.cdp), 0.0} : velocity::placeOf(facts);
        if (_place != place)
            _field->functionAt(place, 0.0, _intervalMs, static_cast<int>(_velocities.size()), _velocities.data());
        _place = place;
        return _velocities.data();
    }

    /* The trace does not say where it lies, and that matters. */
    bool lackPlace(const segy::TraceFacts& facts) const {
        if (_function) return false;
        return _by == velocity::PlacedBy::cdp ? facts.cdp == 0 : !velocity::hasPlace(facts);
    }

  private:
    double _intervalMs;
    velocity::PlacedBy _by;
    std::optional<TimeFunction> _function;
    std::optional<velocity::Field> _field; /* where there is no one function */
    std::optional<velocity::Place> _place; /* of the velocities from the field */
    std::vector<float> _velocities;
};

/* Moveout in seconds and metres. The library reads a trace as if its first sample were at time 0, so a trace that begins
 * later is worked on with zeros before it, and one that begins earlier from its time 0 on. */
class Moveout : public Step {
  public:
    Moveout(const Parameters& parameters, const Line& line)
        : _mode(parameters.choice("mode")),
          _metresPerUnit(line.layout.metresPerUnit()),
          _intervalMs(line.layout.intervalMs),
          _velocities(parameters, line),
          _fourthOrder(static_cast<float>(parameters.real("fourth_order"))),
          _windowMs(parameters.has("window") ? parameters.reals("window") : std::vector<double>{}),
          _stretch(static_cast<float>(parameters.real("stretch") / 100.0)),
          _stretchFrom(parameters.has("stretch_from_offset") ? static_cast<float>(parameters.real("stretch_from_offset"))
                                                             : everyOffset),
          _isTwoWay(!parameters.flag("one_way")),
          _isConvertedWave(parameters.flag("converted_wave")) {
        makeOperator(line.sampleCount());
    }

    /* The finding says whether the trace lacks the place that its velocities are of. */
    void apply(WorkTrace& work, Findings& findings) override {
        findings.push_back(_velocities.lackPlace(work.facts) ? 1.0f : 0.0f);
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
        if (count > _moveout->_nsamples) makeOperator(count);
        float* velocities = _velocities.at(work.facts);
        if (leadCount <= 0) return correct(samples.data() - leadCount, velocities, count, offset);
        _padded.assign(static_cast<std::size_t>(count), 0.0f);
        std::copy(samples.begin(), samples.end(), _padded.begin() + leadCount);
        correct(_padded.data(), velocities, count, offset);
        std::copy(_padded.begin() + leadCount, _padded.end(), samples.begin());
    }

  private:
    static constexpr double longestLead = 1 << 24;

    void makeOperator(int sampleCount) {
        _moveout = std::make_unique<NormalMoveout>(sampleCount, static_cast<float>(_intervalMs / 1000.0), _stretch,
                                                   _stretchFrom, _isTwoWay, _fourthOrder != 0.0f);
        _moveout->setConvertedWave(_isConvertedWave);
        _fourthOrders.assign(static_cast<std::size_t>(sampleCount), _fourthOrder);
        _velocities.resize(sampleCount);
    }

    int sampleAt(double timeMs, int count) const {
        return static_cast<int>(std::clamp(std::round(timeMs / _intervalMs), 0.0, static_cast<double>(count)));
    }

    void correct(float* fromTimeZero, float* velocities, int count, float offset) {
        const int first = _windowMs.empty() ? 0 : sampleAt(_windowMs[0], count);
        const int end = _windowMs.empty() ? count : sampleAt(_windowMs[1], count);
        const auto operation = _mode == inverse ? &NormalMoveout::unApplyNMO
                               : _mode == block ? &NormalMoveout::applyBlockNMO
                                                : &NormalMoveout::applyNMO;
        (_moveout.get()->*operation)(fromTimeZero, velocities, _fourthOrders.data(), count, 0.0f, offset, first, end);
    }

    int _mode;
    double _metresPerUnit, _intervalMs;
    SampleVelocities _velocities;
    float _fourthOrder;
    std::vector<double> _windowMs;
    float _stretch, _stretchFrom;
    bool _isTwoWay, _isConvertedWave;
    std::unique_ptr<NormalMoveout> _moveout;
    std::vector<float> _fourthOrders, _padded;
};

/* Counts the traces without a place. */
class PlaceCoverage : public Collector {
  public:
    explicit PlaceCoverage(velocity::PlacedBy by) : _by(by) {}

    void collect(const WorkTrace&, const Findings& findings) override {
        ++_traces;
        if (findings.front() != 0.0f) ++_lacking;
    }
    void finish() override {
        if (_lacking == 0) return;
        const bool isByCdp = _by == velocity::PlacedBy::cdp;
        warn(fmt::format("moveout: {} of {} traces have no {} and got the velocities of {}", _lacking, _traces,
                         isByCdp ? "CDP" : "coordinates", isByCdp ? "CDP 0" : "x 0, y 0"));
    }

  private:
    velocity::PlacedBy _by;
    std::int64_t _traces = 0, _lacking = 0;
};

std::unique_ptr<Collector> makeCollector(const Parameters& parameters, const Line&) {
    if (!parameters.has("velocity_file")) return nullptr;
    return std::make_unique<PlaceCoverage>(static_cast<velocity::PlacedBy>(parameters.choice("velocity_by")));
}

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
    .summary = "corrects normal moveout, undoes that, or shifts a window rigidly",
    .example = "pelta moveout in.sgy out.sgy --velocity-table 0:1500,1000:2200,3000:3400 --stretch 30",
    .parameters =
        {
            choiceParameter("mode", "flatten reflections, undo it, or shift one window as a block", forward,
                            {{"forward", forward}, {"inverse", inverse}, {"block", block}}),
            {"velocity", "m_per_s", Kind::real, "one velocity for all times", {}, 1e-3, 1e6},
            {"velocity_table",
             "ms_m_per_s",
             Kind::pairs,
             "pairs of time and velocity, times ascending, linear between them",
             {},
             0,
             1e9},
            inputFileParameter(
                "velocity_file",
                "CSV file of the same pairs, a time and a velocity a line, or of functions by cdp or x and y, which are "
                "interpolated at every trace's place"),
            choiceParameter(
                "velocity_by",
                "how places are told: by the CDP's coordinates (where they are 0, the midpoint's), or by its number alone", 0,
                {{"coordinates", static_cast<int>(velocity::PlacedBy::coordinates)},
                 {"cdp", static_cast<int>(velocity::PlacedBy::cdp)}}),
            {"fourth_order", "", Kind::real, "coefficient of the fourth-order term; 0 is the hyperbola", 0.0, -1e3, 1e3},
            flagParameter("converted_wave", "moveout of a P wave down and an S wave up"),
            flagParameter("one_way", "times are one-way: halve the moveout"),
            {"stretch", "percent", Kind::real, "mute where a sample is stretched by more; 100 mutes nothing", 30.0, 0, 100},
            {"stretch_from_offset",
             "m",
             Kind::real,
             "mute only at signed offsets from this one on (every offset)",
             {},
             -1e9,
             1e9},
            {"window",
             "ms",
             Kind::reals,
             "start and end of the samples to move, from shot time; mode block needs it",
             {},
             0,
             1e9},
        },
    .make = make,
    .prepare = prepare,
    .makeCollector = makeCollector,
};
const Registration registration(kind);

}
}
