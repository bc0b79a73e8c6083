#include <benchmark/benchmark.h>
#include <pelta/numeric.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "figures.h"
#include "support/signals.h"

/* A typed list of numbers, an outline around scattered points, a small table. */

namespace {

constexpr int numberCount = 1000;
constexpr int vertexCount = 100;
constexpr int pointCount = 10000;
constexpr int tableLength = 8;

/* Coordinates in metres with two decimals, a blank behind each. */
const std::string typedNumbers = [] {
    std::string text;
    char number[32];
    for (float amplitude : randomTrace(numberCount, 1)) {
        std::snprintf(number, sizeof number, "%.2f ", static_cast<double>(5000.0f * (amplitude + 1.0f)));
        text += number;
    }
    return text;
}();

/* Parsing changes its text: every turn takes a fresh copy. */
char* freshText() {
    static std::vector<char> text(typedNumbers.size() + 1);
    std::memcpy(text.data(), typedNumbers.c_str(), text.size());
    return text.data();
}

float toFloat(const char* token) { return std::strtof(token, nullptr); }
int toInteger(const char* token) { return static_cast<int>(std::strtol(token, nullptr, 10)); }

template <class Value>
std::vector<Value> parsedList(void (*parse)(char*, Value**, int*)) {
    Value* values = nullptr;
    int count = 0;
    parse(freshText(), &values, &count);
    std::vector<Value> list(values, values + count);
    std::free(values);
    return list;
}

template <class Value>
std::vector<Value> tokenizedList(Value (*convert)(const char*)) {
    std::vector<Value> list;
    char* state = nullptr;
    for (char* token = strtok_r(freshText(), " ,\t\r\n", &state); token; token = strtok_r(nullptr, " ,\t\r\n", &state))
        list.push_back(convert(token));
    return list;
}

std::vector<float> peltaFloats() { return parsedList(peltaParseFloat); }
std::vector<float> tokenizedFloats() { return tokenizedList(toFloat); }

/* The same digits as whole numbers: the full stop ends a number for neither, and what follows it is ignored. */
std::vector<int> peltaIntegers() { return parsedList(peltaParseInt); }
std::vector<int> tokenizedIntegers() { return tokenizedList(toInteger); }

std::vector<float> fromCharsList() {
    std::vector<float> list;
    const char* text = freshText();
    const char* const end = text + typedNumbers.size();
    while (text < end) {
        float value = 0.0f;
        text = std::from_chars(text, end, value).ptr;
        list.push_back(value);
        while (text < end && *text == ' ') ++text;
    }
    return list;
}

/* One group of all the numbers. */
std::vector<float> peltaGroups() {
    std::vector<float> values(numberCount);
    float* start = values.data();
    int counts[1], *countsStart = counts, groups = 0;
    peltaParseFloat2(freshText(), &start, &countsStart, &groups);
    values.resize(groups == 1 ? counts[0] : 0);
    return values;
}

template <class List>
void addList(const std::string& routine, const std::string& who, List list) {
    addFigure(routine + "|" + who + "|1000 numbers", [=](benchmark::State& state) {
        for (auto _ : state) benchmark::DoNotOptimize(list().data());
        state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(typedNumbers.size()));
    });
}

/* The outline of a survey, with bays; its last vertex repeats the first. Points lie all over the square about it. */
struct Outline {
    std::vector<float> x, y, pointX, pointY;
};

const Outline outline = [] {
    Outline made;
    const std::vector<float> bays = randomTrace(vertexCount, 2);
    for (int k = 0; k <= vertexCount; ++k) {
        const double angle = 2 * M_PI * (k % vertexCount) / vertexCount, radius = 800 + 200 * bays[k % vertexCount];
        made.x.push_back(static_cast<float>(radius * std::cos(angle)));
        made.y.push_back(static_cast<float>(radius * std::sin(angle)));
    }
    made.pointX = randomTrace(pointCount, 3, 1000.0f);
    made.pointY = randomTrace(pointCount, 4, 1000.0f);
    return made;
}();

using Inside = int (*)(int, float*, float*, float, float);

int plainCrossings(int count, float* vertexX, float* vertexY, float x, float y) {
    bool isInside = false;
    for (int i = 0, j = count - 1; i < count; j = i++)
        if ((vertexY[i] > y) != (vertexY[j] > y) &&
            x < (vertexX[j] - vertexX[i]) * (y - vertexY[i]) / (vertexY[j] - vertexY[i]) + vertexX[i])
            isInside = !isInside;
    return isInside;
}

int pointsInside(Inside inside, int count) {
    Outline& outlined = const_cast<Outline&>(outline);
    int sum = 0;
    for (int k = 0; k < pointCount; ++k)
        sum += inside(count, outlined.x.data(), outlined.y.data(), outlined.pointX[k], outlined.pointY[k]) != 0;
    return sum;
}

void addPolygon(const std::string& routine, const std::string& who, Inside inside, int count) {
    addFigure(routine + "|" + who + "|100 vertices, 10000 points", [=](benchmark::State& state) {
        for (auto _ : state) benchmark::DoNotOptimize(pointsInside(inside, count));
        state.SetItemsProcessed(state.iterations() * pointCount * vertexCount);
    });
}

/* Velocities at depths, read between the entries. */
struct Table {
    std::vector<float> depth, velocity, wanted;
};

const Table table = [] {
    Table made{{0}, {0}, {}};
    for (int k = 0; k < tableLength; ++k) {
        made.depth.push_back(static_cast<float>(k) + 0.125f * static_cast<float>(k % 3));
        made.velocity.push_back(6.0f - 4.0f / (1.0f + 0.5f * made.depth.back()));
    }
    for (float place : randomTrace(64, 5)) made.wanted.push_back(3.5f + 3.4f * place);
    return made;
}();

using Interpolation = decltype(&polint);

float interpolated(Interpolation interpolate, float depth) {
    Table& entries = const_cast<Table&>(table);
    float value, error, c[tableLength + 1], d[tableLength + 1];
    interpolate(entries.depth.data(), entries.velocity.data(), tableLength, depth, &value, &error, c, d);
    return value;
}

void addInterpolation(const std::string& routine, Interpolation interpolate) {
    addFigure(routine + "|pelta|8 points", [=](benchmark::State& state) {
        std::size_t k = 0;
        for (auto _ : state) {
            benchmark::DoNotOptimize(interpolated(interpolate, table.wanted[k]));
            k = (k + 1) % table.wanted.size();
        }
    });
}

void checkAnswers() {
    const std::vector<float> list = peltaFloats();
    bool same = list.size() == numberCount && list == tokenizedFloats() && list == fromCharsList() && list == peltaGroups() &&
                peltaIntegers() == tokenizedIntegers();
    const int inside = pointsInside(plainCrossings, vertexCount);
    same = same && inside > pointCount / 3 && pointsInside(peltaPnPolygon, vertexCount) == inside &&
           pointsInside(peltaPnPolygon1, vertexCount + 1) == inside && pointsInside(peltaPnPolygon2, vertexCount + 1) == inside;
    for (float depth : table.wanted) {
        const float velocity = 6.0f - 4.0f / (1.0f + 0.5f * depth);
        same = same && std::fabs(interpolated(polint, depth) - velocity) < 0.02f &&
               std::fabs(interpolated(ratint, depth) - velocity) < 1e-4f;
    }
    require(same, "pelta and its peers disagree");
}

const bool registered = [] {
    checkAnswers();
    addList("peltaParseFloat", "pelta", peltaFloats);
    addList("peltaParseFloat", "strtok_r and strtof", tokenizedFloats);
    addList("peltaParseFloat", "std::from_chars", fromCharsList);
    addList("peltaParseFloat2", "pelta", peltaGroups);
    addList("peltaParseFloat2", "strtok_r and strtof", tokenizedFloats);
    addList("peltaParseInt", "pelta", peltaIntegers);
    addList("peltaParseInt", "strtok_r and strtol", tokenizedIntegers);
    addPolygon("peltaPnPolygon", "pelta", peltaPnPolygon, vertexCount);
    addPolygon("peltaPnPolygon", "plain loop", plainCrossings, vertexCount);
    addPolygon("peltaPnPolygon2", "pelta", peltaPnPolygon2, vertexCount + 1);
    addPolygon("peltaPnPolygon1", "pelta", peltaPnPolygon1, vertexCount + 1);
    addInterpolation("polint", polint);
    addInterpolation("ratint", ratint);
    return true;
}();

}
