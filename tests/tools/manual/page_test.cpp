#include "manual/page.h"

#include <gtest/gtest.h>

namespace pelta::manual {
namespace {

std::string behindTheTitle(const Page& page) { return page.text().substr(page.text().find(".SH NAME")); }

TEST(ManualPage, KeepsHyphensOfWordsAndMakesDashesOfOptionsCopyable) {
    EXPECT_EQ(plain("a time-domain operator; --map or -"), "a time-domain operator; \\-\\-map or \\-");
    EXPECT_EQ(bold("pelta-run --show"), "\\fBpelta\\-run \\-\\-show\\fR");
}

TEST(ManualPage, WritesWhatTheFormatterWouldTakeForCommandsAsText) {
    EXPECT_EQ(plain("\\n"), "\\en");
    EXPECT_EQ(literal(".asc 'x' `y` ~^"), "\\&.asc \\(aqx\\(aq \\(gay\\(ga \\(ti\\(ha");
    Page page("pelta-x", 1, "does it");
    page.section("Description");
    page.paragraph("Writes text. .asc or .bin tell the format.");
    EXPECT_EQ(behindTheTitle(page),
              ".SH NAME\npelta\\-x \\- does it\n.SH DESCRIPTION\nWrites text.\n\\&.asc or .bin tell the format.\n");
}

TEST(ManualPage, SeparatesParagraphsItemsAndExamples) {
    Page page("pelta-x", 5, "does it");
    page.section("Options");
    page.item(bold("--x"), "One.");
    page.paragraph("Two.");
    page.example("pelta x\npelta y");
    EXPECT_EQ(page.fileName(), "pelta-x.5");
    EXPECT_EQ(
        behindTheTitle(page),
        ".SH NAME\npelta\\-x \\- does it\n.SH OPTIONS\n.TP\n\\fB\\-\\-x\\fR\nOne.\n.PP\nTwo.\n.PP\n.nf\n.RS\npelta x\npelta "
        "y\n.RE\n.fi\n");
}

TEST(ManualPage, BreaksLongTextBetweenWords) {
    Page page("pelta-x", 1, "does it");
    page.section("Description");
    page.paragraph(std::string(60, 'a') + " " + std::string(30, 'b') + " c");
    EXPECT_TRUE(page.text().ends_with(std::string(60, 'a') + "\n" + std::string(30, 'b') + " c\n"));
}

TEST(ManualPage, MakesASentenceOfAHelpText) {
    EXPECT_EQ(sentence("records to draw"), "Records to draw.");
    EXPECT_EQ(sentence("CDP."), "CDP.");
    EXPECT_EQ(sentence(""), "");
}

}
}
