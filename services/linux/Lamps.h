#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "services/linux/Control.h"
#include "services/linux/NumberFile.h"

namespace devices {

// Lamps of the kernel's LED class, each a control from 0 to its greatest brightness. For one thread at a time.
class Lamps : public ControlDevice
{
public:
    // names: by control, for people. Null, and error says why, unless all of them are there.
    static std::unique_ptr<Lamps> open(const std::map<u32, std::string>& names, const NumberFiles& files, int& error);

    const std::vector<Control>& controls() const override { return controls_; }
    int set(std::vector<Setting>& settings) override;
    int get(u32 id, std::int64_t& value) override;
    bool isThere() override;

private:
    Lamps() = default;

    std::vector<Control> controls_;
    std::map<u32, std::unique_ptr<NumberFile>> brightness_;
};

}  // namespace devices
