#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <vector>

#include "support/peltacommand.h"
#include "support/segyfiles.h"
#include "synthesis/line.h"

namespace {

using namespace pelta::synthesis;

const double interceptMs =
    2000.0 * weatheredThickness *
    std::sqrt(1.0 / (weatheredVelocity * weatheredVelocity) - 1.0 / (refractorVelocity * refractorVelocity));

/* A table by its headings. */
class Table {
  public:
    explicit Table(const std::string& text) {
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            std::vector<std::string>& fields = _rows.emplace_back();
            std::istringstream stream(line + ",");
            for (std::string field; std::getline(stream, field, ',');) fields.push_back(field);
        }
    }
    std::size_t size() const { return _rows.empty() ? 0 : _rows.size() - 1; }
    std::string text(std::size_t row, const std::string& heading) const {
        const auto found = std::find(_rows[0].begin(), _rows[0].end(), heading);
        if (found == _rows[0].end()) throw std::out_of_range(heading);
        return _rows.at(row + 1).at(static_cast<std::size_t>(found - _rows[0].begin()));
    }
    double number(std::size_t row, const std::string& heading) const { return std::stod(text(row, heading)); }

  private:
    std::vector<std::vector<std::string>> _rows;
};

/* Three records of 20 channels, with their true first breaks. */
class Refract : public testing::Test {
  protected:
    static constexpr int channels = 20, samples = 500;
    static constexpr std::size_t traceBytes = 240 + 4 * samples;

    void SetUp() override {
        ASSERT_EQ(runPelta("synth " + line + " --records 3 --channels 20 --samples 500 --dead 0 --noise 0.02").status, 0);
    }
    Outcome refract(const std::string& arguments) { return runPelta("refract " + line + " " + results + " " + arguments); }
    Table table() const { return Table(contentsOf(results)); }
    /* Changes a word of every trace header. */
    void setWords(int byte, int size, std::int64_t value) {
        std::string bytes = contentsOf(line);
        for (std::size_t start = 3600; start < bytes.size(); start += traceBytes)
            putWord(bytes, start + static_cast<std::size_t>(byte), size, value);
        write(line, bytes);
    }
    static void write(const std::string& name, const std::string& text) { std::ofstream(name, std::ios::binary) << text; }
    void expectFailure(const std::string& arguments, int status, const std::string& complaint) {
        const std::string picture = hasPictures() ? " --picture " + (folder / "p.png") : "";
        expectRefusal(folder,
                      "refract " + line + " " + results + " " + arguments + picture + " --residuals " + (folder / "r.csv"),
                      status, complaint);
    }

    const TemporaryFolder folder;
    const std::string line = folder / "line.sgy", results = folder / "results.csv", truth = line + ".first_breaks.csv";
    const std::string windows = " --offsets 150,1000 --direct 0,120 ";
};

TEST_F(Refract, FindsTheTruthFromTheTrueFirstBreaks) {
    const Outcome outcome = refract("--picks " + truth + windows);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    ASSERT_EQ(table().size(), 3u);
    for (std::size_t row = 0; row < 3; ++row) {
        /* The table of first breaks holds 0.0001 ms, single precision about as much. */
        EXPECT_NEAR(table().number(row, "velocity_m_per_s"), refractorVelocity, 0.01);
        EXPECT_NEAR(table().number(row, "intercept_ms"), interceptMs, 0.001);
        EXPECT_NEAR(table().number(row, "direct_velocity_m_per_s"), weatheredVelocity, 0.01);
        EXPECT_NEAR(table().number(row, "delay_ms"), 0.5 * interceptMs, 0.001);
        EXPECT_NEAR(table().number(row, "thickness_m"), weatheredThickness, 0.002);
        EXPECT_EQ(table().text(row, "side"), "+");
        EXPECT_EQ(table().text(row, "note"), "");
    }
    EXPECT_NE(outcome.out.find("median of 3 fits: velocity 2200.0 m/s, intercept 81.11 ms, direct wave 900.0 m/s, "
                               "thickness 40.0 m\n"),
              std::string::npos)
        << outcome.out;
}

/* Automatic picks are whole samples of 2 ms on a rising wavelet. */
TEST_F(Refract, ComesNearTheTruthFromAutomaticPicksAsTableAndInHeaders) {
    const std::string picked = folder / "picked.sgy", picks = folder / "picks.csv";
    ASSERT_EQ(runPelta("pick " + line + " " + picked +
                       " --ipmethod energy --method offset --velocity 2000 --winlen 200 --map pick=233:2 --picks-file " + picks)
                  .status,
              0);
    const Outcome outcome = refract("--picks " + picks + windows);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    constexpr double intervalMs = 2.0, errors = 4.0;
    for (std::size_t row = 0; row < 3; ++row) {
        EXPECT_NEAR(table().number(row, "intercept_ms"), interceptMs, 1.5 * intervalMs);
        EXPECT_NEAR(table().number(row, "velocity_m_per_s"), refractorVelocity,
                    errors * table().number(row, "velocity_error_m_per_s"));
        EXPECT_LT(table().number(row, "velocity_error_m_per_s"), 0.01 * refractorVelocity);
    }
    const std::string fromTable = contentsOf(results);
    const Outcome fromHeaders = runPelta("refract " + picked + " " + results + " --overwrite --map pick=233:2" + windows);
    ASSERT_EQ(fromHeaders.status, 0) << fromHeaders.err;
    EXPECT_EQ(contentsOf(results), fromTable);
    for (const char* unit : {"us", "samples"}) {
        ASSERT_EQ(runPelta("pick " + line + " " + picked + " --overwrite --ipmethod energy --method offset --velocity 2000" +
                           " --winlen 200 --map pick=233:4 --word-unit " + unit)
                      .status,
                  0);
        ASSERT_EQ(runPelta("refract " + picked + " " + results + " --overwrite --map pick=233:4 --word-unit " + unit + windows)
                      .status,
                  0);
        EXPECT_EQ(contentsOf(results), fromTable) << unit;
    }
}

TEST_F(Refract, NamesTheOutliersAndWritesWhatBecameOfEveryPick) {
    std::string picks = contentsOf(truth);
    const std::size_t start = picks.find("\n25,2,5,150,") + 12;
    picks.replace(start, picks.find(',', start) - start, "250.5");
    write(folder / "wild.csv", picks);
    const std::string residuals = folder / "residuals.csv";
    const Outcome outcome = refract("--picks " + (folder / "wild.csv") + windows + "--residuals " + residuals);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("\nrecord 2 channel 5 (trace 25) at 150 m: +101.21 ms\n"), std::string::npos) << outcome.out;
    EXPECT_EQ(table().number(1, "rejected"), 1);
    EXPECT_NEAR(table().number(1, "intercept_ms"), interceptMs, 0.001);
    const Table all{contentsOf(residuals)};
    ASSERT_EQ(all.size(), 60u);
    EXPECT_EQ(all.text(0, "weight"), "") << "outside the window";
    EXPECT_EQ(all.text(24, "trace"), "25");
    EXPECT_EQ(all.number(24, "weight"), 0);
    EXPECT_NEAR(all.number(24, "residual_ms"), 101.21, 0.01);
}

TEST_F(Refract, TakesCoordinatesWhereTheOffsetWordIsEmpty) {
    ASSERT_EQ(refract("--picks " + truth + windows).status, 0);
    const std::string before = contentsOf(results);
    setWords(37, 4, 0);
    const Outcome outcome = refract("--overwrite --picks " + truth + windows);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("offsets from the coordinates, the offset word is 0\n"), std::string::npos) << outcome.out;
    EXPECT_EQ(contentsOf(results), before);
}

TEST_F(Refract, TakesTheOffsetWordWhereCoordinatesContradictIt) {
    setWords(81, 4, 12345678);
    const Outcome outcome = refract("--picks " + truth + windows);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("offsets from the offset word, which the coordinates contradict\n"), std::string::npos)
        << outcome.out;
    EXPECT_NEAR(table().number(0, "velocity_m_per_s"), refractorVelocity, 0.01);
}

TEST_F(Refract, TellsTheSidesBySourceAndReceiverWhereTheWordHasNoSign) {
    std::string bytes = contentsOf(line);
    for (std::size_t t = 0; t < channels; ++t) { /* receivers of the first record to the other side */
        const std::size_t start = 3600 + t * traceBytes;
        putWord(bytes, start + 81, 4, -static_cast<std::int64_t>(500 + 250 * t));
    }
    write(line, bytes);
    ASSERT_EQ(refract("--picks " + truth + windows).status, 0);
    EXPECT_EQ(table().text(0, "side"), "-");
    EXPECT_EQ(table().text(1, "side"), "+");
    EXPECT_NEAR(table().number(0, "velocity_m_per_s"), refractorVelocity, 0.01);
}

TEST_F(Refract, FitsOtherRecordsWhereOneHasTooFewPicks) {
    std::string picks = contentsOf(truth);
    picks.resize(picks.find("\n48,") + 1);
    write(folder / "few.csv", picks);
    const Outcome outcome = refract("--picks " + (folder / "few.csv") + windows);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    ASSERT_EQ(table().size(), 3u);
    EXPECT_EQ(table().text(2, "note"), "3 picks in the window; 4 are needed");
    EXPECT_EQ(table().text(2, "velocity_m_per_s"), "");
    EXPECT_NE(outcome.out.find("       3    +      3  no fit: 3 picks in the window; 4 are needed\n"), std::string::npos)
        << outcome.out;
    ASSERT_EQ(refract("--overwrite --least-picks 3 --picks " + (folder / "few.csv") + windows).status, 0);
    EXPECT_NEAR(table().number(2, "velocity_m_per_s"), refractorVelocity, 0.02);
}

TEST_F(Refract, CountsWhatStandsTwiceOnce) {
    ASSERT_EQ(refract("--picks " + truth + windows).status, 0);
    const std::string before = contentsOf(results), bytes = contentsOf(line);
    std::string twice = bytes + bytes.substr(3600, traceBytes), picks = contentsOf(truth);
    write(line, twice);
    const std::size_t first = picks.find("\n1,") + 2;
    picks += "61" + picks.substr(first, picks.find('\n', first) - first) + "\n";
    write(folder / "twice.csv", picks);
    const Outcome outcome = refract("--overwrite --picks " + (folder / "twice.csv") + windows);
    EXPECT_EQ(outcome.err,
              "pelta: warning: " + line + ": 1 picks stand twice, with record, channel, offset and time; they count once\n");
    EXPECT_EQ(contentsOf(results), before);
}

TEST_F(Refract, LooksAtTheRecordsThatAreAskedFor) {
    ASSERT_EQ(refract("--records 2 --picks " + truth + windows).status, 0);
    ASSERT_EQ(table().size(), 1u);
    EXPECT_EQ(table().text(0, "record"), "2");
}

TEST_F(Refract, WritesItsTableToStandardOutputAlone) {
    const Outcome file = refract("--picks " + truth + windows);
    const Outcome piped = runPelta("refract " + line + " - --picks " + truth + windows);
    EXPECT_EQ(piped.out, contentsOf(results));
    EXPECT_EQ(piped.err, file.out);
}

TEST_F(Refract, SaysInOneLineWhatIsWrongAndLeavesNoFile) {
    write(folder / "other.csv", "record,channel,time_ms\n77,1,20\n77,2,30\n");
    write(folder / "nan.csv", "trace,pick_ms\n1,20\n2,nan\n");
    write(folder / "few.csv", "trace,pick_ms\n1,20\n2,40\n");
    expectFailure("", 2, "refract: give the first breaks by --picks FILE or by --map pick=BYTE:SIZE");
    expectFailure("--map pick=233:2", 1, line + ": no trace has a pick in the 2 bytes at byte 233");
    expectFailure("--picks " + (folder / "other.csv"), 1,
                  (folder / "other.csv") + ": none of its 2 picks belongs to a trace of " + line);
    expectFailure("--records 9 --picks " + truth, 1,
                  truth + ": none of its 60 picks belongs to a trace of --records of " + line);
    expectFailure("--picks " + (folder / "nan.csv"), 1,
                  (folder / "nan.csv") + ":3: column pick_ms is 'nan', expected a number");
    expectFailure(
        "--picks " + (folder / "few.csv"), 1,
        line + ": nothing could be fitted on 1 side of records; record 1 side +: 2 picks in the window; 4 are needed");
    expectFailure("--offsets 200,100 --picks " + truth, 2, "--offsets: 200 to 100 m is no range of distances from the source");
    expectFailure("--direct nan,100 --picks " + truth, 2, "--direct: nan to 100 m is no range of distances from the source");
    expectFailure("--size 10,10 --picks " + truth, 2, "--size: 10,10 lies outside 400,300 .. 30000,30000");
    expectFailure(
        "--offsets 5000,6000 --picks " + truth, 1,
        line + ": nothing could be fitted on 3 sides of records; record 1 side +: 0 picks in the window; 4 are needed");
}

TEST_F(Refract, SaysWhereOffsetsCannotBeHad) {
    setWords(37, 4, 0);
    expectFailure("--offsets-from word --picks " + truth, 1,
                  line + ": the offset word is 0 in every trace with a pick; --map offset=BYTE:SIZE tells where offsets stand");
    setWords(73, 4, 0);
    setWords(81, 4, 0);
    expectFailure(
        "--picks " + truth, 1,
        line +
            ": the offset word is 0 in every trace with a pick, and the coordinates of sources and receivers are equal "
            "or no lengths; --map offset=BYTE:SIZE tells where offsets stand");
    setWords(37, 4, 300);
    expectFailure("--offsets-from coordinates --picks " + truth, 1,
                  line +
                      ": the coordinates of sources and receivers are equal or no lengths; --map offset=BYTE:SIZE tells where "
                      "offsets stand");
    expectFailure("--picks " + truth, 1,
                  line + ": nothing could be fitted on 3 sides of records; record 1 side +: all 20 picks have the same offset");
}

TEST_F(Refract, KeepsItsInputsFromItsOutputs) {
    for (const std::string& input : {line, truth})
        expectInputKept("refract " + line + " " + input + " --picks " + truth, input);
}

TEST_F(Refract, DrawsAPictureOrSaysThatThisBuildCannot) {
    const std::string picture = folder / "picture.svg";
    const Outcome outcome = refract("--picks " + truth + windows + "--picture " + picture);
    if (!hasPictures()) {
        expectPictureRefused(outcome, picture);
        EXPECT_FALSE(std::filesystem::exists(results));
        return;
    }
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(contentsOf(picture).starts_with("<?xml"));
    EXPECT_EQ(refract("--overwrite --picks " + truth + " --picture " + (folder / "p.gif")).status, 2);
}

/* Hand picks on a rolling spread: sources between receivers have two sides, and coordinates hold the half metres. */
TEST(RefractFieldData, FitsBothSidesOfHandPicks) {
    const char* data = std::getenv("PELTA_FIELD_DATA");
    if (!data) GTEST_SKIP() << "PELTA_FIELD_DATA is not set";
    const std::string survey = std::string(data) + "/refraction_roll";
    const Outcome outcome = runPelta("refract " + survey + ".sgy - --offsets 25,200 --picks " + survey + "_picks.csv");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.err.find("207 first breaks; offsets from the coordinates, which the offset word rounds\n"),
              std::string::npos);
    const Table table{outcome.out};
    int sides[2] = {0, 0};
    for (std::size_t row = 0; row < table.size(); ++row) {
        if (!table.text(row, "note").empty()) continue;
        ++sides[table.text(row, "side") == "+"];
        EXPECT_GT(table.number(row, "velocity_m_per_s"), 1000.0) << "rock below the soil";
        EXPECT_LT(table.number(row, "velocity_m_per_s"), 5000.0);
        EXPECT_GT(table.number(row, "intercept_ms"), 15.0);
    }
    EXPECT_EQ(sides[0], 6);
    EXPECT_EQ(sides[1], 6);
}

}
