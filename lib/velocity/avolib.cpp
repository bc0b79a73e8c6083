#include <pelta/velocity.h>

#include <algorithm>
#include <cmath>

namespace {

/* The ray is straight. */
float atConstantVelocity(float velocity, float oneWayTime, float halfOffsetSquared) {
    const float depth = velocity * oneWayTime;
    return halfOffsetSquared / (depth * depth + halfOffsetSquared);
}

/* The ray is an arc of a circle about a point at the height where the velocity would be 0. */
float atGradient(float gradient, float surfaceVelocity, float oneWayTime, float offset, float halfOffsetSquared) {
    const float inverse = 1.0f / gradient;
    const float depth = (std::exp(oneWayTime * gradient) - 1.0f) * inverse * surfaceVelocity;
    const double centreHeight = static_cast<double>(surfaceVelocity) * inverse;
    const double sine = (centreHeight + depth) * offset;
    const double cosine = depth * (2.0 * centreHeight + depth) - halfOffsetSquared;
    return static_cast<float>(sine * sine / (cosine * cosine + sine * sine));
}

}

float sin2Angle(float vel, float vzero, float time, float offset, float* ssqr) {
    if (time == 0.0f) return *ssqr = 0.0f;
    const float oneWayTime = 0.5f * time;
    const float gradient = std::log(vel / vzero) / oneWayTime;
    const float halfOffsetSquared = 0.25f * (offset * offset);
    const float squared = gradient == 0.0f ? atConstantVelocity(vzero, oneWayTime, halfOffsetSquared)
                                           : atGradient(gradient, vzero, oneWayTime, offset, halfOffsetSquared);
    return *ssqr = std::min(squared, 1.0f);
}
