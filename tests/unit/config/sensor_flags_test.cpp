#include "SensorFlags.h"

#include <gtest/gtest.h>

namespace {

const bool kShownAtFirst = g_bShowWDRFalg;  // before any test had a chance to change it

TEST(ShowWdrFlag, IsOnInANewProgram)
{
    EXPECT_TRUE(kShownAtFirst);
}

TEST(ShowWdrFlag, IsSetAndReadUnderItsMisspeltName)
{
    setshowWDRFalg(false);
    EXPECT_FALSE(getshowWDRFalg());
    EXPECT_FALSE(g_bShowWDRFalg);
    setshowWDRFalg(true);
    EXPECT_TRUE(getshowWDRFalg());
    EXPECT_TRUE(g_bShowWDRFalg);
}

}  // namespace
