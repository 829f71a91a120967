#include "tests/support/ControllerFixture.h"

#include "tests/support/TestName.h"

using namespace support;

namespace {

class Lens : public ControllerFixture
{
protected:
    void SetUp() override
    {
        ControllerFixture::SetUp();
        construct();
    }
};

// ---- steps -----------------------------------------------------------------------------------------------------

struct Step
{
    const char* name;
    bool (ISensorController::*move)();
    Sent mode;
    Sent step;
};

void PrintTo(const Step& step, std::ostream* stream)
{
    *stream << step.name;
}

class LensStep : public Lens, public testing::WithParamInterface<Step>
{
protected:
    bool move() { return (c().*GetParam().move)(); }
};

TEST_P(LensStep, SetsTheModeThatAcceptsStepsFirst)
{
    EXPECT_TRUE(move());
    EXPECT_EQ((std::vector<Sent>{GetParam().mode, GetParam().step}), service_.all());
}

TEST_P(LensStep, IsNotMadeWhenTheModeFails)
{
    service_.answerStatus(GetParam().mode.cmd, 0, -1);
    EXPECT_FALSE(move());
    EXPECT_EQ((std::vector<Sent>{GetParam().mode}), service_.all());
}

TEST_P(LensStep, FailsWithTheService)
{
    service_.answerStatus(GetParam().step.cmd, 0, 5);
    EXPECT_EQ("", outputOf([&] { EXPECT_FALSE(move()); }));
}

INSTANTIATE_TEST_SUITE_P(Steps, LensStep,
                         testing::Values(Step{"FocusFar", &ISensorController::focusFar, {1536, 0, 1}, {1554, 0, 1}},
                                         Step{"FocusNear", &ISensorController::focusNear, {1536, 0, 1}, {1553, 0, 1}},
                                         Step{"IrisUp", &ISensorController::irisUp, {16, 0, 3}, {83, 0, 1}},
                                         Step{"IrisDown", &ISensorController::irisDown, {16, 0, 3}, {84, 0, 1}}),
                         ByName());

TEST_F(Lens, ZoomStepsAreSingleCommands)
{
    EXPECT_TRUE(c().zoomIn());
    EXPECT_TRUE(c().zoomOut());
    EXPECT_EQ((std::vector<Sent>{{IA_CMD_ZOOM_IN, IA_CMD_OPT_SET, 1}, {IA_CMD_ZOOM_OUT, IA_CMD_OPT_SET, 1}}),
              service_.all());
    service_.answerStatus(IA_CMD_ZOOM_IN, IA_CMD_OPT_SET, -1);
    service_.answerStatus(IA_CMD_ZOOM_OUT, IA_CMD_OPT_SET, -1);
    EXPECT_FALSE(c().zoomIn());
    EXPECT_FALSE(c().zoomOut());
}

// ---- values ----------------------------------------------------------------------------------------------------

struct Setter
{
    const char* name;
    bool (ISensorController::*set)(int);
    u32 cmd;
};

void PrintTo(const Setter& setter, std::ostream* stream)
{
    *stream << setter.name;
}

class LensSetter : public Lens, public testing::WithParamInterface<Setter>
{
};

TEST_P(LensSetter, SendsTheValueAndTellsSuccess)
{
    EXPECT_TRUE((c().*GetParam().set)(-12));
    EXPECT_EQ((std::vector<Sent>{{GetParam().cmd, 0, static_cast<u32>(-12)}}), service_.all());
    for (const int status : {-1, 2})
    {
        service_.answerStatus(GetParam().cmd, 0, status);
        EXPECT_FALSE((c().*GetParam().set)(1));
    }
}

INSTANTIATE_TEST_SUITE_P(Setters, LensSetter,
                         testing::Values(Setter{"Zoom", &ISensorController::setZoomValue, 1568},
                                         Setter{"RunState", &ISensorController::setPTZRunState, 1632},
                                         Setter{"Focus", &ISensorController::setFocusValue, 1552},
                                         Setter{"FocusMode", &ISensorController::setFocusMode, 1536}),
                         ByName());

struct Getter
{
    const char* name;
    bool (ISensorController::*get)(int&);
    u32 cmd;
};

void PrintTo(const Getter& getter, std::ostream* stream)
{
    *stream << getter.name;
}

class LensGetter : public Lens, public testing::WithParamInterface<Getter>
{
};

TEST_P(LensGetter, ReadsTheValueAndTellsSuccess)
{
    service_.answerValue(GetParam().cmd, 1, static_cast<u32>(-12));
    int value = 5;
    EXPECT_TRUE((c().*GetParam().get)(value));
    EXPECT_EQ(-12, value);
    ASSERT_EQ(1U, service_.calls().size());
    EXPECT_EQ(GetParam().cmd, service_.calls()[0].cmd);
    EXPECT_EQ(1, service_.calls()[0].opt);
    service_.answerStatus(GetParam().cmd, 1, -1);
    EXPECT_EQ("", outputOf([&] { EXPECT_FALSE((c().*GetParam().get)(value)); }));
}

INSTANTIATE_TEST_SUITE_P(Getters, LensGetter,
                         testing::Values(Getter{"Focus", &ISensorController::getFocusValue, 1552},
                                         Getter{"FocusMode", &ISensorController::getFocusMode, 1536},
                                         Getter{"DayNight", &ISensorController::getDNMode, 153},
                                         Getter{"WideDynamicRange", &ISensorController::getWDR, 2368}),
                         ByName());

TEST_F(Lens, FocusStatisticIsUnsigned)
{
    service_.answerValue(IA_CMD_AF_STATISTIC, IA_CMD_OPT_GET, 0xFFFFFFF0U);
    unsigned statistic = 0;
    EXPECT_TRUE(c().getAFStatistic(statistic));
    EXPECT_EQ(0xFFFFFFF0U, statistic);
    EXPECT_EQ(1, service_.calls().at(0).opt);
    service_.answerStatus(IA_CMD_AF_STATISTIC, IA_CMD_OPT_GET, -1);
    EXPECT_FALSE(c().getAFStatistic(statistic));
}

// ---- zoom ratio ------------------------------------------------------------------------------------------------

constexpr int kTable[] = {16384, 24576, 27264, 28672, 29056, 29440, 29728, 30016,
                          30208, 30400, 30560, 30720, 30912, 31104, 31232, 31424};

class ZoomRatio : public Lens
{
protected:
    int ratioAt(int position)
    {
        service_.answerValue(IA_CMD_MZ_POSITION, IA_CMD_OPT_GET, static_cast<u32>(position));
        int read = -1;
        int ratio = -77;
        EXPECT_TRUE(c().getZoomValue(read, ratio));
        EXPECT_EQ(position, read);
        return ratio;
    }
};

TEST_F(ZoomRatio, TablePositionsAreWholeMagnifications)
{
    for (int i = 0; i < 16; ++i)
    {
        EXPECT_EQ((i + 1) * 1000, ratioAt(kTable[i])) << kTable[i];
    }
}

TEST_F(ZoomRatio, BelowTheTableIsOne)
{
    EXPECT_EQ(1000, ratioAt(0));
    EXPECT_EQ(1000, ratioAt(1));
    EXPECT_EQ(1000, ratioAt(16383));
}

TEST_F(ZoomRatio, BetweenPositionsIsInterpolatedAndRoundedUp)
{
    EXPECT_EQ(1500, ratioAt(20480));
    EXPECT_EQ(1001, ratioAt(16385));
    EXPECT_EQ(2000, ratioAt(24575));
    EXPECT_EQ(2001, ratioAt(24577));
    EXPECT_EQ(15006, ratioAt(31233));
    EXPECT_EQ(15995, ratioAt(31423));
}

TEST_F(ZoomRatio, EveryPositionFollowsTheTable)
{
    for (int position = 16385; position <= 31424; ++position)
    {
        int i = 1;
        while (position > kTable[i])
        {
            ++i;
        }
        const int expected = (i + 1) * 1000 - 1000 * (kTable[i] - position) / (kTable[i] - kTable[i - 1]);
        ASSERT_EQ(expected, ratioAt(position)) << position;
        service_.clearCalls();
    }
}

TEST_F(ZoomRatio, AboveTheTableTheRatioIsUntouchedAndTheResultTrue)
{
    EXPECT_EQ(-77, ratioAt(31425));
    EXPECT_EQ(-77, ratioAt(INT32_MAX));
}

TEST_F(ZoomRatio, NegativePositionsAreHugeOnes)
{
    // The table is unsigned.
    EXPECT_EQ(-77, ratioAt(-1));
}

TEST_F(ZoomRatio, FailureLeavesTheRatioAlone)
{
    service_.answerStatus(IA_CMD_MZ_POSITION, IA_CMD_OPT_GET, -1);
    int position = 3;
    int ratio = -77;
    EXPECT_FALSE(c().getZoomValue(position, ratio));
    EXPECT_EQ(3, position);
    EXPECT_EQ(-77, ratio);
}

// ---- the rest --------------------------------------------------------------------------------------------------

TEST_F(Lens, TakesNoLock)
{
    ControllerProbe::mutex(c()).Lock("test", __LINE__);
    int value = 0;
    unsigned statistic = 0;
    EXPECT_TRUE(c().focusFar() && c().focusNear() && c().irisUp() && c().irisDown() && c().zoomIn() && c().zoomOut());
    EXPECT_TRUE(c().setZoomValue(1) && c().getZoomValue(value, value) && c().setPTZRunState(1));
    EXPECT_TRUE(c().setFocusValue(1) && c().getFocusValue(value) && c().setFocusMode(1) && c().getFocusMode(value));
    EXPECT_TRUE(c().getAFStatistic(statistic) && c().getWDR(value));
    ControllerProbe::mutex(c()).Unlock("test", __LINE__);
}

TEST_F(Lens, ControlsAreNotHeldBackByBulkApplication)
{
    setFlags(kSwitchingBit);
    EXPECT_TRUE(c().zoomIn());
    EXPECT_TRUE(c().focusFar());
    EXPECT_EQ(3U, service_.calls().size());
    setFlags(0);
}

}  // namespace
