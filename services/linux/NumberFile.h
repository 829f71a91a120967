#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

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
};

// The one at that path, whether it is there or not.
using NumberFiles = std::function<std::unique_ptr<NumberFile>(const std::string& path)>;

// The files below /sys. They are opened for each call: a device that comes back has new ones.
std::unique_ptr<NumberFile> sysfsFile(const std::string& path);

// A whole text that is one finite decimal number, white space around it.
std::optional<double> parseNumber(std::string_view text);

}  // namespace devices
