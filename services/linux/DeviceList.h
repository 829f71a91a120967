#pragma once

#include <string>
#include <vector>

#include "services/linux/Board.h"
#include "services/linux/Control.h"
#include "services/linux/Description.h"
#include "services/linux/DeviceSource.h"
#include "services/linux/Identity.h"
#include "services/linux/LightSensor.h"
#include "services/linux/Line.h"

// What is plugged in, and what it can be used for. Reentrant; asks the devices, which may take seconds.
namespace devices {

// A parameter of the library that a camera takes.
struct ListedKey
{
    std::string key;      // "KEY_BRIGHTNESS"
    std::string control;  // the device's name of it; several with "and"
    std::string values;   // "0 to 100", "0, 1, 3"
};
std::vector<ListedKey> listKeys(const std::vector<Control>& controls);

// A part of a camera that has a node of its own.
struct ListedSubdevice
{
    std::string name;
    std::string node;
    std::string problem;  // why its controls are not there; empty if they are
};

struct ListedCamera
{
    CameraNode camera;
    std::string problem;  // why it cannot be used, and what to do; empty if it can
    std::string users;    // programs that have its node open: "process 7 (player)"; empty without one
    std::vector<ListedSubdevice> subdevices;
    std::vector<ListedKey> keys;
    std::string others;  // the names of its controls that are behind no key, with semicolons
};

struct ListedLamp
{
    std::string name;
    std::string greatest;  // brightness
};

struct ListedChip
{
    Chip chip;
    std::string problem;
    std::vector<ChipLine> lines;  // that have a name or are in use
};

struct DeviceList
{
    std::vector<ListedCamera> cameras;
    std::vector<FoundSensor> lights;
    std::vector<ListedLamp> lamps;
    std::vector<ListedChip> chips;
};

DeviceList listDevices(const Roots& roots = {});
// Lines for people, as "sensorcam devices" prints them.
std::string textOf(const DeviceList& list);

// Opens the camera, the lamps and the filter once, and reads what they are and have. Throws std::runtime_error, which says
// what to do, when one of them cannot be had.
Description describe(DeviceSource& source, const Board& board, const Roots& roots = {});

// Why a node cannot be opened, as a sentence that says what to do.
std::string whyNot(int error, const std::string& node, const Roots& roots = {});

// Other processes that have the node open, "process 7 (player), process 9 (…)"; only those that may be looked into.
std::string usersOf(const std::string& node, const Roots& roots = {});

}  // namespace devices
