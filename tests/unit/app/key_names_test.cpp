#include "app/KeyNames.h"

#include <gtest/gtest.h>

#include <set>

namespace {

std::optional<int> parse(const std::string& text)
{
    std::string error;
    return app::parseKey(text, error);
}

TEST(KeyNames, CoverEveryParameterOnce)
{
    std::set<int> keys;
    std::set<std::string> names;
    int stored = 0;
    for (const app::KeyName& row : app::keyNames())
    {
        keys.insert(row.key);
        names.insert(row.name);
        stored += row.onlyStored ? 1 : 0;
        EXPECT_EQ(row.onlyStored, row.command == 0) << row.name;
    }
    EXPECT_EQ(app::keyNames().size(), 87u);
    EXPECT_EQ(keys.size(), 87u);
    EXPECT_EQ(names.size(), 87u);
    EXPECT_EQ(stored, 5);
}

TEST(KeyNames, AreFoundInAnyCaseWithAndWithoutPrefix)
{
    EXPECT_EQ(parse("KEY_BRIGHTNESS"), 34);
    EXPECT_EQ(parse("brightness"), 34);
    EXPECT_EQ(parse("Key_Brightness"), 34);
    EXPECT_EQ(parse("3d_nr_strg_a"), 2312);
    EXPECT_EQ(parse("34"), 34);
}

TEST(KeyNames, ANumberWithoutANameIsStillANumber)
{
    EXPECT_EQ(parse("999"), 999);
    EXPECT_EQ(app::keyTitle(999), "key 999");
    EXPECT_EQ(app::keyTitle(8000), "KEY_SCHEME_ENABLE");
    EXPECT_EQ(app::findKey(999), nullptr);
}

TEST(KeyNames, AnUnknownNameIsAnsweredWithWhatIsNear)
{
    std::string error;
    EXPECT_FALSE(app::parseKey("shutter", error));
    EXPECT_EQ(error, "there is no key shutter; near it: KEY_MAX_SHUTTER and KEY_FIX_SHUTTER");
    EXPECT_FALSE(app::parseKey("nonsense", error));
    EXPECT_EQ(error, "there is no key nonsense; 'keys' lists all names");
}

TEST(KeyNames, ZeroAndLessAreNoKeys)
{
    EXPECT_FALSE(parse("0"));
    EXPECT_FALSE(parse("-34"));
    EXPECT_FALSE(parse(""));
}

}  // namespace
