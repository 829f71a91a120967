#include "services/linux/LightSensor.h"

#include <gtest/gtest.h>

#include "tests/unit/services/linux/ScriptedFiles.h"

namespace {

class LightSensorTest : public testing::Test
{
protected:
    support::ScriptedFiles files_;
    devices::LightSensor sensor_{"/iio", files_.files()};
};

TEST_F(LightSensorTest, LuxAreReadWhereTheDriverGivesThem)
{
    files_.numbers = {{"/iio/in_illuminance_input", 11.28}, {"/iio/in_illuminance_raw", 5000}};
    EXPECT_EQ(11.28, sensor_.lux());
}

TEST_F(LightSensorTest, ElseTheyAreWorkedOutOfTheRawValue)
{
    files_.numbers = {{"/iio/in_illuminance_raw", 4000}, {"/iio/in_illuminance_scale", 0.5}};
    EXPECT_EQ(2000, sensor_.lux());
    files_.numbers["/iio/in_illuminance_offset"] = -3000;
    EXPECT_EQ(500, sensor_.lux());
    files_.numbers.erase("/iio/in_illuminance_scale");
    EXPECT_EQ(1000, sensor_.lux());
}

TEST_F(LightSensorTest, AChannelMayHaveANumber)
{
    files_.numbers = {{"/iio/in_illuminance0_input", 3}};
    EXPECT_EQ(3, sensor_.lux());
}

TEST_F(LightSensorTest, IsNeverBelowZeroAndNeverBeyondAllNumbers)
{
    files_.numbers = {{"/iio/in_illuminance_input", -2}};
    EXPECT_EQ(0, sensor_.lux());
    files_.numbers = {{"/iio/in_illuminance_raw", 1e300}, {"/iio/in_illuminance_scale", 1e300}};
    EXPECT_EQ(std::nullopt, sensor_.lux());
}

TEST_F(LightSensorTest, ASensorThatIsGoneOrFailsGivesNothing)
{
    EXPECT_EQ(std::nullopt, sensor_.lux());
    files_.numbers = {{"/iio/in_illuminance_input", 3}};
    EXPECT_EQ(3, sensor_.lux());
    files_.errors["/iio/in_illuminance_input"] = EIO;
    EXPECT_EQ(std::nullopt, sensor_.lux());
}

}  // namespace
