#include <pelta/host.h>

#include <cmath>

void ints8r(int nxin, float dxin, float fxin, float* yin, float yinl, float yinr, int nxout, float* xout, float* yout) {
    const auto valueAt = [&](long j) { return j < 0 ? yinl : j >= nxin ? yinr : yin[j]; };
    for (int k = 0; k < nxout; ++k) {
        const double position = (double(xout[k]) - fxin) / dxin;
        if (!(position > -8.0)) { yout[k] = yinl; continue; }
        if (position >= nxin + 7.0) { yout[k] = yinr; continue; }
        const long below = static_cast<long>(std::floor(position));
        const double fraction = position - below;
        if (fraction == 0.0) { yout[k] = valueAt(below); continue; }
        double sum = 0.0;
        for (long j = below - 3; j <= below + 4; ++j) {
            const double d = M_PI * (position - j);
            sum += valueAt(j) * std::sin(d) / d * std::cos(d / 8.0);
        }
        yout[k] = static_cast<float>(sum);
    }
}
