#include <fmt/format.h>

#include <optional>

#include "commands/command.h"
#include "commands/options.h"
#include "support/failure.h"
#include "support/textoutput.h"
#include "wavelets/picture.h"

namespace pelta {
namespace {

struct Request {
    std::string output, spectraName;
    PictureOptions picture{1400, 800};
    wavelets::Settings settings;
    bool overwrite = false;
};

/* Blank behind the end; zeros without a sign. */
std::string cell(const std::vector<float>& samples, std::size_t k) {
    return k < samples.size() ? fmt::format(",{:.7g}", samples[k] + 0.0f) : ",";
}

void writeSamples(TextOutput& file, const wavelets::Design& design) {
    file.write("time_ms,ricker,minimum_phase,zero_phase,maximum_phase,shaping_filter,wanted,filtered\n");
    for (std::size_t k = 0; k < design.wanted.size(); ++k) {
        file.write(fmt::format("{:.9g}", static_cast<double>(k) * design.settings.intervalMs));
        for (const auto* samples : {&design.ricker, &design.minimum.samples, &design.zero.samples, &design.maximum.samples,
                                    &design.filter, &design.wanted, &design.filtered})
            file.write(cell(*samples, k));
        file.write("\n");
    }
}

void writeSpectra(TextOutput& file, const wavelets::Design& design) {
    file.write(
        "frequency_hz,minimum_phase_amplitude,minimum_phase_rad,zero_phase_amplitude,zero_phase_rad,"
        "maximum_phase_amplitude,maximum_phase_rad\n");
    for (std::size_t k = 0; k < design.zero.amplitude.size(); ++k) {
        file.write(fmt::format("{:.9g}", static_cast<double>(k) * design.frequencyStepHz));
        for (const wavelets::Version* version : {&design.minimum, &design.zero, &design.maximum})
            file.write(cell(version->amplitude, k) + cell(version->phase, k));
        file.write("\n");
    }
}

void say(std::FILE* to, const wavelets::Design& design) {
    const wavelets::Settings& settings = design.settings;
    printTo(to,
            "Ricker wavelet of {:g} Hz: {} samples at {:g} ms, time 0 at {:g} ms (zero phase), 0 ms (minimum phase) and {:g} "
            "ms (maximum phase)\n"
            "shaping filter from minimum to zero phase: {} samples, {:g} % white noise, {:.3g} % of the energy is off\n",
            settings.frequencyHz, settings.length, settings.intervalMs, design.zero.origin * settings.intervalMs,
            design.maximum.origin * settings.intervalMs, settings.filterLength, settings.noisePercent, design.errorPercent);
}

/* The spectrum falls to a hundredth of its peak at 2.6 times the peak's frequency. */
void warnOfAliasing(const wavelets::Settings& settings) {
    constexpr double highest = 2.6;
    if (highest * settings.frequencyHz > settings.nyquistHz())
        warn(fmt::format("a Ricker wavelet of {:g} Hz holds frequencies up to {:g} Hz; {:g} ms resolve {:g} Hz",
                         settings.frequencyHz, highest * settings.frequencyHz, settings.intervalMs, settings.nyquistHz()));
}

int writeWavelets(const Request& request) {
    TextOutput samples(request.output, request.overwrite);
    std::optional<TextOutput> spectra;
    if (!request.spectraName.empty()) spectra.emplace(request.spectraName, request.overwrite);
    const auto picture = request.picture.open(request.overwrite);
    const wavelets::Design design = wavelets::designWavelets(request.settings);
    warnOfAliasing(design.settings);
    writeSamples(samples, design);
    if (spectra) writeSpectra(*spectra, design);
    if (picture) {
        drawDesign(picture->canvas(), design);
        picture->commit();
    }
    if (spectra) spectra->commit();
    samples.commit();
    say(request.output == "-" || request.spectraName == "-" ? stderr : stdout, design);
    return 0;
}

std::function<int()> define(CLI::App& app) {
    auto request = std::make_shared<Request>();
    wavelets::Settings& settings = request->settings;
    app.add_option("OUT", request->output, "CSV file of the wavelets and the filter; - is standard output")
        ->required()
        ->type_name("FILE");
    app.add_option("--frequency", settings.frequencyHz, "frequency of the largest amplitude, Hz")->capture_default_str();
    app.add_option("--interval", settings.intervalMs, "sample interval, ms")->capture_default_str();
    app.add_option("--tail", settings.tail, "amplitude that the ends stay below, of a peak of 1")->capture_default_str();
    app.add_option("--length", settings.length, "samples, an odd number (as many as the tail asks for)");
    app.add_option("--filter-length", settings.filterLength, "samples of the shaping filter (as many as the wavelet's)");
    app.add_option("--noise", settings.noisePercent, "white noise in the equations of phase and filter, percent")
        ->capture_default_str();
    app.add_option("--spectra", request->spectraName, "CSV file of the amplitude and phase spectra")->type_name("FILE");
    request->picture.add(app, "picture of wavelets, spectra and filter", {400, 300});
    addOverwrite(app, request->overwrite);
    return [request] { return writeWavelets(*request); };
}

const CommandRegistration registration(
    {"wavelet", "makes Ricker wavelets of minimum, zero and maximum phase, and a shaping filter",
     "pelta wavelet wavelets.csv --frequency 30 --interval 2 --picture wavelets.png", define,
     "Times in the table count from the first sample. There the minimum-phase wavelet has its time 0; the zero-phase "
     "one has it at the middle sample, the maximum-phase one at the last. The shaping filter makes the zero-phase "
     "wavelet out of the minimum-phase one: column filtered, beside what was wanted."});

}
}
