#include "flow/tracetable.h"

#include <gtest/gtest.h>

#include "support/complaint.h"
#include "support/failure.h"
#include "support/files.h"

namespace pelta {
namespace {

const TraceTableKind statics = {"table of statics", {{"static_ms", 1.0}, {"static_s", 1000.0}}, false};

TraceTable tableOf(const std::string& text, const TraceTableKind& kind = statics) {
    const ScratchFolder folder;
    writeFile(folder.file("table.csv"), text);
    return TraceTable(folder.file("table.csv"), kind);
}

std::string complaint(const std::string& text) {
    const ScratchFolder folder;
    const std::string name = folder.file("table.csv");
    writeFile(name, text);
    return complaintOf<Failure>([&] { TraceTable(name, statics); }).substr(name.size());
}

TEST(TraceTable, FindsValuesByTraceOrByRecordAndChannel) {
    const TraceTable byTrace = tableOf("static_ms,trace\n-2.5,1\n4,3\n");
    EXPECT_EQ(byTrace.value(1, 9, 9), -2.5);
    EXPECT_EQ(byTrace.value(3, 1, 1), 4.0);
    EXPECT_EQ(byTrace.value(2, 1, 1), std::nullopt);
    const TraceTable byStation = tableOf("record,channel,static_s\r\n7,1,0.004\r\n7,2,\r\n\r\n7,3,1\r\n");
    EXPECT_EQ(byStation.value(1, 7, 1), 4.0);
    EXPECT_EQ(byStation.value(2, 7, 2), std::nullopt);
    EXPECT_EQ(byStation.value(2, 7, 3), 1000.0);
    EXPECT_EQ(byStation.size(), 2u);
}

TEST(TraceTable, TakesWhatSpreadsheetsAndPeopleWrite) {
    const TraceTable table = tableOf("\xEF\xBB\xBF\"trace\", static_ms\n# first\n\"1\", +2.5 \n\n2,\" 3\"\n");
    EXPECT_EQ(table.value(1, 0, 0), 2.5);
    EXPECT_EQ(table.value(2, 0, 0), 3.0);
    EXPECT_EQ(complaint("# heading\ntrace,static_ms\n# first\n\n1,x\n"), ":5: column static_ms is 'x', expected a number");
}

TEST(TraceTable, TakesATraceTwiceOnlyWithOneValueUnlessToldOtherwise) {
    const std::string agreeing = "record,channel,static_ms\n7,1,2\n7,1,2\n",
                      contrary = "record,channel,static_ms\n7,1,2\n\n7,1,3\n";
    EXPECT_EQ(tableOf(agreeing).value(0, 7, 1), 2.0);
    EXPECT_EQ(complaint(contrary), ":4: another static_ms of this trace stands in line 2");
    TraceTableKind lenient = statics;
    lenient.takesLastOfSeveral = true;
    EXPECT_EQ(tableOf(contrary, lenient).value(0, 7, 1), 3.0);
}

TEST(TraceTable, NamesWhatIsWrong) {
    EXPECT_EQ(complaint("a,b\n1,2\n"),
              ":1: expected columns trace (or record and channel) and static_ms or static_s, found 'a,b'");
    EXPECT_EQ(complaint("trace,static_ms\n1,x\n"), ":2: column static_ms is 'x', expected a number");
    EXPECT_EQ(complaint("trace,static_ms\n1,nan\n"), ":2: column static_ms is 'nan', expected a number");
    EXPECT_EQ(complaint("trace,static_ms\n1.5,2\n"), ":2: column trace is '1.5', expected a whole number");
    EXPECT_EQ(complaint("trace,static_ms\n1e300,2\n"), ":2: column trace is '1e300', expected a whole number");
    EXPECT_EQ(complaint("trace,x,static_ms\n1,2\n"), ":2: expected 3 fields, found '1,2'");
    EXPECT_EQ(complaint(""), ": holds nothing, expected a table of statics");
    EXPECT_THROW(TraceTable("/nowhere/statics.csv", statics), Failure);
}

}
}
