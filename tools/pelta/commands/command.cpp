#include "commands/command.h"

#include <algorithm>

namespace pelta {
namespace {

std::vector<Command>& registered() {
    static std::vector<Command> list;
    return list;
}

}

const std::vector<Command>& commands() { return registered(); }

CommandRegistration::CommandRegistration(Command command) {
    auto& list = registered();
    const auto place = std::lower_bound(list.begin(), list.end(), command.name,
                                        [](const Command& known, const std::string& name) { return known.name < name; });
    list.insert(place, std::move(command));
}

}
