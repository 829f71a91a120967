#include "tests/unit/controller/ShellCommands.h"
#include "tests/unit/controller/StartUpFixture.h"

using namespace support;

namespace {

using StartUpVersion = StartUpFixture;

TEST_F(StartUpVersion, OtherVersionOrNoneRemovesTheSchemeFilesAndMakesThemAgain)
{
    for (const std::string& version : {std::string("\x07\0\0\0", 4), std::string("\x09\0\0\0", 4),
                                       std::string("\x08\0\0", 3), std::string("\x08\0\0\x01", 4), std::string()})
    {
        initOutput();
        c().setParameter(KEY_BRIGHTNESS, 60, true);
        c().flush();
        bringDown();
        writeFile(kVersionFile, version);
        initOutput();
        EXPECT_EQ(50U, valueOf(0, KEY_BRIGHTNESS));
        EXPECT_EQ(50U, storedValue(0, KEY_BRIGHTNESS));
        EXPECT_EQ(std::string("\x08\0\0\0", 4), readFile(kVersionFile));
    }
    removeFile(kVersionFile);
    initOutput();
    EXPECT_EQ(std::string("\x08\0\0\0", 4), readFile(kVersionFile));
}

TEST_F(StartUpVersion, OtherVersionRemovesEverySensorFileBelowEveryConfigFolderAndNothingElse)
{
    writeFile("/mnt/mtd/code/config_file/sensor9.cfg", "x");
    writeFile("/mnt/mtd/code/config_file/other.cfg", "x");
    writeFile("/mnt/mtd/code/config_old/sensor.txt", "x");
    writeFile("/mnt/mtd/code/config/sensors/deep.txt", "x");
    writeFile("/mnt/mtd/code/config/mysensor", "x");
    writeFile("/mnt/mtd/code/myconfig/sensor0.cfg", "x");
    initOutput();
    EXPECT_FALSE(fileExists("/mnt/mtd/code/config_file/sensor9.cfg"));
    EXPECT_TRUE(fileExists("/mnt/mtd/code/config_file/other.cfg"));
    EXPECT_FALSE(fileExists("/mnt/mtd/code/config_old/sensor.txt"));
    EXPECT_FALSE(fileExists("/mnt/mtd/code/config/sensors"));
    EXPECT_TRUE(fileExists("/mnt/mtd/code/config/mysensor"));
    EXPECT_TRUE(fileExists("/mnt/mtd/code/myconfig/sensor0.cfg"));
}

TEST_F(StartUpVersion, RemovalIsOneShellCommandOfAtMostThirtySeconds)
{
    forgetShellCommands();
    initOutput();
    ASSERT_EQ(1U, shellCommands().size());
    EXPECT_EQ("rm -rf /mnt/mtd/code/config*/sensor*", shellCommands()[0].text);
    EXPECT_EQ(30, shellCommands()[0].limitSeconds);
}

TEST_F(StartUpVersion, VersionEightRemovesNothing)
{
    writeFile(kVersionFile, std::string("\x08\0\0\0", 4));
    writeFile("/mnt/mtd/code/config_old/sensor.txt", "x");
    forgetShellCommands();
    initOutput();
    EXPECT_TRUE(fileExists("/mnt/mtd/code/config_old/sensor.txt"));
    EXPECT_TRUE(shellCommands().empty());
}

const char kVersionExpression[] = "check the sensor version,   local(7) --> libsensordll.so(8), source the cmd: rm -rf "
                                  "/mnt/mtd/code/config*/sensor*\n";

TEST_F(StartUpVersion, OtherVersionWarnsAboveLevelThree)
{
    writeFile(kVersionFile, std::string("\x07\0\0\0", 4));
    setDebug(3);
    EXPECT_EQ("", initOutput());
    writeFile(kVersionFile, std::string("\x07\0\0\0", 4));
    setDebug(4);
    EXPECT_TRUE(saysOnly(initOutput(), traced("warn", kController, "init", kVersionExpression)));
    const auto records = errorLog();
    ASSERT_EQ(2U, records.size());
    EXPECT_EQ("[sensor warn]", records[0].prefix);
    EXPECT_EQ("[sensor warn]", records[1].prefix);
    EXPECT_EQ(std::string(kVersionExpression, sizeof kVersionExpression - 2), records[1].text);
}

TEST_F(StartUpVersion, MissingVersionWarnsWithZero)
{
    setDebug(4);
    EXPECT_EQ(1, timesSaid(initOutput(), "check the sensor version,   local(0) --> libsensordll.so(8), source the cmd: "
                                         "rm -rf /mnt/mtd/code/config*/sensor*\n"));
}

TEST_F(StartUpVersion, KnownVersionDoesNotWarn)
{
    writeFile(kVersionFile, std::string("\x08\0\0\0", 4));
    setDebug(4);
    EXPECT_EQ("", initOutput());
}

TEST_F(StartUpVersion, VersionThatCannotBeStoredIsReportedAndInitGoesOn)
{
    writeFile(std::string(kVersionFile) + "/inside", "");
    const std::string output = initOutput();
    EXPECT_TRUE(
        says(output, asserted(kController, "init", "SNS_SUCCESS == setVersion(m_nVersion)", "m_nVersion(8)\n")));
    EXPECT_EQ(0, current());
    EXPECT_EQ(kInitialisedBit, flags());
}

}  // namespace
