#pragma once

#include "VideoStreamModule.h"
#include "ia_ioctrl.h"

#include <deque>
#include <map>
#include <mutex>
#include <vector>

namespace services {

// A video module that keeps what it is told. Thread-safe.
class RecordingVideo : public VideoStreamModule
{
public:
    struct Notice
    {
        int cmd;
        const char* name;  // "IA_CMD_UI_MIRROR"; "unknown" without one
        int value;
        int result;
    };

    static constexpr std::size_t kNoticesMax = 4096;  // the oldest are dropped

    // One stream an entry, in frames per second.
    explicit RecordingVideo(std::vector<int> frameRates = {25});

    int notifyParam(int cmd, int value) override;
    std::vector<AVStreamParam> getStreamParams() const override;

    void setFrameRates(std::vector<int> frameRates);

    // Oldest first.
    std::vector<Notice> notices() const;
    void clear();  // forgets notices and results, keeps the state below

    // What notifyParam answers for a command from now on; 0 is success. A refused value is not kept as state.
    void setResult(int cmd, int result);

    // The last value told; 0 at first.
    int mirror() const;    // 0 off, 1 horizontal, 2 vertical, 3 both
    int corridor() const;  // 0 off
    int wideDynamic() const;
    int antiShake() const;
    // True between the notices that open and close a change of the wide dynamic range.
    bool wideDynamicChanging() const;

private:
    int last(int cmd) const;

    mutable std::mutex mutex_;

    // Guarded by mutex_.
    std::vector<int> frameRates_;
    std::deque<Notice> notices_;
    std::map<int, int> results_;
    std::map<int, int> state_;
};

}  // namespace services
