#include "synthesis/line.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace pelta::synthesis {
namespace {

constexpr double arrivalFrequency = 45.0, reflectionFrequency = 35.0, groundRollFrequency = 12.0; /* Hz */
constexpr double groundRollVelocity = 320.0;                                                      /* m/s */

/* A number of its own for every trace and purpose, so that no trace depends on the others. */
std::uint64_t seedOf(const Survey& survey, int record, int channel, unsigned purpose) {
    std::uint64_t mixed = survey.seed * 0x9E3779B97F4A7C15u + static_cast<std::uint64_t>(record) * 0xBF58476D1CE4E5B9u +
                          static_cast<std::uint64_t>(channel) * 0x94D049BB133111EBu + purpose;
    mixed ^= mixed >> 31;
    mixed *= 0xD6E8FEB86659FD93u;
    return mixed ^ mixed >> 32;
}

double uniform(std::uint64_t seed) {
    std::mt19937_64 engine(seed);
    return static_cast<double>(engine() >> 11) * 0x1p-53;
}

/* A wavelet that begins with the arrival: a damped sine whose envelope rises from zero, peak 1. */
double causalWavelet(double timeMs, double frequency) {
    if (timeMs <= 0.0) return 0.0;
    const double phase = 2.0 * M_PI * frequency * timeMs / 1000.0;
    constexpr double peak = 0.6124;
    return phase * std::exp(-0.6 * phase) * std::sin(phase) / peak;
}

double ricker(double timeMs, double frequency) {
    const double phase = M_PI * frequency * timeMs / 1000.0;
    return (1.0 - 2.0 * phase * phase) * std::exp(-phase * phase);
}

/* A low train that spreads with distance. */
double groundRollAt(double timeMs, double offset) {
    const double arrival = 1000.0 * offset / groundRollVelocity, length = 60.0 + 0.15 * offset;
    const double envelope = std::exp(-std::pow((timeMs - arrival) / length, 2.0));
    return envelope * std::sin(2.0 * M_PI * groundRollFrequency * (timeMs - arrival) / 1000.0);
}

/* Adds amplitudeAt(time in ms) to the samples in from .. to ms. */
template <class AmplitudeAt>
void addBetween(std::vector<float>& samples, double intervalMs, double from, double to, const AmplitudeAt& amplitudeAt) {
    const int first = std::max(0, static_cast<int>(std::ceil(from / intervalMs)));
    const int last = std::min(static_cast<int>(samples.size()) - 1, static_cast<int>(to / intervalMs));
    for (int i = first; i <= last; ++i) samples[static_cast<std::size_t>(i)] += static_cast<float>(amplitudeAt(i * intervalMs));
}

double directTime(double offset) { return 1000.0 * offset / weatheredVelocity; }

double headWaveTime(double offset) {
    const double critical =
        std::sqrt(1.0 / (weatheredVelocity * weatheredVelocity) - 1.0 / (refractorVelocity * refractorVelocity));
    return 1000.0 * (offset / refractorVelocity + 2.0 * weatheredThickness * critical);
}

/* The head wave exists from where its ray leaves the refractor. */
bool hasHeadWave(double offset) {
    const double sine = weatheredVelocity / refractorVelocity;
    return offset >= 2.0 * weatheredThickness * sine / std::sqrt(1.0 - sine * sine);
}

constexpr double noiseLow = 4.0, noiseHigh = 0.6; /* Hz, and a share of the Nyquist frequency */

BandPassFilter noiseBand(const Survey& survey) {
    const double nyquist = 500.0 / survey.intervalMs;
    const int high = std::max(8, static_cast<int>(noiseHigh * nyquist));
    return BandPassFilter(0, 0, 0, 0.001f, static_cast<int>(noiseLow), 8, high,
                          std::max(high + 1, static_cast<int>(0.9 * nyquist)), survey.sampleCount,
                          static_cast<float>(survey.intervalMs));
}

}

TraceMaker::TraceMaker(const Survey& survey) : _survey(survey), _noiseBand(noiseBand(survey)) {}

Station TraceMaker::station(int record, int channel) const {
    Station station;
    station.record = record + 1;
    station.channel = channel + 1;
    station.sourceX = record * _survey.sourceInterval;
    station.receiverX = station.sourceX + _survey.nearOffset + channel * _survey.receiverInterval;
    station.cdp =
        firstCdp +
        static_cast<int>(std::lround((station.sourceX + station.receiverX - _survey.nearOffset) / _survey.receiverInterval));
    station.isDead = uniform(seedOf(_survey, record, channel, 1)) < _survey.deadShare;
    station.isReversed = uniform(seedOf(_survey, record, channel, 2)) < _survey.reversedShare;
    return station;
}

int TraceMaker::lastCdp() const { return station(_survey.recordCount - 1, _survey.channelCount - 1).cdp; }

double TraceMaker::midpointOf(int cdp) const {
    return 0.5 * (_survey.nearOffset + (cdp - firstCdp) * _survey.receiverInterval);
}

double TraceMaker::velocityFactor(double midpoint) const {
    const double first = midpointOf(firstCdp), last = midpointOf(lastCdp());
    if (!(first < last)) return 1.0;
    return 1.0 + _survey.lateral * ((midpoint - first) / (last - first) - 0.5);
}

double TraceMaker::firstBreakMs(const Station& station) const {
    const double offset = std::abs(station.offset());
    return hasHeadWave(offset) ? std::min(directTime(offset), headWaveTime(offset)) : directTime(offset);
}

void TraceMaker::addNoise(const Station& station, std::vector<float>& samples) {
    std::mt19937_64 engine(seedOf(_survey, station.record, station.channel, 3));
    _noise.resize(samples.size());
    for (float& value : _noise) value = static_cast<float>(engine() >> 40) * 0x1p-23f - 1.0f;
    _noiseBand.applyFilter(_noise.data(), static_cast<int>(_noise.size()));
    double energy = 0.0;
    for (float value : _noise) energy += static_cast<double>(value) * value;
    const double scale = energy > 0.0 ? _survey.noise / std::sqrt(energy / static_cast<double>(_noise.size())) : 0.0;
    for (std::size_t i = 0; i < samples.size(); ++i) samples[i] += static_cast<float>(scale * _noise[i]);
}

void TraceMaker::addArrivals(double offset, std::vector<float>& samples) const {
    constexpr double length = 100.0; /* ms: where the wavelet has died down */
    const auto addAt = [&](double arrival) {
        addBetween(samples, _survey.intervalMs, arrival, arrival + length,
                   [&](double time) { return causalWavelet(time - arrival, arrivalFrequency); });
    };
    addAt(directTime(offset));
    if (hasHeadWave(offset)) addAt(headWaveTime(offset));
}

void TraceMaker::addReflections(const Station& station, std::vector<float>& samples) const {
    constexpr double length = 60.0; /* ms, likewise, on both sides */
    const double offset = std::abs(station.offset());
    const double factor = velocityFactor(0.5 * (station.sourceX + station.receiverX));
    for (const Reflection& reflection : reflections) {
        const double arrival = std::hypot(reflection.time, 1000.0 * offset / (factor * reflection.velocity));
        addBetween(samples, _survey.intervalMs, arrival - length, arrival + length,
                   [&](double time) { return reflection.strength * ricker(time - arrival, reflectionFrequency); });
    }
}

void TraceMaker::addGroundRoll(double offset, std::vector<float>& samples) const {
    constexpr double lead = 150.0; /* ms, of the train before its middle */
    const double start = 1000.0 * offset / groundRollVelocity - lead;
    addBetween(samples, _survey.intervalMs, directTime(offset), _survey.intervalMs * _survey.sampleCount,
               [&](double time) { return time > start ? _survey.groundRoll * groundRollAt(time, offset) : 0.0; });
}

void TraceMaker::make(const Station& station, std::vector<float>& samples) {
    samples.assign(static_cast<std::size_t>(_survey.sampleCount), 0.0f);
    if (station.isDead) return;
    const double offset = std::abs(station.offset());
    addArrivals(offset, samples);
    addReflections(station, samples);
    if (_survey.groundRoll > 0.0) addGroundRoll(offset, samples);
    if (_survey.noise > 0.0) addNoise(station, samples);
    if (station.isReversed)
        for (float& sample : samples) sample = -sample;
}

}
