#ifndef PELTA_TOOL_VALUESET_H
#define PELTA_TOOL_VALUESET_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace pelta::inspection {

/* Values met so far, up to a limit that bounds memory. */
class ValueSet {
  public:
    explicit ValueSet(std::size_t limit) : _limit(limit) {}

    /* False when it was met before. Nothing is kept once the set is full. */
    bool insert(std::uint64_t value);
    bool isFull() const { return _size >= _limit; }
    std::size_t size() const { return _size; }
    void clear();

  private:
    std::size_t slotOf(std::uint64_t value) const;
    void grow();

    std::size_t _limit, _size = 0;
    bool _hasZero = false;             /* a slot that holds 0 is free */
    std::vector<std::uint64_t> _slots; /* a power of two */
};

}

#endif
