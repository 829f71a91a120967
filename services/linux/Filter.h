#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include "services/linux/Board.h"
#include "services/linux/Control.h"
#include "services/linux/DeviceSource.h"
#include "services/linux/Line.h"

namespace devices {

// The filter that keeps infrared light out: one control, 1 when it is in the light's way. For one thread at a time.
class Filter : public ControlDevice
{
public:
    // By level or by pulse, as the lines are described. Null, and error says why.
    static std::unique_ptr<Filter> open(DeviceSource& source, const FilterLines& lines, int& error);

    // A line that is high, or with isHighIn false low, while the filter is in.
    static std::unique_ptr<Filter> byLevel(std::unique_ptr<Line> line, bool isHighIn);

    using Sleep = std::function<void(std::chrono::milliseconds)>;

    // A motor or magnet with a line for each way, high for so long. set returns when the pulse is over.
    static std::unique_ptr<Filter> byPulse(std::unique_ptr<Line> in, std::unique_ptr<Line> out,
                                           std::chrono::milliseconds length, Sleep sleep = {});

    const std::vector<Control>& controls() const override { return controls_; }
    int set(std::vector<Setting>& settings) override;
    // Lines tell nothing: EPERM.
    int get(u32 id, std::int64_t& value) override;
    bool isThere() override;

private:
    using Lines = std::vector<std::shared_ptr<Line>>;

    Filter(Lines lines, std::function<int(bool isIn)> move);

    const std::vector<Control> controls_;
    const Lines lines_;
    const std::function<int(bool isIn)> move_;
};

}  // namespace devices
