#pragma once

#include <memory>
#include <string>
#include <vector>

#include "services/linux/Identity.h"

namespace devices {

struct Chip
{
    std::string node;   // "/dev/gpiochip0"
    std::string label;  // for people too: printable UTF-8
    unsigned lines = 0;
    int error = 0;  // why it cannot be opened, and then label and lines are unknown
};
std::vector<Chip> findChips(const Roots& roots = {});

struct ChipLine
{
    unsigned offset;
    std::string name;  // printable UTF-8, as user
    std::string user;
    bool isUsed;
};
// Those that have a name or are in use.
std::vector<ChipLine> findLines(const Chip& chip);

// A descriptor of line number offset, and of nothing else, of the chip of that node, name ("gpiochip0") or label. The line is
// left as it is until it is set, and given back with the last descriptor. Below 0, an error number with a minus; -EBUSY:
// somebody else drives it.
int openLine(const Roots& roots, const std::string& chip, unsigned offset);

// One output line. For one thread at a time.
class Line
{
public:
    virtual ~Line() = default;

    // 0, or an error number.
    virtual int set(bool isHigh) = 0;
    // False when its chip has gone, though another one may be in its place.
    virtual bool isThere() = 0;
};

// By a descriptor that openLine gave, which is closed with the object.
std::unique_ptr<Line> gpioLine(int descriptor);

}  // namespace devices
