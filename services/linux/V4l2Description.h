#pragma once

#include <linux/videodev2.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "services/linux/Control.h"

// What a driver answers, made into what can be relied on: it passes on what a device claims. Reentrant.
namespace devices {

// One ioctl of a device: 0 or an error number.
using Ioctl = std::function<int(unsigned long request, void* argument)>;

inline constexpr std::size_t kMaxControls = 512;
inline constexpr int kMaxMenuIndexes = 256;  // that are asked for
inline constexpr std::size_t kMaxMenuItems = 64;

// The text in so many bytes, up to a NUL: printable UTF-8 without spaces at its ends. What is none is a space.
std::string cleanText(const void* bytes, std::size_t size);

// Without a menu's items. Nothing for what is not one number, or makes no sense.
std::optional<Control> describe(const v4l2_query_ext_ctrl& answer);

// Asks for one control, a menu's items included. Nothing where there is none that could be used, or none is told.
std::optional<Control> queryControl(const Ioctl& ioctl, u32 id);

// Asks for all, in ascending order of their ids. 0, or the error that cut the list short: what is missing is not gone.
int queryControls(const Ioctl& ioctl, std::vector<Control>& controls);

// Frames in a second.
u32 rateOf(const v4l2_fract& interval);

// The rates of the format in force, as a menu; nothing where the rate cannot be set. 0, or the error because of which it
// is not known whether it can.
int queryFrameRate(const Ioctl& ioctl, std::optional<Control>& rate);

}  // namespace devices
