#include "services/linux/Jpeg.h"

#include <gtest/gtest.h>

#include "tests/unit/services/linux/ScriptedCamera.h"

namespace {

using devices::completeJpeg;
using devices::Jpeg;
using support::jpegOf;

const std::string kScan("\xFF\xDA", 2);
const std::string kTables("\xFF\xC4", 2);

TEST(Jpeg, MissingTablesStandInFrontOfTheScan)
{
    const std::string bare = jpegOf(640, 480);
    const std::optional<Jpeg> whole = completeJpeg(bare);
    ASSERT_TRUE(whole);
    EXPECT_EQ(640, whole->width);
    EXPECT_EQ(480, whole->height);
    ASSERT_EQ(bare.size() + 420, whole->bytes.size());
    const std::size_t at = bare.find(kScan);
    EXPECT_EQ(bare.substr(0, at), whole->bytes.substr(0, at));
    EXPECT_EQ(kTables + std::string("\x01\xA2\x00", 3), whole->bytes.substr(at, 5));
    EXPECT_EQ(bare.substr(at), whole->bytes.substr(at + 420));
}

TEST(Jpeg, WithTablesItIsHandedThrough)
{
    std::string own = jpegOf(16, 8);
    own.insert(own.find(kScan), kTables + std::string("\x00\x03\x00", 3));
    const std::optional<Jpeg> whole = completeJpeg(own);
    ASSERT_TRUE(whole);
    EXPECT_EQ(own, whole->bytes);
    EXPECT_EQ(own, completeJpeg(whole->bytes)->bytes);
}

TEST(Jpeg, WhatTheCameraLeftBehindTheEndIsCutOff)
{
    const std::string bare = jpegOf(16, 8);
    const std::string whole = completeJpeg(bare)->bytes;
    EXPECT_EQ(whole, completeJpeg(bare + std::string(100, '\0'))->bytes);
    EXPECT_EQ(whole, completeJpeg(bare + bare)->bytes);
}

TEST(Jpeg, ThePictureWithinASegmentDoesNotEndIt)
{
    std::string own = jpegOf(16, 8);
    const std::string small("\xFF\xD8\xFF\xD9", 4);
    own.insert(2, std::string("\xFF\xE1\x00\x06", 4) + small);
    const std::optional<Jpeg> whole = completeJpeg(own + std::string(100, '\0'));
    ASSERT_TRUE(whole);
    EXPECT_EQ(own.size() + 420, whole->bytes.size());
}

TEST(Jpeg, HalfAPictureIsNone)
{
    const std::string bare = jpegOf(16, 8);
    for (std::size_t size = 0; size < bare.size(); ++size)
    {
        EXPECT_FALSE(completeJpeg(bare.substr(0, size))) << size;
    }
}

TEST(Jpeg, WhatIsNoPictureIsNone)
{
    EXPECT_FALSE(completeJpeg("BM" + jpegOf(16, 8)));
    EXPECT_FALSE(completeJpeg(jpegOf(0, 8)));
    EXPECT_FALSE(completeJpeg(jpegOf(16, 0)));
    EXPECT_FALSE(completeJpeg(std::string(1000, '\xFF')));
    EXPECT_FALSE(completeJpeg("\xFF\xD8\xFF\xD9"));
}

TEST(Jpeg, NoneIsLargerThanAViewerMayBeSent)
{
    const std::size_t around = completeJpeg(jpegOf(16, 8, ""))->bytes.size();
    const std::string most(devices::kLargestJpeg - around, 'x');
    EXPECT_EQ(devices::kLargestJpeg, completeJpeg(jpegOf(16, 8, most))->bytes.size());
    EXPECT_FALSE(completeJpeg(jpegOf(16, 8, most + "x")));
}

}  // namespace
