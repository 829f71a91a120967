#include "tests/support/ControllerFixture.h"

#include "tests/support/TestName.h"

using namespace support;

namespace {

class Flush : public UpFixture
{
protected:
    static std::vector<std::string> schemeFiles()
    {
        return {readFile(schemeFile(0)), readFile(schemeFile(1)), readFile(schemeFile(2))};
    }
};

TEST_F(Flush, WritesTheCurrentSchemesRecordsAndNothingElse)
{
    const std::string other = readFile(schemeFile(1));
    setValue(0, KEY_BRIGHTNESS, 60);
    setValue(1, KEY_BRIGHTNESS, 70);
    EXPECT_EQ(0, c().flush());
    EXPECT_EQ(scheme(0), recordsOf(readFile(schemeFile(0))));
    EXPECT_EQ(scheme(0).size() * 8, readFile(schemeFile(0)).size());
    EXPECT_EQ(other, readFile(schemeFile(1)));
}

TEST_F(Flush, FileHoldsKeyAndValueInLittleEndianOrder)
{
    setValue(0, KEY_BRIGHTNESS, 0x01020304);
    c().flush();
    EXPECT_EQ(std::string("\x40\x1F\0\0\x01\0\0\0", 8), readFile(schemeFile(0)).substr(0, 8));
    EXPECT_EQ(std::string("\x22\0\0\0\x04\x03\x02\x01", 8), readFile(schemeFile(0)).substr(40, 8));
}

TEST_F(Flush, ChangeThatIsNotFlushedIsLostAtTheNextStart)
{
    c().setParameter(KEY_BRIGHTNESS, 60, true);
    bringUp();
    EXPECT_EQ(50U, valueOf(0, KEY_BRIGHTNESS));
}

TEST_F(Flush, FlushedChangeIsThereAtTheNextStart)
{
    c().setParameter(KEY_BRIGHTNESS, 60, true);
    EXPECT_EQ(0, c().flush());
    bringUp();
    EXPECT_EQ(60U, valueOf(0, KEY_BRIGHTNESS));
}

TEST_F(Flush, WithoutASchemeSucceedsAndWritesNothing)
{
    for (const int scheme : {-1, 3, 4, -2})
    {
        removeFile(schemeFile(0));
        makeCurrent(scheme);
        EXPECT_EQ(0, c().flush()) << scheme;
        EXPECT_EQ((std::vector<std::string>{"sensor1.cfg", "sensor2.cfg", "snsversion.cfg"}), filesIn(kConfigFolder));
    }
}

TEST_F(Flush, BeforeInitSucceeds)
{
    construct();
    EXPECT_EQ(0, c().flush());
}

TEST_F(Flush, SecondSchemeGoesToItsOwnFile)
{
    makeCurrent(2);
    setValue(2, KEY_BRIGHTNESS, 72);
    EXPECT_EQ(0, c().flush());
    EXPECT_EQ(scheme(2), recordsOf(readFile(schemeFile(2))));
}

TEST_F(Flush, RefusedWindowLeavesTheFileAndTheValues)
{
    const std::string before = readFile(schemeFile(0));
    setWindow(0, true, 22, 0, 6, 0);
    setValue(0, KEY_BRIGHTNESS, 60);
    EXPECT_EQ(507, c().flush());
    EXPECT_EQ(before, readFile(schemeFile(0)));
    EXPECT_EQ(60U, valueOf(0, KEY_BRIGHTNESS));
}

TEST_F(Flush, UnwritableFolderCountsAsSuccessAndIsReported)
{
    bringUp();
    removeFile(schemeFile(0));
    writeFile(schemeFile(0) + "/inside", "");
    const std::string output = outputOf([&] { EXPECT_EQ(0, c().flush()); });
    EXPECT_TRUE(says(output, asserted("SensorFile", "keyValToFile",
                                      "file.open(file_name, KSFile::modeWrite | KSFile::modeTruncate)",
                                      "file_name(/mnt/mtd/code/config_file/sensor0.cfg)\n", "64")));
}

TEST_F(Flush, ReleasesTheMutexOnEveryPath)
{
    c().flush();
    setWindow(0, true, 22, 0, 6, 0);
    c().flush();
    makeCurrent(-1);
    c().flush();
    int scheme = 0;
    EXPECT_TRUE(c().getParamScheme(scheme));
}

struct Window
{
    const char* name;
    int startHour;
    int startMinute;
    int endHour;
    int endMinute;
    int result;
    const char* text;
};

void PrintTo(const Window& window, std::ostream* stream)
{
    *stream << window.name;
}

class FlushWindow : public Flush, public testing::WithParamInterface<Window>
{
};

TEST_P(FlushWindow, IsChecked)
{
    const Window& window = GetParam();
    setWindow(0, true, window.startHour, window.startMinute, window.endHour, window.endMinute);
    EXPECT_EQ(window.result, c().paramCheck());
    EXPECT_EQ(window.result, c().flush());
    setDebug(5);
    EXPECT_EQ("", outputOf([&] { c().paramCheck(); }));
    setDebug(6);
    const std::string output = outputOf([&] { c().paramCheck(); });
    EXPECT_TRUE(saysOnly(output, window.text == nullptr ? std::string()
                                                        : traced("dbg", kController, "paramCheck", window.text)));
}

INSTANTIATE_TEST_SUITE_P(
    Windows, FlushWindow,
    testing::Values(
        Window{"Ordinary", 8, 0, 18, 0, 0, nullptr},
        Window{"Empty", 8, 0, 8, 0, 507, "failed!!!! nParamSchemeStartTime(800) nParamSchemeEndTime(800)\n"},
        Window{"ToMidnight", 23, 0, 24, 0, 0, nullptr},
        Window{"OverMidnight", 22, 0, 6, 0, 507, "failed!!!! nParamSchemeStartTime(2200) nParamSchemeEndTime(600)\n"},
        Window{"WholeDay", 0, 0, 24, 0, 0, nullptr}, Window{"OneMinute", 0, 0, 0, 1, 0, nullptr},
        Window{"StartAboveMidnight", 24, 1, 24, 0, 505, "failed!!!! nParamSchemeStartTime(2401)\n"},
        Window{"StartHour25", 25, 0, 26, 0, 505, "failed!!!! nParamSchemeStartTime(2500)\n"},
        Window{"StartAtMidnight", 24, 0, 24, 0, 507,
               "failed!!!! nParamSchemeStartTime(2400) nParamSchemeEndTime(2400)\n"},
        Window{"EndAboveMidnight", 8, 0, 24, 1, 506, "failed!!!! nParamSchemeEndTime(2401)\n"},
        Window{"EndAboveMidnightAndBeforeStart", 24, 0, 25, 0, 506, "failed!!!! nParamSchemeEndTime(2500)\n"},
        Window{"MinutesAreNotRangeChecked", 10, 99, 11, 0, 0, nullptr},
        Window{"Minutes99AgainstTheNextHour", 10, 99, 10, 59, 507,
               "failed!!!! nParamSchemeStartTime(1099) nParamSchemeEndTime(1059)\n"},
        Window{"NegativeStartIsHuge", -1, 0, 18, 0, 505, "failed!!!! nParamSchemeStartTime(-100)\n"},
        Window{"NegativeEndIsHuge", 8, 0, -1, 0, 506, "failed!!!! nParamSchemeEndTime(-100)\n"}),
    ByName());

TEST_F(Flush, DisabledSchemesWindowIsCheckedToo)
{
    setWindow(0, false, 22, 0, 6, 0);
    EXPECT_EQ(507, c().flush());
}

TEST_F(Flush, WindowIsTakenByPositionAndNotByKey)
{
    KeyVal* records = ControllerProbe::userKeyVal(c())[0];
    records[1] = {34, 9};
    records[3] = {34, 8};
    EXPECT_EQ(507, c().paramCheck());
}

TEST_F(Flush, SchemeOfFewerThanFiveRecordsHasAnEmptyWindowAndIsRefused)
{
    for (const size_t count : {1, 2, 3, 4})
    {
        wipeTree();
        files_.style = "<Style><Tab key=\"t\">";
        for (size_t i = 0; i < count; ++i)
        {
            files_.style += "<S id=\"" + std::to_string(8000 + i) + "\" value=\"" + std::to_string(i + 1) + "\"/>";
        }
        files_.style += "</Tab></Style>";
        bringUp();
        ASSERT_EQ(count, ControllerProbe::keyValSum(c()));
        // The last scheme has the end of the block behind it.
        for (const int index : {0, 2})
        {
            makeCurrent(index);
            const std::vector<std::string> before = schemeFiles();
            setValue(index, 8000, 77);
            EXPECT_EQ("", outputOf([&] { EXPECT_EQ(507, c().flush()); }));
            EXPECT_EQ(before, schemeFiles());
        }
        bringDown();
    }
}

}  // namespace
