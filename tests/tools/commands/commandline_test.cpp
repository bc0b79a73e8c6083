#include <gtest/gtest.h>

#include <sstream>
#include <vector>

#include "support/peltacommand.h"

namespace {

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

/* A small line that the tests share. */
class CommandLine : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(runPelta("synth " + line + " --records 3 --channels 10 --samples 300 --noise 0.02").status, 0);
    }
    const TemporaryFolder folder;
    const std::string line = folder / "line.sgy";
    const std::string bandpass = " --corners 5,10,60,80 ";
};

TEST_F(CommandLine, AnswersWrongUsageWithStatusTwoAndTheNearestName) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "pelta: a command is required (see pelta --help)\n"},
        {"bandpas a b", "pelta: unknown command 'bandpas', did you mean 'bandpass'? (see pelta --help)\n"},
        {"bandpas --help", "pelta: unknown command 'bandpas', did you mean 'bandpass'? (see pelta --help)\n"},
        {"--help bandpas", "pelta: unknown command 'bandpas', did you mean 'bandpass'? (see pelta --help)\n"},
        {"xyz -h", "pelta: unknown command 'xyz' (see pelta --help)\n"},
        {"bandpass a b --cornes 1,2,3,4",
         "pelta: unknown option --cornes, did you mean '--corners'? (see pelta bandpass --help)\n"},
        {"gain a b c", "pelta: gain: 'c' is one argument too many (see pelta gain --help)\n"},
        {"gain a b --window soon", "pelta: --window: 'soon' is not a whole number\n"},
        {"gain a b --endian middle",
         "pelta: --endian: 'middle' is none of big, little, did you mean 'little'? (see pelta gain --help)\n"},
        {"gain a b --threads 0", "pelta: --threads: 0 lies outside 1 .. 1024 (see pelta gain --help)\n"},
        {"gain a b --threads 1.5", "pelta: --threads: '1.5' is not a whole number (see pelta gain --help)\n"},
        {"gain a b --interval -1", "pelta: --interval: -1 is not above 0 (see pelta gain --help)\n"},
        {"gain a b --samples many", "pelta: --samples: 'many' is not a number (see pelta gain --help)\n"},
        {"gain a b --map ofset=37:4", "pelta: --map: 'ofset' is no trace-header word, did you mean 'offset'?\n"},
        {"gain a b --threads", "pelta: --threads: its value is missing (see pelta gain --help)\n"},
        {"grid a --region 1,2,3", "pelta: --region: takes 4 numbers, not 3 (see pelta grid --help)\n"},
        {"grid a --region 1,2,3,x", "pelta: --region: '1,2,3,x' is not a list of numbers (see pelta grid --help)\n"},
        {"wavelet a --frequency high", "pelta: --frequency: 'high' is not a number (see pelta wavelet --help)\n"},
        {"gain", "pelta: gain: IN and OUT are needed; see pelta gain --help\n"},
        {"run", "pelta: FLOW is required (see pelta run --help)\n"},
    };
    for (const auto& [arguments, expected] : cases) {
        const Outcome outcome = runPelta(arguments);
        EXPECT_EQ(outcome.status, 2) << arguments;
        EXPECT_EQ(outcome.err, expected) << arguments;
        EXPECT_EQ(outcome.out, "") << arguments;
    }
}

TEST_F(CommandLine, HelpsWithAnExampleForEveryCommand) {
    const Outcome help = runPelta("--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("Example"), std::string::npos);
    EXPECT_EQ(runPelta("--version").out, "1.0.0\n");
    for (const char* command : {"bandpass", "gain", "hilbert", "moveout", "mute", "phase", "pick", "static", "trim", "run",
                                "synth", "ledger", "velan", "grid"}) {
        const Outcome outcome = runPelta(std::string(command) + " --help");
        EXPECT_EQ(outcome.status, 0);
        EXPECT_NE(outcome.out.find(std::string("  pelta ") + command), std::string::npos) << command;
    }
}

TEST_F(CommandLine, HelpsWithWhatAStepTakesBeforeAllElse) {
    const std::string help = runPelta("gain --help").out;
    EXPECT_NE(help.find("\n\nStep:\n  --window, --window-ms INT"), std::string::npos) << help;
    EXPECT_LT(help.find("\nStep:\n"), help.find("\n\nOptions:\n"));
    EXPECT_LT(help.find("\n\nOptions:\n"), help.find("\n\nReading SEG-Y:\n")) << help;
    EXPECT_TRUE(help.ends_with("\n\nExample:\n  pelta gain in.sgy out.sgy --window 500\n")) << help;
}

TEST_F(CommandLine, MakesTheSameSyntheticLineFromTheSameSeed) {
    ASSERT_EQ(runPelta("synth " + (folder / "same.sgy") + " --records 3 --channels 10 --samples 300 --noise 0.02").status, 0);
    ASSERT_EQ(
        runPelta("synth " + (folder / "other.sgy") + " --records 3 --channels 10 --samples 300 --noise 0.02 --seed 2").status,
        0);
    EXPECT_EQ(contentsOf(line), contentsOf(folder / "same.sgy"));
    EXPECT_NE(contentsOf(line), contentsOf(folder / "other.sgy"));
    EXPECT_EQ(contentsOf(line + ".first_breaks.csv"), contentsOf(folder / "same.sgy.first_breaks.csv"));
    EXPECT_EQ(linesOf(contentsOf(line + ".first_breaks.csv")).size(), 31u);
}

TEST_F(CommandLine, WritesTheTrueVelocitiesOfASyntheticLineForTheMoveoutStep) {
    const std::string velocities = line + ".velocities.csv";
    EXPECT_EQ(contentsOf(velocities), "time_ms,velocity_m_per_s\n400,1800\n750,2050\n1100,2300\n1600,2650\n2200,3050\n");
    ASSERT_EQ(runPelta("moveout " + line + " " + (folder / "file.sgy") + " --velocity-file " + velocities).status, 0);
    ASSERT_EQ(runPelta("moveout " + line + " " + (folder / "table.sgy") +
                       " --velocity-table 400:1800,750:2050,1100:2300,1600:2650,2200:3050")
                  .status,
              0);
    EXPECT_TRUE(contentsOf(folder / "file.sgy") == contentsOf(folder / "table.sgy"));
}

TEST_F(CommandLine, GivesTheSameBytesForAnyNumberOfThreadsAndThroughPipes) {
    const std::string flow = folder / "flow.toml";
    std::ofstream(flow)
        << "[[step]]\nname='bandpass'\ncorners_hz=[5,10,60,80]\n[[step]]\nname='moveout'\nvelocity_m_per_s=2000\n"
           "[[step]]\nname='gain'\nwindow_ms=200\n[[step]]\nname='pick'\n";
    const std::string big = folder / "big.sgy";
    ASSERT_EQ(runPelta("synth " + big + " --records 20 --channels 60 --samples 200").status, 0);
    for (const char* threads : {"1", "2", "7"})
        ASSERT_EQ(runPelta("run " + flow + " " + big + " " + (folder / threads) + " --threads " + threads).status, 0);
    const Outcome piped = runShell(std::string(PELTA_COMMAND) + " run " + flow + " - - < " + big);
    ASSERT_EQ(piped.status, 0) << piped.err;
    ASSERT_EQ(runPelta("run - " + big + " " + (folder / "from-input") + " < " + flow).status, 0)
        << "the flow may be piped, too";
    const std::string one = contentsOf(folder / "1");
    EXPECT_EQ(one.size(), contentsOf(big).size());
    EXPECT_TRUE(one == contentsOf(folder / "2"));
    EXPECT_TRUE(one == contentsOf(folder / "7"));
    EXPECT_TRUE(one == piped.out);
    EXPECT_TRUE(one == contentsOf(folder / "from-input"));
}

TEST_F(CommandLine, LeavesEveryByteThatNoStepChanged) {
    ASSERT_EQ(runPelta("pick " + line + " " + (folder / "picked.sgy")).status, 0);
    EXPECT_TRUE(contentsOf(folder / "picked.sgy") == contentsOf(line));
    ASSERT_EQ(runPelta("bandpass " + line + " " + (folder / "filtered.sgy") + bandpass).status, 0);
    const std::string before = contentsOf(line), after = contentsOf(folder / "filtered.sgy");
    ASSERT_EQ(after.size(), before.size());
    EXPECT_TRUE(after.substr(0, 3600) == before.substr(0, 3600));
    constexpr std::size_t traceBytes = 240 + 4 * 300;
    for (std::size_t start = 3600; start < before.size(); start += traceBytes)
        ASSERT_TRUE(after.substr(start, 240) == before.substr(start, 240)) << "trace header at byte " << start;
    EXPECT_FALSE(after == before);
}

TEST_F(CommandLine, ReadsTapesFromATapeDriveOnly) {
    const std::string out = folder / "out.sgy";
    for (const std::string& arguments : {std::string("info /dev/null"), "bandpass /dev/null " + out + bandpass}) {
        const Outcome outcome = runPelta(arguments + " --tape");
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "pelta: /dev/null: is no tape drive\n");
    }
    EXPECT_FALSE(std::filesystem::exists(out));
}

TEST_F(CommandLine, KeepsWhatStandsUnderTheOutputsName) {
    const std::string out = folder / "out.sgy";
    std::ofstream(out) << "precious";
    const Outcome refused = runPelta("bandpass " + line + " " + out + bandpass);
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(linesOf(refused.err).size(), 1u) << refused.err;
    EXPECT_NE(refused.err.find("--overwrite"), std::string::npos) << refused.err;
    EXPECT_EQ(contentsOf(out), "precious");
    EXPECT_EQ(runPelta("bandpass " + line + " " + out + bandpass + "--overwrite").status, 0);
    EXPECT_EQ(contentsOf(out).size(), contentsOf(line).size());
}

TEST_F(CommandLine, DoesItsWorkWhereNobodyHearsWhatItSays) {
    const std::string done = folder / "done.sgy";
    for (const std::string nowhere : {" 2>/dev/full", " 2>&-"}) {
        EXPECT_EQ(runPelta("bandpass " + line + " " + done + bandpass + "--profile --overwrite" + nowhere).status, 0);
        EXPECT_EQ(std::filesystem::file_size(done), std::filesystem::file_size(line));
        EXPECT_EQ(runPelta("sort " + line + " - --by cdp" + nowhere).status, 0);
        EXPECT_EQ(runPelta("sort " + line + ".none - --by cdp" + nowhere).status, 1);
        EXPECT_EQ(runPelta("sort " + line + " - --by cpd" + nowhere).status, 2);
    }
}

TEST_F(CommandLine, LeavesNoFileWhereTheWorkFailed) {
    const std::string cut = folder / "cut.sgy", listing = folder.listing();
    const std::string whole = contentsOf(line);
    std::ofstream(cut, std::ios::binary) << whole.substr(0, whole.size() - 100);
    const Outcome failed = runPelta("pick " + cut + " " + (folder / "out.sgy") + " --picks-file " + (folder / "picks.csv"));
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(linesOf(failed.err).size(), 1u) << failed.err;
    EXPECT_NE(failed.err.find("--salvage"), std::string::npos) << failed.err;
    std::filesystem::remove(cut);
    EXPECT_EQ(folder.listing(), listing);
}

TEST_F(CommandLine, SalvagesTheWholeTracesOfATruncatedFile) {
    const std::string cut = folder / "cut.sgy", whole = contentsOf(line);
    std::ofstream(cut, std::ios::binary) << whole.substr(0, whole.size() - 100);
    const Outcome outcome = runPelta("pick " + cut + " " + (folder / "out.sgy") + " --salvage --quiet");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(outcome.err.starts_with("pelta: warning: ")) << outcome.err;
    EXPECT_TRUE(contentsOf(folder / "out.sgy") == whole.substr(0, whole.size() - 240 - 4 * 300));
}

TEST_F(CommandLine, WritesPicksAsCsvAndIntoAHeaderWord) {
    const std::string out = folder / "out.sgy", csv = folder / "picks.csv";
    ASSERT_EQ(runPelta("pick " + line + " " + out + " --map pick=233:2 --word-unit samples --picks-file " + csv).status, 0);
    const std::vector<std::string> rows = linesOf(contentsOf(csv));
    ASSERT_EQ(rows.size(), 31u);
    EXPECT_EQ(rows[0], "trace,record,channel,offset_m,source_x,source_y,receiver_x,receiver_y,pick_samples,pick_ms");
    EXPECT_TRUE(rows[1].starts_with("1,1,1,50,0,0,50,0,")) << rows[1];
    const std::string file = contentsOf(out);
    for (std::size_t t = 0; t < 30; ++t) {
        const std::size_t word = 3600 + t * (240 + 4 * 300) + 232;
        const int inHeader = static_cast<unsigned char>(file[word]) * 256 + static_cast<unsigned char>(file[word + 1]);
        std::vector<std::string> fields;
        std::istringstream row(rows[t + 1]);
        for (std::string field; std::getline(row, field, ',');) fields.push_back(field);
        EXPECT_EQ(std::to_string(inHeader), fields[8]) << rows[t + 1];
    }
}

TEST_F(CommandLine, WritesTheGainsBesideTheGainedTraces) {
    const std::string out = folder / "out.sgy", gains = folder / "gains.sgy";
    ASSERT_EQ(runPelta("gain " + line + " " + out + " --window 100 --gains-file " + gains).status, 0);
    EXPECT_EQ(contentsOf(gains).size(), contentsOf(line).size());
    EXPECT_EQ(contentsOf(gains).substr(3224, 2), std::string("\0\5", 2)) << "IEEE floats";
}

TEST_F(CommandLine, DrawsPicturesOfEveryFormat) {
    if (!hasPictures()) GTEST_SKIP() << "built without pictures";
    const std::pair<const char*, const char*> formats[] = {{"png", "\x89PNG"}, {"svg", "<?xml"}, {"pdf", "%PDF"}};
    for (const auto& [ending, magic] : formats) {
        const std::string picture = folder / ("picture." + std::string(ending));
        const Outcome outcome =
            runPelta("plot " + line + " " + picture + " --records 1,2 --axis offset --picks " + line + ".first_breaks.csv");
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_TRUE(contentsOf(picture).starts_with(magic)) << ending;
    }
    for (const char* records : {"3,5", "'3 5'", "3 5"})
        EXPECT_EQ(runPelta("plot " + line + " " + (folder / "list.png") + " --overwrite --records " + records).err, "")
            << records;
    EXPECT_EQ(runPelta("plot a.sgy a.png --records 3-7").err, "pelta: --records: '3-7' is not a list of whole numbers\n");
    EXPECT_EQ(runPelta("plot a.sgy a.png --traces 3,5,7").err, "pelta: --traces: takes 2 numbers, not 3\n");
    const Outcome sized = runPelta("plot " + line + " - --size 640,480 --style density");
    EXPECT_EQ(sized.status, 2) << "a picture's format is told by its name";
    const Outcome none = runPelta("plot " + line + " " + (folder / "none.png") + " --records 99");
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.err, "pelta: " + line + ": no trace was chosen by --records or --traces\n");
    EXPECT_FALSE(std::filesystem::exists(folder / "none.png"));
}

TEST_F(CommandLine, DrawsAStackedSectionOverItsCdps) {
    if (!hasPictures()) GTEST_SKIP() << "built without pictures";
    const auto picture = [&](const std::string& file, const std::string& options) {
        const std::string name = folder / "section.svg";
        EXPECT_EQ(runPelta("plot " + file + " " + name + " --overwrite --title T" + options).err, "");
        return contentsOf(name);
    };
    const std::string stack = folder / "stack.sgy";
    ASSERT_EQ(runPelta("stack " + line + " " + stack + " --quiet").status, 0);
    EXPECT_TRUE(picture(stack, "") == picture(stack, " --axis cdp"));
    EXPECT_FALSE(picture(stack, "") == picture(stack, " --axis channel"));
    EXPECT_TRUE(picture(line, "") == picture(line, " --axis channel"));
}

TEST_F(CommandLine, AddsALineOfHistoryForEachStep) {
    const std::string out = folder / "out.sgy";
    ASSERT_EQ(runPelta("bandpass " + line + " " + out + bandpass + "--history").status, 0);
    const Outcome text = runShell("head -c 3200 " + out + " | dd conv=ascii cbs=80 2>/dev/null");
    EXPECT_NE(text.out.find("pelta bandpass corners_hz="), std::string::npos) << text.out;
}

TEST_F(CommandLine, ShowsTheFlowAndDoesNothingElse) {
    const Outcome shown = runPelta("bandpass --show --corners 5,10,60,80");
    EXPECT_EQ(shown.status, 0);
    EXPECT_TRUE(shown.out.starts_with("[[step]]\nname = \"bandpass\"\nshape = \"ormsby\"\ncorners_hz = [5, 10, 60, 80]\n"))
        << shown.out;
}

TEST_F(CommandLine, CountsTracesInTheLedgerOfTheInstallation) {
    const std::string home = folder / "home";
    std::filesystem::create_directories(home + "/linux/lib");
    const std::string environment = "export PELTA_HOME=" + home + " LOGNAME=ann; ";
    for (int k = 0; k < 2; ++k)
        ASSERT_EQ(runShell(environment + PELTA_COMMAND + " pick " + line + " - --ledger-line 'north 7' > /dev/null").status, 0);
    const Outcome ledger = runShell(environment + PELTA_COMMAND + " ledger");
    EXPECT_EQ(ledger.status, 0);
    ASSERT_EQ(linesOf(ledger.out).size(), 3u) << ledger.out;
    EXPECT_TRUE(linesOf(ledger.out)[2].starts_with(
        "User:         ann  Process:  pelta-pick  Area:           -  Line:     north_7  Year:"))
        << ledger.out;
    EXPECT_TRUE(ledger.out.ends_with("Num Traces: 60\n")) << ledger.out;
}

TEST_F(CommandLine, ChecksTheLedgerOfTheInstallation) {
    const std::string home = folder / "home", file = home + "/linux/lib/libCumm.so";
    std::filesystem::create_directories(home + "/linux/lib");
    const auto ledger = [&](const std::string& options) {
        return runShell("export PROMAX_HOME=" + home + "; unset PELTA_HOME; " + PELTA_COMMAND + " ledger " + options);
    };
    EXPECT_EQ(ledger("--check").err, "pelta: ledger: " + file + ": cannot be opened: No such file or directory\n");
    std::string record = "ann - - pelta-run 126 10 60";
    record.resize(118, ' ');
    std::ofstream(file, std::ios::binary) << record << record;
    const Outcome good = ledger("--check");
    EXPECT_EQ(good.status, 0);
    EXPECT_EQ(good.out, file + ": 2 records, all whole\n");
    EXPECT_EQ(good.err, "");

    std::ofstream(file, std::ios::binary | std::ios::app) << '\0' << record << "ann";
    const Outcome bad = ledger("--check");
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(bad.out, "");
    ASSERT_EQ(linesOf(bad.err).size(), 2u) << bad.err;
    EXPECT_TRUE(linesOf(bad.err)[0].starts_with("pelta: ledger: " + file + ": record 3 (byte 237): a zero byte")) << bad.err;
    EXPECT_TRUE(linesOf(bad.err)[1].starts_with("pelta: ledger: " + file + ": record 4 (byte 355): 114 bytes short"))
        << bad.err;
    EXPECT_EQ(contentsOf(file).size(), 3 * 118u + 4) << "nothing is changed";

    EXPECT_EQ(ledger("--check --year 2026").status, 2);
    const Outcome homeless = runShell("unset PELTA_HOME PROMAX_HOME; " PELTA_COMMAND " ledger --check");
    EXPECT_EQ(homeless.status, 1);
    EXPECT_EQ(homeless.err, "pelta: ledger: neither PELTA_HOME nor PROMAX_HOME is set; set one to the installation's folder\n");
}

TEST_F(CommandLine, SaysWhenTheLedgerCannotBeWritten) {
    const Outcome outcome = runShell("export PELTA_HOME=" + (folder / "nowhere") + " LOGNAME=ann; " + PELTA_COMMAND + " pick " +
                                     line + " " + (folder / "out.sgy") + " --quiet");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(linesOf(outcome.err).size(), 1u) << outcome.err;
    EXPECT_TRUE(outcome.err.starts_with("pelta: warning: usage ledger: ")) << outcome.err;
    EXPECT_EQ(outcome.out, "");
}

TEST_F(CommandLine, WarnsOfSamplesThatAreNoNumbersAndGoesOn) {
    ASSERT_EQ(runPelta("synth " + (folder / "ieee.sgy") + " --format ieee --records 1 --channels 2 --samples 50").status, 0);
    std::string file = contentsOf(folder / "ieee.sgy");
    file.replace(3600 + 240, 4, std::string("\x7f\xc0\0\0", 4));
    file.replace(3600 + 248, 4, std::string("\x7f\x80\0\0", 4));
    std::ofstream(folder / "bad.sgy", std::ios::binary) << file;
    const Outcome outcome = runPelta("pick " + (folder / "bad.sgy") + " " + (folder / "out.sgy") + " --quiet");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "pelta: warning: " + (folder / "bad.sgy") + ": 2 samples are NaN or infinite\n");
}

TEST_F(CommandLine, FailsWhereItsReportCannotBeWritten) {
    for (const std::string target : {"/dev/full", "&-"}) {
        /* What check says as JSON is more than the stream holds back. */
        for (const std::string& command : {std::string("--version"), "info " + line, "check --json " + line}) {
            const Outcome outcome = runPelta(command + " >" + target);
            EXPECT_EQ(outcome.status, 1) << command << " " << target;
            EXPECT_EQ(outcome.err, "pelta: standard output: cannot be written\n");
        }
        EXPECT_EQ(runPelta("gain " + line + " " + (folder / "out.sgy") + " --overwrite --quiet >" + target).status, 0)
            << "nothing to say";
    }
}

TEST_F(CommandLine, RemovesTheUnfinishedFileWhenInterrupted) {
    const std::string listing = folder.listing();
    const std::string pipe = folder / "pipe";
    const Outcome outcome =
        runShell("mkfifo " + pipe + "; " + PELTA_COMMAND + " pick " + pipe + " " + (folder / "out.sgy") + " & exec 3> " + pipe +
                 "; cat " + line + " >&3; sleep 0.3; kill -TERM $!; wait $!; echo $?");
    std::filesystem::remove(pipe);
    EXPECT_EQ(outcome.out, "143\n") << "ended by the signal";
    EXPECT_EQ(folder.listing(), listing) << outcome.err;
}

}
