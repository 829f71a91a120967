#include "app/box/LibraryLines.h"

namespace app {
namespace {

constexpr char kEscape = '\033';
constexpr char kReset[] = "\033[0m";
constexpr char kDim[] = "\033[2m";

}  // namespace

LibraryLines::LibraryLines(const std::string& mark, bool colour)
    : mark_(colour && !mark.empty() ? kDim + mark + kReset : mark),
      colour_(colour)
{
}

std::string LibraryLines::feed(const std::string& bytes)
{
    std::string lines;
    for (char c : bytes)
    {
        take(c, lines);
    }
    return lines;
}

void LibraryLines::take(char c, std::string& lines)
{
    if (!sequence_.empty())
    {
        endSequence(c);
    }
    else if (c == kEscape)
    {
        sequence_ = c;
    }
    else if (c == '\n')
    {
        visible_ = true;
        lines += finished();
    }
    else if (c != '\r')
    {
        visible_ = true;
        line_ += c;
    }
}

void LibraryLines::endSequence(char c)
{
    sequence_ += c;
    const bool goesOn = c == '[' || c == ';' || (c >= '0' && c <= '9');
    if (goesOn)
    {
        return;
    }
    if (c == 'm')
    {
        colours_ = sequence_ == kReset ? "" : colours_ + sequence_;
        if (colour_)
        {
            line_ = visible_ ? line_ + sequence_ : colours_;
        }
    }
    sequence_.clear();
}

std::string LibraryLines::finished()
{
    const std::string line = mark_ + line_ + (colour_ ? kReset : "") + "\n";
    // The next line begins in the colour that this one ended in.
    line_ = colour_ ? colours_ : "";
    visible_ = false;
    return line;
}

std::string LibraryLines::flush()
{
    return visible_ ? finished() : "";
}

}  // namespace app
