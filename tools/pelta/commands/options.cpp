#include "commands/options.h"

#include <pelta/cummlative.h>
#include <pelta/host.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "support/failure.h"
#include "support/libraryvoice.h"
#include "support/nearest.h"
#include "support/numberlist.h"

namespace pelta {

CLI::Option* addWholeNumbers(CLI::App& app, const std::string& name, std::vector<std::int64_t>& target, const std::string& help,
                             std::size_t count) {
    const auto take = [&target, name, count](const std::vector<std::string>& texts) {
        target.clear();
        for (const std::string& text : texts) {
            const auto numbers = wholeNumbersIn(text);
            if (!numbers) failUsage("{}: '{}' is not a list of whole numbers", name, text);
            target.insert(target.end(), numbers->begin(), numbers->end());
        }
        if (count > 0 && target.size() != count) failUsage("{}: takes {} numbers, not {}", name, count, target.size());
    };
    return app.add_option_function<std::vector<std::string>>(name, take, help)->type_name("N,N");
}

void InputOptions::add(CLI::App& app) {
    app.add_option("--map", _map, "where header words stand: offset=37:4,record=9:4,pick=233:2 (byte from 1, size)")
        ->type_name("NAME=BYTE:SIZE,...");
    app.add_option("--samples", _samples, "samples a trace, overriding the file")->check(CLI::PositiveNumber);
    app.add_option("--interval", _intervalMs, "sample interval in ms, overriding the file")->check(CLI::PositiveNumber);
    app.add_option("--format", _format, "sample format, overriding the file: ibm, ieee, int8, int16, int32");
    app.add_option("--endian", _endian, "byte order, overriding the file: big or little");
    app.add_flag("--tape", _fromTape, "the input is a tape drive (/dev/nst0): its first file is read, a record a trace");
    app.add_flag("--salvage", _salvage, "take the whole traces of a file whose last trace is cut off");
}

segy::ReadOptions InputOptions::read() const {
    segy::ReadOptions options;
    if (_samples > 0) options.overrides.samples = _samples;
    if (_intervalMs > 0.0) options.overrides.intervalMs = _intervalMs;
    if (!_format.empty()) options.overrides.format = segy::formatNamed(_format);
    if (_endian == "big" || _endian == "little")
        options.overrides.byteOrder = _endian == "big" ? segy::ByteOrder::big : segy::ByteOrder::little;
    else if (!_endian.empty())
        failUsage("--endian: '{}' is neither big nor little{}", _endian, didYouMean(_endian, {"big", "little"}));
    if (!_map.empty()) options.overrides.words.remap(_map);
    options.salvage = _salvage;
    options.fromTape = _fromTape;
    return options;
}

void WorkOptions::add(CLI::App& app) {
    _options.threads = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
    app.add_option("--threads", _options.threads, "worker threads; the output is the same for any number")
        ->check(CLI::Range(1, 1024))
        ->capture_default_str();
    app.add_flag("--overwrite", _options.overwrite, "replace files that stand under the outputs' names");
    app.add_flag("--quiet", _options.quiet, "no progress and no summary");
    app.add_flag("--profile", _options.profile, "say where the time went");
    app.add_flag("--history", _options.history, "add a line for each step to the text header");
}

void LedgerOptions::add(CLI::App& app) {
    app.add_option("--area", _area, "area that the usage ledger counts the traces under")->capture_default_str();
    app.add_option("--line", _line, "line that the usage ledger counts the traces under")->capture_default_str();
}

namespace {

/* The ledger's fields are separated by blanks, and the host's texts have a fixed length. */
template <std::size_t size>
void setText(char (&field)[size], std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return std::isspace(c); }, '_');
    if (text.empty()) text = "-";
    std::memset(field, 0, size);
    std::memcpy(field, text.data(), std::min(text.size(), size - 1));
}

}

void LedgerOptions::record(const std::string& process, std::int64_t traces) const {
    const bool hasInstallation = std::getenv("PELTA_HOME") || std::getenv("PROMAX_HOME");
    const char* user = std::getenv("LOGNAME");
    if (!hasInstallation || !user || !*user) return;
    setText(globalChar->carea, _area);
    setText(globalChar->cline, _line);
    std::string name = process;
    const LibraryVoice silent;
    if (runCummlative(name.data(), static_cast<long>(std::min<std::int64_t>(traces, LONG_MAX))) == 0)
        warn("usage ledger: cannot open linux/lib/libCumm.so under PELTA_HOME (or PROMAX_HOME); the traces were not counted");
}

}
