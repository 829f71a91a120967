#include "app/cli/Parsing.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

app::Words split(const std::string& line)
{
    std::string error;
    const std::optional<app::Words> words = app::splitWords(line, error);
    EXPECT_TRUE(words) << error;
    return words.value_or(app::Words());
}

TEST(CommandLine, BlanksSeparateWords)
{
    EXPECT_EQ(split("  set a=1\t b=2 "), (app::Words{"set", "a=1", "b=2"}));
    EXPECT_TRUE(split(" \t ").empty());
}

TEST(CommandLine, QuotesHoldBlanksAndBracketsTogether)
{
    EXPECT_EQ(split("text '(34,60) (1,2)'"), (app::Words{"text", "(34,60) (1,2)"}));
    EXPECT_EQ(split("a\"b c\"d ''"), (app::Words{"ab cd", ""}));
    EXPECT_EQ(split("\"it's\" 'say \"x\"'"), (app::Words{"it's", "say \"x\""}));
}

TEST(CommandLine, ABackslashTakesTheNextCharacterAsItIs)
{
    EXPECT_EQ(split("a\\ b \\' \"\\\"\" '\\'"), (app::Words{"a b", "'", "\"", "\\"}));
}

TEST(CommandLine, AnOpenQuotationIsAMistake)
{
    std::string error;
    EXPECT_FALSE(app::splitWords("get 'x", error));
    EXPECT_NE(error.find("get 'x"), std::string::npos);
}

TEST(CommandLine, WhatIsTypedEndsInTheWordAtTheCursor)
{
    const auto typed = [](const std::string& line) {
        const app::TypedLine read = app::splitTyped(line);
        return std::make_tuple(read.before, read.word, read.begin);
    };
    EXPECT_EQ(typed(""), std::make_tuple(app::Words(), "", 0u));
    EXPECT_EQ(typed("set 'a b' c"), std::make_tuple(app::Words{"set", "a b"}, "c", 10u));
    EXPECT_EQ(typed("set a "), std::make_tuple(app::Words{"set", "a"}, "", 6u));
    EXPECT_EQ(typed("set x='a b"), std::make_tuple(app::Words{"set"}, "x=a b", 4u));
}

TEST(CommandLine, AQuotedWordIsReadBackAsItWas)
{
    EXPECT_EQ(app::quotedWord("Both"), "Both");
    EXPECT_EQ(app::quotedWord("1/25 s"), "'1/25 s'");
    for (const char* word : {"", "a b", "it's", "\"x\"", "back\\slash", "'", "tab\t"})
    {
        EXPECT_EQ(split(app::quotedWord(word)), app::Words{word});
    }
}

TEST(Numbers, AreWholeAndWithin32Bits)
{
    EXPECT_EQ(app::parseInt("60"), 60);
    EXPECT_EQ(app::parseInt("-5"), -5);
    EXPECT_EQ(app::parseInt("+7"), 7);
    EXPECT_EQ(app::parseInt("-2147483648"), -2147483647 - 1);
    EXPECT_EQ(app::parseInt("2147483647"), 2147483647);
    for (const char* text : {"", "-", "6x", " 6", "2147483648", "-2147483649", "99999999999999999999", "0x10", "1.5"})
    {
        EXPECT_FALSE(app::parseInt(text)) << text;
    }
}

TEST(Numbers, MayHaveAFractionWhereTheyAreMeasures)
{
    EXPECT_EQ(app::parseNumber("0.5"), 0.5);
    EXPECT_EQ(app::parseNumber("300"), 300.0);
    for (const char* text : {"", ".", "1.", ".5", "-1", "1e3", "nan", "inf", "1.2.3"})
    {
        EXPECT_FALSE(app::parseNumber(text)) << text;
    }
}

TEST(TimesOfDay, GoFromMidnightToMidnight)
{
    EXPECT_EQ(app::parseTimeOfDay("00:00"), 0);
    EXPECT_EQ(app::parseTimeOfDay("8:05"), 485);
    EXPECT_EQ(app::parseTimeOfDay("24:00"), 1440);
    for (const char* text : {"", "8", "24:01", "25:00", "10:60", "10:6", "100:00", "-1:00", "1a:00", "10:00 ", ":30"})
    {
        EXPECT_FALSE(app::parseTimeOfDay(text)) << text;
    }
    EXPECT_EQ(app::formatTimeOfDay(485), "08:05");
    EXPECT_EQ(app::formatTimeOfDay(1440), "24:00");
}

TEST(TimesOfDay, ASpanHasTwoOfThem)
{
    const std::optional<app::TimeSpanOfDay> span = app::parseTimeSpan("22:00-6:30");
    ASSERT_TRUE(span);
    EXPECT_EQ(span->startMinutes, 1320);
    EXPECT_EQ(span->endMinutes, 390);
    EXPECT_FALSE(app::parseTimeSpan("22:00"));
    EXPECT_FALSE(app::parseTimeSpan("22:00-"));
    EXPECT_FALSE(app::parseTimeSpan("22:00-25:00"));
}

TEST(Assignments, HaveAKeyAndAValue)
{
    const std::optional<app::Assignment> assignment = app::parseAssignment("brightness=60");
    ASSERT_TRUE(assignment);
    EXPECT_EQ(assignment->key, "brightness");
    EXPECT_EQ(assignment->value, "60");
    EXPECT_FALSE(app::parseAssignment("brightness"));
    EXPECT_FALSE(app::parseAssignment("=60"));
    EXPECT_FALSE(app::parseAssignment("brightness="));
}

TEST(Lists, ReadAsAPersonWouldSayThem)
{
    EXPECT_EQ(app::joinWords({}), "");
    EXPECT_EQ(app::joinWords({"a"}), "a");
    EXPECT_EQ(app::joinWords({"a", "b", "c"}), "a, b and c");
    EXPECT_EQ(app::counted(1, "value", "values"), "1 value");
    EXPECT_EQ(app::counted(0, "value", "values"), "0 values");
}

TEST(Pairs, AreReadOneAfterTheOther)
{
    std::string error;
    const auto pairs = app::parsePairs("(34,60) (-1,+7)", error);
    ASSERT_TRUE(pairs) << error;
    ASSERT_EQ(pairs->size(), 2u);
    EXPECT_EQ((*pairs)[0].key, 34);
    EXPECT_EQ((*pairs)[0].value, 60);
    EXPECT_EQ((*pairs)[1].key, -1);
    EXPECT_EQ((*pairs)[1].value, 7);
}

TEST(Pairs, NothingIsReadOfTextWithAnythingElseInIt)
{
    std::string error;
    EXPECT_FALSE(app::parsePairs("(34,60)(35", error));
    EXPECT_EQ(error, "'(35' is not a pair (KEY,VALUE) of whole numbers");
    EXPECT_FALSE(app::parsePairs("", error));
    EXPECT_EQ(error, "there is no pair (KEY,VALUE) in it");
    for (const char* text : {")", "(", "()", "(,)", "(34,)", "(34,1,2)", "((34,1)", "x(34,1)", "(34,99999999999)"})
    {
        EXPECT_FALSE(app::parsePairs(text, error)) << text;
    }
}

}  // namespace
