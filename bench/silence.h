#ifndef PELTA_BENCH_SILENCE_H
#define PELTA_BENCH_SILENCE_H

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

/* Sends what is printed to nowhere as long as it lives: standard output is the benchmark's. */
class Silence {
  public:
    Silence() {
        std::fflush(stdout);
        kept_ = dup(1);
        const int nowhere = open("/dev/null", O_WRONLY);
        dup2(nowhere, 1);
        close(nowhere);
    }
    ~Silence() {
        std::fflush(stdout);
        dup2(kept_, 1);
        close(kept_);
    }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

  private:
    int kept_;
};

#endif
