#include "app/remote/FrameSocket.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cstdint>
#include <memory>

namespace {

using remote::FrameSocket;
using remote::Kind;

class FrameSocketTest : public testing::Test
{
protected:
    FrameSocketTest()
    {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        own_ = std::make_unique<FrameSocket>(camera::Descriptor(ends[0]), 100);
        other_ = camera::Descriptor(ends[1]);
    }

    static std::string length(std::uint32_t number)
    {
        return std::string(reinterpret_cast<const char*>(&number), sizeof number);
    }

    // Whether what has come is whole frames, or the beginning of one.
    bool takesIn(const std::string& bytes)
    {
        EXPECT_EQ(send(other_.number(), bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
        return own_->receive();
    }

    std::unique_ptr<FrameSocket> own_;
    camera::Descriptor other_;
};

TEST_F(FrameSocketTest, AFrameMayBeAsLongAsIsAllowedAndNoLonger)
{
    const std::string text(91, 'x');
    ASSERT_TRUE(takesIn(length(96) + "r" + length(91) + text));
    const std::optional<remote::Frame> frame = own_->take();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->kind, Kind::run);
    EXPECT_EQ(frame->parts, std::vector<std::string>{text});
    EXPECT_TRUE(takesIn(length(100)));
    EXPECT_FALSE(own_->take());
    own_->allow(99);
    EXPECT_FALSE(takesIn("r"));
}

TEST_F(FrameSocketTest, WhatComesBehindAFrameIsHeldToTheSameLength)
{
    EXPECT_TRUE(takesIn(length(1) + "e" + length(101) + "r"));
    EXPECT_TRUE(own_->take());
    EXPECT_FALSE(own_->take());
    EXPECT_FALSE(takesIn("x"));
}

TEST_F(FrameSocketTest, APartThatIsLongerThanItsFrameIsNoFrame)
{
    for (const std::uint32_t number : {2u, 0xfffffff7u, 0xfffffffbu, 0xffffffffu})
    {
        ASSERT_TRUE(takesIn(length(6) + "r" + length(number) + "x"));
        const std::optional<remote::Frame> frame = own_->take();
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->kind, Kind::none) << number;
        EXPECT_TRUE(frame->parts.empty());
    }
}

TEST_F(FrameSocketTest, BytesBehindTheLastPartAreNoFrame)
{
    for (const std::string& body : {std::string("r") + length(0) + "x", std::string("rx"), std::string()})
    {
        ASSERT_TRUE(takesIn(length(static_cast<std::uint32_t>(body.size())) + body));
        const std::optional<remote::Frame> frame = own_->take();
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->kind, Kind::none);
    }
}

}  // namespace
