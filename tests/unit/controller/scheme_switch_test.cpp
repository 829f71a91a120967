#include "tests/support/ControllerFixture.h"

#include "tests/support/WaitingCall.h"

using namespace support;

namespace {

using SchemeSwitch = UpFixture;

TEST_F(SchemeSwitch, BetweenSchemesThatDifferInBrightnessSendsBrightnessOnly)
{
    setValue(1, KEY_BRIGHTNESS, 70);
    EXPECT_EQ(0, c().switch_to(1, false));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 70}}), service_.all());
    EXPECT_EQ(1, current());
    EXPECT_EQ(0, last());
    EXPECT_EQ(kInitialisedBit, flags());
}

TEST_F(SchemeSwitch, ToTheSameSchemeSendsNothing)
{
    EXPECT_EQ(0, c().switch_to(0, false));
    EXPECT_TRUE(service_.calls().empty());
    EXPECT_EQ(0, last());
}

TEST_F(SchemeSwitch, DoesNotMixTheSchemesValues)
{
    setValue(0, KEY_BRIGHTNESS, 10);
    setValue(1, KEY_BRIGHTNESS, 70);
    c().switch_to(1, false);
    EXPECT_EQ(10U, valueOf(0, KEY_BRIGHTNESS));
    EXPECT_EQ(70U, valueOf(1, KEY_BRIGHTNESS));
}

TEST_F(SchemeSwitch, DifferentWindowsAreNotSent)
{
    setWindow(1, true, 1, 2, 3, 4);
    c().switch_to(1, false);
    EXPECT_TRUE(service_.calls().empty());
    EXPECT_EQ(3U, valueOf(1, KEY_SCHEME_END_HOUR));
    EXPECT_EQ(18U, valueOf(0, KEY_SCHEME_END_HOUR));
}

TEST_F(SchemeSwitch, FullSwitchSendsEveryParameterButTheScheduleAndOneShotActions)
{
    c().switch_to(1, true);
    std::vector<Sent> expected;
    for (const KeyVal& record : scheme(1))
    {
        // Mirror, corridor view and so on send the value under their key number too.
        if (record.key < 8000 && record.key != KEY_AUTO_FOCUS_ONCE && record.key != KEY_SENSOR_FPS)
        {
            const bool threshold = record.key == KEY_NTD_THR;
            const bool time = record.key == KEY_DTN_M || record.key == KEY_NTD_H || record.key == KEY_NTD_M;
            expected.push_back({record.key, 0, threshold ? 30U : time ? 18U : record.value});
        }
    }
    EXPECT_EQ(expected, service_.all());
    EXPECT_EQ(1, current());
    EXPECT_EQ(kInitialisedBit, flags());
}

TEST_F(SchemeSwitch, FirstSwitchFindsNothingNewest)
{
    makeCurrent(-1);
    c().switch_to(0, false);
    EXPECT_EQ(scheme(0).size() - 5 - 2, service_.calls().size());
    EXPECT_EQ(-1, last());
}

TEST_F(SchemeSwitch, DefaultSchemeIsAScheme)
{
    setValue(0, KEY_BRIGHTNESS, 10);
    EXPECT_EQ(0, c().switch_to(3, false));
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 50}}), service_.all());
    EXPECT_EQ(3, current());
}

TEST_F(SchemeSwitch, FlagIsUpExactlyWhileParametersAreApplied)
{
    setValue(1, KEY_BRIGHTNESS, 70);
    unsigned char seen = 0;
    int seenCurrent = -2;
    service_.onCall([&](const ServiceCall&) {
        seen = flags();
        seenCurrent = current();
    });
    c().switch_to(1, false);
    EXPECT_EQ(kInitialisedBit | kSwitchingBit, seen);
    EXPECT_EQ(1, seenCurrent);
    EXPECT_EQ(kInitialisedBit, flags());
}

TEST_F(SchemeSwitch, OneShotActionsStoredInASchemeDoNotRun)
{
    setValue(1, KEY_AUTO_FOCUS_ONCE, 9);
    setValue(1, KEY_SENSOR_FPS, 30);
    c().switch_to(1, false);
    EXPECT_TRUE(service_.calls().empty());
}

TEST_F(SchemeSwitch, FailureIsReportedAndDoesNotUndoTheSwitch)
{
    setValue(1, KEY_BRIGHTNESS, 70);
    setValue(1, KEY_SATURATION, 71);
    service_.answerStatus(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, -7);
    const std::string output = outputOf([&] { EXPECT_EQ(0, c().switch_to(1, false)); });
    EXPECT_TRUE(
        saysOnly(output, asserted(kController, "switch_to",
                                  "SNS_SUCCESS == setParameters(m_ppUserKeyVal[m_nCurScheme], m_nKeyValSum, true)",
                                  "m_nCurScheme(1) m_nKeyValSum(29)\n")));
    EXPECT_EQ(1, current());
    EXPECT_EQ(kInitialisedBit, flags());
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 70}}), service_.all());
}

TEST_F(SchemeSwitch, FailureOfAFullSwitchIsIgnored)
{
    service_.answerStatus(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, -7);
    EXPECT_EQ("", outputOf([&] { EXPECT_EQ(0, c().switch_to(1, true)); }));
    EXPECT_EQ(1, current());
    EXPECT_EQ(kInitialisedBit, flags());
}

TEST_F(SchemeSwitch, IsTracedAboveLevelFive)
{
    setDebug(5);
    EXPECT_EQ("", outputOf([&] { c().switch_to(1, false); }));
    setDebug(6);
    const std::string output = outputOf([&] { c().switch_to(2, false); });
    EXPECT_EQ(0U, output.find("\033[0m\033[0m[sensor dbg] file:ISensorController fun:switch_to line:"));
    EXPECT_TRUE(says(output, traced("dbg", kController, "switch_to", "switch_to(): 1 -> 2\n")));
    EXPECT_EQ(29, timesSaid(output, "is newest, m_nFlags.switching_flag(1), m_nLastScheme(1), m_nCurScheme(2)!!!\n"));
}

TEST_F(SchemeSwitch, IndexWithoutASchemeBecomesCurrentAndAppliesNothing)
{
    for (const bool full : {false, true})
    {
        for (const int to : {4, 1000000, -1, -2, INT32_MIN, INT32_MAX})
        {
            EXPECT_EQ(0, c().switch_to(to, full)) << to;
            EXPECT_EQ(to, current());
            EXPECT_EQ(kInitialisedBit, flags());
        }
    }
    EXPECT_TRUE(service_.calls().empty());
    EXPECT_EQ(INT32_MIN, last());
}

TEST_F(SchemeSwitch, BackFromAnIndexWithoutASchemeSendsEverything)
{
    c().switch_to(-1, false);
    c().switch_to(0, false);
    EXPECT_EQ(scheme(0).size() - 5 - 2, service_.calls().size());
}

TEST_F(SchemeSwitch, WideDynamicRangeThatIsNotOfferedIsStoredAsZero)
{
    setshowWDRFalg(false);
    setValue(1, KEY_WDR_MODE, 2);
    c().switch_to(1, false);
    EXPECT_EQ(0U, valueOf(1, KEY_WDR_MODE));
    EXPECT_EQ(0U, service_.count(IA_CMD_WDR_MODE, IA_CMD_OPT_SET));
}

TEST_F(SchemeSwitch, FullSwitchStoresWideDynamicRangeAsZeroToo)
{
    setshowWDRFalg(false);
    setValue(1, KEY_WDR_MODE, 2);
    c().switch_to(1, true);
    EXPECT_EQ(0U, valueOf(1, KEY_WDR_MODE));
}

// ---- beside callers on other threads ---------------------------------------------------------------------------

// What a caller on another thread does while the switch from scheme 0 to 1 is sending brightness.
class SchemeSwitchBesideOthers : public SchemeSwitch
{
protected:
    void SetUp() override
    {
        SchemeSwitch::SetUp();
        setValue(1, KEY_BRIGHTNESS, 70);
    }

    // status and value are what the service answers to the switch; value replaces the one that it was sent.
    void switchMeeting(const std::function<void()>& call, int status = 0, u32 value = 70)
    {
        std::atomic<bool> met{false};
        service_.answer(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, [&](u32, int, void* data) {
            if (met.exchange(true))
            {
                return 0;
            }
            WaitingCall other(call);
            EXPECT_TRUE(other.ends());
            *static_cast<u32*>(data) = value;
            return status;
        });
        outputOf([&] { c().switch_to(1, false); });
        EXPECT_TRUE(met);
    }
};

TEST_F(SchemeSwitchBesideOthers, ValueThatAnotherThreadSetsStays)
{
    switchMeeting([&] { EXPECT_EQ(0, c().setParameter(KEY_BRIGHTNESS, 60, true)); });
    int value = 0;
    EXPECT_TRUE(c().getParameter(KEY_BRIGHTNESS, value));
    EXPECT_EQ(60, value);
    EXPECT_EQ(0, c().flush());
    EXPECT_EQ(60U, recordsOf(readFile(schemeFile(1)))[5].value);
}

TEST_F(SchemeSwitchBesideOthers, ValueThatAnotherThreadSetsStaysWhenTheSwitchFails)
{
    switchMeeting([&] { EXPECT_EQ(0, c().setParameter(KEY_BRIGHTNESS, 60, true)); }, -7);
    EXPECT_EQ(60U, valueOf(1, KEY_BRIGHTNESS));
}

TEST_F(SchemeSwitchBesideOthers, ValueThatAnotherThreadSetsStaysOverTheOneThatAHandlerChanged)
{
    switchMeeting([&] { EXPECT_EQ(0, c().setParameter(KEY_BRIGHTNESS, 60, true)); }, 0, 7);
    EXPECT_EQ(60U, valueOf(1, KEY_BRIGHTNESS));
}

TEST_F(SchemeSwitchBesideOthers, ValueThatAHandlerChangedStaysWhereNobodyElseSetOne)
{
    switchMeeting([&] { EXPECT_EQ(0, c().setParameter(KEY_CONTRAST, 60, true)); }, 0, 7);
    EXPECT_EQ(7U, valueOf(1, KEY_BRIGHTNESS));
    EXPECT_EQ(60U, valueOf(1, KEY_CONTRAST));
}

// The schedule too, which is stored without a call of the service that a test could meet.
TEST_F(SchemeSwitchBesideOthers, NothingThatIsSetIsLostWhileSwitchesFollowEachOther)
{
    std::atomic<bool> running{true};
    std::thread switching([&] {
        for (int round = 0; running; ++round)
        {
            c().switch_to(round & 1, false);
        }
    });
    int lost = 0;
    for (u32 round = 0; round < 20000; ++round)
    {
        for (const u32 key : {KEY_SCHEME_END_MIN, KEY_CONTRAST})
        {
            u32 value = 0;
            c().setKeyValToCache(1, key, round, false);
            std::this_thread::yield();
            c().getKeyValFromCache(1, key, value);
            lost += value == round ? 0 : 1;
        }
    }
    running = false;
    switching.join();
    EXPECT_EQ(0, lost);
}

// A key that stands twice in a scheme is stored in its first record.
TEST_F(SchemeSwitch, SecondRecordOfAKeyIsRememberedInTheFirst)
{
    KeyVal* const records = ControllerProbe::userKeyVal(c())[1];
    records[6] = {KEY_BRIGHTNESS, 61};
    c().switch_to(1, false);
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, 61}}), service_.all());
    EXPECT_EQ(61U, records[5].value);
}

TEST_F(SchemeSwitch, TakesNoLock)
{
    ControllerProbe::mutex(c()).Lock("test", __LINE__);
    EXPECT_EQ(0, c().switch_to(1, false));
    ControllerProbe::mutex(c()).Unlock("test", __LINE__);
}

}  // namespace
