#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>
#include <vector>

#include "support/peltacommand.h"

namespace {

using nlohmann::json;

constexpr std::size_t traceStart = 3600, traceBytes = 240 + 4 * 200;

/* A clean line of 3 records with 10 channels, to be damaged. */
class Inspect : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(runPelta("synth " + line + " --records 3 --channels 10 --samples 200 --dead 0 --format ieee").status, 0);
        bytes = contentsOf(line);
    }
    /* The file with the big-endian word of size bytes at the zero-based place set. */
    void put(std::size_t place, int size, std::int64_t value) {
        for (int k = 0; k < size; ++k)
            bytes[place + static_cast<std::size_t>(k)] = static_cast<char>(value >> 8 * (size - 1 - k));
    }
    void putInTrace(std::size_t trace, std::size_t byte, int size, std::int64_t value) {
        put(traceStart + trace * traceBytes + byte - 1, size, value);
    }
    void putInEveryTrace(std::size_t byte, int size, std::int64_t value) {
        for (std::size_t t = 0; t < 30; ++t) putInTrace(t, byte, size, value);
    }
    const std::string& damaged() {
        std::ofstream(file, std::ios::binary) << bytes;
        return file;
    }
    const TemporaryFolder folder;
    const std::string line = folder / "line.sgy", file = folder / "damaged.sgy";
    std::string bytes;
};

TEST_F(Inspect, FindsNothingWrongWithACleanLine) {
    for (const char* command : {"info ", "check "}) {
        const Outcome outcome = runPelta(command + line);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
        EXPECT_TRUE(outcome.out.ends_with("\n0 errors, 0 warnings\n")) << outcome.out;
        const json report = json::parse(runPelta(command + line + " --json").out);
        EXPECT_EQ(report["findings"], json::array());
        EXPECT_EQ(report["traces"], 30);
    }
}

/* The only finding of check, and its exit status with it. */
json onlyFinding(const std::string& arguments, int status) {
    const Outcome outcome = runPelta("check --json " + arguments);
    EXPECT_EQ(outcome.status, status) << outcome.out << outcome.err;
    EXPECT_EQ(outcome.err.empty(), status == 0) << outcome.err;
    const json report = json::parse(outcome.out);
    EXPECT_EQ(report["findings"].size(), 1u) << report["findings"].dump(1);
    EXPECT_EQ(report["findings"][0]["severity"], status == 0 ? "warning" : "error");
    return report["findings"][0];
}

#define EXPECT_FINDING(finding, byteOf, wordOf, foundOf, expectedOf, optionOf, traceOf, countOf) \
    do {                                                                                         \
        const json f = finding;                                                                  \
        EXPECT_EQ(f["byte"], byteOf) << f.dump();                                                \
        EXPECT_EQ(f["word"], wordOf) << f.dump();                                                \
        EXPECT_EQ(f["found"], foundOf) << f.dump();                                              \
        EXPECT_EQ(f["expected"], expectedOf) << f.dump();                                        \
        EXPECT_EQ(f["option"], optionOf) << f.dump();                                            \
        EXPECT_EQ(f["trace"], traceOf) << f.dump();                                              \
        EXPECT_EQ(f["count"], countOf) << f.dump();                                              \
    } while (false)

const char* const scalarValues = "1, 10, 100, 1000 or 10000 or one of these negative";

std::size_t placeInTrace(std::size_t trace, std::size_t byte) { return traceStart + (trace - 1) * traceBytes + byte; }

TEST_F(Inspect, FindsASampleCountOfTracesThatTheFileContradicts) {
    for (std::size_t t : {4u, 9u}) putInTrace(t, 115, 2, 150);
    EXPECT_FINDING(onlyFinding(damaged(), 0), placeInTrace(5, 115), "samples", 150, 200, "--samples", 5, 2);
}

TEST_F(Inspect, FindsTraceHeadersInTheOtherByteOrder) {
    putInEveryTrace(115, 2, 200 << 8);
    EXPECT_FINDING(onlyFinding(damaged(), 1), placeInTrace(1, 115), "samples", 200 << 8, 200, "--endian", 1, 30);
}

TEST_F(Inspect, FindsAnIntervalOfTracesThatDiffersFromTheFiles) {
    putInTrace(29, 117, 2, 4000);
    EXPECT_FINDING(onlyFinding(damaged(), 0), placeInTrace(30, 117), "interval", 4000, 2000.0, "--interval", 30, 1);
}

TEST_F(Inspect, FindsAFileIntervalOfZeroAndTakesTheTraces) {
    put(3216, 2, 0);
    EXPECT_FINDING(onlyFinding(damaged(), 1), 3217, nullptr, 0, nullptr, "--interval", nullptr, 0);
    EXPECT_EQ(runPelta("check " + damaged() + " --interval 2").status, 0);
}

TEST_F(Inspect, FindsAFileSampleCountOfZeroAndTakesTheTraces) {
    put(3220, 2, 0);
    EXPECT_FINDING(onlyFinding(damaged(), 1), 3221, nullptr, 0, nullptr, "--samples", nullptr, 0);
    EXPECT_EQ(runPelta("check " + damaged() + " --samples 200").status, 0);
}

TEST_F(Inspect, FindsAFileSampleCountThatDoesNotFit) {
    put(3220, 2, 150);
    EXPECT_FINDING(onlyFinding(damaged(), 0), 3221, nullptr, 150, nullptr, "--samples", nullptr, 0);
}

TEST_F(Inspect, FindsATruncatedTraceAndReadsTheWholeOnes) {
    bytes.resize(bytes.size() - 100);
    const json finding = onlyFinding(damaged(), 1);
    EXPECT_FINDING(finding, placeInTrace(30, 1), nullptr, traceBytes - 100, traceBytes, "--samples", 30, 1);
    const std::string text =
        "trace 30 at byte 33761 is cut off: 940 of 1040 bytes are there; expected whole traces; --samples or "
        "--format override wrong words";
    EXPECT_EQ(finding["text"], text);
    EXPECT_EQ(json::parse(runPelta("check --json " + file).out)["traces_read"], 29);
    EXPECT_EQ(runPelta("check " + file).err, "pelta: " + file + ": " + text + "\n");
    const json ofPipe = json::parse(runShell("cat " + file + " | " PELTA_COMMAND " check --json -").out);
    EXPECT_EQ(ofPipe["findings"], json::array({finding}));
    EXPECT_EQ(ofPipe["file"], "standard input");
}

TEST_F(Inspect, FindsMoreTracesPromisedThanPresent) {
    put(3500, 2, 0x0200);
    put(3512, 8, 31);
    EXPECT_FINDING(onlyFinding(damaged(), 1), 3513, nullptr, 30, 31, "--samples", nullptr, 0);
}

TEST_F(Inspect, FindsSamplesThatAreNoNumbers) {
    putInTrace(4, 241 + 4 * 7, 4, 0x7FC00000);
    putInTrace(4, 241 + 4 * 9, 4, 0x7F800000);
    putInTrace(6, 241, 4, 0xFF800000);
    const json finding = onlyFinding(damaged(), 1);
    EXPECT_FINDING(finding, placeInTrace(5, 241 + 4 * 7), nullptr, 3, 0, "--format", 5, 2);
    EXPECT_EQ(finding["text"],
              "samples are not finite (1 NaN, 2 infinite) on 2 of 30 traces, the first is 5, from byte 8029; "
              "expected numbers; --format or --endian override how they are read");
    const json samples = json::parse(runPelta("check --json " + file).out)["samples"];
    EXPECT_EQ(samples["nan_samples"], 1);
    EXPECT_EQ(samples["infinite_samples"], 2);
    EXPECT_EQ(samples["not_finite"], json({{"count", 2}, {"first", {5, 7}}}));
    EXPECT_EQ(samples["live"]["count"], 28);
}

TEST_F(Inspect, FindsCoordinatesWithoutAScalarOrWithOneThatIsNone) {
    for (std::size_t t = 0; t < 30; ++t) {
        putInTrace(t, 71, 2, 0);
        putInTrace(t, 37, 4, 10 * (50 + 25 * (static_cast<int>(t) % 10))); /* offsets as the coordinates have it then */
    }
    EXPECT_FINDING(onlyFinding(damaged(), 0), placeInTrace(1, 71), "coordinate_scalar", 0, scalarValues, "--map", 1, 30);
    putInEveryTrace(71, 2, 1);
    putInTrace(3, 71, 2, 82);
    EXPECT_FINDING(onlyFinding(damaged(), 0), placeInTrace(4, 71), "coordinate_scalar", 82, scalarValues, "--map", 4, 1);
}

TEST_F(Inspect, FindsElevationsWithoutAScalarOrWithOneThatIsNone) {
    putInTrace(2, 41, 4, 600);
    putInTrace(2, 69, 2, 0);
    EXPECT_FINDING(onlyFinding(damaged(), 0), placeInTrace(3, 69), "elevation_scalar", 0, scalarValues, "--map", 3, 1);
    putInTrace(2, 69, 2, 7);
    EXPECT_FINDING(onlyFinding(damaged(), 0), placeInTrace(3, 69), "elevation_scalar", 7, scalarValues, "--map", 3, 1);
}

TEST_F(Inspect, FindsADelayWhoseScalarIsNone) {
    putInTrace(2, 109, 2, 100);
    putInTrace(2, 215, 2, 3);
    EXPECT_FINDING(onlyFinding(damaged(), 0), placeInTrace(3, 215), "time_scalar", 3, scalarValues, "--map", 3, 1);
    putInTrace(2, 215, 2, -10);
    EXPECT_EQ(json::parse(runPelta("check --json " + damaged()).out)["geometry"]["delay_ms"],
              json({{"min", 0.0}, {"max", 10.0}}));
}

TEST_F(Inspect, FindsCoordinatesThatAreMissingOnSomeTraces) {
    putInEveryTrace(185, 4, 50000000);
    putInTrace(11, 181, 4, 0);
    putInTrace(11, 185, 4, 0);
    EXPECT_FINDING(onlyFinding(damaged(), 0), placeInTrace(12, 181), "cdp_x", 0, nullptr, "--map", 12, 1);
}

TEST_F(Inspect, TakesTheOriginForAPlaceOfTheLine) {
    const json geometry = json::parse(runPelta("check --json " + line).out)["geometry"];
    EXPECT_EQ(geometry["sources"]["x"], json({{"min", 0.0}, {"max", 100.0}})) << "the first shot stands at 0";
}

TEST_F(Inspect, FindsAnOffsetThatTheCoordinatesContradict) {
    putInTrace(8, 37, 4, -250); /* the sign and a metre are free */
    EXPECT_EQ(runPelta("check " + damaged()).status, 0);
    putInTrace(9, 37, 4, 300);
    EXPECT_FINDING(onlyFinding(damaged(), 0), placeInTrace(10, 37), "offset", 300, 275.0, "--map", 10, 1);
}

TEST_F(Inspect, FindsOffsetsThatAreZeroThroughout) {
    putInEveryTrace(37, 4, 0);
    EXPECT_FINDING(onlyFinding(damaged(), 0), placeInTrace(1, 37), "offset", 0, 50.0, "--map", 1, 30);
}

TEST_F(Inspect, FindsAnglesBeyondAFullCircle) {
    putInEveryTrace(89, 2, 3);
    putInTrace(20, 81, 4, 3600); /* 360 degrees */
    const json finding = onlyFinding(damaged(), 0);
    EXPECT_FINDING(finding, placeInTrace(30, 89), "coordinate_units", 3, 1, "--map", 30, 1);
}

TEST_F(Inspect, FindsTraceNumbersThatDoNotAscend) {
    putInTrace(7, 5, 4, 3);
    EXPECT_FINDING(onlyFinding(damaged(), 0), placeInTrace(8, 5), "trace_in_file", 3, nullptr, "--map", 8, 1);
    putInTrace(7, 5, 4, 8);
    putInTrace(7, 1, 4, 7);
    EXPECT_FINDING(onlyFinding(damaged(), 0), placeInTrace(8, 1), "trace", 7, nullptr, "--map", 8, 1);
}

TEST_F(Inspect, LetsTraceNumbersBeginAnewWithARecord) {
    for (std::size_t t = 0; t < 30; ++t) putInTrace(t, 1, 4, 1 + static_cast<int>(t % 10));
    EXPECT_TRUE(runPelta("check " + damaged()).out.ends_with("\n0 errors, 0 warnings\n"));
}

TEST_F(Inspect, FindsAChannelThatComesTwiceInARecord) {
    putInTrace(14, 13, 4, 4);
    EXPECT_FINDING(onlyFinding(damaged(), 0), placeInTrace(15, 13), "channel", 4, nullptr, "--map", 15, 1);
}

TEST_F(Inspect, FindsTracesMarkedDeadWhoseSamplesVary) {
    putInTrace(3, 29, 2, 2);
    EXPECT_FINDING(onlyFinding(damaged(), 0), placeInTrace(4, 29), nullptr, 2, 1, "--map", 4, 1);
    EXPECT_EQ(json::parse(runPelta("check --json " + file).out)["samples"]["dead"], json({{"count", 1}, {"first", {4}}}));
}

TEST_F(Inspect, FindsSpikes) {
    putInTrace(5, 241 + 4 * 100, 4, 0x42C80000); /* 100 */
    const json finding = onlyFinding(damaged(), 0);
    EXPECT_EQ(finding["trace"], 6);
    EXPECT_EQ(finding["byte"], placeInTrace(6, 1));
    EXPECT_GT(finding["found"], 10.0);
}

TEST_F(Inspect, FindsClippedSamples) {
    for (std::size_t k = 50; k < 56; ++k) putInTrace(5, 241 + 4 * k, 4, 0x42C80000);
    EXPECT_FINDING(onlyFinding(damaged(), 0), placeInTrace(6, 1), nullptr, 6, 0, nullptr, 6, 1);
}

TEST_F(Inspect, FindsAFileWithoutLiveTraces) {
    for (std::size_t t = 0; t < 30; ++t)
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(placeInTrace(t + 1, 240)), 800, '\0');
    EXPECT_FINDING(onlyFinding(damaged(), 0), placeInTrace(1, 1), nullptr, 0, nullptr, nullptr, 1, 30);
}

TEST_F(Inspect, FindsSamplesOfAnotherFormat) {
    put(3224, 2, 1);
    const json report = json::parse(runPelta("check --json " + damaged()).out);
    EXPECT_FINDING(report["findings"].at(0), 3225, nullptr, "ibm", "ieee", "--format", nullptr, 0);
    ASSERT_EQ(runPelta("synth " + line + " --overwrite --records 3 --channels 10 --samples 200 --dead 0 --format ibm").status,
              0);
    bytes = contentsOf(line);
    put(3224, 2, 5);
    EXPECT_FINDING(onlyFinding(damaged(), 0), 3225, nullptr, "ieee", "ibm", "--format", nullptr, 0);
}

TEST_F(Inspect, FindsSamplesInTheOtherByteOrder) {
    ASSERT_EQ(runPelta("synth " + line + " --overwrite --records 3 --channels 10 --samples 200 --dead 0 --format int16").status,
              0);
    bytes = contentsOf(line);
    for (std::size_t t = 0; t < 30; ++t)
        for (std::size_t k = 0; k < 200; ++k) {
            const std::size_t place = traceStart + t * (240 + 400) + 240 + 2 * k;
            std::swap(bytes[place], bytes[place + 1]);
        }
    const json report = json::parse(runPelta("check --json " + damaged()).out);
    EXPECT_EQ(report["findings"][0]["expected"], "little endian") << report["findings"].dump(1);
    EXPECT_EQ(report["findings"][0]["option"], "--endian");
}

TEST_F(Inspect, SaysInOneLineWhyAFileCannotBeRead) {
    const std::string format =
        "sample format at byte 3225 is 77, expected 1 (ibm), 2 (int32), 3 (int16), 5 (ieee) or 8 (int8); "
        "--format overrides it";
    put(3224, 2, 77);
    const std::pair<std::string, std::string> cases[] = {
        {damaged(), "pelta: " + file + ": " + format + "\n"},
        {"/dev/null", "pelta: /dev/null: ends inside the file headers, expected 3600 bytes of them and traces\n"},
        {folder / "none.sgy", "pelta: " + (folder / "none.sgy") + ": cannot be read: No such file or directory\n"}};
    for (const char* command : {"info ", "check "})
        for (const auto& [name, complaint] : cases) {
            const Outcome outcome = runPelta(command + name);
            EXPECT_EQ(outcome.status, 1);
            EXPECT_EQ(outcome.out, "");
            EXPECT_EQ(outcome.err, complaint);
        }
    const json report = json::parse(runPelta("check --json " + file).out);
    EXPECT_EQ(report["readable"], false);
    EXPECT_FINDING(report["findings"].at(0), 3225, nullptr, 77, "1 (ibm), 2 (int32), 3 (int16), 5 (ieee) or 8 (int8)",
                   "--format", nullptr, 0);
    EXPECT_EQ(report["findings"][0]["text"], format);
}

TEST_F(Inspect, CountsTheErrorsThatTheLineOnStandardErrorLeavesOut) {
    putInTrace(6, 241, 4, 0xFF800000);
    bytes.resize(bytes.size() - 1);
    const Outcome outcome = runPelta("info " + damaged());
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.err.ends_with("override wrong words (and 1 more)\n")) << outcome.err;
    EXPECT_NE(outcome.out.find("\n2 errors, 0 warnings\n"), std::string::npos) << outcome.out;
}

TEST_F(Inspect, PrintsTheWordsThatAreFilled) {
    putInTrace(2, 91, 2, 1);
    putInTrace(2, 233, 4, 256);
    const std::string out = runPelta("check " + damaged()).out;
    EXPECT_NE(out.find("\nword                 byte          min          max  distinct    filled\n"
                       "trace                   1            1           30        30        30\n"),
              std::string::npos)
        << out;
    EXPECT_NE(out.find("\nsource_x               73            0         1000         3        20\n"), std::string::npos)
        << out;
    EXPECT_NE(out.find("\nalso filled: bytes 92, 235\n"), std::string::npos) << out;
    EXPECT_EQ(out.find("\nsource_y"), std::string::npos) << out;
}

TEST_F(Inspect, LooksAtAHandfulOfTracesForInfo) {
    putInTrace(29, 241, 4, 0x7FC00000);
    damaged();
    EXPECT_EQ(runPelta("info " + file).status, 1) << "the last trace of a file is read";
    const json ofFile = json::parse(runPelta("info --json " + file).out);
    EXPECT_EQ(ofFile["traces"], 30);
    EXPECT_EQ(ofFile["traces_read"], 24);
    const json ofPipe = json::parse(runShell("cat " + file + " | " PELTA_COMMAND " info - --json").out);
    EXPECT_EQ(ofPipe["traces"], nullptr);
    EXPECT_EQ(ofPipe["traces_read"], 24);
    EXPECT_EQ(ofPipe["bytes"], nullptr);
    EXPECT_EQ(ofPipe["errors"], 0);
    EXPECT_EQ(ofPipe["words"][0]["max"], 24) << "the first ones";
}

TEST_F(Inspect, PrintsTheTextHeaderWholeOnRequest) {
    const std::string brief = runPelta("info " + line).out, whole = runPelta("info --text " + line).out;
    EXPECT_EQ(brief.find("\n\n\n"), std::string::npos) << brief;
    EXPECT_EQ(std::count(whole.begin(), whole.end(), '\n') - std::count(brief.begin(), brief.end(), '\n'), 40 - 4);
}

/* What the field data are known for. */
class FieldData : public testing::Test {
  protected:
    void SetUp() override {
        const char* folder = std::getenv("PELTA_FIELD_DATA");
        if (!folder) GTEST_SKIP() << "PELTA_FIELD_DATA names no folder";
        _folder = folder;
    }
    /* Word, or byte in the file, and option of each finding. */
    std::vector<std::string> findings(const std::string& name) {
        const json report = json::parse(runPelta("check --json " + _folder + "/" + name).out);
        std::vector<std::string> list;
        for (const json& finding : report["findings"])
            list.push_back(finding["word"].is_string() ? finding["word"].get<std::string>() : finding["byte"].dump());
        return list;
    }
    std::string _folder;
};

using Names = std::vector<std::string>;

TEST_F(FieldData, GivesTheContradictionsOfEachFile) {
    EXPECT_EQ(findings("refraction_roll.sgy"), Names());
    EXPECT_EQ(findings("stack_npra_31_81.sgy"), Names());
    EXPECT_EQ(findings("cube_f3_ibm.sgy"), Names());
    EXPECT_EQ(findings("cube_f3_int16.sgy"), Names{"samples"});
    EXPECT_EQ(findings("refraction_met19_3b.sgy"), Names{"291921"}) << "cross-talk on trace 69";
    EXPECT_EQ(findings("subbottom_metzabok_l4.sgy"), (Names{"trace_in_file", "216801"})) << "clipped from trace 206 on";
    EXPECT_EQ(findings("marine_shots_viking.sgy"), (Names{"coordinate_units", "samples"}));
    EXPECT_EQ(findings("shot_96ch.sgy"), Names{"offset"});
    EXPECT_EQ(findings("stack_riv6.sgy"), Names{"coordinate_scalar"});
    EXPECT_EQ(findings("trace_ibm_lithoprobe.sgy"), (Names{"offset", "elevation_scalar", "coordinate_scalar"}));
    EXPECT_EQ(findings("trace_ibm_little_endian.sgy"), (Names{"3225", "coordinate_scalar"})) << "its text says MSDOS IEEE";
    EXPECT_EQ(findings("trace_int16.sgy"), Names{"elevation_scalar"});
    EXPECT_EQ(findings("trace_int32.sgy"), Names());
}

}
