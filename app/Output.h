#pragma once

#include <atomic>
#include <mutex>
#include <string>

// What sensorcam itself writes.
namespace app {

// Writes everything, waiting while there is no room. False, with errno, when it cannot be written. Thread-safe.
bool writeAll(int descriptor, const std::string& text);

// The text with everything escaped that could steer a terminal: "\x1b" for control characters and for bytes that are no
// UTF-8, "\u009b" for the controls beyond ASCII. Line ends and tabs stay. A JSON document stays the same document.
// Reentrant.
std::string printable(const std::string& text);

// Where answers go. Thread-safe.
class Answers
{
public:
    // Does not close it.
    explicit Answers(int descriptor) : descriptor_(descriptor) {}

    int descriptor() const { return descriptor_; }

    // Text for people, or a JSON document; printable.
    void print(const std::string& text) { write(printable(text)); }

    // What is printable already, or is to steer the terminal. Nothing comes in between.
    void write(const std::string& text);

    // Answers can no longer be written. The reason has been told on standard error, unless the reader has just gone.
    bool broken() const { return status_ != 0; }
    bool readerGone() const;

    // The exit status of a program that would otherwise end with this one: like a program that SIGPIPE ends when the
    // reader has gone.
    int status(int otherwise) const { return broken() ? status_.load() : otherwise; }

private:
    const int descriptor_;
    std::mutex writing_;
    std::atomic<int> status_{0};
};

}  // namespace app
