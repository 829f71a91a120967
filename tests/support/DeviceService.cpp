#include "app/Service.h"
#include "services/sim/Service.h"
#include "tests/support/FakeDevice.h"

// The simulated service with a real device behind it, in the place of the one that sensorcam chooses.
namespace {

// Its action reset_pan pulls the plug, and puts it in again.
class PluggedDevice : public support::FakeDevice
{
public:
    PluggedDevice()
    {
        add({"privacy",
             "Privacy",
             services::Kind::choice,
             {0, 1, 1, 0, {0, 1}},
             {{0, "Off"}, {1, "On"}},
             0,
             services::Standing::applied});
    }

    int set(const std::string& name, int value) override
    {
        if (name == "reset_pan" && value == 1)
        {
            plug(!isThere());
            const services::Standing standing = isThere() ? services::Standing::applied : services::Standing::lost;
            stand(IA_CMD_BRIGHTNESS, standing);
            stand("hue", standing);
        }
        return support::FakeDevice::set(name, value);
    }
};

class PluggedService : public services::Wrapper
{
public:
    using services::Wrapper::Wrapper;

    services::Device* device() override { return &device_; }

private:
    PluggedDevice device_;
};

}  // namespace

namespace app {

services::Journal& service()
{
    // Never destroyed: the sensor thread of a camera that ends without uinit may call until the very end.
    static services::Journal* const journal = [] {
        auto* const made = new services::Journal(*new PluggedService(*new sim::Service));
        services::setServiceInForce(made);
        return made;
    }();
    return *journal;
}

}  // namespace app
