#include "StringHandler.h"

#include <gtest/gtest.h>

namespace {

std::vector<std::string> split(const std::string& text, const std::string& separator)
{
    std::vector<std::string> items{"left over"};
    StringHandler::split(text, separator, items);
    return items;
}

using Items = std::vector<std::string>;

TEST(StringHandler, SplitsAtEverySeparator)
{
    EXPECT_EQ(split("34,2337,144", ","), (Items{"34", "2337", "144"}));
    EXPECT_EQ(split("34", ","), Items{"34"});
}

TEST(StringHandler, KeepsEmptyItems)
{
    EXPECT_EQ(split("", ","), Items{""});
    EXPECT_EQ(split(",", ","), (Items{"", ""}));
    EXPECT_EQ(split(",a,,b,", ","), (Items{"", "a", "", "b", ""}));
}

TEST(StringHandler, TakesSeparatorsOfSeveralCharactersWithoutOverlap)
{
    EXPECT_EQ(split("a--b---c", "--"), (Items{"a", "b", "-c"}));
}

TEST(StringHandler, FindsAnEmptySeparatorNowhere)
{
    EXPECT_EQ(split("a,b", ""), Items{"a,b"});
    EXPECT_EQ(split("", ""), Items{""});
}

TEST(StringHandler, MayFillTheVectorThatItsTextComesFrom)
{
    Items items{"a,b"};
    StringHandler::split(items[0], ",", items);
    EXPECT_EQ(items, (Items{"a", "b"}));
}

}  // namespace
