// A port that is as it should be: the simulated service on the reference framework, with portcheck's own main().

#include "tests/support/Simulator.h"

namespace {

[[maybe_unused]] const auto& inForceFromTheStart = support::simulator();

}  // namespace
