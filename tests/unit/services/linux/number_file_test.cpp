#include "services/linux/NumberFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>

#include "tests/unit/services/linux/FolderSource.h"

namespace {

using devices::parseNumber;

TEST(ParseNumber, TakesWhatTheKernelWrites)
{
    EXPECT_EQ(0, parseNumber("0\n"));
    EXPECT_EQ(4000, parseNumber("4000"));
    EXPECT_EQ(-7, parseNumber("-7\n"));
    EXPECT_EQ(0.0742, parseNumber("0.074200000\n"));
    EXPECT_EQ(11.28, parseNumber(" 11.28 \n"));
}

TEST(ParseNumber, WhatIsNoNumberIsNone)
{
    for (const char* text : {"", "\n", "lux", "12 lux", "1,5", "0x10", "1e3", "inf", "nan", "--1", "1 2", "."})
    {
        EXPECT_EQ(std::nullopt, parseNumber(text)) << text;
    }
    EXPECT_EQ(std::nullopt, parseNumber(std::string("1\0", 2)));
    EXPECT_EQ(std::nullopt, parseNumber(std::string(400, '9')));
}

class OpenedFile : public testing::Test
{
protected:
    OpenedFile() { unlink("/tmp/number"); }

    static void write(const std::string& text) { std::ofstream("/tmp/number", std::ios::binary) << text; }

    support::FolderSource source_{"/tmp"};
    std::unique_ptr<devices::NumberFile> file_ = devices::filesOf(source_)(devices::Role::light, "number");
    double value_ = 7;
};

TEST_F(OpenedFile, ReadsAndWritesItsNumber)
{
    write("12.5\n");
    EXPECT_EQ(0, file_->read(value_));
    EXPECT_EQ(12.5, value_);
    EXPECT_EQ(0, file_->write(-99999));
    EXPECT_EQ(0, file_->read(value_));
    EXPECT_EQ(-99999, value_);
    EXPECT_EQ(1, source_.openings);
}

TEST_F(OpenedFile, SaysWhyThereIsNoNumber)
{
    EXPECT_EQ(ENOENT, file_->read(value_));
    EXPECT_EQ(ENOENT, file_->write(1));
    write("dark\n");
    EXPECT_EQ(EBADMSG, file_->read(value_));
    write(std::string(1000, '1'));
    EXPECT_EQ(EBADMSG, file_->read(value_)) << "longer than a number";
    EXPECT_EQ(7, value_);
}

TEST_F(OpenedFile, IsLookedForUntilItsDeviceIsThere)
{
    source_.error = ENODEV;
    EXPECT_EQ(ENODEV, file_->read(value_));
    source_.error = 0;
    write("3\n");
    EXPECT_EQ(0, file_->read(value_));
    EXPECT_EQ(3, value_);
}

TEST_F(OpenedFile, NeitherWaitsForAPipeNorWritesToIt)
{
    ASSERT_EQ(0, mkfifo("/tmp/number", 0600));
    EXPECT_EQ(EBADMSG, file_->read(value_));
    EXPECT_EQ(EBADMSG, file_->write(1));
}

}  // namespace
