#include "refraction/picture.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace pelta::refraction {
namespace {

using namespace pictures;

constexpr std::size_t mostRecords = 12;
constexpr double recordsShare = 0.68; /* of the height */

/* The kinds of series, as the legend names them. */
Series fittedPicks() { return {.name = "picks of the refracted wave", .color = blue, .mark = Mark::dot}; }
Series rejectedPicks() { return {.name = "rejected", .color = vermilion, .mark = Mark::cross}; }
Series otherPicks() { return {.name = "outside the window", .color = gray, .mark = Mark::ring}; }
Series robustLine() { return {.name = "robust fit", .color = black, .stroke = Stroke::solid}; }
Series leastSquaresLine() { return {.name = "least squares", .color = vermilion, .stroke = Stroke::dashed}; }
Series directLine() { return {.name = "direct wave", .color = green, .stroke = Stroke::solid}; }

/* A record's branches: one or two neighbours of the list. */
using Branches = std::vector<const Branch*>;

std::vector<Branches> byRecord(const std::vector<Branch>& branches) {
    std::vector<Branches> records;
    for (const Branch& branch : branches) {
        if (records.empty() || records.back().front()->record != branch.record) records.emplace_back();
        records.back().push_back(&branch);
    }
    return records;
}

/* At most so many of them, evenly chosen. */
std::vector<Branches> thinned(const std::vector<Branches>& records) {
    if (records.size() <= mostRecords) return records;
    std::vector<Branches> chosen;
    for (std::size_t k = 0; k < mostRecords; ++k) chosen.push_back(records[k * (records.size() - 1) / (mostRecords - 1)]);
    return chosen;
}

void add(Series& series, double x, double y) {
    series.x.push_back(x);
    series.y.push_back(y);
}

void addLine(Series& series, double sign, const Line& line, double farthest) {
    for (double distance : {0.0, farthest}) add(series, sign * distance, line.timeMs(distance));
    add(series, NAN, NAN); /* lifts the pen */
}

/* Everything in the graph of a record. */
struct RecordSeries {
    Series fitted = fittedPicks(), rejected = rejectedPicks(), other = otherPicks();
    Series robust = robustLine(), leastSquares = leastSquaresLine(), direct = directLine();

    void addPicks(const Branch& branch) {
        for (const FittedPick& pick : branch.picks) {
            const bool isUsed = pick.isRefracted && branch.fit;
            add(!isUsed ? other : pick.weight == 0.0 ? rejected : fitted, pick.arrival.offset, pick.arrival.timeMs);
        }
    }
    void addLines(const Branch& branch, const Settings& settings) {
        const double sign = branch.isPositive ? 1.0 : -1.0;
        double farthest = 0.0;
        for (const FittedPick& pick : branch.picks)
            if (pick.isRefracted) farthest = pick.distance;
        if (branch.fit) {
            addLine(robust, sign, branch.fit->robust, farthest);
            addLine(leastSquares, sign, branch.fit->leastSquares, farthest);
        }
        if (branch.directVelocity)
            addLine(direct, sign, {*branch.directVelocity, 0.0, 0.0},
                    std::min(settings.direct->to, branch.picks.back().distance));
    }
    /* Without names: those stand over all graphs. What is seen best comes last. */
    std::vector<Series> inOrder() const {
        std::vector<Series> list = {direct, leastSquares, robust, other, fitted, rejected};
        for (Series& series : list) series.name.clear();
        return list;
    }
};

/* "record 3: 2200 m/s, 81.1 ms; 2180 m/s, 80.3 ms" */
std::string titleOf(const Branches& branches) {
    std::string title = fmt::format("record {}", branches.front()->record);
    const char* separator = ":";
    for (const Branch* branch : branches) {
        if (!branch->fit) continue;
        title +=
            fmt::format("{} {:.0f} m/s, {:.1f} ms", separator, branch->fit->robust.velocity, branch->fit->robust.interceptMs);
        separator = ";";
    }
    return title;
}

Graph graphOf(const Branches& branches, const Settings& settings) {
    RecordSeries record;
    for (const Branch* branch : branches) {
        record.addPicks(*branch);
        record.addLines(*branch, settings);
    }
    Graph graph;
    graph.title = titleOf(branches);
    graph.xTitle = "offset, m";
    graph.yTitle = "time, ms";
    graph.growsDown = true;
    graph.series = record.inOrder();
    return graph;
}

/* A result of all records, with its errors; a series for each side. */
template <class Value, class Error>
Graph overview(const std::vector<Branch>& branches, const char* title, Value value, Error error) {
    Series positive = {.name = "receivers on the positive side", .color = blue, .mark = Mark::dot};
    Series negative = {.name = "on the negative side", .color = purple, .mark = Mark::ring};
    for (const Branch& branch : branches) {
        if (!branch.fit) continue;
        Series& series = branch.isPositive ? positive : negative;
        add(series, static_cast<double>(branch.record), value(*branch.fit));
        series.errors.push_back(error(*branch.fit));
    }
    Graph graph;
    graph.xTitle = "record";
    graph.yTitle = title;
    for (const Series& series : {positive, negative})
        if (!series.x.empty()) graph.series.push_back(series);
    return graph;
}

/* The residuals of all records; what lies far away stands at the edge. */
Graph residualGraph(const std::vector<Branch>& branches) {
    constexpr double edgeInRms = 6.0, leastEdgeMs = 0.1;
    std::vector<double> rms;
    for (const Branch& branch : branches)
        if (branch.fit) rms.push_back(branch.fit->rmsMs);
    const double edge = std::max(edgeInRms * median(rms), leastEdgeMs);
    Series fitted = fittedPicks(), rejected = rejectedPicks();
    for (const Branch& branch : branches)
        for (const FittedPick& pick : branch.picks)
            if (branch.fit && pick.isRefracted)
                add(pick.weight == 0.0 ? rejected : fitted, pick.arrival.offset, std::clamp(pick.residualMs, -edge, edge));
    Graph graph;
    graph.xTitle = "offset, m";
    graph.yTitle = "residual, ms";
    graph.yRange = Range{-1.08 * edge, 1.08 * edge};
    graph.series = {fitted, rejected};
    return graph;
}

}

void drawBranches(Canvas& canvas, const std::string& title, const std::vector<Branch>& branches, const Settings& settings) {
    const std::vector<Branches> all = byRecord(branches), shown = thinned(all);
    const std::string many =
        shown.size() < all.size() ? fmt::format(": {} of {} records, and the results of all", shown.size(), all.size()) : "";
    drawHeading(canvas, title + many,
                {fittedPicks(), rejectedPicks(), otherPicks(), robustLine(), leastSquaresLine(), directLine()});
    const Box room = roomForGraphs(canvas);
    const Box above = {room.left, room.top, room.width, recordsShare * room.height};
    const Box below = {room.left, above.bottom(), room.width, room.height - above.height};
    const int count = static_cast<int>(shown.size());
    const int rows = count <= 3 ? 1 : count <= 8 ? 2 : 3, columns = (count + rows - 1) / rows;
    for (int k = 0; k < count; ++k)
        drawGraph(canvas, tile(above, columns, rows, k % columns, k / columns),
                  graphOf(shown[static_cast<std::size_t>(k)], settings));
    const auto velocity = [](const Fit& fit) { return fit.robust.velocity; };
    const auto velocityError = [](const Fit& fit) { return fit.velocityError; };
    const auto intercept = [](const Fit& fit) { return fit.robust.interceptMs; };
    const auto interceptError = [](const Fit& fit) { return fit.interceptErrorMs; };
    drawGraph(canvas, tile(below, 3, 1, 0, 0), overview(branches, "velocity, m/s", velocity, velocityError));
    drawGraph(canvas, tile(below, 3, 1, 1, 0), overview(branches, "intercept, ms", intercept, interceptError));
    drawGraph(canvas, tile(below, 3, 1, 2, 0), residualGraph(branches));
}

}
