#pragma once

#include <chrono>
#include <deque>
#include <optional>
#include <string>

namespace app {

// Whom a session answers: where its answers go, and what ends or interrupts it. Each session has one of its own.
// To be called on the session's thread.
class Console
{
public:
    virtual ~Console() = default;

    // A person at a prompt, where an interrupt ends what runs and not the session.
    virtual bool interactive() const = 0;

    // The camera ends with the session, and with it what is not saved.
    virtual bool endsCamera() const = 0;

    // Text for people, or a JSON document, at once. It is made printable.
    virtual void print(const std::string& text) = 0;

    // A message beside the answers.
    virtual void notice(const std::string& text) = 0;

    // Characters in a line; what the longest line may hold.
    virtual int columns() const = 0;

    // Waits for what the library has printed so far; then what is to be shown of it has been shown.
    virtual void showLibrary() = 0;

    // What the library printed and was kept back, oldest line first; nothing where all of it is shown.
    virtual std::optional<std::deque<std::string>> keptLines() = 0;

    // Makes a file where whoever gives the commands is, or overwrites it. Throws Failure, with the reason.
    virtual void writeFile(const std::string& file, const std::string& bytes) = 0;

    // Waits that span of real time; what the library prints is shown meanwhile. False at once after an interrupt or
    // the end.
    virtual bool pause(std::chrono::microseconds span) = 0;

    // True when an interrupt has come that does not end the session; it is then forgotten.
    virtual bool takeInterrupt() = 0;

    // No more is to be run, or no answer can reach anybody.
    virtual bool ended() const = 0;

    // The answers cannot be written; nobody is left to be told when their reader has gone.
    virtual bool broken() const = 0;
    virtual bool readerGone() const = 0;
};

}  // namespace app
