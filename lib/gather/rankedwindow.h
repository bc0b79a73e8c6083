#ifndef PELTA_LIB_GATHER_RANKEDWINDOW_H
#define PELTA_LIB_GATHER_RANKEDWINDOW_H

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "vectorize.h"

/* A sorted window of values, known by their ranks among all the values that may enter it. Instead of a list it keeps how often
 * each rank is held and a bit for each rank that is, so that a slide costs the same whatever the length of the window: entries
 * are found by looking for the next bit. One place of the window is followed, its entry changing by a step or none a slide. */
class RankedWindow {
  public:
    /* Bytes of the bits for so many ranks: eight more on either side are read, but hold none. */
    static constexpr std::int64_t bitBytes(std::int64_t rankCount) { return rankCount / 8 + 1 + 2 * margin; }

    /* Room for rankCount counts and for bitBytes(rankCount) bytes. Starts with entryCount ranks. */
    RankedWindow(int rankCount, int* counts, unsigned char* bits, const int* ranks, int entryCount)
        : rankCount_(rankCount), counts_(counts), bits_(bits + margin) {
        std::fill_n(counts, rankCount, 0);
        std::fill_n(bits, bitBytes(rankCount), static_cast<unsigned char>(0));
        for (int k = 0; k < entryCount; ++k) insert(ranks[k]);
        findSmallest(0);
        followed_ = smallest_;
    }

    /* Moves on to the entry at a place of the window, from 0, and returns its rank. A step is taken by masks instead of branches,
     * since whether there is one, and where to, cannot be predicted. */
    PELTA_INLINE int follow(int place) {
        do {
            const std::uint64_t above = bitsAbove(bits_, followed_), below = bitsBelow(bits_, followed_);
            const int held = counts_[followed_];
            const int rises = -(before_ + held <= place), falls = -(before_ > place);
            if (((rises & (above == 0)) | (falls & (below == 0))) != 0) [[unlikely]] {
                followed_ = rises ? next(bits_, rankCount_, followed_) : previous(bits_, followed_);
            } else {
                const int up = 1 + __builtin_ctzll(above | topBit), down = 1 + __builtin_clzll(below | 1);
                followed_ += (up & rises) - (down & falls);
            }
            before_ += (held & rises) - (counts_[followed_] & falls);
        } while ((before_ > place) | (before_ + counts_[followed_] <= place));
        return followed_;
    }

    /* Rank of the entry one place before the followed one, at a place from 1. */
    PELTA_INLINE int oneBefore(int place) const {
        if (before_ < place) return followed_;
        const std::uint64_t below = bitsBelow(bits_, followed_);
        return below != 0 ? followed_ - 1 - __builtin_clzll(below) : previous(bits_, followed_);
    }

    /* One value goes and one comes. Where the outgoing rank is not held (see below), the entry below it goes, or without such
     * the smallest. */
    PELTA_INLINE void slide(int outgoing, int incoming) {
        const int leaving = counts_[outgoing] > 0 ? outgoing : heldBelow(outgoing);
        // Kept on purpose: what comes in between the two smallest replaces the first, and the second is held once more in place
        // of the entry that goes.
        const bool isInLowestGap = (incoming >= smallest_) & (incoming < second_) & (outgoing >= second_);
        if (isInLowestGap) [[unlikely]] {
            exchange(smallest_, incoming);
            exchange(leaving, second_);
        } else {
            exchange(leaving, incoming);
        }
        if ((leaving <= second_) | (incoming < second_)) [[unlikely]]
            findSmallest(std::min(smallest_, incoming));
    }

  private:
    static constexpr int margin = 8;
    static constexpr std::uint64_t topBit = std::uint64_t{1} << 63;

    static PELTA_INLINE std::uint64_t bitsFrom(const unsigned char* bits, int byte) {
        std::uint64_t word;
        std::memcpy(&word, bits + byte, sizeof word);
        return word;
    }

    /* At least 57 ranks above, the nearest in the lowest bit; and as many below, the nearest in the highest bit. */
    static PELTA_INLINE std::uint64_t bitsAbove(const unsigned char* bits, int rank) {
        return bitsFrom(bits, (rank + 1) >> 3) >> ((rank + 1) & 7);
    }
    static PELTA_INLINE std::uint64_t bitsBelow(const unsigned char* bits, int rank) {
        return bitsFrom(bits, (rank >> 3) - 7) << (8 - (rank & 7));
    }

    /* The next rank held, rankCount when there is none. Static, as is the one below, and not inlined, so that the loop over the
     * slides keeps the window's state in registers. */
    static __attribute__((noinline)) int next(const unsigned char* bits, int rankCount, int rank) {
        if (const std::uint64_t above = bitsAbove(bits, rank)) return rank + 1 + __builtin_ctzll(above);
        for (int byte = ((rank + 1) >> 3) + 8; 8 * byte < rankCount; byte += 8)
            if (const std::uint64_t word = bitsFrom(bits, byte)) return 8 * byte + __builtin_ctzll(word);
        return rankCount;
    }

    /* The rank held before, -1 when there is none. */
    static __attribute__((noinline)) int previous(const unsigned char* bits, int rank) {
        if (const std::uint64_t below = bitsBelow(bits, rank)) return rank - 1 - __builtin_clzll(below);
        for (int byte = (rank >> 3) - 15; byte > -8; byte -= 8)
            if (const std::uint64_t word = bitsFrom(bits, byte)) return 8 * byte + 63 - __builtin_clzll(word);
        return -1;
    }

    PELTA_INLINE int heldBelow(int rank) const {
        const int below = previous(bits_, rank);
        return below < 0 ? smallest_ : below;
    }

    PELTA_INLINE void findSmallest(int atLeast) {
        smallest_ = next(bits_, rankCount_, atLeast - 1);
        second_ = counts_[smallest_] > 1 ? smallest_ : next(bits_, rankCount_, smallest_);
    }

    PELTA_INLINE void insert(int rank) {
        ++counts_[rank];
        bits_[rank >> 3] |= static_cast<unsigned char>(1u << (rank & 7));
    }

    PELTA_INLINE void remove(int rank) {
        const unsigned isLast = --counts_[rank] == 0;
        bits_[rank >> 3] &= static_cast<unsigned char>(~(isLast << (rank & 7)));
    }

    PELTA_INLINE void exchange(int leaving, int entering) {
        remove(leaving);
        insert(entering);
        before_ += (entering < followed_) - (leaving < followed_);
    }

    int rankCount_;
    int* counts_;
    unsigned char* bits_;
    int smallest_ = 0, second_ = 0; /* ranks of the first two entries */
    int followed_ = 0, before_ = 0; /* the rank that is followed, and how many entries have a smaller one */
};

#endif
