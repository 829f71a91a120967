#include <gtest/gtest.h>

#include "app/cli/KeyText.h"
#include "app/cli/Parsing.h"
#include "camera/KeyNames.h"

namespace {

std::optional<int> parse(const std::string& text)
{
    std::string error;
    return app::parseKey(text, error);
}

TEST(KeyWords, AreFoundInAnyCaseWithAndWithoutPrefix)
{
    EXPECT_EQ(parse("KEY_BRIGHTNESS"), 34);
    EXPECT_EQ(parse("brightness"), 34);
    EXPECT_EQ(parse("Key_Brightness"), 34);
    EXPECT_EQ(parse("3d_nr_strg_a"), 2312);
    EXPECT_EQ(parse("34"), 34);
}

TEST(KeyWords, ANumberWithoutANameIsStillANumber)
{
    EXPECT_EQ(parse("999"), 999);
    EXPECT_EQ(app::keyTitle(999), "key 999");
    EXPECT_EQ(app::keyTitle(8000), "KEY_SCHEME_ENABLE");
    EXPECT_EQ(camera::findKey(999), nullptr);
}

TEST(KeyWords, AnUnknownNameIsAnsweredWithWhatIsNear)
{
    std::string error;
    EXPECT_FALSE(app::parseKey("shutter", error));
    EXPECT_EQ(error, "there is no key shutter; near it: KEY_MAX_SHUTTER and KEY_FIX_SHUTTER");
    EXPECT_FALSE(app::parseKey("nonsense", error));
    EXPECT_EQ(error, "there is no key nonsense; 'keys' lists all names");
}

TEST(KeyWords, ZeroAndLessAreNoKeys)
{
    EXPECT_FALSE(parse("0"));
    EXPECT_FALSE(parse("-34"));
    EXPECT_FALSE(parse(""));
}

}  // namespace
