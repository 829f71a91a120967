#pragma once

#include <fcntl.h>

#include <cerrno>
#include <functional>
#include <string>

#include "services/linux/DeviceSource.h"

namespace support {

// Files of a test's own, whatever the role; what is not there is not plugged in. error, if not 0, is the answer instead.
class FolderSource : public devices::DeviceSource
{
public:
    explicit FolderSource(std::string folder) : folder_(std::move(folder)) {}

    int error = 0;
    int openings = 0;

    int open(devices::Role, const std::string& file) override
    {
        ++openings;
        const int descriptor =
            error != 0 ? -1 : ::open((folder_ + "/" + file).c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
        return descriptor >= 0 ? descriptor : -(error != 0 ? error : errno);
    }

    void listen(std::function<void()>) override {}

private:
    const std::string folder_;
};

}  // namespace support
