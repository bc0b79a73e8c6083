#ifndef PELTA_LIB_ACCOUNTING_FIELDREADER_H
#define PELTA_LIB_ACCOUNTING_FIELDREADER_H

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <charconv>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <string_view>

/* Which of 64 bytes are blanks " ", a bit each. False where there are others that might be blanks, or the end of the text:
 * control characters and what is not ASCII. */
inline bool findBlanks(const char* bytes, std::uint64_t& blanks) {
    const __m128i blank = _mm_set1_epi8(' ');
    __m128i others = _mm_setzero_si128();
    blanks = 0;
    for (int first = 0; first < 64; first += 16) {
        const __m128i text = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + first));
        others = _mm_or_si128(others, _mm_cmplt_epi8(text, blank));
        blanks |= std::uint64_t{static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(text, blank)))} << first;
    }
    return _mm_movemask_epi8(others) == 0;
}

/* Takes a record's fields one after another as scanf would by "%24s" and "%ld", without its price. A zero byte ends the record:
 * no field passes over it. */
class FieldReader {
  public:
    static constexpr std::size_t longestName = 24;

    explicit FieldReader(std::string_view record) : at_(record.data()), end_(at_ + record.size()) {}

    /* The next name; empty when the record has no more. What goes beyond the longest name is left for the next field. */
    std::string_view name() {
        skipBlanks();
        const char* const first = at_;
        const char* const last = first + std::min<std::ptrdiff_t>(end_ - first, longestName);
        while (at_ != last && *at_ != '\0' && !isBlank(*at_)) ++at_;
        return {first, static_cast<std::size_t>(at_ - first)};
    }

    /* The next four names. */
    void names(std::array<std::string_view, 4>& result) {
        if (plainNames(result)) return;
        for (std::string_view& each : result) each = name();
    }

    /* False when there is no number next. Numbers beyond the range of a long saturate, as scanf's do. */
    template <class Number>
    bool number(Number& result) {
        skipBlanks();
        if (end_ - at_ >= 2 && at_[0] == '+' && at_[1] != '-') ++at_;
        long value;
        const auto [behind, error] = std::from_chars(at_, end_, value);
        if (error == std::errc::invalid_argument) return false;
        if (error == std::errc::result_out_of_range) value = *at_ == '-' ? LONG_MIN : LONG_MAX;
        at_ = behind;
        result = static_cast<Number>(value);
        return true;
    }

  private:
    /* Printing ASCII is no blank in any locale; only the rest has to be looked up. */
    static bool isBlank(char byte) {
        const auto code = static_cast<unsigned char>(byte);
        return code == ' ' || ((code < '!' || code > '~') && std::isspace(code));
    }

    /* Four names as the ledger's own records have them, each with one blank behind; otherwise takes nothing. */
    bool plainNames(std::array<std::string_view, 4>& result) {
        std::uint64_t blanks;
        if (end_ - at_ < 64 || !findBlanks(at_, blanks)) return false;
        std::size_t first = 0;
        for (std::string_view& each : result) {
            const auto end = static_cast<std::size_t>(std::countr_zero(blanks));
            if (end == 64 || end == first || end - first > longestName) return false;
            each = {at_ + first, end - first};
            first = end + 1;
            blanks &= blanks - 1;
        }
        at_ += first;
        return true;
    }

    void skipBlanks() {
        while (at_ != end_ && isBlank(*at_)) ++at_;
    }

    const char* at_;
    const char* end_;
};

#endif
