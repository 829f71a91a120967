#pragma once

#include <string>

namespace support {

// Takes over file descriptor 1 while it lives. One at a time.
class CapturedOutput
{
public:
    CapturedOutput();
    ~CapturedOutput();
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    // Every byte written since construction or the last take, by stdio or directly; later bytes count anew.
    std::string take();

private:
    int file_;
    int saved_;
};

// What body writes to standard output, byte for byte.
template <typename Body>
std::string outputOf(Body&& body)
{
    CapturedOutput output;
    body();
    return output.take();
}

}  // namespace support
