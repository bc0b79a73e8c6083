#ifndef PELTA_LIB_WORKARRAY_H
#define PELTA_LIB_WORKARRAY_H

#include <cstdint>
#include <cstdlib>
#include <memory>

/* Whether so many values have a size in bytes: in a 32-bit build it could wrap round. */
template <class Value>
bool hasSize(std::int64_t count) {
    return count <= static_cast<std::int64_t>(PTRDIFF_MAX / sizeof(Value));
}

/* Memory for count values, none where count is 0 or less; null where it cannot be had. Freed with std::free. */
template <class Value>
Value* allocateWorkArray(std::int64_t count) {
    const std::int64_t used = count > 0 ? count : 0;
    if (!hasSize<Value>(used)) return nullptr;
    return static_cast<Value*>(std::malloc(static_cast<std::size_t>(used) * sizeof(Value)));
}

struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};

/* For the time of a call. */
using WorkArray = std::unique_ptr<float[], FreeMemory>;

/* count zeros, null where they cannot be had. */
inline WorkArray zeros(std::int64_t count) {
    if (!hasSize<float>(count)) return nullptr;
    return WorkArray(static_cast<float*>(std::calloc(static_cast<std::size_t>(count), sizeof(float))));
}

#endif
