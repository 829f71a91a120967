// A port whose waits do not learn of a stop. It stands in front of the reference framework's.

#include <chrono>
#include <thread>

#include "KestraTime.h"
#include "tests/support/Simulator.h"

namespace {

[[maybe_unused]] const auto& inForceFromTheStart = support::simulator();

}  // namespace

void KestraTime::wait(const KestraTime& span)
{
    std::this_thread::sleep_for(std::chrono::seconds(span.getSeconds()) +
                                std::chrono::microseconds(span.getMicroseconds()));
}
