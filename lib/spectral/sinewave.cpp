#include <pelta/wavelet.h>

#include <cmath>

int peltaSineWave(float* wave, int nsamp, float amp, int resolution, int ilag) {
    constexpr double pi = 3.141592653589793;
    const double step = 360.0 / resolution;
    double angle = ilag * step;
    for (int i = 0; i < nsamp; ++i, angle += step) wave[i] = static_cast<float>(std::sin(angle * pi / 180.0) * amp);
    return 0;
}
