#include "app/cli/Completion.h"

#include <gtest/gtest.h>

namespace {

const app::Vocabulary kVocabulary = {
    [](const app::Words& before) {
        return before.empty()            ? app::Words{"set", "schemes", "get"}
               : before.front() == "get" ? app::Words{"KEY_MIRROR", "KEY_MAX_GAIN"}
               : before.front() == "set" ? app::Words{"KEY_MIRROR=", "KEY_MAX_GAIN="}
                                         : app::Words();
    },
    [](const std::string& key) {
        return key == "mirror" || key == "2384" ? app::Words{"Off", "Both", "Both sides", "It's on"} : app::Words();
    },
};

app::Completion at(const std::string& line, std::size_t cursor)
{
    return app::complete(line, cursor, kVocabulary);
}

app::Words candidates(const std::string& line)
{
    return at(line, line.size()).candidates;
}

TEST(Completion, BeginsWithTheCommands)
{
    EXPECT_EQ(candidates(""), (app::Words{"set", "schemes", "get"}));
    EXPECT_EQ(candidates("  S"), (app::Words{"set", "schemes"}));
    EXPECT_EQ(candidates("dance"), app::Words());
}

TEST(Completion, OfAKeyNeedsNoPrefixAndNoCase)
{
    EXPECT_EQ(candidates("get m"), (app::Words{"KEY_MIRROR", "KEY_MAX_GAIN"}));
    EXPECT_EQ(candidates("get Key_Mi"), app::Words{"KEY_MIRROR"});
    EXPECT_EQ(candidates("get KEY_MIRROR "), (app::Words{"KEY_MIRROR", "KEY_MAX_GAIN"}));
    EXPECT_EQ(candidates("dance k"), app::Words());
}

TEST(Completion, OfAValueKeepsTheKeyAsItWasTyped)
{
    EXPECT_EQ(candidates("set mi"), app::Words{"KEY_MIRROR="});
    EXPECT_EQ(candidates("set mirror=o"), app::Words{"mirror=Off"});
    EXPECT_EQ(candidates("set 2384=of"), app::Words{"2384=Off"});
    EXPECT_EQ(candidates("set mirror=Off mirror=bo"), (app::Words{"mirror=Both", "mirror='Both sides'"}));
    EXPECT_EQ(candidates("set gain=o"), app::Words());
    EXPECT_EQ(candidates("get mirror=o"), app::Words()) << "takes no values";
}

TEST(Completion, QuotesWhatItNeedsTo)
{
    EXPECT_EQ(candidates("set mirror=i"), app::Words{"mirror='It'\\''s on'"});
    EXPECT_EQ(candidates("set mirror='both s"), app::Words{"mirror='Both sides'"});
    EXPECT_EQ(candidates("set \"mirror=both s"), app::Words{"mirror='Both sides'"});
    EXPECT_EQ(candidates("set mirror=both\\ s"), app::Words{"mirror='Both sides'"});
}

TEST(Completion, GoesFromTheBeginningOfTheWordToTheCursor)
{
    EXPECT_EQ(at("get mirror", 5).candidates, (app::Words{"KEY_MIRROR", "KEY_MAX_GAIN"})) << "'get m'";
    EXPECT_EQ(at("set  mirror=o", 13).begin, 5u);
    EXPECT_EQ(at("set ", 4).begin, 4u);
    EXPECT_EQ(at("set 'mirror=both s", 18).begin, 4u) << "the quotation mark belongs to the word";
    EXPECT_EQ(at("set mirror=o", 2).candidates, app::Words{"set"});
}

}  // namespace
