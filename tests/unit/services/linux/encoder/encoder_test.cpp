#include <gtest/gtest.h>

#include <turbojpeg.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "services/linux/Jpeg.h"
#include "services/linux/V4l2Stream.h"

namespace {

using devices::picture::Layout;
using devices::picture::RawPicture;

constexpr int kWidth = 32;
constexpr int kHeight = 16;

struct Colour
{
    int y, u, v;
};

struct Seen
{
    int width = 0;
    int height = 0;
    int red = -1;
    int green = -1;
    int blue = -1;
};

bool isTurboLoaded()
{
    std::ifstream maps("/proc/self/maps");
    const std::string all{std::istreambuf_iterator<char>(maps), {}};
    return all.find("libsensorlinux-picture") != std::string::npos;
}

// The middle of a JPEG.
Seen look(const std::string& jpeg)
{
    Seen seen;
    const tjhandle handle = tjInitDecompress();
    const auto* const bytes = reinterpret_cast<const unsigned char*>(jpeg.data());
    int sampling = 0;
    int space = 0;
    tjDecompressHeader3(handle, bytes, jpeg.size(), &seen.width, &seen.height, &sampling, &space);
    std::vector<unsigned char> pixels(static_cast<std::size_t>(seen.width * seen.height * 3));
    if (tjDecompress2(handle, bytes, jpeg.size(), pixels.data(), seen.width, 0, seen.height, TJPF_RGB, 0) == 0)
    {
        const auto middle = static_cast<std::size_t>((seen.height / 2 * seen.width + seen.width / 2) * 3);
        seen.red = pixels[middle];
        seen.green = pixels[middle + 1];
        seen.blue = pixels[middle + 2];
    }
    tjDestroy(handle);
    return seen;
}

// One colour all over, with some bytes behind each line.
std::vector<unsigned char> filled(Layout layout, Colour colour, std::size_t stride)
{
    const bool isPlanar = layout == Layout::nv12;
    std::vector<unsigned char> bytes(stride * (isPlanar ? kHeight * 3 / 2 : kHeight));
    for (std::size_t at = 0; at < bytes.size(); ++at)
    {
        const std::size_t column = at % stride;
        int value = colour.y;
        if (layout == Layout::nv12 && at >= stride * kHeight)
        {
            value = column % 2 == 0 ? colour.u : colour.v;
        }
        else if (layout == Layout::yuyv || layout == Layout::uyvy)
        {
            const std::size_t place = (column + (layout == Layout::uyvy ? 1 : 0)) % 4;
            value = place == 1 ? colour.u : place == 3 ? colour.v : colour.y;
        }
        bytes[at] = static_cast<unsigned char>(value);
    }
    return bytes;
}

Seen encoded(Layout layout, Colour colour, bool isFullRange)
{
    const std::size_t stride = kWidth * (layout == Layout::yuyv || layout == Layout::uyvy ? 2 : 1) + 8;
    const std::vector<unsigned char> bytes = filled(layout, colour, stride);
    const std::string jpeg =
        devices::loadEncoder()->encode({layout, kWidth, kHeight, stride, isFullRange, bytes.data()});
    EXPECT_TRUE(devices::completeJpeg(jpeg));
    return look(jpeg);
}

TEST(Encoder, IsLoadedWhenItIsWanted)
{
    EXPECT_FALSE(isTurboLoaded());
    devices::loadEncoder();
    EXPECT_TRUE(isTurboLoaded());
}

TEST(Encoder, EveryLayoutKeepsItsColour)
{
    for (const Layout layout : {Layout::yuyv, Layout::uyvy, Layout::nv12})
    {
        const Seen seen = encoded(layout, {76, 85, 255}, true);
        EXPECT_EQ(kWidth, seen.width);
        EXPECT_EQ(kHeight, seen.height);
        EXPECT_NEAR(255, seen.red, 4);
        EXPECT_NEAR(0, seen.green, 4);
        EXPECT_NEAR(0, seen.blue, 4);
    }
}

TEST(Encoder, TheRangeOfTelevisionBecomesThatOfAPicture)
{
    for (const Layout layout : {Layout::yuyv, Layout::uyvy, Layout::nv12})
    {
        EXPECT_NEAR(255, encoded(layout, {235, 128, 128}, false).green, 2);
        EXPECT_NEAR(0, encoded(layout, {16, 128, 128}, false).green, 2);
        EXPECT_NEAR(128, encoded(layout, {126, 128, 128}, false).green, 2);
        EXPECT_NEAR(255, encoded(layout, {81, 90, 240}, false).red, 4);
    }
}

TEST(Encoder, GreyStaysAsItIs)
{
    for (const int shade : {3, 128, 250})
    {
        const Seen seen = encoded(Layout::grey, {shade, 0, 0}, false);
        EXPECT_NEAR(shade, seen.red, 2);
        EXPECT_NEAR(shade, seen.blue, 2);
    }
}

// The encoder's are the standard's. What a camera leaves out is put back.
TEST(Encoder, ItsTablesMayBeLeftOut)
{
    const std::vector<unsigned char> bytes = filled(Layout::nv12, {76, 85, 255}, kWidth);
    std::string jpeg = devices::loadEncoder()->encode({Layout::nv12, kWidth, kHeight, kWidth, true, bytes.data()});
    std::string tables;
    for (std::size_t at = 2; jpeg[at + 1] != '\xDA';)
    {
        const std::size_t length = static_cast<std::size_t>(static_cast<unsigned char>(jpeg[at + 2])) << 8 |
                                   static_cast<unsigned char>(jpeg[at + 3]);
        if (jpeg[at + 1] == '\xC4')
        {
            tables += jpeg.substr(at + 4, length - 2);
            jpeg.erase(at, 2 + length);
            continue;
        }
        at += 2 + length;
    }
    EXPECT_EQ(416u, tables.size());
    const std::optional<devices::Jpeg> whole = devices::completeJpeg(jpeg);
    ASSERT_TRUE(whole);
    EXPECT_NE(std::string::npos, whole->bytes.find(tables));
    EXPECT_NEAR(255, look(whole->bytes).red, 4);
}

}  // namespace
