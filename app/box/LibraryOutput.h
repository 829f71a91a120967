#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "app/box/LibraryLines.h"

namespace app {

// Writes everything, waiting while there is no room. False when nobody reads it any more. Thread-safe.
bool writeAll(int descriptor, const std::string& text);

// Keeps what the library prints on standard output apart from the program's own answers, as whole lines.
// Host thread only; the library may print from any thread. One object at a time.
class LibraryOutput
{
public:
    enum class Way
    {
        standardError,  // the lines go to standard error as they come
        collected,      // the lines, set off by "  | ", are there to be shown between the answers
    };

    // Throws Failure.
    explicit LibraryOutput(Way way);
    // Standard output is again what it was.
    ~LibraryOutput();
    LibraryOutput(const LibraryOutput&) = delete;
    LibraryOutput& operator=(const LibraryOutput&) = delete;

    // What standard output was: where answers go.
    int answerDescriptor() const { return answers_; }

    // For poll: readable when collected lines wait.
    int descriptor() const { return arrived_; }

    // Waits until all that the library has printed so far has been taken in, a begun line completed. The collected
    // lines, or, on the way to standard error, nothing: they are there.
    std::string take();

    // Collected lines that have arrived; does not wait.
    std::string takeArrived();

private:
    void readAll();
    void takeIn(const std::string& bytes);
    static void onAbort(int signal);

    const Way way_;
    int answers_ = -1;
    int arrived_ = -1;
    int pipe_ = -1;
    std::thread reader_;

    std::mutex mutex_;
    std::condition_variable synced_;
    // Guarded by mutex_.
    LibraryLines lines_;
    std::string ready_;
    unsigned marksSeen_ = 0;
    bool stopping_ = false;

    unsigned marksSent_ = 0;
};

}  // namespace app
