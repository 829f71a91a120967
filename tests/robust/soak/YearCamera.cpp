#include "tests/robust/soak/YearCamera.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "SysConfig.h"
#include "tests/robust/soak/ExactHeap.h"
#include "tests/robust/soak/Shift.h"
#include "tests/support/ShippedModel.h"
#include "tests/support/Simulator.h"

using namespace support;

namespace soak {
namespace {

namespace fs = std::filesystem;

constexpr int kFlushEvery = std::max(kHours / 52, 6);  // hours; a week of a year
constexpr int kReportEvery = 6;
constexpr int kReloadEvery = 12;
constexpr int kUnknownKey = 9999;  // makes a report
constexpr std::size_t kRecordingCapacity = 4096;

std::string window(int from, int to, int brightness)
{
    return "(8000,1)(8001," + std::to_string(from) + ")(8002,0)(8003," + std::to_string(to) + ")(8004,0)(34," +
           std::to_string(brightness) + ")";
}

// The warm-up has one too.
bool isResetDue(int hour)
{
    return hour < kWarmUpHours ? hour == kWarmUpHours / 2 : hour % kResetEvery == kResetEvery / 2;
}

bool isRestartDue(int hour)
{
    return hour % kResetEvery == kResetEvery - 1;
}

long entriesOf(const char* folder)
{
    return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

// Of the camera's files, or of the error log and its predecessors.
std::uintmax_t bytesOnDisk(bool ofLog)
{
    std::uintmax_t bytes = 0;
    for (const char* folder : {"/mnt", "/hd1", "/tmp"})
    {
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder))
        {
            const bool isLog = entry.path().string().rfind(support::kErrorLogFile, 0) == 0;
            bytes += entry.is_regular_file() && isLog == ofLog ? entry.file_size() : 0;
        }
    }
    return bytes;
}

}  // namespace

void PrintTo(const Model& model, std::ostream* stream)
{
    *stream << model.name;
}

std::vector<Model> models()
{
    return {
        {"fixed", {window(6, 12, 40), window(12, 18, 41), window(18, 23, 42)}, 4},
        // Outside of 7 to 9 o'clock day and night choose between schemes 0 and 1, each sent whole.
        {"lpr", {"(8000,0)(34,40)", "(8000,0)(34,41)", window(7, 9, 42)}, 200},
    };
}

int QuietVideo::notifyParam(int, int)
{
    ++told;
    return 0;
}

std::vector<AVStreamParam> QuietVideo::getStreamParams() const
{
    return std::vector<AVStreamParam>(1);
}

NoOutput::NoOutput() : saved_(dup(STDOUT_FILENO))
{
    std::fflush(stdout);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
}

NoOutput::~NoOutput()
{
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
}

// ---- the camera ------------------------------------------------------------------------------------------------

void YearCamera::SetUp()
{
    PrivateTreeTest::SetUp();
    quiet_ = std::make_unique<NoOutput>();
    installModel(GetParam().name);
    host::setClock(clock_);
    support::journal().setCapacity(0);
    support::simulator().setDaylight();
    support::failures().setBeforeCall([this](ia_cmd_e, int opt, const void*) {
        ++serviceCalls_;
        threadSends_ += opt == IA_CMD_OPT_SET && SoakClock::isSensorThread() ? 1 : 0;
    });
    controller_ = std::make_unique<ISensorController>();
    controller_->setVideoStreamModule(&video_);
    clock_->openUntil(1);
    ASSERT_TRUE(controller_->init(installedModule()));
    layOutWindows();
}

void YearCamera::TearDown()
{
    if (controller_)
    {
        controller_->uinit();
        controller_.reset();
    }
    support::failures().setBeforeCall(nullptr);
    support::journal().setCapacity(kRecordingCapacity);
    host::setClock(nullptr);
    quiet_.reset();
    PrivateTreeTest::TearDown();
}

void YearCamera::layOutWindows()
{
    controller_->setParamMode(0);
    for (size_t i = 0; i < GetParam().windows.size(); ++i)
    {
        controller_->setParamScheme(static_cast<int>(i));
        EXPECT_EQ(0, controller_->setParameters(GetParam().windows[i], true));
        EXPECT_EQ(0, controller_->flush());
    }
    controller_->setParamMode(1);
}

void YearCamera::restart()
{
    kept_.push_back(ControllerProbe::userKeyVal(*controller_)[0]);
    controller_->uinit();
    EXPECT_TRUE(controller_->init(installedModule()));
    ++restarts_;
}

void YearCamera::require(bool holds, const char* otherwise) const
{
    if (!holds)
    {
        std::fprintf(stderr, "%s: %s in hour %d\n", GetParam().name, otherwise, hour_);
        std::abort();
    }
}

void YearCamera::live(int hours)
{
    Shift shift(kHosts);
    const int first = hour_;
    std::vector<std::thread> hosts;
    for (int host = 0; host < kHosts; ++host)
    {
        hosts.emplace_back([=, &shift] {
            for (int hour = first; hour < first + hours; ++hour)
            {
                shift.waitFor(hour);
                workHour(host, hour);
                shift.finish();
            }
        });
    }
    for (; hour_ < first + hours; ++hour_)
    {
        leadHour(shift);
    }
    for (std::thread& host : hosts)
    {
        host.join();
    }
}

void YearCamera::leadHour(Shift& shift)
{
    if (isResetDue(hour_))
    {
        kept_.push_back(ControllerProbe::userKeyVal(*controller_)[0]);
        ++resets_;
    }
    clock_->openUntil((hour_ + 1) * 60 + 1);
    shift.begin(hour_);
    require(shift.waitForAll(), "a host thread hangs");
    require(clock_->waitForThread(), "the sensor thread hangs");
    if (isRestartDue(hour_))
    {
        restart();
    }
    if (isRestartDue(hour_) || isResetDue(hour_))
    {
        layOutWindows();
    }
}

Holdings YearCamera::settle()
{
    restart();
    layOutWindows();
    EXPECT_FALSE(controller_->getUIStyleFile().empty());
    require(clock_->waitForThread(), "the sensor thread hangs");
    std::fflush(stdout);
    const std::size_t heap = heapBytes();
    return {heap, entriesOf("/proc/self/fd"), entriesOf("/proc/self/task"), bytesOnDisk(false), bytesOnDisk(true)};
}

Work YearCamera::work() const
{
    return {clock_->turns(), threadSends_, serviceCalls_, clock_->minute(), restarts_ + resets_};
}

std::size_t YearCamera::schemeBlockBytes()
{
    std::string pairs;
    controller_->getAllParameters(pairs);
    const auto parameters = static_cast<std::size_t>(std::count(pairs.begin(), pairs.end(), '('));
    return (g_stSysConf.nSchemeSum + 1) * parameters * sizeof(KeyVal);
}

// ---- what the host threads do ------------------------------------------------------------------------------------

void YearCamera::workHour(int host, int hour)
{
    switch (host)
    {
    case 0:
        setTexts(hour);
        break;
    case 1:
        setSingles(hour);
        break;
    case 2:
        readValues();
        break;
    case 3:
        readDocuments(hour);
        break;
    case 4:
        save(hour);
        break;
    case 5:
        changeSchemes(hour);
        break;
    case 6:
        restoreAndReload(hour);
        break;
    default:
        driveLensAndReset(hour);
        break;
    }
    ++hoursWorked_[static_cast<size_t>(host)];
}

void YearCamera::setTexts(int hour)
{
    const int number = hour % 100;
    controller_->setParameters("(2353," + std::to_string(number) + ")(2337," + std::to_string(99 - number) + ")",
                               hour % 5 != 0);
}

void YearCamera::setSingles(int hour)
{
    controller_->setParameter(KEY_SHARPNESS, hour % 100, true);
    controller_->setParameter(KEY_MIRROR, hour % 4, true);
    controller_->setParameter(KEY_WDR_MODE, hour % 2, true);
    controller_->setParameter(KEY_DTN_H, 17 + hour % 3, true);
}

void YearCamera::readValues()
{
    int value = 0;
    std::string text;
    EXPECT_TRUE(controller_->getAllParameters(text));
    EXPECT_TRUE(controller_->getParameters("(34,2337,8001,2528,4112)", text));
    EXPECT_TRUE(controller_->getMirrorValue(value));
}

void YearCamera::readDocuments(int hour)
{
    const bool readsStyle = hour % 24 == 0;
    const std::string text = readsStyle ? controller_->getUIStyleFile() : controller_->getUILanguageFile(hour);
    EXPECT_EQ(readsStyle, !text.empty());
}

void YearCamera::save(int hour)
{
    if (hour % kFlushEvery == 0)
    {
        EXPECT_THAT(controller_->flush(), testing::AnyOf(0, 507));  // 507: half of another scheme's window reloaded
    }
    int scheme = 0;
    EXPECT_TRUE(controller_->getParamScheme(scheme));
}

void YearCamera::changeSchemes(int hour)
{
    EXPECT_TRUE(controller_->setParamMode(0));
    EXPECT_TRUE(controller_->setParamScheme(hour % 5));
    EXPECT_TRUE(controller_->setParamMode(1));
}

void YearCamera::restoreAndReload(int hour)
{
    controller_->restore(hour % kReportEvery == 0 ? kUnknownKey : int{KEY_BRIGHTNESS});
    controller_->restoreAeMode();
    if (hour % kReloadEvery == 0)
    {
        controller_->resetToLastParameters();
    }
}

void YearCamera::driveLensAndReset(int hour)
{
    int mode = 0;
    std::string version;
    EXPECT_TRUE(controller_->getDNMode(mode));
    controller_->setZoomValue(16384 + hour % 100 * 100);
    controller_->focusNear();
    EXPECT_TRUE(controller_->getCameraVerInf(version));
    if (isResetDue(hour))
    {
        EXPECT_TRUE(controller_->resetParameters());
    }
}

}  // namespace soak
