#include "tests/vm/programs/Description.h"

#include <cstdio>
#include <fstream>
#include <istream>
#include <iterator>
#include <stdexcept>

namespace vm {

namespace {

constexpr std::size_t kLongestLine = 256;
constexpr std::size_t kMostControls = 64;
constexpr std::size_t kLongestName = 126;  // characters of a USB string descriptor

// clang-format off
constexpr ControlKind kKinds[] = {
    // name                      unit             sel   bit off size signed
    {"exposure_mode",            kCameraTerminal, 0x02,  1, 0, 1, false},
    {"exposure_priority",        kCameraTerminal, 0x03,  2, 0, 1, false},
    {"exposure_time",            kCameraTerminal, 0x04,  3, 0, 4, false},  // 100 microseconds
    {"focus",                    kCameraTerminal, 0x06,  5, 0, 2, false},
    {"focus_automatic",          kCameraTerminal, 0x08, 17, 0, 1, false},
    {"iris",                     kCameraTerminal, 0x09,  7, 0, 2, false},
    {"zoom",                     kCameraTerminal, 0x0b,  9, 0, 2, false},
    {"pan",                      kCameraTerminal, 0x0d, 11, 0, 4, true},
    {"tilt",                     kCameraTerminal, 0x0d, 11, 4, 4, true},
    {"privacy",                  kCameraTerminal, 0x11, 18, 0, 1, false},
    {"backlight",                kProcessingUnit, 0x01,  8, 0, 2, false},
    {"brightness",               kProcessingUnit, 0x02,  0, 0, 2, true},
    {"contrast",                 kProcessingUnit, 0x03,  1, 0, 2, false},
    {"gain",                     kProcessingUnit, 0x04,  9, 0, 2, false},
    {"power_line",               kProcessingUnit, 0x05, 10, 0, 1, false},
    {"hue",                      kProcessingUnit, 0x06,  2, 0, 2, true},
    {"saturation",               kProcessingUnit, 0x07,  3, 0, 2, false},
    {"sharpness",                kProcessingUnit, 0x08,  4, 0, 2, false},
    {"gamma",                    kProcessingUnit, 0x09,  5, 0, 2, false},
    {"temperature",              kProcessingUnit, 0x0a,  6, 0, 2, false},
    {"temperature_automatic",    kProcessingUnit, 0x0b, 12, 0, 1, false},
    {"blue_balance",             kProcessingUnit, 0x0c,  7, 0, 2, false},
    {"red_balance",              kProcessingUnit, 0x0c,  7, 2, 2, false},
    {"balance_automatic",        kProcessingUnit, 0x0d, 13, 0, 1, false},
    {"mirror",                   kExtensionUnit,  0x01,  0, 0, 1, false},
    {"scene",                    kExtensionUnit,  0x02,  1, 0, 1, false},
};
// clang-format on

const ControlKind* kindOf(const std::string& name)
{
    for (const ControlKind& kind : kKinds)
    {
        if (name == kind.name)
        {
            return &kind;
        }
    }
    throw std::runtime_error("no such control: " + name);
}

std::u16string utf16(const std::string& text)
{
    std::u16string units;
    for (std::size_t at = 0; at < text.size(); ++at)
    {
        unsigned unit = static_cast<unsigned char>(text[at]);
        if (text.compare(at, 2, "\\u") == 0)
        {
            if (std::sscanf(text.c_str() + at, "\\u%4x", &unit) != 1)
            {
                throw std::runtime_error("\\u needs four digits");
            }
            at += 5;
        }
        units += static_cast<char16_t>(unit);
    }
    if (units.size() > kLongestName)
    {
        throw std::runtime_error("the text is too long");
    }
    return units;
}

std::uint8_t abilitiesOf(const std::string& word)
{
    if (word == "read-only")
    {
        return kRead | kChanges;
    }
    if (word == "changes")
    {
        return kRead | kSet | kChanges;
    }
    if (word.empty())
    {
        return kRead | kSet;
    }
    throw std::runtime_error("no such ability: " + word);
}

Control readControl(const std::string& words)
{
    char name[32];
    Control control;
    int end = 0;
    const int read = std::sscanf(words.c_str(), "%31s %ld..%ld/%li %ld %n", name, &control.minimum, &control.maximum,
                                 &control.step, &control.byDefault, &end);
    if (read != 5)
    {
        throw std::runtime_error("NAME MINIMUM..MAXIMUM/STEP DEFAULT is needed");
    }
    control.kind = kindOf(name);
    control.abilities = abilitiesOf(words.substr(static_cast<std::size_t>(end)));
    control.current = control.byDefault;
    return control;
}

void readLine(const std::string& line, Description& camera)
{
    const std::size_t space = line.find(' ');
    const std::string word = line.substr(0, space);
    const std::string rest = space == std::string::npos ? "" : line.substr(space + 1);
    if (word == "usb")
    {
        if (std::sscanf(rest.c_str(), "%4hx:%4hx", &camera.vendor, &camera.product) != 2)
        {
            throw std::runtime_error("VENDOR:PRODUCT is needed");
        }
    }
    else if (word == "product")
    {
        camera.name = utf16(rest);
    }
    else if (word == "serial")
    {
        camera.serial = utf16(rest);
    }
    else if (word == "jpeg")
    {
        std::ifstream file(rest, std::ios::binary);
        camera.jpeg.assign(std::istreambuf_iterator<char>(file), {});
        if (camera.jpeg.empty())
        {
            throw std::runtime_error("there is no picture in " + rest);
        }
    }
    else if (word == "control" && camera.controls.size() < kMostControls)
    {
        camera.controls.push_back(readControl(rest));
    }
    else if (!word.empty() && word[0] != '#')
    {
        throw std::runtime_error("not understood");
    }
}

}  // namespace

Description readDescription(std::istream& text)
{
    Description camera;
    std::string line;
    for (int number = 1; std::getline(text, line); ++number)
    {
        try
        {
            if (line.size() > kLongestLine)
            {
                throw std::runtime_error("the line is too long");
            }
            readLine(line, camera);
        }
        catch (const std::runtime_error& reason)
        {
            throw std::runtime_error("line " + std::to_string(number) + ": " + reason.what());
        }
    }
    return camera;
}

std::vector<const ControlKind*> halvesOf(std::uint8_t unit, std::uint8_t selector)
{
    std::vector<const ControlKind*> halves;
    for (const ControlKind& kind : kKinds)
    {
        if (kind.unit == unit && kind.selector == selector)
        {
            halves.push_back(&kind);
        }
    }
    return halves;
}

}  // namespace vm
