#include "services/linux/Line.h"

#include <linux/gpio.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace devices {
namespace {

class GpioLine : public Line
{
public:
    explicit GpioLine(int descriptor) : descriptor_(descriptor) {}
    ~GpioLine() override { close(descriptor_); }
    GpioLine(const GpioLine&) = delete;
    GpioLine& operator=(const GpioLine&) = delete;

    int set(bool isHigh) override
    {
        // Direction and level in one step: a filter must not be moved by the way to its first position.
        gpio_v2_line_config config = {};
        config.flags = GPIO_V2_LINE_FLAG_OUTPUT;
        config.num_attrs = 1;
        config.attrs[0].mask = 1;
        config.attrs[0].attr.id = GPIO_V2_LINE_ATTR_ID_OUTPUT_VALUES;
        config.attrs[0].attr.values = isHigh ? 1 : 0;
        return ioctl(descriptor_, GPIO_V2_LINE_SET_CONFIG_IOCTL, &config) == 0 ? 0 : errno;
    }

private:
    const int descriptor_;
};

}  // namespace

std::unique_ptr<Line> gpioLine(int chip, unsigned offset, int& error)
{
    // Looked at before: what another kind of file makes of the number of this call is its own affair.
    struct stat status;
    error = fstat(chip, &status) != 0 ? errno : S_ISCHR(status.st_mode) ? 0 : ENOTTY;
    if (error != 0)
    {
        return nullptr;
    }
    gpio_v2_line_request request = {};
    request.num_lines = 1;
    request.offsets[0] = offset;
    std::strncpy(request.consumer, "sensorcam", sizeof request.consumer - 1);
    error = ioctl(chip, GPIO_V2_GET_LINE_IOCTL, &request) == 0 ? 0 : errno;
    return error == 0 ? std::make_unique<GpioLine>(request.fd) : nullptr;
}

}  // namespace devices
