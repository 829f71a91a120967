#include "tests/support/CameraFiles.h"

#include <cstring>
#include <ostream>

#include "tests/support/PrivateTree.h"

namespace support {
namespace {

std::string element(const Parameter& parameter)
{
    return "<Slider id=\"" + std::to_string(parameter.id) + "\" value=\"" + std::to_string(parameter.value) + "\"/>";
}

}  // namespace

CameraFiles smallCamera()
{
    CameraFiles files;
    files.parameters = {
        {34, 50},  {2337, 51}, {2353, 52}, {2321, 53}, {16, 0},   {49, 3},   {1536, 2}, {144, 1},
        {96, 0},   {161, 0},   {163, 20},  {2368, 1},  {2384, 1}, {2385, 0}, {145, 30}, {146, 70},
        {149, 18}, {150, 30},  {151, 6},   {152, 15},  {2416, 0}, {2432, 0}, {1539, 1}, {2497, 25},
    };
    return files;
}

std::string styleText(const CameraFiles& files)
{
    if (!files.style.empty())
    {
        return files.style;
    }
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><Style><Tab key=\"schedule\">";
    for (const Parameter& parameter : files.schedule)
    {
        text += element(parameter);
    }
    text += "</Tab><Tab key=\"image\">";
    for (const Parameter& parameter : files.parameters)
    {
        text += element(parameter);
    }
    return text + files.extraElements + "</Tab></Style>";
}

void writeCameraFiles(const CameraFiles& files)
{
    writeFile(kMachineInfoFile, "DeviceType=" + std::to_string(files.deviceType) + "\nHardwareModel=" +
                                    files.hardwareModel + "\nHardwareCode=" + files.hardwareCode + "\n");
    const bool dome =
        files.deviceType != kCameraDevice && files.deviceType != kLprDevice && files.deviceType != kFisheyeDevice;
    writeFile(dome ? kDomeStyleFile : kStyleFile, styleText(files));
    writeFile(dome ? kDomeDiversityFile : kDiversityFile, files.diversity);
}

std::string bytesOf(const std::vector<KeyVal>& records)
{
    return {reinterpret_cast<const char*>(records.data()), records.size() * sizeof(KeyVal)};
}

std::vector<KeyVal> recordsOf(const std::string& bytes)
{
    std::vector<KeyVal> records(bytes.size() / sizeof(KeyVal));
    std::memcpy(records.data(), bytes.data(), records.size() * sizeof(KeyVal));
    return records;
}

}  // namespace support

bool operator==(const KeyVal& left, const KeyVal& right)
{
    return left.key == right.key && left.value == right.value;
}

void PrintTo(const KeyVal& record, std::ostream* stream)
{
    *stream << "(" << record.key << "," << static_cast<int>(record.value) << ")";
}
