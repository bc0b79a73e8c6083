#include <fmt/format.h>

#include <cstdio>

#include "commands/command.h"
#include "commands/complaint.h"
#include "support/failure.h"
#include "support/libraryvoice.h"
#include "support/outputfile.h"

namespace pelta {

namespace {

constexpr int workFailed = 1, wrongUsage = 2;

int complain(int status, const std::string& text) {
    tell(fmt::format("pelta: {}\n", oneLine(text)));
    return status;
}

/* What was printed may not have left yet, or not all of it. */
int finish(int status) {
    const bool isWritten = std::fflush(stdout) == 0 && !std::ferror(stdout);
    return isWritten || status != 0 ? status : complain(workFailed, "standard output: cannot be written");
}

int runCommandLine(int argc, char** argv) {
    CLI::App app("Seismic trace processing on SEG-Y files.", "pelta");
    const std::vector<Subcommand> subcommands = defineCommandLine(app);
    app.footer(
        "Example:\n  pelta synth line.sgy && pelta bandpass line.sgy filtered.sgy --corners 5,10,60,80\n"
        "`pelta COMMAND --help` tells more, as does `man pelta-COMMAND`. Exit status: 0 done, 1 the data or the work failed, 2 "
        "wrong usage.");
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& request) {
        /* The help of a command that does not exist is not the general one. */
        if (app.get_subcommands().empty() && !unknownText(app).empty()) return complain(wrongUsage, complaintOf(app, request));
        return app.exit(request);
    } catch (const CLI::ParseError& error) { return complain(wrongUsage, complaintOf(app, error)); }
    for (const Subcommand& subcommand : subcommands)
        if (subcommand.app->parsed()) return subcommand.run();
    return 0;
}

}
}

int main(int argc, char** argv) {
    try {
        pelta::occupyStandardDescriptors();
        pelta::removeUnfinishedFilesOnSignals();
        return pelta::finish(pelta::runCommandLine(argc, argv));
    } catch (const pelta::UsageError& error) {
        return pelta::complain(pelta::wrongUsage, error.what());
    } catch (const std::bad_alloc&) {
        return pelta::complain(pelta::workFailed, "out of memory");
    } catch (const std::exception& error) { return pelta::complain(pelta::workFailed, error.what()); }
}
