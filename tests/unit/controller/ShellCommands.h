#pragma once

#include <string>
#include <vector>

namespace support {

struct ShellCommand
{
    std::string text;
    int limitSeconds;
};

// What the library asked the host framework to run since the last forgetShellCommands; it runs all the same.
std::vector<ShellCommand> shellCommands();
void forgetShellCommands();

}  // namespace support
