#include "SystemInfoParser.h"

#include <algorithm>
#include <vector>

#include "KSFile.h"
#include "MachineInfo.h"
#include "StringHandler.h"
#include "platform/posix/DecimalInt.h"

namespace {

constexpr std::size_t kBytesMax = 64 * 1024;  // three short lines and the factory's notes

// The file's beginning, without the part of a line at its end. False if the file cannot be read.
bool readLines(const std::string& path, std::string& lines)
{
    KSFile file;
    if (!file.open(path.c_str(), KSFile::modeRead))
    {
        return false;
    }
    lines.resize(kBytesMax);
    const int got = file.read(&lines[0], kBytesMax);
    lines.resize(static_cast<std::size_t>(std::max(got, 0)));
    if (lines.size() == kBytesMax)
    {
        lines.resize(lines.rfind('\n') + 1);  // npos + 1 is 0
    }
    return got >= 0;
}

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
    std::string text;
    if (!readLines(path, text))
    {
        return false;
    }
    if (text.compare(0, 3, "\xEF\xBB\xBF") == 0)  // byte order mark
    {
        text.erase(0, 3);
    }
    std::vector<std::string> lines;
    StringHandler::split(text, "\n", lines);
    bool hasDeviceType = false;
    for (const std::string& line : lines)
    {
        hasDeviceType |= readLine(host::trimmed(line), machineInfo);
    }
    return hasDeviceType;
}
