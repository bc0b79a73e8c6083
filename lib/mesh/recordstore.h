#ifndef PELTA_LIB_MESH_RECORDSTORE_H
#define PELTA_LIB_MESH_RECORDSTORE_H

#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>

/* Memory for a model's records: cut off large blocks one after the other, so that the records of one insertion lie side by side
 * and cost no call of the allocator. A record that is given back waits in a list of its size for the next of that size. The
 * blocks go with the model. */
class RecordStore {
  public:
    /* bytes of memory aligned for any record; null where obtainBlock(bytes) gives null. */
    template <class ObtainBlock>
    void* take(std::size_t bytes, ObtainBlock obtainBlock) {
        const std::size_t kind = kindOf(bytes);
        if (kind == kinds) return nullptr;
        if (Free* record = _free[kind]) {
            _free[kind] = record->next;
            return record;
        }
        return cut(sizeOf(kind), obtainBlock);
    }

    /* Takes a record back that was taken with as many bytes. */
    void giveBack(void* record, std::size_t bytes) {
        Free*& head = _free[kindOf(bytes)];
        head = new (record) Free{head};
    }

  private:
    struct Free {
        Free* next;
    };
    static constexpr std::size_t step = 16, steps = 64; /* sizes up to step * steps, then powers of two */
    static constexpr std::size_t powers = sizeof(std::size_t) * 8 - 12;
    static constexpr std::size_t kinds = steps + 1 + powers;
    static constexpr std::size_t line = 128; /* cache lines are fetched in pairs */
    static constexpr std::size_t smallRecord = 512;
    static constexpr std::size_t smallestBlock = 8 << 10, largestBlock = 16 << 20, largestRecord = 256 << 10;

    static std::size_t kindOf(std::size_t bytes) {
        if (bytes <= step * steps) return (bytes + step - 1) / step;
        return bytes <= sizeOf(kinds - 1) ? steps + std::bit_width((bytes - 1) / (step * steps)) : kinds;
    }
    static constexpr std::size_t sizeOf(std::size_t kind) {
        return kind <= steps ? kind * step : (step * steps) << (kind - steps);
    }

    /* Additions and long functions from the start of a block, each in cache lines of its own, small records from its end. */
    template <class ObtainBlock>
    void* cut(std::size_t size, ObtainBlock obtainBlock) {
        if (size > largestRecord) return obtainBlock(size);
        const std::size_t taken = size < smallRecord ? size : (size + line - 1) / line * line;
        if (taken > static_cast<std::size_t>(_end - _start)) {
            const std::size_t block = std::clamp(_taken / 8 / line * line, std::max(smallestBlock, taken + line), largestBlock);
            void* memory = obtainBlock(block);
            if (!memory) return nullptr;
            adviseLargePages(memory, block);
            const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(memory);
            _start = static_cast<char*>(memory) + (line - address % line) % line;
            _end = static_cast<char*>(memory) + block;
            _taken += block;
        }
        if (size < smallRecord) return _end -= taken;
        return std::exchange(_start, _start + taken);
    }

    /* Walks and flips go all over a large mesh: with the usual pages each would wait for the table of pages too. */
    static void adviseLargePages([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t bytes) {
#ifdef MADV_HUGEPAGE
        constexpr std::uintptr_t page = 2 << 20;
        const auto start = (reinterpret_cast<std::uintptr_t>(memory) + page - 1) / page * page;
        const auto end = (reinterpret_cast<std::uintptr_t>(memory) + bytes) / page * page;
        if (start < end) madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
#endif
    }

    std::array<Free*, kinds> _free = {};
    char *_start = nullptr, *_end = nullptr; /* of what is left of the last block */
    std::size_t _taken = 0;
};

#endif
