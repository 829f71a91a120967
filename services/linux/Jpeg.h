#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

// Pictures that a camera has compressed itself. Reentrant.
namespace devices {

inline constexpr std::size_t kLargestJpeg = 4 << 20;  // bytes

struct Jpeg
{
    std::string bytes;
    int width;
    int height;
};

// As everybody can show it: without what the camera left behind its end, and with the standard's own Huffman tables where
// it brings none, as many cameras save them. Nothing for what is not one whole picture, or larger than kLargestJpeg.
std::optional<Jpeg> completeJpeg(std::string_view bytes);

}  // namespace devices
