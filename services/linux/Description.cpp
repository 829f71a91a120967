#include "services/linux/Description.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <set>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "services/linux/ControlIds.h"
#include "services/linux/V4l2Description.h"

namespace devices {
namespace {

constexpr char kFirstLine[] = "sensorcam device 1";
constexpr char kLastLine[] = "end";
constexpr std::size_t kMost = kMaxControls + 16;  // the node's, lamps, filter and frame rate
constexpr std::size_t kTextMax = 4u << 20;
constexpr std::size_t kNameMax = 96;     // bytes of a control's or an item's name
constexpr std::size_t kVersionMax = 49;  // bytes

constexpr std::pair<ControlType, std::string_view> kTypes[] = {{ControlType::number, "number"},
                                                               {ControlType::yesNo, "yes-no"},
                                                               {ControlType::menu, "menu"},
                                                               {ControlType::button, "button"}};

constexpr std::pair<char, bool Control::*> kFlags[] = {
    {'r', &Control::isReadable}, {'s', &Control::isSettable}, {'v', &Control::isVolatile}, {'l', &Control::is64Bits}};

std::string_view nameOf(ControlType type)
{
    const auto* const found =
        std::find_if(std::begin(kTypes), std::end(kTypes), [type](const auto& known) { return known.first == type; });
    return found->second;
}

std::string clean(const std::string& text, std::size_t longest = kNameMax)
{
    return cleanText(text.data(), std::min(text.size(), longest));
}

std::string hexadecimal(u32 id)
{
    char digits[16];
    std::snprintf(digits, sizeof digits, "0x%08x", id);
    return digits;
}

std::string lineOf(const Control& control)
{
    std::string flags;
    for (const auto& [letter, flag] : kFlags)
    {
        flags += control.*flag ? letter : '-';
    }
    std::string line = "control " + hexadecimal(control.id) + " " + std::string(nameOf(control.type));
    for (const std::int64_t number : {control.minimum, control.maximum, control.step, control.defaultValue})
    {
        line += " " + std::to_string(number);
    }
    return line + " " + flags + " " + clean(control.name) + "\n";
}

// ---- reading ---------------------------------------------------------------------------------------------------

// One line of the text, word by word.
class Line
{
public:
    Line(std::string_view text, int number) : rest_(text), number_(number) {}

    std::string_view word()
    {
        const std::size_t end = std::min(rest_.find(' '), rest_.size());
        const std::string_view word = rest_.substr(0, end);
        rest_.remove_prefix(std::min(end + 1, rest_.size()));
        return word;
    }

    // What is left, which is to be as it was written: nothing that a page or a terminal could stumble over.
    std::string text(std::size_t longest = kNameMax)
    {
        const std::string text(std::exchange(rest_, {}));
        require(text == clean(text, longest), "holds a text that is not printable, or too long");
        return text;
    }

    std::int64_t number() { return parsed<std::int64_t>(word(), 10); }

    u32 id()
    {
        const std::string_view digits = word();
        require(digits.substr(0, 2) == "0x", "does not give a control's number");
        return parsed<u32>(digits.substr(2), 16);
    }

    void end() const { require(rest_.empty(), "has something behind its end"); }

    void require(bool isGood, const char* what) const
    {
        if (!isGood)
        {
            throw std::runtime_error("line " + std::to_string(number_) + " of the device's description " + what);
        }
    }

private:
    template <typename Number>
    Number parsed(std::string_view digits, int base) const
    {
        Number number = 0;
        const char* const end = digits.data() + digits.size();
        const auto [stop, error] = std::from_chars(digits.data(), end, number, base);
        require(error == std::errc() && stop == end && !digits.empty(), "holds no number where one is needed");
        return number;
    }

    std::string_view rest_;
    int number_;
};

Control controlOf(Line& line)
{
    Control control{};
    control.id = line.id();
    const std::string_view type = line.word();
    const auto* const found =
        std::find_if(std::begin(kTypes), std::end(kTypes), [type](const auto& known) { return known.second == type; });
    line.require(found != std::end(kTypes), "names no type of a control");
    control.type = found->first;
    control.minimum = line.number();
    control.maximum = line.number();
    control.step = line.number();
    control.defaultValue = line.number();
    const std::string_view flags = line.word();
    line.require(flags.size() == std::size(kFlags), "has no flags");
    for (std::size_t i = 0; i < flags.size(); ++i)
    {
        line.require(flags[i] == '-' || flags[i] == kFlags[i].first, "has flags that nobody knows");
        control.*kFlags[i].second = flags[i] != '-';
    }
    control.name = line.text();
    line.require(control.minimum <= control.defaultValue && control.defaultValue <= control.maximum && control.step > 0,
                 "gives a range that is none");
    return control;
}

// The lines behind the first one.
class Reader
{
public:
    // False for the last one.
    bool read(Line& line)
    {
        const std::string_view kind = line.word();
        if (kind == "name" || kind == "version")
        {
            const bool isName = kind == "name";
            (isName ? description_.name : description_.version) = line.text(isName ? kNameMax : kVersionMax);
        }
        else if (kind == "control")
        {
            requireItems(line);
            description_.controls.push_back(controlOf(line));
            line.require(ids_.insert(last().id).second, "names a control twice");
            line.require(description_.controls.size() <= kMost, "is one control too many");
        }
        else if (kind == "item")
        {
            readItem(line);
        }
        else if (kind == "value")
        {
            const u32 id = line.id();
            line.require(ids_.count(id) != 0, "gives a value of an unknown control");
            line.require(description_.values.emplace(id, line.number()).second, "gives a value twice");
        }
        else
        {
            line.require(kind == kLastLine, "is none that this program knows");
            requireItems(line);
        }
        line.end();
        return kind != kLastLine;
    }

    Description result() { return std::move(description_); }

private:
    Control& last() { return description_.controls.back(); }

    void requireItems(const Line& line)
    {
        line.require(description_.controls.empty() || last().type != ControlType::menu || !last().items.empty(),
                     "follows a menu without items");
    }

    void readItem(Line& line)
    {
        line.require(!description_.controls.empty() && last().type == ControlType::menu, "is an item of no menu");
        const std::int64_t value = line.number();
        line.require(value >= last().minimum && value <= last().maximum, "is an item outside of its menu");
        line.require(last().items.emplace(value, line.text()).second, "is an item that was there");
        line.require(last().items.size() <= kMaxMenuItems, "is one item too many");
    }

    Description description_;
    std::set<u32> ids_;
};

}  // namespace

std::string textOf(const Description& description)
{
    std::string text = std::string(kFirstLine) + "\nname " + clean(description.name) + "\nversion " +
                       clean(description.version, kVersionMax) + "\n";
    for (const Control& control : description.controls)
    {
        text += lineOf(control);
        for (const auto& [value, label] : control.items)
        {
            text += "item " + std::to_string(value) + " " + clean(label) + "\n";
        }
    }
    for (const auto& [id, value] : description.values)
    {
        const bool isKnown = findControl(description.controls, id) != nullptr;
        text += isKnown ? "value " + hexadecimal(id) + " " + std::to_string(value) + "\n" : "";
    }
    return text + kLastLine + "\n";
}

Description parseDescription(const std::string& text)
{
    if (text.size() > kTextMax)
    {
        throw std::runtime_error("the device's description is longer than any");
    }
    Reader reader;
    int number = 0;
    std::string_view rest = text;
    while (!rest.empty())
    {
        const std::size_t end = rest.find('\n');
        Line line(rest.substr(0, end), ++number);
        line.require(end != std::string_view::npos, "is broken off");
        if (number == 1)
        {
            line.require(rest.substr(0, end) == kFirstLine, "is not that of a description which this program knows");
        }
        else if (!reader.read(line))
        {
            if (end + 1 != rest.size())
            {
                Line(rest, number + 1).require(false, "stands behind the end");
            }
            return reader.result();
        }
        rest.remove_prefix(end + 1);
    }
    throw std::runtime_error("the device's description is broken off");
}

std::string fingerprint(const Description& description)
{
    std::map<u32, std::string> lines;
    for (const Control& control : description.controls)
    {
        std::string& line = lines[control.id];
        line = hexadecimal(control.id) + " " + std::string(nameOf(control.type)) + "\n";
        if (control.id == kFrameRate)
        {
            continue;  // its items are those of the picture's size at the moment
        }
        for (const auto& [value, label] : control.items)
        {
            line += "  " + std::to_string(value) + " " + clean(label) + "\n";
        }
    }
    std::string all;
    for (const auto& [id, line] : lines)
    {
        all += line;
    }
    return all;
}

}  // namespace devices
