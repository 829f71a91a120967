#pragma once

#include <string>
#include <vector>

#include "app/cli/Answer.h"
#include "app/cli/Completion.h"
#include "app/cli/Console.h"

namespace app {

// Runs command lines and prints their answers on a console: on a camera of this process, or on one elsewhere. Reentrant.
class CommandRunner
{
public:
    virtual ~CommandRunner() = default;
    CommandRunner(const CommandRunner&) = delete;
    CommandRunner& operator=(const CommandRunner&) = delete;

    // Runs one command line and prints its answer; an empty line does nothing. False when it failed,
    // also by an exception.
    virtual bool run(const std::string& line) = 0;

    // What could be typed. The runner must outlive it.
    virtual Vocabulary vocabulary() = 0;

    // The answer to a line that cannot be run.
    void refuse(const std::string& error);

    // The lines of exec, one after the other up to the first that fails. The exit status.
    int runAll(const std::vector<std::string>& lines);

    Console& console() { return console_; }

    // True after quit, and when the console has ended.
    bool ended() const { return quit_ || console_.ended(); }
    bool hasQuit() const { return quit_; }
    void quit() { quit_ = true; }

    // More was to be run when the console ended.
    bool isCutShort() const { return cutShort_; }
    void cutShort() { cutShort_ = true; }

protected:
    CommandRunner(Console& console, bool json) : console_(console), json_(json) {}

    void printAnswer(const std::string& command, const Answer& answer);

    Console& console_;
    const bool json_;

private:
    bool quit_ = false;
    bool cutShort_ = false;
};

// The command of a line, as its answer names it; empty where none can be read.
std::string commandOf(const std::string& line);

// Whether the line is to change something.
bool isChange(const std::string& line);

}  // namespace app
