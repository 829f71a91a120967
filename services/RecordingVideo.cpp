#include "services/RecordingVideo.h"

#include "services/CommandNames.h"

#include <utility>

namespace services {

RecordingVideo::RecordingVideo(std::vector<int> frameRates) : frameRates_(std::move(frameRates)) {}

int RecordingVideo::notifyParam(int cmd, int value)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto answer = results_.find(cmd);
    const int result = answer == results_.end() ? 0 : answer->second;
    if (result == 0)
    {
        state_[cmd] = value;
    }
    if (notices_.size() == kNoticesMax)
    {
        notices_.pop_front();
    }
    notices_.push_back({cmd, commandName(static_cast<u32>(cmd)), value, result});
    return result;
}

std::vector<AVStreamParam> RecordingVideo::getStreamParams() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<AVStreamParam> streams(frameRates_.size());
    for (std::size_t i = 0; i < frameRates_.size(); ++i)
    {
        streams[i].setFrameRate(frameRates_[i]);
    }
    return streams;
}

void RecordingVideo::setFrameRates(std::vector<int> frameRates)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    frameRates_ = std::move(frameRates);
}

std::vector<RecordingVideo::Notice> RecordingVideo::notices() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return {notices_.begin(), notices_.end()};
}

void RecordingVideo::clear()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    notices_.clear();
    results_.clear();
}

void RecordingVideo::setResult(int cmd, int result)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    results_[cmd] = result;
}

int RecordingVideo::last(int cmd) const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = state_.find(cmd);
    return found == state_.end() ? 0 : found->second;
}

int RecordingVideo::mirror() const
{
    return last(IA_CMD_UI_MIRROR);
}

int RecordingVideo::corridor() const
{
    return last(IA_CMD_BEAWAY);
}

int RecordingVideo::wideDynamic() const
{
    return last(IA_CMD_WDR_MODE);
}

int RecordingVideo::antiShake() const
{
    return last(IA_CMD_ANTI_SHAKE_SWITCH);
}

bool RecordingVideo::wideDynamicChanging() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto bracket = state_.find(IA_CMD_WDR_BRACKET);
    return bracket != state_.end() && bracket->second == 0;
}

}  // namespace services
