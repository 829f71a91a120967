#include "tests/robust/hostile/HostileFixture.h"

#include <array>
#include <chrono>
#include <cstring>

#include "ia_ioctrl.h"

namespace support {
namespace {

constexpr char kFailedMark[] = "   ~~~Assertion failed.";

std::vector<KeyVal> savedScheme(const CameraFiles& files, int brightness, std::array<int, 5> schedule)
{
    std::vector<KeyVal> records;
    for (u32 i = 0; i < schedule.size(); ++i)
    {
        records.push_back({KEY_SCHEME_ENABLE + i, static_cast<u32>(schedule[i])});
    }
    for (const Parameter& parameter : files.parameters)
    {
        records.push_back({static_cast<u32>(parameter.id), static_cast<u32>(parameter.value)});
    }
    records[5] = {KEY_BRIGHTNESS, static_cast<u32>(brightness)};
    return records;
}

}  // namespace

size_t dataSize(u32 cmd, int opt)
{
    if (opt == IA_CMD_OPT_GET_PARAM_RNAGE)
    {
        return sizeof(ia_dynamic_params_attr_st);
    }
    if (opt == IA_CMD_OPT_CORRECT_PARAM || opt == IA_CMD_OPT_GET_EXEC_STATUS)
    {
        return sizeof(u32);
    }
    switch (cmd)
    {
    case IA_CMD_DYNAMIC_PARAMS_CMDS_GET:
        return sizeof(ia_dynamic_params_cmds_st);
    case IA_CMD_CAMERA_VERSION:
        return kCameraVersionSize;
    case IA_CMD_SENSOR_CHECK:
        return sizeof(ia_sensor_check_st);
    default:
        return sizeof(u32);
    }
}

void HostileFixture::SetUp()
{
    ControllerFixture::SetUp();
    // The shutter's control has its choices below it; the items are no parameters.
    const std::string choices = "<Item index=\"1\"/><Item index=\"2\"/><Item index=\"3\"/><Item index=\"4\"/>";
    files_.extraElements = "<Combo id=\"50\" value=\"2\">" + choices + "</Combo>";
    service_.setDynamicCommands({IA_CMD_FIX_SHUTTER, IA_CMD_METER_AREA});
    service_.setAllowedValues(IA_CMD_FIX_SHUTTER, 3, {1, 2, 3});
    service_.setAllowedValues(IA_CMD_METER_AREA, 0, {});
}

void HostileFixture::TearDown()
{
    behave();
    ControllerFixture::TearDown();
}

void HostileFixture::writeSavedCamera()
{
    writeCameraFiles(files_);
    CameraFiles all = files_;
    all.parameters.push_back({50, 2});
    writeFile(kVersionFile, std::string("\x08\0\0\0", 4));
    writeFile(schemeFile(0), bytesOf(savedScheme(all, 10, {1, 8, 0, 18, 0})));
    writeFile(schemeFile(1), bytesOf(savedScheme(all, 20, {1, 18, 0, 22, 0})));
    writeFile(schemeFile(2), bytesOf(savedScheme(all, 30, {0, 1, 0, 2, 0})));
}

void HostileFixture::bringUpHostile()
{
    writeSavedCamera();
    construct();
    CapturedOutput quiet;
    initialise();
    service_.clearCalls();
    video_.clear();
}

void HostileFixture::failCalls(int first, int last, Callers callers)
{
    *seen_ = 0;
    service_.intercept(
        [=, seen = seen_, self = std::this_thread::get_id()](u32 cmd, int opt, void* data) -> std::optional<int> {
            if (callers == Callers::thisThread && std::this_thread::get_id() != self)
            {
                return std::nullopt;
            }
            const int call = ++*seen;
            if (call < first || call > last)
            {
                return std::nullopt;
            }
            if (opt != IA_CMD_OPT_SET)
            {
                std::memset(data, kGarbage & 0xFF, dataSize(cmd, opt));
            }
            return kRefusal;
        });
}

void HostileFixture::behave()
{
    service_.intercept(nullptr);
}

void HostileFixture::expectWorks()
{
    behave();
    CapturedOutput quiet;
    // After a factory reset the thread's first turn may come without a pause.
    EXPECT_TRUE(clock_->waitForSleepers(1, std::chrono::seconds(30)));
    EXPECT_EQ(kInitialisedBit, flags());
    EXPECT_TRUE(c().setParamMode(0));
    EXPECT_TRUE(c().setParamScheme(0));
    EXPECT_EQ(0, c().setParameter(KEY_CONTRAST, 61, true));
    EXPECT_EQ(0, c().setParameter(KEY_CONTRAST, 62, true));
    EXPECT_EQ(62U, service_.stored(IA_CMD_CONTRAST));
    int value = 0;
    EXPECT_TRUE(c().getParameter(KEY_CONTRAST, value));
    EXPECT_EQ(62, value);
    EXPECT_EQ(0, c().setParameters("(8000,1)(8001,8)(8002,0)(8003,18)(8004,0)", true));
    EXPECT_EQ(0, c().flush());
    EXPECT_EQ(bytesOf(scheme(0)), readFile(schemeFile(0)));
    EXPECT_EQ(0, c().setParameter(KEY_CONTRAST, 63, true));
    EXPECT_TRUE(c().resetToLastParameters());
    EXPECT_EQ(62U, service_.stored(IA_CMD_CONTRAST));
    const std::string style = c().getUIStyleFile();
    EXPECT_EQ(0U, style.find("<?xml"));
    EXPECT_NE(std::string::npos, style.rfind("</Style>"));
    EXPECT_TRUE(c().setParamScheme(3));
    EXPECT_TRUE(c().setParamMode(1));
    setTime(12, 0);
    EXPECT_TRUE(eventually([this] { return threadTurn() && current() == 0; }));
}

std::vector<std::string> reportedExpressions()
{
    std::vector<std::string> expressions;
    for (const LogRecord& record : errorLog())
    {
        const size_t mark = record.text.find(kFailedMark);
        if (mark != std::string::npos)
        {
            expressions.push_back(record.text.substr(0, mark));
        }
    }
    return expressions;
}

}  // namespace support
