#pragma once

#include <memory>
#include <string>

#include "app/cli/Completion.h"
#include "app/cli/Terminal.h"

namespace app {

// Lines from a person at a terminal: editing, history and completion (libedit). What the library prints while
// the person types is shown above the line. Host thread only.
class LineEditor
{
public:
    // historyFile: read now, written at the end; a file that cannot be written does no harm.
    LineEditor(Terminal& terminal, const std::string& historyFile, Vocabulary vocabulary);
    ~LineEditor();
    LineEditor(const LineEditor&) = delete;
    LineEditor& operator=(const LineEditor&) = delete;

    enum class Result
    {
        line,  // text holds it; Ctrl-D is "quit"
        end,   // the terminal has gone, or the program is to end
    };

    Result read(std::string& text);

private:
    struct State;
    const std::unique_ptr<State> state_;
};

// What becomes of the camera when the person ends the input: "ends the camera".
std::string whatEndDoes(const Terminal& terminal);

}  // namespace app
