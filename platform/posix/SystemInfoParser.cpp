#include "SystemInfoParser.h"

#include "DecimalInt.h"
#include "KSFile.h"
#include "MachineInfo.h"

namespace {

// True for a line with a valid DeviceType.
bool readLine(const std::string& line, MachineInfo& machineInfo)
{
    const std::size_t equals = line.find('=');
    if (line[0] == '#' || equals == std::string::npos)
    {
        return false;
    }
    const std::string name = host::trimmed(line.substr(0, equals));
    const std::string value = host::trimmed(line.substr(equals + 1));
    int deviceType = 0;
    if (name == "DeviceType" && host::readDecimalInt(value, deviceType))
    {
        machineInfo.setDeviceType(deviceType);
        return true;
    }
    if (name == "HardwareModel")
    {
        machineInfo.setHardwareModel(value);
    }
    if (name == "HardwareCode")
    {
        machineInfo.setHardwareCode(value);
    }
    return false;
}

}  // namespace

bool SystemInfoParser::parseMachineInfo(const std::string& path, MachineInfo& machineInfo)
{
    KSFile file;
    if (!file.open(path.c_str(), KSFile::modeRead))
    {
        return false;
    }
    bool hasDeviceType = false;
    std::string line;
    for (bool first = true; file.ReadOneLine(line); first = false)
    {
        if (first && line.compare(0, 3, "\xEF\xBB\xBF") == 0)  // byte order mark
        {
            line.erase(0, 3);
        }
        hasDeviceType |= readLine(host::trimmed(line), machineInfo);
    }
    return hasDeviceType;
}
