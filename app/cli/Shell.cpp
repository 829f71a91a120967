#include "app/cli/Shell.h"

#include <unistd.h>

#include "app/Options.h"
#include "app/cli/LineEditor.h"

namespace app {
namespace {

constexpr std::size_t kLineMax = 1 << 20;  // bytes; no command is nearly as long

// Lines of standard input as they come, however they are cut into pieces.
class PlainReader
{
public:
    explicit PlainReader(Terminal& terminal) : terminal_(terminal) {}

    // False at the end of the input and when the program is to end.
    bool read(std::string& line)
    {
        while (true)
        {
            const std::size_t end = pending_.find('\n');
            if (end != std::string::npos || (atEnd_ && !pending_.empty()))
            {
                line = pending_.substr(0, end);
                pending_.erase(0, end == std::string::npos ? end : end + 1);
                return true;
            }
            isTooLong_ = pending_.size() > kLineMax;
            if (atEnd_ || isTooLong_ || !fill())
            {
                return false;
            }
        }
    }

    // The line that did not end is lost, and what comes behind it with it.
    bool isTooLong() const { return isTooLong_; }

    // There was no more to be read.
    bool isAtEnd() const { return atEnd_ && pending_.empty(); }

private:
    bool fill()
    {
        while (!terminal_.ended())
        {
            if (terminal_.awaitInput())
            {
                char buffer[4096];
                const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
                atEnd_ = count <= 0;
                pending_.append(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
                return true;
            }
        }
        return false;
    }

    Terminal& terminal_;
    std::string pending_;
    bool atEnd_ = false;
    bool isTooLong_ = false;
};

int runPrompt(CommandRunner& runner, Terminal& terminal, const std::string& historyFile)
{
    if (!terminal.pause(std::chrono::microseconds(0)))
    {
        return kExitOk;  // interrupted before there was anything else to interrupt
    }
    runner.run("status");
    terminal.print("'help' lists the commands, Tab completes, Ctrl-D " + whatEndDoes(terminal) + ".\n");
    LineEditor editor(terminal, historyFile, runner.vocabulary());
    std::string line;
    bool isWell = true;
    while (!runner.ended() && editor.read(line) == LineEditor::Result::line)
    {
        isWell = runner.run(line);
        terminal.takeInterrupt();  // it was meant for the command
    }
    if (!runner.hasQuit())
    {
        runner.cutShort();
    }
    return runner.hasQuit() && !isWell ? kExitCommandFailed : kExitOk;  // what failed has ended the camera
}

int runLines(CommandRunner& runner, Terminal& terminal)
{
    PlainReader reader(terminal);
    std::string line;
    bool failed = false;
    for (int number = 1; !runner.ended() && reader.read(line); ++number)
    {
        if (line.find('\0') != std::string::npos)
        {
            runner.refuse("line " + std::to_string(number) + " holds a zero byte, so it is not text; not run");
            failed = true;
            continue;
        }
        failed = !runner.run(line) || failed;
    }
    if (!runner.hasQuit() && !reader.isAtEnd())
    {
        runner.cutShort();
    }
    if (reader.isTooLong())
    {
        runner.refuse("a line is longer than a mebibyte; neither it nor what follows was run");
        failed = true;
    }
    return failed ? kExitCommandFailed : kExitOk;
}

}  // namespace

int runShell(CommandRunner& runner, Terminal& terminal, const std::string& historyFile)
{
    return terminal.interactive() ? runPrompt(runner, terminal, historyFile) : runLines(runner, terminal);
}

bool isInteractive(int answers, bool json)
{
    return !json && isatty(STDIN_FILENO) != 0 && isatty(answers) != 0;
}

}  // namespace app
