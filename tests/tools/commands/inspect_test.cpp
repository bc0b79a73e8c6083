#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "support/process.h"

namespace {

using nlohmann::json;

constexpr std::size_t traceStart = 3600, traceBytes = 240 + 4 * 200;

Outcome pelta(const std::string& arguments) { return runShell(std::string(PELTA_COMMAND) + " " + arguments); }

/* A clean line of 3 records with 10 channels, to be damaged. */
class Inspect : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(pelta("synth " + line + " --records 3 --channels 10 --samples 200 --dead 0 --format ieee").status, 0);
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
        const Outcome outcome = pelta(command + line);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
        EXPECT_TRUE(outcome.out.ends_with("\n0 errors, 0 warnings\n")) << outcome.out;
        const json report = json::parse(pelta(command + line + " --json").out);
        EXPECT_EQ(report["findings"], json::array());
        EXPECT_EQ(report["traces"], 30);
    }
}

TEST_F(Inspect, FailsWithTheFirstErrorAndStillReports) {
    putInTrace(4, 241 + 4 * 7, 4, 0x7FC00000);
    const Outcome outcome = pelta("check " + damaged() + " --json");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "pelta: " + file +
                               ": 1 samples are NaN and 0 infinite, the first is sample 8: 1 of 30 traces, the first is 5; "
                               "expected finite samples; --format and --endian say how to read them\n");
    const json finding = json::parse(outcome.out)["findings"].at(0);
    EXPECT_EQ(finding["severity"], "error");
    EXPECT_EQ(finding["trace"], 5);
    EXPECT_EQ(finding["count"], 1);
}

}
