// vm-devices: what services/linux finds and hears on this machine.
//   vm-devices                   what is plugged in
//   vm-devices describe FILE     the board of that text: its name, version, controls and their values
//   vm-devices follow CAMERA     says "camera NODE" or "no camera", at first and whenever something has come or gone, and
//                                "used" when somebody has used the camera; ends with its input

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <unistd.h>

#include "services/linux/DeviceList.h"
#include "services/linux/LocalDevices.h"

namespace {

void say(const std::string& line)
{
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

void describe(const char* path)
{
    std::ifstream file(path);
    const devices::Board board =
        devices::parseBoard(std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()));
    devices::LocalDevices source(board);
    const devices::Description description = devices::describe(source, board);
    say(description.name);
    say(description.version);
    for (const devices::Control& control : description.controls)
    {
        const auto value = description.values.find(control.id);
        say(control.name + (value != description.values.end() ? " = " + std::to_string(value->second) : ""));
    }
}

void sayNode(devices::LocalDevices& source)
{
    const int descriptor = source.open(devices::Role::camera);
    if (descriptor < 0)
    {
        return say("no camera");
    }
    say("camera " + std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor)).string());
    close(descriptor);
}

void follow(const char* camera)
{
    devices::Board board;
    board.camera = camera;
    devices::LocalDevices source(board);
    sayNode(source);
    source.listen([&source] { sayNode(source); });
    source.listenToUse([] { say("used"); });
    sayNode(source);
    for (std::string line; std::getline(std::cin, line);)
    {
    }
    source.listen(nullptr);
    source.listenToUse(nullptr);
}

}  // namespace

int main(int count, char** arguments)
{
    const std::string command = count == 3 ? arguments[1] : "";
    try
    {
        if (count == 1)
        {
            std::printf("%s", textOf(devices::listDevices()).c_str());
            return 0;
        }
        if (command == "describe")
        {
            describe(arguments[2]);
            return 0;
        }
        if (command == "follow")
        {
            follow(arguments[2]);
            return 0;
        }
    }
    catch (const std::exception& error)
    {
        std::printf("%s\n", error.what());
        return 1;
    }
    std::fprintf(stderr, "usage: vm-devices [describe FILE | follow CAMERA]\n");
    return 2;
}
