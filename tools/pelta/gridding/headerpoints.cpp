#include "gridding/headerpoints.h"

#include <functional>

#include "support/failure.h"

namespace pelta::gridding {
namespace {

using segy::Word;

using WordOf = std::function<double(const segy::Trace&)>;

/* The scalar that goes with a word. */
std::optional<segy::HeaderWord> scalarOf(const std::string& name, const segy::HeaderMap& words) {
    if (name.ends_with("_x") || name.ends_with("_y")) return words[Word::coordinateScalar];
    if (name.ends_with("_elevation") || name.ends_with("_depth")) return words[Word::elevationScalar];
    return std::nullopt;
}

/* Reads a word by its name. */
WordOf wordOf(const std::string& name, const segy::Layout& layout) {
    const auto word = layout.words.find(name);
    if (!word) failUsage("{}: has no place in the trace header; --map {}=BYTE:SIZE gives it one", name, name);
    const auto read = [order = layout.byteOrder](const segy::Trace& trace, segy::HeaderWord from) {
        return segy::readWord(trace.header.data(), from, order);
    };
    if (const auto scalar = scalarOf(name, layout.words))
        return [=](const segy::Trace& trace) { return segy::scaled(read(trace, *word), read(trace, *scalar)); };
    return [=](const segy::Trace& trace) { return static_cast<double>(read(trace, *word)); };
}

/* What a trace has for a value. */
PickOf valueOf(const std::string& name, const segy::Layout& layout, const PickOf& pickOf) {
    if (name == "pick") return pickOf;
    if (name == "traces")
        return [](const segy::Trace&, const segy::TraceFacts& facts) {
            return facts.traceType == segy::deadTrace ? std::nullopt : std::optional(1.0);
        };
    return
        [word = wordOf(name, layout)](const segy::Trace& trace, const segy::TraceFacts&) { return std::optional(word(trace)); };
}

}

HeaderColumns withUsualPlaces(HeaderColumns columns) {
    const char* const owner = columns.z.starts_with("source_")     ? "source"
                              : columns.z.starts_with("receiver_") ? "receiver"
                                                                   : "cdp";
    if (columns.x.empty()) columns.x = fmt::format("{}_x", owner);
    if (columns.y.empty()) columns.y = fmt::format("{}_y", owner);
    return columns;
}

PointSet readHeaderPoints(segy::Reader& reader, const HeaderColumns& columns, const PickOf& pickOf) {
    const WordOf xOf = wordOf(columns.x, reader.layout()), yOf = wordOf(columns.y, reader.layout());
    const PickOf zOf = valueOf(columns.z, reader.layout(), pickOf);
    PointSet set;
    set.xName = columns.x;
    set.yName = columns.y;
    set.zName = columns.z == "pick" ? "first break, ms" : columns.z;
    segy::Trace trace;
    while (reader.nextHeader(trace)) {
        const auto value = zOf(trace, segy::readFacts(trace, reader.layout()));
        if (value) set.points.add(xOf(trace), yOf(trace), *value);
        else ++set.withoutValue;
    }
    if (columns.z == "traces") set.points = countedPlaces(set.points);
    return set;
}

}
