#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "flow/linearfunction.h"
#include "gridding/pointtable.h"
#include "picks/picktable.h"
#include "support/failure.h"
#include "support/numberlist.h"
#include "velocity/field.h"
#include "velocity/functiontable.h"

/* The input is a text file, and every reader of tables gets it: velocity functions (which become a field), pairs, picks and
 * points. Each must take it or refuse it with a line of text, and hold nothing that it says it refuses. */

using namespace pelta;

namespace {

void require(bool isTrue) {
    if (!isTrue) __builtin_trap();
}

/* A file in memory, under a name. */
class MemoryFile {
  public:
    MemoryFile() : _descriptor(memfd_create("table", 0)), _name("/proc/self/fd/" + std::to_string(_descriptor)) {}
    ~MemoryFile() { close(_descriptor); }
    const std::string& hold(const std::uint8_t* data, std::size_t size) {
        require(ftruncate(_descriptor, 0) == 0 && pwrite(_descriptor, data, size, 0) == static_cast<ssize_t>(size));
        return _name;
    }

  private:
    int _descriptor;
    std::string _name;
};

template <class Read>
void readOrRefuse(const std::string& name, const Read& read) {
    const auto expectText = [&](const std::string& text) {
        require(text.starts_with(name + ":") && text.size() < 1000 + 10 * name.size());
    };
    try {
        read();
    } catch (const Failure& failure) { expectText(failure.what()); } catch (const UsageError& error) {
        expectText(error.what());
    }
}

void expectFunctions(const velocity::FunctionTable& table) {
    require(!table.functions.empty());
    for (const velocity::GivenFunction& function : table.functions) {
        require(function.holdsEverywhere() == table.holdsEverywhere() && function.line > 0);
        require(function.pairs.size() >= (function.holdsEverywhere() ? 1 : 2));
        require(!function.place || velocity::isCovered(*function.place));
        for (std::size_t k = 0; k < function.pairs.size(); ++k) {
            require(std::abs(function.pairs[k].first) <= 1e8 && function.pairs[k].second > 0 &&
                    function.pairs[k].second <= 1e6);
            require(k == 0 || function.pairs[k - 1].first < function.pairs[k].first);
        }
    }
}

/* Between and beyond its functions. */
void expectVelocities(velocity::Field& field) {
    float velocities[3] = {};
    for (const velocity::ControlPoint& point : field.points())
        for (double off : {0.0, 0.5, -1000.0}) {
            const velocity::Place place = {0.75 * point.place.x + off, point.place.y + off};
            field.functionAt(place, 0.0, 400.0, 3, velocities);
            for (float velocity : velocities) require(velocity > 0.0f && std::isfinite(velocity));
            field.regionOf(place);
        }
}

void readFunctions(const std::string& name) {
    const velocity::FunctionTable table = velocity::readFunctions(name);
    expectFunctions(table);
    constexpr std::size_t most = 100; /* the time of a mesh grows faster than its points */
    if (table.holdsEverywhere() || table.functions.size() > most) return;
    for (const auto by : {velocity::PlacedBy::coordinates, velocity::PlacedBy::cdp})
        readOrRefuse(name, [&] {
            velocity::Field field(velocity::placeFunctions(table, by, nullptr).points);
            try {
                expectVelocities(field);
            } catch (const Failure&) {} /* nothing to be had at a place */
        });
}

void expectPoints(const gridding::PointSet& set) {
    require(set.points.x.size() == set.points.z.size() && set.points.y.size() == set.points.z.size());
    for (std::size_t k = 0; k < set.points.z.size(); ++k)
        require(std::isfinite(set.points.x[k]) && std::isfinite(set.points.y[k]) &&
                std::isfinite(static_cast<float>(set.points.z[k])));
}

}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static MemoryFile file;
    const std::string name = file.hold(data, size);
    readOrRefuse(name, [&] { readFunctions(name); });
    readOrRefuse(name, [&] {
        for (const auto& [key, value] : readPairs(name, offsetAndTime)) require(std::isfinite(key) && std::isfinite(value));
    });
    readOrRefuse(name, [&] {
        const PickTable picks(name);
        const auto time = picks.timeMs(1, 3, 1);
        require(!time || std::isfinite(*time));
    });
    readOrRefuse(name, [&] { expectPoints(gridding::PointTable(name).read({})); });
    readOrRefuse(name, [&] { expectPoints(gridding::PointTable(name).read({"x", "y", "2"})); });
    wholeNumbersIn(std::string_view(reinterpret_cast<const char*>(data), size));
    return 0;
}
