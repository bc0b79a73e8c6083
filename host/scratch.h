#ifndef PELTA_HOST_SCRATCH_H
#define PELTA_HOST_SCRATCH_H

#include <cstddef>
#include <cstdlib>

/* Scratch that a thread keeps from call to call, aligned to a cache line. It only grows. */
class Scratch {
  public:
    Scratch() = default;
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    ~Scratch() { std::free(data_); }

    /* Room for count floats of any content; null where memory is short. */
    float* room(std::size_t count) {
        if (count > capacity_) {
            std::free(data_);
            capacity_ = count > SIZE_MAX / sizeof(float) - line ? 0 : (count + line - 1) / line * line;
            data_ =
                capacity_ ? static_cast<float*>(std::aligned_alloc(line * sizeof(float), capacity_ * sizeof(float))) : nullptr;
            if (!data_) capacity_ = 0;
        }
        return data_;
    }

  private:
    static constexpr std::size_t line = 16;  // floats in a cache line
    float* data_ = nullptr;
    std::size_t capacity_ = 0;
};

#endif
