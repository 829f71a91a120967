#include "services/linux/Filter.h"

#include <algorithm>
#include <cerrno>
#include <thread>

#include "services/linux/ControlIds.h"

namespace devices {
namespace {

Control describeFilter()
{
    Control control{kFilter, "Infrared-cut filter", ControlType::yesNo, 0, 1, 1, 1, {}};
    control.isReadable = false;
    return control;
}

// Low again whatever happened: a coil that stays on burns.
int pulse(Line& line, std::chrono::milliseconds length, const Filter::Sleep& sleep)
{
    const int error = line.set(true);
    if (error == 0)
    {
        sleep(length);
    }
    const int lowError = line.set(false);
    return error != 0 ? error : lowError;
}

void reallySleep(std::chrono::milliseconds span)
{
    std::this_thread::sleep_for(span);
}

}  // namespace

Filter::Filter(Lines lines, std::function<int(bool isIn)> move)
    : controls_{describeFilter()},
      lines_(std::move(lines)),
      move_(std::move(move))
{
}

std::unique_ptr<Filter> Filter::open(DeviceSource& source, const FilterLines& lines, int& error)
{
    const auto open = [&](const char* line) {
        const int descriptor = source.open(Role::filter, line);
        error = descriptor < 0 ? -descriptor : 0;
        return error == 0 ? gpioLine(descriptor) : nullptr;
    };
    std::unique_ptr<Line> in = open(kLineIn);
    std::unique_ptr<Line> out = in != nullptr && lines.out ? open(kLineOut) : nullptr;
    if (error != 0)
    {
        return nullptr;
    }
    return lines.out ? byPulse(std::move(in), std::move(out), lines.pulse) : byLevel(std::move(in), lines.isHighIn);
}

std::unique_ptr<Filter> Filter::byLevel(std::unique_ptr<Line> line, bool isHighIn)
{
    const std::shared_ptr<Line> level = std::move(line);
    return std::unique_ptr<Filter>(
        new Filter({level}, [level, isHighIn](bool isIn) { return level->set(isIn == isHighIn); }));
}

std::unique_ptr<Filter> Filter::byPulse(std::unique_ptr<Line> in, std::unique_ptr<Line> out,
                                        std::chrono::milliseconds length, Sleep sleep)
{
    const std::shared_ptr<Line> inwards = std::move(in);
    const std::shared_ptr<Line> outwards = std::move(out);
    const Sleep pause = sleep ? std::move(sleep) : Sleep(reallySleep);
    return std::unique_ptr<Filter>(
        new Filter({inwards, outwards}, [=](bool isIn) { return pulse(isIn ? *inwards : *outwards, length, pause); }));
}

int Filter::set(std::vector<Setting>& settings)
{
    for (const Setting& setting : settings)
    {
        const int error = setting.id == kFilter ? move_(setting.value != 0) : EINVAL;
        if (error != 0)
        {
            return error;
        }
    }
    return 0;
}

int Filter::get(u32, std::int64_t&)
{
    return EPERM;
}

bool Filter::isThere()
{
    return std::all_of(lines_.begin(), lines_.end(), [](const auto& line) { return line->isThere(); });
}

}  // namespace devices
