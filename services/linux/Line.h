#pragma once

#include <memory>

namespace devices {

// One output line. For one thread at a time.
class Line
{
public:
    virtual ~Line() = default;

    // 0, or an error number.
    virtual int set(bool isHigh) = 0;
};

// Line number offset of an open chip, which stays the caller's and need not stay open, left as it is until it is set. Null,
// and error says why, when it cannot be had; EBUSY: somebody else drives it. It is given back with the object.
std::unique_ptr<Line> gpioLine(int chip, unsigned offset, int& error);

}  // namespace devices
