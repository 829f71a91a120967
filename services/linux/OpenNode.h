#pragma once

#include <optional>
#include <string>

namespace devices {

// A descriptor of a character device, of that major number if one is said; below 0, an error number with a minus: -ENOTTY
// for anything else. Does not wait, follows no link. Reentrant.
int openNode(const std::string& node, std::optional<unsigned> major = std::nullopt);

}  // namespace devices
