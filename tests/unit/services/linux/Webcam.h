#pragma once

#include <linux/videodev2.h>

#include <string>
#include <utility>
#include <vector>

#include "services/linux/Control.h"
#include "services/linux/Description.h"

namespace support {

inline devices::Control number(u32 id, std::int64_t minimum, std::int64_t maximum, std::int64_t value,
                               std::int64_t step = 1)
{
    return {id, "number", devices::ControlType::number, minimum, maximum, step, value, {}};
}

inline devices::Control yesNo(u32 id, bool value)
{
    return {id, "yes or no", devices::ControlType::yesNo, 0, 1, 1, value ? 1 : 0, {}};
}

inline devices::Control menu(u32 id, const std::vector<int>& items, int value)
{
    devices::Control control{id, "menu", devices::ControlType::menu, items.front(), items.back(), 1, value, {}};
    for (const int item : items)
    {
        control.items[item] = std::to_string(item);
    }
    return control;
}

inline devices::Control button(u32 id)
{
    devices::Control control{id, "button", devices::ControlType::button, 0, 1, 1, 0, {}};
    control.isReadable = false;
    return control;
}

// What a good camera on USB offers.
inline std::vector<devices::Control> webcam()
{
    return {
        number(V4L2_CID_BRIGHTNESS, -64, 64, 0),
        number(V4L2_CID_CONTRAST, 0, 95, 32),
        number(V4L2_CID_SATURATION, 0, 128, 64),
        yesNo(V4L2_CID_AUTO_WHITE_BALANCE, true),
        number(V4L2_CID_GAMMA, 72, 500, 100),
        number(V4L2_CID_GAIN, 0, 100, 0),
        menu(V4L2_CID_POWER_LINE_FREQUENCY, {0, 1, 2}, 1),
        number(V4L2_CID_WHITE_BALANCE_TEMPERATURE, 2800, 6500, 4600, 10),
        number(V4L2_CID_SHARPNESS, 0, 6, 3),
        number(V4L2_CID_BACKLIGHT_COMPENSATION, 0, 2, 1),
        menu(V4L2_CID_EXPOSURE_AUTO, {1, 3}, 3),
        number(V4L2_CID_EXPOSURE_ABSOLUTE, 1, 5000, 157),
        yesNo(V4L2_CID_EXPOSURE_AUTO_PRIORITY, false),
        number(V4L2_CID_FOCUS_ABSOLUTE, 0, 1023, 0),
        yesNo(V4L2_CID_FOCUS_AUTO, true),
        number(V4L2_CID_ZOOM_ABSOLUTE, 100, 1600, 100),
        number(V4L2_CID_IRIS_ABSOLUTE, 100, 2200, 200),
    };
}

// Of a camera with these, each as it left the factory.
inline devices::Description cameraWith(std::vector<devices::Control> controls)
{
    devices::Description description;
    description.name = "Webcam 300";
    description.version = "uvcvideo 6.1.0";
    description.controls = std::move(controls);
    for (const devices::Control& control : description.controls)
    {
        description.values[control.id] = control.defaultValue;
    }
    return description;
}

}  // namespace support
