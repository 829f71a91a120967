#include "fuzz/CameraUnderTest.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "MachineInfo.h"
#include "ModuleConfigure.h"
#include "ModuleConfigureParser.h"
#include "SensorKeys.h"
#include "SysConfig.h"
#include "SystemInfoParser.h"
#include "fuzz/DetailField.h"
#include "fuzz/HostStandIns.h"
#include "fuzz/Require.h"
#include "fuzz/TextParts.h"
#include "tests/support/ControllerProbe.h"
#include "tests/support/KeyRows.h"

namespace fs = std::filesystem;

namespace fuzz {
namespace {

constexpr u32 kParametersMax = 100;
constexpr unsigned char kInitialisedBit = 1 << 2;
constexpr u32 kVersion = 8;

// What the night scheme of a licence-plate camera starts with.
constexpr KeyVal kNightValues[] = {
    {KEY_DN_MODE, 0}, {KEY_MAX_SHUTTER, 18}, {KEY_METER_AREA, 1}, {KEY_IR_MODE, 2}, {KEY_IR_MANUAL_STRG_NEAR, 40},
};

constexpr u32 kSchemesEnough = 16;
constexpr u32 kSchemesMax = 65535;  // above that a camera has four

UIFileEntry g_stUiFiles[2];

bool moduleOnTheDiskAsksForTooManySchemes()
{
    MachineInfo machine;
    std::vector<ModuleConfigure> modules;
    SystemInfoParser::parseMachineInfo(kMachineInfoFile, machine);
    ModuleConfigureParser::parse(kModuleConfigFile, machine.getHardwareModel(), machine.getHardwareCode(), modules);
    return !modules.empty() && asksForTooManySchemes(modules[0].getDetail());
}

// The scheme in force has been applied since: of several records with one key the last one's value is the key's then,
// and wide dynamic range that is hidden is off.
bool isLoadedValue(const std::vector<KeyVal>& scheme, std::size_t i, u32 loaded, bool isInForce)
{
    const auto next = scheme.begin() + static_cast<long>(i) + 1;
    const bool mayDiffer = scheme[i].key == KEY_WDR_MODE || std::find(next, scheme.end(), scheme[i]) != scheme.end();
    return scheme[i].value == loaded || (isInForce && mayDiffer);
}

// What lies on the disk is in memory, what the file lacks is the factory's.
void requireLoaded(const std::vector<KeyVal>& scheme, bool isInForce, const std::string& file,
                   const std::vector<KeyVal>& factory)
{
    const std::vector<KeyVal> records = recordsOnDisk(file);
    for (std::size_t i = 0; i < std::min(scheme.size(), records.size()); ++i)
    {
        FUZZ_REQUIRE(scheme[i].key == records[i].key);
        FUZZ_REQUIRE(isLoadedValue(scheme, i, records[i].value, isInForce));
    }
    const std::size_t behindCut = records.size() + (readFile(file).size() % sizeof(KeyVal) == 0 ? 0 : 1);
    for (std::size_t i = behindCut; i < scheme.size(); ++i)
    {
        FUZZ_REQUIRE(scheme[i].key == factory[i].key);
        // The factory's own may have been switched off since, too.
        const bool mayDiffer = scheme[i].key == KEY_WDR_MODE || scheme[i].key == KEY_SCHEME_ENABLE;
        FUZZ_REQUIRE(mayDiffer || isLoadedValue(scheme, i, factory[i].value, isInForce));
    }
}

void setFirst(std::vector<KeyVal>& scheme, const KeyVal& wanted)
{
    const auto record =
        std::find_if(scheme.begin(), scheme.end(), [&wanted](const KeyVal& held) { return held.key == wanted.key; });
    if (record != scheme.end())
    {
        record->value = wanted.value;
    }
}

bool isCurrentVersion()
{
    const std::string bytes = readFile(kVersionFile);
    u32 version = 0;
    std::memcpy(&version, bytes.data(), std::min(bytes.size(), sizeof version));
    return bytes.size() >= sizeof version && version == kVersion;
}

bool isScheme(const std::string& name)
{
    return name.compare(0, 6, "sensor") == 0 && !isStaged(name);
}

// A scheme file of a first start.
void requireMadeAnew(u32 scheme, bool isLpr, const std::vector<KeyVal>& factory)
{
    std::vector<KeyVal> expected = factory;
    if (!isLpr && scheme == 0)
    {
        setFirst(expected, {KEY_SCHEME_ENABLE, 1});
    }
    if (isLpr && scheme == 1)
    {
        for (const KeyVal& wanted : kNightValues)
        {
            setFirst(expected, wanted);
        }
    }
    const std::string file = schemeFile(static_cast<int>(scheme));
    FUZZ_REQUIRE(readFile(file).size() == expected.size() * sizeof(KeyVal));
    const std::vector<KeyVal> records = recordsOnDisk(file);
    for (std::size_t i = 0; i < records.size(); ++i)
    {
        FUZZ_REQUIRE(records[i].key == expected[i].key);
        // Hidden, it is off in the factory's records once these have been applied.
        FUZZ_REQUIRE(records[i].value == expected[i].value || records[i].key == KEY_WDR_MODE);
    }
}

}  // namespace

bool asksForTooManySchemes(const std::string& detail)
{
    std::string value;
    if (!fieldByDefinition(detail.c_str(), "max_scheme", value))
    {
        return false;
    }
    const u32 schemes = static_cast<u32>(decimalOf(value));
    return schemes > kSchemesEnough && schemes <= kSchemesMax;
}

std::vector<KeyVal> recordsOnDisk(const std::string& file)
{
    const std::string bytes = readFile(file);
    std::vector<KeyVal> records(bytes.size() / sizeof(KeyVal));
    for (std::size_t i = 0; i < records.size(); ++i)
    {
        std::memcpy(&records[i], &bytes[i * sizeof(KeyVal)], sizeof(KeyVal));
    }
    return records;
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

bool isStaged(const std::string& name)
{
    return name.find(".new") != std::string::npos;
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
    const Disk before = diskNow();
    const bool keepsFiles = isCurrentVersion() || commandsRefused();
    controller_ = std::make_unique<ISensorController>();
    controller_->setVideoStreamModule(&video_);
    FUZZ_REQUIRE(controller_->init(module_));
    requireStarted(before, keepsFiles);
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
    if (moduleOnTheDiskAsksForTooManySchemes())
    {
        return;
    }
    const Disk before = diskNow();
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
    requireStarted(before, commandsRefused());
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
void CameraUnderTest::requireStarted(const Disk& before, bool keepsFiles) const
{
    requireSound();
    FUZZ_REQUIRE(g_nKeyCmdNum == std::size(support::kKeyRows) &&
                 g_pKeyCmdMap == ControllerProbe::keyCmdMap(*controller_));
    if (!fs::is_directory(kConfigFolder))
    {
        return;
    }
    const Memory now = memory();
    const Disk disk = diskNow();
    for (u32 i = 0; i < now.scheduled(); ++i)
    {
        const std::string file = schemeFile(static_cast<int>(i));
        const std::string name = fs::path(file).filename();
        FUZZ_REQUIRE(disk.count(name) == 1);
        requireLoaded(now.schemes[i], static_cast<int>(i) == now.current, file, now.schemes.back());
        if (!keepsFiles || before.count(name) == 0)
        {
            requireMadeAnew(i, isLpr(), now.schemes.back());
        }
    }
    const std::string version(reinterpret_cast<const char*>(&kVersion), sizeof kVersion);
    FUZZ_REQUIRE(fs::is_directory(kVersionFile) || readFile(kVersionFile) == version);
    requireNothingLost(before, disk, keepsFiles);
}

// What was saved is left alone, unless it is outdated or reset; a name that a writer uses while it writes is not
// left behind.
void CameraUnderTest::requireNothingLost(const Disk& before, const Disk& now, bool keepsFiles) const
{
    for (const auto& [name, file] : now)
    {
        FUZZ_REQUIRE(!isStaged(name) || before.count(name) == 1);
    }
    for (const auto& [name, file] : before)
    {
        const bool isKept = keepsFiles && isScheme(name);
        const auto found = now.find(name);
        FUZZ_REQUIRE(!isKept || (found != now.end() && found->second == file));
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
