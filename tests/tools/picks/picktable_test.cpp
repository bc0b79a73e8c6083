#include "picks/picktable.h"

#include <gtest/gtest.h>

#include "support/complaint.h"
#include "support/failure.h"
#include "support/files.h"

namespace pelta {
namespace {

PickTable tableOf(const std::string& text) {
    const ScratchFolder folder;
    writeFile(folder.file("picks.csv"), text);
    return PickTable(folder.file("picks.csv"));
}

std::string complaint(const std::string& text) {
    const ScratchFolder folder;
    const std::string name = folder.file("picks.csv");
    writeFile(name, text);
    return complaintOf<Failure>([&] { PickTable{name}; }).substr(name.size());
}

TEST(PickTable, FindsPicksByTraceNumber) {
    const PickTable table = tableOf("trace,record,channel,pick_samples,pick_ms\n1,7,1,10,20.5\n2,7,2,0,\n");
    EXPECT_EQ(table.size(), 1u);
    EXPECT_EQ(table.timeMs(1, 0, 0), 20.5);
    EXPECT_EQ(table.timeMs(2, 7, 2), std::nullopt);
}

TEST(PickTable, FindsHandPicksByRecordAndChannelInSeconds) {
    const PickTable table = tableOf("ffid,channel,time_s,valid\r\n7,1,0.02,1\r\n7,2,0.03,0\r\n");
    EXPECT_EQ(table.timeMs(99, 7, 1), 20.0);
    EXPECT_EQ(table.timeMs(99, 7, 2), std::nullopt);
}

TEST(PickTable, NamesWhatIsWrong) {
    EXPECT_EQ(complaint("a,b\n1,2\n"),
              ":1: expected columns trace (or record and channel) and pick_ms, first_break_ms, time_ms or "
              "time_s, found 'a,b'");
    EXPECT_EQ(complaint("trace,pick_ms\n1,x\n"), ":2: column pick_ms is 'x', expected a number");
    EXPECT_EQ(complaint("trace,x,pick_ms\n1,2\n"), ":2: expected 3 fields, found '1,2'");
    EXPECT_THROW(PickTable("/nowhere/picks.csv"), Failure);
}

}
}
