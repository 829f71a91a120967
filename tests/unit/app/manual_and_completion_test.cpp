#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>

#include "app/Models.h"
#include "app/cli/Commands.h"
#include "camera/KeyNames.h"
#include "tests/support/PrivateTree.h"
#include "tests/unit/app/SensorcamRun.h"

// The manual page and the completion for bash say what the program itself says.
namespace {

using Items = std::vector<std::pair<std::string, std::string>>;  // what is described, and how

constexpr char kPage[] = SENSORDLL_SOURCE_DIR "/app/man/sensorcam.1";
constexpr char kCompletion[] = SENSORDLL_BINARY_DIR "/share/bash-completion/completions/sensorcam";

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
    {
        lines.push_back(line);
    }
    return lines;
}

std::string withoutMacros(const std::string& line)
{
    const std::string bare = std::regex_replace(line, std::regex(R"(\b(Cm|Ic|Ar) )"), "");
    const std::string options = std::regex_replace(bare, std::regex("Fl (-?)"), "-$1");
    return std::regex_replace(std::regex_replace(options, std::regex(" , "), ","), std::regex(R"(\\\(aq)"), "'");
}

// The page's first list behind a line.
Items listAfter(const std::string& wanted)
{
    Items items;
    bool isReached = false;
    for (const std::string& line : linesOf(support::readFile(kPage)))
    {
        isReached = isReached || line == wanted;
        if (isReached && line == ".El")
        {
            break;
        }
        if (isReached && line.rfind(".It ", 0) == 0)
        {
            items.emplace_back(withoutMacros(line.substr(4)), "");
        }
        else if (!items.empty())
        {
            items.back().second += (items.back().second.empty() ? "" : " ") + line;
        }
    }
    return items;
}

// What --help lists between these two lines, as sentences.
Items helpBetween(const std::string& begin, const std::string& end)
{
    const std::string help = support::runToEnd({"--help"}).out;
    const std::size_t from = help.find(begin) + begin.size();
    const std::regex excluded(" Excludes: \\S+");
    const std::regex entry("  (\\S+( [A-Z][A-Z:]*( \\.\\.\\.)?)?)(  +(.*))?");
    Items items;
    for (const std::string& full : linesOf(help.substr(from, help.find(end) - from)))
    {
        const std::string line = std::regex_replace(full, excluded, "");
        std::smatch match;
        if (std::regex_match(line, match, entry))
        {
            items.emplace_back(match[1], match[5].str() + ".");
        }
        else if (!line.empty())
        {
            items.back().second = line.substr(line.find_first_not_of(' ')) + ".";
        }
    }
    return items;
}

// The options that a subcommand's --help lists, with what they take: "--port N".
app::Words optionsOf(const std::string& help)
{
    const std::regex entry("  (?:-h,)?(--[a-z-]+( [A-Z]+\\b)?)[ :=]?.*");
    app::Words options;
    for (const std::string& line : linesOf(help))
    {
        std::smatch match;
        if (std::regex_match(line, match, entry))
        {
            options.push_back(match[1]);
        }
    }
    return options;
}

class ManPage : public support::PrivateTreeTest
{
};

TEST_F(ManPage, HasTheOptionsOfTheProgram)
{
    const Items options = helpBetween("Options:\n", "Subcommands:\n");
    ASSERT_GT(options.size(), 5u);
    EXPECT_EQ(listAfter("The options are:"), options);
}

TEST_F(ManPage, HasItsSubcommands)
{
    EXPECT_EQ(listAfter("The subcommands are:"), helpBetween("Subcommands:\n", "Examples:\n"));
}

TEST_F(ManPage, HasTheOptionsOfSubcommands)
{
    for (const std::string subcommand : {"serve", "devices", "replay", "passwd"})
    {
        const std::string help = support::runToEnd({subcommand, "--help"}).out;
        app::Words options = {"--help"};
        for (const auto& [option, text] : listAfter("The options of " + subcommand + " are:"))
        {
            options.push_back(option);
            EXPECT_TRUE(support::has(help, text.substr(0, text.size() - 1))) << option << ": " << text;
        }
        EXPECT_EQ(options, optionsOf(help));
    }
}

TEST_F(ManPage, HasTheCommandsOfThePrompt)
{
    Items commands;
    for (const app::Command& command : app::commands())
    {
        std::string sentence = std::string(command.summary) + ".";
        sentence[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(sentence[0])));
        commands.emplace_back(command.usage, sentence);
    }
    EXPECT_EQ(listAfter(".Sh COMMANDS"), commands);
}

TEST_F(ManPage, HasTheExitStatuses)
{
    std::string sentence;
    for (const auto& [status, meaning] : listAfter(".Sh EXIT STATUS"))
    {
        sentence += (sentence.empty() ? "Exit status: " : ", ") + status + " " + meaning;
    }
    std::string help = support::runToEnd({"--help"}).out;
    std::replace(help.begin(), help.end(), '\n', ' ');
    EXPECT_TRUE(support::has(help, sentence + ". ")) << sentence;
}

class BashCompletion : public support::PrivateTreeTest
{
protected:
    // The candidates for the last of these words.
    static app::Words candidates(const std::vector<std::string>& words)
    {
        std::string line = std::string(". ") + kCompletion + "; COMP_WORDS=(sensorcam";
        for (const std::string& word : words)
        {
            line += " " + app::quotedWord(word);
        }
        line += "); COMP_CWORD=" + std::to_string(words.size()) + "; _sensorcam; printf '%s\\n' \"${COMPREPLY[@]}\"";
        support::SensorcamRun run(support::SensorcamRun::Command{{"/bin/bash", "-c", line}});
        EXPECT_EQ(run.end(), 0) << run.err;
        return linesOf(run.out);
    }

    // Those behind "COMMAND ", without it.
    static app::Words argumentsOf(const std::string& command)
    {
        app::Words words = candidates({"exec", "'" + command + " "});
        for (std::string& word : words)
        {
            word.erase(0, word.empty() ? 0 : command.size() + 1);
        }
        return words;
    }
};

TEST_F(BashCompletion, OffersTheOptionsAndSubcommandsOfTheProgram)
{
    app::Words words;
    for (const char* sections : {"Options:\n", "Subcommands:\n"})
    {
        const bool areOptions = sections[0] == 'O';
        for (const auto& [item, text] : helpBetween(sections, areOptions ? "Subcommands:\n" : "Examples:\n"))
        {
            const std::string word = item.substr(0, item.find(' '));
            words.push_back(word.substr(word.find(',') + 1));
        }
    }
    EXPECT_EQ(candidates({""}), words);
    EXPECT_EQ(candidates({"--model", ""}), app::Words(std::begin(app::kModelNames), std::end(app::kModelNames)));
    EXPECT_EQ(candidates({"--model", "=", "d"}), app::Words{"dome"});
    EXPECT_EQ(candidates({"--model", "dome", "sh"}), app::Words{"shell"});
}

TEST_F(BashCompletion, OffersTheOptionsOfServe)
{
    app::Words options;
    for (const std::string& option : optionsOf(support::runToEnd({"serve", "--help"}).out))
    {
        options.push_back(option.substr(0, option.find(' ')));
    }
    EXPECT_EQ(candidates({"serve", ""}), options);
    EXPECT_EQ(candidates({"serve", "--port", "8081", "--al"}), app::Words{"--allow-origin"});
    EXPECT_EQ(candidates({"serve", "--bind", "1"}), app::Words{"127.0.0.1"});
    EXPECT_EQ(candidates({"serve", "--socket-mode", ""}), (app::Words{"600", "660"}));
}

TEST_F(BashCompletion, OffersTheOptionsOfPasswd)
{
    app::Words options;
    for (const std::string& option : optionsOf(support::runToEnd({"passwd", "--help"}).out))
    {
        options.push_back(option.substr(0, option.find(' ')));
    }
    EXPECT_EQ(candidates({"passwd", "-"}), options);
    EXPECT_EQ(candidates({"passwd", "--role", "o"}), app::Words{"operator"});
    EXPECT_EQ(candidates({"passwd", "/et"}), app::Words{"/etc"});
}

TEST_F(BashCompletion, OffersTheCommandsOfThePrompt)
{
    app::Words names;
    for (const app::Command& command : app::commands())
    {
        names.emplace_back(command.name);
    }
    EXPECT_EQ(candidates({"exec", ""}), names);
    EXPECT_EQ(candidates({"exec", "save", ""}), names);
    EXPECT_EQ(argumentsOf("help"), names);
}

TEST_F(BashCompletion, OffersKeysWhereAPromptWould)
{
    app::Words keys;
    app::Words assignments;
    for (const camera::KeyName& row : camera::keyNames())
    {
        keys.push_back(app::toLower(row.name).substr(4));
        assignments.push_back(keys.back() + "=");
    }
    for (const app::Command& command : app::commands())
    {
        if (std::string(command.name) != "help")
        {
            EXPECT_EQ(argumentsOf(command.name), command.complete == app::completeKeys          ? keys
                                                 : command.complete == app::completeAssignments ? assignments
                                                                                                : app::Words{""})
                << command.name;
        }
    }
    EXPECT_EQ(candidates({"exec", "'get 34 KEY_CONT"}), app::Words{"get 34 KEY_CONTRAST"});
}

TEST_F(BashCompletion, WorksAtAPromptOfBash)
{
    support::SensorcamRun run(support::SensorcamRun::Command{{"/bin/bash", "--norc", "--noprofile", "-i"}},
                              support::SensorcamRun::Terminal::pseudo);
    run.type(std::string("PS1=; sensorcam() { printf '[%s]' \"$@\"; echo; }; . ") + kCompletion + "; echo rea''dy\n");
    run.waitFor("ready");
    run.type("sensorcam --mod\tdo\tex\t'se\tbri\t60' sav\t\n");
    run.waitFor("[--model][dome][exec][set brightness=60][save]");
    run.type("exit\n");
    EXPECT_EQ(run.waitForEnd(), 0) << run.out;
}

}  // namespace
