#include "SystemInfoParser.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "MachineInfo.h"
#include "tests/support/PrivateTree.h"

namespace {

using SystemInfoParserTest = support::PrivateTreeTest;

bool parse(const std::string& text, MachineInfo& machineInfo)
{
    support::writeFile(support::kMachineInfoFile, text);
    return SystemInfoParser::parseMachineInfo(support::kMachineInfoFile, machineInfo);
}

// The device type, or -1 when the file is refused.
int typeOf(const std::string& text)
{
    MachineInfo machineInfo;
    return parse(text, machineInfo) ? machineInfo.getDeviceType() : -1;
}

TEST_F(SystemInfoParserTest, ReadsTheThreeFields)
{
    MachineInfo machineInfo;
    EXPECT_TRUE(parse("# the board\nDeviceType=8\nHardwareModel=SC-200 # pro\nHardwareCode=A=1\n", machineInfo));
    EXPECT_EQ(machineInfo.getDeviceType(), 8);
    EXPECT_EQ(machineInfo.getHardwareModel(), "SC-200 # pro");
    EXPECT_EQ(machineInfo.getHardwareCode(), "A=1");
}

TEST_F(SystemInfoParserTest, ToleratesBlanksLineEndsUnknownNamesAndAByteOrderMark)
{
    MachineInfo machineInfo;
    EXPECT_TRUE(parse("\xEF\xBB\xBF"
                      "DeviceType = 4\r\n\r\n  # DeviceType=9\r\n[board]\r\nSerial=7\r\nnonsense\r\n=\r\n"
                      "\t HardwareModel\t=\t two words \r\nHardwareCode=",
                      machineInfo));
    EXPECT_EQ(machineInfo.getDeviceType(), 4);
    EXPECT_EQ(machineInfo.getHardwareModel(), "two words");
    EXPECT_EQ(machineInfo.getHardwareCode(), "");
}

TEST_F(SystemInfoParserTest, ARepeatedNameReplacesUnlessItIsNoNumber)
{
    EXPECT_EQ(typeOf("DeviceType=1\nDeviceType=9\n"), 9);
    EXPECT_EQ(typeOf("DeviceType=1\nDeviceType=dome\n"), 1);
}

TEST_F(SystemInfoParserTest, AnyIntIsADeviceType)
{
    EXPECT_EQ(typeOf("DeviceType=0"), 0);
    EXPECT_EQ(typeOf("DeviceType=+5"), 5);
    EXPECT_EQ(typeOf("DeviceType=2147483647"), 2147483647);
    EXPECT_EQ(typeOf("DeviceType=-2147483648"), -2147483647 - 1);
}

TEST_F(SystemInfoParserTest, ATextWithoutAValidDeviceTypeIsRefused)
{
    for (const char* text :
         {"", "\n", "DeviceType", "DeviceType=", "DeviceType=x", "DeviceType=1x", "DeviceType=1 2", "DeviceType=0x1",
          "DeviceType=1.0", "DeviceType=--1", "DeviceType=1-2", "DeviceType=1+", "DeviceType=+",
          "DeviceType=2147483648", "DeviceType=99999999999999999999", "devicetype=1", "XDeviceType=1", "#DeviceType=1"})
    {
        EXPECT_EQ(typeOf(text), -1) << text;
    }
    EXPECT_EQ(typeOf(std::string("DeviceType=1\0x", 14)), -1);
}

TEST_F(SystemInfoParserTest, WhatWasFoundIsSetEvenWithoutDeviceType)
{
    MachineInfo machineInfo;
    machineInfo.setHardwareCode("kept");
    EXPECT_FALSE(parse("HardwareModel=M1\n", machineInfo));
    EXPECT_EQ(machineInfo.getDeviceType(), 0);
    EXPECT_EQ(machineInfo.getHardwareModel(), "M1");
    EXPECT_EQ(machineInfo.getHardwareCode(), "kept");
}

TEST_F(SystemInfoParserTest, AFileThatCannotBeReadIsRefused)
{
    MachineInfo machineInfo;
    EXPECT_FALSE(SystemInfoParser::parseMachineInfo("", machineInfo));
    EXPECT_FALSE(SystemInfoParser::parseMachineInfo(support::kMachineInfoFile, machineInfo));
    EXPECT_FALSE(SystemInfoParser::parseMachineInfo(support::kConfigFolder, machineInfo));
}

// ---- files without an end ----------------------------------------------------------------------------------

constexpr std::size_t kBytesMax = 64 * 1024;

TEST_F(SystemInfoParserTest, WholeLinesOfTheFirst64KibibytesCount)
{
    const std::string head = "DeviceType=4\n#";
    const std::string type = "\nDeviceType=8\n";
    EXPECT_EQ(typeOf(head + std::string(kBytesMax - head.size() - type.size(), 'x') + type), 8);
    EXPECT_EQ(typeOf(head + std::string(kBytesMax - head.size() - type.size() + 1, 'x') + type), 4);
    EXPECT_EQ(typeOf(head + std::string(kBytesMax, 'x') + type), 4);
    EXPECT_EQ(typeOf(std::string(50000000, 'x') + type), -1);
    // The last line of a shorter file may lack its end.
    EXPECT_EQ(typeOf(head + std::string(kBytesMax - head.size() - type.size(), 'x') + "\nDeviceType=8"), 8);
}

TEST_F(SystemInfoParserTest, AHoleOfGigabytesIsNotReadThrough)
{
    support::writeFile(support::kMachineInfoFile, "DeviceType=9\n");
    std::filesystem::resize_file(support::kMachineInfoFile, 4LL << 30);
    std::ofstream(support::kMachineInfoFile, std::ios::app) << "\nDeviceType=8\n";
    MachineInfo machineInfo;
    EXPECT_TRUE(SystemInfoParser::parseMachineInfo(support::kMachineInfoFile, machineInfo));
    EXPECT_EQ(machineInfo.getDeviceType(), 9);
}

TEST_F(SystemInfoParserTest, WhatIsNoFileIsRefused)
{
    MachineInfo machineInfo;
    support::writeFile(support::kMachineInfoFile, "");
    support::removeFile(support::kMachineInfoFile);
    ASSERT_EQ(symlink("/dev/zero", support::kMachineInfoFile), 0);
    EXPECT_FALSE(SystemInfoParser::parseMachineInfo(support::kMachineInfoFile, machineInfo));
    support::removeFile(support::kMachineInfoFile);
    ASSERT_EQ(mkfifo(support::kMachineInfoFile, 0600), 0);
    EXPECT_FALSE(SystemInfoParser::parseMachineInfo(support::kMachineInfoFile, machineInfo));
}

TEST_F(SystemInfoParserTest, SurvivesAnyBytes)
{
    std::mt19937 random(1);
    for (int round = 0; round < 100; ++round)
    {
        std::string bytes = "DeviceType=1\n";
        for (unsigned changes = random() % 8; changes > 0; --changes)
        {
            bytes.insert(random() % (bytes.size() + 1), 1, static_cast<char>(random()));
        }
        MachineInfo machineInfo;
        if (!parse(bytes, machineInfo))
        {
            EXPECT_EQ(machineInfo.getDeviceType(), 0);
        }
    }
}

TEST_F(SystemInfoParserTest, BlanksAloneAreTakenAway)
{
    MachineInfo machineInfo;
    parse("HardwareModel= \t\v\f~!M1!~ \r\n", machineInfo);
    EXPECT_EQ(machineInfo.getHardwareModel(), "~!M1!~");
}

}  // namespace
