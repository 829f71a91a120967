#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "app/EndSignals.h"
#include "app/Options.h"
#include "app/box/LibraryOutput.h"
#include "app/cli/Answer.h"
#include "camera/Camera.h"

namespace app {

struct Command;

// A running camera and the person or program that gives it commands. Host thread only.
class Session
{
public:
    // interactive: a person at a prompt, where an interrupt ends what runs and not the camera.
    Session(camera::Camera& camera, LibraryOutput& output, EndSignals& signals, bool json, bool interactive);

    // Runs one command line and prints its answer; an empty line does nothing. False when it failed,
    // also by an exception.
    bool run(const std::string& line);

    // The answer to a line that cannot be run.
    void refuse(const std::string& error);

    // The lines of exec, one after the other up to the first that fails. The exit status.
    int runAll(const std::vector<std::string>& lines);

    camera::Camera& camera() { return camera_; }
    LibraryOutput& output() { return output_; }
    EndSignals& signals() { return signals_; }
    bool json() const { return json_; }
    bool interactive() const { return interactive_; }

    // True after quit, after a signal that ends the program, and when answers cannot be written any more.
    bool ended();
    void quit() { quit_ = true; }

    // What quit has just said would be lost; empty when another command has run since.
    std::string& toldLoss() { return toldLoss_; }

    // Waits that span of real time, showing what the library prints. False when the person interrupted or the
    // program is to end.
    bool pause(std::chrono::microseconds span);

    // Prints a part of a longer answer at once.
    void printPart(const std::string& command, const Answer& part);

    // Waits for what the library has printed so far and prints what is to be shown of it.
    void showLibrary();

    // To where answers go.
    Answers& answers() { return output_.answers(); }

private:
    Answer answerOf(const Command& command, const std::vector<std::string>& arguments);
    void printAnswer(const std::string& command, const Answer& answer);

    camera::Camera& camera_;
    LibraryOutput& output_;
    EndSignals& signals_;
    const bool json_;
    const bool interactive_;
    bool quit_ = false;
    std::string toldLoss_;
};

}  // namespace app
