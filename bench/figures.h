#ifndef PELTA_BENCH_FIGURES_H
#define PELTA_BENCH_FIGURES_H

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

/* Registers a figure under its name, routine|who|case: measure(state, arguments ...). */
template <class Measure, class... Arguments>
void addFigure(const std::string& name, Measure measure, Arguments... arguments) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) { measure(state, arguments...); });
}

/* A figure counts only when the answer is right: ends the run where it is not. */
inline void require(bool isRight, const char* what) {
    if (isRight) return;
    std::fprintf(stderr, "wrong answer: %s\n", what);
    std::exit(1);
}

#endif
