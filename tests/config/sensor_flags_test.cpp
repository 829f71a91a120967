#include "SensorFlags.h"

#include <gtest/gtest.h>

namespace {

TEST(ShowWdrFlag, IsSetAndReadUnderItsMisspeltName)
{
    EXPECT_TRUE(getshowWDRFalg());
    setshowWDRFalg(false);
    EXPECT_FALSE(getshowWDRFalg());
    EXPECT_FALSE(g_bShowWDRFalg);
    setshowWDRFalg(true);
    EXPECT_TRUE(getshowWDRFalg());
    EXPECT_TRUE(g_bShowWDRFalg);
}

}  // namespace
