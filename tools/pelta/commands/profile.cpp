#include "commands/profile.h"

#include <fmt/format.h>

#include <algorithm>

#include "support/failure.h"

namespace pelta {

void sayProfile(const RunSummary& summary, const std::vector<FlowStep>& steps, const std::array<std::string, 2>& lastStages) {
    std::vector<std::string> names = {"read", "decode"};
    for (const FlowStep& step : steps) names.push_back(step.kind->name);
    names.insert(names.end(), lastStages.begin(), lastStages.end());
    double total = 0.0;
    for (double seconds : summary.secondsPerStage) total += seconds;
    for (std::size_t stage = 0; stage < names.size(); ++stage) {
        const double seconds = summary.secondsPerStage[stage];
        tell(fmt::format("{:>12} {:9.3f} s {:5.1f} % {:9.2f} us a trace\n", names[stage], seconds, 100.0 * seconds / total,
                         1e6 * seconds / static_cast<double>(std::max<std::int64_t>(summary.traces, 1))));
    }
}

}
