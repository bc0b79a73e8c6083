#include "inspection/valueset.h"

#include <algorithm>
#include <utility>

namespace pelta::inspection {

/* The value's own slot or the free one where it belongs. */
std::size_t ValueSet::slotOf(std::uint64_t value) const {
    constexpr std::uint64_t goldenRatio = 0x9E3779B97F4A7C15u; /* spreads neighbouring numbers over the table */
    std::size_t slot = static_cast<std::size_t>(value * goldenRatio >> 32) & (_slots.size() - 1);
    while (_slots[slot] != 0 && _slots[slot] != value) slot = (slot + 1) & (_slots.size() - 1);
    return slot;
}

bool ValueSet::insert(std::uint64_t value) {
    if (value == 0) {
        if (_hasZero || isFull()) return !_hasZero;
        ++_size;
        return _hasZero = true;
    }
    if (2 * (_size + 1) > _slots.size()) grow();
    const std::size_t slot = slotOf(value);
    if (_slots[slot] == value) return false;
    if (isFull()) return true;
    _slots[slot] = value;
    ++_size;
    return true;
}

void ValueSet::grow() {
    constexpr std::size_t firstSlots = 16;
    const std::vector<std::uint64_t> before =
        std::exchange(_slots, std::vector<std::uint64_t>(std::max(firstSlots, 2 * _slots.size())));
    for (std::uint64_t value : before)
        if (value != 0) _slots[slotOf(value)] = value;
}

void ValueSet::clear() {
    std::fill(_slots.begin(), _slots.end(), 0);
    _size = 0;
    _hasZero = false;
}

}
