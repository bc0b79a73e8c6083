#include <pelta/numeric.h>

#include <locale.h>

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

enum class Kind : unsigned char { inNumber, delimiter, end };

/* Kept on purpose: the minus sign parts numbers as well, so that 5-3 is a list of two. The last bytes are U+FFFD in UTF-8, which
 * stands where a text lost a character. */
constexpr unsigned char delimiters[] = " \r\n\t!@#$%^&*()_+-={}|\\:'?,<>?\xEF\xBF\xBD?";

constexpr std::array<Kind, 256> kinds = [] {
    std::array<Kind, 256> table{};
    for (unsigned char delimiter : delimiters) table[delimiter] = Kind::delimiter;
    table[0] = Kind::end;
    return table;
}();

Kind kindOf(char character) { return kinds[static_cast<unsigned char>(character)]; }

/* Ends the number that reaches up to here as strtok does, by a null byte in place of the delimiter. The place behind. */
char* endNumber(char* end) {
    if (kindOf(*end) == Kind::end) return end;
    *end = '\0';
    return end + 1;
}

/* Ends the number that starts here and gives it to the C library. */
template <class Value, class Convert>
Value convertWhole(char*& text, Convert convert) {
    char *const number = text, *end = text;
    while (kindOf(*end) == Kind::inNumber) ++end;
    text = endNumber(end);
    return static_cast<Value>(convert(number));
}

void takeNumber(char*& text, int& value) {
    value = convertWhole<int>(text, [](const char* number) { return std::strtol(number, nullptr, 10); });
}

/* A decimal point is a full stop here, also where the program's locale has a comma. */
float convertPlainly(const char* number) {
    static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);  // needs no memory for this name
    return strtof_l(number, nullptr, plain);
}

/* Adds decimal digits to a whole number, which wraps round if there are too many. */
char* addDigits(char* text, std::uint64_t& number) {
    for (; *text >= '0' && *text <= '9'; ++text) number = 10 * number + static_cast<unsigned>(*text - '0');
    return text;
}

/* Digits with or without a full stop between them are a whole number over a power of ten. While both are exact in double, the
 * quotient is rounded once, and rounding it again to a float gives the nearest float, unless the quotient lies in the middle
 * between two: there the first rounding may have moved it. That, and whatever else is no such number, goes to the C library. */
void takeNumber(char*& text, float& value) {
    constexpr double powersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8, 1e9,
                                      1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18};
    constexpr std::ptrdiff_t longest = 19; /* characters; as many digits fit into 64 bits */
    constexpr std::uint64_t largest = std::uint64_t{1} << 53, belowFloat = (std::uint64_t{1} << 29) - 1,
                            middle = belowFloat / 2 + 1;

    std::uint64_t digits = 0;
    char* end = addDigits(text, digits);
    std::ptrdiff_t decimals = 0;
    if (*end == '.') {
        char* const fraction = end + 1;
        end = addDigits(fraction, digits);
        decimals = end - fraction;
    }
    if (kindOf(*end) != Kind::inNumber && end - text <= longest && digits <= largest) {
        const double quotient = static_cast<double>(static_cast<std::int64_t>(digits)) / powersOfTen[decimals];
        if ((std::bit_cast<std::uint64_t>(quotient) & belowFloat) != middle) {
            value = static_cast<float>(quotient);
            text = endNumber(end);
            return;
        }
    }
    value = convertWhole<float>(text, convertPlainly);
}

/* Takes the numbers of a text one after another, while store(value) agrees. */
template <class Value, class Store>
void takeNumbers(char* text, Store store) {
    for (;;) {
        while (kindOf(*text) == Kind::delimiter) ++text;
        if (kindOf(*text) == Kind::end) return;
        Value value;
        takeNumber(text, value);
        if (!store(value)) return;
    }
}

/* The caller's allocation while values are added to it. It grows in steps, and by single values where memory is so short that a
 * step cannot be had. */
template <class Value>
class GrowingArray {
  public:
    explicit GrowingArray(Value** array) : array_(array) {}

    bool append(Value value) {
        if (count_ == capacity_ && !grow()) return false;
        (*array_)[count_++] = value;
        return true;
    }

    /* Fits the allocation to the values; their count. */
    int finish() {
        if (count_ < capacity_) resize(count_);
        return static_cast<int>(count_);
    }

  private:
    static constexpr std::size_t firstStep = 64, mostValues = INT_MAX;

    bool grow() { return count_ < mostValues && (resize(std::clamp(2 * count_, firstStep, mostValues)) || resize(count_ + 1)); }

    bool resize(std::size_t capacity) {
        void* const resized =
            capacity <= PTRDIFF_MAX / sizeof(Value) ? std::realloc(*array_, capacity * sizeof(Value)) : nullptr;
        if (!resized) return false;
        *array_ = static_cast<Value*>(resized);
        capacity_ = capacity;
        return true;
    }

    Value** array_;
    std::size_t count_ = 0, capacity_ = 0;
};

template <class Value>
void parseList(char* text, Value** array, int* count) {
    GrowingArray<Value> values(array);
    if (text) takeNumbers<Value>(text, [&](Value value) { return values.append(value); });
    *count = values.finish();
}

/* Kept on purpose: an empty group takes all that follows but the last character. */
std::size_t lengthOfGroup(const char* text, std::size_t position, std::size_t length) {
    const std::size_t upToSlash = std::strcspn(text + position, "/");
    return upToSlash > 0 ? upToSlash : length - position - 1;
}

/* Values and counts of the groups of a text, which is changed. Kept on purpose: a last group of one character is not read. */
int parseGroups(char* text, std::size_t length, float* values, int* counts) {
    int groupCount = 0;
    for (std::size_t position = 0; position + 1 < length;) {
        char* const group = text + position;
        const std::size_t groupLength = lengthOfGroup(text, position, length);
        group[groupLength] = '\0';
        float* const first = values;
        takeNumbers<float>(group, [&](float value) {
            *values++ = value;
            return true;
        });
        counts[groupCount++] = static_cast<int>(values - first);
        position += groupLength + 1;
    }
    return groupCount;
}

}

void peltaParseInt(char* cstring, int** ival, int* num) { parseList(cstring, ival, num); }

void peltaParseFloat(char* cstring, float** fval, int* num) { parseList(cstring, fval, num); }

void peltaParseFloat2(char* cstring, float** fval, int** num, int* n) {
    *n = 0;
    const std::size_t length = cstring ? std::strlen(cstring) : 0;
    if (length < 2 || !*fval || !*num) return;
    const auto copy = static_cast<char*>(std::malloc(length + 1));
    if (!copy) return;
    std::memcpy(copy, cstring, length + 1);
    *n = parseGroups(copy, length, *fval, *num);
    std::free(copy);
}
