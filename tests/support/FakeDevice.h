#pragma once

#include <algorithm>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "services/ImageService.h"

namespace support {

// A real device as a service tells of one, scripted. Thread-safe.
class FakeDevice : public services::Device
{
public:
    // hue -180..180, factory 0, now 12; power_line_frequency with three labels, now 1; reset_pan, an action.
    FakeDevice()
    {
        using services::Kind;
        using services::Standing;
        controls_ = {
            {"hue", "Hue", Kind::range, {-180, 180, 1, 0, {}}, {}, 12, Standing::applied},
            {"power_line_frequency",
             "Power Line Frequency",
             Kind::choice,
             {0, 2, 1, 2, {0, 1, 2}},
             {{0, "Disabled"}, {1, "50 Hz"}, {2, "60 Hz"}},
             1,
             Standing::applied},
            {"reset_pan", "Reset Pan", Kind::action, {0, 1, 1, 0, {}}, {}, 0, Standing::applied},
        };
    }

    std::string name() const override { return "USB Camera"; }
    bool isThere() const override
    {
        return locked([&] { return isThere_; });
    }
    bool hasOtherControls() const override
    {
        return locked([&] { return hasOtherControls_; });
    }
    std::map<ia_cmd_e, services::Standing> standings() const override
    {
        return locked([&] { return standings_; });
    }
    std::map<ia_cmd_e, int> takenOver() override
    {
        return locked([&] { return std::exchange(takenOver_, {}); });
    }
    std::vector<services::NamedControl> controls() const override
    {
        return locked([&] { return controls_; });
    }
    int set(const std::string& name, int value) override
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        services::NamedControl* const control = find(name);
        if (control == nullptr)
        {
            return services::kUnknownCommand;
        }
        if (!control->allowed.contains(value))
        {
            return services::kOutOfRange;
        }
        control->value = control->kind == services::Kind::action ? 0 : value;
        sets_.push_back(name + "=" + std::to_string(value));
        return services::kDone;
    }

    // ---- the script ------------------------------------------------------------------------------------------

    void add(const services::NamedControl& control)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        controls_.push_back(control);
    }
    void plug(bool isThere, bool hasOtherControls = false)
    {
        locked([&] { return isThere_ = isThere; });
        locked([&] { return hasOtherControls_ = hasOtherControls; });
    }
    void stand(ia_cmd_e command, services::Standing standing)
    {
        locked([&] { return standings_[command] = standing; });
    }
    void stand(const std::string& control, services::Standing standing)
    {
        locked([&] { return find(control)->standing = standing; });
    }
    // Another program has set it, and that counts.
    void takeOver(ia_cmd_e command, int word)
    {
        locked([&] { return takenOver_[command] = word; });
    }
    void takeOver(const std::string& control, int value)
    {
        locked([&] { return find(control)->value = value; });
    }
    std::vector<std::string> takeSets()
    {
        return locked([&] { return std::exchange(sets_, {}); });
    }
    int value(const std::string& control)
    {
        return locked([&] { return find(control)->value; });
    }

private:
    template <typename Work>
    auto locked(Work work) const -> std::decay_t<decltype(work())>
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return work();
    }
    services::NamedControl* find(const std::string& name)
    {
        const auto found = std::find_if(controls_.begin(), controls_.end(),
                                        [&](const services::NamedControl& control) { return control.name == name; });
        return found == controls_.end() ? nullptr : &*found;
    }

    mutable std::mutex mutex_;
    std::vector<services::NamedControl> controls_;
    bool isThere_ = true;
    bool hasOtherControls_ = false;
    std::map<ia_cmd_e, services::Standing> standings_;
    std::map<ia_cmd_e, int> takenOver_;
    std::vector<std::string> sets_;
};

// The service behind it, with such a device.
class ServiceWithDevice : public services::Wrapper
{
public:
    using services::Wrapper::Wrapper;

    services::Device* device() override { return &fake; }

    FakeDevice fake;
};

}  // namespace support
