#include "commands/options.h"

#include <pelta/cummlative.h>
#include <pelta/host.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <thread>

#include "support/failure.h"
#include "support/libraryvoice.h"
#include "support/nearest.h"
#include "support/numberlist.h"

namespace pelta {

namespace {

std::vector<std::int64_t> wholeNumbersFrom(const std::string& option, const std::vector<std::string>& texts,
                                           std::size_t count) {
    std::vector<std::int64_t> listed;
    for (const std::string& text : texts) {
        const auto numbers = wholeNumbersIn(text);
        if (!numbers) failUsage("{}: '{}' is not a list of whole numbers", option, text);
        listed.insert(listed.end(), numbers->begin(), numbers->end());
    }
    if (count > 0 && listed.size() != count) failUsage("{}: takes {} numbers, not {}", option, count, listed.size());
    return listed;
}

}

CLI::Option* addWholeNumbers(CLI::App& app, const std::string& name, std::vector<std::int64_t>& target, const std::string& help,
                             std::size_t count) {
    const auto take = [&target, name, count](const std::vector<std::string>& texts) {
        target = wholeNumbersFrom(name, texts, count);
    };
    return app.add_option_function<std::vector<std::string>>(name, take, help)->type_name("N,N,...");
}

CLI::Validator named(const std::vector<std::string>& names) {
    return CLI::Validator(fmt::format("{{{}}}", fmt::join(names, ",")));
}

CLI::Validator oneOf(std::vector<std::string> names) {
    const auto check = [names](const std::string& text) {
        if (std::find(names.begin(), names.end(), text) != names.end()) return std::string();
        return fmt::format("'{}' is none of {}{}", text, fmt::join(names, ", "), didYouMean(text, names));
    };
    return CLI::Validator(check, named(names).get_description());
}

namespace {

template <class IsInside>
CLI::Validator numberCheck(const IsInside& isInside, const std::string& complaint, const std::string& description) {
    const auto check = [=](const std::string& text) {
        const std::optional<double> number = realNumberIn(text);
        if (!number) return fmt::format("'{}' is not a number", text);
        return isInside(*number) ? std::string() : fmt::format("{} {}", text, complaint);
    };
    return CLI::Validator(check, description);
}

}

CLI::Validator inRange(double from, double to) {
    return numberCheck([=](double number) { return number >= from && number <= to; },
                       fmt::format("lies outside {:.10g} .. {:.10g}", from, to),
                       fmt::format("NUMBER in [{:.10g} - {:.10g}]", from, to));
}

CLI::Validator aboveZero() {
    return numberCheck([](double number) { return number > 0.0; }, "is not above 0", "POSITIVE");
}

void addOverwrite(CLI::App& app, bool& overwrite) {
    app.add_flag("--overwrite", overwrite, "replace files that stand under the outputs' names");
}

void addThreads(CLI::App& app, int& threads) {
    threads = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
    app.add_option("--threads", threads, "worker threads; the output is the same for any number (one a processor)")
        ->check(inRange(1, 1024));
}

void addWordUnit(CLI::App& app, std::string& unit) {
    app.add_option("--word-unit", unit, "unit of the picks in trace headers, where 0 is no pick")
        ->check(oneOf({"ms", "us", "samples"}))
        ->capture_default_str();
}

void addPictureSize(CLI::App& app, std::vector<std::int64_t>& size, std::array<std::int64_t, 2> least) {
    constexpr std::int64_t most = 30000;
    const std::string name = "--size";
    const auto take = [=, &size](const std::vector<std::string>& texts) {
        size = wholeNumbersFrom(name, texts, 2);
        if (size[0] < least[0] || size[1] < least[1] || size[0] > most || size[1] > most)
            failUsage("{}: {} lies outside {} .. {},{}", name, fmt::join(size, ","), fmt::join(least, ","), most, most);
    };
    app.add_option_function<std::vector<std::string>>(name, take, "width and height of the picture in points")
        ->type_name("WIDTH,HEIGHT")
        ->default_str(fmt::format("{}", fmt::join(size, ",")));
}

std::string bareName(const std::string& fileName) { return std::filesystem::path(fileName).filename().string(); }

void PictureOptions::add(CLI::App& app, const std::string& what, std::array<std::int64_t, 2> leastSize) {
    app.add_option("--picture", _name, what + ": .png, .svg or .pdf")->type_name("FILE");
    addPictureSize(app, _size, leastSize);
}

std::unique_ptr<pictures::PictureFile> PictureOptions::open(bool overwrite) const {
    if (_name.empty()) return nullptr;
    return std::make_unique<pictures::PictureFile>(_name, static_cast<int>(_size[0]), static_cast<int>(_size[1]), overwrite);
}

CLI::Option* addFormat(CLI::App& app, std::string& format, const std::string& help) {
    return app.add_option("--format", format, help)->check(named({"ibm", "ieee", "int8", "int16", "int32"}));
}

segy::SampleFormat formatFrom(const std::string& text) {
    return naming("--format", [&] { return segy::formatNamed(text); });
}

CLI::Option* addEndian(CLI::App& app, std::string& order, const std::string& help) {
    return app.add_option("--endian", order, help)->check(oneOf({"big", "little"}));
}

segy::ByteOrder byteOrderFrom(const std::string& text) {
    return text == "big" ? segy::ByteOrder::big : segy::ByteOrder::little;
}

void InputOptions::add(CLI::App& app) {
    app.add_option("--map", _map, "where header words stand, first byte from 1 and size: offset=37:4,record=9:4,pick=233:2")
        ->type_name("NAME=BYTE:SIZE,...");
    app.add_option("--samples", _samples, "samples a trace, overriding the file")->check(aboveZero());
    app.add_option("--interval", _intervalMs, "sample interval, ms, overriding the file")->check(aboveZero());
    addFormat(app, _format, "sample format, overriding the file");
    addEndian(app, _endian, "byte order, overriding the file");
    app.add_flag("--tape", _fromTape, "the input is a tape drive (/dev/nst0): its first file is read, a record a trace");
    app.add_flag("--salvage", _salvage, "take the whole traces of a file whose last trace is cut off");
    for (const char* name : {"--map", "--samples", "--interval", "--format", "--endian", "--tape", "--salvage"})
        app.get_option(name)->group("Reading SEG-Y");
}

segy::ReadOptions InputOptions::read() const {
    segy::ReadOptions options;
    if (_samples > 0) options.overrides.samples = _samples;
    if (_intervalMs > 0.0) options.overrides.intervalMs = _intervalMs;
    if (!_format.empty()) options.overrides.format = formatFrom(_format);
    if (!_endian.empty()) options.overrides.byteOrder = byteOrderFrom(_endian);
    if (!_map.empty()) naming("--map", [&] { options.overrides.words.remap(_map); });
    options.salvage = _salvage;
    options.fromTape = _fromTape;
    return options;
}

void WorkOptions::add(CLI::App& app) {
    addThreads(app, _options.threads);
    addOverwrite(app, _options.overwrite);
    app.add_flag("--quiet", _options.quiet, "no progress and no summary");
    app.add_flag("--profile", _options.profile, "say where the time went");
    app.add_flag("--history", _options.history, "add a line for each step to the text header");
}

void LedgerOptions::add(CLI::App& app) {
    app.add_option("--ledger-area", _area, "area that the usage ledger counts the traces under")
        ->capture_default_str()
        ->group("Usage ledger");
    app.add_option("--ledger-line", _line, "line that the usage ledger counts the traces under")
        ->capture_default_str()
        ->group("Usage ledger");
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
