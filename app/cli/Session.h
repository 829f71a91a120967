#pragma once

#include <string>
#include <vector>

#include "app/cli/Answer.h"
#include "app/cli/Console.h"
#include "camera/Camera.h"

namespace app {

struct Command;

// A running camera and the person or program that gives it commands. Reentrant: a camera may have several at once, each
// on a thread of its own.
class Session
{
public:
    // Both must outlive it.
    Session(camera::Camera& camera, Console& console, bool json);

    // Runs one command line and prints its answer; an empty line does nothing. False when it failed,
    // also by an exception.
    bool run(const std::string& line);

    // The answer to a line that cannot be run.
    void refuse(const std::string& error);

    // The lines of exec, one after the other up to the first that fails. The exit status.
    int runAll(const std::vector<std::string>& lines);

    camera::Camera& camera() { return camera_; }
    Console& console() { return console_; }

    // True after quit, and when the console has ended.
    bool ended() const { return quit_ || console_.ended(); }
    void quit() { quit_ = true; }

    // What quit has just said would be lost; empty when another command has run since.
    std::string& toldLoss() { return toldLoss_; }

    // Prints a part of a longer answer at once.
    void printPart(const std::string& command, const Answer& part);

private:
    Answer answerOf(const Command& command, const std::vector<std::string>& arguments);
    void printAnswer(const std::string& command, const Answer& answer);

    camera::Camera& camera_;
    Console& console_;
    const bool json_;
    bool quit_ = false;
    std::string toldLoss_;
};

}  // namespace app
