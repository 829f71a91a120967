#include "services/checks/Options.h"

#include "services/checks/PortCheck.h"
#include "tests/unit/services/checks/PortTest.h"

namespace checks_tests {
namespace {

class Options : public PortTest
{
protected:
    static std::optional<portcheck::Options> parse(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), "portcheck");
        std::vector<char*> pointers;
        for (std::string& argument : arguments)
        {
            pointers.push_back(argument.data());
        }
        return portcheck::parseOptions(static_cast<int>(pointers.size()), pointers.data());
    }

    static int run(std::string option)
    {
        std::string name = "portcheck";
        char* arguments[] = {name.data(), option.data()};
        return portcheck::run(2, arguments);
    }
};

TEST_F(Options, WithoutAnyNothingIsTouchedAndACallMayTakeFiveSeconds)
{
    const auto options = parse({});
    ASSERT_TRUE(options);
    EXPECT_FALSE(options->help || options->documents || options->set || options->lens);
    EXPECT_EQ(options->folder, "");
    EXPECT_EQ(options->limit, std::chrono::seconds(5));
}

TEST_F(Options, AreAllTaken)
{
    const auto options = parse({"--documents", "--set", "--lens", "--folder", "/mnt/disk", "--limit", "600", "--help"});
    ASSERT_TRUE(options);
    EXPECT_TRUE(options->help && options->documents && options->set && options->lens);
    EXPECT_EQ(options->folder, "/mnt/disk");
    EXPECT_EQ(options->limit, std::chrono::minutes(10));
}

TEST_F(Options, ThatAreUnknownOrLackAValueAreRefused)
{
    for (const std::vector<std::string>& wrong : std::vector<std::vector<std::string>>{
             {"--sets"}, {"folder"}, {"--folder"}, {"--folder", ""}, {"--limit"}, {"--unknown", "1"}})
    {
        EXPECT_FALSE(parse(wrong)) << wrong.front();
    }
}

TEST_F(Options, RefuseALimitThatIsNoNumberOfSecondsFrom3To600)
{
    for (const std::string limit : {"", "2", "601", "-5", "5s", "five"})
    {
        EXPECT_FALSE(parse({"--limit", limit})) << limit;
    }
    EXPECT_TRUE(parse({"--limit", "3"}));
}

TEST_F(Options, MoveNoLensWithoutLeaveToSet)
{
    EXPECT_FALSE(parse({"--lens"}));
}

TEST_F(Options, ThatAreWrongEndWith2AndNothingWasAsked)
{
    EXPECT_EQ(support::outputOf([] { EXPECT_EQ(run("--wrong"), 2); }), "");
    EXPECT_EQ(journal_.callCount(), 0u);
}

TEST_F(Options, AreListedByHelpWhichAsksNothing)
{
    const std::string help = support::outputOf([] { EXPECT_EQ(run("--help"), 0); });
    for (const char* option : {"--documents", "--set", "--lens", "--folder", "--limit", "--help"})
    {
        EXPECT_THAT(help, HasSubstr(std::string("  ") + option));
    }
    EXPECT_EQ(journal_.callCount(), 0u);
}

}  // namespace
}  // namespace checks_tests
