#include "tests/support/ControllerFixture.h"

#include "tests/support/WaitingCall.h"

using namespace support;

namespace {

using Restore = UpFixture;

TEST_F(Restore, SendsTheStoredValueAgain)
{
    EXPECT_EQ(0, c().restore(KEY_BRIGHTNESS));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 50}}), service_.all());
    EXPECT_EQ(50U, valueOf(0, KEY_BRIGHTNESS));
}

TEST_F(Restore, TakesTheValueOfTheCurrentScheme)
{
    setValue(1, KEY_BRIGHTNESS, 70);
    makeCurrent(1);
    EXPECT_EQ(0, c().restore(KEY_BRIGHTNESS));
    makeCurrent(3);
    EXPECT_EQ(0, c().restore(KEY_BRIGHTNESS));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 70}, {IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 50}}),
              service_.all());
}

TEST_F(Restore, ScheduleKeyIsFoundAndSkipped)
{
    EXPECT_EQ(0, c().restore(KEY_SCHEME_START_HOUR));
    EXPECT_TRUE(service_.calls().empty());
}

TEST_F(Restore, FailureGivesMinusTheKey)
{
    service_.answerStatus(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, -3);
    EXPECT_EQ(-34, c().restore(KEY_BRIGHTNESS));
}

TEST_F(Restore, StoredValueThatTheHandlerRefusesStays)
{
    setshowWDRFalg(false);
    setValue(0, KEY_WDR_MODE, 1);
    EXPECT_EQ(0, c().restore(KEY_WDR_MODE));
    EXPECT_EQ(1U, valueOf(0, KEY_WDR_MODE));
    EXPECT_EQ(0U, service_.count(IA_CMD_WDR_MODE, IA_CMD_OPT_SET));
    setshowWDRFalg(true);
    EXPECT_EQ(0, c().restore(KEY_WDR_MODE));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_WDR_MODE, IA_CMD_OPT_SET, 1}}), service_.sets());
}

TEST_F(Restore, StoredValueThatTheServiceChangesStays)
{
    service_.answerValue(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 7);
    EXPECT_EQ(0, c().restore(KEY_BRIGHTNESS));
    EXPECT_EQ(50U, valueOf(0, KEY_BRIGHTNESS));
}

TEST_F(Restore, UnknownKeyIsReportedAndGivesMinusOne)
{
    const std::string output = outputOf([&] { EXPECT_EQ(-1, c().restore(KEY_GAMMA)); });
    EXPECT_TRUE(saysOnly(output, asserted(kController, "restore", "-1 != nPos",
                                          "restore key(2528) failed! make sure it is sensor ui key \n")));
    EXPECT_TRUE(service_.calls().empty());
}

TEST_F(Restore, NegativeKeyIsUnknown)
{
    const std::string output = outputOf([&] { EXPECT_EQ(-1, c().restore(-1)); });
    EXPECT_TRUE(says(output, "restore key(-1) failed! make sure it is sensor ui key \n"));
}

TEST_F(Restore, WithoutRecordsOrSchemeEveryKeyIsUnknown)
{
    makeCurrent(-1);
    outputOf([&] { EXPECT_EQ(-1, c().restore(KEY_BRIGHTNESS)); });
    makeCurrent(4);
    outputOf([&] { EXPECT_EQ(-1, c().restore(KEY_BRIGHTNESS)); });
    construct();
    outputOf([&] { EXPECT_EQ(-1, c().restore(KEY_BRIGHTNESS)); });
}

TEST_F(Restore, KeyIsPrintedAboveLevelFive)
{
    setDebug(5);
    EXPECT_EQ("", outputOf([&] { c().restore(KEY_BRIGHTNESS); }));
    setDebug(6);
    EXPECT_EQ(0U, outputOf([&] { c().restore(KEY_BRIGHTNESS); }).find(plain("p_nKey(34)\n")));
    EXPECT_TRUE(
        saysOnly(outputOf([&] { c().restore(KEY_GAMMA); }),
                 plain("p_nKey(2528)\n") + asserted(kController, "restore", "-1 != nPos",
                                                    "restore key(2528) failed! make sure it is sensor ui key \n")));
}

TEST_F(Restore, ExposureAndFocusModeInThisOrder)
{
    EXPECT_TRUE(c().restoreAeMode());
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_EXPOSE_MODE, IA_CMD_OPT_SET, 0}, {IA_CMD_AUTO_FOCUS_MODE, IA_CMD_OPT_SET, 2}}),
              service_.all());
}

TEST_F(Restore, FailedExposureModeKeepsFocusModeUntouched)
{
    service_.answerStatus(IA_CMD_EXPOSE_MODE, IA_CMD_OPT_SET, -1);
    EXPECT_FALSE(c().restoreAeMode());
    EXPECT_EQ(0U, service_.count(IA_CMD_AUTO_FOCUS_MODE, IA_CMD_OPT_SET));
}

TEST_F(Restore, FailedFocusModeIsAFailure)
{
    service_.answerStatus(IA_CMD_AUTO_FOCUS_MODE, IA_CMD_OPT_SET, -1);
    EXPECT_FALSE(c().restoreAeMode());
}

// ---- reload ----------------------------------------------------------------------------------------------------

using Reload = UpFixture;

TEST_F(Reload, PutsTheFilesValuesBack)
{
    c().setParameter(KEY_BRIGHTNESS, 60, true);
    c().setParameter(KEY_SCHEME_START_HOUR, 9, true);
    service_.clearCalls();
    EXPECT_EQ("", outputOf([&] { EXPECT_TRUE(c().resetToLastParameters()); }));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 50}}), service_.all());
    EXPECT_EQ(50U, valueOf(0, KEY_BRIGHTNESS));
    EXPECT_EQ(8U, valueOf(0, KEY_SCHEME_START_HOUR));
    EXPECT_EQ(kInitialisedBit, flags());
}

TEST_F(Reload, LeavesTheFileAlone)
{
    const std::string before = readFile(schemeFile(0));
    c().setParameter(KEY_BRIGHTNESS, 60, true);
    c().resetToLastParameters();
    EXPECT_EQ(before, readFile(schemeFile(0)));
}

TEST_F(Reload, WithoutAScheduledSchemeSucceedsWithoutReading)
{
    removeFile(schemeFile(0));
    for (const int scheme : {3, -1, 4})
    {
        makeCurrent(scheme);
        EXPECT_EQ("", outputOf([&] { EXPECT_TRUE(c().resetToLastParameters()); }));
    }
    EXPECT_TRUE(service_.calls().empty());
}

TEST_F(Reload, BeforeInitSucceeds)
{
    construct();
    EXPECT_TRUE(c().resetToLastParameters());
}

TEST_F(Reload, RaisesItsFlagOnlyWhileApplying)
{
    unsigned char seen = 0;
    service_.onCall([&](const ServiceCall&) { seen = flags(); });
    c().setParameter(KEY_BRIGHTNESS, 60, true);
    EXPECT_EQ(kInitialisedBit, seen);
    c().resetToLastParameters();
    EXPECT_EQ(kInitialisedBit | kReloadBit, seen);
    EXPECT_EQ(kInitialisedBit, flags());
}

TEST_F(Reload, WithoutAScheduledSchemeDoesNotWaitForTheMutex)
{
    makeCurrent(3);
    KSMutex& mutex = ControllerProbe::mutex(c());
    mutex.Lock("test", __LINE__);
    WaitingCall reloading([&] { EXPECT_TRUE(c().resetToLastParameters()); });
    EXPECT_TRUE(reloading.ends());
    mutex.Unlock("test", __LINE__);
}

TEST_F(Reload, FailureOfAParameterIsAFailure)
{
    c().setParameter(KEY_BRIGHTNESS, 60, true);
    service_.answerStatus(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, -1);
    EXPECT_FALSE(c().resetToLastParameters());
    EXPECT_EQ(kInitialisedBit, flags());
    EXPECT_EQ(60U, valueOf(0, KEY_BRIGHTNESS));
}

TEST_F(Reload, FailingThresholdDoesNotFailIt)
{
    c().setParameter(KEY_DTN_THR, 31, true);
    c().setParameter(KEY_NTD_THR, 71, true);
    service_.answerStatus(IA_CMD_DTN_THR, IA_CMD_OPT_SET, -1);
    service_.answerStatus(IA_CMD_NTD_THR, IA_CMD_OPT_SET, -1);
    EXPECT_TRUE(c().resetToLastParameters());
    EXPECT_EQ(30U, valueOf(0, KEY_DTN_THR));
    EXPECT_EQ(70U, valueOf(0, KEY_NTD_THR));
}

TEST_F(Reload, OneShotActionsDoNotRun)
{
    outputOf([&] { c().setParameter(KEY_AUTO_FOCUS_ONCE, 7, true); });
    service_.clearCalls();
    c().resetToLastParameters();
    EXPECT_TRUE(service_.calls().empty());
    EXPECT_EQ(1U, valueOf(0, KEY_AUTO_FOCUS_ONCE));
}

TEST_F(Reload, MissingFileIsReportedByTheFileOnly)
{
    removeFile(schemeFile(0));
    const std::string output = outputOf([&] { c().resetToLastParameters(); });
    EXPECT_TRUE(says(output, asserted("SensorFile", "keyValFromFile", "file.open(file_name)",
                                      "file_name(/mnt/mtd/code/config_file/sensor0.cfg)\n", "50")));
    EXPECT_EQ(0, timesSaid(output, "SNS_SUCCESS == keyValFromFile"));
    EXPECT_EQ(kInitialisedBit, flags());
}

TEST_F(Reload, ShortFileStillAppliesItsRecordsAndWhatTheScratchHeldBehindThem)
{
    ASSERT_TRUE(c().resetToLastParameters());
    c().setParameter(KEY_BRIGHTNESS, 60, true);
    c().setParameter(KEY_CONTRAST, 62, true);
    std::vector<KeyVal> records = recordsOf(readFile(schemeFile(0)));
    records.resize(6);
    records[5].value = 40;
    writeFile(schemeFile(0), bytesOf(records));
    service_.clearCalls();
    const std::string output = outputOf([&] { EXPECT_TRUE(c().resetToLastParameters()); });
    EXPECT_TRUE(saysOnly(output, asserted("SensorFile", "keyValFromFile", "nSize == sizeof(KeyVal)*p_nKeyValNum",
                                          "file_name(/mnt/mtd/code/config_file/sensor0.cfg) nSize(48) "
                                          "sizeof(KeyVal) = 8, p_nKeyValNum(29)\n",
                                          "54")));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 40}, {IA_CMD_CONTRAST, IA_CMD_OPT_SET, 52}}),
              service_.all());
}

TEST_F(Reload, IsTracedWithAnEmptyLineAboveLevelFive)
{
    makeCurrent(-1);
    setDebug(5);
    EXPECT_EQ("", outputOf([&] { c().resetToLastParameters(); }));
    setDebug(6);
    EXPECT_TRUE(saysOnly(outputOf([&] { c().resetToLastParameters(); }),
                         traced("dbg", kController, "resetToLastParameters", "\n")));
}

}  // namespace
