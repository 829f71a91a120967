#include "ia_ioctrl.h"

#include "services/sim/Service.h"

namespace sim {

Service& service()
{
    // Never destroyed: the sensor thread of a host that ends without uinit may call until the very end.
    static Service* const one = new Service;
    return *one;
}

}  // namespace sim

extern "C" __attribute__((visibility("default"))) int ia_ioctrl(ia_cmd_e cmd, int opt, void* data)
{
    return sim::service().call(cmd, opt, data);
}
