#include "refraction/arrivals.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "support/failure.h"

namespace pelta::refraction {
namespace {

/* A trace's offset as its header tells it in two ways, in the file's unit. */
struct Place {
    double word = 0.0;
    double x = 0.0, y = 0.0; /* from source to receiver */
    bool hasLengths = true;  /* coordinates are no angles */
    double distance() const { return std::hypot(x, y); }
};

Place placeOf(const segy::Trace& trace, const segy::TraceFacts& facts, const segy::Layout& layout) {
    constexpr std::int64_t length = 1; /* coordinate units; 0 is not told */
    const std::int64_t unit = segy::readWord(trace.header.data(), layout.words[segy::Word::coordinateUnits], layout.byteOrder);
    return {facts.offset, facts.receiverX - facts.sourceX, facts.receiverY - facts.sourceY, unit == 0 || unit == length};
}

bool areAll(const std::vector<Place>& places, const std::function<bool(const Place&)>& isSo) {
    return std::all_of(places.begin(), places.end(), isSo);
}

bool hasWord(const std::vector<Place>& places) {
    return !areAll(places, [](const Place& place) { return place.word == 0.0; });
}

bool hasCoordinates(const std::vector<Place>& places) {
    return areAll(places, [](const Place& place) { return place.hasLengths; }) &&
           !areAll(places, [](const Place& place) { return place.distance() == 0.0; });
}

/* The word holds whole units. */
bool agree(const Place& place) {
    constexpr double rounding = 0.5, shareOfDistance = 1e-6;
    return std::abs(std::abs(place.word) - place.distance()) <= rounding + shareOfDistance * place.distance();
}

std::vector<double> offsetsFromCoordinates(const std::vector<Place>& places) {
    double extentX = 0.0, extentY = 0.0;
    for (const Place& place : places) {
        extentX += std::abs(place.x);
        extentY += std::abs(place.y);
    }
    std::vector<double> offsets;
    for (const Place& place : places)
        offsets.push_back(std::copysign(place.distance(), extentX >= extentY ? place.x : place.y));
    return offsets;
}

std::vector<double> offsetsFromWord(const std::vector<Place>& places) {
    std::vector<double> offsets;
    for (const Place& place : places) offsets.push_back(place.word);
    return offsets;
}

[[noreturn]] void failWithoutOffsets(const segy::Reader& reader, const char* what) {
    fail("{}: {}; --map offset=BYTE:SIZE tells where offsets stand", reader.name(), what);
}

std::vector<double> chooseOffsets(const segy::Reader& reader, const std::vector<Place>& places, OffsetSource source,
                                  std::string& offsetsFrom) {
    const bool takesWord = source != OffsetSource::coordinates && hasWord(places);
    const bool takesCoordinates = source != OffsetSource::word && hasCoordinates(places);
    if (!takesWord && !takesCoordinates) {
        if (source == OffsetSource::word) failWithoutOffsets(reader, "the offset word is 0 in every trace with a pick");
        if (source == OffsetSource::coordinates)
            failWithoutOffsets(reader, "the coordinates of sources and receivers are equal or no lengths");
        failWithoutOffsets(reader,
                           "the offset word is 0 in every trace with a pick, and the coordinates of sources and receivers are "
                           "equal or no lengths");
    }
    if (takesWord && takesCoordinates && !areAll(places, agree)) {
        offsetsFrom = "the offset word, which the coordinates contradict";
        return offsetsFromWord(places);
    }
    if (!takesCoordinates) {
        offsetsFrom = "the offset word";
        return offsetsFromWord(places);
    }
    offsetsFrom = takesWord                             ? "the coordinates, which the offset word rounds"
                  : source == OffsetSource::coordinates ? "the coordinates"
                                                        : "the coordinates, the offset word is 0";
    return offsetsFromCoordinates(places);
}

/* Leaves out what was read twice: otherwise it would count twice. */
int removeRepeated(std::vector<Arrival>& arrivals) {
    std::set<std::tuple<std::int64_t, std::int64_t, double, double>> known;
    const std::size_t before = arrivals.size();
    std::erase_if(arrivals, [&](const Arrival& arrival) {
        return !known.insert({arrival.record, arrival.channel, arrival.offset, arrival.timeMs}).second;
    });
    return static_cast<int>(before - arrivals.size());
}

}

Arrivals readArrivals(segy::Reader& reader, const PickOf& pickOf, OffsetSource source, const std::set<std::int64_t>& records) {
    Arrivals arrivals;
    std::vector<Place> places;
    segy::Trace trace;
    while (reader.next(trace)) {
        const segy::TraceFacts facts = segy::readFacts(trace, reader.layout());
        if (!records.empty() && !records.contains(facts.record)) continue;
        const std::optional<double> timeMs = pickOf(trace, facts);
        if (!timeMs) continue;
        arrivals.list.push_back({trace.number + 1, facts.record, facts.channel, 0.0, *timeMs});
        places.push_back(placeOf(trace, facts, reader.layout()));
    }
    if (arrivals.list.empty()) return arrivals;
    const std::vector<double> offsets = chooseOffsets(reader, places, source, arrivals.offsetsFrom);
    for (std::size_t k = 0; k < offsets.size(); ++k) arrivals.list[k].offset = reader.layout().metresPerUnit() * offsets[k];
    arrivals.repeated = removeRepeated(arrivals.list);
    return arrivals;
}

}
