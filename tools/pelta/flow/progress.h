#ifndef PELTA_TOOL_PROGRESS_H
#define PELTA_TOOL_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <optional>

#include "support/statusline.h"

namespace pelta {

/* Traces, rate and time left on one line of a terminal, a few times a second; silent in a pipe or when told to be quiet. */
class Progress {
  public:
    Progress(std::optional<std::int64_t> total, bool quiet);
    void show(std::int64_t done);

  private:
    using Clock = std::chrono::steady_clock;
    std::optional<std::int64_t> _total;
    StatusLine _line;
    Clock::time_point _start = Clock::now(), _last = _start;
};

}

#endif
