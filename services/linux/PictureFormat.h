#pragma once

#include <optional>
#include <string>
#include <vector>

#include "services/linux/V4l2Description.h"
#include "services/linux/picture/RawPicture.h"

// In which of its formats a camera is asked for pictures. Reentrant.
namespace devices {

inline constexpr u32 kWidest = 1920;  // pixels of a picture
inline constexpr u32 kHighest = 1080;

struct PictureFormat
{
    u32 code;  // V4L2's
    u32 width;
    u32 height;
};

bool isJpeg(u32 code);
// Of those that can be encoded.
std::optional<picture::Layout> layoutOf(u32 code);
// "MJPG"
std::string codeText(u32 code);

// Those that a picture can be had from, at most one compressed and one raw, the better one first: compressed before raw,
// but first what gives so many frames in a second (0: any). Of each the largest that is not larger than kWidest x kHighest.
// offered: the codes of all that the device has, for people.
std::vector<PictureFormat> pictureFormats(const Ioctl& ioctl, u32 rate, std::string& offered);

}  // namespace devices
