#include "MachineInfo.h"
#include "ModuleConfigure.h"
#include "ModuleConfigureParser.h"
#include "SensorFile.h"
#include "SensorKeys.h"
#include "SensorPaths.h"
#include "SysConfig.h"
#include "SystemInfoParser.h"
#include "services/checks/Commands.h"
#include "services/checks/Parts.h"

namespace portcheck {

using sensorpaths::kMachineInfoFile;
using sensorpaths::kModuleConfigFile;

namespace {

constexpr u32 kFactoryMax = 100;  // getFctData fills no more

constexpr char kMachineInfo[] = "the machine information names a device type";
constexpr char kModules[] = "the module configuration has an entry for this board";
constexpr char kStyle[] = "the style gives factory values, each of a key that the library knows, and no key twice";

struct Board
{
    MachineInfo machine;
    std::vector<ModuleConfigure> modules;
};

std::string readMachineInfo(Watch& watch, Board& board)
{
    const Step step(watch, "SystemInfoParser::parseMachineInfo");
    return SystemInfoParser::parseMachineInfo(kMachineInfoFile, board.machine)
               ? ""
               : std::string(kMachineInfoFile) + " cannot be read or has none";
}

std::string readModules(Watch& watch, Board& board)
{
    const Step step(watch, "ModuleConfigureParser::parse");
    const std::string model = board.machine.getHardwareModel();
    const std::string code = board.machine.getHardwareCode();
    if (!ModuleConfigureParser::parse(kModuleConfigFile, model, code, board.modules))
    {
        return std::string(kModuleConfigFile) + " cannot be read or is not well-formed";
    }
    return board.modules.empty() ? "none for model \"" + model + "\" and code \"" + code + "\"" : "";
}

bool isStoredOnly(u32 key)
{
    return key >= KEY_SCHEME_ENABLE && key <= KEY_SCHEME_END_MIN;
}

std::string judgeFactory(const std::vector<KeyVal>& factory)
{
    Findings findings;
    for (std::size_t i = 0; i < factory.size(); ++i)
    {
        const u32 key = factory[i].key;
        if (commandOfKey(key) == nullptr && !isStoredOnly(key))
        {
            findings.add("unknown key " + std::to_string(key));
        }
        for (std::size_t earlier = 0; earlier < i; ++earlier)
        {
            if (factory[earlier].key == key)
            {
                findings.add("key " + std::to_string(key) + " twice");
            }
        }
    }
    return factory.empty() ? "none" : findings.text();
}

std::string readFactory(Watch& watch, const Board& board, std::vector<KeyVal>& factory)
{
    const Step step(watch, "reading the style, which asks the service");
    initSysConf(board.modules.front(), &g_stSysConf);
    factory.resize(kFactoryMax);
    u32 count = 0;
    if (g_stSysConf.szUIStyle != nullptr)
    {
        getFctData(g_stSysConf.szUIStyle, factory.data(), &count);
    }
    factory.resize(count);
    uinitSysConf(&g_stSysConf);
    return judgeFactory(factory);
}

}  // namespace

Factory checkDocuments(Report& report, const Options& options)
{
    report.begin("documents");
    if (!options.documents)
    {
        for (const char* expected : {kMachineInfo, kModules, kStyle})
        {
            report.leaveOut(expected, "not told to, --documents");
        }
        return nullptr;
    }
    const auto board = std::make_shared<Board>();
    const auto factory = std::make_shared<std::vector<KeyVal>>();
    report.check(kMachineInfo, [board](Watch& watch) { return readMachineInfo(watch, *board); });
    if (!report.check(kModules, [board](Watch& watch) { return readModules(watch, *board); }))
    {
        report.leaveOut(kStyle, "no module to read it for");
        return nullptr;
    }
    const bool good =
        report.check(kStyle, [board, factory](Watch& watch) { return readFactory(watch, *board, *factory); });
    return good ? factory : nullptr;
}

}  // namespace portcheck
