#include "camera/KeyLimits.h"

#include "tests/unit/camera/CameraFixture.h"

using namespace support;

namespace {

class KeyLimits : public CameraTest
{
protected:
    services::AllowedValues of(int key) { return camera::limitsOfKey(c().service(), key).value().allowed; }
};

TEST_F(KeyLimits, OfAWindowsPartsAreThoseOfTheDocuments)
{
    bringUp();
    const std::string style = c().style();
    for (const int key : {KEY_SCHEME_START_HOUR, KEY_SCHEME_START_MIN, KEY_SCHEME_END_HOUR, KEY_SCHEME_END_MIN})
    {
        const services::AllowedValues limits = of(key);
        const std::string control = "id=\"" + std::to_string(key) + "\" value=\"" +
                                    std::to_string(limits.defaultValue) + "\" min=\"" + std::to_string(limits.minimum) +
                                    "\" max=\"" + std::to_string(limits.maximum) + "\"";
        EXPECT_NE(style.find(control), std::string::npos) << control;
    }
    EXPECT_EQ(of(KEY_SCHEME_ENABLE).items, (std::vector<int>{0, 1}));
}

TEST_F(KeyLimits, OfAWindowsPartsHaveNamesAndUnits)
{
    bringUp();
    std::string text;
    for (const int key :
         {KEY_SCHEME_ENABLE, KEY_SCHEME_START_HOUR, KEY_SCHEME_START_MIN, KEY_SCHEME_END_HOUR, KEY_SCHEME_END_MIN})
    {
        const services::ParameterState limits = camera::limitsOfKey(c().service(), key).value();
        text += limits.name + " [" + limits.unit + "] " + limits.labelOf(0) + " " + limits.labelOf(1) + "\n";
        EXPECT_EQ(limits.kind, key == KEY_SCHEME_ENABLE ? services::Kind::choice : services::Kind::range) << key;
        EXPECT_EQ(limits.allowed.step, 1) << key;
    }
    EXPECT_EQ(text, "Window [] Off On\n"
                    "Window start, hour [h]  \n"
                    "Window start, minute [min]  \n"
                    "Window end, hour [h]  \n"
                    "Window end, minute [min]  \n");
}

TEST_F(KeyLimits, OfOtherKeysAreTheServices)
{
    bringUp();
    EXPECT_EQ(of(KEY_BRIGHTNESS).maximum, 100);
    EXPECT_FALSE(camera::limitsOfKey(c().service(), 999999));
    EXPECT_EQ(camera::verdict(c().service(), 999999, 1), services::kUnknownCommand);
    EXPECT_EQ(camera::verdict(c().service(), KEY_SCHEME_END_HOUR, 24), services::kDone);
    EXPECT_EQ(camera::verdict(c().service(), KEY_SCHEME_END_HOUR, -1), services::kOutOfRange);
}

}  // namespace
