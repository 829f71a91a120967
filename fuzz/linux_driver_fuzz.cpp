#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>
#include <string>

#include "fuzz/Require.h"
#include "services/linux/ControlQueue.h"
#include "services/linux/ControlTable.h"
#include "services/linux/NumberFile.h"
#include "services/linux/Subdevices.h"
#include "services/linux/V4l2Device.h"

// A driver that answers what it likes: lists of controls, menus, ranges, events, errors; and what files below /sys hold.
// Input: the answers' bytes, taken one after the other; a media controller's graph is made of the same once more.

namespace {

using devices::Control;
using devices::ControlEvent;
using devices::ControlType;
using devices::Setting;

class Answers
{
public:
    Answers(const uint8_t* data, size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

    // Zero when there are no more.
    template <typename Word>
    Word take()
    {
        Word word{};
        const std::size_t length = std::min(sizeof word, rest_.size());
        rest_.copy(reinterpret_cast<char*>(&word), length);  // rest_ may be of no memory at all
        rest_.remove_prefix(length);
        return word;
    }

    bool isEmpty() const { return rest_.empty(); }
    std::string_view rest() const { return rest_; }

    // 0 for most bytes.
    int error()
    {
        constexpr int kErrors[] = {EINVAL, EACCES, EBUSY, ERANGE, EPIPE, ETIMEDOUT, ENODEV, EIO};
        const auto byte = take<uint8_t>();
        return byte >= 0xE0 ? kErrors[byte & 7] : 0;
    }

    int answer(unsigned long request, void* argument)
    {
        if (isEmpty())
        {
            return request == VIDIOC_DQEVENT ? ENOENT : EINVAL;
        }
        switch (request)
        {
        case VIDIOC_QUERY_EXT_CTRL:
            return describe(*static_cast<v4l2_query_ext_ctrl*>(argument));
        case VIDIOC_QUERYMENU:
            static_cast<v4l2_querymenu*>(argument)->value = take<std::int64_t>();
            return error();
        case VIDIOC_ENUM_FRAMEINTERVALS:
            static_cast<v4l2_frmivalenum*>(argument)->type = take<uint8_t>() & 3;
            static_cast<v4l2_frmivalenum*>(argument)->stepwise.min = take<v4l2_fract>();
            static_cast<v4l2_frmivalenum*>(argument)->stepwise.max = take<v4l2_fract>();
            return error();
        case VIDIOC_G_PARM:
            static_cast<v4l2_streamparm*>(argument)->parm.capture.capability = V4L2_CAP_TIMEPERFRAME;
            return error();
        case VIDIOC_DQEVENT:
            return tell(*static_cast<v4l2_event*>(argument));
        default:
            return error();
        }
    }

private:
    int describe(v4l2_query_ext_ctrl& control)
    {
        constexpr u32 kTypes[] = {V4L2_CTRL_TYPE_INTEGER, V4L2_CTRL_TYPE_BOOLEAN,   V4L2_CTRL_TYPE_MENU,
                                  V4L2_CTRL_TYPE_BUTTON,  V4L2_CTRL_TYPE_INTEGER64, V4L2_CTRL_TYPE_INTEGER_MENU};
        const bool isNext = (control.id & V4L2_CTRL_FLAG_NEXT_CTRL) != 0;
        const u32 last = control.id & V4L2_CTRL_ID_MASK;
        const auto step = take<uint8_t>();
        control.id = !isNext ? last : step == 0 ? take<u32>() : (last == 0 ? V4L2_CID_BASE - 1 : last) + step;
        const auto type = take<uint8_t>();
        control.type = type < 6 ? kTypes[type] : type;
        const auto shape = take<uint8_t>();
        control.minimum = (shape & 1) != 0 ? take<std::int64_t>() : take<std::int8_t>();
        const auto span = static_cast<std::uint64_t>(control.minimum) + take<uint8_t>();
        control.maximum = (shape & 2) != 0 ? take<std::int64_t>() : static_cast<std::int64_t>(span);
        control.step = (shape & 4) != 0 ? take<std::uint64_t>() : 1;
        control.default_value = (shape & 8) != 0 ? take<std::int64_t>() : control.minimum;
        control.flags = (shape & 16) != 0 ? take<u32>() : 0;
        control.elems = (shape & 32) != 0 ? take<u32>() : 1;
        const auto name = take<std::uint64_t>();
        std::memcpy(control.name, &name, sizeof name);
        return error();
    }

    int tell(v4l2_event& event)
    {
        event.type = V4L2_EVENT_CTRL;
        event.id = V4L2_CID_BASE + take<uint8_t>();
        event.u.ctrl.changes = take<uint8_t>();
        event.u.ctrl.value64 = take<std::int64_t>();
        event.u.ctrl.flags = take<uint8_t>();
        return error() == ENODEV ? ENODEV : 0;
    }

    std::string_view rest_;
};

void requireText(const std::string& text)
{
    for (const char character : text)
    {
        const auto byte = static_cast<unsigned char>(character);
        FUZZ_REQUIRE(byte >= 0x20 && byte != 0x7F);
    }
    FUZZ_REQUIRE(devices::cleanText(text.data(), text.size()) == text);
}

void requireControl(const Control& control)
{
    FUZZ_REQUIRE(control.minimum <= control.defaultValue && control.defaultValue <= control.maximum);
    FUZZ_REQUIRE(control.step > 0);
    FUZZ_REQUIRE((control.type == ControlType::menu) == !control.items.empty());
    FUZZ_REQUIRE(control.items.size() <= devices::kMaxMenuItems);
    requireText(control.name);
    for (const auto& [value, text] : control.items)
    {
        FUZZ_REQUIRE(value >= control.minimum && value <= control.maximum);
        requireText(text);
    }
    for (const std::int64_t value : {control.minimum, control.defaultValue, control.maximum})
    {
        const std::int64_t nearest = control.nearest(value);
        FUZZ_REQUIRE(nearest >= control.minimum && nearest <= control.maximum);
        FUZZ_REQUIRE(control.nearest(nearest) == nearest);
    }
}

devices::Words requireTable(const devices::ControlTable& table, const std::vector<Control>& controls, int choice)
{
    devices::Words words = {{IA_CMD_DN_STATE, choice & 1}};
    for (const ia_cmd_e cmd : table.commands())
    {
        const std::optional<services::AllowedValues> allowed = table.allowed(cmd);
        if (allowed)
        {
            FUZZ_REQUIRE(allowed->minimum <= allowed->maximum && allowed->contains(allowed->defaultValue));
            words[cmd] = allowed->nearest(allowed->minimum + choice);
        }
    }
    std::set<u32> seen;
    for (const Setting& setting : table.settings(words))
    {
        const Control* const control = findControl(controls, setting.id);
        FUZZ_REQUIRE(control != nullptr && seen.insert(setting.id).second);
        FUZZ_REQUIRE(control->contains(setting.value));
    }
    return words;
}

// Whatever the device answers, the queue comes to rest, and then each wish has been sent as often as makes sense.
void requireRest(Answers& answers, devices::V4l2Device& device, const std::vector<Setting>& wishes)
{
    devices::Instant now{std::chrono::hours(1)};
    devices::ControlQueue queue;
    queue.opened(device.controls());
    queue.wish(wishes);
    for (int calls = 0; !answers.isEmpty() && calls < 10'000; ++calls)
    {
        std::vector<ControlEvent> events;
        if (device.events(events) != 0)
        {
            queue.lost();
            queue.opened(device.controls());
        }
        for (const ControlEvent& event : events)
        {
            queue.heard(event, now);
        }
        while (const std::optional<u32> id = queue.look(now))
        {
            std::int64_t value = 0;
            const int failure = device.get(*id, value);
            if (!queue.looked(*id, failure, value, now))
            {
                queue.opened(device.controls());
            }
        }
        std::vector<Setting> batch = queue.next(now);
        if (!batch.empty() && !queue.done(device.set(batch), batch, now))
        {
            queue.opened(device.controls());
        }
        now += std::chrono::milliseconds(answers.take<uint8_t>());
    }
    for (std::size_t calls = 0; queue.due(); ++calls)
    {
        FUZZ_REQUIRE(calls <= 4 * device.controls().size() + 4);
        now = std::max(now, *queue.due());
        while (const std::optional<u32> id = queue.look(now))
        {
            FUZZ_REQUIRE(queue.looked(*id, 0, queue.report(*id, now).actual.value_or(0), now));
        }
        std::vector<Setting> batch = queue.next(now);
        FUZZ_REQUIRE(batch.empty() || queue.done(0, batch, now));
    }
    for (const Setting& wish : wishes)
    {
        const devices::ControlState state = queue.report(wish.id, now).state;
        FUZZ_REQUIRE(state != devices::ControlState::waiting && state != devices::ControlState::busy &&
                     state != devices::ControlState::stalled && state != devices::ControlState::lost);
    }
}

// The numbers are few, so that they are of one another.
devices::MediaGraph takeGraph(Answers answers)
{
    constexpr u32 kFunctions[] = {MEDIA_ENT_F_IO_V4L, MEDIA_ENT_F_CAM_SENSOR, MEDIA_ENT_F_LENS,
                                  MEDIA_ENT_F_PROC_VIDEO_ISP};
    const auto number = [&] { return u32{answers.take<uint8_t>()} & 31; };
    devices::MediaGraph graph;
    while (!answers.isEmpty())
    {
        const u32 kind = number() & 3;
        const u32 id = number();
        if (kind == 0)
        {
            media_v2_entity& entity = graph.entities.emplace_back();
            entity.id = id;
            entity.function = kFunctions[number() & 3];
            const auto name = answers.take<std::uint64_t>();
            std::memcpy(entity.name, &name, sizeof name);
        }
        else if (kind == 1)
        {
            media_v2_interface& interface = graph.interfaces.emplace_back();
            interface.id = id;
            interface.intf_type = MEDIA_INTF_T_V4L_BASE + (number() & 3);
            interface.devnode.minor = number();
        }
        else if (kind == 2)
        {
            media_v2_pad& pad = graph.pads.emplace_back();
            pad.id = id;
            pad.entity_id = number();
        }
        else
        {
            media_v2_link& link = graph.links.emplace_back();
            link.source_id = id;
            link.sink_id = number();
            link.flags = (number() & 3) << 28;
            link.flags |= number() & MEDIA_LNK_FL_ENABLED;
        }
    }
    return graph;
}

void requireSubdevices(const devices::MediaGraph& graph)
{
    const std::vector<devices::Subdevice> found = subdevicesOf(graph, makedev(0, 0));
    FUZZ_REQUIRE(found.size() <= devices::kMaxSubdevices);
    for (const devices::Subdevice& subdevice : found)
    {
        FUZZ_REQUIRE(devices::cleanText(subdevice.name.data(), subdevice.name.size()) == subdevice.name);
        FUZZ_REQUIRE(std::any_of(graph.interfaces.begin(), graph.interfaces.end(), [&](const media_v2_interface& node) {
            return node.intf_type == MEDIA_INTF_T_V4L_SUBDEV && node.devnode.minor == minor(subdevice.number);
        }));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Answers answers(data, size);
    devices::parseNumber(answers.rest());
    requireSubdevices(takeGraph(answers));
    const int choice = answers.take<uint8_t>();
    int error = 0;
    const auto device = devices::V4l2Device::open(
        [&](unsigned long request, void* argument) { return answers.answer(request, argument); }, -1, error);
    FUZZ_REQUIRE((device == nullptr) == (error != 0));
    if (device == nullptr)
    {
        return 0;
    }
    std::set<u32> ids;
    for (const Control& control : device->controls())
    {
        FUZZ_REQUIRE(ids.insert(control.id).second);
        requireControl(control);
    }
    const devices::ControlTable table(device->controls());
    const devices::Words words = requireTable(table, device->controls(), choice);
    requireRest(answers, *device, table.settings(words));
    return 0;
}
