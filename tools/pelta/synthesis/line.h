#ifndef PELTA_TOOL_SYNTHESIS_LINE_H
#define PELTA_TOOL_SYNTHESIS_LINE_H

#include <pelta/bandpassfilter.h>

#include <cstdint>
#include <vector>

namespace pelta::synthesis {

/* A line of shot records over a flat earth: a weathered layer over a refractor, and reflectors below it, whose stacking
 * velocities may vary along the line. Lengths in metres, times in ms. The same survey gives the same samples on every run. */
struct Survey {
    std::uint64_t seed = 1;
    int recordCount = 24, channelCount = 48;
    int sampleCount = 1500;
    double intervalMs = 2.0;
    double receiverInterval = 25.0, sourceInterval = 50.0, nearOffset = 50.0;
    double noise = 0.05;     /* RMS, as a share of the first break's peak */
    double groundRoll = 1.0; /* peak, likewise */
    double deadShare = 0.01, reversedShare = 0.01;
    double lateral = 0.0; /* rise of the stacking velocities from the first midpoint to the last, as a share of them */
};

struct Station {
    int record = 0, channel = 0, cdp = 0;
    double sourceX = 0.0, receiverX = 0.0;
    bool isDead = false, isReversed = false;
    double offset() const { return receiverX - sourceX; }
};

/* The earth, in m/s and m. */
inline constexpr double weatheredVelocity = 900.0, refractorVelocity = 2200.0, weatheredThickness = 40.0;

/* Zero-offset time (ms), stacking velocity (m/s) and strength of the reflections. */
struct Reflection {
    double time, velocity, strength;
};
inline constexpr Reflection reflections[] = {
    {400.0, 1800.0, 0.6}, {750.0, 2050.0, 0.5}, {1100.0, 2300.0, 0.45}, {1600.0, 2650.0, 0.4}, {2200.0, 3050.0, 0.35}};

class TraceMaker {
  public:
    explicit TraceMaker(const Survey& survey);

    /* Both zero-based. */
    Station station(int record, int channel) const;
    /* Time at which the first wave begins. */
    double firstBreakMs(const Station& station) const;
    void make(const Station& station, std::vector<float>& samples);

    /* The numbers of the CDPs run from the first to the last. */
    static constexpr int firstCdp = 101;
    int lastCdp() const;
    double midpointOf(int cdp) const;
    /* What the stacking velocities are multiplied by at a midpoint; 1 in the middle of the line. */
    double velocityFactor(double midpoint) const;

  private:
    void addArrivals(double offset, std::vector<float>& samples) const;
    void addReflections(const Station& station, std::vector<float>& samples) const;
    void addGroundRoll(double offset, std::vector<float>& samples) const;
    void addNoise(const Station& station, std::vector<float>& samples);

    Survey _survey;
    BandPassFilter _noiseBand;
    std::vector<float> _noise;
};

}

#endif
