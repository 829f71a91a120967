#include <gtest/gtest.h>
#include <linux/videodev2.h>
#include <tinyxml.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>

#include "FactoryScheme.h"
#include "HostPlatform.h"
#include "SensorFile.h"
#include "SysConfig.h"
#include "XmlGuard.h"
#include "sensordll.h"
#include "services/CommandNames.h"
#include "services/RecordingVideo.h"
#include "services/Status.h"
#include "services/checks/Parts.h"
#include "services/linux/ControlIds.h"
#include "services/linux/Documents.h"
#include "services/linux/Generations.h"
#include "services/linux/Service.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/PrivateTree.h"
#include "tests/support/ServiceDouble.h"
#include "tests/unit/services/linux/Webcam.h"

// The library on the documents of devices.
namespace devices {
namespace {

namespace fs = std::filesystem;
using services::ParameterState;

constexpr char kState[] = "/tmp/device";
constexpr char kShare[] = SENSORDLL_SOURCE_DIR "/share";

struct Camera
{
    const char* name;
    std::vector<Control> controls;
    Board board;
};

void PrintTo(const Camera& camera, std::ostream* stream)
{
    *stream << camera.name;
}

std::vector<Control> everything()
{
    std::vector<Control> controls = support::webcam();
    for (const Control& more :
         {support::number(kLampNear, 0, 255, 0), support::number(kLampMedium, 0, 1, 0),
          support::number(kLampFar, 0, 255, 0), support::yesNo(kFilter, true),
          support::menu(kFrameRate, {5, 15, 25, 30, 60}, 30), support::yesNo(V4L2_CID_HFLIP, false),
          support::yesNo(V4L2_CID_VFLIP, false), support::button(V4L2_CID_AUTO_FOCUS_START),
          support::yesNo(V4L2_CID_WIDE_DYNAMIC_RANGE, false), support::menu(V4L2_CID_EXPOSURE_METERING, {0, 1, 2}, 0),
          support::number(V4L2_CID_RED_BALANCE, 0, 255, 100), support::number(V4L2_CID_BLUE_BALANCE, 0, 255, 100),
          support::yesNo(V4L2_CID_IMAGE_STABILIZATION, false), support::menu(V4L2_CID_AUTO_FOCUS_RANGE, {0, 1, 2}, 0),
          support::number(V4L2_CID_ROTATE, 0, 270, 0, 90)})
    {
        controls.push_back(more);
    }
    return controls;
}

Board lit(bool schemesByLight)
{
    Board board;
    board.light = "auto";
    board.schemesByLight = schemesByLight;
    return board;
}

std::vector<Camera> cameras()
{
    std::vector<Control> many = support::webcam();
    for (u32 i = 0; i < 150; ++i)
    {
        many.push_back(support::number(0x08000000 + i, 0, 9, 1));
    }
    std::vector<Control> hostile = everything();
    for (Control& control : hostile)
    {
        control.name = "\"/><x id=\"1\" value=\"\xff\x01";
        for (auto& [value, label] : control.items)
        {
            label = "]]>&#0;\xed\xa0\x80";
        }
    }
    return {
        {"Full", everything(), lit(false)},
        {"SchemesByLight", everything(), lit(true)},
        {"SchemesByLightWithoutASensor", support::webcam(),
         [] {
             Board board;
             board.schemesByLight = true;
             return board;
         }()},
        {"OnUsb", support::webcam(), {}},
        {"TwoControls", {support::number(V4L2_CID_BRIGHTNESS, 0, 255, 128), support::yesNo(V4L2_CID_HFLIP, true)}, {}},
        {"NoControls", {}, {}},
        {"ManyControls", many, {}},
        {"HostileNames", hostile, lit(false)},
    };
}

// A device that takes what its parameters allow, and knows no other command. Thread-safe.
class ScriptedService final : public support::ServiceDouble
{
public:
    void take(std::vector<ParameterState> states)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        states_ = std::move(states);
    }

    int call(ia_cmd_e cmd, int opt, void* data) override
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const std::size_t words = services::wordsToSet(cmd);
        const auto state = std::find_if(states_.begin(), states_.end(),
                                        [cmd](const ParameterState& candidate) { return candidate.cmd == cmd; });
        if (cmd == IA_CMD_DYNAMIC_PARAMS_CMDS_GET && opt == IA_CMD_OPT_GET)
        {
            *static_cast<ia_dynamic_params_cmds_st*>(data) = {};  // items stand in the documents
            return services::kDone;
        }
        if (state == states_.end())
        {
            return refuse(cmd, opt, services::kUnknownCommand);
        }
        auto* const word = static_cast<int*>(data);
        switch (opt)
        {
        case IA_CMD_OPT_SET:
            if (words == 1 && !state->allowed.contains(*word))
            {
                return refuse(cmd, *word, services::kOutOfRange);
            }
            held_[cmd] = *word;
            return services::kDone;
        case IA_CMD_OPT_GET:
            *word = held_.count(cmd) != 0 ? held_[cmd] : state->value;
            return services::kDone;
        default:
            return opt == IA_CMD_OPT_CORRECT_PARAM ? services::kDone : services::kNotSupported;
        }
    }

    // "IA_CMD_CONTRAST 101: -4"
    std::vector<std::string> refused() const
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return refused_;
    }

private:
    int refuse(ia_cmd_e cmd, int what, int status)
    {
        refused_.push_back(std::string(services::commandName(cmd)) + " " + std::to_string(what) + ": " +
                           std::to_string(status));
        return status;
    }

    mutable std::mutex mutex_;
    std::vector<ParameterState> states_;
    std::map<ia_cmd_e, int> held_;
    std::vector<std::string> refused_;
    const support::InForce inForce_{*this};
};

class DeviceCamera : public support::PrivateTreeTest, public testing::WithParamInterface<Camera>
{
protected:
    void SetUp() override
    {
        PrivateTreeTest::SetUp();
        fs::create_directory(kState);
        host::setClock(std::make_shared<host::ManualClock>(12, 0));
        description_.name = "</text>\x01\xff&";
        description_.controls = GetParam().controls;
        for (const Control& control : description_.controls)
        {
            description_.values[control.id] = control.maximum;
        }
        states_ = parametersOf(description_, GetParam().board);
        service_.take(states_);
        bringUpIt();
    }

    void TearDown() override
    {
        stop();
        fs::remove("/mnt/mtd");
        fs::remove("/hd1/moduleConfig");
        fs::remove_all(kState);
        host::setClock(nullptr);
        PrivateTreeTest::TearDown();
    }

    // The trees as a private tree has them.
    void bringUpIt()
    {
        generation_ = bringUp(kState, kShare, description_, GetParam().board);
        for (const char* folder : {"/mnt/mtd", "/hd1/moduleConfig"})
        {
            fs::remove_all(folder);
            fs::create_directory_symlink(std::string(kState) + "/current" + folder, folder);
        }
    }

    bool start()
    {
        MachineInfo machine;
        std::vector<ModuleConfigure> modules;
        EXPECT_TRUE(SystemInfoParser::parseMachineInfo(sensorpaths::kMachineInfoFile, machine));
        EXPECT_EQ(machine.getDeviceType(), GetParam().board.schemesByLight ? DEVICE_TYPE_LPR : DEVICE_TYPE_CAMERA);
        EXPECT_TRUE(ModuleConfigureParser::parse(sensorpaths::kModuleConfigFile, machine.getHardwareModel(),
                                                 machine.getHardwareCode(), modules));
        if (modules.size() != 1)
        {
            return false;
        }
        controller_ = std::make_unique<ISensorController>();
        controller_->setVideoStreamModule(&video_);
        support::CapturedOutput quiet;
        return controller_->init(modules.front());
    }

    void stop()
    {
        if (controller_)
        {
            controller_->uinit();
            controller_.reset();
        }
    }

    static std::vector<std::string> reports()
    {
        std::vector<std::string> texts;
        for (const support::LogRecord& record : support::errorLog())
        {
            texts.push_back(record.text);
        }
        return texts;
    }

    Documents documents() const { return documentsOf(description_, states_, GetParam().board, {}); }

    ScriptedService service_;
    services::RecordingVideo video_;
    Description description_;
    std::vector<ParameterState> states_;
    Generation generation_;
    std::unique_ptr<ISensorController> controller_;
};

TEST_P(DeviceCamera, ComesUpWithoutAReportAndNothingIsRefused)
{
    ASSERT_TRUE(start());
    EXPECT_EQ(reports(), std::vector<std::string>());
    EXPECT_EQ(service_.refused(), std::vector<std::string>());
    EXPECT_EQ(g_stSysConf.nSchemeSum, 4u);
    std::vector<KeyVal> records(100);
    u32 count = 0;
    std::string style = g_stSysConf.szUIStyle;
    ASSERT_EQ(getFctData(style.data(), records.data(), &count), SNS_SUCCESS);
    const Documents made = documents();
    ASSERT_EQ(count, made.parameters.size());
    for (u32 i = 0; i < count; ++i)
    {
        EXPECT_EQ(static_cast<int>(records[i].key), made.parameters[i].key);
        EXPECT_EQ(static_cast<int>(records[i].value), made.parameters[i].allowed.defaultValue) << records[i].key;
    }
}

TEST_P(DeviceCamera, TakesEverySchemeWithoutARefusal)
{
    ASSERT_TRUE(start());
    controller_->setParamMode(0);
    for (const int scheme : {1, 2, 3, 0, 4, 1})
    {
        EXPECT_TRUE(controller_->setParamScheme(scheme)) << scheme;
    }
    EXPECT_EQ(service_.refused(), std::vector<std::string>());
    EXPECT_EQ(reports(), std::vector<std::string>());
}

TEST_P(DeviceCamera, SchemeZeroIsAsTheDeviceWasAndIsSavedIntoItsGeneration)
{
    ASSERT_TRUE(start());
    controller_->setParamMode(0);
    ASSERT_TRUE(controller_->setParamScheme(0));
    for (const DocumentParameter& parameter : documents().parameters)
    {
        int word = -1;
        if (parameter.key < static_cast<int>(KEY_SCHEME_ENABLE))
        {
            EXPECT_GE(controller_->getParameter(static_cast<u32>(parameter.key), word), 0) << parameter.name;
            EXPECT_EQ(word, parameter.first) << parameter.name;
        }
    }
    const std::string file = generation_.folder + sensorpaths::schemeFile(0);
    const std::string before = support::readFile(file);
    EXPECT_EQ(before.size(), documents().parameters.size() * sizeof(KeyVal));
    EXPECT_EQ(controller_->flush(), 0);
    EXPECT_EQ(support::readFile(file), before);
    stop();
    EXPECT_FALSE(bringUp(kState, kShare, description_, GetParam().board).isNew);
}

TEST_P(DeviceCamera, HasDocumentsThatAPortMayHave)
{
    portcheck::Options options;
    options.documents = true;
    std::string printed;
    portcheck::Factory factory;
    {
        support::CapturedOutput output;
        portcheck::Report report{std::chrono::minutes(1)};
        factory = portcheck::checkDocuments(report, options);
        report.finish();
        printed = output.take();
    }
    ASSERT_NE(factory, nullptr) << printed;
    EXPECT_EQ(factory->size(), documents().parameters.size());
    EXPECT_NE(printed.find("3 passed, 0 failed, 0 left out"), std::string::npos) << printed;
}

class CameraWithBrightness : public DeviceCamera
{
};

TEST_P(CameraWithBrightness, KeepsWhatWasSavedWhenItsControlsChange)
{
    ASSERT_TRUE(start());
    controller_->setParamMode(0);
    ASSERT_TRUE(controller_->setParamScheme(2));
    ASSERT_EQ(controller_->setParameter(KEY_BRIGHTNESS, 61, true), 0);
    ASSERT_EQ(controller_->flush(), 0);
    stop();
    description_.controls.push_back(support::number(V4L2_CID_CONTRAST, 0, 9, 1));
    if (findControl(GetParam().controls, V4L2_CID_CONTRAST) != nullptr)
    {
        description_.controls.pop_back();
        description_.controls.erase(description_.controls.begin() + 1);
    }
    states_ = parametersOf(description_, GetParam().board);
    service_.take(states_);
    bringUpIt();
    ASSERT_EQ(generation_.number, 2);
    ASSERT_TRUE(start());
    controller_->setParamMode(0);
    ASSERT_TRUE(controller_->setParamScheme(2));
    int word = -1;
    EXPECT_GE(controller_->getParameter(KEY_BRIGHTNESS, word), 0);
    EXPECT_EQ(word, 61);
    EXPECT_EQ(reports(), std::vector<std::string>());
    EXPECT_EQ(service_.refused(), std::vector<std::string>());
}

TEST_P(DeviceCamera, HasDocumentsThatEveryParserTakes)
{
    int count = 0;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(generation_.folder))
    {
        if (entry.path().extension() == ".xml")
        {
            const std::string text = support::readFile(entry.path().string());
            EXPECT_TRUE(host::isPlainXml(text)) << entry.path();
            TiXmlDocument document;
            document.Parse(text.c_str(), nullptr, TIXML_ENCODING_UTF8);
            EXPECT_FALSE(document.Error()) << entry.path() << ": " << document.ErrorDesc();
            ++count;
        }
    }
    EXPECT_EQ(count, 8);
}

std::vector<Camera> camerasWithBrightness()
{
    std::vector<Camera> found = cameras();
    found.erase(std::remove_if(
                    found.begin(), found.end(),
                    [](const Camera& camera) { return findControl(camera.controls, V4L2_CID_BRIGHTNESS) == nullptr; }),
                found.end());
    return found;
}

INSTANTIATE_TEST_SUITE_P(Devices, CameraWithBrightness, testing::ValuesIn(camerasWithBrightness()),
                         [](const auto& instance) { return std::string(instance.param.name); });

INSTANTIATE_TEST_SUITE_P(Devices, DeviceCamera, testing::ValuesIn(cameras()),
                         [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace
}  // namespace devices
