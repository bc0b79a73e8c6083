#include "inspection/finding.h"

#include <gtest/gtest.h>

using namespace pelta::inspection;

namespace {

TEST(FindingFromLine, TakesByteValueExpectationAndOptionFromTheLine) {
    const Finding finding =
        findingFromLine(Severity::error,
                        "a.sgy: sample format at byte 3225 is 9, expected 1 (ibm) or 5 (ieee); --format overrides it", "a.sgy");
    EXPECT_EQ(finding.severity, Severity::error);
    EXPECT_EQ(finding.text, "sample format at byte 3225 is 9, expected 1 (ibm) or 5 (ieee); --format overrides it");
    EXPECT_EQ(finding.byte, 3225);
    EXPECT_EQ(finding.found, Value(std::int64_t{9}));
    EXPECT_EQ(finding.expected, Value(std::string("1 (ibm) or 5 (ieee)")));
    EXPECT_EQ(finding.option, "--format");
}

TEST(FindingFromLine, TakesNumbersThatAreNotWhole) {
    EXPECT_EQ(findingFromLine(Severity::warning, "revision 1.0 at byte 3501 is 0.25; read", "a").found, Value(0.25));
    EXPECT_EQ(findingFromLine(Severity::warning, "word at byte 7 is odd", "a").found, Value(std::string("odd")));
}

TEST(FindingFromLine, LeavesOutWhatTheLineDoesNotName) {
    const Finding finding = findingFromLine(Severity::warning, "b.sgy: is empty", "a.sgy");
    EXPECT_EQ(finding.text, "b.sgy: is empty") << "another file's name";
    EXPECT_EQ(finding.byte, std::nullopt);
    EXPECT_EQ(finding.found, Value());
    EXPECT_EQ(finding.expected, Value());
    EXPECT_EQ(finding.option, "");
    EXPECT_EQ(findingFromLine(Severity::warning, "ends at byte 12", "a").found, Value());
    EXPECT_EQ(findingFromLine(Severity::warning, "", "").text, "");
}

}
