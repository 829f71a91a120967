#pragma once

#include <deque>
#include <string>

namespace app {

// Lines that are kept back instead of being shown: the last thousand. Reentrant.
class KeptLines
{
public:
    // mark: what each line begins with.
    explicit KeptLines(const std::string& mark) : mark_(mark) {}

    // Takes whole lines. Returns what is to be shown of them: of each warning, error and failed assertion one line.
    std::string take(const std::string& lines);

    // Without the mark and the line end, oldest first.
    const std::deque<std::string>& lines() const { return lines_; }

private:
    std::string takeLine(const std::string& line);

    const std::string mark_;
    std::deque<std::string> lines_;
    std::string report_;  // the first line of a report whose second is to come
};

}  // namespace app
