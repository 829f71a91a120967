#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <vector>

#include "services/ImageService.h"
#include "services/linux/Control.h"
#include "services/linux/Conversion.h"

// Which command is which control: one table, as data, and what it says about one device.
namespace devices {

// All rows. Of a control's rows the first that speaks decides.
struct Rows
{
    const Row* first;
    std::size_t count;

    const Row* begin() const { return first; }
    const Row* end() const { return first + count; }
};
Rows rows();

using Words = std::map<u32, int>;  // by command; 153, whether it is night, is one of them
// The rows that have a device behind them. Constant, Reentrant.
class ControlTable
{
public:
    // All controls of the camera, whatever devices they belong to; the ranges are those that words are judged by.
    explicit ControlTable(std::vector<Control> controls);

    // Every command that the camera has, in the table's order.
    const std::vector<ia_cmd_e>& commands() const { return commands_; }

    // What is allowed, and as the default the word of the controls' own. Nothing for a command that is not there.
    std::optional<services::AllowedValues> allowed(ia_cmd_e cmd) const;

    // The controls that a command has a part in; empty for one that is not there.
    const std::vector<u32>& controlsOf(ia_cmd_e cmd) const;

    // What these controls are to be. A control about which no word says anything is not there, and no button is.
    std::vector<Setting> settings(const std::vector<u32>& controls, const Words& words) const;
    // All of them, in the order of the table.
    std::vector<Setting> settings(const Words& words) const { return settings(all_, words); }

    // What a command's word must have been. Nothing where the values do not say.
    std::optional<int> word(ia_cmd_e cmd, const Values& values) const;

    // The button of a command that is one.
    std::optional<u32> button(ia_cmd_e cmd) const;

private:
    struct Live
    {
        const Row* row;
        const Control* control;
    };

    std::vector<Live> liveOf(ia_cmd_e cmd) const;

    const std::vector<Control> controls_;
    std::vector<Live> live_;                   // into controls_
    std::map<u32, std::vector<Live>> liveOf_;  // by control
    std::vector<u32> all_;
    std::vector<ia_cmd_e> commands_;
    std::map<u32, std::vector<u32>> controlsOf_;  // by command
};

}  // namespace devices
