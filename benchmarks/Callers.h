#pragma once

namespace bench {

// Seconds; a wait is the whole time of one call.
struct CallersResult
{
    double callsPerSecond;  // of all callers together
    double medianWait;
    double highWait;  // 99.9 % of the calls were faster
    double worstWait;
};

// As many threads as callers set a parameter of their own on one camera, each call another value, without a pause
// between the calls.
CallersResult measureCallers(int callers, double seconds);

}  // namespace bench
