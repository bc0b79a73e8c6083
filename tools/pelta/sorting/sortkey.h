#ifndef PELTA_TOOL_SORTING_SORTKEY_H
#define PELTA_TOOL_SORTING_SORTKEY_H

#include <array>
#include <compare>
#include <cstdint>
#include <string>
#include <vector>

#include "segy/headerwords.h"

namespace pelta::sorting {

inline constexpr std::size_t mostFields = 3;

/* A header word to sort by. */
struct Field {
    std::string name;
    segy::HeaderWord word;
    bool isDescending = false;
};

/* One to three different fields by their names, or places as "37:4", the first one counting most; descending names those of
 * them whose large values come first. Fails (UsageError) on anything else. */
std::vector<Field> findFields(const segy::HeaderMap& words, const std::vector<std::string>& names,
                              const std::vector<std::string>& descending);

/* What stands for a trace while it is sorted: its fields' values, and its place in the input, by which equal ones keep their
 * order. */
struct Key {
    std::array<std::int64_t, mostFields> values = {};
    std::int64_t place = 0;
    auto operator<=>(const Key&) const = default;
};

class KeyMaker {
  public:
    KeyMaker(std::vector<Field> fields, segy::ByteOrder order) : _fields(std::move(fields)), _order(order) {}
    /* Of a trace by its header of 240 bytes. */
    Key make(const unsigned char* header, std::int64_t place);
    const std::vector<Field>& fields() const { return _fields; }
    /* Whether a field was 0 in every trace so far. */
    bool isEmpty(std::size_t field) const { return _bits[field] == 0; }

  private:
    std::vector<Field> _fields;
    segy::ByteOrder _order;
    std::array<std::int64_t, mostFields> _bits = {}; /* that were set in any trace */
};

}

#endif
