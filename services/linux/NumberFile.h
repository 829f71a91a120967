#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "services/linux/DeviceSource.h"

namespace devices {

// A file of one number, as the kernel shows what a device measures or does. For one thread at a time.
class NumberFile
{
public:
    virtual ~NumberFile() = default;

    // 0, or an error number, and then value is unchanged; EBADMSG for what is no number.
    virtual int read(double& value) = 0;
    // 0, or an error number.
    virtual int write(std::int64_t value) = 0;
    // False when the device that was read or written has gone, though another one may be in its place.
    virtual bool isThere() = 0;
};

// The file of that name, whether the device is there and has it or not.
using NumberFiles = std::function<std::unique_ptr<NumberFile>(Role role, const std::string& name)>;

// Those of the source, which must outlive them. They stay open; the files of a device that went and came back are other
// ones, and are opened by the next call.
NumberFiles filesOf(DeviceSource& source);

// A whole text that is one finite decimal number, white space around it.
std::optional<double> parseNumber(std::string_view text);

}  // namespace devices
