#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

#include "services/linux/Control.h"

namespace support {

// What a test says and sees of a device, which comes and goes. Thread-safe.
class Script
{
public:
    explicit Script(std::vector<devices::Control> controls) : controls_(std::move(controls)) {}
    ~Script() { close(told_); }
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;

    // Errors of the next sets, one after the other; then they succeed.
    void fail(std::deque<int> errors)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        errors_ = std::move(errors);
    }

    // The same of the next readings.
    void failReadings(std::deque<int> errors)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        readingErrors_ = std::move(errors);
    }

    // As another program does it, and without an event.
    void change(const devices::Setting& setting)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        values_[setting.id] = setting.value;
    }

    // Sets from now on do not return until release.
    void hang()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isHanging_ = true;
    }

    void release()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isHanging_ = false;
        changed_.notify_all();
    }

    void tell(const devices::ControlEvent& event)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        events_.push_back(event);
        eventfd_write(told_, 1);
    }

    void plug(bool isPlugged)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isPlugged_ = isPlugged;
        eventfd_write(told_, 1);
    }

    // Pulled out and plugged in again, and no event tells of it: those that are open are dead.
    void replace()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++device_;
        values_.clear();
    }

    // False when the device was not told this, by sets that have ended, within a bound that only a fault reaches.
    bool waitFor(const devices::Setting& setting)
    {
        return waitUntil([&] { return isDone(setting); });
    }

    // So many sets have ended well.
    bool waitForSets(std::size_t count)
    {
        return waitUntil([&] { return sets_.size() >= count; });
    }

    // A set has begun and does not return.
    bool waitForHanging()
    {
        return waitUntil([this] { return hanging_ > 0; });
    }

    std::vector<std::vector<devices::Setting>> sets() const
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return sets_;
    }

    int openings() const
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return openings_;
    }

    std::unique_ptr<devices::ControlDevice> open();

private:
    friend class ScriptedDevice;

    template <typename Condition>
    bool waitUntil(Condition condition)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(60), condition);
    }

    bool isDone(const devices::Setting& setting) const
    {
        for (const std::vector<devices::Setting>& set : sets_)
        {
            for (const devices::Setting& done : set)
            {
                if (done == setting)
                {
                    return true;
                }
            }
        }
        return false;
    }

    int set(std::vector<devices::Setting>& settings, int device)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        ++hanging_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return !isHanging_; });
        --hanging_;
        int error = isPlugged_ && device == device_ ? 0 : ENODEV;
        if (error == 0 && !errors_.empty())
        {
            error = errors_.front();
            errors_.pop_front();
        }
        if (error == 0)
        {
            sets_.push_back(settings);
            for (const devices::Setting& setting : settings)
            {
                values_[setting.id] = setting.value;
            }
        }
        changed_.notify_all();
        return error;
    }

    const std::vector<devices::Control> controls_;
    const int told_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    mutable std::mutex mutex_;
    std::condition_variable changed_;

    // Guarded by mutex_.
    std::deque<int> errors_;
    std::deque<int> readingErrors_;
    std::deque<devices::ControlEvent> events_;
    devices::Values values_;                           // that are not the default any more
    std::vector<std::vector<devices::Setting>> sets_;  // that succeeded
    bool isPlugged_ = true;
    bool isHanging_ = false;
    int hanging_ = 0;
    int openings_ = 0;
    int device_ = 0;  // that is plugged in, by number
};

class ScriptedDevice : public devices::ControlDevice
{
public:
    ScriptedDevice(Script& script, int device) : script_(script), device_(device) {}

    const std::vector<devices::Control>& controls() const override { return script_.controls_; }
    int set(std::vector<devices::Setting>& settings) override { return script_.set(settings, device_); }

    int get(u32 id, std::int64_t& value) override
    {
        const std::lock_guard<std::mutex> lock(script_.mutex_);
        if (!script_.readingErrors_.empty())
        {
            const int error = script_.readingErrors_.front();
            script_.readingErrors_.pop_front();
            return error;
        }
        const auto found = script_.values_.find(id);
        const bool isSet = found != script_.values_.end();
        value = isSet ? found->second : devices::findControl(script_.controls_, id)->defaultValue;
        return script_.isPlugged_ ? 0 : ENODEV;
    }

    bool isThere() override
    {
        const std::lock_guard<std::mutex> lock(script_.mutex_);
        return device_ == script_.device_;
    }

    int eventDescriptor() const override { return script_.told_; }

    int events(std::vector<devices::ControlEvent>& events) override
    {
        const std::lock_guard<std::mutex> lock(script_.mutex_);
        eventfd_t count;
        eventfd_read(script_.told_, &count);
        events.insert(events.end(), script_.events_.begin(), script_.events_.end());
        script_.events_.clear();
        return script_.isPlugged_ ? 0 : ENODEV;
    }

private:
    Script& script_;
    const int device_;
};

inline std::unique_ptr<devices::ControlDevice> Script::open()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    ++openings_;
    return isPlugged_ ? std::make_unique<ScriptedDevice>(*this, device_) : nullptr;
}

}  // namespace support
