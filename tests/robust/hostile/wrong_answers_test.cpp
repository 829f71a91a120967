#include <algorithm>
#include <climits>
#include <cstring>

#include "ia_ioctrl.h"
#include "tests/robust/hostile/HostileFixture.h"
#include "tests/support/TestName.h"

using namespace support;

namespace {

constexpr char kReadFailed[] = "SNS_SUCCESS == doIaCmd(p_nKey, IA_CMD_OPT_GET, &p_nVal)";

class WrongAnswer : public HostileFixture
{
protected:
    void SetUp() override
    {
        HostileFixture::SetUp();
        bringUpHostile();
        c().setParamMode(0);
    }

    // A service that fills whatever a command's record holds, and refuses or not.
    void fillRecords(int status)
    {
        service_.intercept([status](u32 cmd, int opt, void* data) -> std::optional<int> {
            std::memset(data, kGarbage & 0xFF, dataSize(cmd, opt));
            return status;
        });
    }
};

// A caller's variable with neighbours that nobody may touch.
struct Guarded
{
    int before = 0x11111111;
    int value = 42;
    int after[80];

    Guarded() { std::fill(std::begin(after), std::end(after), 0x22222222); }

    bool neighboursUntouched() const
    {
        return before == 0x11111111 &&
               std::all_of(std::begin(after), std::end(after), [](int word) { return word == 0x22222222; });
    }
};

// ---- readings that fail --------------------------------------------------------------------------------------

struct Reading
{
    const char* name;
    std::function<bool(ISensorController&, Guarded&)> read;
    // contract: the caller's variable goes to the service, except for the day/night state.
    int left;
};

void PrintTo(const Reading& reading, std::ostream* stream)
{
    *stream << reading.name;
}

std::vector<Reading> readings()
{
    using C = ISensorController;
    constexpr int kSpoilt = static_cast<int>(kGarbage);
    return {
        {"zoom",
         [](C& c, Guarded& g) {
             int ratio = 7;
             const bool read = c.getZoomValue(g.value, ratio);
             EXPECT_EQ(7, ratio);
             return read;
         },
         kSpoilt},
        {"focus", [](C& c, Guarded& g) { return c.getFocusValue(g.value); }, kSpoilt},
        {"focusMode", [](C& c, Guarded& g) { return c.getFocusMode(g.value); }, kSpoilt},
        {"focusStatistic", [](C& c, Guarded& g) { return c.getAFStatistic(reinterpret_cast<unsigned&>(g.value)); },
         kSpoilt},
        {"wideDynamicRange", [](C& c, Guarded& g) { return c.getWDR(g.value); }, kSpoilt},
        {"dayNightState", [](C& c, Guarded& g) { return c.getDNMode(g.value); }, 42},
        {"executionStatus", [](C& c, Guarded& g) { return c.getCmdExecStatus(1616, g.value); }, kSpoilt},
        {"parameterOutsideTheScheme", [](C& c, Guarded& g) { return c.getParameter(KEY_GAMMA, g.value); }, kSpoilt},
        {"commandList", [](C& c, Guarded& g) { return c.getParameter(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, g.value); },
         kSpoilt},
        {"versionText", [](C& c, Guarded& g) { return c.getParameter(IA_CMD_CAMERA_VERSION, g.value); }, kSpoilt},
        {"sensorCheck", [](C& c, Guarded& g) { return c.getParameter(IA_CMD_SENSOR_CHECK, g.value); }, kSpoilt},
    };
}

class WrongReading : public WrongAnswer, public testing::WithParamInterface<Reading>
{
};

TEST_P(WrongReading, ThatFailsLeavesTheVariableAsTheContractSaysAndItsNeighboursAlone)
{
    fillRecords(kRefusal);
    Guarded guarded;
    outputOf([&] { EXPECT_FALSE(GetParam().read(c(), guarded)); });
    EXPECT_EQ(GetParam().left, guarded.value);
    EXPECT_TRUE(guarded.neighboursUntouched());
    expectWorks();
}

INSTANTIATE_TEST_SUITE_P(Getters, WrongReading, testing::ValuesIn(readings()), ByName());

// ---- commands whose data is longer than a parameter ----------------------------------------------------------

TEST_F(WrongAnswer, RecordReadAsAParameterGivesItsFirstWordAndTouchesNothingElse)
{
    fillRecords(0);
    for (const int key : {4112, 2496, 2816, 145, 149, 2528})
    {
        Guarded guarded;
        EXPECT_TRUE(c().getParameter(key, guarded.value)) << key;
        if (key != 145 && key != 149)  // of the scheme
        {
            EXPECT_EQ(static_cast<int>(kGarbage), guarded.value) << key;
        }
        EXPECT_TRUE(guarded.neighboursUntouched()) << key;
    }
    expectWorks();
}

TEST_F(WrongAnswer, RecordsReadByAKeyListGiveTheirFirstWords)
{
    fillRecords(0);
    std::string pairs;
    EXPECT_TRUE(c().getParameters("(34,4112,2496,2816)", pairs));
    const std::string garbage = std::to_string(static_cast<int>(kGarbage));
    EXPECT_EQ("(34,10)(4112," + garbage + ")(2496," + garbage + ")(2816," + garbage + ")", pairs);
    expectWorks();
}

TEST_F(WrongAnswer, ReadingHandsTheServiceTheCallersWordAndZeroes)
{
    int value = 42;
    EXPECT_TRUE(c().getParameter(IA_CMD_SENSOR_CHECK, value));
    EXPECT_EQ((std::vector<u32>{42, 0, 0, 0}), service_.calls().back().words);
}

TEST_F(WrongAnswer, RecordCommandSetAsAParameterIsGivenZeroesBehindTheValue)
{
    service_.clearCalls();
    outputOf([&] { EXPECT_EQ(0, c().setParameter(IA_CMD_SENSOR_CHECK, 7, true)); });
    outputOf([&] { EXPECT_EQ(0, c().setParameters("(2816,8)(34,9)", false)); });
    const std::vector<ServiceCall> calls = service_.calls();
    ASSERT_EQ(3U, calls.size());
    EXPECT_EQ((std::vector<u32>{7, 0, 0, 0}), calls[0].words);
    EXPECT_EQ((std::vector<u32>{8, 0, 0, 0}), calls[1].words);
    EXPECT_EQ((std::vector<u32>{9}), calls[2].words);
    expectWorks();
}

TEST_F(WrongAnswer, RecordCommandSetAsAParameterHasRoomForTheServicesAnswer)
{
    fillRecords(0);
    for (const int key : {4112, 2496, 2816})
    {
        KeyVal records[] = {{0x11111111, 0x22222222}, {static_cast<u32>(key), 7}, {0x33333333, 0x44444444}};
        outputOf([&] { EXPECT_EQ(0, c().setParameters(records + 1, 1, false)); });
        EXPECT_EQ((KeyVal{0x11111111, 0x22222222}), records[0]);
        EXPECT_EQ((KeyVal{static_cast<u32>(key), kGarbage}), records[1]);
        EXPECT_EQ((KeyVal{0x33333333, 0x44444444}), records[2]);
    }
    expectWorks();
}

TEST_F(WrongAnswer, RecordCommandsInASchemeFileHarmNothing)
{
    std::vector<KeyVal> records = scheme(0);
    records[10] = {4112, 1};
    records[11] = {2816, 2};
    records[12] = {2496, 3};
    writeFile(schemeFile(0), bytesOf(records));
    fillRecords(0);
    outputOf([&] { EXPECT_TRUE(c().resetToLastParameters()); });
    expectWorks();
}

// ---- answers to a set ----------------------------------------------------------------------------------------

TEST_F(WrongAnswer, ServiceThatChangesAPlainValueIsBelievedAndPartnersKeepTheUsersValue)
{
    fillRecords(0);
    outputOf([&] { EXPECT_EQ(0, c().setParameters("(2353,70)(2384,2)(2385,1)(145,31)(151,5)", true)); });
    EXPECT_EQ(kGarbage, valueOf(0, KEY_CONTRAST));
    EXPECT_EQ(2U, valueOf(0, KEY_MIRROR));
    EXPECT_EQ(1U, valueOf(0, KEY_BEAWAY));
    EXPECT_EQ(31U, valueOf(0, KEY_DTN_THR));
    EXPECT_EQ(5U, valueOf(0, KEY_NTD_H));
    expectWorks();
}

TEST_F(WrongAnswer, EveryStatusButZeroIsAFailureThatNamesTheKey)
{
    for (const int status : {1, -1, -2, -5, 34, INT_MAX, INT_MIN})
    {
        service_.intercept([status](u32, int, void*) -> std::optional<int> { return status; });
        EXPECT_EQ(-34, c().setParameters("(34,99)(2353,98)", true)) << status;
        EXPECT_EQ(10U, valueOf(0, KEY_BRIGHTNESS));
        EXPECT_EQ(52U, valueOf(0, KEY_CONTRAST));
    }
    expectWorks();
}

// ---- values out of every range -------------------------------------------------------------------------------

class WrongValue : public WrongAnswer, public testing::WithParamInterface<int>
{
};

TEST_P(WrongValue, OfACorrectionIsShownAndKeptAsItIs)
{
    service_.setDynamicCommands({IA_CMD_BRIGHTNESS});
    service_.answerValue(IA_CMD_BRIGHTNESS, IA_CMD_OPT_CORRECT_PARAM, static_cast<u32>(GetParam()));
    std::string pairs;
    EXPECT_TRUE(c().getAllParameters(pairs));
    EXPECT_NE(std::string::npos, pairs.find("(34," + std::to_string(GetParam()) + ")"));
    EXPECT_EQ(static_cast<u32>(GetParam()), valueOf(0, KEY_BRIGHTNESS));
    expectWorks();
}

TEST_P(WrongValue, OfACorrectedWindowIsRefusedByFlushAndLeavesTheFile)
{
    service_.setDynamicCommands({KEY_SCHEME_START_HOUR, KEY_SCHEME_END_HOUR});
    service_.answerValue(KEY_SCHEME_START_HOUR, IA_CMD_OPT_CORRECT_PARAM, static_cast<u32>(GetParam()));
    service_.answerValue(KEY_SCHEME_END_HOUR, IA_CMD_OPT_CORRECT_PARAM, static_cast<u32>(GetParam()));
    const auto files = savedFiles();
    std::string pairs;
    EXPECT_TRUE(c().getAllParameters(pairs));
    EXPECT_THAT(c().flush(), testing::AnyOf(505, 506, 507));
    EXPECT_EQ(files, savedFiles());
    c().setParamMode(1);
    EXPECT_TRUE(threadTurn() && threadTurn());
    service_.setDynamicCommands({});
    expectWorks();
}

TEST_P(WrongValue, AsADefaultBecomesTheFactoryValue)
{
    service_.setAllowedValues(IA_CMD_METER_AREA, GetParam(), {GetParam()});
    outputOf([&] { EXPECT_TRUE(c().resetParameters()); });
    EXPECT_EQ(static_cast<u32>(GetParam()), valueOf(3, KEY_METER_AREA));
    EXPECT_EQ(bytesOf(scheme(3)), readFile(schemeFile(2)));
    expectWorks();
}

std::string valueName(const testing::TestParamInfo<int>& value)
{
    const std::string digits = std::to_string(value.param);
    return value.param < 0 ? "minus" + digits.substr(1) : digits;
}

INSTANTIATE_TEST_SUITE_P(Values, WrongValue, testing::Values(INT_MIN, -1, 0, INT_MAX), valueName);

// ---- texts ---------------------------------------------------------------------------------------------------

// ---- answers that change from call to call -------------------------------------------------------------------

TEST_F(WrongAnswer, ThatChangesFromCallToCallGivesAWholeStyleEveryTime)
{
    std::atomic<u32> calls{0};
    service_.intercept([&](u32 cmd, int opt, void* data) -> std::optional<int> {
        if (opt == IA_CMD_OPT_SET)
        {
            return std::nullopt;
        }
        const u32 seed = ++calls * 2654435761u;
        std::vector<u32> words(dataSize(cmd, opt) / sizeof(u32));
        for (size_t i = 0; i < words.size(); ++i)
        {
            words[i] = (seed >> (i % 13)) % 97 - 7;
        }
        std::memcpy(data, words.data(), words.size() * sizeof(u32));
        return static_cast<int>(seed >> 30);
    });
    outputOf([&] {
        for (int round = 0; round < 100; ++round)
        {
            const std::string style = c().getUIStyleFile();
            EXPECT_EQ(0U, style.find("<?xml"));
            EXPECT_NE(std::string::npos, style.rfind("</Style>"));
            EXPECT_NE(std::string::npos, style.find("<Combo id=\"50\""));
            std::string pairs;
            EXPECT_TRUE(c().getAllParameters(pairs));
            EXPECT_EQ(30, std::count(pairs.begin(), pairs.end(), '('));
            c().SensorCheck(pairs = "(1,2,3)");
        }
    });
    EXPECT_GT(calls, 300U);
    behave();
    // The window may have been corrected to anything.
    EXPECT_EQ(0, c().setParameters("(8000,1)(8001,8)(8002,0)(8003,18)(8004,0)", true));
    expectWorks();
}

}  // namespace
