#include "app/box/LibraryLines.h"

#include "app/Output.h"

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
    if (c == kPause)
    {
        lines += visible_ ? finished() : "";
        return;
    }
    if (!sequence_.empty() && goesOnWith(c))
    {
        return;
    }
    if (c == kEscape)
    {
        sequence_ = c;
    }
    else if (c == '\n')
    {
        lines += finished();
    }
    else if (c != '\r')
    {
        visible_ = true;
        text_ += c;
    }
}

// Only a colour is one: "\033[31m". What turns out to be anything else is text.
bool LibraryLines::goesOnWith(char c)
{
    const bool isColour = sequence_.size() == 1 ? c == '[' : c == ';' || c == 'm' || (c >= '0' && c <= '9');
    if (!isColour)
    {
        visible_ = true;
        text_ += sequence_;
        sequence_.clear();
        return false;
    }
    sequence_ += c;
    if (c == 'm')
    {
        colours_ = sequence_ == kReset ? "" : colours_ + sequence_;
        if (colour_)
        {
            takeText();
            line_ = visible_ ? line_ + sequence_ : colours_;
        }
        sequence_.clear();
    }
    return true;
}

void LibraryLines::takeText()
{
    line_ += printable(text_);
    text_.clear();
}

std::string LibraryLines::finished()
{
    takeText();
    const std::string line = mark_ + line_ + (colour_ ? kReset : "") + "\n";
    // The next line begins in the colour that this one ended in.
    line_ = colour_ ? colours_ : "";
    visible_ = false;
    return line;
}

}  // namespace app
