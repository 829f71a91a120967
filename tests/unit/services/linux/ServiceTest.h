#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "services/linux/ControlIds.h"
#include "services/linux/Service.h"
#include "tests/unit/services/linux/ScriptedCamera.h"
#include "tests/unit/services/linux/ScriptedDevice.h"
#include "tests/unit/services/linux/Webcam.h"

namespace support {

// Nothing to open; it tells of plugging when a test says so.
class ScriptedSource : public devices::DeviceSource
{
public:
    int open(devices::Role, const std::string&) override { return -ENODEV; }
    void listen(std::function<void()> changed) override
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(takes));
        changed_ = std::move(changed);
        isHeard_ = changed_ != nullptr;
    }
    void listenToUse(std::function<void()> used) override { used_ = std::move(used); }
    void change() const { changed_(); }
    void use() const { used_(); }
    bool isHeard() const { return isHeard_; }

    int takes = 0;  // milliseconds, to be listened to

private:
    std::function<void()> changed_;
    std::function<void()> used_;
    std::atomic<bool> isHeard_{false};  // workers ask
};

// Looks until it is so, within a bound that only a fault reaches.
template <typename Condition>
bool comes(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition() && std::chrono::steady_clock::now() < end)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return condition();
}

// A webcam with lamps, a filter and a light sensor, all written down.
class ServiceTest : public testing::Test
{
protected:
    static devices::Board nightBoard()
    {
        devices::Board board;
        board.light = "auto";
        board.lamps = {{devices::kLampNear, "near"}};
        board.filter = devices::FilterLines();
        return board;
    }

    static devices::Patience quick()
    {
        devices::Patience patience;
        patience.first = std::chrono::milliseconds(1);
        patience.most = std::chrono::milliseconds(2);
        return patience;
    }

    devices::Description description() const
    {
        devices::Description described{"A camera", "uvcvideo 6.1", cameraControls(), {}};
        for (const devices::Control& control : lampControls())
        {
            described.controls.push_back(control);
        }
        described.controls.push_back(yesNo(devices::kFilter, true));
        return described;
    }

    void start(devices::Board board = nightBoard())
    {
        service.reset();
        devices::Devices devices;
        devices.camera = [this] {
            isOpenedUnheard = isOpenedUnheard || !source.isHeard();
            return camera.open();
        };
        devices.lamps = [this] { return lamps.open(); };
        devices.filter = [this] { return filter.open(); };
        devices.light = [this]() -> std::optional<double> {
            comes([this] { return !lightIsSlow; });
            return lux.load();
        };
        devices.picture = picture;
        service = std::make_unique<devices::Service>(description(), board, source, devices, patience,
                                                     devices::LookTimes{std::chrono::milliseconds(1), settling});
    }

    int set(ia_cmd_e cmd, int value) { return service->call(cmd, IA_CMD_OPT_SET, &value); }

    int get(ia_cmd_e cmd, int opt = IA_CMD_OPT_GET)
    {
        int value = -77;
        EXPECT_EQ(0, service->call(cmd, opt, &value)) << cmd;
        return value;
    }

    services::Standing standing(ia_cmd_e cmd)
    {
        const auto standings = service->standings();
        const auto found = standings.find(cmd);
        return found == standings.end() ? services::Standing::applied : found->second;
    }

    bool becomes(ia_cmd_e cmd, services::Standing wanted)
    {
        return comes([&] { return standing(cmd) == wanted; });
    }

    static std::vector<devices::Control> lampControls() { return {number(devices::kLampNear, 0, 200, 0)}; }

    static std::vector<devices::Control> cameraControls()
    {
        std::vector<devices::Control> controls = webcam();
        controls.push_back(button(V4L2_CID_AUTO_FOCUS_START));
        controls.push_back(menu(devices::kFrameRate, {15, 30}, 30));
        controls.push_back(number(kHue, -180, 180, 0));
        return controls;
    }

    static constexpr u32 kHue = V4L2_CID_HUE;

    Script camera{cameraControls()};
    Script lamps{lampControls()};
    Script filter{{yesNo(devices::kFilter, true)}};
    std::atomic<double> lux{300};
    std::atomic<bool> lightIsSlow{false};  // it is being measured
    ScriptedCamera stream;
    ScriptedSource source;
    std::atomic<bool> isOpenedUnheard{false};  // the camera, before the source was listened to
    devices::Capture::Open picture;            // none, as a rule
    devices::Patience patience = quick();
    std::chrono::milliseconds settling{0};
    std::unique_ptr<devices::Service> service;  // last: it uses the others
};

}  // namespace support
