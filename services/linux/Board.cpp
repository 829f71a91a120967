#include "services/linux/Board.h"

#include <algorithm>
#include <charconv>
#include <set>
#include <sstream>
#include <stdexcept>

#include "services/linux/ControlIds.h"
#include "services/linux/V4l2Description.h"

namespace devices {
namespace {

constexpr unsigned kMaxLine = 65535;
constexpr unsigned kMaxPulse = 10'000;  // ms; a coil that is on for longer burns

struct Choice
{
    const char* text;
    int value;
};

constexpr Choice kLamps[] = {{"near", kLampNear}, {"medium", kLampMedium}, {"far", kLampFar}};
constexpr Choice kOthers[] = {{"put-back", static_cast<int>(Others::putBack)},
                              {"take-over", static_cast<int>(Others::takeOver)},
                              {"leave", static_cast<int>(Others::leave)}};
constexpr Choice kSchemes[] = {{"clock", 0}, {"light", 1}};
constexpr Choice kMains[] = {{"50", 50}, {"60", 60}};

template <std::size_t count>
int valueOf(const Choice (&choices)[count], const std::string& text)
{
    std::string all;
    for (const Choice& choice : choices)
    {
        if (text == choice.text)
        {
            return choice.value;
        }
        all += std::string(all.empty() ? "" : ", ") + choice.text;
    }
    throw std::runtime_error("it is one of " + all);
}

template <std::size_t count>
std::string textOf(const Choice (&choices)[count], int value)
{
    const auto found =
        std::find_if(std::begin(choices), std::end(choices), [value](const Choice& c) { return c.value == value; });
    return found != std::end(choices) ? found->text : "";
}

std::string trimmed(const std::string& text)
{
    const auto begin = text.find_first_not_of(" \t\r");
    const auto end = text.find_last_not_of(" \t\r");
    return begin == std::string::npos ? "" : text.substr(begin, end + 1 - begin);
}

// A name may have "#" in it, but not after a space.
std::string withoutComment(const std::string& line)
{
    for (std::size_t i = 0; i < line.size(); ++i)
    {
        if (line[i] == '#' && (i == 0 || line[i - 1] == ' ' || line[i - 1] == '\t'))
        {
            return line.substr(0, i);
        }
    }
    return line;
}

bool isControl(char character)
{
    return static_cast<unsigned char>(character) < 0x20 || character == 0x7f;
}

// Of a device: what can stand in a line.
const std::string& checkedName(const std::string& name)
{
    if (name.empty())
    {
        throw std::runtime_error("there is no name");
    }
    if (std::any_of(name.begin(), name.end(), isControl) || trimmed(withoutComment(name)) != name)
    {
        throw std::runtime_error("this is no name of a device");
    }
    return name;
}

std::string quoted(const std::string& text)
{
    return "\"" + cleanText(text.data(), text.size()) + "\"";
}

unsigned number(const std::string& text, unsigned most, const char* what)
{
    unsigned value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty() || value > most)
    {
        throw std::runtime_error(quoted(text) + " is no " + what);
    }
    return value;
}

bool isNumber(const std::string& text)
{
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

void readOption(const std::string& option, FilterLines& lines)
{
    const std::size_t unit = option.rfind("ms");
    if ((option == "low" || option == "high") && !lines.out)
    {
        lines.isHighIn = option == "high";
    }
    else if (unit != std::string::npos && unit + 2 == option.size() && lines.out)
    {
        lines.pulse = std::chrono::milliseconds(number(option.substr(0, unit), kMaxPulse, "length of a pulse"));
        if (lines.pulse.count() == 0)
        {
            throw std::runtime_error("a pulse of 0ms moves nothing");
        }
    }
    else
    {
        throw std::runtime_error(quoted(option) + " is unknown: one line is low or high, two have a pulse like 100ms");
    }
}

void readLine(const std::string& name, const std::string& value, Board& board)
{
    if (name == "camera")
    {
        board.camera = checkedName(value);
    }
    else if (name == "light")
    {
        board.light = checkedName(value);
    }
    else if (name == "lamp")
    {
        parseLamp(value, board.lamps);
    }
    else if (name == "filter")
    {
        board.filter = parseFilter(value);
    }
    else if (name == "others")
    {
        board.others = parseOthers(value);
    }
    else if (name == "schemes")
    {
        board.schemesByLight = valueOf(kSchemes, value) != 0;
    }
    else if (name == "mains")
    {
        board.mains = valueOf(kMains, value);
    }
    else
    {
        throw std::runtime_error(
            "there is no such name; the names are camera, light, lamp, filter, others, schemes, mains");
    }
}

}  // namespace

void checkBoard(const Board& board)
{
    if (board.schemesByLight && board.light.empty())
    {
        throw std::runtime_error("schemes follow the light only with a light sensor (light = NAME, or --light NAME)");
    }
}

Board parseBoard(const std::string& text)
{
    Board board;
    std::set<std::string> seen;
    std::istringstream lines(text);
    std::string line;
    for (int count = 1; std::getline(lines, line); ++count)
    {
        line = trimmed(withoutComment(line));
        if (line.empty())
        {
            continue;
        }
        try
        {
            const std::size_t equals = line.find('=');
            if (equals == std::string::npos)
            {
                throw std::runtime_error("a line is \"name = value\"");
            }
            const std::string name = trimmed(line.substr(0, equals));
            if (name != "lamp" && !seen.insert(name).second)
            {
                throw std::runtime_error("this is said twice");
            }
            readLine(name, trimmed(line.substr(equals + 1)), board);
        }
        catch (const std::runtime_error& error)
        {
            throw std::runtime_error("line " + std::to_string(count) + ": " + cleanText(line.data(), line.size()) +
                                     ": " + error.what());
        }
    }
    checkBoard(board);
    return board;
}

std::string textOf(const Board& board)
{
    std::string text;
    if (!board.camera.empty())
    {
        text += "camera = " + checkedName(board.camera) + "\n";
    }
    if (!board.light.empty())
    {
        text += "light = " + checkedName(board.light) + "\n";
    }
    for (const auto& [control, name] : board.lamps)
    {
        text += "lamp = " + textOf(kLamps, static_cast<int>(control)) + "=" + checkedName(name) + "\n";
    }
    if (board.filter)
    {
        const FilterLines& lines = *board.filter;
        text += "filter = " + checkedName(lines.chip) + ":" + std::to_string(lines.in);
        text += lines.out        ? ":" + std::to_string(*lines.out) + "," + std::to_string(lines.pulse.count()) + "ms"
                : lines.isHighIn ? ",high"
                                 : ",low";
        text += "\n";
    }
    text += "others = " + textOf(kOthers, static_cast<int>(board.others)) + "\n";
    text += "schemes = " + textOf(kSchemes, board.schemesByLight ? 1 : 0) + "\n";
    text += "mains = " + textOf(kMains, board.mains) + "\n";
    return text;
}

FilterLines parseFilter(const std::string& text)
{
    FilterLines lines;
    std::istringstream parts(text);
    std::string chip;
    std::getline(parts, chip, ',');
    const std::size_t last = chip.rfind(':');
    if (last == std::string::npos || last == 0)
    {
        throw std::runtime_error(
            "a filter is a chip and its line, like gpiochip0:3, or two lines, like gpiochip0:3:4,100ms");
    }
    lines.in = number(chip.substr(last + 1), kMaxLine, "number of a line");
    chip.erase(last);
    // A chip's name may have colons too.
    const std::size_t before = chip.rfind(':');
    if (before != std::string::npos && before > 0 && isNumber(chip.substr(before + 1)))
    {
        lines.out = lines.in;
        lines.in = number(chip.substr(before + 1), kMaxLine, "number of a line");
        chip.erase(before);
    }
    if (lines.out == lines.in)
    {
        throw std::runtime_error("both ways have the same line");
    }
    lines.chip = checkedName(chip);
    for (std::string option; std::getline(parts, option, ',');)
    {
        readOption(option, lines);
    }
    return lines;
}

Others parseOthers(const std::string& text)
{
    return static_cast<Others>(valueOf(kOthers, text));
}

void parseLamp(const std::string& text, std::map<u32, std::string>& lamps)
{
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos)
    {
        throw std::runtime_error("a lamp is its reach and its name, like near=white:flash");
    }
    const u32 control = static_cast<u32>(valueOf(kLamps, trimmed(text.substr(0, equals))));
    const std::string name = checkedName(trimmed(text.substr(equals + 1)));
    for (const auto& [other, taken] : lamps)
    {
        if (taken == name && other != control)
        {
            throw std::runtime_error(name + " is a lamp already");
        }
    }
    if (!lamps.emplace(control, name).second)
    {
        throw std::runtime_error("this is said twice");
    }
}

}  // namespace devices
