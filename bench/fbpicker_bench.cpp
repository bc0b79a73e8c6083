#include <benchmark/benchmark.h>
#include <pelta/fbpicker.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "figures.h"
#include "support/plainpicker.h"
#include "support/signals.h"

/* First breaks on noisy traces at 2 ms with the arrival in the first third. Several traces are picked in turn, so that no branch
 * predictor learns the one. Peers and limits are plain loops of the same reach:
 * - recursive STA/LTA (Withers et al. 1998): the usual quick trigger, one pass;
 * - variance AIC from running sums (Maeda 1985): the onset splits the trace into two parts of least joint log variance;
 * - windowed deviations from running sums: what a user without in-order sums would write;
 * - in-order loop: the method's steps as they stand, compiled with the same flags;
 * - the chains of dependent additions that no reordering may shorten. */

namespace {

constexpr float interval = 2.0f;  // ms
constexpr int traceCount = 16;

int onsetOf(int sampleCount, int trace) { return sampleCount / 5 + 7 * trace; }

std::vector<std::vector<float>> tracesWithOnset(int sampleCount) {
    std::vector<std::vector<float>> traces;
    for (int k = 0; k < traceCount; ++k) {
        std::vector<float> trace = randomTrace(sampleCount, 100u + k, 0.02f);
        for (int i = onsetOf(sampleCount, k); i < sampleCount; ++i) {
            const double time = 0.001 * interval * (i - onsetOf(sampleCount, k));
            trace[i] += static_cast<float>(std::sin(2 * M_PI * 40.0 * time));
        }
        traces.push_back(trace);
    }
    return traces;
}

fbPickParm parametersFor(int ipmethod, int sampleCount, int searchMilliseconds) {
    fbPickParm parm = {};
    parm.ipmethod = ipmethod;
    parm.shiftpick = 5;
    parm.envelope = 50;
    parm.stablizer = 5.0f;
    parm.winlen = searchMilliseconds;
    parm.winlen1 = parm.winlen2 = parm.winlen3 = static_cast<int>(sampleCount * interval);
    parm.win1 = 100;  // 50 samples
    parm.win2 = 50;   // 25 samples
    parm.wina = 200;
    parm.winar = 96;       // 48 samples
    parm.threshold = NAN;  // nothing reaches it: the whole range is searched
    parm.threshspd = 40.0f;
    parm.freqspd = 40.0f;
    parm.winspd = 64;  // 32 samples
    return parm;
}

/* Times pick(trace), trace by trace; with a reach above 0 the picks have to lie within so many samples of the onset. */
template <class Pick>
void timePicks(benchmark::State& state, int sampleCount, int reach, Pick pick) {
    std::vector<std::vector<float>> traces = tracesWithOnset(sampleCount);
    for (int k = 0; k < traceCount && reach > 0; ++k)
        if (std::abs(pick(traces[k]) - onsetOf(sampleCount, k)) > reach) return state.SkipWithError("missed the onset");
    int k = 0;
    for (auto _ : state) benchmark::DoNotOptimize(pick(traces[k++ % traceCount]));
    state.SetItemsProcessed(state.iterations() * sampleCount);
}

template <class Pick>
void addPicks(const std::string& name, int sampleCount, int reach, Pick pick) {
    addFigure(name + ", n " + std::to_string(sampleCount), timePicks<Pick>, sampleCount, reach, pick);
}

int recursiveTrigger(const std::vector<float>& trace) {
    constexpr double shortWeight = 1.0 / 25, longWeight = 1.0 / 250;
    double shortMean = 0.0, longMean = 1e-30, largest = 0.0;
    int pick = 0;
    for (std::size_t i = 0; i < trace.size(); ++i) {
        const double energy = static_cast<double>(trace[i]) * trace[i];
        shortMean += shortWeight * (energy - shortMean);
        longMean += longWeight * (energy - longMean);
        if (i > 250 && shortMean / longMean > largest) {
            largest = shortMean / longMean;
            pick = static_cast<int>(i);
        }
    }
    return pick;
}

int varianceSplit(const std::vector<float>& trace) {
    const int n = static_cast<int>(trace.size());
    double total = 0.0, totalSquares = 0.0, sum = 0.0, squares = 0.0, least = INFINITY;
    for (float x : trace) {
        total += x;
        totalSquares += static_cast<double>(x) * x;
    }
    int pick = 0;
    for (int i = 1; i < n - 1; ++i) {
        sum += trace[i - 1];
        squares += static_cast<double>(trace[i - 1]) * trace[i - 1];
        const double before = squares / i - (sum / i) * (sum / i);
        const double afterMean = (total - sum) / (n - i), after = (totalSquares - squares) / (n - i) - afterMean * afterMean;
        const double criterion = i * std::log(before) + (n - i - 1) * std::log(after);
        if (i > 10 && criterion < least) {
            least = criterion;
            pick = i;
        }
    }
    return pick;
}

struct RunningDeviation {
    double sum = 0.0, squares = 0.0;
    int length;

    RunningDeviation(const float* samples, int windowLength) : length(windowLength) {
        for (int j = 0; j < length; ++j) change(samples[j], 1.0);
    }
    void change(double x, double sign) {
        sum += sign * x;
        squares += sign * x * x;
    }
    double variance() const { return squares / length - (sum / length) * (sum / length); }
};

int runningDeviations(const std::vector<float>& trace) {
    constexpr int noise = 50, signal = 25;
    const int n = static_cast<int>(trace.size());
    RunningDeviation first(trace.data(), noise), second(trace.data() + noise + 1, signal);
    double smallest = 1e32;
    int pick = 0;
    for (int i = 0; i + noise + 1 + signal + 1 < n; ++i) {
        const double ratio = std::sqrt(first.variance() / second.variance());
        if (ratio < smallest) {
            smallest = ratio;
            pick = i + noise + 1;
        }
        first.change(trace[i], -1.0);
        first.change(trace[i + noise], 1.0);
        second.change(trace[i + noise + 1], -1.0);
        second.change(trace[i + noise + 1 + signal], 1.0);
    }
    return pick;
}

float deviation(const float* samples, int length) {
    float sum = 0.0f, squares = 0.0f;
    for (int j = 0; j < length; ++j) sum += samples[j];
    const float mean = sum / static_cast<float>(length);
    for (int j = 0; j < length; ++j) {
        const double difference = samples[j] - mean;
        squares = static_cast<float>(squares + difference * difference);
    }
    return std::sqrt(squares / static_cast<float>(length));
}

int inOrderDeviations(const std::vector<float>& trace) {
    constexpr int noise = 50, signal = 25;
    const int n = static_cast<int>(trace.size());
    float smallest = 1e32f;
    int pick = 0;
    for (int i = 0; i + noise + 1 + signal + 1 < n; ++i) {
        const float ratio = deviation(&trace[i], noise) / deviation(&trace[i + noise + 1], signal);
        if (ratio < smallest) {
            smallest = ratio;
            pick = i + noise + 1;
        }
    }
    return pick;
}

int leadLagScan(const std::vector<float>& sum, int length, int end, int lead, int lag, float stabilizer) {
    float best = 0.0f;
    int pick = 0;
    for (int i = 1; i < end; ++i) {
        const int lagStart = std::max(0, i - lag), leadEnd = std::min(length - 1, i + lead);
        const float before = (sum[i] - sum[lagStart]) / static_cast<float>(i - lagStart) + stabilizer;
        const float ratio = (sum[leadEnd] - sum[i]) / static_cast<float>(leadEnd - i) / before;
        if (ratio > best) {
            best = ratio;
            pick = i;
        }
    }
    return pick;
}

/* Three scans over the whole trace and nine around their pick, from a sum formed in double and stored as float. */
int inOrderEnergyRatio(const std::vector<float>& trace) {
    constexpr int lead = 17, lag = 26;
    const int length = static_cast<int>(trace.size()) - 1;
    std::vector<float> sum(trace.size(), 0.0f);
    for (int k = 1; k < length; ++k)
        sum[k] = static_cast<float>(std::fabs(static_cast<double>(trace[k])) + static_cast<double>(sum[k - 1]));
    const float stabilizer = 0.05f * sum[length - 1] / static_cast<float>(length);
    int picks[3];
    for (int k = 0; k < 3; ++k) picks[k] = leadLagScan(sum, length, length, lead << k >> 1, lag << k >> 1, stabilizer);
    std::sort(picks, picks + 3);
    const int end = std::min(length, picks[1] + 25);
    int fine[9];
    for (int k = 0; k < 9; ++k) fine[k] = leadLagScan(sum, length, end, 9 + 9 * (k % 3), 13 + 12 * (k % 3), stabilizer);
    std::sort(fine, fine + 9);
    return fine[4];
}

/* The float sum of magnitudes and the double sum of signed samples, side by side. */
int bothChains(const std::vector<float>& trace) {
    float sum = 0.0f;
    double signedSum = 0.0;
    for (float x : trace) {
        sum += std::fabs(x);
        signedSum += x;
    }
    benchmark::DoNotOptimize(signedSum);
    return static_cast<int>(sum);
}

/* One picker for all traces, as in a flow. */
struct Picking {
    fbPickParm parm;
    fbPicker picker;

    Picking(int ipmethod, int sampleCount, int searchMilliseconds)
        : parm(parametersFor(ipmethod, sampleCount, searchMilliseconds)), picker(&parm, sampleCount, interval) {}
    int operator()(const std::vector<float>& trace) { return picker.getPick(const_cast<float*>(trace.data()), 0.0f, 0); }
};

int plainPick(const fbPickParm& parm, const std::vector<float>& trace) {
    switch (parm.ipmethod) {
        case 1:
            return plain::energyPick(parm, trace, interval, static_cast<int>(static_cast<float>(parm.winlen) / (2 * interval)));
        case 2: return plain::deviationPick(parm, trace, interval);
        case 3: return plain::autoregressivePick(parm, trace, interval, 0);
        default: return plain::decompositionPick(parm, trace, interval, 0);
    }
}

void addPelta(const std::string& routineAndCase, int ipmethod, int sampleCount, int searchMilliseconds, int reach) {
    const auto picking = std::make_shared<Picking>(ipmethod, sampleCount, searchMilliseconds);
    const std::vector<float> first = tracesWithOnset(sampleCount)[0];
    require((*picking)(first) == plainPick(picking->parm, first), routineAndCase.c_str());
    addPicks(routineAndCase, sampleCount, reach, [picking](const std::vector<float>& trace) { return (*picking)(trace); });
}

const bool registered = [] {
    for (int n : {1500, 4000}) {
        addPelta("computeEnPick|pelta|whole trace", 1, n, static_cast<int>(n * interval), 5);
        addPelta("computeEnPick|pelta|200 ms window", 1, n, 200, 0);
        addPicks("computeEnPick|plain in-order loop|whole trace", n, 5, inOrderEnergyRatio);
        addPicks("computeEnPick|recursive STA/LTA loop, other bits|whole trace", n, 60, recursiveTrigger);
        addPicks("computeEnPick|limit: both sums in order|whole trace", n, 0, bothChains);
        addPelta("computeSDPick|pelta|windows 50/25", 2, n, 0, 5);
        addPicks("computeSDPick|running sums, other bits|windows 50/25", n, 5, runningDeviations);
        addPicks("computeSDPick|variance AIC loop, other bits|windows 50/25", n, 5, varianceSplit);
        addPicks("computeSDPick|plain in-order loop|windows 50/25", n, 5, inOrderDeviations);
        addPelta("computeARPick|pelta|window 48, every position", 3, n, 0, 0);
        addPelta("computeSPDPick|pelta|window 32", 4, n, 0, 20);
    }
    return true;
}();

}
