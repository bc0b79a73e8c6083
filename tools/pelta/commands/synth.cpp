#include <fmt/format.h>

#include <algorithm>

#include "commands/command.h"
#include "commands/options.h"
#include "segy/writer.h"
#include "support/failure.h"
#include "support/textoutput.h"
#include "synthesis/line.h"

namespace pelta {
namespace {

struct Request {
    std::string output, firstBreaksName, velocitiesName, format = "ibm", endian = "big";
    synthesis::Survey survey;
    double lateralPercent = 0.0;
    bool overwrite = false;
};

segy::Layout layoutOf(const Request& request) {
    segy::Layout layout;
    layout.format = formatFrom(request.format);
    layout.byteOrder = byteOrderFrom(request.endian);
    layout.sampleCount = request.survey.sampleCount;
    layout.intervalMs = request.survey.intervalMs;
    layout.revisionMajor = 1;
    return layout;
}

/* Scales to a range that an integer format resolves; floats keep their size. */
float levelFor(segy::SampleFormat format) {
    switch (format) {
        case segy::SampleFormat::int8: return 12.0f;
        case segy::SampleFormat::int16: return 3000.0f;
        case segy::SampleFormat::int32: return 1e7f;
        default: return 1.0f;
    }
}

void setHeader(segy::Trace& trace, const segy::Layout& layout, const synthesis::Station& station) {
    trace.header.assign(segy::traceHeaderBytes, 0);
    using segy::Word;
    const auto set = [&](Word word, std::int64_t value) {
        segy::writeWord(trace.header.data(), layout.words[word], layout.byteOrder, value);
    };
    constexpr int decimetres = -10; /* coordinate scalar: words hold tenths */
    const auto tenths = [](double metres) { return std::llround(10.0 * metres); };
    set(Word::trace, trace.number + 1);
    set(Word::traceInFile, trace.number + 1);
    set(Word::record, station.record);
    set(Word::channel, station.channel);
    set(Word::source, station.record);
    set(Word::cdp, station.cdp);
    set(Word::traceType, station.isDead ? segy::deadTrace : segy::liveTrace);
    set(Word::offset, std::llround(station.offset()));
    set(Word::elevationScalar, 1);
    set(Word::coordinateScalar, decimetres);
    set(Word::coordinateUnits, 1);
    set(Word::sourceX, tenths(station.sourceX));
    set(Word::receiverX, tenths(station.receiverX));
    set(Word::cdpX, tenths(0.5 * (station.sourceX + station.receiverX)));
    set(Word::samples, layout.sampleCount);
    set(Word::interval, std::llround(1000.0 * layout.intervalMs));
}

std::vector<std::string> textHeader(const Request& request) {
    const synthesis::Survey& survey = request.survey;
    return {"C 1 Synthetic shot records made by pelta " PELTA_VERSION,
            fmt::format("C 2 seed {}, {} records of {} channels, {:g} m between receivers", survey.seed, survey.recordCount,
                        survey.channelCount, survey.receiverInterval),
            fmt::format("C 3 {} samples at {:g} ms, noise {:g} of the first break", survey.sampleCount, survey.intervalMs,
                        survey.noise),
            "C 4 true first breaks and velocities stand in the CSV files beside this one"};
}

/* One function, or where velocities vary along the line some at CDPs evenly apart, both ends among them. */
void writeVelocities(TextOutput& file, const synthesis::Survey& survey, const synthesis::TraceMaker& maker) {
    const bool isOne = survey.lateral == 0.0;
    constexpr int first = synthesis::TraceMaker::firstCdp, stretches = 8;
    const int last = isOne ? first : maker.lastCdp(), apart = std::max(1, (last - first) / stretches);
    file.write(isOne ? "time_ms,velocity_m_per_s\n" : "cdp,x,y,time_ms,velocity_m_per_s\n");
    for (int cdp = first;; cdp = std::min(cdp + apart, last)) {
        const double midpoint = maker.midpointOf(cdp), factor = isOne ? 1.0 : maker.velocityFactor(midpoint);
        const std::string place = isOne ? "" : fmt::format("{},{:.10g},0,", cdp, midpoint);
        for (const synthesis::Reflection& reflection : synthesis::reflections)
            file.write(fmt::format("{}{:g},{:.7g}\n", place, reflection.time, factor * reflection.velocity));
        if (cdp == last) return;
    }
}

/* Traces and their true first breaks; returns how many there are. */
std::int64_t writeTraces(segy::Writer& writer, TextOutput& firstBreaks, const segy::Layout& layout,
                         const synthesis::Survey& survey, synthesis::TraceMaker& maker) {
    firstBreaks.write("trace,record,channel,offset_m,first_break_ms,live\n");
    segy::Trace trace;
    const float level = levelFor(layout.format);
    for (int record = 0; record < survey.recordCount; ++record)
        for (int channel = 0; channel < survey.channelCount; ++channel, ++trace.number) {
            const synthesis::Station station = maker.station(record, channel);
            maker.make(station, trace.samples);
            for (float& sample : trace.samples) sample *= level;
            setHeader(trace, layout, station);
            trace.samplesChanged = true;
            segy::encode(trace, layout);
            writer.write(trace);
            firstBreaks.write(fmt::format("{},{},{},{:g},{:.4f},{}\n", trace.number + 1, station.record, station.channel,
                                          station.offset(), maker.firstBreakMs(station), station.isDead ? 0 : 1));
        }
    return trace.number;
}

int synthesise(const Request& request) {
    const segy::Layout layout = layoutOf(request);
    synthesis::Survey survey = request.survey;
    survey.lateral = request.lateralPercent / 100.0;
    segy::Writer writer(request.output, request.overwrite, segy::makePreamble(layout, textHeader(request)));
    TextOutput firstBreaks(request.firstBreaksName.empty() ? request.output + ".first_breaks.csv" : request.firstBreaksName,
                           request.overwrite);
    TextOutput velocities(request.velocitiesName.empty() ? request.output + ".velocities.csv" : request.velocitiesName,
                          request.overwrite);
    synthesis::TraceMaker maker(survey);
    writeVelocities(velocities, survey, maker);
    const std::int64_t traces = writeTraces(writer, firstBreaks, layout, survey, maker);
    firstBreaks.commit();
    velocities.commit();
    writer.commit();
    tell(fmt::format("pelta: {} traces -> {}, first breaks -> {}, velocities -> {}\n", traces, request.output,
                     firstBreaks.name(), velocities.name()));
    return 0;
}

std::function<int()> define(CLI::App& app) {
    auto request = std::make_shared<Request>();
    synthesis::Survey& survey = request->survey;
    app.add_option("OUT", request->output, "SEG-Y file to write")->required()->type_name("FILE");
    app.add_option("--first-breaks", request->firstBreaksName, "CSV file of the true first breaks (OUT.first_breaks.csv)")
        ->type_name("FILE");
    app.add_option("--velocities", request->velocitiesName,
                   "CSV file of the reflections' zero-offset times and stacking velocities (OUT.velocities.csv)")
        ->type_name("FILE");
    app.add_option("--seed", survey.seed, "seed of everything random")->capture_default_str();
    app.add_option("--records", survey.recordCount, "shot records")->check(inRange(1, 1000000))->capture_default_str();
    app.add_option("--channels", survey.channelCount, "channels a record")->check(inRange(1, 100000))->capture_default_str();
    app.add_option("--samples", survey.sampleCount, "samples a trace")->check(inRange(8, 65535))->capture_default_str();
    app.add_option("--interval", survey.intervalMs, "sample interval, ms")->check(inRange(0.05, 32.767))->capture_default_str();
    app.add_option("--receiver-interval", survey.receiverInterval, "distance of receivers, m")
        ->check(inRange(0.1, 10000.0))
        ->capture_default_str();
    app.add_option("--source-interval", survey.sourceInterval, "distance of shots, m")
        ->check(inRange(0.0, 10000.0))
        ->capture_default_str();
    app.add_option("--near-offset", survey.nearOffset, "distance of the first receiver, m")
        ->check(inRange(0.0, 100000.0))
        ->capture_default_str();
    app.add_option("--noise", survey.noise, "RMS of the noise, as a share of the first break's peak")
        ->check(inRange(0.0, 1000.0))
        ->capture_default_str();
    app.add_option("--dead", survey.deadShare, "share of dead traces")->check(inRange(0.0, 1.0))->capture_default_str();
    app.add_option("--reversed", survey.reversedShare, "share of traces with reversed polarity")
        ->check(inRange(0.0, 1.0))
        ->capture_default_str();
    app.add_option("--ground-roll", survey.groundRoll, "peak of the ground roll, as a share of the first break's peak")
        ->check(inRange(0.0, 1000.0))
        ->capture_default_str();
    app.add_option("--lateral", request->lateralPercent,
                   "percent by which stacking velocities rise from the first CDP to the last, about their usual values in the "
                   "middle; the table of velocities then has columns cdp, x and y")
        ->check(inRange(-150.0, 150.0))
        ->capture_default_str();
    addFormat(app, request->format, "sample format")->capture_default_str();
    addEndian(app, request->endian, "byte order")->capture_default_str();
    addOverwrite(app, request->overwrite);
    return [request] { return synthesise(*request); };
}

const CommandRegistration registration({"synth", "makes shot records with known first breaks and reflections of known velocity",
                                        "pelta synth line.sgy --records 24 --noise 0.1 --seed 7", define});

}
}
