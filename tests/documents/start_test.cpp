#include "ShippedModel.h"

#include "CapturedOutput.h"
#include "ISensorController.h"
#include "PrivateTree.h"
#include "RecordingVideo.h"
#include "Service.h"

namespace documents {
namespace {

// A whole camera on its shipped documents. The clock is moved by this thread's own waits, so that nothing changes
// behind its back.
class StartedCamera : public support::PrivateTreeTest, public testing::WithParamInterface<Model>
{
protected:
    void SetUp() override
    {
        PrivateTreeTest::SetUp();
        host::setClock(std::make_shared<host::ManualClock>(12, 0));
        const std::string folder = std::string("models/") + GetParam().name;
        support::writeFile(support::kMachineInfoFile, readShared(folder + "/machineinfo.ini"));
        support::writeFile(support::kModuleConfigFile, readShared(folder + "/moduleConfig.xml"));
        const bool dome = GetParam().deviceType == DEVICE_TYPE_DOME;
        support::writeFile(dome ? support::kDomeStyleFile : support::kStyleFile, readShared(GetParam().style));
        support::writeFile(dome ? support::kDomeDiversityFile : support::kDiversityFile,
                           readShared(GetParam().diversity));
        ASSERT_TRUE(sim::service().setModule(moduleOf(GetParam()).getModuleId()));
        sim::service().clearCalls();
        controller_.setVideoStreamModule(&video_);
        support::CapturedOutput quiet;
        ASSERT_TRUE(controller_.init(moduleOf(GetParam())));
    }

    void TearDown() override
    {
        controller_.uinit();
        sim::service().setModule(sim::Service::kFirstModule);
        host::setClock(nullptr);
        PrivateTreeTest::TearDown();
    }

    // The error log: what the library found wrong since the camera was switched on.
    static std::vector<std::string> reports()
    {
        std::vector<std::string> texts;
        for (const support::LogRecord& record : support::errorLog())
        {
            texts.push_back(record.text);
        }
        return texts;
    }

    static void expectNothingRefused()
    {
        for (const sim::Call& call : sim::service().calls())
        {
            EXPECT_EQ(call.status, 0) << sim::commandName(call.cmd) << " option " << call.opt << " word "
                                      << static_cast<int>(call.in[0]);
        }
    }

    sim::RecordingVideo video_;
    ISensorController controller_;
};

TEST_P(StartedCamera, SendsEveryFactoryValueAndNoneIsRefused)
{
    expectNothingRefused();
    std::set<u32> sent;
    for (const sim::Call& call : sim::service().calls())
    {
        if (call.opt == IA_CMD_OPT_SET)
        {
            sent.insert(call.cmd);
        }
    }
    for (const KeyVal& record : factoryValues(GetParam()))
    {
        keycmd row{};
        ASSERT_NE(controller_.findFromKeyCmdMap(g_pKeyCmdMap, record.key, row), -1) << record.key;
        const bool oneShot = std::string(row.szHandlerName).find("doIaCmd_User") != std::string::npos;
        EXPECT_EQ(sent.count(row.cmd), row.cmd != 0 && !oneShot ? 1u : 0u) << row.szKeyName;
    }
}

TEST_P(StartedCamera, StartsAndShowsItsParametersWithoutAReport)
{
    EXPECT_EQ(reports(), std::vector<std::string>());
    std::string all;
    EXPECT_TRUE(controller_.getAllParameters(all));
    EXPECT_EQ(reports(), std::vector<std::string>());
    EXPECT_EQ(split(all, ')').size(), factoryValues(GetParam()).size());
    expectNothingRefused();
}

TEST_P(StartedCamera, CanSaveItsFirstScheme)
{
    EXPECT_EQ(controller_.flush(), 0);
}

TEST_P(StartedCamera, AppliesEverySchemeFromEveryOther)
{
    controller_.setParamMode(0);
    for (u32 scheme = 0; scheme <= g_stSysConf.nSchemeSum; ++scheme)
    {
        EXPECT_TRUE(controller_.setParamScheme(static_cast<int>(scheme)));
        EXPECT_EQ(controller_.restore(KEY_SENSOR_FPS), 0);
    }
    expectNothingRefused();
}

INSTANTIATE_TEST_SUITE_P(Shipped, StartedCamera, testing::ValuesIn(kModels), NameOfModel());

}  // namespace
}  // namespace documents
