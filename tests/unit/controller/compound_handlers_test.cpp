#include "tests/support/ControllerFixture.h"

using namespace support;

namespace {

using Notifications = std::vector<FakeVideo::Notification>;

class CompoundHandlers : public UpFixture
{
protected:
    using Handler = keycmd_handler;

    int handle(Handler handler, u32 cmd, u32& value) { return (c().*handler)(cmd, 0, &value); }

    int handleValue(Handler handler, u32 cmd, u32 value) { return (c().*handler)(cmd, 0, &value); }

    // What service and video module saw, in one order.
    std::vector<std::string> sequenceOf(const std::function<void()>& body)
    {
        std::vector<std::string> sequence;
        const auto note = [&](const char* who, auto cmd, auto value) {
            sequence.push_back(who + std::to_string(cmd) + " " + std::to_string(value));
        };
        service_.onCall([&](const ServiceCall& call) { note("service ", call.cmd, call.value()); });
        video_.onNotify([&](int cmd, int value) { note("video ", cmd, value); });
        body();
        service_.onCall(nullptr);
        video_.onNotify(nullptr);
        return sequence;
    }

    std::vector<u32> lastWords() { return service_.calls().back().words; }
};

using Sequence = std::vector<std::string>;

// ---- wide dynamic range ----------------------------------------------------------------------------------------

TEST_F(CompoundHandlers, WideDynamicRangeIsBracketedForTheVideoModule)
{
    EXPECT_EQ((Sequence{"video 2370 0", "video 2368 2", "service 2368 2", "video 2370 1"}),
              sequenceOf([&] { EXPECT_EQ(0, handleValue(&ISensorController::doHwdr, 2368, 2)); }));
}

TEST_F(CompoundHandlers, WideDynamicRangeThatIsNotOfferedBecomesZeroInSilence)
{
    setshowWDRFalg(false);
    setDebug(6);
    u32 value = 2;
    EXPECT_EQ("", outputOf([&] { EXPECT_EQ(0, handle(&ISensorController::doHwdr, 2368, value)); }));
    EXPECT_EQ(0U, value);
    EXPECT_TRUE(service_.calls().empty());
    EXPECT_TRUE(video_.notifications().empty());
}

TEST_F(CompoundHandlers, WideDynamicRangeGivesTheVideoModulesAnswerForTheKey)
{
    video_.answerStatus(IA_CMD_WDR_BRACKET, -9);
    EXPECT_EQ(0, handleValue(&ISensorController::doHwdr, 2368, 2));
    video_.answerStatus(IA_CMD_WDR_MODE, -3);
    EXPECT_EQ(-3, handleValue(&ISensorController::doHwdr, 2368, 2));
    EXPECT_EQ(2U, service_.count(IA_CMD_WDR_MODE, IA_CMD_OPT_SET));
}

TEST_F(CompoundHandlers, WideDynamicRangeOnlyReportsTheServicesFailure)
{
    service_.answerStatus(IA_CMD_WDR_MODE, IA_CMD_OPT_SET, -1);
    const std::string output = outputOf([&] { EXPECT_EQ(0, handleValue(&ISensorController::doHwdr, 2368, 2)); });
    EXPECT_TRUE(saysOnly(output, asserted(kController, "doHwdr", "SNS_SUCCESS == doIaCmd(p_nKey, p_nDir, p_pVal)")));
    EXPECT_EQ((Notifications{{IA_CMD_WDR_BRACKET, 0}, {IA_CMD_WDR_MODE, 2}, {IA_CMD_WDR_BRACKET, 1}}),
              video_.notifications());
}

TEST_F(CompoundHandlers, WideDynamicRangeTellsTheVideoModuleWhatTheServiceWasAskedFor)
{
    service_.answerValue(IA_CMD_WDR_MODE, IA_CMD_OPT_SET, 1);
    EXPECT_EQ(0, handleValue(&ISensorController::doHwdr, 2368, 2));
    EXPECT_EQ((Notifications{{IA_CMD_WDR_BRACKET, 0}, {IA_CMD_WDR_MODE, 2}, {IA_CMD_WDR_BRACKET, 1}}),
              video_.notifications());
}

TEST_F(CompoundHandlers, ShowFlagIsReachableThroughMemberFunctionAndGlobal)
{
    c().setShowWDRFalg(false);
    EXPECT_FALSE(getshowWDRFalg());
    EXPECT_FALSE(g_bShowWDRFalg);
    setshowWDRFalg(true);
    EXPECT_TRUE(g_bShowWDRFalg);
    g_bShowWDRFalg = false;
    EXPECT_FALSE(getshowWDRFalg());
    c().setShowWDRFalg(true);
    EXPECT_TRUE(getshowWDRFalg());
}

// ---- capture offset and anti-shake -----------------------------------------------------------------------------

TEST_F(CompoundHandlers, CaptureOffsetTellsTheServiceThenTheVideoModule)
{
    for (const u32 cmd : {2432U, 2436U, 2439U})
    {
        const std::string name = std::to_string(cmd);
        EXPECT_EQ((Sequence{"service " + name + " 5", "video " + name + " 5"}),
                  sequenceOf([&] { EXPECT_EQ(0, handleValue(&ISensorController::doImageAdjust, cmd, 5)); }));
    }
}

TEST_F(CompoundHandlers, CaptureOffsetReportsTheServiceAndGivesTheVideoModulesAnswer)
{
    service_.answerStatus(IA_CMD_CAP_OFF_ADJ_DIRECTION, IA_CMD_OPT_SET, -1);
    const std::string output = outputOf([&] { EXPECT_EQ(0, handleValue(&ISensorController::doImageAdjust, 2432, 5)); });
    EXPECT_TRUE(
        saysOnly(output, asserted(kController, "doImageAdjust", "SNS_SUCCESS == doIaCmd(p_nKey, p_nDir, p_pVal)")));
    video_.answerStatus(IA_CMD_CAP_OFF_ADJ_DIRECTION, -8);
    outputOf([&] { EXPECT_EQ(-8, handleValue(&ISensorController::doImageAdjust, 2432, 5)); });
}

TEST_F(CompoundHandlers, CaptureOffsetTellsTheVideoModuleWhatTheServiceMadeOfIt)
{
    service_.answerValue(IA_CMD_CAP_OFF_ADJ_DIRECTION, IA_CMD_OPT_SET, 4);
    EXPECT_EQ(0, handleValue(&ISensorController::doImageAdjust, 2432, 5));
    EXPECT_EQ((Notifications{{IA_CMD_CAP_OFF_ADJ_DIRECTION, 4}}), video_.notifications());
}

TEST_F(CompoundHandlers, AntiShakeTellsTheVideoModuleFirst)
{
    EXPECT_EQ((Sequence{"video 2416 1", "service 2416 1"}),
              sequenceOf([&] { EXPECT_EQ(0, handleValue(&ISensorController::doDIS, 2416, 1)); }));
}

TEST_F(CompoundHandlers, AntiShakeReportsTheVideoModuleAndGivesTheServicesAnswer)
{
    video_.answerStatus(IA_CMD_ANTI_SHAKE_SWITCH, -8);
    service_.answerStatus(IA_CMD_ANTI_SHAKE_SWITCH, IA_CMD_OPT_SET, -2);
    const std::string output = outputOf([&] { EXPECT_EQ(-2, handleValue(&ISensorController::doDIS, 2416, 1)); });
    EXPECT_TRUE(
        saysOnly(output, asserted(kController, "doDIS", "SNS_SUCCESS == notifyToVideo(p_nKey, *(u32*)p_pVal)")));
    EXPECT_EQ(1U, service_.calls().size());
}

// ---- mirror and corridor view ----------------------------------------------------------------------------------

TEST_F(CompoundHandlers, MirrorWithoutCorridorViewIsAppliedAsItIs)
{
    for (const u32 mirror : {0U, 1U, 2U, 3U})
    {
        const std::string value = " " + std::to_string(mirror);
        EXPECT_EQ((Sequence{"video 2384" + value, "service 2384" + value}),
                  sequenceOf([&] { EXPECT_EQ(0, handleValue(&ISensorController::doMirror, 2384, mirror)); }));
    }
}

TEST_F(CompoundHandlers, MirrorInCorridorViewExchangesOneAndTwo)
{
    const std::map<u32, u32> applied = {{0, 0}, {1, 2}, {2, 1}, {3, 3}, {9, 9}};
    for (const u32 corridor : {1U, 2U, 0xFFFFFFFFU})
    {
        setValue(0, KEY_BEAWAY, corridor);
        for (const auto& [mirror, expected] : applied)
        {
            const std::string value = " " + std::to_string(expected);
            EXPECT_EQ((Sequence{"video 2384" + value, "service 2384" + value}),
                      sequenceOf([&] { EXPECT_EQ(0, handleValue(&ISensorController::doMirror, 2384, mirror)); }));
        }
    }
}

TEST_F(CompoundHandlers, MirrorKeepsTheUsersValueInTheScheme)
{
    setValue(0, KEY_BEAWAY, 1);
    EXPECT_EQ(0, c().setParameter(KEY_MIRROR, 2, true));
    EXPECT_EQ(2U, valueOf(0, KEY_MIRROR));
    EXPECT_EQ(1U, service_.stored(IA_CMD_UI_MIRROR));
}

TEST_F(CompoundHandlers, MirrorReportsTheVideoModuleAndGivesTheServicesAnswer)
{
    video_.answerStatus(IA_CMD_UI_MIRROR, -8);
    service_.answerStatus(IA_CMD_UI_MIRROR, IA_CMD_OPT_SET, -2);
    const std::string output = outputOf([&] { EXPECT_EQ(-2, handleValue(&ISensorController::doMirror, 2384, 1)); });
    EXPECT_TRUE(saysOnly(output, asserted(kController, "doMirror", "SNS_SUCCESS == notifyToVideo(p_nKey, nMirror)")));
}

TEST_F(CompoundHandlers, MirrorIsTracedAboveLevelFive)
{
    setValue(0, KEY_BEAWAY, 1);
    setDebug(5);
    EXPECT_EQ("", outputOf([&] { handleValue(&ISensorController::doMirror, 2384, 1); }));
    setDebug(6);
    const std::string output = outputOf([&] { handleValue(&ISensorController::doMirror, 2384, 1); });
    EXPECT_EQ(1, timesSaid(output, traced("dbg", kController, "doMirror", "nMirror(1 --> 2), nBeaway:1\n")));
    EXPECT_EQ(0U, output.find("\033[0m\033[0m[sensor dbg] file:ISensorController fun:doMirror line:"));
}

TEST_F(CompoundHandlers, MissingPartnersCountAsZero)
{
    makeCurrent(-1);
    handleValue(&ISensorController::doMirror, 2384, 1);
    EXPECT_EQ(1U, service_.stored(IA_CMD_UI_MIRROR));
    EXPECT_EQ((Sequence{"video 2384 0", "video 2385 1", "service 2385 1"}),
              sequenceOf([&] { handleValue(&ISensorController::doBeaway, 2385, 1); }));
}

TEST_F(CompoundHandlers, CorridorViewTellsTheFittingMirrorValueFirst)
{
    const std::map<u32, u32> told = {{0, 0}, {1, 2}, {2, 1}, {3, 3}};
    for (const auto& [mirror, expected] : told)
    {
        setValue(0, KEY_MIRROR, mirror);
        EXPECT_EQ((Sequence{"video 2384 " + std::to_string(expected), "video 2385 1", "service 2385 1"}),
                  sequenceOf([&] { EXPECT_EQ(0, handleValue(&ISensorController::doBeaway, 2385, 1)); }));
        EXPECT_EQ((Sequence{"video 2384 " + std::to_string(mirror), "video 2385 0", "service 2385 0"}),
                  sequenceOf([&] { EXPECT_EQ(0, handleValue(&ISensorController::doBeaway, 2385, 0)); }));
    }
    EXPECT_EQ(0U, service_.count(IA_CMD_UI_MIRROR, IA_CMD_OPT_SET));
}

TEST_F(CompoundHandlers, CorridorViewReportsBothNotifications)
{
    video_.answerStatus(IA_CMD_UI_MIRROR, -8);
    video_.answerStatus(IA_CMD_BEAWAY, -8);
    service_.answerStatus(IA_CMD_BEAWAY, IA_CMD_OPT_SET, -2);
    const std::string output = outputOf([&] { EXPECT_EQ(-2, handleValue(&ISensorController::doBeaway, 2385, 1)); });
    EXPECT_TRUE(
        saysOnly(output, asserted(kController, "doBeaway", "SNS_SUCCESS == notifyToVideo(IA_CMD_UI_MIRROR, nMirror)") +
                             asserted(kController, "doBeaway", "SNS_SUCCESS == notifyToVideo(p_nKey, nBeaway)")));
}

TEST_F(CompoundHandlers, CorridorViewPrintsNothingOfItsOwn)
{
    setDebug(6);
    const std::string output = outputOf([&] { handleValue(&ISensorController::doBeaway, 2385, 1); });
    EXPECT_EQ(0, timesSaid(output, "fun:doBeaway"));
    EXPECT_EQ(2, timesSaid(output, "fun:doIaCmd"));
}

// ---- day/night thresholds --------------------------------------------------------------------------------------

TEST_F(CompoundHandlers, EachThresholdIsSentWithItsStoredPartner)
{
    EXPECT_EQ(0, handleValue(&ISensorController::doDNThr, 145, 33));
    EXPECT_EQ(145U, service_.calls().back().cmd);
    EXPECT_EQ((std::vector<u32>{33, 70}), lastWords());
    EXPECT_EQ(0, handleValue(&ISensorController::doDNThr, 146, 77));
    EXPECT_EQ(146U, service_.calls().back().cmd);
    EXPECT_EQ((std::vector<u32>{30, 77}), lastWords());
    EXPECT_TRUE(video_.notifications().empty());
}

TEST_F(CompoundHandlers, ThresholdWithoutPartnerSendsZeroForIt)
{
    makeCurrent(-1);
    handleValue(&ISensorController::doDNThr, 145, 33);
    EXPECT_EQ((std::vector<u32>{33, 0}), lastWords());
    handleValue(&ISensorController::doDNThr, 146, 77);
    EXPECT_EQ((std::vector<u32>{0, 77}), lastWords());
}

TEST_F(CompoundHandlers, ThresholdGivesTheServicesAnswerButDuringAReload)
{
    service_.answerStatus(IA_CMD_DTN_THR, IA_CMD_OPT_SET, -5);
    EXPECT_EQ(-5, handleValue(&ISensorController::doDNThr, 145, 33));
    setFlags(kInitialisedBit | kReloadBit);
    EXPECT_EQ(0, handleValue(&ISensorController::doDNThr, 145, 33));
    setFlags(kInitialisedBit);
    EXPECT_EQ(2U, service_.count(IA_CMD_DTN_THR, IA_CMD_OPT_SET));
}

TEST_F(CompoundHandlers, ThresholdsArePrintedPlainAboveLevelFive)
{
    setDebug(5);
    EXPECT_EQ("", outputOf([&] { handleValue(&ISensorController::doDNThr, 145, 33); }));
    setDebug(6);
    const std::string output = outputOf([&] { handleValue(&ISensorController::doDNThr, 145, 33); });
    EXPECT_EQ(0U, output.find(plain("m_nCurScheme(0) dn_thr_st.d2n_thr(33) dn_thr_st.n2d_thr(70)\n")));
}

// ---- day/night switch times ------------------------------------------------------------------------------------

TEST_F(CompoundHandlers, EachSwitchTimeIsSentWithItsThreeStoredPartners)
{
    const std::map<u32, std::vector<u32>> expected = {
        {149, {9, 30, 6, 15}}, {150, {18, 9, 6, 15}}, {151, {18, 30, 9, 15}}, {152, {18, 30, 6, 9}}};
    for (const auto& [cmd, words] : expected)
    {
        EXPECT_EQ(0, handleValue(&ISensorController::doDNTime, cmd, 9));
        EXPECT_EQ(cmd, service_.calls().back().cmd);
        EXPECT_EQ(words, lastWords());
    }
}

TEST_F(CompoundHandlers, AnyOtherCommandCountsAsTheLastTime)
{
    service_.answer(4000, IA_CMD_OPT_SET, [](u32, int, void* data) {
        const auto* times = static_cast<dn_time_st*>(data);
        EXPECT_EQ(18U, times->d2n_hour);
        EXPECT_EQ(30U, times->d2n_min);
        EXPECT_EQ(6U, times->n2d_hour);
        EXPECT_EQ(9U, times->n2d_min);
        return -3;
    });
    EXPECT_EQ(-3, handleValue(&ISensorController::doDNTime, 4000, 9));
    EXPECT_EQ(1U, service_.count(4000, IA_CMD_OPT_SET));
}

TEST_F(CompoundHandlers, SwitchTimeWithoutPartnersSendsZeroForThem)
{
    makeCurrent(-1);
    handleValue(&ISensorController::doDNTime, 150, 9);
    EXPECT_EQ((std::vector<u32>{0, 9, 0, 0}), lastWords());
}

TEST_F(CompoundHandlers, SwitchTimeGivesTheServicesAnswerDuringAReloadToo)
{
    service_.answerStatus(IA_CMD_DTN_H, IA_CMD_OPT_SET, -5);
    setFlags(kInitialisedBit | kReloadBit);
    EXPECT_EQ(-5, handleValue(&ISensorController::doDNTime, 149, 9));
    setFlags(kInitialisedBit);
}

TEST_F(CompoundHandlers, SwitchTimesArePrintedPlainAboveLevelFive)
{
    setDebug(5);
    EXPECT_EQ("", outputOf([&] { handleValue(&ISensorController::doDNTime, 149, 9); }));
    setDebug(6);
    const std::string output = outputOf([&] { handleValue(&ISensorController::doDNTime, 149, 9); });
    EXPECT_EQ(0U, output.find(plain("m_nCurScheme(0) dn_time_st.d2n_hour(9) dn_time_st.d2n_min(30) "
                                    "dn_time_st.n2d_hour(6) dn_time_st.n2d_min(15) \n")));
}

TEST_F(CompoundHandlers, PartnersComeFromTheCurrentScheme)
{
    setValue(1, KEY_NTD_THR, 88);
    makeCurrent(1);
    handleValue(&ISensorController::doDNThr, 145, 33);
    EXPECT_EQ((std::vector<u32>{33, 88}), lastWords());
    makeCurrent(3);
    handleValue(&ISensorController::doDNThr, 145, 33);
    EXPECT_EQ((std::vector<u32>{33, 70}), lastWords());
}

TEST_F(CompoundHandlers, PartnersComeFromTheNewSchemeDuringASwitch)
{
    setValue(1, KEY_DTN_THR, 31);
    setValue(1, KEY_NTD_THR, 88);
    c().switch_to(1, false);
    std::vector<std::vector<u32>> records;
    for (const ServiceCall& call : service_.calls())
    {
        records.push_back(call.words);
    }
    EXPECT_EQ((std::vector<std::vector<u32>>{{31, 88}, {31, 88}}), records);
}

TEST_F(CompoundHandlers, TakeNoLock)
{
    ControllerProbe::mutex(c()).Lock("test", __LINE__);
    handleValue(&ISensorController::doHwdr, 2368, 1);
    handleValue(&ISensorController::doMirror, 2384, 1);
    handleValue(&ISensorController::doBeaway, 2385, 1);
    handleValue(&ISensorController::doDNThr, 145, 1);
    handleValue(&ISensorController::doDNTime, 149, 1);
    handleValue(&ISensorController::doDIS, 2416, 1);
    handleValue(&ISensorController::doImageAdjust, 2432, 1);
    ControllerProbe::mutex(c()).Unlock("test", __LINE__);
    EXPECT_EQ(7U, service_.calls().size());
}

}  // namespace
