#include "app/KeyNames.h"

#include <algorithm>
#include <cstring>

#include "app/cli/Parsing.h"

namespace app {
namespace {

constexpr char kPrefix[] = "key_";
constexpr std::size_t kSuggestions = 4;  // more would not be read

std::string bareName(const std::string& text)
{
    const std::string lower = toLower(text);
    return lower.rfind(kPrefix, 0) == 0 ? lower.substr(std::strlen(kPrefix)) : lower;
}

std::string suggestion(const std::string& bare)
{
    Words near;
    for (const KeyName& row : keyNames())
    {
        if (!bare.empty() && bareName(row.name).find(bare) != std::string::npos && near.size() < kSuggestions)
        {
            near.push_back(row.name);
        }
    }
    return near.empty() ? "'keys' lists all names" : "near it: " + joinWords(near);
}

}  // namespace

const std::vector<KeyName>& keyNames()
{
    static const std::vector<KeyName> names = {
#define SNS_KEY(name, key, ia, cmd, handler) {key, cmd, #name, false},
#define SNS_STORED_KEY(name, key) {key, 0, #name, true},
#include "SensorKeys.def"
    };
    return names;
}

const KeyName* findKey(int key)
{
    const std::vector<KeyName>& names = keyNames();
    const auto found = std::find_if(names.begin(), names.end(), [key](const KeyName& row) { return row.key == key; });
    return found == names.end() ? nullptr : &*found;
}

std::string keyTitle(int key)
{
    const KeyName* row = findKey(key);
    return row != nullptr ? row->name : "key " + std::to_string(key);
}

std::optional<int> parseKey(const std::string& text, std::string& error)
{
    const std::string bare = bareName(text);
    for (const KeyName& row : keyNames())
    {
        if (bareName(row.name) == bare)
        {
            return row.key;
        }
    }
    const std::optional<int> number = parseInt(text);
    if (number && *number > 0)
    {
        return number;
    }
    error = number ? text + " is no key number; key numbers are above 0"
                   : "there is no key " + text + "; " + suggestion(bare);
    return std::nullopt;
}

}  // namespace app
