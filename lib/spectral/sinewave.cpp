#include <pelta/wavelet.h>

#include <cmath>
#include <numbers>

int peltaSineWave(float* wave, int nsamp, float amp, int resolution, int ilag) {
    const double step = 360.0 / resolution;
    double angle = ilag * step;
    for (int i = 0; i < nsamp; ++i, angle += step)
        wave[i] = static_cast<float>(std::sin(angle * std::numbers::pi / 180.0) * amp);
    return 0;
}
