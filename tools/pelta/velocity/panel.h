#ifndef PELTA_TOOL_VELOCITY_PANEL_H
#define PELTA_TOOL_VELOCITY_PANEL_H

#include <vector>

#include "velocity/gather.h"

namespace pelta::velocity {

/* Velocities (m/s) evenly apart, both ends among them. */
struct Fan {
    double from = 1500.0, to = 4500.0;
    int count = 101; /* at least 2 */

    double step() const { return (to - from) / (count - 1); }
    /* Also between two of them. */
    double at(double number) const { return from + number * step(); }
};

struct PanelSettings {
    Fan fan;
    float stretch = 0.3f;  /* share of its time by which moveout may stretch a sample before it is muted */
    int windowSamples = 1; /* over which semblance is smoothed; shorter than the traces */
    int leastFold = 3;     /* where fewer traces are left by the mute, semblance counts as 0: two always agree well */
};

/* Semblance (0 .. 1) of a gather after moveout, for every velocity of a fan and every sample. */
struct Panel {
    Fan fan;
    int sampleCount = 0;
    double intervalMs = 0.0;
    std::vector<float> semblance; /* velocity after velocity */

    const float* at(int velocity) const { return semblance.data() + static_cast<std::size_t>(velocity) * sampleCount; }
};

/* Each velocity by itself: moveout of every trace, its quadrature trace, their sums equalised to full fold, and the windowed
 * ratio of the stack's energy to the traces'. The same to the bit for any number of threads. After M. T. Taner and F. Koehler,
 * Velocity spectra, Geophysics 34 (1969). */
Panel computePanel(const Gather& gather, const PanelSettings& settings, int threads);

}

#endif
