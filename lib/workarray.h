#ifndef PELTA_LIB_GATHER_WORKARRAY_H
#define PELTA_LIB_GATHER_WORKARRAY_H

#include <cstdint>
#include <cstdlib>

/* Memory for count values, none where count is 0 or less; null where it cannot be had. Freed with std::free. A size that
 * wraps round, as it may in a 32-bit build, counts as not to be had. */
template <class Value>
Value* allocateWorkArray(std::int64_t count) {
    const std::int64_t used = count > 0 ? count : 0;
    if (used > static_cast<std::int64_t>(PTRDIFF_MAX / sizeof(Value))) return nullptr;
    return static_cast<Value*>(std::malloc(static_cast<std::size_t>(used) * sizeof(Value)));
}

#endif
