#include "flow/progress.h"

#include <fmt/format.h>

#include <string>

namespace pelta {
namespace {

constexpr std::chrono::milliseconds refreshInterval{200};

std::string clockText(double seconds) {
    const auto whole = static_cast<std::int64_t>(seconds + 0.5);
    return whole < 3600 ? fmt::format("{}:{:02}", whole / 60, whole % 60)
                        : fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
}

}

Progress::Progress(std::optional<std::int64_t> total, bool quiet) : _total(total), _line(quiet) {}

void Progress::show(std::int64_t done) {
    if (!_line.isShown()) return;
    const auto now = Clock::now();
    if (now - _last < refreshInterval) return;
    _last = now;
    const double rate = static_cast<double>(done) / std::chrono::duration<double>(now - _start).count();
    std::string text = fmt::format("{} traces", done);
    if (_total) text = fmt::format("{} of {} traces", done, *_total);
    text += fmt::format(", {:.0f} a second", rate);
    if (_total && rate > 0.0) text += fmt::format(", {} left", clockText(static_cast<double>(*_total - done) / rate));
    _line.show(text);
}

}
