#include "tests/support/Simulator.h"

namespace support {
namespace {

struct Chain
{
    sim::Service simulator;
    services::PlannedFailures failures{simulator};
    services::Journal journal{failures};
};

Chain& chain()
{
    // Never destroyed: a sensor thread that a test leaves running may call until the very end.
    static Chain* const one = [] {
        auto* const made = new Chain;
        services::setServiceInForce(&made->journal);
        return made;
    }();
    return *one;
}

}  // namespace

sim::Service& simulator()
{
    return chain().simulator;
}

services::PlannedFailures& failures()
{
    return chain().failures;
}

services::Journal& journal()
{
    return chain().journal;
}

}  // namespace support
