#include <pelta/bandpassfilter.h>
#include <pelta/host.h>
#include <pelta/spectrum.h>
#include <pelta/statistics.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "spectral/spectra.h"
#include "truncation.h"
#include "vectorize.h"
#include "workarray.h"

namespace {

/* Longest transform that is built. A longer one is asked for by sample intervals below 0.006 ms only, 0 among them. */
constexpr int longestTransform = 1 << 26;

/* A response written value by value at rising frequencies. */
class RisingResponse {
  public:
    RisingResponse(float* values, int stride, std::int64_t room, float step)
        : values_(values), stride_(stride), room_(room), step_(step) {}

    template <class Value>
    void writeBelow(float bound, Value value) {
        while (isOpen() && bound > frequency_) write(value(frequency_));
    }

    template <class Value>
    void writeUpTo(float bound, Value value) {
        while (isOpen() && bound >= frequency_) write(value(frequency_));
    }

  private:
    bool isOpen() const { return written_ < room_; }

    /* A step that does not raise the frequency would never reach the end of a band. */
    void write(float value) {
        values_[written_ * stride_] = value;
        const float next = frequency_ + step_;
        written_ = next > frequency_ ? written_ + 1 : room_;
        frequency_ = next;
    }

    float* values_;
    std::ptrdiff_t stride_;
    std::int64_t room_, written_ = 0;
    float step_, frequency_ = 0.0f;
};

/* At most room values are written. */
void writeOrmsby(const BandPassFilter& f, float* values, int stride, std::int64_t room, int highest, int steps) {
    constexpr float floorAmplitude = 0.001f, aboveFloor = 0.999f;
    const float quarterTurn = std::asin(1.0f);
    const float lowCut = f._lc, lowPass = f._lp, highPass = f._hp, highCut = f._hc;
    const auto stopped = [](float) { return floorAmplitude; };
    const auto passed = [](float) { return 1.0f; };
    const auto lowTaper = [&](float frequency) {
        const float sine = std::sin((frequency - lowCut) * quarterTurn / (lowPass - lowCut));
        return sine * sine * aboveFloor + floorAmplitude;
    };
    const auto highTaper = [&](float frequency) {
        const float cosine = std::cos((frequency - highPass) * quarterTurn / (highCut - highPass));
        return cosine * cosine * aboveFloor + floorAmplitude;
    };
    RisingResponse response(values, stride, room, static_cast<float>(highest) / static_cast<float>(steps));
    response.writeBelow(lowCut, stopped);
    if (lowCut != lowPass) response.writeUpTo(lowPass, lowTaper);
    response.writeUpTo(highPass, passed);
    if (highPass != highCut) response.writeUpTo(highCut, highTaper);
    response.writeUpTo(static_cast<float>(highest), stopped);
}

/* Floats in each work array: room for the spectrum, for the trace, and for a transform of a power of two. */
int workSize(const BandPassFilter& f, int nyquist) {
    const float octaves = std::ceil(std::log(static_cast<float>(f._nfft)) / std::log(2.0f));
    const int powerOfTwo = truncated(0.5f + std::pow(2.0f, octaves));
    return std::max({f._nfft + 10, nyquist, powerOfTwo + 10, f._nsample});
}

bool resize(float*& array, int count) {
    auto* const resized = static_cast<float*>(reallocarray(array, count, sizeof(float)));
    if (!resized) return false;
    array = resized;
    return true;
}

void release(float*& array) {
    std::free(array);
    array = nullptr;
}

/* Without arrays applyFilter leaves its data alone. */
void releaseAll(BandPassFilter& f) {
    release(f._filter);
    release(f._magfilter);
    release(f._tempTrc);
    release(f._tempTrc1);
    f._lenfilter = 0;
}

bool allocateResponse(BandPassFilter& f, int count) {
    release(f._magfilter);
    f._magfilter = zeros(count).release();
    return f._magfilter && resize(f._tempTrc, count) && resize(f._tempTrc1, count);
}

/* Real parts of bins 0 .. _nfft/2. Corners above the Nyquist frequency take the Ormsby response further, to the end of the array;
 * the Butterworth response leaves the Nyquist bin 0, which the inverse keeps. */
void writeResponse(BandPassFilter& f, int count, int nyquist) {
    if (f._type == 0) writeOrmsby(f, f._magfilter, 2, count / 2, nyquist, f._nfft / 2);
    else f.butterworthGen(f._magfilter, 2, nyquist, f._nfft / 2);
    if (f._inverse != 1) return;
    for (int i = 0; i <= f._nfft + 1; i += 2)
        if (f._magfilter[i] != 0.0f) f._magfilter[i] = 1.0f / f._magfilter[i];
}

/* Turns the zero-phase impulse response (time zero first) into the minimum-phase one of the same amplitudes and RMS. It is one
 * sample longer than the transform, with a 0 at its end. */
bool makeMinimumPhase(BandPassFilter& f, float* impulse) {
    const WorkArray phase = zeros(f._nfft / 2 + 1), quadrature = zeros(f._nfft);
    if (!phase || !quadrature) return false;
    std::rotate(impulse, impulse + f._nfft / 2, impulse + f._nfft);
    float rmsBefore, rmsAfter;
    computeMeanRms(impulse, f._nfft, &rmsBefore);
    changePhase(impulse, f._nfft, f._nfft, 0, -1.0f, 0.01f, 0.0f, f._magfilter, phase.get(), quadrature.get());
    computeMeanRms(impulse, f._nfft, &rmsAfter);
    const float scale = rmsBefore / rmsAfter;
    /* Kept on purpose: the first sample is not rescaled and the one behind the last is. */
    for (int i = 1; i <= f._nfft; ++i) impulse[i] *= scale;
    return true;
}

/* Half the operator's length: up to the last sample of the impulse response's first half that reaches the lag, as an even
 * number. */
int operatorHalf(const BandPassFilter& f, const float* impulse, float peak) {
    int last = f._nfft / 2 - 1;
    while (last > 0 && !(std::fabs(impulse[last]) / peak >= f._lag)) --last;
    return (std::max(last, 0) + 1) / 2 * 2;
}

/* Kept on purpose: the mirror image of the first half, symmetric also where minimum phase was asked for. */
bool mirrorOperator(BandPassFilter& f, const float* impulse, int half) {
    const int length = 2 * half + 1;
    release(f._filter);
    f._filter = zeros(std::max<std::int64_t>(length, 2 * std::int64_t{f._nsample})).release();
    if (!f._filter) return false;
    f._lenfilter = length;
    for (int k = 0; k <= half; ++k) f._filter[half + k] = f._filter[half - k] = impulse[k];
    return true;
}

/* Kept on purpose: the impulse response is not divided by the transform's length. */
bool buildOperator(BandPassFilter& f) {
    const WorkArray impulse = zeros(f._nfft + 1);
    if (!impulse) return false;
    pfacr(-1, f._nfft, bins(f._magfilter), impulse.get());
    if (f._phase == 1 && !makeMinimumPhase(f, impulse.get())) return false;
    const float peak = f._phase == 1 ? largestMagnitude(impulse.get(), f._nfft + 1) : std::fabs(impulse[0]);
    return mirrorOperator(f, impulse.get(), operatorHalf(f, impulse.get(), peak));
}

/* -x as a change of its sign bit. Sums and differences side by side would be fused with their products by gcc 12, which makes
 * one vector instruction of them in spite of -ffp-contract=off. */
PELTA_INLINE float withSignFlipped(float x) { return std::bit_cast<float>(std::bit_cast<std::uint32_t>(x) ^ 0x80000000u); }

/* The data's bins a + ib times the conjugates of the filter's bins c + id: (ac + bd) + i (bc - ad). */
PELTA_VECTORIZE_256 void multiplyByConjugate(const float* data, const float* filter, float* product, int binCount) {
    for (int k = 0; k < binCount; ++k) {
        const float a = data[2 * k], b = data[2 * k + 1], c = filter[2 * k], d = filter[2 * k + 1];
        product[2 * k] = a * c + b * d;
        product[2 * k + 1] = b * c + a * withSignFlipped(d);
    }
}

void filterInTime(BandPassFilter& f, float* data, int count) {
    if (!f._filter || !f._tempTrc || count <= 0) return;
    std::copy_n(data, count, f._tempTrc);
    conv(f._lenfilter, -(f._lenfilter / 2), f._filter, count, 0, f._tempTrc, count, 0, data);
}

void filterInFrequency(BandPassFilter& f, float* data, int count) {
    if (!f._magfilter || !f._tempTrc || !f._tempTrc1 || count <= 0) return;
    std::copy_n(data, count, f._tempTrc);
    std::fill(f._tempTrc + count, f._tempTrc + f._nfft, 0.0f);
    pfarc(1, f._nfft, f._tempTrc, bins(f._tempTrc1));
    multiplyByConjugate(f._tempTrc1, f._magfilter, f._tempTrc, f._nfft / 2 + 1);
    pfacr(-1, f._nfft, bins(f._tempTrc), f._tempTrc1);
    divide(f._tempTrc1, static_cast<float>(f._nfft), data, count);
}

}

BandPassFilter::BandPassFilter(int type, int phase, int inverse, float lag, int lc, int lp, int hp, int hc, int nsample,
                               float sRate)
    : _type(type),
      _phase(phase),
      _inverse(inverse),
      _lag(lag),
      _nsample(nsample),
      _sRate(sRate),
      _isTime(1),
      _tempTrc(nullptr),
      _tempTrc1(nullptr),
      _filter(nullptr),
      _magfilter(nullptr),
      _lenfilter(0) {
    buildFilter(lc, lp, hp, hc);
}

BandPassFilter::~BandPassFilter() { releaseAll(*this); }

void BandPassFilter::buildFilter(int lc, int lp, int hp, int hc) {
    _lc = lc;
    _lp = lp;
    _hp = hp;
    _hc = hc;
    // Kept on purpose: formed in single precision, in which the truncated Nyquist frequency of 4 ms is 124 Hz.
    const int nyquist = truncated(0.5f / (_sRate / 1000.0f));
    const float wanted = _isTime == 0 ? static_cast<float>(_nsample) * 1.3f : static_cast<float>(nyquist) * 4.0f / _sRate;
    _nfft = npfar(truncated(wanted));
    if (std::max(_nfft, nyquist) > longestTransform) return releaseAll(*this);
    const int count = workSize(*this, nyquist);
    if (!allocateResponse(*this, count)) return releaseAll(*this);
    writeResponse(*this, count, nyquist);
    if (_isTime != 0 && !buildOperator(*this)) releaseAll(*this);
}

void BandPassFilter::setTimeDomain(int istime) { _isTime = istime; }

int BandPassFilter::applyFilter(float* data, int nsamp) {
    if (_isTime != 0) filterInTime(*this, data, std::min(_nsample, nsamp));
    else filterInFrequency(*this, data, std::min(_nfft, nsamp));
    return 0;
}

void BandPassFilter::ormsbyGen(float* a, int ia, int maxf, int numf) { writeOrmsby(*this, a, ia, INT64_MAX, maxf, numf); }

void BandPassFilter::butterworthGen(float* a, int ia, int maxf, int numf) {
    const int lowExponent = _lc / 3, highExponent = _hc / 3;
    const float lowCorner = _lp == 0 ? 1.0e-20f : static_cast<float>(_lp), highCorner = static_cast<float>(_hp);
    const float step = static_cast<float>(maxf) / static_cast<float>(numf);
    for (std::ptrdiff_t k = 0; k < numf; ++k) {
        const float frequency = static_cast<float>(k) * step;
        const double x = std::pow(static_cast<double>(frequency / lowCorner), lowExponent);
        const double y = std::pow(static_cast<double>(frequency / highCorner), highExponent);
        a[k * ia] = static_cast<float>(std::sqrt(x / ((x + 1.0) * (y + 1.0))));
    }
}
