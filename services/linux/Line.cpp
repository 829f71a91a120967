#include "services/linux/Line.h"

#include <fcntl.h>
#include <linux/gpio.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "services/linux/V4l2Description.h"

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

    bool isThere() override
    {
        gpio_v2_line_values values = {};
        values.mask = 1;
        return ioctl(descriptor_, GPIO_V2_LINE_GET_VALUES_IOCTL, &values) == 0 || errno != ENODEV;
    }

private:
    const int descriptor_;
};

// Looked at before: opening another kind of file may wait, or do something.
int openNode(const std::string& node)
{
    struct stat status;
    if (lstat(node.c_str(), &status) != 0)
    {
        return -errno;
    }
    if (!S_ISCHR(status.st_mode))
    {
        return -ENOTTY;
    }
    const int descriptor = open(node.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC | O_NOCTTY | O_NOFOLLOW);
    return descriptor >= 0 ? descriptor : -errno;
}

}  // namespace

std::vector<Chip> findChips(const Roots& roots)
{
    std::vector<Chip> chips;
    for (const std::string& name : namesIn(roots.sys + "/bus/gpio/devices"))
    {
        Chip chip;
        chip.node = roots.dev + "/" + name;
        const int descriptor = openNode(chip.node);
        gpiochip_info info = {};
        chip.error = descriptor < 0 ? -descriptor : ioctl(descriptor, GPIO_GET_CHIPINFO_IOCTL, &info) == 0 ? 0 : errno;
        chip.label = cleanText(info.label, sizeof info.label);
        chip.lines = info.lines;
        chips.push_back(std::move(chip));
        if (descriptor >= 0)
        {
            close(descriptor);
        }
    }
    return chips;
}

std::vector<ChipLine> findLines(const Chip& chip)
{
    std::vector<ChipLine> lines;
    const int descriptor = chip.error == 0 ? openNode(chip.node) : -1;
    for (unsigned offset = 0; descriptor >= 0 && offset < chip.lines; ++offset)
    {
        gpio_v2_line_info info = {};
        info.offset = offset;
        if (ioctl(descriptor, GPIO_V2_GET_LINEINFO_IOCTL, &info) != 0)
        {
            break;
        }
        ChipLine line{offset, cleanText(info.name, sizeof info.name), cleanText(info.consumer, sizeof info.consumer),
                      (info.flags & GPIO_V2_LINE_FLAG_USED) != 0};
        if (line.isUsed || !line.name.empty())
        {
            lines.push_back(std::move(line));
        }
    }
    if (descriptor >= 0)
    {
        close(descriptor);
    }
    return lines;
}

int openChip(const Roots& roots, const std::string& name)
{
    const std::string folder = roots.dev + "/";
    for (const Chip& chip : findChips(roots))
    {
        if (name == chip.node || folder + name == chip.node || (chip.error == 0 && name == chip.label))
        {
            return openNode(chip.node);
        }
    }
    return -ENODEV;
}

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
