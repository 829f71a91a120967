#include "tests/shipped/documents/ShippedModel.h"

#include <algorithm>

#include "ISensorController.h"
#include "services/RecordingVideo.h"
#include "services/sim/Lens.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateTree.h"
#include "tests/support/ShippedModel.h"
#include "tests/support/Simulator.h"

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
        host::setClock(clock_);
        support::installModel(GetParam().name);
        ASSERT_TRUE(support::simulator().setModule(moduleOf(GetParam()).getModuleId()));
        support::journal().clearCalls();
        controller_.setVideoStreamModule(&video_);
        support::CapturedOutput quiet;
        ASSERT_TRUE(controller_.init(moduleOf(GetParam())));
    }

    void TearDown() override
    {
        controller_.uinit();
        support::simulator().setModule(sim::Service::kFirstModule);
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
        for (const services::Call& call : support::journal().calls())
        {
            EXPECT_EQ(call.status, 0) << services::commandName(call.cmd) << " option " << call.opt << " word "
                                      << static_cast<int>(call.in[0]);
        }
    }

    // 0, 1, ... of a control's values: the least, the greatest, then those between in turn.
    static u32 variant(const TiXmlElement& element, u32 which)
    {
        std::vector<int> values;
        for (const TiXmlElement* item = element.FirstChildElement("item"); item;
             item = item->NextSiblingElement("item"))
        {
            values.push_back(number(*item, "index"));
        }
        if (element.Attribute("min") != nullptr)
        {
            const int least = number(element, "min");
            const int greatest = number(element, "max");
            values = {least, (least + greatest) / 2, least + (greatest - least) / 4, greatest};
        }
        if (values.empty())
        {
            values = {0, 1};
        }
        std::sort(values.begin(), values.end());
        const u32 index = which == 1 ? static_cast<u32>(values.size()) - 1 : which % values.size();
        return static_cast<u32>(values[index]);
    }

    // Gives every scheme of its own other values; what schedules it and what is done once stay.
    void fillSchemes()
    {
        std::string served;
        ASSERT_EQ(getDnaStyle(merged(GetParam()).c_str(), served), SNS_SUCCESS);
        const auto style = parse(served);
        for (u32 scheme = 0; scheme < g_stSysConf.nSchemeSum; ++scheme)
        {
            u32 digital = 0;
            for (const TiXmlElement* element : parameterElements(*style))
            {
                const u32 key = static_cast<u32>(number(*element, "id"));
                u32 value = variant(*element, scheme);
                digital = key == KEY_DIGITAL_ZOOM ? value : digital;
                if (key == KEY_MZ_POSITION && digital == 0)
                {
                    value = std::min(value, static_cast<u32>(sim::Lens::kOpticalTele));
                }
                if (isSent(key))
                {
                    ASSERT_GE(controller_.setKeyValToCache(scheme, key, value, false), 0) << key;
                    ++filled_;
                }
            }
        }
    }

    keycmd rowOf(u32 key)
    {
        keycmd row{};
        EXPECT_NE(controller_.findFromKeyCmdMap(g_pKeyCmdMap, key, row), -1) << key;
        return row;
    }

    // Whether applying a scheme sends this key to the service.
    bool isSent(u32 key)
    {
        const keycmd row = rowOf(key);
        return row.cmd != 0 && std::string(row.szHandlerName).find("doIaCmd_User") == std::string::npos;
    }

    u32 stored(u32 scheme, u32 key)
    {
        u32 value = 0;
        EXPECT_GE(controller_.getKeyValFromCache(scheme, key, value), 0) << key;
        return value;
    }

    // Goes from a scheme that is in force to another. How many values differ.
    int expectSwitch(u32 from, u32 to)
    {
        support::journal().clearCalls();
        EXPECT_TRUE(controller_.setParamScheme(static_cast<int>(to)));
        expectNothingRefused();
        std::map<u32, u32> arrived;
        for (const services::Call& call : support::journal().calls())
        {
            if (call.opt == IA_CMD_OPT_SET)
            {
                arrived[call.cmd] = call.in[0];
            }
        }
        int different = 0;
        for (const KeyVal& record : factoryValues(GetParam()))
        {
            const u32 value = stored(to, record.key);
            if (!isSent(record.key) || value == stored(from, record.key))
            {
                continue;
            }
            ++different;
            const keycmd row = rowOf(record.key);
            EXPECT_EQ(arrived.count(row.cmd), 1u) << row.szKeyName << " from " << from << " to " << to;
            int held = 0;
            EXPECT_TRUE(support::simulator().value(static_cast<ia_cmd_e>(row.cmd), held));
            // A drive takes its time; what it was told is in the call.
            const bool drive = record.key == KEY_MZ_POSITION || record.key == KEY_MF_POSITION;
            EXPECT_EQ(drive ? arrived[row.cmd] : static_cast<u32>(held), value)
                << row.szKeyName << " from " << from << " to " << to;
        }
        return different;
    }

    const std::shared_ptr<host::ManualClock> clock_ = std::make_shared<host::ManualClock>(12, 0);
    u32 filled_ = 0;
    services::RecordingVideo video_;
    ISensorController controller_;
};

TEST_P(StartedCamera, SendsEveryFactoryValueAndNoneIsRefused)
{
    expectNothingRefused();
    std::set<u32> sent;
    for (const services::Call& call : support::journal().calls())
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
    ASSERT_NO_FATAL_FAILURE(fillSchemes());
    ASSERT_GT(filled_, 40 * g_stSysConf.nSchemeSum);
    u32 current = g_stSysConf.nSchemeSum;
    EXPECT_TRUE(controller_.setParamScheme(static_cast<int>(current)));
    const auto go = [this, &current](u32 scheme) {
        const int different = scheme == current ? 0 : expectSwitch(current, scheme);
        EXPECT_TRUE(scheme == current || different > 10) << "from " << current << " to " << scheme;
        current = scheme;
    };
    for (u32 from = 0; from <= g_stSysConf.nSchemeSum; ++from)
    {
        for (u32 to = 0; to <= g_stSysConf.nSchemeSum; ++to)
        {
            go(from);
            go(to);
        }
    }
    EXPECT_EQ(controller_.restore(KEY_SENSOR_FPS), 0);
    expectNothingRefused();
}

class CameraWithIris : public StartedCamera
{
};

TEST_P(CameraWithIris, TheIrisIsWhereItWasSavedAfterARestart)
{
    controller_.setParamMode(0);
    ASSERT_TRUE(controller_.setParamScheme(0));
    ASSERT_EQ(controller_.setParameter(KEY_IRIS_POSITION, 40, true), 0);
    ASSERT_EQ(controller_.flush(), 0);
    controller_.uinit();
    support::simulator().reset();
    support::journal().clearCalls();
    support::CapturedOutput quiet;
    ASSERT_TRUE(controller_.init(moduleOf(GetParam())));
    controller_.setParamMode(0);
    ASSERT_TRUE(controller_.setParamScheme(0));
    expectNothingRefused();
    EXPECT_EQ(stored(0, KEY_IRIS_SIZE), 2u) << "the saved size, sent after the position";
    clock_->advance(std::chrono::minutes(1));
    EXPECT_EQ(support::simulator().lens().iris, 40);
}

INSTANTIATE_TEST_SUITE_P(Shipped, StartedCamera, testing::ValuesIn(kModels), support::ByName());
INSTANTIATE_TEST_SUITE_P(Shipped, CameraWithIris, testing::Values(kModels[0], kModels[1], kModels[2]),
                         support::ByName());

}  // namespace
}  // namespace documents
