#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "AVStreamParam.h"
#include "VideoStreamModule.h"

namespace support {

// The video stream module that a test scripts. Every notification succeeds unless told otherwise.
// Thread-safe.
class FakeVideo : public VideoStreamModule
{
public:
    using Notification = std::pair<int, int>;  // command, value

    int notifyParam(int cmd, int value) override;
    std::vector<AVStreamParam> getStreamParams() const override;

    void answerStatus(int cmd, int status);
    void setFrameRates(std::vector<int> rates);
    // Runs during every notification, outside the lock.
    void onNotify(std::function<void(int cmd, int value)> hook);
    // Runs whenever the streams are asked for, outside the lock.
    void onStreamsAsked(std::function<void()> hook);

    std::vector<Notification> notifications() const;
    void clear();

private:
    mutable std::mutex mutex_;
    std::map<int, int> answers_;
    std::vector<int> rates_ = {25};
    std::vector<Notification> notifications_;
    std::function<void(int, int)> hook_;
    std::function<void()> streamsHook_;
};

}  // namespace support
