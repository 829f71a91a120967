#include "services/linux/Wake.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace devices {

Wake::Wake() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (descriptor_ < 0)
    {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

Wake::~Wake()
{
    close(descriptor_);
}

void Wake::signal() const
{
    eventfd_write(descriptor_, 1);
}

}  // namespace devices
