#include <string>

#include "CameraTree.h"
#include "MachineInfo.h"
#include "Require.h"
#include "SystemInfoParser.h"

// The machine information file.
// Input: the file's bytes.

namespace {

constexpr char kFile[] = "/mnt/machineinfo.ini";
constexpr char kBlanks[] = " \t\r\n\v\f";
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

void requireText(const std::string& text)
{
    const std::size_t first = text.find_first_not_of(kBlanks);
    FUZZ_REQUIRE(text == kUntouched || text.empty() ||
                 (first == 0 && text.find_last_not_of(kBlanks) + 1 == text.size()));
    FUZZ_REQUIRE(text.find('\n') == std::string::npos);
}

// What was read is read again from a file that says just that.
void requireReadAgain(const MachineInfo& info)
{
    fuzz::writeFile(kFile, "DeviceType=" + std::to_string(info.getDeviceType()) + "\nHardwareModel=" +
                               info.getHardwareModel() + "\r\nHardwareCode=" + info.getHardwareCode());
    MachineInfo again;
    FUZZ_REQUIRE(SystemInfoParser::parseMachineInfo(kFile, again));
    FUZZ_REQUIRE(again.getDeviceType() == info.getDeviceType());
    FUZZ_REQUIRE(again.getHardwareModel() == info.getHardwareModel());
    FUZZ_REQUIRE(again.getHardwareCode() == info.getHardwareCode());
}

// A byte order mark says nothing.
void requireSameWithMark(const std::string& bytes, bool hasType, const MachineInfo& info)
{
    fuzz::writeFile(kFile, kByteOrderMark + bytes);
    MachineInfo marked = untouched();
    FUZZ_REQUIRE(SystemInfoParser::parseMachineInfo(kFile, marked) == hasType);
    FUZZ_REQUIRE(marked.getDeviceType() == info.getDeviceType());
    FUZZ_REQUIRE(marked.getHardwareModel() == info.getHardwareModel());
    FUZZ_REQUIRE(marked.getHardwareCode() == info.getHardwareCode());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    fuzz::writeFile(kFile, bytes);
    MachineInfo info = untouched();
    const bool hasType = SystemInfoParser::parseMachineInfo(kFile, info);
    FUZZ_REQUIRE(hasType || info.getDeviceType() == kUntouchedType);
    FUZZ_REQUIRE(!hasType || bytes.find("DeviceType") != std::string::npos);
    requireText(info.getHardwareModel());
    requireText(info.getHardwareCode());
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
