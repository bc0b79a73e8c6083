#include "inspection/formatscan.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace pelta::inspection {

FormatScan::FormatScan(const segy::Layout& layout) : _layout(layout), _swapped(layout) {
    _swapped.byteOrder = layout.byteOrder == segy::ByteOrder::big ? segy::ByteOrder::little : segy::ByteOrder::big;
}

void FormatScan::take(const segy::Trace& trace) {
    constexpr std::int64_t mostTraces = 16;
    if (_traces++ >= mostTraces) return;
    takeByteOrder(trace);
    takeLeadingDigits(trace);
}

namespace {

/* Mean step from sample to sample over the mean amplitude: 1.4 for white noise, 0.8 for a sine of a quarter of the sampling
 * rate halved, less for whatever is sampled well. Infinity where samples are not finite, negative without any signal. */
double roughness(const std::vector<float>& samples) {
    double steps = 0.0, amplitudes = 0.0;
    for (std::size_t k = 1; k < samples.size(); ++k) {
        if (!std::isfinite(samples[k])) return std::numeric_limits<double>::infinity();
        steps += std::fabs(double{samples[k]} - double{samples[k - 1]});
        amplitudes += std::fabs(double{samples[k]});
    }
    return amplitudes > 0.0 ? steps / amplitudes : -1.0;
}

}

void FormatScan::takeByteOrder(const segy::Trace& trace) {
    constexpr std::size_t fewestSamples = 32;
    constexpr double rough = 1.2, smooth = 0.7;
    if (trace.samples.size() < fewestSamples || segy::bytesPerSample(_layout.format) == 1) return;
    const double asRead = roughness(trace.samples);
    if (asRead < 0.0) return;
    ++_judged;
    if (asRead < rough) return;
    _other.encoded = trace.encoded;
    segy::decode(_other, _swapped);
    const double asSwapped = roughness(_other.samples);
    _smoothWhenSwapped += asSwapped >= 0.0 && asSwapped < smooth;
}

void FormatScan::takeLeadingDigits(const segy::Trace& trace) {
    if (_layout.format != segy::SampleFormat::ibm && _layout.format != segy::SampleFormat::ieee) return;
    const std::size_t place = _layout.byteOrder == segy::ByteOrder::big ? 1 : 2; /* of the byte below the highest one */
    for (std::size_t k = 0; k + 3 < trace.encoded.size(); k += 4) {
        const unsigned char* bytes = trace.encoded.data() + k;
        const bool isZero = (bytes[0] | bytes[1] | bytes[2] | bytes[3]) == 0;
        if (!isZero) ++_leadingDigits[bytes[place] >> 4];
    }
}

std::vector<Finding> FormatScan::findings() const {
    constexpr std::int64_t formatPlace = 3225, fewestSamples = 1000;
    const auto doubt = [&](std::string text, Value expected, std::string option) {
        return Finding{.severity = Severity::warning,
                       .text = std::move(text),
                       .byte = formatPlace,
                       .found = std::string(segy::nameOf(_layout.format)),
                       .expected = std::move(expected),
                       .option = std::move(option)};
    };
    if (_judged > 0 && looksSwapped()) {
        const char* other = _swapped.byteOrder == segy::ByteOrder::big ? "big" : "little";
        return {
            doubt(fmt::format("samples leap as they are read and run smoothly in {} endian: wrong byte order of the samples; "
                              "--endian or --format override it",
                              other),
                  fmt::format("{} endian", other), "--endian")};
    }
    std::int64_t samples = 0;
    for (std::int64_t count : _leadingDigits) samples += count;
    if (samples < fewestSamples) return {};
    const double zeros = static_cast<double>(_leadingDigits[0]) / static_cast<double>(samples);
    constexpr double mostUnnormalised = 0.03;
    if (_layout.format == segy::SampleFormat::ibm && zeros > mostUnnormalised)
        return {
            doubt(fmt::format("format at byte 3225 is ibm, but {:.1f} % of the samples are no normalised IBM floats; expected "
                              "none, they may be ieee; --format overrides it",
                              100.0 * zeros),
                  std::string("ieee"), "--format")};
    /* Few different amplitudes may leave out a digit by themselves. */
    const auto used = std::count_if(_leadingDigits.begin(), _leadingDigits.end(), [](std::int64_t n) { return n > 0; });
    constexpr int allButZero = 15;
    if (_layout.format == segy::SampleFormat::ieee && _leadingDigits[0] == 0 && used == allButZero)
        return {
            doubt(fmt::format("format at byte 3225 is ieee, but all {} samples looked at are normalised IBM floats; expected "
                              "one of 16 not to be, they may be ibm; --format overrides it",
                              samples),
                  std::string("ibm"), "--format")};
    return {};
}

}
