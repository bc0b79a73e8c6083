#ifndef PELTA_TESTS_PLAINAUTOREGRESSION_H
#define PELTA_TESTS_PLAINAUTOREGRESSION_H

#include <algorithm>
#include <cmath>
#include <vector>

/* The autoregressive kernel as it is written down, in one-based positions: what the library has to give to the bit. */
namespace plain {

template <class Real>
struct OneBased {
    Real* first;
    Real& operator[](int i) const { return first[i - 1]; }
};
using Vector = OneBased<float>;
using Constant = OneBased<const float>;

inline int at(int i, int j) { return i * (i - 1) / 2 + j; }

inline float accsum(const float* x0, int nmm, int move) {
    const Constant x{x0};
    float s = 0, c = 0;
    for (int i = 1; i <= nmm; ++i) {
        const float term = x[i + move] * x[i];
        const float y = term + c;
        const float t = s + y;
        c = (s - t) + y;
        s = t;
    }
    return s + c;
}

inline float accssq(int m, int n, const float* x0, const float* a0, int icode) {
    const Constant x{x0}, a{a0};
    float forward = 0, backward = 0;
    for (int t = m + 1; t <= n; ++t) {
        float sum = 0;
        for (int j = 1; j <= m; ++j) sum += a[j] * x[t - j];
        forward += (x[t] - sum) * (x[t] - sum);
    }
    for (int t = 1; t <= n - m; ++t) {
        float sum = 0;
        for (int j = 1; j <= m; ++j) sum += a[j] * x[t + j];
        backward += (x[t] - sum) * (x[t] - sum);
    }
    return icode > 0 ? forward : icode < 0 ? backward : forward + backward;
}

inline int chfac(int n, float* a0) {
    const Vector a{a0};
    for (int i = 1; i <= n; ++i)
        for (int j = 1; j <= i; ++j) {
            float rest = a[at(i, j)];
            for (int k = 1; k < j; ++k) rest -= a[at(i, k)] * a[at(j, k)];
            if (i == j && rest <= 0) return 1;
            a[at(i, j)] = i == j ? static_cast<float>(1.0 / std::sqrt(static_cast<double>(rest))) : rest * a[at(j, j)];
        }
    return 0;
}

inline float chsol(int n, const float* l0, float* b0) {
    const Constant l{l0};
    const Vector b{b0};
    float ss = 0;
    for (int i = 1; i <= n; ++i) {
        float rest = b[i];
        for (int k = 1; k < i; ++k) rest -= l[at(i, k)] * b[k];
        b[i] = rest * l[at(i, i)];
        ss += b[i] * b[i];
    }
    for (int i = n; i >= 1; --i) {
        float rest = b[i];
        for (int k = i + 1; k <= n; ++k) rest -= l[at(k, i)] * b[k];
        b[i] = rest * l[at(i, i)];
    }
    return ss;
}

inline int akstop(float p, float pl, int m, int n, int akcode) {
    const float N = static_cast<float>(n), M = static_cast<float>(m);
    const float now = akcode == 1 ? (N + M + 1) / (N - M - 1) * p : (N + M) / (N - M) * p;
    const float old = akcode == 1 ? (N + M) / (N - M) * pl : (N + M - 1) / (N - M + 1) * pl;
    return now > old;
}

struct Model {
    std::vector<float> a, v, vc, s, sc;
    int m = -7, tried = 0;
    float ssq = -7, p = -7;
    int ocode = -7;

    explicit Model(int mlast)
        : a(std::max(mlast, 0), -3.0f), v(at(std::max(mlast, 0), std::max(mlast, 0)), -3.0f), vc(v), s(a), sc(a) {}
};

/* v, s and yty of order m from those of order m - 1. */
inline void raise(const float* x0, int n, int m, int icode, float* v0, float* s0, float& yty) {
    const Constant x{x0};
    const Vector v{v0}, s{s0};
    const int o = m - 1;
    const auto leave = [&](int f1, int f2, int b1, int b2) {
        if (icode > 0) return x[f1] * x[f2];
        if (icode < 0) return x[b1] * x[b2];
        return x[f1] * x[f2] + x[b1] * x[b2];
    };
    v[at(m, 1)] = s[o] - leave(n, n - o, 1, m);
    for (int j = 1; j <= o; ++j) v[at(m, j + 1)] = v[at(o, j)] - leave(n - o, n - j, 1 + o, 1 + j);
    for (int i = 1; i <= o; ++i)
        for (int j = 1; j <= i; ++j) v[at(i, j)] -= leave(m - i, m - j, n - o + i, n - o + j);
    for (int i = 1; i <= o; ++i) s[i] -= leave(m, m - i, n - o, n - o + i);
    yty -= leave(m, m, n - o, n - o);
    s[m] = accsum(x0, n - m, m) * (icode == 0 ? 2.0f : 1.0f);
}

inline Model fabne(const float* x, int n, int mstart, int mlast, int icode, int akcode, int rscode) {
    Model model(mlast);
    std::vector<float>&v = model.v, &s = model.s;
    const auto done = [&](int m, float ssq, float p, int ocode) {
        model.m = m, model.ssq = ssq, model.p = p, model.ocode = ocode;
        return model;
    };
    if (mlast < 1 || n < 1) return done(0, 0, 0, 0);
    const auto variance = [&](float rss, int m) { return rss / static_cast<float>(icode == 0 ? 2 * (n - m) : n - m); };
    const float l0 = accsum(x, n - 1, 0), x1 = x[0], xn = x[n - 1];
    const float both = 2 * l0 - x1 * x1 + xn * xn, late = l0 - x1 * x1 + xn * xn;
    float yty = icode < 0 ? l0 : icode == 0 ? both : late;
    v[0] = icode < 0 ? late : icode == 0 ? both : l0;
    s[0] = accsum(x, n - 1, 1) * (icode == 0 ? 2.0f : 1.0f);
    model.tried = 1;
    model.a[0] = s[0] / v[0];
    float ssq = rscode == 1 ? accssq(1, n, x, model.a.data(), icode) : yty - model.a[0] * s[0];
    float p = variance(ssq, 1);
    if (mlast == 1) return done(1, ssq, p, 0);
    if (mstart != 1) ssq = p = 1.0e20f;
    if (mstart > mlast) return done(1, ssq, p, 1);
    for (int m = 2;; ++m) {
        if (m >= n) return done(m > mstart ? m - 1 : 1, ssq, p, 2);
        raise(x, n, m, icode, v.data(), s.data(), yty);
        model.tried = m;
        if (m < mstart) continue;
        std::copy_n(v.begin(), at(m, m), model.vc.begin());
        std::copy_n(s.begin(), m, model.sc.begin());
        if (chfac(m, model.vc.data())) return done(m > mstart ? m - 1 : 1, ssq, p, 2);
        float rss = yty - chsol(m, model.vc.data(), model.sc.data());
        if (rscode == 1) rss = accssq(m, n, x, model.sc.data(), icode);
        const float pm = variance(rss, m);
        if (akstop(pm, p, m, n, akcode)) return done(m - 1, ssq, p, 0);
        std::copy_n(model.sc.begin(), m, model.a.begin());
        if (m >= mlast) return done(m, rss, pm, 1);
        ssq = rss, p = pm;
    }
}

}

#endif
