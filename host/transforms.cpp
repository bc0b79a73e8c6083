#include <fftw3.h>
#include <pelta/host.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "scratch.h"
#include "vectorize.h"

namespace {

/* Halves of the lengths of a prime-factor transform, ascending: at most one factor out of each group. */
std::vector<int> primeFactorHalves() {
    std::vector<int> halves;
    for (int twos : {1, 2, 4, 8, 16})
        for (int threes : {1, 3, 9})
            for (int five : {1, 5})
                for (int seven : {1, 7})
                    for (int eleven : {1, 11})
                        for (int thirteen : {1, 13}) halves.push_back(twos * threes * five * seven * eleven * thirteen);
    std::sort(halves.begin(), halves.end());
    return halves;
}

/* Halves without a prime factor above 7 behind the given one, as far as twice the half is an int, ascending. */
std::vector<int> smoothHalvesAbove(int half) {
    constexpr std::int64_t largest = INT_MAX / 2;
    std::vector<int> halves;
    for (std::int64_t twos = 1; twos <= largest; twos *= 2)
        for (std::int64_t threes = twos; threes <= largest; threes *= 3)
            for (std::int64_t fives = threes; fives <= largest; fives *= 5)
                for (std::int64_t sevens = fives; sevens <= largest; sevens *= 7)
                    if (sevens > half) halves.push_back(static_cast<int>(sevens));
    std::sort(halves.begin(), halves.end());
    return halves;
}

std::vector<int> validHalves() {
    std::vector<int> halves = primeFactorHalves();
    const std::vector<int> longer = smoothHalvesAbove(halves.back());
    halves.insert(halves.end(), longer.begin(), longer.end());
    return halves;
}

enum class Kind { realToComplex, complexToReal, complexNegative, complexPositive };

fftwf_complex* bins(float* floats) { return reinterpret_cast<fftwf_complex*>(floats); }

/* FFTW_ESTIMATE, since a plan chosen by timing changes from run to run and its rounding with it: results must not. Plans are
 * made for aligned arrays (FFTW_UNALIGNED would do without vectors) and data that is not aligned is moved to scratch that
 * is, so that the place of a trace in memory does not change its bits either. */
fftwf_plan makePlan(Kind kind, int n) {
    constexpr unsigned flags = FFTW_ESTIMATE | FFTW_DESTROY_INPUT;
    const std::size_t count = static_cast<std::size_t>(n) + 2;
    float* const in = fftwf_alloc_real(2 * count);
    float* const out = fftwf_alloc_real(2 * count);
    fftwf_plan plan = nullptr;
    if (in && out) switch (kind) {
            case Kind::realToComplex: plan = fftwf_plan_dft_r2c_1d(n, in, bins(out), FFTW_ESTIMATE); break;
            case Kind::complexToReal: plan = fftwf_plan_dft_c2r_1d(n, bins(in), out, flags); break;
            case Kind::complexNegative: plan = fftwf_plan_dft_1d(n, bins(in), bins(in), FFTW_FORWARD, flags); break;
            case Kind::complexPositive: plan = fftwf_plan_dft_1d(n, bins(in), bins(in), FFTW_BACKWARD, flags); break;
        }
    fftwf_free(in);
    fftwf_free(out);
    return plan;
}

using Plans = std::map<std::pair<Kind, int>, fftwf_plan>;

/* The plans of all threads; FFTW's planner is for one thread at a time. Never destroyed, since a thread may outlive main. */
fftwf_plan sharedPlan(Kind kind, int n) {
    static std::mutex mutex;
    static Plans& plans = *new Plans;
    const std::lock_guard lock(mutex);
    const auto found = plans.find({kind, n});
    if (found != plans.end()) return found->second;
    const fftwf_plan plan = makePlan(kind, n);
    if (plan) plans.emplace(std::pair(kind, n), plan);
    return plan;
}

/* Each thread remembers the plans it has used and asks for the lock only at its first call of a length. Null where memory is
 * short: the transform then leaves its output alone. */
fftwf_plan planFor(Kind kind, int n) noexcept try {
    static thread_local Plans plans;
    fftwf_plan& plan = plans[{kind, n}];
    if (!plan) plan = sharedPlan(kind, n);
    return plan;
} catch (...) { return nullptr; }

bool isAligned(float* array) { return fftwf_alignment_of(array) == 0; }

bool overlap(const float* a, const float* b, std::size_t count) {
    return std::less<>()(a, b + count) && std::less<>()(b, a + count);
}

thread_local Scratch inputScratch, outputScratch;

HOST_VECTORIZE void conjugate(const float* from, float* to, std::size_t binCount) {
    for (std::size_t k = 0; k < binCount; ++k) {
        to[2 * k] = from[2 * k];
        to[2 * k + 1] = -from[2 * k + 1];
    }
}

/* The zero frequency and, at an even length, the Nyquist frequency of a real series are real. */
void makeEndBinsReal(float* spectrum, int n) {
    spectrum[1] = 0.0f;
    if (n % 2 == 0) spectrum[n + 1] = 0.0f;
}

}

int npfar(int nmin) {
    static const std::vector<int> halves = validHalves();
    const int half = nmin / 2 + (nmin > 0 ? nmin % 2 : 0);
    const auto found = std::lower_bound(halves.begin(), halves.end(), half);
    return found != halves.end() ? 2 * *found : INT_MAX - 1;
}

void pfarc(int isign, int n, float* rz, peltaComplex* cz) {
    if (n <= 0) return;
    const std::size_t floats = 2 * (static_cast<std::size_t>(n) / 2 + 1);
    float* const spectrum = reinterpret_cast<float*>(cz);
    float* in = rz;
    float* out = spectrum;
    if (!isAligned(rz) || overlap(rz, spectrum, floats)) in = inputScratch.room(n);
    if (!isAligned(spectrum)) out = outputScratch.room(floats);
    const fftwf_plan plan = planFor(Kind::realToComplex, n);
    if (!in || !out || !plan) return;
    if (in != rz) std::copy_n(rz, n, in);
    fftwf_execute_dft_r2c(plan, in, bins(out));
    if (isign > 0) conjugate(out, spectrum, floats / 2);
    else if (out != spectrum) std::copy_n(out, floats, spectrum);
    makeEndBinsReal(spectrum, n);
}

void pfacr(int isign, int n, peltaComplex* cz, float* rz) {
    if (n <= 0) return;
    const std::size_t floats = 2 * (static_cast<std::size_t>(n) / 2 + 1);
    const float* const spectrum = reinterpret_cast<float*>(cz);
    float* const in = inputScratch.room(floats);
    float* const out = isAligned(rz) ? rz : outputScratch.room(n);
    const fftwf_plan plan = planFor(Kind::complexToReal, n);
    if (!in || !out || !plan) return;
    if (isign > 0) std::copy_n(spectrum, floats, in);
    else conjugate(spectrum, in, floats / 2);
    makeEndBinsReal(in, n);
    fftwf_execute_dft_c2r(plan, bins(in), out);
    if (out != rz) std::copy_n(out, n, rz);
}

void pfacc(int isign, int n, peltaComplex* cz) {
    if (n <= 0) return;
    const std::size_t floats = 2 * static_cast<std::size_t>(n);
    float* const spectrum = reinterpret_cast<float*>(cz);
    float* const work = isAligned(spectrum) ? spectrum : inputScratch.room(floats);
    const fftwf_plan plan = planFor(isign > 0 ? Kind::complexPositive : Kind::complexNegative, n);
    if (!work || !plan) return;
    if (work != spectrum) std::copy_n(spectrum, floats, work);
    fftwf_execute_dft(plan, bins(work), bins(work));
    if (work != spectrum) std::copy_n(work, floats, spectrum);
}
