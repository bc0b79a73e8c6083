#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "segy/reader.h"
#include "segy/textheader.h"
#include "support/bits.h"
#include "support/peltacommand.h"
#include "support/segyfiles.h"

using namespace pelta;
using segy::Word;

/* `pelta stack` as its users call it. */

namespace {

void write(const std::string& fileName, const std::string& contents) {
    std::ofstream(fileName, std::ios::binary).write(contents.data(), static_cast<std::streamsize>(contents.size()));
}

struct Read {
    segy::Layout layout;
    segy::Preamble preamble;
    std::vector<segy::Trace> traces;

    std::int64_t word(std::size_t trace, Word word) const {
        return segy::readWord(traces[trace].header.data(), layout.words[word], layout.byteOrder);
    }
    std::string words(Word word) const {
        std::string text;
        for (std::size_t t = 0; t < traces.size(); ++t) text += std::to_string(this->word(t, word)) + " ";
        return text;
    }
};

Read readFile(const std::string& name) {
    segy::Reader reader(name, {});
    Read read{reader.layout(), reader.preamble(), {}};
    segy::Trace trace;
    while (reader.next(trace)) {
        segy::decode(trace, reader.layout());
        read.traces.push_back(trace);
    }
    return read;
}

/* The traces of a file in another order, their headers and samples as they are. */
template <class Less>
std::string sorted(const std::string& file, std::size_t traceBytes, Less less) {
    std::vector<std::string> traces;
    for (std::size_t at = 3600; at < file.size(); at += traceBytes) traces.push_back(file.substr(at, traceBytes));
    std::stable_sort(traces.begin(), traces.end(), less);
    std::string result = file.substr(0, 3600);
    for (const std::string& trace : traces) result += trace;
    return result;
}

std::int64_t cdpOf(const std::string& trace) {
    return segy::readWord(reinterpret_cast<const unsigned char*>(trace.data()), {21, 4}, segy::ByteOrder::big);
}

/* A synthetic line of 8 records, whose CDPs are covered up to 5 times. */
class StackCommand : public testing::Test {
  protected:
    static constexpr int sampleCount = 400;
    static constexpr std::size_t traceBytes = 240 + 4 * sampleCount;

    void SetUp() override {
        ASSERT_EQ(runPelta("synth " + line + " --records 8 --channels 20 --samples 400 --noise 0.1 --format ieee").status, 0);
        bytes = contentsOf(line);
    }
    void put(int trace, int byte, int size, std::int64_t value) {
        putWord(bytes, 3600 + static_cast<std::size_t>(trace) * traceBytes + static_cast<std::size_t>(byte), size, value);
    }
    /* Stacks the bytes as a file, or fails with this line and leaves nothing. */
    void expectFailure(const std::string& options, const std::string& message) {
        write(changed, bytes);
        const Outcome outcome = runPelta("stack " + changed + " " + (folder / "none.sgy") + options);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.err, "pelta: " + changed + ": " + message + "\n");
        EXPECT_FALSE(std::filesystem::exists(folder / "none.sgy"));
    }

    const TemporaryFolder folder;
    const std::string line = folder / "line.sgy", changed = folder / "changed.sgy", out = folder / "out.sgy";
    std::string bytes;
};

}

TEST_F(StackCommand, WritesTheMeanOfEachCdpsLiveSamplesByAscendingCdp) {
    ASSERT_EQ(runPelta("stack " + line + " " + out).err.find("warning"), std::string::npos);
    const Read input = readFile(line), stacked = readFile(out);
    std::map<std::int64_t, std::vector<std::size_t>> gathers;
    for (std::size_t t = 0; t < input.traces.size(); ++t)
        if (input.word(t, Word::traceType) != 2) gathers[input.word(t, Word::cdp)].push_back(t);
    ASSERT_EQ(stacked.traces.size(), gathers.size());
    std::size_t k = 0;
    for (const auto& [cdp, traces] : gathers) {
        std::vector<float> expected;
        for (std::size_t i = 0; i < sampleCount; ++i) {
            double sum = 0.0;
            int fold = 0;
            for (std::size_t t : traces) sum += input.traces[t].samples[i], fold += input.traces[t].samples[i] != 0.0f;
            expected.push_back(fold == 0 ? 0.0f : static_cast<float>(sum / fold));
        }
        EXPECT_TRUE(sameSamples(stacked.traces[k].samples, expected)) << "CDP " << cdp;
        EXPECT_EQ(stacked.word(k, Word::cdp), cdp);
        EXPECT_EQ(stacked.word(k, Word::fold), traces.size());
        EXPECT_EQ(stacked.word(k, Word::trace), k + 1);
        EXPECT_EQ(stacked.word(k, Word::traceInFile), k + 1);
        EXPECT_EQ(stacked.word(k, Word::traceInCdp), 1);
        EXPECT_EQ(stacked.word(k, Word::channel), input.word(traces.front(), Word::channel));
        ++k;
    }
}

TEST_F(StackCommand, LowersRandomNoiseByTheRootOfTheFold) {
    ASSERT_EQ(runPelta("synth " + changed + " --records 40 --noise 0.1 --dead 0 --reversed 0 --ground-roll 0").status, 0);
    ASSERT_EQ(runPelta("stack " + changed + " " + out).status, 0);
    /* Behind the last reflection, of which 2700 ms and more see nothing, there is only noise. */
    const auto noise = [](const Read& file, std::int64_t fold) {
        double energy = 0.0;
        std::int64_t count = 0;
        for (std::size_t t = 0; t < file.traces.size(); ++t)
            for (std::size_t i = 1400; i < 1500 && file.word(t, Word::fold) == fold; ++i, ++count)
                energy += static_cast<double>(file.traces[t].samples[i]) * file.traces[t].samples[i];
        return std::sqrt(energy / static_cast<double>(count));
    };
    constexpr double chance = 0.05; /* relative; some hundred traces of noise below 100 Hz agree within 2 % */
    EXPECT_NEAR(noise(readFile(changed), 0) / noise(readFile(out), 12), std::sqrt(12.0), chance * std::sqrt(12.0));
    ASSERT_EQ(runPelta("stack " + changed + " " + out + " --fold-exponent 0.5 --overwrite").status, 0);
    EXPECT_NEAR(noise(readFile(changed), 0) / noise(readFile(out), 12), 1.0, chance);
}

TEST_F(StackCommand, GivesTheSameBytesForAnyOrderOfTheGathersAnyThreadsAndThroughPipes) {
    ASSERT_EQ(runPelta("stack " + line + " " + out + " --threads 1").status, 0);
    const std::string expected = contentsOf(out);
    const std::string ascending = sorted(bytes, traceBytes, [](const auto& a, const auto& b) { return cdpOf(a) < cdpOf(b); });
    const std::string descending = sorted(bytes, traceBytes, [](const auto& a, const auto& b) { return cdpOf(a) > cdpOf(b); });
    for (const std::string& order : {bytes, ascending, descending}) {
        write(changed, order);
        ASSERT_EQ(runPelta("stack " + changed + " " + out + " --overwrite --threads 4").status, 0);
        EXPECT_TRUE(contentsOf(out) == expected);
        EXPECT_TRUE(runShell("cat " + changed + " | " PELTA_COMMAND " stack - - --quiet").out == expected);
    }
}

TEST_F(StackCommand, RunsAFlowOnEveryTraceFirst) {
    const std::string flow = folder / "flow.toml", corrected = folder / "corrected.sgy", other = folder / "other.sgy";
    write(flow, "[[step]]\nname = \"moveout\"\nvelocity_file = \"" + line + ".velocities.csv\"\n");
    ASSERT_EQ(runPelta("stack " + line + " " + out + " --flow " + flow).status, 0);
    ASSERT_EQ(runPelta("run " + flow + " " + line + " " + corrected).status, 0);
    ASSERT_EQ(runPelta("stack " + corrected + " " + other).status, 0);
    EXPECT_TRUE(contentsOf(out) == contentsOf(other));
}

TEST_F(StackCommand, LeavesOutTheTracesThatTheFlowDropped) {
    /* Places are in dm: CDPs 101 to 104 lie at 25 m to 62.5 m. Of the others nothing is left. */
    const auto flowFor = [&](const char* position, const char* polygon) {
        write(folder / "flow.toml",
              fmt::format("[[step]]\nname = \"trim\"\nposition = \"{}\"\npolygon = {}\n", position, polygon));
        return " --quiet --overwrite --flow " + (folder / "flow.toml");
    };
    const std::string descending = sorted(bytes, traceBytes, [](const auto& a, const auto& b) { return cdpOf(a) > cdpOf(b); });
    for (const std::string& order : {bytes, descending}) {
        write(changed, order);
        const std::string nearCdps = flowFor("cdp", "[[0, -1], [64, -1], [64, 1], [0, 1]]");
        EXPECT_EQ(runPelta("stack " + changed + " " + out + nearCdps).err, "");
        EXPECT_EQ(readFile(out).words(Word::cdp), "101 102 103 104 ");
        EXPECT_EQ(readFile(out).words(Word::trace), "1 2 3 4 ");
        const std::string firstShot = flowFor("source", "[[-1, -1], [1, -1], [1, 1], [-1, 1]]");
        ASSERT_EQ(runPelta("stack " + changed + " " + out + firstShot).status, 0);
        EXPECT_EQ(readFile(out).traces.size(), 20);
        const std::string expected = contentsOf(out);
        ASSERT_EQ(runShell("cat " + changed + " | " PELTA_COMMAND " stack - " + out + firstShot).status, 0);
        EXPECT_TRUE(contentsOf(out) == expected);
    }
}

TEST_F(StackCommand, FailsBeforeItsStepsLeaveAFile) {
    for (int t = 0; t < 160; ++t) put(t, 29, 2, 2);
    write(folder / "flow.toml", "[[step]]\nname = \"gain\"\ngains_file = \"" + (folder / "gains.sgy") + "\"\n");
    expectFailure(" --flow " + (folder / "flow.toml"),
                  "none of its 160 traces is live: their samples are 0, or trace_type at byte 29 is 2 (dead)");
    EXPECT_FALSE(std::filesystem::exists(folder / "gains.sgy"));
}

TEST_F(StackCommand, FailsWhereAStepNeedsOffsetsAndThereAreNone) {
    write(folder / "flow.toml", "[[step]]\nname = \"moveout\"\nvelocity_m_per_s = 2000\n");
    expectFailure(
        " --map offset=233:4 --flow " + (folder / "flow.toml"),
        "moveout needs offsets, and the 4 bytes at byte 233 of every trace header hold 0; --map offset=BYTE:SIZE names "
        "the right word");
}

TEST_F(StackCommand, MakesASectionThatCheckFindsNothingWrongWith) {
    ASSERT_EQ(runPelta("stack " + line + " " + out).status, 0);
    const Outcome check = runPelta("check " + out);
    EXPECT_EQ(check.status, 0) << check.err;
    EXPECT_NE(check.out.find("0 errors, 0 warnings"), std::string::npos) << check.out;
}

TEST_F(StackCommand, SaysInTheBinaryHeaderThatTheLineIsStacked) {
    ASSERT_EQ(runPelta("stack " + line + " " + out).status, 0);
    const Read before = readFile(line), after = readFile(out);
    const auto word = [&](int byte) { return segy::readWord(after.preamble.data(), {byte, 2}, after.layout.byteOrder); };
    EXPECT_EQ(word(3229), 4) << "sorting";
    EXPECT_EQ(word(3213), 1) << "traces an ensemble";
    EXPECT_TRUE(std::equal(before.preamble.begin(), before.preamble.begin() + 3200, after.preamble.begin()));
}

TEST_F(StackCommand, WritesMeansOfIntegersAsFloats) {
    SegyRecipe recipe{.traces = 2, .format = 3, .revision = 1};
    std::string file = makeSegy(recipe);
    for (int t = 0; t < 2; ++t) putWord(file, recipe.placeInTrace(t, 21), 4, 5);
    write(changed, file);
    ASSERT_EQ(runPelta("stack " + changed + " " + out).status, 0);
    const Read stacked = readFile(out);
    EXPECT_EQ(stacked.layout.format, segy::SampleFormat::ieee);
    EXPECT_TRUE(sameSamples(std::vector<float>{stacked.traces[0].samples[1]},
                            std::vector<float>{0.5f * static_cast<float>(madeSample(0, 1) + madeSample(1, 1))}));
}

TEST_F(StackCommand, PromisesTheTracesThatItWrites) {
    SegyRecipe recipe{.traces = 4, .revision = 2, .extraTraceHeaders = 1};
    std::string file = makeSegy(recipe);
    putWord(file, 3513, 8, 4);
    const int cdps[] = {9, 8, 9, 8};
    for (int t = 0; t < 4; ++t) putWord(file, recipe.placeInTrace(t, 21), 4, cdps[t]);
    write(changed, file);
    ASSERT_EQ(runPelta("stack " + changed + " " + out).status, 0);
    EXPECT_EQ(readFile(out).layout.promisedTraces, 2);
    EXPECT_EQ(readFile(out).words(Word::cdp), "8 9 ");
    ASSERT_EQ(runShell("cat " + changed + " | " PELTA_COMMAND " stack - " + out + " --overwrite").status, 0);
    EXPECT_EQ(readFile(out).layout.promisedTraces, 0) << "the number is not known when the header is written";
    EXPECT_EQ(readFile(out).words(Word::cdp), "8 9 ");
}

TEST_F(StackCommand, AddsStepsAndStackToTheHistory) {
    write(folder / "flow.toml", "[[step]]\nname = \"gain\"\n");
    ASSERT_EQ(runPelta("stack " + line + " " + out + " --history --fold-exponent 0.5 --flow " + (folder / "flow.toml")).status,
              0);
    const Read stacked = readFile(out);
    const auto lines = segy::textLines(stacked.preamble, stacked.layout);
    EXPECT_EQ(lines[4].substr(0, 20), "C 5 pelta gain      ");
    EXPECT_EQ(lines[5].substr(0, 40), "C 6 pelta stack fold_exponent=0.5       ");
}

TEST_F(StackCommand, CountsTheTracesItReadInTheLedger) {
    std::filesystem::create_directories(folder / "home/linux/lib");
    const std::string variables = "PELTA_HOME=" + (folder / "home") + " LOGNAME=stacker ";
    ASSERT_EQ(runShell(variables + PELTA_COMMAND " stack " + line + " " + out + " --ledger-area north").status, 0);
    const Outcome ledger = runShell(variables + PELTA_COMMAND " ledger --process pelta-stack");
    EXPECT_NE(ledger.out.find("160"), std::string::npos) << ledger.out;
}

TEST_F(StackCommand, WritesADeadTraceForACdpWithoutALiveOneAndSaysSo) {
    put(0, 29, 2, 2); /* CDP 101 has one trace */
    write(changed, bytes);
    const Outcome outcome = runPelta("stack " + changed + " " + out + " --quiet");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "pelta: warning: " + changed +
                               ": no trace is live in 1 of 48 CDPs, the first is CDP 101; each became a dead trace of zeros\n");
    const Read stacked = readFile(out);
    EXPECT_EQ(stacked.word(0, Word::cdp), 101);
    EXPECT_EQ(stacked.word(0, Word::traceType), 2);
    EXPECT_EQ(stacked.word(1, Word::traceType), 1);
}

TEST_F(StackCommand, LeavesTracesWithoutACdpOutAndSaysSo) {
    put(0, 21, 4, 0);
    put(7, 21, 4, 0);
    write(changed, bytes);
    const Outcome outcome = runPelta("stack " + changed + " " + out + " --quiet");
    EXPECT_EQ(outcome.err, "pelta: warning: " + changed + ": left out 2 of 160 traces, whose CDP is 0\n");
    EXPECT_EQ(readFile(out).word(0, Word::cdp), 102);
}

TEST_F(StackCommand, FailsOnALineWithoutCdpNumbers) {
    expectFailure(
        " --map cdp=233:4",
        "cdp at trace byte 233 is 0 on all 160 traces; a stack needs CDP numbers, --map cdp=BYTE:SIZE names the right "
        "word");
    const Outcome pipe = runShell("cat " + line + " | " PELTA_COMMAND " stack - - --map cdp=233:4");
    EXPECT_EQ(pipe.status, 1);
    EXPECT_EQ(pipe.out, "");
    EXPECT_EQ(pipe.err,
              "pelta: standard input: cdp at trace byte 233 is 0 on all 160 traces; a stack needs CDP numbers, --map "
              "cdp=BYTE:SIZE names the right word\n");
}

TEST_F(StackCommand, FailsOnSamplesThatAreNoNumbers) {
    put(21, 241 + 4 * 100, 4, 0x7FC00000);
    expectFailure("", "trace 22 (CDP 106) holds samples that are NaN or infinite; pelta check lists such traces");
}

TEST_F(StackCommand, FailsOnTracesThatBeginAtDifferentTimes) {
    put(3, 109, 2, 8);
    expectFailure("",
                  "trace 4 begins at 8 ms (byte 109) and trace 1 at 0 ms; a stack needs one start time, --map delay=BYTE:SIZE "
                  "names another word");
}

TEST_F(StackCommand, FailsOnALineWithoutALiveTrace) {
    for (int t = 0; t < 160; ++t) put(t, 29, 2, 2);
    expectFailure("", "none of its 160 traces is live: their samples are 0, or trace_type at byte 29 is 2 (dead)");
}

TEST_F(StackCommand, KeepsWhatStandsUnderTheOutputsName) {
    write(out, "precious");
    const Outcome outcome = runPelta("stack " + line + " " + out);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "pelta: " + out + ": exists already; --overwrite replaces it\n");
    EXPECT_EQ(contentsOf(out), "precious");
}

/* Gathers of 20,000 samples take 234 KiB each while they are open, and their stacked traces 78 KiB: --memory 1 holds four. */
class StackCommandWithLittleMemory : public testing::Test {
  protected:
    void writeLine(const std::vector<int>& cdps) {
        recipe.traces = static_cast<int>(cdps.size());
        recipe.samples = 20000;
        std::string file = makeSegy(recipe);
        for (int t = 0; t < recipe.traces; ++t) putWord(file, recipe.placeInTrace(t, 21), 4, cdps[static_cast<std::size_t>(t)]);
        write(in, file);
    }
    Outcome stackFile() { return runPelta("stack " + in + " " + out + " --memory 1 --quiet --overwrite"); }
    Outcome stackPipe() {
        return runShell("cat " + in + " | " PELTA_COMMAND " stack - " + out + " --memory 1 --quiet --overwrite");
    }

    /* One line on a pipe that cannot be stacked, and no output. */
    void expectRefusedPipe(const std::vector<int>& cdps, const std::string& complaint) {
        writeLine(cdps);
        const Outcome outcome = stackPipe();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.err, "pelta: standard input: " + complaint + "\n");
        EXPECT_FALSE(std::filesystem::exists(out));
    }

    const TemporaryFolder folder;
    const std::string in = folder / "in.sgy", out = folder / "out.sgy";
    SegyRecipe recipe;
};

TEST_F(StackCommandWithLittleMemory, StacksASortedLineOfAnyLength) {
    writeLine({1, 1, 2, 2, 3, 3, 4, 5, 6, 7, 8, 8, 9});
    EXPECT_EQ(stackFile().err, "");
    EXPECT_EQ(readFile(out).words(Word::cdp), "1 2 3 4 5 6 7 8 9 ");
    EXPECT_EQ(readFile(out).words(Word::fold), "2 2 2 1 1 1 1 2 1 ");
    const std::string fromFile = contentsOf(out);
    EXPECT_EQ(stackPipe().err, "");
    EXPECT_TRUE(contentsOf(out) == fromFile);
}

TEST_F(StackCommandWithLittleMemory, StacksARollingLine) {
    writeLine({1, 2, 3, 2, 3, 4, 3, 4, 5, 4, 5, 6, 5, 6, 7});
    EXPECT_EQ(stackFile().err, "");
    EXPECT_EQ(readFile(out).words(Word::cdp), "1 2 3 4 5 6 7 ");
    EXPECT_EQ(readFile(out).words(Word::fold), "1 2 3 3 3 2 1 ");
}

TEST_F(StackCommandWithLittleMemory, HoldsStackedTracesBackForAscendingOrder) {
    writeLine({4, 3, 2, 1});
    EXPECT_EQ(stackFile().err, "");
    EXPECT_EQ(readFile(out).words(Word::cdp), "1 2 3 4 ");
}

TEST_F(StackCommandWithLittleMemory, GivesUpAscendingOrderBeforeItGivesUp) {
    std::vector<int> cdps;
    for (int cdp = 30; cdp > 0; --cdp) cdps.push_back(cdp);
    writeLine(cdps);
    const Outcome outcome = stackFile();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "pelta: warning: " + out +
                               ": is written in the order in which its CDPs are complete; ascending order needs --memory 3\n");
    const Read stacked = readFile(out);
    EXPECT_EQ(stacked.word(0, Word::cdp), 30);
    EXPECT_EQ(stacked.word(0, Word::trace), 1);
    EXPECT_EQ(stacked.word(29, Word::cdp), 1);
    EXPECT_EQ(stacked.word(29, Word::trace), 30);
}

TEST_F(StackCommandWithLittleMemory, FailsOnALineWhoseCdpsAllStayOpen) {
    writeLine({1, 2, 3, 4, 5, 1, 2, 3, 4, 5});
    const Outcome file = stackFile();
    EXPECT_EQ(file.status, 1);
    EXPECT_EQ(file.err, "pelta: " + in +
                            ": its 5 CDPs go on side by side so that their sums take 2 MB, and --memory allows 1; raise it or "
                            "sort the traces by CDP\n");
    EXPECT_FALSE(std::filesystem::exists(out));
}

TEST_F(StackCommandWithLittleMemory, FailsOnAPipeThatIsNotSorted) {
    expectRefusedPipe({1, 2, 1, 3, 4, 5, 6},
                      "is not sorted by CDP, and the sums of 5 CDPs are more than --memory 1 allows; raise it, sort the traces "
                      "or give a file instead of a pipe");
}

TEST_F(StackCommandWithLittleMemory, FailsOnAPipeThatComesBackToACdp) {
    expectRefusedPipe({1, 2, 3, 4, 5, 6, 2},
                      "CDP 2 goes on after others, when --memory 1 had made it be written; raise it, sort the traces by CDP or "
                      "give a file instead of a pipe");
}

TEST_F(StackCommandWithLittleMemory, FailsOnAPipeWhoseCdpsAllStayOpen) {
    expectRefusedPipe({1, 2, 3, 4, 5, 1, 2, 3, 4, 5},
                      "CDP 1 goes on after others, when --memory 1 had made it be written; raise it, sort the traces by CDP or "
                      "give a file instead of a pipe");
}
