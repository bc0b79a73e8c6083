#include "picks/picktable.h"

namespace pelta {
namespace {

const TraceTableKind picks = {
    .what = "table of picks",
    .columns = {{"pick_ms", 1.0}, {"first_break_ms", 1.0}, {"time_ms", 1.0}, {"time_s", 1000.0}},
    .takesLastOfSeveral = true,
};

}

PickTable::PickTable(const std::string& fileName) : _table(fileName, picks) {}

}
