#ifndef PELTA_LIB_MESH_RECORDSTORE_H
#define PELTA_LIB_MESH_RECORDSTORE_H

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

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
    static constexpr std::size_t smallestBlock = 8 << 10, largestBlock = 1 << 20;

    static std::size_t kindOf(std::size_t bytes) {
        if (bytes <= step * steps) return (bytes + step - 1) / step;
        return bytes <= sizeOf(kinds - 1) ? steps + std::bit_width((bytes - 1) / (step * steps)) : kinds;
    }
    static constexpr std::size_t sizeOf(std::size_t kind) {
        return kind <= steps ? kind * step : (step * steps) << (kind - steps);
    }

    template <class ObtainBlock>
    void* cut(std::size_t size, ObtainBlock obtainBlock) {
        if (size > largestBlock / 4) return obtainBlock(size);
        if (size > _left) {
            const std::size_t block = std::clamp(_taken, std::max(smallestBlock, size), largestBlock);
            void* memory = obtainBlock(block);
            if (!memory) return nullptr;
            _next = static_cast<char*>(memory);
            _left = block;
            _taken += block;
        }
        char* record = _next;
        _next += size;
        _left -= size;
        return record;
    }

    std::array<Free*, kinds> _free = {};
    char* _next = nullptr;
    std::size_t _left = 0, _taken = 0;
};

#endif
