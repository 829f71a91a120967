#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "app/Output.h"
#include "app/box/KeptLines.h"
#include "app/box/LibraryLines.h"

namespace app {

// Keeps what the library prints on standard output apart from the program's own answers, as whole lines.
// Host thread only; the library may print from any thread. One object at a time.
class LibraryOutput
{
public:
    enum class Way
    {
        standardError,  // the lines go to standard error as they come
        collected,      // the lines, set off by "  | ", are there to be shown between the answers
        keptBack,       // of the lines, set off likewise, only reports are to be shown; the others can be asked for
    };

    // Throws Failure.
    explicit LibraryOutput(Way way);
    // Standard output is again what it was.
    ~LibraryOutput();
    LibraryOutput(const LibraryOutput&) = delete;
    LibraryOutput& operator=(const LibraryOutput&) = delete;

    // To what standard output was.
    Answers& answers() { return answers_; }

    // For poll: readable when collected lines wait.
    int descriptor() const { return arrived_; }

    // Waits until all that the library has printed so far has been taken in, a begun line completed. The lines to be
    // shown; on the way to standard error none: they are there.
    std::string take();

    // The same, or where lines are kept back all of those.
    std::string takeAll();

    // Without their mark, oldest first; nothing where no lines are kept back.
    std::optional<std::deque<std::string>> kept();

    // Is told the lines as they come, without mark and colours, on a thread of this object; empty for nobody. No call of
    // the one before is running afterwards. It calls nothing here.
    using Listener = std::function<void(const std::string& lines)>;
    void setListener(Listener listener);

    // Lines to be shown that have arrived; does not wait.
    std::string takeArrived();

private:
    void readAll();
    void takeIn(const std::string& bytes);
    void tell(const std::string& bytes);
    static void onAbort(int signal);

    const Way way_;
    Answers answers_;
    int arrived_ = -1;
    int pipe_ = -1;
    std::thread reader_;

    std::mutex mutex_;
    std::condition_variable synced_;
    // Guarded by mutex_.
    LibraryLines lines_;
    KeptLines kept_;
    std::string ready_;
    unsigned marksSeen_ = 0;
    bool stopping_ = false;

    unsigned marksSent_ = 0;

    std::mutex listening_;
    // Guarded by listening_.
    Listener listener_;
    LibraryLines plain_{"", false};
};

}  // namespace app
