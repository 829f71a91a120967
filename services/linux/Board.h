#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

#include "SensorTypes.h"
#include "services/linux/ControlQueue.h"

// What belongs to one camera, as its owner wrote it down.
namespace devices {

// The lines of an infrared-cut filter.
struct FilterLines
{
    std::string chip;             // "gpiochip0"
    unsigned in = 0;              // the only line of a filter that follows a level
    std::optional<unsigned> out;  // the second one of a filter that is moved by pulses
    bool isHighIn = true;         // of a level
    std::chrono::milliseconds pulse{100};
};

// In place of a light sensor: by how the camera exposes while its picture is read through us.
constexpr char kByExposure[] = "exposure";

struct Board
{
    std::string camera;  // identity, node, by-id path or serial number
    std::string light;   // name or folder of a light sensor; "auto" for the only one; kByExposure; empty: none
    std::map<u32, std::string> lamps;  // name of the LED by control: kLampNear, kLampMedium, kLampFar
    std::optional<FilterLines> filter;
    Others others = Others::putBack;
    bool schemesByLight = false;  // light, not the clock, decides between schemes 0 and 1
    int mains = 50;               // Hz, of the lamps indoors
};

// Throws std::runtime_error with what is wrong with it as a whole.
void checkBoard(const Board& board);

// Of a text with a line "name = value" each; "#" begins a comment. Throws std::runtime_error that names the line,
// or as checkBoard does.
Board parseBoard(const std::string& text);
// Which parseBoard reads back as the same board.
std::string textOf(const Board& board);

// "gpiochip0:3", "gpiochip0:3,low", "gpiochip0:3:4,100ms". Throws std::runtime_error, here and below.
FilterLines parseFilter(const std::string& text);
// "put-back", "take-over" or "leave".
Others parseOthers(const std::string& text);
// "near=NAME", added to the lamps.
void parseLamp(const std::string& text, std::map<u32, std::string>& lamps);

}  // namespace devices
