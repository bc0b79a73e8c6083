#include <fftw3.h>
#include <pelta/host.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <mutex>
#include <tuple>
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

fftwf_complex* bins(float* floats) { return reinterpret_cast<fftwf_complex*>(floats); }

enum class Output { inPlace, elsewhere };

/* A complex transform of length n, and for a real series of length 2 n, taken as n complex values, the factors that turn that
 * transform into the series' own: (w^k) / 2i, w = exp(sign pi i / n), k = 0 .. n/2, as (re, re) and (-im, im). */
struct Plan {
    fftwf_plan transform = nullptr;
    std::vector<float> factorReal, factorImaginary;
};

/* FFTW_ESTIMATE, since a plan chosen by timing changes from run to run and its rounding with it: results must not. Plans are
 * made for aligned arrays (FFTW_UNALIGNED would do without vectors) and data that is not aligned is moved to scratch that
 * is, so that the place of a trace in memory does not change its bits either. */
Plan makePlan(Output output, int n, int sign) {
    Plan plan;
    fftwf_complex* const in = fftwf_alloc_complex(n);
    fftwf_complex* const out = output == Output::inPlace ? in : fftwf_alloc_complex(n);
    if (in && out) plan.transform = fftwf_plan_dft_1d(n, in, out, sign > 0 ? FFTW_BACKWARD : FFTW_FORWARD, FFTW_ESTIMATE);
    if (out != in) fftwf_free(out);
    fftwf_free(in);
    for (int k = 0; output == Output::elsewhere && k <= n / 2; ++k) {
        const double angle = sign * M_PI * k / n;
        const float real = static_cast<float>(std::sin(angle) / 2.0), imaginary = static_cast<float>(-std::cos(angle) / 2.0);
        plan.factorReal.insert(plan.factorReal.end(), {real, real});
        plan.factorImaginary.insert(plan.factorImaginary.end(), {-imaginary, imaginary});
    }
    return plan;
}

using PlanKey = std::tuple<Output, int, int>;

/* The plans of all threads; FFTW's planner is for one thread at a time. Never destroyed, since a thread may outlive main. */
const Plan* sharedPlan(const PlanKey& key) {
    static std::mutex mutex;
    static auto& plans = *new std::map<PlanKey, Plan>;
    const std::lock_guard lock(mutex);
    Plan& plan = plans[key];
    if (!plan.transform) plan = std::apply(makePlan, key);
    return plan.transform ? &plan : nullptr;
}

/* Each thread remembers the plans it has used and asks for the lock only at its first call of a length. Null where memory is
 * short: the transform then leaves its output alone. */
const Plan* planFor(Output output, int n, int isign) noexcept try {
    static thread_local std::map<PlanKey, const Plan*> plans;
    const PlanKey key{output, n, isign > 0 ? 1 : -1};
    const Plan*& plan = plans[key];
    if (!plan) plan = sharedPlan(key);
    return plan;
} catch (...) { return nullptr; }

bool isAligned(float* array) { return fftwf_alignment_of(array) == 0; }

thread_local Scratch inputScratch, outputScratch;

template <int bytes, class Indices = std::make_integer_sequence<int, bytes / 4>>
struct Bins;

/* Complex values side by side. */
template <int bytes, int... i>
struct Bins<bytes, std::integer_sequence<int, i...>> {
    typedef float Floats __attribute__((vector_size(bytes)));
    typedef int Ints __attribute__((vector_size(bytes)));
    static constexpr int count = bytes / 8;

    static HOST_INLINE Floats load(const float* p) {
        Floats x;
        std::memcpy(&x, p, sizeof x);
        return x;
    }
    static HOST_INLINE void store(float* p, Floats x) { std::memcpy(p, &x, sizeof x); }
    static HOST_INLINE Floats swapParts(Floats x) { return __builtin_shufflevector(x, x, (i ^ 1)...); }
    static HOST_INLINE Floats reverse(Floats x) { return __builtin_shufflevector(x, x, (2 * (count - 1 - i / 2) + i % 2)...); }
    static HOST_INLINE Floats conjugate(Floats x) { return (Floats)((Ints)x ^ Ints{(i % 2 ? INT_MIN : 0)...}); }
};

/* How a spectrum of n complex values and the bins 0 .. n of the real series behind them are made of one another:
 * out[k] = sumScale s + f d and conj out[n-k] = sumScale s - f d, with s = in[k] + conj in[n-k],
 * d = differenceScale (in[k] - conj in[n-k]) and f the plan's factor. Both scales are powers of two. */
struct Folding {
    const Plan& plan;
    int n;
    float sumScale, differenceScale;
};

/* The pairs k, n - k from the first on, as far as whole vectors of them go; returns the first left over. */
template <int bytes>
HOST_INLINE int foldPairs(const Folding& folding, const float* in, float* out, int first) {
    using Lanes = Bins<bytes>;
    using Floats = typename Lanes::Floats;
    const float* const factorReal = folding.plan.factorReal.data();
    const float* const factorImaginary = folding.plan.factorImaginary.data();
    int k = first;
    for (; k + Lanes::count - 1 < folding.n - k - (Lanes::count - 1); k += Lanes::count) {
        const int mirrored = folding.n - k - (Lanes::count - 1);
        const Floats low = Lanes::load(in + 2 * k), high = Lanes::conjugate(Lanes::reverse(Lanes::load(in + 2 * mirrored)));
        const Floats sum = folding.sumScale * (low + high), difference = folding.differenceScale * (low - high);
        const Floats product =
            Lanes::load(factorReal + 2 * k) * difference + Lanes::load(factorImaginary + 2 * k) * Lanes::swapParts(difference);
        Lanes::store(out + 2 * k, sum + product);
        Lanes::store(out + 2 * mirrored, Lanes::reverse(Lanes::conjugate(sum - product)));
    }
    return k;
}

#if HOST_LEVELS
HOST_LEVEL_V3 int foldWidely(const Folding& folding, const float* in, float* out) { return foldPairs<32>(folding, in, out, 1); }
#endif

/* All pairs but the outermost, bins 0 and n, and the innermost, which is its own mirror image where n is even. */
void foldInside(const Folding& folding, int sign, const float* in, float* out) {
    int k = 1;
#if HOST_LEVELS
    static const bool isWide = __builtin_cpu_supports("x86-64-v3");
    if (isWide) k = foldWidely(folding, in, out);
#endif
    k = foldPairs<16>(folding, in, out, k);
    foldPairs<8>(folding, in, out, k);
    if (folding.n % 2 == 0) {
        out[folding.n] = 2.0f * folding.sumScale * in[folding.n];
        out[folding.n + 1] = static_cast<float>(sign) * folding.differenceScale * in[folding.n + 1];
    }
}

/* An even length: the samples in pairs are the values of a complex transform of half the length. */
void transformEven(int sign, int n, float* series, float* spectrum) {
    const Plan* const plan = planFor(Output::elsewhere, n / 2, sign);
    float* const in = isAligned(series) ? series : inputScratch.room(n);
    float* const half = outputScratch.room(n);
    if (!plan || !in || !half) return;
    if (in != series) std::copy_n(series, n, in);
    fftwf_execute_dft(plan->transform, bins(in), bins(half));
    foldInside({*plan, n / 2, 0.5f, 1.0f}, sign, half, spectrum);
    spectrum[n] = half[0] - half[1];
    spectrum[0] = half[0] + half[1];
    spectrum[1] = spectrum[n + 1] = 0.0f;
}

void transformEvenBack(int sign, int n, const float* spectrum, float* series) {
    const Plan* const plan = planFor(Output::elsewhere, n / 2, sign);
    float* const half = inputScratch.room(n);
    float* const out = isAligned(series) ? series : outputScratch.room(n);
    if (!plan || !out || !half) return;
    half[0] = spectrum[0] + spectrum[n];
    half[1] = spectrum[0] - spectrum[n];
    foldInside({*plan, n / 2, 1.0f, -2.0f}, sign, spectrum, half);
    fftwf_execute_dft(plan->transform, bins(half), bins(out));
    if (out != series) std::copy_n(out, n, series);
}

/* An odd length: as a complex series of the same length. */
void transformOdd(int sign, int n, const float* series, float* spectrum) {
    const Plan* const plan = planFor(Output::inPlace, n, sign);
    float* const whole = inputScratch.room(2 * static_cast<std::size_t>(n));
    if (!plan || !whole) return;
    for (std::ptrdiff_t j = 0; j < n; ++j) {
        whole[2 * j] = series[j];
        whole[2 * j + 1] = 0.0f;
    }
    fftwf_execute_dft(plan->transform, bins(whole), bins(whole));
    std::copy_n(whole, n + 1, spectrum);
    spectrum[1] = 0.0f;
}

void transformOddBack(int sign, int n, const float* spectrum, float* series) {
    const Plan* const plan = planFor(Output::inPlace, n, sign);
    float* const whole = inputScratch.room(2 * static_cast<std::size_t>(n));
    if (!plan || !whole) return;
    whole[0] = spectrum[0];
    whole[1] = 0.0f;
    for (std::ptrdiff_t k = 1; k <= n / 2; ++k) {
        whole[2 * k] = whole[2 * (n - k)] = spectrum[2 * k];
        whole[2 * k + 1] = spectrum[2 * k + 1];
        whole[2 * (n - k) + 1] = -spectrum[2 * k + 1];
    }
    fftwf_execute_dft(plan->transform, bins(whole), bins(whole));
    for (std::ptrdiff_t j = 0; j < n; ++j) series[j] = whole[2 * j];
}

}

int npfar(int nmin) {
    static const std::vector<int> halves = validHalves();
    const int half = nmin / 2 + nmin % 2;
    const auto found = std::lower_bound(halves.begin(), halves.end(), half);
    return found != halves.end() ? 2 * *found : INT_MAX - 1;
}

void pfarc(int isign, int n, float* rz, peltaComplex* cz) {
    if (n <= 0) return;
    const int sign = isign > 0 ? 1 : -1;
    if (n % 2 == 0) transformEven(sign, n, rz, reinterpret_cast<float*>(cz));
    else transformOdd(sign, n, rz, reinterpret_cast<float*>(cz));
}

void pfacr(int isign, int n, peltaComplex* cz, float* rz) {
    if (n <= 0) return;
    const int sign = isign > 0 ? 1 : -1;
    if (n % 2 == 0) transformEvenBack(sign, n, reinterpret_cast<float*>(cz), rz);
    else transformOddBack(sign, n, reinterpret_cast<float*>(cz), rz);
}

void pfacc(int isign, int n, peltaComplex* cz) {
    if (n <= 0) return;
    const std::size_t floats = 2 * static_cast<std::size_t>(n);
    const Plan* const plan = planFor(Output::inPlace, n, isign);
    float* const spectrum = reinterpret_cast<float*>(cz);
    float* const work = isAligned(spectrum) ? spectrum : inputScratch.room(floats);
    if (!work || !plan) return;
    if (work != spectrum) std::copy_n(spectrum, floats, work);
    fftwf_execute_dft(plan->transform, bins(work), bins(work));
    if (work != spectrum) std::copy_n(work, floats, spectrum);
}
