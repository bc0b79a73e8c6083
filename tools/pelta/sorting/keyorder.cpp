#include "sorting/keyorder.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "support/libraryvoice.h"

namespace pelta::sorting {
namespace {

/* As long to pass over as another call takes. */
constexpr std::int64_t shortGapBytes = 4 << 10;
/* What a disk reads while it looks for another place. */
constexpr std::int64_t seekBytes = 512 << 10;

}

KeyOrder::KeyOrder(const std::vector<Key>& order, std::size_t traceBytes, std::size_t windowTraces, std::size_t stagedTraces)
    : _order(order), _traceBytes(traceBytes), _windowTraces(windowTraces), _stagedTraces(stagedTraces) {}

std::size_t KeyOrder::windows() const { return (_order.size() + _windowTraces - 1) / _windowTraces; }

/* The traces of a window in the order of the file. */
void KeyOrder::lookFor(std::size_t firstOfWindow, std::vector<Wanted>& wanted) const {
    const std::size_t count = std::min(_windowTraces, _order.size() - firstOfWindow);
    wanted.resize(count);
    for (std::size_t slot = 0; slot < count; ++slot) wanted[slot] = {_order[firstOfWindow + slot].place, slot};
    std::sort(wanted.begin(), wanted.end(), [](const Wanted& a, const Wanted& b) { return a.place < b.place; });
}

double KeyOrder::readingCost() const {
    const auto traceBytes = static_cast<std::int64_t>(_traceBytes);
    const std::int64_t seekTraces = std::max<std::int64_t>(seekBytes / traceBytes, 1);
    std::vector<Wanted> wanted;
    std::int64_t cost = 0, last = -1; /* in traces */
    for (std::size_t first = 0; first < _order.size(); first += _windowTraces) {
        lookFor(first, wanted);
        for (const Wanted& trace : wanted) {
            const std::int64_t step = trace.place - std::exchange(last, trace.place);
            cost += step > 0 ? std::min(step, seekTraces) : seekTraces;
        }
    }
    return static_cast<double>(cost) * static_cast<double>(traceBytes);
}

/* Behind the last trace that is worth reading together with the first. */
std::size_t KeyOrder::endOfSpan(const std::vector<Wanted>& wanted, std::size_t first) const {
    const std::int64_t longestStep = 1 + shortGapBytes / static_cast<std::int64_t>(_traceBytes);
    const std::int64_t end = wanted[first].place + static_cast<std::int64_t>(_stagedTraces);
    std::size_t next = first + 1;
    while (next < wanted.size() && wanted[next].place < end && wanted[next].place - wanted[next - 1].place <= longestStep)
        ++next;
    return next;
}

void KeyOrder::read(segy::Reader& reader, unsigned char* memory, unsigned char* staging,
                    const std::function<void(const unsigned char* traces, std::size_t count)>& take) const {
    std::vector<Wanted> wanted;
    for (std::size_t firstOfWindow = 0; firstOfWindow < _order.size(); firstOfWindow += _windowTraces) {
        lookFor(firstOfWindow, wanted);
        {
            const LibraryVoice silent; /* once, instead of round every trace */
            for (std::size_t first = 0, end; first < wanted.size(); first = end) {
                end = endOfSpan(wanted, first);
                const std::int64_t start = wanted[first].place;
                const auto place = [&](std::size_t slot) { return memory + slot * _traceBytes; };
                reader.seek(start);
                if (end == first + 1) {
                    reader.nextTraces(place(wanted[first].slot), 1);
                    continue;
                }
                reader.nextTraces(staging, static_cast<std::size_t>(wanted[end - 1].place - start) + 1);
                for (std::size_t k = first; k < end; ++k)
                    std::memcpy(place(wanted[k].slot),
                                staging + static_cast<std::size_t>(wanted[k].place - start) * _traceBytes, _traceBytes);
            }
        }
        take(memory, wanted.size());
    }
}

}
