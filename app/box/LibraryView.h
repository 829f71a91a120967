#pragma once

#include <deque>
#include <optional>
#include <string>

#include "app/box/KeptLines.h"
#include "app/box/LibraryLines.h"

namespace app {

// What one reader sees of the library's output. Reentrant.
class LibraryView
{
public:
    enum class Way
    {
        beside,    // the lines as they are, beside the answers
        between,   // the lines, set off by "  | ", between the answers
        keptBack,  // of the lines, set off likewise, only reports are to be shown; the others can be asked for
    };

    // colour: the reader shows colours. Kept lines have none.
    LibraryView(Way way, bool colour);

    // Takes in bytes that the library printed; returns the lines to be shown.
    std::string take(const std::string& bytes);

    // What was kept back, as it would be shown; empty where no lines are.
    std::string keptText() const;

    // Without their mark, oldest first; nothing where no lines are kept back.
    std::optional<std::deque<std::string>> kept() const;

private:
    const Way way_;
    LibraryLines lines_;
    KeptLines kept_;
};

}  // namespace app
