#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "camera/Descriptor.h"

// What a running camera and a client of its sessions say to each other.
namespace remote {

// Changes with every change of the frames.
constexpr char kVersion[] = "2";

// Bytes of a frame.
constexpr std::size_t kMostOfHello = 256;
constexpr std::size_t kMostOfRequest = 2 << 20;  // a line has a mebibyte at most
constexpr std::size_t kMostOfAnswer = 16 << 20;  // the longest document is far shorter

// The client speaks first, with hello, and waits for its answer. It then sends one run, words or values at a time. A run
// is followed by what the client's console is to do, and by done.
enum class Kind : char
{
    none = '\0',  // what came is no frame

    // From the client.
    hello = 'h',      // version, "json" or "", "prompt" or ""
    run = 'r',        // a command line, columns
    words = 'w',      // that may stand after these
    values = 'v',     // that may stand after this key
    interrupt = 'i',  // of what runs
    end = 'e',        // no more is to be run
    answer = 'a',     // to keptLines: "none", or "kept" and the lines; to file: why not, or ""

    // From the camera.
    welcome = 'W',  // the session has begun
    refused = 'R',  // why there is none
    print = 'P',
    notice = 'N',
    library = 'L',      // bytes that the library printed
    showLibrary = 'S',  // all of them
    keptLines = 'K',    // are to be told
    file = 'F',         // is to be made: its name, its bytes
    choices = 'V',      // the answer to words and values
    done = 'D',         // "ok" or "failed", "quit" or ""
};

struct Frame
{
    Kind kind;
    std::vector<std::string> parts;

    // Empty for one that is missing.
    std::string part(std::size_t index) const { return index < parts.size() ? parts[index] : std::string(); }
};

// One end of a connection that carries frames.
class FrameSocket
{
public:
    // most: bytes of a frame that it takes.
    explicit FrameSocket(camera::Descriptor socket, std::size_t most = kMostOfAnswer)
        : socket_(std::move(socket)),
          most_(most)
    {
    }

    int descriptor() const { return socket_.number(); }

    // Waits while there is no room. False when the other end has gone. Thread-safe.
    bool send(Kind kind, const std::vector<std::string>& parts = {});

    // The next frame that has arrived whole. One thread.
    std::optional<Frame> take();

    // Waits for more to arrive. False when the other end has gone, or sends too long a frame. The same thread.
    bool receive();

    // From now on. The same thread.
    void allow(std::size_t most) { most_ = most; }

    // Ends the connection; who waits in it returns. Thread-safe.
    void shut();

private:
    const camera::Descriptor socket_;
    std::mutex sending_;
    std::size_t most_;
    std::string received_;
};

}  // namespace remote
