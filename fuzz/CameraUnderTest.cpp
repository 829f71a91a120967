#include "CameraUnderTest.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "CameraTree.h"
#include "ControllerProbe.h"
#include "HostStandIns.h"
#include "Require.h"
#include "SensorKeys.h"
#include "SysConfig.h"

namespace fs = std::filesystem;

namespace fuzz {
namespace {

constexpr u32 kParametersMax = 100;
constexpr unsigned char kInitialisedBit = 1 << 2;
constexpr u32 kVersion = 8;

UIFileEntry g_stUiFiles[2];

std::vector<KeyVal> recordsOf(const std::string& bytes)
{
    std::vector<KeyVal> records(bytes.size() / sizeof(KeyVal));
    for (std::size_t i = 0; i < records.size(); ++i)
    {
        std::memcpy(&records[i], &bytes[i * sizeof(KeyVal)], sizeof(KeyVal));
    }
    return records;
}

// What lies on the disk is in memory; what the file lacks is the factory's. Hidden wide dynamic range may be off.
void requireLoaded(const std::vector<KeyVal>& memory, const std::string& file)
{
    const std::vector<KeyVal> records = recordsOf(file);
    for (std::size_t i = 0; i < std::min(memory.size(), records.size()); ++i)
    {
        FUZZ_REQUIRE(memory[i].key == records[i].key);
        FUZZ_REQUIRE(memory[i].value == records[i].value || memory[i].key == KEY_WDR_MODE);
    }
}

}  // namespace

std::string schemeFile(int scheme)
{
    return std::string(kConfigFolder) + "/sensor" + std::to_string(scheme) + ".cfg";
}

std::vector<AVStreamParam> FuzzedVideo::getStreamParams() const
{
    AVStreamParam stream;
    stream.setFrameRate(frameRate);
    return {stream};
}

Disk diskNow()
{
    Disk disk;
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator(kConfigFolder, ignored))
    {
        struct stat status = {};
        FUZZ_REQUIRE(stat(entry.path().c_str(), &status) == 0);
        disk[entry.path().filename()] = {status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
    }
    return disk;
}

std::set<std::string> stagedFiles()
{
    std::set<std::string> names;
    for (const auto& [name, status] : diskNow())
    {
        if (name.find(".new") != std::string::npos)
        {
            names.insert(name);
        }
    }
    return names;
}

CameraUnderTest::CameraUnderTest(ModuleConfigure module) : module_(std::move(module))
{
    host::setClock(clock_);
}

CameraUnderTest::~CameraUnderTest()
{
    if (isUp_)
    {
        bringDown();
    }
    controller_.reset();
    delete[] block_;
    FUZZ_REQUIRE(!threadRuns());
    host::setClock(nullptr);
}

void CameraUnderTest::bringUp()
{
    const std::set<std::string> leftovers = stagedFiles();
    controller_ = std::make_unique<ISensorController>();
    controller_->setVideoStreamModule(&video_);
    FUZZ_REQUIRE(controller_->init(module_));
    requireStarted(leftovers);
    block_ = ControllerProbe::userKeyVal(*controller_)[0];
    isUp_ = true;
    fillUiFiles();
}

void CameraUnderTest::bringDown()
{
    isUp_ = false;
    controller_->uinit();
    FUZZ_REQUIRE(!threadRuns());
    FUZZ_REQUIRE(ControllerProbe::keyValSum(*controller_) == 0);
    FUZZ_REQUIRE(ControllerProbe::userKeyVal(*controller_) == nullptr);
    FUZZ_REQUIRE(ControllerProbe::fctKeyVal(*controller_) == nullptr);
    FUZZ_REQUIRE(ControllerProbe::paramMode(*controller_) == 1);
    FUZZ_REQUIRE(ControllerProbe::curScheme(*controller_) == -1);
    FUZZ_REQUIRE(ControllerProbe::lastScheme(*controller_) == -1);
    FUZZ_REQUIRE(ControllerProbe::flags(*controller_) == kInitialisedBit);
    delete[] std::exchange(block_, nullptr);
    controller_.reset();
}

void CameraUnderTest::factoryReset()
{
    const std::set<std::string> leftovers = stagedFiles();
    try
    {
        FUZZ_REQUIRE(controller_->resetParameters());
        delete[] std::exchange(block_, ControllerProbe::userKeyVal(*controller_)[0]);
    }
    catch (const std::out_of_range&)
    {
        isUp_ = false;
        return;
    }
    requireStarted(leftovers);
    FUZZ_REQUIRE(ControllerProbe::curScheme(*controller_) == -1);
    FUZZ_REQUIRE(ControllerProbe::paramMode(*controller_) == 1);
    FUZZ_REQUIRE(g_stSysConf.pUIFiles == nullptr && g_stSysConf.nUIFileSum == 0);
    fillUiFiles();
}

Memory CameraUnderTest::memory() const
{
    ISensorController& controller = *controller_;
    Memory memory;
    memory.current = ControllerProbe::curScheme(controller);
    memory.mode = ControllerProbe::paramMode(controller);
    const u32 count = ControllerProbe::keyValSum(controller);
    for (u32 i = 0; i <= g_stSysConf.nSchemeSum; ++i)
    {
        const KeyVal* const records = ControllerProbe::userKeyVal(controller)[i];
        memory.schemes.emplace_back(records, records + count);
    }
    return memory;
}

bool CameraUnderTest::isLpr() const
{
    return ControllerProbe::lpr(*controller_);
}

void CameraUnderTest::requireSound() const
{
    FUZZ_REQUIRE(ControllerProbe::flags(*controller_) == kInitialisedBit);
    FUZZ_REQUIRE(controller_->getSensorStatus());
    FUZZ_REQUIRE(ControllerProbe::keyValSum(*controller_) <= kParametersMax);
    FUZZ_REQUIRE(ControllerProbe::fctKeyVal(*controller_) ==
                 ControllerProbe::userKeyVal(*controller_)[g_stSysConf.nSchemeSum]);
}

// What a power cut left beside a scheme stays until that scheme is written again; a start adds nothing to it.
void CameraUnderTest::requireStarted(const std::set<std::string>& leftovers) const
{
    requireSound();
    FUZZ_REQUIRE(g_nKeyCmdNum == 87 && g_pKeyCmdMap == ControllerProbe::keyCmdMap(*controller_));
    const Memory now = memory();
    if (!fs::is_directory(kConfigFolder))
    {
        return;
    }
    for (u32 i = 0; i < now.scheduled(); ++i)
    {
        const std::string file = schemeFile(static_cast<int>(i));
        FUZZ_REQUIRE(fs::exists(file));
        requireLoaded(now.schemes[i], readFile(file));
    }
    const std::string version(reinterpret_cast<const char*>(&kVersion), sizeof kVersion);
    FUZZ_REQUIRE(fs::is_directory(kVersionFile) || readFile(kVersionFile) == version);
    for (const std::string& name : stagedFiles())
    {
        FUZZ_REQUIRE(leftovers.count(name) == 1);
    }
}

// As a host does; uinit frees the texts.
void CameraUnderTest::fillUiFiles() const
{
    for (int language = 0; language < 2; ++language)
    {
        g_stUiFiles[language].nLanguageId = language;
        g_stUiFiles[language].szLanguageFile = strdup("<Language/>");
        g_stUiFiles[language].szCommonFile = strdup("<Common/>");
    }
    g_stSysConf.pUIFiles = g_stUiFiles;
    g_stSysConf.nUIFileSum = 2;
}

}  // namespace fuzz
