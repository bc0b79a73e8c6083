#include <pelta/velocity.h>

#include <algorithm>
#include <cmath>

namespace {

/* Of a NaN, too, the least velocity is made. */
float raisedTo(float vmin, float velocity) { return std::max(vmin, velocity); }

}

float* dixIntVelocity(float* time, float* velocity, int nsamp, float vmin) {
    if (nsamp <= 0) return velocity;
    float rmsAbove = velocity[0];
    velocity[0] = raisedTo(vmin, rmsAbove);
    for (int i = 1; i < nsamp; ++i) {
        const float rms = velocity[i];
        const float difference = rms * rms * time[i] - rmsAbove * rmsAbove * time[i - 1];
        velocity[i] = difference > 0.0f ? raisedTo(vmin, std::sqrt(difference / (time[i] - time[i - 1]))) : vmin;
        rmsAbove = rms;
    }
    return velocity;
}

float* dixRmsVelocity(float* velocity, int nsamp) {
    float sum = 0.0f;
    for (int i = 1; i < nsamp; ++i) {
        sum += velocity[i] * velocity[i];
        velocity[i] = std::sqrt(sum / static_cast<float>(i));
    }
    return velocity;
}
