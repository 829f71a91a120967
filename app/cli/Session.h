#pragma once

#include <string>
#include <vector>

#include "app/cli/CommandRunner.h"
#include "camera/Camera.h"

namespace app {

struct Command;

// A running camera and the person or program that gives it commands. Reentrant: a camera may have several at once, each
// on a thread of its own.
class Session : public CommandRunner
{
public:
    // Both must outlive it.
    Session(camera::Camera& camera, Console& console, bool json);

    bool run(const std::string& line) override;
    Vocabulary vocabulary() override;

    camera::Camera& camera() { return camera_; }

    // What quit has just said would be lost; empty when another command has run since.
    std::string& toldLoss() { return toldLoss_; }

    // Of a camera that another one's reset has taken down.
    void tellLoss();

    // Prints a part of a longer answer at once.
    void printPart(const std::string& command, const Answer& part);

private:
    Answer answerOf(const Command& command, const std::vector<std::string>& arguments);

    camera::Camera& camera_;
    std::string toldLoss_;
};

}  // namespace app
