#include "tests/support/ControllerFixture.h"

#include <csignal>

using namespace support;

namespace {

std::string setLine(const std::string& name, int key, int value, const std::string& handler, int cmd)
{
    return plain("====================== set " + name + " (" + std::to_string(key) + "," + std::to_string(value) +
                 ") func:" + handler + " ia_cmd:" + std::to_string(cmd) + " =====================\n");
}

std::string iaTraces(int cmd, int dir, int before, int after)
{
    const std::string text =
        "====================== cmd:" + std::to_string(cmd) + " dir:" + std::to_string(dir) + " val:";
    return traced("dbg", kController, "doIaCmd", text + std::to_string(before) + " =====================begin\n") +
           traced("dbg", kController, "doIaCmd", text + std::to_string(after) + " =====================end\n");
}

class ParameterApplication : public UpFixture
{
protected:
    int apply(std::vector<KeyVal> records, bool cache)
    {
        return c().setParameters(records.data(), static_cast<u32>(records.size()), cache);
    }
};

TEST_F(ParameterApplication, EmptyListSucceedsWithoutLookingAtIt)
{
    EXPECT_EQ(0, c().setParameters(nullptr, 0, true));
    EXPECT_EQ(0, c().setParameters(nullptr, 0, false));
    EXPECT_TRUE(service_.calls().empty());
}

TEST_F(ParameterApplication, ChangedValueIsSentAndRemembered)
{
    EXPECT_EQ(0, apply({{KEY_BRIGHTNESS, 60}}, true));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 60}}), service_.all());
    EXPECT_EQ(60U, valueOf(0, KEY_BRIGHTNESS));
    EXPECT_EQ(50U, valueOf(1, KEY_BRIGHTNESS));
}

TEST_F(ParameterApplication, ValueThatTheSchemeHoldsIsNotSentAgain)
{
    EXPECT_EQ(0, apply({{KEY_BRIGHTNESS, 50}}, true));
    EXPECT_TRUE(service_.calls().empty());
}

TEST_F(ParameterApplication, WithoutCacheTheSameValueIsSentAgainAndNothingIsRemembered)
{
    EXPECT_EQ(0, apply({{KEY_BRIGHTNESS, 50}, {KEY_SATURATION, 9}}, false));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 50}, {IA_CMD_SATURATION, IA_CMD_OPT_SET, 9}}),
              service_.all());
    EXPECT_EQ(51U, valueOf(0, KEY_SATURATION));
}

TEST_F(ParameterApplication, ScheduleKeysAreStoredAndNeverSentWithCache)
{
    EXPECT_EQ(0, apply({{KEY_SCHEME_ENABLE, 0},
                        {KEY_SCHEME_START_HOUR, 1},
                        {KEY_SCHEME_START_MIN, 2},
                        {KEY_SCHEME_END_HOUR, 3},
                        {KEY_SCHEME_END_MIN, 4}},
                       true));
    EXPECT_TRUE(service_.calls().empty());
    for (u32 i = 0; i < 5; ++i)
    {
        EXPECT_EQ(i, valueOf(0, 8000 + i));
    }
}

TEST_F(ParameterApplication, ScheduleKeysAreSkippedWithoutCache)
{
    EXPECT_EQ(0, apply({{KEY_SCHEME_ENABLE, 9},
                        {KEY_SCHEME_START_HOUR, 9},
                        {KEY_SCHEME_START_MIN, 9},
                        {KEY_SCHEME_END_HOUR, 9},
                        {KEY_SCHEME_END_MIN, 9}},
                       false));
    EXPECT_TRUE(service_.calls().empty());
    EXPECT_EQ(1U, valueOf(0, KEY_SCHEME_ENABLE));
    EXPECT_EQ(8U, valueOf(0, KEY_SCHEME_START_HOUR));
}

TEST_F(ParameterApplication, NeighboursOfTheScheduleKeysAreOrdinaryUnknownKeys)
{
    outputOf([&] { EXPECT_EQ(0, apply({{7999, 1}, {8005, 2}}, false)); });
    EXPECT_EQ((std::vector<Sent>{{7999, IA_CMD_OPT_SET, 1}, {8005, IA_CMD_OPT_SET, 2}}), service_.all());
}

TEST_F(ParameterApplication, RecordsAreAppliedInOrder)
{
    EXPECT_EQ(0, apply({{KEY_CONTRAST, 1}, {KEY_BRIGHTNESS, 2}, {KEY_SATURATION, 3}, {KEY_BRIGHTNESS, 4}}, true));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_CONTRAST, IA_CMD_OPT_SET, 1},
                                 {IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 2},
                                 {IA_CMD_SATURATION, IA_CMD_OPT_SET, 3},
                                 {IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 4}}),
              service_.all());
    EXPECT_EQ(4U, valueOf(0, KEY_BRIGHTNESS));
}

TEST_F(ParameterApplication, CommandComesFromTheMapAndNotFromTheKey)
{
    EXPECT_EQ(0, apply({{KEY_IRIS_SIZE, 5}, {KEY_IRIS_UP, 1}, {KEY_SENSOR_FPS, 30}}, false));
    EXPECT_EQ((std::vector<Sent>{{0x55, 0, 5}, {0x53, 0, 1}, {0x9A0, 0, 30}}), service_.all());
}

TEST_F(ParameterApplication, FailureStopsTheListAndGivesMinusItsKey)
{
    service_.answerStatus(IA_CMD_CONTRAST, IA_CMD_OPT_SET, -7);
    EXPECT_EQ(
        -2353,
        apply({{KEY_BRIGHTNESS, 1}, {KEY_SATURATION, 2}, {KEY_CONTRAST, 3}, {KEY_SHARPNESS, 4}, {KEY_EXPOSE_MODE, 5}},
              true));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 1},
                                 {IA_CMD_SATURATION, IA_CMD_OPT_SET, 2},
                                 {IA_CMD_CONTRAST, IA_CMD_OPT_SET, 3}}),
              service_.all());
    EXPECT_EQ(1U, valueOf(0, KEY_BRIGHTNESS));
    EXPECT_EQ(2U, valueOf(0, KEY_SATURATION));
    EXPECT_EQ(52U, valueOf(0, KEY_CONTRAST));
    EXPECT_EQ(53U, valueOf(0, KEY_SHARPNESS));
    EXPECT_EQ(0U, valueOf(0, KEY_EXPOSE_MODE));
}

TEST_F(ParameterApplication, PositiveFailureCodesCountToo)
{
    service_.answerStatus(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 3);
    EXPECT_EQ(-34, apply({{KEY_BRIGHTNESS, 1}}, false));
}

TEST_F(ParameterApplication, FailureGivesMinusTheKeyWhereTheCommandDiffers)
{
    service_.answerStatus(0x55, 0, -1);
    EXPECT_EQ(-83, apply({{KEY_IRIS_SIZE, 1}}, false));
}

TEST_F(ParameterApplication, UnknownKeyIsReportedAndSentWithItsNumberAsTheCommand)
{
    std::string output = outputOf([&] { EXPECT_EQ(0, apply({{KEY_BRIGHTNESS, 60}, {4711, 5}}, true)); });
    EXPECT_TRUE(saysOnly(output, asserted(kController, "setParameters",
                                          "-1 != findFromKeyCmdMap(m_pKeyCmdMap, p_pKeyval[i].key, stKeyCmdTmp)",
                                          "p_pKeyval[1].key(4711)")));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 60}, {4711, IA_CMD_OPT_SET, 5}}), service_.all());
}

TEST_F(ParameterApplication, UnknownKeyIsSentInBulkToo)
{
    setFlags(kInitialisedBit | kSwitchingBit);
    outputOf([&] { EXPECT_EQ(0, apply({{4711, 5}}, false)); });
    setFlags(kInitialisedBit);
    EXPECT_EQ((std::vector<Sent>{{4711, IA_CMD_OPT_SET, 5}}), service_.all());
}

TEST_F(ParameterApplication, UnknownKeyPrintsItsSubstituteRow)
{
    setDebug(6);
    const std::string output = outputOf([&] { apply({{4711, 5}}, false); });
    EXPECT_TRUE(saysOnly(output, plain("cand not find key-cmd while key=4711\n") +
                                     asserted(kController, "setParameters",
                                              "-1 != findFromKeyCmdMap(m_pKeyCmdMap, p_pKeyval[i].key, stKeyCmdTmp)",
                                              "p_pKeyval[0].key(4711)") +
                                     plain("not find (4711) \n") +
                                     setLine("unknow key", 4711, 5, "ISensorController::doIaCmd", 4711) +
                                     iaTraces(4711, 0, 5, 5)));
}

TEST_F(ParameterApplication, UnknownKeyThatFailsGivesMinusItsNumber)
{
    service_.answerStatus(4711, IA_CMD_OPT_SET, -2);
    outputOf([&] { EXPECT_EQ(-4711, apply({{4711, 5}}, true)); });
}

TEST_F(ParameterApplication, RefusedKeyWhoseNegativeDoesNotExistGivesItself)
{
    service_.answerStatus(0x80000000U, 0, -2);
    const std::string output = outputOf([&] { EXPECT_EQ(INT32_MIN, c().setParameters("(-2147483648,1)", true)); });
    EXPECT_TRUE(says(output, "p_pKeyval[0].key(2147483648)"));
    EXPECT_EQ((std::vector<Sent>{{0x80000000U, 0, 1}}), service_.all());
}

TEST_F(ParameterApplication, RefusedKeyZeroEndsTheListAndLooksLikeSuccess)
{
    service_.answerStatus(0, IA_CMD_OPT_SET, -2);
    outputOf([&] { EXPECT_EQ(0, apply({{KEY_CONTRAST, 9}, {0, 5}, {KEY_BRIGHTNESS, 60}}, true)); });
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_CONTRAST, IA_CMD_OPT_SET, 9}, {0, IA_CMD_OPT_SET, 5}}), service_.all());
    EXPECT_EQ(50U, valueOf(0, KEY_BRIGHTNESS));
}

TEST_F(ParameterApplication, NewestRecordIsPrintedFromLevelSixOn)
{
    setDebug(5);
    EXPECT_EQ("", outputOf([&] { apply({{KEY_BRIGHTNESS, 50}}, true); }));
    setDebug(6);
    EXPECT_EQ(plain("ignore, (34,50) is newest, m_nFlags.switching_flag(0), m_nLastScheme(-1), m_nCurScheme(0)!!!\n"),
              outputOf([&] {
                  apply({{KEY_BRIGHTNESS, 50}}, true);
              }));
}

TEST_F(ParameterApplication, NewestRecordDuringASwitchNamesTheFlag)
{
    ControllerProbe::lastScheme(c()) = 1;
    setFlags(kInitialisedBit | kSwitchingBit);
    setDebug(6);
    EXPECT_EQ(plain("ignore, (34,50) is newest, m_nFlags.switching_flag(1), m_nLastScheme(1), m_nCurScheme(0)!!!\n"),
              outputOf([&] {
                  apply({{KEY_BRIGHTNESS, 50}}, true);
              }));
    setFlags(kInitialisedBit);
}

TEST_F(ParameterApplication, NewestRecordDuringAReloadOrResetNamesNoSwitch)
{
    setFlags(kInitialisedBit | kReloadBit | kResetBit);
    setDebug(6);
    EXPECT_EQ(plain("ignore, (34,50) is newest, m_nFlags.switching_flag(0), m_nLastScheme(-1), m_nCurScheme(0)!!!\n"),
              outputOf([&] {
                  apply({{KEY_BRIGHTNESS, 50}}, true);
              }));
    setFlags(kInitialisedBit);
}

TEST_F(ParameterApplication, EverySetIsPrintedAboveLevelFive)
{
    setDebug(5);
    EXPECT_EQ("", outputOf([&] { apply({{KEY_BRIGHTNESS, 60}}, false); }));
    setDebug(6);
    EXPECT_TRUE(
        saysOnly(outputOf([&] {
                     apply({{KEY_BRIGHTNESS, 60}}, false);
                 }),
                 setLine("KEY_BRIGHTNESS", 34, 60, "&ISensorController::doIaCmd", 34) + iaTraces(34, 0, 60, 60)));
    EXPECT_TRUE(
        saysOnly(outputOf([&] {
                     apply({{KEY_IRIS_SIZE, 0xFFFFFFFF}}, false);
                 }),
                 setLine("KEY_IRIS_SIZE", 83, -1, "&ISensorController::doIaCmd", 85) + iaTraces(85, 0, -1, -1)));
}

TEST_F(ParameterApplication, FailuresMinusOneFourAndFiveArePrintedAsErrors)
{
    setDebug(6);
    for (const int status : {-1, -4, -5})
    {
        service_.answerStatus(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, status);
        EXPECT_TRUE(saysOnly(outputOf([&] {
                                 EXPECT_EQ(-34, apply({{KEY_BRIGHTNESS, 60}}, false));
                             }),
                             setLine("KEY_BRIGHTNESS", 34, 60, "&ISensorController::doIaCmd", 34) +
                                 iaTraces(34, 0, 60, 60) +
                                 traced("err", kController, "setParameters",
                                        "set KEY_BRIGHTNESS (34,60) func:&ISensorController::doIaCmd ia_cmd:34 "
                                        "~~~failed ia_ret=" +
                                            std::to_string(status) + "\n")));
    }
}

TEST_F(ParameterApplication, OtherFailuresAreNotPrinted)
{
    setDebug(6);
    for (const int status : {-2, -3, -6, 1})
    {
        service_.answerStatus(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, status);
        EXPECT_TRUE(
            saysOnly(outputOf([&] {
                         EXPECT_EQ(-34, apply({{KEY_BRIGHTNESS, 60}}, false));
                     }),
                     setLine("KEY_BRIGHTNESS", 34, 60, "&ISensorController::doIaCmd", 34) + iaTraces(34, 0, 60, 60)));
    }
}

TEST_F(ParameterApplication, FailuresArePrintedOnlyAboveLevelFive)
{
    setDebug(5);
    service_.answerStatus(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, -1);
    EXPECT_EQ("", outputOf([&] { apply({{KEY_BRIGHTNESS, 60}}, false); }));
}

TEST_F(ParameterApplication, ValueThatTheSchemeCannotHoldIsAppliedAndReportedAboveLevelFive)
{
    setDebug(5);
    EXPECT_EQ("", outputOf([&] { EXPECT_EQ(0, apply({{KEY_GAMMA, 4}}, true)); }));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_GAMMA, IA_CMD_OPT_SET, 4}}), service_.all());
    setDebug(6);
    EXPECT_TRUE(saysOnly(outputOf([&] {
                             EXPECT_EQ(0, apply({{KEY_GAMMA, 4}}, true));
                         }),
                         setLine("KEY_GAMMA", 2528, 4, "&ISensorController::doIaCmd", 2528) + iaTraces(2528, 0, 4, 4) +
                             traced("dbg", kController, "setParameters",
                                    "SET_KEY_VAL FAILED, m_nCurScheme(0), p_pKeyval[0].key(2528), "
                                    "p_pKeyval[0].value(4),  maybe jixin\n")));
}

TEST_F(ParameterApplication, DefaultSchemeRefusesTheValueInSilence)
{
    makeCurrent(3);
    setDebug(6);
    EXPECT_TRUE(
        saysOnly(outputOf([&] {
                     EXPECT_EQ(0, apply({{KEY_BRIGHTNESS, 60}}, true));
                 }),
                 setLine("KEY_BRIGHTNESS", 34, 60, "&ISensorController::doIaCmd", 34) + iaTraces(34, 0, 60, 60)));
    EXPECT_EQ(50U, valueOf(3, KEY_BRIGHTNESS));
}

TEST_F(ParameterApplication, ScheduleKeyThatCannotBeStoredIsReportedLikeAnyOther)
{
    ControllerProbe::userKeyVal(c())[0][4].key = 4712;
    setDebug(6);
    EXPECT_TRUE(saysOnly(outputOf([&] {
                             EXPECT_EQ(0, apply({{KEY_SCHEME_END_MIN, 4}}, true));
                         }),
                         traced("dbg", kController, "setParameters",
                                "SET_KEY_VAL FAILED, m_nCurScheme(0), p_pKeyval[0].key(8004), "
                                "p_pKeyval[0].value(4),  maybe jixin\n")));
}

TEST_F(ParameterApplication, WithoutASchemeEverythingIsSentAndNothingStored)
{
    makeCurrent(-1);
    EXPECT_EQ(0, apply({{KEY_BRIGHTNESS, 50}, {KEY_SCHEME_START_HOUR, 3}}, true));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 50}}), service_.all());
    EXPECT_EQ(8U, valueOf(0, KEY_SCHEME_START_HOUR));
}

TEST_F(ParameterApplication, ValueThatTheHandlerChangedIsWhatTheArrayAndTheSchemeHold)
{
    setshowWDRFalg(false);
    setValue(0, KEY_WDR_MODE, 1);
    KeyVal records[] = {{KEY_WDR_MODE, 2}, {KEY_BRIGHTNESS, 60}};
    EXPECT_EQ(0, c().setParameters(records, 2, true));
    EXPECT_EQ(0U, records[0].value);
    EXPECT_EQ(60U, records[1].value);
    EXPECT_EQ(0U, valueOf(0, KEY_WDR_MODE));
}

TEST_F(ParameterApplication, ValueThatTheArrayTookMeanwhileIsTheOneThatIsRemembered)
{
    KeyVal record = {KEY_BRIGHTNESS, 60};
    service_.answer(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, [&](u32, int, void* data) {
        *static_cast<u32*>(data) = 7;
        record.value = 61;
        return 0;
    });
    EXPECT_EQ(0, c().setParameters(&record, 1, true));
    EXPECT_EQ(61U, record.value);
    EXPECT_EQ(61U, valueOf(0, KEY_BRIGHTNESS));
}

TEST_F(ParameterApplication, SingleParameterGoesTheSameWay)
{
    EXPECT_EQ(0, c().setParameter(KEY_BRIGHTNESS, 60, true));
    EXPECT_EQ(60U, valueOf(0, KEY_BRIGHTNESS));
    EXPECT_EQ(0, c().setParameter(KEY_BRIGHTNESS, 60, true));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 60}}), service_.all());
    EXPECT_EQ(0, c().setParameter(KEY_BRIGHTNESS, 61, false));
    EXPECT_EQ(60U, valueOf(0, KEY_BRIGHTNESS));
    service_.answerStatus(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, -1);
    EXPECT_EQ(-34, c().setParameter(KEY_BRIGHTNESS, 62, true));
    EXPECT_EQ(60U, valueOf(0, KEY_BRIGHTNESS));
}

TEST_F(ParameterApplication, SingleNegativeValueIsKeptInTwosComplement)
{
    EXPECT_EQ(0, c().setParameter(KEY_BRIGHTNESS, -5, true));
    EXPECT_EQ(0xFFFFFFFBU, valueOf(0, KEY_BRIGHTNESS));
}

TEST_F(ParameterApplication, SingleParameterIsTracedWithTwos)
{
    setDebug(5);
    EXPECT_EQ("", outputOf([&] { c().setParameter(KEY_BRIGHTNESS, 60, false); }));
    setDebug(6);
    EXPECT_TRUE(saysOnly(outputOf([&] { c().setParameter(KEY_BRIGHTNESS, 61, false); }),
                         traced("dbg", kController, "setParameter", "p_Parameters22222222222(34, 61)\n") +
                             setLine("KEY_BRIGHTNESS", 34, 61, "&ISensorController::doIaCmd", 34) +
                             iaTraces(34, 0, 61, 61)));
}

using ParameterApplicationDeathTest = ParameterApplication;

TEST_F(ParameterApplicationDeathTest, UnknownKeyEndsTheProcessWhenAssertionsAreOn)
{
    setDebug(1, 1);
    EXPECT_EXIT(apply({{4711, 5}}, false), testing::KilledBySignal(SIGABRT),
                "ISensorController:[0-9]+: .*setParameters.*Assertion `bRet' failed");
    const auto records = errorLog();
    ASSERT_EQ(3U, records.size());
    EXPECT_EQ("p_pKeyval[0].key(4711)", records[2].text);
}

TEST_F(ParameterApplication, ListTakesNoLock)
{
    ControllerProbe::mutex(c()).Lock("test", __LINE__);
    EXPECT_EQ(0, apply({{KEY_BRIGHTNESS, 60}}, true));
    ControllerProbe::mutex(c()).Unlock("test", __LINE__);
}

}  // namespace
