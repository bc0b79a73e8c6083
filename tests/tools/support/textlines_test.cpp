#include "support/textlines.h"

#include <gtest/gtest.h>

#include "support/complaint.h"
#include "support/failure.h"
#include "support/files.h"

namespace pelta {
namespace {

using Words = std::vector<std::string_view>;

TEST(TextLines, AreThoseThatHoldSomething) {
    const ScratchFolder folder;
    const std::string name = folder.file("table.csv");
    writeFile(name, "\xEF\xBB\xBF# a comment\n\n  \t\r\none, 1 \r\n  # another\n\xEF\xBB\xBFtwo");
    TextLines lines(name);
    ASSERT_TRUE(lines.next());
    EXPECT_EQ(lines.line(), "one, 1 ");
    EXPECT_EQ(lines.number(), 4);
    EXPECT_EQ(lines.place(), name + ":4");
    EXPECT_EQ(lines.shown(), "one, 1");
    ASSERT_TRUE(lines.next());
    EXPECT_EQ(lines.line(), "two");
    EXPECT_EQ(lines.number(), 6);
    EXPECT_FALSE(lines.next());
}

TEST(TextLines, AreShownShort) {
    const ScratchFolder folder;
    writeFile(folder.file("table.csv"), std::string(1000, 'x'));
    TextLines lines(folder.file("table.csv"));
    ASSERT_TRUE(lines.next());
    EXPECT_EQ(lines.shown(), std::string(60, 'x') + " ...");
}

TEST(TextLines, SayWhyTheyCannotBeRead) {
    const ScratchFolder folder;
    const auto complaint = [](const std::string& name) {
        return complaintOf<Failure>([&] {
            TextLines lines(name);
            lines.next();
        });
    };
    EXPECT_EQ(complaint(folder.file("none")), folder.file("none") + ": cannot be read: No such file or directory");
    EXPECT_EQ(complaint(folder.path()), folder.path().string() + ": cannot be read: Is a directory");
}

TEST(TextLines, AreNotReplacedByAnOutput) {
    const ScratchFolder folder;
    writeFile(folder.file("table.csv"), "1\n");
    const TextLines lines(folder.file("table.csv"));
    EXPECT_ANY_THROW(OutputFile(folder.file("table.csv"), true));
}

TEST(Fields, StandBetweenAnyOfTheSeparators) {
    const auto fieldsOf = [](std::string_view line, std::string_view separators) {
        std::vector<std::string_view> fields = {"left over"};
        splitFields(line, separators, fields);
        return std::vector<std::string>(fields.begin(), fields.end());
    };
    using Fields = std::vector<std::string>;
    EXPECT_EQ(fieldsOf("a, \"b c\" ;d", ",;"), (Fields{"a", "b c", "d"}));
    EXPECT_EQ(fieldsOf("a, b;d", ","), (Fields{"a", "b;d"}));
    EXPECT_EQ(fieldsOf(",a,,", ","), (Fields{"", "a", "", ""}));
    EXPECT_EQ(fieldsOf("", ","), Fields{""});
}

TEST(Words, AreSeparatedByCommasSemicolonsAndBlanks) {
    EXPECT_EQ(wordsOf(" a, b;c\td  e "), (Words{"a", "b", "c", "d", "e"}));
    EXPECT_EQ(wordsOf("\"a\",\"b c\""), (Words{"a", "\"b", "c\""}));
    EXPECT_EQ(wordsOf(" \t"), Words());
}

TEST(Words, AreEmptyBetweenTwoCommasButNotAtTheEnd) {
    EXPECT_EQ(wordsOf("a,,b"), (Words{"a", "", "b"}));
    EXPECT_EQ(wordsOf(", a ; , b"), (Words{"", "a", "", "b"}));
    EXPECT_EQ(wordsOf("a,b, ,\"\",;"), (Words{"a", "b"}));
}

}
}
