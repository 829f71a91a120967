#include "app/Options.h"

#include <gtest/gtest.h>

#include "tests/support/CapturedOutput.h"

namespace {

std::optional<app::Options> read(std::vector<std::string> arguments, int* status = nullptr)
{
    arguments.insert(arguments.begin(), "sensorcam");
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
    {
        pointers.push_back(argument.data());
    }
    int ignored = 0;
    return app::readOptions(static_cast<int>(pointers.size()), pointers.data(), status == nullptr ? ignored : *status);
}

TEST(Options, NothingAtAllOpensTheShellOfTheUsualCamera)
{
    const std::optional<app::Options> options = read({});
    ASSERT_TRUE(options);
    EXPECT_TRUE(options->isShell);
    EXPECT_FALSE(options->model);
    EXPECT_FALSE(options->startMinutes);
    EXPECT_EQ(options->speed, 1.0);
    EXPECT_FALSE(options->json);
}

TEST(Options, ExecTakesEveryArgumentAsACommandLine)
{
    const std::optional<app::Options> options =
        read({"--model", "lpr", "--speed", "600", "--at", "05:30", "--json", "exec", "light sun", "watch 60"});
    ASSERT_TRUE(options);
    EXPECT_FALSE(options->isShell);
    EXPECT_EQ(options->commands, (std::vector<std::string>{"light sun", "watch 60"}));
    EXPECT_EQ(options->model, "lpr");
    EXPECT_EQ(options->speed, 600.0);
    EXPECT_EQ(options->startMinutes, 330);
    EXPECT_TRUE(options->json);
}

TEST(Options, MistakesEndWithStatusTwo)
{
    const std::vector<std::vector<std::string>> mistakes = {
        {"--model", "bullet"}, {"--speed", "0"},
        {"--speed", "fast"},   {"--at", "24:00"},
        {"--at", "noon"},      {"exec"},
        {"--nonsense"},        {"--in-place", "--state", "/x"},
        {"--state", ""},       {"--model", ""},
        {"--at", ""},          {"--speed", ""},
        {"--state", "/"},      {"--state", "/x/.."},
        {"--speed", "0.09"},   {"--speed", "3600.1"},
    };
    for (const std::vector<std::string>& arguments : mistakes)
    {
        int status = 0;
        EXPECT_FALSE(read(arguments, &status)) << arguments.front();
        EXPECT_EQ(status, app::kExitUsage) << arguments.front();
    }
}

TEST(Options, AMistakeIsADocumentWhereDocumentsAreAskedFor)
{
    support::CapturedOutput output;
    EXPECT_FALSE(read({"--json", "--nonsense"}));
    const std::string document = output.take();
    EXPECT_EQ(document.find(R"({"ok":false,"error":{"code":"wrong-usage",)"), 0u) << document;
}

TEST(Options, TheSlowestAndTheFastestSpeedAreSpeeds)
{
    for (const auto& [text, speed] : {std::pair("0.1", 0.1), std::pair("3600", 3600.0)})
    {
        const std::optional<app::Options> options = read({"--speed", text});
        ASSERT_TRUE(options) << text;
        EXPECT_EQ(options->speed, speed);
    }
}

TEST(Options, HelpAndVersionEndWithSuccess)
{
    for (const char* argument : {"--help", "--version"})
    {
        int status = 99;
        EXPECT_FALSE(read({argument}, &status));
        EXPECT_EQ(status, app::kExitOk);
    }
}

TEST(Options, TheCopyInsideGetsTheSameOnes)
{
    std::optional<app::Options> outer =
        read({"--speed", "0.5", "--at", "7:05", "--json", "--verbose", "exec", "set a=1", "--get"});
    ASSERT_TRUE(outer);
    outer->model = "dome";
    const std::optional<app::Options> inner = read(app::insideArguments(*outer, 7, 8));
    ASSERT_TRUE(inner);
    EXPECT_TRUE(inner->inside);
    EXPECT_EQ(inner->lockDescriptor, 7);
    EXPECT_EQ(inner->supervisorDescriptor, 8);
    EXPECT_EQ(inner->model, "dome");
    EXPECT_EQ(inner->speed, 0.5);
    EXPECT_EQ(inner->startMinutes, 425);
    EXPECT_TRUE(inner->json);
    EXPECT_TRUE(inner->verbose);
    EXPECT_EQ(inner->commands, outer->commands);
}

}  // namespace
