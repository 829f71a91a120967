#include "tests/shipped/documents/ShippedModel.h"

#include "SensorFlags.h"

namespace documents {
namespace {

const std::set<u32>& allKeys()
{
    static const std::set<u32> keys = {
#define SNS_KEY(name, key, ia, cmd, handler) key,
#define SNS_STORED_KEY(name, key) key,
#include "SensorKeys.def"
    };
    return keys;
}

const std::map<std::string, std::set<std::string>>& controls()
{
    // Element name and the attributes that it must have; choices are checked apart.
    static const std::map<std::string, std::set<std::string>> kinds = {
        {"switch", {"text"}},
        {"slider", {"text", "min", "max", "step"}},
        {"number", {"text", "min", "max", "step"}},
        {"hour", {"min", "max", "step"}},
        {"minute", {"min", "max", "step"}},
        {"button", {"text", "press"}},
        {"combo", {"text"}},
        {"radio", {"text"}},
        {"pad", {"text"}},
    };
    return kinds;
}

bool isChoice(const TiXmlElement& element)
{
    const std::string name = element.Value();
    return name == "combo" || name == "radio" || name == "pad";
}

TEST_P(EveryModel, StartsWithTheFiveScheduleKeys)
{
    const auto elements = parameterElements(*style_);
    ASSERT_GE(elements.size(), 5u);
    for (int i = 0; i < 5; ++i)
    {
        EXPECT_EQ(number(*elements[static_cast<std::size_t>(i)], "id"), 8000 + i);
    }
}

TEST_P(EveryModel, FactoryWindowIsDisabledHoldsAllDayAndCanBeSaved)
{
    EXPECT_EQ(number(*byKey_.at(KEY_SCHEME_ENABLE), "value"), 0);
    const int start =
        number(*byKey_.at(KEY_SCHEME_START_HOUR), "value") * 100 + number(*byKey_.at(KEY_SCHEME_START_MIN), "value");
    const int end =
        number(*byKey_.at(KEY_SCHEME_END_HOUR), "value") * 100 + number(*byKey_.at(KEY_SCHEME_END_MIN), "value");
    EXPECT_EQ(start, 0);
    EXPECT_EQ(end, 2400);
}

TEST_P(EveryModel, HasAtMostAHundredParameters)
{
    EXPECT_LE(parameterElements(*style_).size(), 100u);
}

TEST_P(EveryModel, HasEveryParameterOnceAndOnlyKnownOnes)
{
    EXPECT_EQ(byKey_.size(), parameterElements(*style_).size()) << "an id comes twice";
    for (const auto& [key, element] : byKey_)
    {
        EXPECT_EQ(allKeys().count(key), 1u) << key;
    }
}

TEST_P(EveryModel, GivesIdsToParametersAndTheOneNoticeOnly)
{
    int notices = 0;
    walk(*style_, [&notices](const TiXmlElement& element) {
        if (element.Attribute("id") == nullptr || isParameter(element))
        {
            return;
        }
        ++notices;
        EXPECT_STREQ(element.Value(), "notice");
        EXPECT_EQ(attribute(element, "id"), "0");
    });
    EXPECT_EQ(notices, 1);
}

TEST_P(EveryModel, SaysWithTheElementNameWhatControlAParameterIs)
{
    for (const auto& [key, element] : byKey_)
    {
        const auto kind = controls().find(element->Value());
        ASSERT_NE(kind, controls().end()) << element->Value() << " of key " << key;
        for (const std::string& name : kind->second)
        {
            EXPECT_NE(element->Attribute(name.c_str()), nullptr) << name << " of key " << key;
        }
    }
}

TEST_P(EveryModel, ListsTheChoicesOfAControlAsItemsWithDifferentIndexes)
{
    for (const auto& [key, element] : byKey_)
    {
        std::set<int> indexes;
        int children = 0;
        for (const TiXmlElement* item = element->FirstChildElement(); item; item = item->NextSiblingElement())
        {
            ++children;
            EXPECT_STREQ(item->Value(), "item") << key;
            indexes.insert(number(*item, "index"));
            EXPECT_NE(item->Attribute("text") == nullptr, item->Attribute("label") == nullptr) << key;
        }
        EXPECT_EQ(indexes.size(), static_cast<std::size_t>(children)) << key;
        EXPECT_EQ(isChoice(*element), children > 1) << key;
    }
}

TEST_P(EveryModel, GivesEveryTabItsOwnKeyAndAText)
{
    std::set<std::string> keys;
    int tabs = 0;
    const TiXmlElement* root = style_->RootElement();
    for (const TiXmlElement* tab = root->FirstChildElement(); tab != nullptr; tab = tab->NextSiblingElement(), ++tabs)
    {
        EXPECT_STREQ(tab->Value(), "tab");
        EXPECT_NE(attribute(*tab, "text"), "");
        keys.insert(attribute(*tab, "key"));
    }
    EXPECT_EQ(keys.size(), static_cast<std::size_t>(tabs));
    EXPECT_EQ(keys.count(""), 0u);
}

TEST_P(EveryModel, ShowsControlsOnConditionsThatTheModelCanFulfil)
{
    walk(*style_, [this](const TiXmlElement& element) {
        for (const std::string& condition : split(attribute(element, "when"), ';'))
        {
            const std::vector<std::string> sides = split(condition, '=');
            ASSERT_EQ(sides.size(), 2u) << condition;
            const auto other = byKey_.find(static_cast<u32>(std::stoul(sides[0])));
            ASSERT_NE(other, byKey_.end()) << condition;
            std::set<std::string> possible = {"0", "1"};
            if (isChoice(*other->second))
            {
                possible.clear();
                walk(other->second,
                     [&possible](const TiXmlElement& item) { possible.insert(attribute(item, "index")); });
            }
            for (const std::string& value : split(sides[1], ','))
            {
                EXPECT_EQ(possible.count(value), 1u) << condition;
            }
        }
    });
}

TEST_P(EveryModel, LinksHighlightAndBacklightCompensation)
{
    EXPECT_EQ(attribute(*byKey_.at(KEY_HLC_SWITCH), "enable_list"), std::to_string(KEY_BLC_SWITCH));
    EXPECT_EQ(attribute(*byKey_.at(KEY_BLC_SWITCH), "enable_list"), std::to_string(KEY_HLC_SWITCH));
    EXPECT_FALSE(number(*byKey_.at(KEY_HLC_SWITCH), "value") && number(*byKey_.at(KEY_BLC_SWITCH), "value"));
}

TEST_P(EveryModel, HasThePartnersOfKeysThatAreSentTogether)
{
    for (const u32 key : {KEY_DTN_THR, KEY_NTD_THR, KEY_DTN_H, KEY_DTN_M, KEY_NTD_H, KEY_NTD_M, KEY_MIRROR})
    {
        EXPECT_EQ(byKey_.count(key), 1u) << key;
    }
}

// A lens that is being reset refuses positions, and a refusal ends the list that a scheme is applied as.
TEST_P(EveryModel, PutsWhatMovesAfterEverythingElse)
{
    bool moving = false;
    for (const TiXmlElement* tab = style_->RootElement()->FirstChildElement(); tab; tab = tab->NextSiblingElement())
    {
        const std::string key = attribute(*tab, "key");
        moving = moving || key == "iris";
        EXPECT_EQ(moving, key == "iris" || key == "lens") << key;
    }
    for (const u32 key : {KEY_IRIS_POSITION, KEY_IRIS_SIZE, KEY_MF_POSITION, KEY_MZ_POSITION})
    {
        if (byKey_.count(key) != 0)
        {
            const std::string tab = attribute(*byKey_.at(key)->Parent()->Parent()->ToElement(), "key");
            EXPECT_TRUE(tab == "iris" || tab == "lens") << key;
        }
    }
}

TEST_P(EveryModel, HasAsManyParametersWithAndWithoutWideDynamicRange)
{
    const bool before = getshowWDRFalg();
    setshowWDRFalg(true);
    const std::size_t offered = factoryValues(model()).size();
    setshowWDRFalg(false);
    const std::size_t refused = factoryValues(model()).size();
    setshowWDRFalg(before);
    EXPECT_EQ(offered, refused);
    EXPECT_EQ(offered, byKey_.size());
}

TEST_P(EveryModel, TellsThatWideDynamicRangeIsNotOfferedOnlyThen)
{
    const bool before = getshowWDRFalg();
    for (const bool offered : {true, false})
    {
        setshowWDRFalg(offered);
        std::string served;
        EXPECT_EQ(getDnaStyle(merged(model()).c_str(), served), SNS_SUCCESS);
        EXPECT_EQ(served.find("<notice") == std::string::npos, offered);
    }
    setshowWDRFalg(before);
}

INSTANTIATE_TEST_SUITE_P(Shipped, EveryModel, testing::ValuesIn(kModels), support::ByName());

TEST(Styles, UseEveryKeyOfTheMapOnOneModelOrAnother)
{
    std::set<u32> used;
    for (const Model& model : kModels)
    {
        for (const KeyVal& record : factoryValues(model))
        {
            used.insert(record.key);
        }
    }
    EXPECT_EQ(used, allKeys());
}

TEST(Styles, LicencePlateModelHasTheKeysOfTheNightScheme)
{
    const auto style = parse(merged(kModels[2]));
    std::map<int, std::set<int>> choices;
    for (const TiXmlElement* element : parameterElements(*style))
    {
        std::set<int>& indexes = choices[number(*element, "id")];
        for (const TiXmlElement* item = element->FirstChildElement("item"); item; item = item->NextSiblingElement())
        {
            indexes.insert(number(*item, "index"));
        }
    }
    EXPECT_EQ(choices[KEY_DN_MODE].count(0), 1u);
    EXPECT_EQ(choices[KEY_MAX_SHUTTER].count(18), 1u);
    EXPECT_EQ(choices[KEY_METER_AREA].count(1), 1u);
    EXPECT_EQ(choices[KEY_IR_MODE].count(2), 1u);
    EXPECT_EQ(choices.count(KEY_IR_MANUAL_STRG_NEAR), 1u);
}

}  // namespace
}  // namespace documents
