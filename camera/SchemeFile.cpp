#include "camera/SchemeFile.h"

#include <algorithm>

#include "KSFile.h"
#include "SensorFile.h"
#include "SensorPaths.h"

namespace camera {
namespace {

constexpr INT64 kLongest = 64 * 1024;  // bytes; some hundred parameters take eight each

bool sameRecord(const KeyVal& left, const KeyVal& right)
{
    return left.key == right.key && left.value == right.value;
}

}  // namespace

std::vector<KeyVal> readSchemeFile(int scheme)
{
    std::string path = sensorpaths::schemeFile(scheme);
    if (!KSFile::exists(path.c_str()))
    {
        return {};
    }
    const INT64 length = getFileLen(path.c_str());
    if (length <= 0 || length > kLongest || length % static_cast<INT64>(sizeof(KeyVal)) != 0)
    {
        return {};
    }
    std::vector<KeyVal> records(static_cast<std::size_t>(length) / sizeof(KeyVal));
    keyValFromFile(path.data(), records.data(), static_cast<u32>(records.size()));
    return records;
}

bool writeSchemeFile(int scheme, std::vector<KeyVal> records)
{
    std::string path = sensorpaths::schemeFile(scheme);
    keyValToFile(path.data(), records.data(), static_cast<u32>(records.size()));
    // The result says nothing: it is success whatever happened.
    const std::vector<KeyVal> written = readSchemeFile(scheme);
    return written.size() == records.size() && std::equal(written.begin(), written.end(), records.begin(), sameRecord);
}

}  // namespace camera
