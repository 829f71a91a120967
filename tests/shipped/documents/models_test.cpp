#include "tests/shipped/documents/ShippedModel.h"

#include <filesystem>

#include "app/Models.h"
#include "services/sim/ParameterTable.h"

namespace documents {
namespace {

// The fields of a detail text, as they were written.
std::vector<std::pair<std::string, std::string>> fieldsOf(const std::string& detail)
{
    std::vector<std::pair<std::string, std::string>> fields;
    for (const std::string& part : split(detail, ')'))
    {
        const std::size_t equals = part.find('=');
        EXPECT_TRUE(part.size() > 1 && part[0] == '(' && equals != std::string::npos) << part;
        fields.emplace_back(part.substr(1, equals - 1), part.substr(equals + 1));
    }
    return fields;
}

class ModelFiles : public testing::TestWithParam<Model>
{
};

TEST_P(ModelFiles, MachineInformationNamesTheDeviceType)
{
    MachineInfo machine;
    const std::string path = sharePath(std::string("models/") + GetParam().name + "/machineinfo.ini");
    ASSERT_TRUE(SystemInfoParser::parseMachineInfo(path, machine));
    EXPECT_EQ(machine.getDeviceType(), GetParam().deviceType);
    EXPECT_NE(machine.getHardwareModel(), "");
    EXPECT_NE(machine.getHardwareCode(), "");
}

TEST_P(ModelFiles, TheFittedSensorModuleExists)
{
    EXPECT_NE(sim::findModule(moduleOf(GetParam()).getModuleId()), nullptr);
}

TEST_P(ModelFiles, TextsFitTheRecordThatKeepsThem)
{
    const ModuleConfigure module = moduleOf(GetParam());
    EXPECT_LT(module.getDetail().size(), sizeof(ModuleConfig::szDetail));
    EXPECT_LT(module.getParameters().size(), sizeof(ModuleConfig::szParameters));
}

TEST_P(ModelFiles, EveryDetailFieldIsFoundByItsNameAndShortEnough)
{
    const std::string detail = moduleOf(GetParam()).getDetail();
    for (const auto& [name, value] : fieldsOf(detail))
    {
        ASSERT_LE(value.size(), 9u) << name;
        char found[10] = {};
        EXPECT_EQ(getDetailFieldToStr(detail.c_str(), name.c_str(), found), 0) << name;
        EXPECT_EQ(found, value) << name << " is found in another field";
    }
}

TEST_P(ModelFiles, TheDetailNamesTheModelAndItsSchemes)
{
    const std::string detail = moduleOf(GetParam()).getDetail();
    char name[10] = {};
    EXPECT_EQ(getDetailFieldToStr(detail.c_str(), "model", name), 0);
    EXPECT_STREQ(name, GetParam().name);
    u32 schemes = 0;
    EXPECT_EQ(getDetailFieldTou32(detail.c_str(), "max_scheme", &schemes), 0);
    EXPECT_GE(schemes, 2u);
}

TEST_P(ModelFiles, StreamsRunAtARateThatOffersWideDynamicRange)
{
    u32 rate = 0;
    const std::string parameters = moduleOf(GetParam()).getParameters();
    EXPECT_EQ(getDetailFieldTou32(parameters.c_str(), "fps", &rate), 0);
    const sim::SensorModule* module = sim::findModule(moduleOf(GetParam()).getModuleId());
    ASSERT_NE(module, nullptr);
    EXPECT_TRUE(sim::allowedValues(*sim::findParameter(IA_CMD_SENSOR_FPS), *module).contains(static_cast<int>(rate)));
    EXPECT_LT(rate, 50u);
}

INSTANTIATE_TEST_SUITE_P(Shipped, ModelFiles, testing::ValuesIn(kModels), support::ByName());

TEST(Models, AreThoseThatACameraCanBeStartedAs)
{
    std::set<std::string> folders;
    for (const auto& entry : std::filesystem::directory_iterator(sharePath("models")))
    {
        folders.insert(entry.path().filename());
    }
    EXPECT_EQ(folders, std::set<std::string>(std::begin(app::kModelNames), std::end(app::kModelNames)));
    std::set<std::string> looked;
    for (const Model& model : kModels)
    {
        looked.insert(model.name);
    }
    EXPECT_EQ(looked, folders);
}

TEST(Models, UseAtLeastTwoSensorModules)
{
    std::set<int> modules;
    for (const Model& model : kModels)
    {
        modules.insert(moduleOf(model).getModuleId());
    }
    EXPECT_GE(modules.size(), 2u);
}

TEST(Models, LicencePlateCameraDoesNotNameItsInfraredVariant)
{
    const std::string detail = moduleOf(kModels[2]).getDetail();
    ASSERT_STREQ(kModels[2].name, "lpr");
    EXPECT_EQ(detail.find("isInfrared"), std::string::npos) << "it would run as an ordinary camera";
}

}  // namespace
}  // namespace documents
