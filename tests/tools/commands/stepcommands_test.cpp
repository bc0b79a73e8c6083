#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/peltacommand.h"
#include "support/segyfiles.h"

namespace {

/* What steps do to a whole line: traces that go, checks over all of them, words in headers. */

constexpr std::size_t preambleBytes = 3600, traceBytes = 240 + 4 * 300;

class StepCommands : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(runPelta("synth " + line + " --records 3 --channels 10 --samples 300 --noise 0.02").status, 0);
    }

    std::string file(const std::string& name, const std::string& contents) const {
        std::ofstream(folder / name, std::ios::binary) << contents;
        return folder / name;
    }

    /* The bytes of the traces of a line by their positions. */
    static std::string traces(const std::string& lineBytes, const std::vector<std::size_t>& numbers) {
        std::string bytes;
        for (std::size_t number : numbers) bytes += lineBytes.substr(preambleBytes + number * traceBytes, traceBytes);
        return bytes;
    }

    void expectFailure(const std::string& arguments, const std::string& expected) {
        const std::string listing = folder.listing();
        const Outcome outcome = runPelta(arguments);
        EXPECT_EQ(outcome.status, 1) << arguments;
        EXPECT_EQ(outcome.err, "pelta: " + expected + "\n") << arguments;
        EXPECT_EQ(folder.listing(), listing) << arguments;
    }

    const TemporaryFolder folder;
    const std::string line = folder / "line.sgy", out = folder / "out.sgy";
    /* Receivers of the first record stand at 50, 75 .. 275 m, those of the others 50 m on. */
    const std::string firstReceivers = " --polygon 40:-5,110:-5,110:5,40:5 --position receiver ";
};

TEST_F(StepCommands, LeavesTheTracesOutsideAnAreaOut) {
    const Outcome outcome = runPelta("trim " + line + " " + out + firstReceivers);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.err.find("30 traces in "), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find(", 26 of them dropped -> "), std::string::npos) << outcome.err;
    const std::string before = contentsOf(line);
    EXPECT_TRUE(contentsOf(out) == before.substr(0, preambleBytes) + traces(before, {0, 1, 2, 10}));
}

TEST_F(StepCommands, DropsTheSameTracesForAnyNumberOfThreadsAndThroughPipes) {
    const std::string big = folder / "big.sgy", area = " --polygon 300:-5,900:-5,900:5,300:5 --quiet ";
    ASSERT_EQ(runPelta("synth " + big + " --records 20 --channels 60 --samples 200").status, 0);
    for (const char* threads : {"1", "7"})
        ASSERT_EQ(runPelta("trim " + big + " " + (folder / threads) + area + "--threads " + threads).status, 0);
    const Outcome piped = runPelta("trim - -" + area + "< " + big);
    EXPECT_LT(piped.out.size(), contentsOf(big).size());
    EXPECT_TRUE(contentsOf(folder / "1") == piped.out);
    EXPECT_TRUE(contentsOf(folder / "7") == piped.out);
}

TEST_F(StepCommands, ShowsDroppedTracesToEarlierStepsOnly) {
    const std::string flow = file(
        "flow.toml", "[[step]]\nname='pick'\npicks_file='" + (folder / "early.csv") +
                         "'\n[[step]]\nname='trim'\nposition='receiver'\npolygon=[[40,-5],[110,-5],[110,5],[40,5]]\n"
                         "[[step]]\nname='pick'\npicks_file='" +
                         (folder / "late.csv") + "'\n[[step]]\nname='gain'\ngains_file='" + (folder / "gains.sgy") + "'\n");
    const Outcome outcome = runPelta("run " + flow + " " + line + " " + out);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto rows = [](const std::string& text) { return std::count(text.begin(), text.end(), '\n') - 1; };
    EXPECT_EQ(rows(contentsOf(folder / "early.csv")), 30);
    EXPECT_EQ(rows(contentsOf(folder / "late.csv")), 4);
    EXPECT_EQ(contentsOf(folder / "gains.sgy").size(), preambleBytes + 4 * traceBytes);
}

TEST_F(StepCommands, LeavesTheTraceCountOfARevision2FileOpenWhenSomeAreDropped) {
    SegyRecipe recipe;
    recipe.traces = 5;
    recipe.revision = 2;
    std::string whole = makeSegy(recipe);
    putWord(whole, 3513, 8, 5);
    const std::string in = file("revision2.sgy", whole);
    /* Receivers at 1234.5 m and every 100 m from there. */
    ASSERT_EQ(runPelta("trim " + in + " " + out + " --position receiver --polygon 1200:-1,1500:-1,1500:1,1200:1").status, 0);
    std::string expected = whole.substr(0, recipe.placeInTrace(3, 0));
    putWord(expected, 3513, 8, 0);
    EXPECT_TRUE(contentsOf(out) == expected);
    EXPECT_EQ(runPelta("check " + out).status, runPelta("check " + in).status);
    ASSERT_EQ(runPelta("trim " + in + " " + (folder / "killed.sgy") +
                       " --removal kill --position receiver --polygon 1200:-1,1500:-1,1500:1,1200:1")
                  .status,
              0);
    EXPECT_TRUE(contentsOf(folder / "killed.sgy").substr(0, preambleBytes) == whole.substr(0, preambleBytes));
}

TEST_F(StepCommands, WritesNoFileWithoutTraces) {
    const std::string picks = folder / "picks.csv";
    expectFailure("trim " + line + " " + out + " --polygon 1:1,2:1,2:2",
                  line + ": every trace was dropped, and none is left to write");
    const std::string flow = file(
        "flow.toml", "[[step]]\nname='pick'\npicks_file='" + picks + "'\n[[step]]\nname='trim'\npolygon=[[1,1],[2,1],[2,2]]\n");
    expectFailure("run " + flow + " " + line + " " + out, line + ": every trace was dropped, and none is left to write");
    expectFailure(
        "trim " + line + " " + out + " --polygon 1:1,2:1,2:2 --map cdp_x=201:4,cdp_y=205:4",
        "trim: the cdp coordinates are 0 on every trace; position chooses others, --map cdp_x=BYTE:SIZE,cdp_y=BYTE:SIZE "
        "names their words");
}

TEST_F(StepCommands, RefusesOffsetsThatWereNeverWritten) {
    const std::string gate = " --map offset=201:4 --gate 0:0,1500:0,1500:1200 ";
    const std::string reason =
        ": trim needs offsets, and the 4 bytes at byte 201 of every trace header hold 0; --map offset=BYTE:SIZE names the "
        "right word";
    expectFailure("trim " + line + " " + out + gate, line + reason);
    expectFailure("trim - " + out + gate + "< " + line, "standard input" + reason);
    const Outcome ahead = runPelta("trim " + line + " -" + gate);
    EXPECT_EQ(ahead.status, 1);
    EXPECT_EQ(ahead.out, "") << "a file is looked at before anything is written";
    EXPECT_EQ(runPelta("trim " + line + " " + out + " --map offset=201:4" + firstReceivers).status, 0) << "needs none";
}

TEST_F(StepCommands, FindsTheOnlyOffsetOfALineInItsLastTrace) {
    std::string bytes = contentsOf(line);
    putWord(bytes, preambleBytes + 29 * traceBytes + 201, 4, 275);
    const std::string in = file("late.sgy", bytes), options = " --map offset=201:4 --gate -1:0,1500:0,1500:1200,-1:1200 ";
    ASSERT_EQ(runPelta("trim " + in + " " + out + options).status, 0);
    ASSERT_EQ(runPelta("trim - " + (folder / "piped.sgy") + options + "< " + in).status, 0);
    EXPECT_TRUE(contentsOf(out) == bytes) << "no sample lies outside, and no trace was lost to the look ahead";
    EXPECT_TRUE(contentsOf(folder / "piped.sgy") == bytes);
}

TEST_F(StepCommands, MutesByOffsetAndSaysSoInTheHeader) {
    ASSERT_EQ(runPelta("mute " + line + " " + out + " --top 0:0,1000:1000 --bottom 0:500").status, 0);
    const std::string before = contentsOf(line), after = contentsOf(out);
    ASSERT_EQ(after.size(), before.size());
    for (std::size_t t = 0; t < 30; ++t) {
        const std::size_t start = preambleBytes + t * traceBytes;
        std::string header = before.substr(start, 240);
        putWord(header, 111, 2, 50 + 25 * (static_cast<int>(t) % 10) + t % 2); /* the next sample at 2 ms */
        putWord(header, 113, 2, 500);
        EXPECT_TRUE(after.substr(start, 240) == header) << "header of trace " << t + 1;
    }
}

TEST_F(StepCommands, RefusesAMuteThatIsNone) {
    std::ofstream(folder / "twice.csv") << "offset,time\n0,100\n500,100\n500,200\n";
    const std::pair<std::string, std::string> cases[] = {
        {"--top 500:100,0:50", "mute: top_m_ms: offsets must ascend, but 0 m follows 500 m"},
        {"--bottom-file " + (folder / "twice.csv"), (folder / "twice.csv") + ": offsets must ascend, but 500 m follows 500 m"},
    };
    const std::string listing = folder.listing();
    for (const auto& [options, expected] : cases) {
        const Outcome outcome = runPelta("mute " + line + " " + out + " " + options);
        EXPECT_EQ(outcome.status, 2) << options;
        EXPECT_EQ(outcome.err, "pelta: " + expected + "\n") << options;
    }
    EXPECT_EQ(folder.listing(), listing);
    expectFailure("mute " + line + " " + out + " --bottom-file " + (folder / "none.csv"),
                  (folder / "none.csv") + ": cannot be read: No such file or directory");
    const std::string changing = " --map offset=201:4 --top 0:0,1000:1000 ";
    expectFailure("mute " + line + " " + out + changing,
                  line +
                      ": mute needs offsets, and the 4 bytes at byte 201 of every trace header hold 0; --map "
                      "offset=BYTE:SIZE names the right word");
    EXPECT_EQ(runPelta("mute " + line + " " + out + " --map offset=201:4 --top 0:100").status, 0) << "one time for all offsets";
}

TEST_F(StepCommands, ReadTheirTablesFromStandardInputToo) {
    const std::pair<const char*, const char*> tables[] = {
        {"mute --top-file", "0,0\n1000,1000\n"},
        {"static --statics-file", "trace,static_ms\n1,4\n2,8\n"},
        {"trim --position receiver --polygon-file", "40,-5\n110,-5\n110,5\n40,5\n"},
        {"moveout --velocity-file", "0,1500\n1000,2500\n"},
    };
    for (const auto& [step, text] : tables) {
        const std::string table = file("table.csv", text), files = " --quiet --overwrite --threads 3 " + line + " ";
        EXPECT_EQ(runPelta(std::string(step) + " " + table + files + (folder / "named.sgy")).status, 0) << step;
        const Outcome piped = runPelta(std::string(step) + " -" + files + out + " < " + table);
        EXPECT_EQ(piped.status, 0) << step << piped.err;
        EXPECT_TRUE(contentsOf(out) == contentsOf(folder / "named.sgy")) << step;
        EXPECT_FALSE(contentsOf(out) == contentsOf(line)) << step;
    }
}

TEST_F(StepCommands, CountsTheTracesWithoutAStatic) {
    const std::string statics = file("statics.csv", "record,channel,static_ms\n1,1,4\n1,2,-4\n1,3,0\n");
    const Outcome outcome = runPelta("static " + line + " " + out + " --quiet --statics-file " + statics);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err,
              "pelta: warning: " + statics + ": holds no static of 27 of 30 traces, which were left where they are\n");
    const std::string before = contentsOf(line), after = contentsOf(out);
    const auto samplesOf = [](const std::string& bytes, std::size_t trace) {
        return bytes.substr(preambleBytes + trace * traceBytes + 240, 4 * 300);
    };
    /* Two samples of 2 ms, later in the first trace and earlier in the second. */
    EXPECT_TRUE(samplesOf(after, 0) == std::string(8, '\0') + samplesOf(before, 0).substr(0, 4 * 298));
    EXPECT_TRUE(samplesOf(after, 1) == samplesOf(before, 1).substr(8) + std::string(8, '\0'));
    EXPECT_TRUE(after.substr(preambleBytes + 2 * traceBytes) == before.substr(preambleBytes + 2 * traceBytes));
}

TEST_F(StepCommands, RefusesStaticsOfAnotherLine) {
    const std::string statics = file("statics.csv", "record,channel,static_ms\n77,1,4\n");
    const std::string flow = file("flow.toml", "[[step]]\nname='pick'\npicks_file='" + (folder / "picks.csv") +
                                                   "'\n[[step]]\nname='static'\nstatics_file='" + statics + "'\n");
    expectFailure(
        "run " + flow + " " + line + " " + out,
        statics + ": holds a static of none of the 30 traces; do its record and channel, or trace, count as in the line?");
    expectFailure(
        "static " + line + " " + out + " --statics-file " + file("bad.csv", "record,channel,static_ms\n1,1,4\n1,1,5\n"),
        (folder / "bad.csv") + ":3: another static_ms of this trace stands in line 2");
}

TEST_F(StepCommands, KeepTheirTablesAndFlowsFromTheOutputs) {
    const std::string times = file("times.csv", "offset,time\n0,100\n500,200\n");
    const std::string corners = file("corners.csv", "x,y\n-1,-1\n9999,-1\n9999,1\n");
    const std::string statics = file("statics.csv", "record,channel,static_ms\n1,1,4\n");
    const std::string flow = file("flow.toml", "[[step]]\nname='gain'\n");
    expectInputKept("mute " + line + " " + times + " --bottom-file " + times, times);
    expectInputKept("trim " + line + " " + corners + " --polygon-file " + corners, corners);
    expectInputKept("static " + line + " " + statics + " --statics-file " + statics, statics);
    expectInputKept("run " + flow + " " + line + " " + flow, flow);
    expectInputKept("stack " + line + " " + flow + " --flow " + flow, flow);
    const std::string picking = file(
        "picking.toml", "[[step]]\nname='pick'\npicks_file='" + times + "'\n[[step]]\nname='mute'\ntop_file='" + times + "'\n");
    expectInputKept("run " + picking + " " + line + " " + out, times);
    EXPECT_FALSE(std::filesystem::exists(out));
}

TEST_F(StepCommands, GiveTheSameBytesForAnyNumberOfThreads) {
    const std::string big = folder / "big.sgy";
    const std::string flow = file("flow.toml",
                                  "[[step]]\nname='static'\nword='channel'\n[[step]]\nname='mute'\ntop_m_ms=[[0,0],[900,300]]\n"
                                  "[[step]]\nname='phase'\nangle_deg=-30\n[[step]]\nname='hilbert'\n"
                                  "[[step]]\nname='trim'\ngate_m_ms=[[0,0],[2000,0],[2000,350]]\n");
    ASSERT_EQ(runPelta("synth " + big + " --records 20 --channels 60 --samples 200").status, 0);
    for (const char* threads : {"1", "7"})
        ASSERT_EQ(runPelta("run " + flow + " " + big + " " + (folder / threads) + " --threads " + threads).status, 0);
    EXPECT_FALSE(contentsOf(folder / "1") == contentsOf(big));
    EXPECT_TRUE(contentsOf(folder / "1") == contentsOf(folder / "7"));
}

}
