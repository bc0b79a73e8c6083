#include "picks/picksource.h"

namespace pelta {

PickOf picksOf(const PickTable& table) {
    return [&table](const segy::Trace& trace, const segy::TraceFacts& facts) {
        return table.timeMs(trace.number + 1, facts.record, facts.channel);
    };
}

PickOf picksOf(segy::HeaderWord word, const std::string& unit, const segy::Layout& layout) {
    return [word, unit, &layout](const segy::Trace& trace, const segy::TraceFacts& facts) -> std::optional<double> {
        const auto value = static_cast<double>(segy::readWord(trace.header.data(), word, layout.byteOrder));
        if (value == 0.0) return std::nullopt;
        return unit == "ms" ? value : unit == "us" ? value / 1000.0 : facts.delayMs + value * layout.intervalMs;
    };
}

}
