#pragma once

#include <linux/videodev2.h>

#include <cerrno>
#include <cstring>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "services/linux/V4l2Description.h"

namespace support {

inline v4l2_query_ext_ctrl answer(u32 id, u32 type, const std::string& name, std::int64_t minimum, std::int64_t maximum,
                                  std::uint64_t step, std::int64_t value, u32 flags = 0)
{
    v4l2_query_ext_ctrl made = {};
    made.id = id;
    made.type = type;
    std::memcpy(made.name, name.data(), std::min(name.size(), sizeof made.name));
    made.minimum = minimum;
    made.maximum = maximum;
    made.step = step;
    made.default_value = value;
    made.flags = flags;
    made.elems = 1;
    return made;
}

// A driver whose answers are written down.
class ScriptedDriver
{
public:
    std::map<u32, v4l2_query_ext_ctrl> controls;
    std::map<u32, std::map<u32, std::string>> items;  // of menus
    std::map<u32, std::int64_t> values;
    std::map<unsigned long, int> errors;  // by request
    std::deque<v4l2_event> events;
    std::vector<v4l2_fract> intervals;
    v4l2_fract interval = {1, 30};
    std::vector<unsigned long> asked;

    void add(const v4l2_query_ext_ctrl& control)
    {
        controls[control.id] = control;
        values[control.id] = control.default_value;
    }

    devices::Ioctl ioctl()
    {
        return [this](unsigned long request, void* argument) { return call(request, argument); };
    }

private:
    int call(unsigned long request, void* argument)
    {
        asked.push_back(request);
        if (errors.count(request) != 0)
        {
            return errors[request];
        }
        switch (request)
        {
        case VIDIOC_QUERY_EXT_CTRL:
            return query(*static_cast<v4l2_query_ext_ctrl*>(argument));
        case VIDIOC_QUERYMENU:
            return menu(*static_cast<v4l2_querymenu*>(argument));
        case VIDIOC_S_EXT_CTRLS:
        case VIDIOC_G_EXT_CTRLS:
            return move(request == VIDIOC_S_EXT_CTRLS, *static_cast<v4l2_ext_controls*>(argument));
        case VIDIOC_G_FMT:
        case VIDIOC_SUBSCRIBE_EVENT:
            return 0;
        case VIDIOC_ENUM_FRAMEINTERVALS:
            return rates(*static_cast<v4l2_frmivalenum*>(argument));
        case VIDIOC_S_PARM:
            interval = static_cast<v4l2_streamparm*>(argument)->parm.capture.timeperframe;
            return 0;
        case VIDIOC_G_PARM:
            static_cast<v4l2_streamparm*>(argument)->parm.capture.capability = V4L2_CAP_TIMEPERFRAME;
            static_cast<v4l2_streamparm*>(argument)->parm.capture.timeperframe = interval;
            return 0;
        case VIDIOC_DQEVENT:
            if (events.empty())
            {
                return ENOENT;
            }
            *static_cast<v4l2_event*>(argument) = events.front();
            events.pop_front();
            return 0;
        default:
            return ENOTTY;
        }
    }

    int query(v4l2_query_ext_ctrl& control) const
    {
        const bool isNext = (control.id & V4L2_CTRL_FLAG_NEXT_CTRL) != 0;
        const auto found = isNext ? controls.upper_bound(control.id & V4L2_CTRL_ID_MASK) : controls.find(control.id);
        if (found == controls.end())
        {
            return EINVAL;
        }
        control = found->second;
        return 0;
    }

    int menu(v4l2_querymenu& item)
    {
        const auto found = items[item.id].find(item.index);
        if (found == items[item.id].end())
        {
            return EINVAL;
        }
        std::memcpy(item.name, found->second.data(), std::min(found->second.size(), sizeof item.name));
        return 0;
    }

    int move(bool isSet, v4l2_ext_controls& call)
    {
        for (u32 i = 0; i < call.count; ++i)
        {
            v4l2_ext_control& control = call.controls[i];
            const bool is64Bits = controls[control.id].type == V4L2_CTRL_TYPE_INTEGER64;
            if (isSet)
            {
                const std::int64_t value = is64Bits ? control.value64 : control.value;
                const v4l2_query_ext_ctrl& known = controls[control.id];
                values[control.id] = std::clamp<std::int64_t>(value, known.minimum, known.maximum);
            }
            if (is64Bits)
            {
                control.value64 = values[control.id];
            }
            else
            {
                control.value = static_cast<int>(values[control.id]);
            }
        }
        return 0;
    }

    int rates(v4l2_frmivalenum& rate) const
    {
        if (rate.index >= intervals.size())
        {
            return EINVAL;
        }
        rate.type = V4L2_FRMIVAL_TYPE_DISCRETE;
        rate.discrete = intervals[rate.index];
        return 0;
    }
};

}  // namespace support
