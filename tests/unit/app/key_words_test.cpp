#include <gtest/gtest.h>

#include "SensorKeys.h"
#include "app/cli/KeyText.h"
#include "app/cli/Parsing.h"
#include "camera/KeyNames.h"
#include "tests/support/Simulator.h"

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

std::optional<int> value(int key, const std::string& text)
{
    app::Error error = {};
    return app::parseValue(support::simulator(), key, text, error);
}

std::string valueError(const services::ImageService& service, int key, const std::string& text)
{
    app::Error error = {};
    EXPECT_FALSE(app::parseValue(service, key, text, error)) << text;
    return error.message;
}

TEST(ValueWords, AChoiceIsNamedByItsLabelInAnyCase)
{
    EXPECT_EQ(value(KEY_MIRROR, "Both"), 3);
    EXPECT_EQ(value(KEY_MIRROR, "HORIZONTAL"), 1);
    EXPECT_EQ(value(KEY_WB_MODE, "one push"), 7);
    EXPECT_EQ(value(KEY_SCHEME_ENABLE, "on"), 1);
}

TEST(ValueWords, ANumberStaysANumberWhateverIsAllowed)
{
    EXPECT_EQ(value(KEY_MIRROR, "3"), 3);
    EXPECT_EQ(value(KEY_MIRROR, "-7"), -7);
    EXPECT_EQ(value(KEY_BRIGHTNESS, "300"), 300);
    EXPECT_EQ(value(999, "5"), 5);
}

TEST(ValueWords, WhatIsNoLabelIsAnsweredWithTheLabels)
{
    const services::ImageService& service = support::simulator();
    EXPECT_EQ(valueError(service, KEY_MIRROR, "bot"),
              "KEY_MIRROR: bot is none of its values; allowed: 0 Off, 1 Horizontal, 2 Vertical, 3 Both");
    EXPECT_EQ(valueError(service, KEY_BRIGHTNESS, "high"), "KEY_BRIGHTNESS: high is not a number; allowed: 0..100 %");
    EXPECT_EQ(valueError(service, KEY_SCHEME_START_MIN, "half"),
              "KEY_SCHEME_START_MIN: half is not a number; allowed: 0..59 min");
    EXPECT_EQ(valueError(service, 999, "x"),
              "key 999: x is not a number; allowed: nothing, this camera has no such parameter");
}

// A mirror with labels that cannot be told apart, that are numbers, or that are missing.
class OddLabels final : public services::Wrapper
{
public:
    OddLabels() : Wrapper(support::simulator()) {}

    std::optional<services::ParameterState> parameter(ia_cmd_e cmd) const override
    {
        return services::ParameterState{cmd,
                                        "",
                                        "",
                                        services::Kind::choice,
                                        {0, 5, 1, 0, {0, 1, 2, 3, 5}},
                                        {{0, "Low"}, {1, "low"}, {2, "3"}, {4, "No"}, {5, "It's on"}},
                                        0};
    }
};

TEST(ValueWords, ALabelOfSeveralChoicesIsRefused)
{
    EXPECT_EQ(valueError(OddLabels(), KEY_MIRROR, "LOW"),
              "KEY_MIRROR: LOW stands for more than one value, so give its number; allowed: 0 Low, 1 low, 2 3, 3, "
              "5 It's on");
}

TEST(ValueWords, AChoiceThatIsNotAllowedNowIsNone)
{
    EXPECT_EQ(valueError(OddLabels(), KEY_MIRROR, "no").find("KEY_MIRROR: no is none of its values"), 0u);
}

TEST(ValueWords, AreOfferedByLabelWhereThatSaysEnough)
{
    EXPECT_EQ(app::valueWords(OddLabels(), KEY_MIRROR), (app::Words{"0", "1", "2", "3", "It's on"}));
    EXPECT_EQ(app::valueWords(support::simulator(), KEY_SCHEME_ENABLE), (app::Words{"Off", "On"}));
    EXPECT_EQ(app::valueWords(support::simulator(), KEY_BRIGHTNESS), app::Words());
}

}  // namespace
