#include "services/linux/Line.h"

#include <linux/gpio.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "services/linux/OpenNode.h"
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

// Below 0, an error number with a minus. By its label only when it is no name: then all chips are opened.
int openChip(const Roots& roots, const std::string& name)
{
    for (const std::string& entry : namesIn(roots.sys + "/bus/gpio/devices"))
    {
        const std::string node = roots.dev + "/" + entry;
        if (name == entry || name == node)
        {
            return openNode(node);
        }
    }
    for (const Chip& chip : findChips(roots))
    {
        if (chip.error == 0 && name == chip.label)
        {
            return openNode(chip.node);
        }
    }
    return -ENODEV;
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

int openLine(const Roots& roots, const std::string& chip, unsigned offset)
{
    const int descriptor = openChip(roots, chip);
    if (descriptor < 0)
    {
        return descriptor;
    }
    gpio_v2_line_request request = {};
    request.num_lines = 1;
    request.offsets[0] = offset;
    std::strncpy(request.consumer, "sensorcam", sizeof request.consumer - 1);
    const int error = ioctl(descriptor, GPIO_V2_GET_LINE_IOCTL, &request) == 0 ? 0 : errno;
    close(descriptor);
    return error == 0 ? request.fd : -error;
}

std::unique_ptr<Line> gpioLine(int descriptor)
{
    return std::make_unique<GpioLine>(descriptor);
}

}  // namespace devices
