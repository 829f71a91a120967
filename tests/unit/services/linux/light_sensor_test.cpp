#include "services/linux/LightSensor.h"

#include <gtest/gtest.h>

#include "tests/unit/services/linux/ScriptedFiles.h"

namespace {

class LightSensorTest : public testing::Test
{
protected:
    static support::ScriptedFiles::Name light(const std::string& name) { return {devices::Role::light, name}; }

    // Of a sensor that is met for the first time.
    std::optional<double> firstLux() { return devices::LightSensor(files_.files()).lux(); }

    support::ScriptedFiles files_;
    devices::LightSensor sensor_{files_.files()};
};

TEST_F(LightSensorTest, LuxAreReadWhereTheDriverGivesThem)
{
    files_.numbers = {{light("in_illuminance_input"), 11.28}, {light("in_illuminance_raw"), 5000}};
    EXPECT_EQ(11.28, sensor_.lux());
}

TEST_F(LightSensorTest, ElseTheyAreWorkedOutOfTheRawValue)
{
    files_.numbers = {{light("in_illuminance_raw"), 4000}, {light("in_illuminance_scale"), 0.5}};
    EXPECT_EQ(2000, firstLux());
    files_.numbers[light("in_illuminance_offset")] = -3000;
    EXPECT_EQ(500, firstLux());
    files_.numbers.erase(light("in_illuminance_scale"));
    EXPECT_EQ(1000, firstLux());
}

TEST_F(LightSensorTest, AChannelMayHaveANumber)
{
    files_.numbers = {{light("in_illuminance0_input"), 3}};
    EXPECT_EQ(3, firstLux());
}

TEST_F(LightSensorTest, IsNeverBelowZeroAndNeverBeyondAllNumbers)
{
    files_.numbers = {{light("in_illuminance_input"), -2}};
    EXPECT_EQ(0, firstLux());
    files_.numbers = {{light("in_illuminance_raw"), 1e300}, {light("in_illuminance_scale"), 1e300}};
    EXPECT_EQ(std::nullopt, firstLux());
}

TEST_F(LightSensorTest, ASensorThatIsGoneOrFailsGivesNothing)
{
    EXPECT_EQ(std::nullopt, sensor_.lux());
    files_.numbers = {{light("in_illuminance_input"), 3}};
    EXPECT_EQ(3, sensor_.lux());
    files_.errors[light("in_illuminance_input")] = EIO;
    EXPECT_EQ(std::nullopt, sensor_.lux());
    files_.errors.clear();
    EXPECT_EQ(3, sensor_.lux());
}

TEST_F(LightSensorTest, WithoutItsScaleARawValueIsNoLight)
{
    files_.numbers = {{light("in_illuminance_raw"), 4000}, {light("in_illuminance_scale"), 0.5}};
    EXPECT_EQ(2000, sensor_.lux());
    files_.errors[light("in_illuminance_scale")] = ENODEV;
    EXPECT_EQ(std::nullopt, sensor_.lux());
}

TEST_F(LightSensorTest, AnotherSensorMayComeBack)
{
    files_.numbers = {{light("in_illuminance_raw"), 4000}, {light("in_illuminance_scale"), 0.5}};
    EXPECT_EQ(2000, sensor_.lux());
    files_.numbers = {{light("in_illuminance0_input"), 30}};
    EXPECT_EQ(std::nullopt, sensor_.lux());
    EXPECT_EQ(30, sensor_.lux());
}

}  // namespace
