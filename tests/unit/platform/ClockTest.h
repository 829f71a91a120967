#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "HostClock.h"

namespace platform_tests {

// A clock moved by hand for the length of a test; every day of it begins at eight.
class ClockTest : public testing::Test
{
protected:
    ClockTest() { host::setClock(clock_); }
    ~ClockTest() override { host::setClock(nullptr); }

    const std::shared_ptr<host::ManualClock> clock_ = std::make_shared<host::ManualClock>(8, 0);
};

}  // namespace platform_tests
