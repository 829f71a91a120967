#include <climits>

#include "ia_ioctrl.h"
#include "tests/robust/hostile/HostileFixture.h"

using namespace support;

namespace {

constexpr char kListFailed[] =
    "SNS_SUCCESS == ia_ioctrl(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, (void*)(&dnaCmdList))";
constexpr char kRangeFailed[] =
    "SNS_SUCCESS == ia_ioctrl((ia_cmd_e)dnaCmdList.cmd_list[i], IA_CMD_OPT_GET_PARAM_RNAGE, (void*)(&dnaParamList))";
constexpr char kSwitchFailed[] = "SNS_SUCCESS == setParameters(m_ppUserKeyVal[m_nCurScheme], m_nKeyValSum, true)";
constexpr char kHandlerFailed[] = "SNS_SUCCESS == doIaCmd(p_nKey, p_nDir, p_pVal)";
constexpr char kCorrectionFailed[] =
    "SNS_SUCCESS == ia_ioctrl((ia_cmd_e)p_pKeyval[index].key, IA_CMD_OPT_CORRECT_PARAM, &p_pKeyval[index].value)";

// Handlers that only report a refusal and answer for the video module.
bool answersForTheVideoModule(u32 cmd)
{
    return cmd == IA_CMD_WDR_MODE || cmd == IA_CMD_CAP_OFF_ADJ_DIRECTION;
}

// What the contract demands after the refusal of one call.
std::vector<std::string> reportsOf(const Sent& refused)
{
    switch (refused.opt)
    {
    case IA_CMD_OPT_GET:
        return {kListFailed};
    case IA_CMD_OPT_GET_PARAM_RNAGE:
        return {kRangeFailed};
    case IA_CMD_OPT_CORRECT_PARAM:
        return {kCorrectionFailed};
    default:
        return {answersForTheVideoModule(refused.cmd) ? kHandlerFailed : kSwitchFailed};
    }
}

class Refusal : public HostileFixture
{
protected:
    // Wipes everything and starts a camera that ran before, with the calls first to last refused.
    void startRefusing(int first, int last)
    {
        bringDown();
        wipeTree();
        setshowWDRFalg(true);
        setTime(12, 0);
        writeSavedCamera();
        construct();
        service_.clearCalls();
        failCalls(first, last);
        outputOf([&] { EXPECT_TRUE(initialise()); });
    }
};

TEST_F(Refusal, OfAnyOneCallOfStartUpIsReportedOnceAndTheCameraWorks)
{
    startRefusing(INT_MAX, INT_MAX);
    const int calls = callsSeen();
    ASSERT_GT(calls, 20);
    for (int k = 1; k <= calls; ++k)
    {
        SCOPED_TRACE("call " + std::to_string(k));
        startRefusing(k, k);
        const std::vector<Sent> made = service_.all();
        ASSERT_GE(made.size(), static_cast<size_t>(k));
        EXPECT_EQ(reportsOf(made[k - 1]), reportedExpressions());
        EXPECT_EQ(0, current());
        EXPECT_EQ(30U, ControllerProbe::keyValSum(c()));
        EXPECT_EQ(recordsOf(readFile(schemeFile(1))), scheme(1));
        EXPECT_EQ(recordsOf(readFile(schemeFile(2))), scheme(2));
        expectWorks();
    }
}

TEST_F(Refusal, OfEveryCallFromAnyOneOfStartUpOnLeavesACameraThatWorks)
{
    startRefusing(INT_MAX, INT_MAX);
    const int calls = callsSeen();
    for (int k = 1; k <= calls; ++k)
    {
        SCOPED_TRACE("from call " + std::to_string(k));
        startRefusing(k, INT_MAX);
        EXPECT_FALSE(reportedExpressions().empty());
        const std::string saved = readFile(schemeFile(2));
        EXPECT_EQ(saved, bytesOf(scheme(2)));
        expectWorks();
        EXPECT_EQ(saved, readFile(schemeFile(2)));
    }
}

TEST_F(Refusal, OfAnyOneCallOfASwitchEndsItThereAndKeepsTheScheme)
{
    for (int k = 1;; ++k)
    {
        SCOPED_TRACE("call " + std::to_string(k));
        startRefusing(INT_MAX, INT_MAX);
        c().setParamMode(0);
        for (const u32 key : {KEY_SATURATION, KEY_CONTRAST, KEY_MIRROR, KEY_DTN_THR, KEY_NTD_M, KEY_METER_AREA})
        {
            setValue(2, key, 2);
        }
        const auto files = savedFiles();
        const std::vector<KeyVal> from = scheme(0);
        const std::vector<KeyVal> to = scheme(2);
        service_.clearCalls();
        failCalls(k, k);
        outputOf([&] { EXPECT_TRUE(c().setParamScheme(2)); });
        if (callsSeen() < k)
        {
            EXPECT_EQ(8, k);  // the seven keys that differ
            return;
        }
        EXPECT_EQ(k, callsSeen());
        EXPECT_EQ((std::vector<std::string>{kSwitchFailed}), reportedExpressions());
        EXPECT_EQ(2, current());
        EXPECT_EQ(from, scheme(0));
        EXPECT_EQ(to, scheme(2));
        EXPECT_EQ(files, savedFiles());
        expectWorks();
    }
}

TEST_F(Refusal, OfAnyOneCallOfAFullSwitchEndsItThereInSilence)
{
    startRefusing(INT_MAX, INT_MAX);
    c().setParamMode(0);
    failCalls(INT_MAX, INT_MAX);
    c().switch_to(1, true);
    const int calls = callsSeen();
    ASSERT_GT(calls, 20);
    for (int k = 1; k <= calls; ++k)
    {
        SCOPED_TRACE("call " + std::to_string(k));
        service_.clearCalls();
        failCalls(k, k);
        outputOf([&] { EXPECT_EQ(0, c().switch_to(k % 3, true)); });
        const bool goesOn = answersForTheVideoModule(service_.all().at(k - 1).cmd);
        EXPECT_EQ(goesOn ? calls : k, callsSeen());
        EXPECT_EQ(k % 3, current());
    }
    expectWorks();
}

TEST_F(Refusal, OfAnyOneCallOfAFactoryResetLeavesAWholeCamera)
{
    startRefusing(INT_MAX, INT_MAX);
    failCalls(INT_MAX, INT_MAX);
    outputOf([&] { EXPECT_TRUE(c().resetParameters()); });
    const int calls = callsSeen();
    ASSERT_GE(calls, 4);  // brightness of the default scheme, then the list and two ranges
    for (int k = 1; k <= calls; ++k)
    {
        SCOPED_TRACE("call " + std::to_string(k));
        startRefusing(INT_MAX, INT_MAX);
        service_.clearCalls();
        failCalls(k, k);
        outputOf([&] { EXPECT_TRUE(c().resetParameters()); });
        EXPECT_EQ(reportsOf(service_.all().at(k - 1)), reportedExpressions());
        EXPECT_EQ(30U, ControllerProbe::keyValSum(c()));
        for (int i = 1; i < 3; ++i)
        {
            EXPECT_EQ(bytesOf(scheme(3)), readFile(schemeFile(i)));
        }
        expectWorks();
    }
}

TEST_F(Refusal, OfAnyOneCallOfAStyleReadStillServesAWholeDocument)
{
    bringUpHostile();
    for (int k = 1; k <= 3; ++k)
    {
        SCOPED_TRACE("call " + std::to_string(k));
        removeFile(kErrorLogFile);
        service_.clearCalls();
        failCalls(k, k);
        std::string style;
        outputOf([&] { style = c().getUIStyleFile(); });
        EXPECT_EQ(reportsOf(service_.all().at(k - 1)), reportedExpressions());
        EXPECT_EQ(0U, style.find("<?xml"));
        EXPECT_NE(std::string::npos, style.rfind("</Style>"));
        // The list first, which then names nothing, then the values of 50, then those of 96: what was refused stays as
        // the document has it, whatever the service left in the record.
        EXPECT_NE(std::string::npos, style.find("<Combo id=\"50\" value=\"2\">")) << style;
        EXPECT_EQ(std::string::npos, style.find(std::to_string(static_cast<int>(kGarbage)))) << style;
        expectWorks();
    }
}

TEST_F(Refusal, OfAnyOneCorrectionKeepsWhatTheServiceLeftAndTheOtherRecords)
{
    bringUpHostile();
    c().setParamMode(0);
    const std::vector<KeyVal> before = scheme(0);
    for (int k = 1; k <= 3; ++k)
    {
        SCOPED_TRACE("call " + std::to_string(k));
        removeFile(kErrorLogFile);
        service_.clearCalls();
        failCalls(k, k);
        std::string pairs;
        outputOf([&] { EXPECT_TRUE(c().getAllParameters(pairs)); });
        EXPECT_EQ(reportsOf(service_.all().at(k - 1)), reportedExpressions());
        for (const KeyVal& record : before)
        {
            const bool spoilt = (record.key == 50 && k >= 2) || (record.key == 96 && k >= 3);
            EXPECT_EQ(spoilt ? kGarbage : record.value, valueOf(0, record.key)) << record.key;
        }
    }
    expectWorks();
}

TEST_F(Refusal, OfAWindowSwitchByTheClockIsNotTriedAgainAndTheNextOneIsMade)
{
    bringUpHostile();
    failCalls(1, INT_MAX, Callers::all);
    setTime(18, 0);
    outputOf([&] { EXPECT_TRUE(threadTurn() && threadTurn() && threadTurn()); });
    EXPECT_EQ(1, callsSeen());
    EXPECT_EQ(1, current());
    behave();
    setTime(22, 0);
    EXPECT_TRUE(threadTurn());
    EXPECT_EQ(3, current());
    EXPECT_EQ(50U, service_.stored(IA_CMD_BRIGHTNESS));
    expectWorks();
}

}  // namespace
