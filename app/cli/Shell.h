#pragma once

#include <string>

#include "app/cli/CommandRunner.h"
#include "app/cli/Terminal.h"

namespace app {

// Commands from standard input, for a runner whose console the terminal is, until its end, "quit" or a signal. With a
// terminal on both sides a prompt, with the history in historyFile; otherwise a plain reader that runs every line. The
// exit status: failures count only without a prompt.
int runShell(CommandRunner& runner, Terminal& terminal, const std::string& historyFile);

// Whether there is a person: standard input and output are a terminal and JSON is not asked for.
// answers: the descriptor that answers are written to.
bool isInteractive(int answers, bool json);

}  // namespace app
