#include "services/daynight/Engine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <iterator>
#include <map>

#include "ia_ioctrl.h"

namespace {

using daynight::Engine;
using daynight::Mode;
using host::Span;
using namespace std::chrono_literals;

constexpr std::optional<double> kNoLight;

class DayNightEngine : public testing::Test
{
protected:
    DayNightEngine() { settings_.delay = 5s; }

    bool look(std::optional<double> lux)
    {
        last_ = engine_.look({now_, secondsOfDay_, lux, lampsShine_}, settings_);
        EXPECT_EQ(last_.night, engine_.night());
        return last_.night;
    }

    bool lookAfter(Span span, std::optional<double> lux)
    {
        now_ += span;
        return look(lux);
    }

    void startByDay() { ASSERT_FALSE(look(100)); }
    void startByNight() { ASSERT_TRUE(look(1)); }

    Engine engine_;
    daynight::Settings settings_;
    daynight::Decision last_{};
    Span now_ = 1h;
    double secondsOfDay_ = 12 * 3600;
    bool lampsShine_ = false;
};

// ---- the first look --------------------------------------------------------------------------------------------

TEST_F(DayNightEngine, BeforeTheFirstLookIsDay)
{
    EXPECT_FALSE(engine_.night());
    EXPECT_EQ(0U, engine_.movements());
}

TEST_F(DayNightEngine, AStartInTheDarkIsNightAtOnce)
{
    EXPECT_TRUE(look(19.9));
    EXPECT_EQ(0U, engine_.movements());
    EXPECT_EQ(now_, engine_.changedAt());
}

TEST_F(DayNightEngine, AStartAtTheThresholdIsDay)
{
    EXPECT_FALSE(look(20));
    EXPECT_EQ(0U, engine_.movements());
    EXPECT_EQ(now_, engine_.changedAt());
}

TEST_F(DayNightEngine, AStartWithLampsLitIsNightAndThenProvenToBeDay)
{
    lampsShine_ = true;
    EXPECT_TRUE(look(1000));
    EXPECT_FALSE(last_.lampsOff) << "their light has not been there for the delay";
    lookAfter(2s, 1000);
    lookAfter(5s, 1000);
    EXPECT_TRUE(last_.lampsOff);
    lampsShine_ = false;
    lookAfter(1s, 1000);
    EXPECT_FALSE(lookAfter(2s, 1000));
    EXPECT_EQ(1U, engine_.movements());
}

TEST_F(DayNightEngine, AStartWithoutLightGoesByTheTimes)
{
    secondsOfDay_ = 18 * 3600;
    EXPECT_TRUE(look(kNoLight));
    EXPECT_EQ(0U, engine_.movements());
    secondsOfDay_ = 6 * 3600;
    EXPECT_FALSE(lookAfter(1s, kNoLight)) << "as long as light has never been seen";
    EXPECT_EQ(1U, engine_.movements());
}

TEST_F(DayNightEngine, TheFirstLookObeysAFixedMode)
{
    settings_.mode = Mode::alwaysNight;
    EXPECT_TRUE(look(1000));
    EXPECT_EQ(0U, engine_.movements());
}

// ---- thresholds and delay --------------------------------------------------------------------------------------

TEST_F(DayNightEngine, BelowTheLowerThresholdItBecomesNightAfterTheDelay)
{
    startByDay();
    EXPECT_FALSE(lookAfter(1s, 19.9));
    EXPECT_FALSE(lookAfter(4999999us, 19.9));
    EXPECT_TRUE(lookAfter(1us, 19.9));
    EXPECT_EQ(now_, engine_.changedAt());
    EXPECT_EQ(1U, engine_.movements());
}

TEST_F(DayNightEngine, AtTheLowerThresholdItStaysDay)
{
    startByDay();
    lookAfter(1s, 20);
    EXPECT_FALSE(lookAfter(1h, 20));
}

TEST_F(DayNightEngine, AboveTheUpperThresholdItBecomesDayAfterTheDelay)
{
    startByNight();
    EXPECT_TRUE(lookAfter(1s, 60.1));
    EXPECT_TRUE(lookAfter(4999999us, 60.1));
    EXPECT_FALSE(lookAfter(1us, 60.1));
    EXPECT_EQ(1U, engine_.movements());
}

TEST_F(DayNightEngine, AtTheUpperThresholdItStaysNight)
{
    startByNight();
    lookAfter(1s, 60);
    EXPECT_TRUE(lookAfter(1h, 60));
}

TEST_F(DayNightEngine, AnUpperThresholdBelowTheLowerCountsAsThat)
{
    settings_.nightBelow = 80;
    settings_.dayAbove = 10;
    EXPECT_EQ(80, settings_.dayLevel());
    startByNight();
    lookAfter(1s, 80);
    EXPECT_TRUE(lookAfter(1h, 80));
    lookAfter(1s, 80.1);
    EXPECT_FALSE(lookAfter(5s, 80.1));
}

TEST_F(DayNightEngine, WithoutADelayOneLookIsEnough)
{
    settings_.delay = 0s;
    startByDay();
    EXPECT_TRUE(lookAfter(1us, 19));
    EXPECT_FALSE(lookAfter(1us, 61));
    EXPECT_EQ(2U, engine_.movements());
}

TEST_F(DayNightEngine, LightThatComesBackBeginsTheDelayAnew)
{
    startByDay();
    lookAfter(1s, 1);
    lookAfter(4s, 20);
    lookAfter(1s, 1);
    EXPECT_FALSE(lookAfter(4s, 1));
    EXPECT_TRUE(lookAfter(1s, 1));
}

TEST_F(DayNightEngine, ALateLookTellsWhenTheDelayWasOver)
{
    startByDay();
    lookAfter(1s, 1);
    const Span dark = now_;
    EXPECT_TRUE(lookAfter(1h, 1));
    EXPECT_EQ(dark + 5s, engine_.changedAt());
}

TEST_F(DayNightEngine, AShorterDelayIsNotOverBeforeTheLookBefore)
{
    settings_.delay = 60s;
    startByDay();
    lookAfter(1s, 1);
    lookAfter(40s, 1);
    const Span before = now_;
    settings_.delay = 5s;
    EXPECT_TRUE(lookAfter(1s, 1));
    EXPECT_EQ(before, engine_.changedAt());
}

TEST_F(DayNightEngine, NewThresholdsCountFromTheNextLook)
{
    startByDay();
    lookAfter(1h, 40);
    settings_.nightBelow = 50;
    EXPECT_FALSE(lookAfter(1s, 40));
    EXPECT_FALSE(lookAfter(4s, 40));
    EXPECT_TRUE(lookAfter(1s, 40));
}

// ---- modes -----------------------------------------------------------------------------------------------------

TEST_F(DayNightEngine, FixedModesDecideAtOnceWhateverTheLight)
{
    startByDay();
    settings_.mode = Mode::alwaysNight;
    EXPECT_TRUE(lookAfter(1s, 1000));
    EXPECT_EQ(now_, engine_.changedAt());
    settings_.mode = Mode::alwaysDay;
    EXPECT_FALSE(lookAfter(1s, 0));
    EXPECT_FALSE(lookAfter(1h, 0));
    EXPECT_EQ(2U, engine_.movements());
}

TEST_F(DayNightEngine, AModeThatWasChangedForAMomentBeginsTheDelayAnew)
{
    startByDay();
    lookAfter(1s, 1);
    lookAfter(4s, 1);
    settings_.mode = Mode::alwaysDay;
    look(1);
    settings_.mode = Mode::byLight;
    EXPECT_FALSE(lookAfter(1s, 1));
    EXPECT_FALSE(lookAfter(4s, 1));
    EXPECT_TRUE(lookAfter(1s, 1));
}

TEST_F(DayNightEngine, ByTimeItSwitchesAtTheMinutes)
{
    settings_.mode = Mode::byTime;
    settings_.duskMinutes = 18 * 60 + 30;
    settings_.dawnMinutes = 6 * 60 + 15;
    const std::map<double, bool> expected{{0, true},      {22499, true}, {22500, false},
                                          {66599, false}, {66600, true}, {86399, true}};
    for (const auto& [second, night] : expected)
    {
        secondsOfDay_ = second;
        EXPECT_EQ(night, lookAfter(1s, 1000)) << second;
    }
}

TEST_F(DayNightEngine, ByTimeANightMayLieWithinOneDay)
{
    settings_.mode = Mode::byTime;
    settings_.duskMinutes = 60;
    settings_.dawnMinutes = 300;
    const std::map<double, bool> expected{{0, false}, {3599, false}, {3600, true}, {17999, true}, {18000, false}};
    for (const auto& [second, night] : expected)
    {
        secondsOfDay_ = second;
        EXPECT_EQ(night, lookAfter(1s, 0)) << second;
    }
}

TEST_F(DayNightEngine, ByTimeEqualTimesAreAlwaysDay)
{
    settings_.mode = Mode::byTime;
    settings_.dawnMinutes = settings_.duskMinutes;
    secondsOfDay_ = 18 * 3600;
    EXPECT_FALSE(look(0));
}

TEST_F(DayNightEngine, AWallClockThatIsSetWhileTheLightWaitsChangesNothing)
{
    startByDay();
    lookAfter(1s, 1);
    secondsOfDay_ = 0;
    EXPECT_FALSE(lookAfter(4s, 1));
    EXPECT_TRUE(lookAfter(1s, 1));
}

TEST_F(DayNightEngine, AfterAReplacedClockTheDelayBeginsAnew)
{
    startByDay();
    lookAfter(1s, 1);
    now_ = 10s;
    engine_.settle(now_);
    EXPECT_FALSE(look(1));
    EXPECT_FALSE(lookAfter(4s, 1));
    EXPECT_TRUE(lookAfter(1s, 1));
    EXPECT_EQ(now_, engine_.changedAt());
}

TEST_F(DayNightEngine, AfterAReplacedClockAChangeIsToldInItsTime)
{
    settings_.delay = 0s;
    startByDay();
    now_ = 10s;
    engine_.settle(now_);
    EXPECT_TRUE(look(1));
    EXPECT_EQ(10s, engine_.changedAt());
}

// ---- no light --------------------------------------------------------------------------------------------------

TEST_F(DayNightEngine, LightThatCannotBeMeasuredBeginsTheDelayAnew)
{
    for (const std::optional<double> none : {kNoLight, std::optional<double>(std::nan(""))})
    {
        engine_ = {};
        startByDay();
        lookAfter(1s, 1);
        EXPECT_FALSE(lookAfter(5s, none));
        EXPECT_FALSE(lookAfter(1s, 1));
        EXPECT_FALSE(lookAfter(4s, 1));
        EXPECT_TRUE(lookAfter(1s, 1));
    }
}

TEST_F(DayNightEngine, WhatIsNoNumberIsNoDay)
{
    startByNight();
    EXPECT_TRUE(lookAfter(1s, std::nan("")));
    EXPECT_TRUE(lookAfter(5s, std::nan("")));
    EXPECT_FALSE(lookAfter(Engine::kLightGone - 6s, std::nan(""))) << "by the times, as without light";
}

TEST_F(DayNightEngine, WhenLightHasBeenMissingForLongTheTimesDecide)
{
    startByNight();
    EXPECT_TRUE(lookAfter(Engine::kLightGone - 1us, kNoLight));
    EXPECT_FALSE(lookAfter(1us, kNoLight));
    secondsOfDay_ = 20 * 3600;
    EXPECT_TRUE(lookAfter(1s, kNoLight));
    EXPECT_EQ(2U, engine_.movements());
}

TEST_F(DayNightEngine, LightThatIsBackDecidesAfterTheDelay)
{
    startByNight();
    EXPECT_FALSE(lookAfter(Engine::kLightGone, kNoLight));
    EXPECT_FALSE(lookAfter(1s, 1));
    EXPECT_FALSE(lookAfter(4999ms, 1));
    EXPECT_TRUE(lookAfter(1ms, 1));
    EXPECT_TRUE(lookAfter(Engine::kLightGone - 1us, kNoLight)) << "missing anew";
}

TEST_F(DayNightEngine, LightThatComesAndGoesDecidesUntilDuskOrDawn)
{
    settings_.lightComesAndGoes = true;
    startByNight();
    EXPECT_TRUE(lookAfter(10 * Engine::kLightGone, kNoLight)) << "though it is noon";
    secondsOfDay_ = 20 * 3600;
    EXPECT_TRUE(lookAfter(1s, kNoLight));
    secondsOfDay_ = 7 * 3600;
    EXPECT_FALSE(lookAfter(1s, kNoLight));
    EXPECT_EQ(1U, engine_.movements());
}

TEST_F(DayNightEngine, LightThatComesAndGoesMovesTheFilterOnceHoweverOften)
{
    settings_.lightComesAndGoes = true;
    secondsOfDay_ = 20 * 3600;
    EXPECT_TRUE(look(kNoLight)) << "by the times";
    for (int times = 0; times < 5; ++times)
    {
        lookAfter(1s, 300);
        EXPECT_FALSE(lookAfter(5s, 300));
        EXPECT_FALSE(lookAfter(2 * Engine::kLightGone, kNoLight));
    }
    EXPECT_EQ(1U, engine_.movements());
}

TEST_F(DayNightEngine, DuskWhileLightHasJustGoneIsNotForgotten)
{
    settings_.lightComesAndGoes = true;
    secondsOfDay_ = 18 * 3600 - 60;
    startByDay();
    secondsOfDay_ = 18 * 3600;
    EXPECT_FALSE(lookAfter(1min, kNoLight));
    EXPECT_TRUE(lookAfter(Engine::kLightGone - 1min, kNoLight));
}

TEST_F(DayNightEngine, AfterAnotherModeTheTimesDecideUntilLightComes)
{
    settings_.lightComesAndGoes = true;
    startByDay();
    settings_.mode = Mode::alwaysNight;
    EXPECT_TRUE(lookAfter(1h, kNoLight));
    settings_.mode = Mode::byLight;
    EXPECT_FALSE(lookAfter(1s, kNoLight));
}

TEST_F(DayNightEngine, LightThatIsSeenInAnotherModeIsNotMissing)
{
    startByNight();
    settings_.mode = Mode::alwaysNight;
    lookAfter(1h, 1);
    settings_.mode = Mode::byLight;
    EXPECT_TRUE(lookAfter(1s, kNoLight));
}

TEST_F(DayNightEngine, AfterAReplacedClockMissingLightIsAwaitedAnew)
{
    startByNight();
    lookAfter(Engine::kLightGone - 1us, kNoLight);
    engine_.settle(now_);
    EXPECT_TRUE(lookAfter(Engine::kLightGone - 1us, kNoLight));
    EXPECT_FALSE(lookAfter(1us, kNoLight));
}

// ---- the light of lamps ----------------------------------------------------------------------------------------

class LampProof : public DayNightEngine
{
protected:
    // Night, lamps lit and their light settled.
    void SetUp() override
    {
        startByNight();
        lampsShine_ = true;
        lookAfter(1s, 100);
        lookAfter(2s, 100);
    }

    // From light above the threshold on: the delay.
    void expectProofBegins()
    {
        EXPECT_TRUE(lookAfter(4999ms, 100));
        EXPECT_FALSE(last_.lampsOff);
        EXPECT_TRUE(lookAfter(1ms, 100)) << "night until it is proven";
        EXPECT_TRUE(last_.lampsOff);
    }

    // The lamps go off and the scene is dark without them.
    void fail(double lux)
    {
        lampsShine_ = false;
        lookAfter(100ms, lux);
        ASSERT_TRUE(last_.lampsOff);
        EXPECT_TRUE(lookAfter(2s, lux));
        EXPECT_FALSE(last_.lampsOff);
        failed_ = now_;
        lampsShine_ = true;
        lookAfter(100ms, 100);
    }

    // Looks every half second at so much light. True if the lamps go off a delay after the wait and not before.
    bool goesOffAfter(Span wait, double lux)
    {
        while (now_ + 500ms < failed_ + wait)
        {
            lookAfter(500ms, lux);
            if (last_.lampsOff)
            {
                ADD_FAILURE() << "off after " << (now_ - failed_) / 1ms << " ms";
                return false;
            }
        }
        for (const Span moment : {wait - 1us, wait, wait + 5s - 1us})
        {
            now_ = failed_ + moment;
            look(lux);
            EXPECT_FALSE(last_.lampsOff) << moment.count();
        }
        lookAfter(1us, lux);
        return last_.lampsOff;
    }

    Span failed_{0};
};

TEST_F(LampProof, LightOfLampsIsJudgedOnlyWithoutThem)
{
    expectProofBegins();
    lookAfter(1s, 100);
    EXPECT_TRUE(last_.lampsOff) << "they still shine";
    lampsShine_ = false;
    lookAfter(1s, 100);
    EXPECT_TRUE(last_.lampsOff);
    EXPECT_TRUE(lookAfter(1999999us, 100)) << "has not settled";
    EXPECT_TRUE(last_.lampsOff);
    EXPECT_FALSE(lookAfter(1us, 60.1));
    EXPECT_FALSE(last_.lampsOff);
    EXPECT_EQ(now_, engine_.changedAt());
    EXPECT_EQ(1U, engine_.movements());
}

TEST_F(LampProof, LightAtTheThresholdWithoutLampsIsNight)
{
    expectProofBegins();
    fail(60);
    EXPECT_TRUE(engine_.night());
    EXPECT_EQ(0U, engine_.movements());
}

TEST_F(LampProof, WaitsLongerEachTimeUpToALimit)
{
    expectProofBegins();
    for (const auto wait : {1min, 2min, 4min, 8min, 16min, 32min, 32min})
    {
        fail(1);
        EXPECT_TRUE(goesOffAfter(wait, 100)) << wait.count();
    }
    EXPECT_EQ(0U, engine_.movements());
}

TEST_F(LampProof, LightThatIsThereOnlyForAMomentBeginsNone)
{
    lookAfter(4s, 100);
    lookAfter(1s, 60);
    lookAfter(1s, 100);
    lookAfter(4s, 100);
    EXPECT_FALSE(last_.lampsOff);
    lookAfter(1s, 100);
    EXPECT_TRUE(last_.lampsOff);
}

TEST_F(LampProof, LightBeyondThatOfTheLampsCountsAtOnceAfterTheDelay)
{
    expectProofBegins();
    fail(10);  // the lamps give 90
    lookAfter(2s, 150);
    lookAfter(20s, 150);
    EXPECT_FALSE(last_.lampsOff);
    lookAfter(1s, 150.1);
    lookAfter(4999999us, 150.1);
    EXPECT_FALSE(last_.lampsOff);
    lookAfter(1us, 150.1);
    EXPECT_TRUE(last_.lampsOff);
}

TEST_F(LampProof, HeadlightsThatPassLitLampsBeginNone)
{
    expectProofBegins();
    fail(10);
    lookAfter(2s, 100);
    lookAfter(1s, 1000);
    lookAfter(4s, 1000);
    lookAfter(1s, 100);
    lookAfter(10s, 100);
    EXPECT_FALSE(last_.lampsOff);
}

TEST_F(LampProof, TheMostThatLampsWereFoundToGiveCounts)
{
    expectProofBegins();
    fail(10);
    EXPECT_TRUE(goesOffAfter(1min, 70));
    fail(10);  // 60 this time
    lookAfter(2s, 150);
    lookAfter(20s, 150);
    EXPECT_FALSE(last_.lampsOff);
    lookAfter(1s, 151);
    lookAfter(5s, 151);
    EXPECT_TRUE(last_.lampsOff);
}

TEST_F(LampProof, ADayForgetsTheWaits)
{
    expectProofBegins();
    fail(1);
    EXPECT_TRUE(goesOffAfter(1min, 100));
    lampsShine_ = false;
    lookAfter(1s, 100);
    ASSERT_FALSE(lookAfter(2s, 100));
    lookAfter(1s, 1);
    ASSERT_TRUE(lookAfter(5s, 1));
    lampsShine_ = true;
    lookAfter(1s, 100);
    lookAfter(2s, 100);
    expectProofBegins();
    fail(1);
    EXPECT_TRUE(goesOffAfter(1min, 100));
}

TEST_F(LampProof, ADayForgetsWhatLampsGave)
{
    lookAfter(1s, 1000);
    lookAfter(5s, 1000);
    ASSERT_TRUE(last_.lampsOff);
    lampsShine_ = false;
    lookAfter(1s, 100);
    ASSERT_FALSE(lookAfter(2s, 100)) << "and they gave 900";
    lookAfter(1s, 1);
    ASSERT_TRUE(lookAfter(5s, 1));
    lampsShine_ = true;
    lookAfter(1s, 100);
    lookAfter(2s, 100);
    expectProofBegins();
}

TEST_F(LampProof, LampsThatStayOnEndItWithoutADay)
{
    expectProofBegins();
    EXPECT_TRUE(lookAfter(Engine::kLongestProof - 1us, 100));
    EXPECT_TRUE(last_.lampsOff);
    EXPECT_TRUE(lookAfter(1us, 100));
    EXPECT_FALSE(last_.lampsOff);
    failed_ = now_;
    EXPECT_TRUE(goesOffAfter(1min, 1000)) << "what they give is not known";
    lookAfter(Engine::kLongestProof, 1000);
    EXPECT_FALSE(last_.lampsOff);
    failed_ = now_;
    EXPECT_TRUE(goesOffAfter(2min, 1000));
}

TEST_F(LampProof, OneWithoutAResultForgetsWhatLampsGave)
{
    expectProofBegins();
    fail(10);
    EXPECT_TRUE(goesOffAfter(1min, 100));
    lookAfter(Engine::kLongestProof, 100);
    ASSERT_FALSE(last_.lampsOff);
    failed_ = now_;
    EXPECT_TRUE(goesOffAfter(2min, 1000));
}

TEST_F(LampProof, WithoutLightItEndsToo)
{
    expectProofBegins();
    lampsShine_ = false;
    lookAfter(1s, kNoLight);
    EXPECT_TRUE(lookAfter(8999999us, kNoLight));
    EXPECT_TRUE(last_.lampsOff);
    EXPECT_TRUE(lookAfter(1us, kNoLight));
    EXPECT_FALSE(last_.lampsOff);
}

TEST_F(LampProof, AnotherModeEndsItAtOnce)
{
    for (const auto mode : {Mode::alwaysDay, Mode::alwaysNight, Mode::byTime})
    {
        engine_ = {};
        lampsShine_ = false;
        SetUp();
        expectProofBegins();
        settings_.mode = mode;
        EXPECT_EQ(mode == Mode::alwaysNight, lookAfter(1s, 100));
        EXPECT_FALSE(last_.lampsOff);
        settings_.mode = Mode::byLight;
    }
}

TEST_F(LampProof, AnotherModeForgetsTheWaits)
{
    expectProofBegins();
    fail(1);
    settings_.mode = Mode::alwaysNight;
    lookAfter(2s, 100);
    settings_.mode = Mode::byLight;
    lookAfter(1s, 100);
    expectProofBegins();
}

TEST_F(LampProof, AnotherModeForgetsWhatLampsGave)
{
    lookAfter(1s, 1000);
    lookAfter(5s, 1000);
    ASSERT_TRUE(last_.lampsOff);
    fail(10);  // they gave 990
    settings_.mode = Mode::alwaysNight;
    lookAfter(2s, 100);
    settings_.mode = Mode::byLight;
    lookAfter(1s, 100);
    expectProofBegins();
    fail(10);  // 90 from now on
    lookAfter(2s, 151);
    lookAfter(5s, 151);
    EXPECT_TRUE(last_.lampsOff);
}

TEST_F(LampProof, AReplacedClockEndsItAndBeginsTheWaitAnew)
{
    expectProofBegins();
    fail(1);
    EXPECT_TRUE(goesOffAfter(1min, 100));
    fail(1);
    lookAfter(90s, 100);
    now_ = 10s;
    engine_.settle(now_);
    failed_ = now_;
    look(100);
    EXPECT_TRUE(goesOffAfter(2min, 100));
    engine_.settle(now_);
    look(100);
    EXPECT_FALSE(last_.lampsOff);
}

TEST_F(LampProof, LampsSwitchedOffByHandAreNotTakenForADay)
{
    lookAfter(4s, 100);
    lampsShine_ = false;
    EXPECT_TRUE(lookAfter(1s, 100)) << "measured while they went off";
    EXPECT_TRUE(lookAfter(1999999us, 100));
    EXPECT_TRUE(lookAfter(1us, 100)) << "from here on the light counts";
    EXPECT_TRUE(lookAfter(4999999us, 100));
    EXPECT_FALSE(lookAfter(1us, 100)) << "day without lamps";
    EXPECT_FALSE(last_.lampsOff);
}

TEST_F(LampProof, LightWithoutLampsNeedsNone)
{
    engine_ = {};
    lampsShine_ = false;
    startByNight();
    lookAfter(1s, 100);
    EXPECT_FALSE(lookAfter(5s, 100));
    EXPECT_FALSE(last_.lampsOff);
}

// ---- words and exposure ----------------------------------------------------------------------------------------

TEST(DayNightSettings, AreMadeOfTheWords)
{
    const std::map<u32, int> words{{IA_CMD_DN_MODE, 3}, {IA_CMD_DTN_THR, 11}, {IA_CMD_NTD_THR, 22}, {IA_CMD_DELAY, 7},
                                   {IA_CMD_DTN_H, 19},  {IA_CMD_DTN_M, 5},    {IA_CMD_NTD_H, 4},    {IA_CMD_NTD_M, 50}};
    const daynight::Settings settings = daynight::settingsOf([&](u32 cmd) { return words.at(cmd); });
    EXPECT_EQ(Mode::byTime, settings.mode);
    EXPECT_EQ(11, settings.nightBelow);
    EXPECT_EQ(22, settings.dayAbove);
    EXPECT_EQ(7s, settings.delay);
    EXPECT_EQ(19 * 60 + 5, settings.duskMinutes);
    EXPECT_EQ(4 * 60 + 50, settings.dawnMinutes);
}

TEST(LightFromExposure, IsThatOfAnIncidentLightMeter)
{
    EXPECT_DOUBLE_EQ(500, *daynight::lightFromExposure(20ms, 1));
    EXPECT_DOUBLE_EQ(31.25, *daynight::lightFromExposure(20ms, 16));
    EXPECT_DOUBLE_EQ(100000, *daynight::lightFromExposure(100us, 1));
}

TEST(LightFromExposure, FallsAsExposureOrGainRises)
{
    const Span exposures[] = {1us, 50us, 100us, 10ms, 333333us};
    const double gains[] = {0.5, 1, 1.5, 64};
    for (std::size_t i = 1; i < std::size(exposures); ++i)
    {
        for (std::size_t j = 1; j < std::size(gains); ++j)
        {
            const double lux = *daynight::lightFromExposure(exposures[i], gains[j]);
            EXPECT_GT(lux, 0);
            EXPECT_LT(lux, *daynight::lightFromExposure(exposures[i - 1], gains[j]));
            EXPECT_LT(lux, *daynight::lightFromExposure(exposures[i], gains[j - 1]));
        }
    }
}

TEST(LightFromExposure, IsNothingWithoutAnExposureOrAGain)
{
    EXPECT_FALSE(daynight::lightFromExposure(0us, 1));
    EXPECT_FALSE(daynight::lightFromExposure(-1us, 1));
    EXPECT_FALSE(daynight::lightFromExposure(20ms, 0));
    EXPECT_FALSE(daynight::lightFromExposure(20ms, -1));
    EXPECT_FALSE(daynight::lightFromExposure(20ms, std::nan("")));
}

}  // namespace
