#include "commands/optionfacts.h"

#include <gtest/gtest.h>

#include "commands/options.h"

namespace pelta {
namespace {

using Texts = std::vector<std::string>;

class Facts : public testing::Test {
  protected:
    CLI::App app{"", "pelta"};
    double number = 2.5;
    std::string text = "mean";
    std::vector<double> numbers;
    bool flag = false;
};

TEST_F(Facts, HoldNamesValueRangeAndDefaultOfANumber) {
    const OptionFacts facts = factsOf(*app.add_option("-t,--tail,--tail-ms", number, "length of the tail, ms")
                                           ->check(inRange(-4.0, 90.0))
                                           ->capture_default_str());
    EXPECT_EQ(facts.names, (Texts{"-t", "--tail", "--tail-ms"}));
    EXPECT_EQ(facts.value, "NUMBER");
    EXPECT_EQ(facts.sentence, "length of the tail, ms");
    EXPECT_EQ(facts.range, "-4 to 90");
    EXPECT_EQ(facts.byDefault, "2.5");
    EXPECT_FALSE(facts.isFlag() || facts.isArgument || facts.isRequired);
}

TEST_F(Facts, HoldTheNamesThatAChoiceTakes) {
    const OptionFacts facts =
        factsOf(*app.add_option("--block", text, "what stands for several")->check(oneOf({"none", "mean"})));
    EXPECT_EQ(facts.value, "NAME");
    EXPECT_EQ(facts.choices, (Texts{"none", "mean"}));
    EXPECT_EQ(facts.range, "");
    EXPECT_EQ(facts.byDefault, "");
}

TEST_F(Facts, TakeParenthesesAtTheEndForTheDefaultUnlessThereIsOne) {
    const OptionFacts told =
        factsOf(*app.add_option("--region", numbers, "edges (of a map) (round the points)")->type_name("N,N"));
    EXPECT_EQ(told.sentence, "edges (of a map)");
    EXPECT_EQ(told.byDefault, "round the points");
    const OptionFacts captured = factsOf(*app.add_option("--title", text, "title (in one line)")->capture_default_str());
    EXPECT_EQ(captured.sentence, "title (in one line)");
    EXPECT_EQ(captured.byDefault, "mean");
}

TEST_F(Facts, KeepAValuesNameThatHoldsAColon) {
    const CLI::Option* option = app.add_option("--pairs", text, "pairs")->type_name("A:B,...")->check(inRange(0, 1000000000));
    EXPECT_EQ(factsOf(*option).value, "A:B,...");
    EXPECT_EQ(factsOf(*option).range, "at least 0");
}

TEST_F(Facts, TellFlagsAndArgumentsApart) {
    app.add_flag("--quiet", flag, "no progress");
    app.add_option("IN", text, "file to read")->required();
    const std::vector<OptionFacts> all = factsOf(app);
    ASSERT_EQ(all.size(), 3u) << "with --help";
    EXPECT_TRUE(all[0].isArgument && all[0].isRequired && !all[0].isFlag());
    EXPECT_EQ(all[0].names, Texts{"IN"});
    EXPECT_TRUE(all[2].isFlag());
}

TEST_F(Facts, NameTheOptionsThatAnotherRulesOut) {
    CLI::Option* check = app.add_flag("--check", flag, "check");
    const CLI::Option* user = app.add_option("--user", text, "user")->excludes(check);
    EXPECT_EQ(factsOf(*user).excluded, Texts{"--check"});
    EXPECT_EQ(factsOf(*check).excluded, Texts{"--user"});
}

TEST(InRange, RefusesWhatLiesOutsideOrIsNoNumber) {
    const CLI::Validator check = inRange(0.05, 32.767);
    for (const char* inside : {"0.05", "+2", "32.767", "1e1"}) EXPECT_EQ(check(std::string(inside)), "") << inside;
    EXPECT_EQ(check(std::string("33")), "33 lies outside 0.05 .. 32.767");
    EXPECT_EQ(check(std::string("nan")), "nan lies outside 0.05 .. 32.767");
    EXPECT_EQ(check(std::string("2m")), "'2m' is not a number");
    EXPECT_EQ(inRange(1, 1 << 20).get_description(), "NUMBER in [1 - 1048576]");
    EXPECT_EQ(aboveZero()(std::string("0")), "0 is not above 0");
}

TEST(OneOf, RefusesWhatIsNoneOfTheNamesWithTheNearest) {
    const CLI::Validator check = oneOf({"big", "little"});
    EXPECT_EQ(check(std::string("little")), "");
    EXPECT_EQ(check(std::string("litle")), "'litle' is none of big, little, did you mean 'little'?");
}

}
}
