#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace devices::picture {

// How a picture lies in memory.
enum class Layout : unsigned char
{
    yuyv,  // brightness and colour by turns, colour of two pixels each
    uyvy,
    nv12,  // brightness of all, then colour of four pixels each
    grey,  // brightness of all
};

// Not compressed. Even numbers of pixels, which are all there.
struct RawPicture
{
    Layout layout;
    int width;
    int height;
    std::size_t stride;  // bytes from one line to the next
    bool isFullRange;    // else black is 16 and white 235, as in television; never so of a grey one
    const unsigned char* bytes;
};

// For one thread at a time.
class Encoder
{
public:
    virtual ~Encoder() = default;

    // JPEG. Throws std::runtime_error.
    virtual std::string encode(const RawPicture& picture) = 0;
};

}  // namespace devices::picture
