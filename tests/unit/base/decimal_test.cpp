#include "base/Decimal.h"

#include <gtest/gtest.h>

#include <climits>

using base::decimal;

TEST(Decimal, DigitsAreReadUpToTheFirstOtherCharacter)
{
    EXPECT_EQ(decimal("0"), 0);
    EXPECT_EQ(decimal("34"), 34);
    EXPECT_EQ(decimal("007"), 7);
    EXPECT_EQ(decimal("34,2337"), 34);
    EXPECT_EQ(decimal("12abc"), 12);
    EXPECT_EQ(decimal("5/"), 5);
    EXPECT_EQ(decimal("5:"), 5);
}

TEST(Decimal, WhiteSpaceAndASignMayStandBefore)
{
    EXPECT_EQ(decimal(" 34"), 34);
    EXPECT_EQ(decimal("\t\n-34"), -34);
    EXPECT_EQ(decimal("+34"), 34);
    EXPECT_EQ(decimal("- 34"), 0);
}

TEST(Decimal, TextWithoutDigitsGivesZero)
{
    EXPECT_EQ(decimal(""), 0);
    EXPECT_EQ(decimal("abc"), 0);
    EXPECT_EQ(decimal("-"), 0);
    EXPECT_EQ(decimal("x1"), 0);
}

TEST(Decimal, NineTenAndMoreDigitsAreReadWhole)
{
    EXPECT_EQ(decimal("123456789"), 123456789);
    EXPECT_EQ(decimal("123456789x"), 123456789);
    EXPECT_EQ(decimal("1234567890"), 1234567890);
    EXPECT_EQ(decimal("0000000000000000012"), 12);
}

TEST(Decimal, WhatDoesNotFitIsClamped)
{
    EXPECT_EQ(decimal("2147483647"), INT_MAX);
    EXPECT_EQ(decimal("2147483648"), INT_MAX);
    EXPECT_EQ(decimal("-2147483648"), INT_MIN);
    EXPECT_EQ(decimal("-2147483649"), INT_MIN);
    EXPECT_EQ(decimal("99999999999999999999999999"), INT_MAX);
    EXPECT_EQ(decimal("-99999999999999999999999999"), INT_MIN);
}
