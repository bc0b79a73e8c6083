#include <fftw3.h>
#include <pelta/host.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <numeric>
#include <vector>

namespace {

/* All halves of prime-factor lengths, ascending: one factor out of each group, or none. */
std::vector<int> primeFactorLengths() {
    std::vector<int> lengths;
    for (int twos : {1, 2, 4, 8, 16})
        for (int threes : {1, 3, 9})
            for (int five : {1, 5})
                for (int seven : {1, 7})
                    for (int eleven : {1, 11})
                        for (int thirteen : {1, 13}) lengths.push_back(twos * threes * five * seven * eleven * thirteen);
    std::sort(lengths.begin(), lengths.end());
    return lengths;
}

bool hasOnlySmallFactors(long n) {
    for (int factor : {2, 3, 5, 7})
        while (n % factor == 0) n /= factor;
    return n == 1;
}

enum class Kind { realToComplex, complexToReal, complexForward, complexBackward };

/* One plan per kind and length, made at the first call and kept. FFTW's planner is not thread-safe, its execution is. */
fftwf_plan cachedPlan(Kind kind, int n) {
    static std::mutex mutex;
    static std::map<std::pair<Kind, int>, fftwf_plan> plans;
    const std::lock_guard lock(mutex);
    fftwf_plan& plan = plans[{kind, n}];
    if (!plan) {
        std::vector<float> real(n + 2);
        std::vector<float> bins(2 * n + 2), moreBins(2 * n + 2);
        auto* spectrum = reinterpret_cast<fftwf_complex*>(bins.data());
        const unsigned flags = FFTW_MEASURE | FFTW_UNALIGNED | FFTW_PRESERVE_INPUT;
        switch (kind) {
            case Kind::realToComplex: plan = fftwf_plan_dft_r2c_1d(n, real.data(), spectrum, flags); break;
            case Kind::complexToReal: plan = fftwf_plan_dft_c2r_1d(n, spectrum, real.data(), flags); break;
            case Kind::complexForward:
            case Kind::complexBackward:
                plan = fftwf_plan_dft_1d(n, spectrum, spectrum, kind == Kind::complexForward ? FFTW_FORWARD : FFTW_BACKWARD,
                                         FFTW_MEASURE | FFTW_UNALIGNED);
                break;
        }
    }
    return plan;
}

}

int npfar(int nmin) {
    static const std::vector<int> lengths = primeFactorLengths();
    const int half = std::max(1, nmin / 2 + nmin % 2);
    const auto found = std::lower_bound(lengths.begin(), lengths.end(), half);
    if (found != lengths.end()) return 2 * *found;
    long length = half;
    while (!hasOnlySmallFactors(length)) ++length;
    return static_cast<int>(2 * length);
}

void pfarc(int isign, int n, float* rz, peltaComplex* cz) {
    fftwf_execute_dft_r2c(cachedPlan(Kind::realToComplex, n), rz, reinterpret_cast<fftwf_complex*>(cz));
    if (isign > 0)
        for (int k = 0; k <= n / 2; ++k) cz[k].i = -cz[k].i;
    cz[0].i = cz[n / 2].i = 0.0f;
}

void pfacr(int isign, int n, peltaComplex* cz, float* rz) {
    std::vector<peltaComplex> bins(cz, cz + n / 2 + 1);
    if (isign < 0)
        for (peltaComplex& bin : bins) bin.i = -bin.i;
    bins.front().i = bins.back().i = 0.0f;
    fftwf_execute_dft_c2r(cachedPlan(Kind::complexToReal, n), reinterpret_cast<fftwf_complex*>(bins.data()), rz);
}

void pfacc(int isign, int n, peltaComplex* cz) {
    auto* bins = reinterpret_cast<fftwf_complex*>(cz);
    fftwf_execute_dft(cachedPlan(isign > 0 ? Kind::complexBackward : Kind::complexForward, n), bins, bins);
}
