#include <benchmark/benchmark.h>
#include <pelta/host.h>
#include <pelta/mute.h>
#include <pelta/normalmoveout.h>
#include <pelta/peltaagc.h>
#include <pelta/phaseshift.h>
#include <pelta/semblance.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <vector>

#include "../lib/vectorize.h"
#include "figures.h"
#include "runningmedians.h"
#include "support/signals.h"

namespace {

using Trace = std::vector<float>;

/* Several traces in turn: of one trace alone the branch predictor learns every comparison. */
constexpr int traceCount = 32;
constexpr float intervalMs = 2.0f;

const std::vector<Trace>& gather(int sampleCount) {
    static std::map<int, std::vector<Trace>> gathers;
    std::vector<Trace>& made = gathers[sampleCount];
    if (made.empty()) made = shotGather(traceCount, sampleCount, intervalMs);
    return made;
}

std::string caseName(int sampleCount) { return "n=" + std::to_string(sampleCount); }

/* Velocities (m/ms) that grow with time, and the offset (m) of a trace of the gather. */
Trace velocitiesFor(int sampleCount) {
    Trace velocity(sampleCount);
    for (int i = 0; i < sampleCount; ++i) velocity[i] = 1.8f + 0.0005f * static_cast<float>(i);
    return velocity;
}

float offsetOf(int trace) { return 50.0f + 25.0f * static_cast<float>(trace); }

/* Calls work(trace, number) on a fresh copy of each trace in turn. */
template <class Work>
void onEveryTrace(benchmark::State& state, int sampleCount, const Work& work) {
    const std::vector<Trace>& fresh = gather(sampleCount);
    Trace trace(sampleCount);
    int number = 0;
    for (auto _ : state) {
        std::copy(fresh[number].begin(), fresh[number].end(), trace.begin());
        work(trace, number);
        benchmark::DoNotOptimize(trace.data());
        benchmark::ClobberMemory();
        number = (number + 1) % traceCount;
    }
    state.SetItemsProcessed(state.iterations() * sampleCount);
}

/* The plain loop: the hyperbola and a table of sinc operators, sample by sample. */
class PlainMoveout {
  public:
    PlainMoveout() : operators_(fractionCount * tapCount) {
        for (int r = 0; r < fractionCount; ++r)
            for (int j = 0; j < tapCount; ++j) {
                const double distance = M_PI * (static_cast<double>(r) / fractionCount - (j - 3));
                operators_[r * tapCount + j] = distance == 0.0 ? 1.0f : static_cast<float>(std::sin(distance) / distance);
            }
    }

    void apply(Trace& trace, const Trace& velocity, float offset, Trace& input) const {
        const int sampleCount = static_cast<int>(trace.size());
        input = trace;
        for (int i = 0; i < sampleCount; ++i) {
            const float time = static_cast<float>(i) * intervalMs, slowness = offset / velocity[i];
            const float position = std::sqrt(time * time + slowness * slowness) / intervalMs;
            const int whole = static_cast<int>(position), first = whole - 3;
            const float* taps =
                &operators_[static_cast<int>((position - static_cast<float>(whole)) * fractionCount) * tapCount];
            float sum = 0.0f;
            for (int j = std::max(0, -first); j < tapCount && first + j < sampleCount; ++j) sum += taps[j] * input[first + j];
            trace[i] = sum;
        }
    }

  private:
    static constexpr int tapCount = 8, fractionCount = 1024;
    Trace operators_;
};

/* What every position costs that is formed in double: two divisions and a root. */
PELTA_VECTORIZE void positionsInDouble(const float* velocity, int sampleCount, float offset, float* positions) {
    const double offsetSquared = static_cast<double>(offset) * offset;
    for (int i = 0; i < sampleCount; ++i) {
        const double time = i * static_cast<double>(intervalMs), speed = velocity[i];
        positions[i] = static_cast<float>(std::sqrt(time * time + offsetSquared / (speed * speed)) / intervalMs);
    }
}

enum class Formula { hyperbola, fourthOrder, convertedWave };

constexpr float anisotropy = 0.1f;

/* The arrival time in double precision. */
double arrivalTime(Formula formula, double time, double offset, double velocity) {
    const double t2 = time * time, slow2 = offset * offset / (velocity * velocity);
    if (formula == Formula::convertedWave) return time / 2 + std::sqrt(t2 / 4 + slow2 / 2);
    const double hyperbola2 = t2 + slow2, correction = 2 * anisotropy * slow2;
    return std::sqrt(formula == Formula::hyperbola ? hyperbola2 : hyperbola2 - correction * slow2 / (hyperbola2 + correction));
}

/* Of the last trace that was corrected. */
void checkPositions(const NormalMoveout& moveout, Formula formula, const Trace& velocity, float offset) {
    for (int i = 0; i < moveout._nsamples; ++i) {
        const double arrival = arrivalTime(formula, i * static_cast<double>(intervalMs), offset, velocity[i]);
        require(std::fabs(moveout._tempSamp[i] - arrival / intervalMs) < 1e-3, "positions of applyNMO");
    }
}

void moveoutByPelta(benchmark::State& state, int sampleCount, Formula formula) {
    NormalMoveout moveout(sampleCount, intervalMs, 1.0f, 0.0f, true, formula == Formula::fourthOrder);
    moveout.setConvertedWave(formula == Formula::convertedWave);
    Trace velocity = velocitiesFor(sampleCount), fourth(sampleCount, anisotropy), work(sampleCount);
    Trace corrected = gather(sampleCount)[20], plain = corrected;
    moveout.applyNMO(corrected.data(), velocity.data(), fourth.data(), sampleCount, 0.0f, offsetOf(20), 0, sampleCount);
    checkPositions(moveout, formula, velocity, offsetOf(20));
    if (formula == Formula::hyperbola) {
        PlainMoveout().apply(plain, velocity, offsetOf(20), work);
        for (int i = 100; i < sampleCount - 100; ++i) require(std::fabs(corrected[i] - plain[i]) < 0.1f, "applyNMO");
    }
    onEveryTrace(state, sampleCount, [&](Trace& trace, int number) {
        moveout.applyNMO(trace.data(), velocity.data(), fourth.data(), sampleCount, 0.0f, offsetOf(number), 0, sampleCount);
    });
}

void inverseMoveoutByPelta(benchmark::State& state, int sampleCount) {
    NormalMoveout moveout(sampleCount, intervalMs, 1.0f, 0.0f, true, false);
    Trace velocity = velocitiesFor(sampleCount), back = gather(sampleCount)[20];
    moveout.applyNMO(back.data(), velocity.data(), nullptr, sampleCount, 0.0f, offsetOf(20), 0, sampleCount);
    moveout.unApplyNMO(back.data(), velocity.data(), nullptr, sampleCount, 0.0f, offsetOf(20), 0, sampleCount);
    for (int i = 300; i < sampleCount - 100; ++i) require(std::fabs(back[i] - gather(sampleCount)[20][i]) < 0.1f, "unApplyNMO");
    onEveryTrace(state, sampleCount, [&](Trace& trace, int number) {
        moveout.unApplyNMO(trace.data(), velocity.data(), nullptr, sampleCount, 0.0f, offsetOf(number), 0, sampleCount);
    });
}

void moveoutByPlainLoop(benchmark::State& state, int sampleCount) {
    const PlainMoveout moveout;
    const Trace velocity = velocitiesFor(sampleCount);
    Trace input(sampleCount);
    onEveryTrace(state, sampleCount,
                 [&](Trace& trace, int number) { moveout.apply(trace, velocity, offsetOf(number), input); });
}

void positionsOnly(benchmark::State& state, int sampleCount) {
    const Trace velocity = velocitiesFor(sampleCount);
    onEveryTrace(state, sampleCount, [&](Trace& trace, int number) {
        positionsInDouble(velocity.data(), sampleCount, offsetOf(number), trace.data());
    });
}

void positionsAndReading(benchmark::State& state, int sampleCount) {
    const Trace velocity = velocitiesFor(sampleCount);
    Trace positions(sampleCount), input(sampleCount);
    onEveryTrace(state, sampleCount, [&](Trace& trace, int number) {
        positionsInDouble(velocity.data(), sampleCount, offsetOf(number), positions.data());
        input.swap(trace);
        ints8r(sampleCount, 1.0f, 0.0f, input.data(), 0.0f, 0.0f, sampleCount, positions.data(), trace.data());
    });
}

/* Gain control by a running median: gains at the middles of the windows, the ends repeat their neighbours. */
template <class RunningMedian>
void balance(Trace& trace, int window, RunningMedian& running, Trace& amplitudes, Trace& gains) {
    const int sampleCount = static_cast<int>(trace.size()), half = window / 2;
    for (int i = 0; i < sampleCount; ++i) amplitudes[i] = std::fabs(trace[i]);
    running.start(amplitudes.data());
    gains[half] = 1.0f / running.median();
    for (int first = 0; first + window < sampleCount; ++first) {
        running.slide(amplitudes[first + window]);
        gains[first + 1 + half] = 1.0f / running.median();
    }
    std::fill_n(gains.begin(), half, gains[half]);
    std::fill(gains.end() - half, gains.end(), gains[sampleCount - 1 - half]);
    for (int i = 0; i < sampleCount; ++i) trace[i] *= gains[i];
}

template <class RunningMedian>
void balanceByPeer(benchmark::State& state, int sampleCount, int window) {
    RunningMedian running(window);
    Trace amplitudes(sampleCount), gains(sampleCount);
    onEveryTrace(state, sampleCount, [&](Trace& trace, int) { balance(trace, window, running, amplitudes, gains); });
}

/* The rule for the lowest gap lets a window drift from the true one by an entry or two, so that a median may differ. */
template <class RunningMedian>
void checkBalance(const Trace& fresh, int window, const Trace& balanced) {
    const int sampleCount = static_cast<int>(fresh.size());
    Trace trace = fresh, amplitudes(sampleCount), gains(sampleCount);
    RunningMedian running(window);
    balance(trace, window, running, amplitudes, gains);
    for (int i = window; i < sampleCount - window; ++i)
        require(std::fabs(trace[i] - balanced[i]) <= 0.3f * std::fabs(trace[i]), "applyAGC");
}

void balanceByPelta(benchmark::State& state, int sampleCount, int window) {
    PeltaAGC control(sampleCount, window, 1.0f);
    Trace balanced = gather(sampleCount)[0];
    control.applyAGC(balanced.data(), sampleCount);
    checkBalance<TwoHeapMedian>(gather(sampleCount)[0], window, balanced);
    checkBalance<SortedWindowMedian>(gather(sampleCount)[0], window, balanced);
    onEveryTrace(state, sampleCount, [&](Trace& trace, int) { control.applyAGC(trace.data(), sampleCount); });
}

/* A slide of a sorted list that holds its window in vector registers touches every entry once. */
PELTA_VECTORIZE void insertOverLanes(float* __restrict to, const float* __restrict from, int window, float incoming) {
    for (int k = 0; k < window; ++k) to[k] = std::max(from[k], std::min(from[k + 1], incoming));
}

void windowSlides(benchmark::State& state, int sampleCount, int window) {
    Trace sorted(window + 1), next(window + 1);
    onEveryTrace(state, sampleCount, [&](Trace& trace, int) {
        std::copy_n(trace.begin(), window, sorted.begin());
        for (int first = 0; first + window < sampleCount; ++first) {
            insertOverLanes(next.data(), sorted.data(), window, trace[first + window]);
            sorted.swap(next);
        }
        benchmark::DoNotOptimize(sorted.data());
    });
}

/* The traces of the gather, muted ahead of their first arrivals, and their quadrature traces. */
struct AnalyticGather {
    explicit AnalyticGather(int sampleCount) : traces(gather(sampleCount)), quadratures(traceCount, Trace(sampleCount)) {
        for (int k = 0; k < traceCount; ++k) {
            std::fill_n(traces[k].begin(), static_cast<int>(offsetOf(k) / 1.6f / intervalMs), 0.0f);
            applyHilbert(traces[k].data(), quadratures[k].data(), sampleCount);
        }
    }
    std::vector<Trace> traces, quadratures;
};

struct SemblanceSums {
    explicit SemblanceSums(int sampleCount) : sum(sampleCount), sumh(sampleCount), sqrd(sampleCount), fold(sampleCount) {}

    void add(AnalyticGather& from, int k) {
        buildSemblance(sum.data(), sumh.data(), sqrd.data(), fold.data(), from.traces[k].data(), from.quadratures[k].data(),
                       static_cast<int>(sum.size()));
    }
    void addAll(AnalyticGather& from) {
        for (int k = 0; k < traceCount; ++k) add(from, k);
    }

    std::vector<double> sum, sumh, sqrd, fold;
};

void sumsByPelta(benchmark::State& state, int sampleCount) {
    AnalyticGather from(sampleCount);
    SemblanceSums sums(sampleCount);
    sums.addAll(from);
    for (int i = 0; i < sampleCount; ++i) {
        double squares = 0.0;
        int fold = 0;
        for (int k = 0; k < traceCount; ++k) {
            if (from.traces[k][i] == 0.0f) continue;
            squares += std::pow(from.traces[k][i], 2.0) + std::pow(from.quadratures[k][i], 2.0);
            ++fold;
        }
        require(sums.fold[i] == fold && sums.sqrd[i] == squares, "buildSemblance");
    }
    int number = 0;
    for (auto _ : state) {
        sums.add(from, number);
        benchmark::ClobberMemory();
        number = (number + 1) % traceCount;
    }
    state.SetItemsProcessed(state.iterations() * sampleCount);
}

/* Reads what the routine reads and writes what it writes. */
PELTA_VECTORIZE void passOver(double* __restrict a, double* __restrict b, double* __restrict c, double* __restrict d,
                              const float* __restrict e, const float* __restrict f, int count) {
    for (int i = 0; i < count; ++i) {
        a[i] += e[i];
        b[i] += f[i];
        c[i] += 1.0;
        d[i] += 1.0;
    }
}

void passOverSums(benchmark::State& state, int sampleCount) {
    const AnalyticGather from(sampleCount);
    SemblanceSums sums(sampleCount);
    int number = 0;
    for (auto _ : state) {
        passOver(sums.sum.data(), sums.sumh.data(), sums.sqrd.data(), sums.fold.data(), from.traces[number].data(),
                 from.quadratures[number].data(), sampleCount);
        benchmark::ClobberMemory();
        number = (number + 1) % traceCount;
    }
    state.SetItemsProcessed(state.iterations() * sampleCount);
}

double mirroredSum(const std::vector<double>& values, int centre, int half) {
    const int last = static_cast<int>(values.size()) - 1;
    double sum = 0.0;
    for (int i = centre - half; i <= centre + half; ++i) sum += values[i < 0 ? -i : i > last ? 2 * last - i : i];
    return sum;
}

constexpr int semblanceWindow = 11;

void semblanceByPelta(benchmark::State& state, int sampleCount) {
    AnalyticGather from(sampleCount);
    SemblanceSums sums(sampleCount);
    sums.addAll(from);
    const std::vector<double> fresh = sums.sumh;
    Trace semblance(sampleCount);
    for (auto _ : state) {
        std::copy(fresh.begin(), fresh.end(), sums.sumh.begin());
        applySemblance(sums.sum.data(), sums.sumh.data(), sums.sqrd.data(), traceCount, semblanceWindow, semblance.data(),
                       sampleCount);
        benchmark::ClobberMemory();
    }
    for (int i = 0; i < sampleCount; ++i) {
        const double stack = mirroredSum(sums.sumh, i, semblanceWindow / 2),
                     all = mirroredSum(sums.sqrd, i, semblanceWindow / 2);
        require(std::fabs(semblance[i] - (all > 0.0 ? stack / (traceCount * all) : 0.0)) < 1e-5, "applySemblance");
    }
    state.SetItemsProcessed(state.iterations() * sampleCount);
}

/* Two sums that slide side by side, each taking two additions a sample one after the other. */
void slidingSumsAlone(benchmark::State& state, int sampleCount) {
    const std::vector<double> values(sampleCount + semblanceWindow, 1.0);
    for (auto _ : state) {
        double a = values[0], b = values[1];
        for (int i = 0; i < sampleCount; ++i) {
            a = a - values[i] + values[i + semblanceWindow];
            b = b - values[i] + values[i + semblanceWindow];
            asm volatile("" : "+x"(a), "+x"(b));
        }
        benchmark::DoNotOptimize(a + b);
    }
    state.SetItemsProcessed(state.iterations() * sampleCount);
}

constexpr float staticShift = 2.5f;

void staticByPelta(benchmark::State& state, int sampleCount) {
    Trace shifted(sampleCount), work(sampleCount);
    Trace first = gather(sampleCount)[0];
    applyStatic(first.data(), shifted.data(), work.data(), sampleCount, staticShift);
    for (int i = 10; i < sampleCount - 10; ++i)
        require(std::fabs(shifted[i] - 0.5f * (first[i + 2] + first[i + 3])) < 0.1f, "applyStatic");
    onEveryTrace(state, sampleCount, [&](Trace& trace, int) {
        applyStatic(trace.data(), shifted.data(), work.data(), sampleCount, staticShift);
        benchmark::DoNotOptimize(shifted.data());
    });
}

void staticByReadingAlone(benchmark::State& state, int sampleCount) {
    Trace shifted(sampleCount), positions(sampleCount);
    for (int i = 0; i < sampleCount; ++i) positions[i] = static_cast<float>(i) + staticShift;
    onEveryTrace(state, sampleCount, [&](Trace& trace, int) {
        ints8r(sampleCount, 1.0f, 0.0f, trace.data(), 0.0f, 0.0f, sampleCount, positions.data(), shifted.data());
        benchmark::DoNotOptimize(shifted.data());
    });
}

constexpr int mutedSamples = 100, taperLength = 50;

void muteEnds(Trace& trace) {
    std::fill_n(trace.begin(), mutedSamples, 0.0f);
    std::fill_n(trace.end() - mutedSamples, mutedSamples, 0.0f);
}

void muteByPelta(benchmark::State& state, int sampleCount) {
    Trace taper(taperLength, 0.5f), header(sizeof(stdHdrStruct) / sizeof(int)), first = gather(sampleCount)[0];
    muteEnds(first);
    applyMute(first.data(), sampleCount, intervalMs, header.data(), taperLength, taper.data());
    require(header[stdHdr->itlive_s - 1] == (mutedSamples + 1) * intervalMs &&
                first[mutedSamples] == 0.5f * gather(sampleCount)[0][mutedSamples],
            "applyMute");
    onEveryTrace(state, sampleCount, [&](Trace& trace, int) {
        muteEnds(trace);
        applyMute(trace.data(), sampleCount, intervalMs, header.data(), taperLength, taper.data());
    });
}

void muteWithoutTaper(benchmark::State& state, int sampleCount) {
    onEveryTrace(state, sampleCount, [](Trace& trace, int) { muteEnds(trace); });
}

void blockMoveoutByPelta(benchmark::State& state, int sampleCount) {
    NormalMoveout moveout(sampleCount, intervalMs, 1.0f, 0.0f, true, false);
    Trace velocity = velocitiesFor(sampleCount);
    const int from = sampleCount / 2, to = from + sampleCount / 4;
    Trace moved = gather(sampleCount)[0];
    moveout.applyBlockNMO(moved.data(), velocity.data(), nullptr, sampleCount, 0.0f, 0.0f, from, to);
    require(moved[from + 1] == gather(sampleCount)[0][from + 1] && moved[0] == 0.0f, "applyBlockNMO");
    onEveryTrace(state, sampleCount, [&](Trace& trace, int number) {
        moveout.applyBlockNMO(trace.data(), velocity.data(), nullptr, sampleCount, 0.0f, offsetOf(number), from, to);
    });
}

/* Each turn scales fresh sums. equalize(sum, sumh, sqrd, fold) */
template <class Equalize>
void equalizeSums(benchmark::State& state, int sampleCount, Equalize equalize) {
    const std::vector<double> fresh(sampleCount, 3.0);
    std::vector<double> sum, sumh, sqrd, fold(sampleCount);
    for (int i = 0; i < sampleCount; ++i) fold[i] = 1 + i % traceCount;
    for (auto _ : state) {
        sum = sumh = sqrd = fresh;
        equalize(sum.data(), sumh.data(), sqrd.data(), fold.data());
        benchmark::ClobberMemory();
    }
    require(sum[0] == 3.0 * traceCount || sum[0] == 3.0, "equalizeSemblance");
    state.SetItemsProcessed(state.iterations() * sampleCount);
}

void equalizeByPelta(benchmark::State& state, int sampleCount) {
    equalizeSums(state, sampleCount, [=](double* sum, double* sumh, double* sqrd, double* fold) {
        equalizeSemblance(sum, sumh, sqrd, fold, traceCount, sampleCount);
    });
}

void copySums(benchmark::State& state, int sampleCount) {
    equalizeSums(state, sampleCount, [](double*, double*, double*, double*) {});
}

void registerMoveout(int n) {
    const std::string of = "|" + caseName(n);
    addFigure("applyNMO|pelta" + of, moveoutByPelta, n, Formula::hyperbola);
    addFigure("applyNMO|plain loop, table of sinc operators" + of, moveoutByPlainLoop, n);
    addFigure("applyNMO|limit: positions in double" + of, positionsOnly, n);
    addFigure("applyNMO|limit: positions in double, ints8r" + of, positionsAndReading, n);
    addFigure("applyNMO fourth order|pelta" + of, moveoutByPelta, n, Formula::fourthOrder);
    addFigure("applyNMO converted wave|pelta" + of, moveoutByPelta, n, Formula::convertedWave);
    addFigure("unApplyNMO|pelta" + of, inverseMoveoutByPelta, n);
    addFigure("applyBlockNMO|pelta" + of, blockMoveoutByPelta, n);
}

void registerGainControl(int n, int window) {
    const std::string of = "|" + caseName(n) + " window " + std::to_string(window);
    addFigure("PeltaAGC|pelta" + of, balanceByPelta, n, window);
    addFigure("PeltaAGC|two heaps" + of, balanceByPeer<TwoHeapMedian>, n, window);
    addFigure("PeltaAGC|sorted list" + of, balanceByPeer<SortedWindowMedian>, n, window);
    addFigure("PeltaAGC|limit: window slides over lanes" + of, windowSlides, n, window);
}

void registerSemblanceAndStatics(int n) {
    const std::string of = "|" + caseName(n), window = of + " window " + std::to_string(semblanceWindow);
    const std::string shift = of + " shift 2.5", taper = of + " taper 50";
    addFigure("buildSemblance|pelta" + of, sumsByPelta, n);
    addFigure("buildSemblance|limit: pass over the same bytes" + of, passOverSums, n);
    addFigure("equalizeSemblance|pelta" + of, equalizeByPelta, n);
    addFigure("equalizeSemblance|limit: copy of the sums" + of, copySums, n);
    addFigure("applySemblance|pelta" + window, semblanceByPelta, n);
    addFigure("applySemblance|limit: two chains of two adds" + window, slidingSumsAlone, n);
    addFigure("applyStatic|pelta" + shift, staticByPelta, n);
    addFigure("applyStatic|limit: ints8r" + shift, staticByReadingAlone, n);
    addFigure("applyMute|pelta" + taper, muteByPelta, n);
    addFigure("applyMute|limit: copy without its ends" + taper, muteWithoutTaper, n);
}

const bool isRegistered = [] {
    for (int n : {1500, 4000}) registerMoveout(n);
    for (int n : {1500, 4000}) registerSemblanceAndStatics(n);
    for (auto [n, window] : {std::pair{1500, 125}, {1500, 251}, {4000, 251}, {4000, 1001}}) registerGainControl(n, window);
    return true;
}();

}
