#pragma once

#include "services/Journal.h"
#include "services/PlannedFailures.h"
#include "services/sim/Service.h"

// The simulated service of a test program: one that ia_ioctrl goes to, from the first call of one of these on. What the
// library sends passes the journal, then the planned failures, then reaches the simulator.
namespace support {

sim::Service& simulator();
services::PlannedFailures& failures();
services::Journal& journal();

}  // namespace support
