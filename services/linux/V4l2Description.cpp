#include "services/linux/V4l2Description.h"

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "services/linux/ControlIds.h"

namespace devices {
namespace {

constexpr unsigned kNoControl = V4L2_CTRL_FLAG_DISABLED | V4L2_CTRL_FLAG_HAS_PAYLOAD;
constexpr u32 kMaxRate = 1000;
constexpr u32 kUsualRates[] = {5, 10, 15, 20, 25, 30, 50, 60};

// That the driver has no such thing; any other error says nothing about what it has.
bool isNone(int error)
{
    return error == EINVAL || error == ENOTTY || error == ENODATA;
}

// The length of the sequence that begins there, 0 when it is none or not to be shown.
std::size_t sequenceAt(std::string_view text)
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80)
    {
        return lead >= 0x20 && lead != 0x7F ? 1 : 0;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length)
    {
        return 0;
    }
    u32 code = lead & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i)
    {
        if ((byte(i) & 0xC0) != 0x80)
        {
            return 0;
        }
        code = code << 6 | (byte(i) & 0x3F);
    }
    constexpr u32 kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool isCharacter = code >= kLeast[length] && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
    const bool isControl = code < 0xA0 || (code >= 0x2028 && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
    const bool isNone = (code & 0xFFFE) == 0xFFFE || (code >= 0xFDD0 && code <= 0xFDEF) || code == 0xFEFF;
    return isCharacter && !isControl && !isNone ? length : 0;
}

std::optional<ControlType> typeOf(u32 type)
{
    switch (type)
    {
    case V4L2_CTRL_TYPE_INTEGER:
    case V4L2_CTRL_TYPE_INTEGER64:
        return ControlType::number;
    case V4L2_CTRL_TYPE_BOOLEAN:
        return ControlType::yesNo;
    case V4L2_CTRL_TYPE_MENU:
    case V4L2_CTRL_TYPE_INTEGER_MENU:
        return ControlType::menu;
    case V4L2_CTRL_TYPE_BUTTON:
        return ControlType::button;
    default:
        return std::nullopt;
    }
}

int readItems(const Ioctl& ioctl, bool isOfNumbers, Control& control)
{
    const std::int64_t first = std::max<std::int64_t>(control.minimum, 0);
    const std::int64_t last = std::min(control.maximum, first + kMaxMenuIndexes - 1);
    for (std::int64_t i = first; i <= last && control.items.size() < kMaxMenuItems; ++i)
    {
        v4l2_querymenu item = {};
        item.id = control.id;
        item.index = static_cast<u32>(i);
        if (const int error = ioctl(VIDIOC_QUERYMENU, &item))
        {
            if (isNone(error))
            {
                continue;  // menus have holes
            }
            return error;
        }
        control.items[i] =
            isOfNumbers ? std::to_string(std::int64_t{item.value}) : cleanText(item.name, sizeof item.name);
    }
    return 0;
}

// The control, with the range that its items leave; nothing without items, or with an error.
std::optional<Control> finished(const Ioctl& ioctl, const v4l2_query_ext_ctrl& answer, int& error)
{
    error = 0;
    std::optional<Control> control = describe(answer);
    if (!control || control->type != ControlType::menu)
    {
        return control;
    }
    error = readItems(ioctl, answer.type == V4L2_CTRL_TYPE_INTEGER_MENU, *control);
    if (error != 0 || control->items.empty())
    {
        return std::nullopt;
    }
    control->minimum = control->items.begin()->first;
    control->maximum = control->items.rbegin()->first;
    if (!control->contains(control->defaultValue))
    {
        control->defaultValue = control->minimum;
    }
    return control;
}

void addRate(u32 rate, Control& control)
{
    if (rate > 0 && rate <= kMaxRate)
    {
        control.items[rate] = std::to_string(rate);
    }
}

double secondsOf(const v4l2_fract& interval)
{
    return interval.denominator == 0 ? 0 : static_cast<double>(interval.numerator) / interval.denominator;
}

int readRates(const Ioctl& ioctl, const v4l2_pix_format& format, Control& control)
{
    for (u32 i = 0; i < kMaxMenuItems; ++i)
    {
        v4l2_frmivalenum interval = {};
        interval.index = i;
        interval.pixel_format = format.pixelformat;
        interval.width = format.width;
        interval.height = format.height;
        if (const int error = ioctl(VIDIOC_ENUM_FRAMEINTERVALS, &interval))
        {
            return isNone(error) ? 0 : error;
        }
        if (interval.type == V4L2_FRMIVAL_TYPE_DISCRETE)
        {
            addRate(rateOf(interval.discrete), control);
            continue;
        }
        for (const u32 rate : kUsualRates)
        {
            const double seconds = 1.0 / rate;
            if (seconds >= secondsOf(interval.stepwise.min) && seconds <= secondsOf(interval.stepwise.max))
            {
                addRate(rate, control);
            }
        }
        break;
    }
    return 0;
}

}  // namespace

u32 rateOf(const v4l2_fract& interval)
{
    const std::uint64_t numerator = std::max<u32>(interval.numerator, 1);
    return static_cast<u32>(std::min<std::uint64_t>((interval.denominator + numerator / 2) / numerator, UINT32_MAX));
}

std::string cleanText(const void* bytes, std::size_t size)
{
    std::string_view rest(static_cast<const char*>(bytes), size);
    rest = rest.substr(0, rest.find('\0'));
    std::string clean;
    while (!rest.empty())
    {
        const std::size_t length = sequenceAt(rest);
        clean += length == 0 ? " " : std::string(rest.substr(0, length));
        rest.remove_prefix(std::max<std::size_t>(length, 1));
    }
    const std::size_t first = clean.find_first_not_of(' ');
    return first == std::string::npos ? "" : clean.substr(first, clean.find_last_not_of(' ') - first + 1);
}

std::optional<Control> describe(const v4l2_query_ext_ctrl& answer)
{
    const std::optional<ControlType> type = typeOf(answer.type);
    if (!type || (answer.flags & kNoControl) != 0 || answer.nr_of_dims != 0 || answer.elems > 1)
    {
        return std::nullopt;
    }
    Control control{answer.id,
                    cleanText(answer.name, sizeof answer.name),
                    *type,
                    answer.minimum,
                    answer.maximum,
                    1,
                    answer.default_value,
                    {}};
    if (*type == ControlType::yesNo || *type == ControlType::button)
    {
        control.minimum = 0;
        control.maximum = 1;
    }
    else if (answer.type != V4L2_CTRL_TYPE_INTEGER64)
    {
        // These travel as 32 bits.
        control.minimum = std::clamp<std::int64_t>(control.minimum, INT32_MIN, INT32_MAX);
        control.maximum = std::clamp<std::int64_t>(control.maximum, INT32_MIN, INT32_MAX);
    }
    if (control.minimum > control.maximum)
    {
        return std::nullopt;
    }
    if (*type == ControlType::number)
    {
        control.step = static_cast<std::int64_t>(std::clamp<std::uint64_t>(answer.step, 1, INT64_MAX));
    }
    control.defaultValue =
        *type == ControlType::button ? 0 : std::clamp(control.defaultValue, control.minimum, control.maximum);
    control.isReadable = *type != ControlType::button && (answer.flags & V4L2_CTRL_FLAG_WRITE_ONLY) == 0;
    control.isSettable = (answer.flags & V4L2_CTRL_FLAG_READ_ONLY) == 0;
    control.is64Bits = answer.type == V4L2_CTRL_TYPE_INTEGER64;
    control.isVolatile = (answer.flags & V4L2_CTRL_FLAG_VOLATILE) != 0;
    return control;
}

std::optional<Control> queryControl(const Ioctl& ioctl, u32 id)
{
    v4l2_query_ext_ctrl answer = {};
    answer.id = id;
    int error = ioctl(VIDIOC_QUERY_EXT_CTRL, &answer);
    return error == 0 && answer.id == id ? finished(ioctl, answer, error) : std::nullopt;
}

int queryControls(const Ioctl& ioctl, std::vector<Control>& controls)
{
    controls.clear();
    u32 last = 0;
    for (std::size_t asked = 0; asked < kMaxControls; ++asked)
    {
        v4l2_query_ext_ctrl answer = {};
        answer.id = last | V4L2_CTRL_FLAG_NEXT_CTRL;
        if (const int error = ioctl(VIDIOC_QUERY_EXT_CTRL, &answer))
        {
            return isNone(error) ? 0 : error;  // the end; a node without any
        }
        if (answer.id <= last || answer.id > V4L2_CTRL_ID_MASK)
        {
            break;  // it would go round for ever
        }
        last = answer.id;
        int error = 0;
        if (std::optional<Control> control = finished(ioctl, answer, error))
        {
            controls.push_back(std::move(*control));
        }
        if (error != 0)
        {
            return error;
        }
    }
    return 0;
}

int queryFrameRate(const Ioctl& ioctl, std::optional<Control>& rate)
{
    rate.reset();
    v4l2_format format = {};
    format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    v4l2_streamparm parameters = {};
    parameters.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    int error = ioctl(VIDIOC_G_FMT, &format);
    if (error == 0)
    {
        error = ioctl(VIDIOC_G_PARM, &parameters);
    }
    if (error != 0 || (parameters.parm.capture.capability & V4L2_CAP_TIMEPERFRAME) == 0)
    {
        return isNone(error) ? 0 : error;
    }
    Control control{kFrameRate, "Frame rate", ControlType::menu, 0, 0, 1, 0, {}};
    error = readRates(ioctl, format.fmt.pix, control);
    if (error != 0 || control.items.empty())
    {
        return error;
    }
    control.minimum = control.items.begin()->first;
    control.maximum = control.items.rbegin()->first;
    control.defaultValue = control.maximum;
    rate = std::move(control);
    return 0;
}

}  // namespace devices
