#include "services/linux/NamedControls.h"

#include <algorithm>
#include <climits>
#include <set>

namespace devices {
namespace {

using services::Kind;
using services::NamedControl;

std::set<u32> usedBy(const ControlTable& table)
{
    std::vector<ia_cmd_e> commands = table.commands();
    commands.push_back(IA_CMD_DN_STATE);
    std::set<u32> used;
    for (const ia_cmd_e cmd : commands)
    {
        const std::vector<u32> controls = table.controlsOf(cmd);
        used.insert(controls.begin(), controls.end());
    }
    return used;
}

bool fits(std::int64_t value)
{
    return value >= INT_MIN && value <= INT_MAX;
}

bool isWord(const Control& control)
{
    return fits(control.minimum) && fits(control.maximum) &&
           std::all_of(control.items.begin(), control.items.end(), [](const auto& item) { return fits(item.first); });
}

// Letters, digits and single underlines between them.
std::string wordOf(const std::string& title)
{
    std::string word;
    for (const char character : title)
    {
        const bool isUpper = character >= 'A' && character <= 'Z';
        const char lower = isUpper ? static_cast<char>(character - 'A' + 'a') : character;
        if ((lower >= 'a' && lower <= 'z') || (lower >= '0' && lower <= '9'))
        {
            word += lower;
        }
        else if (!word.empty() && word.back() != '_')
        {
            word += '_';
        }
    }
    return word.substr(0, word.find_last_not_of('_') + 1);
}

std::string nameOf(const std::string& title, std::set<std::string>& names)
{
    const std::string word = wordOf(title);
    const std::string first = word.empty() ? "control" : word;
    std::string name = first;
    for (int i = 2; !names.insert(name).second; ++i)
    {
        name = first + "_" + std::to_string(i);
    }
    return name;
}

NamedControl named(const Control& control, const Values& values, std::string name)
{
    const auto word = [](std::int64_t value) { return static_cast<int>(value); };
    NamedControl made{std::move(name),
                      control.name,
                      Kind::range,
                      {word(control.minimum), word(control.maximum), 1, word(control.defaultValue), {}},
                      {},
                      0,
                      services::Standing::applied};
    switch (control.type)
    {
    case ControlType::number:
        made.allowed.step = word(std::min<std::int64_t>(control.step, INT_MAX));
        break;
    case ControlType::yesNo:
        made.kind = Kind::choice;
        made.labels = {{0, "Off"}, {1, "On"}};
        break;
    case ControlType::menu:
        made.kind = Kind::choice;
        for (const auto& [value, label] : control.items)
        {
            made.labels[word(value)] = label;
        }
        break;
    case ControlType::button:
        made.kind = Kind::action;
        made.allowed = {0, 1, 1, 0, {}};
        return made;
    }
    for (const auto& [value, label] : made.labels)
    {
        made.allowed.items.push_back(value);
    }
    const auto found = values.find(control.id);
    const bool isKnown = found != values.end() && fits(found->second);
    made.value = made.allowed.nearest(isKnown ? word(found->second) : made.allowed.defaultValue);
    return made;
}

}  // namespace

std::vector<Named> namedControlsOf(const Description& description, const ControlTable& table)
{
    const std::set<u32> used = usedBy(table);
    std::set<std::string> names;
    std::vector<Named> all;
    for (const Control& control : description.controls)
    {
        if (control.isSettable && !control.isVolatile && used.count(control.id) == 0 && isWord(control))
        {
            all.push_back({control.id, named(control, description.values, nameOf(control.name, names))});
        }
    }
    return all;
}

}  // namespace devices
