#include "SensorKeys.h"
#include "tests/unit/services/checks/PortTest.h"

namespace checks_tests {
namespace {

class DocumentChecks : public PortTest
{
protected:
    std::string report()
    {
        return reportOf([this](portcheck::Report& to) { factory_ = portcheck::checkDocuments(to, options_); });
    }

    static void writeBoard()
    {
        support::writeFile(support::kMachineInfoFile, "DeviceType=1\nHardwareModel=M\nHardwareCode=C\n");
        support::writeFile(support::kModuleConfigFile,
                           "<ModuleConfigs><ModuleConfig hardwareModel=\"M\" hardwareCode=\"C\"><ModuleId>1</ModuleId>"
                           "<Detail>(max_scheme=2)</Detail></ModuleConfig></ModuleConfigs>");
        support::writeFile(support::kDiversityFile, "<Rule model=\"other\"/>");
    }

    static void writeStyle(const std::string& controls)
    {
        support::writeFile(support::kStyleFile, "<Style><tab key=\"image\">" + controls + "</tab></Style>");
    }

    portcheck::Options options_ = [] {
        portcheck::Options options;
        options.documents = true;
        return options;
    }();
    portcheck::Factory factory_;
};

TEST_F(DocumentChecks, ReadNothingUntilTold)
{
    options_.documents = false;
    writeBoard();
    EXPECT_THAT(report(), HasSubstr("portcheck: 0 passed, 0 failed, 3 left out"));
    EXPECT_EQ(factory_, nullptr);
    EXPECT_EQ(journal_.callCount(), 0u);
    EXPECT_FALSE(support::fileExists(support::kMergedStyleFile));
}

TEST_F(DocumentChecks, GiveTheFactoryValuesInTheOrderOfTheStyle)
{
    writeBoard();
    writeStyle("<slider id=\"34\" value=\"55\"/><number id=\"8001\" value=\"7\"/>");
    EXPECT_THAT(report(), HasSubstr("portcheck: 3 passed, 0 failed, 0 left out"));
    ASSERT_NE(factory_, nullptr);
    ASSERT_EQ(factory_->size(), 2u);
    EXPECT_EQ(factory_->at(0).key, KEY_BRIGHTNESS);
    EXPECT_EQ(factory_->at(0).value, 55u);
    EXPECT_EQ(factory_->at(1).key, KEY_SCHEME_START_HOUR);
}

TEST_F(DocumentChecks, TellOfMissingDocuments)
{
    const std::string all = report();
    EXPECT_THAT(all, HasSubstr("machineinfo.ini cannot be read or has none"));
    EXPECT_THAT(all, HasSubstr("moduleConfig.xml cannot be read or is not well-formed"));
    EXPECT_THAT(all, HasSubstr("2 failed, 1 left out"));
}

TEST_F(DocumentChecks, TellOfABoardThatNoModuleIsFor)
{
    writeBoard();
    support::writeFile(support::kMachineInfoFile, "DeviceType=1\nHardwareModel=M\nHardwareCode=D\n");
    EXPECT_THAT(report(), HasSubstr("none for model \"M\" and code \"D\""));
}

TEST_F(DocumentChecks, TellOfAStyleWithoutValues)
{
    writeBoard();
    writeStyle("");
    EXPECT_THAT(report(), HasSubstr("no key twice: none\n"));
    EXPECT_EQ(factory_, nullptr);
}

TEST_F(DocumentChecks, TellOfKeysThatAreUnknownOrComeTwice)
{
    writeBoard();
    writeStyle("<slider id=\"35\" value=\"55\"/><slider id=\"34\" value=\"55\"/><slider id=\"34\" value=\"56\"/>");
    EXPECT_THAT(report(), HasSubstr("no key twice: unknown key 35; key 34 twice\n"));
}

}  // namespace
}  // namespace checks_tests
