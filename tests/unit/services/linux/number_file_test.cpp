#include "services/linux/NumberFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <fstream>

namespace {

using devices::parseNumber;

std::string fileOf(const std::string& text)
{
    const std::string path = "/tmp/number";
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

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

TEST(SysfsFile, ReadsAndWritesItsNumber)
{
    const auto file = devices::sysfsFile(fileOf("12.5\n"));
    double value = 0;
    EXPECT_EQ(0, file->read(value));
    EXPECT_EQ(12.5, value);
    EXPECT_EQ(0, file->write(-99999));
    EXPECT_EQ(0, file->read(value));
    EXPECT_EQ(-99999, value);
}

TEST(SysfsFile, SaysWhyThereIsNoNumber)
{
    double value = 7;
    EXPECT_EQ(ENOENT, devices::sysfsFile("/tmp/nowhere")->read(value));
    EXPECT_EQ(ENOENT, devices::sysfsFile("/tmp/nowhere")->write(1));
    EXPECT_EQ(EBADMSG, devices::sysfsFile(fileOf("dark\n"))->read(value));
    EXPECT_EQ(EBADMSG, devices::sysfsFile(fileOf(std::string(1000, '1')))->read(value)) << "longer than a number";
    EXPECT_EQ(7, value);
}

TEST(SysfsFile, DoesNotWaitForAPipe)
{
    ASSERT_EQ(0, mkfifo("/tmp/pipe", 0600));
    double value = 7;
    EXPECT_EQ(EBADMSG, devices::sysfsFile("/tmp/pipe")->read(value));
    EXPECT_EQ(ENXIO, devices::sysfsFile("/tmp/pipe")->write(1));
}

}  // namespace
