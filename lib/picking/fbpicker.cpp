#include <pelta/arpicker.h>
#include <pelta/fbpicker.h>
#include <pelta/host.h>
#include <pelta/spdpicker.h>

#include <algorithm>
#include <cstdlib>

#include "picking/energyratio.h"
#include "picking/samples.h"
#include "picking/standarddeviations.h"
#include "truncation.h"
#include "vectorize.h"
#include "workarray.h"

namespace {

constexpr int lowestOrder = 2;  // of the autoregressive models that are tested

bool hasWorkArrays(const fbPicker& picker) {
    return picker._tempTrc1 && picker._tempTrc2 && picker._tempTrc3 && picker._tempTrc4 && picker._tempTrc5 && picker._tempTrc6;
}

PELTA_VECTORIZE void divideInPlace(float* numerators, const float* denominators, int count) {
    for (int i = 0; i < count; ++i) numerators[i] /= denominators[i];
}

/* Place of the first of the smallest ratios; count where none is small enough. */
int smallestRatio(const float* ratios, int count) {
    float smallest = 1e32f;
    int place = count;
    for (int k = 0; k < count; ++k)
        if (ratios[k] < smallest) {
            smallest = ratios[k];
            place = k;
        }
    return place;
}

/* The first prediction coefficient of the autoregressive model of the window that starts at the samples given. */
float firstCoefficient(fbPicker& picker, float* samples, int window, int highestOrder) {
    int lowest = lowestOrder, directions = 0, errorForm = 0, fromResiduals = 1, order, outcome = 0;
    float squares, variance;
    fabne_(samples, &window, &lowest, &highestOrder, &directions, &errorForm, &fromResiduals, &picker._nsamp, picker._tempTrc2,
           picker._tempTrc3, picker._tempTrc4, picker._tempTrc5, picker._tempTrc6, &order, &squares, &variance, &outcome);
    return picker._tempTrc6[0];
}

/* The largest order whose packed normal matrix, order (order + 1) / 2 floats, fits into a work array. */
int largestStorableOrder(int sampleCount) {
    Count order = 0;
    while ((order + 1) * (order + 2) / 2 <= sampleCount) ++order;
    return static_cast<int>(order);
}

/* Runs of the spectral decomposition with the tables in the picker's work arrays. */
struct Decomposition {
    fbPicker& picker;
    int range;   // samples searched
    int window;  // length in samples
    int half;    // of the window: where its centre lies

    /* Kept on purpose: new tables are made only after preProcess (or when another method has used their arrays), whatever
     * changes in the parameters. Behind the tables stand zeros, which a window lengthened meanwhile reads. */
    void buildTables() {
        std::fill_n(picker._tempTrc1, 2 * static_cast<std::size_t>(picker._nsamp), 0.0f);
        std::fill_n(picker._tempTrc2, picker._nsamp, 0.0f);
        int frequencyCount = 1, removeBias = 0, gaussian = 1, flatPercent = 100;
        float pi = 3.1415927f, interval = picker._srate / 1000.0f;
        spdtables_(reinterpret_cast<peltaComplex*>(picker._tempTrc1), &window, &frequencyCount, &removeBias, &gaussian,
                   picker._tempTrc2, &flatPercent, &half, &pi, &picker._fbpp->freqspd, &interval);
        picker._isPreProcess = false;
    }

    /* Values of the centres from first + half to last (counted from 1) go to values. */
    void run(float* samples, int first, int last, float* values) {
        int scratchSize = std::min(window + 2, picker._nsamp), step = 1, frequencyCount = 1, no = 0;
        float degrees = 57.29578f;
        spddecompose_(samples, &range, picker._tempTrc5, &scratchSize, &first, &last, &step, &no, &frequencyCount, &window,
                      &half, reinterpret_cast<peltaComplex*>(picker._tempTrc1), picker._tempTrc2, values, &degrees, &no, &no,
                      &no);
    }

    /* The value of a centre (counted from 1) whose window reaches beyond the trace, where the samples are 0. */
    float edgeValue(const float* trace, Count centre) {
        float* samples = picker._tempTrc6;
        for (int j = 0; j < window; ++j) samples[j] = entryAt(trace, picker._nsamp, centre - half + j - 1);
        run(samples, 1, 1 + half, picker._tempTrc3);
        return picker._tempTrc3[half];
    }

    /* Writes the values of the centres first to last (counted from 1); the others become 0. */
    void fill(float* trace, Count first, Count last, float* values) {
        const Count firstInside = std::max<Count>(first, half + 1);
        const Count lastInside = std::min<Count>(last, Count(picker._nsamp) + half - window + 1);
        std::fill_n(values, picker._nsamp, 0.0f);
        for (Count c = first; c <= last; ++c)
            if (c < firstInside || c > lastInside) values[c - 1] = edgeValue(trace, c);
        if (firstInside <= lastInside) run(trace, static_cast<int>(firstInside - half), static_cast<int>(lastInside), values);
    }
};

/* Samples beyond the ends of the trace are 0. */
struct Waveform {
    const float* trace;
    int sampleCount;
    int phase;  // what to look for: 1 trough, 2 peak, 3 falling zero crossing or minimum, 4 rising one or maximum

    bool matches(Count i) const {
        const float here = entryAt(trace, sampleCount, i);
        const float earlier = entryAt(trace, sampleCount, i - 1), later = entryAt(trace, sampleCount, i + 1);
        switch (phase) {
            case 1: return here < 0 && here <= earlier && here <= later;
            case 2: return here > 0 && here >= earlier && here >= later;
            case 3: return (here >= 0 && later <= 0) || (here < later && here < earlier);
            case 4: return (here <= 0 && later >= 0) || (here > later && here > earlier);
            default: return false;
        }
    }

    /* Beyond the trace one sample is like another, so both searches step over that part at once. */
    Count searchBackward(Count i) const {
        while (i > 1 && !matches(i)) i = std::min<Count>(i - 1, Count(sampleCount) + 1);
        return i;
    }

    Count searchForward(Count i) const {
        while (i < Count(sampleCount) - 1 && !matches(i)) i = std::max<Count>(i + 1, -2);
        return i;
    }
};

}

fbPicker::fbPicker(fbPickParm* fbpp, int nsamp, float sRate)
    : _fbpp(fbpp),
      _nsamp(nsamp),
      _srate(sRate),
      _tempTrc1(allocateWorkArray<float>(2 * Count(nsamp))),
      _tempTrc2(allocateWorkArray<float>(nsamp)),
      _tempTrc3(allocateWorkArray<float>(nsamp)),
      _tempTrc4(allocateWorkArray<float>(nsamp)),
      _tempTrc5(allocateWorkArray<float>(nsamp)),
      _tempTrc6(allocateWorkArray<float>(nsamp)),
      _isPreProcess(true) {}

fbPicker::~fbPicker() {
    for (float* array : {_tempTrc1, _tempTrc2, _tempTrc3, _tempTrc4, _tempTrc5, _tempTrc6}) std::free(array);
}

void fbPicker::setfbPickParm(fbPickParm* fbpp) { _fbpp = fbpp; }

int fbPicker::preProcess() {
    _isPreProcess = true;
    return 0;
}

int fbPicker::getPick(float* data, float offset, int) {
    if (!hasWorkArrays(*this)) return 0;
    Count searchStart = 0;
    if (_fbpp->method == 1)
        searchStart = Count(truncated(static_cast<double>(offset / _fbpp->velocity) * 1000.0 / _srate)) + _fbpp->delay;
    else if (_fbpp->ipmethod == 1) searchStart = truncated(_fbpp->winlen / (2.0 * _srate));
    if (searchStart < 0 || searchStart >= _nsamp) return 0;

    const int start = static_cast<int>(searchStart);
    int pick = 0;
    switch (_fbpp->ipmethod) {
        case 1: pick = computeEnPick(data, start); break;
        case 2: pick = computeSDPick(data, start); break;
        case 3: pick = computeARPick(data, start); break;
        case 4: pick = computeSPDPick(data, start); break;
        default: break;
    }
    return _fbpp->shiftpick > 4 ? pick : adjustPick(data, pick, start);
}

int fbPicker::computeEnPick(float* data, int isamp) {
    if (!hasWorkArrays(*this)) return 0;
    const float envelope = static_cast<float>(_fbpp->envelope) / _srate;
    const EnergySearch search = searchAbout(isamp, samplesIn(_fbpp->winlen, _srate) / 2, envelope, _nsamp);
    if (search.segmentLength < 2) return 0;
    _isPreProcess = true;
    if (accumulate(data + search.segmentStart, search.segmentLength, _tempTrc1) == 0.0) return 0;
    std::fill(_tempTrc1 + search.segmentLength, _tempTrc1 + _nsamp, 0.0f);
    const Cumulative cumulative = {_tempTrc1, search.segmentLength, _nsamp};

    const float share = shareOfMean(_fbpp->stablizer, _tempTrc1[search.segmentLength - 1], search.segmentLength);
    const Trial firstTrial = {search.lead, search.lag, std::max(share, smallestStabilizer)};
    const float middle = coarsePick(cumulative, search.start, search.end, firstTrial);

    const float halfWidth = static_cast<float>(rounded(envelope));
    const Count start = std::max<Count>(search.start, truncated(middle - halfWidth));
    const Count end = std::min<Count>(search.end, truncated(halfWidth + middle));
    const double amplitude = static_cast<double>(entryAt(_tempTrc1, _nsamp, end)) - entryAt(_tempTrc1, _nsamp, start);
    return finePick(cumulative, start, end, envelope, shareOfMean(_fbpp->stablizer, amplitude, end - start));
}

int fbPicker::computeSDPick(float* data, int) {
    if (!hasWorkArrays(*this)) return 0;
    const int noise = samplesIn(_fbpp->win1, _srate), signal = samplesIn(_fbpp->win2, _srate);
    const Count signalOffset = Count(noise) + 1;  // kept on purpose: one sample between the windows belongs to neither
    const Count tried = samplesIn(_fbpp->winlen1, _srate) - (signalOffset + signal + 1);

    // Only windows that lie within the trace are looked at.
    const Count first = std::max<Count>(0, -signalOffset);
    const Count end = std::min<Count>(tried, Count(_nsamp) - std::max(signal, 1) - signalOffset + 1);
    if (first >= end) return 0;
    const int count = static_cast<int>(end - first);
    float* const ratios = _tempTrc3;
    standardDeviations(data, count, noise, ratios);  // first is 0 unless these windows are empty
    standardDeviations(data + first + signalOffset, count, signal, _tempTrc4);
    divideInPlace(ratios, _tempTrc4, count);
    const int smallest = smallestRatio(ratios, count);
    return smallest < count ? static_cast<int>(first + smallest + signalOffset) : 0;
}

int fbPicker::computeARPick(float* data, int isamp) {
    const int range = samplesIn(_fbpp->winlen2, _srate), window = samplesIn(_fbpp->winar, _srate);
    const int highestOrder = std::min(window / 4, largestStorableOrder(_nsamp));
    if (!hasWorkArrays(*this) || highestOrder < lowestOrder) return 0;

    // Only windows that lie within the trace are looked at.
    const Count windows = Count(_nsamp) - window + 1;
    const int references = static_cast<int>(std::max<Count>(0, std::min<Count>(samplesIn(_fbpp->wina, _srate), windows)));
    _isPreProcess = true;
    float* const known = _tempTrc1 + _nsamp;  // in order of position, for the search
    for (int i = 0; i < references; ++i) known[i] = firstCoefficient(*this, data + i, window, highestOrder);
    std::copy_n(known, references, _tempTrc1);
    if (references == 0) _tempTrc1[0] = 0.0f;
    qksort(references, _tempTrc1);
    const float threshold = _tempTrc1[references / 2] * _fbpp->threshold;

    // Kept on purpose: the second bound takes the start of the search from its range.
    const Count end = std::min(std::min(Count(range) - window, Count(range) - isamp), windows);
    for (Count i = std::max(isamp, 0); i < end; ++i) {
        const float coefficient = i < references ? known[i] : firstCoefficient(*this, data + i, window, highestOrder);
        if (coefficient >= threshold) return static_cast<int>(i);
    }
    return 0;
}

int fbPicker::computeSPDPick(float* data, int isamp) {
    const int range = samplesIn(_fbpp->winlen3, _srate), window = samplesIn(_fbpp->winspd, _srate);
    if (!hasWorkArrays(*this) || window < 1 || window >= _nsamp) return 0;  // the table has one entry more than the window
    Decomposition decomposition = {*this, range, window, window / 2};
    if (_isPreProcess) decomposition.buildTables();

    // Kept on purpose: the search start, counted from 0, is handed on as one counted from 1, and the end of the search takes
    // it from the range. The values before the first centre, 0, belong to the reference all the same.
    const Count end = std::min<Count>(Count(range) - isamp, _nsamp);
    decomposition.fill(data, std::max<Count>(Count(isamp) + window / 2, 1), end, _tempTrc4);
    std::copy_n(_tempTrc4, window, _tempTrc3);
    qksort(window, _tempTrc3);
    const float threshold = _tempTrc3[window / 2] * _fbpp->threshspd;
    for (Count i = std::max(isamp, 0); i < end; ++i)
        if (_tempTrc4[i] >= threshold) return static_cast<int>(i);
    return 0;
}

int fbPicker::doPick(float* data, int nsamp, int nstart, int nend, int nlead, int nlag, float stablize) {
    return largestLeadLagRatio({data, nsamp, nsamp}, {nlead, nlag, stablize}, nstart, nend);
}

/* Kept on purpose: a rule that no sample matches, such as 0, moves the pick to an end of the trace. */
int fbPicker::adjustPick(float* data, int time, int) {
    if (_fbpp->shiftpick == 5 || _nsamp < 1) return time;
    const Waveform waveform = {data, _nsamp, _fbpp->shiftpick};
    const int direction = _fbpp->direction;
    const Count backward = direction > 0 ? time : waveform.searchBackward(time);
    if (direction < 0) return static_cast<int>(backward);
    const Count forward = waveform.searchForward(time);
    if (direction > 0) return static_cast<int>(forward);
    return static_cast<int>(forward - time <= time - backward ? forward : backward);
}
