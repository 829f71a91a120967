#include "tests/support/ControllerFixture.h"

using namespace support;

namespace {

// Records of the small camera in order: 0 to 4 the schedule, 5 brightness, 6 saturation.
class Cache : public UpFixture
{
protected:
    void SetUp() override
    {
        UpFixture::SetUp();
        setValue(0, KEY_BRIGHTNESS, 10);
        setValue(1, KEY_BRIGHTNESS, 20);
    }
};

TEST_F(Cache, ReadsEachSchemesOwnValueAndGivesItsPosition)
{
    u32 value = 0;
    EXPECT_EQ(5, c().getKeyValFromCache(0, KEY_BRIGHTNESS, value));
    EXPECT_EQ(10U, value);
    EXPECT_EQ(5, c().getKeyValFromCache(1, KEY_BRIGHTNESS, value));
    EXPECT_EQ(20U, value);
}

TEST_F(Cache, FirstRecordHasPositionZero)
{
    u32 value = 0;
    EXPECT_EQ(0, c().getKeyValFromCache(0, KEY_SCHEME_ENABLE, value));
    EXPECT_EQ(1U, value);
}

TEST_F(Cache, WritesOneSchemeAndGivesThePosition)
{
    EXPECT_EQ(5, c().setKeyValToCache(1, KEY_BRIGHTNESS, 77, false));
    EXPECT_EQ(77U, valueOf(1, KEY_BRIGHTNESS));
    EXPECT_EQ(10U, valueOf(0, KEY_BRIGHTNESS));
    EXPECT_EQ(0, c().setKeyValToCache(1, KEY_SCHEME_ENABLE, 1, false));
}

TEST_F(Cache, FactoryEntryCanBeReadButOnlyForcedToChange)
{
    u32 value = 0;
    EXPECT_EQ(5, c().getKeyValFromCache(3, KEY_BRIGHTNESS, value));
    EXPECT_EQ(50U, value);
    EXPECT_EQ(-2, c().setKeyValToCache(3, KEY_BRIGHTNESS, 99, false));
    EXPECT_EQ(50U, valueOf(3, KEY_BRIGHTNESS));
    EXPECT_EQ(5, c().setKeyValToCache(3, KEY_BRIGHTNESS, 99, true));
    EXPECT_EQ(99U, valueOf(3, KEY_BRIGHTNESS));
}

TEST_F(Cache, UnforcedWriteBeyondTheSchemesIsRefused)
{
    EXPECT_EQ(-2, c().setKeyValToCache(4, KEY_BRIGHTNESS, 1, false));
    EXPECT_EQ(-2, c().setKeyValToCache(static_cast<u32>(-1), KEY_BRIGHTNESS, 1, false));
    EXPECT_EQ(-2, c().setKeyValToCache(4, 4711, 1, false));
}

TEST_F(Cache, ForcedWriteBeyondTheFactoryEntryChangesNothing)
{
    EXPECT_LT(c().setKeyValToCache(4, KEY_BRIGHTNESS, 1, true), 0);
    EXPECT_LT(c().setKeyValToCache(static_cast<u32>(-1), KEY_BRIGHTNESS, 1, true), 0);
}

TEST_F(Cache, SchemeAboveTheFactoryEntryCannotBeRead)
{
    u32 value = 123;
    EXPECT_EQ(-1, c().getKeyValFromCache(4, KEY_BRIGHTNESS, value));
    EXPECT_EQ(-1, c().getKeyValFromCache(static_cast<u32>(-1), KEY_BRIGHTNESS, value));
    EXPECT_EQ(123U, value);
}

TEST_F(Cache, InvalidSchemeIsPrintedFromLevelSixOn)
{
    u32 value = 0;
    const auto read = [&] { c().getKeyValFromCache(4, KEY_BRIGHTNESS, value); };
    setDebug(5);
    EXPECT_EQ("", outputOf(read));
    setDebug(6);
    EXPECT_EQ(plain("can not find val, invalid sheme(4) \n"), outputOf(read));
    EXPECT_EQ(plain("can not find val, invalid sheme(-1) \n"),
              outputOf([&] { c().getKeyValFromCache(static_cast<u32>(-1), KEY_BRIGHTNESS, value); }));
}

TEST_F(Cache, KeyThatASchemeLacksGivesMinusOneInSilence)
{
    setDebug(9);
    u32 value = 123;
    EXPECT_EQ("", outputOf([&] {
                  EXPECT_EQ(-1, c().getKeyValFromCache(0, KEY_GAMMA, value));
                  EXPECT_EQ(-1, c().setKeyValToCache(0, KEY_GAMMA, 1, false));
                  EXPECT_EQ(-1, c().setKeyValToCache(3, KEY_GAMMA, 1, true));
              }));
    EXPECT_EQ(123U, value);
}

TEST_F(Cache, WithoutRecordsNothingIsFound)
{
    ISensorController fresh;
    u32 value = 123;
    EXPECT_EQ(-1, fresh.getKeyValFromCache(0, KEY_BRIGHTNESS, value));
    EXPECT_EQ(-1, fresh.setKeyValToCache(0, KEY_BRIGHTNESS, 1, false));
    EXPECT_EQ(-1, fresh.setKeyValToCache(9, KEY_BRIGHTNESS, 1, true));
    EXPECT_EQ(123U, value);
}

TEST_F(Cache, FirstOfTwoRecordsWithOneKeyIsUsed)
{
    KeyVal* records = ControllerProbe::userKeyVal(c())[0];
    records[6].key = KEY_BRIGHTNESS;
    records[6].value = 66;
    u32 value = 0;
    EXPECT_EQ(5, c().getKeyValFromCache(0, KEY_BRIGHTNESS, value));
    EXPECT_EQ(10U, value);
    EXPECT_EQ(5, c().setKeyValToCache(0, KEY_BRIGHTNESS, 11, false));
    EXPECT_EQ(66U, records[6].value);
}

TEST_F(Cache, NewestComparesWithTheCurrentScheme)
{
    ControllerProbe::lastScheme(c()) = 1;
    makeCurrent(0);
    EXPECT_TRUE(c().isKeyValNewest({KEY_BRIGHTNESS, 10}));
    EXPECT_FALSE(c().isKeyValNewest({KEY_BRIGHTNESS, 20}));
}

TEST_F(Cache, NewestComparesWithTheLastSchemeDuringASwitch)
{
    ControllerProbe::lastScheme(c()) = 1;
    makeCurrent(0);
    setFlags(kSwitchingBit);
    EXPECT_FALSE(c().isKeyValNewest({KEY_BRIGHTNESS, 10}));
    EXPECT_TRUE(c().isKeyValNewest({KEY_BRIGHTNESS, 20}));
    setFlags(0);
}

TEST_F(Cache, ValueOfPositionZeroCanBeNewest)
{
    makeCurrent(0);
    EXPECT_TRUE(c().isKeyValNewest({KEY_SCHEME_ENABLE, 1}));
    EXPECT_FALSE(c().isKeyValNewest({KEY_SCHEME_ENABLE, 0}));
}

TEST_F(Cache, AbsentKeyIsNeverNewest)
{
    makeCurrent(0);
    EXPECT_FALSE(c().isKeyValNewest({KEY_GAMMA, 0}));
}

TEST_F(Cache, NothingIsNewestWithoutAScheme)
{
    makeCurrent(-1);
    EXPECT_FALSE(c().isKeyValNewest({KEY_BRIGHTNESS, 10}));
}

TEST_F(Cache, DefaultSchemeIsComparedToo)
{
    makeCurrent(3);
    EXPECT_TRUE(c().isKeyValNewest({KEY_BRIGHTNESS, 50}));
}

}  // namespace
