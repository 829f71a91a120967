#include "tests/support/ControllerFixture.h"

using namespace support;

namespace {

std::string traceOf(int cmd, int dir, int value, const char* end)
{
    return traced("dbg", kController, "doIaCmd",
                  "====================== cmd:" + std::to_string(cmd) + " dir:" + std::to_string(dir) +
                      " val:" + std::to_string(value) + " =====================" + end + "\n");
}

class Dispatch : public ControllerFixture
{
protected:
    void SetUp() override
    {
        ControllerFixture::SetUp();
        construct();
    }
};

TEST_F(Dispatch, CommandGoesToTheServiceUnchangedAndItsStatusComesBack)
{
    for (const int status : {0, -1, -4, 3})
    {
        service_.answerStatus(IA_CMD_CONTRAST, IA_CMD_OPT_SET, status);
        u32 value = 7;
        EXPECT_EQ(status, c().doIaCmd(2353, 0, &value));
        EXPECT_EQ(7U, value);
    }
    EXPECT_EQ(4U, service_.calls().size());
    EXPECT_EQ((Sent{IA_CMD_CONTRAST, IA_CMD_OPT_SET, 7}), service_.all().front());
}

TEST_F(Dispatch, CommandWithoutDataIsTracedAsZero)
{
    setDebug(6);
    service_.answer(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, [](u32, int, void* data) {
        EXPECT_EQ(nullptr, data);
        return 0;
    });
    EXPECT_TRUE(saysOnly(outputOf([&] { EXPECT_EQ(0, c().doIaCmd(34, 0, nullptr)); }),
                         traceOf(34, 0, 0, "begin") + traceOf(34, 0, 0, "end")));
}

TEST_F(Dispatch, EveryOptionIsPassedOn)
{
    for (const int opt : {0, 1, 3, 4})
    {
        u32 value = 7;
        c().doIaCmd(34, static_cast<u32>(opt), &value);
        EXPECT_EQ(opt, service_.calls().back().opt);
    }
    ia_dynamic_params_attr_st attributes{};
    c().doIaCmd(34, 2, &attributes);
    EXPECT_EQ(2, service_.calls().back().opt);
}

TEST_F(Dispatch, GetWritesTheServicesValue)
{
    service_.store(IA_CMD_BRIGHTNESS, 99);
    u32 value = 7;
    EXPECT_EQ(0, c().doIaCmd(34, 1, &value));
    EXPECT_EQ(99U, value);
}

TEST_F(Dispatch, EveryCommandPrintsOneBeginAndOneEndAboveLevelFive)
{
    u32 value = 7;
    setDebug(5);
    EXPECT_EQ("", outputOf([&] { c().doIaCmd(34, 0, &value); }));
    setDebug(6);
    EXPECT_TRUE(
        saysOnly(outputOf([&] { c().doIaCmd(34, 0, &value); }), traceOf(34, 0, 7, "begin") + traceOf(34, 0, 7, "end")));
}

TEST_F(Dispatch, EndShowsTheValueThatTheServiceReturned)
{
    service_.answerValue(IA_CMD_BRIGHTNESS, IA_CMD_OPT_GET, static_cast<u32>(-9));
    setDebug(6);
    u32 value = 7;
    EXPECT_TRUE(saysOnly(outputOf([&] { c().doIaCmd(34, 1, &value); }),
                         traceOf(34, 1, 7, "begin") + traceOf(34, 1, -9, "end")));
}

TEST_F(Dispatch, FailureIsTracedLikeSuccessAndReportsNothing)
{
    service_.answerStatus(IA_CMD_BRIGHTNESS, IA_CMD_OPT_SET, -1);
    setDebug(6);
    u32 value = 7;
    EXPECT_TRUE(
        saysOnly(outputOf([&] { c().doIaCmd(34, 0, &value); }), traceOf(34, 0, 7, "begin") + traceOf(34, 0, 7, "end")));
    EXPECT_FALSE(fileExists(kErrorLogFile));
}

TEST_F(Dispatch, LevelIsReadAgainBeforeTheEnd)
{
    setDebug(6);
    service_.onCall([](const ServiceCall&) { removeDebug(); });
    u32 value = 7;
    EXPECT_TRUE(saysOnly(outputOf([&] { c().doIaCmd(34, 0, &value); }), traceOf(34, 0, 7, "begin")));
    service_.onCall([](const ServiceCall&) { setDebug(6); });
    EXPECT_TRUE(saysOnly(outputOf([&] { c().doIaCmd(34, 0, &value); }), traceOf(34, 0, 7, "end")));
}

TEST_F(Dispatch, UserCommandActsLikeTheOrdinaryOne)
{
    setDebug(6);
    service_.answerStatus(IA_CMD_AUTO_FOCUS_ONCE, IA_CMD_OPT_SET, -4);
    u32 value = 1;
    EXPECT_TRUE(saysOnly(outputOf([&] { EXPECT_EQ(-4, c().doIaCmd_User(1539, 0, &value)); }),
                         traceOf(1539, 0, 1, "begin") + traceOf(1539, 0, 1, "end")));
}

TEST_F(Dispatch, UserCommandIsIgnoredDuringBulkApplication)
{
    service_.answerStatus(IA_CMD_AUTO_FOCUS_ONCE, IA_CMD_OPT_SET, -4);
    u32 value = 1;
    for (const unsigned char bit : {kInitialisingBit, kResetBit, kReloadBit, kSwitchingBit})
    {
        setFlags(bit);
        EXPECT_EQ("", outputOf([&] { EXPECT_EQ(0, c().doIaCmd_User(1539, 0, &value)); })) << int{bit};
        EXPECT_TRUE(service_.calls().empty());
    }
    setFlags(0);
}

TEST_F(Dispatch, StoppingAndInitialisedDoNotCount)
{
    u32 value = 1;
    for (const unsigned char bits : {kStoppingBit, kInitialisedBit})
    {
        setFlags(bits);
        EXPECT_EQ(0, c().doIaCmd_User(1539, 0, &value));
    }
    EXPECT_EQ(2U, service_.calls().size());
    setFlags(0);
}

TEST_F(Dispatch, IgnoredUserCommandIsTracedAboveLevelFive)
{
    setFlags(kSwitchingBit);
    u32 value = 1;
    setDebug(5);
    EXPECT_EQ("", outputOf([&] { c().doIaCmd_User(34, 0, &value); }));
    setDebug(6);
    EXPECT_TRUE(saysOnly(outputOf([&] { c().doIaCmd_User(34, 0, &value); }),
                         traced("dbg", kController, "doIaCmd_User", "ignored auto focus once !!!\n")));
    setFlags(0);
}

TEST_F(Dispatch, OrdinaryCommandIsNotIgnoredDuringBulkApplication)
{
    setFlags(kInitialisingBit | kResetBit | kReloadBit | kSwitchingBit);
    u32 value = 1;
    EXPECT_EQ(0, c().doIaCmd(34, 0, &value));
    EXPECT_EQ(1U, service_.calls().size());
    setFlags(0);
}

TEST_F(Dispatch, ExecutionStatusIsAskedWithOptionFour)
{
    service_.answerValue(0x620, 4, 2);
    int status = -1;
    EXPECT_TRUE(c().getCmdExecStatus(0x620, status));
    EXPECT_EQ(2, status);
    EXPECT_EQ(0x620U, service_.calls().at(0).cmd);
    EXPECT_EQ(4, service_.calls().at(0).opt);
}

TEST_F(Dispatch, FailedExecutionStatusLeavesWhatTheServiceWrote)
{
    int status = -1;
    service_.answerStatus(0x620, 4, -1);
    EXPECT_FALSE(c().getCmdExecStatus(0x620, status));
    EXPECT_EQ(-1, status);
    service_.answerValue(0x620, 4, 7, -1);
    EXPECT_EQ("", outputOf([&] { EXPECT_FALSE(c().getCmdExecStatus(0x620, status)); }));
    EXPECT_EQ(7, status);
}

TEST_F(Dispatch, ExecutionStatusIsTracedOnSuccessAboveLevelFive)
{
    service_.answerValue(0x620, 4, 2);
    int status = 5;
    setDebug(5);
    EXPECT_EQ("", outputOf([&] { c().getCmdExecStatus(0x620, status); }));
    setDebug(6);
    status = 5;
    EXPECT_TRUE(saysOnly(outputOf([&] { c().getCmdExecStatus(0x620, status); }),
                         traceOf(0x620, 4, 5, "begin") + traceOf(0x620, 4, 2, "end") +
                             traced("dbg", kController, "getCmdExecStatus",
                                    "=================  get exec status cmd(0x620)       value(2)   "
                                    "======================\n")));
    service_.answerStatus(0x620, 4, -1);
    status = 5;
    EXPECT_TRUE(saysOnly(outputOf([&] { c().getCmdExecStatus(0x620, status); }),
                         traceOf(0x620, 4, 5, "begin") + traceOf(0x620, 4, 5, "end")));
}

TEST_F(Dispatch, ExecutionStatusPrintsItsCommandInSmallHexadecimalDigits)
{
    setDebug(6);
    int status = 0;
    EXPECT_TRUE(says(outputOf([&] { c().getCmdExecStatus(0x9A0, status); }),
                     "=================  get exec status cmd(0x9a0)       value(0)   "
                     "======================\n"));
}

TEST_F(Dispatch, WithoutVideoModuleEveryNotificationSucceeds)
{
    c().setVideoStreamModule(nullptr);
    EXPECT_EQ(0, c().notifyToVideo(2384, 1));
    EXPECT_EQ(0, c().notifyToVideo(-1, -1));
    EXPECT_TRUE(video_.notifications().empty());
}

TEST_F(Dispatch, NotificationGoesToTheModuleAndItsStatusComesBack)
{
    video_.answerStatus(IA_CMD_UI_MIRROR, -6);
    EXPECT_EQ(-6, c().notifyToVideo(2384, 3));
    EXPECT_EQ(0, c().notifyToVideo(2385, -1));
    EXPECT_EQ((std::vector<FakeVideo::Notification>{{IA_CMD_UI_MIRROR, 3}, {IA_CMD_BEAWAY, -1}}),
              video_.notifications());
}

TEST_F(Dispatch, ModuleCanBeReplaced)
{
    FakeVideo other;
    c().setVideoStreamModule(&other);
    c().notifyToVideo(1, 2);
    EXPECT_TRUE(video_.notifications().empty());
    EXPECT_EQ(1U, other.notifications().size());
    c().setVideoStreamModule(&video_);
}

TEST_F(Dispatch, TakesNoLock)
{
    ControllerProbe::mutex(c()).Lock("test", __LINE__);
    u32 value = 1;
    int status = 0;
    EXPECT_EQ(0, c().doIaCmd(34, 0, &value));
    EXPECT_EQ(0, c().doIaCmd_User(34, 0, &value));
    EXPECT_TRUE(c().getCmdExecStatus(34, status));
    EXPECT_EQ(0, c().notifyToVideo(1, 2));
    ControllerProbe::mutex(c()).Unlock("test", __LINE__);
}

}  // namespace
