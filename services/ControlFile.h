#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

// The file in which a scheme keeps the values of named controls: a line "name value" each. Reentrant.
namespace services {

using ControlValues = std::map<std::string, int>;

inline constexpr std::size_t kControlFileMax = 64 * 1024;  // bytes; some hundred controls take thirty each
inline constexpr std::size_t kControlNameMax = 64;

// "/mnt/mtd/code/config_file/named0.cfg"
std::string controlFile(int scheme);

// leftOut: gets the lines that are none, and those of a name that is there already.
ControlValues parseControls(const std::string& text, std::vector<std::string>& leftOut);

// Which parseControls reads back.
std::string textOf(const ControlValues& values);

}  // namespace services
