#include "velocity/panel.h"

#include <oneapi/tbb/enumerable_thread_specific.h>
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/parallel_for.h>
#include <pelta/normalmoveout.h>
#include <pelta/phaseshift.h>
#include <pelta/semblance.h>

#include <algorithm>
#include <functional>

namespace pelta::velocity {
namespace {

constexpr float everyOffset = -1e9f; /* the stretch mute looks at offsets from here on */

/* One thread's arrays, made once. */
class Scan {
  public:
    Scan(const Gather& gather, const PanelSettings& settings)
        : _gather(gather),
          _settings(settings),
          _moveout(gather.sampleCount, static_cast<float>(gather.intervalMs / 1000.0), settings.stretch, everyOffset, true,
                   false),
          _velocities(samples()),
          _corrected(samples()),
          _quadrature(samples()),
          _sum(samples()),
          _quadratureSum(samples()),
          _energy(samples()),
          _fold(samples()) {}

    void semblanceAt(double velocity, float* semblance) {
        std::fill(_velocities.begin(), _velocities.end(), static_cast<float>(velocity));
        for (std::vector<double>* sums : {&_sum, &_quadratureSum, &_energy, &_fold}) std::fill(sums->begin(), sums->end(), 0.0);
        for (int trace = 0; trace < _gather.traceCount(); ++trace) addTrace(trace);
        dropLowFold();
        const int count = _gather.sampleCount, fullFold = _gather.traceCount();
        equalizeSemblance(_sum.data(), _quadratureSum.data(), _energy.data(), _fold.data(), fullFold, count);
        applySemblance(_sum.data(), _quadratureSum.data(), _energy.data(), fullFold, _settings.windowSamples, semblance, count);
        clearLowFold(semblance);
    }

  private:
    std::size_t samples() const { return static_cast<std::size_t>(_gather.sampleCount); }

    /* What the mute took is dead to semblance and passed over. */
    void addTrace(int trace) {
        const int count = _gather.sampleCount;
        std::copy_n(_gather.trace(trace), count, _corrected.data());
        _moveout.applyNMO(_corrected.data(), _velocities.data(), nullptr, count, 0.0f,
                          static_cast<float>(_gather.offsets[static_cast<std::size_t>(trace)]), 0, count);
        const int first = _moveout.sampleAtStretch(), left = count - first;
        if (left <= 0) return;
        applyHilbert(_corrected.data() + first, _quadrature.data() + first, left);
        buildSemblance(_sum.data() + first, _quadratureSum.data() + first, _energy.data() + first, _fold.data() + first,
                       _corrected.data() + first, _quadrature.data() + first, left);
    }

    void dropLowFold() {
        for (std::size_t i = 0; i < samples(); ++i)
            if (_fold[i] < _settings.leastFold) _sum[i] = _quadratureSum[i] = _energy[i] = 0.0;
    }

    /* Sums that run on behind loud samples leave a rounding error there, and ratios of such errors are any number. */
    void clearLowFold(float* semblance) const {
        for (std::size_t i = 0; i < samples(); ++i)
            if (_fold[i] < _settings.leastFold) semblance[i] = 0.0f;
    }

    const Gather& _gather;
    const PanelSettings& _settings;
    NormalMoveout _moveout;
    std::vector<float> _velocities, _corrected, _quadrature;
    std::vector<double> _sum, _quadratureSum, _energy, _fold;
};

}

Panel computePanel(const Gather& gather, const PanelSettings& settings, int threads) {
    Panel panel{settings.fan, gather.sampleCount, gather.intervalMs, {}};
    panel.semblance.resize(static_cast<std::size_t>(settings.fan.count) * static_cast<std::size_t>(gather.sampleCount));
    tbb::enumerable_thread_specific<Scan> scans(std::cref(gather), std::cref(settings));
    const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(threads));
    tbb::parallel_for(0, settings.fan.count, [&](int k) {
        scans.local().semblanceAt(settings.fan.at(k), panel.semblance.data() + static_cast<std::size_t>(k) * panel.sampleCount);
    });
    return panel;
}

}
