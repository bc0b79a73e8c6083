#ifndef PELTA_TESTS_PLAINPICKER_H
#define PELTA_TESTS_PLAINPICKER_H

#include <pelta/arpicker.h>
#include <pelta/fbpicker.h>
#include <pelta/spdpicker.h>

#include <algorithm>
#include <cmath>
#include <vector>

/* The methods of the picker step by step, for parameters that keep inside the trace: what the library has to give to the bit. */
namespace plain {

inline float at(const std::vector<float>& array, long index) {
    return index >= 0 && index < long(array.size()) ? array[index] : 0.0f;
}

inline int samples(int milliseconds, float interval) { return static_cast<int>(static_cast<float>(milliseconds) / interval); }

inline int round(float x) { return static_cast<int>(x > 0 ? x + 0.5f : x - 0.5f); }

inline float middle(std::vector<float> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

inline int leadLagPick(const std::vector<float>& data, int nsamp, int nstart, int nend, int nlead, int nlag, float stablize) {
    float best = 0.0f;
    int pick = 0;
    if (nstart + 1 >= nend) return 0;
    for (int i = nstart + 1; i < nend; ++i) {
        const int n1 = std::max(0, i - nlag), n2 = std::min(nsamp - 1, i + nlead);
        const float before = (at(data, i) - at(data, n1)) / static_cast<float>(i - n1) + stablize;
        const float after = (at(data, n2) - at(data, i)) / static_cast<float>(n2 - i);
        const float ratio = after / before;
        if (ratio > best) {
            best = ratio;
            pick = i;
        }
    }
    return pick;
}

inline int energyPick(const fbPickParm& parm, const std::vector<float>& data, float srate, int isamp) {
    const int n = static_cast<int>(data.size());
    const float env = static_cast<float>(parm.envelope) / srate;
    const int nlag = std::max(round(env) + 1, 10);
    const int nlead = static_cast<int>(nlag * 0.67 + 0.5);
    const int iwin = samples(parm.winlen, srate) / 2;
    const int copyStart = std::max(0, isamp - iwin - 2 * nlag), copyEnd = std::min(n - 1, isamp + iwin + 2 * nlead);
    const int ns = copyEnd - copyStart;
    int nstart = std::max(0, isamp - iwin - copyStart), nend = std::min(n - 1, isamp + iwin + copyStart);
    if (ns <= 0) return 0;

    std::vector<float> cum(2 * n, 0.0f);
    std::copy_n(data.begin() + copyStart, ns, cum.begin());
    cum[0] = 0.0f;
    double sum = 0.0;
    for (int k = 1; k < ns; ++k) {
        sum += cum[k];
        cum[k] = static_cast<float>(std::fabs(static_cast<double>(cum[k])) + cum[k - 1]);
    }
    if (sum == 0.0) return 0;
    float stab = static_cast<float>(static_cast<double>(parm.stablizer) * 0.01 * cum[ns - 1] / ns);
    if (stab < 1e-30f) stab = 1e-30f;
    const float m = middle({float(leadLagPick(cum, ns, nstart, nend, nlead, nlag, stab)),
                            float(leadLagPick(cum, ns, nstart, nend, 2 * nlead, 2 * nlag, stab * 0.5f)),
                            float(leadLagPick(cum, ns, nstart, nend, nlead / 2, nlag / 2, stab + stab))});
    const int r = round(env);
    nstart = std::max(nstart, static_cast<int>(m - r));
    nend = std::min(nend, static_cast<int>(r + m));
    const double amplitude = static_cast<double>(at(cum, nend)) - static_cast<double>(at(cum, nstart));
    const float stab1 = static_cast<float>(static_cast<double>(parm.stablizer) * 0.01 * amplitude / (nend - nstart));
    std::vector<float> picks;
    for (int k = 1; k <= 9; ++k) {
        if (k % 3 == 1)
            picks.push_back(leadLagPick(cum, ns, nstart, nend, round(env * 0.35f), round(env * 0.5f), stab1 * 0.5f));
        if (k % 3 == 2) picks.push_back(leadLagPick(cum, ns, nstart, nend, round(env * 0.7f), round(env), stab1));
        if (k % 3 == 0) picks.push_back(leadLagPick(cum, ns, nstart, nend, round(env * 1.2f), round(env * 1.4f), stab1 * 2.0f));
    }
    return static_cast<int>(middle(picks) + 0.5f);
}

inline float deviation(const float* x, int n) {
    float sum = 0.0f;
    for (int j = 0; j < n; ++j) sum += x[j];
    const float mean = sum / static_cast<float>(n);
    volatile float squares = 0.0f;  // volatile: the sum is rounded to float after every term
    for (int j = 0; j < n; ++j) {
        const float d = x[j] - mean;
        squares = static_cast<float>(static_cast<double>(squares) + static_cast<double>(d) * static_cast<double>(d));
    }
    return static_cast<float>(std::sqrt(static_cast<double>(squares / static_cast<float>(n))));
}

inline int deviationPick(const fbPickParm& parm, const std::vector<float>& data, float srate) {
    const int nwin1 = samples(parm.win1, srate), nwin2 = samples(parm.win2, srate), nstop = samples(parm.winlen1, srate);
    if (nwin1 + 1 + nwin2 + 1 >= nstop) return 0;
    float minratio = 1e32f;
    int pick = 0, winstart1 = 0, winstart2 = nwin1 + 1;
    do {
        const float ratio = deviation(&data[winstart1], nwin1) / deviation(&data[winstart2], nwin2);
        if (ratio < minratio) {
            minratio = ratio;
            pick = winstart2;
        }
        ++winstart1;
        ++winstart2;
    } while (winstart2 + nwin2 + 1 < nstop);
    return pick;
}

inline float firstCoefficient(const float* window, int n, int nsamp) {
    std::vector<float> x(window, window + n), v(nsamp), vc(nsamp), s(nsamp), sc(nsamp), a(nsamp);
    int mstart = 2, mlast = n / 4, icode = 0, akcode = 0, rscode = 1, m, ocode = 0;
    float ssq, p;
    fabne_(x.data(), &n, &mstart, &mlast, &icode, &akcode, &rscode, &nsamp, v.data(), vc.data(), s.data(), sc.data(), a.data(),
           &m, &ssq, &p, &ocode);
    return a[0];
}

inline int autoregressivePick(const fbPickParm& parm, const std::vector<float>& data, float srate, int isamp) {
    const int nwin1 = samples(parm.winlen2, srate), nwina = samples(parm.wina, srate), arwin = samples(parm.winar, srate);
    const int n = static_cast<int>(data.size());
    std::vector<float> reference;
    for (int i = 0; i < nwina; ++i) reference.push_back(firstCoefficient(&data[i], arwin, n));
    const float thresh = middle(reference) * parm.threshold;
    const int nstop = std::min(nwin1 - arwin, nwin1 - isamp);
    for (int i = isamp; i < nstop; ++i)
        if (firstCoefficient(&data[i], arwin, n) >= thresh) return i;
    return 0;
}

/* One value per sample; entry 0 stands for the sample before the trace. */
inline std::vector<float> decomposition(const fbPickParm& parm, const std::vector<float>& data, float srate, int isamp) {
    int range = samples(parm.winlen3, srate), iwin = samples(parm.winspd, srate), ihalf = iwin / 2, size = iwin + 2;
    std::vector<peltaComplex> ctable(iwin + 1);
    std::vector<float> t(iwin + 1), scratch(size), values(data.size() + 2 * iwin + 2), padded(data.size() + 2 * iwin + 2);
    std::copy(data.begin(), data.end(), padded.begin() + 1);
    int one = 1, no = 0, itw = 100, ist = isamp, iend = range - isamp;
    float pie = 3.1415927f, freq = parm.freqspd, dt = srate / 1000.0f, radeg = 57.29578f;
    spdtables_(ctable.data(), &iwin, &one, &no, &one, t.data(), &itw, &ihalf, &pie, &freq, &dt);
    spddecompose_(&padded[1], &range, scratch.data(), &size, &ist, &iend, &one, &no, &one, &iwin, &ihalf, ctable.data(),
                  t.data(), &values[1], &radeg, &no, &no, &no);
    return values;
}

inline int decompositionPick(const fbPickParm& parm, const std::vector<float>& data, float srate, int isamp) {
    const int range = samples(parm.winlen3, srate), iwin = samples(parm.winspd, srate);
    const std::vector<float> values = decomposition(parm, data, srate, isamp);
    const float thresh = middle({values.begin() + 1, values.begin() + 1 + iwin}) * parm.threshspd;
    for (int i = isamp; i < range - isamp; ++i)
        if (values[i + 1] >= thresh) return i;
    return 0;
}

inline bool matches(int s, const std::vector<float>& data, int i) {
    const float x = at(data, i), earlier = at(data, i - 1), later = at(data, i + 1);
    if (s == 1) return x < 0 && x <= earlier && x <= later;
    if (s == 2) return x > 0 && x >= earlier && x >= later;
    if (s == 3) return (x >= 0 && later <= 0) || (x < later && x < earlier);
    if (s == 4) return (x <= 0 && later >= 0) || (x > later && x > earlier);
    return false;
}

inline int snap(int s, int direction, const std::vector<float>& data, int time) {
    if (s == 5) return time;
    int ibdk = time, ifwd = time;
    while (ibdk > 1 && !matches(s, data, ibdk)) --ibdk;
    if (direction < 0) return ibdk;
    while (ifwd < int(data.size()) - 1 && !matches(s, data, ifwd)) ++ifwd;
    if (direction > 0) return ifwd;
    return ifwd - time <= time - ibdk ? ifwd : ibdk;
}

}

#endif
