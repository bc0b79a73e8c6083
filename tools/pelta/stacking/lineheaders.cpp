#include "stacking/lineheaders.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "support/failure.h"

namespace pelta::stacking {

using segy::Word;

std::int64_t LineHeaders::take(const segy::Trace& trace) {
    const auto read = [&](Word word) { return readWord(trace.header.data(), _layout.words[word], _layout.byteOrder); };
    const double delayMs = segy::scaled(read(Word::delay), read(Word::timeScalar));
    if (_traces++ == 0) _delayMs = delayMs;
    if (delayMs != _delayMs)
        fail(
            "{}: trace {} begins at {:g} ms (byte {}) and trace 1 at {:g} ms; a stack needs one start time, --map "
            "delay=BYTE:SIZE names another word",
            _name, trace.number + 1, delayMs, _layout.words[Word::delay].position, _delayMs);
    const std::int64_t cdp = read(Word::cdp);
    if (cdp == 0) ++_tracesWithoutCdp;
    return cdp;
}

void LineHeaders::requireCdps() const {
    if (_tracesWithoutCdp == _traces)
        fail(
            "{}: cdp at trace byte {} is 0 on all {} traces; a stack needs CDP numbers, --map cdp=BYTE:SIZE names the right "
            "word",
            _name, _layout.words[Word::cdp].position, _traces);
}

std::vector<Gather> findGathers(segy::Reader& reader, LineHeaders& headers) {
    std::vector<Gather> gathers;
    std::unordered_map<std::int64_t, std::size_t> places;
    segy::Trace trace;
    while (reader.nextHeader(trace)) {
        const std::int64_t cdp = headers.take(trace);
        if (cdp == 0) continue;
        const auto [place, isNew] = places.try_emplace(cdp, gathers.size());
        if (isNew) gathers.push_back({cdp, trace.number, trace.number});
        else gathers[place->second].last = trace.number;
    }
    std::sort(gathers.begin(), gathers.end(), [](const Gather& a, const Gather& b) { return a.cdp < b.cdp; });
    reader.seek(0);
    return gathers;
}

std::int64_t memoryNeeded(const std::vector<Gather>& gathers, Order order, std::int64_t sumBytes, std::int64_t traceBytes) {
    std::vector<std::pair<std::int64_t, std::int64_t>> changes; /* trace, bytes more or less from there on */
    std::int64_t lowerDone = 0;                                 /* trace with which all gathers up to this one are done */
    for (const Gather& gather : gathers) {
        changes.emplace_back(gather.first, sumBytes);
        changes.emplace_back(gather.last + 1, -sumBytes);
        lowerDone = std::max(lowerDone, gather.last);
        if (order == Order::asCompleted || lowerDone == gather.last) continue;
        changes.emplace_back(gather.last + 1, traceBytes);
        changes.emplace_back(lowerDone + 1, -traceBytes);
    }
    std::sort(changes.begin(), changes.end());
    std::int64_t held = 0, most = 0;
    for (const auto& [trace, bytes] : changes) most = std::max(most, held += bytes);
    return most;
}

}
