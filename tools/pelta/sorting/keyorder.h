#ifndef PELTA_TOOL_SORTING_KEYORDER_H
#define PELTA_TOOL_SORTING_KEYORDER_H

#include <cstdint>
#include <functional>
#include <vector>

#include "segy/reader.h"
#include "sorting/sortkey.h"

namespace pelta::sorting {

/* Reads the traces of a file in the order of their keys, a memory full at a time: those are read in the file's order, each to
 * its place. */
class KeyOrder {
  public:
    /*   order          sorted keys of all traces
     *   windowTraces   that are in the memory together
     *   stagedTraces   that may be read together to be taken apart; 0 or 1: each is read by itself */
    KeyOrder(const std::vector<Key>& order, std::size_t traceBytes, std::size_t windowTraces, std::size_t stagedTraces);

    std::size_t windows() const;
    /* What reading takes of a disk, in bytes that it reads in the same time. */
    double readingCost() const;
    /* Hands on one window after the other: traces in order, in memory of windowTraces of them. */
    void read(segy::Reader& reader, unsigned char* memory, unsigned char* staging,
              const std::function<void(const unsigned char* traces, std::size_t count)>& take) const;

    static constexpr std::size_t bytesPerTrace = sizeof(std::int64_t) + sizeof(std::size_t); /* beside the trace itself */
    std::size_t windowTraces() const { return _windowTraces; }

  private:
    struct Wanted {
        std::int64_t place; /* in the file */
        std::size_t slot;   /* in the window */
    };
    void lookFor(std::size_t firstOfWindow, std::vector<Wanted>& wanted) const;
    std::size_t endOfSpan(const std::vector<Wanted>& wanted, std::size_t first) const;

    const std::vector<Key>& _order;
    std::size_t _traceBytes, _windowTraces, _stagedTraces;
};

}

#endif
