#include "SensorKeyVal.h"
#include "keyval/KeyValText.h"
#include "tests/support/CameraFiles.h"
#include "tests/support/TestName.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

using testing::Each;
using testing::ElementsAre;

namespace {

constexpr u32 word(int value)
{
    return static_cast<u32>(value);
}

std::vector<KeyVal> recordsOfText(const std::string& text)
{
    std::vector<KeyVal> records(std::count(text.begin(), text.end(), ')') + 1, KeyVal{4711, 4712});
    u32 count = 999;
    keyval_str2st(text, records.data(), count);
    EXPECT_LT(count, records.size());
    EXPECT_EQ((KeyVal{4711, 4712}), records[count]) << "a record beyond the count was written";
    records.resize(count);
    return records;
}

std::string textOf(const std::vector<KeyVal>& records)
{
    std::string text;
    keyval_st2str(text, records.data(), static_cast<u32>(records.size()));
    return text;
}

TEST(KeyValToText, NoRecordsLeaveTheTextUnchanged)
{
    std::string text = "kept";
    keyval_st2str(text, nullptr, 0);
    EXPECT_EQ("kept", text);
}

TEST(KeyValToText, RecordsAreAppendedAsSignedDecimals)
{
    const KeyVal records[] = {{1, word(-5)}, {2, 7}};
    std::string text = "before";
    keyval_st2str(text, records, 2);
    EXPECT_EQ("before(1,-5)(2,7)", text);
}

TEST(KeyValToText, ItemsStandOneBehindTheOther)
{
    EXPECT_EQ("(34,50)(2337,128)(144,0)", textOf({{34, 50}, {2337, 128}, {144, 0}}));
}

TEST(KeyValToText, ExtremeWordsAreWhole)
{
    EXPECT_EQ("(-1,-2147483648)(2147483647,-1)", textOf({{0xFFFFFFFFU, 0x80000000U}, {0x7FFFFFFFU, 0xFFFFFFFFU}}));
    EXPECT_EQ("(-2147483648,-2147483648)(-2147483648,5)", textOf({{0x80000000U, 0x80000000U}, {0x80000000U, 5}}));
}

struct TextCase
{
    const char* name;
    std::string text;
    std::vector<KeyVal> records;
};

void PrintTo(const TextCase& textCase, std::ostream* stream)
{
    *stream << textCase.name;
}

class KeyValFromText : public testing::TestWithParam<TextCase>
{
};

TEST_P(KeyValFromText, GivesTheseRecords)
{
    EXPECT_EQ(GetParam().records, recordsOfText(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    Plain, KeyValFromText,
    testing::Values(
        TextCase{"EmptyTextGivesNone", "", {}}, TextCase{"TwoItems", "(1,2)(3,4)", {{1, 2}, {3, 4}}},
        TextCase{"WhatStandsBetweenItemsIsSkipped", "(1,2)x(3,4)", {{1, 2}, {3, 4}}},
        TextCase{"WhatStandsAroundItemsIsSkipped", "ab(1,2)yz", {{1, 2}}}, TextCase{"MissingEndGivesNone", "(1,2", {}},
        TextCase{"MissingEndOfTheLastItemDropsIt", "(1,2)(3,4", {{1, 2}}},
        TextCase{"OpeningAsLastCharacterEndsTheScan", "(1,2)(", {{1, 2}}}, TextCase{"OpeningAlone", "(", {}},
        TextCase{"ClosingAlone", ")", {}}, TextCase{"TextWithoutItems", "1,2", {}},
        TextCase{"NegativeNumbers", "(-1,-5)", {{word(-1), word(-5)}}}, TextCase{"PlusSigns", "(+3,+4)", {{3, 4}}},
        TextCase{"BlanksBeforeNumbers", "( \t\n5, \v\f\r-6)", {{5, word(-6)}}},
        TextCase{"LargestNumbers", "(2147483647,-2147483648)", {{0x7FFFFFFFU, 0x80000000U}}},
        TextCase{"NumbersBeyondAreClamped", "(2147483648,-2147483649)", {{0x7FFFFFFFU, 0x80000000U}}},
        TextCase{"ValueWhoseLowWordIsSmallIsClamped", "(34,4294967300)", {{34, 0x7FFFFFFFU}}},
        TextCase{"KeyWhoseLowWordIsSmallIsClamped", "(4294967330,5)", {{0x7FFFFFFFU, 5}}},
        TextCase{"NegativeNumbersWhoseLowWordsAreSmallAreClamped",
                 "(-4294967330,-4294967300)",
                 {{0x80000000U, 0x80000000U}}},
        TextCase{"NumbersWhoseLowDoubleWordsAreSmallAreClamped",
                 "(18446744073709551650,-18446744073709551620)",
                 {{0x7FFFFFFFU, 0x80000000U}}},
        TextCase{"NumbersFarBeyondAreClamped",
                 "(99999999999999999999999999,-99999999999999999999999999)",
                 {{0x7FFFFFFFU, 0x80000000U}}},
        TextCase{"LeadingZeros", "(0000000000000034,0060)", {{34, 60}}}),
    support::ByName());

INSTANTIATE_TEST_SUITE_P(
    Malformed, KeyValFromText,
    testing::Values(TextCase{"UnreadableFirstValueIsZero", "(7,x)", {{7, 0}}},
                    TextCase{"UnreadableFirstItemIsZero", "(x)", {{0, 0}}},
                    TextCase{"EmptyFirstItemIsZero", "()", {{0, 0}}},
                    TextCase{"UnreadableValueKeepsTheOneBefore", "(1,2)(3,x)", {{1, 2}, {3, 2}}},
                    TextCase{"UnreadableItemKeepsBothBefore", "(1,2)(x,4)(5,6)", {{1, 2}, {1, 2}, {5, 6}}},
                    TextCase{"BlankBeforeTheCommaHidesTheValue", "(1,2)(5 ,6)", {{1, 2}, {5, 2}}},
                    TextCase{"SignWithoutDigits", "(1,2)(-,6)(7,+)", {{1, 2}, {1, 2}, {7, 2}}},
                    TextCase{"BlankAfterTheSign", "(1,2)(- 3,6)", {{1, 2}, {1, 2}}},
                    TextCase{"TextAfterTheValueIsIgnored", "(1,2;3)", {{1, 2}}},
                    TextCase{"ThirdNumberIsIgnored", "(1,2,3)", {{1, 2}}},
                    TextCase{"HexadecimalStopsAtTheX", "(0x10,0x20)", {{0, 0}}},
                    TextCase{"NestedOpeningIsUnreadable", "((1,2)", {{0, 0}}},
                    TextCase{"NulEndsTheItemsText", std::string("(1\0,2)(3,4\0005)", 13), {{1, 0}, {3, 4}}},
                    TextCase{"ClosingRightBeforeTheOpeningGivesAnItemOfItsOwn", ")(1,2)", {{0, 0}, {1, 2}}},
                    TextCase{"ClosingRightBeforeTheOpeningCarriesOver", "(8,9))(1,2)", {{8, 9}, {8, 9}, {1, 2}}},
                    TextCase{"ClosingFurtherBeforeTheOpeningReadsTheRest", ")x(1,2)", {{1, 2}, {1, 2}}},
                    TextCase{"TwoClosingsBeforeTheOpening", "))(1,2)", {{1, 2}, {1, 2}, {1, 2}}},
                    TextCase{"TheRestMayReachBeyondTheNextClosing", ")x(1)(2,3)", {{1, 0}, {1, 0}, {2, 3}}},
                    TextCase{"ClosingWithoutAnyLaterOpening", "(1,2)))", {{1, 2}}},
                    TextCase{"ClosingBeforeAnUnfinishedItem", ")x(1,2", {{1, 2}}},
                    TextCase{"ClosingRightBeforeTheOpeningAtTheEnd", ")(", {}},
                    TextCase{"ClosingFurtherBeforeTheOpeningAtTheEnd", ")x(", {}},
                    TextCase{"ClosingBeforeAnItemOfABlank", ")x( ", {{0, 0}}},
                    TextCase{"ClosingBeforeAnItemOfASign", ")x(-", {{0, 0}}},
                    TextCase{"ClosingBeforeAnItemOfANumber", ")x(+7", {{7, 0}}},
                    TextCase{"ClosingBeforeAnItemWithoutValue", ")x(7,", {{7, 0}}}),
    support::ByName());

TEST(KeyValFromTextBound, StopsWhenTheRecordsAreFull)
{
    KeyVal records[] = {{0, 0}, {0, 0}, {4711, 4712}};
    u32 count = 999;
    keyvalFromText("(1,2)(3,4)(5,6)", records, 2, count);
    EXPECT_EQ(2U, count);
    EXPECT_THAT(records, ElementsAre(KeyVal{1, 2}, KeyVal{3, 4}, KeyVal{4711, 4712}));
}

TEST(KeyValFromTextBound, NoRoomGivesNone)
{
    u32 count = 999;
    keyvalFromText("(1,2)", nullptr, 0, count);
    EXPECT_EQ(0U, count);
}

TEST(KeyValFromTextBound, RoomToSpareGivesAll)
{
    std::vector<KeyVal> records(10);
    u32 count = 0;
    keyvalFromText("(1,2)(3,4)", records.data(), 10, count);
    EXPECT_EQ(2U, count);
}

// A megabyte each. Work that grew with the square of the length would run into the test's time limit.
class HostileText : public testing::Test
{
protected:
    static constexpr size_t kLength = 500000;
};

TEST_F(HostileText, ClosingsBeforeALongItemReadItOnce)
{
    const std::string text = std::string(kLength, ')') + "(" + std::string(kLength, ' ') + "5,6)";
    const std::vector<KeyVal> records = recordsOfText(text);
    EXPECT_EQ(kLength + 1, records.size());
    EXPECT_THAT(records, Each(KeyVal{5, 6}));
}

TEST_F(HostileText, OpeningsWithoutClosingGiveNone)
{
    EXPECT_TRUE(recordsOfText(std::string(2 * kLength, '(')).empty());
}

TEST_F(HostileText, OpeningsBeforeOneClosingGiveOne)
{
    EXPECT_THAT(recordsOfText(std::string(2 * kLength, '(') + ")"), ElementsAre(KeyVal{0, 0}));
}

TEST_F(HostileText, ClosingsWithoutOpeningGiveNone)
{
    EXPECT_TRUE(recordsOfText(std::string(2 * kLength, ')')).empty());
}

TEST_F(HostileText, ItemsWithClosingsBeforeEach)
{
    std::string text;
    while (text.size() < 2 * kLength)
    {
        text += "))((";
    }
    EXPECT_FALSE(recordsOfText(text).empty());
}

TEST_F(HostileText, DigitsWithoutEndAreClamped)
{
    EXPECT_THAT(recordsOfText("(1," + std::string(2 * kLength, '9') + ")"), ElementsAre(KeyVal{1, 0x7FFFFFFFU}));
}

TEST(KeyValText, WhatIsWrittenIsReadBack)
{
    const std::vector<KeyVal> records = {{34, 60}, {8000, 0}, {2432, word(-7)}, {0xFFFFFFFFU, 0x80000000U}};
    EXPECT_EQ(records, recordsOfText(textOf(records)));
}

}  // namespace
