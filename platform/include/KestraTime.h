#pragma once

#include "sensorplatform_export.h"

/// A span of time. Reentrant.
class SENSORPLATFORM_API KestraTime
{
public:
    /// The sum of both; either may be negative.
    KestraTime(long seconds, long microseconds);

    long getSeconds() const;
    long getMicroseconds() const;

    /// Returns when the span has passed on host::clock, at once for a span of zero or less, and early when the
    /// GThread that the caller runs on is being stopped. Thread-safe.
    static void wait(const KestraTime& span);

private:
    long seconds_;
    long microseconds_;
};
