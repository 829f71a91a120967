#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "app/web/Http.h"
#include "services/Picture.h"

namespace web {

// The camera's picture for any number of viewers. One thread reads it while anybody looks, and all share what it reads.
// A viewer that has taken a frame is sent the newest one: who is slow skips frames and holds nobody up. When the picture
// ends or fails, the viewers are sent the last frame again with the reason, and it is opened again. Thread-safe.
class Pictures
{
public:
    // As services::ImageService::openPicture; called on the thread that reads.
    using Open = std::function<std::unique_ptr<services::PictureSource>()>;

    struct Times
    {
        std::chrono::milliseconds pause{1'000};     // before a picture that ended or failed is opened again
        std::chrono::milliseconds patience{5'000};  // for a picture to be opened and to give its first frame
    };

    static constexpr std::size_t kLargest = 4 << 20;  // bytes of a frame: each viewer may hold one

    explicit Pictures(Open open) : Pictures(std::move(open), Times()) {}
    Pictures(Open open, Times times);
    // Ends, and waits for the thread. The streams must have gone.
    ~Pictures();
    Pictures(const Pictures&) = delete;
    Pictures& operator=(const Pictures&) = delete;

    // Frames without end, each a part of its own; or why there are none. Both wait for a frame where nobody looked.
    Response stream();
    // The newest frame; or why there is none.
    Response snapshot();

    // Streams end, and nobody waits any more. From any thread, at once.
    void end();

private:
    class Look;
    class Reading;
    class Viewer;

    using Shared = std::shared_ptr<const Response>;
    using Lock = std::unique_lock<std::mutex>;

    void arrive();
    void leave();
    std::optional<Response> waitForFrame(Lock& lock);
    void run();
    Response read();
    void refuse(Lock& lock, Response refusal);
    void show(Lock& lock, Response frame);
    void wakeViewers(Lock& lock);

    const Open open_;
    const Times times_;

    std::mutex mutex_;
    std::condition_variable changed_;

    // Guarded by mutex_.
    int looking_ = 0;
    bool ending_ = false;
    bool left_ = false;  // nobody looked for a moment: what was opened before is over
    bool running_ = false;
    bool opening_ = false;
    std::chrono::steady_clock::time_point since_;  // when opening began
    services::PictureSource* source_ = nullptr;    // while it is read
    std::optional<Response> refusal_;              // why there is no picture now
    Shared newest_;                                // frame of the picture that is open
    Shared told_;                                  // to viewers: that, or the last one with the reason
    std::vector<std::weak_ptr<Viewer>> viewers_;
    std::thread thread_;
};

}  // namespace web
