#include "velocity/picking.h"

#include <pelta/statistics.h>
#include <pelta/velocity.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace pelta::velocity {
namespace {

struct Crest {
    int velocity, sample;
    float semblance;
};

/* Of equal neighbours the first in velocity, then in time, is the crest. */
bool isCrest(const Panel& panel, int velocity, int sample) {
    const float height = panel.at(velocity)[sample];
    for (int v = -1; v <= 1; ++v)
        for (int s = -1; s <= 1; ++s) {
            const float neighbour = panel.at(velocity + v)[sample + s];
            const bool isEarlier = v < 0 || (v == 0 && s < 0);
            if (neighbour > height || (isEarlier && neighbour == height)) return false;
        }
    return true;
}

/* By time, then by velocity; where they are very many, the highest. */
std::vector<Crest> crestsOf(const Panel& panel, double leastSemblance) {
    constexpr std::size_t mostCrests = 2000;
    std::vector<Crest> crests;
    for (int v = 1; v + 1 < panel.fan.count; ++v)
        for (int s = 1; s + 1 < panel.sampleCount; ++s)
            if (panel.at(v)[s] >= leastSemblance && isCrest(panel, v, s)) crests.push_back({v, s, panel.at(v)[s]});
    std::stable_sort(crests.begin(), crests.end(), [](const Crest& a, const Crest& b) { return a.semblance > b.semblance; });
    if (crests.size() > mostCrests) crests.resize(mostCrests);
    std::stable_sort(crests.begin(), crests.end(), [](const Crest& a, const Crest& b) {
        return a.sample != b.sample ? a.sample < b.sample : a.velocity < b.velocity;
    });
    return crests;
}

Pick refined(const Panel& panel, const Crest& crest) {
    float across[3], height = 0.0f, shift = 0.0f;
    for (int k = 0; k < 3; ++k) across[k] = panel.at(crest.velocity + k - 1)[crest.sample];
    parabolic(across, 1, &height, &shift);
    return {crest.sample * panel.intervalMs, panel.fan.at(crest.velocity + static_cast<double>(shift)), height};
}

/* Of the layer between two picks; 0 where there is none. */
double intervalVelocity(const Pick& above, const Pick& below) {
    std::array<float, 2> times = {static_cast<float>(above.timeMs), static_cast<float>(below.timeMs)};
    std::array<float, 2> velocities = {static_cast<float>(above.velocity), static_cast<float>(below.velocity)};
    return dixIntVelocity(times.data(), velocities.data(), 2, 0.0f)[1];
}

}

std::vector<Pick> pickVelocities(const Panel& panel, const PickSettings& settings) {
    std::vector<Pick> crests;
    for (const Crest& crest : crestsOf(panel, settings.leastSemblance)) crests.push_back(refined(panel, crest));
    constexpr int none = -1;
    std::vector<double> strength(crests.size());
    std::vector<int> before(crests.size(), none);
    int best = none;
    for (int k = 0; k < std::ssize(crests); ++k) {
        double chain = 0.0;
        for (int j = 0; j < k && crests[j].timeMs + settings.leastSpacingMs <= crests[k].timeMs; ++j) {
            if (!(strength[j] > chain)) continue;
            const double layer = intervalVelocity(crests[j], crests[k]);
            if (layer < settings.lowestIntervalVelocity || layer > settings.highestIntervalVelocity) continue;
            chain = strength[j];
            before[k] = j;
        }
        strength[k] = chain + crests[k].semblance - settings.leastSemblance;
        if (best == none || strength[k] > strength[best]) best = k;
    }
    std::vector<Pick> picks;
    for (int k = best; k != none; k = before[k]) picks.push_back(crests[k]);
    std::reverse(picks.begin(), picks.end());
    return picks;
}

Pick strongestValue(const Panel& panel) {
    const auto highest = std::max_element(panel.semblance.begin(), panel.semblance.end()) - panel.semblance.begin();
    return {static_cast<double>(highest % panel.sampleCount) * panel.intervalMs,
            panel.fan.at(static_cast<double>(highest / panel.sampleCount)), panel.semblance[highest]};
}

std::vector<double> intervalVelocities(const std::vector<Pick>& picks) {
    std::vector<float> times, velocities;
    for (const Pick& pick : picks) {
        times.push_back(static_cast<float>(pick.timeMs));
        velocities.push_back(static_cast<float>(pick.velocity));
    }
    dixIntVelocity(times.data(), velocities.data(), static_cast<int>(picks.size()), 0.0f);
    return {velocities.begin(), velocities.end()};
}

TimeFunction functionOf(const std::vector<Pick>& picks) {
    Pairs pairs;
    for (const Pick& pick : picks) pairs.emplace_back(pick.timeMs, pick.velocity);
    return TimeFunction(std::move(pairs), "picks");
}

Comparison compare(const TimeFunction& picked, const TimeFunction& truth) {
    Comparison comparison;
    double squares = 0.0, squaresPercent = 0.0;
    for (const auto& [time, velocity] : truth.pairs()) {
        const Comparison::Row row = {time, velocity, picked.at(time)};
        comparison.rows.push_back(row);
        squares += row.error() * row.error();
        squaresPercent += row.errorPercent() * row.errorPercent();
    }
    const auto count = static_cast<double>(comparison.rows.size());
    comparison.rmsError = std::sqrt(squares / count);
    comparison.rmsErrorPercent = std::sqrt(squaresPercent / count);
    return comparison;
}

}
