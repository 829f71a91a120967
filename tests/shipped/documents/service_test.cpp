#include "tests/shipped/documents/ShippedModel.h"

#include <algorithm>

#include "services/sim/Lens.h"
#include "services/sim/ParameterTable.h"
#include "tests/support/KeyRows.h"
#include "tests/support/Simulator.h"

namespace documents {
namespace {

using support::KeyRow;

const KeyRow& rowOf(u32 key)
{
    const KeyRow* const row = support::findKeyRow(key);
    if (row == nullptr)
    {
        ADD_FAILURE() << "no key " << key;
        return support::kKeyRows[0];
    }
    return *row;
}

// The unit id that documents use for a unit of the service's table.
std::string unitId(const std::string& unit)
{
    static const std::map<std::string, std::string> ids = {
        {"%", "percent"}, {"steps", "steps"}, {"s", "seconds"},     {"lux", "lux"},
        {"h", "hours"},   {"min", "minutes"}, {"pixels", "pixels"}, {"", ""}};
    const auto found = ids.find(unit);
    EXPECT_NE(found, ids.end()) << unit;
    return found == ids.end() ? "" : found->second;
}

std::set<int> indexesOf(const TiXmlElement& element)
{
    std::set<int> indexes;
    for (const TiXmlElement* item = element.FirstChildElement("item"); item; item = item->NextSiblingElement("item"))
    {
        indexes.insert(number(*item, "index"));
    }
    return indexes;
}

class AgainstTheService : public EveryModel
{
protected:
    void SetUp() override
    {
        EveryModel::SetUp();
        module_ = sim::findModule(moduleOf(model()).getModuleId());
        ASSERT_NE(module_, nullptr);
        ASSERT_TRUE(support::simulator().setModule(module_->id));
    }

    void TearDown() override
    {
        support::simulator().setModule(sim::Service::kFirstModule);
        EveryModel::TearDown();
    }

    // The service's answer when a scheme that holds these records is applied and comes to this one.
    static int send(const std::map<u32, u32>& scheme, u32 key, u32 value)
    {
        const KeyRow& row = rowOf(key);
        const auto cmd = static_cast<ia_cmd_e>(row.cmd);
        const std::string handler = row.handler;
        if (handler == "doDNThr")
        {
            dn_thr_st record{scheme.at(KEY_DTN_THR), scheme.at(KEY_NTD_THR)};
            return ia_ioctrl(cmd, IA_CMD_OPT_SET, &record);
        }
        if (handler == "doDNTime")
        {
            dn_time_st record{scheme.at(KEY_DTN_H), scheme.at(KEY_DTN_M), scheme.at(KEY_NTD_H), scheme.at(KEY_NTD_M)};
            return ia_ioctrl(cmd, IA_CMD_OPT_SET, &record);
        }
        return ia_ioctrl(cmd, IA_CMD_OPT_SET, &value);
    }

    static void expectAccepted(const std::vector<KeyVal>& records)
    {
        std::map<u32, u32> scheme;
        for (const KeyVal& record : records)
        {
            scheme[record.key] = record.value;
        }
        for (const KeyVal& record : records)
        {
            if (rowOf(record.key).cmd != 0)
            {
                EXPECT_EQ(send(scheme, record.key, record.value), 0) << record.key << " = " << int(record.value);
            }
        }
    }

    const sim::SensorModule* module_ = nullptr;
};

TEST_P(AgainstTheService, ControlsFitTheKindOfTheirCommand)
{
    for (const auto& [key, element] : byKey_)
    {
        const u32 cmd = rowOf(key).cmd;
        if (cmd == 0)
        {
            continue;
        }
        const sim::Parameter* parameter = sim::findParameter(cmd);
        ASSERT_NE(parameter, nullptr) << key;
        const std::string name = element->Value();
        switch (parameter->kind)
        {
        case sim::Kind::range:
            EXPECT_TRUE(name == "slider" || name == "number" || name == "hour" || name == "minute") << key;
            break;
        case sim::Kind::choice:
            EXPECT_TRUE(name == "combo" || name == "radio" || name == "pad" || name == "switch") << key;
            break;
        case sim::Kind::action:
            EXPECT_EQ(name, "button") << key;
            break;
        default:
            ADD_FAILURE() << key << " cannot be set";
        }
    }
}

TEST_P(AgainstTheService, RangesStepsAndUnitsAreThoseOfTheTable)
{
    for (const auto& [key, element] : byKey_)
    {
        const sim::Parameter* parameter = sim::findParameter(rowOf(key).cmd);
        if (parameter == nullptr || parameter->kind != sim::Kind::range)
        {
            continue;
        }
        // Without digital zoom the lens ends where its glass does.
        const bool optical = key == KEY_MZ_POSITION && byKey_.count(KEY_DIGITAL_ZOOM) == 0;
        EXPECT_EQ(number(*element, "min"), parameter->minimum) << key;
        EXPECT_EQ(number(*element, "max"), optical ? sim::Lens::kOpticalTele : parameter->maximum) << key;
        EXPECT_EQ(number(*element, "step"), parameter->step) << key;
        const std::string name = element->Value();
        if (name != "hour" && name != "minute")
        {
            EXPECT_EQ(attribute(*element, "unit"), unitId(parameter->unit)) << key;
        }
    }
}

TEST_P(AgainstTheService, ScheduleTimesReachFromMidnightToMidnight)
{
    for (const u32 key : {KEY_SCHEME_START_HOUR, KEY_SCHEME_END_HOUR})
    {
        EXPECT_EQ(number(*byKey_.at(key), "min"), 0);
        EXPECT_EQ(number(*byKey_.at(key), "max"), 24);
    }
    for (const u32 key : {KEY_SCHEME_START_MIN, KEY_SCHEME_END_MIN})
    {
        EXPECT_EQ(number(*byKey_.at(key), "min"), 0);
        EXPECT_EQ(number(*byKey_.at(key), "max"), 59);
    }
}

TEST_P(AgainstTheService, ChoicesAreValuesThatTheTableNames)
{
    for (const auto& [key, element] : byKey_)
    {
        const sim::Parameter* parameter = sim::findParameter(rowOf(key).cmd);
        for (const int index : indexesOf(*element))
        {
            ASSERT_NE(parameter, nullptr) << key;
            EXPECT_STRNE(sim::choiceLabel(*parameter, index), "") << key << " = " << index;
        }
        if (std::string(element->Value()) == "switch" && parameter != nullptr)
        {
            EXPECT_EQ(parameter->choiceCount, 2) << key;
            EXPECT_EQ(parameter->maximum, 1) << key;
        }
    }
}

// What one module cannot do is removed when the style is served; what is missing here could never appear.
TEST_P(AgainstTheService, SensorDependentChoicesListWhatAnyModuleOffers)
{
    for (const sim::SensorModule& module : sim::sensorModules())
    {
        for (const ia_cmd_e cmd : sim::dynamicCommands(module))
        {
            const auto element = byKey_.find(cmd);
            if (element == byKey_.end())
            {
                continue;
            }
            const std::set<int> indexes = indexesOf(*element->second);
            for (const int value : sim::allowedValues(*sim::findParameter(cmd), module).items)
            {
                EXPECT_EQ(indexes.count(value), 1u) << cmd << " = " << value << " of module " << module.id;
            }
        }
    }
}

// The library corrects every sensor-dependent key before it shows a scheme, and reports those that are missing.
TEST_P(AgainstTheService, EverySensorDependentKeyOfTheFittedModuleIsAParameter)
{
    for (const ia_cmd_e cmd : sim::dynamicCommands(*module_))
    {
        EXPECT_EQ(byKey_.count(cmd), 1u) << cmd;
    }
}

TEST_P(AgainstTheService, OtherChoicesAreAllAllowedByTheFittedModule)
{
    const auto dynamic = sim::dynamicCommands(*module_);
    for (const auto& [key, element] : byKey_)
    {
        const sim::Parameter* parameter = sim::findParameter(rowOf(key).cmd);
        if (parameter == nullptr || std::count(dynamic.begin(), dynamic.end(), parameter->cmd) != 0)
        {
            continue;
        }
        for (const int index : indexesOf(*element))
        {
            EXPECT_TRUE(sim::allowedValues(*parameter, *module_).contains(index)) << key << " = " << index;
        }
    }
}

TEST_P(AgainstTheService, ServedChoicesAreExactlyTheModules)
{
    std::string served;
    ASSERT_EQ(getDnaStyle(merged(model()).c_str(), served), SNS_SUCCESS);
    const auto style = parse(served);
    for (const TiXmlElement* element : parameterElements(*style))
    {
        const auto cmd = static_cast<ia_cmd_e>(number(*element, "id"));
        const auto dynamic = sim::dynamicCommands(*module_);
        if (std::count(dynamic.begin(), dynamic.end(), cmd) != 0)
        {
            const auto allowed = sim::allowedValues(*sim::findParameter(cmd), *module_);
            EXPECT_EQ(indexesOf(*element), std::set<int>(allowed.items.begin(), allowed.items.end())) << cmd;
            EXPECT_EQ(indexesOf(*element).count(number(*element, "value")), 1u) << cmd;
        }
    }
}

TEST_P(AgainstTheService, FactoryValuesAreAcceptedOneByOneInOrder)
{
    const std::vector<KeyVal> factory = factoryValues(model());
    EXPECT_EQ(factory.size(), byKey_.size());
    expectAccepted(factory);
    expectAccepted(factory);
}

TEST_P(AgainstTheService, FactoryValuesAreAmongTheServedChoices)
{
    std::string served;
    ASSERT_EQ(getDnaStyle(merged(model()).c_str(), served), SNS_SUCCESS);
    const auto style = parse(served);
    for (const TiXmlElement* element : parameterElements(*style))
    {
        const int value = number(*element, "value");
        const std::set<int> indexes = indexesOf(*element);
        EXPECT_TRUE(indexes.empty() || indexes.count(value) == 1) << attribute(*element, "id") << " = " << value;
        if (element->Attribute("min") != nullptr)
        {
            EXPECT_GE(value, number(*element, "min")) << attribute(*element, "id");
            EXPECT_LE(value, number(*element, "max")) << attribute(*element, "id");
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Shipped, AgainstTheService, testing::ValuesIn(kModels), support::ByName());

class LicencePlate : public AgainstTheService
{
};

constexpr u32 kNightShutter = 18;  // 1/1000 s

TEST_P(LicencePlate, NightSchemeIsAcceptedToo)
{
    std::vector<KeyVal> night = factoryValues(model());
    const std::map<u32, u32> values = {{KEY_DN_MODE, 0},
                                       {KEY_MAX_SHUTTER, kNightShutter},
                                       {KEY_METER_AREA, 1},
                                       {KEY_IR_MODE, 2},
                                       {KEY_IR_MANUAL_STRG_NEAR, 40}};
    std::size_t set = 0;
    for (KeyVal& record : night)
    {
        const auto value = values.find(record.key);
        if (value != values.end())
        {
            record.value = value->second;
            ++set;
        }
    }
    EXPECT_EQ(set, values.size());
    expectAccepted(night);
}

TEST_P(LicencePlate, FreezesPlatesByDayWithAShorterShutterThanByNight)
{
    const std::vector<KeyVal> factory = factoryValues(model());
    const auto shutter = std::find_if(factory.begin(), factory.end(),
                                      [](const KeyVal& record) { return record.key == KEY_MAX_SHUTTER; });
    ASSERT_NE(shutter, factory.end());
    EXPECT_EQ(shutter->value, 20u) << "the document's own value, not the module's preference";
    EXPECT_GT(shutter->value, kNightShutter) << "greater indexes are shorter times";
}

INSTANTIATE_TEST_SUITE_P(Shipped, LicencePlate, testing::Values(kModels[2]), support::ByName());

}  // namespace
}  // namespace documents
