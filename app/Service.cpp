#include "app/Service.h"

#include "services/PlannedFailures.h"
#include "services/sim/Service.h"

namespace app {

services::Journal& service()
{
    // Never destroyed: the sensor thread of a camera that ends without uinit may call until the very end.
    static services::Journal* const journal = [] {
        auto* const made = new services::Journal(*new services::PlannedFailures(*new sim::Service));
        services::setServiceInForce(made);
        return made;
    }();
    return *journal;
}

}  // namespace app
