/* Writes the manual pages and the completion of the command into a folder: what scripts/manual runs. */
#include <fmt/format.h>

#include <filesystem>

#include "manual/completion.h"
#include "manual/pages.h"
#include "support/failure.h"
#include "support/textoutput.h"

namespace pelta::manual {
namespace {

void write(const std::filesystem::path& name, const std::string& text) {
    TextOutput file(name.string(), true);
    file.write(text);
    file.commit();
}

void writeManual(const std::filesystem::path& folder) {
    CLI::App program("", "pelta");
    const std::vector<Subcommand> subcommands = defineCommandLine(program);
    std::filesystem::create_directories(folder / "man");
    std::filesystem::create_directories(folder / "completion");
    for (const Page& page : allPages(program, subcommands)) write(folder / "man" / page.fileName(), page.text());
    write(folder / "completion" / "pelta.bash", bashCompletion(program, subcommands));
}

}
}

int main(int argc, char** argv) {
    if (argc != 2) {
        fmt::print(stderr, "usage: pelta_manual FOLDER\n");
        return 2;
    }
    try {
        pelta::manual::writeManual(argv[1]);
        return 0;
    } catch (const std::exception& error) {
        fmt::print(stderr, "pelta_manual: {}\n", error.what());
        return 1;
    }
}
