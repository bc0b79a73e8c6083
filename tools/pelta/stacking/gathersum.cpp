#include "stacking/gathersum.h"

#include <algorithm>
#include <cmath>

#include "segy/headerwords.h"

namespace pelta::stacking {

using segy::Word;

double FoldScale::divisorOf(std::int32_t fold) {
    for (auto next = static_cast<std::int32_t>(_divisors.size()); next <= fold; ++next)
        _divisors.push_back(_exponent == 1.0   ? next
                            : _exponent == 0.5 ? std::sqrt(static_cast<double>(next))
                                               : std::pow(static_cast<double>(next), _exponent));
    return _divisors[static_cast<std::size_t>(fold)];
}

bool isLive(const WorkTrace& work) {
    const std::vector<float>& samples = work.trace.samples;
    return work.facts.traceType != segy::deadTrace &&
           std::any_of(samples.begin(), samples.end(), [](float sample) { return sample != 0.0f; });
}

std::int64_t GatherSum::bytes(std::int64_t sampleCount) {
    constexpr std::int64_t besides = sizeof(GatherSum) + segy::traceHeaderBytes;
    return sampleCount * static_cast<std::int64_t>(sizeof(double) + sizeof(std::int32_t)) + besides;
}

void GatherSum::begin(std::int64_t cdp, std::size_t sampleCount) {
    _cdp = cdp;
    _fold = 0;
    _header.clear();
    _sums.assign(sampleCount, 0.0);
    _folds.assign(sampleCount, 0);
    _midpoint = _cdpPlace = {};
}

namespace {

/* Zeros add nothing to either. */
void addSamples(const float* samples, std::size_t count, double* sums, std::int32_t* folds) {
    for (std::size_t i = 0; i < count; ++i) {
        sums[i] += samples[i];
        folds[i] += samples[i] != 0.0f;
    }
}

}

void GatherSum::add(const WorkTrace& live) {
    if (_fold++ == 0) _header = live.trace.header;
    addSamples(live.trace.samples.data(), _sums.size(), _sums.data(), _folds.data());
    const segy::TraceFacts& facts = live.facts;
    _midpoint.x += 0.5 * (facts.sourceX + facts.receiverX);
    _midpoint.y += 0.5 * (facts.sourceY + facts.receiverY);
    _cdpPlace.x += facts.cdpX;
    _cdpPlace.y += facts.cdpY;
}

void GatherSum::addDead(const WorkTrace& dead) {
    if (_header.empty()) _header = dead.trace.header;
}

void GatherSum::finish(FoldScale& scale, const segy::Layout& layout, segy::Trace& stacked) const {
    stacked.samples.resize(_sums.size());
    for (std::size_t i = 0; i < _sums.size(); ++i)
        stacked.samples[i] = _folds[i] == 0 ? 0.0f : static_cast<float>(_sums[i] / scale.divisorOf(_folds[i]));
    stacked.samplesChanged = true;
    stacked.header = _header;
    setHeader(layout, stacked.header);
}

/* A stacked trace stands for one whose source and receiver are at the midpoint. */
void GatherSum::setHeader(const segy::Layout& layout, std::vector<unsigned char>& header) const {
    const auto set = [&](Word word, std::int64_t value) {
        writeWord(header.data(), layout.words[word], layout.byteOrder, value);
    };
    constexpr std::int64_t largestFold = INT16_MAX;
    set(Word::traceInCdp, 1);
    set(Word::traceType, _fold > 0 ? segy::liveTrace : segy::deadTrace);
    set(Word::fold, std::min(_fold, largestFold));
    set(Word::offset, 0);
    writeUnsignedWord(header.data(), layout.words[Word::samples], layout.byteOrder, layout.sampleCount);
    if (_fold == 0) return;
    const std::int64_t scalar = readWord(header.data(), layout.words[Word::coordinateScalar], layout.byteOrder);
    const double unit = segy::scaled(1, scalar) * static_cast<double>(_fold);
    const auto setPlace = [&](Word x, Word y, const Place& sum) {
        set(x, std::llround(sum.x / unit));
        set(y, std::llround(sum.y / unit));
    };
    setPlace(Word::sourceX, Word::sourceY, _midpoint);
    setPlace(Word::receiverX, Word::receiverY, _midpoint);
    setPlace(Word::cdpX, Word::cdpY, _cdpPlace);
}

}
