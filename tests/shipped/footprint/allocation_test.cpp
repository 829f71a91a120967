#include <cstring>
#include <functional>
#include <iterator>

#include "tests/shipped/footprint/CountingAllocator.h"
#include "tests/shipped/footprint/QuietCamera.h"
#include "tests/support/KeyRows.h"

// What a camera does every second, and with every value that a host sets, asks for no memory: nothing fragments the
// heap of a camera that runs for years. All of it at debug level 1 and without a report: printing a message formats it,
// and a report writes a log file. The other ways to set values take or make texts and promise nothing of the kind.

using footprint::AllocationWatch;
using footprint::QuietCamera;

namespace {

// ---- turns of the sensor thread ------------------------------------------------------------------------------------

class SensorThreadTurn : public QuietCamera
{
protected:
    void setWindow(int scheme, int startHour, int endHour)
    {
        EXPECT_EQ(0, c().setKeyValToCache(scheme, KEY_SCHEME_ENABLE, 1, true));
        EXPECT_EQ(1, c().setKeyValToCache(scheme, KEY_SCHEME_START_HOUR, startHour, true));
        EXPECT_EQ(2, c().setKeyValToCache(scheme, KEY_SCHEME_START_MIN, 0, true));
        EXPECT_EQ(3, c().setKeyValToCache(scheme, KEY_SCHEME_END_HOUR, endHour, true));
        EXPECT_EQ(4, c().setKeyValToCache(scheme, KEY_SCHEME_END_MIN, 0, true));
    }

    // Every parameter that is sent differs between this scheme and the others.
    void makeDifferent(int scheme)
    {
        for (u32 row = 0; row < g_nKeyCmdNum; ++row)
        {
            unsigned int value = 0;
            if (g_pKeyCmdMap[row].cmd != 0 && c().getKeyValFromCache(scheme, g_pKeyCmdMap[row].key, value) != -1)
            {
                c().setKeyValToCache(scheme, g_pKeyCmdMap[row].key, value + 1, true);
            }
        }
    }

    // One turn, after which a scheme is in force, and how many values it sent at least.
    void expectQuietTurn(int expectedScheme, int sentAtLeast)
    {
        service_.sets = 0;
        AllocationWatch watch;
        const bool hasPassed = clock_->passTurn();
        const unsigned long allocations = watch.total();
        EXPECT_EQ(0U, allocations) << watch.firstCallers();
        ASSERT_TRUE(hasPassed);
        EXPECT_EQ(expectedScheme, scheme());
        EXPECT_GE(service_.sets, sentAtLeast);
    }
};

TEST_F(SensorThreadTurn, AllocatesNothingWhileThereIsNothingToDo)
{
    start("fixed");
    expectQuietTurn(0, 0);
    EXPECT_EQ(0, service_.sets);
}

TEST_F(SensorThreadTurn, AllocatesNothingInManualMode)
{
    start("fixed");
    c().setParamMode(0);
    expectQuietTurn(0, 0);
}

TEST_F(SensorThreadTurn, AllocatesNothingWhenTheClockSwitchesSchemes)
{
    start("fixed");
    setWindow(0, 8, 18);
    setWindow(1, 18, 20);
    makeDifferent(1);
    expectQuietTurn(0, 0);
    clock_->setTimeOfDay(1800);
    expectQuietTurn(1, 50);
    clock_->setTimeOfDay(2000);
    expectQuietTurn(4, 50);
    clock_->setTimeOfDay(800);
    expectQuietTurn(0, 0);
}

TEST_F(SensorThreadTurn, AllocatesNothingWhenDayAndNightSwitchSchemes)
{
    start("lpr");
    expectQuietTurn(0, 0);
    service_.dayNight = 1;
    expectQuietTurn(1, 50);
    service_.dayNight = 0;
    expectQuietTurn(0, 50);
}

TEST_F(SensorThreadTurn, AllocatesNothingWhenAWindowTakesOverFromDayAndNight)
{
    start("lpr");
    setWindow(2, 20, 21);
    setWindow(3, 21, 22);
    makeDifferent(3);
    expectQuietTurn(0, 0);
    clock_->setTimeOfDay(2000);
    expectQuietTurn(2, 50);
    clock_->setTimeOfDay(2100);
    expectQuietTurn(3, 50);
    clock_->setTimeOfDay(2200);
    expectQuietTurn(0, 50);
}

TEST_F(SensorThreadTurn, AllocatesNothingWhenTheServiceRefusesTheSwitch)
{
    start("lpr");
    service_.dayNight = 1;
    service_.status = -1;
    expectQuietTurn(1, 1);
}

// ---- one value -----------------------------------------------------------------------------------------------------

class SetParameter : public QuietCamera
{
protected:
    struct Outcome
    {
        int result;
        int sent;
    };

    // The outcome of one call, for which no memory was asked.
    Outcome quietly(const keycmd& row, int value, bool cache)
    {
        service_.sets = 0;
        AllocationWatch watch;
        const int result = c().setParameter(static_cast<int>(row.key), value, cache);
        const unsigned long allocations = watch.total();
        EXPECT_EQ(0U, allocations) << row.szKeyName << '\n' << watch.firstCallers();
        return {result, service_.sets};
    }

    void forEachRow(const std::function<void(const keycmd&)>& visit)
    {
        for (u32 row = 0; row < g_nKeyCmdNum; ++row)
        {
            visit(g_pKeyCmdMap[row]);
        }
    }

    static bool isStored(const keycmd& row) { return row.cmd == 0; }

    static bool isHandledBy(const keycmd& row, const char* handler)
    {
        return std::strcmp(row.szHandlerName, handler) == 0;
    }
};

TEST_F(SetParameter, AllocatesNothingForAChangedValueOfAnyKey)
{
    start("fixed");
    std::size_t rows = 0;
    forEachRow([&](const keycmd& row) {
        unsigned int value = 0;
        c().getKeyValFromCache(0, row.key, value);
        const Outcome outcome = quietly(row, static_cast<int>(value + 1), true);
        EXPECT_EQ(0, outcome.result) << row.szKeyName;
        EXPECT_EQ(isStored(row) ? 0 : 1, outcome.sent) << row.szKeyName;
        ++rows;
    });
    EXPECT_EQ(std::size(support::kKeyRows), rows);
}

TEST_F(SetParameter, AllocatesNothingForAnUnchangedValueOfAnyKey)
{
    start("fixed");
    int unchanged = 0;
    forEachRow([&](const keycmd& row) {
        unsigned int value = 0;
        if (c().getKeyValFromCache(0, row.key, value) != -1)
        {
            const Outcome outcome = quietly(row, static_cast<int>(value), true);
            EXPECT_EQ(0, outcome.result) << row.szKeyName;
            EXPECT_EQ(0, outcome.sent) << row.szKeyName;
            ++unchanged;
        }
    });
    EXPECT_GT(unchanged, 50);
}

TEST_F(SetParameter, AllocatesNothingForAValueThatIsNotRemembered)
{
    start("fixed");
    forEachRow([&](const keycmd& row) {
        const Outcome outcome = quietly(row, 1, false);
        EXPECT_EQ(0, outcome.result) << row.szKeyName;
        EXPECT_EQ(isStored(row) ? 0 : 1, outcome.sent) << row.szKeyName;
    });
}

TEST_F(SetParameter, AllocatesNothingWithWideDynamicRangeHidden)
{
    start("fixed");
    c().setShowWDRFalg(false);
    forEachRow([&](const keycmd& row) {
        if (isHandledBy(row, "&ISensorController::doHwdr"))
        {
            EXPECT_EQ(0, quietly(row, 1, true).sent);
        }
    });
    c().setShowWDRFalg(true);
}

// A refusal is a report where the handler goes on after it and answers for the video module.
TEST_F(SetParameter, AllocatesNothingForARefusedValueThatIsNotReported)
{
    start("fixed");
    int refused = 0;
    for (const int status : {-1, -2, -4, -5})
    {
        service_.status = status;
        forEachRow([&](const keycmd& row) {
            const bool isReported =
                isHandledBy(row, "&ISensorController::doHwdr") || isHandledBy(row, "&ISensorController::doImageAdjust");
            if (!isStored(row) && !isReported)
            {
                EXPECT_EQ(-static_cast<int>(row.key), quietly(row, 12345, true).result) << row.szKeyName;
                ++refused;
            }
        });
    }
    EXPECT_GT(refused, 4 * 70);
}

}  // namespace
