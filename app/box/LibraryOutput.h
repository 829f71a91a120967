#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "camera/Descriptor.h"

namespace app {

// Keeps what the library prints on standard output apart from the program's own answers. One object at a time.
// Thread-safe.
class LibraryOutput
{
public:
    class Listener
    {
    public:
        virtual ~Listener() = default;

        // What the library printed next, in pieces cut anywhere, with pauses (kPause). Called on a thread of the
        // output's own, on which the library and all other listeners wait: it must not wait for a reader, but when the
        // process is aborting. Must call none of the functions below.
        virtual void libraryPrinted(const std::string& bytes) = 0;
    };

    // Throws Failure.
    LibraryOutput();
    // Standard output is again what it was.
    ~LibraryOutput();
    LibraryOutput(const LibraryOutput&) = delete;
    LibraryOutput& operator=(const LibraryOutput&) = delete;

    // What standard output was.
    int descriptor() const { return before_.number(); }

    // Until it is removed, a listener hears everything that is printed.
    void add(Listener& listener);
    void remove(Listener& listener);

    // Waits until the listeners have heard all that the library has printed so far, and a pause behind it.
    void sync();

    // A failed assertion of the library ends the process: what is not shown now never is.
    static bool aborting();

private:
    void readAll();
    static void onAbort(int signal);

    const camera::Descriptor before_;
    camera::Descriptor pipe_;
    std::thread reader_;

    std::mutex listening_;
    std::vector<Listener*> listeners_;  // guarded by listening_

    std::mutex sending_;
    unsigned pausesSent_ = 0;  // guarded by sending_

    std::mutex mutex_;
    std::condition_variable heard_;
    // Guarded by mutex_.
    unsigned pausesHeard_ = 0;
    bool stopping_ = false;
};

}  // namespace app
