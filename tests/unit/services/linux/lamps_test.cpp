#include "services/linux/Lamps.h"

#include <gtest/gtest.h>

#include "services/linux/ControlIds.h"
#include "tests/unit/services/linux/ScriptedFiles.h"

namespace {

using devices::kLampFar;
using devices::kLampNear;
using devices::Lamps;
using devices::Role;
using devices::Setting;

class LampsTest : public testing::Test
{
protected:
    LampsTest()
    {
        files_.numbers = {{{Role::lampNear, "max_brightness"}, 255},
                          {{Role::lampNear, "brightness"}, 12},
                          {{Role::lampFar, "max_brightness"}, 1},
                          {{Role::lampFar, "brightness"}, 0}};
    }

    std::unique_ptr<Lamps> open()
    {
        return Lamps::open({{kLampNear, "front"}, {kLampFar, "back"}}, files_.files(), error_);
    }

    support::ScriptedFiles files_;
    int error_ = -1;
};

TEST_F(LampsTest, EachIsAControlUpToItsGreatestBrightness)
{
    const auto lamps = open();
    ASSERT_TRUE(lamps);
    EXPECT_EQ(0, error_);
    EXPECT_EQ(255, findControl(lamps->controls(), kLampNear)->maximum);
    EXPECT_EQ("front", findControl(lamps->controls(), kLampNear)->name);
    EXPECT_EQ(1, findControl(lamps->controls(), kLampFar)->maximum);
    std::int64_t value = 0;
    EXPECT_EQ(0, lamps->get(kLampNear, value));
    EXPECT_EQ(12, value);
}

TEST_F(LampsTest, AreSetEachByItsOwnFile)
{
    const auto lamps = open();
    std::vector<Setting> settings = {{kLampNear, 102}, {kLampFar, 1}};
    EXPECT_EQ(0, lamps->set(settings));
    EXPECT_EQ(102, (files_.numbers[{Role::lampNear, "brightness"}]));
    EXPECT_EQ(1, (files_.numbers[{Role::lampFar, "brightness"}]));
    settings = {{devices::kFilter, 1}};
    EXPECT_EQ(EINVAL, lamps->set(settings));
}

TEST_F(LampsTest, OneThatIsGoneIsALostDevice)
{
    const auto lamps = open();
    files_.numbers.erase({Role::lampFar, "brightness"});
    std::vector<Setting> settings = {{kLampFar, 1}};
    EXPECT_EQ(ENODEV, lamps->set(settings));
    files_.numbers.erase({Role::lampFar, "max_brightness"});
    EXPECT_FALSE(open());
    EXPECT_EQ(ENODEV, error_);
}

TEST_F(LampsTest, AreNotThereAnyMoreWhenOneHasGoneThoughItIsBack)
{
    const auto lamps = open();
    EXPECT_TRUE(lamps->isThere());
    files_.gone = {{Role::lampFar, "brightness"}};
    EXPECT_FALSE(lamps->isThere());
}

TEST_F(LampsTest, OneThatMayNotBeSetIsNotHeldByAnAutomatic)
{
    const auto lamps = open();
    files_.errors[{Role::lampNear, "brightness"}] = EACCES;
    std::vector<Setting> settings = {{kLampNear, 1}};
    EXPECT_EQ(EPERM, lamps->set(settings));
}

TEST_F(LampsTest, ABrightnessThatMakesNoSenseIsNoLamp)
{
    for (const double brightest : {0.0, -1.0, 1e12})
    {
        files_.numbers[{Role::lampNear, "max_brightness"}] = brightest;
        EXPECT_FALSE(open());
        EXPECT_EQ(EBADMSG, error_);
    }
}

}  // namespace
