#ifndef PELTA_TOOL_WAVELETS_DESIGN_H
#define PELTA_TOOL_WAVELETS_DESIGN_H

#include <string>
#include <vector>

namespace pelta::wavelets {

struct Settings {
    double frequencyHz = 25.0; /* at the peak of the amplitude spectrum */
    double intervalMs = 2.0;
    double tail = 0.01;        /* amplitude that the wavelet's ends stay below; its peak is 1 */
    int length = 0;            /* samples, odd; 0: as many as the tail asks for */
    int filterLength = 0;      /* samples of the shaping filter; 0: as many as the wavelet's */
    double noisePercent = 0.1; /* white noise that keeps the equations of phase and filter well behaved */

    double nyquistHz() const { return 500.0 / intervalMs; }
};

/* Samples of peak 1 and their spectra, nfft / 2 + 1 values. */
struct Version {
    std::vector<float> samples;
    int origin = 0; /* the sample of time 0 */
    std::vector<float> amplitude;
    std::vector<float> phase; /* rad */
};

/* A Ricker wavelet in three phases, and the filter that shapes the minimum-phase one to the zero-phase one. */
struct Design {
    Settings settings; /* with the lengths that were chosen */
    std::vector<float> ricker;
    Version minimum, zero, maximum;
    std::vector<float> filter;           /* filterLength samples */
    std::vector<float> wanted, filtered; /* length + filterLength - 1 samples, time 0 in the middle of the first length */
    double frequencyStepHz = 0.0;        /* of the spectra */
    double errorPercent = 0.0;           /* energy of filtered - wanted, of that of wanted */
};

/* Fails (Failure) where the equations have no solution, and (UsageError) on settings that make no wavelet. */
Design designWavelets(const Settings& settings);

}

#endif
