#include "app/web/LoginLimits.h"

#include <gtest/gtest.h>

namespace web {
namespace {

using std::chrono::seconds;

class LoginLimitsTest : public testing::Test
{
protected:
    // Seconds to wait.
    long take(const std::string& address, const std::string& name)
    {
        return std::chrono::ceil<seconds>(limits_.take(address, name, now_)).count();
    }

    LoginLimits limits_;
    LoginLimits::Time now_{seconds(1'000'000)};
};

TEST_F(LoginLimitsTest, AnAddressHasFiveAttemptsAndThenOneEachHalfMinute)
{
    for (int i = 0; i < 5; ++i)
    {
        EXPECT_EQ(take("192.0.2.1", "name" + std::to_string(i)), 0);
    }
    EXPECT_EQ(take("192.0.2.1", "other"), 30);
    EXPECT_EQ(take("192.0.2.2", "other"), 0);
    now_ += seconds(29);
    EXPECT_EQ(take("192.0.2.1", "other"), 1);
    now_ += seconds(1);
    EXPECT_EQ(take("192.0.2.1", "other"), 0);
    EXPECT_EQ(take("192.0.2.1", "other"), 30);
}

TEST_F(LoginLimitsTest, ANameHasTenAttemptsFromWhereverTheyCome)
{
    for (int i = 0; i < 10; ++i)
    {
        EXPECT_EQ(take("192.0.2." + std::to_string(i), "anna"), 0);
    }
    EXPECT_EQ(take("198.51.100.1", "anna"), 30);
    EXPECT_EQ(take("198.51.100.1", "otto"), 0);
}

TEST_F(LoginLimitsTest, WhatIsRefusedOrGivenBackDoesNotCount)
{
    for (int i = 0; i < 5; ++i)
    {
        take("192.0.2.1", "anna");
    }
    for (int i = 0; i < 100; ++i)
    {
        EXPECT_EQ(take("192.0.2.1", "anna"), 30);
    }
    limits_.giveBack("192.0.2.1", "anna");
    EXPECT_EQ(take("192.0.2.1", "anna"), 0);
}

TEST_F(LoginLimitsTest, AfterALongTimeThereAreAsManyAsAtTheBeginningAndNoMore)
{
    for (int i = 0; i < 5; ++i)
    {
        take("192.0.2.1", "n" + std::to_string(i));
    }
    now_ += std::chrono::hours(1000);
    for (int i = 0; i < 5; ++i)
    {
        EXPECT_EQ(take("192.0.2.1", "m" + std::to_string(i)), 0);
    }
    EXPECT_EQ(take("192.0.2.1", "m6"), 30);
}

TEST_F(LoginLimitsTest, TheNextAddressesOfANetworkCountAsOne)
{
    EXPECT_EQ(addressGroup("192.0.2.1"), "192.0.2.1");
    EXPECT_EQ(addressGroup("::ffff:192.0.2.1"), "192.0.2.1");
    EXPECT_EQ(addressGroup("2001:db8:1:2:3:4:5:6"), "2001:db8:1:2::/64");
    EXPECT_EQ(addressGroup(""), "");
    for (int i = 0; i < 5; ++i)
    {
        EXPECT_EQ(take("2001:db8::" + std::to_string(i + 1), "n" + std::to_string(i)), 0);
    }
    EXPECT_EQ(take("2001:db8::abcd", "anna"), 30);
    EXPECT_EQ(take("2001:db8:0:1::1", "anna"), 0);
}

TEST_F(LoginLimitsTest, WhoFailedMostIsForgottenLast)
{
    for (int i = 0; i < 5; ++i)
    {
        take("192.0.2.1", "n" + std::to_string(i));
    }
    for (std::size_t i = 0; i < LoginLimits::kMost + 10; ++i)
    {
        take("host" + std::to_string(i), "m" + std::to_string(i));
    }
    EXPECT_EQ(take("192.0.2.1", "anna"), 30);
}

TEST_F(LoginLimitsTest, OfMoreAddressesThanAreRememberedTheOneWithTheLeastToWaitIsForgotten)
{
    int count = 0;
    const auto failFiveTimes = [this, &count](const std::string& address) {
        for (int i = 0; i < 5; ++i)
        {
            take(address, "n" + std::to_string(count++ / 10));  // as many as a name may fail
        }
    };
    failFiveTimes("first");
    now_ += std::chrono::seconds(1);
    for (std::size_t i = 1; i < LoginLimits::kMost; ++i)
    {
        failFiveTimes("host" + std::to_string(i));
    }
    EXPECT_EQ(take("first", "anna"), 29);
    failFiveTimes("last");
    EXPECT_EQ(take("first", "anna"), 0);
}

}  // namespace
}  // namespace web
