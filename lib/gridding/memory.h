#ifndef PELTA_LIB_GRIDDING_MEMORY_H
#define PELTA_LIB_GRIDDING_MEMORY_H

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>

namespace tension {

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};
template <class Value>
using Block = std::unique_ptr<Value, Free>;

template <class Value>
Block<Value> obtain(std::size_t count) {
    return Block<Value>(static_cast<Value*>(reallocarray(nullptr, std::max<std::size_t>(count, 1), sizeof(Value))));
}

}

#endif
