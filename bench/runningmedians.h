#ifndef PELTA_BENCH_RUNNINGMEDIANS_H
#define PELTA_BENCH_RUNNINGMEDIANS_H

#include <algorithm>
#include <cstdlib>
#include <vector>

/* Running medians as one writes them without the gain control: its peers. start(amplitudes) takes the first window, slide(incoming)
 * the next one. */

/* Running median by two heaps that know where each sample of the window stands (an indexed heap below the median, another above
 * it): a slide replaces one value in place and lets it rise or sink. */
class TwoHeapMedian {
  public:
    explicit TwoHeapMedian(int window) : half_(window / 2), values_(window), place_(window), heap_(2 * (window / 2) + 1) {}

    /* Windows are odd; the first is taken from amplitudes[0 .. window-1]. */
    void start(const float* amplitudes) {
        const int window = static_cast<int>(values_.size());
        std::vector<int> order(window);
        for (int i = 0; i < window; ++i) order[i] = i;
        std::copy_n(amplitudes, window, values_.begin());
        std::sort(order.begin(), order.end(), [&](int a, int b) { return values_[a] < values_[b]; });
        // Places run from -half to half: the median stands at 0, the next below it at -1, the next above at 1.
        for (int k = 0; k < window; ++k) put(k - half_, order[k]);
        oldest_ = 0;
    }

    float median() const { return values_[at(0)]; }

    void slide(float incoming) {
        const int slot = oldest_;
        oldest_ = oldest_ + 1 == static_cast<int>(values_.size()) ? 0 : oldest_ + 1;
        values_[slot] = incoming;
        const int before = place_[slot], side = before < 0 ? -1 : 1;
        const int after = rise(before, side);
        if (after != 0) return sink(after, side);
        settle(1);
        settle(-1);
    }

  private:
    int at(int k) const { return heap_[k + half_]; }
    void put(int k, int slot) {
        heap_[k + half_] = slot;
        place_[slot] = k;
    }
    float value(int k) const { return values_[at(k)]; }
    /* True where the value at a belongs nearer to the median than that at b, on the side given. */
    bool isNearer(int a, int b, int side) const { return side > 0 ? value(a) < value(b) : value(a) > value(b); }
    void exchange(int a, int b) {
        const int slot = at(a);
        put(a, at(b));
        put(b, slot);
    }
    int rise(int k, int side) {
        while (k != 0 && isNearer(k, k / 2, side)) exchange(k, k / 2), k /= 2;
        return k;
    }
    void sink(int k, int side) {
        for (int child = 2 * k; std::abs(child) <= half_; child = 2 * k) {
            if (std::abs(child + side) <= half_ && isNearer(child + side, child, side)) child += side;
            if (!isNearer(child, k, side)) return;
            exchange(child, k);
            k = child;
        }
    }
    /* Lets the median and the head of one heap change places where they have to. */
    void settle(int side) {
        if (half_ == 0 || !isNearer(side, 0, side)) return;
        exchange(side, 0);
        sink(side, side);
    }

    int half_, oldest_ = 0;
    std::vector<float> values_;
    std::vector<int> place_, heap_;
};

/* The sorted window kept as a list: two binary searches and one move of memory a slide. */
class SortedWindowMedian {
  public:
    explicit SortedWindowMedian(int window) : sorted_(window) {}

    void start(const float* amplitudes) {
        first_ = amplitudes;
        std::copy_n(amplitudes, sorted_.size(), sorted_.begin());
        std::sort(sorted_.begin(), sorted_.end());
    }

    float median() const { return sorted_[sorted_.size() / 2]; }

    void slide(float incoming) {
        const auto out = std::lower_bound(sorted_.begin(), sorted_.end(), *first_++);
        const auto in = std::lower_bound(sorted_.begin(), sorted_.end(), incoming);
        if (out < in) *std::copy(out + 1, in, out) = incoming;
        else *(std::copy_backward(in, out, out + 1) - 1) = incoming;
    }

  private:
    const float* first_ = nullptr;
    std::vector<float> sorted_;
};

#endif
