#include <string>
#include <string_view>

#include "MachineInfo.h"
#include "SystemInfoParser.h"
#include "fuzz/CameraTree.h"
#include "fuzz/Require.h"
#include "fuzz/TextParts.h"

// The machine information file.
// Input: the file's bytes.

namespace {

constexpr char kFile[] = "/mnt/machineinfo.ini";
const std::string kByteOrderMark = "\xEF\xBB\xBF";
constexpr int kUntouchedType = -12345;
constexpr char kUntouched[] = " untouched ";

MachineInfo untouched()
{
    MachineInfo info;
    info.setDeviceType(kUntouchedType);
    info.setHardwareModel(kUntouched);
    info.setHardwareCode(kUntouched);
    return info;
}

// By definition, a line at a time. False without a valid type.
bool readByDefinition(const std::string& bytes, MachineInfo& info)
{
    const bool isMarked = bytes.compare(0, kByteOrderMark.size(), kByteOrderMark) == 0;
    std::string_view rest = std::string_view(bytes).substr(isMarked ? kByteOrderMark.size() : 0);
    bool hasType = false;
    while (!rest.empty())
    {
        const std::string line = fuzz::trimmed(std::string(fuzz::takeUpTo(rest, "\n")));
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos || line[0] == '#')
        {
            continue;
        }
        const std::string name = fuzz::trimmed(line.substr(0, equals));
        const std::string value = fuzz::trimmed(line.substr(equals + 1));
        if (name == "DeviceType" && fuzz::isDecimalInt(value))
        {
            info.setDeviceType(fuzz::decimalOf(value));
            hasType = true;
        }
        if (name == "HardwareModel")
        {
            info.setHardwareModel(value);
        }
        if (name == "HardwareCode")
        {
            info.setHardwareCode(value);
        }
    }
    return hasType;
}

void requireEqual(const MachineInfo& left, const MachineInfo& right)
{
    FUZZ_REQUIRE(left.getDeviceType() == right.getDeviceType());
    FUZZ_REQUIRE(left.getHardwareModel() == right.getHardwareModel());
    FUZZ_REQUIRE(left.getHardwareCode() == right.getHardwareCode());
}

// What was read is read again from a file that says just that.
void requireReadAgain(const MachineInfo& info)
{
    fuzz::writeFile(kFile, "DeviceType=" + std::to_string(info.getDeviceType()) + "\nHardwareModel=" +
                               info.getHardwareModel() + "\r\nHardwareCode=" + info.getHardwareCode());
    MachineInfo again;
    FUZZ_REQUIRE(SystemInfoParser::parseMachineInfo(kFile, again));
    requireEqual(again, info);
}

// A byte order mark says nothing.
void requireSameWithMark(const std::string& bytes, bool hasType, const MachineInfo& info)
{
    fuzz::writeFile(kFile, kByteOrderMark + bytes);
    MachineInfo marked = untouched();
    FUZZ_REQUIRE(SystemInfoParser::parseMachineInfo(kFile, marked) == hasType);
    requireEqual(marked, info);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    fuzz::writeFile(kFile, bytes);
    MachineInfo info = untouched();
    const bool hasType = SystemInfoParser::parseMachineInfo(kFile, info);
    MachineInfo expected = untouched();
    FUZZ_REQUIRE(readByDefinition(bytes, expected) == hasType);
    requireEqual(info, expected);
    if (bytes.compare(0, kByteOrderMark.size(), kByteOrderMark) != 0)
    {
        requireSameWithMark(bytes, hasType, info);
    }
    if (hasType && info.getHardwareModel() != kUntouched && info.getHardwareCode() != kUntouched)
    {
        requireReadAgain(info);
    }
    return 0;
}
