#include <gtest/gtest.h>
#include <linux/videodev2.h>
#include <tinyxml.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <sstream>

#include "FactoryScheme.h"
#include "HostPlatform.h"
#include "SensorFile.h"
#include "SysConfig.h"
#include "XmlGuard.h"
#include "sensordll.h"
#include "services/CommandNames.h"
#include "services/Status.h"
#include "services/linux/ControlIds.h"
#include "services/linux/Documents.h"
#include "services/linux/Generations.h"
#include "services/linux/Service.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/FakeService.h"
#include "tests/support/FakeVideo.h"
#include "tests/support/PrivateTree.h"
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
        service_.intercept([this](u32 cmd, int opt, void* data) { return judge(cmd, opt, data); });
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

    // A device takes what its parameters allow, and knows no other command.
    std::optional<int> judge(u32 cmd, int opt, void* data)
    {
        if (opt != IA_CMD_OPT_SET || services::wordsToSet(cmd) != 1)
        {
            return std::nullopt;
        }
        const auto state = std::find_if(states_.begin(), states_.end(),
                                        [cmd](const ParameterState& candidate) { return candidate.cmd == cmd; });
        const int status = state == states_.end()                              ? services::kUnknownCommand
                           : state->allowed.contains(*static_cast<int*>(data)) ? services::kDone
                                                                               : services::kOutOfRange;
        if (status != services::kDone)
        {
            refused_.push_back(std::string(services::commandName(cmd)) + " " +
                               std::to_string(*static_cast<int*>(data)));
            return status;
        }
        return std::nullopt;
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

    support::FakeService service_;
    support::FakeVideo video_;
    Description description_;
    std::vector<ParameterState> states_;
    Generation generation_;
    std::unique_ptr<ISensorController> controller_;
    std::vector<std::string> refused_;
};

TEST_P(DeviceCamera, ComesUpWithoutAReportAndNothingIsRefused)
{
    ASSERT_TRUE(start());
    EXPECT_EQ(reports(), std::vector<std::string>());
    EXPECT_EQ(refused_, std::vector<std::string>());
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
    EXPECT_EQ(refused_, std::vector<std::string>());
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
    bringUpIt();
    ASSERT_EQ(generation_.number, 2);
    ASSERT_TRUE(start());
    controller_->setParamMode(0);
    ASSERT_TRUE(controller_->setParamScheme(2));
    int word = -1;
    EXPECT_GE(controller_->getParameter(KEY_BRIGHTNESS, word), 0);
    EXPECT_EQ(word, 61);
    EXPECT_EQ(reports(), std::vector<std::string>());
    EXPECT_EQ(refused_, std::vector<std::string>());
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
