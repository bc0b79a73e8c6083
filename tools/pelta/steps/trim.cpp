#include <pelta/numeric.h>

#include <algorithm>
#include <cmath>

#include "flow/linearfunction.h"
#include "flow/step.h"
#include "support/failure.h"
#include "support/outputfile.h"

namespace pelta {
namespace {

enum Position { source = 0, receiver = 1, midpoint = 2, cdp = 3 };
enum Side { inside = 0, outside = 1 };
enum Removal { drop = 0, kill = 1 };

const PairNames eastingAndNorthing = {"easting", "", "northing", ""};

/* A closed polygon; the first corner need not be repeated. */
class Polygon {
  public:
    Polygon(const Pairs& corners, const std::string& what) {
        if (corners.size() < 3) failUsage("{}: a polygon has at least 3 corners, not {}", what, corners.size());
        /* In single precision coordinates of a national grid are good to half a metre: counted from a corner they are exact. */
        _origin = corners.front();
        for (const auto& [x, y] : corners) {
            _x.push_back(static_cast<float>(x - _origin.first));
            _y.push_back(static_cast<float>(y - _origin.second));
        }
        if (isStraight()) failUsage("{}: all {} corners lie on one line, which encloses nothing", what, corners.size());
    }

    bool contains(double x, double y) {
        return peltaPnPolygon(static_cast<int>(_x.size()), _x.data(), _y.data(), static_cast<float>(x - _origin.first),
                              static_cast<float>(y - _origin.second)) != 0;
    }

  private:
    bool isStraight() const {
        std::size_t other = 0;
        while (other < _x.size() && _x[other] == 0.0f && _y[other] == 0.0f) ++other;
        if (other == _x.size()) return true;
        for (std::size_t k = 0; k < _x.size(); ++k)
            if (static_cast<double>(_x[other]) * _y[k] != static_cast<double>(_y[other]) * _x[k]) return false;
        return true;
    }

    std::pair<double, double> _origin;
    std::vector<float> _x, _y;
};

/* Corners as given: pairs or a file of such pairs; nothing where neither is. */
std::optional<Polygon> polygonOf(const Parameters& parameters, const std::string& name, const std::string& key,
                                 const PairNames& names) {
    const std::string file = name + "_file";
    if (parameters.has(file)) return Polygon(readPairs(parameters.text(file), names), inputName(parameters.text(file)));
    if (parameters.has(name)) return Polygon(parameters.pairs(name), "trim: " + key);
    return std::nullopt;
}

struct Polygons : Preparation {
    std::optional<Polygon> area, gate;
};

std::shared_ptr<const Preparation> prepare(const Parameters& parameters, segy::Reader&) {
    auto polygons = std::make_shared<Polygons>();
    polygons->area = polygonOf(parameters, "polygon", "polygon", eastingAndNorthing);
    polygons->gate = polygonOf(parameters, "gate", "gate_m_ms", offsetAndTime);
    polygons->needsOffsets = polygons->gate.has_value();
    return polygons;
}

std::pair<double, double> positionOf(const segy::TraceFacts& facts, int position) {
    switch (position) {
        case source: return {facts.sourceX, facts.sourceY};
        case receiver: return {facts.receiverX, facts.receiverY};
        case midpoint: return {0.5 * (facts.sourceX + facts.receiverX), 0.5 * (facts.sourceY + facts.receiverY)};
        default: return {facts.cdpX, facts.cdpY};
    }
}

class Trim : public Step {
  public:
    Trim(const Parameters& parameters, const Line& line, const Polygons& polygons)
        : _layout(line.layout),
          _area(polygons.area),
          _gate(polygons.gate),
          _position(parameters.choice("position")),
          _keepsInside(parameters.choice("keep") == inside),
          _kills(parameters.choice("removal") == kill),
          _isOffsetSigned(parameters.flag("signed_offset")) {}

    void apply(WorkTrace& work, Findings&) override {
        if (_gate) return trimSamples(work);
        const auto [x, y] = positionOf(work.facts, _position);
        if (_area->contains(x, y) == _keepsInside) return;
        if (_kills) killTrace(work);
        else work.isDropped = true;
    }

  private:
    void killTrace(WorkTrace& work) {
        std::fill(work.trace.samples.begin(), work.trace.samples.end(), 0.0f);
        work.trace.samplesChanged = true;
        segy::writeWord(work.trace.header.data(), _layout.words[segy::Word::traceType], _layout.byteOrder, segy::deadTrace);
    }

    void trimSamples(WorkTrace& work) {
        const double signedOffset = work.facts.offset * _layout.metresPerUnit();
        const double offset = _isOffsetSigned ? signedOffset : std::abs(signedOffset);
        std::vector<float>& samples = work.trace.samples;
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const double timeMs = work.facts.delayMs + static_cast<double>(i) * _layout.intervalMs;
            if (_gate->contains(offset, timeMs) == _keepsInside) continue;
            samples[i] = 0.0f;
            work.trace.samplesChanged = true;
        }
    }

    segy::Layout _layout;
    std::optional<Polygon> _area, _gate;
    int _position;
    bool _keepsInside, _kills, _isOffsetSigned;
};

/* Coordinates that are 0 on every trace were never written there. */
class PositionCheck : public Collector {
  public:
    PositionCheck(int position, std::string positionName) : _position(position), _name(std::move(positionName)) {}

    void collect(const WorkTrace& work, const Findings&) override {
        _isSatisfied = _isSatisfied || positionOf(work.facts, _position) != std::pair{0.0, 0.0};
    }
    void check() override {
        if (!_isSatisfied)
            fail("trim: the {} coordinates are 0 on every trace; position chooses others, --map {} names their words", _name,
                 _position == cdp ? "cdp_x=BYTE:SIZE,cdp_y=BYTE:SIZE" : "NAME=BYTE:SIZE");
    }
    void finish() override {}

  private:
    int _position;
    std::string _name;
    bool _isSatisfied = false;
};

bool hasGate(const Parameters& parameters) { return parameters.has("gate") || parameters.has("gate_file"); }

bool dropsTraces(const Parameters& parameters) { return !hasGate(parameters) && parameters.choice("removal") == drop; }

std::unique_ptr<Step> make(const Parameters& parameters, const Line& line) {
    if (parameters.has("polygon") + parameters.has("polygon_file") + parameters.has("gate") + parameters.has("gate_file") != 1)
        failUsage("trim: give one of polygon, polygon_file, gate_m_ms and gate_file");
    return std::make_unique<Trim>(parameters, line, static_cast<const Polygons&>(*line.prepared));
}

std::unique_ptr<Collector> makeCollector(const Parameters& parameters, const Line&) {
    if (hasGate(parameters)) return nullptr;
    static constexpr const char* names[] = {"source", "receiver", "midpoint", "cdp"};
    return std::make_unique<PositionCheck>(parameters.choice("position"), names[parameters.choice("position")]);
}

const StepKind kind = {
    .name = "trim",
    .summary = "keeps the traces of an area, or the samples of a gate over offset and time",
    .example = "pelta trim in.sgy out.sgy --polygon 1000:-50,3000:-50,3000:50,1000:50 --position midpoint",
    .parameters =
        {
            {"polygon", "", Kind::pairs,
             "corners of a polygon, easting and northing as in the file, which traces are chosen by"},
            inputFileParameter("polygon_file", "CSV file of such corners, an easting and a northing a line"),
            choiceParameter("position", "coordinates of a trace that tell whether it lies in the area", cdp,
                            {{"source", source}, {"receiver", receiver}, {"midpoint", midpoint}, {"cdp", cdp}}),
            {"gate", "m_ms", Kind::pairs, "corners of a polygon, offset and time, which samples are chosen by"},
            inputFileParameter("gate_file", "CSV file of such corners, an offset and a time a line"),
            flagParameter("signed_offset", "the gate's offsets have a sign; otherwise a trace's sign is passed over"),
            choiceParameter("keep", "which side of the polygon to keep", inside, {{"inside", inside}, {"outside", outside}}),
            choiceParameter("removal", "leave traces out of the output, or keep them zeroed and marked as dead (trace type 2)",
                            drop, {{"drop", drop}, {"kill", kill}}),
        },
    .make = make,
    .prepare = prepare,
    .makeCollector = makeCollector,
    .mayDropTraces = dropsTraces,
};
const Registration registration(kind);

}
}
