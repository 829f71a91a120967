#include "services/ControlFile.h"

#include <algorithm>
#include <charconv>

#include "SensorPaths.h"

namespace services {
namespace {

bool isName(const std::string& text)
{
    return !text.empty() && text.size() <= kControlNameMax &&
           text.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_") == std::string::npos;
}

// One blank between the two; false for anything else, and for a name that is there already.
bool readLine(const std::string& line, ControlValues& values)
{
    const std::size_t blank = std::min(line.find(' '), line.size());
    const std::string name = line.substr(0, blank);
    const char* const begin = line.data() + std::min(blank + 1, line.size());
    const char* const end = line.data() + line.size();
    int value = 0;
    const auto [rest, error] = std::from_chars(begin, end, value);
    return isName(name) && error == std::errc() && rest == end && values.emplace(name, value).second;
}

}  // namespace

std::string controlFile(int scheme)
{
    return std::string(sensorpaths::kConfigFolder) + "/named" + std::to_string(scheme) + ".cfg";
}

ControlValues parseControls(const std::string& text, std::vector<std::string>& leftOut)
{
    ControlValues values;
    for (std::size_t begin = 0; begin < text.size();)
    {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        const std::string line = text.substr(begin, end - begin);
        if (!readLine(line, values))
        {
            leftOut.push_back(line);
        }
        begin = end + 1;
    }
    return values;
}

std::string textOf(const ControlValues& values)
{
    std::string text;
    for (const auto& [name, value] : values)
    {
        text += name + " " + std::to_string(value) + "\n";
    }
    return text;
}

}  // namespace services
