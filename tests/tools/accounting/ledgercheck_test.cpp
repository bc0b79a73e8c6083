#include "accounting/ledgercheck.h"

#include <gtest/gtest.h>

#include "support/failure.h"
#include "support/files.h"

using namespace pelta;

namespace {

std::string record(std::string text) {
    text.resize(118, ' ');
    return text;
}

const std::string whole = record("ann north L101 pelta-run 126 10 4711");
const std::string stop = '\0' + whole.substr(1);
const std::string blankInName = record("ann north sea L101 pelta-run 126 10 4711");

class LedgerChecked : public testing::Test {
  protected:
    std::vector<std::string> findingsIn(const std::string& contents, std::int64_t expectedWhole) {
        writeFile(ledger, contents);
        const LedgerCheck check = checkLedger(ledger);
        EXPECT_EQ(check.wholeRecords, expectedWhole);
        return check.findings;
    }
    using Texts = std::vector<std::string>;

    ScratchFolder folder;
    const std::string ledger = folder.file("libCumm.so");
};

TEST_F(LedgerChecked, FindsNothingInWholeRecords) {
    EXPECT_EQ(findingsIn("", 0), Texts());
    EXPECT_EQ(findingsIn(whole, 1), Texts());
    EXPECT_EQ(findingsIn(whole + whole + whole, 3), Texts());
}

TEST_F(LedgerChecked, SaysWhatAZeroByteAtTheBeginningOfARecordDoes) {
    const auto text = [](const std::string& place, const std::string& seek) {
        return place +
               ": a zero byte at the beginning, where reading stops: what stands behind is out of reach, and updates are "
               "written "
               "over it; put a letter or a blank there: printf ' ' | dd of=FILE bs=1 seek=" +
               seek + " conv=notrunc";
    };
    EXPECT_EQ(findingsIn(whole + stop + whole, 2), Texts{text("record 2 (byte 119)", "118")});
    EXPECT_EQ(findingsIn(stop + stop + whole + stop.substr(0, 5), 1),
              (Texts{text("records 1 to 2 (byte 1 on)", "0"), text("record 4 (byte 355)", "354")}));
}

TEST_F(LedgerChecked, SaysWhatAShortLastRecordDoes) {
    EXPECT_EQ(
        findingsIn(whole + whole.substr(0, 36), 1),
        Texts{"record 2 (byte 119): 82 bytes short of 118: its next update is written over what stands before it; pad it with "
              "blanks: printf '%82s' '' >> FILE"});
    EXPECT_EQ(
        findingsIn(whole + whole.substr(0, 30), 1),
        Texts{"record 2 (byte 119): 88 bytes short of 118 and not counted, and what is added behind it is out of step; cut it "
              "off: truncate -s 118 FILE"});
}

TEST_F(LedgerChecked, SaysWhichRecordsAreNotReadOrNotWhole) {
    const std::string text =
        ": not just user, area, line, process, year, month, traces and blanks, and not counted right; correct the text in "
        "place, "
        "with names of 1 to 24 bytes and no blanks in them";
    EXPECT_EQ(findingsIn(whole + blankInName + whole, 2), Texts{"record 2 (byte 119)" + text});
    EXPECT_EQ(findingsIn(blankInName + record("") + record("ann") + whole + blankInName, 1),
              (Texts{"records 1 to 3 (byte 1 on)" + text, "record 5 (byte 473)" + text}));
    for (const char* odd : {"ann north L101 pelta-run 126 10 4711x", "ann north L101 pelta-run 126 10 4711 bob",
                            "ann north L101 pelta-run 126 10 4711\n", "ann north L101 a-name-of-twenty-five-bytes 126 10 4711",
                            "ann north L101 pelta-run 126 10"})
        EXPECT_EQ(findingsIn(record(odd), 0), Texts{"record 1 (byte 1)" + text}) << odd;
}

TEST_F(LedgerChecked, FindsThatAnAddedRecordIsOutOfStep) {
    EXPECT_EQ(findingsIn(whole + whole.substr(0, 36) + whole + whole, 2).size(), 2u)
        << "the torn record, and the rest at the end";
}

TEST_F(LedgerChecked, FailsWhereTheFileCannotBeRead) {
    const auto failureOf = [](const std::string& name) {
        try {
            checkLedger(name);
        } catch (const Failure& failure) { return std::string(failure.what()); }
        return std::string();
    };
    EXPECT_EQ(failureOf(folder.file("missing")),
              "ledger: " + folder.file("missing") + ": cannot be opened: No such file or directory");
    EXPECT_EQ(failureOf(folder.path().string()), "ledger: " + folder.path().string() + ": cannot be read: Is a directory");
}

}
