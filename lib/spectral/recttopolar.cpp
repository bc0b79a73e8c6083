#include <pelta/spectrum.h>

#include <cmath>
#include <cstddef>

namespace {

constexpr float pi = 3.14159265358979f;

float magnitudeOf(float real, float imaginary) {
    const float square = real * real + imaginary * imaginary;
    return square > 0.0f ? std::sqrt(square) : 0.0f;
}

/* Kept on purpose: a negative real value has phase -pi, where atan2 gives pi. */
float phaseOf(float real, float imaginary) {
    if (imaginary == 0.0f && real < 0.0f) return -pi;
    if (imaginary == 0.0f && real >= 0.0f) return 0.0f;
    return std::atan2(imaginary, real);
}

}

void rectToPolar(float* a, int ia, float* m, int im, float* p, int ip, int n) {
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        const float real = a[k * ia], imaginary = a[k * ia + 1];
        m[k * im] = magnitudeOf(real, imaginary);
        p[k * ip] = phaseOf(real, imaginary);
    }
}

void polarToRect(float* m, int im, float* p, int ip, float* a, int ia, int n) {
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        const float magnitude = m[k * im], phase = p[k * ip];
        a[k * ia] = magnitude * std::cos(phase);
        a[k * ia + 1] = magnitude * std::sin(phase);
    }
}
