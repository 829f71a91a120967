#include "app/Service.h"
#include "services/sim/Service.h"
#include "tests/support/FakeDevice.h"

// The simulated service with a real device behind it, in the place of the one that sensorcam chooses.
namespace app {

services::Journal& service()
{
    // Never destroyed: the sensor thread of a camera that ends without uinit may call until the very end.
    static services::Journal* const journal = [] {
        auto* const made = new services::Journal(*new support::ServiceWithDevice(*new sim::Service));
        services::setServiceInForce(made);
        return made;
    }();
    return *journal;
}

}  // namespace app
